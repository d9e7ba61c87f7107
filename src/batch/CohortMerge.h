#pragma once

#include "CohortSummary.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace kelvara {

// A summary as --evaluate was given it.
struct SummaryFile
{
    QString path;
    CohortSummary summary;
};

// The shards of one run put together as the whole run would have written them.
struct CohortMerge
{
    // Rows in manifest order (projects named on the command line first, as a run takes them),
    // case names given as the whole run gives them; settings of the whole run (shard 1/1).
    CohortSummary summary;
    // Where each row's case folder is: the index of its file and its name there.
    QList<QPair<int, QString>> origins;
    int shards = 1;            // of the run the summaries come from
    QStringList missingShards; // "I/N", of shards that own rows and were not given
    QList<int> missingRows;    // 0-based manifest rows no summary has, ascending
    bool complete() const { return missingShards.isEmpty() && missingRows.isEmpty(); }
};

// Refused, with *error naming the files: summaries of other versions, options, manifests,
// numbers of shards or manifest columns; one shard in two files; two summaries of projects
// named on the command line (nothing says they belong together). A summary without rows says
// nothing about its run and fits any other. Missing shards and rows are listed, not refused.
std::optional<CohortMerge> mergeCohort(const QList<SummaryFile>& files, QString* error);

// "shard 3/4 (manifest rows 2, 6, 10)" and the like: what a merge lacks, for messages.
QString missingText(const CohortMerge& merge);

} // namespace kelvara
