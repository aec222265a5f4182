#include "platform/desktop_session.h"

namespace Platform {

namespace {

Desktop desktopNamed(QStringView name)
{
    // "ubuntu:GNOME", "GNOME-Classic:GNOME", "KDE", "sway", "Hyprland", ...
    const auto is = [&](QStringView other) { return name.compare(other, Qt::CaseInsensitive) == 0; };
    if (is(u"GNOME") || is(u"GNOME-Classic") || is(u"GNOME-Flashback"))
        return Desktop::gnome;
    if (is(u"KDE"))
        return Desktop::kde;
    if (is(u"XFCE"))
        return Desktop::xfce;
    if (is(u"sway") || is(u"Hyprland") || is(u"river") || is(u"Wayfire") || is(u"wlroots"))
        return Desktop::wlroots;
    return Desktop::other;
}

} // namespace

DesktopSession describeSession(const QProcessEnvironment &environment)
{
    DesktopSession session;
    const bool waylandDisplay = !environment.value(QStringLiteral("WAYLAND_DISPLAY")).isEmpty();
    const bool waylandSession =
        environment.value(QStringLiteral("XDG_SESSION_TYPE")).compare(u"wayland", Qt::CaseInsensitive) == 0;
    if (waylandDisplay || waylandSession) {
        session.displayServer = DisplayServer::wayland;
        session.xwayland = !environment.value(QStringLiteral("DISPLAY")).isEmpty();
    }
    session.currentDesktops =
        environment.value(QStringLiteral("XDG_CURRENT_DESKTOP")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString &name : std::as_const(session.currentDesktops)) {
        session.desktop = desktopNamed(name);
        if (session.desktop != Desktop::other)
            break;
    }
    // Compositors started by hand often leave XDG_CURRENT_DESKTOP unset.
    if (session.desktop == Desktop::other && session.displayServer == DisplayServer::wayland &&
        (environment.contains(QStringLiteral("SWAYSOCK")) ||
         environment.contains(QStringLiteral("HYPRLAND_INSTANCE_SIGNATURE"))))
        session.desktop = Desktop::wlroots;
    return session;
}

const DesktopSession &currentSession()
{
    static const DesktopSession session = describeSession(QProcessEnvironment::systemEnvironment());
    return session;
}

} // namespace Platform
