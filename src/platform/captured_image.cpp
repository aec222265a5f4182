#include "platform/captured_image.h"

#include "platform/text_image_preparation.h"

#include <QFile>
#include <QImageReader>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform {

namespace {

// Decoding a 32-bit image of the largest size allowed; the reader refuses to allocate more.
constexpr int allocationLimitMegabytes = int(maxCapturePixels * 4 / (1024 * 1024));

} // namespace

std::variant<QImage, CapturedImageError> loadCapturedImage(const QString &path)
{
    // Without blocking, so that a pipe planted in the file's place cannot hang the reader.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return CapturedImageError::unreadable;
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return CapturedImageError::unreadable;
    }
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode))
        return CapturedImageError::unreadable;

    QImageReader reader(&file);
    reader.setAllocationLimit(allocationLimitMegabytes);
    reader.setAutoTransform(true);
    if (const QSize size = reader.size(); size.isValid() && qsizetype(size.width()) * size.height() >= maxCapturePixels)
        return CapturedImageError::tooLarge;
    QImage image = reader.read();
    if (image.isNull())
        return CapturedImageError::unreadable;
    if (qsizetype(image.width()) * image.height() >= maxCapturePixels)
        return CapturedImageError::tooLarge; // a format whose header does not tell the size
    return image;
}

} // namespace Platform
