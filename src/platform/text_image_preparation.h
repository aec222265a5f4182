#pragma once

#include <QImage>

#include <optional>

namespace Platform {

// How a screen capture is turned into the image the text engine reads best.
struct TextImageTuning {
    double targetLineHeight = 30;     // height of a line of ink (ascenders to descenders) after scaling, px
    double maxScale = 4;              // small text is scaled up at most this much
    double minScale = 1;              // large text is scaled down at most to this
    qsizetype maxPixels = 24'000'000; // the prepared image never grows beyond this
    int padding = 16;                 // white margin, so text touching the capture's edge is still read
    bool stretchContrast = true;      // map the darkest ink to black and the background to white
    double inkGamma = 1;              // above 1 darkens the faint, partly covered pixels of thin strokes
    int fixedResolution = 0;          // pixels per inch told to the engine; 0 derives it from the text's size
};

// A capture ready for the engine: grey, dark text on white, text scaled to a readable size.
struct PreparedTextImage {
    QImage grey;        // Format_Grayscale8
    double scale = 1;   // prepared pixels per capture pixel
    int resolution = 0; // pixels per inch at which the prepared text has the size of 10 pt print
};

// Captures at least this large are refused: no screen shows that much.
constexpr qsizetype maxCapturePixels = qsizetype(1) << 26;

// The capture as Format_Grayscale8; translucent pixels are taken as shown over white.
[[nodiscard]] QImage flattenedToGrey(const QImage &capture);

// Empty for a null image, an image too large to be a screen capture, or a region without any contrast.
[[nodiscard]] std::optional<PreparedTextImage> prepareTextImage(const QImage &capture, const TextImageTuning & = {});

} // namespace Platform
