#pragma once

#include <cstdint>
#include <memory>

namespace LaunchAtLogin {

struct PublisherReceivers;

// A receiver's subscription to the Publisher: values are delivered until the handle is dropped. A handle that
// outlives its publisher ends nothing.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    Subscription(Subscription &&other) noexcept;
    Subscription &operator=(Subscription &&other) noexcept;
    ~Subscription();
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;

    bool isActive() const;

private:
    friend class Publisher;
    Subscription(std::weak_ptr<PublisherReceivers> receivers, std::uint64_t id)
        : m_receivers(std::move(receivers)), m_id(id)
    {}
    void end();

    std::weak_ptr<PublisherReceivers> m_receivers;
    std::uint64_t m_id = 0;
};

} // namespace LaunchAtLogin
