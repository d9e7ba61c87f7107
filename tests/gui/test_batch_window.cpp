// The batch tool and the window agree pixel for pixel: the same project is loaded through
// "Load project", every analysis button is pressed in the batch tool's order, and each view's
// shown image (the composed PNG for the result views) is compared with the batch PNG.
#include "BatchTestSupport.h"
#include "Dialogs.h"
#include "LEDWidget.h"
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include <QGraphicsPixmapItem>
#include <QTemporaryDir>
#include <QtTest>

#include "ShownImage.h"

using namespace batchtest;

namespace {

QImage argb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestBatchWindow : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;
    QString batchDir;
    QString savedDir;

    QImage saveThrough(QPushButton* button, const QString& name)
    {
        const QString path = tmp.filePath(name);
        kelvara::Dialogs::setSaveFileHandler(
            [path](QWidget*, const QString&, const QString&, const QString&) { return path; });
        button->click();
        return QImage(path);
    }

private slots:
    void initTestCase()
    {
        const QString out = tmp.filePath("batch");
        const Run r = runBatch({"--out", out, "--small-area", "20", "--pathology", "50",
                                QStringLiteral(KELVARA_SAMPLES_DIR "/lesion.kelvara")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        batchDir = out + "/lesion/";

        // No settings file where the window starts; the project's relative image paths are
        // then taken from the samples folder, as when Kelvara runs there.
        QDir::setCurrent(tmp.path());
        window = std::make_unique<MainWindow>();
        ui = window->form();
        QVERIFY(ui);
        ui->SmallAreaTresh->setValue(20);
        ui->PathologyTresh->setValue(50);
        kelvara::Dialogs::setInformationHandler([](QWidget*, const QString&, const QString&) {});
        QDir::setCurrent(QStringLiteral(KELVARA_SAMPLES_DIR));
        kelvara::Dialogs::setOpenFileHandler(
            [](QWidget*, const QString&, const QString&, const QString&) {
                return QStringLiteral("lesion.kelvara");
            });
        ui->LoadProjectButton->click();

        QPushButton* perModality[] = {
            ui->FFTT2DisplayFFTButton,  ui->FFTT2DisplayTreshButton,  ui->FFTT2DisplayResButton,
            ui->FFTDWIDisplayFFTButton, ui->FFTDWIDisplayTreshButton, ui->FFTDWIDisplayResButton,
            ui->FFTADCDisplayFFTButton, ui->FFTADCDisplayTreshButton, ui->FFTADCDisplayResButton};
        for (QPushButton* b : perModality)
            b->click();
        ui->DWIRecalculateMaskButton->click();
        ui->ADCRecalculateMaskButton->click();
        ui->T2RecalculateSymmetryButton->click();
        ui->T2FilterSymmetryButton->click();
        ui->ProductCalculateButton->click();
        ui->determinePathologyButton->click();
        ui->SymmetryAOIT2RefreshButton->click();
        QDir::setCurrent(tmp.path());
    }

    void cleanupTestCase()
    {
        window.reset();
        kelvara::Dialogs::resetHandlers();
    }

    void views_data()
    {
        QTest::addColumn<QString>("png");
        QTest::addColumn<QString>("view");
        const std::pair<const char*, const char*> rows[] = {
            {"t2_aoi", "SymmetryAOIT2View"},
            {"dwi_aoi", "DWI_AOI_Img_GraphicsView"},
            {"adc_aoi", "ADC_AOI_Img_GraphicsView"},
            {"t2_spectrum", "FFTTreshT2GraphicsView"},
            {"dwi_spectrum", "FFTTreshDWIGraphicsView"},
            {"adc_spectrum", "FFTTreshADCGraphicsView"},
            {"t2_filtered", "FFTFilterT2GraphicsView"},
            {"dwi_filtered", "FFTFilterDWIGraphicsView"},
            {"adc_filtered", "FFTFilterADCGraphicsView"},
            {"dwi_mask", "DWI_AOI_MaskImg_GraphicsView"},
            {"dwi_symmetric_mask", "DWI_AOI_SymMaskImg_GraphicsView"},
            {"adc_mask", "ADC_AOI_MaskImg_GraphicsView"},
            {"adc_symmetric_mask", "ADC_AOI_SymMaskImg_GraphicsView"},
            {"t2_raw_symmetry", "T2_AOI_SymImg_GraphicsView"},
            {"dwi_raw_symmetry", "DWI_AOI_SymImg_GraphicsView"},
            {"adc_raw_symmetry", "ADC_AOI_SymImg_GraphicsView"},
            {"t2_smooth_symmetry", "T2_AOI_SymSmoothImg_GraphicsView"},
            {"dwi_smooth_symmetry", "DWI_AOI_SymSmoothImg_GraphicsView"},
            {"adc_smooth_symmetry", "ADC_AOI_SymSmoothImg_GraphicsView"},
            {"product", "SymProdPreview_GraphicsView"},
        };
        for (const auto& r : rows)
            QTest::newRow(r.first) << QString::fromLatin1(r.first) << QString::fromLatin1(r.second);
    }

    void views()
    {
        QFETCH(QString, png);
        QFETCH(QString, view);
        auto* v = window->findChild<QGraphicsView*>(view);
        QVERIFY(v);
        const QImage shown = shownImage(v);
        const QImage batch(batchDir + png + ".png");
        QVERIFY(!shown.isNull());
        QCOMPARE(argb(batch), argb(shown));
    }

    void composedOverlays_data()
    {
        QTest::addColumn<QString>("png");
        QTest::addColumn<QString>("button");
        QTest::newRow("solution") << "solution_overlay"
                                  << "ResultSave2DButton";
        QTest::newRow("evaluation") << "evaluation_overlay"
                                    << "saveEvalImageButton";
    }

    void composedOverlays()
    {
        QFETCH(QString, png);
        QFETCH(QString, button);
        const QImage saved =
            saveThrough(window->findChild<QPushButton*>(button), png + "_window.png");
        const QImage batch(batchDir + png + ".png");
        QVERIFY(!saved.isNull());
        QCOMPARE(argb(batch), argb(saved));
        // Red marks really are there: the lesion case has suspicious pixels.
        bool red = false;
        for (int y = 0; y < batch.height() && !red; ++y)
            for (int x = 0; x < batch.width() && !red; ++x)
                red = qRed(batch.pixel(x, y)) > qGreen(batch.pixel(x, y)) + 60;
        QVERIFY(red);
    }

    void statistics()
    {
        const QJsonObject r = readJson(batchDir + "result.json");
        QCOMPARE(ui->SusPixels->text().toInt(), r.value("suspiciousPixels").toInt());
        QCOMPARE(ui->PathologyDetectedLabel->isActive(), r.value("pathology").toBool());
        QCOMPARE(ui->DWI_IntervalLeft->value(),
                 r.value("intervals").toObject().value("DWILeft").toInt());
        QCOMPARE(ui->ADC_IntervalRight->value(),
                 r.value("intervals").toObject().value("ADCRight").toInt());
    }
};

QTEST_MAIN(TestBatchWindow)
#include "test_batch_window.moc"
