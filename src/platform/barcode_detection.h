#pragma once

#include "platform/barcode_observation.h"

#include <QFuture>
#include <QImage>

#include <vector>

namespace Platform {

// Finds machine-readable codes (QR codes and every other symbology the detector knows) in a captured region.
class BarcodeDetection {
public:
    virtual ~BarcodeDetection() = default;

    // The codes in reading order. Requests are served one at a time, in the order made, off the calling thread;
    // the future resolves with nothing when the image holds no code or cannot be read (null, empty, larger than
    // any screen), or when the detector failed on it. Callable from any thread.
    [[nodiscard]] virtual QFuture<std::vector<BarcodeObservation>> detect(QImage image) = 0;
};

} // namespace Platform
