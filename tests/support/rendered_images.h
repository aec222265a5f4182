#pragma once

#include <QColor>
#include <QImage>
#include <QString>

#include <ZXing/BarcodeFormat.h>

namespace TestSupport {

// A code drawn with the library's own writer, modulePx screen pixels per module, on a four-module quiet zone.
QImage renderCode(const QString &payload, int modulePx = 2, ZXing::BarcodeFormat format = ZXing::BarcodeFormat::QRCode);

} // namespace TestSupport
