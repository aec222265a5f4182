#include "platform/platform.h"

#include "platform/dbus_widget_center.h"
#include "platform/desktop_url_opener.h"
#include "platform/freedesktop_notifier.h"
#include "platform/notification_store_review.h"
#include "platform/portal_region_capture_tool.h"
#include "platform/process_region_capture_tool.h"
#include "platform/qt_clipboard.h"
#include "platform/service_choice.h"
#include "platform/tesseract_text_recognizer.h"
#include "platform/wl_copy_clipboard.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPlatform, "scrivlet.platform")

namespace Platform {
namespace {

std::unique_ptr<RegionCaptureTool> chooseCaptureTool(const DesktopSession &session)
{
    // Kept when nothing better is there: it finds a selection program installed later, at the next capture.
    std::unique_ptr<RegionCaptureTool> lastResort;
    for (const CaptureToolKind kind : captureToolsFor(session)) {
        if (kind == CaptureToolKind::selectionProgram) {
            auto tool = std::make_unique<ProcessRegionCaptureTool>(session.displayServer);
            if (tool->isAvailable())
                return tool;
            lastResort = std::move(tool);
        } else if (std::unique_ptr<RegionCaptureTool> portal = PortalRegionCaptureTool::connect()) {
            return portal;
        }
    }
    return lastResort;
}

std::unique_ptr<Clipboard> chooseClipboard(const DesktopSession &session)
{
    switch (clipboardFor(session)) {
    case ClipboardKind::wlCopy:
        return std::make_unique<WlCopyClipboard>(std::make_unique<QtClipboard>());
    case ClipboardKind::qt:
        break;
    }
    return std::make_unique<QtClipboard>();
}

} // namespace

Services detectServices()
{
    Services services;
    const DesktopSession &session = currentSession();
    services.displayServer = session.displayServer;
    services.desktop = session.desktop;
    services.captureToolPackages = captureToolPackages(session);
    services.captureTool = chooseCaptureTool(session);
    if (!services.captureTool || !services.captureTool->isAvailable())
        qCWarning(lcPlatform) << "no screen selection tool; install" << services.captureToolPackages;
    services.clipboard = chooseClipboard(session);
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
    services.notifier = FreedesktopNotifier::connect();
    return services;
}

} // namespace Platform
