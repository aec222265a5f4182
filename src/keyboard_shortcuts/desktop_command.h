#pragma once

#include <QString>
#include <QStringList>

namespace KeyboardShortcuts {

// What a desktop runs for a named shortcut where it can bind a combination only to a command line, not to a hot
// key of the program (GNOME without the GlobalShortcuts portal): the program's to give, since only it knows how
// to reach itself from outside.
struct DesktopCommand {
    QString title;         // how the desktop's keyboard settings list it, e.g. "Scrivlet: Grab Text"
    QStringList arguments; // the program first

    // The arguments as one line that a POSIX shell, GLib's g_shell_parse_argv() and a desktop entry's Exec key
    // (once '%' is doubled) all split back into the same arguments: each one single-quoted unless it holds only
    // characters no shell treats specially.
    QString commandLine() const;

    friend bool operator==(const DesktopCommand &, const DesktopCommand &) = default;
};

} // namespace KeyboardShortcuts
