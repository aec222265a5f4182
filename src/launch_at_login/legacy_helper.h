#pragma once

#include <QString>

namespace LaunchAtLogin {

// The separate helper entry earlier versions started at login: <id>-LaunchAtLoginHelper.desktop in the user's
// autostart folder. Only ever read and removed, by the one-time migration.
class LegacyHelper {
public:
    explicit LegacyHelper(QString entryPath);
    // The helper's entry in the autostart folder beside the user's configuration, $XDG_CONFIG_HOME.
    static LegacyHelper inConfigHome(const QString &configHome, const QString &desktopId);

    // The entry exists and is not hidden; a damaged entry reads as off.
    bool isEnabled() const;
    // Removes the entry; a failure is not reported, the helper is then merely left behind.
    void remove() const;

    QString entryPath() const { return m_entryPath; }

private:
    QString m_entryPath;
};

} // namespace LaunchAtLogin
