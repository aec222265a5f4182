#include "keyboard_shortcuts/menu_binding.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/shortcut_text.h"

#include <QAction>

namespace KeyboardShortcuts {
namespace {

constexpr auto bindingObjectName = "KeyboardShortcuts_binding";
constexpr auto boundNameProperty = "name";

void showShortcut(QAction *action, const std::optional<Shortcut> &shortcut)
{
    const QString title = action->text().section(QLatin1Char('\t'), 0, 0);
    action->setText(shortcut ? title + QLatin1Char('\t') + displayText(*shortcut) : title);
}

} // namespace

void bindShortcut(QAction *action, const std::optional<Name> &name)
{
    if (!action)
        return;
    // The binding is a child of the action, so it ends with the action; its connection ends with it.
    delete action->findChild<QObject *>(QLatin1String(bindingObjectName), Qt::FindDirectChildrenOnly);
    if (!name) {
        showShortcut(action, std::nullopt);
        return;
    }
    showShortcut(action, storedShortcut(*name));
    auto *binding = new QObject(action);
    binding->setObjectName(QLatin1String(bindingObjectName));
    binding->setProperty(boundNameProperty, QVariant::fromValue(*name));
    QObject::connect(&notifications(), &ShortcutNotifications::shortcutByNameDidChange, binding,
                     [action, bound = *name](const Name &changed) {
                         if (changed == bound)
                             showShortcut(action, storedShortcut(bound));
                     });
}

std::optional<Name> boundName(const QAction &action)
{
    const QObject *binding = action.findChild<QObject *>(QLatin1String(bindingObjectName), Qt::FindDirectChildrenOnly);
    if (!binding)
        return std::nullopt;
    return binding->property(boundNameProperty).value<Name>();
}

} // namespace KeyboardShortcuts
