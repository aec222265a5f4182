#include "keyboard_shortcuts/portal/portal_trigger.h"

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {

std::optional<QString> portalTrigger(Shortcut shortcut, const KeyNames &keyNames)
{
    const std::optional<QString> keysym = keyNames.keysymName(shortcut.key());
    if (!keysym)
        return std::nullopt;
    const std::pair<std::int64_t, QLatin1StringView> modifiers[] = {
        {CarbonModifier::command, "LOGO+"_L1},
        {CarbonModifier::control, "CTRL+"_L1},
        {CarbonModifier::option, "ALT+"_L1},
        {CarbonModifier::shift, "SHIFT+"_L1},
    };
    QString trigger;
    for (const auto &[bit, name] : modifiers) {
        if (shortcut.carbonModifiers & bit)
            trigger += name;
    }
    return trigger + *keysym;
}

QString portalToken(QStringView name)
{
    if (name.isEmpty())
        return u"shortcut"_s;
    QString token;
    token.reserve(name.size());
    for (const QChar character : name) {
        const bool isKept = (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z') ||
                            (character >= u'0' && character <= u'9') || character == u'_';
        token += isKept ? character : u'_';
    }
    return token;
}

} // namespace KeyboardShortcuts
