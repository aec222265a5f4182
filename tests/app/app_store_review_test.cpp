#include "app/app_store_review.h"
#include "app/preferences.h"
#include "support/fake_platform.h"
#include "support/xvfb_server.h"

#include <QFile>
#include <QTest>

using TestSupport::FakeStoreReview;

class AppStoreReviewTest : public QObject {
    Q_OBJECT

private:
    TestSupport::IsolatedXdgEnvironment m_xdg;
    FakeStoreReview m_store;
    QDateTime m_now;

    AppStoreReview review(bool isStoreVersion = true)
    {
        return AppStoreReview(&m_store, isStoreVersion, [this] { return m_now; });
    }
    static qint64 usages() { return numberOfUsages(UserDefaults::standard()); }
    static qint64 lastRequest() { return UserDefaults::standard().integer(QStringLiteral("lastReviewRequestedAt")); }

private slots:
    void init()
    {
        QFile::remove(UserDefaults::standard().filePath());
        m_store.requests = 0;
        m_now = QDateTime(QDate(2026, 3, 10), QTime(12, 0, 0, 400));
    }

    void theSixthUseAsksOnceASecondLater()
    {
        AppStoreReview reviewer(&m_store, true, [this] { return m_now; });
        for (int use = 1; use <= 5; ++use)
            reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 5);
        QVERIFY(!UserDefaults::standard().contains(QStringLiteral("lastReviewRequestedAt")));

        reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 6);
        QCOMPARE(lastRequest(), m_now.toSecsSinceEpoch());    // whole seconds
        QCOMPARE(m_store.requests, 0);                        // not at once...
        QTRY_COMPARE_WITH_TIMEOUT(m_store.requests, 1, 5000); // ...but after the delay

        m_now = m_now.addDays(1);
        reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 7);
        QCOMPARE(lastRequest(), m_now.addDays(-1).toSecsSinceEpoch());
        QTest::qWait(1500);
        QCOMPARE(m_store.requests, 1);
    }

    void aCalendarMonthMustHaveFullyPassed_data()
    {
        QTest::addColumn<QDateTime>("last");
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<bool>("asks");
        const QDateTime last(QDate(2026, 1, 31), QTime(9, 30));
        QTest::newRow("exactly one month later does not ask")
            << last << QDateTime(QDate(2026, 2, 28), QTime(9, 30)) << false;
        QTest::newRow("a second after the month asks")
            << last << QDateTime(QDate(2026, 2, 28), QTime(9, 30, 1)) << true;
        QTest::newRow("thirty days in a long month is not a month")
            << QDateTime(QDate(2026, 3, 1), QTime(0, 0)) << QDateTime(QDate(2026, 3, 31), QTime(0, 0)) << false;
        QTest::newRow("the next day of the next month asks")
            << QDateTime(QDate(2026, 3, 1), QTime(0, 0)) << QDateTime(QDate(2026, 4, 2), QTime(0, 0)) << true;
    }

    void aCalendarMonthMustHaveFullyPassed()
    {
        QFETCH(QDateTime, last);
        QFETCH(QDateTime, now);
        QFETCH(bool, asks);
        UserDefaults defaults = UserDefaults::standard();
        setNumberOfUsages(defaults, 20);
        setLastReviewRequestedAt(defaults, last);
        m_now = now;
        AppStoreReview reviewer = review();
        reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 21);
        QCOMPARE(lastRequest(), asks ? now.toSecsSinceEpoch() : last.toSecsSinceEpoch());
    }

    void aBuildOutsideTheStoreNeitherCountsNorAsks()
    {
        UserDefaults defaults = UserDefaults::standard();
        setNumberOfUsages(defaults, 5);
        AppStoreReview reviewer = review(false);
        reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 5);
        QVERIFY(!defaults.contains(QStringLiteral("lastReviewRequestedAt")));
        QTest::qWait(1200);
        QCOMPARE(m_store.requests, 0);
    }

    void withoutADesktopToAskUsesStillCount()
    {
        AppStoreReview reviewer(nullptr, true, [this] { return m_now; });
        for (int use = 0; use < 6; ++use)
            reviewer.requestReviewIfAppropriate();
        QCOMPARE(usages(), 6);
        QCOMPARE(lastRequest(), m_now.toSecsSinceEpoch());
        QTest::qWait(1200); // the delayed request must cope with nobody to ask
    }
};

QTEST_GUILESS_MAIN(AppStoreReviewTest)
#include "app_store_review_test.moc"
