#pragma once

#include "platform/barcode_detection.h"
#include "platform/clipboard.h"
#include "platform/notifier.h"
#include "platform/region_capture_tool.h"
#include "platform/store_review.h"
#include "platform/text_recognition.h"
#include "platform/url_opener.h"
#include "platform/widget_center.h"

#include <QFuture>

#include <QFile>
#include <QImage>
#include <QList>
#include <QUrl>

#include <functional>

namespace TestSupport {

// Plays the user's part in a capture: saves the image it holds (or the bytes, or nothing for a cancel).
class FakeRegionCaptureTool final : public Platform::RegionCaptureTool {
public:
    bool isAvailable() const override { return available; }
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
    bool available = true;
    int captures = 0;
    int depth = 0;
    int maximumDepth = 0;
    bool destinationExistedAtStart = false;
};

class FakeUrlOpener final : public Platform::UrlOpener {
public:
    void open(const QUrl &url) override { opened.append(url); }
    bool canOpen(const QUrl &) const override { return hasHandlers; }
    QList<QUrl> opened;
    bool hasHandlers = true;
};

// Reads the lines it is given from any image, and remembers the images it was shown and in which languages.
class FakeTextRecognition final : public Platform::TextRecognition {
public:
    QFuture<std::vector<QString>> recognize(QImage image, QString languages) override
    {
        images.append(image.size());
        this->languages.append(std::move(languages));
        return QtFuture::makeReadyFuture(lines);
    }
    std::vector<QString> lines;
    QList<QSize> images;
    QStringList languages;
};

class FakeBarcodeDetection final : public Platform::BarcodeDetection {
public:
    QFuture<std::vector<Platform::BarcodeObservation>> detect(QImage) override
    {
        ++requests;
        return QtFuture::makeReadyFuture(observations);
    }
    std::vector<Platform::BarcodeObservation> observations;
    int requests = 0;
};

class FakeWidgetCenter final : public Platform::WidgetCenter {
public:
    void reloadAllTimelines() override { ++reloads; }
    int reloads = 0;
};

class FakeClipboard final : public Platform::Clipboard {
public:
    void setText(const QString &text) override { texts.append(text); }
    QStringList texts;
};

class FakeStoreReview final : public Platform::StoreReview {
public:
    void requestReview() override { ++requests; }
    int requests = 0;
};

// Answers every notice at once, taken or not as the test says.
class FakeNotifier final : public Platform::Notifier {
public:
    void notify(const Platform::Notice &notice, std::function<void(bool)> taken) override
    {
        notices.append(notice);
        taken(takes);
    }
    QList<Platform::Notice> notices;
    bool takes = true;
};

} // namespace TestSupport
