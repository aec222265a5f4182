#include "user_defaults/user_defaults.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QLockFile>
#include <QLoggingCategory>
#include <QScopeGuard>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <utility>

Q_LOGGING_CATEGORY(lcUserDefaults, "scrivlet.userdefaults")

using namespace Qt::Literals::StringLiterals;
using FileState = UserDefaults::FileState;

namespace {

constexpr auto fileName = "defaults.json";
// A writer holds the lock for milliseconds; one that has held it this long is taken to be stuck.
constexpr std::chrono::seconds staleLockTime{10};
// QLockFile::tryLock() first sleeps 100 ms, then twice as long each time: far longer than a writer holds the lock.
constexpr std::chrono::milliseconds lockPollInterval{10};
constexpr qsizetype readChunk = 64 * 1024;

// printf-style: a stream would need more of the process (a sanitizer's checks of it open descriptors) than may be
// left when a file cannot be opened.
void warn(const QString &message)
{
    qCWarning(lcUserDefaults, "%ls", qUtf16Printable(message));
}

// Owns a POSIX file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }

private:
    int m_fd = -1;
};

struct Snapshot {
    FileState state = FileState::missing;
    QJsonObject object;  // empty unless valid
    FileDescriptor file; // the regular file that was read, still open, so that a backup copies what was read
    QString problem;     // why the file is damaged or unreadable
};

Snapshot damaged(QString problem, FileDescriptor file = {})
{
    return {FileState::damaged, {}, std::move(file), std::move(problem)};
}

Snapshot unreadable(int error)
{
    return {FileState::unreadable, {}, {}, qt_error_string(error)};
}

Snapshot notARegularFile(mode_t mode)
{
    if (S_ISDIR(mode))
        return damaged(u"a directory"_s);
    if (S_ISFIFO(mode))
        return damaged(u"a named pipe"_s);
    if (S_ISSOCK(mode))
        return damaged(u"a socket"_s);
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return damaged(u"a device"_s);
    return damaged(u"not a regular file"_s);
}

Snapshot failedToOpen(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return {};
    case ELOOP:
        return damaged(u"a loop of symbolic links"_s);
    default:
        return unreadable(error);
    }
}

struct ReadResult {
    QByteArray bytes;
    int error = 0;
};

// Reads until the end of the file or until limit bytes are in; expectedSize only saves reallocations.
ReadResult readAtMost(int fd, qint64 limit, qint64 expectedSize)
{
    ReadResult result;
    result.bytes.reserve(std::clamp<qint64>(expectedSize, 0, limit));
    while (result.bytes.size() < limit) {
        const qsizetype offset = result.bytes.size();
        result.bytes.resize(offset + std::min<qint64>(readChunk, limit - offset));
        const ssize_t count = ::read(fd, result.bytes.data() + offset, result.bytes.size() - offset);
        if (count < 0) {
            const int error = errno;
            result.bytes.resize(offset);
            if (error == EINTR)
                continue;
            result.error = error;
            return result;
        }
        result.bytes.resize(offset + count);
        if (count == 0)
            break;
    }
    return result;
}

