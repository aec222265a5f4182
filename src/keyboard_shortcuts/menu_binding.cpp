#include "keyboard_shortcuts/menu_binding.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/module_bundle.h"
#include "keyboard_shortcuts/shortcut_center.h"
#include "keyboard_shortcuts/shortcut_text.h"

#include <QAction>

namespace KeyboardShortcuts {
namespace {

constexpr auto bindingObjectName = "KeyboardShortcuts_binding";
constexpr auto boundNameProperty = "name";

// A key equivalent that does nothing would mislead, so a hot key another program took shows none; the tool tip
// and status tip say why, and that it comes back by itself.
void showShortcut(QAction *action, const std::optional<Name> &name)
{
    const QString title = action->text().section(QLatin1Char('\t'), 0, 0);
    const std::optional<Shortcut> shortcut = name ? storedShortcut(*name) : std::nullopt;
    const bool isTaken = shortcut && center().isHotKeyTaken(*name);
    const QString note =
        isTaken ? localized("keyboard_shortcut_taken_by_other_program").arg(displayText(*shortcut)) : QString();
    action->setText(shortcut && !isTaken ? title + QLatin1Char('\t') + displayText(*shortcut) : title);
    action->setToolTip(note);
    action->setStatusTip(note);
}

} // namespace

void bindShortcut(QAction *action, const std::optional<Name> &name)
{
    if (!action)
        return;
    // The binding is a child of the action, so it ends with the action; its connections end with it.
    delete action->findChild<QObject *>(QLatin1String(bindingObjectName), Qt::FindDirectChildrenOnly);
    showShortcut(action, name);
    if (!name)
        return;
    auto *binding = new QObject(action);
    binding->setObjectName(QLatin1String(bindingObjectName));
    binding->setProperty(boundNameProperty, QVariant::fromValue(*name));
    const auto refresh = [action, bound = *name](const Name &changed) {
        if (changed == bound)
            showShortcut(action, bound);
    };
    QObject::connect(&notifications(), &ShortcutNotifications::shortcutByNameDidChange, binding, refresh);
    QObject::connect(&notifications(), &ShortcutNotifications::hotKeyRegistrationDidChange, binding, refresh);
}

std::optional<Name> boundName(const QAction &action)
{
    const QObject *binding = action.findChild<QObject *>(QLatin1String(bindingObjectName), Qt::FindDirectChildrenOnly);
    if (!binding)
        return std::nullopt;
    return binding->property(boundNameProperty).value<Name>();
}

} // namespace KeyboardShortcuts
