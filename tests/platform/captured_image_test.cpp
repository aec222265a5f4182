#include "platform/captured_image.h"
#include "support/rendered_images.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using Platform::CapturedImageError;
using Platform::loadCapturedImage;

Q_DECLARE_METATYPE(CapturedImageError)

namespace {

std::optional<CapturedImageError> errorOf(const std::variant<QImage, CapturedImageError> &loaded)
{
    if (const auto *error = std::get_if<CapturedImageError>(&loaded))
        return *error;
    return std::nullopt;
}

} // namespace

class CapturedImageTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write %s", qPrintable(path));
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
        const auto loaded = loadCapturedImage(path);
        QVERIFY(std::holds_alternative<QImage>(loaded));
        QCOMPARE(std::get<QImage>(loaded).size(), QSize(301, 151));
    }

    void whatCannotBeUsedIsRefusedWithItsReason_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<CapturedImageError>("error");
        QTest::newRow("text") << QByteArray("not an image at all") << CapturedImageError::unreadable;
        QTest::newRow("a PNG cut off after its first pixels")
            << TestSupport::pngClaiming(640, 480) << CapturedImageError::unreadable;
        // Decoding would allocate 1.6 GB; the header alone must decide.
        QTest::newRow("20000 x 20000") << TestSupport::pngClaiming(20000, 20000) << CapturedImageError::tooLarge;
        QTest::newRow("at the limit") << TestSupport::pngClaiming(8192, 8192) << CapturedImageError::tooLarge;
    }

    void whatCannotBeUsedIsRefusedWithItsReason()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(CapturedImageError, error);
        QCOMPARE(errorOf(loadCapturedImage(write(QStringLiteral("bad.png"), bytes))), error);
    }

    void whatIsNoRegularFileIsRefusedWithoutWaiting()
    {
        QCOMPARE(errorOf(loadCapturedImage(m_dir.filePath(QStringLiteral("none.png")))),
                 CapturedImageError::unreadable);
        QCOMPARE(errorOf(loadCapturedImage(m_dir.path())), CapturedImageError::unreadable);
        // Nobody ever writes into this pipe: a blocking open would never return.
        const QString pipe = m_dir.filePath(QStringLiteral("pipe.png"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QCOMPARE(errorOf(loadCapturedImage(pipe)), CapturedImageError::unreadable);
    }
};

QTEST_MAIN(CapturedImageTest)
#include "captured_image_test.moc"
