#include "app/capture_step.h"
#include "support/fake_platform.h"
#include "support/rendered_images.h"
#include "support/stdout_capture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using TestSupport::FakeClipboard;
using TestSupport::FakeRegionCaptureTool;
using TestSupport::FakeUrlOpener;

namespace {

// Answers the next modal alert with the button of that title and records what the alert said.
struct AlertAnswer {
    QString text;
    QString informativeText;
    QStringList buttons;
};

void answerNextAlert(const QString &button, AlertAnswer &seen)
{
    QTimer::singleShot(0, [button, &seen] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box)
            return;
        seen.text = box->text();
        seen.informativeText = box->informativeText();
        for (QAbstractButton *candidate : box->buttons())
            seen.buttons << candidate->text();
        for (QAbstractButton *candidate : box->buttons()) {
            if (candidate->text() == button)
                candidate->click();
        }
    });
}

} // namespace

class CaptureStepTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    FakeRegionCaptureTool m_tool;
    FakeUrlOpener m_opener;
    FakeClipboard m_clipboard;
    const QString x11Packages = QStringLiteral("maim slop");
    std::unique_ptr<CaptureStep> m_step;
    QList<QSize> m_images;

    void runCapture()
    {
        m_step->run([this](const QImage &image) { m_images.append(image.size()); });
    }

