#include "platform/zxing_barcode_detector.h"
#include "support/rendered_images.h"

#include <QDir>
#include <QFile>
#include <QFont>
#include <QPainter>
#include <QTest>

using TestSupport::renderCode;

namespace {

QImage canvas(QSize size, QColor background = Qt::white)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(background);
    return image;
}

QStringList payloadsOf(const std::vector<Platform::BarcodeObservation> &found)
{
    QStringList payloads;
    for (const auto &o : found)
        payloads.push_back(o.payload.value_or(QStringLiteral("<binary>")));
    return payloads;
}

} // namespace

class ZXingBarcodeDetectorTest : public QObject {
    Q_OBJECT

private slots:
    void readsThePayloadUnchanged_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QString>("payload");
        const QString multiLine = QStringLiteral("Grüße\nzweite Zeile ✓");
        QTest::newRow("multi-line UTF-8") << renderCode(multiLine) << multiLine;
        const QString tabbed = QStringLiteral("\tindented\n  spaces  ");
        QTest::newRow("tabs and trailing spaces are text") << renderCode(tabbed) << tabbed;
        QTest::newRow("one pixel per module") << renderCode(QStringLiteral("https://example.org/a?b=c"), 1)
                                              << QStringLiteral("https://example.org/a?b=c");
        QImage dark = renderCode(QStringLiteral("dark theme"), 2);
        dark.invertPixels();
        QTest::newRow("light code on a dark theme") << dark << QStringLiteral("dark theme");
        QImage inUi = canvas({520, 320}, QColor(0x20, 0x22, 0x25));
        QImage code = renderCode(QStringLiteral("in a dark window"), 3);
        code.invertPixels();
        QPainter(&inUi).drawImage(200, 60, code);
        QTest::newRow("light code in a large dark window") << inUi << QStringLiteral("in a dark window");
        const QImage smooth = renderCode(QStringLiteral("HiDPI 150%"), 2);
        QTest::newRow("fractional HiDPI scale")
            << smooth.scaled(smooth.size() * 0.75, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            << QStringLiteral("HiDPI 150%");
        QTest::newRow("a linear code") << renderCode(QStringLiteral("SCRIV-042"), 2, ZXing::BarcodeFormat::Code128)
                                       << QStringLiteral("SCRIV-042");
    }
    void readsThePayloadUnchanged()
    {
        QFETCH(QImage, image);
        QFETCH(QString, payload);
        const auto found = Platform::detectBarcodes(image);
        QCOMPARE(payloadsOf(found), QStringList{payload});
    }

    void codesComeInReadingOrder_data()
    {
        QTest::addColumn<QPoint>("firstAt");
        QTest::addColumn<QPoint>("secondAt");
        // The left code sits a little lower, so ordering by top edge alone would put it second.
        QTest::newRow("side by side") << QPoint(20, 40) << QPoint(260, 20);
        // The lower code sits further left, so ordering by left edge alone would put it first.
        QTest::newRow("stacked") << QPoint(200, 20) << QPoint(20, 260);
    }
    void codesComeInReadingOrder()
    {
        QFETCH(QPoint, firstAt);
        QFETCH(QPoint, secondAt);
        QImage image = canvas({480, 480});
        QPainter painter(&image);
        painter.drawImage(firstAt, renderCode(QStringLiteral("first"), 4));
        painter.drawImage(secondAt, renderCode(QStringLiteral("second"), 4));
        painter.end();
        Platform::ZXingBarcodeDetector detector;
        auto future = detector.detect(image);
        QCOMPARE(payloadsOf(future.result()), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    }

    void findsNothingWhereThereIsNoCode_data()
    {
        QTest::addColumn<QImage>("image");
        QImage text = canvas({500, 200});
        QPainter painter(&text);
        QFont font(QStringLiteral("DejaVu Sans Mono"));
        font.setPixelSize(14);
        painter.setFont(font);
        for (int y = 20; y < 200; y += 18)
            painter.drawText(10, y, QStringLiteral("|||| ||| | |||| 1010 0110 ---- ==== lllll IIIII"));
        painter.end();
        QTest::newRow("text only") << text;
        QTest::newRow("null") << QImage();
        QTest::newRow("1x1") << canvas({1, 1}, Qt::black);
        QTest::newRow("indexed") << canvas({64, 64}).convertToFormat(QImage::Format_Indexed8);
        QImage transparent(64, 64, QImage::Format_ARGB32);
        transparent.fill(Qt::transparent);
        QTest::newRow("transparent") << transparent;
        QImage huge(20000, 20000, QImage::Format_Mono);
        huge.fill(1);
        QTest::newRow("huge") << huge;
    }
    void findsNothingWhereThereIsNoCode()
    {
        QFETCH(QImage, image);
        QVERIFY(Platform::detectBarcodes(image).empty());
    }

    // Captures on which the library's default settings trip its assertions and abort the process.
    void capturesThatAbortTheDefaultSettingsAreRead_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("payload");
        QTest::newRow("Code 128 at 200 %")
            << QStringLiteral("dev/179_Code128_hidpi200ui.png") << QStringLiteral("https://ex.io/x?1");
        QTest::newRow("EAN-13 at 200 %") << QStringLiteral("dev/181_EAN13_hidpi200ui.png")
                                         << QStringLiteral("9780306406157");
        QTest::newRow("stacked DataBar") << QStringLiteral("dev/176_DataBarStacked_clean.png")
                                         << QStringLiteral("09501101530010");
    }
    void capturesThatAbortTheDefaultSettingsAreRead()
    {
        QFETCH(QString, file);
        QFETCH(QString, payload);
        const QString corpus = qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + QStringLiteral("/../shared/bench/barcode");
        const QString path = QDir(corpus).filePath(file);
        if (!QFile::exists(path))
            QSKIP("the shared barcode corpus is not beside the checkout");
        QImage image(path);
        QVERIFY(!image.isNull());
        const auto found = Platform::detectBarcodes(image);
        QVERIFY(!found.empty());
        QCOMPARE(found.front().payload.value_or(QString()), payload);
    }
};

QTEST_MAIN(ZXingBarcodeDetectorTest)
#include "zxing_barcode_detector_test.moc"
