#pragma once

#include <QList>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>

namespace TestSupport {

struct CommandResult {
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
};

// Runs a command to its end; exitCode is -1 when it could not start or ran past the timeout.
CommandResult runCommand(const QString &program, const QStringList &arguments,
                         std::chrono::milliseconds timeout = std::chrono::seconds(20));

// One xdotool call; slop polls the pointer, so drags must be separate calls with pauses between them.
bool xdotool(const QStringList &arguments);

// Drags with the left button from one point to another the way a person would, in 100 ms steps.
void dragPointer(QPoint from, QPoint to);

// Presses and releases a key in two calls (a single "xdotool key" is too quick for slop).
void tapKey(const QString &key);

// Waits until some client has grabbed the pointer with its own cursor, as the selection tools do.
[[nodiscard]] bool waitForSelectionCursor(quint32 serialBefore, std::chrono::milliseconds timeout);
quint32 currentCursorSerial();

// Position and size of a window on the screen; empty when it is gone.
std::optional<QRect> windowGeometry(quint32 window);

// Visible windows whose title matches the regular expression.
QList<quint32> visibleWindowsNamed(const QString &pattern);

// Visible windows whose WM_CLASS instance name matches the regular expression.
QList<quint32> visibleWindowsOfClass(const QString &pattern);

// A system tray host (trayer, XEmbed) for the lifetime of the object.
class TrayHost {
public:
    [[nodiscard]] static std::unique_ptr<TrayHost> start();
    ~TrayHost();
    TrayHost(const TrayHost &) = delete;
    TrayHost &operator=(const TrayHost &) = delete;

private:
    TrayHost() = default;
    QProcess m_process;
};

// Size of a PNG file, or empty when it is missing or unreadable.
std::optional<QSize> imageSize(const QString &path);

} // namespace TestSupport
