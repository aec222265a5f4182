#include "launch_at_login/publisher.h"

#include <map>
#include <utility>
#include <vector>

namespace LaunchAtLogin {

struct PublisherReceivers {
    std::uint64_t nextId = 1;
    std::map<std::uint64_t, std::function<void(bool)>> byId;
};

Publisher::Publisher(bool initial) : m_value(initial), m_receivers(std::make_shared<PublisherReceivers>()) {}

Subscription Publisher::subscribe(std::function<void(bool)> receiver)
{
    if (!receiver)
        return Subscription();
    const std::uint64_t id = m_receivers->nextId++;
    m_receivers->byId.emplace(id, receiver);
    receiver(m_value);
    return Subscription(m_receivers, id);
}

void Publisher::send(bool value)
{
    m_value = value;
    // A receiver may subscribe or end subscriptions, its own included, while it is being called.
    std::vector<std::uint64_t> ids;
    for (const auto &[id, receiver] : m_receivers->byId)
        ids.push_back(id);
    for (const std::uint64_t id : ids) {
        const auto found = m_receivers->byId.find(id);
        if (found == m_receivers->byId.end())
            continue;
        const auto receiver = found->second;
        receiver(value);
    }
}

Subscription::Subscription(Subscription &&other) noexcept
    : m_receivers(std::exchange(other.m_receivers, {})), m_id(std::exchange(other.m_id, 0))
{}

Subscription &Subscription::operator=(Subscription &&other) noexcept
{
    if (this != &other) {
        end();
        m_receivers = std::exchange(other.m_receivers, {});
        m_id = std::exchange(other.m_id, 0);
    }
    return *this;
}

Subscription::~Subscription()
{
    end();
}

bool Subscription::isActive() const
{
    const auto receivers = m_receivers.lock();
    return receivers && receivers->byId.contains(m_id);
}

void Subscription::end()
{
    if (const auto receivers = m_receivers.lock())
        receivers->byId.erase(m_id);
    m_receivers.reset();
}

} // namespace LaunchAtLogin
