// AOI extraction, engines and the analysis chain on random images and random control values,
// limited as the controls limit them (through the project model, which holds those limits).
// The sanitizers turn any access outside a plane, image or matrix into a report.
#include "CaseImages.h"
#include "AnalysisChain.h"
#include "Numeric.h"
#include "ControlFile.h"
#include "ResultMatrix.h"
#include "SymmetryEngine.h"

#include <QImage>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

using namespace kelvara;

namespace {

// Reads the fuzz input front to back; zeros once it is used up.
class Bytes
{
public:
    Bytes(const uint8_t* data, size_t size) : d(data), n(size) {}
    uint32_t u32()
    {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v = v << 8 | (pos < n ? d[pos++] : 0u);
        return v;
    }
    // In [lo, hi], both included.
    int between(int lo, int hi) { return lo + int(u32() % uint32_t(hi - lo + 1)); }
    double real(double lo, double hi) { return lo + (hi - lo) * (u32() / 4294967295.0); }
    bool flag() { return u32() & 1; }

private:
    const uint8_t* d;
    size_t n;
    size_t pos = 0;
};

// Sides of the source images are kept such that the scaled image stays below 2048 pixels, so
// that a run takes milliseconds, not the seconds of a huge scaling.
QImage sourceImage(Bytes& b, double scale)
{
    const int maxSide = std::max(1, truncToInt(std::min(640.0, 2048.0 / std::max(scale, 1e-3))));
    const int w = b.between(0, maxSide), h = b.between(0, maxSide);
    if (w == 0 || h == 0)
        return QImage(); // "nothing loaded"
    QImage image(w, h, QImage::Format_Grayscale8);
    std::minstd_rand random(b.u32());
    const int kind = b.between(0, 2);
    for (int y = 0; y < h; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < w; ++x)
            line[x] = kind == 0 ? uchar(random()) : kind == 1 ? uchar((x * 7 + y * 3) & 255) : 255;
    }
    return image;
}

ControlValues randomControls(Bytes& b)
{
    // Values beyond every range, then limited by the controls' own rules.
    ControlValues c;
    for (double& s : c.scale)
        s = b.real(-1.0, 120.0);
    c.hCells = b.between(-10, 1200);
    c.vCells = b.between(-10, 1200);
    c.hPos = b.between(-700, 700);
    c.vPos = b.between(-700, 700);
    for (int m = 0; m < 3; ++m) {
        c.logarithmic[m] = b.flag();
        c.threshold[m] = {b.real(-0.5, 1.5), b.real(-0.5, 1.5), b.real(-0.5, 1.5),
                          b.real(-0.5, 1.5)};
        c.filter[m] = {b.between(-1, 4), b.real(-0.5, 1.5), b.real(-0.5, 1.5)};
        SymmetryControls& s = c.symmetry[m];
        s.input = b.between(-1, 2);
        s.inverted = b.flag();
        s.shape = b.between(-1, 2);
        s.approach = b.between(-1, 2);
        s.rectX = b.between(-5, 120);
        s.rectY = b.between(-5, 120);
        s.circleRadius = b.between(-5, 120);
        c.productChecked[m] = b.flag();
        c.productAmplification[m] = b.real(-10.0, 110.0);
    }
    for (MaskControls* mask : {&c.dwiMask, &c.adcMask}) {
        *mask = {b.between(-1, 2), b.between(-20, 300), b.between(-20, 300),
                 b.flag(),         b.between(-1, 2),    b.real(-10.0, 110.0)};
    }
    static const char* keys[] = {"SS_T2", "SS_DWI", "SS_ADC", "M_DWI", "MS_DWI",
                                 "M_ADC", "MS_ADC", "XX",     ""};
    const int entries = b.between(0, 6);
    for (int i = 0; i < entries; ++i) {
        const QString data = QStringLiteral("%1;%2")
                                 .arg(QLatin1String(keys[b.between(0, 8)]))
                                 .arg(b.real(-5.0, 50.0));
        c.program.append({data, data});
    }
    c.resultMin = b.real(-20.0, 300.0);
    c.resultMax = b.real(-20.0, 300.0);
    c.resultAutocorrect = b.flag();
    c.resultAutocorrectBase = b.between(-1, 4);
    c.resultAutocorrectFactor = b.real(-10.0, 110.0);
    c.includeIntervalIn3D = b.flag();
    c.smallAreaThreshold = b.between(-10, 2100);
    c.pathologyThreshold = b.between(-10, 2100);
    const ControlFile project = ControlFile::project();
    return project.fromJson(project.toJson(c)).applyTo(ControlValues());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes b(data, size);
    ControlValues c = randomControls(b);

    CaseImages images;
    for (Modality m : {Modality::T2, Modality::DWI, Modality::ADC})
        images.setImage(m, sourceImage(b, c.scale[int(m)]));
    images.setGeometry(c);
    const AOIImages aoi = images.aoiImages();

    // Kept from run to run, as the window keeps them from button to button.
    static const auto engine = std::make_unique<SymmetryEngine>();
    static const auto product = std::make_unique<ResultMatrix>();
    static const auto solution = std::make_unique<ResultMatrix>();
    static const auto nonMasked = std::make_unique<ResultMatrix>();
    static IntervalBases averages;
    engine->resize(images.aoiWidth(), images.aoiHeight());
    AnalysisChain chain(
        *engine, *product, *solution, *nonMasked, averages, [&aoi] { return aoi; }, [] {});

    // One button per run keeps runs short; the order follows the window's tabs.
    const Modality m = Modality(b.between(0, 2));
    switch (b.between(0, 7)) {
    case 0:
        chain.spectrum(m, c);
        break;
    case 1:
        chain.prepareThreshold(m, c);
        break;
    case 2:
        chain.filtered(m, c);
        break;
    case 3:
        chain.prepareMasks(c);
        break;
    case 4:
        chain.rawSymmetries(c);
        break;
    case 5:
        chain.smoothSymmetries(c);
        break;
    case 6:
        chain.product(c);
        break;
    default:
        chain.evaluate(c);
        break;
    }
    return 0;
}
