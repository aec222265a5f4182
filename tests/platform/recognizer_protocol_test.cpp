#include "platform/recognizer_protocol.h"
#include "platform/text_image_preparation.h"

#include <QTest>
#include <QtEndian>

using Platform::BarcodeObservation;
using Platform::RecognizerJob;
using Platform::RecognizerReply;
using Lines = std::vector<QString>;
using Observations = std::vector<BarcodeObservation>;

Q_DECLARE_METATYPE(RecognizerJob)
Q_DECLARE_METATYPE(RecognizerReply)

namespace {

QByteArray le32(quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    return QByteArray(bytes, 4);
}

QByteArray patched(QByteArray bytes, qsizetype at, const QByteArray &with)
{
    bytes.replace(at, with.size(), with);
    return bytes;
}

// A request for a 3×2 capture: 20 header bytes (job at 4, width at 8, height at 12, row length at 16), 24 of pixels.
QByteArray smallRequest()
{
    QImage image(3, 2, QImage::Format_RGB32);
    image.fill(Qt::gray);
    return Platform::encodeRequest(RecognizerJob::barcodes, image)->joined();
}

// The request's header with other dimensions.
QByteArray requestHeader(quint32 width, quint32 height, quint32 bytesPerLine)
{
    return smallRequest().first(8) + le32(width) + le32(height) + le32(bytesPerLine);
}

// The same with as many pixel bytes as the dimensions ask for.
QByteArray requestOfSize(quint32 width, quint32 height, quint32 bytesPerLine)
{
    return requestHeader(width, height, bytesPerLine) + QByteArray(qsizetype(height) * bytesPerLine, '\xff');
}

} // namespace

