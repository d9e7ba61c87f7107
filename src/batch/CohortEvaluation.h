#pragma once

#include "CohortSummary.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

namespace kelvara {

// How well the verdicts of a labelled cohort agree with its labels. Ratios that are undefined
// (no positive or no negative case) are NaN here and null in evaluation.json.
struct CohortEvaluation
{
    struct RocPoint
    {
        int threshold = 0;
        double sensitivity = 0.0;
        double specificity = 0.0;
    };
    int labelled = 0, positives = 0, negatives = 0, failed = 0, unlabelled = 0;
    int tp = 0, fp = 0, tn = 0, fn = 0; // at the thresholds the verdicts were made with
    double sensitivity = 0.0, specificity = 0.0;
    QList<RocPoint> roc; // the pathology threshold at every distinct kept area, ascending
    double auc = 0.0;    // under the ROC points and (0, 0)
};

// Failed and unlabelled cases are counted and left out of everything else.
CohortEvaluation evaluateCohort(const QList<SummaryRow>& rows);

QJsonObject evaluationJson(const CohortEvaluation& evaluation, const CohortSettings& settings);

} // namespace kelvara
