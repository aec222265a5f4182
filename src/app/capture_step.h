#pragma once

#include <QImage>
#include <QObject>
#include <QString>

#include <functional>

namespace Platform {
class Clipboard;
class RegionCaptureTool;
class UrlOpener;
} // namespace Platform

// The beginning every capture shares: make sure the screen can be captured, let the user select a region with
// the desktop's capture tool, and decode the image it saved. Lives on the main thread; decoding runs on a
// worker so that a huge or damaged file never blocks the menu.
class CaptureStep : public QObject {
    Q_OBJECT
public:
    static constexpr auto captureFileName = "captureRegion.png";

    // tool may be null: the session has no capture tool, and every capture tells the user to install
    // toolPackages. clipboard (may be null) takes the install command where no software centre can.
    // An empty tmpDir (no private directory could be made) ends every capture before the tool starts.
    CaptureStep(Platform::RegionCaptureTool *tool, Platform::UrlOpener &urlOpener, Platform::Clipboard *clipboard,
                QString toolPackages, QString tmpDir, QObject *parent = nullptr);

    // Calls onImage later, on this object's thread, with the selected region; never when the user cancelled or
    // the capture failed (failed() says why). One capture at a time, whichever way requests arrive (the hot
    // key's native events, a menu click over D-Bus, the alert's own event loop): a request made while a
    // selection or the alert is open is dropped, and the result is false.
    bool run(std::function<void(const QImage &)> onImage);

    bool isCapturing() const { return m_capturing; }

    // True when a capture tool is there; otherwise shows the alert that says what to install and returns false.
    bool ensureScreenCaptureAccess();

    QString captureFilePath() const { return m_tmpDir + QLatin1String(captureFileName); }

Q_SIGNALS:
    // A capture ended on something the user can act on; the message says what to do.
    void failed(const QString &message);

private:
    Platform::RegionCaptureTool *m_tool;
    Platform::UrlOpener &m_urlOpener;
    Platform::Clipboard *m_clipboard;
    QString m_toolPackages;
    QString m_tmpDir;
    bool m_capturing = false;
};
