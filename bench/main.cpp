// Accuracy and speed of the recognition engines on a corpus of captures; see README.md.
#include "manifest.h"
#include "scoring.h"

#include "platform/captured_image.h"
#include "platform/openmp_thread_limit.h"
#include "platform/recognition_languages.h"
#include "platform/recognizer_process.h"
#include "platform/tesseract_text_recognizer.h"
#include "platform/text_reader.h"
#include "platform/zxing_barcode_detector.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unistd.h>
#include <vector>

namespace {

struct Timings {
    std::vector<double> ms;

    [[nodiscard]] double percentile(double fraction) const
    {
        if (ms.empty())
            return 0;
        std::vector<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        // Nearest rank.
        const auto rank = size_t(std::max(1.0, std::ceil(fraction * double(sorted.size()))));
        return sorted[rank - 1];
    }
};

double clockMs(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Where the jobs run: in this process, or in the recognition helper as Scrivlet runs them.
class Engines {
public:
    // Loads the text engine for the languages with textTuning, unless there is none (barcodes only).
    static Engines inProcess(const std::optional<Platform::TesseractTuning> &textTuning, const QString &languages)
    {
        Engines engines;
        if (textTuning)
            engines.m_text = Platform::TextReader::load(
                languages, QString::fromLatin1(Platform::TesseractTextRecognizer::debianModelFolder), *textTuning);
        return engines;
    }
    static Engines isolated(const QString &languages)
    {
        Engines engines;
        engines.m_languages = languages;
        engines.m_helper = std::make_unique<Platform::RecognizerProcess>(QStringLiteral(SCRIVLET_RECOGNIZER_HELPER));
        // The helper loads the models at its start; waiting for a first job keeps that out of the figures.
        QImage blank(1, 1, QImage::Format_RGB32);
        blank.fill(Qt::white);
        engines.m_helper->recognize(blank, languages).waitForFinished();
        return engines;
    }

    // The models the last capture was read with, where this process reads.
    [[nodiscard]] QString lastLanguages() const { return m_text ? m_text->lastLanguages() : QString(); }
    [[nodiscard]] bool readsText() const { return m_helper || m_text; }

    std::vector<QString> recognize(const QImage &capture)
    {
        if (m_helper)
            return m_helper->recognize(capture, m_languages).result();
        return m_text ? m_text->recognize(capture) : std::vector<QString>();
    }
    std::vector<Platform::BarcodeObservation> detect(const QImage &capture)
    {
        return m_helper ? m_helper->detect(capture).result() : Platform::detectBarcodes(capture);
    }

    // CPU time of the process that reads and, when there is one, of the helper: the caller only waits, so this is
    // the engines' and the transfer's, whatever else the machine runs.
    double cpuMs() const
    {
        double ms = clockMs(CLOCK_PROCESS_CPUTIME_ID);
        clockid_t helperClock;
        if (const auto pid = m_helper ? m_helper->helperProcessId() : std::nullopt;
            pid && clock_getcpuclockid(pid_t(*pid), &helperClock) == 0)
            ms += clockMs(helperClock);
        return ms;
    }

private:
    Engines() = default;

    std::unique_ptr<Platform::TextReader> m_text;
    std::unique_ptr<Platform::RecognizerProcess> m_helper;
    QString m_languages;
};

int usage()
{
    std::fprintf(stderr, "usage: scrivlet-bench ocr MANIFEST [--isolated] [--language auto|LANG[+LANG...]] [--out DIR] "
                         "[--tune NAME=VALUE]...\n"
                         "       scrivlet-bench barcode MANIFEST [--isolated]\n");
    return 2;
}

bool applyTuning(Platform::TesseractTuning &tuning, const QString &setting)
{
    const auto name = setting.section(u'=', 0, 0);
    bool ok = false;
    const double value = setting.section(u'=', 1).toDouble(&ok);
    if (!ok)
        return false;
    if (name == u"line")
        tuning.image.targetLineHeight = value;
    else if (name == u"maxscale")
        tuning.image.maxScale = value;
    else if (name == u"minscale")
        tuning.image.minScale = value;
    else if (name == u"padding")
        tuning.image.padding = int(value);
    else if (name == u"stretch")
        tuning.image.stretchContrast = value != 0;
    else if (name == u"gamma")
        tuning.image.inkGamma = value;
    else if (name == u"dpi")
        tuning.image.fixedResolution = int(value);
    else if (name == u"psm")
        tuning.pageSegMode = int(value);
    else if (name == u"dict")
        tuning.useDictionary = value != 0;
    else if (name == u"underscores")
        tuning.restoreUnderscores = value != 0;
    else
        return false;
    return true;
}

int runOcr(const Bench::Manifest &manifest, const QString &outDir, Engines engines)
{
    if (!Platform::TesseractTextRecognizer::hasEnglishModel() || !engines.readsText()) {
        std::fprintf(stderr, "the English text model is not installed\n");
        return 1;
    }
    if (!outDir.isEmpty() && !QDir().mkpath(outDir)) {
        std::fprintf(stderr, "cannot create %s\n", qPrintable(outDir));
        return 1;
    }

    Bench::EditCount chars, words;
    std::map<QString, Bench::EditCount> charsByLanguage; // where the manifest has a "language" column
    Timings timings, cpu;
    for (const QStringList &cells : manifest.rows) {
        const Bench::ManifestRow row{cells, &manifest.header};
        const QString file = row.value(QStringLiteral("file"));
        QFile gtFile(manifest.path(row.value(QStringLiteral("gt"))));
        const auto loaded = Platform::loadCapturedImage(manifest.path(file));
        const QImage *image = std::get_if<QImage>(&loaded);
        if (!image || !gtFile.open(QIODevice::ReadOnly)) {
            std::printf("%s\tunreadable\n", qPrintable(file));
            continue;
        }
        QElapsedTimer clock;
        clock.start();
        const double cpuStart = engines.cpuMs();
        const std::vector<QString> lines = engines.recognize(*image);
        timings.ms.push_back(double(clock.nsecsElapsed()) / 1e6);
        cpu.ms.push_back(engines.cpuMs() - cpuStart);

        QStringList joined(lines.begin(), lines.end());
        const QString text = joined.join(u'\n');
        if (!outDir.isEmpty()) {
            QFile out(QDir(outDir).filePath(QFileInfo(file).completeBaseName() + QStringLiteral(".txt")));
            if (out.open(QIODevice::WriteOnly | QIODevice::Truncate))
                out.write(text.toUtf8());
        }
        const QString reference = Bench::normalizedText(QString::fromUtf8(gtFile.readAll()));
        const QString hypothesis = Bench::normalizedText(text);
        const auto c = Bench::characterEdits(reference, hypothesis);
        const auto w = Bench::wordEdits(reference, hypothesis);
        chars.distance += c.distance;
        chars.referenceLength += c.referenceLength;
        if (const QString language = row.value(QStringLiteral("language")); !language.isEmpty()) {
            charsByLanguage[language].distance += c.distance;
            charsByLanguage[language].referenceLength += c.referenceLength;
        }
        words.distance += w.distance;
        words.referenceLength += w.referenceLength;
        std::printf("%s\tchar_errors=%lld/%lld\tword_errors=%lld/%lld\tms=%.1f\t%s\n", qPrintable(file),
                    static_cast<long long>(c.distance), static_cast<long long>(c.referenceLength),
                    static_cast<long long>(w.distance), static_cast<long long>(w.referenceLength), timings.ms.back(),
                    qPrintable(engines.lastLanguages()));
    }
    const auto percent = [](const Bench::EditCount &e) {
        return e.referenceLength ? 100.0 * double(e.distance) / double(e.referenceLength) : 0.0;
    };
    std::printf("cpu_median_ms=%.1f cpu_p95_ms=%.1f\n", cpu.percentile(0.5), cpu.percentile(0.95));
    for (const auto &[language, edits] : charsByLanguage)
        std::printf("CER[%s]=%.2f ", qPrintable(language), percent(edits));
    if (!charsByLanguage.empty())
        std::printf("\n");
    std::printf("CER=%.2f WER=%.2f median_ms=%.1f p95_ms=%.1f n=%zu\n", percent(chars), percent(words),
                timings.percentile(0.5), timings.percentile(0.95), timings.ms.size());
    return 0;
}

QString hexOf(const QString &text)
{
    return QString::fromLatin1(text.toUtf8().toHex());
}

int runBarcode(const Bench::Manifest &manifest, Engines engines)
{
    int withCode = 0, decoded = 0, falsePositives = 0;
    Timings timings, cpu;
    for (const QStringList &cells : manifest.rows) {
        const Bench::ManifestRow row{cells, &manifest.header};
        const QString file = row.value(QStringLiteral("file"));
        const QString expected = row.value(QStringLiteral("expected_hex")).toLower();
        QStringList accepted = row.value(QStringLiteral("alt_hex")).toLower().split(u',', Qt::SkipEmptyParts);
        accepted.push_back(expected);
        const auto loaded = Platform::loadCapturedImage(manifest.path(file));
        const QImage *image = std::get_if<QImage>(&loaded);
        if (!image) {
            std::printf("%s\tunreadable\n", qPrintable(file));
            continue;
        }
        QElapsedTimer clock;
        clock.start();
        const double cpuStart = engines.cpuMs();
        const std::vector<Platform::BarcodeObservation> found = engines.detect(*image);
        timings.ms.push_back(double(clock.nsecsElapsed()) / 1e6);
        cpu.ms.push_back(engines.cpuMs() - cpuStart);

        const QString first = found.empty() || !found.front().payload ? QString() : hexOf(*found.front().payload);
        QString verdict;
        if (expected.isEmpty()) {
            falsePositives += int(found.size());
            verdict = found.empty() ? QStringLiteral("ok") : QStringLiteral("FALSE_POSITIVE");
        } else {
            ++withCode;
            const bool ok = !first.isEmpty() && accepted.contains(first);
            decoded += ok ? 1 : 0;
            verdict = ok ? QStringLiteral("ok") : QStringLiteral("MISSED");
        }
        std::printf("%s\t%s\tms=%.1f\t%s\n", qPrintable(file), qPrintable(verdict), timings.ms.back(),
                    qPrintable(Platform::describe(found)));
    }
    std::printf("cpu_median_ms=%.1f cpu_p95_ms=%.1f\n", cpu.percentile(0.5), cpu.percentile(0.95));
    std::printf("decoded=%d/%d false_positives=%d median_ms=%.1f p95_ms=%.1f\n", decoded, withCode, falsePositives,
                timings.percentile(0.5), timings.percentile(0.95));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    Platform::restartWithSingleThreadedOpenMP(argv);
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.size() < 2)
        return usage();
    const QString mode = args[0];
    QString outDir;
    Platform::TesseractTuning tuning;
    bool tuned = false;
    bool isolated = false;
    QString languages = QStringLiteral("eng");
    for (int i = 2; i < args.size(); ++i) {
        if (args[i] == u"--out" && i + 1 < args.size())
            outDir = args[++i];
        else if (args[i] == u"--language" && i + 1 < args.size())
            languages = args[++i];
        else if (args[i] == u"--tune" && i + 1 < args.size() && applyTuning(tuning, args[++i]))
            tuned = true;
        else if (args[i] == u"--isolated")
            isolated = true;
        else
            return usage();
    }
    // The helper reads with the product's tuning only.
    if (isolated && tuned)
        return usage();
    if (mode == u"ocr") {
        const auto manifest = Bench::readManifest(args[1], {QStringLiteral("file"), QStringLiteral("gt")});
        if (languages == u"auto") // as Scrivlet chooses them with nothing chosen, in this process's locale
            languages = Platform::chooseLanguages(
                {},
                Platform::installedLanguages(QString::fromLatin1(Platform::TesseractTextRecognizer::debianModelFolder)),
                Platform::desktopLanguage());
        std::fprintf(stderr, "languages: %s\n", qPrintable(languages));
        return manifest ? runOcr(*manifest, outDir,
                                 isolated ? Engines::isolated(languages) : Engines::inProcess(tuning, languages))
                        : 1;
    }
    if (mode == u"barcode" && outDir.isEmpty() && !tuned) {
        const auto manifest = Bench::readManifest(args[1], {QStringLiteral("file"), QStringLiteral("expected_hex")});
        return manifest ? runBarcode(*manifest, isolated ? Engines::isolated(languages)
                                                         : Engines::inProcess(std::nullopt, languages))
                        : 1;
    }
    return usage();
}
