#include "app/capture_step.h"
#include "support/fake_platform.h"
#include "support/stdout_capture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

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
        m_step = std::make_unique<CaptureStep>(&m_tool, m_opener, Platform::DisplayServer::x11,
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

    void anUndecodableFileEndsTheCapture()
    {
        m_tool.bytes = QByteArray("\x89PNG\r\n\x1a\n broken", 16);
        TestSupport::StdoutCapture output;
        runCapture();
        QTRY_VERIFY(output.text().contains("can't convert image\n"));
        QVERIFY(m_images.isEmpty());
    }

    void withoutAToolTheAlertSaysWhatToInstall()
    {
        CaptureStep step(nullptr, m_opener, Platform::DisplayServer::x11, m_dir.path() + QLatin1Char('/'));
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Give Permission"), seen);
        TestSupport::StdoutCapture output;
        int images = 0;
        step.run([&](const QImage &) { ++images; });
        QCOMPARE(seen.text, QStringLiteral("Screen Recording Access"));
        QVERIFY(seen.informativeText.startsWith(
            QStringLiteral("Scrivlet needs your permission to capture screen recording.\n\n Please go to System "
                           "Settings to give Scrivlet Screen Recording permission")));
        QVERIFY(seen.informativeText.contains(QStringLiteral("maim slop")));
        QCOMPARE(seen.buttons, QStringList({QStringLiteral("Give Permission"), QStringLiteral("Cancel")}));
        QCOMPARE(m_opener.opened, QList<QUrl>{QUrl(QStringLiteral("appstream://maim"))});
        QVERIFY(output.text().contains("apt install maim slop"));
        QTest::qWait(50);
        QCOMPARE(images, 0);
    }

    void cancellingTheAlertOpensNothing()
    {
        CaptureStep step(nullptr, m_opener, Platform::DisplayServer::wayland, m_dir.path() + QLatin1Char('/'));
        AlertAnswer seen;
        answerNextAlert(QStringLiteral("Cancel"), seen);
        QVERIFY(!step.ensureScreenCaptureAccess());
        QVERIFY(seen.informativeText.contains(QStringLiteral("grim slurp")));
        QVERIFY(m_opener.opened.isEmpty());
    }

    void withoutAPrivateDirectoryNothingIsCaptured()
    {
        CaptureStep step(&m_tool, m_opener, Platform::DisplayServer::x11, QString());
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
