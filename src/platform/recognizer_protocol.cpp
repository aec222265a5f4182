#include "platform/recognizer_protocol.h"

#include "platform/text_image_preparation.h"

#include <QStringDecoder>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace Platform {
namespace {

constexpr std::array<char, 4> requestMagic{'S', 'R', 'q', '1'};
constexpr std::array<char, 4> replyMagic{'S', 'R', 'p', '1'};
constexpr qsizetype maxPixelBytes = 4 * maxCapturePixels;
constexpr qsizetype maxStringBytes = RecognizerReplyHeader::maxPayloadBytes;
constexpr quint32 maxSymbologyBytes = 64;
// The ready message answers no job: its job byte is zero.
constexpr quint8 noJob = 0;

class Writer {
public:
    explicit Writer(qsizetype reserve) { m_bytes.reserve(reserve); }
    void raw(QByteArrayView bytes) { m_bytes.append(bytes.data(), bytes.size()); }
    void u8(quint8 value) { m_bytes.append(char(value)); }
    void u32(quint32 value)
    {
        char bytes[4];
        qToLittleEndian(value, bytes);
        m_bytes.append(bytes, 4);
    }
    void i32(qint32 value) { u32(quint32(value)); }
    void text(const QString &text)
    {
        const QByteArray utf8 = text.toUtf8();
        u32(quint32(utf8.size()));
        raw(utf8);
    }
    // The fixed part of a message: its magic, its job, three zero bytes.
    void head(const std::array<char, 4> &magic, quint8 job)
    {
        raw(QByteArrayView(magic.data(), 4));
        u8(job);
        raw(QByteArrayView("\0\0\0", 3));
    }
    QByteArray &bytes() { return m_bytes; }

private:
    QByteArray m_bytes;
};

// Reads from the front; once a read fails, every later read fails too.
class Reader {
public:
    explicit Reader(QByteArrayView bytes) : m_bytes(bytes) {}

    [[nodiscard]] std::optional<QByteArrayView> raw(qsizetype count)
    {
        if (!m_ok || count < 0 || count > m_bytes.size() - m_at)
            return fail<QByteArrayView>();
        const QByteArrayView part = m_bytes.sliced(m_at, count);
        m_at += count;
        return part;
    }
    [[nodiscard]] std::optional<quint8> u8()
    {
        const auto bytes = raw(1);
        return bytes ? std::optional(quint8(bytes->front())) : std::nullopt;
    }
    [[nodiscard]] std::optional<quint32> u32()
    {
        const auto bytes = raw(4);
        return bytes ? std::optional(qFromLittleEndian<quint32>(bytes->data())) : std::nullopt;
    }
    [[nodiscard]] std::optional<qint32> i32()
    {
        const auto value = u32();
        return value ? std::optional(qint32(*value)) : std::nullopt;
    }
    [[nodiscard]] std::optional<QString> text(quint32 maxBytes)
    {
        const auto length = u32();
        if (!length || *length > maxBytes)
            return fail<QString>();
        const auto bytes = raw(qsizetype(*length));
        if (!bytes)
            return std::nullopt;
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QString result = decoder(*bytes);
        if (decoder.hasError())
            return fail<QString>();
        return result;
    }
    // The fixed part of a message; the job as sent, to be checked by the caller.
    [[nodiscard]] std::optional<quint8> head(const std::array<char, 4> &magic)
    {
        const auto start = raw(4);
        const auto job = u8();
        const auto zeros = raw(3);
        if (!zeros || std::memcmp(start->data(), magic.data(), 4) != 0 || std::memcmp(zeros->data(), "\0\0\0", 3) != 0)
            return fail<quint8>();
        return job;
    }
    [[nodiscard]] bool atEnd() const { return m_ok && m_at == m_bytes.size(); }
    [[nodiscard]] qsizetype remaining() const { return m_bytes.size() - m_at; }

private:
    template <typename T> std::optional<T> fail()
    {
        m_ok = false;
        return std::nullopt;
    }

