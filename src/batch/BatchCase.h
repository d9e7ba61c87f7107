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
    QString name; // the project file name without extension; also the output folder
    QString error;
    bool pathology = false;
    SolutionStatistics statistics;
    int keptAreaPixels = 0;
    QJsonObject result; // what result.json holds

    bool ok() const { return error.isEmpty(); }
};

QString verdictText(bool pathology);

// Loads the project as "Load project" does, runs every analysis button in order (load, analyse,
// write) and writes the images, result.json (and with options.planes the planes) into outDir/<name>/. Notes that are
// not errors (a raised band-filter cut-off) go to `note`.
CaseOutcome runBatchCase(const QString& projectPath, const BatchOptions& options,
                         const std::function<void(const QString&)>& note = {});

} // namespace kelvara
