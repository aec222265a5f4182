#include "platform/text_image_preparation.h"

#include <QFont>
#include <QPainter>
#include <QTest>

namespace {

// Lines of text every 1.5 line heights on a canvas of the given size (by default, one line with a margin).
QImage renderText(int pixelSize, QColor text = Qt::black, QColor background = Qt::white, QSize size = {})
{
    QImage image(size.isValid() ? size : QSize(pixelSize * 12, pixelSize * 3), QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    painter.setPen(text);
    for (int y = pixelSize * 2; y < image.height() - pixelSize / 2; y += pixelSize * 3 / 2)
        painter.drawText(pixelSize / 2, y, QStringLiteral("Sphinx jog, tiny text that would be scaled up"));
    return image;
}

// The rows with ink (below mid-grey) on a prepared page: their span, and the darkest value.
std::pair<int, int> inkHeightAndDarkest(const QImage &grey)
{
    int first = -1, last = -1, darkest = 255;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        darkest = std::min(darkest, int(*std::min_element(row, row + grey.width())));
        if (std::any_of(row, row + grey.width(), [](uchar v) { return v < 128; }))
            last = y, first = first < 0 ? y : first;
    }
    return {first < 0 ? 0 : last - first + 1, darkest};
}

} // namespace

class TextImagePreparationTest : public QObject {
    Q_OBJECT

private slots:
    void textEndsUpDarkOnWhiteAtTheTargetSize_data()
    {
        QTest::addColumn<int>("pixelSize");
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("background");
        QTest::newRow("light theme") << 14 << QColor(Qt::black) << QColor(Qt::white);
        QTest::newRow("dark theme is inverted") << 14 << QColor(0xe6, 0xed, 0xf3) << QColor(0x0d, 0x11, 0x17);
        QTest::newRow("low contrast is stretched") << 14 << QColor(0x6e, 0x76, 0x81) << QColor(0x16, 0x1b, 0x22);
        QTest::newRow("small 11 px screen text") << 11 << QColor(Qt::black) << QColor(Qt::white);
        QTest::newRow("HiDPI 28 px") << 28 << QColor(Qt::black) << QColor(Qt::white);
    }
    void textEndsUpDarkOnWhiteAtTheTargetSize()
    {
        QFETCH(int, pixelSize);
        QFETCH(QColor, text);
        QFETCH(QColor, background);
        const Platform::TextImageTuning tuning;
        const auto prepared = Platform::prepareTextImage(renderText(pixelSize, text, background), tuning);
        QVERIFY(prepared);
        QCOMPARE(prepared->grey.format(), QImage::Format_Grayscale8);
        QCOMPARE(prepared->grey.pixelColor(0, 0), QColor(Qt::white));
        const auto [height, darkest] = inkHeightAndDarkest(prepared->grey);
        QVERIFY2(darkest < 40, qPrintable(QString::number(darkest)));
        QVERIFY2(std::abs(height - tuning.targetLineHeight) <= tuning.targetLineHeight * 0.2,
                 qPrintable(QStringLiteral("ink %1 px high").arg(height)));
        QVERIFY(prepared->resolution >= 70 && prepared->resolution <= 1200);
    }

    void scalingRespectsTheMinimumAndTheBudget()
    {
        Platform::TextImageTuning tuning;
        tuning.minScale = 1;
        auto prepared = Platform::prepareTextImage(renderText(80), tuning);
        QVERIFY(prepared);
        QCOMPARE(prepared->scale, 1.0);

        tuning = {};
        tuning.maxPixels = 200'000;
        prepared = Platform::prepareTextImage(renderText(9, Qt::black, Qt::white, {2000, 400}), tuning);
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
        QPainter(&image).fillRect(20, 20, 100, 4, Qt::black);
        const QImage grey = Platform::flattenedToGrey(image);
        QCOMPARE(qGray(grey.pixel(5, 5)), 255);
        QCOMPARE(qGray(grey.pixel(50, 21)), 0);
    }
};

QTEST_MAIN(TextImagePreparationTest)
#include "text_image_preparation_test.moc"
