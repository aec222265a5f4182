#include "support/rendered_images.h"

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

} // namespace TestSupport
