#pragma once

#include "AnalysisChain.h"
#include "BatchOptions.h"

#include <QJsonObject>
#include <QString>

#include <functional>

namespace kelvara {

// What one project gave: either an error (the case was skipped) or its statistics and verdict.
struct CaseOutcome
{
    QString name;    // the case folder's name in the output folder (see caseFolderNames)
    QString project; // the project file's absolute path
    QString error;
    bool pathology = false;
    SolutionStatistics statistics;
    int keptAreaPixels = 0;
    QJsonObject result; // what result.json holds

    bool ok() const { return error.isEmpty(); }
};

QString verdictText(bool pathology);

// Sets the process up for running cases, once, before the first: every case runs on one thread
// (parallelism comes from running several cases, so --jobs 1 is truly sequential and --jobs N
// uses N cores without oversubscribing them), and freed memory is kept for the next case
// instead of being returned to the system and faulted in again (a case allocates and frees
// some 30 MiB of planes).
void prepareProcessForCases();

// The case folder of each project, in order: the file name without extension, without leading
// dots (so never "", "." or "..", nor hidden), unique in the output folder ("study", "study-2").
QStringList caseFolderNames(const QStringList& projects);

// Loads the project as "Load project" does, runs every analysis button in order (load, analyse,
// write) and writes the images, result.json (and with options.planes the planes) into
// outDir/folderName/, which is replaced as a whole once everything is written. A case that
// fails leaves a folder whose result.json holds only "case", "project" and "error". Notes that
// are not errors (a raised band-filter cut-off) go to `note`.
CaseOutcome runBatchCase(const QString& projectPath, const QString& folderName,
                         const BatchOptions& options,
                         const std::function<void(const QString&)>& note = {});

} // namespace kelvara
