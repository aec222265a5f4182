#pragma once

#include <QObject>

namespace LaunchAtLogin {

class Observable;
Observable &observable();

// The launch-at-login state for QML: the QML module LaunchAtLogin offers the one instance,
// LaunchAtLogin::observable(), as its singleton "Observable", which its Toggle binds to. Announces like KVO.
class Observable : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setIsEnabled NOTIFY isEnabledChanged)
public:
    bool isEnabled() const;
    void setIsEnabled(bool enabled);

Q_SIGNALS:
    void isEnabledWillChange();
    void isEnabledChanged(bool isEnabled);

private:
    friend Observable &observable();
    Observable() = default;
};

} // namespace LaunchAtLogin
