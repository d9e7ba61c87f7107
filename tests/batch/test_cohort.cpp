// Cohorts: manifests as spreadsheets write them, summaries that read back exactly, the AUC
// against a direct pairwise count, and --evaluate merging shards into the whole cohort's result.
#include "BatchOptions.h"
#include "BatchTestSupport.h"
#include "CohortEvaluation.h"
#include "CohortSummary.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImage>
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

// A cohort of n cases with kept areas drawn from 0..maxKept (small ranges give many ties),
// a few failed and unlabelled, verdicts made at pathology threshold 40.
CohortSummary randomCohort(quint32 seed, int n, int maxKept)
{
    QRandomGenerator random(seed);
    CohortSummary s;
    s.settings = {QStringLiteral("1.0.0"), 20, 40};
    s.extraColumns = QStringList{"site"};
    for (int i = 0; i < n; ++i) {
        SummaryRow r;
        r.caseName = QStringLiteral("c%1%2").arg(i).arg(i == 2 ? " #x" : "");
        r.project = QStringLiteral("<p&\"%1\">.kelvara").arg(i);
        r.ok = i % 7 != 3;
        r.error = r.ok ? QString() : QStringLiteral("'x.bmp': \"not\" readable,\nat all\x01");
        const int kind = int(random.bounded(10));
        r.label = kind == 0 ? CaseLabel() : CaseLabel(kind > 4);
        r.keptAreaPixels = int(random.bounded(maxKept + 1));
        r.pathology = r.keptAreaPixels >= 40;
        r.suspiciousPixels = r.keptAreaPixels + int(random.bounded(9));
        r.averageSignal = random.generateDouble() * 255.0;
        r.averageSignalNonMasked = 1.0 / (i + 3);
        r.extra = QStringList{QStringLiteral("site %1").arg(i % 3)};
        s.rows << r;
    }
    return s;
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
        for (int i = 0; i < s.rows.size(); ++i) {
            const SummaryRow &a = s.rows[i], &b = back->rows[i];
            QCOMPARE(b.ok, a.ok);
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
        QTest::newRow("one") << 1;
        QTest::newRow("three") << 3;
        QTest::newRow("more shards than cases") << 12;
    }

    // Shards evaluated together give the whole cohort's evaluation; the report's links resolve.
    void mergedShards()
    {
        QFETCH(int, shards);
        const QString base = tmp.filePath(QStringLiteral("merge%1/").arg(shards));
        const CohortSummary whole = randomCohort(11, 10, 80);
        writeCohort(base + "whole", whole);
        QStringList args{"--evaluate"};
        for (int shard = 1; shard <= shards; ++shard) {
            CohortSummary part = whole;
            part.rows.clear();
            for (int i = 0; i < whole.rows.size(); ++i)
                if (inShard(i, shard, shards))
                    part.rows << whole.rows[i];
            writeCohort(base + QStringLiteral("shard-%1").arg(shard), part);
            args << base + QStringLiteral("shard-%1/summary.csv").arg(shard);
        }
        const Run merged = runBatch(args << "--out" << base + "all");
        QVERIFY2(merged.exitCode == 0, qPrintable(merged.err));
        const Run one = runBatch({"--evaluate", base + "whole/summary.csv", "--out", base + "one"});
        QVERIFY2(one.exitCode == 0, qPrintable(one.err));
        const QJsonObject evaluation = readJson(base + "all/evaluation.json");
        QCOMPARE(evaluation.value("labelled").toInt() + evaluation.value("failed").toInt() +
                     evaluation.value("unlabelled").toInt(),
                 10);
        QCOMPARE(evaluation, readJson(base + "one/evaluation.json"));
        const int ok = int(std::count_if(whole.rows.begin(), whole.rows.end(),
                                         [](const SummaryRow& r) { return r.ok; }));
        // A shard's first ok case has no overlay image.
        QCOMPARE(checkReportLinks(base + "all", "<p&\"4\">.kelvara"), ok - std::min(shards, ok));
        QCOMPARE(checkReportLinks(base + "one", "not\" readable"), ok - 1);
    }

    void evaluateRefused_data()
    {
        QTest::addColumn<QList<QByteArray>>("summaries");
        QTest::addColumn<QStringList>("messageParts");
        const QByteArray good = summaryCsv(randomCohort(5, 4, 50));
        const QByteArray row2 = good.split('\n')[1];
        QTest::newRow("unknown verdict")
            << QList<QByteArray>{QByteArray(good).replace("NO PATHOLOGY DETECTED", "MAYBE")}
            << QStringList{"s0.csv', line ", "verdict 'MAYBE'"};
        QTest::newRow("not a summary") << QList<QByteArray>{"project,label\na,1\n"}
                                       << QStringList{"s0.csv', line 1", "not a kelvara-batch"};
        QTest::newRow("rows of other thresholds")
            << QList<QByteArray>{good + QByteArray(row2).replace(",1.0.0,20,40", ",1.0.0,20,41")}
            << QStringList{"line 7", "other settings"}; // a quoted error spans two lines
        QTest::newRow("shards of other versions")
            << QList<QByteArray>{good, QByteArray(good).replace(",1.0.0,", ",0.9.0,")}
            << QStringList{"s1.csv' was made with version 0.9.0", "s0.csv' with version 1.0.0"};
        QTest::newRow("shards of other columns")
            << QList<QByteArray>{good, QByteArray(good).replace(",site,", ",centre,")}
            << QStringList{"s1.csv' has the manifest columns (centre)", "(site)"};
    }

    void evaluateRefused()
    {
        QFETCH(QList<QByteArray>, summaries);
        QFETCH(QStringList, messageParts);
        const QString out = tmp.filePath(QStringLiteral("refused-") + QTest::currentDataTag());
        QStringList args{"--evaluate", "--out", out};
        for (int i = 0; i < summaries.size(); ++i) {
            args << tmp.filePath(QStringLiteral("s%1.csv").arg(i));
            QVERIFY(writeText(args.last(), summaries[i]));
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
        QTest::addColumn<QString>("expected"); // manifest jobs shard/shards, or the error
        QTest::newRow("cohort") << QStringList{"--manifest=c.csv", "--jobs", "3", "--shard", "2/8"}
                                << "c.csv 3 2/8";
        QTest::newRow("jobs alone") << QStringList{"--jobs=1", "x.kelvara"} << " 1 1/1";
        QTest::newRow("evaluate") << QStringList{"--evaluate", "a.csv", "--out", "o", "b.csv"}
                                  << "a.csv b.csv";
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
            QCOMPARE(o.summaries.join(' '), expected);
        else
            QCOMPARE(QString("%1 %2 %3/%4").arg(o.manifest).arg(o.jobs).arg(o.shard).arg(o.shards),
                     expected);
    }

    // A real cohort: sample cases, one broken project, one wrong and one missing label. One
    // worker or two give the same summary; shards merged give the whole run's evaluation; the
    // counts agree with the summary; every result names the inputs it was made from.
    void cohortRun()
    {
        const QString samples = QStringLiteral(KELVARA_SAMPLES_DIR);
        QByteArray manifest = "site,label,project\n";
        const char* rows[] = {"a,1,lesion", "b,0,healthy", "a,1,lesion", "c,,healthy",
                              "b,1,missing", "a,1,healthy", "c,0,healthy", "b,1,lesion"};
        for (const char* row : rows)
            manifest += QByteArray(row) + ".kelvara\n";
        QVERIFY(writeText(tmp.filePath("cohort.csv"),
                          manifest.replace(",lesion", "," + QFile::encodeName(samples) + "/lesion")
                              .replace(",healthy", "," + QFile::encodeName(samples) + "/healthy")));
        const QStringList common{"--manifest", tmp.filePath("cohort.csv"), "--small-area", "20",
                                 "--pathology", "50"};
        QStringList evaluate{"--evaluate"};
        for (const char* name : {"1", "2", "shard 1/2", "shard 2/2"}) {
            const QString run = QString::fromLatin1(name);
            const QStringList extra = run.startsWith("shard")
                                          ? QStringList{"--shard", run.mid(6), "--jobs", "1"}
                                          : QStringList{"--jobs", run};
            const QString out = tmp.filePath("run " + QString(run).replace('/', '-'));
            const Run r = runBatch(common + extra + QStringList{"--out", out});
            QCOMPARE(r.exitCode, run == "shard 2/2" ? 0 : 1); // the broken case is in shard 1
            if (run.startsWith("shard"))
                evaluate << out + "/summary.csv";
        }
        const QString whole = tmp.filePath("run 1");
        QCOMPARE(readText(tmp.filePath("run 2/summary.csv")), readText(whole + "/summary.csv"));
        QVERIFY(runBatch(evaluate + QStringList{"--out", tmp.filePath("merged")}).exitCode == 0);
        QCOMPARE(readJson(tmp.filePath("merged/evaluation.json")), readJson(whole + "/evaluation.json"));

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
        QFile project(samples + "/lesion.kelvara");
        QVERIFY(project.open(QIODevice::ReadOnly));
        const QJsonObject first = provenance.value("inputs").toArray().first().toObject();
        QCOMPARE(first.value("sha256").toString(),
                 QString(QCryptographicHash::hash(project.readAll(), QCryptographicHash::Sha256).toHex()));
        QCOMPARE(provenance.value("inputs").toArray().size(), 4);
        QCOMPARE(provenance.value("options").toObject().value("pathology").toInt(), 50);
    }
};

QTEST_GUILESS_MAIN(TestCohort)
#include "test_cohort.moc"
