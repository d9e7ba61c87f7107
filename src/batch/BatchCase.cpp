#include "BatchCase.h"

#include "AOIExtractor.h"
#include "AOISources.h"
#include "DICOMUtil.h"
#include "NpyFile.h"
#include "Numeric.h"
#include "ProjectFile.h"
#include "ResultMatrix.h"
#include "SymmetryEngine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPainter>
#include <QSaveFile>

#include <cmath>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

namespace kelvara {

namespace {

// zlib level 1: a third of the default's writing time for files a little larger; the batch
// writes some twenty images per case.
constexpr int kPngQuality = 80;

QJsonValue number(double v)
{
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue(QJsonValue::Null);
}

// Reads the project file and says exactly why it cannot be used; the window would silently
// read an invalid file as one with every key missing.
bool readProject(const QString& path, StoredFile* file, QString* error)
{
    QFile f(path);
    if (!f.exists()) {
        *error = QStringLiteral("project file '%1' does not exist").arg(path);
        return false;
    }
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot open project file '%1': %2").arg(path, f.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(f.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("project file '%1' is not valid JSON: %2 at offset %3")
                     .arg(path, parseError.errorString())
                     .arg(parseError.offset);
        return false;
    }
    if (!doc.isObject()) {
        *error = QStringLiteral("project file '%1' does not hold a JSON object").arg(path);
        return false;
    }
    *file = ProjectFile::fromJson(doc.object());
    return true;
}

// One modality's image through the window's loader for its kind. Relative paths are taken
// from the project's folder, so a case can be moved as a whole.
bool loadImage(const QDir& projectDir, Modality m, const ImageSource& source, QImage* image,
               QString* error)
{
    const QString modality = QString::fromLatin1(modalityName(m));
    if (source.path.isEmpty()) {
        *error = QStringLiteral("%1 image: the project names no file").arg(modality);
        return false;
    }
    const QString path = QDir::cleanPath(projectDir.absoluteFilePath(source.path));
    if (source.kind == QLatin1String("BMP")) {
        if (!QFileInfo::exists(path)) {
            *error = QStringLiteral("%1 image '%2': file not found").arg(modality, path);
            return false;
        }
        *image = loadBmpImage(path);
        if (image->isNull()) {
            *error = QStringLiteral("%1 image '%2': not a readable image").arg(modality, path);
            return false;
        }
        return true;
    }
    if (source.kind == QLatin1String("DICOM")) {
        try {
            DICOMUtil reader;
            *image = reader.loadImage(path);
        } catch (const std::exception& e) {
            *error = QStringLiteral("%1 image: %2").arg(modality, QString::fromUtf8(e.what()));
            return false;
        }
        if (image->isNull()) {
            *error = QStringLiteral("%1 image '%2': the image is empty").arg(modality, path);
            return false;
        }
        return true;
    }
    *error = QStringLiteral("%1 image '%2': unknown image type '%3' (expected BMP or DICOM)")
                 .arg(modality, path, source.kind);
    return false;
}

struct NamedImage
{
    QString file;
    QImage image;
};

struct NamedPlane
{
    QString file;
    const double* const* plane;
    int width, height;
};

} // namespace

QString verdictText(bool pathology)
{
    return pathology ? QStringLiteral("SIGNIFICANT PATHOLOGY DETECTED")
                     : QStringLiteral("NO PATHOLOGY DETECTED");
}

QImage composeOverlay(const QImage& base, const QImage& overlay, double opacity)
{
    QImage composed(base.size(), QImage::Format_ARGB32);
    if (composed.isNull())
        return composed;
    composed.fill(Qt::transparent);
    QPainter painter(&composed);
    painter.drawImage(0, 0, base);
    painter.setOpacity(opacity);
    painter.drawImage(0, 0, overlay);
    painter.end();
    return composed;
}

