#include "keyboard_shortcuts/local_event_monitor.h"

#include <QCoreApplication>

namespace KeyboardShortcuts {

LocalEventMonitor::LocalEventMonitor(QList<QEvent::Type> types, Callback callback)
    : m_types(std::move(types)), m_callback(std::move(callback)), m_application(QCoreApplication::instance())
{
    if (m_application)
        m_application->installEventFilter(this);
}

LocalEventMonitor::~LocalEventMonitor()
{
    if (m_application)
        m_application->removeEventFilter(this);
}

bool LocalEventMonitor::eventFilter(QObject *receiver, QEvent *event)
{
    if (!m_types.contains(event->type()))
        return false;
    // A copy, so that a callback that drops this monitor does not pull the function from under itself.
    const Callback callback = m_callback;
    return callback(receiver, event);
}

} // namespace KeyboardShortcuts
