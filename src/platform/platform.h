#pragma once

#include "platform/barcode_detection.h"
#include "platform/desktop_session.h"
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
// a session bus it skips history announcements and review invitations.
struct Services {
    std::unique_ptr<RegionCaptureTool> captureTool;
    // Both served by one helper process; text recognition is null without the English model.
    std::shared_ptr<TextRecognition> textRecognition;
    std::shared_ptr<BarcodeDetection> barcodeDetection;
    std::shared_ptr<RecognizerProcess> recognizerProcess; // that process, for its jobFailed; null without it
    std::unique_ptr<UrlOpener> urlOpener;
    std::unique_ptr<WidgetCenter> widgetCenter;
    std::unique_ptr<StoreReview> storeReview; // refers to urlOpener
    DisplayServer displayServer = DisplayServer::x11;
};

// Looks at the running session (X11 or Wayland, installed tools) and picks the services for it.
Services detectServices();

} // namespace Platform
