#include "platform/line_assembly.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Platform {
namespace {

// Underscores are one faint anti-aliased pixel row at screen sizes; count them as ink well before black.
constexpr int inkLevel = 170;

struct Span {
    int left = 0;
    int right = -1; // inclusive
    [[nodiscard]] int width() const { return right - left + 1; }
};

class UnderscoreFinder {
public:
    UnderscoreFinder(const RecognizedLine &line, const QImage &page) : m_page(page)
    {
        const int h = line.box.height();
        m_band = {line.baseline + 1, line.baseline + std::max(2, int(std::lround(h * 0.3)))};
        // Letters reach up to here; a stroke with ink above it is part of a letter, a comma or a bracket.
        m_above = {line.baseline - std::max(3, int(std::lround(h * 0.4))), line.baseline - std::max(1, h / 10)};
    }

    [[nodiscard]] bool isUnderscoreColumn(int x) const { return inkIn(x, m_band) && !inkIn(x, m_above); }
    [[nodiscard]] bool isStrokedBelow(int x) const { return inkIn(x, m_band); }

    // The longest run of underscore columns within [left, right].
    [[nodiscard]] Span longestRun(int left, int right) const
    {
        Span best, current{left, left - 1};
        for (int x = left; x <= right; ++x) {
            if (isUnderscoreColumn(x)) {
                current.right = x;
                if (current.width() > best.width())
                    best = current;
            } else {
                current = {x + 1, x};
            }
        }
        return best;
    }

    // The run of underscore columns that starts at x, or a column or two further, and goes in direction step.
    [[nodiscard]] int runLength(int x, int step, int limit) const
    {
        for (int skip = 0; skip < 3; ++skip) {
            const int start = x + step * skip;
            int length = 0;
            while (length < limit && isUnderscoreColumn(start + step * length))
                ++length;
            if (length > 0)
                return length;
        }
        return 0;
    }

private:
    [[nodiscard]] bool inkIn(int x, Span rows) const
    {
        if (x < 0 || x >= m_page.width())
            return false;
        for (int y = std::max(rows.left, 0); y <= std::min(rows.right, m_page.height() - 1); ++y)
            if (m_page.constScanLine(y)[x] < inkLevel)
                return true;
        return false;
    }

    const QImage &m_page;
    Span m_band;
    Span m_above;
};

double characterWidth(const RecognizedLine &line)
{
    qsizetype characters = 0;
    int width = 0;
    for (const RecognizedWord &word : line.words) {
        characters += word.text.size();
        width += word.box.width();
    }
    return characters > 0 && width > 0 ? double(width) / double(characters) : std::max(1.0, line.box.height() * 0.5);
}

int countOf(double width, double characterWidth)
{
    return int(std::lround(width / characterWidth));
}

qsizetype leadingUnderscores(const QString &text)
{
    qsizetype n = 0;
    while (n < text.size() && text[n] == u'_')
        ++n;
    return n;
}

qsizetype trailingUnderscores(const QString &text)
{
    qsizetype n = 0;
    while (n < text.size() && text[text.size() - 1 - n] == u'_')
        ++n;
    return n;
}

} // namespace

QString assembleLine(const RecognizedLine &line, const QImage &page)
{
    if (line.words.empty())
        return {};
    const double cw = characterWidth(line);
    // A gap holds the spaces plus the letters' side bearings, so it is wider than the spaces alone.
    const auto spaces = [&](double width) { return QString(std::max(1, countOf(width - cw * 0.3, cw)), u' '); };
    const bool canRestore = page.format() == QImage::Format_Grayscale8;
    std::optional<UnderscoreFinder> finder;
    if (canRestore)
        finder.emplace(line, page);

    // An underlined line (a link) has its stroke under the letters too; its gaps are spaces. Descenders alone
    // never cover most of a line's width.
    bool underlined = false;
    if (finder) {
        int columns = 0, stroked = 0;
        for (const RecognizedWord &word : line.words) {
            for (int x = word.box.left(); x <= word.box.right(); ++x) {
                ++columns;
                stroked += finder->isStrokedBelow(x) ? 1 : 0;
            }
        }
        underlined = stroked * 10 > columns * 7;
    }
    const bool restore = finder && !underlined;
    const int edgeLimit = int(std::lround(cw * 6));

    QString text;
    if (restore) {
        const int length = finder->runLength(line.words.front().box.left() - 1, -1, edgeLimit);
        if (length >= cw * 0.6)
            text += QString(std::max<qsizetype>(0, countOf(length, cw) - leadingUnderscores(line.words.front().text)),
                            u'_');
    }
    for (size_t i = 0; i < line.words.size(); ++i) {
        const RecognizedWord &word = line.words[i];
        if (i > 0) {
            const int left = line.words[i - 1].box.right() + 1;
            const int right = word.box.left() - 1;
            const Span run = restore && right >= left ? finder->longestRun(left, right) : Span{};
            if (run.width() >= cw * 0.6) {
                const int before = run.left - left;
                const int after = right - run.right;
                // Underscores the engine did read sit in the gap too: the words' boxes leave them out.
                const qsizetype read = (before < cw * 0.5 ? trailingUnderscores(line.words[i - 1].text) : 0) +
                                       (after < cw * 0.5 ? leadingUnderscores(word.text) : 0);
                if (before >= cw * 0.5)
                    text += spaces(before);
                text += QString(std::max<qsizetype>(0, std::max(1, countOf(run.width(), cw)) - read), u'_');
                if (after >= cw * 0.5)
                    text += spaces(after);
            } else {
                text += spaces(std::max(0, right - left + 1));
            }
        }
        text += word.text;
    }
    if (restore) {
        const int length = finder->runLength(line.words.back().box.right() + 1, 1, edgeLimit);
        if (length >= cw * 0.6)
            text += QString(std::max<qsizetype>(0, countOf(length, cw) - trailingUnderscores(line.words.back().text)),
                            u'_');
    }
    return text;
}

} // namespace Platform
