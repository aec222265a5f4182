#pragma once

#include "platform/text_image_preparation.h"

#include <QString>

#include <memory>
#include <vector>

namespace tesseract {
class TessBaseAPI;
}

namespace Platform {

// How the engine is asked to read; the defaults are the figures measured best on screen captures.
struct TesseractTuning {
    TextImageTuning image;
    int pageSegMode = 6;            // one uniform block of text
    bool useDictionary = false;     // word lists "correct" code and identifiers into prose
    bool restoreUnderscores = true; // see assembleLine()
};

// Tesseract's LSTM models of one or more languages, loaded once, read on the calling thread. The recognition helper
// (src/recognizer) owns one; the application reaches it only through that process (RecognizerProcess).
class TesseractTextRecognizer final {
public:
    static constexpr auto debianModelFolder = "/usr/share/tesseract-ocr/5/tessdata";

    // Whether modelFolder holds a readable English model; a file check, the model is not loaded.
    [[nodiscard]] static bool hasEnglishModel(const QString &modelFolder = debianModelFolder);
    // languages as Tesseract takes them ("deu+eng"; see recognition_languages.h). Empty when modelFolder lacks
    // one of their models or the engine cannot load them.
    [[nodiscard]] static std::unique_ptr<TesseractTextRecognizer>
    load(const QString &modelFolder = debianModelFolder, const TesseractTuning & = {},
         const QString &languages = QStringLiteral("eng"));
    ~TesseractTextRecognizer();
    TesseractTextRecognizer(const TesseractTextRecognizer &) = delete;
    TesseractTextRecognizer &operator=(const TesseractTextRecognizer &) = delete;

    // The capture's text lines in reading order; none for a capture that cannot be read (null, empty, larger
    // than any screen) or holds no text.
    [[nodiscard]] std::vector<QString> recognize(const QImage &capture);
    // How sure the engine was of the last capture's words, 0–100; 0 when it found none.
    [[nodiscard]] int lastConfidence() const { return m_lastConfidence; }

private:
    struct ApiDeleter {
        void operator()(tesseract::TessBaseAPI *api) const noexcept;
    };
    using Api = std::unique_ptr<tesseract::TessBaseAPI, ApiDeleter>;
    TesseractTextRecognizer(Api api, const TesseractTuning &tuning);

    Api m_api;
    TesseractTuning m_tuning;
    int m_lastConfidence = 0;
};

} // namespace Platform
