#include "BatchOptions.h"

#include "DicomSeries.h"
#include "StoredControlTable.h"

#include <QJsonArray>
#include <QLocale>
#include <QThread>

#include <algorithm>

namespace kelvara {

namespace {

// The controls the options stand for: their limits and rounding come from the stored-controls
// table, as for every other control.
const QString kSmallArea = QStringLiteral("SmallAreaTresh");
const QString kPathology = QStringLiteral("PathologyTresh");
const QString kFactor = QStringLiteral("ResultAutoCorrectFactor");
const QString kAmplification[] = {QStringLiteral("ProductT2SmoothSymAmp"),
                                  QStringLiteral("ProductDWISmoothSymAmp"),
                                  QStringLiteral("ProductADCSmoothSymAmp")};

bool parseInt(const QString& text, const QString& control, int* out)
{
    bool ok = false;
    const qlonglong v = text.trimmed().toLongLong(&ok);
    if (!ok)
        return false;
    *out = StoredControlTable::limitedInteger(control, v);
    return true;
}

bool parseDouble(const QString& text, const QString& control, double* out)
{
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    if (!ok || v != v)
        return false;
    *out = StoredControlTable::limitedNumber(control, v);
    return true;
}

// "0..2000" as the control's range.
QString range(const QString& control)
{
    const StoredControl& c = StoredControlTable::control(control);
    return QStringLiteral("%1..%2").arg(c.minimum).arg(c.maximum);
}

// "I/N" with 1 <= I <= N.
bool parseShard(const QString& text, int* shard, int* shards)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    bool okI = false, okN = false;
    if (parts.size() != 2)
        return false;
    *shard = parts[0].trimmed().toInt(&okI);
    *shards = parts[1].trimmed().toInt(&okN);
    return okI && okN && *shard >= 1 && *shard <= *shards;
}

} // namespace

int defaultJobs()
{
    return std::clamp(QThread::idealThreadCount(), 1, kMaximumJobs);
}

ControlValues BatchOptions::controlsBeforeLoad() const
{
    ControlValues c;
    c.smallAreaThreshold = smallAreaThreshold;
    c.pathologyThreshold = pathologyThreshold;
    c.resultAutocorrectFactor = resultAutocorrectFactor;
    c.productChecked = productChecked;
    c.productAmplification = productAmplification;
    c.logarithmic = {logarithmic, logarithmic, logarithmic};
    return c;
}

QList<BatchOptions::Recorded> BatchOptions::recorded() const
{
    QJsonArray product, amplification;
    for (int i = 0; i < 3; ++i) {
        product.append(productChecked[std::size_t(i)]);
        amplification.append(productAmplification[std::size_t(i)]);
    }
    return {{QStringLiteral("out"), outDir, false},
            {QStringLiteral("smallArea"), smallAreaThreshold, true},
            {QStringLiteral("pathology"), pathologyThreshold, true},
            {QStringLiteral("autocorrectFactor"), resultAutocorrectFactor, true},
            {QStringLiteral("product"), product, true},
            {QStringLiteral("productAmplification"), amplification, true},
            {QStringLiteral("logarithmicSpectrum"), logarithmic, true},
            // What a project's faulty values become decides whether a case fails.
            {QStringLiteral("lenient"), lenient, true},
            {QStringLiteral("planes"), planes, false},
            {QStringLiteral("manifest"), manifest, false},
            {QStringLiteral("jobs"), jobs, false},
            {QStringLiteral("shard"), QStringLiteral("%1/%2").arg(shard).arg(shards), false},
            {QStringLiteral("failedCasesExit"), failedCasesExit, false}};
}

QJsonObject BatchOptions::toJson() const
{
    QJsonObject json;
    for (const Recorded& r : recorded())
        json.insert(r.key, r.value);
    return json;
}

const QStringList& BatchOptions::analysisKeys()
{
    static const QStringList keys = [] {
        QStringList k;
        for (const Recorded& r : BatchOptions().recorded())
            if (r.analysis)
                k << r.key;
        return k;
    }();
    return keys;
}

