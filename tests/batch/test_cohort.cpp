// Cohorts: manifests as spreadsheets write them, summaries that read back exactly, the AUC
// against a direct pairwise count, and --evaluate merging shards into the whole cohort's result.
#include "BatchCase.h"
#include "BatchOptions.h"
#include "BatchTestSupport.h"
#include "CohortEvaluation.h"
#include "CohortSummary.h"
#include "CsvTable.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImage>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>
#include <QXmlStreamReader>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <utility>

using namespace batchtest;
using namespace kelvara;

namespace {

const QString kManifestSha = QString(64, 'a');

// A cohort of n cases of a manifest of n rows with kept areas drawn from 0..maxKept (small
// ranges give many ties), a few failed and unlabelled, verdicts made at pathology threshold 40.
// Projects share file names, so case names need the run's numbering (<p&"1">-2).
CohortSummary randomCohort(quint32 seed, int n, int maxKept)
{
    QRandomGenerator random(seed);
    CohortSummary s;
    BatchOptions options;
    options.smallAreaThreshold = 20;
    options.pathologyThreshold = 40;
    s.settings = cohortSettings(options, QStringLiteral("1.0.0"), kManifestSha, n);
    s.extraColumns = QStringList{"site"};
    QStringList projects;
    for (int i = 0; i < n; ++i) {
        SummaryRow r;
        r.project = QStringLiteral("d%1/<p&\"%2\">%3.kelvara").arg(i).arg(i % 4).arg(i == 2 ? " #x" : "");
        projects << r.project;
        r.manifestRow = i;
        r.ok = i % 7 != 3;
        r.error = r.ok ? QString() : QStringLiteral("'x.bmp': \"not\" readable,\nat all\x01");
        const int kind = int(random.bounded(10));
        r.label = kind == 0 ? CaseLabel() : CaseLabel(kind > 4);
        if (r.ok) {
            r.keptAreaPixels = int(random.bounded(maxKept + 1));
            r.pathology = r.keptAreaPixels >= 40;
            r.suspiciousPixels = r.keptAreaPixels + int(random.bounded(9));
            r.averageSignal = random.generateDouble() * 255.0;
            r.averageSignalNonMasked = 1.0 / (i + 3);
        }
        r.extra = QStringList{QStringLiteral("site %1").arg(i % 3)};
        s.rows << r;
    }
    const QStringList names = caseFolderNames(projects);
    for (int i = 0; i < n; ++i)
        s.rows[i].caseName = names[i];
    return s;
}

// The summary shard `shard` of `shards` writes for the cohort: its rows, named among its own.
CohortSummary shardOf(const CohortSummary& whole, int shard, int shards)
{
    CohortSummary part = whole;
    part.settings.shard = shard;
    part.settings.shards = shards;
    part.rows.clear();
    QStringList projects;
    for (const SummaryRow& r : whole.rows)
        if (inShard(r.manifestRow, shard, shards))
            part.rows << r, projects << r.project;
    const QStringList names = caseFolderNames(projects);
    for (int i = 0; i < part.rows.size(); ++i)
        part.rows[i].caseName = names[i];
    return part;
}

// csv with fields replaced (column -> value) in record `record` (-1: every record); the value
// "<drop>" drops the record.
QByteArray edited(const QByteArray& csv, int record, const QList<QPair<QString, QString>>& edits)
{
    QString error;
    const std::optional<CsvTable> table = parseCsvTable(csv, "edited.csv", &error);
    if (!table)
        return error.toUtf8();
    QByteArray out = csvRecord(table->header);
    for (int i = 0; i < table->records.size(); ++i) {
        QStringList fields = table->records[i].fields;
        bool drop = false;
        if (record < 0 || record == i)
            for (const auto& [column, value] : edits) {
                drop = drop || value == "<drop>";
                fields[table->column(column)] = value;
            }
        if (!drop)
            out += csvRecord(fields);
    }
    return out;
}

// The first cells of the case tables of a report, in the page's order.
QStringList reportCases(const QString& reportPath)
{
    const QString html = QString::fromUtf8(readText(reportPath));
    QStringList cases;
    static const QRegularExpression cell(QStringLiteral("<tr><td>([^<]*)</td>"));
    for (const auto& m : cell.globalMatch(html.mid(html.indexOf("<h2>Cases</h2>"))))
        cases << m.captured(1);
    return cases;
}

// The sample project with its image paths made absolute, written as file.
bool writeSampleProject(const QString& sample, const QString& file)
{
    const QString samples = QStringLiteral(KELVARA_SAMPLES_DIR);
    QJsonObject root = readJson(samples + "/" + sample + ".kelvara");
    for (const char* m : {"T2", "DWI", "ADC"}) {
        QJsonObject image = root.value(QLatin1String(m)).toObject();
        image.insert("Path", samples + "/" + image.value("Path").toString());
        root.insert(QLatin1String(m), image);
    }
    return QDir().mkpath(QFileInfo(file).path()) &&
           writeText(file, QJsonDocument(root).toJson());
}

// A summary.csv with its case folders (an overlay image for each ok case but the first).
void writeCohort(const QString& dir, const CohortSummary& s)
{
    QVERIFY(QDir().mkpath(dir));
    QVERIFY(writeText(dir + "/summary.csv", summaryCsv(s)));
    bool first = true;
    for (const SummaryRow& r : s.rows)
        if (r.ok && !std::exchange(first, false)) {
            QVERIFY(QDir().mkpath(dir + "/" + r.caseName));
            QImage overlay(16, 16, QImage::Format_RGB32);
            overlay.fill(Qt::red);
            QVERIFY(overlay.save(dir + "/" + r.caseName + "/evaluation_overlay.png"));
        }
}

// Every src and href of the page resolves to a file inside dir; the number of images.
int checkReportLinks(const QString& dir, const QString& mustShow)
{
    QFile f(dir + "/report.html");
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    QXmlStreamReader xml(&f);
    int images = 0;
    bool shown = false;
    while (!xml.atEnd()) {
        xml.readNext();
        shown = shown || (xml.isCharacters() && xml.text().contains(mustShow));
        for (const char* attribute : {"src", "href"}) {
            const QString link = xml.attributes().value(attribute).toString();
            if (link.isEmpty())
                continue;
            images += attribute[0] == 's';
            // Resolved as a browser resolves it: a bare '#' would start a fragment.
            const QUrl url(link, QUrl::StrictMode);
            const QString file = QUrl::fromLocalFile(dir + "/").resolved(url).toLocalFile();
            if (!url.isRelative() || !QFileInfo(file).isFile())
                return -2;
        }
    }
    return xml.hasError() || !shown ? -3 : images;
}

} // namespace

