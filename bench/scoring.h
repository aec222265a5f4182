#pragma once

#include <QString>

#include <cstdint>

namespace Bench {

// Drops form feeds and carriage returns, turns runs of spaces, tabs and no-break spaces into one space, strips
// each line, drops empty lines and joins the lines with "\n".
[[nodiscard]] QString normalizedText(const QString &text);

struct EditCount {
    std::int64_t distance = 0;
    std::int64_t referenceLength = 0;
};

// Levenshtein distance over Unicode code points ("\n" counts as one).
[[nodiscard]] EditCount characterEdits(const QString &reference, const QString &hypothesis);
// Levenshtein distance over whitespace-separated words.
[[nodiscard]] EditCount wordEdits(const QString &reference, const QString &hypothesis);

} // namespace Bench