QStringList BatchOptions::analysisTexts() const
{
    QStringList texts;
    for (const Recorded& r : recorded())
        if (r.analysis)
            texts << optionText(r.value);
    return texts;
}

QString optionText(const QJsonValue& value)
{
    if (value.isArray()) {
        QStringList parts;
        for (const QJsonValue& v : value.toArray())
            parts << optionText(v);
        return parts.join(QStringLiteral(", "));
    }
    if (value.isBool())
        return value.toBool() ? QStringLiteral("yes") : QStringLiteral("no");
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    return value.toString();
}

QString batchUsage()
{
    return QStringLiteral(
               "Usage: kelvara-batch [options] PROJECT.kelvara [PROJECT.kelvara ...]\n"
        "       kelvara-batch [options] --manifest COHORT.csv [PROJECT.kelvara ...]\n"
        "       kelvara-batch --evaluate [--allow-missing] SUMMARY.csv [SUMMARY.csv ...] [--out DIR]\n"
        "       kelvara-batch --list-series PATH\n"
        "\n"
        "Loads each project as \"Load project\" does, runs the whole analysis and writes its\n"
        "images and result.json into DIR/<project name>/, each folder replaced as a whole, one\n"
        "line per project into DIR/summary.csv, report.html and, when cases are labelled,\n"
        "evaluation.json (sensitivity, specificity, ROC, AUC). A run first removes DIR's earlier\n"
        "summary.csv, report.html and evaluation.json.\n"
        "\n"
        "Options:\n"
        "  --out DIR                        output folder (default ./kelvara-out)\n"
        "  --small-area N                   small area threshold, %1 (default 0)\n"
        "  --pathology N                    pathology threshold, %2 (default 0)\n"
        "  --autocorrect-factor F           result auto-correct factor, %3 (default 1.0)\n"
        "  --product T2,DWI,ADC             modalities in the symmetry product (default none)\n"
        "  --product-amplification A,B,C    product amplifications, %4 (default 1,1,1)\n"
        "  --direct-spectrum                spectra in direct instead of logarithmic mode\n"
        "  --planes                         also write every plane as a float64 .npy array\n"
        "  --manifest FILE                  a cohort: CSV with a header, column project (path\n"
        "                                   relative to FILE's folder), column label (1 =\n"
        "                                   pathology, 0 = none, empty = unknown), other\n"
        "                                   columns carried into summary.csv; its cases run\n"
        "                                   after the PROJECT files named on the line\n"
        "  --jobs N                         cases run in parallel, 1..%5 (default: one per\n"
        "                                   core, here %6; 1 = one after the other)\n"
        "  --shard I/N                      only the manifest rows whose 0-based index modulo N\n"
        "                                   is I-1 (1 <= I <= N), for array jobs on a cluster\n"
        "  --evaluate                       read the SUMMARY.csv files given (shards of one\n"
        "                                   manifest run with the same options, each once),\n"
        "                                   write the merged summary.csv, evaluation.json and\n"
        "                                   report.html in manifest order into DIR, and\n"
        "                                   analyse nothing; refused when shards or rows are\n"
        "                                   missing (naming them)\n"
        "  --allow-missing                  with --evaluate: merge what there is, and say in\n"
        "                                   evaluation.json and report.html what is missing\n"
        "  --failed-cases-exit N            exit status when cases failed (each listed in\n"
        "                                   summary.csv), 0..%7 (default 1); 0 lets a cluster's\n"
        "                                   afterok dependency run the merge anyway\n"
        "  --lenient                        read a project's missing keys and values of the\n"
        "                                   wrong type as the window does (defaults), instead\n"
        "                                   of failing the case\n"
        "  --list-series PATH               list the DICOM series of PATH (a DICOM file or a\n"
        "                                   folder) and of every folder below it (at most %8\n"
        "                                   deep, %9 files in all), one tab-separated line\n"
        "                                   each ending with the series' folder, and analyse\n"
        "                                   nothing\n"
        "  --help                           show this text\n"
        "  --version                        show the version\n"
        "\n"
        "Exit status: 0 success; the --failed-cases-exit status (1 by default) when a case\n"
        "failed and the others were still processed; 1 when an output cannot be written, the\n"
        "manifest or a summary cannot be read or merged, or the --list-series PATH cannot be\n"
        "read or holds no image; 2 usage error.\n")
        .arg(range(kSmallArea), range(kPathology), range(kFactor), range(kAmplification[0]))
        .arg(kMaximumJobs)
        .arg(defaultJobs())
        .arg(kMaximumFailedCasesExit)
        .arg(kSeriesTreeDepth)
        .arg(kSeriesTreeEntries);
}

