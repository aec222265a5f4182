#pragma once

#include <QString>

namespace Platform {

// Where Scrivlet puts the text it copies, for other programs to paste.
class Clipboard {
public:
    virtual ~Clipboard() = default;

    // Returns at once; the text reaches the clipboard shortly after. Of several texts set in a row the last one
    // stays. A copy that fails is logged and leaves the clipboard as it was.
    virtual void setText(const QString &text) = 0;
};

} // namespace Platform
