#pragma once

#include "user_defaults/user_defaults.h"

#include <QDateTime>
#include <QStringList>

// Keys of the values the application keeps in its defaults.
namespace Keys {
inline const QString textHistory = QStringLiteral("textHistory");
inline const QString numberOfUsages = QStringLiteral("numberOfUsages");
} // namespace Keys

namespace Values {
inline const QStringList textHistory = {};
} // namespace Values

// The suite shared with other programs of the user (desktop widgets, extensions) that show the history.
inline const QString appGroupIdentifier = QStringLiteral("group.scrivlet");
UserDefaults sharedDefaults();

// Recognised texts, newest first; a stored value that is not an array of strings reads as the empty history.
QStringList textHistory(const UserDefaults &defaults);
void setTextHistory(UserDefaults &defaults, const QStringList &history);
inline constexpr qsizetype textHistoryLimit = 10;
// Puts the text first and keeps the textHistoryLimit newest, with no other writer in between.
void prependToTextHistory(UserDefaults &defaults, const QString &text);

qint64 numberOfUsages(const UserDefaults &defaults);
void setNumberOfUsages(UserDefaults &defaults, qint64 count);
// Counts one more use, with no other writer in between; returns the count now stored (as it was when the write
// is refused).
qint64 incrementNumberOfUsages(UserDefaults &defaults);

// Stored as whole seconds since 1970 (the fraction dropped); absent reads as 1970-01-01T00:00:00Z.
QDateTime lastReviewRequestedAt(const UserDefaults &defaults);
void setLastReviewRequestedAt(UserDefaults &defaults, const QDateTime &time);

// The recognition languages the user chose, first one primary, as Tesseract names their models ("deu", "fra");
// empty for "Automatic", also when the stored value is not an array of strings.
QStringList recognitionLanguages(const UserDefaults &defaults);
void setRecognitionLanguages(UserDefaults &defaults, const QStringList &languages);

// Whether a start without a tray icon has told the user how to get one; absent reads as false.
bool trayIconNoticeShown(const UserDefaults &defaults);
void setTrayIconNoticeShown(UserDefaults &defaults);
