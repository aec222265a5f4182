#include "platform/platform.h"

#include "platform/dbus_widget_center.h"
#include "platform/desktop_url_opener.h"
#include "platform/notification_store_review.h"
#include "platform/portal_region_capture_tool.h"
#include "platform/process_region_capture_tool.h"
#include "platform/tesseract_text_recognizer.h"
#include "platform/zxing_barcode_detector.h"

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
    else if (services.displayServer == DisplayServer::wayland)
        services.captureTool = PortalRegionCaptureTool::connect();
    if (!services.captureTool)
        qCWarning(lcPlatform) << "no screen selection tool; install" << captureToolPackages(services.displayServer);
    // Loads the model in the background now, so that the first capture does not wait for it.
    services.textRecognition = TesseractTextRecognizer::create();
    if (!services.textRecognition)
        qCWarning(lcPlatform) << "no English text recognition model; install tesseract-ocr-eng";
    services.barcodeDetection = std::make_unique<ZXingBarcodeDetector>();
    services.urlOpener = std::make_unique<DesktopUrlOpener>();
    services.widgetCenter = DBusWidgetCenter::connect();
    services.storeReview = NotificationStoreReview::connect(*services.urlOpener);
    return services;
}

} // namespace Platform
