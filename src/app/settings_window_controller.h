#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class QCheckBox;
class QWidget;

// Runs the settings window: created by the application on first use and kept until the process ends; the
// window itself is built when it is first shown.
class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    explicit SettingsWindowController(QObject *parent = nullptr);
    ~SettingsWindowController() override;

    void showWindow();
    QWidget *window() const { return m_window.get(); }

private:
    void windowDidLoad();
    void ignoreLineBreaksValueChanged();

    std::unique_ptr<QWidget> m_window;
    QPointer<QCheckBox> m_ignoreLineBreaksCheckBox;
};
