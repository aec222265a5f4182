#include "scoring.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <vector>

namespace Bench {
namespace {

template <typename T> std::int64_t levenshtein(const std::vector<T> &a, const std::vector<T> &b)
{
    std::vector<std::int64_t> previous(b.size() + 1), current(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        previous[j] = std::int64_t(j);
    for (size_t i = 1; i <= a.size(); ++i) {
        current[0] = std::int64_t(i);
        for (size_t j = 1; j <= b.size(); ++j) {
            const std::int64_t substitution = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
        }
        std::swap(previous, current);
    }
    return previous[b.size()];
}

std::vector<QString> wordsOf(const QString &text)
{
    const QStringList words = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    return {words.begin(), words.end()};
}

} // namespace

QString normalizedText(const QString &text)
{
    QString cleaned = text;
    cleaned.remove(u'\f').remove(u'\r');
    static const QRegularExpression blanks(QStringLiteral("[ \\t\\x{00A0}]+"));
    cleaned.replace(blanks, QStringLiteral(" "));
    QStringList kept;
    for (const QString &line : cleaned.split(u'\n')) {
        const QString stripped = line.trimmed();
        if (!stripped.isEmpty())
            kept.push_back(stripped);
    }
    return kept.join(u'\n');
}

EditCount characterEdits(const QString &reference, const QString &hypothesis)
{
    const QList<uint> a = reference.toUcs4();
    const QList<uint> b = hypothesis.toUcs4();
    return {levenshtein(std::vector<uint>(a.begin(), a.end()), std::vector<uint>(b.begin(), b.end())), a.size()};
}

EditCount wordEdits(const QString &reference, const QString &hypothesis)
{
    const auto a = wordsOf(reference);
    return {levenshtein(a, wordsOf(hypothesis)), std::int64_t(a.size())};
}

} // namespace Bench
