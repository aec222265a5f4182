#pragma once

#include "platform/barcode_observation.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QImage>
#include <QString>

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace Platform {

// The messages between Scrivlet and its recognition helper (scrivlet-recognizer) on the helper's standard input
// and output: the helper says it is ready once its engines are loaded, then answers one request at a time. Each
// message is a fixed header from which the length of the rest follows; integers are little-endian u32 unless said.
//   request: "SRq1", job, 3 zero bytes, width, height, bytesPerLine; then the pixels
//   reply:   "SRp1", job (0 in the ready message), 3 zero bytes, payload length; then the payload:
//     text:     count; per line: length, UTF-8
//     barcodes: count; per code: u8 1 when it holds text (else 0 and an empty payload), payload length, UTF-8,
//               symbology length (at most 64), UTF-8, four corners as i32 x and y
// Each side checks everything it reads: a message that breaks a rule here is refused whole.

enum class RecognizerJob : std::uint8_t {
    text = 1,               // reply: the text lines
    barcodes = 2,           // reply: the codes found
    abortForTesting = 0x7f, // no image and no reply: the helper aborts, as a crash inside an engine would
};

// The fixed part of a request. The pixels follow: height rows of bytesPerLine bytes in QImage::Format_ARGB32
// (0xAARRGGBB in native order), the row's padding included.
struct RecognizerRequestHeader {
    static constexpr qsizetype size = 20;

    RecognizerJob job = RecognizerJob::text;
    int width = 0;
    int height = 0;
    int bytesPerLine = 0;

    [[nodiscard]] qsizetype pixelBytes() const { return qsizetype(height) * bytesPerLine; }
};

struct RecognizerRequest {
    RecognizerJob job = RecognizerJob::text;
    QImage image; // see asCapturedImage(); null for abortForTesting
};

// The lines of a text job, or the codes of a barcode job.
using RecognizerReply = std::variant<std::vector<QString>, std::vector<BarcodeObservation>>;

struct RecognizerReplyHeader {
    static constexpr qsizetype size = 12;
    // More than any capture's text or codes can fill; the reader refuses longer replies before buffering them.
    static constexpr qsizetype maxPayloadBytes = qsizetype(16) << 20;

    std::optional<RecognizerJob> job; // the job answered; empty for the ready message, which is a header alone
    qsizetype payloadBytes = 0;
};

// A request in two parts, so that the pixels can be written from where they are rather than copied first.
struct EncodedRequest {
    QByteArray header; // RecognizerRequestHeader::size bytes
    QImage pixels;     // its bytes are the request's pixels, in ARGB32 form; null for abortForTesting

    [[nodiscard]] QByteArrayView pixelBytes() const;
    [[nodiscard]] QByteArray joined() const; // the whole request in one array
};

// Empty for a text or barcode job whose image no capture can be: null, or with maxCapturePixels or more. An
// ARGB32 or RGB32 image is shared, not copied. The image of abortForTesting is not sent.
[[nodiscard]] std::optional<EncodedRequest> encodeRequest(RecognizerJob job, const QImage &image = {});

// Checks the fixed part alone (exactly RecognizerRequestHeader::size bytes), so that a reader knows how many pixel
// bytes may follow before it allocates them: at most 4 × maxCapturePixels.
[[nodiscard]] std::optional<RecognizerRequestHeader> decodeRequestHeader(QByteArrayView bytes);
// One whole request and nothing more.
[[nodiscard]] std::optional<RecognizerRequest> decodeRequest(QByteArrayView bytes);
// The request's image once its pixels are in: relabelled Format_RGB32 when no pixel is translucent, as the capture
// most likely was; the engines then read it without first flattening it over white, which costs a copy.
[[nodiscard]] QImage asCapturedImage(QImage pixels);

// The helper's first message: its engines are loaded, the time a job takes starts counting.
[[nodiscard]] QByteArray encodeReady();
[[nodiscard]] QByteArray encodeReply(const RecognizerReply &reply);
// Checks the fixed part alone (exactly RecognizerReplyHeader::size bytes): the job it answers and its length.
[[nodiscard]] std::optional<RecognizerReplyHeader> decodeReplyHeader(QByteArrayView bytes);
// One whole reply to a job and nothing more; every string valid UTF-8.
[[nodiscard]] std::optional<RecognizerReply> decodeReply(QByteArrayView bytes);

} // namespace Platform
