#include "platform/screen_recorder.h"

#include "platform/desktop_session.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QScopeGuard>
#include <QSize>

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

Q_LOGGING_CATEGORY(lcRecorder, "scrivlet.recorder")

namespace Platform {
namespace {

struct GstObjectUnref {
    void operator()(gpointer object) const noexcept { gst_object_unref(object); }
};
template <typename T> using GstPtr = std::unique_ptr<T, GstObjectUnref>;
struct CapsUnref {
    void operator()(GstCaps *caps) const noexcept { gst_caps_unref(caps); }
};
using Caps = std::unique_ptr<GstCaps, CapsUnref>;

// What "high quality" means for the session: a steady frame rate, and the bits per pixel the encoders aim at.
struct SessionPreset {
    int framesPerSecond;
    double bitsPerPixel;
};
constexpr SessionPreset highPreset{30, 0.15};

// A stop waits this long for the muxer to finish a movie whose end was asked for.
constexpr std::chrono::seconds finishTimeLimit{5};

bool gstreamerIsReady()
{
    static const bool ready = [] {
        GError *error = nullptr;
        if (gst_init_check(nullptr, nullptr, &error))
            return true;
        qCDebug(lcRecorder) << "GStreamer cannot start:" << (error ? error->message : "");
        g_clear_error(&error);
        return false;
    }();
    return ready;
}

// Sinks the floating reference, so that the pointer owns the element until a bin takes it.
GstPtr<GstElement> makeElement(const char *factory)
{
    GstElement *element = gst_element_factory_make(factory, nullptr);
    return GstPtr<GstElement>(element ? GST_ELEMENT(gst_object_ref_sink(element)) : nullptr);
}

GstPtr<GstElement> makeBin(const char *name)
{
    return GstPtr<GstElement>(GST_ELEMENT(gst_object_ref_sink(gst_bin_new(name))));
}

// Adds the elements to the bin and links them in order; null elements are left out.
bool addLinked(GstElement *bin, std::initializer_list<GstElement *> chain)
{
    GstElement *previous = nullptr;
    for (GstElement *element : chain) {
        if (!element)
            continue;
        gst_bin_add(GST_BIN(bin), element);
        if (previous && !gst_element_link(previous, element))
            return false;
        previous = element;
    }
    return true;
}

bool exposePad(GstElement *bin, GstElement *element, const char *name)
{
    GstPtr<GstPad> pad(gst_element_get_static_pad(element, name));
    return pad && gst_element_add_pad(bin, gst_ghost_pad_new(name, pad.get()));
}

// Opens the source's display once: a source that cannot open it would fail only when the movie file already exists.
std::optional<QSize> screenSize(GstElement *source)
{
    const auto close = qScopeGuard([source] { gst_element_set_state(source, GST_STATE_NULL); });
    if (gst_element_set_state(source, GST_STATE_PAUSED) == GST_STATE_CHANGE_FAILURE)
        return std::nullopt;
    GstPtr<GstPad> pad(gst_element_get_static_pad(source, "src"));
    const Caps caps(gst_pad_query_caps(pad.get(), nullptr));
    int width = 0;
    int height = 0;
    if (gst_caps_is_empty(caps.get()) ||
        !gst_structure_get_int(gst_caps_get_structure(caps.get(), 0), "width", &width) ||
        !gst_structure_get_int(gst_caps_get_structure(caps.get(), 0), "height", &height))
        return std::nullopt;
    return QSize(width, height);
}

struct ScreenInput {
    GstPtr<GstElement> bin;
    QSize size;
};

std::optional<ScreenInput> makeScreenInput(SessionPreset preset, DisplayServer displayServer)
{
    if (displayServer == DisplayServer::wayland) {
        qCDebug(lcRecorder) << "no screen input on Wayland: the portal's screen cast waits for the user's consent, "
                               "which a recorder made on the spot cannot do";
        return std::nullopt;
    }
    if (!gstreamerIsReady())
        return std::nullopt;
    auto source = makeElement("ximagesrc");
    auto rate = makeElement("videorate");
    auto filter = makeElement("capsfilter");
    if (!source || !rate || !filter) {
        qCDebug(lcRecorder) << "no screen input: ximagesrc or videorate is not installed";
        return std::nullopt;
    }
    // Damage events would send only what changed, and only when it changes; the frame rate must stay steady.
    g_object_set(source.get(), "use-damage", FALSE, nullptr);
    const std::optional<QSize> size = screenSize(source.get());
    if (!size) {
        qCDebug(lcRecorder) << "no screen input: the X display cannot be opened";
        return std::nullopt;
    }
    const Caps caps(gst_caps_new_simple("video/x-raw", "framerate", GST_TYPE_FRACTION, preset.framesPerSecond, 1,
                                        "width", G_TYPE_INT, size->width(), "height", G_TYPE_INT, size->height(),
                                        nullptr));
    g_object_set(filter.get(), "caps", caps.get(), nullptr);
    ScreenInput input{makeBin("screen-input"), *size};
    if (!addLinked(input.bin.get(), {source.get(), rate.get(), filter.get()}) ||
        !exposePad(input.bin.get(), filter.get(), "src"))
        return std::nullopt;
    return input;
}

struct EncoderChoice {
    const char *encoder;
    const char *parser; // used where installed
    const char *muxer;
    void (*configure)(GstElement *encoder, double bitsPerSecond);
};

// openh264 first for its screen-content mode, then x264; VP8 in WebM where neither is installed.
// openh264 writes byte-stream H.264, which mp4mux takes only through the parser; x264 can do without it.
// libopenh264 prints "cmInitParaError" when the encoder is drained at end-of-stream; that is harmless.
constexpr EncoderChoice encoderChoices[] = {
    {"openh264enc", "h264parse", "mp4mux",
     [](GstElement *encoder, double bitsPerSecond) {
         gst_util_set_object_arg(G_OBJECT(encoder), "usage-type", "screen");
         g_object_set(encoder, "bitrate", guint(bitsPerSecond), nullptr);
     }},
    {"x264enc", "h264parse", "mp4mux",
     [](GstElement *encoder, double bitsPerSecond) {
         // No B-frames or lookahead, which would hold frames back from a live source.
         gst_util_set_object_arg(G_OBJECT(encoder), "tune", "zerolatency");
         gst_util_set_object_arg(G_OBJECT(encoder), "speed-preset", "superfast");
         g_object_set(encoder, "bitrate", guint(bitsPerSecond / 1000), nullptr);
     }},
    {"vp8enc", nullptr, "webmmux",
     [](GstElement *encoder, double bitsPerSecond) {
         g_object_set(encoder, "deadline", gint64(1), "target-bitrate", gint(bitsPerSecond), nullptr);
     }},
};

} // namespace

// The movie file output: queue ! videoconvert ! I420 ! encoder [! parser] ! muxer ! filesink in one bin, with the first
// encoder and muxer that are installed and link.
class ScreenRecorder::MovieFileOutput {
public:
    enum class State { idle, recording, finishing };

