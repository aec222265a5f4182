#pragma once

#include <QColor>
#include <QImage>
#include <QString>
#include <QStringList>

#include <ZXing/BarcodeFormat.h>

namespace TestSupport {

// A code drawn with the library's own writer, modulePx screen pixels per module, on a four-module quiet zone.
QImage renderCode(const QString &payload, int modulePx = 2, ZXing::BarcodeFormat format = ZXing::BarcodeFormat::QRCode);

// Lines of DejaVu Sans at 1x, the way a capture of an editor or a dialog looks: 360 px wide, 24 px per line.
QImage renderLines(const QStringList &lines, QColor text = Qt::black, QColor background = Qt::white,
                   int pixelSize = 14);

// One line of 40 px DejaVu Sans centred on a white 640×120 picture: text that recognition cannot doubt.
QImage renderHeadline(const QString &text);

// The start of a valid PNG file claiming this size, with a few bytes of pixel data: the header decides.
QByteArray pngClaiming(quint32 width, quint32 height);

} // namespace TestSupport
