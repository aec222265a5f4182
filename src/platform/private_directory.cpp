#include "platform/private_directory.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcPrivateDirectory, "scrivlet.privatedirectory")

namespace Platform {
namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~FileDescriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    int get() const { return m_descriptor; }

private:
    int m_descriptor;
};

QString octal(mode_t mode)
{
    return QStringLiteral("%1").arg(mode & 07777, 4, 8, QLatin1Char('0'));
}

// "user nobody (uid 65534)", or "uid 65534" for an id without a name.
QString describeUser(uid_t uid)
{
    struct passwd entry {};
    struct passwd *found = nullptr;
    std::array<char, 4096> buffer{};
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QStringLiteral("user %1 (uid %2)").arg(QString::fromLocal8Bit(found->pw_name), QString::number(uid));
    return QStringLiteral("uid %1").arg(uid);
}

// What a user can do about a refused folder: take the folder away, or have it made elsewhere.
enum class Remedy { removeFolder, chooseAnotherPlace };

struct Problem {
    QString what; // completes a sentence that begins with the folder's path
    Remedy remedy;
};

QString parentOf(const QString &cleanPath)
{
    const qsizetype slash = cleanPath.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QStringLiteral(".");
    return slash == 0 ? QStringLiteral("/") : cleanPath.left(slash);
}

std::optional<Problem> inspect(const QString &cleanPath)
{
    struct stat info {};
    // lstat: a link planted in the folder's place must not send our files elsewhere.
    if (::lstat(QFile::encodeName(cleanPath).constData(), &info) != 0) {
        if (errno == ENOENT)
            return Problem{QStringLiteral("is gone"), Remedy::chooseAnotherPlace};
        return Problem{QStringLiteral("cannot be examined (%1)").arg(qt_error_string(errno)),
                       Remedy::chooseAnotherPlace};
    }
    if (S_ISLNK(info.st_mode))
        return Problem{QStringLiteral("is a symbolic link, not a folder"), Remedy::removeFolder};
    if (!S_ISDIR(info.st_mode))
        return Problem{QStringLiteral("is not a folder"), Remedy::removeFolder};
    if (info.st_uid != ::geteuid())
        return Problem{QStringLiteral("belongs to %1, not to you").arg(describeUser(info.st_uid)),
                       Remedy::removeFolder};
    if ((info.st_mode & 0077) != 0)
        return Problem{QStringLiteral("is open to other users (mode %1 instead of 0700)").arg(octal(info.st_mode)),
                       Remedy::removeFolder};

    // Whoever may write to the parent can rename our folder away and put one of theirs in its place.
    const QString parent = parentOf(cleanPath);
    if (::stat(QFile::encodeName(parent).constData(), &info) != 0)
        return Problem{
            QStringLiteral("is inside %1, which cannot be examined (%2)").arg(parent, qt_error_string(errno)),
            Remedy::chooseAnotherPlace};
    if (info.st_uid != ::geteuid() && info.st_uid != 0)
        return Problem{QStringLiteral("is inside %1, which belongs to %2").arg(parent, describeUser(info.st_uid)),
                       Remedy::chooseAnotherPlace};
    if ((info.st_mode & 0022) != 0 && (info.st_mode & S_ISVTX) == 0)
        return Problem{QStringLiteral("is inside %1, which other users can change (mode %2 without the sticky bit)")
                           .arg(parent, octal(info.st_mode)),
                       Remedy::chooseAnotherPlace};
    return std::nullopt;
}

