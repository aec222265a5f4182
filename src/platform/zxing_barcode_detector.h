#pragma once

#include "platform/barcode_observation.h"

#include <QImage>

#include <vector>

namespace Platform {

// Barcode detection with ZXing-cpp, on the calling thread: every symbology, dark themes, 1-pixel modules and
// fractional HiDPI scales, in reading order. Nothing for a capture that cannot be read (null, larger than any
// screen). Uses only the settings known not to trip the library's internal assertions; since others remain, the
// application runs it in the recognition helper (src/recognizer), never in its own process.
[[nodiscard]] std::vector<BarcodeObservation> detectBarcodes(const QImage &capture);

} // namespace Platform
