#include "app/app_store_review.h"

#include "app/preferences.h"
#include "platform/store_review.h"

#include <QTimer>

#include <utility>

AppStoreReview::AppStoreReview(Platform::StoreReview *storeReview, bool isStoreVersion, Clock clock, QObject *parent)
    : QObject(parent), m_storeReview(storeReview), m_isStoreVersion(isStoreVersion), m_clock(std::move(clock))
{}

void AppStoreReview::requestReviewIfAppropriate()
{
    if (!m_isStoreVersion)
        return;
    UserDefaults defaults = UserDefaults::standard();
    if (incrementNumberOfUsages(defaults) < usageThreshold)
        return;

    const QDateTime now = m_clock();
    // A month in the user's calendar: the same day and time of the next month, in local time.
    const QDateTime next = lastReviewRequestedAt(defaults).toLocalTime().addMonths(1);
    if (!next.isValid() || !(now > next))
        return;
    setLastReviewRequestedAt(defaults, now);
    QTimer::singleShot(requestDelay, this, [this] {
        if (m_storeReview)
            m_storeReview->requestReview();
    });
}
