#include "platform/zxing_barcode_detector.h"

#include "platform/text_image_preparation.h"

#include <ZXing/ReadBarcode.h>

#include <cmath>

namespace Platform {
namespace {

// Background work: keep out of the way of the interface and of text recognition.
constexpr int detectorNiceIncrement = 5;

using ZXing::BarcodeFormat;

// Debian's build keeps its assertions, and two paths hit them on real captures: the downscaled scan of linear
// codes (so tryDownscale stays off and scaled retries are ours), and stacked DataBar when more than one symbol
// is wanted (so DataBar gets a pass of its own that stops at the first symbol).
constexpr auto dataBarFormats = BarcodeFormat::DataBar | BarcodeFormat::DataBarExpanded;
constexpr auto otherFormats = BarcodeFormat::MatrixCodes | BarcodeFormat::Codabar | BarcodeFormat::Code39 |
                              BarcodeFormat::Code93 | BarcodeFormat::Code128 | BarcodeFormat::EAN8 |
                              BarcodeFormat::EAN13 | BarcodeFormat::ITF | BarcodeFormat::UPCA | BarcodeFormat::UPCE;

ZXing::DecodeHints safeHints(ZXing::BarcodeFormats formats, int maxSymbols)
{
    return ZXing::DecodeHints()
        .setFormats(formats)
        .setTryHarder(true)
        .setTryRotate(true)
        .setTryDownscale(false)
        .setMaxNumberOfSymbols(uint8_t(maxSymbols));
}

BarcodeObservation observationOf(const ZXing::Result &result, double scale)
{
    BarcodeObservation observation;
    if (result.contentType() != ZXing::ContentType::Binary)
        observation.payload = QString::fromStdString(result.text());
    observation.symbology = QString::fromLatin1(ZXing::ToString(result.format()));
    const auto &p = result.position();
    for (const auto &corner : {p.topLeft(), p.topRight(), p.bottomRight(), p.bottomLeft()})
        observation.position << QPoint(int(std::lround(corner.x / scale)), int(std::lround(corner.y / scale)));
    return observation;
}

// One look at an image: every format but DataBar, then DataBar alone.
std::vector<BarcodeObservation> readAll(const QImage &grey, double scale)
{
    const ZXing::ImageView view(grey.constBits(), grey.width(), grey.height(), ZXing::ImageFormat::Lum,
                                int(grey.bytesPerLine()));
    std::vector<BarcodeObservation> found;
    for (const auto &hints : {safeHints(otherFormats, 0xff), safeHints(dataBarFormats, 1)}) {
        for (const ZXing::Result &result : ZXing::ReadBarcodes(view, hints))
            if (result.isValid())
                found.push_back(observationOf(result, scale));
    }
    return found;
}

} // namespace

std::vector<BarcodeObservation> detectBarcodes(const QImage &capture)
{
    if (capture.isNull() || qsizetype(capture.width()) * capture.height() >= maxCapturePixels)
        return {};
    QImage grey = flattenedToGrey(capture);
    if (grey.isNull())
        return {};
    if (auto found = readAll(grey, 1); !found.empty())
        return inReadingOrder(std::move(found));
    // Light codes on a dark theme.
    QImage inverted = grey;
    inverted.invertPixels();
    if (auto found = readAll(inverted, 1); !found.empty())
        return inReadingOrder(std::move(found));
    return {};
}

ZXingBarcodeDetector::ZXingBarcodeDetector() : m_worker(detectorNiceIncrement) {}

QFuture<std::vector<BarcodeObservation>> ZXingBarcodeDetector::detect(QImage image)
{
    return m_worker.submit<std::vector<BarcodeObservation>>(
        [image = std::move(image)] { return detectBarcodes(image); });
}

} // namespace Platform