    QByteArrayView m_bytes;
    qsizetype m_at = 0;
    bool m_ok = true;
};

std::optional<RecognizerJob> jobOf(std::optional<quint8> value)
{
    if (!value)
        return std::nullopt;
    switch (RecognizerJob(*value)) {
    case RecognizerJob::text:
    case RecognizerJob::barcodes:
    case RecognizerJob::abortForTesting:
        return RecognizerJob(*value);
    }
    return std::nullopt;
}

void writeLines(Writer &out, const std::vector<QString> &lines)
{
    out.u32(quint32(lines.size()));
    for (const QString &line : lines)
        out.text(line);
}

void writeObservations(Writer &out, const std::vector<BarcodeObservation> &observations)
{
    out.u32(quint32(observations.size()));
    for (const BarcodeObservation &o : observations) {
        out.u8(o.payload ? 1 : 0);
        out.text(o.payload.value_or(QString()));
        out.text(o.symbology);
        for (int corner = 0; corner < 4; ++corner) {
            const QPoint point = corner < o.position.size() ? o.position.at(corner) : QPoint();
            out.i32(point.x());
            out.i32(point.y());
        }
    }
}

// Each line takes at least its four length bytes, so a count beyond that is a lie told to make us allocate.
std::optional<std::vector<QString>> readLines(Reader &in)
{
    const auto count = in.u32();
    if (!count || *count > in.remaining() / 4)
        return std::nullopt;
    std::vector<QString> lines;
    lines.reserve(*count);
    for (quint32 i = 0; i < *count; ++i) {
        auto line = in.text(quint32(maxStringBytes));
        if (!line)
            return std::nullopt;
        lines.push_back(std::move(*line));
    }
    return lines;
}

std::optional<std::vector<BarcodeObservation>> readObservations(Reader &in)
{
    constexpr qsizetype smallestObservation = 1 + 4 + 4 + 8 * 4;
    const auto count = in.u32();
    if (!count || *count > in.remaining() / smallestObservation)
        return std::nullopt;
    std::vector<BarcodeObservation> observations;
    observations.reserve(*count);
    for (quint32 i = 0; i < *count; ++i) {
        BarcodeObservation o;
        const auto hasPayload = in.u8();
        auto payload = in.text(quint32(maxStringBytes));
        auto symbology = in.text(maxSymbologyBytes);
        if (!hasPayload || *hasPayload > 1 || !payload || !symbology || (!*hasPayload && !payload->isEmpty()))
            return std::nullopt;
        if (*hasPayload)
            o.payload = std::move(*payload);
        o.symbology = std::move(*symbology);
        for (int corner = 0; corner < 4; ++corner) {
            const auto x = in.i32();
            const auto y = in.i32();
            if (!y)
                return std::nullopt;
            o.position << QPoint(*x, *y);
        }
        observations.push_back(std::move(o));
    }
    return observations;
}

bool everyPixelOpaque(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        if (!std::all_of(row, row + image.width(), [](QRgb pixel) { return qAlpha(pixel) == 255; }))
            return false;
    }
    return true;
}

// Pixels whose bytes are ARGB32 as they are. RGB32 images are, once their unused byte holds 0xff, as it does in
// every image Qt makes; they are shared then, not copied.
QImage argbPixels(const QImage &image)
{
    if (image.format() == QImage::Format_ARGB32 || (image.format() == QImage::Format_RGB32 && everyPixelOpaque(image)))
        return image;
    if (image.format() != QImage::Format_RGB32)
        return image.convertToFormat(QImage::Format_ARGB32);
    QImage opaque(image.size(), QImage::Format_ARGB32);
    if (opaque.isNull())
        return opaque;
    for (int y = 0; y < image.height(); ++y) {
        const auto *from = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        auto *to = reinterpret_cast<QRgb *>(opaque.scanLine(y));
        std::transform(from, from + image.width(), to, [](QRgb pixel) { return pixel | 0xff000000u; });
    }
    return opaque;
}

// Null when the memory cannot be had. The row stride is the sender's, so the pixels arrive in one piece; the image
// frees them when it goes.
QImage allocateRequestImage(const RecognizerRequestHeader &header)
{
    std::unique_ptr<uchar[]> pixels(new (std::nothrow) uchar[size_t(header.pixelBytes())]);
    if (!pixels)
        return {};
    QImage image(
        pixels.get(), header.width, header.height, header.bytesPerLine, QImage::Format_ARGB32,
        [](void *data) { delete[] static_cast<uchar *>(data); }, pixels.get());
    if (!image.isNull())
        pixels.release();
    return image;
}

} // namespace

QByteArrayView EncodedRequest::pixelBytes() const
{
    return QByteArrayView(reinterpret_cast<const char *>(pixels.constBits()), pixels.sizeInBytes());
}

QByteArray EncodedRequest::joined() const
{
    return header + pixelBytes().toByteArray();
}

std::optional<EncodedRequest> encodeRequest(RecognizerJob job, const QImage &image)
{
    Writer out(RecognizerRequestHeader::size);
    out.head(requestMagic, quint8(job));
    if (job == RecognizerJob::abortForTesting) {
        for (int field = 0; field < 3; ++field)
            out.u32(0);
        return EncodedRequest{std::move(out.bytes()), QImage()};
    }
    if (image.isNull() || qsizetype(image.width()) * image.height() >= maxCapturePixels)
        return std::nullopt;
    QImage pixels = argbPixels(image);
    if (pixels.isNull())
        return std::nullopt;
    out.u32(quint32(pixels.width()));
    out.u32(quint32(pixels.height()));
    out.u32(quint32(pixels.bytesPerLine()));
    return EncodedRequest{std::move(out.bytes()), std::move(pixels)};
}

