#pragma once

#include <QEvent>
#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

class QCoreApplication;

namespace KeyboardShortcuts {

// Sees events of chosen types before their receivers do, application-wide: an event filter on the application
// object, installed by the constructor and removed by the destructor. Without an application it sees nothing.
class LocalEventMonitor final : public QObject {
public:
    // Returns true to swallow the event, false to let it go on unchanged.
    using Callback = std::function<bool(QObject *receiver, QEvent *event)>;

    LocalEventMonitor(QList<QEvent::Type> types, Callback callback);
    ~LocalEventMonitor() override;

protected:
    bool eventFilter(QObject *receiver, QEvent *event) override;

private:
    QList<QEvent::Type> m_types;
    Callback m_callback;
    QPointer<QCoreApplication> m_application;
};

} // namespace KeyboardShortcuts