Snapshot readSnapshot(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info {};
    // Asked before opening: opening a device can do something of its own (a tape rewinds).
    if (::stat(name.constData(), &info) != 0)
        return failedToOpen(errno);
    if (!S_ISREG(info.st_mode))
        return notARegularFile(info.st_mode);
    // Non-blocking, so that a pipe put in the file's place since stat() cannot hang the open; what was opened
    // decides.
    FileDescriptor file(::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        return failedToOpen(errno);
    if (::fstat(file.get(), &info) != 0)
        return unreadable(errno);
    if (!S_ISREG(info.st_mode))
        return notARegularFile(info.st_mode);
    // The size the file claims is not trusted: the limit applies to what is read.
    ReadResult read = readAtMost(file.get(), UserDefaults::maximumFileSize + 1, info.st_size);
    if (read.error != 0)
        return unreadable(read.error);
    if (read.bytes.size() > UserDefaults::maximumFileSize)
        return damaged(u"larger than %1 bytes"_s.arg(UserDefaults::maximumFileSize), std::move(file));
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(read.bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return damaged(u"not JSON: %1 at byte %2"_s.arg(error.errorString()).arg(error.offset), std::move(file));
    if (!document.isObject())
        return damaged(u"not a JSON object"_s, std::move(file));
    return {FileState::valid, document.object(), std::move(file), {}};
}

bool writeAll(int fd, QByteArrayView bytes)
{
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t count = ::write(fd, bytes.constData() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR)
            return false;
        written += std::max<ssize_t>(count, 0);
    }
    return true;
}

bool copyAll(int from, int to)
{
    QByteArray buffer(readChunk, Qt::Uninitialized);
    for (off_t offset = 0;;) {
        const ssize_t count = ::pread(from, buffer.data(), buffer.size(), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count == 0;
        if (!writeAll(to, QByteArrayView(buffer).first(count)))
            return false;
        offset += count;
    }
}

// Fills a new file beside target and renames it over target, so that readers see the old file or the new one,
// whole, and target is left as it was on any failure, which is logged.
bool replaceAtomically(const QString &target, const std::function<bool(int fd)> &fill)
{
    QByteArray temporary = QFile::encodeName(target) + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC)); // mode 0600: settings are private
    if (!file.isOpen()) {
        const int error = errno;
        warn(u"cannot write %1: %2"_s.arg(target, qt_error_string(error)));
        return false;
    }
    auto removeTemporary = qScopeGuard([&] { ::unlink(temporary.constData()); });
    // Synced before the rename: after a crash the name holds the old contents or the new, never an empty file.
    if (!fill(file.get()) || ::fsync(file.get()) != 0 ||
        ::rename(temporary.constData(), QFile::encodeName(target).constData()) != 0) {
        const int error = errno;
        warn(u"cannot write %1: %2"_s.arg(target, qt_error_string(error)));
        return false;
    }
    removeTemporary.dismiss();
    return true;
}

// A link to a regular file is written through, so that settings kept elsewhere (a dotfiles repository) stay
// linked; anything else in the file's place is replaced by the write.
QString writeTarget(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info {};
    if (::lstat(name.constData(), &info) == 0 && S_ISLNK(info.st_mode) && ::stat(name.constData(), &info) == 0 &&
        S_ISREG(info.st_mode)) {
        const QString target = QFileInfo(path).canonicalFilePath();
        return target.isEmpty() ? path : target;
    }
    return path;
}

bool isReadOnly(const QString &path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), W_OK, AT_EACCESS) != 0 && errno == EACCES;
}

bool acquire(QLockFile &lock)
{
    const QDeadlineTimer deadline(UserDefaults::lockWait);
    while (!lock.tryLock(std::chrono::milliseconds::zero())) {
        if (lock.error() != QLockFile::LockFailedError || deadline.hasExpired())
            return false;
        QThread::msleep(static_cast<unsigned long>(lockPollInterval.count()));
    }
    return true;
}

constexpr qint64 notAnInteger = std::numeric_limits<qint64>::min();

// QJsonValue keeps whole numbers as 64-bit integers; other numbers are doubles, truncated toward zero here.
std::optional<qint64> numberOf(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    if (const qint64 whole = value.toInteger(notAnInteger); whole != notAnInteger)
        return whole;
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::abs(number) >= 9.2e18)
        return std::nullopt;
    return static_cast<qint64>(number);
}

QString stateDirectory(const QString &name)
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.config");
    return base + QLatin1Char('/') + name;
}

} // namespace

UserDefaults::UserDefaults(QString filePath) : m_filePath(std::move(filePath)) {}

UserDefaults UserDefaults::standard()
{
    QString name = QCoreApplication::applicationName();
    if (name.isEmpty())
        name = QStringLiteral("unnamed");
    return UserDefaults(stateDirectory(name) + QLatin1Char('/') + QLatin1String(fileName));
}

UserDefaults UserDefaults::suite(const QString &name)
{
    return UserDefaults(stateDirectory(name) + QLatin1Char('/') + QLatin1String(fileName));
}

UserDefaults::FileState UserDefaults::fileState() const
{
    return readSnapshot(m_filePath).state;
}

QJsonValue UserDefaults::value(const QString &key) const
{
    return readSnapshot(m_filePath).object.value(key);
}

bool UserDefaults::contains(const QString &key) const
{
    return readSnapshot(m_filePath).object.contains(key);
}

bool UserDefaults::booleanOf(const QJsonValue &value)
{
    if (value.isBool())
        return value.toBool();
    if (value.isDouble())
        return value.toDouble() != 0.0;
    if (value.isString()) {
        const QString text = value.toString().trimmed().toLower();
        if (text == u"true" || text == u"yes")
            return true;
        bool ok = false;
        const double number = text.toDouble(&ok);
        return ok && number != 0.0;
    }
    return false;
}

