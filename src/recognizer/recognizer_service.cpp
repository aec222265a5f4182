#include "recognizer/recognizer_service.h"

#include "platform/zxing_barcode_detector.h"

#include <QLoggingCategory>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <unistd.h>

using Platform::RecognizerJob;
using Platform::RecognizerReply;
using Platform::RecognizerRequest;
using Platform::RecognizerRequestHeader;

namespace Recognizer {
namespace {

Q_LOGGING_CATEGORY(lcRecognizer, "scrivlet.recognizer")

enum class Read { complete, nothing, partial }; // nothing: the input ended before the first byte

Read readFully(int fd, void *to, qsizetype count)
{
    auto *bytes = static_cast<char *>(to);
    qsizetype done = 0;
    while (done < count) {
        const ssize_t n = ::read(fd, bytes + done, size_t(std::min<qsizetype>(count - done, qsizetype(1) << 30)));
        if (n > 0)
            done += n;
        else if (n < 0 && errno == EINTR)
            continue;
        else
            return done == 0 ? Read::nothing : Read::partial;
    }
    return Read::complete;
}

bool skipFully(int fd, qsizetype count)
{
    char scratch[65536];
    for (qsizetype left = count; left > 0;) {
        const qsizetype part = std::min<qsizetype>(left, sizeof scratch);
        if (readFully(fd, scratch, part) != Read::complete)
            return false;
        left -= part;
    }
    return true;
}

bool writeFully(int fd, const QByteArray &bytes)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t n = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n > 0)
            done += n;
        else if (n < 0 && errno == EINTR)
            continue;
        else
            return false;
    }
    return true;
}

// Pixel memory kept from one request to the next: fresh memory costs a page fault every 4 KiB, milliseconds for a
// large capture. More than a 4K screen's capture is given back after the request.
class PixelBuffer {
public:
    // Null when the memory cannot be had.
    QImage imageFor(const RecognizerRequestHeader &header)
    {
        const auto bytes = size_t(header.pixelBytes());
        if (bytes > m_capacity) {
            m_pixels.reset();
            m_capacity = 0;
            m_pixels.reset(new (std::nothrow) uchar[bytes]);
            if (!m_pixels)
                return {};
            m_capacity = bytes;
        }
        return QImage(m_pixels.get(), header.width, header.height, header.bytesPerLine, QImage::Format_ARGB32);
    }
    void trim()
    {
        if (m_capacity > keptBytes) {
            m_pixels.reset();
            m_capacity = 0;
        }
    }

private:
    static constexpr size_t keptBytes = size_t(64) << 20;

    std::unique_ptr<uchar[]> m_pixels;
    size_t m_capacity = 0;
};

RecognizerReply nothingFor(RecognizerJob job)
{
    if (job == RecognizerJob::text)
        return std::vector<QString>();
    return std::vector<Platform::BarcodeObservation>();
}

// Reads the pixels of the request whose header came in, and answers it. Empty when the input ends first.
std::optional<QByteArray> readAndAnswer(int input, const RecognizerRequestHeader &header, PixelBuffer &buffer,
                                        Engines &engines)
{
    if (header.job == RecognizerJob::abortForTesting)
        return answer({header.job, QImage()}, engines);
    QImage image = buffer.imageFor(header);
    if (image.isNull()) {
        qCWarning(lcRecognizer) << "no memory for a capture of" << header.width << "x" << header.height;
        if (!skipFully(input, header.pixelBytes()))
            return std::nullopt;
        return Platform::encodeReply(nothingFor(header.job));
    }
    if (readFully(input, image.bits(), header.pixelBytes()) != Read::complete) {
        qCWarning(lcRecognizer) << "cut-off request; ending";
        return std::nullopt;
    }
    return answer({header.job, Platform::asCapturedImage(std::move(image))}, engines);
}

} // namespace

Engines Engines::load(const QString &languages)
{
    Engines engines{Platform::TextReader::load(languages)};
    if (!engines.text)
        qCWarning(lcRecognizer) << "no text model for" << languages << ": text jobs find nothing";
    return engines;
}

QByteArray answer(RecognizerRequest request, Engines &engines)
{
    if (request.job == RecognizerJob::abortForTesting)
        std::abort();
    const QImage capture = std::move(request.image);
    try {
        if (request.job == RecognizerJob::text) {
            std::vector<QString> lines = engines.text ? engines.text->recognize(capture) : std::vector<QString>();
            if (engines.text && engines.text->choseAnother())
                qCInfo(lcRecognizer).noquote() << "read in" << engines.text->lastLanguages();
            return Platform::encodeReply(lines);
        }
        return Platform::encodeReply(Platform::detectBarcodes(capture));
    } catch (const std::bad_alloc &) {
        // A capture too large for the memory left; Scrivlet says nothing was found.
        return Platform::encodeReply(nothingFor(request.job));
    }
}

int serveRequests(int input, int output, Engines &engines)
{
    if (!writeFully(output, Platform::encodeReady()))
        return 1;
    PixelBuffer buffer;
    for (;;) {
        char head[RecognizerRequestHeader::size];
        const Read read = readFully(input, head, sizeof head);
        if (read == Read::nothing)
            return 0;
        const auto header =
            read == Read::complete ? Platform::decodeRequestHeader(QByteArrayView(head, sizeof head)) : std::nullopt;
        if (!header) {
            qCWarning(lcRecognizer) << "malformed request; ending";
            return 1;
        }
        const std::optional<QByteArray> reply = readAndAnswer(input, *header, buffer, engines);
        buffer.trim();
        if (!reply || !writeFully(output, *reply))
            return 1;
    }
}

} // namespace Recognizer
