#include "keyboard_shortcuts/qml/quick_recorder.h"

#include <QQuickWindow>
#include <QTimer>
#include <QVariantMap>

namespace KeyboardShortcuts {
namespace {

QVariant toVariant(const std::optional<Shortcut> &shortcut)
{
    if (!shortcut)
        return QVariant::fromValue(nullptr);
    return QVariantMap{{QStringLiteral("carbonKeyCode"), QVariant::fromValue(shortcut->carbonKeyCode)},
                       {QStringLiteral("carbonModifiers"), QVariant::fromValue(shortcut->carbonModifiers)}};
}

} // namespace

QuickRecorder::QuickRecorder(QObject *parent) : QObject(parent) {}

QuickRecorder::~QuickRecorder()
{
    // Ends a recording while this object, which the controller reports to, is still whole.
    m_controller.reset();
}

void QuickRecorder::componentComplete()
{
    RecorderView &view = *this;
    m_controller = std::make_unique<RecorderController>(
        view, Name(m_name), [this](std::optional<Shortcut> shortcut) { emit change(toVariant(shortcut)); });
    connect(m_controller.get(), &RecorderController::changed, this, &QuickRecorder::stateChanged);
    emit stateChanged();
}

void QuickRecorder::setName(const QString &name)
{
    if (name == m_name)
        return;
    m_name = name;
    if (m_controller)
        m_controller->setShortcutName(Name(name));
    emit nameChanged();
}

void QuickRecorder::setField(QQuickItem *field)
{
    if (field == m_field)
        return;
    if (m_field)
        disconnect(m_field, nullptr, this, nullptr);
    m_field = field;
    if (m_field)
        connect(m_field, &QQuickItem::windowChanged, this, &QuickRecorder::watchWindow);
    watchWindow();
    emit fieldChanged();
}

void QuickRecorder::watchWindow()
{
    // Refused until the window has had a turn of the event loop, so that a window that has just opened does not
    // start recording.
    if (!m_field || !m_field->window() || m_canBecomeKey)
        return;
    QTimer::singleShot(0, this, [this] {
        m_canBecomeKey = true;
        emit canBecomeKeyChanged();
    });
}

QString QuickRecorder::text() const
{
    return m_controller ? m_controller->text() : QString();
}

QString QuickRecorder::placeholderText() const
{
    return m_controller ? m_controller->placeholderText() : QString();
}

bool QuickRecorder::isClearButtonVisible() const
{
    return m_controller && m_controller->isClearButtonVisible();
}

bool QuickRecorder::isRecording() const
{
    return m_controller && m_controller->isRecording();
}

void QuickRecorder::focusIn(int reason)
{
    if (m_controller)
        m_controller->focusIn(static_cast<Qt::FocusReason>(reason));
}

void QuickRecorder::focusOut(int reason)
{
    if (m_controller)
        m_controller->focusOut(static_cast<Qt::FocusReason>(reason));
}

void QuickRecorder::clear()
{
    if (m_controller)
        m_controller->clear();
}

void QuickRecorder::alertDismissed()
{
    if (const std::function<void()> dismissed = std::exchange(m_alertDismissed, {}))
        dismissed();
}

QWindow *QuickRecorder::window() const
{
    return m_field ? m_field->window() : nullptr;
}

QRectF QuickRecorder::geometryInWindow() const
{
    if (!m_field)
        return {};
    return QRectF(m_field->mapToScene(QPointF(0, 0)), m_field->size());
}

void QuickRecorder::blur()
{
    // The focus goes back to the field's focus scope, the window's content for a plain form.
    if (m_field)
        m_field->setFocus(false, Qt::OtherFocusReason);
}

void QuickRecorder::focus()
{
    if (!m_field)
        return;
    if (QQuickWindow *window = m_field->window())
        window->requestActivate();
    m_field->forceActiveFocus(Qt::OtherFocusReason);
}

void QuickRecorder::showConflictAlert(const QString &message, const QString &informativeText,
                                      std::function<void()> dismissed)
{
    m_alertDismissed = std::move(dismissed);
    emit alert(message, informativeText);
}

} // namespace KeyboardShortcuts
