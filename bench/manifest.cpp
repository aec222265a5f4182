#include "manifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace Bench {

QString ManifestRow::value(const QString &column) const
{
    const auto index = header->indexOf(column);
    return index >= 0 && index < cells.size() ? cells[index] : QString();
}

QString Manifest::path(const QString &relative) const
{
    return QDir(folder).filePath(relative);
}

std::optional<Manifest> readManifest(const QString &file, const QStringList &requiredColumns)
{
    QFile input(file);
    if (!input.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(file));
        return std::nullopt;
    }
    Manifest manifest;
    manifest.folder = QFileInfo(file).absolutePath();
    const QStringList lines = QString::fromUtf8(input.readAll()).split(u'\n');
    bool haveHeader = false;
    for (QString line : lines) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (line.trimmed().isEmpty())
            continue;
        if (!haveHeader) {
            manifest.header = line.split(u'\t');
            haveHeader = true;
        } else {
            manifest.rows.push_back(line.split(u'\t'));
        }
    }
    for (const QString &column : requiredColumns) {
        if (!manifest.header.contains(column)) {
            std::fprintf(stderr, "%s has no column \"%s\"\n", qPrintable(file), qPrintable(column));
            return std::nullopt;
        }
    }
    return manifest;
}

} // namespace Bench
