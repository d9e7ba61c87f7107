#include "CohortSummary.h"

#include "BatchCase.h"
#include "CsvTable.h"
#include "FileAccess.h"

#include <QLocale>

#include <cmath>
#include <limits>

namespace kelvara {

namespace {

// The extra manifest columns stand between these two groups.
const QStringList& leadingColumns()
{
    static const QStringList c{"case",           "project",
                               "label",          "status",
                               "verdict",        "suspiciousPixels",
                               "averageSignal",  "averageSignalNonMasked",
                               "keptAreaPixels", "error"};
    return c;
}

const QStringList& trailingColumns()
{
    static const QStringList c{"version", "smallArea", "pathology"};
    return c;
}

const QString kOk = QStringLiteral("ok");
const QString kFailed = QStringLiteral("failed");

// Shortest text that reads back as the same double; an undefined average stays empty.
QString exactNumber(double v)
{
    return std::isnan(v) ? QString() : QString::number(v, 'g', QLocale::FloatingPointShortest);
}

bool readInt(const QString& text, int* out)
{
    bool ok = false;
    *out = text.toInt(&ok);
    return ok;
}

bool readDouble(const QString& text, double* out)
{
    if (text.isEmpty()) {
        *out = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    bool ok = false;
    *out = text.toDouble(&ok);
    return ok;
}

} // namespace

const QStringList& summaryColumns()
{
    static const QStringList c = leadingColumns() + trailingColumns();
    return c;
}

SummaryRow summaryRow(const CaseOutcome& outcome, const QString& project, const CaseLabel& label,
                      const QStringList& extra)
{
    SummaryRow r;
    r.caseName = outcome.name;
    r.project = project;
    r.label = label;
    r.ok = outcome.ok();
    r.error = outcome.error;
    r.pathology = outcome.pathology;
    r.suspiciousPixels = outcome.statistics.suspiciousPixels;
    r.averageSignal = outcome.statistics.averageSignal;
    r.averageSignalNonMasked = outcome.statistics.averageSignalNonMasked;
    r.keptAreaPixels = outcome.keptAreaPixels;
    r.extra = extra;
    return r;
}

QByteArray summaryCsv(const CohortSummary& summary)
{
    QByteArray text = csvRecord(leadingColumns() + summary.extraColumns + trailingColumns());
    const CohortSettings& s = summary.settings;
    const QStringList settings{s.version, QString::number(s.smallAreaThreshold),
                               QString::number(s.pathologyThreshold)};
    for (const SummaryRow& r : summary.rows) {
        QStringList fields{r.caseName, r.project, labelText(r.label), r.ok ? kOk : kFailed};
        if (r.ok)
            fields << verdictText(r.pathology) << QString::number(r.suspiciousPixels)
                   << exactNumber(r.averageSignal) << exactNumber(r.averageSignalNonMasked)
                   << QString::number(r.keptAreaPixels);
        else
            fields << QString() << QString() << QString() << QString() << QString();
        text += csvRecord(fields << r.error << r.extra << settings);
    }
    return text;
}

bool writeSummary(const QString& path, const CohortSummary& summary, QString* error)
{
    return writeFileAtomically(path, summaryCsv(summary), error);
}

std::optional<CohortSummary> readSummary(const QString& path, QString* error)
{
    const std::optional<CsvTable> table = readCsvTable(path, error);
    if (!table)
        return std::nullopt;
    const int leading = int(leadingColumns().size()), trailing = int(trailingColumns().size());
    const int extraCount = int(table->header.size()) - leading - trailing;
    if (extraCount < 0 || table->header.mid(0, leading) != leadingColumns() ||
        table->header.mid(leading + extraCount) != trailingColumns()) {
        *error = table->where(table->headerLine) +
                 QStringLiteral(": not a kelvara-batch summary (the columns are not %1)")
                     .arg(summaryColumns().join(QLatin1Char(',')));
        return std::nullopt;
    }
    CohortSummary summary;
    summary.extraColumns = table->header.mid(leading, extraCount);
    for (const CsvTable::Record& rec : table->records) {
        const QStringList& f = rec.fields;
        auto refuse = [&](int column) {
            *error =
                table->where(rec.line) +
                QStringLiteral(": %1 '%2' cannot be read").arg(table->header[column], f[column]);
            return std::nullopt;
        };
        SummaryRow r;
        r.caseName = f[0];
        r.project = f[1];
        if (!parseLabel(f[2], &r.label))
            return refuse(2);
        if (f[3] != kOk && f[3] != kFailed)
            return refuse(3);
        r.ok = f[3] == kOk;
        if (r.ok) {
            if (f[4] != verdictText(true) && f[4] != verdictText(false))
                return refuse(4);
            r.pathology = f[4] == verdictText(true);
            if (!readInt(f[5], &r.suspiciousPixels))
                return refuse(5);
            if (!readDouble(f[6], &r.averageSignal))
                return refuse(6);
            if (!readDouble(f[7], &r.averageSignalNonMasked))
                return refuse(7);
            if (!readInt(f[8], &r.keptAreaPixels))
                return refuse(8);
        }
        r.error = f[9];
        r.extra = f.mid(leading, extraCount);

        const int v = leading + extraCount;
        CohortSettings s;
        s.version = f[v];
        if (s.version.isEmpty())
            return refuse(v);
        if (!readInt(f[v + 1], &s.smallAreaThreshold))
            return refuse(v + 1);
        if (!readInt(f[v + 2], &s.pathologyThreshold))
            return refuse(v + 2);
        if (summary.rows.isEmpty()) {
            summary.settings = s;
        } else if (!(s == summary.settings)) {
            *error = table->where(rec.line) +
                     QStringLiteral(": made with other settings (version %1, small area %2, "
                                    "pathology %3) than the rows above")
                         .arg(s.version)
                         .arg(s.smallAreaThreshold)
                         .arg(s.pathologyThreshold);
            return std::nullopt;
        }
        summary.rows << r;
    }
    return summary;
}

} // namespace kelvara
