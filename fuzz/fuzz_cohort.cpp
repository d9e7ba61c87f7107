// Manifest and summary reading: any bytes as a manifest and as a summary.csv. Each is either
// refused with a message naming the file or read into rows that keep every promise of the
// reader (labels, counts, manifest rows inside the manifest and the shard, verdicts that follow
// from the kept area, no project twice); an accepted summary written again reads back into the
// same text, and evaluating or merging it does not fail.
#include "CohortEvaluation.h"
#include "CohortMerge.h"
#include "CohortSummary.h"
#include "Manifest.h"
#include "ResultMatrix.h"

#include <QSet>

#include <cstdint>
#include <cstdlib>

namespace {

using namespace kelvara;

// In a folder that does not exist: no project path resolves to a real file.
const QString kManifest = QStringLiteral("/nonexistent-fuzz/cohort.csv");
const QString kSummary = QStringLiteral("/nonexistent-fuzz/summary.csv");

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void checkManifest(const QByteArray& bytes)
{
    QString error;
    const std::optional<Manifest> m = parseManifest(bytes, kManifest, &error);
    if (!m) {
        check(error.startsWith(QLatin1Char('\'') + kManifest + QLatin1Char('\'')));
        return;
    }
    check(m->sha256.size() == 64);
    for (const QString& c : m->extraColumns)
        check(!summaryColumns().contains(c));
    QSet<QString> projects;
    for (const Manifest::Row& r : m->rows) {
        check(!r.project.trimmed().isEmpty() && r.extra.size() == m->extraColumns.size());
        check(!projects.contains(r.projectPath));
        projects.insert(r.projectPath);
    }
}

void checkSummary(const QByteArray& bytes)
{
    QString error;
    const std::optional<CohortSummary> s = parseSummary(bytes, kSummary, &error);
    if (!s) {
        check(error.startsWith(QLatin1Char('\'') + kSummary + QLatin1Char('\'')));
        return;
    }
    const CohortSettings& settings = s->settings;
    QSet<int> rows;
    for (const SummaryRow& r : s->rows) {
        check(r.suspiciousPixels >= 0 && r.keptAreaPixels >= 0);
        check(!r.ok ||
              r.pathology == ResultMatrix::isPathology(r.keptAreaPixels, settings.pathologyThreshold));
        if (r.manifestRow >= 0) {
            check(settings.hasManifest() && r.manifestRow < settings.manifestRows);
            check(inShard(r.manifestRow, settings.shard, settings.shards));
            check(!rows.contains(r.manifestRow));
            rows.insert(r.manifestRow);
        }
    }
    const QByteArray written = summaryCsv(*s);
    const std::optional<CohortSummary> again = parseSummary(written, kSummary, &error);
    check(again && summaryCsv(*again) == written);
    evaluationJson(evaluateCohort(s->rows), settings);
    const std::optional<CohortMerge> merge = mergeCohort({SummaryFile{kSummary, *s}}, &error);
    check(merge && merge->summary.rows.size() == s->rows.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    checkManifest(bytes);
    checkSummary(bytes);
    return 0;
}
