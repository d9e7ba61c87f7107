#include "BatchCase.h"

#include "CaseImages.h"
#include "ControlFile.h"
#include "FileAccess.h"
#include "ImageEncoder.h"
#include "KelvaraVersion.h"
#include "NpyFile.h"
#include "Numeric.h"
#include "ResultMatrix.h"
#include "ResultOverlay.h"
#include "RunStaging.h"
#include "SeriesChoice.h"
#include "StoredControlTable.h"
#include "SymmetryEngine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPainter>
#include <QSet>
#include <QThreadPool>

#include <cmath>
#include <malloc.h>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace kelvara {

namespace {

QJsonValue number(double v)
{
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue(QJsonValue::Null);
}

// Reads the project file as the window does. Every finding becomes a warning; unless lenient,
// a value the window would replace by a default fails the case, naming the file and key.
bool readProject(const QString& path, bool lenient, StoredFile* file, QStringList* warnings,
                 QString* error)
{
    ControlFileLoad loaded = ControlFile::project().load(path);
    if (!loaded.ok()) {
        *error = loaded.error;
        return false;
    }
    QStringList serious;
    for (const LoadFinding& finding : std::as_const(loaded.findings)) {
        *warnings << finding.message();
        if (finding.serious())
            serious << finding.keyPath + QStringLiteral(": ") + finding.what;
    }
    if (!lenient && !serious.isEmpty()) {
        // A file that is wrong throughout would give a screenful; the first few say enough.
        constexpr int shown = 5;
        *error = QStringLiteral("'%1': %2").arg(displayPath(path),
                                                 QStringList(serious.mid(0, shown)).join("; "));
        if (serious.size() > shown)
            *error += QStringLiteral("; and %1 more").arg(serious.size() - shown);
        // The findings say what the window would make of each value; here nothing was used.
        *error += QStringLiteral(" (the case was not run; --lenient would use these values as "
                                 "the window does)");
        return false;
    }
    *file = std::move(loaded.file);
    return true;
}

// One modality's image through the window's loader for its kind. Relative paths are taken
// from the project's folder, so a case can be moved as a whole.
bool loadImage(const QString& projectPath, Modality m, const ImageSource& source,
               CaseImages* images, QString* error, QStringList* warnings)
{
    const QString modality = QString::fromLatin1(modalityName(m));
    if (source.path.isEmpty()) {
        *error = QStringLiteral("%1 image: the project names no file").arg(modality);
        return false;
    }
    const QString path = QDir::cleanPath(QFileInfo(resolveImagePath(
        source.path, projectPath, ImagePathBase::ProjectFolder)).absoluteFilePath());
    // The case model loads by kind (BMP, DICOM file or series) and says what it expected of
    // any other kind, in the words of the window's status bar.
    ImageSource resolved = source;
    resolved.path = path;
    QString reason;
    if (images->loadSource(m, resolved, &reason, warnings))
        return true;
    // Series errors name the modality themselves.
    *error = readsSeries(m, resolved) ? reason : QStringLiteral("%1 image: %2").arg(modality, reason);
    return false;
}

struct NamedPlane
{
    QString file;
    const double* const* plane;
    int width, height;
};

// Milliseconds per stage, as result.json reports them.
class StageTimer
{
public:
    StageTimer() { total.start(), stage.start(); }
    void lap(const char* name)
    {
        timings.insert(QLatin1String(name), double(stage.nsecsElapsed()) / 1e6);
        stage.restart();
    }
    QJsonObject finish()
    {
        timings.insert(QStringLiteral("total"), double(total.nsecsElapsed()) / 1e6);
        return timings;
    }

private:
    QElapsedTimer total, stage;
    QJsonObject timings;
};

// A project read and its images loaded, with the control values the window would hold.
struct LoadedCase
{
    QFileInfo project;
    CaseImages images;
    ControlValues controls;
    QStringList warnings;
    QJsonObject provenance; // how the result was made, taken right after loading
};

// The product version, every input file with its SHA-256, the control values the analysis
// starts from (what the project gave, limited as the controls limit it) and the options: enough
// to tell later whether two results were made from the same inputs in the same way.
bool recordProvenance(const BatchOptions& options, LoadedCase* loaded, QString* error)
{
    QJsonArray inputs;
    auto add = [&](const QString& role, const QString& path) {
        const std::optional<QString> sha = sha256OfFile(path, kMaximumImageFileSize, error);
        if (sha)
            inputs.append(QJsonObject{{QStringLiteral("role"), role},
                                      {QStringLiteral("file"), path},
                                      {QStringLiteral("sha256"), *sha}});
        return sha.has_value();
    };
    if (!add(QStringLiteral("project"), loaded->project.absoluteFilePath()))
        return false;
    for (Modality m : kModalities) {
        // A series gives the one file whose pixels were read.
        const ChosenImage* chosen = loaded->images.chosenImage(m);
        const QString file = chosen ? chosen->image().file : loaded->images.source(m).path;
        if (!add(QLatin1String(modalityName(m)), QFileInfo(file).absoluteFilePath()))
            return false;
    }
    // The scales the analysis used, also where the project said "auto".
    std::array<ImageSource, 3> sources = loaded->images.imageSources();
    for (ImageSource& source : sources)
        source.autoScale = false;
    loaded->provenance = QJsonObject{
        {QStringLiteral("version"), QString::fromLatin1(versionString())},
        {QStringLiteral("inputs"), inputs},
        {QStringLiteral("controls"),
         StoredControlTable::build(FileLayout::Project, loaded->controls, sources)},
        {QStringLiteral("options"), options.toJson()}};
    return true;
}

// Everything the analysis computed, kept until it is written. Heap: the engine's planes and the
// matrices are several MiB.
struct CaseAnalysis
{
    std::unique_ptr<SymmetryEngine> engine = std::make_unique<SymmetryEngine>();
    std::unique_ptr<ResultMatrix> product = std::make_unique<ResultMatrix>();
    std::unique_ptr<ResultMatrix> solution = std::make_unique<ResultMatrix>();
    std::unique_ptr<ResultMatrix> nonMasked = std::make_unique<ResultMatrix>();
    QJsonObject thresholds, maskAverages, intervals;
};

// Loading: the images first, then every stored control as its widget limits it.
bool loadCase(const QString& projectPath, const BatchOptions& options, LoadedCase* loaded,
              QString* error)
{
    loaded->project = QFileInfo(projectPath);
    StoredFile file;
    if (!readProject(projectPath, options.lenient, &file, &loaded->warnings, error))
        return false;
    for (Modality m : kModalities)
        if (!loadImage(projectPath, m, file.images[static_cast<int>(m)], &loaded->images, error,
                       &loaded->warnings))
            return false;
    loaded->controls = file.applyTo(options.controlsBeforeLoad());
    for (Modality m : kModalities)
        if (file.images[static_cast<int>(m)].autoScale &&
            !loaded->images.automaticScale(m, &loaded->controls.scale[static_cast<int>(m)], error))
            return false;
    loaded->images.setGeometry(loaded->controls);
    return recordProvenance(options, loaded, error);
}

// Every analysis button in the window's order; the images each one shows go to the encoder as
// they are made, so that writing them overlaps the rest of the analysis. A
// button recomputes what the buttons before it computed; here each step is computed once and
// the later ones use it (raw symmetries before the masks, whose region planes they overwrite).
void analyseCase(LoadedCase& loaded, CaseAnalysis& a, CaseOutcome& out, StageTimer& timer,
                 const std::function<void(const QString&)>& note, ImageEncoder& encoder)
{
    ControlValues& c = loaded.controls;
    SymmetryEngine& engine = *a.engine;
    engine.resize(loaded.images.aoiWidth(), loaded.images.aoiHeight());
    timer.lap("engine");
    const AOIImages aoi = loaded.images.aoiImages();
    timer.lap("aoi");

    IntervalBases bases;
    // Each modality's raised cut-off is told once, when its filter is first shown.
    std::optional<Modality> filtering;
    AnalysisChain chain(
        engine, *a.product, *a.solution, *a.nonMasked, bases, [&aoi]() { return aoi; },
        [&]() {
            if (note && filtering)
                note(QStringLiteral("%1: %2 filter: second cut-off must be greater than the first; "
                                    "cutoff2 = cutoff1 + 0.1 used")
                         .arg(out.name, QString::fromLatin1(modalityName(*filtering))));
        });

    const char* lower[] = {"t2", "dwi", "adc"};
    for (Modality m : kModalities)
        encoder.add(QStringLiteral("%1_aoi.png").arg(QLatin1String(lower[int(m)])), aoi.of(m));

    // "Display FFT", "Display treshold", "Display result" of each modality.
    chain.prepareSpectra(c);
    for (Modality m : kModalities) {
        const QString prefix = QLatin1String(lower[int(m)]);
        encoder.add(prefix + QStringLiteral("_spectrum.png"), chain.spectrum(m, c));
        a.thresholds.insert(QLatin1String(modalityName(m)), number(chain.prepareThreshold(m, c)));
        filtering = m;
        encoder.add(prefix + QStringLiteral("_filtered.png"), chain.filtered(m, c));
    }
    filtering.reset();
    timer.lap("fourier");

    chain.rawSymmetries(c);
    encoder.add(QStringLiteral("t2_raw_symmetry.png"), engine.t2RawSymmetryImage());
    encoder.add(QStringLiteral("dwi_raw_symmetry.png"), engine.dwiRawSymmetryImage());
    encoder.add(QStringLiteral("adc_raw_symmetry.png"), engine.adcRawSymmetryImage());
    timer.lap("rawSymmetry");

    chain.smoothRawSymmetries(c);
    encoder.add(QStringLiteral("t2_smooth_symmetry.png"), engine.t2SmoothImage());
    encoder.add(QStringLiteral("dwi_smooth_symmetry.png"), engine.dwiSmoothImage());
    encoder.add(QStringLiteral("adc_smooth_symmetry.png"), engine.adcSmoothImage());
    timer.lap("smoothSymmetry");

    // "Recalculate mask": the automatic bounds stay in c, as in the spin boxes.
    chain.prepareMasks(c);
    encoder.add(QStringLiteral("dwi_mask.png"), engine.dwiMaskImage());
    encoder.add(QStringLiteral("dwi_symmetric_mask.png"), engine.dwiSymmetricMaskImage());
    encoder.add(QStringLiteral("adc_mask.png"), engine.adcMaskImage());
    encoder.add(QStringLiteral("adc_symmetric_mask.png"), engine.adcSymmetricMaskImage());
    a.maskAverages.insert(QStringLiteral("DWIImage"), number(engine.dwiImageAverage()));
    a.maskAverages.insert(QStringLiteral("DWIMask"), number(engine.dwiMaskAverage()));
    a.maskAverages.insert(QStringLiteral("ADCImage"), number(engine.adcImageAverage()));
    a.maskAverages.insert(QStringLiteral("ADCMask"), number(engine.adcMaskAverage()));
    timer.lap("masks");

    chain.productOfSmoothed(c);
    encoder.add(QStringLiteral("product.png"), a.product->toGrayImage());
    timer.lap("product");

    // "Determine image pathology": "Calculate" first, then the areas and the verdict.
    out.statistics = chain.solutionOfPlanes(c);
    encoder.add(QStringLiteral("solution_overlay.png"),
                      composeOverlay(aoi.t2, a.solution->intervalImage()));
    timer.lap("solution");
    out.pathology = chain.evaluateSolution(c);
    out.keptAreaPixels = chain.keptAreaPixels();
    encoder.add(QStringLiteral("evaluation_overlay.png"),
                      composeOverlay(aoi.t2, a.solution->evaluationImage()));
    timer.lap("evaluation");

    a.intervals.insert(QStringLiteral("DWILeft"), c.dwiMask.left);
    a.intervals.insert(QStringLiteral("DWIRight"), c.dwiMask.right);
    a.intervals.insert(QStringLiteral("ADCLeft"), c.adcMask.left);
    a.intervals.insert(QStringLiteral("ADCRight"), c.adcMask.right);
    a.intervals.insert(QStringLiteral("ResultMin"), number(c.resultMin));
    a.intervals.insert(QStringLiteral("ResultMax"), number(c.resultMax));
}

// With options.planes every plane as a .npy array into dir; false with *error set when a file
// cannot be written.
bool writePlanes(const CaseAnalysis& a, const QDir& dir, const BatchOptions& options,
                 QString* error)
{
    if (!options.planes)
        return true;
    const SymmetryEngine& engine = *a.engine;
    const ResultMatrix& product = *a.product;
    const ResultMatrix& solution = *a.solution;
    const ResultMatrix& nonMasked = *a.nonMasked;
    const std::vector<NamedPlane> planes = {
        {QStringLiteral("t2_region.npy"), engine.t2Region(), 512, 512},
        {QStringLiteral("dwi_region.npy"), engine.dwiRegion(), 512, 512},
        {QStringLiteral("adc_region.npy"), engine.adcRegion(), 512, 512},
        {QStringLiteral("t2_raw_symmetry.npy"), engine.t2RawSymmetry(), 512, 512},
        {QStringLiteral("dwi_raw_symmetry.npy"), engine.dwiRawSymmetry(), 512, 512},
        {QStringLiteral("adc_raw_symmetry.npy"), engine.adcRawSymmetry(), 512, 512},
        {QStringLiteral("dwi_mask.npy"), engine.dwiMask(), 512, 512},
        {QStringLiteral("dwi_symmetric_mask.npy"), engine.dwiSymmetricMask(), 512, 512},
        {QStringLiteral("adc_mask.npy"), engine.adcMask(), 512, 512},
        {QStringLiteral("adc_symmetric_mask.npy"), engine.adcSymmetricMask(), 512, 512},
        {QStringLiteral("t2_smooth_symmetry.npy"), engine.t2SmoothResult(),
         engine.t2Smoother().resultRows(), engine.t2Smoother().resultCols()},
        {QStringLiteral("dwi_smooth_symmetry.npy"), engine.dwiSmoothResult(),
         engine.dwiSmoother().resultRows(), engine.dwiSmoother().resultCols()},
        {QStringLiteral("adc_smooth_symmetry.npy"), engine.adcSmoothResult(),
         engine.adcSmoother().resultRows(), engine.adcSmoother().resultCols()},
        {QStringLiteral("product.npy"), product.data(), product.width(), product.height()},
        {QStringLiteral("solution.npy"), solution.data(), solution.width(), solution.height()},
        {QStringLiteral("solution_interval.npy"), solution.intervalMask(), solution.width(),
         solution.height()},
        {QStringLiteral("solution_non_masked.npy"), nonMasked.data(), nonMasked.width(),
         nonMasked.height()},
    };
    for (const NamedPlane& p : planes) {
        const QByteArray bytes = npyBytes(p.plane, p.width, p.height);
        if (bytes.isEmpty()) {
            *error = QStringLiteral("cannot write '%1': the plane was not computed")
                         .arg(dir.filePath(p.file));
            return false;
        }
        if (!writeStagedFile(dir.filePath(p.file), bytes, error))
            return false;
    }
    return true;
}

bool writeResultJson(const QDir& dir, const QJsonObject& result, QString* error)
{
    return writeStagedFile(dir.filePath(QStringLiteral("result.json")),
                           QJsonDocument(result).toJson(QJsonDocument::Indented), error);
}

// `fill` writes into a staging folder inside outDir, which then replaces outDir/name as a whole:
// a case folder is either complete or the earlier one. Only an earlier case folder is replaced;
// anything else of that name stays (*targetKept). Messages name the files by the place they
// were meant for; the staging folder is gone afterwards.
bool writeCaseFolder(const QString& outDir, const QString& name,
                     const std::function<bool(const QDir&, QString*)>& fill, QString* error,
                     bool* targetKept)
{
    const QString target = QDir(outDir).filePath(name);
    const QString staging = RunStaging::create(outDir, error);
    if (staging.isEmpty())
        return false;
    if (!markCaseFolder(staging, error) || !fill(QDir(staging), error)) {
        error->replace(staging, target);
        QString removal;
        if (!RunStaging::remove(staging, &removal))
            *error += QStringLiteral("; ") + removal;
        return false;
    }
    if (RunStaging::place(staging, target, isCaseFolder, error, targetKept))
        return true;
    if (*targetKept)
        *error += QStringLiteral("; this run's result of the case was not kept");
    return false;
}

// An earlier run's result.json must not be taken for this run's: the folder is replaced by one
// that says the case failed, or, when not even that can be written, removed. What is not an
// earlier case folder, or cannot be replaced, is left as it is (the error says so).
void recordFailure(const QString& outDir, CaseOutcome& out, bool targetKept)
{
    if (targetKept)
        return;
    const QJsonObject failed{{QStringLiteral("case"), out.name},
                             {QStringLiteral("project"), out.project},
                             {QStringLiteral("error"), out.error}};
    QString error;
    if (writeCaseFolder(
            outDir, out.name,
            [&failed](const QDir& dir, QString* e) { return writeResultJson(dir, failed, e); },
            &error, &targetKept))
        return;
    out.error += QStringLiteral("; ") + error;
    const QString target = QDir(outDir).filePath(out.name);
    if (!targetKept && isCaseFolder(target) && !removeFolder(target, &error))
        out.error += QStringLiteral("; ") + error;
}

QJsonObject resultJson(const LoadedCase& loaded, const CaseAnalysis& a, const CaseOutcome& out,
                       const QJsonObject& timings)
{
    QJsonObject r;
    r.insert(QStringLiteral("case"), out.name);
    r.insert(QStringLiteral("project"), loaded.project.absoluteFilePath());
    r.insert(QStringLiteral("spectrumThreshold"), a.thresholds);
    r.insert(QStringLiteral("maskAverages"), a.maskAverages);
    r.insert(QStringLiteral("intervals"), a.intervals);
    r.insert(QStringLiteral("suspiciousPixels"), out.statistics.suspiciousPixels);
    r.insert(QStringLiteral("averageSignal"), number(out.statistics.averageSignal));
    r.insert(QStringLiteral("averageSignalNonMasked"),
             number(out.statistics.averageSignalNonMasked));
    r.insert(QStringLiteral("keptAreaPixels"), out.keptAreaPixels);
    r.insert(QStringLiteral("verdict"), verdictText(out.pathology));
    r.insert(QStringLiteral("pathology"), out.pathology);
    r.insert(QStringLiteral("warnings"), QJsonArray::fromStringList(loaded.warnings));
    r.insert(QStringLiteral("timingsMs"), timings);
    r.insert(QStringLiteral("provenance"), loaded.provenance);
    return r;
}

} // namespace

