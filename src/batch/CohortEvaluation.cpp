#include "CohortEvaluation.h"

#include "ResultMatrix.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvara {

namespace {

double ratio(int count, int of)
{
    return of > 0 ? double(count) / double(of) : std::numeric_limits<double>::quiet_NaN();
}

QJsonValue jsonRatio(double v)
{
    return std::isnan(v) ? QJsonValue() : QJsonValue(v);
}

} // namespace

CohortEvaluation evaluateCohort(const QList<SummaryRow>& rows)
{
    CohortEvaluation e;
    QList<const SummaryRow*> labelled;
    for (const SummaryRow& r : rows) {
        if (!r.ok)
            ++e.failed;
        else if (!r.label)
            ++e.unlabelled;
        else
            labelled << &r;
    }
    e.labelled = int(labelled.size());
    QList<int> thresholds;
    for (const SummaryRow* r : std::as_const(labelled)) {
        const bool truth = *r->label;
        (truth ? e.positives : e.negatives) += 1;
        if (r->pathology)
            (truth ? e.tp : e.fp) += 1;
        else
            (truth ? e.fn : e.tn) += 1;
        thresholds << r->keptAreaPixels;
    }
    e.sensitivity = ratio(e.tp, e.positives);
    e.specificity = ratio(e.tn, e.negatives);

    std::sort(thresholds.begin(), thresholds.end());
    thresholds.erase(std::unique(thresholds.begin(), thresholds.end()), thresholds.end());
    for (int t : std::as_const(thresholds)) {
        int tp = 0, tn = 0;
        for (const SummaryRow* r : std::as_const(labelled)) {
            const bool called = ResultMatrix::isPathology(r->keptAreaPixels, t);
            tp += *r->label && called;
            tn += !*r->label && !called;
        }
        e.roc << CohortEvaluation::RocPoint{t, ratio(tp, e.positives), ratio(tn, e.negatives)};
    }

    // Trapezoids from (0, 0) through the points, whose false-positive rate falls as the
    // threshold rises; a tie between a positive and a negative case gives half a pair.
    if (e.positives == 0 || e.negatives == 0) {
        e.auc = std::numeric_limits<double>::quiet_NaN();
    } else {
        double area = 0.0, x = 0.0, y = 0.0;
        for (auto p = e.roc.crbegin(); p != e.roc.crend(); ++p) {
            const double px = 1.0 - p->specificity, py = p->sensitivity;
            area += (px - x) * (py + y) / 2.0;
            x = px;
            y = py;
        }
        e.auc = area;
    }
    return e;
}

QJsonObject evaluationJson(const CohortEvaluation& e, const CohortSettings& settings)
{
    QJsonArray roc;
    for (const CohortEvaluation::RocPoint& p : e.roc)
        roc.append(QJsonObject{{"threshold", p.threshold},
                               {"sensitivity", jsonRatio(p.sensitivity)},
                               {"specificity", jsonRatio(p.specificity)}});
    const QJsonObject at{{"smallArea", settings.smallAreaThreshold},
                         {"pathology", settings.pathologyThreshold},
                         {"tp", e.tp},
                         {"fp", e.fp},
                         {"tn", e.tn},
                         {"fn", e.fn},
                         {"sensitivity", jsonRatio(e.sensitivity)},
                         {"specificity", jsonRatio(e.specificity)}};
    return QJsonObject{{"version", settings.version}, {"labelled", e.labelled},
                       {"positives", e.positives},    {"negatives", e.negatives},
                       {"failed", e.failed},          {"unlabelled", e.unlabelled},
                       {"atThresholds", at},          {"roc", roc},
                       {"auc", jsonRatio(e.auc)}};
}

} // namespace kelvara
