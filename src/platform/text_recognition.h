#pragma once

#include <QFuture>
#include <QImage>
#include <QString>

#include <vector>

namespace Platform {

// Recognises the text shown in a captured screen region.
class TextRecognition {
public:
    virtual ~TextRecognition() = default;

    // The image's text lines in reading order, each line's best reading, read in the languages as Tesseract takes
    // them ("deu+eng"; recognition_languages.h chooses them). Requests are served one at a time, in the order
    // made, off the calling thread; the future resolves with no lines when there is no text, the image cannot be
    // read (null, empty, larger than any screen), the languages' models are missing, or the engine failed on it.
    // Callable from any thread.
    [[nodiscard]] virtual QFuture<std::vector<QString>> recognize(QImage image, QString languages) = 0;
};

} // namespace Platform
