#include "support/rendered_images.h"

#include <QFont>
#include <QPainter>

#include <ZXing/BitMatrix.h>
#include <ZXing/CharacterSet.h>
#include <ZXing/MultiFormatWriter.h>

namespace TestSupport {

QImage renderCode(const QString &payload, int modulePx, ZXing::BarcodeFormat format)
{
    const ZXing::BitMatrix matrix = ZXing::MultiFormatWriter(format)
                                        .setEncoding(ZXing::CharacterSet::UTF8)
                                        .setMargin(4)
                                        .encode(payload.toStdWString(), 0, 0);
    QImage image(matrix.width() * modulePx, matrix.height() * modulePx, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int y = 0; y < matrix.height(); ++y)
        for (int x = 0; x < matrix.width(); ++x)
            if (matrix.get(x, y))
                painter.fillRect(x * modulePx, y * modulePx, modulePx, modulePx, Qt::black);
    return image;
}

QImage renderLines(const QStringList &lines, QColor text, QColor background, int pixelSize)
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

QImage renderHeadline(const QString &text)
{
    QImage image(640, 120, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(40);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(image.rect(), Qt::AlignCenter, text);
    return image;
}

namespace {

quint32 crc32(QByteArrayView bytes)
{
    quint32 crc = 0xffffffff;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320 & (0 - (crc & 1)));
    }
    return ~crc;
}

QByteArray bigEndian(quint32 value)
{
    const char bytes[] = {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
    return QByteArray(bytes, 4);
}

QByteArray chunk(QByteArrayView type, const QByteArray &data)
{
    const QByteArray typed = type.toByteArray() + data;
    return bigEndian(quint32(data.size())) + typed + bigEndian(crc32(typed));
}

} // namespace

QByteArray pngClaiming(quint32 width, quint32 height)
{
    return QByteArray("\x89PNG\r\n\x1a\n", 8) +
           chunk("IHDR", bigEndian(width) + bigEndian(height) + QByteArray("\x08\x06\0\0\0", 5)) +
           chunk("IDAT", qCompress(QByteArray(64, '\0')).mid(4)); // qCompress puts the length before zlib's data
}

} // namespace TestSupport
