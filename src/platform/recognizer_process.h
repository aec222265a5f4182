#pragma once

#include "platform/barcode_detection.h"
#include "platform/text_recognition.h"

#include <QObject>
#include <QString>
#include <QThread>

#include <chrono>
#include <memory>
#include <optional>

namespace Platform {

// Text recognition and barcode detection in a helper process (scrivlet-recognizer), so that a crash, an abort or
// a hang inside Tesseract, Leptonica or ZXing ends only the helper. The helper is started at construction and
// started again whenever it dies; jobs of both kinds are served one at a time, in the order made, by a thread the
// client owns. A job that fails (the helper crashed, took longer than the time limit, or answered something
// malformed) resolves with nothing found, writes one warning and emits jobFailed; the next job goes to a fresh
// helper. The helper holds the models of one choice of languages, warm; a text job in other languages replaces it
// with one that loads theirs. Destroying the client kills the helper and cancels the jobs still waiting.
class RecognizerProcess final : public QObject, public TextRecognition, public BarcodeDetection {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds defaultJobTimeLimit{30'000};

    // helperProgram is the path of scrivlet-recognizer. jobTimeLimit counts from the moment the helper has the job
    // and its engines are loaded; loading them has the same limit.
    explicit RecognizerProcess(const QString &helperProgram,
                               std::chrono::milliseconds jobTimeLimit = defaultJobTimeLimit);
    ~RecognizerProcess() override;
    RecognizerProcess(const RecognizerProcess &) = delete;
    RecognizerProcess &operator=(const RecognizerProcess &) = delete;

    [[nodiscard]] QFuture<std::vector<QString>> recognize(QImage image, QString languages) override;
    [[nodiscard]] QFuture<std::vector<BarcodeObservation>> detect(QImage image) override;
    // A job that makes the helper abort, as a crash inside an engine would; for tests of the recovery.
    [[nodiscard]] QFuture<std::vector<QString>> abortHelperForTesting();

    // The running helper's process id; empty while none runs (between a death and the next start).
    [[nodiscard]] std::optional<qint64> helperProcessId() const;

signals:
    // A job found nothing because the helper failed; reason says how, in a sentence for the log.
    void jobFailed(const QString &reason);

private:
    class Session;

    QThread m_thread;
    std::unique_ptr<Session> m_session; // lives on m_thread
};

// The helper of the installed program: in its libexec folder, or else beside the program (a build tree). Empty
// when neither holds it.
[[nodiscard]] std::optional<QString> findRecognizerHelper();

} // namespace Platform
