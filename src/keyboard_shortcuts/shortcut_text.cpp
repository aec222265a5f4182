#include "keyboard_shortcuts/shortcut_text.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"

#include <QHash>

namespace KeyboardShortcuts {
namespace {

const QHash<std::int64_t, QString> &fixedTexts()
{
    static const QHash<std::int64_t, QString> texts = [] {
        QHash<std::int64_t, QString> table{
            {Key::returnKey.rawValue, u"\u21A9"_qs},
            {Key::deleteKey.rawValue, u"\u232B"_qs},
            {Key::deleteForward.rawValue, u"\u2326"_qs},
            {Key::end.rawValue, u"\u2198"_qs},
            {Key::escape.rawValue, u"\u238B"_qs},
            {Key::help.rawValue, u"?\u20DD"_qs},
            {Key::home.rawValue, u"\u2196"_qs},
            {Key::space.rawValue, u"\u23B5"_qs},
            {Key::tab.rawValue, u"\u21E5"_qs},
            {Key::pageUp.rawValue, u"\u21DE"_qs},
            {Key::pageDown.rawValue, u"\u21DF"_qs},
            {Key::upArrow.rawValue, u"\u2191"_qs},
            {Key::rightArrow.rawValue, u"\u2192"_qs},
            {Key::downArrow.rawValue, u"\u2193"_qs},
            {Key::leftArrow.rawValue, u"\u2190"_qs},
            {Key::keypadClear.rawValue, u"\u2612\u20E3"_qs},
            {Key::keypadDecimal.rawValue, u".\u20E3"_qs},
            {Key::keypadDivide.rawValue, u"/\u20E3"_qs},
            {Key::keypadEnter.rawValue, u"\u21A9\u20E3"_qs},
            {Key::keypadEquals.rawValue, u"=\u20E3"_qs},
            {Key::keypadMinus.rawValue, u"-\u20E3"_qs},
            {Key::keypadMultiply.rawValue, u"*\u20E3"_qs},
            {Key::keypadPlus.rawValue, u"+\u20E3"_qs},
        };
        const Key functionKeys[] = {Key::f1,  Key::f2,  Key::f3,  Key::f4,  Key::f5,  Key::f6,  Key::f7,
                                    Key::f8,  Key::f9,  Key::f10, Key::f11, Key::f12, Key::f13, Key::f14,
                                    Key::f15, Key::f16, Key::f17, Key::f18, Key::f19, Key::f20};
        for (int index = 0; index < 20; ++index)
            table.insert(functionKeys[index].rawValue, u"F"_qs + QString::number(index + 1));
        const Key keypadDigits[] = {Key::keypad0, Key::keypad1, Key::keypad2, Key::keypad3, Key::keypad4,
                                    Key::keypad5, Key::keypad6, Key::keypad7, Key::keypad8, Key::keypad9};
        for (int digit = 0; digit < 10; ++digit)
            table.insert(keypadDigits[digit].rawValue, QString::number(digit) + QChar(0x20E3));
        return table;
    }();
    return texts;
}

struct ModifierWord {
    Qt::KeyboardModifier modifier;
    QLatin1StringView word;
};
// In the order in which they are written.
constexpr ModifierWord modifierWordTable[] = {{Qt::MetaModifier, QLatin1StringView("Super")},
                                              {Qt::ControlModifier, QLatin1StringView("Ctrl")},
                                              {Qt::AltModifier, QLatin1StringView("Alt")},
                                              {Qt::ShiftModifier, QLatin1StringView("Shift")}};

QString keyPart(Shortcut shortcut, const KeyboardLayout &layout)
{
    const std::optional<QString> text = keyText(shortcut.carbonKeyCode, layout);
    return text ? text->toUpper() : QString(QChar::ReplacementCharacter);
}

} // namespace

std::optional<QString> fixedKeyText(std::int64_t keyCode)
{
    const auto found = fixedTexts().constFind(keyCode);
    if (found == fixedTexts().cend())
        return std::nullopt;
    return *found;
}

std::optional<QString> keyText(std::int64_t keyCode, const KeyboardLayout &layout)
{
    if (std::optional<QString> fixed = fixedKeyText(keyCode))
        return fixed;
    return layout.keyText(Key{keyCode});
}

std::optional<QString> keyText(std::int64_t keyCode)
{
    return keyText(keyCode, keyboardLayout());
}

QString modifierSymbols(Qt::KeyboardModifiers modifiers)
{
    QString symbols;
    if (modifiers & Qt::ControlModifier)
        symbols += u"\u2303"_qs;
    if (modifiers & Qt::AltModifier)
        symbols += u"\u2325"_qs;
    if (modifiers & Qt::ShiftModifier)
        symbols += u"\u21E7"_qs;
    if (modifiers & Qt::MetaModifier)
        symbols += u"\u2318"_qs;
    return symbols;
}

QString modifierWords(Qt::KeyboardModifiers modifiers)
{
    QString words;
    for (const auto &[modifier, word] : modifierWordTable) {
        if (modifiers & modifier)
            words += word + QLatin1Char('+');
    }
    return words;
}

std::optional<Qt::KeyboardModifier> modifierForWord(QStringView word)
{
    for (const auto &[modifier, name] : modifierWordTable) {
        if (word.compare(name, Qt::CaseInsensitive) == 0)
            return modifier;
    }
    if (word.compare(QLatin1StringView("Meta"), Qt::CaseInsensitive) == 0)
        return Qt::MetaModifier;
    if (word.compare(QLatin1StringView("Control"), Qt::CaseInsensitive) == 0)
        return Qt::ControlModifier;
    return std::nullopt;
}

QString displayText(Shortcut shortcut, const KeyboardLayout &layout)
{
    return modifierWords(shortcut.modifiers()) + keyPart(shortcut, layout);
}

QString displayText(Shortcut shortcut)
{
    return displayText(shortcut, keyboardLayout());
}

QString symbolText(Shortcut shortcut, const KeyboardLayout &layout)
{
    return modifierSymbols(shortcut.modifiers()) + keyPart(shortcut, layout);
}

} // namespace KeyboardShortcuts