    MovieFileOutput()
    {
        if (!gstreamerIsReady())
            return;
        for (const EncoderChoice &choice : encoderChoices) {
            auto queue = makeElement("queue");
            auto convert = makeElement("videoconvert");
            auto planar = makeElement("capsfilter");
            auto encoder = makeElement(choice.encoder);
            auto parser = choice.parser ? makeElement(choice.parser) : nullptr;
            auto muxer = makeElement(choice.muxer);
            auto sink = makeElement("filesink");
            if (!queue || !convert || !planar || !encoder || !muxer || !sink)
                continue;
            // 4:2:0, which every player decodes: from the RGB screen, x264 would choose 4:4:4 (High 4:4:4 profile).
            const Caps format(gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "I420", nullptr));
            g_object_set(planar.get(), "caps", format.get(), nullptr);
            auto bin = makeBin("movie-file-output");
            if (!addLinked(bin.get(), {queue.get(), convert.get(), planar.get(), encoder.get(), parser.get(),
                                       muxer.get(), sink.get()}) ||
                !exposePad(bin.get(), queue.get(), "sink"))
                continue;
            // When encoding falls behind, capture waits a few frames and videorate fills the gap.
            g_object_set(queue.get(), "max-size-bytes", 0u, "max-size-buffers", 8u, "max-size-time", guint64(0),
                         nullptr);
            m_bin = std::move(bin);
            m_encoder = std::move(encoder);
            m_fileSink = std::move(sink);
            m_choice = &choice;
            return;
        }
        qCDebug(lcRecorder) << "no movie file output: no H.264 or VP8 encoder with its muxer is installed";
    }

