// The analysis chain without any widget: solution composition, automatic bounds written back as
// the controls would hold them, the region rows for odd AOI heights, the cut-off notice, and the
// verdict on a case with known areas.
#include "AnalysisChain.h"
#include "ResultMatrix.h"
#include "StoredControlTable.h"
#include "SymmetryEngine.h"

#include <QtTest>

#include <cmath>

using namespace kelvara;

namespace {

QImage uniform(int value)
{
    QImage img(512, 512, QImage::Format_Grayscale8);
    img.fill(uchar(value));
    return img;
}

void fillRect(QImage& img, int x, int y, int w, int h, int value)
{
    for (int j = y; j < y + h; ++j)
        for (int i = x; i < x + w; ++i)
            img.scanLine(j)[i] = uchar(value);
}

struct Case
{
    SymmetryEngine engine;
    ResultMatrix product, solution, nonMasked;
    IntervalBases averages;
    AOIImages images;
    int notices = 0;
    AnalysisChain chain{engine,
                        product,
                        solution,
                        nonMasked,
                        averages,
                        [this] { return images; },
                        [this] { ++notices; }};

    Case(const QImage& t2, const QImage& dwi, const QImage& adc, int height = 50)
    {
        images = {t2, dwi, adc, 50.0, double(height)}; // the default AOI: W 100, H 50
        engine.resize(100, height);
    }
};

} // namespace

class TestAnalysisChain : public QObject
{
    Q_OBJECT
private slots:
    void emptyProgramMarksTheWholeCanvas()
    {
        Case k(uniform(90), uniform(120), uniform(60));
        ControlValues c;
        const SolutionStatistics s = k.chain.solution(c);
        QCOMPARE(s.suspiciousPixels, 512 * 512);
        QCOMPARE(s.averageSignal, 255.0);
        QCOMPARE(s.averageSignalNonMasked, 255.0);
    }

    // Every entry multiplies in list order; masks only touch the solution, symmetry images both.
    void solutionFollowsTheProgram_data()
    {
        QTest::addColumn<QStringList>("program");
        QTest::newRow("amplified twice") << QStringList{"SS_T2;2", "SS_T2;2"};
        QTest::newRow("symmetry and masks") << QStringList{"SS_ADC;3.5", "M_DWI;1", "MS_ADC;1"};
        QTest::newRow("only masks, unknown key") << QStringList{"M_ADC;1", "XX;5", "MS_DWI;1"};
        QTest::newRow("amplification not a number") << QStringList{"SS_DWI;abc"};
    }
    void solutionFollowsTheProgram()
    {
        QFETCH(QStringList, program);
        QImage t2 = uniform(0), dwi = uniform(0), adc = uniform(0);
        QRandomGenerator rng(7);
        for (QImage* img : {&t2, &dwi, &adc})
            for (int y = 0; y < 512; ++y)
                for (int x = 0; x < 512; ++x)
                    img->scanLine(y)[x] = uchar(rng.bounded(256));
        Case k(t2, dwi, adc);
        ControlValues c;
        c.symmetry[0].shape = 1; // T2 disc of radius 2
        c.symmetry[0].circleRadius = 2;
        c.symmetry[1].rectX = 3; // DWI 3 x 2 rectangle, "Average image"
        c.symmetry[1].rectY = 2;
        c.symmetry[1].approach = 1;
        c.dwiMask.left = 100;
        c.adcMask.right = 140;
        c.resultMin = 10;
        c.resultMax = 200;
        for (const QString& d : program)
            c.program.append(ProgramItem{d, d});
        const SolutionStatistics s = k.chain.solution(c);

        // Recompute every pixel from the engine's planes.
        const QMap<QString, const double* const*> planes{
            {"SS_T2", k.engine.t2SmoothResult()},   {"SS_DWI", k.engine.dwiSmoothResult()},
            {"SS_ADC", k.engine.adcSmoothResult()}, {"M_DWI", k.engine.dwiMask()},
            {"M_ADC", k.engine.adcMask()},          {"MS_DWI", k.engine.dwiSymmetricMask()},
            {"MS_ADC", k.engine.adcSymmetricMask()}};
        int count = 0;
        for (int x = 0; x < 512; ++x) {
            for (int y = 0; y < 512; ++y) {
                double v = 1.0, nm = 1.0;
                for (const QString& d : program) {
                    const QString key = d.section(';', 0, 0);
                    const double cell = planes.contains(key) ? planes[key][x][y] : 1.0;
                    if (key.startsWith("SS_")) {
                        v = v * ((cell / 255.0) * d.section(';', 1, 1).toDouble());
                        nm = nm * ((cell / 255.0) * d.section(';', 1, 1).toDouble());
                    } else {
                        v *= cell;
                    }
                }
                QCOMPARE(k.solution.values()[x][y], v);
                QCOMPARE(k.nonMasked.values()[x][y], nm);
                count += std::min(v, 1.0) >= 10 / 255.0 && std::min(v, 1.0) <= 200 / 255.0;
            }
        }
        QCOMPARE(s.suspiciousPixels, count);
        const double average = k.solution.averagePositive() * 255.0;
        QVERIFY(s.averageSignal == average || (std::isnan(average) && std::isnan(s.averageSignal)));
        QCOMPARE(s.averageSignalNonMasked, k.nonMasked.averagePositive() * 255.0);
    }

