#include "app/key_equivalent.h"

#include <QAction>
#include <QKeySequence>
#include <QStringList>

QString keyEquivalentText(const QString &key, Qt::KeyboardModifiers modifiers)
{
    if (key.isEmpty())
        return {};
    QStringList parts;
    if (modifiers & Qt::MetaModifier)
        parts << QStringLiteral("Super");
    if (modifiers & Qt::ControlModifier)
        parts << QStringLiteral("Ctrl");
    if (modifiers & Qt::AltModifier)
        parts << QStringLiteral("Alt");
    if (modifiers & Qt::ShiftModifier)
        parts << QStringLiteral("Shift");
    parts << key.toUpper();
    return parts.join(QLatin1Char('+'));
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
