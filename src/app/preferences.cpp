#include "app/preferences.h"

namespace {
const QString lastReviewRequestedAtKey = QStringLiteral("lastReviewRequestedAt");
}

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

qint64 numberOfUsages(const UserDefaults &defaults)
{
    return defaults.integer(Keys::numberOfUsages);
}

void setNumberOfUsages(UserDefaults &defaults, qint64 count)
{
    defaults.setInteger(Keys::numberOfUsages, count);
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
