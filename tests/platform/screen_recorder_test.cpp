#include "platform/screen_recorder.h"

#include "support/xvfb_server.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QScopeGuard>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <chrono>
#include <memory>
#include <optional>

using namespace std::chrono_literals;
using Platform::ScreenRecorder;

namespace {

struct GstObjectUnref {
    void operator()(gpointer object) const noexcept { gst_object_unref(object); }
};
template <typename T> using GstPtr = std::unique_ptr<T, GstObjectUnref>;

struct MovieInfo {
    int videoStreams = 0;
    int otherStreams = 0;
    QSize frameSize;
    std::chrono::nanoseconds duration{};
};

std::optional<MovieInfo> inspectMovie(const QString &path)
{
    GError *error = nullptr;
    GstPtr<GstDiscoverer> discoverer(gst_discoverer_new(10 * GST_SECOND, &error));
    if (!discoverer) {
        g_clear_error(&error);
        return std::nullopt;
    }
    const QByteArray uri = QUrl::fromLocalFile(path).toEncoded();
    GstPtr<GstDiscovererInfo> info(gst_discoverer_discover_uri(discoverer.get(), uri.constData(), &error));
    g_clear_error(&error);
    if (!info || gst_discoverer_info_get_result(info.get()) != GST_DISCOVERER_OK)
        return std::nullopt;
    MovieInfo movie;
    movie.duration = std::chrono::nanoseconds(gst_discoverer_info_get_duration(info.get()));
    GList *videos = gst_discoverer_info_get_video_streams(info.get());
    GList *audios = gst_discoverer_info_get_audio_streams(info.get());
    GList *subtitles = gst_discoverer_info_get_subtitle_streams(info.get());
    movie.videoStreams = int(g_list_length(videos));
    movie.otherStreams = int(g_list_length(audios) + g_list_length(subtitles));
    if (videos) {
        auto *video = GST_DISCOVERER_VIDEO_INFO(videos->data);
        movie.frameSize =
            QSize(int(gst_discoverer_video_info_get_width(video)), int(gst_discoverer_video_info_get_height(video)));
    }
    for (GList *list : {videos, audios, subtitles})
        gst_discoverer_stream_info_list_free(list);
    return movie;
}

// Decodes the frame shown at `at`; a null image when the movie does not play.
QImage frameAt(const QString &path, std::chrono::nanoseconds at)
{
    GError *error = nullptr;
    GstElement *parsed = gst_parse_launch(
        "filesrc name=file ! decodebin ! videoconvert ! video/x-raw,format=RGBx ! appsink name=frames", &error);
    g_clear_error(&error);
    if (!parsed)
        return {};
    GstPtr<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(parsed)));
    const auto stop = qScopeGuard([&pipeline] { gst_element_set_state(pipeline.get(), GST_STATE_NULL); });
    GstPtr<GstElement> file(gst_bin_get_by_name(GST_BIN(pipeline.get()), "file"));
    GstPtr<GstElement> frames(gst_bin_get_by_name(GST_BIN(pipeline.get()), "frames"));
    g_object_set(file.get(), "location", QFile::encodeName(path).constData(), nullptr);
    const auto settle = [&pipeline] {
        return gst_element_get_state(pipeline.get(), nullptr, nullptr, 10 * GST_SECOND) == GST_STATE_CHANGE_SUCCESS;
    };
    gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
    if (!settle() ||
        !gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME,
                                 GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE), at.count()) ||
        !settle())
        return {};
    GstSample *sample = nullptr;
    g_signal_emit_by_name(frames.get(), "pull-preroll", &sample);
    if (!sample)
        return {};
    const auto unrefSample = qScopeGuard([sample] { gst_sample_unref(sample); });
    const GstStructure *format = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
    int width = 0;
    int height = 0;
    gst_structure_get_int(format, "width", &width);
    gst_structure_get_int(format, "height", &height);
    GstMapInfo map;
    if (!gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ))
        return {};
    const auto unmap = qScopeGuard([&] { gst_buffer_unmap(gst_sample_get_buffer(sample), &map); });
    if (map.size < gsize(width) * gsize(height) * 4)
        return {};
    return QImage(map.data, width, height, width * 4, QImage::Format_RGBX8888).copy();
}

// Where the frame shows the box's colour: the mean position and how many pixels have it.
struct ColourSpot {
    QPointF centre;
    int pixels = 0;
};

ColourSpot findColour(const QImage &frame, QColor colour)
{
    constexpr int tolerance = 60; // 4:2:0 chroma and H.264 shift colours, most at the edges
    ColourSpot spot;
    QPointF sum;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const QColor c = frame.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) < tolerance && std::abs(c.green() - colour.green()) < tolerance &&
                std::abs(c.blue() - colour.blue()) < tolerance) {
                sum += QPointF(x, y);
                ++spot.pixels;
            }
        }
    }
    if (spot.pixels > 0)
        spot.centre = sum / spot.pixels;
    return spot;
}

void showFilled(QWidget &window, QColor colour, QRect geometry)
{
    window.setWindowFlags(Qt::FramelessWindowHint);
    window.setAutoFillBackground(true);
    QPalette palette = window.palette();
    palette.setColor(QPalette::Window, colour);
    window.setPalette(palette);
    window.setGeometry(geometry);
    window.show();
    window.raise();
}

