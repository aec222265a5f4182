#pragma once

#include <QString>
#include <Qt>

class QAction;

// Menu key equivalents written the Linux way: "Super+Shift+2". The Command modifier of a key equivalent is the
// Super key (Qt::MetaModifier), Option is Alt, Control is Ctrl.
QString keyEquivalentText(const QString &key, Qt::KeyboardModifiers modifiers);

// Shows the key equivalent beside the item's title and makes it the item's shortcut inside a KeyEquivalentMenu;
// an empty key shows none. The key is one letter or digit.
void setKeyEquivalent(QAction *action, const QString &key, Qt::KeyboardModifiers modifiers);

// The item's title without its key equivalent.
QString menuTitle(const QAction *action);
