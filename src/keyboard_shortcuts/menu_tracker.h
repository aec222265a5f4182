#pragma once

#include "keyboard_shortcuts/local_event_monitor.h"

#include <QList>
#include <QPointer>

#include <functional>

namespace KeyboardShortcuts {

// Tells whether any menu of the program is open: watches every QMenu being shown and hidden.
class MenuTracker {
public:
    // Called with true when the first menu opens and with false when the last one closes.
    explicit MenuTracker(std::function<void(bool isTracking)> onChange);
    MenuTracker(const MenuTracker &) = delete;
    MenuTracker &operator=(const MenuTracker &) = delete;

    bool isTracking() const { return !m_openMenus.isEmpty(); }

private:
    bool handle(QObject *receiver, QEvent *event);
    void update();

    std::function<void(bool)> m_onChange;
    QList<QPointer<QObject>> m_openMenus; // not QPointer<QMenu>: a dying menu is no longer a QMenu
    bool m_wasTracking = false;
    QObject m_context; // ends the destroyed() connections with the tracker
    LocalEventMonitor m_monitor;
};

} // namespace KeyboardShortcuts
