#pragma once

namespace Platform {

// Tells other programs that show the history (desktop widgets, shell extensions) to read it again.
class WidgetCenter {
public:
    virtual ~WidgetCenter() = default;
    virtual void reloadAllTimelines() = 0;
};

} // namespace Platform
