#pragma once

#include "keyboard_shortcuts/hot_key_service.h"

#include <QList>
#include <QSet>

#include <map>
#include <optional>
#include <vector>

// Records grabs and lets a test press and release them as the X server would.
class FakeHotKeyService final : public KeyboardShortcuts::HotKeyService {
    using Shortcut = KeyboardShortcuts::Shortcut;
    using Handlers = KeyboardShortcuts::HotKeyHandlers;

public:
    std::unique_ptr<KeyboardShortcuts::HotKeyGrab> grab(Shortcut shortcut, Handlers handlers) override
    {
        ++m_attempts;
        if (m_taken.contains(shortcut))
            return nullptr;
        m_grabs.emplace(++m_lastGrab, Entry{shortcut, std::move(handlers)});
        return std::make_unique<Grab>(*this, m_lastGrab);
    }

    bool isHeldByAnotherClient(Shortcut shortcut) const override { return m_taken.contains(shortcut); }

    std::unique_ptr<KeyboardShortcuts::KeyboardChangeWatch>
    watchKeyboardChanges(std::function<void()> onChange) override
    {
        m_watches.emplace(++m_lastWatch, std::move(onChange));
        return std::make_unique<Watch>(*this, m_lastWatch);
    }

    // Another client holds the combination: grabs of it are refused until released.
    void takeByOtherClient(Shortcut shortcut) { m_taken.insert(shortcut); }
    void releaseByOtherClient(Shortcut shortcut) { m_taken.remove(shortcut); }
    // A keyboard change after which another client got the combination: its grabs end and report the loss.
    void changeKeyboardLosing(std::optional<Shortcut> lost = std::nullopt)
    {
        std::vector<std::function<void()>> onLost;
        if (lost) {
            takeByOtherClient(*lost);
            for (auto entry = m_grabs.begin(); entry != m_grabs.end();) {
                if (entry->second.shortcut != *lost) {
                    ++entry;
                    continue;
                }
                onLost.push_back(entry->second.handlers.onLost);
                entry = m_grabs.erase(entry);
            }
        }
        for (const auto &call : onLost) {
            if (call)
                call();
        }
        const auto watches = m_watches;
        for (const auto &[id, onChange] : watches) {
            if (m_watches.contains(id))
                onChange();
        }
    }

    int grabCount(Shortcut shortcut) const
    {
        return int(
            std::ranges::count_if(m_grabs, [&](const auto &entry) { return entry.second.shortcut == shortcut; }));
    }
    int totalGrabCount() const { return int(m_grabs.size()); }
    int attempts() const { return m_attempts; }

    // Calls the handlers of every grab of the combination; false when none holds it.
    bool press(Shortcut shortcut) { return fire(shortcut, &Handlers::onPress); }
    bool release(Shortcut shortcut) { return fire(shortcut, &Handlers::onRelease); }
    bool tap(Shortcut shortcut) { return press(shortcut) && release(shortcut); }

private:
    struct Entry {
        Shortcut shortcut;
        Handlers handlers;
    };
    class Grab final : public KeyboardShortcuts::HotKeyGrab {
    public:
        Grab(FakeHotKeyService &service, int id) : m_service(service), m_id(id) {}
        ~Grab() override { m_service.m_grabs.erase(m_id); }

    private:
        FakeHotKeyService &m_service;
        int m_id;
    };
    class Watch final : public KeyboardShortcuts::KeyboardChangeWatch {
    public:
        Watch(FakeHotKeyService &service, int id) : m_service(service), m_id(id) {}
        ~Watch() override { m_service.m_watches.erase(m_id); }

    private:
        FakeHotKeyService &m_service;
        int m_id;
    };

    bool fire(Shortcut shortcut, std::function<void()> Handlers::*handler)
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
    std::map<int, std::function<void()>> m_watches;
    QSet<Shortcut> m_taken;
    int m_lastGrab = 0;
    int m_lastWatch = 0;
    int m_attempts = 0;
};
