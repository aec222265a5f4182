#pragma once

#include "platform/tesseract_text_recognizer.h"

#include <QImage>
#include <QString>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace Platform {

// Tesseract reading the languages a choice names (chooseLanguages()): "fra+deu" reads every capture with those
// models; "auto" or "auto:LANG" reads each capture in its own language, among those installed. Automatic reading
// reads with the preferred model (LANG where it is installed, else English). When that reading is unsure of its
// words, the first model of each other installed script reads the capture's first two lines, and a clearly surer
// reading gives the script. The common words of the reading then tell the language among those of the script (or,
// where too few, a reading with all of the script's models together, whose letters do); a capture in another
// language than the preferred one is read again, in full, with that language's model. Models are loaded when
// first needed and kept. Read on the calling thread.
class TextReader final {
public:
    // Null when a named model is missing (automatic reading needs at least one).
    [[nodiscard]] static std::unique_ptr<TextReader>
    load(const QString &choice, const QString &modelFolder = TesseractTextRecognizer::debianModelFolder,
         const TesseractTuning &tuning = {});

    [[nodiscard]] std::vector<QString> recognize(const QImage &capture);
    // The models the last capture was read with in the end: "deu", "fra+deu".
    [[nodiscard]] QString lastLanguages() const { return m_lastLanguages; }
    // Whether an automatic reading found the last capture in another language than the preferred one.
    [[nodiscard]] bool choseAnother() const { return m_lastLanguages != m_preferred; }

private:
    TextReader(QString modelFolder, TesseractTuning tuning, QStringList installed, QString preferred);
    // The model of the languages; null when it cannot be loaded.
    TesseractTextRecognizer *engine(const QString &languages);
    // The installed language the capture is most likely in, given the preferred model's reading of it.
    QString languageOf(const QImage &capture, QString text, int confidence);

    QString m_modelFolder;
    TesseractTuning m_tuning;
    QStringList m_installed; // empty for a fixed choice
    QString m_preferred;     // the fixed choice, or the automatic reading's first model
    std::map<QString, std::unique_ptr<TesseractTextRecognizer>> m_engines;
    QString m_lastLanguages;
};

} // namespace Platform
