#include "app/tray_icon_notice.h"

namespace {

QString howToGetATray(Platform::Desktop desktop)
{
    switch (desktop) {
    case Platform::Desktop::gnome:
        return QStringLiteral("GNOME shows tray icons with the extension “AppIndicator and KStatusNotifierItem "
                              "Support” (Debian package gnome-shell-extension-appindicator): install it, turn it on "
                              "in Extensions, log out and in again.");
    case Platform::Desktop::kde:
        return QStringLiteral("Add the System Tray widget to a panel (right-click the panel, Add Widgets), then start "
                              "Scrivlet again.");
    case Platform::Desktop::xfce:
        return QStringLiteral("Add the Status Tray plugin to a panel (Panel Preferences, Items), then start Scrivlet "
                              "again.");
    case Platform::Desktop::wlroots:
        return QStringLiteral("Give your bar a tray (swaybar's tray, Waybar's tray module), then start Scrivlet "
                              "again.");
    case Platform::Desktop::other:
        break;
    }
    return QStringLiteral("Start a panel with a system tray, then start Scrivlet again.");
}

QString whatWorksMeanwhile(const TraySituation &situation)
{
    // GNOME offers a program's desktop actions on a right click on its icon in the app grid and the dash.
    const QString where = situation.desktop == Platform::Desktop::gnome ? QStringLiteral("the app grid or the dash")
                                                                        : QStringLiteral("the application menu");
    QString meanwhile =
        QStringLiteral("Meanwhile, right-click Scrivlet in %1 for Grab Text and Read QR Code").arg(where);
    if (situation.shortcut)
        meanwhile += QStringLiteral(", or press %1 to grab text").arg(*situation.shortcut);
    return meanwhile + QLatin1Char('.');
}

} // namespace

std::optional<Platform::Notice> trayIconNotice(const TraySituation &situation)
{
    if (situation.trayAvailable || situation.toldBefore)
        return std::nullopt;
    return Platform::Notice{QStringLiteral("Scrivlet is running without a tray icon"),
                            howToGetATray(situation.desktop) + QLatin1Char(' ') + whatWorksMeanwhile(situation)};
}
