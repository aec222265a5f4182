#pragma once

#include <QString>

// Seconds a status text stays on the HUD: 0.06 s per user-perceived character plus 0.5 s, kept within 2.0…5.0.
[[nodiscard]] double displayTime(const QString &status);

// User-perceived characters (extended grapheme clusters): "é" as e + combining accent counts once.
[[nodiscard]] qsizetype perceivedCharacterCount(const QString &text);
