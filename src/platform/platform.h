#pragma once

#include "platform/display_server.h"
#include "platform/region_capture_tool.h"
#include "platform/url_opener.h"

#include <memory>

namespace Platform {

// The desktop services the application uses, each chosen once at start. A null member means the session has
// no such service; the application then tells the user what to install.
struct Services {
    std::unique_ptr<RegionCaptureTool> captureTool;
    std::unique_ptr<UrlOpener> urlOpener;
    DisplayServer displayServer = DisplayServer::x11;
};

// Looks at the running session (X11 or Wayland, installed tools) and picks the services for it.
Services detectServices();

} // namespace Platform
