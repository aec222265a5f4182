#pragma once

#include <QRectF>
#include <QString>

#include <functional>

class QWindow;

namespace KeyboardShortcuts {

// The control a recorder shows itself in, a widget or a Qt Quick item: what the recording logic
// (RecorderController) needs from it. The view in turn tells the controller when it gains and loses the focus.
class RecorderView {
public:
    virtual ~RecorderView() = default;

    // The window the control is in; null while it is in none.
    virtual QWindow *window() const = 0;
    // The control's rectangle in its window's coordinates.
    virtual QRectF geometryInWindow() const = 0;
    // Hands the focus to the window itself, so that no control of the window has it.
    virtual void blur() = 0;
    // Takes the focus.
    virtual void focus() = 0;
    // Warns over the control's window without blocking; `dismissed` runs once the user has closed the warning.
    virtual void showConflictAlert(const QString &message, const QString &informativeText,
                                   std::function<void()> dismissed) = 0;
};

} // namespace KeyboardShortcuts
