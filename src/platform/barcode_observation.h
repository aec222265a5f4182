#pragma once

#include <QPolygon>
#include <QString>

#include <optional>
#include <vector>

namespace Platform {

// One machine-readable code found in a capture.
struct BarcodeObservation {
    std::optional<QString> payload; // the text it holds, unchanged; empty when it holds binary data
    QString symbology;              // "QRCode", "EAN-13", "DataMatrix", ...
    QPolygon position;              // its corners in capture pixels, clockwise from the top left

    friend bool operator==(const BarcodeObservation &, const BarcodeObservation &) = default;
};

// Sorts codes as a reader meets them: rows from top to bottom, left to right within a row. Codes whose vertical
// extents overlap share a row.
[[nodiscard]] std::vector<BarcodeObservation> inReadingOrder(std::vector<BarcodeObservation> observations);

// One line for diagnostics: [QRCode "payload" at (x, y w×h), ...].
[[nodiscard]] QString describe(const std::vector<BarcodeObservation> &observations);

} // namespace Platform
