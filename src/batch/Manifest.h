#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace kelvara {

// What a manifest or summary says about a case: 1 pathology, 0 none, empty unknown.
using CaseLabel = std::optional<bool>;
QString labelText(const CaseLabel& label);
// False for any text other than "1", "0" or empty (spaces around it allowed).
bool parseLabel(const QString& text, CaseLabel* label);

// A cohort: one project per row with its label and the user's own columns.
struct Manifest
{
    struct Row
    {
        int line = 0;        // in the manifest, for messages
        QString project;     // as written in the manifest
        QString projectPath; // resolved against the manifest's folder
        CaseLabel label;
        QStringList extra; // values of extraColumns, unchanged
    };
    QString path;
    QString sha256;           // of the file's bytes: summaries of its shards carry it
    QStringList extraColumns; // in the manifest's order
    QList<Row> rows;
};

// Refused, with *error naming the file and line: no `project` column, an empty project cell,
// a label other than 1, 0 or empty, an extra column whose name summary.csv uses itself, one
// project file in two rows (by its canonical path: the evaluation would count it twice), and
// everything readCsvTable refuses.
std::optional<Manifest> readManifest(const QString& path, QString* error);
// The same on bytes already read from path.
std::optional<Manifest> parseManifest(const QByteArray& bytes, const QString& path,
                                      QString* error);

// Whether the row of this 0-based index belongs to shard `shard` of `shards` (1 <= shard <=
// shards): rows are dealt out in turn, so every shard gets a fair mix of the cohort.
inline bool inShard(int index, int shard, int shards)
{
    return index % shards == shard - 1;
}

} // namespace kelvara
