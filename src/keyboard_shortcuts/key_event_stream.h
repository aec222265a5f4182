#pragma once

#include <cstdint>
#include <memory>

namespace KeyboardShortcuts {

class ShortcutCenter;

// A subscription to the key events of a name (ShortcutCenter::keyEvents, keySignals). The stream ends when the
// handle is dropped; a handle that outlives its center ends nothing.
class KeyEventStream {
public:
    KeyEventStream() = default;
    KeyEventStream(KeyEventStream &&other) noexcept;
    KeyEventStream &operator=(KeyEventStream &&other) noexcept;
    ~KeyEventStream();

    bool isActive() const { return !m_center.expired(); }

private:
    friend class ShortcutCenter;
    KeyEventStream(std::weak_ptr<ShortcutCenter *> center, std::uint64_t id) : m_center(std::move(center)), m_id(id) {}
    void end();

    std::weak_ptr<ShortcutCenter *> m_center;
    std::uint64_t m_id = 0;
};

} // namespace KeyboardShortcuts
