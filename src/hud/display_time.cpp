#include "hud/display_time.h"

#include <QTextBoundaryFinder>

#include <algorithm>

namespace {
constexpr double secondsPerCharacter = 0.06;
constexpr double baseSeconds = 0.5;
constexpr double minimumSeconds = 2.0;
constexpr double maximumSeconds = 5.0;
} // namespace

qsizetype perceivedCharacterCount(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

double displayTime(const QString &status)
{
    const double seconds = static_cast<double>(perceivedCharacterCount(status)) * secondsPerCharacter + baseSeconds;
    return std::min(std::max(seconds, minimumSeconds), maximumSeconds);
}
