#include "platform/tesseract_text_recognizer.h"

#include "platform/line_assembly.h"

#include <QFileInfo>
#include <QLoggingCategory>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <string>

namespace Platform {
namespace {

Q_LOGGING_CATEGORY(lcText, "scrivlet.text")

using TessText = std::unique_ptr<char[]>;

QString textAt(const tesseract::ResultIterator &it, tesseract::PageIteratorLevel level)
{
    const TessText text(it.GetUTF8Text(level));
    return text ? QString::fromUtf8(text.get()).trimmed() : QString();
}

QRect boxAt(const tesseract::ResultIterator &it, tesseract::PageIteratorLevel level)
{
    int left = 0, top = 0, right = 0, bottom = 0;
    if (!it.BoundingBox(level, &left, &top, &right, &bottom))
        return {};
    return {QPoint(left, top), QPoint(right - 1, bottom - 1)};
}

// Collects the words of the line the iterator is on and leaves it at the line's last word.
RecognizedLine lineAt(tesseract::ResultIterator &it)
{
    RecognizedLine line;
    line.box = boxAt(it, tesseract::RIL_TEXTLINE);
    int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    line.baseline = it.Baseline(tesseract::RIL_TEXTLINE, &x1, &y1, &x2, &y2) ? (y1 + y2) / 2 : line.box.bottom();
    do {
        QString text = textAt(it, tesseract::RIL_WORD);
        // A word's own box can take in a long underline-like stroke running under its neighbours; the
        // letters' boxes cannot.
        QRect box;
        do {
            if (textAt(it, tesseract::RIL_SYMBOL) != u"_")
                box |= boxAt(it, tesseract::RIL_SYMBOL);
        } while (!it.IsAtFinalElement(tesseract::RIL_WORD, tesseract::RIL_SYMBOL) && it.Next(tesseract::RIL_SYMBOL));
        if (!text.isEmpty())
            line.words.push_back({std::move(text), box.isValid() ? box : boxAt(it, tesseract::RIL_WORD)});
    } while (!it.IsAtFinalElement(tesseract::RIL_TEXTLINE, tesseract::RIL_WORD) && it.Next(tesseract::RIL_WORD));
    return line;
}

} // namespace

void TesseractTextRecognizer::ApiDeleter::operator()(tesseract::TessBaseAPI *api) const noexcept
{
    api->End();
    delete api;
}

bool TesseractTextRecognizer::hasEnglishModel(const QString &modelFolder)
{
    return QFileInfo(modelFolder + QStringLiteral("/eng.traineddata")).isReadable();
}

std::unique_ptr<TesseractTextRecognizer>
TesseractTextRecognizer::load(const QString &modelFolder, const TesseractTuning &tuning, const QString &languages)
{
    // Tesseract would look for a missing model elsewhere and print to the terminal; refuse it here.
    for (const QString &language : languages.split(u'+')) {
        if (language.isEmpty() || language.contains(u"..") ||
            !QFileInfo(modelFolder + u'/' + language + QStringLiteral(".traineddata")).isReadable())
            return nullptr;
    }
    Api api(new tesseract::TessBaseAPI);
    // Word lists are init-only settings, so they go through Init rather than SetVariable.
    const std::vector<std::string> names{"load_system_dawg", "load_freq_dawg", "debug_file"};
    const std::string dawg = tuning.useDictionary ? "1" : "0";
    const std::vector<std::string> values{dawg, dawg, "/dev/null"};
    const QByteArray folder = modelFolder.toLocal8Bit();
    const QByteArray models = languages.toUtf8();
    if (api->Init(folder.constData(), models.constData(), tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values,
                  false) != 0) {
        qCWarning(lcText) << "cannot load the text models" << languages << "from" << modelFolder;
        return nullptr;
    }
    api->SetPageSegMode(static_cast<tesseract::PageSegMode>(tuning.pageSegMode));
    // Code and tables are aligned with runs of spaces; keep them.
    api->SetVariable("preserve_interword_spaces", "1");
    return std::unique_ptr<TesseractTextRecognizer>(new TesseractTextRecognizer(std::move(api), tuning));
}

TesseractTextRecognizer::TesseractTextRecognizer(Api api, const TesseractTuning &tuning)
    : m_api(std::move(api)), m_tuning(tuning)
{}

TesseractTextRecognizer::~TesseractTextRecognizer() = default;

std::vector<QString> TesseractTextRecognizer::recognize(const QImage &capture)
{
    m_lastConfidence = 0;
    const auto prepared = prepareTextImage(capture, m_tuning.image);
    if (!prepared)
        return {};
    const QImage &page = prepared->grey;
    m_api->SetImage(page.constBits(), page.width(), page.height(), 1, int(page.bytesPerLine()));
    m_api->SetSourceResolution(prepared->resolution);
    std::vector<QString> lines;
    if (m_api->Recognize(nullptr) == 0) {
        const std::unique_ptr<tesseract::ResultIterator> it(m_api->GetIterator());
        if (it && !it->Empty(tesseract::RIL_TEXTLINE)) {
            do {
                QString text = m_tuning.restoreUnderscores ? assembleLine(lineAt(*it), page)
                                                           : textAt(*it, tesseract::RIL_TEXTLINE);
                if (!text.isEmpty())
                    lines.push_back(std::move(text));
            } while (it->Next(tesseract::RIL_TEXTLINE));
        }
        m_lastConfidence = m_api->MeanTextConf();
    } else {
        m_lastConfidence = 0;
    }
    m_api->Clear();
    return lines;
}

} // namespace Platform