class RecognizerProtocolTest : public QObject {
    Q_OBJECT

private slots:
    void requestsCarryThePixelsAsARGB32_data()
    {
        QTest::addColumn<RecognizerJob>("job");
        QTest::addColumn<QImage>("image");
        QImage opaque(5, 3, QImage::Format_RGB32);
        opaque.fill(QColor(10, 20, 30));
        opaque.setPixel(4, 2, qRgb(200, 100, 0));
        QTest::newRow("opaque") << RecognizerJob::text << opaque;
        QImage translucent(4, 4, QImage::Format_ARGB32);
        translucent.fill(qRgba(1, 2, 3, 0));
        translucent.setPixel(1, 1, qRgba(255, 128, 7, 99));
        QTest::newRow("translucent") << RecognizerJob::barcodes << translucent;
        QTest::newRow("premultiplied") << RecognizerJob::text
                                       << translucent.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QTest::newRow("indexed") << RecognizerJob::barcodes << opaque.convertToFormat(QImage::Format_Indexed8);
        QTest::newRow("grey") << RecognizerJob::text << opaque.convertToFormat(QImage::Format_Grayscale8);
        QTest::newRow("one pixel") << RecognizerJob::text << opaque.copy(4, 2, 1, 1);
        QTest::newRow("the abort job has no image") << RecognizerJob::abortForTesting << QImage();
    }
    void requestsCarryThePixelsAsARGB32()
    {
        QFETCH(RecognizerJob, job);
        QFETCH(QImage, image);
        const auto request = Platform::decodeRequest(Platform::encodeRequest(job, image).value().joined());
        QVERIFY(request);
        QCOMPARE(request->job, job);
        if (image.isNull()) {
            QVERIFY(request->image.isNull());
            return;
        }
        const QImage expected = image.convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(request->image.convertToFormat(QImage::Format_ARGB32), expected);
        // Marked as the opaque image it is, where it is one, so that the engines need not flatten it.
        bool translucent = false;
        for (int y = 0; y < expected.height(); ++y)
            for (int x = 0; x < expected.width(); ++x)
                translucent = translucent || qAlpha(expected.pixel(x, y)) != 255;
        QCOMPARE(request->image.format(), translucent ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    }

    // RGB32 leaves its top byte unused; whatever it holds, the pixel is opaque.
    void unusedBytesOfRGB32AreSentAsOpaque()
    {
        alignas(4) uchar pixels[] = {1, 2, 3, 0, 4, 5, 6, 0x7f};
        const QImage image(pixels, 2, 1, 8, QImage::Format_RGB32);
        const auto request =
            Platform::decodeRequest(Platform::encodeRequest(RecognizerJob::text, image).value().joined());
        QVERIFY(request);
        QCOMPARE(request->image.pixel(0, 0), qRgba(3, 2, 1, 255));
        QCOMPARE(request->image.pixel(1, 0), qRgba(6, 5, 4, 255));
    }

    void imagesNoCaptureCanBeAreNotSent()
    {
        QVERIFY(!Platform::encodeRequest(RecognizerJob::text, QImage()));
        const int side = 1 << 13; // side × side == maxCapturePixels
        static_assert(qsizetype(1 << 13) * (1 << 13) == Platform::maxCapturePixels);
        QVERIFY(!Platform::encodeRequest(RecognizerJob::barcodes, QImage(side, side, QImage::Format_Mono)));
    }

    void malformedRequestsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("headerAloneRefused"); // before any pixel is allocated
        const QByteArray valid = smallRequest();
        QVERIFY(Platform::decodeRequest(valid));
        QTest::newRow("cut short") << valid.chopped(1) << false;
        QTest::newRow("a byte too many") << valid + 'x' << false;
        QTest::newRow("header only") << valid.first(20) << false;
        QTest::newRow("another magic") << patched(valid, 0, "XRq1") << true;
        QTest::newRow("unknown job") << patched(valid, 4, "\x09") << true;
        QTest::newRow("reserved byte set") << patched(valid, 6, "\x01") << true;
        QTest::newRow("no width") << requestOfSize(0, 2, 12) << true;
        QTest::newRow("rows narrower than four bytes a pixel") << requestOfSize(3, 2, 8) << true;
        QTest::newRow("rows of a length not a multiple of four") << requestOfSize(3, 2, 13) << true;
        QTest::newRow("as many pixels as the limit") << requestHeader(1 << 13, 1 << 13, 1 << 15) << true;
        QTest::newRow("a width that wraps in 32 bits") << requestHeader(0xffffffff, 1, 0) << true;
        QTest::newRow("sides whose product wraps in 64 bits") << requestHeader(0xffffffff, 0xffff0003, 0) << true;
        QTest::newRow("rows padded beyond four bytes a pixel in all") << requestHeader(1, 1 << 20, 1024) << true;
        QTest::newRow("an abort job with an image") << patched(valid, 4, "\x7f") << true;
    }
    void malformedRequestsAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, headerAloneRefused);
        QVERIFY(!Platform::decodeRequest(bytes));
        if (headerAloneRefused)
            QVERIFY(!Platform::decodeRequestHeader(bytes.first(Platform::RecognizerRequestHeader::size)));
    }

    void repliesRoundTrip_data()
    {
        QTest::addColumn<RecognizerReply>("reply");
        QTest::newRow("lines") << RecognizerReply(Lines{QStringLiteral("Grüße ✓"), QStringLiteral("a\tb  c")});
        QTest::newRow("no lines") << RecognizerReply(Lines{});
        const QPolygon corners({QPoint(-3, 4), QPoint(2000000000, 5), QPoint(6, -2000000000), QPoint(0, 0)});
        QTest::newRow("codes") << RecognizerReply(
            Observations{{QStringLiteral("line 1\nline 2"), QStringLiteral("QRCode"), corners},
                         {std::nullopt, QStringLiteral("DataMatrix"), corners},
                         {QString(), QStringLiteral("EAN-13"), corners}});
        QTest::newRow("no codes") << RecognizerReply(Observations{});
    }
    void repliesRoundTrip()
    {
        QFETCH(RecognizerReply, reply);
        const QByteArray bytes = Platform::encodeReply(reply);
        const auto header = Platform::decodeReplyHeader(bytes.first(Platform::RecognizerReplyHeader::size));
        QVERIFY(header && header->job);
        QCOMPARE(*header->job, reply.index() == 0 ? RecognizerJob::text : RecognizerJob::barcodes);
        QCOMPARE(header->payloadBytes, bytes.size() - Platform::RecognizerReplyHeader::size);
        QVERIFY(Platform::decodeReply(bytes) == reply);
    }

    void theReadyMessageIsAHeaderThatAnswersNoJob()
    {
        const QByteArray ready = Platform::encodeReady();
        const auto header = Platform::decodeReplyHeader(ready);
        QVERIFY(header);
        QVERIFY(!header->job);
        QVERIFY(!Platform::decodeReply(ready));
        QVERIFY(!Platform::decodeReplyHeader(patched(ready, 8, le32(1))));
    }

    void malformedRepliesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // Header 12 bytes (job at 4, length at 8); then the count at 12 and the first item at 16.
        const QByteArray text = Platform::encodeReply(Lines{QStringLiteral("ab")});
        const QPolygon corners({QPoint(1, 2), QPoint(3, 4), QPoint(5, 6), QPoint(7, 8)});
        // The code's payload flag at 16, its length at 17, its byte at 21.
        const QByteArray code =
            Platform::encodeReply(Observations{{QStringLiteral("p"), QStringLiteral("QRCode"), corners}});
        QVERIFY(Platform::decodeReply(text) && Platform::decodeReply(code));
        QTest::newRow("cut short") << text.chopped(1);
        QTest::newRow("a byte beyond the length") << text + 'x';
        QTest::newRow("a byte left over in the payload") << patched(text, 8, le32(quint32(text.size() - 11))) + 'x';
        QTest::newRow("longer than any reply") << patched(text, 8, le32(quint32(17 << 20)));
        QTest::newRow("a count beyond the bytes") << patched(text, 12, le32(0x40000000));
        QTest::newRow("a line beyond the bytes") << patched(text, 16, le32(3));
        QTest::newRow("a line that is not UTF-8") << patched(text, 20, "\xff");
        QTest::newRow("lines for a barcode job") << patched(text, 4, "\x02");
        QTest::newRow("a reply to the abort job") << patched(text, 4, "\x7f");
        QTest::newRow("a payload flag that is neither") << patched(code, 16, "\x02");
        QTest::newRow("a payload on a binary code") << patched(code, 16, QByteArray(1, '\0'));
        const QString longName(65, u'x');
        QTest::newRow("a symbology name of 65 bytes")
            << Platform::encodeReply(Observations{{QStringLiteral("p"), longName, corners}});
    }
    void malformedRepliesAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!Platform::decodeReply(bytes));
    }
};

QTEST_MAIN(RecognizerProtocolTest)
#include "recognizer_protocol_test.moc"