    bool canBeAdded() const { return m_bin != nullptr; }
    GstElement *bin() const { return m_bin.get(); }

    void setBitRate(double bitsPerSecond) const { m_choice->configure(m_encoder.get(), bitsPerSecond); }

    // Only while the session is stopped: the file sink opens its file when the session starts.
    void setDestination(const QString &path) const
    {
        g_object_set(m_fileSink.get(), "location", QFile::encodeName(path).constData(), nullptr);
    }

    State state = State::idle;

private:
    GstPtr<GstElement> m_bin;
    GstPtr<GstElement> m_encoder;
    GstPtr<GstElement> m_fileSink;
    const EncoderChoice *m_choice = nullptr;
};

// The capture session: one pipeline from the screen input to the movie file output. Its bus is read on the threads
// that post to it, so that no event loop of the application has to run GLib's main context.
class ScreenRecorder::CaptureSession {
public:
    using EndHandler = std::function<void(quint64 run)>;

    CaptureSession(SessionPreset preset, EndHandler onEnded)
        : m_preset(preset), m_onEnded(std::move(onEnded)),
          m_pipeline(gstreamerIsReady() ? GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new("capture-session")))
                                        : nullptr)
    {
        if (!m_pipeline)
            return;
        GstPtr<GstBus> bus(gst_element_get_bus(m_pipeline.get()));
        gst_bus_set_sync_handler(bus.get(), &CaptureSession::onMessage, this, nullptr);
    }

    ~CaptureSession()
    {
        if (!m_pipeline)
            return;
        stop();
        GstPtr<GstBus> bus(gst_element_get_bus(m_pipeline.get()));
        gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
    }

    CaptureSession(const CaptureSession &) = delete;
    CaptureSession &operator=(const CaptureSession &) = delete;

    void addInput(ScreenInput input)
    {
        if (!m_pipeline)
            return;
        m_input = input.bin.get();
        m_frameSize = input.size;
        gst_bin_add(GST_BIN(m_pipeline.get()), input.bin.get());
    }

    void addOutput(const MovieFileOutput &output)
    {
        if (!m_pipeline)
            return;
        gst_bin_add(GST_BIN(m_pipeline.get()), output.bin());
        if (!m_input)
            return;
        output.setBitRate(double(m_frameSize.width()) * m_frameSize.height() * m_preset.framesPerSecond *
                          m_preset.bitsPerPixel);
        m_isComplete = gst_element_link(m_input, output.bin());
    }

    // Whether a screen input feeds a file output.
    bool isComplete() const { return m_isComplete; }

    // A new run from the first frame; stop or halt first.
    void start()
    {
        {
            std::lock_guard lock(m_mutex);
            ++m_run;
            m_endRequested = false;
        }
        m_isRunning = gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
        if (!m_isRunning) {
            qCDebug(lcRecorder) << "the capture session did not start";
            halt();
        }
    }

    // The screen input sends end-of-stream after its current frame; the muxer then writes its index.
    void endStreams()
    {
        if (!m_isRunning)
            return;
        {
            std::lock_guard lock(m_mutex);
            m_endRequested = true;
        }
        gst_element_send_event(m_pipeline.get(), gst_event_new_eos());
    }

    // Lets an end that was asked for reach the file first.
    void stop()
    {
        {
            std::unique_lock lock(m_mutex);
            if (m_endRequested && !m_condition.wait_for(lock, finishTimeLimit, [this] { return m_endedRun == m_run; }))
                qCDebug(lcRecorder) << "the movie was not finished in time";
        }
        halt();
    }

    void halt()
    {
        if (m_pipeline)
            gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
        m_isRunning = false;
        std::lock_guard lock(m_mutex);
        m_endRequested = false;
    }

    quint64 currentRun() const
    {
        std::lock_guard lock(m_mutex);
        return m_run;
    }