qint64 UserDefaults::integerOf(const QJsonValue &value)
{
    if (value.isBool())
        return value.toBool() ? 1 : 0;
    if (const auto number = numberOf(value))
        return *number;
    if (value.isString()) {
        bool ok = false;
        const qint64 parsed = value.toString().trimmed().toLongLong(&ok);
        return ok ? parsed : 0;
    }
    return 0;
}

std::optional<QString> UserDefaults::stringOf(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isBool())
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    if (value.isDouble()) {
        if (const qint64 whole = value.toInteger(notAnInteger); whole != notAnInteger)
            return QString::number(whole);
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    }
    return std::nullopt;
}

std::optional<QStringList> UserDefaults::stringArrayOf(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    QStringList strings;
    for (const QJsonValue element : value.toArray()) {
        if (!element.isString())
            return std::nullopt;
        strings.append(element.toString());
    }
    return strings;
}

bool UserDefaults::update(const QString &key, const Change &change)
{
    const QString folder = QFileInfo(m_filePath).absolutePath();
    if (!QDir().mkpath(folder)) {
        warn(u"not saving \"%1\": cannot create the folder %2"_s.arg(key, folder));
        return false;
    }
    // Serialises read-modify-write between processes and threads; stale locks of dead processes are taken over.
    QLockFile lock(m_filePath + u".lock"_s);
    lock.setStaleLockTime(staleLockTime);
    if (!acquire(lock)) {
        warn(lock.error() == QLockFile::LockFailedError
                 ? u"not saving \"%1\" to %2: another writer held its lock %3 for over %4 ms"_s.arg(
                       key, m_filePath, lock.fileName(), QString::number(lockWait.count()))
                 : u"not saving \"%1\" to %2: cannot create its lock %3"_s.arg(key, m_filePath, lock.fileName()));
        return false;
    }

    const Snapshot snapshot = readSnapshot(m_filePath);
    if (snapshot.state == FileState::unreadable) {
        warn(u"not saving \"%1\": %2 exists but cannot be read (%3); check its permissions. Nothing is saved until "
             "it can be read, so as not to lose the settings in it"_s.arg(key, m_filePath, snapshot.problem));
        return false;
    }
    const QString target = writeTarget(m_filePath);
    // Making the file read-only is how a user pins the settings; a rename over it would not ask.
    if (snapshot.file.isOpen() && isReadOnly(target)) {
        warn(u"not saving \"%1\": %2 is read-only"_s.arg(key, target));
        return false;
    }
    if (snapshot.state == FileState::damaged) {
        // Only a regular file is copied: copying a device or a pipe may never end.
        if (snapshot.file.isOpen()) {
            const QString backup = m_filePath + u".corrupt"_s;
            if (!replaceAtomically(backup, [&](int to) { return copyAll(snapshot.file.get(), to); })) {
                warn(u"not saving \"%1\": %2 is damaged (%3) and no copy of it could be kept as %4"_s.arg(
                    key, m_filePath, snapshot.problem, backup));
                return false;
            }
            warn(u"replacing %1, which is damaged (%2); the old file is kept as %3"_s.arg(m_filePath, snapshot.problem,
                                                                                          backup));
        } else {
            warn(u"replacing %1, which is %2"_s.arg(m_filePath, snapshot.problem));
        }
    }

    QJsonObject object = snapshot.object;
    if (const QJsonValue value = change(object.value(key)); value.isUndefined())
        object.remove(key);
    else
        object.insert(key, value);
    if (snapshot.state != FileState::damaged && object == snapshot.object)
        return true; // the file, or its absence, already says so
    const QByteArray contents = QJsonDocument(object).toJson(QJsonDocument::Indented);
    return replaceAtomically(target, [&](int to) { return writeAll(to, contents); });
}

void UserDefaults::setBoolean(const QString &key, bool value)
{
    update(key, [value](const QJsonValue &) { return QJsonValue(value); });
}

void UserDefaults::setInteger(const QString &key, qint64 value)
{
    update(key, [value](const QJsonValue &) { return QJsonValue(value); });
}

void UserDefaults::setString(const QString &key, const QString &value)
{
    update(key, [&value](const QJsonValue &) { return QJsonValue(value); });
}

void UserDefaults::setStringArray(const QString &key, const QStringList &value)
{
    update(key, [&value](const QJsonValue &) { return QJsonValue(QJsonArray::fromStringList(value)); });
}

void UserDefaults::remove(const QString &key)
{
    update(key, [](const QJsonValue &) { return QJsonValue(QJsonValue::Undefined); });
}
