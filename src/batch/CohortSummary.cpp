#include "CohortSummary.h"

#include "BatchCase.h"
#include "CsvTable.h"
#include "FileAccess.h"
#include "ResultMatrix.h"

#include <QHash>
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

// The columns that say what made the rows: the first three were there before the others.
const QStringList& trailingColumns()
{
    static const QStringList c = QStringList{"version"} + BatchOptions::analysisKeys() +
                                 QStringList{"shard", "manifestSha256", "manifestRows",
                                             "manifestRow"};
    return c;
}

// What summaries had before they recorded their shard and manifest.
const QStringList& earlierTrailingColumns()
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

QString rowsText(int rows)
{
    return rows == 1 ? QStringLiteral("1 row") : QStringLiteral("%1 rows").arg(rows);
}

// A whole number of 0 or more, written as digits only (no sign, space or exponent).
bool readCount(const QString& text, int* out)
{
    if (text.isEmpty() || text.size() > 9)
        return false;
    for (const QChar c : text)
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    *out = text.toInt();
    return true;
}

// Finite, or empty for an undefined average.
bool readDouble(const QString& text, double* out)
{
    if (text.isEmpty()) {
        *out = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    bool ok = false;
    *out = text.toDouble(&ok);
    return ok && std::isfinite(*out);
}

// "I/N" with 1 <= I <= N, digits only.
bool readShard(const QString& text, int* shard, int* shards)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    return parts.size() == 2 && readCount(parts[0], shard) && readCount(parts[1], shards) &&
           *shard >= 1 && *shard <= *shards;
}

bool isSha256(const QString& text)
{
    if (text.size() != 64)
        return false;
    for (const QChar c : text)
        if (!((c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
              (c >= QLatin1Char('a') && c <= QLatin1Char('f'))))
            return false;
    return true;
}

} // namespace

const QStringList& summaryColumns()
{
    static const QStringList c = leadingColumns() + trailingColumns();
    return c;
}

CohortSettings cohortSettings(const BatchOptions& options, const QString& version,
                              const QString& manifestSha256, int manifestRows)
{
    CohortSettings s;
    s.version = version;
    s.options = options.analysisTexts();
    s.smallAreaThreshold = options.smallAreaThreshold;
    s.pathologyThreshold = options.pathologyThreshold;
    s.shard = options.shard;
    s.shards = options.shards;
    s.manifestSha256 = manifestSha256;
    s.manifestRows = manifestSha256.isEmpty() ? 0 : manifestRows;
    return s;
}

QList<QPair<QString, QString>> runFacts(const CohortSettings& s)
{
    QList<QPair<QString, QString>> facts{{QStringLiteral("version"), s.version}};
    const QStringList& keys = BatchOptions::analysisKeys();
    for (int i = 0; i < keys.size(); ++i)
        facts << qMakePair(keys[i], s.options.value(i));
    facts << qMakePair(QStringLiteral("manifest"),
                       s.hasManifest() ? QStringLiteral("SHA-256 %1 (%2)")
                                             .arg(s.manifestSha256, rowsText(s.manifestRows))
                                       : QStringLiteral("none"));
    facts << qMakePair(QStringLiteral("shards"), QString::number(s.shards));
    return facts;
}

QString settingsDifference(const CohortSettings& a, const CohortSettings& b, QString* inB)
{
    const auto fa = runFacts(a), fb = runFacts(b);
    QStringList da, db;
    for (int i = 0; i < fa.size(); ++i)
        if (fa[i].second != fb[i].second)
            da << fa[i].first + QLatin1Char(' ') + fa[i].second,
                db << fb[i].first + QLatin1Char(' ') + fb[i].second;
    if (a.shard != b.shard)
        da << QStringLiteral("shard %1/%2").arg(a.shard).arg(a.shards),
            db << QStringLiteral("shard %1/%2").arg(b.shard).arg(b.shards);
    *inB = db.join(QStringLiteral(", "));
    return da.join(QStringLiteral(", "));
}

