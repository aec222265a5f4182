#include "app/capture_step.h"
#include "platform/private_directory.h"
#include "platform/process_region_capture_tool.h"
#include "platform/url_opener.h"
#include "support/desktop_tools.h"
#include "support/fake_platform.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <sys/stat.h>

using namespace std::chrono_literals;

// The capture step with the real selection tool, driven with xdotool the way a person drags.
class CaptureWithRealToolTest : public QObject {
    Q_OBJECT

private:
    TestSupport::FakeUrlOpener m_opener;
    std::unique_ptr<Platform::ProcessRegionCaptureTool> m_tool;
    std::unique_ptr<CaptureStep> m_step;

    // Runs the user's part from inside the capture's wait, which keeps timers running.
    void whileSelecting(std::function<void()> userAction)
    {
        const quint32 cursorBefore = TestSupport::currentCursorSerial();
        QTimer::singleShot(0, this, [cursorBefore, userAction] {
            QVERIFY(TestSupport::waitForSelectionCursor(cursorBefore, 10s));
            userAction();
        });
    }

private slots:
    void initTestCase()
    {
        const auto command = Platform::findCaptureTool(Platform::DisplayServer::x11, [](const QString &program) {
            return !QStandardPaths::findExecutable(program).isEmpty();
        });
        QVERIFY2(command && command->program == u"maim", "maim and slop must be installed");
        m_tool = std::make_unique<Platform::ProcessRegionCaptureTool>(*command);
        const auto directory = Platform::privateRuntimeDirectory();
        QVERIFY(std::holds_alternative<Platform::PrivateDirectory>(directory));
        m_step = std::make_unique<CaptureStep>(m_tool.get(), m_opener, nullptr, QStringLiteral("maim slop"),
                                               std::get<Platform::PrivateDirectory>(directory).path);
    }

    void aDraggedRectangleIsLoadedAtItsSize()
    {
        QList<QImage> images;
        whileSelecting([] { TestSupport::dragPointer({100, 100}, {400, 250}); });
        m_step->run([&](const QImage &image) { images.append(image); });
        QTRY_COMPARE(images.size(), 1);
        // Tools differ by one pixel in whether the end point is inside.
        QVERIFY2(qAbs(images.first().width() - 300) <= 1 && qAbs(images.first().height() - 150) <= 1,
                 qPrintable(QStringLiteral("%1x%2").arg(images.first().width()).arg(images.first().height())));
    }

    void theCaptureFileIsPrivate()
    {
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(m_step->captureFilePath()).constData(), &info), 0);
        const QString directory = m_step->captureFilePath().section(QLatin1Char('/'), 0, -2);
        QCOMPARE(::stat(QFile::encodeName(directory).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, mode_t(0700));
        QVERIFY(directory.startsWith(qEnvironmentVariable("XDG_RUNTIME_DIR")));
    }
};

SCRIVLET_X11_TEST_MAIN(CaptureWithRealToolTest)
#include "capture_with_real_tool_test.moc"
