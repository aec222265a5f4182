#include "app/preferences.h"

#include <QJsonArray>

#include <limits>

namespace {
const QString lastReviewRequestedAtKey = QStringLiteral("lastReviewRequestedAt");
const QString trayIconNoticeShownKey = QStringLiteral("trayIconNoticeShown");
const QString recognitionLanguagesKey = QStringLiteral("RecognitionLanguages");
} // namespace

UserDefaults sharedDefaults()
{
    return UserDefaults::suite(appGroupIdentifier);
}

QStringList textHistory(const UserDefaults &defaults)
{
    return defaults.stringArray(Keys::textHistory).value_or(Values::textHistory);
}

void setTextHistory(UserDefaults &defaults, const QStringList &history)
{
    defaults.setStringArray(Keys::textHistory, history);
}

void prependToTextHistory(UserDefaults &defaults, const QString &text)
{
    defaults.update(Keys::textHistory, [&text](const QJsonValue &current) {
        QStringList history = UserDefaults::stringArrayOf(current).value_or(Values::textHistory);
        history.prepend(text);
        if (history.size() > textHistoryLimit)
            history.resize(textHistoryLimit);
        return QJsonValue(QJsonArray::fromStringList(history));
    });
}

qint64 numberOfUsages(const UserDefaults &defaults)
{
    return defaults.integer(Keys::numberOfUsages);
}

void setNumberOfUsages(UserDefaults &defaults, qint64 count)
{
    defaults.setInteger(Keys::numberOfUsages, count);
}

qint64 incrementNumberOfUsages(UserDefaults &defaults)
{
    qint64 count = 0;
    const bool stored = defaults.update(Keys::numberOfUsages, [&count](const QJsonValue &current) {
        count = UserDefaults::integerOf(current);
        if (count < std::numeric_limits<qint64>::max()) // a count edited to the largest number stays there
            ++count;
        return QJsonValue(count);
    });
    return stored ? count : numberOfUsages(defaults);
}

QDateTime lastReviewRequestedAt(const UserDefaults &defaults)
{
    return QDateTime::fromSecsSinceEpoch(defaults.integer(lastReviewRequestedAtKey), Qt::UTC);
}

void setLastReviewRequestedAt(UserDefaults &defaults, const QDateTime &time)
{
    // Milliseconds divided toward zero, so that times before 1970 drop their fraction the same way.
    defaults.setInteger(lastReviewRequestedAtKey, time.toMSecsSinceEpoch() / 1000);
}

QStringList recognitionLanguages(const UserDefaults &defaults)
{
    return defaults.stringArray(recognitionLanguagesKey).value_or(QStringList());
}

void setRecognitionLanguages(UserDefaults &defaults, const QStringList &languages)
{
    if (languages.isEmpty())
        defaults.remove(recognitionLanguagesKey);
    else
        defaults.setStringArray(recognitionLanguagesKey, languages);
}

bool trayIconNoticeShown(const UserDefaults &defaults)
{
    return defaults.boolean(trayIconNoticeShownKey);
}

void setTrayIconNoticeShown(UserDefaults &defaults)
{
    defaults.setBoolean(trayIconNoticeShownKey, true);
}
