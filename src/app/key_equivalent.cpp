#include "app/key_equivalent.h"

#include "keyboard_shortcuts/shortcut_text.h"

#include <QAction>
#include <QKeySequence>

QString keyEquivalentText(const QString &key, Qt::KeyboardModifiers modifiers)
{
    if (key.isEmpty())
        return {};
    // Written as the global shortcut is, so that the menu reads alike and recorders recognise its items.
    return KeyboardShortcuts::modifierWords(modifiers) + key.toUpper();
}

void setKeyEquivalent(QAction *action, const QString &key, Qt::KeyboardModifiers modifiers)
{
    // QMenu draws the text after a tab as the item's shortcut, right-aligned.
    const QString text = keyEquivalentText(key, modifiers);
    const QString title = menuTitle(action);
    action->setText(text.isEmpty() ? title : title + QLatin1Char('\t') + text);
    // Kept for KeyEquivalentMenu; in the widget's own context, so that it fires nowhere else.
    action->setShortcutContext(Qt::WidgetShortcut);
    action->setShortcut(key.isEmpty()
                            ? QKeySequence()
                            : QKeySequence(QKeyCombination(modifiers, Qt::Key(key.toUpper().at(0).unicode()))));
}

QString menuTitle(const QAction *action)
{
    return action->text().section(QLatin1Char('\t'), 0, 0);
}
