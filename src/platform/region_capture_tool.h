#pragma once

#include <QString>

namespace Platform {

// The desktop's interactive screenshot tool: the user drags a rectangle of the screen and the tool saves it.
class RegionCaptureTool {
public:
    virtual ~RegionCaptureTool() = default;

    // Whether the tool can run now; a tool installed or removed while the program runs counts at the next call.
    virtual bool isAvailable() const { return true; }

    // Runs the tool and returns when the user has selected or cancelled. Meanwhile the calling thread keeps
    // running timers and queued work but handles no user input, so two captures never overlap. A selection is
    // saved as an image at destination; a cancelled one leaves no file or an empty file there.
    virtual void captureRegion(const QString &destination) = 0;
};

} // namespace Platform
