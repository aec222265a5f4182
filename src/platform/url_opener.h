#pragma once

#include <QUrl>

namespace Platform {

// Hands a URL to the desktop's handler for its scheme (browser, software centre, settings).
class UrlOpener {
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl &url) = 0;
    // Whether the desktop has a handler for the URL's scheme.
    virtual bool canOpen(const QUrl &url) const = 0;
};

} // namespace Platform
