#include "keyboard_shortcuts/key_names.h"

#include "keyboard_shortcuts/keyboard_layout.h"

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {
namespace {

// A key that types nothing, or whose name does not depend on the layout.
struct NamedKey {
    Key key;
    QLatin1StringView keysym;
    QKeyCombination qtKey;
};

// Apple's Help key sits where PC keyboards have Insert (scan_codes.cpp). Qt marks keypad keys with the keypad
// modifier. Print, Pause and the like have no Key and so are missing.
const std::array namedKeys = std::to_array<NamedKey>({
    {Key::returnKey, "Return"_L1, Qt::Key_Return},
    {Key::tab, "Tab"_L1, Qt::Key_Tab},
    {Key::space, "space"_L1, Qt::Key_Space},
    {Key::deleteKey, "BackSpace"_L1, Qt::Key_Backspace},
    {Key::escape, "Escape"_L1, Qt::Key_Escape},
    {Key::help, "Insert"_L1, Qt::Key_Insert},
    {Key::deleteForward, "Delete"_L1, Qt::Key_Delete},
    {Key::home, "Home"_L1, Qt::Key_Home},
    {Key::end, "End"_L1, Qt::Key_End},
    {Key::pageUp, "Page_Up"_L1, Qt::Key_PageUp},
    {Key::pageUp, "Prior"_L1, Qt::Key_PageUp},
    {Key::pageDown, "Page_Down"_L1, Qt::Key_PageDown},
    {Key::pageDown, "Next"_L1, Qt::Key_PageDown},
    {Key::leftArrow, "Left"_L1, Qt::Key_Left},
    {Key::rightArrow, "Right"_L1, Qt::Key_Right},
    {Key::upArrow, "Up"_L1, Qt::Key_Up},
    {Key::downArrow, "Down"_L1, Qt::Key_Down},
    {Key::mute, "XF86AudioMute"_L1, Qt::Key_VolumeMute},
    {Key::volumeDown, "XF86AudioLowerVolume"_L1, Qt::Key_VolumeDown},
    {Key::volumeUp, "XF86AudioRaiseVolume"_L1, Qt::Key_VolumeUp},
    {Key::f1, "F1"_L1, Qt::Key_F1},
    {Key::f2, "F2"_L1, Qt::Key_F2},
    {Key::f3, "F3"_L1, Qt::Key_F3},
    {Key::f4, "F4"_L1, Qt::Key_F4},
    {Key::f5, "F5"_L1, Qt::Key_F5},
    {Key::f6, "F6"_L1, Qt::Key_F6},
    {Key::f7, "F7"_L1, Qt::Key_F7},
    {Key::f8, "F8"_L1, Qt::Key_F8},
    {Key::f9, "F9"_L1, Qt::Key_F9},
    {Key::f10, "F10"_L1, Qt::Key_F10},
    {Key::f11, "F11"_L1, Qt::Key_F11},
    {Key::f12, "F12"_L1, Qt::Key_F12},
    {Key::f13, "F13"_L1, Qt::Key_F13},
    {Key::f14, "F14"_L1, Qt::Key_F14},
    {Key::f15, "F15"_L1, Qt::Key_F15},
    {Key::f16, "F16"_L1, Qt::Key_F16},
    {Key::f17, "F17"_L1, Qt::Key_F17},
    {Key::f18, "F18"_L1, Qt::Key_F18},
    {Key::f19, "F19"_L1, Qt::Key_F19},
    {Key::f20, "F20"_L1, Qt::Key_F20},
    {Key::keypad0, "KP_0"_L1, Qt::KeypadModifier | Qt::Key_0},
    {Key::keypad1, "KP_1"_L1, Qt::KeypadModifier | Qt::Key_1},
    {Key::keypad2, "KP_2"_L1, Qt::KeypadModifier | Qt::Key_2},
    {Key::keypad3, "KP_3"_L1, Qt::KeypadModifier | Qt::Key_3},
    {Key::keypad4, "KP_4"_L1, Qt::KeypadModifier | Qt::Key_4},
    {Key::keypad5, "KP_5"_L1, Qt::KeypadModifier | Qt::Key_5},
    {Key::keypad6, "KP_6"_L1, Qt::KeypadModifier | Qt::Key_6},
    {Key::keypad7, "KP_7"_L1, Qt::KeypadModifier | Qt::Key_7},
    {Key::keypad8, "KP_8"_L1, Qt::KeypadModifier | Qt::Key_8},
    {Key::keypad9, "KP_9"_L1, Qt::KeypadModifier | Qt::Key_9},
    {Key::keypadDecimal, "KP_Decimal"_L1, Qt::KeypadModifier | Qt::Key_Period},
    {Key::keypadDivide, "KP_Divide"_L1, Qt::KeypadModifier | Qt::Key_Slash},
    {Key::keypadMultiply, "KP_Multiply"_L1, Qt::KeypadModifier | Qt::Key_Asterisk},
    {Key::keypadMinus, "KP_Subtract"_L1, Qt::KeypadModifier | Qt::Key_Minus},
    {Key::keypadPlus, "KP_Add"_L1, Qt::KeypadModifier | Qt::Key_Plus},
    {Key::keypadEquals, "KP_Equal"_L1, Qt::KeypadModifier | Qt::Key_Equal},
    {Key::keypadEnter, "KP_Enter"_L1, Qt::KeypadModifier | Qt::Key_Enter},
    {Key::keypadEnter, "KP_Enter"_L1, Qt::Key_Enter}, // Qt's Enter is the keypad's, marked or not
});

struct CharacterName {
    QLatin1StringView keysym;
    char16_t character;
};

// The keysym names of printable characters other than letters and digits (which are their own names): ASCII, and
// the Latin-1 letters and signs that European layouts type without Shift.
const std::array characterNames = std::to_array<CharacterName>({
    {"exclam"_L1, u'!'},      {"quotedbl"_L1, u'"'},     {"numbersign"_L1, u'#'},  {"dollar"_L1, u'$'},
    {"percent"_L1, u'%'},     {"ampersand"_L1, u'&'},    {"apostrophe"_L1, u'\''}, {"quoteright"_L1, u'\''},
    {"parenleft"_L1, u'('},   {"parenright"_L1, u')'},   {"asterisk"_L1, u'*'},    {"plus"_L1, u'+'},
    {"comma"_L1, u','},       {"minus"_L1, u'-'},        {"period"_L1, u'.'},      {"slash"_L1, u'/'},
    {"colon"_L1, u':'},       {"semicolon"_L1, u';'},    {"less"_L1, u'<'},        {"equal"_L1, u'='},
    {"greater"_L1, u'>'},     {"question"_L1, u'?'},     {"at"_L1, u'@'},          {"bracketleft"_L1, u'['},
    {"backslash"_L1, u'\\'},  {"bracketright"_L1, u']'}, {"asciicircum"_L1, u'^'}, {"underscore"_L1, u'_'},
    {"grave"_L1, u'`'},       {"quoteleft"_L1, u'`'},    {"braceleft"_L1, u'{'},   {"bar"_L1, u'|'},
    {"braceright"_L1, u'}'},  {"asciitilde"_L1, u'~'},   {"exclamdown"_L1, u'¡'},  {"section"_L1, u'§'},
    {"degree"_L1, u'°'},      {"twosuperior"_L1, u'²'},  {"acute"_L1, u'´'},       {"masculine"_L1, u'º'},
    {"agrave"_L1, u'à'},      {"aacute"_L1, u'á'},       {"acircumflex"_L1, u'â'}, {"adiaeresis"_L1, u'ä'},
    {"aring"_L1, u'å'},       {"ae"_L1, u'æ'},           {"ccedilla"_L1, u'ç'},    {"egrave"_L1, u'è'},
    {"eacute"_L1, u'é'},      {"ecircumflex"_L1, u'ê'},  {"ediaeresis"_L1, u'ë'},  {"igrave"_L1, u'ì'},
    {"iacute"_L1, u'í'},      {"ntilde"_L1, u'ñ'},       {"ograve"_L1, u'ò'},      {"oacute"_L1, u'ó'},
    {"ocircumflex"_L1, u'ô'}, {"odiaeresis"_L1, u'ö'},   {"oslash"_L1, u'ø'},      {"ugrave"_L1, u'ù'},
    {"uacute"_L1, u'ú'},      {"udiaeresis"_L1, u'ü'},   {"ssharp"_L1, u'ß'},
});

struct ModifierName {
    QLatin1StringView name;
    std::int64_t carbonBit;
};

const std::array modifierNames = std::to_array<ModifierName>({
    {"Shift"_L1, CarbonModifier::shift},
    {"Shft"_L1, CarbonModifier::shift},
    {"Control"_L1, CarbonModifier::control},
    {"Ctrl"_L1, CarbonModifier::control},
    {"Ctl"_L1, CarbonModifier::control},
    {"Primary"_L1, CarbonModifier::control},
    {"Alt"_L1, CarbonModifier::option},
    {"Mod1"_L1, CarbonModifier::option},
    {"Meta"_L1, CarbonModifier::option},
    {"Super"_L1, CarbonModifier::command},
    {"Mod4"_L1, CarbonModifier::command},
});

std::optional<std::int64_t> modifierBit(QStringView name)
{
    const auto found = std::ranges::find_if(
        modifierNames, [&](const ModifierName &entry) { return name.compare(entry.name, Qt::CaseInsensitive) == 0; });
    return found == modifierNames.end() ? std::nullopt : std::optional(found->carbonBit);
}

bool isPrintable(char32_t character)
{
    return character >= 0x20 && character < 0x110000 && character != 0x7f &&
           !(character >= 0xd800 && character < 0xe000);
}

// The character a keysym name stands for, lower-cased as GTK does with the keys of accelerators.
std::optional<QString> characterOf(QStringView name)
{
    if (name.size() == 1 && name.front().isLetterOrNumber() && name.front().unicode() < 0x80)
        return name.toString().toLower();
    const auto named =
        std::ranges::find_if(characterNames, [&](const CharacterName &entry) { return entry.keysym == name; });
    if (named != characterNames.end())
        return QString(QChar(named->character));
    // Upper-case Latin-1 letters are named like their lower-case ones with capitals: Adiaeresis, AE, Oslash.
    const QString lowered = name.toString().toLower();
    const auto letter =
        std::ranges::find_if(characterNames, [&](const CharacterName &entry) { return entry.keysym == lowered; });
    if (letter != characterNames.end() && QChar(letter->character).isLetter())
        return QString(QChar(letter->character));
    // Any Unicode character can be named by its code point: U00FC.
    if (name.size() >= 5 && name.size() <= 7 && name.front() == u'U') {
        bool isHex = false;
        const uint codePoint = name.sliced(1).toUInt(&isHex, 16);
        const char32_t character = codePoint;
        if (isHex && isPrintable(character))
            return QString::fromUcs4(&character, 1).toLower();
    }
    return std::nullopt;
}

} // namespace

KeyNames::KeyNames(const KeyboardLayout &layout) : m_keysByText(layout.keysByText())
{
    for (auto entry = m_keysByText.cbegin(); entry != m_keysByText.cend(); ++entry)
        m_textsByKey.insert(entry.value().rawValue, entry.key());
    static const QHash<QString, Key> usKeys = makeUsKeyboardLayout()->keysByText();
    for (auto entry = usKeys.cbegin(); entry != usKeys.cend(); ++entry) {
        if (!m_keysByText.contains(entry.key()))
            m_keysByText.insert(entry.key(), entry.value());
        if (!m_textsByKey.contains(entry.value().rawValue))
            m_textsByKey.insert(entry.value().rawValue, entry.key());
    }
}

std::optional<Key> KeyNames::keyForKeysym(QStringView name) const
{
    const auto named = std::ranges::find_if(namedKeys, [&](const NamedKey &entry) { return entry.keysym == name; });
    if (named != namedKeys.end())
        return named->key;
    const std::optional<QString> character = characterOf(name);
    return character ? keyTyping(*character) : std::nullopt;
}

std::optional<Shortcut> KeyNames::fromAccelerator(QStringView accelerator) const
{
    std::int64_t modifiers = 0;
    QStringView rest = accelerator;
    while (rest.startsWith(u'<')) {
        const qsizetype end = rest.indexOf(u'>');
        if (end < 0)
            return std::nullopt;
        const std::optional<std::int64_t> bit = modifierBit(rest.sliced(1, end - 1));
        if (!bit)
            return std::nullopt;
        modifiers |= *bit;
        rest = rest.sliced(end + 1);
    }
    const std::optional<Key> key = keyForKeysym(rest);
    if (!key)
        return std::nullopt;
    return Shortcut::normalized(key->rawValue, modifiers);
}

std::optional<Shortcut> KeyNames::fromQtKey(QKeyCombination combination) const
{
    const Qt::KeyboardModifiers modifiers = combination.keyboardModifiers();
    const QKeyCombination keyOnly(modifiers & Qt::KeypadModifier, combination.key());
    std::optional<Key> key;
    const auto named = std::ranges::find_if(namedKeys, [&](const NamedKey &entry) { return entry.qtKey == keyOnly; });
    if (named != namedKeys.end()) {
        key = named->key;
    } else if (!(modifiers & Qt::KeypadModifier)) {
        // Below Qt::Key_Escape a Qt key is the Unicode character it types, letters in upper case.
        const auto character = static_cast<char32_t>(combination.key());
        if (character < char32_t(Qt::Key_Escape) && isPrintable(character))
            key = keyTyping(QString::fromUcs4(&character, 1).toLower());
    }
    if (!key)
        return std::nullopt;
    return Shortcut::normalized(key->rawValue, carbonValue(modifiers));
}

std::optional<QString> KeyNames::keysymName(Key key) const
{
    // The table's first name of a key is the usual one: Page_Up before Prior.
    const auto named = std::ranges::find(namedKeys, key, &NamedKey::key);
    if (named != namedKeys.end())
        return QString(named->keysym);
    const auto typed = m_textsByKey.constFind(key.rawValue);
    if (typed == m_textsByKey.cend())
        return std::nullopt;
    const QString text = typed->toLower();
    if (text.size() == 1) {
        const QChar character = text.front();
        if (character.unicode() < 0x80 && character.isLetterOrNumber())
            return text;
        const auto spelled = std::ranges::find(characterNames, character.unicode(), &CharacterName::character);
        if (spelled != characterNames.end())
            return QString(spelled->keysym);
    }
    const QList<uint> characters = text.toUcs4();
    if (characters.size() != 1)
        return std::nullopt; // a key that types a string has no keysym
    return u"U"_s + QString::number(characters.front(), 16).toUpper().rightJustified(4, u'0');
}

std::optional<QString> KeyNames::toAccelerator(Shortcut shortcut) const
{
    const std::optional<QString> keysym = keysymName(shortcut.key());
    if (!keysym)
        return std::nullopt;
    QString accelerator;
    const std::pair<std::int64_t, QLatin1StringView> modifiers[] = {
        {CarbonModifier::command, "<Super>"_L1},
        {CarbonModifier::control, "<Control>"_L1},
        {CarbonModifier::option, "<Alt>"_L1},
        {CarbonModifier::shift, "<Shift>"_L1},
    };
    for (const auto &[bit, name] : modifiers) {
        if (shortcut.carbonModifiers & bit)
            accelerator += name;
    }
    return accelerator + *keysym;
}

std::optional<Key> KeyNames::keyTyping(const QString &text) const
{
    const auto found = m_keysByText.constFind(text);
    return found == m_keysByText.cend() ? std::nullopt : std::optional(*found);
}

} // namespace KeyboardShortcuts
