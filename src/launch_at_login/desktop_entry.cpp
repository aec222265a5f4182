#include "launch_at_login/desktop_entry.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QStringDecoder>

#include <algorithm>

namespace LaunchAtLogin {
namespace {

const QString mainGroup = QStringLiteral("Desktop Entry");
// Desktop entries are a few kilobytes; anything much larger is not one.
constexpr qint64 maximumFileSize = 1024 * 1024;

bool isValidKey(const QString &key)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9-]+(\\[[^\\[\\]=]+\\])?$"));
    return pattern.match(key).hasMatch();
}

std::optional<QString> groupName(const QString &line)
{
    if (!line.startsWith(QLatin1Char('[')) || !line.endsWith(QLatin1Char(']')) || line.size() < 3)
        return std::nullopt;
    const QString name = line.mid(1, line.size() - 2);
    if (name.contains(QLatin1Char('[')) || name.contains(QLatin1Char(']')))
        return std::nullopt;
    return name;
}

bool isComment(const QString &line)
{
    return line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#'));
}

QString unescaped(const QString &raw)
{
    QString text;
    text.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw.at(i);
        if (c != QLatin1Char('\\') || i + 1 == raw.size()) {
            text += c;
            continue;
        }
        switch (raw.at(i + 1).unicode()) {
        case 's':
            text += QLatin1Char(' ');
            break;
        case 'n':
            text += QLatin1Char('\n');
            break;
        case 't':
            text += QLatin1Char('\t');
            break;
        case 'r':
            text += QLatin1Char('\r');
            break;
        case '\\':
            text += QLatin1Char('\\');
            break;
        default: // not a string escape, e.g. "\;" in lists or "\"" in Exec: left for the value's own rules
            text += c;
            text += raw.at(i + 1);
        }
        ++i;
    }
    return text;
}

QString escaped(const QString &text)
{
    QString raw;
    raw.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\\'))
            raw += QStringLiteral("\\\\");
        else if (c == QLatin1Char('\n'))
            raw += QStringLiteral("\\n");
        else if (c == QLatin1Char('\t'))
            raw += QStringLiteral("\\t");
        else if (c == QLatin1Char('\r'))
            raw += QStringLiteral("\\r");
        else if (c == QLatin1Char(' ') && i == 0) // leading spaces of a value are not part of it
            raw += QStringLiteral("\\s");
        else
            raw += c;
    }
    return raw;
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::parse(const QByteArray &text)
{
    QStringDecoder decoder(QStringConverter::Utf8);
    const QString decoded = decoder(text);
    if (decoder.hasError())
        return std::nullopt;
    QStringList lines = decoded.split(QLatin1Char('\n'));
    if (lines.last().isEmpty())
        lines.removeLast();

    DesktopEntry entry;
    std::optional<QString> group;
    QSet<QString> groups;
    QSet<QString> keys;
    for (QString line : lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        if (isComment(line)) {
            if (!group)
                entry.m_leadingComments.append(line);
            else if (*group == mainGroup)
                entry.m_lines.push_back({QString(), line});
            else
                entry.m_otherGroups.append(line);
            continue;
        }
        if (const auto name = groupName(line)) {
            if ((!group && *name != mainGroup) || groups.contains(*name))
                return std::nullopt;
            groups.insert(*name);
            keys.clear();
            group = name;
            if (*name != mainGroup)
                entry.m_otherGroups.append(line);
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (!group || equals < 0)
            return std::nullopt;
        const QString key = line.left(equals).trimmed();
        if (!isValidKey(key) || keys.contains(key))
            return std::nullopt;
        keys.insert(key);
        if (*group == mainGroup) {
            QString value = line.mid(equals + 1);
            const auto firstNonSpace = std::find_if(value.cbegin(), value.cend(), [](QChar c) { return !c.isSpace(); });
            value.remove(0, firstNonSpace - value.cbegin());
            entry.m_lines.push_back({key, value});
        } else {
            entry.m_otherGroups.append(line);
        }
    }
    if (!group)
        return std::nullopt;
    return entry;
}

std::optional<DesktopEntry> DesktopEntry::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maximumFileSize)
        return std::nullopt;
    return parse(file.read(maximumFileSize + 1));
}

std::vector<DesktopEntry::Line>::iterator DesktopEntry::find(const QString &key)
{
    return std::find_if(m_lines.begin(), m_lines.end(), [&](const Line &line) { return line.key == key; });
}

std::vector<DesktopEntry::Line>::const_iterator DesktopEntry::find(const QString &key) const
{
    return std::find_if(m_lines.cbegin(), m_lines.cend(), [&](const Line &line) { return line.key == key; });
}

std::optional<QString> DesktopEntry::value(const QString &key) const
{
    const auto line = find(key);
    if (line == m_lines.cend())
        return std::nullopt;
    return unescaped(line->text);
}

std::optional<bool> DesktopEntry::boolean(const QString &key) const
{
    const auto text = value(key);
    if (text == u"true" || text == u"1")
        return true;
    if (text == u"false" || text == u"0")
        return false;
    return std::nullopt;
}

void DesktopEntry::setValue(const QString &key, const QString &value)
{
    if (const auto line = find(key); line != m_lines.end()) {
        line->text = escaped(value);
        return;
    }
    const auto lastKey = std::find_if(m_lines.rbegin(), m_lines.rend(), [](const Line &l) { return !l.key.isEmpty(); });
    m_lines.insert(lastKey.base(), {key, escaped(value)});
}

void DesktopEntry::remove(const QString &key)
{
    std::erase_if(m_lines, [&](const Line &line) { return line.key == key; });
}

QByteArray DesktopEntry::toByteArray() const
{
    QStringList lines = m_leadingComments;
    lines.append(QLatin1Char('[') + mainGroup + QLatin1Char(']'));
    for (const Line &line : m_lines)
        lines.append(line.key.isEmpty() ? line.text : line.key + QLatin1Char('=') + line.text);
    lines.append(m_otherGroups);
    return (lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
}

std::optional<QStringList> splitExecValue(const QString &exec)
{
    QStringList arguments;
    QString argument;
    bool inArgument = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        const bool hasNext = i + 1 < exec.size();
        if (quoted) {
            if (c == QLatin1Char('"')) {
                quoted = false;
            } else if (c == QLatin1Char('\\') && hasNext && QStringLiteral("\"`$\\").contains(exec.at(i + 1))) {
                argument += exec.at(++i);
            } else if (c == QLatin1Char('%') && hasNext && exec.at(i + 1) == QLatin1Char('%')) {
                argument += exec.at(++i);
            } else {
                argument += c;
            }
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (inArgument)
                arguments.append(argument);
            argument.clear();
            inArgument = false;
        } else {
            inArgument = true;
            if (c == QLatin1Char('"'))
                quoted = true;
            else if (c == QLatin1Char('%') && hasNext && exec.at(i + 1) == QLatin1Char('%'))
                argument += exec.at(++i);
            else
                argument += c;
        }
    }
    if (quoted)
        return std::nullopt;
    if (inArgument)
        arguments.append(argument);
    if (arguments.isEmpty() || arguments.first().isEmpty())
        return std::nullopt;
    return arguments;
}

QString quoteExecArgument(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString spelled = argument;
    spelled.replace(QLatin1Char('%'), QStringLiteral("%%"));
    const bool needsQuotes = argument.isEmpty() || std::any_of(argument.cbegin(), argument.cend(),
                                                               [](QChar c) { return reserved.contains(c); });
    if (!needsQuotes)
        return spelled;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : std::as_const(spelled)) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    return quoted + QLatin1Char('"');
}

} // namespace LaunchAtLogin
