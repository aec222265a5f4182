#include "app/preferences.h"

#include <QTemporaryDir>
#include <QTest>

class PreferencesTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_count = 0;
    UserDefaults freshDefaults() { return UserDefaults(m_dir.filePath(QStringLiteral("d%1.json").arg(++m_count))); }

private slots:
    void emptyDefaultsReadAsTheDefaults()
    {
        const UserDefaults defaults = freshDefaults();
        QCOMPARE(textHistory(defaults), QStringList());
        QCOMPARE(numberOfUsages(defaults), 0);
        QCOMPARE(lastReviewRequestedAt(defaults), QDateTime(QDate(1970, 1, 1), QTime(0, 0), Qt::UTC));
    }

    void aHistoryHoldingANumberReadsAsEmptyAndIsKept()
    {
        UserDefaults defaults = freshDefaults();
        defaults.setStringArray(Keys::textHistory, {QStringLiteral("one")});
        QFile file(defaults.filePath());
        QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Truncate));
        file.write("{\"textHistory\": [\"one\", 2, \"three\"]}");
        file.close();
        QCOMPARE(textHistory(defaults), QStringList());
        QVERIFY(defaults.contains(Keys::textHistory)); // left as it is until the next write
        setTextHistory(defaults, {QStringLiteral("new")});
        QCOMPARE(textHistory(defaults), QStringList{QStringLiteral("new")});
    }

    void reviewTimeDropsTheFractionOfASecond_data()
    {
        QTest::addColumn<qint64>("milliseconds");
        QTest::addColumn<qint64>("storedSeconds");
        QTest::newRow("0.9 s after a whole second") << Q_INT64_C(1700000000900) << Q_INT64_C(1700000000);
        QTest::newRow("a whole second") << Q_INT64_C(1700000000000) << Q_INT64_C(1700000000);
        QTest::newRow("before 1970, toward zero") << Q_INT64_C(-1500) << Q_INT64_C(-1);
    }

    void reviewTimeDropsTheFractionOfASecond()
    {
        QFETCH(qint64, milliseconds);
        QFETCH(qint64, storedSeconds);
        UserDefaults defaults = freshDefaults();
        setLastReviewRequestedAt(defaults, QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC));
        QCOMPARE(defaults.integer(QStringLiteral("lastReviewRequestedAt")), storedSeconds);
        QCOMPARE(lastReviewRequestedAt(defaults).toSecsSinceEpoch(), storedSeconds);
    }
};

QTEST_GUILESS_MAIN(PreferencesTest)
#include "preferences_test.moc"
