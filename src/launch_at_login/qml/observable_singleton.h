#pragma once

#include "launch_at_login/launch_at_login.h"

#include <QJSEngine>
#include <QQmlEngine>

// Offers the module's one Observable to QML as the singleton "Observable". The engines only borrow it.
struct ObservableSingleton {
    Q_GADGET
    QML_FOREIGN(LaunchAtLogin::Observable)
    QML_NAMED_ELEMENT(Observable)
    QML_SINGLETON
public:
    static LaunchAtLogin::Observable *create(QQmlEngine *, QJSEngine *)
    {
        LaunchAtLogin::Observable *instance = &LaunchAtLogin::observable();
        QJSEngine::setObjectOwnership(instance, QJSEngine::CppOwnership);
        return instance;
    }
};
