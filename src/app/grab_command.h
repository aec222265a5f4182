#pragma once

#include "keyboard_shortcuts/desktop_command.h"

#include <QString>

// What starts a text capture from outside: the program with the URL "scrivlet:///_Grab_", which a running Scrivlet
// takes over and a new one handles once started. Desktops that bind keys to commands only run it for the capture
// shortcut (KeyboardShortcuts::setDesktopCommand).
KeyboardShortcuts::DesktopCommand grabCommand(const QString &programPath);

// The command line to show the user: the program by its file name where the search path (PATH) finds this very
// program under it, else by its full path.
QString shownCommandLine(KeyboardShortcuts::DesktopCommand command);
