#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace LaunchAtLogin {

// The contents of a desktop entry file (freedesktop Desktop Entry Specification). The keys of the "Desktop Entry"
// group can be read and changed; comments, the order of the lines and the other groups are written back as read.
class DesktopEntry {
public:
    // An entry with nothing but its group header.
    DesktopEntry() = default;

    // Empty when the text is no desktop entry: not UTF-8, a line that is neither a comment, a group header nor
    // Key=Value, a key outside any group, a group or a key given twice, or a first group other than
    // "Desktop Entry".
    [[nodiscard]] static std::optional<DesktopEntry> parse(const QByteArray &text);
    // The same for a file; also empty when it is missing, unreadable or too large to be an entry.
    [[nodiscard]] static std::optional<DesktopEntry> read(const QString &path);

    // A value of the "Desktop Entry" group with the string escapes (\s \n \t \r \\) undone.
    std::optional<QString> value(const QString &key) const;
    // "true" or "false" (or the older "1" and "0"); empty when absent or anything else.
    std::optional<bool> boolean(const QString &key) const;

    // Replaces the value in place, or adds the key after the group's last one.
    void setValue(const QString &key, const QString &value);
    void remove(const QString &key);

    QByteArray toByteArray() const;

private:
    struct Line {
        QString key;  // empty for comments and blank lines
        QString text; // the raw value, or the whole comment line
    };
    std::vector<Line>::iterator find(const QString &key);
    std::vector<Line>::const_iterator find(const QString &key) const;

    QStringList m_leadingComments;
    std::vector<Line> m_lines;
    QStringList m_otherGroups; // verbatim, headers included
};

// The program and arguments an Exec value (string escapes already undone) starts, by the quoting rules of
// freedesktop desktop entries, with "%%" read as "%" and other field codes kept. Empty when a quote is left open or
// there is no program.
std::optional<QStringList> splitExecValue(const QString &exec);

// An argument spelled for an Exec value: in double quotes when it holds a reserved character, with '"', '`', '$'
// and '\' escaped inside them, and '%' doubled so that it is not taken for a field code.
QString quoteExecArgument(const QString &argument);

} // namespace LaunchAtLogin