BatchCommand parseBatchArguments(const QStringList& arguments, BatchOptions* options,
                                 QString* error)
{
    BatchOptions o;
    bool optionsEnded = false;
    bool evaluate = false;
    QStringList given; // the options named, for those that exclude others
    for (int i = 0; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (optionsEnded || !arg.startsWith(QLatin1String("--"))) {
            o.projects << arg;
            continue;
        }
        QString name = arg;
        QString value;
        bool hasValue = false;
        const int eq = arg.indexOf(QLatin1Char('='));
        if (eq > 0) {
            name = arg.left(eq);
            value = arg.mid(eq + 1);
            hasValue = true;
        }
        auto takeValue = [&]() {
            if (hasValue)
                return true;
            if (i + 1 >= arguments.size()) {
                *error = QStringLiteral("option %1 needs a value").arg(name);
                return false;
            }
            value = arguments[++i];
            return true;
        };
        auto badValue = [&](const QString& expected) {
            *error =
                QStringLiteral("invalid value '%1' for %2: expected %3").arg(value, name, expected);
            return BatchCommand::UsageError;
        };
        // A file or folder name: present and not empty.
        auto takePath = [&](QString* target, const char* expected) {
            if (!takeValue())
                return false;
            if (value.isEmpty()) {
                badValue(QString::fromLatin1(expected));
                return false;
            }
            *target = value;
            return true;
        };
        given << name;
        auto noValue = [&]() {
            if (hasValue)
                *error = QStringLiteral("option %1 takes no value").arg(name);
            return !hasValue;
        };

        if (arg == QLatin1String("--")) {
            optionsEnded = true;
        } else if (name == QLatin1String("--help")) {
            if (!noValue())
                return BatchCommand::UsageError;
            return BatchCommand::Help;
        } else if (name == QLatin1String("--version")) {
            if (!noValue())
                return BatchCommand::UsageError;
            return BatchCommand::Version;
        } else if (name == QLatin1String("--direct-spectrum")) {
            if (!noValue())
                return BatchCommand::UsageError;
            o.logarithmic = false;
        } else if (name == QLatin1String("--planes")) {
            if (!noValue())
                return BatchCommand::UsageError;
            o.planes = true;
        } else if (name == QLatin1String("--lenient")) {
            if (!noValue())
                return BatchCommand::UsageError;
            o.lenient = true;
        } else if (name == QLatin1String("--list-series")) {
            if (!takePath(&o.listSeries, "a DICOM file or folder"))
                return BatchCommand::UsageError;
        } else if (name == QLatin1String("--evaluate")) {
            if (!noValue())
                return BatchCommand::UsageError;
            evaluate = true;
        } else if (name == QLatin1String("--allow-missing")) {
            if (!noValue())
                return BatchCommand::UsageError;
            o.allowMissing = true;
        } else if (name == QLatin1String("--failed-cases-exit")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            bool ok = false;
            o.failedCasesExit = value.trimmed().toInt(&ok);
            if (!ok || o.failedCasesExit < 0 || o.failedCasesExit > kMaximumFailedCasesExit)
                return badValue(
                    QStringLiteral("a whole number from 0 to %1").arg(kMaximumFailedCasesExit));
        } else if (name == QLatin1String("--manifest")) {
            if (!takePath(&o.manifest, "a CSV file"))
                return BatchCommand::UsageError;
        } else if (name == QLatin1String("--jobs")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            bool ok = false;
            o.jobs = value.trimmed().toInt(&ok);
            if (!ok || o.jobs < 1 || o.jobs > kMaximumJobs)
                return badValue(QStringLiteral("a whole number from 1 to %1").arg(kMaximumJobs));
        } else if (name == QLatin1String("--shard")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            if (!parseShard(value, &o.shard, &o.shards))
                return badValue(QStringLiteral("I/N with 1 <= I <= N"));
        } else if (name == QLatin1String("--out")) {
            if (!takePath(&o.outDir, "a folder"))
                return BatchCommand::UsageError;
        } else if (name == QLatin1String("--small-area") || name == QLatin1String("--pathology")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            const bool smallArea = name == QLatin1String("--small-area");
            int* target = smallArea ? &o.smallAreaThreshold : &o.pathologyThreshold;
            if (!parseInt(value, smallArea ? kSmallArea : kPathology, target))
                return badValue(QStringLiteral("an integer"));
        } else if (name == QLatin1String("--autocorrect-factor")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            if (!parseDouble(value, kFactor, &o.resultAutocorrectFactor))
                return badValue(QStringLiteral("a number"));
        } else if (name == QLatin1String("--product")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            o.productChecked = {false, false, false};
            for (const QString& part : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
                const QString m = part.trimmed().toUpper();
                if (m == QLatin1String("T2"))
                    o.productChecked[0] = true;
                else if (m == QLatin1String("DWI"))
                    o.productChecked[1] = true;
                else if (m == QLatin1String("ADC"))
                    o.productChecked[2] = true;
                else
                    return badValue(QStringLiteral("a list of T2, DWI, ADC"));
            }
        } else if (name == QLatin1String("--product-amplification")) {
            if (!takeValue())
                return BatchCommand::UsageError;
            const QStringList parts = value.split(QLatin1Char(','));
            if (parts.size() != 3)
                return badValue(QStringLiteral("three numbers A,B,C"));
            for (int k = 0; k < 3; ++k)
                if (!parseDouble(parts[k], kAmplification[k], &o.productAmplification[k]))
                    return badValue(QStringLiteral("three numbers A,B,C"));
        } else {
            *error = QStringLiteral("unknown option %1").arg(name);
            return BatchCommand::UsageError;
        }
    }
    if (evaluate) {
        for (const QString& g : std::as_const(given))
            if (g != QLatin1String("--evaluate") && g != QLatin1String("--out") &&
                g != QLatin1String("--allow-missing") && g != QLatin1String("--")) {
                *error = QStringLiteral(
                             "--evaluate takes summary files, --out and --allow-missing only, "
                             "not %1")
                             .arg(g);
                return BatchCommand::UsageError;
            }
        if (o.projects.isEmpty()) {
            *error = QStringLiteral("no summary file given to --evaluate");
            return BatchCommand::UsageError;
        }
        o.summaries = o.projects;
        o.projects.clear();
        *options = o;
        return BatchCommand::Evaluate;
    }
    if (o.allowMissing) {
        *error = QStringLiteral("--allow-missing belongs to --evaluate");
        return BatchCommand::UsageError;
    }
    if (!o.listSeries.isEmpty()) {
        if (!o.projects.isEmpty()) {
            *error = QStringLiteral("--list-series takes no project files");
            return BatchCommand::UsageError;
        }
        *options = o;
        return BatchCommand::ListSeries;
    }
    if (given.contains(QLatin1String("--shard")) && o.manifest.isEmpty()) {
        *error = QStringLiteral("--shard selects rows of a manifest; give one with --manifest");
        return BatchCommand::UsageError;
    }
    // Every shard would run them again, and merged shards would count them twice.
    if (given.contains(QLatin1String("--shard")) && !o.projects.isEmpty()) {
        *error = QStringLiteral("--shard divides the manifest only; list the projects in it");
        return BatchCommand::UsageError;
    }
    if (o.projects.isEmpty() && o.manifest.isEmpty()) {
        *error = QStringLiteral("no project file given");
        return BatchCommand::UsageError;
    }
    *options = o;
    return BatchCommand::Run;
}

} // namespace kelvara
