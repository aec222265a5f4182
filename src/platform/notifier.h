#pragma once

#include <QString>

#include <functional>

namespace Platform {

// A message for the user that the desktop shows outside Scrivlet's windows.
struct Notice {
    QString summary;
    QString body;

    friend bool operator==(const Notice &, const Notice &) = default;
};

// Shows notices the way the desktop shows every program's messages; how long they stay is the desktop's call.
class Notifier {
public:
    virtual ~Notifier() = default;
    // taken runs once, later: with true when the desktop took the notice, false when nothing there shows notices.
    virtual void notify(const Notice &notice, std::function<void(bool taken)> taken) = 0;
};

} // namespace Platform