// Records for about `length` of wall-clock time and waits for the finished movie.
bool record(ScreenRecorder &recorder, std::chrono::milliseconds length)
{
    QSignalSpy finished(&recorder, &ScreenRecorder::didFinishRecording);
    recorder.startRecording();
    QTest::qWait(int(length.count()));
    recorder.stopRecording();
    const bool done = finished.wait(10000);
    recorder.stopSession();
    return done;
}

} // namespace

class ScreenRecorderTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString destination() const { return m_dir.filePath(QStringLiteral("screen.mp4")); }
    static QSize screenSize() { return QGuiApplication::primaryScreen()->geometry().size(); }

private slots:
    void initTestCase() { QVERIFY(gst_init_check(nullptr, nullptr, nullptr)); }
    void init() { QFile::remove(destination()); }

    void recordsTheMovingWindowAtTheScreensSize()
    {
        QWidget backdrop;
        QWidget box;
        showFilled(backdrop, Qt::white, QRect(QPoint(0, 0), screenSize()));
        const QColor boxColour(220, 0, 200);
        const QRect start(100, 150, 120, 120);
        const QPoint end(screenSize().width() - 300, start.y());
        showFilled(box, boxColour, start);
        QVERIFY(QTest::qWaitForWindowExposed(&box));

        const auto recorder = Platform::screenRecorderForPath(destination());
        constexpr auto length = 2000ms;
        QElapsedTimer clock;
        QTimer mover;
        QObject::connect(&mover, &QTimer::timeout, &box, [&] {
            const double progress = std::min(1.0, double(clock.elapsed()) / double(length.count()));
            box.move(start.x() + int(progress * (end.x() - start.x())), start.y());
        });
        clock.start();
        mover.start(15);
        QVERIFY(record(*recorder, length));

        const auto movie = inspectMovie(destination());
        QVERIFY(movie);
        QCOMPARE(movie->videoStreams, 1);
        QCOMPARE(movie->otherStreams, 0);
        QCOMPARE(movie->frameSize, screenSize());
        QVERIFY2(movie->duration >= 1500ms && movie->duration <= 3000ms,
                 qPrintable(QString::number(movie->duration.count() / 1e9)));

        const QImage middle = frameAt(destination(), movie->duration / 2);
        QVERIFY(!middle.isNull());
        const ColourSpot spot = findColour(middle, boxColour);
        QVERIFY2(spot.pixels > start.width() * start.height() / 2, qPrintable(QString::number(spot.pixels)));
        QVERIFY2(std::abs(spot.centre.y() - (start.y() + start.height() / 2.0)) < 2,
                 qPrintable(QString::number(spot.centre.y())));
        // Half-way through the movie the box has left its start and not yet come to its end.
        const double margin = start.width() / 4.0;
        QVERIFY2(spot.centre.x() > start.center().x() + margin &&
                     spot.centre.x() < end.x() + start.width() / 2.0 - margin,
                 qPrintable(QString::number(spot.centre.x())));
    }

    void aSecondRecordingReplacesTheFile()
    {
        const auto recorder = Platform::screenRecorderForUrl(QUrl::fromLocalFile(destination()));
        QVERIFY(record(*recorder, 1500ms));
        const auto first = inspectMovie(destination());
        QVERIFY(first);

        // This time the session stops right behind the recording, before the muxer has written its index.
        QSignalSpy finished(recorder.get(), &ScreenRecorder::didFinishRecording);
        recorder->startRecording();
        QTest::qWait(500);
        recorder->stopRecording();
        recorder->stopSession();
        QVERIFY(finished.count() == 1 || finished.wait(5000));

        const auto second = inspectMovie(destination());
        QVERIFY(second);
        QCOMPARE(second->videoStreams, 1);
        QCOMPARE(second->frameSize, screenSize());
        QVERIFY2(second->duration < first->duration - 500ms, qPrintable(QStringLiteral("%1 s after %2 s")
                                                                            .arg(second->duration.count() / 1e9)
                                                                            .arg(first->duration.count() / 1e9)));
        QVERIFY(!frameAt(destination(), second->duration / 2).isNull());
    }

    void anUnwritableDestinationEndsTheRecordingAtOnce()
    {
        const QString path = m_dir.filePath(QStringLiteral("missing/screen.mp4"));
        const auto recorder = Platform::screenRecorderForPath(path);
        QSignalSpy finished(recorder.get(), &ScreenRecorder::didFinishRecording);
        recorder->startRecording();
        QVERIFY(finished.wait(5000));
        recorder->stopRecording();
        recorder->stopSession();
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(finished.count(), 1);
    }

    void withoutAScreenInputNothingIsWritten_data()
    {
        QTest::addColumn<bool>("wayland");
        QTest::newRow("no X display") << false;
        QTest::newRow("a Wayland session") << true;
    }

    void withoutAScreenInputNothingIsWritten()
    {
        QFETCH(bool, wayland);
        const QByteArray display = qgetenv("DISPLAY");
        const auto restore = qScopeGuard([&] { qputenv("DISPLAY", display); });
        if (!wayland)
            qunsetenv("DISPLAY");

        ScreenRecorder recorder(QUrl::fromLocalFile(destination()),
                                wayland ? Platform::DisplayServer::wayland : Platform::DisplayServer::x11);
        QSignalSpy finished(&recorder, &ScreenRecorder::didFinishRecording);
        recorder.startRecording();
        QVERIFY(!finished.wait(1000));
        QVERIFY(!QFileInfo::exists(destination()));
        recorder.stopRecording();
        recorder.stopSession();
        QCOMPARE(finished.count(), 0);
    }
};

SCRIVLET_X11_TEST_MAIN(ScreenRecorderTest)

#include "screen_recorder_test.moc"
