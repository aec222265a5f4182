#include "app/key_equivalent_menu.h"

#include <QAction>
#include <QKeyEvent>

void KeyEquivalentMenu::keyPressEvent(QKeyEvent *event)
{
    const QKeySequence pressed(event->keyCombination());
    for (QAction *action : actions()) {
        if (action->isEnabled() && !action->shortcut().isEmpty() && action->shortcut() == pressed) {
            // Activate as Return would, so that every open menu closes the usual way.
            setActiveAction(action);
            QKeyEvent activate(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
            QMenu::keyPressEvent(&activate);
            return;
        }
    }
    QMenu::keyPressEvent(event);
}
