#pragma once

#include "platform/clipboard.h"

namespace Platform {

// Qt's clipboard: on X11, and on Wayland desktops that pass an XWayland client's selection on without its
// having the focus. The text is served by this process, so it goes away when Scrivlet quits (unless a
// clipboard manager keeps it).
class QtClipboard final : public Clipboard {
public:
    void setText(const QString &text) override;
};

} // namespace Platform