private:
    static GstBusSyncReply onMessage(GstBus *, GstMessage *message, gpointer data)
    {
        auto *session = static_cast<CaptureSession *>(data);
        switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ERROR: {
            GError *error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            qCDebug(lcRecorder) << "recording failed in" << GST_MESSAGE_SRC_NAME(message) << ":"
                                << (error ? error->message : "");
            g_clear_error(&error);
            session->ended();
            break;
        }
        case GST_MESSAGE_EOS:
            session->ended();
            break;
        default:
            break;
        }
        return GST_BUS_DROP;
    }

    void ended()
    {
        quint64 run = 0;
        {
            std::lock_guard lock(m_mutex);
            run = m_endedRun = m_run;
        }
        m_condition.notify_all();
        m_onEnded(run);
    }

    const SessionPreset m_preset;
    const EndHandler m_onEnded;
    const GstPtr<GstElement> m_pipeline;
    GstElement *m_input = nullptr; // owned by the pipeline
    QSize m_frameSize;
    bool m_isComplete = false;
    bool m_isRunning = false;

    mutable std::mutex m_mutex;
    std::condition_variable m_condition;
    quint64 m_run = 0;      // guarded by m_mutex, like the two below
    quint64 m_endedRun = 0; // the last run that reached its end or an error
    bool m_endRequested = false;
};

ScreenRecorder::ScreenRecorder(QUrl destinationUrl, QObject *parent)
    : ScreenRecorder(std::move(destinationUrl), currentSession().displayServer, parent)
{}

ScreenRecorder::ScreenRecorder(QUrl destinationUrl, DisplayServer displayServer, QObject *parent)
    : QObject(parent), m_destinationUrl(std::move(destinationUrl)),
      m_session(std::make_unique<CaptureSession>(highPreset,
                                                 [this](quint64 run) {
                                                     // Called on a streaming thread; the signal belongs to ours.
                                                     QMetaObject::invokeMethod(
                                                         this, [this, run] { sessionEnded(run); },
                                                         Qt::QueuedConnection);
                                                 })),
      m_output(std::make_unique<MovieFileOutput>())
{
    if (auto input = makeScreenInput(highPreset, displayServer))
        m_session->addInput(std::move(*input));
    if (m_output->canBeAdded())
        m_session->addOutput(*m_output);
}

ScreenRecorder::~ScreenRecorder() = default;

void ScreenRecorder::startRecording()
{
    if (!m_session->isComplete())
        return;
    if (!m_destinationUrl.isLocalFile()) {
        qCDebug(lcRecorder) << "not a file URL, nothing recorded:" << m_destinationUrl;
        return;
    }
    // The file sink takes a new location only while stopped; a movie still being written is replaced anyway.
    m_session->halt();
    m_output->setDestination(m_destinationUrl.toLocalFile());
    m_output->state = MovieFileOutput::State::recording;
    m_session->start();
}

void ScreenRecorder::stopRecording()
{
    if (m_output->state != MovieFileOutput::State::recording)
        return;
    m_output->state = MovieFileOutput::State::finishing;
    m_session->endStreams();
}

void ScreenRecorder::stopSession()
{
    m_session->stop();
    // A movie that was not stopped first is cut short and never finished.
    if (m_output->state == MovieFileOutput::State::recording)
        m_output->state = MovieFileOutput::State::idle;
}

void ScreenRecorder::sessionEnded(quint64 run)
{
    if (m_output->state == MovieFileOutput::State::idle || run != m_session->currentRun())
        return;
    m_output->state = MovieFileOutput::State::idle;
    Q_EMIT didFinishRecording();
}

std::unique_ptr<ScreenRecorder> screenRecorderForPath(const QString &path)
{
    return std::make_unique<ScreenRecorder>(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

std::unique_ptr<ScreenRecorder> screenRecorderForUrl(const QUrl &url)
{
    return std::make_unique<ScreenRecorder>(url);
}

} // namespace Platform
