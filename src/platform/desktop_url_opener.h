#pragma once

#include "platform/url_opener.h"

namespace Platform {

class DesktopUrlOpener final : public UrlOpener {
public:
    void open(const QUrl &url) override;
    bool canOpen(const QUrl &url) const override;
};

} // namespace Platform
