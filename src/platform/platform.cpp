#include "platform/platform.h"

#include "platform/dbus_widget_center.h"
#include "platform/desktop_url_opener.h"
#include "platform/notification_store_review.h"
#include "platform/portal_region_capture_tool.h"
#include "platform/process_region_capture_tool.h"
#include "platform/tesseract_text_recognizer.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPlatform, "scrivlet.platform")

namespace Platform {

Services detectServices()
{
    Services services;
    services.displayServer = currentSession().displayServer;
    auto processTool = std::make_unique<ProcessRegionCaptureTool>(services.displayServer);
    // The portal's dialog only where grim and slurp are missing: they select without a dialog in between.
    if (services.displayServer == DisplayServer::wayland && !processTool->isAvailable())
        services.captureTool = PortalRegionCaptureTool::connect();
    if (!services.captureTool)
        services.captureTool = std::move(processTool);
    if (!services.captureTool->isAvailable())
        qCWarning(lcPlatform) << "no screen selection tool; install" << captureToolPackages(services.displayServer);
    // The engines run in a helper process, never in ours: a crash inside one of them must not end Scrivlet.
    // It starts now and loads the model, so that the first capture does not wait for it.
    if (const std::optional<QString> helper = findRecognizerHelper()) {
        services.recognizerProcess = std::make_shared<RecognizerProcess>(*helper);
        services.barcodeDetection = services.recognizerProcess;
        if (TesseractTextRecognizer::hasEnglishModel())
            services.textRecognition = services.recognizerProcess;
        else
            qCWarning(lcPlatform) << "no English text recognition model; install tesseract-ocr-eng";
    } else {
        qCWarning(lcPlatform) << "the recognition helper scrivlet-recognizer is missing; reinstall Scrivlet";
    }
    services.urlOpener = std::make_unique<DesktopUrlOpener>();
    services.widgetCenter = DBusWidgetCenter::connect();
    services.storeReview = NotificationStoreReview::connect(*services.urlOpener);
    return services;
}

} // namespace Platform
