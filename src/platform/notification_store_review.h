#pragma once

#include "platform/store_review.h"
#include "platform/url_opener.h"

#include <QObject>
#include <QUrl>

#include <memory>

namespace Platform {

// One desktop notification (org.freedesktop.Notifications) whose "Rate" action opens Scrivlet's page in the
// software centre.
class NotificationStoreReview final : public QObject, public StoreReview {
    Q_OBJECT
public:
    static constexpr auto storePage = "appstream://app.scrivlet.Scrivlet";

    // Empty when the session has no bus; urlOpener must outlive the object.
    [[nodiscard]] static std::unique_ptr<NotificationStoreReview> connect(UrlOpener &urlOpener);
    void requestReview() override;

private Q_SLOTS:
    void actionInvoked(uint id, const QString &action);

private:
    explicit NotificationStoreReview(UrlOpener &urlOpener);

    UrlOpener &m_urlOpener;
    uint m_notification = 0;
};

} // namespace Platform