    // Automatic bounds land in the controls' values, clamped and rounded as the controls do.
    void automaticMaskBounds_data()
    {
        QTest::addColumn<int>("dwiValue");
        QTest::addColumn<double>("factor");
        QTest::addColumn<int>("expectedDwiLeft");
        QTest::addColumn<int>("expectedAdcRight");
        QTest::newRow("factor 1") << 88 << 1.0 << 88 << 60;
        QTest::newRow("factor 3 clamps to 255") << 100 << 3.0 << 255 << 180;
        QTest::newRow("factor 0.5 truncates") << 75 << 0.5 << 37 << 30;
    }
    void automaticMaskBounds()
    {
        QFETCH(int, dwiValue);
        QFETCH(double, factor);
        QFETCH(int, expectedDwiLeft);
        QFETCH(int, expectedAdcRight);
        Case k(uniform(10), uniform(dwiValue), uniform(60));
        ControlValues c;
        c.dwiMask.autocorrect = true;
        c.dwiMask.autocorrectBase = 1; // "Average": the mean over the AOI ellipse
        c.dwiMask.autocorrectFactor = factor;
        c.adcMask.autocorrect = true;
        c.adcMask.autocorrectBase = 1;
        c.adcMask.autocorrectFactor = factor;
        k.chain.prepareMasks(c);
        QCOMPARE(c.dwiMask.left, expectedDwiLeft);
        QCOMPARE(c.adcMask.right, expectedAdcRight);
        QCOMPARE(k.engine.dwiLeft(), double(expectedDwiLeft));
        QCOMPARE(k.engine.adcRight(), double(expectedAdcRight));
        QCOMPARE(c.dwiMask.right, 255); // the other bound stays
        QCOMPARE(c.adcMask.left, 0);
        // The spectrum thresholds are recomputed whatever the base.
        QVERIFY(k.averages.dwiFourierAverage != 0.0);
        QVERIFY(k.averages.adcFourierAverage != 0.0);
    }

    // With the spectrum threshold as base, each bound follows its own modality's threshold
    // value: DWI's and ADC's AOIs differ here, so their thresholds do too.
    void automaticMaskBoundsFromSpectrum()
    {
        QImage dwi = uniform(40), adc = uniform(200);
        fillRect(dwi, 200, 230, 40, 30, 250); // inside the default AOI
        fillRect(adc, 260, 240, 10, 10, 0);
        Case k(uniform(10), dwi, adc);
        ControlValues c;
        c.dwiMask.autocorrect = true;
        c.dwiMask.autocorrectBase = 0; // the spectrum threshold value (below 1 here)
        c.dwiMask.autocorrectFactor = 255.0; // the largest factor the box holds
        c.adcMask.autocorrect = true;
        c.adcMask.autocorrectBase = 0;
        c.adcMask.autocorrectFactor = 255.0;
        c.threshold[1] = c.threshold[2] = {0.0, 0.5, 0.0, 0.5};
        k.chain.prepareMasks(c);
        const double dwiBase = k.averages.dwiFourierAverage, adcBase = k.averages.adcFourierAverage;
        QVERIFY(std::trunc(255.0 * dwiBase) != std::trunc(255.0 * adcBase));
        QCOMPARE(c.dwiMask.left, StoredControlTable::limitedInteger("DWI_IntervalLeft",
                                                                    int(255.0 * dwiBase)));
        QCOMPARE(c.adcMask.right, StoredControlTable::limitedInteger("ADC_IntervalRight",
                                                                     int(255.0 * adcBase)));
    }

