#include "platform/text_image_preparation.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace Platform {
namespace {

// Less than this between background and ink is no text: at worst a gradient or a JPEG artefact.
constexpr int minContrast = 24;
// Ink runs this short are rules, underlines and borders, not lines of text.
constexpr int minLineHeight = 5;

using Histogram = std::array<qsizetype, 256>;

Histogram histogramOf(const QImage &grey)
{
    Histogram histogram{};
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x)
            ++histogram[row[x]];
    }
    return histogram;
}

int percentile(const Histogram &histogram, qsizetype total, double fraction)
{
    const auto wanted = static_cast<qsizetype>(std::ceil(double(total) * fraction));
    qsizetype seen = 0;
    for (int value = 0; value < 256; ++value) {
        seen += histogram[value];
        if (seen >= std::max<qsizetype>(wanted, 1))
            return value;
    }
    return 255;
}

// Median height of the bands of rows that hold ink; the size of the text, whatever the font.
std::optional<int> typicalLineHeight(const QImage &grey, int inkThreshold)
{
    std::vector<int> heights;
    int run = 0;
    for (int y = 0; y <= grey.height(); ++y) {
        bool inked = false;
        if (y < grey.height()) {
            const uchar *row = grey.constScanLine(y);
            inked = std::any_of(row, row + grey.width(), [&](uchar v) { return v < inkThreshold; });
        }
        if (inked) {
            ++run;
        } else {
            if (run >= minLineHeight)
                heights.push_back(run);
            run = 0;
        }
    }
    if (heights.empty())
        return std::nullopt;
    std::nth_element(heights.begin(), heights.begin() + heights.size() / 2, heights.end());
    return heights[heights.size() / 2];
}

QImage padded(const QImage &grey, int padding)
{
    QImage result(grey.width() + 2 * padding, grey.height() + 2 * padding, QImage::Format_Grayscale8);
    result.fill(255);
    for (int y = 0; y < grey.height(); ++y)
        std::memcpy(result.scanLine(y + padding) + padding, grey.constScanLine(y), size_t(grey.width()));
    return result;
}

} // namespace

QImage flattenedToGrey(const QImage &capture)
{
    if (!capture.hasAlphaChannel())
        return capture.convertToFormat(QImage::Format_Grayscale8);
    // Transparent pixels would turn black; the region was shown over something, most likely white.
    QImage flat(capture.size(), QImage::Format_RGB32);
    flat.fill(Qt::white);
    QPainter painter(&flat);
    painter.drawImage(0, 0, capture);
    painter.end();
    return flat.convertToFormat(QImage::Format_Grayscale8);
}

std::optional<PreparedTextImage> prepareTextImage(const QImage &capture, const TextImageTuning &tuning)
{
    if (capture.isNull() || qsizetype(capture.width()) * capture.height() >= maxCapturePixels)
        return std::nullopt;
    QImage grey = flattenedToGrey(capture);
    if (grey.isNull())
        return std::nullopt;

    const qsizetype total = qsizetype(grey.width()) * grey.height();
    Histogram histogram = histogramOf(grey);
    // Text covers far less than half of a region, so the median is the background, light or dark theme alike.
    const int background = percentile(histogram, total, 0.5);
    if (background < 128) {
        grey.invertPixels();
        std::reverse(histogram.begin(), histogram.end());
    }
    const int paper = std::max(background, 255 - background);
    const int ink = percentile(histogram, total, 0.002);
    if (paper - ink < minContrast)
        return std::nullopt;

    if (tuning.stretchContrast) {
        std::array<uchar, 256> lut{};
        for (int v = 0; v < 256; ++v)
            lut[v] = uchar(
                std::lround(255 * std::pow(std::clamp(double(v - ink) / (paper - ink), 0.0, 1.0), tuning.inkGamma)));
        for (int y = 0; y < grey.height(); ++y) {
            uchar *row = grey.scanLine(y);
            for (int x = 0; x < grey.width(); ++x)
                row[x] = lut[row[x]];
        }
    }
    const int inkThreshold = tuning.stretchContrast ? 128 : (paper + ink) / 2;

    double scale = 1;
    if (const auto lineHeight = typicalLineHeight(grey, inkThreshold))
        scale = std::clamp(tuning.targetLineHeight / *lineHeight, tuning.minScale, tuning.maxScale);
    const double area = double(grey.width()) * grey.height();
    scale = std::min(scale, std::sqrt(double(tuning.maxPixels) / area));
    if (std::abs(scale - 1) > 0.05) {
        const int width = std::max(1, int(std::lround(grey.width() * scale)));
        const int height = std::max(1, int(std::lround(grey.height() * scale)));
        grey = grey.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                   .convertToFormat(QImage::Format_Grayscale8);
    } else {
        scale = 1;
    }

    PreparedTextImage prepared;
    prepared.scale = scale;
    // A 10 pt line of print is about 1.2 x 10/72 inch high.
    const auto lineHeight = typicalLineHeight(grey, inkThreshold).value_or(int(tuning.targetLineHeight));
    prepared.resolution = tuning.fixedResolution > 0
                              ? tuning.fixedResolution
                              : std::clamp(int(std::lround(lineHeight / (1.2 * 10.0 / 72.0))), 70, 1200);
    prepared.grey = padded(grey, tuning.padding);
    return prepared;
}

} // namespace Platform
