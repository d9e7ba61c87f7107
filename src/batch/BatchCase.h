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

// Every case folder kelvara-batch writes (failed cases too) holds this file, written with the
// rest, so that a later run replaces only what it wrote itself; whatever else has the name is
// the user's.
inline constexpr char kCaseFolderMarker[] = ".kelvara-case";

// True when path is a folder (not a link) with kelvara-batch's marker in it.
bool isCaseFolder(const QString& path);

// Writes the marker into dir (a staging folder).
bool markCaseFolder(const QString& dir, QString* error);

// The case folder of each project, in order: the file name without extension, without leading
// dots (so never "", "." or ".."), unique in the run ("study", "study-2"). With outDir,
// a name whose place there is taken by anything but an earlier case folder that can be replaced
// (a folder or file of the user's, a read-only earlier case folder) is passed over for the next
// free one, with a line in *notes naming the place taken and the name used.
QStringList caseFolderNames(const QStringList& projects, const QString& outDir = QString(),
                            QStringList* notes = nullptr);

// Loads the project as "Load project" does, runs every analysis button in order (load, analyse,
// write) and writes the images, result.json (and with options.planes the planes) into
// outDir/folderName/, which is put in place as a whole once everything is written, replacing
// only an earlier case folder. A case that fails leaves a folder whose result.json holds only
// "case", "project" and "error". Notes that are not errors (a raised band-filter cut-off) go to
// `note`.
CaseOutcome runBatchCase(const QString& projectPath, const QString& folderName,
                         const BatchOptions& options,
                         const std::function<void(const QString&)>& note = {});

} // namespace kelvara
