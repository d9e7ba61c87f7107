// The whole batch chain on the lesion sample with radius-100 disc smoothing on all three
// modalities, PNG writing included; the per-stage times of the last run are reported as
// counters (milliseconds).
#include "BatchCase.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

QString heavyProject(const QTemporaryDir& dir)
{
    const QString samples = QStringLiteral(KELVARA_SOURCE_DIR "/samples");
    QFile in(samples + QStringLiteral("/lesion.kelvara"));
    if (!in.open(QIODevice::ReadOnly))
        return QString();
    QJsonObject root = QJsonDocument::fromJson(in.readAll()).object();
    for (const char* m : {"T2", "DWI", "ADC"}) {
        QJsonObject image = root.value(QLatin1String(m)).toObject();
        image.insert(QStringLiteral("Path"), QDir(samples).absoluteFilePath(
                                                 image.value(QStringLiteral("Path")).toString()));
        root.insert(QLatin1String(m), image);
        const QString symKey = QLatin1String(m) + QStringLiteral("Sym");
        QJsonObject sym = root.value(symKey).toObject();
        QJsonObject filter = sym.value(QStringLiteral("Filter")).toObject();
        filter.insert(QStringLiteral("Shape"), 1);
        filter.insert(QStringLiteral("CircleRad"), 100);
        sym.insert(QStringLiteral("Filter"), filter);
        root.insert(symKey, sym);
    }
    const QString path = dir.filePath(QStringLiteral("lesion_r100.kelvara"));
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(QJsonDocument(root).toJson()) < 0)
        return QString();
    return path;
}

void BM_BatchCaseRadius100(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString project = heavyProject(dir);
    if (project.isEmpty()) {
        state.SkipWithError("cannot prepare the sample project");
        return;
    }
    kelvara::BatchOptions options;
    options.outDir = dir.path();
    kelvara::CaseOutcome outcome;
    for (auto _ : state) {
        outcome = kelvara::runBatchCase(project, QStringLiteral("case"), options);
        if (!outcome.ok()) {
            state.SkipWithError(outcome.error.toStdString().c_str());
            return;
        }
    }
    const QJsonObject timings = outcome.result.value(QStringLiteral("timingsMs")).toObject();
    for (auto it = timings.begin(); it != timings.end(); ++it)
        state.counters[it.key().toStdString()] = it.value().toDouble();
}
BENCHMARK(BM_BatchCaseRadius100)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

} // namespace

BENCHMARK_MAIN();
