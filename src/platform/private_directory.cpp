#include "platform/private_directory.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform {

bool ensurePrivateDirectory(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
        return false;
    struct stat info {};
    // lstat: a symbolic link planted by someone else must not redirect our files.
    if (::lstat(native.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid())
        return false;
    if ((info.st_mode & 0077) != 0 && ::chmod(native.constData(), 0700) != 0)
        return false;
    return true;
}

std::optional<QString> privateRuntimeDirectory()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir::isAbsolutePath(runtime)) {
        const QString path = QDir::cleanPath(runtime) + QStringLiteral("/scrivlet");
        if (ensurePrivateDirectory(path))
            return path + QLatin1Char('/');
    }
    const QString shared = QDir::tempPath() + QStringLiteral("/scrivlet-%1").arg(::geteuid());
    if (ensurePrivateDirectory(shared))
        return shared + QLatin1Char('/');
    QByteArray pattern = QFile::encodeName(QDir::tempPath() + QStringLiteral("/scrivlet-XXXXXX"));
    if (::mkdtemp(pattern.data()))
        return QFile::decodeName(pattern) + QLatin1Char('/');
    return std::nullopt;
}

} // namespace Platform
