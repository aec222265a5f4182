#pragma once

#include "platform/desktop_session.h"
#include "platform/notifier.h"

#include <QString>

#include <chrono>
#include <optional>

// How long after launch Scrivlet looks for a tray: at login, panels may start after it.
inline constexpr std::chrono::seconds trayIconNoticeDelay{10};

// Where Scrivlet's tray icon stands a while after launch.
struct TraySituation {
    bool trayAvailable = false; // a tray host shows the icon
    Platform::Desktop desktop = Platform::Desktop::other;
    bool toldBefore = false;         // an earlier start showed the notice
    std::optional<QString> shortcut; // the capture shortcut as menus show it, when it works: "Super+Shift+2"
};

// How to get a tray icon on this desktop, and what works without one; empty where a tray shows the icon and once
// the user has been told.
[[nodiscard]] std::optional<Platform::Notice> trayIconNotice(const TraySituation &situation);
