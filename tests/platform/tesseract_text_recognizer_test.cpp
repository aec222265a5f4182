#include "platform/tesseract_text_recognizer.h"
#include "support/rendered_images.h"

#include <QTest>

using TestSupport::renderLines;

class TesseractTextRecognizerTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Platform::TesseractTextRecognizer> m_recognizer;

private slots:
    void initTestCase()
    {
        m_recognizer = Platform::TesseractTextRecognizer::load();
        QVERIFY2(m_recognizer, "the English model (tesseract-ocr-eng) must be installed");
        QVERIFY(!Platform::TesseractTextRecognizer::load(QStringLiteral("/nonexistent/tessdata")));
    }

    void readsTheLinesInOrder_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QStringList>("expected");
        const QStringList two{QStringLiteral("alpha"), QStringLiteral("beta")};
        QTest::newRow("two lines, light theme") << renderLines(two) << two;
        QTest::newRow("two lines, dark theme")
            << renderLines(two, QColor(0xd0, 0xd0, 0xd0), QColor(0x1e, 0x1e, 0x1e)) << two;
        QTest::newRow("small 11 px text") << renderLines(two, Qt::black, Qt::white, 11) << two;
        const QStringList code{QStringLiteral("int cert_chain_len = 42;")};
        QTest::newRow("underscores survive") << renderLines(code) << code;
        QTest::newRow("indexed colours") << renderLines(two).convertToFormat(QImage::Format_Indexed8) << two;
        QTest::newRow("with an alpha channel") << renderLines(two).convertToFormat(QImage::Format_ARGB32) << two;

        // Nothing to read, or nothing worth reading; none of these may crash.
        QImage blank(400, 200, QImage::Format_RGB32);
        blank.fill(QColor(0xf1, 0xf3, 0xf4));
        QTest::newRow("blank region") << blank << QStringList{};
        QTest::newRow("null image") << QImage() << QStringList{};
        QImage pixel(1, 1, QImage::Format_RGB32);
        pixel.fill(Qt::black);
        QTest::newRow("1x1") << pixel << QStringList{};
        // More than any screen; one bit per pixel keeps the test's own memory small.
        QImage huge(20000, 20000, QImage::Format_Mono);
        huge.fill(1);
        QTest::newRow("huge") << huge << QStringList{};
    }
    void readsTheLinesInOrder()
    {
        QFETCH(QImage, image);
        QFETCH(QStringList, expected);
        const auto lines = m_recognizer->recognize(image);
        QCOMPARE(QStringList(lines.begin(), lines.end()), expected);
    }
};

QTEST_MAIN(TesseractTextRecognizerTest)
#include "tesseract_text_recognizer_test.moc"
