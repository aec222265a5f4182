#include "platform/platform.h"

#include "platform/desktop_url_opener.h"
#include "platform/process_region_capture_tool.h"

#include <QLoggingCategory>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcPlatform, "scrivlet.platform")

namespace Platform {

DisplayServer currentDisplayServer()
{
    return qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ? DisplayServer::x11 : DisplayServer::wayland;
}

Services detectServices()
{
    Services services;
    services.displayServer = currentDisplayServer();
    const auto isInstalled = [](const QString &program) { return !QStandardPaths::findExecutable(program).isEmpty(); };
    if (auto command = findCaptureTool(services.displayServer, isInstalled))
        services.captureTool = std::make_unique<ProcessRegionCaptureTool>(std::move(*command));
    else
        qCWarning(lcPlatform) << "no screen selection tool; install" << captureToolPackages(services.displayServer);
    services.urlOpener = std::make_unique<DesktopUrlOpener>();
    return services;
}

} // namespace Platform