CaseOutcome runBatchCase(const QString& projectPath, const BatchOptions& options,
                         const std::function<void(const QString&)>& note)
{
    CaseOutcome out;
    const QFileInfo info(projectPath);
    out.name = info.completeBaseName();

    QJsonObject timings;
    QElapsedTimer total;
    total.start();
    QElapsedTimer stage;
    auto lap = [&](const char* name) {
        timings.insert(QLatin1String(name), double(stage.nsecsElapsed()) / 1e6);
        stage.restart();
    };
    stage.start();

    // Loading: the images first, then every stored control as its widget limits it.
    StoredFile file;
    if (!readProject(projectPath, &file, &out.error))
        return out;
    AOISources sources;
    for (Modality m : kModalities) {
        QImage image;
        if (!loadImage(info.absoluteDir(), m, file.images[static_cast<int>(m)], &image, &out.error))
            return out;
        sources.setImage(m, image);
    }
    ControlValues c = file.applyTo(options.controlsBeforeLoad());
    lap("load");

    // Heap: the engine's planes and the matrices are several MiB.
    auto engine = std::make_unique<SymmetryEngine>();
    auto product = std::make_unique<ResultMatrix>();
    auto solution = std::make_unique<ResultMatrix>();
    auto nonMasked = std::make_unique<ResultMatrix>();
    IntervalBases averages;
    AOIExtractor extractor;
    engine->resize(truncToInt(2.0 * AOISources::boxHalfWidth(c)),
                   truncToInt(AOISources::boxHeight(c)));
    lap("engine");
    sources.extract(c, extractor);
    const AOIImages aoi{extractor.t2AOIImage(), extractor.dwiAOIImage(), extractor.adcAOIImage(),
                        AOISources::boxHalfWidth(c), AOISources::boxHeight(c)};
    lap("aoi");

    Modality filtering = Modality::T2;
    AnalysisChain chain(
        *engine, *product, *solution, *nonMasked, averages, [&aoi]() { return aoi; },
        [&]() {
            if (note)
                note(QStringLiteral("%1: %2 filter: second cut-off must be greater than the first; "
                                    "cutoff2 = cutoff1 + 0.1 used")
                         .arg(out.name, QString::fromLatin1(modalityName(filtering))));
        });

    std::vector<NamedImage> images;
    const char* lower[] = {"t2", "dwi", "adc"};
    for (Modality m : kModalities)
        images.push_back(
            {QStringLiteral("%1_aoi.png").arg(QLatin1String(lower[int(m)])), aoi.of(m)});

    // "Display FFT", "Display treshold", "Display result" of each modality.
    QJsonObject thresholds;
    for (Modality m : kModalities) {
        const QString prefix = QLatin1String(lower[int(m)]);
        images.push_back({prefix + QStringLiteral("_spectrum.png"), chain.spectrum(m, c)});
        thresholds.insert(QLatin1String(modalityName(m)), number(chain.prepareThreshold(m, c)));
        filtering = m;
        images.push_back({prefix + QStringLiteral("_filtered.png"), chain.filtered(m, c)});
    }
    lap("fourier");

    // "Recalculate mask": the automatic bounds stay in c, as in the spin boxes.
    chain.prepareMasks(c);
    images.push_back({QStringLiteral("dwi_mask.png"), engine->dwiMaskImage()});
    images.push_back({QStringLiteral("dwi_symmetric_mask.png"), engine->dwiSymmetricMaskImage()});
    images.push_back({QStringLiteral("adc_mask.png"), engine->adcMaskImage()});
    images.push_back({QStringLiteral("adc_symmetric_mask.png"), engine->adcSymmetricMaskImage()});
    QJsonObject maskAverages;
    maskAverages.insert(QStringLiteral("DWIImage"), number(engine->dwiImageAverage()));
    maskAverages.insert(QStringLiteral("DWIMask"), number(engine->dwiMaskAverage()));
    maskAverages.insert(QStringLiteral("ADCImage"), number(engine->adcImageAverage()));
    maskAverages.insert(QStringLiteral("ADCMask"), number(engine->adcMaskAverage()));
    lap("masks");

    chain.rawSymmetries(c);
    images.push_back({QStringLiteral("t2_raw_symmetry.png"), engine->t2RawSymmetryImage()});
    images.push_back({QStringLiteral("dwi_raw_symmetry.png"), engine->dwiRawSymmetryImage()});
    images.push_back({QStringLiteral("adc_raw_symmetry.png"), engine->adcRawSymmetryImage()});
    lap("rawSymmetry");

    chain.smoothSymmetries(c);
    images.push_back({QStringLiteral("t2_smooth_symmetry.png"), engine->t2SmoothImage()});
    images.push_back({QStringLiteral("dwi_smooth_symmetry.png"), engine->dwiSmoothImage()});
    images.push_back({QStringLiteral("adc_smooth_symmetry.png"), engine->adcSmoothImage()});
    lap("smoothSymmetry");

    chain.product(c);
    images.push_back({QStringLiteral("product.png"), product->toGrayImage()});
    lap("product");

    // "Determine image pathology": "Calculate" first, then the areas and the verdict.
    out.statistics = chain.solution(c);
    images.push_back({QStringLiteral("solution_overlay.png"),
                      composeOverlay(aoi.t2, solution->intervalImage())});
    lap("solution");
    out.pathology = chain.evaluateSolution(c);
    out.keptAreaPixels = chain.keptAreaPixels();
    images.push_back({QStringLiteral("evaluation_overlay.png"),
                      composeOverlay(aoi.t2, solution->evaluationImage())});
    lap("evaluation");

    // Writing.
    const QString caseDir = QDir(options.outDir).filePath(out.name);
    if (!QDir().mkpath(caseDir)) {
        out.error = QStringLiteral("cannot create output folder '%1'").arg(caseDir);
        return out;
    }
    const QDir dir(caseDir);
    // PNG encoding dominates the writing; two encoders share the images (every QImage is only
    // read here, and each thread saves to its own files).
    auto saveEvery = [&images, &dir](std::size_t first, QString* failed) {
        for (std::size_t i = first; i < images.size(); i += 2) {
            const NamedImage& n = images[i];
            if (n.image.isNull() || !n.image.save(dir.filePath(n.file), "PNG", kPngQuality)) {
                *failed = dir.filePath(n.file);
                return;
            }
        }
    };
    QString failedOdd, failedEven;
    std::thread odd(saveEvery, std::size_t(1), &failedOdd);
    saveEvery(0, &failedEven);
    odd.join();
    if (!failedEven.isEmpty() || !failedOdd.isEmpty()) {
        out.error =
            QStringLiteral("cannot write '%1'").arg(failedEven.isEmpty() ? failedOdd : failedEven);
        return out;
    }
    if (options.planes) {
        const std::vector<NamedPlane> planes = {
            {QStringLiteral("t2_region.npy"), engine->t2Region(), 512, 512},
            {QStringLiteral("dwi_region.npy"), engine->dwiRegion(), 512, 512},
            {QStringLiteral("adc_region.npy"), engine->adcRegion(), 512, 512},
            {QStringLiteral("t2_raw_symmetry.npy"), engine->t2RawSymmetry(), 512, 512},
            {QStringLiteral("dwi_raw_symmetry.npy"), engine->dwiRawSymmetry(), 512, 512},
            {QStringLiteral("adc_raw_symmetry.npy"), engine->adcRawSymmetry(), 512, 512},
            {QStringLiteral("dwi_mask.npy"), engine->dwiMask(), 512, 512},
            {QStringLiteral("dwi_symmetric_mask.npy"), engine->dwiSymmetricMask(), 512, 512},
            {QStringLiteral("adc_mask.npy"), engine->adcMask(), 512, 512},
            {QStringLiteral("adc_symmetric_mask.npy"), engine->adcSymmetricMask(), 512, 512},
            {QStringLiteral("t2_smooth_symmetry.npy"), engine->t2SmoothResult(),
             engine->t2Smoother().resultRows(), engine->t2Smoother().resultCols()},
            {QStringLiteral("dwi_smooth_symmetry.npy"), engine->dwiSmoothResult(),
             engine->dwiSmoother().resultRows(), engine->dwiSmoother().resultCols()},
            {QStringLiteral("adc_smooth_symmetry.npy"), engine->adcSmoothResult(),
             engine->adcSmoother().resultRows(), engine->adcSmoother().resultCols()},
            {QStringLiteral("product.npy"), product->data(), product->width(), product->height()},
            {QStringLiteral("solution.npy"), solution->data(), solution->width(),
             solution->height()},
            {QStringLiteral("solution_interval.npy"), solution->intervalMask(), solution->width(),
             solution->height()},
            {QStringLiteral("solution_non_masked.npy"), nonMasked->data(), nonMasked->width(),
             nonMasked->height()},
        };
        for (const NamedPlane& p : planes) {
            if (!writeNpy(dir.filePath(p.file), p.plane, p.width, p.height)) {
                out.error = QStringLiteral("cannot write '%1'").arg(dir.filePath(p.file));
                return out;
            }
        }
    }
    lap("write");
    timings.insert(QStringLiteral("total"), double(total.nsecsElapsed()) / 1e6);

    QJsonObject intervals;
    intervals.insert(QStringLiteral("DWILeft"), c.dwiMask.left);
    intervals.insert(QStringLiteral("DWIRight"), c.dwiMask.right);
    intervals.insert(QStringLiteral("ADCLeft"), c.adcMask.left);
    intervals.insert(QStringLiteral("ADCRight"), c.adcMask.right);
    intervals.insert(QStringLiteral("ResultMin"), number(c.resultMin));
    intervals.insert(QStringLiteral("ResultMax"), number(c.resultMax));

    QJsonObject& r = out.result;
    r.insert(QStringLiteral("case"), out.name);
    r.insert(QStringLiteral("project"), info.absoluteFilePath());
    r.insert(QStringLiteral("spectrumThreshold"), thresholds);
    r.insert(QStringLiteral("maskAverages"), maskAverages);
    r.insert(QStringLiteral("intervals"), intervals);
    r.insert(QStringLiteral("suspiciousPixels"), out.statistics.suspiciousPixels);
    r.insert(QStringLiteral("averageSignal"), number(out.statistics.averageSignal));
    r.insert(QStringLiteral("averageSignalNonMasked"),
             number(out.statistics.averageSignalNonMasked));
    r.insert(QStringLiteral("keptAreaPixels"), out.keptAreaPixels);
    r.insert(QStringLiteral("verdict"), verdictText(out.pathology));
    r.insert(QStringLiteral("pathology"), out.pathology);
    r.insert(QStringLiteral("timingsMs"), timings);

    QSaveFile json(dir.filePath(QStringLiteral("result.json")));
    const QByteArray bytes = QJsonDocument(r).toJson(QJsonDocument::Indented);
    if (!json.open(QIODevice::WriteOnly) || json.write(bytes) != bytes.size() || !json.commit())
        out.error =
            QStringLiteral("cannot write '%1'").arg(dir.filePath(QStringLiteral("result.json")));
    return out;
}

} // namespace kelvara
