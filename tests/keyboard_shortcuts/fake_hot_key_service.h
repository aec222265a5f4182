#pragma once

#include "keyboard_shortcuts/hot_key_service.h"

#include <QList>
#include <QSet>

#include <map>

// Records grabs and lets a test press and release them as the X server would.
class FakeHotKeyService final : public KeyboardShortcuts::HotKeyService {
public:
    std::unique_ptr<KeyboardShortcuts::HotKeyGrab> grab(KeyboardShortcuts::Shortcut shortcut,
                                                        KeyboardShortcuts::HotKeyHandlers handlers) override
    {
        ++m_attempts;
        if (m_taken.contains(shortcut))
            return nullptr;
        const int id = ++m_lastGrab;
        m_grabs.emplace(id, Entry{shortcut, std::move(handlers)});
        return std::make_unique<Grab>(*this, id);
    }

    // Another client holds the combination: grabs of it are refused until released.
    void takeByOtherClient(KeyboardShortcuts::Shortcut shortcut) { m_taken.insert(shortcut); }
    void releaseByOtherClient(KeyboardShortcuts::Shortcut shortcut) { m_taken.remove(shortcut); }

    int grabCount(KeyboardShortcuts::Shortcut shortcut) const
    {
        return int(
            std::ranges::count_if(m_grabs, [&](const auto &entry) { return entry.second.shortcut == shortcut; }));
    }
    int totalGrabCount() const { return int(m_grabs.size()); }
    int attempts() const { return m_attempts; }

    // Calls the handlers of every grab of the combination; false when none holds it.
    bool press(KeyboardShortcuts::Shortcut shortcut)
    {
        return fire(shortcut, &KeyboardShortcuts::HotKeyHandlers::onPress);
    }
    bool release(KeyboardShortcuts::Shortcut shortcut)
    {
        return fire(shortcut, &KeyboardShortcuts::HotKeyHandlers::onRelease);
    }
    bool tap(KeyboardShortcuts::Shortcut shortcut) { return press(shortcut) && release(shortcut); }

private:
    struct Entry {
        KeyboardShortcuts::Shortcut shortcut;
        KeyboardShortcuts::HotKeyHandlers handlers;
    };
    class Grab final : public KeyboardShortcuts::HotKeyGrab {
    public:
        Grab(FakeHotKeyService &service, int id) : m_service(service), m_id(id) {}
        ~Grab() override { m_service.m_grabs.erase(m_id); }

    private:
        FakeHotKeyService &m_service;
        int m_id;
    };

    bool fire(KeyboardShortcuts::Shortcut shortcut, std::function<void()> KeyboardShortcuts::HotKeyHandlers::*handler)
    {
        QList<std::function<void()>> calls;
        for (const auto &[id, entry] : m_grabs) {
            if (entry.shortcut == shortcut)
                calls.append(entry.handlers.*handler);
        }
        for (const auto &call : calls)
            call();
        return !calls.isEmpty();
    }

    std::map<int, Entry> m_grabs;
    QSet<KeyboardShortcuts::Shortcut> m_taken;
    int m_lastGrab = 0;
    int m_attempts = 0;
};