SummaryRow summaryRow(const CaseOutcome& outcome, const QString& project, const CaseLabel& label,
                      const QStringList& extra, int manifestRow)
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
    r.manifestRow = manifestRow;
    return r;
}

QByteArray summaryCsv(const CohortSummary& summary)
{
    QByteArray text = csvRecord(leadingColumns() + summary.extraColumns + trailingColumns());
    const CohortSettings& s = summary.settings;
    const QStringList settings =
        QStringList{s.version} + s.options +
        QStringList{QStringLiteral("%1/%2").arg(s.shard).arg(s.shards), s.manifestSha256,
                    s.hasManifest() ? QString::number(s.manifestRows) : QString()};
    for (const SummaryRow& r : summary.rows) {
        QStringList fields{r.caseName, r.project, labelText(r.label), r.ok ? kOk : kFailed};
        if (r.ok)
            fields << verdictText(r.pathology) << QString::number(r.suspiciousPixels)
                   << exactNumber(r.averageSignal) << exactNumber(r.averageSignalNonMasked)
                   << QString::number(r.keptAreaPixels);
        else
            fields << QString() << QString() << QString() << QString() << QString();
        text += csvRecord(fields << r.error << r.extra << settings
                                 << (r.manifestRow >= 0 ? QString::number(r.manifestRow)
                                                        : QString()));
    }
    return text;
}

bool writeSummary(const QString& path, const CohortSummary& summary, QString* error)
{
    return writeFileAtomically(path, summaryCsv(summary), error);
}