    // The Fourier bases are used as last computed; the non-masked average is this very run's
    // (255 for an empty list). The minimum is rounded to two decimals and limited to 255.
    void automaticSolutionMinimum_data()
    {
        QTest::addColumn<int>("base");
        QTest::addColumn<double>("factor");
        QTest::addColumn<double>("minimum");
        QTest::newRow("T2 Fourier") << 0 << 3.0 << 37.04; // 3 x 12.3456
        QTest::newRow("DWI Fourier") << 1 << 1.0 << 20.0;
        QTest::newRow("ADC Fourier") << 2 << 1.0 << 30.0;
        QTest::newRow("non-masked average") << 3 << 0.1 << 25.5;
        QTest::newRow("limited to 255") << 2 << 10.0 << 255.0;
    }
    void automaticSolutionMinimum()
    {
        QFETCH(int, base);
        QFETCH(double, factor);
        QFETCH(double, minimum);
        Case k(uniform(0), uniform(0), uniform(0));
        k.averages.t2FourierAverage = 12.3456;
        k.averages.dwiFourierAverage = 20.0;
        k.averages.adcFourierAverage = 30.0;
        ControlValues c;
        c.resultAutocorrect = true;
        c.resultAutocorrectBase = base;
        c.resultAutocorrectFactor = factor;
        k.chain.solution(c);
        QCOMPARE(c.resultMin, minimum);
    }

    // For an odd AOI height the region fill starts at 256 - H/2 truncated, so each canvas row
    // reads the AOI image one row above it: the symmetries and the masks alike.
    void oddHeightRegionReadsOneRowHigher()
    {
        QImage rows = uniform(0);
        for (int y = 0; y < 512; ++y)
            std::fill_n(rows.scanLine(y), 512, uchar(y % 200 + 1));
        Case k(rows, rows, rows, 51);
        ControlValues c;
        k.chain.smoothSymmetries(c);
        k.chain.prepareMasks(c);
        for (int y = 232; y <= 280; ++y) {
            QCOMPARE(k.engine.t2Region()[256][y], double((y - 1) % 200 + 1));
            QCOMPARE(k.engine.dwiRegion()[256][y], double((y - 1) % 200 + 1));
        }
    }

    void cutoffNoticeForBandFiltersOnly_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("notices");
        QTest::newRow("low-pass") << 0 << 0;
        QTest::newRow("band-pass") << 2 << 2; // DWI and ADC both take the filtered input
    }
    void cutoffNoticeForBandFiltersOnly()
    {
        QFETCH(int, type);
        QFETCH(int, notices);
        Case k(uniform(50), uniform(60), uniform(70));
        ControlValues c;
        c.dwiMask.input = c.adcMask.input = 1;
        for (FrequencyFilter& f : c.filter) {
            f.type = type;
            f.cut1 = f.cut2 = 0.3;
        }
        k.chain.prepareMasks(c);
        QCOMPARE(k.notices, notices);
        QCOMPARE(c.filter[1].cut2, 0.3); // corrected locally only
    }

    // Three separate 50-pixel areas made visible through the DWI mask.
    void verdict_data()
    {
        QTest::addColumn<int>("smallArea");
        QTest::addColumn<int>("pathology");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<int>("kept");
        QTest::newRow("all kept, 150 >= 150") << 40 << 150 << true << 150;
        QTest::newRow("all kept, 150 < 151") << 40 << 151 << false << 150;
        QTest::newRow("all dropped") << 51 << 1 << false << 0;
        QTest::newRow("both thresholds 0") << 0 << 0 << true << 150;
    }
    void verdict()
    {
        QFETCH(int, smallArea);
        QFETCH(int, pathology);
        QFETCH(bool, expected);
        QFETCH(int, kept);
        QImage dwi = uniform(0);
        fillRect(dwi, 220, 250, 5, 10, 230);
        fillRect(dwi, 240, 240, 10, 5, 230);
        fillRect(dwi, 280, 260, 5, 10, 230);
        Case k(uniform(0), dwi, uniform(0));
        ControlValues c;
        c.dwiMask.left = 200;
        c.program.append(ProgramItem{"DWI mask", "M_DWI;1"});
        c.resultMin = 128;
        c.smallAreaThreshold = smallArea;
        c.pathologyThreshold = pathology;
        SolutionStatistics s;
        QCOMPARE(k.chain.evaluate(c, &s), expected);
        QCOMPARE(s.suspiciousPixels, 150);
        QCOMPARE(k.chain.keptAreaPixels(), kept);
    }
};

QTEST_GUILESS_MAIN(TestAnalysisChain)
#include "test_analysischain.moc"
