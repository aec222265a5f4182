#pragma once

#include "platform/widget_center.h"

#include <QString>

#include <memory>

namespace Platform {

// Announces a history change as the session-bus signal app.scrivlet.History.Changed on /app/scrivlet/History,
// which any widget can subscribe to without knowing who sends it.
class DBusWidgetCenter final : public WidgetCenter {
public:
    static constexpr auto path = "/app/scrivlet/History";
    static constexpr auto interface = "app.scrivlet.History";
    static constexpr auto signal = "Changed";

    // Empty when the session has no bus to announce on.
    [[nodiscard]] static std::unique_ptr<DBusWidgetCenter> connect();
    void reloadAllTimelines() override;

private:
    DBusWidgetCenter() = default;
};

} // namespace Platform
