#include "platform/tesseract_text_recognizer.h"

#include <QFont>
#include <QPainter>
#include <QTest>

namespace {

// A screen-sized rendering: 1x pixels, the way a capture of an editor or a dialog looks.
QImage renderLines(const QStringList &lines, QColor text = Qt::black, QColor background = Qt::white, int pixelSize = 14)
{
    QImage image(360, 40 + 24 * int(lines.size()), QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    painter.setPen(text);
    for (int i = 0; i < lines.size(); ++i)
        painter.drawText(12, 30 + 24 * i, lines[i]);
    return image;
}

std::vector<QString> recognized(Platform::TextRecognition &recognition, const QImage &image)
{
    auto future = recognition.recognize(image);
    return future.result();
}

} // namespace

class TesseractTextRecognizerTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Platform::TesseractTextRecognizer> m_recognizer;

private slots:
    void initTestCase()
    {
        m_recognizer = Platform::TesseractTextRecognizer::create();
        QVERIFY2(m_recognizer, "the English model (tesseract-ocr-eng) must be installed");
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
        QImage indexed = renderLines(two).convertToFormat(QImage::Format_Indexed8);
        QTest::newRow("indexed colours") << indexed << two;
        QImage translucent = renderLines(two).convertToFormat(QImage::Format_ARGB32);
        QTest::newRow("with an alpha channel") << translucent << two;
    }
    void readsTheLinesInOrder()
    {
        QFETCH(QImage, image);
        QFETCH(QStringList, expected);
        const auto lines = recognized(*m_recognizer, image);
        QCOMPARE(QStringList(lines.begin(), lines.end()), expected);
    }

    void findsNoLinesWhereThereIsNoText_data()
    {
        QTest::addColumn<QImage>("image");
        QImage blank(400, 200, QImage::Format_RGB32);
        blank.fill(QColor(0xf1, 0xf3, 0xf4));
        QTest::newRow("blank region") << blank;
        QTest::newRow("null image") << QImage();
        QImage pixel(1, 1, QImage::Format_RGB32);
        pixel.fill(Qt::black);
        QTest::newRow("1x1") << pixel;
        QImage transparent(300, 100, QImage::Format_ARGB32);
        transparent.fill(Qt::transparent);
        QTest::newRow("fully transparent") << transparent;
        // 20000 x 20000 is more than any screen; one bit per pixel keeps the test's own memory small.
        QImage huge(20000, 20000, QImage::Format_Mono);
        huge.fill(1);
        QTest::newRow("huge") << huge;
    }
    void findsNoLinesWhereThereIsNoText()
    {
        QFETCH(QImage, image);
        QVERIFY(recognized(*m_recognizer, image).empty());
    }

    void servesRequestsInTheOrderMade()
    {
        auto first = m_recognizer->recognize(renderLines({QStringLiteral("first")}));
        auto second = m_recognizer->recognize(renderLines({QStringLiteral("second")}));
        second.waitForFinished();
        QVERIFY(first.isFinished());
        QCOMPARE(first.result(), std::vector<QString>{QStringLiteral("first")});
        QCOMPARE(second.result(), std::vector<QString>{QStringLiteral("second")});
    }

    void deliversToTheCallersThread()
    {
        bool delivered = false;
        QThread *deliveredOn = nullptr;
        m_recognizer->recognize(renderLines({QStringLiteral("alpha")}))
            .then(this, [&](const std::vector<QString> &lines) {
                delivered = !lines.empty();
                deliveredOn = QThread::currentThread();
            });
        QTRY_VERIFY_WITH_TIMEOUT(delivered, 30000);
        QCOMPARE(deliveredOn, thread());
    }

    void droppingTheRecognizerCancelsWhatIsQueued()
    {
        auto recognizer = Platform::TesseractTextRecognizer::create();
        QVERIFY(recognizer);
        std::vector<QFuture<std::vector<QString>>> futures;
        for (int i = 0; i < 5; ++i)
            futures.push_back(recognizer->recognize(renderLines({QStringLiteral("queued")})));
        recognizer.reset();
        for (auto &future : futures)
            QVERIFY(future.isFinished());
        QVERIFY(futures.back().isCanceled());
    }

    void aMissingModelMeansNoRecognizer()
    {
        QVERIFY(!Platform::TesseractTextRecognizer::create(QStringLiteral("/nonexistent/tessdata")));
    }
};

QTEST_MAIN(TesseractTextRecognizerTest)
#include "tesseract_text_recognizer_test.moc"
