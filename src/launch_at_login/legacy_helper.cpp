#include "launch_at_login/legacy_helper.h"

#include "launch_at_login/desktop_entry.h"

#include <QFile>

namespace LaunchAtLogin {

LegacyHelper::LegacyHelper(QString entryPath) : m_entryPath(std::move(entryPath)) {}

LegacyHelper LegacyHelper::inConfigHome(const QString &configHome, const QString &desktopId)
{
    return LegacyHelper(configHome + QStringLiteral("/autostart/") + desktopId +
                        QStringLiteral("-LaunchAtLoginHelper.desktop"));
}

bool LegacyHelper::isEnabled() const
{
    const auto entry = DesktopEntry::read(m_entryPath);
    return entry && entry->boolean(QStringLiteral("Hidden")) != true;
}

void LegacyHelper::remove() const
{
    QFile::remove(m_entryPath);
}

} // namespace LaunchAtLogin