QString verdictText(bool pathology)
{
    return pathology ? QStringLiteral("SIGNIFICANT PATHOLOGY DETECTED")
                     : QStringLiteral("NO PATHOLOGY DETECTED");
}

void prepareProcessForCases()
{
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    // The largest threshold glibc takes; memory above it is still mapped afresh each time.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
}

namespace {

constexpr char kMarkerText[] = "kelvara-batch case folder\n";

} // namespace

bool isCaseFolder(const QString& path)
{
    const QFileInfo folder(path);
    const QString marker = QDir(path).filePath(QLatin1String(kCaseFolderMarker));
    if (!folder.isDir() || folder.isSymLink() || QFileInfo(marker).isSymLink())
        return false;
    const std::optional<QByteArray> text = readRegularFile(marker, 1024, nullptr);
    return text && *text == kMarkerText;
}

bool markCaseFolder(const QString& dir, QString* error)
{
    return writeStagedFile(QDir(dir).filePath(QLatin1String(kCaseFolderMarker)), kMarkerText,
                           error);
}

QStringList caseFolderNames(const QStringList& projects, const QString& outDir,
                            QStringList* notes)
{
    // The run's own files share the output folder; compared without case for file systems that
    // ignore it.
    QSet<QString> taken{QStringLiteral("summary.csv"), QStringLiteral("report.html"),
                        QStringLiteral("evaluation.json")};
    // Why the name's place in outDir cannot take the case; empty when it can.
    const auto occupied = [&](const QString& name) -> QString {
        if (outDir.isEmpty())
            return QString();
        const QString path = QDir(outDir).filePath(name);
        const QFileInfo entry(path);
        if (!entry.exists() && !entry.isSymLink())
            return QString();
        if (!isCaseFolder(path))
            return QStringLiteral("'%1' was not written by kelvara-batch and is left untouched")
                .arg(displayPath(path));
        if (!folderContentsRemovable(path))
            return QStringLiteral("'%1' is an earlier case folder that cannot be replaced "
                                  "(read-only) and is left as it is")
                .arg(displayPath(path));
        return QString();
    };
    QStringList names;
    for (const QString& project : projects) {
        QString base = QFileInfo(project).completeBaseName();
        // Leading dots would give "", "." or ".." (outside the output folder) or a hidden name,
        // which is kept for staging folders.
        while (base.startsWith(QLatin1Char('.')))
            base.remove(0, 1);
        if (base.isEmpty())
            base = QStringLiteral("case");
        QString name = base;
        QStringList passed;
        for (int n = 2;; ++n) {
            if (!taken.contains(name.toLower())) {
                const QString why = occupied(name);
                if (why.isEmpty())
                    break;
                passed << why;
            }
            name = QStringLiteral("%1-%2").arg(base).arg(n);
        }
        if (notes)
            for (const QString& why : std::as_const(passed))
                *notes << QStringLiteral("%1; the case of '%2' is written to '%3'")
                              .arg(why, displayPath(project),
                                   displayPath(QDir(outDir).filePath(name)));
        taken.insert(name.toLower());
        names << name;
    }
    return names;
}

