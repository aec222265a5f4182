#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

// A domain of persistent user settings kept as one JSON object in one file.
//
// Nothing is cached: every read goes to the file afresh, so a change another process made is seen at the next
// read. Every write is a read-modify-write of one key under a lock file and replaces the file atomically, so
// concurrent writers never tear the file or lose each other's changes.
//
// Only a regular file (or a link to one, which writes go through) of at most maximumFileSize bytes is read;
// reading never blocks, whatever is in the file's place. What the file holds decides every read and write (see
// FileState): a file that is not a JSON object is saved beside itself as "*.corrupt" before the next write replaces
// it; a file that exists but cannot be read, or that the user made read-only, is never written, so that settings
// are not lost to a passing fault.
//
// A write syncs the new file to disk and may wait up to lockWait for another writer (process or thread). Writers
// normally hold the lock for milliseconds, but a slow or busy disk makes that longer: make writes that happen
// often (one per capture) off the interface thread. A refused write is logged, never dropped silently. Handles are
// cheap values; two handles on the same file see the same data.
class UserDefaults {
public:
    enum class FileState {
        missing,   // no file: every key reads as absent; the first write creates it
        valid,     // a regular file holding one JSON object
        damaged,   // not JSON, not an object, too large, or not a regular file (a device, a pipe, a directory):
                   // reads as empty; a write replaces it, keeping a regular file beside itself as "*.corrupt"
        unreadable // exists but cannot be read (permissions, out of file descriptors, I/O error): reads as empty
                   // and every write is refused
    };
    // Larger files are not settings; reading them could exhaust memory.
    static constexpr qint64 maximumFileSize = 16 * 1024 * 1024;
    static constexpr std::chrono::milliseconds lockWait{2000};
    using Change = std::function<QJsonValue(const QJsonValue &current)>;

    explicit UserDefaults(QString filePath);

    // The application's own domain: $XDG_CONFIG_HOME/<application name>/defaults.json.
    static UserDefaults standard();
    // A named suite other processes of the user can open by the same name:
    // $XDG_CONFIG_HOME/<suite name>/defaults.json.
    static UserDefaults suite(const QString &name);

    QString filePath() const { return m_filePath; }
    [[nodiscard]] FileState fileState() const;

    // Whether any value, of any type, is stored under the key.
    bool contains(const QString &key) const;
    bool boolean(const QString &key) const { return booleanOf(value(key)); }
    qint64 integer(const QString &key) const { return integerOf(value(key)); }
    std::optional<QString> string(const QString &key) const { return stringOf(value(key)); }
    std::optional<QStringList> stringArray(const QString &key) const { return stringArrayOf(value(key)); }

    // How the readers above take a stored value, for changes passed to update().
    // A boolean as stored; a number is true when not zero; the strings "true", "yes" and non-zero numbers are
    // true; anything else, or nothing, is false.
    static bool booleanOf(const QJsonValue &value);
    // An integer as stored; a boolean is 0 or 1, a number is truncated, a string is parsed; anything else is 0.
    static qint64 integerOf(const QJsonValue &value);
    // A string as stored; numbers and booleans as their text ("1"/"0" for booleans); empty for anything else.
    static std::optional<QString> stringOf(const QJsonValue &value);
    // An array whose every element is a string; empty when absent, not an array, or holding anything else.
    static std::optional<QStringList> stringArrayOf(const QJsonValue &value);

    // Stores what change makes of the key's current value (undefined when absent), with no other writer in
    // between; an undefined result removes the key. True when the result is stored; a refused write is logged.
    bool update(const QString &key, const Change &change);

    void setBoolean(const QString &key, bool value);
    void setInteger(const QString &key, qint64 value);
    void setString(const QString &key, const QString &value);
    void setStringArray(const QString &key, const QStringList &value);
    void remove(const QString &key);

    friend bool operator==(const UserDefaults &, const UserDefaults &) = default;

private:
    QJsonValue value(const QString &key) const;

    QString m_filePath;
};
