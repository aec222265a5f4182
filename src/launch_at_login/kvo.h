#pragma once

#include <QObject>

namespace LaunchAtLogin {

class KVO;
KVO &kvo();

// The launch-at-login state as a property for two-way bindings of widgets: every write through the module
// announces isEnabledWillChange before it reaches the system and isEnabledChanged after, with the state as then
// read. The one instance is LaunchAtLogin::kvo(), made on first use and kept until the process ends.
class KVO : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setIsEnabled NOTIFY isEnabledChanged)
public:
    bool isEnabled() const;
    void setIsEnabled(bool enabled);

Q_SIGNALS:
    void isEnabledWillChange();
    void isEnabledChanged(bool isEnabled);

private:
    friend KVO &kvo();
    KVO() = default;
};

} // namespace LaunchAtLogin
