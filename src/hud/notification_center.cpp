#include "hud/notification_center.h"

NotificationCenter &NotificationCenter::defaultCenter()
{
    // A plain QObject without timers or windows may outlive the application object.
    static NotificationCenter center;
    return center;
}
