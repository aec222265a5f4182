#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace TestSupport {

// KDE Plasma's Wayland session, headless: kwin_wayland --virtual (which carries kglobalaccel), the desktop
// portal's front end and its KDE back end, on the test's private session bus (start that first). The portal files
// a program's shortcuts under its application id, which it reads from the systemd scope in /proc/PID/cgroup: the
// test process moves itself, and so every program it starts, into a cgroup named like the scope of that id. Ended
// when dropped, the test back in its own cgroup.
class KdeSession {
public:
    // Null, with the reason in skipReason, where the programs are not installed; null with a warning where they
    // do not start.
    [[nodiscard]] static std::unique_ptr<KdeSession> start(const QString &applicationId, QString *skipReason);
    ~KdeSession();
    KdeSession(const KdeSession &) = delete;
    KdeSession &operator=(const KdeSession &) = delete;

    QString waylandDisplay() const { return m_socket; }
    // Whether the programs this process starts run under the application id; without it, KDE files shortcuts
    // under the portal session's token alone, which works as well.
    bool hasApplicationId() const { return m_hasApplicationId; }

private:
    KdeSession() = default;
    bool enterApplicationScope(const QString &applicationId);

    QString m_socket;
    QProcess m_kwin;
    QProcess m_backEnd;
    QProcess m_frontEnd;
    QString m_ownCgroup;
    QStringList m_madeCgroups; // deepest first
    bool m_hasApplicationId = false;
};

// A shortcut as kglobalaccel files it, with the object path of the component that holds it.
struct FiledShortcut {
    QString componentPath;
    QString componentUnique; // the application id, or a name the portal made up
    QString friendlyName;
    QList<int> keys; // Qt key combinations
};

// The shortcut of that action in any kglobalaccel component; empty while there is none.
std::optional<FiledShortcut> filedShortcut(const QString &action);

// Runs the action as a key press would, through kglobalaccel: the press only, never a release.
bool invokeShortcut(const FiledShortcut &shortcut, const QString &action);

} // namespace TestSupport
