#pragma once

#include "launch_at_login/subscription.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace LaunchAtLogin {

// The launch-at-login state as a stream of values. A new subscriber gets the current value at once, then every
// value written through LaunchAtLogin::setEnabled, even one the system did not take. The shared instance is
// LaunchAtLogin::publisher(); it starts from the state read when it is first used. Main thread only.
class Publisher {
public:
    explicit Publisher(bool initial);
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;

    bool value() const { return m_value; }
    // An empty receiver subscribes nothing.
    Subscription subscribe(std::function<void(bool)> receiver);
    void send(bool value);

private:
    bool m_value;
    std::shared_ptr<PublisherReceivers> m_receivers;
};

} // namespace LaunchAtLogin
