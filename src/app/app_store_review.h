#pragma once

#include <QDateTime>
#include <QObject>

#include <chrono>
#include <functional>

namespace Platform {
class StoreReview;
}

// Counts successful captures and, from the sixth on, invites a rating at most once a calendar month.
// The count and the time of the last invitation live in the standard defaults.
class AppStoreReview : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 usageThreshold = 6;
    static constexpr std::chrono::seconds requestDelay{1};
    using Clock = std::function<QDateTime()>;

    // storeReview may be null (no desktop to ask): uses are still counted. A build that is not distributed
    // through a store (isStoreVersion false) neither counts nor asks.
    AppStoreReview(Platform::StoreReview *storeReview, bool isStoreVersion, Clock clock = &QDateTime::currentDateTime,
                   QObject *parent = nullptr);

    void requestReviewIfAppropriate();

private:
    Platform::StoreReview *m_storeReview;
    bool m_isStoreVersion;
    Clock m_clock;
};
