#pragma once

#include "platform/display_server.h"

#include <QImage>
#include <QObject>
#include <QString>

#include <functional>

namespace Platform {
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

    // tool may be null: the session has no capture tool, and every capture tells the user what to install.
    // An empty tmpDir (no private directory could be made) ends every capture before the tool starts.
    CaptureStep(Platform::RegionCaptureTool *tool, Platform::UrlOpener &urlOpener,
                Platform::DisplayServer displayServer, QString tmpDir, QObject *parent = nullptr);

    // Calls onImage later, on this object's thread, with the selected region; never when the user cancelled,
    // the screen cannot be captured, or the file is not an image ("can't convert image" on standard output).
    void run(std::function<void(const QImage &)> onImage);

    // True when a capture tool is there; otherwise shows the alert that says what to install and returns false.
    bool ensureScreenCaptureAccess();

    QString captureFilePath() const { return m_tmpDir + QLatin1String(captureFileName); }

private:
    Platform::RegionCaptureTool *m_tool;
    Platform::UrlOpener &m_urlOpener;
    Platform::DisplayServer m_displayServer;
    QString m_tmpDir;
};
