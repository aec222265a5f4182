#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace Bench {

// One row of a tab-separated manifest, its cells found by the header's column names.
struct ManifestRow {
    QStringList cells;
    const QStringList *header = nullptr;

    [[nodiscard]] QString value(const QString &column) const;
};

struct Manifest {
    QString folder; // paths in the manifest are relative to it
    QStringList header;
    std::vector<QStringList> rows;

    [[nodiscard]] QString path(const QString &relative) const;
};

// Empty (with a message on stderr) when the file cannot be read or lacks one of the required columns.
[[nodiscard]] std::optional<Manifest> readManifest(const QString &file, const QStringList &requiredColumns);

} // namespace Bench
