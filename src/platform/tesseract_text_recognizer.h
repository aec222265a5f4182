#pragma once

#include "platform/serial_worker.h"
#include "platform/text_image_preparation.h"
#include "platform/text_recognition.h"

#include <memory>

namespace Platform {

// How the engine is asked to read; the defaults are the figures measured best on screen captures.
struct TesseractTuning {
    TextImageTuning image;
    int pageSegMode = 6;            // one uniform block of text
    bool useDictionary = false;     // word lists "correct" code and identifiers into prose
    bool restoreUnderscores = true; // see assembleLine()
};

// Text recognition with Tesseract's English LSTM model. The engine is loaded once, in the background, at
// construction, and lives on its own thread, so no capture waits for the model.
class TesseractTextRecognizer final : public TextRecognition {
public:
    static constexpr auto debianModelFolder = "/usr/share/tesseract-ocr/5/tessdata";

    // Empty when modelFolder holds no English model.
    [[nodiscard]] static std::unique_ptr<TesseractTextRecognizer> create(const QString &modelFolder = debianModelFolder,
                                                                         const TesseractTuning & = {});
    ~TesseractTextRecognizer() override;
    TesseractTextRecognizer(const TesseractTextRecognizer &) = delete;
    TesseractTextRecognizer &operator=(const TesseractTextRecognizer &) = delete;

    [[nodiscard]] QFuture<std::vector<QString>> recognize(QImage image) override;

private:
    class Engine;
    explicit TesseractTextRecognizer(const QString &modelFolder, const TesseractTuning &);

    std::unique_ptr<Engine> m_engine; // created and used on the worker thread only
    SerialWorker m_worker;            // declared last, so it stops before the engine goes
};

} // namespace Platform
