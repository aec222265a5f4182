#pragma once

#include "keyboard_shortcuts/name.h"
#include "keyboard_shortcuts/recorder_controller.h"
#include "keyboard_shortcuts/recorder_view.h"

#include <QLineEdit>

class QAction;

namespace KeyboardShortcuts {

// A field in which the user records the shortcut of a name: it shows the stored shortcut, records while it has the
// keyboard focus (click into it, or Tab to it), and clears the shortcut with its clear button or the delete keys.
// Escape, Tab, or a click elsewhere end recording. The owner places it (130 points wide by preference).
class RecorderCocoa final : public QLineEdit, private RecorderView {
    Q_OBJECT

public:
    static constexpr int minimumWidth = 130;

    // `onChange` is called after the user stored or cleared a shortcut.
    explicit RecorderCocoa(Name name, RecorderController::OnChange onChange = {}, QWidget *parent = nullptr);
    ~RecorderCocoa() override;

    const Name &shortcutName() const { return m_controller.shortcutName(); }
    void setShortcutName(const Name &name) { m_controller.setShortcutName(name); }
    bool isRecording() const { return m_controller.isRecording(); }

    QSize sizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    QWindow *window() const override;
    QRectF geometryInWindow() const override;
    void blur() override;
    void focus() override;
    void showConflictAlert(const QString &message, const QString &informativeText,
                           std::function<void()> dismissed) override;
    void showState();

    QAction *m_clearButton; // owned by this widget
    RecorderController m_controller;
    bool m_hasJoinedWindow = false;
};

} // namespace KeyboardShortcuts
