#include "platform/captured_image.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

class CapturedImageTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return path;
    }

private slots:
    void aSavedCaptureLoadsWithItsSize()
    {
        QImage image(301, 151, QImage::Format_RGB32);
        image.fill(Qt::white);
        const QString path = m_dir.filePath(QStringLiteral("ok.png"));
        QVERIFY(image.save(path));
        const auto loaded = Platform::loadCapturedImage(path);
        QVERIFY(loaded.has_value());
        QCOMPARE(loaded->size(), QSize(301, 151));
    }

    void whatIsNoImageIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("text") << QByteArray("not an image at all");
        QTest::newRow("a PNG cut off after its header") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
        // A valid header that claims 100000 x 100000 pixels: decoding would need 40 GB.
        QByteArray huge("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\x01\x86\xa0\0\x01\x86\xa0\x08\x06\0\0\0", 29);
        QTest::newRow("a header claiming a gigantic image") << huge;
    }

    void whatIsNoImageIsRefused()
    {
        QFETCH(QByteArray, bytes);
        QCOMPARE(Platform::loadCapturedImage(write(QStringLiteral("bad.png"), bytes)), std::nullopt);
    }

    void aMissingFileIsRefused()
    {
        QCOMPARE(Platform::loadCapturedImage(m_dir.filePath(QStringLiteral("none.png"))), std::nullopt);
    }
};

QTEST_MAIN(CapturedImageTest)
#include "captured_image_test.moc"