// Makes the folder, or closes an existing one of ours to others; then says what still keeps it from being private.
std::optional<Problem> makePrivate(const QString &cleanPath)
{
    const QByteArray native = QFile::encodeName(cleanPath);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
        return Problem{QStringLiteral("cannot be made (%1)").arg(qt_error_string(errno)), Remedy::chooseAnotherPlace};
    // Through a descriptor, which cannot follow a link that takes the folder's place meanwhile.
    const FileDescriptor folder(::open(native.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (folder.get() >= 0 && ::fstat(folder.get(), &info) == 0 && info.st_uid == ::geteuid() &&
        (info.st_mode & 0077) != 0 && ::fchmod(folder.get(), 0700) != 0)
        qCWarning(lcPrivateDirectory) << "cannot close" << cleanPath << "to others:" << qt_error_string(errno);
    return inspect(cleanPath);
}

// Why $XDG_RUNTIME_DIR cannot hold our folder. The base-directory rules make it the user's own, mode 0700; one that
// others may write to would let them put their folder in the place of ours.
std::optional<QString> runtimeDirectoryProblem(const QString &runtime)
{
    if (!QDir::isAbsolutePath(runtime))
        return QStringLiteral("%1 is not an absolute path").arg(runtime);
    struct stat info {};
    if (::stat(QFile::encodeName(runtime).constData(), &info) != 0)
        return QStringLiteral("%1 cannot be examined (%2)").arg(runtime, qt_error_string(errno));
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("%1 is not a folder").arg(runtime);
    if (info.st_uid != ::geteuid())
        return QStringLiteral("%1 belongs to %2, not to you").arg(runtime, describeUser(info.st_uid));
    if ((info.st_mode & 0022) != 0)
        return QStringLiteral("%1 is writable by other users (mode %2, not 0700)").arg(runtime, octal(info.st_mode));
    return std::nullopt;
}

// $XDG_RUNTIME_DIR/scrivlet made private; empty, with the reason logged, when the session's runtime directory
// cannot hold it.
std::optional<QString> sessionDirectory()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (runtime.isEmpty())
        return std::nullopt;
    if (const std::optional<QString> problem = runtimeDirectoryProblem(runtime)) {
        qCWarning(lcPrivateDirectory).noquote() << "ignoring $XDG_RUNTIME_DIR:" << *problem;
        return std::nullopt;
    }
    const QString path = QDir::cleanPath(runtime) + QStringLiteral("/scrivlet");
    if (const std::optional<Problem> problem = makePrivate(path)) {
        qCWarning(lcPrivateDirectory).noquote() << "ignoring $XDG_RUNTIME_DIR:" << path << problem->what;
        return std::nullopt;
    }
    return path;
}

std::variant<PrivateDirectory, NoPrivateDirectory> perUserFolder()
{
    const QString temporary = QDir::tempPath(); // follows $TMPDIR; empty when that does not exist
    if (temporary.isEmpty())
        return NoPrivateDirectory{QStringLiteral("The temporary folder %1 does not exist: set TMPDIR to a folder that "
                                                 "does, or start Scrivlet in a session that sets XDG_RUNTIME_DIR.")
                                      .arg(qEnvironmentVariable("TMPDIR"))};
    const QString path = temporary + QStringLiteral("/scrivlet-%1").arg(::geteuid());
    const std::optional<Problem> problem = makePrivate(path);
    if (!problem)
        return PrivateDirectory{path + QLatin1Char('/')};
    const QString remedy = problem->remedy == Remedy::removeFolder ? QStringLiteral("remove it (its owner or root can)")
                                                                   : QStringLiteral("set TMPDIR to a folder of yours");
    return NoPrivateDirectory{QStringLiteral("%1 %2, so Scrivlet cannot keep its files there: %3, or start Scrivlet "
                                             "in a session that sets XDG_RUNTIME_DIR.")
                                  .arg(path, problem->what, remedy)};
}

} // namespace

std::variant<PrivateDirectory, NoPrivateDirectory> privateRuntimeDirectory()
{
    if (const std::optional<QString> session = sessionDirectory())
        return PrivateDirectory{*session + QLatin1Char('/')};
    return perUserFolder();
}

std::optional<QString> privateDirectoryProblem(const QString &path)
{
    const QString cleanPath = QDir::cleanPath(path);
    const std::optional<Problem> problem = inspect(cleanPath);
    if (!problem)
        return std::nullopt;
    return QStringLiteral("Scrivlet's private folder %1 %2, so nothing is written there: check who changed it, then "
                          "restart Scrivlet.")
        .arg(cleanPath, problem->what);
}

} // namespace Platform
