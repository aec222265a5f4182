#pragma once

namespace Platform {

// Invites the user to rate Scrivlet where the desktop lets them; whether anything is shown is the desktop's call.
class StoreReview {
public:
    virtual ~StoreReview() = default;
    virtual void requestReview() = 0;
};

} // namespace Platform
