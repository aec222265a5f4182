#include "platform/service_choice.h"

namespace Platform {

ClipboardKind clipboardFor(const DesktopSession &session)
{
    if (session.displayServer == DisplayServer::x11)
        return ClipboardKind::qt;
    // wlroots passes an XWayland client's selection on only while one of its windows has the focus, and Qt's
    // own Wayland clipboard needs a keyboard focus that a tray program never has. wl-copy sets the selection
    // through data-control (wlroots, KDE) and keeps serving it after we quit. GNOME has no data-control, where
    // wl-copy would have to open a window for the focus; Mutter takes XWayland selections without focus and
    // keeps the text of an owner that went away.
    if (session.desktop == Desktop::gnome && session.xwayland)
        return ClipboardKind::qt;
    return ClipboardKind::wlCopy;
}

QList<CaptureToolKind> captureToolsFor(const DesktopSession &session)
{
    if (session.displayServer == DisplayServer::x11)
        return {CaptureToolKind::selectionProgram};
    switch (session.desktop) {
    case Desktop::wlroots:
        // xdg-desktop-portal-wlr's screenshot is the whole screen, never a region: no substitute for slurp.
        return {CaptureToolKind::selectionProgram};
    case Desktop::gnome:
    case Desktop::kde:
        // grim needs wlr-screencopy, which neither compositor offers.
        return {CaptureToolKind::screenshotPortal};
    case Desktop::xfce:
    case Desktop::other:
        break;
    }
    // A compositor we do not know: grim and slurp, if installed, likely mean it is a wlroots one.
    return {CaptureToolKind::selectionProgram, CaptureToolKind::screenshotPortal};
}

QString captureToolPackages(const DesktopSession &session)
{
    if (session.displayServer == DisplayServer::x11)
        return QStringLiteral("maim slop");
    switch (session.desktop) {
    case Desktop::gnome:
        return QStringLiteral("xdg-desktop-portal-gnome");
    case Desktop::kde:
        return QStringLiteral("xdg-desktop-portal-kde");
    case Desktop::wlroots:
    case Desktop::xfce:
    case Desktop::other:
        break;
    }
    return QStringLiteral("grim slurp");
}

QByteArray qtPlatformFor(const DesktopSession &session)
{
    if (session.displayServer == DisplayServer::x11)
        return {};
    // Through XWayland where there is one: a Wayland client may neither place its windows nor keep them above
    // the others, which the status panel needs (sway would tile it), and the keyboard layout is read from X11.
    // Qt itself prefers its Wayland plugin in a Wayland session once qt6-wayland is installed, hence said here.
    return session.xwayland ? QByteArrayLiteral("xcb;wayland") : QByteArrayLiteral("wayland");
}

} // namespace Platform
