#include "app/diagnostics.h"

#include <QStringList>

#include <cstdio>

void printLine(const QString &line)
{
    const QByteArray text = line.toUtf8() + '\n';
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    std::fflush(stdout);
}

QString describeStrings(const std::vector<QString> &strings)
{
    QStringList quoted;
    for (QString text : strings) {
        text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
            .replace(QLatin1Char('"'), QStringLiteral("\\\""))
            .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
            .replace(QLatin1Char('\r'), QStringLiteral("\\r"))
            .replace(QLatin1Char('\t'), QStringLiteral("\\t"));
        quoted << QLatin1Char('"') + text + QLatin1Char('"');
    }
    return QLatin1Char('[') + quoted.join(QStringLiteral(", ")) + QLatin1Char(']');
}
