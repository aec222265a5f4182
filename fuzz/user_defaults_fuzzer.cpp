// Any bytes as a settings file (the user, or another program, may have written it). fileState() must say what a
// JSON parser says of the bytes; every reader must cope with whatever is stored; a write must keep every other key
// of a valid file, or the whole of a damaged one beside the new file.
#include "user_defaults/user_defaults.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

// Reading through the file costs a file system round trip per key: a few keys are enough.
constexpr qsizetype keysReadFromTheFile = 3;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be read>");
}

// Every write syncs the file: memory-backed files keep the runs fast.
QString scratchBase()
{
    const QFileInfo shm(QStringLiteral("/dev/shm"));
    return shm.isDir() && shm.isWritable() ? shm.filePath() : QDir::tempPath();
}

// The readers take the stored value as the converters do, and agree with the value itself where it says plainly.
void checkReadersOf(const QJsonValue &value)
{
    const std::optional<QString> string = UserDefaults::stringOf(value);
    if (value.isString() && string != value.toString())
        fail("a stored string reads as another");
    if (value.isBool() && UserDefaults::booleanOf(value) != value.toBool())
        fail("a stored boolean reads as another");
    if (value.isDouble() && value.toDouble() == double(value.toInteger()) &&
        UserDefaults::integerOf(value) != value.toInteger())
        fail("a stored whole number reads as another");
    if (const std::optional<QStringList> strings = UserDefaults::stringArrayOf(value)) {
        const QJsonArray array = value.toArray();
        if (!value.isArray() || strings->size() != array.size())
            fail("a string array reads with another length");
        for (qsizetype i = 0; i < array.size(); ++i)
            if (array.at(i).toString() != strings->at(i))
                fail("a string array reads with other strings");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // Damaged files are replaced with a warning each time; here that is the expected case.
    QLoggingCategory::setFilterRules(QStringLiteral("scrivlet.userdefaults.warning=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir directory(scratchBase() + QStringLiteral("/user_defaults_fuzzer-XXXXXX"));
    const QString path = directory.filePath(QStringLiteral("defaults.json"));
    const QString backup = path + QStringLiteral(".corrupt");
    QFile::remove(backup);
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
            fail("cannot write the input");
    }

    UserDefaults defaults(path);
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    const bool isValid = bytes.size() <= UserDefaults::maximumFileSize && document.isObject();
    if (defaults.fileState() != (isValid ? UserDefaults::FileState::valid : UserDefaults::FileState::damaged))
        fail("the file's state is not what its bytes are");

    const QJsonObject stored = isValid ? document.object() : QJsonObject();
    for (auto it = stored.begin(); it != stored.end(); ++it)
        checkReadersOf(it.value());
    const QStringList keys = stored.keys();
    for (const QString &key : keys.first(std::min(keys.size(), keysReadFromTheFile))) {
        const QJsonValue value = stored.value(key);
        if (!defaults.contains(key) || defaults.boolean(key) != UserDefaults::booleanOf(value) ||
            defaults.integer(key) != UserDefaults::integerOf(value) ||
            defaults.string(key) != UserDefaults::stringOf(value) ||
            defaults.stringArray(key) != UserDefaults::stringArrayOf(value))
            fail("a key reads otherwise from the file than from its bytes");
    }

    // Changes the first key, or adds one: the change sees the stored value, and nothing else is lost.
    const QString key = keys.value(0, QStringLiteral("fuzz"));
    QJsonValue seen;
    const bool written = defaults.update(key, [&seen](const QJsonValue &current) {
        seen = current;
        return QJsonValue(QStringLiteral("changed"));
    });
    if (!written)
        fail("a regular file was not written");
    if (seen != stored.value(key))
        fail("the change saw another value than the stored one");
    QJsonObject expected = stored;
    expected.insert(key, QStringLiteral("changed"));
    if (defaults.fileState() != UserDefaults::FileState::valid ||
        QJsonDocument::fromJson(contentsOf(path)).object() != expected)
        fail("the write lost or changed other keys");
    if (!isValid && contentsOf(backup) != bytes)
        fail("the damaged file was not kept beside the new one");
    return 0;
}
