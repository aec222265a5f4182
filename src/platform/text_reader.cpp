#include "platform/text_reader.h"

#include "platform/recognition_languages.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

namespace Platform {
namespace {

const QString english = QStringLiteral("eng");
const QString automatic = QStringLiteral("auto");
// Below this mean word confidence a reading is taken as the wrong script's model guessing.
constexpr int unsureBelow = 75;
// How much surer another script's model must be: code and symbols leave every model somewhat unsure.
constexpr int scriptMargin = 10;
constexpr qsizetype maxModelsTogether = 5;

// The top of the capture down to the end of its second band of ink rows (two lines of text), with the gap below
// it; empty when the capture has no more than that.
std::optional<QImage> firstTwoLines(const QImage &capture)
{
    const QImage grey = capture.convertToFormat(QImage::Format_Grayscale8);
    if (grey.isNull() || grey.height() < 8)
        return std::nullopt;
    std::array<qsizetype, 256> histogram{};
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x)
            ++histogram[row[x]];
    }
    const int background = int(std::max_element(histogram.begin(), histogram.end()) - histogram.begin());
    const auto inked = [&grey, background](int y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x) {
            if (std::abs(int(row[x]) - background) > 64)
                return true;
        }
        return false;
    };
    int bands = 0;
    bool inBand = false;
    for (int y = 0; y < grey.height(); ++y) {
        const bool ink = inked(y);
        if (inBand && !ink && bands == 2) {
            // The cut goes halfway into the gap, so that no stroke of the second line is lost.
            int gapEnd = y;
            while (gapEnd < grey.height() && !inked(gapEnd))
                ++gapEnd;
            if (gapEnd == grey.height())
                return std::nullopt;
            return capture.copy(0, 0, capture.width(), (y + gapEnd + 1) / 2);
        }
        if (ink && !inBand)
            ++bands;
        inBand = ink;
    }
    return std::nullopt;
}

QString joined(const std::vector<QString> &lines)
{
    QStringList all(lines.begin(), lines.end());
    return all.join(u'\n');
}

} // namespace

std::unique_ptr<TextReader> TextReader::load(const QString &choice, const QString &modelFolder,
                                             const TesseractTuning &tuning)
{
    if (choice == automatic || choice.startsWith(automatic + u':')) {
        const QStringList installed = installedLanguages(modelFolder);
        const QString wanted = choice.section(u':', 1);
        const QString preferred = installed.contains(wanted)    ? wanted
                                  : installed.contains(english) ? english
                                                                : installed.value(0);
        if (preferred.isEmpty())
            return nullptr;
        std::unique_ptr<TextReader> reader(new TextReader(modelFolder, tuning, installed, preferred));
        return reader->engine(preferred) ? std::move(reader) : nullptr;
    }
    std::unique_ptr<TextReader> reader(new TextReader(modelFolder, tuning, {}, choice));
    return reader->engine(choice) ? std::move(reader) : nullptr;
}

TextReader::TextReader(QString modelFolder, TesseractTuning tuning, QStringList installed, QString preferred)
    : m_modelFolder(std::move(modelFolder)), m_tuning(std::move(tuning)), m_installed(std::move(installed)),
      m_preferred(std::move(preferred))
{}

TesseractTextRecognizer *TextReader::engine(const QString &languages)
{
    auto found = m_engines.find(languages);
    if (found == m_engines.end())
        found = m_engines.emplace(languages, TesseractTextRecognizer::load(m_modelFolder, m_tuning, languages)).first;
    return found->second.get();
}

QString TextReader::languageOf(const QImage &capture, QString text, int confidence)
{
    // Further readings only serve to tell the language: two lines do that as well as a page.
    std::optional<QImage> sample;
    const auto readSample = [&](TesseractTextRecognizer &engine) {
        if (!sample)
            sample = firstTwoLines(capture).value_or(capture);
        return engine.recognize(*sample);
    };
    QString script = scriptOf(m_preferred);
    QString language = m_preferred;
    if (confidence < unsureBelow) {
        // Perhaps another script: each other script's first model reads it, and a surer reading tells.
        int bestConfidence = confidence;
        QStringList triedScripts{script};
        for (const QString &candidate : std::as_const(m_installed)) {
            const QString otherScript = scriptOf(candidate);
            if (otherScript.isEmpty() || triedScripts.contains(otherScript))
                continue;
            triedScripts << otherScript;
            TesseractTextRecognizer *other = engine(candidate);
            if (!other)
                continue;
            const std::vector<QString> reading = readSample(*other);
            if (other->lastConfidence() > bestConfidence + scriptMargin) {
                bestConfidence = other->lastConfidence();
                script = otherScript;
                language = candidate;
                text = joined(reading);
            }
        }
    }
    // Languages, not script models, and only those whose words can be told apart.
    QStringList sameScript;
    for (const QString &candidate : std::as_const(m_installed)) {
        if (!candidate.startsWith(u"script/") && scriptOf(candidate) == script)
            sameScript << candidate;
    }
    if (const std::optional<QString> identified = identifyLanguage(text, sameScript))
        return *identified;
    // Too few common words: the script's models together keep the letters that only some of its languages use.
    if (sameScript.size() > 1) {
        sameScript.removeOne(language);
        sameScript.prepend(language);
        // A reading with every model of a script (tesseract-ocr-all) would take minutes.
        sameScript = sameScript.mid(0, maxModelsTogether);
        if (TesseractTextRecognizer *together = engine(sameScript.join(u'+')))
            return identifyLanguage(joined(readSample(*together)), sameScript).value_or(language);
    }
    return language;
}

std::vector<QString> TextReader::recognize(const QImage &capture)
{
    // The preferred model reads first; only a capture in another language is read again, with that one's model.
    m_lastLanguages = m_preferred;
    TesseractTextRecognizer *preferred = engine(m_preferred);
    std::vector<QString> lines = preferred ? preferred->recognize(capture) : std::vector<QString>();
    if (m_installed.isEmpty() || lines.empty())
        return lines;
    const QString language = languageOf(capture, joined(lines), preferred->lastConfidence());
    TesseractTextRecognizer *reader = language == m_preferred ? nullptr : engine(language);
    if (!reader)
        return lines;
    m_lastLanguages = language;
    return reader->recognize(capture);
}

} // namespace Platform
