#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// A domain of persistent user settings kept as one JSON object in one file.
//
// Nothing is cached: every read goes to the file afresh, so a change another process made is seen at the next
// read. Every write replaces the file atomically under a lock file, so concurrent writers never tear the file
// or lose each other's keys. A file that is missing, unreadable, not JSON or not a JSON object reads as an
// empty domain and is kept untouched until the next write, which first saves it beside itself as "*.corrupt".
// Handles are cheap values; two handles on the same file see the same data.
class UserDefaults {
public:
    explicit UserDefaults(QString filePath);

    // The application's own domain: $XDG_CONFIG_HOME/<application name>/defaults.json.
    static UserDefaults standard();
    // A named suite other processes of the user can open by the same name:
    // $XDG_CONFIG_HOME/<suite name>/defaults.json.
    static UserDefaults suite(const QString &name);

    QString filePath() const { return m_filePath; }

    // Whether any value, of any type, is stored under the key.
    bool contains(const QString &key) const;
    // A boolean as stored; a number is true when not zero; the strings "true", "yes" and non-zero numbers are
    // true; anything else, or nothing, is false.
    bool boolean(const QString &key) const;
    // An integer as stored; a boolean is 0 or 1, a number is truncated, a string is parsed; anything else is 0.
    qint64 integer(const QString &key) const;
    // A string as stored; numbers and booleans as their text ("1"/"0" for booleans); empty for anything else.
    std::optional<QString> string(const QString &key) const;
    // An array whose every element is a string; empty when absent, not an array, or holding anything else.
    std::optional<QStringList> stringArray(const QString &key) const;

    void setBoolean(const QString &key, bool value);
    void setInteger(const QString &key, qint64 value);
    void setString(const QString &key, const QString &value);
    void setStringArray(const QString &key, const QStringList &value);
    void remove(const QString &key);

    friend bool operator==(const UserDefaults &, const UserDefaults &) = default;

private:
    QString m_filePath;
};
