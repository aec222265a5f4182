#pragma once

#include "platform/barcode_detection.h"
#include "platform/clipboard.h"
#include "platform/desktop_session.h"
#include "platform/notifier.h"
#include "platform/recognizer_process.h"
#include "platform/region_capture_tool.h"
#include "platform/store_review.h"
#include "platform/text_recognition.h"
#include "platform/url_opener.h"
#include "platform/widget_center.h"

#include <memory>

namespace Platform {

// The desktop services the application uses, each chosen once at start. A null member means the session has
// no such service: without a capture tool or a recognition model the application says what to install; without
// a session bus it skips history announcements, review invitations and notices; without a clipboard it copies
// nothing.
struct Services {
    std::unique_ptr<RegionCaptureTool> captureTool;
    QString captureToolPackages; // what to install when the capture tool is missing, for the user
    std::unique_ptr<Clipboard> clipboard;
    // Both served by one helper process; text recognition is null without the English model.
    std::shared_ptr<TextRecognition> textRecognition;
    std::shared_ptr<BarcodeDetection> barcodeDetection;
    std::shared_ptr<RecognizerProcess> recognizerProcess; // that process, for its jobFailed; null without it
    std::unique_ptr<UrlOpener> urlOpener;
    std::unique_ptr<WidgetCenter> widgetCenter;
    std::unique_ptr<StoreReview> storeReview; // refers to urlOpener
    std::unique_ptr<Notifier> notifier;
    DisplayServer displayServer = DisplayServer::x11;
    Desktop desktop = Desktop::other;
};

// Looks at the running session (X11 or Wayland, installed tools) and picks the services for it.
Services detectServices();

} // namespace Platform
