#pragma once

#include <QImage>
#include <QString>

#include <variant>

namespace Platform {

// Why a saved capture cannot be used.
enum class CapturedImageError {
    unreadable, // missing, not a regular file, damaged, or not an image
    tooLarge,   // more pixels than any screen shows
};

// Decodes the image a capture tool saved. The size is checked from the file's header before any pixel is
// decoded, against the same limit the recognisers apply. Safe to call from any thread.
std::variant<QImage, CapturedImageError> loadCapturedImage(const QString &path);

} // namespace Platform
