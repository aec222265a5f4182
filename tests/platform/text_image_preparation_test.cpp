#include "platform/text_image_preparation.h"

#include <QFont>
#include <QPainter>
#include <QTest>

namespace {

QImage renderText(int pixelSize, QColor text, QColor background, const QString &line = QStringLiteral("Sphinx jog"))
{
    QImage image(pixelSize * 12, pixelSize * 3, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    painter.setPen(text);
    painter.drawText(pixelSize / 2, pixelSize * 2, line);
    return image;
}

// Height of the band of rows with ink (below mid-grey) on a prepared page.
int inkHeight(const QImage &grey)
{
    int first = -1, last = -1;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        if (std::any_of(row, row + grey.width(), [](uchar v) { return v < 128; })) {
            first = first < 0 ? y : first;
            last = y;
        }
    }
    return first < 0 ? 0 : last - first + 1;
}

} // namespace

class TextImagePreparationTest : public QObject {
    Q_OBJECT

private slots:
    void textEndsUpDarkOnWhite_data()
    {
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("background");
        QTest::newRow("light theme") << QColor(Qt::black) << QColor(Qt::white);
        QTest::newRow("dark theme is inverted") << QColor(0xe6, 0xed, 0xf3) << QColor(0x0d, 0x11, 0x17);
        QTest::newRow("low contrast is stretched") << QColor(0x6e, 0x76, 0x81) << QColor(0x16, 0x1b, 0x22);
    }
    void textEndsUpDarkOnWhite()
    {
        QFETCH(QColor, text);
        QFETCH(QColor, background);
        const auto prepared = Platform::prepareTextImage(renderText(14, text, background));
        QVERIFY(prepared);
        QCOMPARE(prepared->grey.format(), QImage::Format_Grayscale8);
        QCOMPARE(prepared->grey.pixelColor(0, 0), QColor(Qt::white));
        const QImage &grey = prepared->grey;
        int darkest = 255;
        for (int y = 0; y < grey.height(); ++y)
            darkest =
                std::min(darkest, int(*std::min_element(grey.constScanLine(y), grey.constScanLine(y) + grey.width())));
        QVERIFY2(darkest < 40, qPrintable(QString::number(darkest)));
    }

    void textIsScaledToTheTargetSize_data()
    {
        QTest::addColumn<int>("pixelSize");
        QTest::newRow("small 11 px screen text") << 11;
        QTest::newRow("ordinary 14 px") << 14;
        QTest::newRow("HiDPI 28 px") << 28;
    }
    void textIsScaledToTheTargetSize()
    {
        QFETCH(int, pixelSize);
        const Platform::TextImageTuning tuning;
        const auto prepared = Platform::prepareTextImage(renderText(pixelSize, Qt::black, Qt::white), tuning);
        QVERIFY(prepared);
        const int height = inkHeight(prepared->grey);
        QVERIFY2(std::abs(height - tuning.targetLineHeight) <= tuning.targetLineHeight * 0.2,
                 qPrintable(QStringLiteral("ink %1 px high").arg(height)));
        QVERIFY(prepared->resolution >= 70 && prepared->resolution <= 1200);
    }

    void largeTextIsNotShrunkBelowTheMinimum()
    {
        Platform::TextImageTuning tuning;
        tuning.minScale = 1;
        const auto prepared = Platform::prepareTextImage(renderText(80, Qt::black, Qt::white), tuning);
        QVERIFY(prepared);
        QCOMPARE(prepared->scale, 1.0);
    }

    void thePreparedImageStaysWithinItsBudget()
    {
        Platform::TextImageTuning tuning;
        tuning.maxPixels = 200'000;
        QImage wide(2000, 400, QImage::Format_RGB32);
        wide.fill(Qt::white);
        QPainter painter(&wide);
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(9);
        painter.setFont(font);
        for (int y = 20; y < 400; y += 14)
            painter.drawText(4, y, QStringLiteral("tiny text that would be scaled up four times"));
        painter.end();
        const auto prepared = Platform::prepareTextImage(wide, tuning);
        QVERIFY(prepared);
        const int padding = 2 * tuning.padding;
        QVERIFY(qsizetype(prepared->grey.width() - padding) * (prepared->grey.height() - padding) <=
                tuning.maxPixels * 1.01);
    }

    void whatCannotHoldTextIsRefused_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::newRow("null") << QImage();
        QImage flat(200, 100, QImage::Format_RGB32);
        flat.fill(QColor(0x30, 0x30, 0x30));
        QTest::newRow("one flat colour") << flat;
        QImage transparent(200, 100, QImage::Format_ARGB32);
        transparent.fill(Qt::transparent);
        QTest::newRow("fully transparent") << transparent;
        QImage huge(Platform::maxCapturePixels / 8192 + 1, 8192, QImage::Format_Mono);
        huge.fill(0);
        QTest::newRow("larger than any screen") << huge;
    }
    void whatCannotHoldTextIsRefused()
    {
        QFETCH(QImage, image);
        QVERIFY(!Platform::prepareTextImage(image));
    }

    void transparencyCountsAsWhite()
    {
        QImage image(200, 60, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.fillRect(20, 20, 100, 4, Qt::black);
        painter.end();
        const QImage grey = Platform::flattenedToGrey(image);
        QCOMPARE(qGray(grey.pixel(5, 5)), 255);
        QCOMPARE(qGray(grey.pixel(50, 21)), 0);
    }
};

QTEST_MAIN(TextImagePreparationTest)
#include "text_image_preparation_test.moc"
