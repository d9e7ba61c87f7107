#include "CohortMerge.h"

#include "BatchCase.h"
#include "FileAccess.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace kelvara {

namespace {

QString rowList(const QList<int>& rows)
{
    // A long list would bury the message; the count says the rest.
    constexpr int kShown = 20;
    QStringList shown;
    for (int i = 0; i < rows.size() && i < kShown; ++i)
        shown << QString::number(rows[i]);
    QString text = shown.join(QStringLiteral(", "));
    if (rows.size() > kShown)
        text += QStringLiteral(" and %1 more").arg(rows.size() - kShown);
    return text;
}

} // namespace

std::optional<CohortMerge> mergeCohort(const QList<SummaryFile>& files, QString* error)
{
    CohortMerge merge;
    CohortSummary& merged = merge.summary;
    int reference = -1;      // the first file with rows
    int columnsFrom = -1;
    QHash<int, int> fileOfShard;
    for (int i = 0; i < files.size(); ++i) {
        const CohortSummary& s = files[i].summary;
        const QString path = displayPath(files[i].path);
        if (columnsFrom < 0) {
            merged.extraColumns = s.extraColumns;
            columnsFrom = i;
        } else if (s.extraColumns != merged.extraColumns) {
            *error = QStringLiteral("'%1' has the manifest columns (%2), '%3' has (%4)")
                         .arg(path, s.extraColumns.join(QLatin1Char(',')),
                              displayPath(files[columnsFrom].path),
                              merged.extraColumns.join(QLatin1Char(',')));
            return std::nullopt;
        }
        if (s.rows.isEmpty())
            continue;
        if (reference < 0) {
            reference = i;
            merged.settings = s.settings;
        } else {
            const CohortSettings& r = files[reference].summary.settings;
            const QString other = displayPath(files[reference].path);
            CohortSettings shardless = s.settings;
            shardless.shard = r.shard;
            if (!(shardless == r)) {
                QString inReference;
                const QString here = settingsDifference(shardless, r, &inReference);
                *error = QStringLiteral("'%1' was made with %2, '%3' with %4; they are not parts "
                                        "of one run")
                             .arg(path, here, other, inReference);
                return std::nullopt;
            }
            if (!r.hasManifest()) {
                *error = QStringLiteral("'%1' and '%2' are both runs of projects named on the "
                                        "command line: nothing says they belong to one cohort "
                                        "(list the projects in a manifest)")
                             .arg(path, other);
                return std::nullopt;
            }
        }
        if (const auto earlier = fileOfShard.constFind(s.settings.shard);
            earlier != fileOfShard.cend()) {
            *error = QStringLiteral("'%1' and '%2' are both shard %3/%4 of the run")
                         .arg(displayPath(files[*earlier].path), path)
                         .arg(s.settings.shard)
                         .arg(s.settings.shards);
            return std::nullopt;
        }
        fileOfShard.insert(s.settings.shard, i);
    }

    // Projects named on the command line first (only a whole run has them), then the manifest
    // rows in order.
    struct Source
    {
        int file, index;
        int manifestRow;
    };
    QList<Source> order;
    for (int i = 0; i < files.size(); ++i)
        for (int k = 0; k < files[i].summary.rows.size(); ++k)
            order << Source{i, k, files[i].summary.rows[k].manifestRow};
    std::stable_sort(order.begin(), order.end(),
                     [](const Source& a, const Source& b) { return a.manifestRow < b.manifestRow; });
    QStringList projects;
    for (const Source& o : std::as_const(order)) {
        const SummaryRow& row = files[o.file].summary.rows[o.index];
        merged.rows << row;
        merge.origins << qMakePair(o.file, row.caseName);
        projects << row.project;
    }
    // Each shard named its cases among its own; the whole run names them among all.
    const QStringList names = caseFolderNames(projects);
    for (int i = 0; i < merged.rows.size(); ++i)
        merged.rows[i].caseName = names[i];

    CohortSettings& settings = merged.settings;
    if (reference >= 0 && settings.hasManifest()) {
        QSet<int> present;
        for (const SummaryRow& r : std::as_const(merged.rows))
            present.insert(r.manifestRow);
        for (int row = 0; row < settings.manifestRows; ++row)
            if (!present.contains(row))
                merge.missingRows << row;
        for (int shard = 1; shard <= settings.shards && shard <= settings.manifestRows; ++shard)
            if (!fileOfShard.contains(shard))
                merge.missingShards << QStringLiteral("%1/%2").arg(shard).arg(settings.shards);
    }
    merge.shards = settings.shards;
    settings.shard = settings.shards = 1;
    return merge;
}

QString missingText(const CohortMerge& merge)
{
    const int shards = merge.shards;
    QHash<int, QList<int>> rowsOfShard; // the missing rows by their shard
    for (int row : merge.missingRows)
        rowsOfShard[row % shards + 1] << row;
    auto rowsText = [](const QList<int>& rows) {
        return QStringLiteral("0-based manifest row%1 %2")
            .arg(rows.size() == 1 ? "" : "s", rowList(rows));
    };
    QStringList parts;
    constexpr int kShown = 20;
    for (int i = 0; i < merge.missingShards.size(); ++i) {
        const QString& shard = merge.missingShards[i];
        const QList<int> rows = rowsOfShard.take(shard.section(QLatin1Char('/'), 0, 0).toInt());
        if (i < kShown)
            parts << QStringLiteral("shard %1 (%2)").arg(shard, rowsText(rows));
    }
    if (merge.missingShards.size() > kShown)
        parts << QStringLiteral("%1 more shards").arg(merge.missingShards.size() - kShown);
    // Rows missing from the summaries of shards that were given: edited or cut short.
    QList<int> rest;
    for (int row : merge.missingRows)
        if (rowsOfShard.contains(row % shards + 1))
            rest << row; // in order, unlike the hash's lists
    if (!rest.isEmpty())
        parts << rowsText(rest) + QStringLiteral(" from the shards given");
    return parts.join(QStringLiteral(", "));
}

} // namespace kelvara
