#pragma once

#include "keyboard_shortcuts/local_event_monitor.h"
#include "keyboard_shortcuts/name.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWindow>

#include <functional>
#include <memory>
#include <optional>

class QKeyEvent;
class QMouseEvent;

namespace KeyboardShortcuts {

class RecorderView;

// The recording logic behind every recorder control, whatever draws it. The control records while it has the
// keyboard focus: then global shortcuts are paused, the window holds the keyboard (so that a combination another
// program has grabbed still arrives and can be refused), and the next acceptable combination is checked against
// the main menu and the system, stored for the name and reported. Views show text(), placeholderText() and the
// clear button, and refresh on changed(). Main thread only; the view outlives its controller.
class RecorderController final : public QObject {
    Q_OBJECT

public:
    using OnChange = std::function<void(std::optional<Shortcut>)>;

    RecorderController(RecorderView &view, Name name, OnChange onChange = {});
    ~RecorderController() override;

    const Name &shortcutName() const { return m_name; }
    // Shows the other name's shortcut; the same name again changes nothing.
    void setShortcutName(const Name &name);

    // The stored shortcut as people read it ("Super+Shift+2"); empty when none is stored.
    QString text() const { return m_text; }
    QString placeholderText() const;
    bool isClearButtonVisible() const { return !m_text.isEmpty(); }
    bool isRecording() const { return m_eventMonitor != nullptr; }

    // The view got or lost the focus. A window that is activated and hands the focus to the control does not start
    // recording (a window that has just opened must not), unless the control was recording when the window lost
    // the activation, or an alert of the control has just closed; a click, Tab or RecorderView::focus do.
    void focusIn(Qt::FocusReason reason);
    void focusOut(Qt::FocusReason reason);
    // The clear button: removes the stored shortcut and keeps (or starts) recording.
    void clear();

signals:
    void changed();

private:
    void refresh();
    void startRecording();
    void endRecording();
    void blur();
    bool handle(QObject *receiver, QEvent *event);
    bool handleMouseUp(const QObject &receiver, const QMouseEvent &event);
    bool handleKeyPress(const QKeyEvent &event);
    void refuse(const QString &message, const QString &informativeText);
    void accept(Shortcut shortcut);

    RecorderView &m_view;
    Name m_name;
    OnChange m_onChange;
    QString m_text;
    std::unique_ptr<LocalEventMonitor> m_eventMonitor;
    QPointer<QWindow> m_keyboardGrabWindow;
    bool m_resumeOnActivation = false;
};

} // namespace KeyboardShortcuts