CaseOutcome runBatchCase(const QString& projectPath, const QString& folderName,
                         const BatchOptions& options,
                         const std::function<void(const QString&)>& note)
{
    CaseOutcome out;
    out.name = folderName;
    out.project = QFileInfo(projectPath).absoluteFilePath();
    StageTimer timer;
    bool targetKept = false;

    LoadedCase loaded;
    if (loadCase(projectPath, options, &loaded, &out.error)) {
        if (note)
            for (const QString& w : std::as_const(loaded.warnings))
                note(QStringLiteral("%1: %2").arg(out.name, w));
        timer.lap("load");

        writeCaseFolder(
            options.outDir, out.name,
            [&](const QDir& dir, QString* error) {
                CaseAnalysis analysis;
                ImageEncoder encoder(dir);
                analyseCase(loaded, analysis, out, timer, note, encoder);
                // "write" is what the writing adds after the analysis.
                if (!encoder.writeAll(error) || !writePlanes(analysis, dir, options, error))
                    return false;
                timer.lap("write");
                out.result = resultJson(loaded, analysis, out, timer.finish());
                return writeResultJson(dir, out.result, error);
            },
            &out.error, &targetKept);
    }
    if (!out.ok())
        recordFailure(options.outDir, out, targetKept);
    return out;
}

} // namespace kelvara
