// kelvara-batch: the whole analysis of saved projects without a window or a display.
#include "BatchOptions.h"
#include "BatchProgress.h"
#include "CohortCommand.h"
#include "DicomSeries.h"
#include "FileAccess.h"
#include "KelvaraVersion.h"

#include <cstdio>

using namespace kelvara;

namespace {

void printErr(const QString& text)
{
    printError(text);
}

int listSeries(const QString& path)
{
    try {
        const DicomTreeScan tree = scanDicomTree(path);
        auto note = [](const QString& text) {
            printErr(QStringLiteral("kelvara-batch: note: %1").arg(text));
        };
        QByteArray out = seriesListHeader().join(QLatin1Char('\t')).toUtf8() + '\n';
        for (const DicomScan& scan : tree.folders) {
            for (const QString& problem : scan.problems)
                note(QStringLiteral("skipped: %1").arg(problem));
            for (const DicomSeries& s : scan.series) {
                // A description or folder name is the scanner's or the user's text: a control
                // character in it (an escape sequence) must not drive the terminal.
                QStringList row = seriesListRow(s);
                for (QString& field : row)
                    field = terminalSafe(field);
                out += row.join(QLatin1Char('\t')).toUtf8() + '\n';
                for (const QString& warning : s.warnings)
                    note(warning);
                try {
                    s.requireUsable();
                } catch (const std::exception& e) {
                    note(QString::fromUtf8(e.what()));
                }
            }
        }
        for (const QString& text : tree.notes)
            note(text);
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
    case BatchCommand::ListSeries:
        return listSeries(options.listSeries);
    case BatchCommand::Run:
        break;
    }
    return runCases(options);
}
