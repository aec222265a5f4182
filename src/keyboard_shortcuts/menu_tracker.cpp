#include "keyboard_shortcuts/menu_tracker.h"

#include <QMenu>

namespace KeyboardShortcuts {

MenuTracker::MenuTracker(std::function<void(bool isTracking)> onChange)
    : m_onChange(std::move(onChange)),
      m_monitor({QEvent::Show, QEvent::Hide},
                [this](QObject *receiver, QEvent *event) { return handle(receiver, event); })
{}

bool MenuTracker::handle(QObject *receiver, QEvent *event)
{
    auto *menu = qobject_cast<QMenu *>(receiver);
    if (!menu)
        return false;
    QObject *object = menu;
    if (event->type() == QEvent::Show && !m_openMenus.contains(object)) {
        m_openMenus.append(object);
        // A menu deleted while open is not hidden first, and QWidget reports destroyed() while QPointers to it
        // still hold it.
        QObject::connect(menu, &QObject::destroyed, &m_context, [this, object] {
            m_openMenus.removeAll(object);
            update();
        });
    } else if (event->type() == QEvent::Hide) {
        m_openMenus.removeAll(object);
        QObject::disconnect(menu, &QObject::destroyed, &m_context, nullptr);
    }
    update();
    return false;
}

void MenuTracker::update()
{
    m_openMenus.removeIf([](const QPointer<QObject> &menu) { return menu.isNull(); });
    if (isTracking() == m_wasTracking)
        return;
    m_wasTracking = isTracking();
    const auto onChange = m_onChange;
    onChange(m_wasTracking);
}

} // namespace KeyboardShortcuts
