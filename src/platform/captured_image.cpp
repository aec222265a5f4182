#include "platform/captured_image.h"

#include <QImageReader>

namespace Platform {

namespace {
// Eight 8K screens side by side in 32-bit colour stay below this.
constexpr int allocationLimitMegabytes = 1024;
} // namespace

std::optional<QImage> loadCapturedImage(const QString &path)
{
    QImageReader reader(path);
    reader.setAllocationLimit(allocationLimitMegabytes);
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    return image;
}

} // namespace Platform
