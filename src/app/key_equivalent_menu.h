#pragma once

#include <QMenu>

// A menu whose items' key equivalents work while it is open, as a person expects of a menu that shows them:
// Super+Q in the open tray menu quits, Super+1 copies the newest history entry.
class KeyEquivalentMenu : public QMenu {
    Q_OBJECT
public:
    using QMenu::QMenu;

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
