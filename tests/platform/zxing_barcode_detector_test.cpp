#include "platform/zxing_barcode_detector.h"
#include "support/rendered_images.h"

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

QImage inverted(QImage image)
{
    image.invertPixels();
    return image;
}

QImage twoCodes(QPoint firstAt, QPoint secondAt)
{
    QImage image = canvas({480, 480});
    QPainter painter(&image);
    painter.drawImage(firstAt, renderCode(QStringLiteral("first"), 4));
    painter.drawImage(secondAt, renderCode(QStringLiteral("second"), 4));
    return image;
}

} // namespace

class ZXingBarcodeDetectorTest : public QObject {
    Q_OBJECT

private slots:
    void readsThePayloadsUnchanged_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QStringList>("payloads");
        const QString multiLine = QStringLiteral("Grüße\nzweite Zeile ✓");
        QTest::newRow("multi-line UTF-8") << renderCode(multiLine) << QStringList{multiLine};
        const QString tabbed = QStringLiteral("\tindented\n  spaces  ");
        QTest::newRow("tabs and trailing spaces are text") << renderCode(tabbed) << QStringList{tabbed};
        QTest::newRow("one pixel per module")
            << renderCode(QStringLiteral("https://example.org/a?b=c"), 1) << QStringList{"https://example.org/a?b=c"};
        QTest::newRow("light code on a dark theme")
            << inverted(renderCode(QStringLiteral("dark theme"), 2)) << QStringList{"dark theme"};
        QImage inUi = canvas({520, 320}, QColor(0x20, 0x22, 0x25));
        QPainter(&inUi).drawImage(200, 60, inverted(renderCode(QStringLiteral("in a dark window"), 3)));
        QTest::newRow("light code in a large dark window") << inUi << QStringList{"in a dark window"};
        const QImage smooth = renderCode(QStringLiteral("HiDPI 150%"), 2);
        QTest::newRow("fractional HiDPI scale")
            << smooth.scaled(smooth.size() * 0.75, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            << QStringList{"HiDPI 150%"};
        QTest::newRow("a linear code") << renderCode(QStringLiteral("SCRIV-042"), 2, ZXing::BarcodeFormat::Code128)
                                       << QStringList{"SCRIV-042"};

        // The left code sits lower, so ordering by top edge alone would put it second; the lower code sits
        // further left, so ordering by left edge alone would put it first.
        QTest::newRow("side by side") << twoCodes({20, 40}, {260, 20}) << QStringList{"first", "second"};
        QTest::newRow("stacked") << twoCodes({200, 20}, {20, 260}) << QStringList{"first", "second"};

        QImage text = canvas({500, 200});
        QPainter painter(&text);
        QFont font(QStringLiteral("DejaVu Sans Mono"));
        font.setPixelSize(14);
        painter.setFont(font);
        for (int y = 20; y < 200; y += 18)
            painter.drawText(10, y, QStringLiteral("|||| ||| | |||| 1010 0110 ---- ==== lllll IIIII"));
        painter.end();
        QTest::newRow("text only") << text << QStringList{};
        QTest::newRow("null") << QImage() << QStringList{};
        QTest::newRow("1x1") << canvas({1, 1}, Qt::black) << QStringList{};
        QTest::newRow("indexed") << canvas({64, 64}).convertToFormat(QImage::Format_Indexed8) << QStringList{};
        QImage huge(20000, 20000, QImage::Format_Mono);
        huge.fill(1);
        QTest::newRow("huge") << huge << QStringList{};
    }
    void readsThePayloadsUnchanged()
    {
        QFETCH(QImage, image);
        QFETCH(QStringList, payloads);
        QStringList found;
        for (const auto &o : Platform::detectBarcodes(image))
            found.push_back(o.payload.value_or(QStringLiteral("<binary>")));
        QCOMPARE(found, payloads);
    }

    // Captures on which the library's default settings trip its assertions and abort the process.
    void capturesThatAbortTheDefaultSettingsAreRead_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("payload");
        QTest::newRow("Code 128 at 200 %") << "179_Code128_hidpi200ui.png"
                                           << "https://ex.io/x?1";
        QTest::newRow("EAN-13 at 200 %") << "181_EAN13_hidpi200ui.png"
                                         << "9780306406157";
        QTest::newRow("stacked DataBar") << "176_DataBarStacked_clean.png"
                                         << "09501101530010";
    }
    void capturesThatAbortTheDefaultSettingsAreRead()
    {
        QFETCH(QString, file);
        QFETCH(QString, payload);
        const QString path = qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + "/../shared/bench/barcode/dev/" + file;
        // CI has the shared corpus beside the checkout: its absence is a broken set-up, not a reason to pass.
        QVERIFY2(QFile::exists(path),
                 qPrintable(path + u" is missing: the shared barcode corpus is not beside the checkout"_qs));
        const QImage image(path);
        QVERIFY(!image.isNull());
        const auto found = Platform::detectBarcodes(image);
        QVERIFY(!found.empty());
        QCOMPARE(found.front().payload.value_or(QString()), payload);
    }
};

QTEST_MAIN(ZXingBarcodeDetectorTest)
#include "zxing_barcode_detector_test.moc"
