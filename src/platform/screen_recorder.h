#pragma once

#include "platform/desktop_session.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>

namespace Platform {

// Records the whole screen into one movie file: H.264 in MP4, or VP8 in WebM where no H.264 encoder is installed.
// The recorder owns its capture session, the session's screen input and its movie file output for its whole life;
// the destination is fixed at construction. On Wayland, and without a display, the session has no screen input:
// starting then writes nothing and reports nothing.
class ScreenRecorder : public QObject {
    Q_OBJECT
public:
    explicit ScreenRecorder(QUrl destinationUrl, QObject *parent = nullptr);
    // As above, for a session of the given kind rather than this one.
    ScreenRecorder(QUrl destinationUrl, DisplayServer displayServer, QObject *parent = nullptr);
    ~ScreenRecorder() override;
    ScreenRecorder(const ScreenRecorder &) = delete;
    ScreenRecorder &operator=(const ScreenRecorder &) = delete;

    QUrl destinationUrl() const { return m_destinationUrl; }

    // Starts the session and writes the movie to destinationUrl(), replacing the file there.
    void startRecording();
    // Ends the movie; didFinishRecording() follows once the muxer has written its index.
    void stopRecording();
    // Stops capturing. A movie whose stop was asked for is finished first; one still recording is cut
    // short, unfinished and without didFinishRecording().
    void stopSession();

Q_SIGNALS:
    // The movie is finished, or its recording ended on an error; errors are only logged.
    void didFinishRecording();

private:
    class CaptureSession;
    class MovieFileOutput;

    void sessionEnded(quint64 run);

    const QUrl m_destinationUrl;
    const std::unique_ptr<CaptureSession> m_session;
    const std::unique_ptr<MovieFileOutput> m_output;
};

// A recorder for a file-system path; a relative path is taken from the current directory.
[[nodiscard]] std::unique_ptr<ScreenRecorder> screenRecorderForPath(const QString &path);
[[nodiscard]] std::unique_ptr<ScreenRecorder> screenRecorderForUrl(const QUrl &url);

} // namespace Platform
