#pragma once

#include <QImage>
#include <QRect>
#include <QString>

#include <vector>

namespace Platform {

// A line as the text engine read it: its words and where they are on the page it was given.
struct RecognizedWord {
    QString text;
    QRect box;
};
struct RecognizedLine {
    std::vector<RecognizedWord> words;
    QRect box;
    int baseline = 0; // the row the letters stand on
};

// Joins a line's words with as many spaces as their gaps are wide (code keeps its alignment). The engine's
// layout takes underscores for underlines and drops them, which splits "cert_chain" into two words; a gap (or
// the edge of a word) that has a thin stroke just below the baseline and no ink above it gets them back.
// page is the Format_Grayscale8 image the boxes refer to, dark text on light.
[[nodiscard]] QString assembleLine(const RecognizedLine &line, const QImage &page);

} // namespace Platform