class TestCohort : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;

private slots:
    void manifest_data()
    {
        QTest::addColumn<QByteArray>("csv");
        QTest::addColumn<QString>("expected"); // extra columns, then project path|label|extras
        QTest::newRow("spreadsheet export")
            << QByteArray("\xEF\xBB\xBFlabel,project,site,\"note, free\"\r\n"
                          "1,a.kelvara,\"Site \"\"A\"\"\",\"x,\r\ny\"\r\n"
                          ",sub/../b.kelvara,B,\r\n\r\n"
                          "0,/abs/c.kelvara,C,z")
            << "site;note, free\n1|@/a.kelvara|Site \"A\";x,\r\ny\n|@/b.kelvara|B;\n"
               "0|/abs/c.kelvara|C;z";
        QTest::newRow("no label column")
            << QByteArray(" project \nx y.kelvara\n\n") << "\n|@/x y.kelvara|";
        const QString file = tmp.filePath("manifest.csv");
        QTest::newRow("label neither 1 nor 0")
            << QByteArray("project,label,n\na,1,\"two\nlines\"\nb,yes,z\n")
            << "error:'" + file + "', line 4|label 'yes'";
        QTest::newRow("no project column")
            << QByteArray("projects,label\na,1\n") << "error:line 1|no 'project' column";
        QTest::newRow("duplicate column")
            << QByteArray("project,label,label\n") << "error:line 1|'label' appears twice";
        QTest::newRow("field count") << QByteArray("project,label\na,1\nb,1,x\n")
                                     << "error:line 3|3 fields, the header has 2";
        QTest::newRow("empty project")
            << QByteArray("project,label\n  ,1\n") << "error:line 2|project cell is empty";
        QTest::newRow("reserved column") << QByteArray("project,keptAreaPixels\na,7\n")
                                         << "error:'keptAreaPixels' is one summary.csv writes";
        QTest::newRow("open quote")
            << QByteArray("project\na\n\"b\nc\n") << "error:line 3|never ends";
        QTest::newRow("stray quote") << QByteArray("project\na\"b\n") << "error:line 2|quote";
        QTest::newRow("text after quote")
            << QByteArray("project\n\"a\"b\n") << "error:line 2|after the closing quote";
        QTest::newRow("not UTF-8") << QByteArray("project\n\xff.kelvara\n") << "error:not UTF-8";
        // Labels 1 and 0 or not, one file twice would enter the evaluation twice.
        QTest::newRow("one project twice")
            << QByteArray("project,label\na.kelvara,1\nb.kelvara,\nsub/../a.kelvara,0\n")
            << "error:lines 2 and 4|both name the project file '" + tmp.filePath("a.kelvara") + "'";
    }

    void manifest()
    {
        QFETCH(QByteArray, csv);
        QFETCH(QString, expected);
        const QString file = tmp.filePath("manifest.csv");
        QVERIFY(writeText(file, csv));
        QString error;
        const std::optional<Manifest> m = readManifest(file, &error);
        if (expected.startsWith("error:")) {
            QVERIFY(!m);
            for (const QString& part : expected.mid(6).split('|'))
                QVERIFY2(error.contains(part), qPrintable(error));
            return;
        }
        QVERIFY2(m, qPrintable(error));
        QStringList lines{m->extraColumns.join(';')};
        for (const Manifest::Row& r : m->rows)
            lines << labelText(r.label) + "|" + QString(r.projectPath).replace(tmp.path(), "@") +
                         "|" + r.extra.join(';');
        QCOMPARE(lines.join('\n'), expected);
    }

    // Every number, text and label reads back as written; doubles to the bit.
    void summaryRoundTrip()
    {
        CohortSummary s = randomCohort(7, 8, 100);
        s.rows[0].averageSignal = 0.1;
        s.rows[1].averageSignal = 5e-324;
        s.rows[2].averageSignal = std::nan("");
        s.rows[4].averageSignalNonMasked = 1.7976931348623157e308;
        const QString file = tmp.filePath("roundtrip.csv");
        QString error;
        QVERIFY2(writeSummary(file, s, &error), qPrintable(error));
        const std::optional<CohortSummary> back = readSummary(file, &error);
        QVERIFY2(back, qPrintable(error));
        QCOMPARE(summaryCsv(*back), summaryCsv(s));
        QCOMPARE(back->rows.size(), s.rows.size());
        QVERIFY(back->settings == s.settings);
        for (int i = 0; i < s.rows.size(); ++i) {
            const SummaryRow &a = s.rows[i], &b = back->rows[i];
            QCOMPARE(b.ok, a.ok);
            QCOMPARE(b.manifestRow, a.manifestRow);
            if (!a.ok)
                continue;
            for (auto v : {&SummaryRow::averageSignal, &SummaryRow::averageSignalNonMasked})
                QVERIFY(std::memcmp(&(a.*v), &(b.*v), sizeof(double)) == 0 ||
                        (std::isnan(a.*v) && std::isnan(b.*v)));
        }
    }

    void auc_data()
    {
        QTest::addColumn<quint32>("seed");
        QTest::addColumn<int>("cases");
        QTest::addColumn<int>("maxKept");
        QTest::newRow("few ties") << 1u << 60 << 100000;
        QTest::newRow("many ties") << 2u << 200 << 12;
        QTest::newRow("all tied") << 3u << 40 << 0;
        QTest::newRow("one class") << 4u << 3 << 50;
    }

    // The area under the ROC points against the Mann-Whitney count over every pair.
    void auc()
    {
        QFETCH(quint32, seed);
        QFETCH(int, cases);
        QFETCH(int, maxKept);
        CohortSummary s = randomCohort(seed, cases, maxKept);
        if (cases == 3)
            for (SummaryRow& r : s.rows)
                r.label = true;
        const CohortEvaluation e = evaluateCohort(s.rows);
        double pairs = 0, wins = 0;
        int tp = 0, fn = 0, fp = 0, tn = 0;
        for (const SummaryRow& p : s.rows) {
            if (!p.ok || !p.label)
                continue;
            (*p.label ? (p.pathology ? tp : fn) : (p.pathology ? fp : tn))++;
            for (const SummaryRow& n : s.rows)
                if (*p.label && n.ok && n.label == CaseLabel(false)) {
                    pairs += 1;
                    wins += p.keptAreaPixels > n.keptAreaPixels    ? 1.0
                            : p.keptAreaPixels == n.keptAreaPixels ? 0.5
                                                                   : 0.0;
                }
        }
        QCOMPARE(QList<int>({e.tp, e.fn, e.fp, e.tn}), QList<int>({tp, fn, fp, tn}));
        for (int i = 1; i < e.roc.size(); ++i)
            QVERIFY(e.roc[i - 1].threshold < e.roc[i].threshold);
        const QJsonObject json = evaluationJson(e, s.settings);
        if (pairs == 0) {
            QVERIFY(json.value("auc").isNull());
            QVERIFY(json.value("atThresholds").toObject().value("specificity").isNull());
        } else {
            QVERIFY2(std::abs(e.auc - wins / pairs) < 1e-12,
                     qPrintable(QString("%1 vs %2").arg(e.auc).arg(wins / pairs)));
            QCOMPARE(json.value("auc").toDouble(), e.auc);
        }
    }

    void shard_data()
    {
        QTest::addColumn<QString>("shard");
        QTest::addColumn<QString>("projects");
        QTest::newRow("first of three") << "1/3"
                                        << "p0 p3 p6";
        QTest::newRow("last of three") << "3/3"
                                       << "p2 p5";
        QTest::newRow("more shards than rows") << "9/9"
                                               << "";
    }

    // The rows a shard runs, as --shard selects them from a manifest.
    void shard()
    {
        QFETCH(QString, shard);
        QFETCH(QString, projects);
        const QString file = tmp.filePath("seven.csv");
        QVERIFY(writeText(file, "project\np0\np1\np2\np3\np4\np5\np6\n"));
        BatchOptions o;
        QString error;
        QCOMPARE(parseBatchArguments({"--manifest", file, "--shard", shard}, &o, &error),
                 BatchCommand::Run);
        const std::optional<Manifest> m = readManifest(file, &error);
        QVERIFY(m);
        QStringList selected;
        for (int i = 0; i < m->rows.size(); ++i)
            if (inShard(i, o.shard, o.shards))
                selected << m->rows[i].project;
        QCOMPARE(selected.join(' '), projects);
    }

    void mergedShards_data()
    {
        QTest::addColumn<int>("shards");
        QTest::addColumn<int>("omitted"); // a shard not given, 0 for none
        QTest::addColumn<bool>("allowMissing");
        QTest::newRow("one") << 1 << 0 << false;
        QTest::newRow("three") << 3 << 0 << false;
        QTest::newRow("twelve, glob order") << 12 << 0 << false;
        QTest::newRow("one of three missing") << 3 << 2 << false;
        QTest::newRow("one of three missing, allowed") << 3 << 2 << true;
        // Shards past the last row own nothing: not giving them loses nothing.
        QTest::newRow("an empty shard not given") << 12 << 11 << false;
    }

    // Shards evaluated together give the whole cohort's summary.csv, evaluation and report
    // order, whatever order they are given in; a missing shard is named with its rows and is
    // refused unless allowed, then said in evaluation.json and the report.
    void mergedShards()
    {
        QFETCH(int, shards);
        QFETCH(int, omitted);
        QFETCH(bool, allowMissing);
        const QString base = tmp.filePath(QStringLiteral("merge-%1/").arg(QTest::currentDataTag()));
        const CohortSummary whole = randomCohort(11, 10, 80);
        writeCohort(base + "whole", whole);
        QStringList given;
        for (int shard = 1; shard <= shards; ++shard) {
            writeCohort(base + QStringLiteral("shard-%1").arg(shard), shardOf(whole, shard, shards));
            if (shard != omitted)
                given << base + QStringLiteral("shard-%1/summary.csv").arg(shard);
        }
        given.sort(); // as a shell's glob gives them: shard-1, shard-10, shard-11, shard-2, ...
        QStringList args = QStringList{"--evaluate"} + given;
        if (allowMissing)
            args << "--allow-missing";
        const Run merged = runBatch(args << "--out" << base + "all");
        const Run one = runBatch({"--evaluate", base + "whole/summary.csv", "--out", base + "one"});
        QVERIFY2(one.exitCode == 0, qPrintable(one.err));
        const bool missing = omitted > 0 && omitted <= whole.rows.size();
        if (missing && !allowMissing) {
            QCOMPARE(merged.exitCode, 1);
            QVERIFY2(merged.err.contains("lack shard 2/3 (0-based manifest rows 1, 4, 7)"),
                     qPrintable(merged.err));
            QVERIFY(!QFile::exists(base + "all"));
            return;
        }
        QVERIFY2(merged.exitCode == 0, qPrintable(merged.err));
        const QJsonObject evaluation = readJson(base + "all/evaluation.json");
        if (missing) {
            QVERIFY(merged.err.contains("note: incomplete cohort"));
            QCOMPARE(evaluation.value("missing").toObject(),
                     QJsonObject({{"shards", QJsonArray{"2/3"}}, {"manifestRows", QJsonArray{1, 4, 7}}}));
            QVERIFY(readText(base + "all/report.html")
                        .contains("Incomplete: this cohort lacks shard 2/3 (0-based manifest rows 1, 4, 7)"));
            QString error;
            const std::optional<CohortSummary> back = readSummary(base + "all/summary.csv", &error);
            QVERIFY2(back, qPrintable(error));
            QList<int> rows;
            for (const SummaryRow& r : back->rows)
                rows << r.manifestRow;
            QCOMPARE(rows, QList<int>({0, 2, 3, 5, 6, 8, 9}));
            // The merged summary still says it is incomplete.
            QCOMPARE(runBatch({"--evaluate", base + "all/summary.csv", "--out", base + "again"}).exitCode, 1);
            return;
        }
        QCOMPARE(evaluation.value("labelled").toInt() + evaluation.value("failed").toInt() +
                     evaluation.value("unlabelled").toInt(),
                 10);
        QCOMPARE(evaluation, readJson(base + "one/evaluation.json"));
        QCOMPARE(readText(base + "all/summary.csv"), readText(base + "whole/summary.csv"));
        QCOMPARE(reportCases(base + "all/report.html"), reportCases(base + "one/report.html"));
        QCOMPARE(reportCases(base + "all/report.html").size(), 10);
        const int ok = int(std::count_if(whole.rows.begin(), whole.rows.end(),
                                         [](const SummaryRow& r) { return r.ok; }));
        // A shard's first ok case has no overlay image.
        QCOMPARE(checkReportLinks(base + "all", "<p&\"3\">.kelvara"), ok - std::min(shards, ok));
        QCOMPARE(checkReportLinks(base + "one", "not\" readable"), ok - 1);
    }

    void evaluateRefused_data()
    {
        // Each summary's text; "=0" gives the first summary's file again, "=out" writes the
        // first summary into --out.
        QTest::addColumn<QList<QByteArray>>("summaries");
        QTest::addColumn<QStringList>("messageParts");
        const CohortSummary whole = randomCohort(5, 6, 50);
        const QByteArray good = summaryCsv(whole);
        const QByteArray s1 = summaryCsv(shardOf(whole, 1, 3)), s2 = summaryCsv(shardOf(whole, 2, 3)),
                         s3 = summaryCsv(shardOf(whole, 3, 3));
        CohortSummary unmanifested = whole;
        unmanifested.settings.manifestSha256.clear();
        for (SummaryRow& r : unmanifested.rows)
            r.manifestRow = -1;
        auto row = [](const char* tag, QList<QByteArray> summaries, QStringList parts) {
            QTest::newRow(tag) << summaries << parts;
        };
        row("unknown verdict", {QByteArray(good).replace("NO PATHOLOGY DETECTED", "MAYBE")},
            {"s0.csv', line ", "verdict 'MAYBE'"});
        row("not a summary", {"project,label\na,1\n"}, {"s0.csv', line 1", "not a kelvara-batch"});
        row("a summary of an earlier version",
            {"case,project,label,status,verdict,suspiciousPixels,averageSignal,averageSignalNonMasked,"
             "keptAreaPixels,error,version,smallArea,pathology\n"},
            {"s0.csv', line 1", "earlier kelvara-batch"});
        row("rows of other settings", {edited(good, 5, {{"version", "1.0.1"}})},
            {"line 8", "other settings (version 1.0.1) than the rows above (version 1.0.0)"});
        row("negative kept area", {edited(good, 1, {{"keptAreaPixels", "-3"}})},
            {"s0.csv', line 3", "keptAreaPixels '-3' is not a count"});
        row("fractional count", {edited(good, 0, {{"suspiciousPixels", "2.5"}})},
            {"line 2", "suspiciousPixels '2.5' is not a count"});
        row("infinite average", {edited(good, 0, {{"averageSignal", "inf"}})},
            {"line 2", "averageSignal 'inf' is not a finite number"});
        row("a failed case with results", {edited(good, 3, {{"keptAreaPixels", "5"}})},
            {"keptAreaPixels '5' is given for a failed case"});
        row("kept area against the verdict",
            {edited(good, 0, {{"keptAreaPixels", "39"}, {"verdict", "SIGNIFICANT PATHOLOGY DETECTED"}})},
            {"line 2", "does not follow from keptAreaPixels 39 at pathology 40"});
        row("a row outside its shard", {edited(s2, 0, {{"manifestRow", "0"}})},
            {"manifestRow '0' is not one of shard 2/3's rows"});
        row("a row past the manifest", {edited(s1, 1, {{"manifestRow", "6"}})},
            {"manifestRow '6' lies past the manifest's 6 rows"});
        row("one row twice in a summary", {edited(good, 1, {{"manifestRow", "0"}})},
            {"line 3", "manifestRow '0' is on line 2 already"});
        row("a manifest row without a manifest",
            {edited(summaryCsv(unmanifested), 0, {{"manifestRow", "0"}})},
            {"manifestRow '0' is given without a manifest"});
        row("not a hash", {edited(good, -1, {{"manifestSha256", "xyz"}})},
            {"manifestSha256 'xyz' is not a SHA-256"});
        row("a shard twice", {s1, s2, s1}, {"s0.csv' and '", "s2.csv' are both shard 1/3"});
        row("the same file twice", {s1, s2, s3, "=0"}, {"s0.csv' and '", "s0.csv' are the same file"});
        row("the merge over a summary", {"=out", s2, s3}, {"is one of the summaries evaluated"});
        row("another manifest", {s1, edited(s2, -1, {{"manifestSha256", QString(64, 'b')}}), s3},
            {"s1.csv' was made with manifest SHA-256 bbbb", "s0.csv' with manifest SHA-256 aaaa"});
        row("other options", {s1, s2, edited(s3, -1, {{"autocorrectFactor", "2"}})},
            {"s2.csv' was made with autocorrectFactor 2, '", "s0.csv' with autocorrectFactor 1;"});
        row("other shard counts", {s1, summaryCsv(shardOf(whole, 2, 4))},
            {"s1.csv' was made with shards 4, '", "s0.csv' with shards 3;"});
        row("shards of other versions", {good, QByteArray(good).replace(",1.0.0,", ",0.9.0,")},
            {"s1.csv' was made with version 0.9.0", "s0.csv' with version 1.0.0"});
        row("shards of other columns", {good, QByteArray(good).replace(",site,", ",centre,")},
            {"s1.csv' has the manifest columns (centre)", "(site)"});
        row("two runs without a manifest",
            {summaryCsv(unmanifested), edited(summaryCsv(unmanifested), 0, {{"case", "<drop>"}})},
            {"s0.csv' are both runs of projects named on the command line"});
        row("missing rows of a shard", {edited(s1, 1, {{"case", "<drop>"}}), s2, s3},
            {"lack 0-based manifest row 3 from the shards given"});
        row("missing shards", {s2}, {"lack shard 1/3 (0-based manifest rows 0, 3), shard 3/3 (0-based manifest rows 2, 5)"});
    }

    void evaluateRefused()
    {
        QFETCH(QList<QByteArray>, summaries);
        QFETCH(QStringList, messageParts);
        const QString out = tmp.filePath(QStringLiteral("refused-") + QTest::currentDataTag());
        QStringList args{"--evaluate", "--out", out};
        for (int i = 0; i < summaries.size(); ++i) {
            if (summaries[i] == "=0") {
                args << QFileInfo(args[3]).path() + "/./" + QFileInfo(args[3]).fileName();
                continue;
            }
            args << (summaries[i] == "=out" ? out + "/summary.csv"
                                            : tmp.filePath(QStringLiteral("s%1.csv").arg(i)));
            QVERIFY(QDir().mkpath(QFileInfo(args.last()).path()));
            // Any summary will do at --out: it is refused before it is read.
            QVERIFY(writeText(args.last(), summaries[i] == "=out" ? summaries[1] : summaries[i]));
        }
        const Run r = runBatch(args);
        QCOMPARE(r.exitCode, 1);
        for (const QString& part : messageParts)
            QVERIFY2(r.err.contains(part), qPrintable(r.err));
        QVERIFY(!QFile::exists(out + "/report.html"));
    }

    void options_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("expected"); // manifest jobs shard/shards exit, or the error
        QTest::newRow("cohort") << QStringList{"--manifest=c.csv", "--jobs", "3", "--shard", "2/8"}
                                << "c.csv 3 2/8 1";
        QTest::newRow("jobs alone") << QStringList{"--jobs=1", "x.kelvara"} << " 1 1/1 1";
        QTest::newRow("failed cases exit 0")
            << QStringList{"--failed-cases-exit", "0", "--jobs=1", "x.kelvara"} << " 1 1/1 0";
        QTest::newRow("failed cases exit at its maximum")
            << QStringList{"--failed-cases-exit=125", "--jobs=1", "x.kelvara"} << " 1 1/1 125";
        QTest::newRow("failed cases exit past its maximum")
            << QStringList{"--failed-cases-exit=126", "x.kelvara"} << "from 0 to 125";
        QTest::newRow("failed cases exit below 0")
            << QStringList{"--failed-cases-exit", "-1", "x.kelvara"} << "invalid value '-1'";
        QTest::newRow("evaluate") << QStringList{"--evaluate", "a.csv", "--out", "o", "b.csv"}
                                  << "a.csv b.csv strict";
        QTest::newRow("evaluate what there is")
            << QStringList{"--evaluate", "--allow-missing", "a.csv"} << "a.csv allow-missing";
        QTest::newRow("allow missing in a run")
            << QStringList{"--allow-missing", "x.kelvara"} << "belongs to --evaluate";
        QTest::newRow("evaluate with a failed cases exit")
            << QStringList{"--evaluate", "--failed-cases-exit", "0", "a.csv"}
            << "not --failed-cases-exit";
        QTest::newRow("no workers")
            << QStringList{"--jobs", "0", "x.kelvara"} << "invalid value '0' for --jobs";
        QTest::newRow("too many workers")
            << QStringList{"--jobs", "257", "x.kelvara"} << "from 1 to 256";
        QTest::newRow("shard past the end") << QStringList{"--manifest", "c", "--shard", "9/8"}
                                            << "invalid value '9/8' for --shard";
        QTest::newRow("shard zero")
            << QStringList{"--manifest", "c", "--shard", "0/8"} << "I/N with 1 <= I <= N";
        QTest::newRow("shard without manifest")
            << QStringList{"--shard", "1/2", "x.kelvara"} << "give one with --manifest";
        QTest::newRow("evaluate with a threshold")
            << QStringList{"--evaluate", "--pathology", "5", "a.csv"} << "not --pathology";
        QTest::newRow("evaluate nothing") << QStringList{"--evaluate"} << "no summary file";
    }

    void options()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, expected);
        BatchOptions o;
        QString error;
        const BatchCommand command = parseBatchArguments(args, &o, &error);
        if (command == BatchCommand::UsageError)
            QVERIFY2(error.contains(expected), qPrintable(error));
        else if (command == BatchCommand::Evaluate)
            QCOMPARE(o.summaries.join(' ') + (o.allowMissing ? " allow-missing" : " strict"),
                     expected);
        else
            QCOMPARE(QString("%1 %2 %3/%4 %5")
                         .arg(o.manifest)
                         .arg(o.jobs)
                         .arg(o.shard)
                         .arg(o.shards)
                         .arg(o.failedCasesExit),
                     expected);
    }

    // A real cohort: sample cases (copies in folders of their own, two named alike), one
    // broken project, one wrong and one missing label. One worker or two give the same summary;
    // four shards merged give the whole run's summary.csv, evaluation and report order; one
    // shard missing or one run with another option is refused; the counts agree with the
    // summary; every result names the inputs it was made from.
    void cohortRun()
    {
        QByteArray manifest = "site,label,project\n";
        const char* rows[] = {"a,1,a/lesion", "b,0,a/healthy", "a,1,b/lesion", "c,,b/healthy",
                              "b,1,missing", "a,1,c/healthy", "c,0,d/healthy", "b,1,c/lesion"};
        for (const char* row : rows) {
            manifest += QByteArray(row) + ".kelvara\n";
            const QString project = QString::fromLatin1(row).section(',', 2);
            if (project != "missing")
                QVERIFY(writeSampleProject(project.section('/', 1), tmp.filePath("cohort/" + project + ".kelvara")));
        }
        QVERIFY(writeText(tmp.filePath("cohort/cohort.csv"), manifest));
        const QStringList common{"--manifest", tmp.filePath("cohort/cohort.csv"), "--small-area", "20",
                                 "--pathology", "50"};
        QStringList shardSummaries;
        // name, further options, exit status (the broken case is in shard 1)
        const QList<std::tuple<QString, QStringList, int>> runs{
            {"1", {"--jobs", "1"}, 1},
            {"2", {"--jobs", "2", "--failed-cases-exit", "0"}, 0},
            {"shard 1", {"--shard", "1/4", "--failed-cases-exit", "3"}, 3},
            {"shard 2", {"--shard", "2/4"}, 0},
            {"shard 3", {"--shard", "3/4"}, 0},
            {"shard 4", {"--shard", "4/4"}, 0},
            {"foreign 3", {"--shard", "3/4", "--autocorrect-factor", "2"}, 0}};
        for (const auto& [name, extra, status] : runs) {
            const QString out = tmp.filePath("run " + name);
            const Run r = runBatch(common + extra + QStringList{"--out", out, "--jobs", "1"});
            QVERIFY2(r.exitCode == status, qPrintable(name + ": " + r.err));
            if (name.startsWith("shard"))
                shardSummaries << out + "/summary.csv";
        }
        const QString whole = tmp.filePath("run 1");
        QCOMPARE(readText(tmp.filePath("run 2/summary.csv")), readText(whole + "/summary.csv"));

        const QStringList evaluate{"--evaluate", "--out", tmp.filePath("merged")};
        const Run withoutThird = runBatch(evaluate + QStringList{shardSummaries[3], shardSummaries[0], shardSummaries[1]});
        QCOMPARE(withoutThird.exitCode, 1);
        QVERIFY2(withoutThird.err.contains("lack shard 3/4 (0-based manifest rows 2, 6)"), qPrintable(withoutThird.err));
        const Run foreign = runBatch(evaluate + QStringList{shardSummaries[0], shardSummaries[1],
                                                            tmp.filePath("run foreign 3/summary.csv"), shardSummaries[3]});
        QCOMPARE(foreign.exitCode, 1);
        QVERIFY2(foreign.err.contains("run foreign 3/summary.csv' was made with autocorrectFactor 2, "), qPrintable(foreign.err));
        const Run doubled = runBatch(evaluate + shardSummaries + QStringList{shardSummaries[1]});
        QCOMPARE(doubled.exitCode, 1);
        QVERIFY2(doubled.err.contains("are the same file"), qPrintable(doubled.err));

        QStringList reversed = shardSummaries;
        std::reverse(reversed.begin(), reversed.end());
        const Run merged = runBatch(evaluate + reversed);
        QVERIFY2(merged.exitCode == 0, qPrintable(merged.err));
        QCOMPARE(readJson(tmp.filePath("merged/evaluation.json")), readJson(whole + "/evaluation.json"));
        QCOMPARE(readText(tmp.filePath("merged/summary.csv")), readText(whole + "/summary.csv"));
        const QStringList order = reportCases(whole + "/report.html");
        QCOMPARE(reportCases(tmp.filePath("merged/report.html")), order);
        QCOMPARE(order, QStringList({"lesion", "healthy", "lesion-2", "healthy-2", "healthy-3",
                                     "healthy-4", "lesion-3", "missing"}));

        QString error;
        const std::optional<CohortSummary> summary = readSummary(whole + "/summary.csv", &error);
        QVERIFY2(summary && summary->rows.size() == 8, qPrintable(error));
        QVERIFY(!summary->rows[4].ok && summary->rows[4].error.contains("missing.kelvara"));
        int tp = 0, fp = 0, tn = 0, fn = 0;
        for (const SummaryRow& row : summary->rows)
            if (row.ok && row.label)
                (*row.label ? (row.pathology ? tp : fn) : (row.pathology ? fp : tn))++;
        const QJsonObject at = readJson(whole + "/evaluation.json").value("atThresholds").toObject();
        QCOMPARE(QList<int>({at["tp"].toInt(), at["fp"].toInt(), at["tn"].toInt(), at["fn"].toInt()}),
                 QList<int>({tp, fp, tn, fn}));
        QCOMPARE(QList<int>({tp, fp, tn, fn}), QList<int>({3, 0, 2, 1}));
        QCOMPARE(checkReportLinks(whole, "missing.kelvara"), 7);
        QCOMPARE(checkReportLinks(tmp.filePath("merged"), "missing.kelvara"), 7);
        // A real browser reads the page into the same tree: the curve, every thumbnail.
        const QString browser = QStandardPaths::findExecutable("chromium");
        if (browser.isEmpty())
            QSKIP("chromium is not installed (scripts/install-deps.sh installs it)");
        QProcess chromium;
        chromium.start(browser, {"--headless", "--no-sandbox", "--disable-gpu", "--dump-dom",
                                 QUrl::fromLocalFile(whole + "/report.html").toString()});
        QVERIFY(chromium.waitForFinished(120000));
        const QString dom = QString::fromUtf8(chromium.readAllStandardOutput());
        QVERIFY2(dom.count("<img ") == 7 && dom.count("<svg") == 1 && dom.contains("AUC "),
                 qPrintable(dom.left(2000)));

        const QJsonObject provenance = readJson(whole + "/lesion/result.json").value("provenance").toObject();
        QFile project(tmp.filePath("cohort/a/lesion.kelvara"));
        QVERIFY(project.open(QIODevice::ReadOnly));
        const QJsonObject first = provenance.value("inputs").toArray().first().toObject();
        QCOMPARE(first.value("sha256").toString(),
                 QString(QCryptographicHash::hash(project.readAll(), QCryptographicHash::Sha256).toHex()));
        QCOMPARE(provenance.value("inputs").toArray().size(), 4);
        QCOMPARE(provenance.value("options").toObject().value("pathology").toInt(), 50);
    }

    // A re-run killed after its first case leaves no earlier summary, evaluation or report
    // that could be taken for its own.
    void killedRerun()
    {
        const QString dir = tmp.filePath("killed"), out = dir + "/out";
        QByteArray manifest = "project,label\n";
        for (int i = 0; i < 40; ++i) {
            const QString project = QStringLiteral("h%1.kelvara").arg(i);
            QVERIFY(writeSampleProject("healthy", dir + "/" + project));
            manifest += project.toUtf8() + ",0\n";
        }
        QVERIFY(writeText(dir + "/cohort.csv", manifest));
        QVERIFY(QDir().mkpath(out));
        const QStringList earlier{"summary.csv", "evaluation.json", "report.html"};
        for (const QString& name : earlier)
            QVERIFY(writeText(out + "/" + name, "an earlier run's"));

        QProcess run;
        run.setReadChannel(QProcess::StandardError);
        run.start(KELVARA_BATCH_EXE, {"--manifest", dir + "/cohort.csv", "--jobs", "1", "--out", out});
        QVERIFY(run.waitForStarted());
        QByteArray err;
        while (!err.contains("[1/40]") && run.state() == QProcess::Running)
            if (run.waitForReadyRead(60000))
                err += run.readAllStandardError();
        QVERIFY2(err.contains("[1/40]") && run.state() == QProcess::Running, err.constData());
        run.kill();
        QVERIFY(run.waitForFinished());
        QVERIFY(QFileInfo(out + "/h0").isDir());
        for (const QString& name : earlier)
            QVERIFY2(!QFile::exists(out + "/" + name), qPrintable(name));
    }
};

QTEST_GUILESS_MAIN(TestCohort)
#include "test_cohort.moc"
