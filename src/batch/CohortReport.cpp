#include "CohortReport.h"

#include "BatchCase.h"
#include "FileAccess.h"
#include "Manifest.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

#include <algorithm>
#include <cmath>

namespace kelvara {

namespace {

// Text as HTML and XML both read it: markup characters escaped, characters XML does not allow
// (control characters from a hostile file name) replaced.
QString esc(const QString& text)
{
    QString out = text.toHtmlEscaped().replace(QLatin1Char('\''), QLatin1String("&#39;"));
    for (QChar& c : out)
        if ((c.unicode() < 0x20 && c != QLatin1Char('\n') && c != QLatin1Char('\r') &&
             c != QLatin1Char('\t')) ||
            c.unicode() == 0xFFFE || c.unicode() == 0xFFFF)
            c = QChar::ReplacementCharacter;
    return out;
}

// A relative file path as a URL path: '#', '?', '%' and spaces in folder names stay part of it.
QString urlPath(const QString& path)
{
    QStringList parts = path.split(QLatin1Char('/'));
    for (QString& p : parts)
        p = QString::fromLatin1(QUrl::toPercentEncoding(p));
    return parts.join(QLatin1Char('/'));
}

QString ratio(double v)
{
    return std::isnan(v) ? QStringLiteral("undefined") : QString::number(v, 'f', 3);
}

QString statistic(double v)
{
    return std::isnan(v) ? QString() : QString::number(v, 'g', 6);
}

QString row(const QStringList& cells, const char* tag = "td")
{
    QString out = QStringLiteral("<tr>");
    for (const QString& c : cells)
        out += QStringLiteral("<%1>%2</%1>").arg(QLatin1String(tag), c);
    return out + QStringLiteral("</tr>\n");
}

QStringList escaped(const QStringList& texts)
{
    QStringList out;
    for (const QString& t : texts)
        out << esc(t);
    return out;
}

QString labelCell(const CaseLabel& label)
{
    return label ? labelText(label) : QStringLiteral("unknown");
}

// The ROC curve on the unit square: false-positive rate right, sensitivity up.
QString rocSvg(const CohortEvaluation& e)
{
    const double left = 50, top = 20, size = 300;
    auto px = [&](double falsePositiveRate) {
        return QString::number(left + size * falsePositiveRate, 'f', 1);
    };
    auto py = [&](double sensitivity) {
        return QString::number(top + size * (1.0 - sensitivity), 'f', 1);
    };
    QString svg = QStringLiteral(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"380\" height=\"370\" "
        "viewBox=\"0 0 380 370\" role=\"img\"><title>ROC curve</title>\n"
        "<rect x=\"50\" y=\"20\" width=\"300\" height=\"300\" fill=\"none\" stroke=\"#888\"/>\n"
        "<line x1=\"50\" y1=\"320\" x2=\"350\" y2=\"20\" stroke=\"#ccc\" stroke-dasharray=\"4 "
        "4\"/>\n"
        "<text x=\"200\" y=\"355\" text-anchor=\"middle\">1 - specificity</text>\n"
        "<text x=\"15\" y=\"170\" text-anchor=\"middle\" transform=\"rotate(-90 15 170)\">"
        "sensitivity</text>\n"
        "<text x=\"50\" y=\"336\" text-anchor=\"middle\">0</text>"
        "<text x=\"350\" y=\"336\" text-anchor=\"middle\">1</text>"
        "<text x=\"42\" y=\"24\" text-anchor=\"end\">1</text>\n");
    if (std::isnan(e.auc))
        return svg + QStringLiteral("<text x=\"200\" y=\"170\" text-anchor=\"middle\">needs "
                                    "positive and negative cases</text></svg>\n");
    QStringList points{px(0) + QLatin1Char(',') + py(0)};
    for (auto p = e.roc.crbegin(); p != e.roc.crend(); ++p)
        points << px(1.0 - p->specificity) + QLatin1Char(',') + py(p->sensitivity);
    svg += QStringLiteral("<polyline fill=\"none\" stroke=\"#1f5fa8\" stroke-width=\"2\" "
                          "points=\"%1\"/>\n")
               .arg(points.join(QLatin1Char(' ')));
    svg += QStringLiteral("<circle cx=\"%1\" cy=\"%2\" r=\"6\" fill=\"#c0392b\"><title>operating "
                          "point: sensitivity %3, specificity %4</title></circle>\n")
               .arg(px(1.0 - e.specificity), py(e.sensitivity), ratio(e.sensitivity),
                    ratio(e.specificity));
    return svg + QStringLiteral("</svg>\n");
}

const char* kStyle =
    "body{font-family:sans-serif;margin:2em;color:#222}"
    "table{border-collapse:collapse;margin:0.5em 0 1.5em}"
    "th,td{border:1px solid #bbb;padding:0.25em 0.6em;text-align:left;vertical-align:middle}"
    "th{background:#eee}td.n{text-align:right}img{display:block}"
    ".roc{display:flex;gap:2em;align-items:center}.missing{color:#a00}";

} // namespace

QByteArray cohortReportHtml(const CohortReport& report)
{
    const CohortSummary& s = report.summary;
    const CohortEvaluation& e = report.evaluation;
    QString h =
        QStringLiteral(
            "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n"
            "<meta charset=\"utf-8\"/>\n<title>Kelvara cohort report</title>\n<style>%1</style>\n"
            "</head>\n<body>\n<h1>Kelvara cohort report</h1>\n")
            .arg(QLatin1String(kStyle));

    if (!report.missing.isEmpty())
        h += QStringLiteral("<p class=\"missing\"><strong>Incomplete: this cohort lacks %1. "
                            "Every number below leaves them out.</strong></p>\n")
                 .arg(esc(report.missing));
    h += QStringLiteral("<h2>Settings</h2>\n<table><tbody>\n");
    h += row({QStringLiteral("version"), esc(s.settings.version)}, "td");
    h += row(
        {QStringLiteral("small area threshold"), QString::number(s.settings.smallAreaThreshold)});
    h += row(
        {QStringLiteral("pathology threshold"), QString::number(s.settings.pathologyThreshold)});
    for (const auto& option : report.options)
        h += row({esc(option.first), esc(option.second)});
    h += QStringLiteral("</tbody></table>\n");

    h += QStringLiteral("<h2>Verdicts against labels</h2>\n<p>%1 labelled cases (%2 with label 1, "
                        "%3 with label 0); %4 failed and %5 unlabelled cases left out.</p>\n")
             .arg(e.labelled)
             .arg(e.positives)
             .arg(e.negatives)
             .arg(e.failed)
             .arg(e.unlabelled);
    h += QStringLiteral("<table><tbody>\n") +
         row({QString(), QStringLiteral("label 1 (pathology)"), QStringLiteral("label 0 (none)")},
             "th") +
         row({esc(verdictText(true)), QString::number(e.tp), QString::number(e.fp)}) +
         row({esc(verdictText(false)), QString::number(e.fn), QString::number(e.tn)}) +
         QStringLiteral("</tbody></table>\n<p>Sensitivity %1, specificity %2.</p>\n")
             .arg(ratio(e.sensitivity), ratio(e.specificity));
    h += QStringLiteral("<h2>ROC curve</h2>\n<div class=\"roc\">\n") + rocSvg(e) +
         QStringLiteral("<p>AUC %1<br/>The red dot is the operating point of the pathology "
                        "threshold %2.</p>\n</div>\n")
             .arg(ratio(e.auc))
             .arg(s.settings.pathologyThreshold);

    h += QStringLiteral("<h2>Cases</h2>\n<table><tbody>\n") +
         row(QStringList{"case", "project", "label", "verdict", "kept area", "suspicious pixels",
                         "average signal", "average signal (non-masked)"} +
                 escaped(s.extraColumns) + QStringList{"overlay"},
             "th");
    QString failed;
    for (int i = 0; i < s.rows.size(); ++i) {
        const SummaryRow& r = s.rows[i];
        if (!r.ok) {
            failed += row({esc(r.caseName), esc(r.project), labelCell(r.label), esc(r.error)});
            continue;
        }
        const QString overlay = report.overlays.value(i);
        const QString link = esc(urlPath(overlay));
        h += row(QStringList{esc(r.caseName), esc(r.project), labelCell(r.label),
                             esc(verdictText(r.pathology)), QString::number(r.keptAreaPixels),
                             QString::number(r.suspiciousPixels), statistic(r.averageSignal),
                             statistic(r.averageSignalNonMasked)} +
                 escaped(r.extra) +
                 QStringList{overlay.isEmpty()
                                 ? QStringLiteral("none")
                                 : QStringLiteral("<a href=\"%1\"><img src=\"%1\" width=\"96\" "
                                                  "height=\"96\" alt=\"overlay of %2\"/></a>")
                                       .arg(link, esc(r.caseName))});
    }
    h += QStringLiteral("</tbody></table>\n");
    if (!failed.isEmpty())
        h += QStringLiteral("<h2>Failed cases</h2>\n<table><tbody>\n") +
             row({"case", "project", "label", "error"}, "th") + failed +
             QStringLiteral("</tbody></table>\n");
    return (h + QStringLiteral("</body>\n</html>\n")).toUtf8();
}

bool writeCohortReport(const QString& path, const CohortReport& report, QString* error)
{
    return writeFileAtomically(path, cohortReportHtml(report), error);
}

QString overlayLink(const SummaryRow& row, const QDir& caseRoot, const QDir& reportDir)
{
    // Checked where it is: reportDir may not exist yet, so a path through it cannot be.
    const QString image = QDir::cleanPath(
        caseRoot.absoluteFilePath(row.caseName + QStringLiteral("/evaluation_overlay.png")));
    return row.ok && checkRegularFile(image, kMaximumImageFileSize, nullptr)
               ? reportDir.relativeFilePath(image)
               : QString();
}

bool writeCohortOutputs(const QDir& outDir, CohortReport& report, bool* evaluated, QString* error)
{
    const QList<SummaryRow>& rows = report.summary.rows;
    report.evaluation = evaluateCohort(rows);
    *evaluated = std::any_of(rows.cbegin(), rows.cend(),
                             [](const SummaryRow& r) { return r.label.has_value(); });
    const QString evaluationPath = outDir.filePath(QStringLiteral("evaluation.json"));
    if (*evaluated) {
        QJsonObject json = evaluationJson(report.evaluation, report.summary.settings);
        if (!report.missingShards.isEmpty() || !report.missingRows.isEmpty()) {
            QJsonArray rows;
            for (int r : std::as_const(report.missingRows))
                rows.append(r);
            json.insert(QStringLiteral("missing"),
                        QJsonObject{{QStringLiteral("shards"),
                                     QJsonArray::fromStringList(report.missingShards)},
                                    {QStringLiteral("manifestRows"), rows}});
        }
        if (!writeFileAtomically(evaluationPath,
                                 QJsonDocument(json).toJson(QJsonDocument::Indented), error))
            return false;
    } else if (QFile::exists(evaluationPath) && !QFile::remove(evaluationPath)) {
        *error = QStringLiteral("cannot remove the earlier '%1'").arg(displayPath(evaluationPath));
        return false;
    }
    return writeCohortReport(outDir.filePath(QStringLiteral("report.html")), report, error);
}

} // namespace kelvara