private slots:
    void init()
    {
        m_tool = FakeRegionCaptureTool();
        m_opener.opened.clear();
        m_images.clear();
        m_clipboard.texts.clear();
        m_step = std::make_unique<CaptureStep>(&m_tool, m_opener, &m_clipboard, x11Packages,
                                               m_dir.path() + QLatin1Char('/'));
        QFile::remove(m_step->captureFilePath());
    }

    void theSelectedRegionArrivesAsAnImage()
    {
        m_tool.image = QImage(301, 151, QImage::Format_RGB32);
        m_tool.image.fill(Qt::white);
        runCapture();
        QTRY_COMPARE(m_images, QList<QSize>{QSize(301, 151)});
        QCOMPARE(m_step->captureFilePath(), m_dir.path() + QStringLiteral("/captureRegion.png"));
        QVERIFY(QFile::exists(m_step->captureFilePath())); // kept until the next capture
    }

    void thePreviousCaptureIsGoneBeforeTheToolStarts()
    {
        QFile old(m_step->captureFilePath());
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("old capture");
        old.close();
        runCapture(); // the user cancels
        QVERIFY(!m_tool.destinationExistedAtStart);
        QTest::qWait(50);
        QVERIFY(m_images.isEmpty()); // the old file must never be read as this capture
    }

    void aFirstCaptureSaysTheOldFileWasMissing()
    {
        TestSupport::StdoutCapture output;
        runCapture();
        const QByteArray printed = output.text();
        QCOMPARE(printed.count('\n'), 1);
        QVERIFY2(printed.contains("captureRegion.png"), printed.constData());
    }

    void cancelEndsSilently_data()
    {
        QTest::addColumn<QByteArray>("saved");
        QTest::newRow("no file") << QByteArray();
        QTest::newRow("an empty file") << QByteArray("");
    }

    void cancelEndsSilently()
    {
        QFETCH(QByteArray, saved);
        m_tool.bytes = saved;
        runCapture();
        QTest::qWait(100);
        QVERIFY(m_images.isEmpty());
        QCOMPARE(m_tool.captures, 1);
    }

    void aCaptureThatCannotBeUsedTellsTheUserWhy_data()
    {
        QTest::addColumn<QByteArray>("saved");
        QTest::addColumn<QString>("advice");
        QTest::newRow("damaged") << QByteArray("\x89PNG\r\n\x1a\n broken", 16) << QStringLiteral("try again");
        // A header claiming 20000 x 20000 pixels, refused before any pixel is decoded.
        QTest::newRow("huge") << TestSupport::pngClaiming(20000, 20000) << QStringLiteral("select a smaller one");
    }

    void aCaptureThatCannotBeUsedTellsTheUserWhy()
    {
        QFETCH(QByteArray, saved);
        QFETCH(QString, advice);
        m_tool.bytes = saved;
        QSignalSpy failed(m_step.get(), &CaptureStep::failed);
        TestSupport::StdoutCapture output;
        runCapture();
        QTRY_COMPARE(failed.size(), 1);
        QVERIFY2(failed.first().first().toString().endsWith(advice), qPrintable(failed.first().first().toString()));
        QVERIFY(output.text().contains("can't convert image\n"));
        QVERIFY(m_images.isEmpty());
    }

    void oneCaptureAtATime()
    {
        m_tool.image = QImage(20, 20, QImage::Format_RGB32);
        m_tool.image.fill(Qt::white);
        // A hot key or a menu click over D-Bus can arrive while the selection is open.
        bool nestedRun = true;
        m_tool.duringCapture = [&] { nestedRun = m_step->run([](const QImage &) {}); };
        QVERIFY(m_step->run([this](const QImage &image) { m_images.append(image.size()); }));
        QVERIFY(!nestedRun);
        QCOMPARE(m_tool.captures, 1);
        QTRY_COMPARE(m_images.size(), 1);
        QVERIFY(!m_step->isCapturing());
        m_tool.duringCapture = nullptr;
        runCapture(); // and the next one runs
        QTRY_COMPARE(m_images.size(), 2);
    }

    void theAlertIsNeverShownTwiceAtOnce()
    {
        m_tool.available = false;
        // The alert runs an event loop of its own; a second request arrives inside it.
        bool nestedRun = true;
        QTimer::singleShot(0, [&] { nestedRun = m_step->run([](const QImage &) {}); });
        // Closes whatever alert is on top, so that a nested one would be counted rather than hang the test.
        QSet<QWidget *> alerts;
        QTimer closer;
        connect(&closer, &QTimer::timeout, [&] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                alerts.insert(box);
                box->reject();
            }
        });
        closer.start(100);
        runCapture();
        QVERIFY(!nestedRun);
        QCOMPARE(alerts.size(), 1);
    }

    void aToolInstalledWhileRunningIsUsedAtTheNextCapture()
    {
        m_tool.available = false;
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Cancel"), seen);
        runCapture();
        QCOMPARE(m_tool.captures, 0);
        m_tool.available = true;
        runCapture();
        QCOMPARE(m_tool.captures, 1);
    }

    void aFolderNoLongerPrivateStopsTheCaptureBeforeTheTool()
    {
        QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                                                QFileDevice::ReadOther | QFileDevice::WriteOther |
                                                QFileDevice::ExeOther);
        QSignalSpy failed(m_step.get(), &CaptureStep::failed);
        runCapture();
        QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QCOMPARE(m_tool.captures, 0);
        QCOMPARE(failed.size(), 1);
    }

    void withoutAToolTheAlertSaysWhatToInstall()
    {
        CaptureStep step(nullptr, m_opener, &m_clipboard, x11Packages, m_dir.path() + QLatin1Char('/'));
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Give Permission"), seen);
        TestSupport::StdoutCapture output;
        int images = 0;
        step.run([&](const QImage &) { ++images; });
        QCOMPARE(seen.text, QStringLiteral("Screen Recording Access"));
        QVERIFY(seen.informativeText.startsWith(
            QStringLiteral("Scrivlet needs your permission to capture screen recording.\n\n Please go to System "
                           "Settings to give Scrivlet Screen Recording permission")));
        QVERIFY(seen.informativeText.contains(QStringLiteral("sudo apt install maim slop")));
        QCOMPARE(seen.buttons, QStringList({QStringLiteral("Give Permission"), QStringLiteral("Cancel")}));
        QCOMPARE(m_opener.opened, QList<QUrl>{QUrl(QStringLiteral("appstream://maim"))});
        QVERIFY(output.text().contains("apt install maim slop"));
        QTest::qWait(50);
        QCOMPARE(images, 0);
    }

    void withoutASoftwareCentreGivePermissionCopiesTheInstallCommand()
    {
        m_opener.hasHandlers = false;
        m_tool.available = false;
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Give Permission"), seen);
        runCapture();
        m_opener.hasHandlers = true;
        QVERIFY(m_opener.opened.isEmpty());
        QCOMPARE(m_clipboard.texts, QStringList{QStringLiteral("sudo apt install maim slop")});
        QVERIFY(seen.informativeText.contains(QStringLiteral("Give Permission copies this command")));
    }

    void withoutAClipboardTheAlertPromisesNoCopy()
    {
        m_opener.hasHandlers = false;
        const auto restore = qScopeGuard([this] { m_opener.hasHandlers = true; });
        CaptureStep step(nullptr, m_opener, nullptr, x11Packages, m_dir.path() + QLatin1Char('/'));
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Give Permission"), seen);
        QVERIFY(!step.ensureScreenCaptureAccess());
        QVERIFY(seen.informativeText.contains(QStringLiteral("sudo apt install maim slop")));
        QVERIFY(!seen.informativeText.contains(QStringLiteral("copies")));
        QVERIFY(m_opener.opened.isEmpty());
    }

    void cancellingTheAlertOpensNothing()
    {
        CaptureStep step(nullptr, m_opener, &m_clipboard, QStringLiteral("grim slurp"),
                         m_dir.path() + QLatin1Char('/'));
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Cancel"), seen);
        QVERIFY(!step.ensureScreenCaptureAccess());
        QVERIFY(seen.informativeText.contains(QStringLiteral("grim slurp")));
        QVERIFY(m_opener.opened.isEmpty());
    }

    void withoutAPrivateDirectoryNothingIsCaptured()
    {
        CaptureStep step(&m_tool, m_opener, &m_clipboard, x11Packages, QString());
        step.run([this](const QImage &image) { m_images.append(image.size()); });
        QCOMPARE(m_tool.captures, 0);
    }

    void withAToolNoAlertIsShown()
    {
        QVERIFY(m_step->ensureScreenCaptureAccess());
        QVERIFY(!QApplication::activeModalWidget());
    }
};

QTEST_MAIN(CaptureStepTest)
#include "capture_step_test.moc"
