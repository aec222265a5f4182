#include "platform/tesseract_text_recognizer.h"

#include <QFileInfo>
#include <QLoggingCategory>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <string>

namespace Platform {
namespace {

Q_LOGGING_CATEGORY(lcText, "scrivlet.text")

struct TessBaseApiDeleter {
    void operator()(tesseract::TessBaseAPI *api) const noexcept
    {
        api->End();
        delete api;
    }
};
using TessBaseApi = std::unique_ptr<tesseract::TessBaseAPI, TessBaseApiDeleter>;
using TessText = std::unique_ptr<char[]>;

QString lineText(const tesseract::ResultIterator &line)
{
    const TessText text(line.GetUTF8Text(tesseract::RIL_TEXTLINE));
    return text ? QString::fromUtf8(text.get()).trimmed() : QString();
}

} // namespace

class TesseractTextRecognizer::Engine {
public:
    static std::unique_ptr<Engine> load(const QString &modelFolder, const TesseractTuning &tuning)
    {
        TessBaseApi api(new tesseract::TessBaseAPI);
        // Word lists are init-only settings, so they go through Init rather than SetVariable.
        const std::vector<std::string> names{"load_system_dawg", "load_freq_dawg", "debug_file"};
        const std::string dawg = tuning.useDictionary ? "1" : "0";
        const std::vector<std::string> values{dawg, dawg, "/dev/null"};
        const QByteArray folder = modelFolder.toLocal8Bit();
        if (api->Init(folder.constData(), "eng", tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values, false) != 0) {
            qCWarning(lcText) << "cannot load the English text model from" << modelFolder;
            return nullptr;
        }
        api->SetPageSegMode(static_cast<tesseract::PageSegMode>(tuning.pageSegMode));
        // Code and tables are aligned with runs of spaces; keep them.
        api->SetVariable("preserve_interword_spaces", "1");
        return std::unique_ptr<Engine>(new Engine(std::move(api), tuning));
    }

    std::vector<QString> recognize(const QImage &capture)
    {
        const auto prepared = prepareTextImage(capture, m_tuning.image);
        if (!prepared)
            return {};
        const QImage &grey = prepared->grey;
        m_api->SetImage(grey.constBits(), grey.width(), grey.height(), 1, int(grey.bytesPerLine()));
        m_api->SetSourceResolution(prepared->resolution);
        std::vector<QString> lines;
        if (m_api->Recognize(nullptr) == 0) {
            const std::unique_ptr<tesseract::ResultIterator> line(m_api->GetIterator());
            if (line && !line->Empty(tesseract::RIL_TEXTLINE)) {
                do {
                    if (QString text = lineText(*line); !text.isEmpty())
                        lines.push_back(std::move(text));
                } while (line->Next(tesseract::RIL_TEXTLINE));
            }
        }
        m_api->Clear();
        return lines;
    }

private:
    Engine(TessBaseApi api, const TesseractTuning &tuning) : m_api(std::move(api)), m_tuning(tuning) {}

    TessBaseApi m_api;
    TesseractTuning m_tuning;
};

std::unique_ptr<TesseractTextRecognizer> TesseractTextRecognizer::create(const QString &modelFolder,
                                                                         const TesseractTuning &tuning)
{
    if (!QFileInfo(modelFolder + QStringLiteral("/eng.traineddata")).isReadable())
        return nullptr;
    return std::unique_ptr<TesseractTextRecognizer>(new TesseractTextRecognizer(modelFolder, tuning));
}

TesseractTextRecognizer::TesseractTextRecognizer(const QString &modelFolder, const TesseractTuning &tuning)
{
    m_worker.post([this, modelFolder, tuning] { m_engine = Engine::load(modelFolder, tuning); });
}

TesseractTextRecognizer::~TesseractTextRecognizer() = default;

QFuture<std::vector<QString>> TesseractTextRecognizer::recognize(QImage image)
{
    return m_worker.submit<std::vector<QString>>(
        [this, image = std::move(image)] { return m_engine ? m_engine->recognize(image) : std::vector<QString>{}; });
}

} // namespace Platform
