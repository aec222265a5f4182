#include "platform/process_region_capture_tool.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using Platform::CaptureToolCommand;
using Platform::DisplayServer;
using Platform::ProcessRegionCaptureTool;

namespace {

// A stand-in for a capture tool: a shell script that behaves as the script text says.
CaptureToolCommand scriptTool(const QString &script, bool toStandardOutput = false)
{
    return {QStringLiteral("sh"),
            {QStringLiteral("-c"), script, QStringLiteral("tool"), QStringLiteral("%f")},
            toStandardOutput};
}

QByteArray pngBytes(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

class ProcessRegionCaptureToolTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString destination() const { return m_dir.filePath(QStringLiteral("captureRegion.png")); }

private slots:
    void init() { QFile::remove(destination()); }

    void theFirstCompleteToolWins_data()
    {
        QTest::addColumn<int>("server");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<QString>("expectedProgram"); // empty: none

        const auto x11 = int(DisplayServer::x11);
        const auto wayland = int(DisplayServer::wayland);
        QTest::newRow("maim with slop is preferred")
            << x11 << QStringList{"scrot", "maim", "slop", "flameshot"} << "maim";
        QTest::newRow("maim without slop cannot select") << x11 << QStringList{"maim", "scrot"} << "scrot";
        QTest::newRow("flameshot before gnome-screenshot")
            << x11 << QStringList{"gnome-screenshot", "flameshot"} << "flameshot";
        QTest::newRow("gnome-screenshot before scrot")
            << x11 << QStringList{"scrot", "gnome-screenshot"} << "gnome-screenshot";
        QTest::newRow("nothing installed") << x11 << QStringList{} << "";
        QTest::newRow("wayland needs grim and slurp")
            << wayland << QStringList{"grim", "slurp", "maim", "slop"} << "sh";
        QTest::newRow("X11 tools cannot select on wayland") << wayland << QStringList{"maim", "slop", "scrot"} << "";
        QTest::newRow("grim alone cannot select") << wayland << QStringList{"grim"} << "";
    }

    void theFirstCompleteToolWins()
    {
        QFETCH(int, server);
        QFETCH(QStringList, installed);
        QFETCH(QString, expectedProgram);
        const QSet<QString> present(installed.begin(), installed.end());
        const auto tool = Platform::findCaptureTool(DisplayServer(server),
                                                    [&](const QString &program) { return present.contains(program); });
        QCOMPARE(tool.has_value(), !expectedProgram.isEmpty());
        if (tool) {
            QCOMPARE(tool->program, expectedProgram);
            const QStringList &arguments = tool->arguments;
            // Every tool must either be told the destination or write the image to standard output.
            QVERIFY(tool->writesImageToStandardOutput || arguments.contains(QStringLiteral("%f")));
        }
    }

    void theToolWritesToTheDestination()
    {
        QFile png(m_dir.filePath(QStringLiteral("source.png")));
        QVERIFY(png.open(QIODevice::WriteOnly));
        png.write(pngBytes({301, 151}));
        png.close();
        ProcessRegionCaptureTool tool(scriptTool(QStringLiteral("cp '%1' \"$1\"").arg(png.fileName())));
        tool.captureRegion(destination());
        QCOMPARE(QImage(destination()).size(), QSize(301, 151));
    }

    void aToolThatPrintsTheImageFillsTheDestination()
    {
        QFile png(m_dir.filePath(QStringLiteral("source.png")));
        QVERIFY(png.open(QIODevice::WriteOnly));
        png.write(pngBytes({40, 30}));
        png.close();
        ProcessRegionCaptureTool tool(scriptTool(QStringLiteral("cat '%1'").arg(png.fileName()), true));
        tool.captureRegion(destination());
        QCOMPARE(QImage(destination()).size(), QSize(40, 30));
    }

    void cancelLeavesNoImage_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<bool>("toStandardOutput");
        QTest::newRow("exit 1 without a file, like maim and scrot") << "exit 1" << false;
        QTest::newRow("exit 0 without a file, like gnome-screenshot") << "exit 0" << false;
        QTest::newRow("exit 0 with nothing printed, like flameshot") << "echo aborted >&2; exit 0" << true;
        QTest::newRow("killed by a signal") << "kill -9 $$" << false;
    }

    void cancelLeavesNoImage()
    {
        QFETCH(QString, script);
        QFETCH(bool, toStandardOutput);
        ProcessRegionCaptureTool tool(scriptTool(script, toStandardOutput));
        tool.captureRegion(destination());
        const QFileInfo file(destination());
        QVERIFY(!file.exists() || file.size() == 0);
    }

    void aMissingToolReturnsAtOnce()
    {
        ProcessRegionCaptureTool tool({QStringLiteral("/nonexistent/capture-tool"), {QStringLiteral("%f")}, false});
        QElapsedTimer elapsed;
        elapsed.start();
        tool.captureRegion(destination());
        QVERIFY(!QFile::exists(destination()));
        QVERIFY2(elapsed.elapsed() < 60000, "must not wait for a tool that never started");
    }

    void aToolInstalledWhileRunningIsFoundAtTheNextCapture()
    {
        QTemporaryDir bin;
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(bin.path()));
        const auto restorePath = qScopeGuard([&] { qputenv("PATH", path); });
        ProcessRegionCaptureTool tool(DisplayServer::x11);
        QVERIFY(!tool.isAvailable());
        tool.captureRegion(destination()); // nothing to run: returns, writes nothing
        QVERIFY(!QFile::exists(destination()));

        // The package arrives: maim saves its last argument, slop is only required to be there.
        const QString png = m_dir.filePath(QStringLiteral("selection.png"));
        QFile source(png);
        QVERIFY(source.open(QIODevice::WriteOnly));
        source.write(pngBytes(QSize(9, 7)));
        source.close();
        for (const auto &[name, body] : {std::pair{QStringLiteral("maim"), QStringLiteral("for last; do :; done; "
                                                                                          "/bin/cp '%1' \"$last\"")
                                                                               .arg(png)},
                                         std::pair{QStringLiteral("slop"), QStringLiteral("exit 0")}}) {
            QFile script(bin.filePath(name));
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\n" + body.toUtf8() + "\n");
            script.close();
            QVERIFY(script.setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        }
        QVERIFY(tool.isAvailable());
        tool.captureRegion(destination());
        QCOMPARE(QImage(destination()).size(), QSize(9, 7));
    }

    void timersAndQueuedWorkRunWhileTheToolIsOpen()
    {
        // A HUD's scheduled hide and earlier results must still be delivered while the user selects.
        int timerFired = 0;
        int queuedRan = 0;
        QTimer::singleShot(50, this, [&] { ++timerFired; });
        QMetaObject::invokeMethod(
            this, [&] { ++queuedRan; }, Qt::QueuedConnection);
        ProcessRegionCaptureTool tool(scriptTool(QStringLiteral("sleep 0.5; exit 1")));
        tool.captureRegion(destination());
        QCOMPARE(timerFired, 1);
        QCOMPARE(queuedRan, 1);
    }
};

QTEST_MAIN(ProcessRegionCaptureToolTest)
#include "process_region_capture_tool_test.moc"
