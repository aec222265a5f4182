#include "support/desktop_tools.h"

#include <QDeadlineTimer>
#include <QImageReader>
#include <QSize>
#include <QTest>
#include <QThread>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdlib>

namespace TestSupport {
namespace {

struct FreeDeleter {
    void operator()(void *p) const noexcept { std::free(p); }
};
template <typename T> using XcbReply = std::unique_ptr<T, FreeDeleter>;

struct XcbDisconnect {
    void operator()(xcb_connection_t *c) const noexcept { xcb_disconnect(c); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

XcbConnection connectToDisplay()
{
    XcbConnection connection(xcb_connect(nullptr, nullptr));
    if (xcb_connection_has_error(connection.get()))
        return nullptr;
    return connection;
}

void pause(std::chrono::milliseconds duration)
{
    QThread::msleep(static_cast<unsigned long>(duration.count()));
}

} // namespace

CommandResult runCommand(const QString &program, const QStringList &arguments, std::chrono::milliseconds timeout)
{
    QProcess process;
    process.start(program, arguments);
    CommandResult result;
    if (!process.waitForStarted(5000))
        return result;
    if (!process.waitForFinished(static_cast<int>(timeout.count()))) {
        process.kill();
        process.waitForFinished(1000);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = process.readAllStandardError();
    return result;
}

bool xdotool(const QStringList &arguments)
{
    return runCommand(QStringLiteral("xdotool"), arguments).exitCode == 0;
}

void dragPointer(QPoint from, QPoint to)
{
    using namespace std::chrono_literals;
    const QPoint middle = (from + to) / 2;
    xdotool({QStringLiteral("mousemove"), QString::number(from.x()), QString::number(from.y())});
    pause(100ms);
    xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
    pause(100ms);
    xdotool({QStringLiteral("mousemove"), QString::number(middle.x()), QString::number(middle.y())});
    pause(100ms);
    xdotool({QStringLiteral("mousemove"), QString::number(to.x()), QString::number(to.y())});
    pause(100ms);
    xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
}

void tapKey(const QString &key)
{
    using namespace std::chrono_literals;
    xdotool({QStringLiteral("keydown"), key});
    pause(50ms);
    xdotool({QStringLiteral("keyup"), key});
}

quint32 currentCursorSerial()
{
    auto connection = connectToDisplay();
    if (!connection)
        return 0;
    XcbReply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(connection.get(), xcb_xfixes_query_version(connection.get(), 4, 0), nullptr));
    XcbReply<xcb_xfixes_get_cursor_image_reply_t> image(
        xcb_xfixes_get_cursor_image_reply(connection.get(), xcb_xfixes_get_cursor_image(connection.get()), nullptr));
    return image ? image->cursor_serial : 0;
}

bool waitForSelectionCursor(quint32 serialBefore, std::chrono::milliseconds timeout)
{
    using namespace std::chrono_literals;
    QDeadlineTimer deadline(timeout);
    while (!deadline.hasExpired()) {
        if (currentCursorSerial() != serialBefore) {
            pause(150ms); // the tool starts reading events right after it sets its cursor
            return true;
        }
        QTest::qWait(20);
    }
    return false;
}

std::optional<QRect> windowGeometry(quint32 window)
{
    const auto result = runCommand(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"),
                                                               QStringLiteral("--shell"), QString::number(window)});
    if (result.exitCode != 0)
        return std::nullopt;
    QRect geometry;
    for (const QByteArray &line : result.standardOutput.split('\n')) {
        const QByteArray value = line.mid(line.indexOf('=') + 1);
        if (line.startsWith("X="))
            geometry.moveLeft(value.toInt());
        else if (line.startsWith("Y="))
            geometry.moveTop(value.toInt());
        else if (line.startsWith("WIDTH="))
            geometry.setWidth(value.toInt());
        else if (line.startsWith("HEIGHT="))
            geometry.setHeight(value.toInt());
    }
    return geometry;
}

namespace {

QList<quint32> searchVisibleWindows(const QString &property, const QString &pattern)
{
    const auto result = runCommand(QStringLiteral("xdotool"),
                                   {QStringLiteral("search"), QStringLiteral("--onlyvisible"), property, pattern});
    QList<quint32> windows;
    for (const QByteArray &line : result.standardOutput.split('\n')) {
        bool ok = false;
        const quint32 window = line.trimmed().toUInt(&ok);
        if (ok)
            windows.append(window);
    }
    return windows;
}

} // namespace

QList<quint32> visibleWindowsNamed(const QString &pattern)
{
    return searchVisibleWindows(QStringLiteral("--name"), pattern);
}

QList<quint32> visibleWindowsOfClass(const QString &pattern)
{
    return searchVisibleWindows(QStringLiteral("--classname"), pattern);
}

std::unique_ptr<TrayHost> TrayHost::start()
{
    std::unique_ptr<TrayHost> host(new TrayHost);
    host->m_process.start(QStringLiteral("trayer"),
                          {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                           QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("request"),
                           QStringLiteral("--height"), QStringLiteral("24"), QStringLiteral("--SetDockType"),
                           QStringLiteral("true"), QStringLiteral("--transparent"), QStringLiteral("false")});
    if (!host->m_process.waitForStarted(5000))
        return nullptr;
    auto connection = connectToDisplay();
    if (!connection)
        return nullptr;
    const QByteArray name = "_NET_SYSTEM_TRAY_S0";
    XcbReply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
        connection.get(), xcb_intern_atom(connection.get(), 0, name.size(), name.constData()), nullptr));
    if (!atom)
        return nullptr;
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        XcbReply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
            connection.get(), xcb_get_selection_owner(connection.get(), atom->atom), nullptr));
        if (owner && owner->owner != XCB_NONE)
            return host;
        QTest::qWait(30);
    }
    return nullptr;
}

TrayHost::~TrayHost()
{
    m_process.terminate();
    if (!m_process.waitForFinished(2000))
        m_process.kill();
    m_process.waitForFinished(2000);
}

std::optional<QSize> imageSize(const QString &path)
{
    QImageReader reader(path);
    const QSize size = reader.size();
    if (!size.isValid())
        return std::nullopt;
    return size;
}

} // namespace TestSupport