namespace {

std::optional<CohortSummary> summaryOf(const CsvTable& table, QString* error)
{
    const int leading = int(leadingColumns().size()), trailing = int(trailingColumns().size());
    const int extraCount = int(table.header.size()) - leading - trailing;
    if (extraCount < 0 || table.header.mid(0, leading) != leadingColumns() ||
        table.header.mid(leading + extraCount) != trailingColumns()) {
        const int earlier = int(earlierTrailingColumns().size());
        const bool old = table.header.mid(0, leading) == leadingColumns() &&
                         table.header.size() >= leading + earlier &&
                         table.header.mid(table.header.size() - earlier) == earlierTrailingColumns();
        *error = table.where(table.headerLine) +
                 (old ? QStringLiteral(": written by an earlier kelvara-batch, without the "
                                       "options, shard and manifest columns that a merge checks; "
                                       "run its cases again")
                      : QStringLiteral(": not a kelvara-batch summary (the columns are not %1)")
                            .arg(summaryColumns().join(QLatin1Char(','))));
        return std::nullopt;
    }
    CohortSummary summary;
    summary.extraColumns = table.header.mid(leading, extraCount);
    QHash<int, int> lineOfRow; // manifest row -> the line that has it
    for (const CsvTable::Record& rec : table.records) {
        const QStringList& f = rec.fields;
        auto refuse = [&](int column, const QString& why = QStringLiteral("cannot be read")) {
            *error = table.where(rec.line) +
                     QStringLiteral(": %1 '%2' %3").arg(table.header[column], f[column], why);
            return std::nullopt;
        };
        const QString notACount = QStringLiteral("is not a count (a whole number, 0 or more)");
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
            if (!readCount(f[5], &r.suspiciousPixels))
                return refuse(5, notACount);
            if (!readDouble(f[6], &r.averageSignal))
                return refuse(6, QStringLiteral("is not a finite number"));
            if (!readDouble(f[7], &r.averageSignalNonMasked))
                return refuse(7, QStringLiteral("is not a finite number"));
            if (!readCount(f[8], &r.keptAreaPixels))
                return refuse(8, notACount);
        } else {
            // A failed case has no results; a value there was put in by hand.
            for (int c = 4; c <= 8; ++c)
                if (!f[c].isEmpty())
                    return refuse(c, QStringLiteral("is given for a failed case"));
        }
        r.error = f[9];
        r.extra = f.mid(leading, extraCount);

        const int v = leading + extraCount;
        const int optionCount = int(BatchOptions::analysisKeys().size());
        CohortSettings s;
        s.version = f[v];
        if (s.version.isEmpty())
            return refuse(v);
        s.options = f.mid(v + 1, optionCount);
        for (int i = 0; i < optionCount; ++i)
            if (s.options[i].isEmpty())
                return refuse(v + 1 + i);
        if (!readCount(s.options[0], &s.smallAreaThreshold))
            return refuse(v + 1, notACount);
        if (!readCount(s.options[1], &s.pathologyThreshold))
            return refuse(v + 2, notACount);
        const int shardColumn = v + 1 + optionCount;
        if (!readShard(f[shardColumn], &s.shard, &s.shards))
            return refuse(shardColumn, QStringLiteral("is not I/N with 1 <= I <= N"));
        s.manifestSha256 = f[shardColumn + 1];
        const int rowsColumn = shardColumn + 2, rowColumn = shardColumn + 3;
        if (s.hasManifest()) {
            if (!isSha256(s.manifestSha256))
                return refuse(shardColumn + 1, QStringLiteral("is not a SHA-256 in hex"));
            if (!readCount(f[rowsColumn], &s.manifestRows))
                return refuse(rowsColumn, notACount);
        } else {
            if (!f[rowsColumn].isEmpty() || !f[rowColumn].isEmpty())
                return refuse(f[rowsColumn].isEmpty() ? rowColumn : rowsColumn,
                              QStringLiteral("is given without a manifest"));
            if (s.shards != 1)
                return refuse(shardColumn, QStringLiteral("is given without a manifest"));
        }
        if (!f[rowColumn].isEmpty()) {
            if (!readCount(f[rowColumn], &r.manifestRow))
                return refuse(rowColumn, notACount);
            if (r.manifestRow >= s.manifestRows)
                return refuse(rowColumn, QStringLiteral("lies past the manifest's %1")
                                             .arg(rowsText(s.manifestRows)));
            if (!inShard(r.manifestRow, s.shard, s.shards))
                return refuse(rowColumn, QStringLiteral("is not one of shard %1/%2's rows")
                                             .arg(s.shard)
                                             .arg(s.shards));
            if (const auto earlier = lineOfRow.constFind(r.manifestRow);
                earlier != lineOfRow.cend())
                return refuse(rowColumn, QStringLiteral("is on line %1 already").arg(*earlier));
            lineOfRow.insert(r.manifestRow, rec.line);
        } else if (s.shards != 1) {
            // Only a whole run takes projects named on the command line.
            return refuse(rowColumn, QStringLiteral("is empty in shard %1/%2")
                                         .arg(s.shard)
                                         .arg(s.shards));
        }
        // The verdict is the kept area against the pathology threshold; a hand-edited number
        // would move the ROC without the verdict.
        if (r.ok && r.pathology != ResultMatrix::isPathology(r.keptAreaPixels,
                                                             s.pathologyThreshold))
            return refuse(4, QStringLiteral("does not follow from keptAreaPixels %1 at "
                                            "pathology %2")
                                 .arg(r.keptAreaPixels)
                                 .arg(s.pathologyThreshold));
        if (summary.rows.isEmpty()) {
            summary.settings = s;
        } else if (!(s == summary.settings)) {
            QString above;
            const QString here = settingsDifference(s, summary.settings, &above);
            *error = table.where(rec.line) +
                     QStringLiteral(": made with other settings (%1) than the rows above (%2)")
                         .arg(here, above);
            return std::nullopt;
        }
        summary.rows << r;
    }
    return summary;
}

} // namespace

std::optional<CohortSummary> readSummary(const QString& path, QString* error)
{
    const std::optional<CsvTable> table = readCsvTable(path, error);
    return table ? summaryOf(*table, error) : std::nullopt;
}

std::optional<CohortSummary> parseSummary(const QByteArray& bytes, const QString& path,
                                          QString* error)
{
    const std::optional<CsvTable> table = parseCsvTable(bytes, path, error);
    return table ? summaryOf(*table, error) : std::nullopt;
}

} // namespace kelvara
