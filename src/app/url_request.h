#pragma once

#include <QUrl>

#include <optional>

// What a URL handed to Scrivlet asks for.
enum class UrlRequest { grab, readQRCode, clearHistory };

// Only the path counts, with any leading slashes: "scrivlet:///_Grab_", "scrivlet:_Grab_" and
// "other://host/_Grab_" all grab; "_ReadQRCode_" reads a code as the menu item does. Empty for any other path.
[[nodiscard]] std::optional<UrlRequest> urlRequest(const QUrl &url);
