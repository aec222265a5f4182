#pragma once

#include "platform/barcode_detection.h"
#include "platform/serial_worker.h"

namespace Platform {

// Barcode detection with ZXing-cpp, on a worker thread of its own below the caller's priority.
class ZXingBarcodeDetector final : public BarcodeDetection {
public:
    ZXingBarcodeDetector();
    [[nodiscard]] QFuture<std::vector<BarcodeObservation>> detect(QImage image) override;

private:
    SerialWorker m_worker;
};

// The detection itself, on the calling thread: every symbology, dark themes, 1-pixel modules and fractional
// HiDPI scales, in reading order. Uses only settings that never trip the library's internal assertions.
[[nodiscard]] std::vector<BarcodeObservation> detectBarcodes(const QImage &capture);

} // namespace Platform
