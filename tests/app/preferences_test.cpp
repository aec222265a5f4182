#include "app/preferences.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

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

    void recognitionLanguagesRoundTripAndAutomaticIsNoValue()
    {
        UserDefaults defaults = freshDefaults();
        QCOMPARE(recognitionLanguages(defaults), QStringList()); // automatic
        setRecognitionLanguages(defaults, {QStringLiteral("fra"), QStringLiteral("deu")});
        QCOMPARE(UserDefaults(defaults.filePath()).stringArray(QStringLiteral("RecognitionLanguages")),
                 (QStringList{QStringLiteral("fra"), QStringLiteral("deu")}));
        QCOMPARE(recognitionLanguages(defaults), (QStringList{QStringLiteral("fra"), QStringLiteral("deu")}));
        setRecognitionLanguages(defaults, {});
        QVERIFY(!defaults.contains(QStringLiteral("RecognitionLanguages")));
        // Written by hand, and wrong: automatic.
        defaults.setString(QStringLiteral("RecognitionLanguages"), QStringLiteral("deu"));
        QCOMPARE(recognitionLanguages(defaults), QStringList());
    }

    void prependingKeepsTheNewestTexts_data()
    {
        QTest::addColumn<QByteArray>("stored"); // the file's contents; empty for no file
        QTest::addColumn<QStringList>("history");
        const auto numbered = [](int count) {
            QStringList texts;
            for (int i = 1; i <= count; ++i)
                texts.append(QString::number(i));
            return texts;
        };
        QTest::newRow("no history yet") << QByteArray() << QStringList{QStringLiteral("new")};
        QTest::newRow("a full history drops its oldest")
            << QJsonDocument(QJsonObject{{Keys::textHistory, QJsonArray::fromStringList(numbered(10))}}).toJson()
            << QStringList{QStringLiteral("new")} + numbered(9);
        QTest::newRow("a longer history from another writer is cut to the limit")
            << QJsonDocument(QJsonObject{{Keys::textHistory, QJsonArray::fromStringList(numbered(12))}}).toJson()
            << QStringList{QStringLiteral("new")} + numbered(9);
        QTest::newRow("a history that is not all strings starts afresh")
            << QByteArray(R"({"textHistory": [1, "two"], "other": true})") << QStringList{QStringLiteral("new")};
    }

    void prependingKeepsTheNewestTexts()
    {
        QFETCH(QByteArray, stored);
        QFETCH(QStringList, history);
        UserDefaults defaults = freshDefaults();
        if (!stored.isEmpty()) {
            QFile file(defaults.filePath());
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(stored);
        }
        prependToTextHistory(defaults, QStringLiteral("new"));
        QCOMPARE(textHistory(defaults), history);
    }

    void countingAUse_data()
    {
        QTest::addColumn<QJsonValue>("stored"); // undefined for none
        QTest::addColumn<qint64>("count");
        QTest::newRow("the first use") << QJsonValue(QJsonValue::Undefined) << Q_INT64_C(1);
        QTest::newRow("one more") << QJsonValue(5) << Q_INT64_C(6);
        QTest::newRow("a count stored as text") << QJsonValue(QStringLiteral("7")) << Q_INT64_C(8);
        QTest::newRow("the largest count stays, without overflow")
            << QJsonValue(std::numeric_limits<qint64>::max()) << std::numeric_limits<qint64>::max();
    }

    void countingAUse()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(qint64, count);
        UserDefaults defaults = freshDefaults();
        if (!stored.isUndefined())
            QVERIFY(defaults.update(Keys::numberOfUsages, [&](const QJsonValue &) { return stored; }));
        QCOMPARE(incrementNumberOfUsages(defaults), count);
        QCOMPARE(numberOfUsages(defaults), count);
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
