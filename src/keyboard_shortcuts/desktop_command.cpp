#include "keyboard_shortcuts/desktop_command.h"

namespace KeyboardShortcuts {
namespace {

bool needsQuotes(const QString &argument)
{
    if (argument.isEmpty())
        return true;
    for (const QChar character : argument) {
        const char16_t code = character.unicode();
        const bool plain = (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z') ||
                           (code >= u'0' && code <= u'9') || QStringView(u"-_./:+,@%").contains(character);
        if (!plain)
            return true;
    }
    return false;
}

} // namespace

QString DesktopCommand::commandLine() const
{
    QStringList quoted;
    for (const QString &argument : arguments) {
        if (!needsQuotes(argument)) {
            quoted.append(argument);
            continue;
        }
        // Inside single quotes nothing is special; a quote itself ends them, is escaped, and opens them again.
        QString text = argument;
        text.replace(QStringLiteral("'"), QStringLiteral("'\\''"));
        quoted.append(u'\'' + text + u'\'');
    }
    return quoted.join(u' ');
}

} // namespace KeyboardShortcuts
