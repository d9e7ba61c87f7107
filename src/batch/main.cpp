// kelvara-batch: the whole analysis of saved projects without a window or a display.
#include "BatchCase.h"
#include "BatchOptions.h"
#include "CohortCommand.h"
#include "DicomSeries.h"
#include "FileAccess.h"
#include "KelvaraVersion.h"

#include <QDir>
#include <QElapsedTimer>

#include <cstdio>
#include <unistd.h>

using namespace kelvara;

namespace {

void printErr(const QString& text)
{
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
}

QString csvField(const QString& s)
{
    if (!s.contains(QLatin1Char(',')) && !s.contains(QLatin1Char('"')) &&
        !s.contains(QLatin1Char('\n')))
        return s;
    QString q = s;
    q.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + q + QLatin1Char('"');
}

QString csvNumber(double v)
{
    return v == v ? QString::number(v, 'g', 10) : QString();
}

int listSeries(const QString& path)
{
    try {
        const DicomScan scan = scanDicomSeries(path);
        for (const QString& problem : scan.problems)
            printErr(QStringLiteral("kelvara-batch: note: skipped: %1").arg(problem));
        QByteArray out = seriesListHeader().join(QLatin1Char('\t')).toUtf8() + '\n';
        for (const DicomSeries& s : scan.series)
            out += seriesListRow(s).join(QLatin1Char('\t')).toUtf8() + '\n';
        if (std::fwrite(out.constData(), 1, size_t(out.size()), stdout) != size_t(out.size()) ||
            std::fflush(stdout) != 0) {
            printErr(
                QStringLiteral("kelvara-batch: cannot write the series list of '%1'").arg(path));
            return 1;
        }
        return 0;
    } catch (const std::exception& e) {
        printErr(QStringLiteral("kelvara-batch: %1").arg(QString::fromUtf8(e.what())));
        return 1;
    }
}

// One row per project in the order given; a failed case gives its error instead of results.
bool writeSummary(const QString& path, const QList<CaseOutcome>& outcomes, QString* error)
{
    QByteArray text = "case,project,verdict,suspiciousPixels,averageSignal,averageSignalNonMasked,"
                      "keptAreaPixels,error\n";
    for (const CaseOutcome& o : outcomes) {
        QStringList row{csvField(o.name), csvField(o.project)};
        if (o.ok())
            row << verdictText(o.pathology) << QString::number(o.statistics.suspiciousPixels)
                << csvNumber(o.statistics.averageSignal)
                << csvNumber(o.statistics.averageSignalNonMasked)
                << QString::number(o.keptAreaPixels) << QString();
        else
            row << QStringLiteral("ERROR") << QString() << QString() << QString() << QString()
                << csvField(o.error);
        text += row.join(QLatin1Char(',')).toUtf8() + '\n';
    }
    return writeFileAtomically(path, text, error);
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    BatchOptions options;
    QString error;
    switch (parseBatchArguments(arguments, &options, &error)) {
    case BatchCommand::Help:
        std::fputs(batchUsage().toLocal8Bit().constData(), stdout);
        return 0;
    case BatchCommand::Version:
        std::printf("kelvara-batch %s\n", versionString());
        return 0;
    case BatchCommand::UsageError:
        printErr(QStringLiteral("kelvara-batch: %1").arg(error));
        printErr(QStringLiteral("Try 'kelvara-batch --help' for more information."));
        return 2;
    case BatchCommand::Evaluate:
        return evaluateSummaries(options);
    case BatchCommand::Cohort:
        return runCohort(options);
    case BatchCommand::ListSeries:
        return listSeries(options.listSeries);
    case BatchCommand::Run:
        break;
    }

    const bool progress = isatty(fileno(stderr));
    const auto note = [](const QString& text) {
        printErr(QStringLiteral("kelvara-batch: note: %1").arg(text));
    };
    if (!QDir().mkpath(options.outDir)) {
        printErr(QStringLiteral("kelvara-batch: cannot create the output folder '%1'")
                     .arg(displayPath(options.outDir)));
        return 1;
    }
    const QStringList folders = caseFolderNames(options.projects);
    QList<CaseOutcome> outcomes;
    bool failed = false;
    for (int i = 0; i < options.projects.size(); ++i) {
        const QString& project = options.projects[i];
        QElapsedTimer timer;
        timer.start();
        const CaseOutcome o = runBatchCase(project, folders[i], options, note);
        if (!o.ok()) {
            failed = true;
            printErr(QStringLiteral("kelvara-batch: case '%1' (%2) skipped: %3")
                         .arg(o.name, project, o.error));
        } else if (progress) {
            printErr(QStringLiteral("[%1/%2] %3: %4, %5 suspicious pixels (%6 s)")
                         .arg(i + 1)
                         .arg(options.projects.size())
                         .arg(o.name, verdictText(o.pathology))
                         .arg(o.statistics.suspiciousPixels)
                         .arg(double(timer.elapsed()) / 1000.0, 0, 'f', 2));
        }
        outcomes << o;
    }

    if (!writeSummary(QDir(options.outDir).filePath(QStringLiteral("summary.csv")), outcomes,
                      &error)) {
        printErr(QStringLiteral("kelvara-batch: %1").arg(error));
        failed = true;
    }
    return failed ? 1 : 0;
}
