#include "keyboard_shortcuts/menu_item_lookup.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/menu_binding.h"
#include "keyboard_shortcuts/shortcut_text.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>

namespace KeyboardShortcuts {
namespace {

struct KeyEquivalent {
    QString key;
    Qt::KeyboardModifiers modifiers;
};

// "Super+Shift+2", "Ctrl++" or "Meta+Q": modifier words in any order, then the key's text.
std::optional<KeyEquivalent> parseKeyEquivalent(QStringView text)
{
    KeyEquivalent equivalent;
    qsizetype start = 0;
    while (start < text.size()) {
        const qsizetype plus = text.indexOf(QLatin1Char('+'), start + 1); // a leading "+" is the key itself
        if (plus < 0)
            break;
        const std::optional<Qt::KeyboardModifier> modifier = modifierForWord(text.mid(start, plus - start));
        if (!modifier)
            return std::nullopt;
        equivalent.modifiers |= *modifier;
        start = plus + 1;
    }
    equivalent.key = text.mid(start).toString();
    if (equivalent.key.isEmpty())
        return std::nullopt;
    return equivalent;
}

std::optional<KeyEquivalent> keyEquivalent(const QAction &item)
{
    const QString drawn = item.text().section(QLatin1Char('\t'), 1);
    if (!drawn.isEmpty())
        return parseKeyEquivalent(drawn);
    if (item.shortcut().isEmpty())
        return std::nullopt;
    return parseKeyEquivalent(QKeySequence(item.shortcut()[0]).toString(QKeySequence::PortableText));
}

bool matches(const QAction &item, Shortcut shortcut, const QString &keyText)
{
    const std::optional<KeyEquivalent> equivalent = keyEquivalent(item);
    return equivalent && equivalent->modifiers == shortcut.modifiers() &&
           equivalent->key.compare(keyText, Qt::CaseInsensitive) == 0;
}

struct Search {
    Shortcut shortcut;
    QString keyText;
    std::optional<Name> recorded;
};

QAction *find(const QMenu &menu, const Search &search)
{
    for (QAction *item : menu.actions()) {
        if (item->isSeparator())
            continue;
        if (matches(*item, search.shortcut, search.keyText) &&
            (!search.recorded || boundName(*item) != search.recorded))
            return item;
        if (const QMenu *submenu = item->menu()) {
            if (QAction *found = find(*submenu, search))
                return found;
        }
    }
    return nullptr;
}

} // namespace

QAction *menuItem(Shortcut shortcut, const QMenu &menu, const KeyboardLayout &layout,
                  const std::optional<Name> &recorded)
{
    const std::optional<QString> text = keyText(shortcut.carbonKeyCode, layout);
    if (!text)
        return nullptr;
    return find(menu, {shortcut, *text, recorded});
}

QAction *menuItem(Shortcut shortcut, const QMenu &menu, const std::optional<Name> &recorded)
{
    return menuItem(shortcut, menu, keyboardLayout(), recorded);
}

QString menuItemTitle(const QAction &item)
{
    const QString title = item.text().section(QLatin1Char('\t'), 0, 0);
    QString plain;
    plain.reserve(title.size());
    for (qsizetype i = 0; i < title.size(); ++i) {
        // "&&" is a literal ampersand; a lone "&" marks the next letter as the mnemonic.
        if (title[i] == QLatin1Char('&') && ++i == title.size())
            break;
        plain += title[i];
    }
    return plain;
}

} // namespace KeyboardShortcuts
