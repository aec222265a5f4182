#pragma once

#include "platform/desktop_session.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace Platform {

// Which of the services that do one job suits a session: pure functions of the session's description, so that
// detectServices() and main() only carry the answers out.

enum class ClipboardKind {
    qt,     // QtClipboard
    wlCopy, // WlCopyClipboard, falling back to QtClipboard
};

enum class CaptureToolKind {
    selectionProgram, // ProcessRegionCaptureTool: maim/slop and others on X11, grim with slurp on Wayland
    screenshotPortal, // PortalRegionCaptureTool: the desktop's own screenshot dialog
};

// The clipboard that other programs, X11 and Wayland ones, can paste from while another window has the focus,
// and that keeps the text once Scrivlet's windows are gone.
[[nodiscard]] ClipboardKind clipboardFor(const DesktopSession &);

// The capture tools that can work in the session, best first; the first one that is there is used.
[[nodiscard]] QList<CaptureToolKind> captureToolsFor(const DesktopSession &);

// The Debian packages of the session's preferred capture tool, for messages to the user.
[[nodiscard]] QString captureToolPackages(const DesktopSession &);

// The Qt platform plugins to ask for, in QT_QPA_PLATFORM's form; empty to leave Qt's default.
[[nodiscard]] QByteArray qtPlatformFor(const DesktopSession &);

} // namespace Platform
