#pragma once

#include <QImage>
#include <QString>

#include <optional>

namespace Platform {

// Decodes the image a capture tool saved. Empty when the file is not an image, is damaged, or would need more
// memory than a screen could ever show. Safe to call from any thread.
std::optional<QImage> loadCapturedImage(const QString &path);

} // namespace Platform
