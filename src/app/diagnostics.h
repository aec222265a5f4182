#pragma once

#include <QString>

// Writes one line of diagnostics to standard output, flushed at once so that it interleaves with the
// diagnostics of child processes in the order things happened.
void printLine(const QString &line);
