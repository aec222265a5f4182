#pragma once

#include "platform/notifier.h"

#include <QObject>

#include <memory>

namespace Platform {

// Notices through the session's notification server (org.freedesktop.Notifications), under Scrivlet's desktop
// entry, so that the desktop shows its name and icon and keeps the notice in its list.
class FreedesktopNotifier final : public QObject, public Notifier {
    Q_OBJECT
public:
    // Empty when the session has no bus; a bus without a notification server gives a notifier whose notices are
    // not taken.
    [[nodiscard]] static std::unique_ptr<FreedesktopNotifier> connect();
    void notify(const Notice &notice, std::function<void(bool taken)> taken) override;

private:
    FreedesktopNotifier() = default;
};

} // namespace Platform
