#include "keyboard_shortcuts/recorder_controller.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/menu_item_lookup.h"
#include "keyboard_shortcuts/module_bundle.h"
#include "keyboard_shortcuts/recorder_view.h"
#include "keyboard_shortcuts/shortcut_text.h"
#include "keyboard_shortcuts/system_reserved_shortcuts.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>

namespace KeyboardShortcuts {
namespace {

// How far outside the control a click may land and still count as a click on it.
constexpr qreal clickSlack = 3;

constexpr Qt::KeyboardModifiers shortcutModifiers =
    Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier;

bool isFunctionKey(int key)
{
    return key >= Qt::Key_F1 && key <= Qt::Key_F35;
}

// Pressing a modifier on its way to a combination is no combination yet.
bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Mode_switch:
        return true;
    default:
        return false;
    }
}

} // namespace

RecorderController::RecorderController(RecorderView &view, Name name, OnChange onChange)
    : m_view(view), m_name(std::move(name)), m_onChange(std::move(onChange))
{
    refresh();
    connect(&notifications(), &ShortcutNotifications::shortcutByNameDidChange, this, [this](const Name &changed) {
        if (changed == m_name)
            refresh();
    });
}

RecorderController::~RecorderController()
{
    endRecording();
}

void RecorderController::setShortcutName(const Name &name)
{
    if (name.rawValue == m_name.rawValue)
        return;
    m_name = name;
    refresh();
}

QString RecorderController::placeholderText() const
{
    return localized(isRecording() ? "press_shortcut" : "record_shortcut");
}

void RecorderController::refresh()
{
    const std::optional<Shortcut> stored = storedShortcut(m_name);
    m_text = stored ? displayText(*stored) : QString();
    emit changed();
}

void RecorderController::focusIn(Qt::FocusReason reason)
{
    const bool restored = reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason;
    if (restored && !std::exchange(m_resumeOnActivation, false)) {
        m_view.blur();
        return;
    }
    m_resumeOnActivation = false;
    startRecording();
}

void RecorderController::focusOut(Qt::FocusReason reason)
{
    m_resumeOnActivation = isRecording() && reason == Qt::ActiveWindowFocusReason;
    endRecording();
}

void RecorderController::startRecording()
{
    if (isRecording())
        return;
    setPaused(true);
    m_eventMonitor = std::make_unique<LocalEventMonitor>(
        QList{QEvent::KeyPress, QEvent::ShortcutOverride, QEvent::MouseButtonRelease},
        [this](QObject *receiver, QEvent *event) { return handle(receiver, event); });
    if (QWindow *window = m_view.window(); window && window->setKeyboardGrabEnabled(true))
        m_keyboardGrabWindow = window;
    emit changed();
}

void RecorderController::endRecording()
{
    if (!isRecording())
        return;
    m_eventMonitor.reset();
    if (m_keyboardGrabWindow)
        m_keyboardGrabWindow->setKeyboardGrabEnabled(false);
    m_keyboardGrabWindow.clear();
    setPaused(false);
    emit changed();
}

void RecorderController::blur()
{
    m_view.blur();
    endRecording();
}

void RecorderController::clear()
{
    storeShortcut(std::nullopt, m_name);
    refresh();
    if (m_onChange)
        m_onChange(std::nullopt);
    // Recording goes on after a clear, so that the next combination can be pressed at once.
    m_view.focus();
}

// Judged where events enter the program, at their window, before any widget or item has seen them.
bool RecorderController::handle(QObject *receiver, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        // Claims every combination as a key press, so that no shortcut of the window fires instead.
        event->accept();
        return true;
    case QEvent::MouseButtonRelease:
        return receiver->isWindowType() && handleMouseUp(*receiver, static_cast<const QMouseEvent &>(*event));
    case QEvent::KeyPress:
        return receiver->isWindowType() && handleKeyPress(static_cast<const QKeyEvent &>(*event));
    default:
        return false;
    }
}

bool RecorderController::handleMouseUp(const QObject &receiver, const QMouseEvent &event)
{
    if (event.button() != Qt::LeftButton && event.button() != Qt::RightButton)
        return false;
    const QRectF area = m_view.geometryInWindow().adjusted(-clickSlack, -clickSlack, clickSlack, clickSlack);
    if (&receiver != m_view.window() || !area.contains(event.position())) {
        blur();
        return false;
    }
    return true;
}

bool RecorderController::handleKeyPress(const QKeyEvent &event)
{
    const Qt::KeyboardModifiers modifiers = event.modifiers() & shortcutModifiers;
    const int key = event.key();
    if (isModifierKey(key))
        return true;
    if (modifiers == Qt::NoModifier) {
        if (key == Qt::Key_Tab) {
            // Focus moves on as usual, which ends recording.
            return false;
        }
        if (key == Qt::Key_Escape) {
            blur();
            return true;
        }
        if (key == Qt::Key_Backspace || key == Qt::Key_Delete) {
            clear();
            return true;
        }
    }
    if ((modifiers & ~Qt::ShiftModifier) == Qt::NoModifier && !isFunctionKey(key)) {
        QApplication::beep();
        return true;
    }
    const std::optional<Shortcut> shortcut = Shortcut::fromKeyEvent(event);
    if (!shortcut) {
        QApplication::beep();
        return true;
    }
    if (const QMenu *menu = mainMenu()) {
        if (const QAction *item = menuItem(*shortcut, *menu, m_name)) {
            refuse(localized("keyboard_shortcut_used_by_menu_item").arg(menuItemTitle(*item)), QString());
            return true;
        }
    }
    if (isReservedBySystem(*shortcut)) {
        refuse(localized("keyboard_shortcut_used_by_system"), localized("keyboard_shortcuts_can_be_changed"));
        return true;
    }
    accept(*shortcut);
    return true;
}

void RecorderController::refuse(const QString &message, const QString &informativeText)
{
    blur();
    m_view.showConflictAlert(message, informativeText, [self = QPointer(this)] {
        if (!self)
            return;
        // Recording starts again once the warning is gone, also when its window has to be activated first.
        self->m_resumeOnActivation = true;
        self->m_view.focus();
    });
}

void RecorderController::accept(Shortcut shortcut)
{
    m_text = displayText(shortcut);
    emit changed();
    storeShortcut(shortcut, m_name);
    if (m_onChange)
        m_onChange(shortcut);
    blur();
}

} // namespace KeyboardShortcuts
