#include "platform/zxing_barcode_detector.h"

#include "platform/text_image_preparation.h"

#include <ZXing/ReadBarcode.h>

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace Platform {
namespace {

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

// The library calls any payload with control characters binary, tabs and line breaks included; a payload that
// is valid UTF-8 with no other control character is text.
std::optional<QString> textOf(const ZXing::Result &result)
{
    if (result.contentType() != ZXing::ContentType::Binary)
        return QString::fromStdString(result.text());
    const ZXing::ByteArray &bytes = result.bytes();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(QByteArrayView(reinterpret_cast<const char *>(bytes.data()), qsizetype(bytes.size())));
    if (decoder.hasError())
        return std::nullopt;
    const bool printable = std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return c == u'\t' || c == u'\n' || c == u'\r' || c.category() != QChar::Other_Control;
    });
    return printable ? std::optional(std::move(text)) : std::nullopt;
}

BarcodeObservation observationOf(const ZXing::Result &result, double scale)
{
    BarcodeObservation observation;
    observation.payload = textOf(result);
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

QImage scaledGrey(const QImage &grey, double scale)
{
    return grey
        .scaled(std::max(1, int(std::lround(grey.width() * scale))),
                std::max(1, int(std::lround(grey.height() * scale))), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_Grayscale8);
}

int medianOf(const QImage &grey)
{
    std::array<qsizetype, 256> histogram{};
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x)
            ++histogram[row[x]];
    }
    const qsizetype half = qsizetype(grey.width()) * grey.height() / 2;
    qsizetype seen = 0;
    for (int v = 0; v < 256; ++v)
        if ((seen += histogram[v]) > half)
            return v;
    return 255;
}

// Retries cost a full scan each; only captures this small (a code and little else) get them, so that a large
// region without any code still answers quickly.
constexpr qsizetype retryPixels = 160'000;
// Fractional HiDPI scales (125 %, 150 %) smear modules over pixel edges; resampling brings them back to whole
// pixels, or makes them large enough for the detector's tolerance.
constexpr std::array retryScales{0.8, 2.0 / 3.0, 2.0, 3.0};

} // namespace

std::vector<BarcodeObservation> detectBarcodes(const QImage &capture)
{
    if (capture.isNull() || qsizetype(capture.width()) * capture.height() >= maxCapturePixels)
        return {};
    QImage grey = flattenedToGrey(capture);
    if (grey.isNull())
        return {};
    // Read the way the region looks first: a dark background usually means light codes.
    QImage inverted = grey;
    inverted.invertPixels();
    if (medianOf(grey) < 128)
        std::swap(grey, inverted);
    if (auto found = readAll(grey, 1); !found.empty())
        return inReadingOrder(std::move(found));
    if (qsizetype(grey.width()) * grey.height() > retryPixels)
        return {};
    if (auto found = readAll(inverted, 1); !found.empty())
        return inReadingOrder(std::move(found));
    for (const double scale : retryScales) {
        if (auto found = readAll(scaledGrey(grey, scale), scale); !found.empty())
            return inReadingOrder(std::move(found));
    }
    return {};
}

} // namespace Platform
