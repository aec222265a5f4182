#pragma once

#include "platform/region_capture_tool.h"
#include "platform/url_opener.h"

#include <QFile>
#include <QImage>
#include <QList>
#include <QUrl>

#include <functional>

namespace TestSupport {

// Plays the user's part in a capture: saves the image it holds (or the bytes, or nothing for a cancel).
class FakeRegionCaptureTool final : public Platform::RegionCaptureTool {
public:
    void captureRegion(const QString &destination) override
    {
        ++captures;
        ++depth;
        maximumDepth = std::max(maximumDepth, depth);
        destinationExistedAtStart = destinationExistedAtStart || QFile::exists(destination);
        if (duringCapture)
            duringCapture();
        if (!image.isNull()) {
            image.save(destination, "PNG");
        } else if (!bytes.isNull()) {
            QFile file(destination);
            if (file.open(QIODevice::WriteOnly))
                file.write(bytes);
        }
        --depth;
    }

    QImage image;     // saved as PNG when set
    QByteArray bytes; // written as they are when set and there is no image
    std::function<void()> duringCapture;
    int captures = 0;
    int depth = 0;
    int maximumDepth = 0;
    bool destinationExistedAtStart = false;
};

class FakeUrlOpener final : public Platform::UrlOpener {
public:
    void open(const QUrl &url) override { opened.append(url); }
    QList<QUrl> opened;
};

} // namespace TestSupport