std::optional<RecognizerRequestHeader> decodeRequestHeader(QByteArrayView bytes)
{
    if (bytes.size() != RecognizerRequestHeader::size)
        return std::nullopt;
    Reader in(bytes);
    const auto job = jobOf(in.head(requestMagic));
    const auto width = in.u32();
    const auto height = in.u32();
    const auto bytesPerLine = in.u32();
    if (!job || !bytesPerLine)
        return std::nullopt;
    if (*job == RecognizerJob::abortForTesting) {
        if (*width != 0 || *height != 0 || *bytesPerLine != 0)
            return std::nullopt;
        return RecognizerRequestHeader{*job, 0, 0, 0};
    }
    // In 64 bits, and each side below the limit before any product: no product can then wrap.
    const qint64 w = *width, h = *height, stride = *bytesPerLine;
    if (w < 1 || h < 1 || w >= maxCapturePixels || h >= maxCapturePixels || w * h >= maxCapturePixels)
        return std::nullopt;
    if (stride < 4 * w || stride % 4 != 0 || h * stride > maxPixelBytes)
        return std::nullopt;
    return RecognizerRequestHeader{*job, int(w), int(h), int(stride)};
}

QImage asCapturedImage(QImage pixels)
{
    if (pixels.format() == QImage::Format_ARGB32 && everyPixelOpaque(pixels))
        pixels.reinterpretAsFormat(QImage::Format_RGB32);
    return pixels;
}

std::optional<RecognizerRequest> decodeRequest(QByteArrayView bytes)
{
    const auto header = decodeRequestHeader(bytes.first(std::min(bytes.size(), RecognizerRequestHeader::size)));
    if (!header || bytes.size() - RecognizerRequestHeader::size != header->pixelBytes())
        return std::nullopt;
    RecognizerRequest request{header->job, QImage()};
    if (header->job != RecognizerJob::abortForTesting) {
        request.image = allocateRequestImage(*header);
        if (request.image.isNull())
            return std::nullopt;
        std::memcpy(request.image.bits(), bytes.data() + RecognizerRequestHeader::size, size_t(header->pixelBytes()));
        request.image = asCapturedImage(std::move(request.image));
    }
    return request;
}

QByteArray encodeReady()
{
    Writer out(RecognizerReplyHeader::size);
    out.head(replyMagic, noJob);
    out.u32(0);
    return std::move(out.bytes());
}

QByteArray encodeReply(const RecognizerReply &reply)
{
    Writer out(256);
    if (const auto *lines = std::get_if<std::vector<QString>>(&reply)) {
        out.head(replyMagic, quint8(RecognizerJob::text));
        out.u32(0);
        writeLines(out, *lines);
    } else {
        out.head(replyMagic, quint8(RecognizerJob::barcodes));
        out.u32(0);
        writeObservations(out, std::get<std::vector<BarcodeObservation>>(reply));
    }
    QByteArray &bytes = out.bytes();
    qToLittleEndian(quint32(bytes.size() - RecognizerReplyHeader::size), bytes.data() + 8);
    return std::move(bytes);
}

std::optional<RecognizerReplyHeader> decodeReplyHeader(QByteArrayView bytes)
{
    if (bytes.size() != RecognizerReplyHeader::size)
        return std::nullopt;
    Reader in(bytes);
    const auto value = in.head(replyMagic);
    const auto length = in.u32();
    if (!length)
        return std::nullopt;
    if (*value == noJob)
        return *length == 0 ? std::optional(RecognizerReplyHeader{std::nullopt, 0}) : std::nullopt;
    const auto job = jobOf(value);
    if (!job || *job == RecognizerJob::abortForTesting || *length > RecognizerReplyHeader::maxPayloadBytes)
        return std::nullopt;
    return RecognizerReplyHeader{*job, qsizetype(*length)};
}

std::optional<RecognizerReply> decodeReply(QByteArrayView bytes)
{
    const auto header = decodeReplyHeader(bytes.first(std::min(bytes.size(), RecognizerReplyHeader::size)));
    if (!header || !header->job || bytes.size() - RecognizerReplyHeader::size != header->payloadBytes)
        return std::nullopt;
    Reader in(bytes.sliced(RecognizerReplyHeader::size));
    std::optional<RecognizerReply> reply;
    if (header->job == RecognizerJob::text) {
        if (auto lines = readLines(in))
            reply = std::move(*lines);
    } else if (auto observations = readObservations(in)) {
        reply = std::move(*observations);
    }
    return reply && in.atEnd() ? reply : std::nullopt;
}

} // namespace Platform
