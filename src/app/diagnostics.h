#pragma once

#include <QString>

#include <vector>

// Writes one line of diagnostics to standard output, flushed at once so that it interleaves with the
// diagnostics of child processes in the order things happened.
void printLine(const QString &line);

// A list of texts as one line: ["first", "a \"quoted\" word", "two\nlines"].
QString describeStrings(const std::vector<QString> &strings);
