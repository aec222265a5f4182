#pragma once

#include "keyboard_shortcuts/recorder_controller.h"
#include "keyboard_shortcuts/recorder_view.h"

#include <QObject>
#include <QPointer>
#include <QQmlParserStatus>
#include <QQuickItem>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

namespace KeyboardShortcuts {

// The recording logic behind the Recorder QML type: a RecorderController shown in a text field of the QML view.
// The QML side binds the field to these properties and tells the backend when the field gains and loses the focus.
class QuickRecorder : public QObject, public QQmlParserStatus, private RecorderView {
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    QML_NAMED_ELEMENT(RecorderBackend)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QQuickItem *field READ field WRITE setField NOTIFY fieldChanged)
    Q_PROPERTY(QString text READ text NOTIFY stateChanged)
    Q_PROPERTY(QString placeholderText READ placeholderText NOTIFY stateChanged)
    Q_PROPERTY(bool clearButtonVisible READ isClearButtonVisible NOTIFY stateChanged)
    Q_PROPERTY(bool recording READ isRecording NOTIFY stateChanged)
    Q_PROPERTY(bool canBecomeKey READ canBecomeKey NOTIFY canBecomeKeyChanged)

public:
    explicit QuickRecorder(QObject *parent = nullptr);
    ~QuickRecorder() override;

    QString name() const { return m_name; }
    void setName(const QString &name);
    QQuickItem *field() const { return m_field; }
    void setField(QQuickItem *field);
    QString text() const;
    QString placeholderText() const;
    bool isClearButtonVisible() const;
    bool isRecording() const;
    // False until the field has been in a window for one turn of the event loop.
    bool canBecomeKey() const { return m_canBecomeKey; }

    Q_INVOKABLE void focusIn(int reason);
    Q_INVOKABLE void focusOut(int reason);
    Q_INVOKABLE void clear();
    // The user closed the alert the backend asked for.
    Q_INVOKABLE void alertDismissed();

    void classBegin() override {}
    void componentComplete() override;

signals:
    void nameChanged();
    void fieldChanged();
    void stateChanged();
    void canBecomeKeyChanged();
    // After the user stored a shortcut ({carbonKeyCode, carbonModifiers}) or cleared it (null).
    void change(const QVariant &shortcut);
    // Asks the view to warn the user, over its window; it answers with alertDismissed().
    void alert(const QString &message, const QString &informativeText);

private:
    QWindow *window() const override;
    QRectF geometryInWindow() const override;
    void blur() override;
    void focus() override;
    void showConflictAlert(const QString &message, const QString &informativeText,
                           std::function<void()> dismissed) override;
    void watchWindow();

    QString m_name;
    QPointer<QQuickItem> m_field;
    std::unique_ptr<RecorderController> m_controller; // made once the QML object is complete
    std::function<void()> m_alertDismissed;
    bool m_canBecomeKey = false;
};

} // namespace KeyboardShortcuts
