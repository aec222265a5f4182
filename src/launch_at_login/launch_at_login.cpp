#include "launch_at_login/launch_at_login.h"

#include "launch_at_login/legacy_helper.h"
#include "launch_at_login/login_item_switch.h"
#include "launch_at_login/portal_login_item.h"
#include "launch_at_login/xdg_autostart_login_item.h"
#include "user_defaults/user_defaults.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QGuiApplication>

#include <memory>
#include <optional>

namespace LaunchAtLogin {
namespace {

QString desktopId()
{
    QString id = QGuiApplication::desktopFileName();
    if (id.isEmpty())
        id = QCoreApplication::applicationName();
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    // An id is a file name; a slash would reach into another folder.
    id.replace(QLatin1Char('/'), QLatin1Char('-'));
    return id;
}

struct Module {
    std::unique_ptr<LoginItem> loginItem;
    LegacyHelper legacyHelper;
};

Module makeModule()
{
    const QString id = desktopId();
    const QString name = QGuiApplication::applicationDisplayName();
    const QString executable = QCoreApplication::applicationFilePath();
    auto directories = XdgAutostartLoginItem::Directories::fromEnvironment();
    LegacyHelper legacyHelper = LegacyHelper::inConfigHome(directories.configHome, id);
    // The sandbox cannot write the host's autostart folder; the portal writes the entry for us.
    if (QFileInfo::exists(QStringLiteral("/.flatpak-info")))
        return {std::make_unique<PortalLoginItem>(QDBusConnection::sessionBus(), UserDefaults::standard(),
                                                  QStringList{executable},
                                                  QStringLiteral("Start %1 when you log in").arg(name)),
                std::move(legacyHelper)};
    return {std::make_unique<XdgAutostartLoginItem>(std::move(directories), id, name, executable),
            std::move(legacyHelper)};
}

Module &module()
{
    static Module instance = makeModule();
    return instance;
}

std::optional<Publisher> &publisherSlot()
{
    static std::optional<Publisher> instance;
    return instance;
}

} // namespace

bool isEnabled()
{
    return module().loginItem->isEnabled();
}

void setEnabled(bool enabled)
{
    Q_EMIT observable().isEnabledWillChange();
    Q_EMIT kvo().isEnabledWillChange();
    switchLoginItem(*module().loginItem, enabled);
    const bool now = isEnabled();
    Q_EMIT kvo().isEnabledChanged(now);
    Q_EMIT observable().isEnabledChanged(now);
    // Not made here: a publisher first used later starts from the state as it is then.
    if (auto &subject = publisherSlot())
        subject->send(enabled);
}

void migrateIfNeeded()
{
    migrateLegacyHelper(*module().loginItem, module().legacyHelper, UserDefaults::standard());
}

KVO &kvo()
{
    static KVO instance;
    return instance;
}

Observable &observable()
{
    static Observable instance;
    return instance;
}

Publisher &publisher()
{
    auto &subject = publisherSlot();
    if (!subject)
        subject.emplace(isEnabled());
    return *subject;
}

} // namespace LaunchAtLogin
