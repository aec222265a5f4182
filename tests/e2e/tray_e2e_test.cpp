#include "support/desktop_tools.h"
#include "support/rendered_images.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

using namespace std::chrono_literals;
using namespace TestSupport;

namespace {

QString scrivletProgram()
{
    return qEnvironmentVariable("SCRIVLET_BINARY_DIR") + QStringLiteral("/src/app/scrivlet");
}

QString captureFile()
{
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/scrivlet/captureRegion.png");
}

// The running program, as a person at the desktop meets it.
class RunningScrivlet {
public:
    RunningScrivlet()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedChannels);
        // Started as a desktop starts it: the program sets up its own thread limit for the recogniser.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("OMP_THREAD_LIMIT"));
        m_process.setProcessEnvironment(environment);
        m_process.start(scrivletProgram(), {});
    }
    ~RunningScrivlet()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(5000))
                m_process.kill();
            m_process.waitForFinished(2000);
        }
    }
    QProcess &process() { return m_process; }

private:
    QProcess m_process;
};

// The icon's window in the tray: the small one among the program's windows.
std::optional<QRect> trayIconGeometry()
{
    QDeadlineTimer deadline(15s);
    while (!deadline.hasExpired()) {
        for (const quint32 window : visibleWindowsOfClass(QStringLiteral("^scrivlet$"))) {
            const auto geometry = windowGeometry(window);
            if (geometry && geometry->width() > 0 && geometry->width() <= 48 && geometry->height() <= 48)
                return geometry;
        }
        QTest::qWait(50);
    }
    return std::nullopt;
}

// Opens the tray icon's menu with a right click; the menu's geometry once it is on screen.
std::optional<QRect> openTrayMenu()
{
    const auto geometry = trayIconGeometry();
    if (!geometry)
        return std::nullopt;
    const QList<quint32> windowsBefore = visibleWindowsOfClass(QStringLiteral("^scrivlet$"));
    xdotool({QStringLiteral("mousemove"), QString::number(geometry->center().x()),
             QString::number(geometry->center().y())});
    xdotool({QStringLiteral("click"), QStringLiteral("3")});
    QDeadlineTimer deadline(10s);
    while (!deadline.hasExpired()) {
        for (const quint32 window : visibleWindowsOfClass(QStringLiteral("^scrivlet$"))) {
            if (!windowsBefore.contains(window)) {
                QTest::qWait(200); // the popup takes the keyboard right after it maps
                return windowGeometry(window);
            }
        }
        QTest::qWait(50);
    }
    return std::nullopt;
}

QByteArray clipboardText()
{
    return runCommand(QStringLiteral("xclip"),
                      {QStringLiteral("-o"), QStringLiteral("-selection"), QStringLiteral("clipboard")})
        .standardOutput;
}

QStringList storedHistory()
{
    QFile file(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/group.scrivlet/defaults.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList history;
    for (const QJsonValue entry : QJsonDocument::fromJson(file.readAll()).object().value("textHistory").toArray())
        history << entry.toString();
    return history;
}

// The HUD: with no menu open, the one window of the program's besides its tray icon.
bool hudIsShown()
{
    for (const quint32 window : visibleWindowsOfClass(QStringLiteral("^scrivlet$"))) {
        const auto geometry = windowGeometry(window);
        if (geometry && geometry->width() > 48)
            return true;
    }
    return false;
}

// A window of this test's own, at a fixed place on the screen, showing what the program is to read.
std::unique_ptr<QWidget> showOnScreen(QWidget *content, QRect geometry)
{
    auto window = std::make_unique<QWidget>();
    window->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    window->setAutoFillBackground(true);
    window->setPalette(QPalette(Qt::black, Qt::white));
    auto *layout = new QVBoxLayout(window.get());
    layout->addWidget(content);
    window->setGeometry(geometry);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    QTest::qWait(300); // painted and flushed to the server
    return window;
}

QJsonObject storedSettings()
{
    QFile file(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/scrivlet/defaults.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QString autostartFolder()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/autostart");
}

void clickAt(QPoint point)
{
    xdotool({QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y())});
    QTest::qWait(100);
    xdotool({QStringLiteral("click"), QStringLiteral("1")});
}

// The process ids of every running scrivlet.
QList<qint64> runningScrivlets()
{
    QList<qint64> ids;
    const QByteArray output =
        runCommand(QStringLiteral("pgrep"), {QStringLiteral("-x"), QStringLiteral("scrivlet")}).standardOutput;
    for (const QByteArray &line : output.split('\n')) {
        if (!line.trimmed().isEmpty())
            ids << line.trimmed().toLongLong();
    }
    return ids;
}

void pressKeys(const QStringList &keys)
{
    for (const QString &key : keys) {
        tapKey(key);
        QTest::qWait(60);
    }
}

} // namespace

class TrayEndToEndTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TrayHost> m_tray;

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(scrivletProgram()), qPrintable(scrivletProgram()));
        m_tray = TrayHost::start();
        QVERIFY2(m_tray, "trayer did not take the system tray selection");
    }

    void grabTextFromTheTrayMenuCapturesTheDraggedRegion()
    {
        RunningScrivlet scrivlet;
        QVERIFY(openTrayMenu());
        // Restarted in place with the thread limit, under its own name for ps and top.
        // Other tests may run a Scrivlet of their own meanwhile.
        const QList<QByteArray> named =
            runCommand(QStringLiteral("pgrep"), {QStringLiteral("-x"), QStringLiteral("scrivlet")})
                .standardOutput.trimmed()
                .split('\n');
        QVERIFY2(named.contains(QByteArray::number(scrivlet.process().processId())), named.join(' ').constData());
        const quint32 cursor = currentCursorSerial();
        pressKeys({QStringLiteral("Down"), QStringLiteral("Return")}); // "Grab Text"
        QVERIFY(waitForSelectionCursor(cursor, 10s));
        dragPointer({200, 300}, {500, 450});
        QTRY_VERIFY_WITH_TIMEOUT(imageSize(captureFile()).has_value(), 10000);
        const QSize size = *imageSize(captureFile());
        QVERIFY2(qAbs(size.width() - 300) <= 1 && qAbs(size.height() - 150) <= 1,
                 qPrintable(QStringLiteral("%1x%2").arg(size.width()).arg(size.height())));
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
    }

    void aSecondStartHandsItsRequestToTheRunningOneAndEscapeCancels()
    {
        RunningScrivlet scrivlet;
        QVERIFY(trayIconGeometry());
        const quint32 cursor = currentCursorSerial();
        QProcess second;
        second.start(scrivletProgram(), {QStringLiteral("scrivlet:///_Grab_")});
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(waitForSelectionCursor(cursor, 10s)); // the first instance started the capture
        tapKey(QStringLiteral("Escape"));
        QTest::qWait(500);
        QVERIFY(!QFile::exists(captureFile())); // the old capture went before the tool started; none came
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
    }

    void aboutAndQuitFromTheMenu()
    {
        RunningScrivlet scrivlet;
        QVERIFY(openTrayMenu());
        pressKeys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"),
                   QStringLiteral("Down"), QStringLiteral("Return")}); // "About Scrivlet"
        QTRY_VERIFY_WITH_TIMEOUT(!visibleWindowsNamed(QStringLiteral("^About Scrivlet$")).isEmpty(), 10000);

        // With another window of ours focused, click rather than type: keys could reach that window first.
        const auto menu = openTrayMenu();
        QVERIFY(menu);
        xdotool({QStringLiteral("mousemove"), QString::number(menu->center().x()),
                 QString::number(menu->bottom() - 12)}); // "Quit", the last item
        QTest::qWait(100);
        xdotool({QStringLiteral("click"), QStringLiteral("1")});
        QVERIFY(scrivlet.process().waitForFinished(10000));
        QCOMPARE(scrivlet.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(scrivlet.process().exitCode(), 0);
    }

    void holdingTheShortcutStartsExactlyOneSelection()
    {
        RunningScrivlet scrivlet;
        QVERIFY(trayIconGeometry());
        const quint32 cursor = currentCursorSerial();
        xdotool({QStringLiteral("keydown"), QStringLiteral("super+shift+2")});
        QTest::qWait(1500); // the server repeats the key meanwhile
        xdotool({QStringLiteral("keyup"), QStringLiteral("super+shift+2")});
        QVERIFY(waitForSelectionCursor(cursor, 10s));
        const auto selectors = [] {
            return runCommand(QStringLiteral("pgrep"), {QStringLiteral("-x"), QStringLiteral("maim")})
                .standardOutput.count('\n');
        };
        QCOMPARE(selectors(), 1);
        tapKey(QStringLiteral("Escape"));
        QTRY_COMPARE_WITH_TIMEOUT(selectors(), 0, 5000);
        QTest::qWait(1000); // no second selection follows
        QCOMPARE(selectors(), 0);
    }

    void textOnTheScreenLandsOnTheClipboardAndInTheHistory()
    {
        auto *label = new QLabel(QStringLiteral("Hello Scrivlet 2024\nQuick brown fox 42"));
        label->setFont(QFont(QStringLiteral("DejaVu Sans"), 26));
        auto target = showOnScreen(label, QRect(300, 200, 560, 160));
        QVERIFY(target);
        RunningScrivlet scrivlet;
        QVERIFY(trayIconGeometry());
        const quint32 cursor = currentCursorSerial();
        QCOMPARE(runCommand(scrivletProgram(), {QStringLiteral("scrivlet:///_Grab_")}).exitCode, 0);
        QVERIFY(waitForSelectionCursor(cursor, 10s));
        dragPointer({300, 200}, {860, 360});
        const QByteArray expected = "Hello Scrivlet 2024\nQuick brown fox 42";
        QTRY_COMPARE_WITH_TIMEOUT(clipboardText(), expected, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(hudIsShown(), 5000);
        QCOMPARE(storedHistory().value(0), QString::fromUtf8(expected));
        QTRY_VERIFY_WITH_TIMEOUT(!hudIsShown(), 10000); // gone after its display time
        QCOMPARE(clipboardText(), expected);            // and the text stays
    }

    void aQrCodeFromTheMenuLandsOnTheClipboardWhole()
    {
        const QString payload = QStringLiteral("Grüße aus Scrivlet\nzweite Zeile ✓");
        auto *code = new QLabel;
        code->setPixmap(QPixmap::fromImage(renderCode(payload, 4)));
        auto target = showOnScreen(code, QRect(300, 200, 300, 300));
        QVERIFY(target);
        RunningScrivlet scrivlet;
        QVERIFY(openTrayMenu());
        const quint32 cursor = currentCursorSerial();
        pressKeys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Return")}); // "Read QR Code"
        QVERIFY(waitForSelectionCursor(cursor, 10s));
        dragPointer({300, 200}, {600, 500});
        QTRY_COMPARE_WITH_TIMEOUT(QString::fromUtf8(clipboardText()), payload, 20000);
        QCOMPARE(storedHistory().value(0), payload);
    }

    void settingsMadeInTheWindowStartScrivletAtLoginAndSurviveARestart()
    {
        {
            RunningScrivlet scrivlet;
            QVERIFY(openTrayMenu());
            pressKeys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"),
                       QStringLiteral("Return")}); // "Settings..."
            QList<quint32> windows;
            QTRY_VERIFY_WITH_TIMEOUT(!(windows = visibleWindowsNamed(QStringLiteral("^Scrivlet Settings$"))).isEmpty(),
                                     10000);
            const auto window = windowGeometry(windows.first());
            QVERIFY(window);
            QTest::qWait(300); // painted and able to take the focus
            // Where the form puts the boxes of "Launch at login" and "Ignore line breaks", and the recorder.
            clickAt(window->topLeft() + QPoint(202, 158));
            QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(autostartFolder() + QStringLiteral("/scrivlet.desktop")), 5000);
            clickAt(window->topLeft() + QPoint(202, 186));
            QTRY_VERIFY_WITH_TIMEOUT(storedSettings().value(QStringLiteral("IgnoreLineBreaks")).toBool(), 5000);
            clickAt(window->topLeft() + QPoint(269, 95));
            QTest::qWait(300);
            tapKey(QStringLiteral("ctrl+alt+j"));
            QTRY_COMPARE_WITH_TIMEOUT(
                storedSettings().value(QStringLiteral("KeyboardShortcuts_toggleUnicornMode")).toString(),
                QStringLiteral("{\"carbonKeyCode\":38,\"carbonModifiers\":6144}"), 5000);
            QCOMPARE(runCommand(QStringLiteral("desktop-file-validate"),
                                {autostartFolder() + QStringLiteral("/scrivlet.desktop")})
                         .exitCode,
                     0);
        }
        QTRY_VERIFY_WITH_TIMEOUT(runningScrivlets().isEmpty(), 5000);

        // The next login: a session's autostart runner starts the program from the entry. dex ends at once and
        // leaves the program its output pipe, closed once read: the program's diagnostics must not end it.
        QCOMPARE(
            runCommand(QStringLiteral("dex"), {QStringLiteral("-a"), QStringLiteral("-s"), autostartFolder()}).exitCode,
            0);
        QTRY_COMPARE_WITH_TIMEOUT(runningScrivlets().size(), 1, 10000);
        const auto stop = qScopeGuard([] {
            for (const qint64 id : runningScrivlets())
                runCommand(QStringLiteral("kill"), {QString::number(id)});
        });
        QVERIFY(trayIconGeometry());
        // It answers to the recorded shortcut, and to the old one no more.
        const quint32 cursor = currentCursorSerial();
        xdotool({QStringLiteral("key"), QStringLiteral("super+shift+2")});
        QTest::qWait(1000);
        QCOMPARE(currentCursorSerial(), cursor);
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+j")});
        QVERIFY(waitForSelectionCursor(cursor, 10s));
        tapKey(QStringLiteral("Escape"));
        QVERIFY(storedSettings().value(QStringLiteral("IgnoreLineBreaks")).toBool());
    }

    void theIconAppearsWhenTheTrayStartsAfterScrivlet()
    {
        m_tray.reset();
        RunningScrivlet scrivlet;
        QTest::qWait(1500); // started, with nowhere to show its icon
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
        m_tray = TrayHost::start();
        QVERIFY(m_tray);
        QVERIFY(trayIconGeometry());
    }
};

SCRIVLET_X11_TEST_MAIN(TrayEndToEndTest)
#include "tray_e2e_test.moc"
