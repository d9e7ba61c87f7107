#pragma once

#include "ControlValues.h"

#include <QString>
#include <QStringList>

#include <array>

namespace kelvara {

// The command line of kelvara-batch. Options stand for window controls that a project does not
// store; each defaults to its control's start value and is limited as that control limits it.
struct BatchOptions
{
    QString outDir = QStringLiteral("kelvara-out");
    int smallAreaThreshold = 0;
    int pathologyThreshold = 0;
    double resultAutocorrectFactor = 1.0;
    std::array<bool, 3> productChecked{false, false, false};
    std::array<double, 3> productAmplification{1.0, 1.0, 1.0};
    bool logarithmic = true;
    bool planes = false;
    QStringList projects;
    QString listSeries; // --list-series PATH: list the DICOM series under PATH, analyse nothing

    // The window's controls before a project load: the form's start values with the options.
    ControlValues controlsBeforeLoad() const;
};

enum class BatchCommand { Run, ListSeries, Help, Version, UsageError };

// arguments without the program name. On UsageError, *error says what is wrong.
BatchCommand parseBatchArguments(const QStringList& arguments, BatchOptions* options,
                                 QString* error);

QString batchUsage();

} // namespace kelvara
