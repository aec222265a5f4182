#include "launch_at_login/xdg_autostart_login_item.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <filesystem>
#include <system_error>

namespace LaunchAtLogin {
namespace {

QString absoluteDirectory(const char *variable, const QString &fallback)
{
    const QString value = qEnvironmentVariable(variable);
    return QDir::isAbsolutePath(value) ? value : fallback;
}

QStringList absoluteDirectories(const char *variable, const QStringList &fallback)
{
    QStringList directories;
    const QStringList values = qEnvironmentVariable(variable).split(QLatin1Char(':'));
    for (const QString &value : values) {
        if (QDir::isAbsolutePath(value))
            directories.append(value);
    }
    return directories.isEmpty() ? fallback : directories;
}

// Keys that would keep a copied entry from starting our program at login, or make a runner start something else.
const QStringList keysNotCopied = {QStringLiteral("Hidden"), QStringLiteral("X-GNOME-Autostart-enabled"),
                                   QStringLiteral("TryExec"), QStringLiteral("DBusActivatable")};

bool isSwitchedOff(const DesktopEntry &entry)
{
    return entry.boolean(QStringLiteral("Hidden")) == true ||
           entry.boolean(QStringLiteral("X-GNOME-Autostart-enabled")) == false;
}

QString canonical(const QString &path)
{
    return QFileInfo(path).canonicalFilePath();
}

} // namespace

XdgAutostartLoginItem::Directories XdgAutostartLoginItem::Directories::fromEnvironment()
{
    const QString home = QDir::homePath();
    return {absoluteDirectory("XDG_CONFIG_HOME", home + QStringLiteral("/.config")),
            absoluteDirectories("XDG_CONFIG_DIRS", {QStringLiteral("/etc/xdg")}),
            absoluteDirectory("XDG_DATA_HOME", home + QStringLiteral("/.local/share")),
            absoluteDirectories("XDG_DATA_DIRS", {QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")})};
}

XdgAutostartLoginItem::XdgAutostartLoginItem(Directories directories, QString desktopId, QString name,
                                             QString executable)
    : m_directories(std::move(directories)), m_desktopId(std::move(desktopId)), m_name(std::move(name)),
      m_executable(std::move(executable))
{}

QString XdgAutostartLoginItem::userEntryPath() const
{
    return m_directories.configHome + QStringLiteral("/autostart/") + m_desktopId + QStringLiteral(".desktop");
}

std::optional<XdgAutostartLoginItem::Candidate> XdgAutostartLoginItem::winningEntry() const
{
    QStringList paths{userEntryPath()};
    for (const QString &directory : m_directories.configDirs)
        paths.append(directory + QStringLiteral("/autostart/") + m_desktopId + QStringLiteral(".desktop"));
    for (const QString &path : std::as_const(paths)) {
        if (QFileInfo::exists(path))
            return Candidate{DesktopEntry::read(path)};
    }
    return std::nullopt;
}

bool XdgAutostartLoginItem::startsThisProgram(const std::optional<DesktopEntry> &entry) const
{
    if (!entry || isSwitchedOff(*entry))
        return false;
    const auto exec = entry->value(QStringLiteral("Exec"));
    const auto arguments = exec ? splitExecValue(*exec) : std::nullopt;
    if (!arguments)
        return false;
    QString program = arguments->first();
    // Runners look a bare name up in PATH; a relative path with a slash depends on their working directory.
    if (!program.contains(QLatin1Char('/')))
        program = QStandardPaths::findExecutable(program);
    else if (!QDir::isAbsolutePath(program))
        return false;
    const QString ours = canonical(m_executable);
    return !program.isEmpty() && !ours.isEmpty() && canonical(program) == ours;
}

bool XdgAutostartLoginItem::isEnabled()
{
    const auto winner = winningEntry();
    return winner && startsThisProgram(winner->entry);
}

DesktopEntry XdgAutostartLoginItem::templateEntry() const
{
    QStringList directories{m_directories.dataHome};
    directories.append(m_directories.dataDirs);
    for (const QString &directory : std::as_const(directories)) {
        const QString path = directory + QStringLiteral("/applications/") + m_desktopId + QStringLiteral(".desktop");
        if (!QFileInfo::exists(path))
            continue;
        if (auto installed = DesktopEntry::read(path);
            installed && installed->value(QStringLiteral("Type")) == u"Application")
            return *installed;
        break; // the installed entry is damaged; it is not ours to repair
    }
    DesktopEntry entry;
    entry.setValue(QStringLiteral("Type"), QStringLiteral("Application"));
    entry.setValue(QStringLiteral("Name"), m_name);
    return entry;
}

std::optional<LoginItemError> XdgAutostartLoginItem::registerItem()
{
    DesktopEntry entry = templateEntry();
    for (const QString &key : keysNotCopied)
        entry.remove(key);
    // The installed entry's Exec names the program through PATH and takes URLs; at login it is started bare.
    entry.setValue(QStringLiteral("Exec"), quoteExecArgument(m_executable));
    return writeUserEntry(entry);
}

std::optional<LoginItemError> XdgAutostartLoginItem::unregisterItem()
{
    const QString path = userEntryPath();
    const QFileInfo info(path);
    if (info.isDir())
        return LoginItemError{QStringLiteral("cannot remove %1: it is a folder").arg(path)};
    if (QFile file(path); (info.exists() || info.isSymLink()) && !file.remove())
        return LoginItemError{QStringLiteral("cannot remove %1: %2").arg(path, file.errorString())};
    const auto winner = winningEntry();
    if (!winner || !startsThisProgram(winner->entry))
        return std::nullopt;
    // A system-wide entry starts the program for every user; the user's Hidden=true entry overrides it.
    DesktopEntry hiding = *winner->entry;
    hiding.setValue(QStringLiteral("Hidden"), QStringLiteral("true"));
    return writeUserEntry(hiding);
}

std::optional<LoginItemError> XdgAutostartLoginItem::writeUserEntry(const DesktopEntry &entry) const
{
    const QString path = userEntryPath();
    const QString directory = QFileInfo(path).absolutePath();
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(directory).toStdString(), error);
    if (error)
        return LoginItemError{
            QStringLiteral("cannot create %1: %2").arg(directory, QString::fromLocal8Bit(error.message()))};
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return LoginItemError{QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
    file.write(entry.toByteArray());
    if (!file.commit())
        return LoginItemError{QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
    return std::nullopt;
}

} // namespace LaunchAtLogin
