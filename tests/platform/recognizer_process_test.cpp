#include "platform/recognizer_process.h"
#include "platform/tesseract_text_recognizer.h"
#include "platform/zxing_barcode_detector.h"
#include "support/rendered_images.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QFont>
#include <QPainter>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <csignal>
#include <mutex>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;
using Platform::BarcodeObservation;
using Platform::RecognizerProcess;
using TestSupport::renderCode;
using TestSupport::renderLines;

namespace {

const QString english = QStringLiteral("eng");

QString helperProgram()
{
    return qEnvironmentVariable("SCRIVLET_BINARY_DIR") + QStringLiteral("/src/app/scrivlet-recognizer");
}

QStringList payloadsOf(const std::vector<BarcodeObservation> &observations)
{
    QStringList payloads;
    for (const BarcodeObservation &o : observations)
        payloads.append(o.payload.value_or(QStringLiteral("<binary>")));
    return payloads;
}

QString crashOf(int signal)
{
    return QStringLiteral("the recognition helper crashed with signal %1").arg(signal);
}

// The client's warnings, from whichever thread writes them. One collector at a time.
class RecognitionWarnings {
public:
    RecognitionWarnings()
    {
        current() = this;
        m_previous = qInstallMessageHandler(&RecognitionWarnings::handle);
    }
    ~RecognitionWarnings()
    {
        qInstallMessageHandler(m_previous);
        current() = nullptr;
    }
    RecognitionWarnings(const RecognitionWarnings &) = delete;
    RecognitionWarnings &operator=(const RecognitionWarnings &) = delete;

    QStringList lines() const
    {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

private:
    static RecognitionWarnings *&current()
    {
        static RecognitionWarnings *warnings = nullptr;
        return warnings;
    }
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        RecognitionWarnings *self = current();
        if (type == QtWarningMsg && qstrcmp(context.category, "scrivlet.recognition") == 0) {
            const std::lock_guard lock(self->m_mutex);
            self->m_lines.append(text);
        }
        self->m_previous(type, context, text);
    }

    QtMessageHandler m_previous = nullptr;
    mutable std::mutex m_mutex;
    QStringList m_lines;
};

// Whether this kernel lets a process like the helper leave our network namespace, asked of a child of ours.
bool mayLeaveTheNetwork()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 ? 0 : 1);
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

QByteArray linkTarget(const QString &path)
{
    char target[256];
    const ssize_t length = ::readlink(QFile::encodeName(path).constData(), target, sizeof target);
    return length > 0 ? QByteArray(target, length) : QByteArray();
}

} // namespace

class RecognizerProcessTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Platform::TesseractTextRecognizer> m_engine;
    QImage m_noise;

    // Noise over a whole 8000×8000 capture keeps the text engine busy for minutes. Made once: it is large.
    const QImage &noise()
    {
        if (m_noise.isNull()) {
            m_noise = QImage(8000, 8000, QImage::Format_RGB32);
            QRandomGenerator random(42);
            for (int y = 0; y < m_noise.height(); ++y)
                random.fillRange(reinterpret_cast<quint32 *>(m_noise.scanLine(y)), m_noise.width());
        }
        return m_noise;
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(helperProgram()).isExecutable(), qPrintable(helperProgram()));
        m_engine = Platform::TesseractTextRecognizer::load();
        QVERIFY2(m_engine, "the English model (tesseract-ocr-eng) must be installed");
    }

    void answersAsTheEnginesDoInThisProcess_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QString>("holds");
        const QStringList lines{QStringLiteral("alpha beta"), QStringLiteral("int cert_chain_len = 42;")};
        QTest::newRow("text, light theme") << renderLines(lines) << "text";
        QTest::newRow("text, dark theme")
            << renderLines(lines, QColor(0xd0, 0xd0, 0xd0), QColor(0x1e, 0x1e, 0x1e)) << "text";
        QTest::newRow("text, indexed colours") << renderLines(lines).convertToFormat(QImage::Format_Indexed8) << "text";
        // Transparent pixels are read as shown over white, not as the black their colour bytes hold.
        QImage translucent = renderLines(lines).convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < translucent.height(); ++y) {
            auto *row = reinterpret_cast<QRgb *>(translucent.scanLine(y));
            for (int x = 0; x < translucent.width(); ++x)
                row[x] = qAlpha(row[x]) && qGray(row[x]) > 128 ? qRgba(0, 0, 0, 0) : row[x];
        }
        QTest::newRow("text on a transparent background") << translucent << "text";
        const QString payload = QStringLiteral("Grüße\nzweite Zeile ✓");
        QTest::newRow("a QR code") << renderCode(payload, 3) << "code";
        QTest::newRow("a linear code") << renderCode(QStringLiteral("SCRIV-042"), 2, ZXing::BarcodeFormat::Code128)
                                       << "code";
        QTest::newRow("null") << QImage() << "nothing";
        // More than any screen; one bit per pixel keeps the test's own memory small.
        QImage huge(20000, 20000, QImage::Format_Mono);
        huge.fill(0);
        QTest::newRow("larger than any screen") << huge << "nothing";
    }
    void answersAsTheEnginesDoInThisProcess()
    {
        QFETCH(QImage, image);
        QFETCH(QString, holds);
        RecognizerProcess client(helperProgram());
        const std::vector<QString> lines = client.recognize(image, english).result();
        const std::vector<BarcodeObservation> codes = client.detect(image).result();
        QCOMPARE(lines, m_engine->recognize(image));
        const std::vector<BarcodeObservation> inProcess = Platform::detectBarcodes(image);
        QVERIFY2(codes == inProcess,
                 qPrintable(Platform::describe(codes) + QStringLiteral(" ≠ ") + Platform::describe(inProcess)));
        // The text engine reads marks in a code as letters; whatever it reads, both ways alike.
        if (holds != u"code")
            QCOMPARE(!lines.empty(), holds == u"text");
        QCOMPARE(!codes.empty(), holds == u"code");
    }

    void otherLanguagesTakeAHelperWithTheirModelsThatStaysWarm()
    {
        RecognizerProcess client(helperProgram());
        QVERIFY(!client.recognize(renderLines({QStringLiteral("warm")}), english).result().empty());
        const std::optional<qint64> englishHelper = client.helperProcessId();
        const QImage german = renderLines({QStringLiteral("Übergröße für Straßenmaße")});
        QCOMPARE(client.recognize(german, QStringLiteral("deu")).result(),
                 std::vector<QString>{QStringLiteral("Übergröße für Straßenmaße")});
        const std::optional<qint64> germanHelper = client.helperProcessId();
        QVERIFY(germanHelper && germanHelper != englishHelper);
        // The same languages again, and a barcode job in between: no model is loaded again.
        QVERIFY(client.detect(renderCode(QStringLiteral("code"))).result().size() == 1);
        QCOMPARE(client.recognize(german, QStringLiteral("deu")).result().size(), 1u);
        QCOMPARE(client.helperProcessId(), germanHelper);

        // A model that is not installed finds nothing; the next job reads again.
        QVERIFY(client.recognize(german, QStringLiteral("xyz")).result().empty());
        QCOMPARE(client.recognize(renderLines({QStringLiteral("again")}), english).result(),
                 std::vector<QString>{QStringLiteral("again")});
    }

    void jobsAreServedInOrderWhicheverThreadAsks()
    {
        RecognizerProcess client(helperProgram());
        QFuture<std::vector<QString>> text;
        QFuture<std::vector<BarcodeObservation>> code;
        const std::unique_ptr<QThread> asker(QThread::create([&] {
            text = client.recognize(renderLines({QStringLiteral("first")}), english);
            code = client.detect(renderCode(QStringLiteral("second")));
        }));
        asker->start();
        QVERIFY(asker->wait(30000));
        QThread *deliveredOn = nullptr;
        text.then(this, [&](const std::vector<QString> &) { deliveredOn = QThread::currentThread(); });
        code.waitForFinished();
        QVERIFY(text.isFinished());
        QCOMPARE(text.result(), std::vector<QString>{QStringLiteral("first")});
        QCOMPARE(payloadsOf(code.result()), QStringList{QStringLiteral("second")});
        QTRY_COMPARE_WITH_TIMEOUT(deliveredOn, thread(), 30000);
    }

    void aCrashEndsOnlyTheHelperAndItsJob_data()
    {
        QTest::addColumn<QString>("capture"); // in tests/data; none: the abort job
        QTest::newRow("an engine's assertion on a DataBar capture") << QStringLiteral("databar-assert.png");
        QTest::newRow("an engine's assertion in the Micro QR detector") << QStringLiteral("micro-qr-assert.png");
        QTest::newRow("the abort job") << QString();
    }
    void aCrashEndsOnlyTheHelperAndItsJob()
    {
        QFETCH(QString, capture);
        RecognitionWarnings warnings;
        RecognizerProcess client(helperProgram());
        QSignalSpy failures(&client, &RecognizerProcess::jobFailed);
        bool foundNothing = false;
        if (!capture.isEmpty()) {
            const QImage image(qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + QStringLiteral("/tests/data/") + capture);
            QVERIFY(!image.isNull());
            auto future = client.detect(image);
            future.waitForFinished();
            QVERIFY(!future.isCanceled());
            foundNothing = future.result().empty();
        } else {
            auto future = client.abortHelperForTesting();
            future.waitForFinished();
            QVERIFY(!future.isCanceled());
            foundNothing = future.result().empty();
        }
        QVERIFY(foundNothing);
        QCOMPARE(warnings.lines(), QStringList{crashOf(SIGABRT)});
        QCOMPARE(failures.count(), 1);
        QCOMPARE(failures.first().first().toString(), crashOf(SIGABRT));

        QCOMPARE(payloadsOf(client.detect(renderCode(QStringLiteral("after the crash"))).result()),
                 QStringList{QStringLiteral("after the crash")});
        QCOMPARE(warnings.lines().size(), 1);
    }

    void aJobPastTheTimeLimitEndsThereAndTheNextOneRuns()
    {
        const QImage &busy = noise();
        RecognitionWarnings warnings;
        RecognizerProcess client(helperProgram(), 2s);
        QElapsedTimer clock;
        clock.start();
        const std::vector<QString> lines = client.recognize(busy, english).result();
        const qint64 elapsed = clock.elapsed();
        QVERIFY(lines.empty());
        QVERIFY2(elapsed >= 2000 && elapsed < 30000, qPrintable(QString::number(elapsed)));
        QCOMPARE(warnings.lines(), QStringList{QStringLiteral("the recognition helper timed out after 2 s")});

        QCOMPARE(payloadsOf(client.detect(renderCode(QStringLiteral("next"))).result()),
                 QStringList{QStringLiteral("next")});
        QCOMPARE(warnings.lines().size(), 1);
    }

    void aHelperKilledWhileIdleIsReplacedForTheNextJob()
    {
        RecognizerProcess client(helperProgram());
        QSignalSpy failures(&client, &RecognizerProcess::jobFailed);
        QCOMPARE(payloadsOf(client.detect(renderCode(QStringLiteral("before"))).result()),
                 QStringList{QStringLiteral("before")});
        const std::optional<qint64> first = client.helperProcessId();
        QVERIFY(first);
        QCOMPARE(::kill(pid_t(*first), SIGKILL), 0);
        QTRY_VERIFY_WITH_TIMEOUT(client.helperProcessId() && client.helperProcessId() != first, 10000);

        QCOMPARE(payloadsOf(client.detect(renderCode(QStringLiteral("after"))).result()),
                 QStringList{QStringLiteral("after")});
        QCOMPARE(failures.count(), 0);
    }

    void theHelperRunsWithoutPrivilegesCoreDumpsOrNetwork()
    {
        RecognizerProcess client(helperProgram());
        QCOMPARE(client.detect(renderCode(QStringLiteral("ready"))).result().size(), size_t(1));
        const std::optional<qint64> pid = client.helperProcessId();
        QVERIFY(pid);
        const QString proc = QStringLiteral("/proc/%1/").arg(*pid);

        QFile status(proc + QStringLiteral("status"));
        QVERIFY(status.open(QIODevice::ReadOnly));
        QVERIFY(status.readAll().contains("\nNoNewPrivs:\t1\n"));
        QFile limits(proc + QStringLiteral("limits"));
        QVERIFY(limits.open(QIODevice::ReadOnly));
        QVERIFY(QRegularExpression(QStringLiteral("\nMax core file size +0 +0 ")).match(limits.readAll()).hasMatch());
        QCOMPARE(QDir(proc + QStringLiteral("fd")).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot),
                 (QStringList{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2")}));

        if (!mayLeaveTheNetwork())
            QSKIP("this kernel lets no process leave its network namespace");
        const QByteArray helperNetwork = linkTarget(proc + QStringLiteral("ns/net"));
        QVERIFY(!helperNetwork.isEmpty());
        QVERIFY(helperNetwork != linkTarget(QStringLiteral("/proc/self/ns/net")));
    }

    void destroyingTheClientEndsABusyHelperAtOnce()
    {
        const QImage &busy = noise();
        auto client = std::make_unique<RecognizerProcess>(helperProgram());
        QCOMPARE(client->detect(renderCode(QStringLiteral("ready"))).result().size(), size_t(1));
        const std::optional<qint64> pid = client->helperProcessId();
        QVERIFY(pid);
        auto running = client->recognize(busy, english);
        auto waiting = client->detect(renderCode(QStringLiteral("waiting")));
        QElapsedTimer clock;
        clock.start();
        client.reset();
        QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!QFileInfo::exists(QStringLiteral("/proc/%1").arg(*pid)));
        QVERIFY(running.isCanceled());
        QVERIFY(waiting.isCanceled());
    }
};

QTEST_MAIN(RecognizerProcessTest)
#include "recognizer_process_test.moc"
