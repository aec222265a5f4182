#pragma once

#include "platform/region_capture_tool.h"

#include <QString>

#include <chrono>
#include <memory>

namespace Platform {

// The desktop portal's interactive screenshot (org.freedesktop.portal.Screenshot): on Wayland desktops without
// grim and slurp, the compositor's own dialog lets the user pick the region.
class PortalRegionCaptureTool final : public RegionCaptureTool {
public:
    // Empty when the session bus offers no portal.
    [[nodiscard]] static std::unique_ptr<PortalRegionCaptureTool> connect();

    void captureRegion(const QString &destination) override;

    static constexpr std::chrono::minutes timeLimit{10};

private:
    PortalRegionCaptureTool() = default;
};

} // namespace Platform
