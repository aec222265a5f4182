#pragma once

#include "launch_at_login/desktop_entry.h"
#include "launch_at_login/login_item.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace LaunchAtLogin {

// The program's entry <id>.desktop in the autostart folders of the freedesktop Desktop Application Autostart
// Specification. The user's folder wins over the system-wide ones, and an entry with Hidden=true (or
// X-GNOME-Autostart-enabled=false) starts nothing. The item is on exactly when the winning entry starts this very
// program; a damaged entry, or one that starts another program, reads as off and is replaced when turning on.
class XdgAutostartLoginItem final : public LoginItem {
public:
    struct Directories {
        QString configHome;     // the user's entries are in its "autostart" folder
        QStringList configDirs; // the system-wide ones, most important first
        QString dataHome;       // the installed <id>.desktop is looked for in their "applications" folders
        QStringList dataDirs;

        // $XDG_CONFIG_HOME, $XDG_CONFIG_DIRS, $XDG_DATA_HOME and $XDG_DATA_DIRS, with the defaults of the XDG Base
        // Directory Specification where they are unset, empty or relative.
        static Directories fromEnvironment();
    };

    // desktopId names the entry (without ".desktop"); name is used when no installed entry can be copied;
    // executable is the program the entry must start, by absolute path.
    XdgAutostartLoginItem(Directories directories, QString desktopId, QString name, QString executable);

    bool isEnabled() override;
    // Writes the user's entry: the installed one (or a minimal one) starting the executable by absolute path.
    std::optional<LoginItemError> registerItem() override;
    // Removes the user's entry; where a system-wide entry would then start the program, writes a user entry that
    // hides it instead.
    std::optional<LoginItemError> unregisterItem() override;

    QString userEntryPath() const;

private:
    struct Candidate {
        std::optional<DesktopEntry> entry; // empty when the file is damaged
    };
    std::optional<Candidate> winningEntry() const;
    bool startsThisProgram(const std::optional<DesktopEntry> &entry) const;
    DesktopEntry templateEntry() const;
    std::optional<LoginItemError> writeUserEntry(const DesktopEntry &entry) const;

    Directories m_directories;
    QString m_desktopId;
    QString m_name;
    QString m_executable;
};

} // namespace LaunchAtLogin
