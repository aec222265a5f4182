#include "user_defaults/user_defaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QLockFile>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QStandardPaths>

#include <cmath>
#include <limits>
#include <utility>

Q_LOGGING_CATEGORY(lcUserDefaults, "scrivlet.userdefaults")

namespace {

constexpr auto fileName = "defaults.json";
// Larger files are not settings; reading them could exhaust memory.
constexpr qint64 maximumFileSize = 16 * 1024 * 1024;

struct Contents {
    QJsonObject object;
    bool isValid = true; // false when a file exists but does not hold a JSON object
};

Contents readContents(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, !file.exists()};
    if (file.size() > maximumFileSize)
        return {{}, false};
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {{}, false};
    return {document.object(), true};
}

QJsonValue valueFor(const QString &path, const QString &key)
{
    return readContents(path).object.value(key);
}

constexpr qint64 notAnInteger = std::numeric_limits<qint64>::min();

// QJsonValue keeps whole numbers as 64-bit integers; other numbers are doubles, truncated toward zero here.
std::optional<qint64> integerOf(const QJsonValue &value)
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

bool UserDefaults::contains(const QString &key) const
{
    return readContents(m_filePath).object.contains(key);
}

bool UserDefaults::boolean(const QString &key) const
{
    const QJsonValue value = valueFor(m_filePath, key);
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

qint64 UserDefaults::integer(const QString &key) const
{
    const QJsonValue value = valueFor(m_filePath, key);
    if (value.isBool())
        return value.toBool() ? 1 : 0;
    if (const auto number = integerOf(value))
        return *number;
    if (value.isString()) {
        bool ok = false;
        const qint64 parsed = value.toString().trimmed().toLongLong(&ok);
        return ok ? parsed : 0;
    }
    return 0;
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const QJsonValue value = valueFor(m_filePath, key);
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

std::optional<QStringList> UserDefaults::stringArray(const QString &key) const
{
    const QJsonValue value = valueFor(m_filePath, key);
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

namespace {

template <typename Change> void update(const QString &path, Change change)
{
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        qCWarning(lcUserDefaults) << "cannot create" << info.absolutePath();
        return;
    }
    // Serialises read-modify-write between processes; stale locks of dead processes are taken over.
    QLockFile lock(path + QStringLiteral(".lock"));
    lock.setStaleLockTime(std::chrono::seconds(10));
    if (!lock.tryLock(std::chrono::seconds(5))) {
        qCWarning(lcUserDefaults) << "settings are locked by another process:" << path;
        return;
    }
    Contents contents = readContents(path);
    if (!contents.isValid) {
        const QString backup = path + QStringLiteral(".corrupt");
        QFile::remove(backup);
        if (QFile::copy(path, backup))
            qCWarning(lcUserDefaults) << "replacing unreadable settings; the old file is kept as" << backup;
        contents.object = {};
    }
    change(contents.object);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcUserDefaults) << "cannot write" << path << file.errorString();
        return;
    }
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    file.write(QJsonDocument(contents.object).toJson(QJsonDocument::Indented));
    if (!file.commit())
        qCWarning(lcUserDefaults) << "cannot write" << path << file.errorString();
}

} // namespace

void UserDefaults::setBoolean(const QString &key, bool value)
{
    update(m_filePath, [&](QJsonObject &object) { object.insert(key, value); });
}

void UserDefaults::setInteger(const QString &key, qint64 value)
{
    update(m_filePath, [&](QJsonObject &object) { object.insert(key, value); });
}

void UserDefaults::setString(const QString &key, const QString &value)
{
    update(m_filePath, [&](QJsonObject &object) { object.insert(key, value); });
}

void UserDefaults::setStringArray(const QString &key, const QStringList &value)
{
    update(m_filePath, [&](QJsonObject &object) { object.insert(key, QJsonArray::fromStringList(value)); });
}

void UserDefaults::remove(const QString &key)
{
    update(m_filePath, [&](QJsonObject &object) { object.remove(key); });
}
