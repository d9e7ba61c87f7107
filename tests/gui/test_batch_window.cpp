// The batch tool and the window agree pixel for pixel: the same project is loaded through
// "Load project", every analysis button is pressed in the batch tool's order, and each view's
// shown image (the composed PNG for the result views) is compared with the batch PNG. The
// window's 2D save buttons then write exactly what their views show.
#include "WindowFixture.h"

#include "LEDWidget.h"

namespace {

QImage argb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

QJsonObject readJson(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(f.readAll()).object() : QJsonObject();
}

} // namespace

class TestBatchWindow : public QObject
{
    Q_OBJECT

    WindowFixture f;
    Ui::MainWindow* ui = nullptr;
    QString batchDir;

private slots:
    void initTestCase()
    {
        const QString out = f.dir.filePath("batch");
        QProcess batch;
        batch.start(QStringLiteral(KELVARA_BATCH_EXE),
                    {"--out", out, "--small-area", "20", "--pathology", "50",
                     QStringLiteral(KELVARA_SAMPLES_DIR "/lesion.kelvara")});
        QVERIFY(batch.waitForFinished(120000));
        QVERIFY2(batch.exitCode() == 0, batch.readAllStandardError().constData());
        batchDir = out + "/lesion/";

        f.build();
        ui = f.ui;
        ui->SmallAreaTresh->setValue(20);
        ui->PathologyTresh->setValue(50);
        // The project's relative image paths are taken from the samples folder, as when
        // Kelvara runs there.
        QDir::setCurrent(QStringLiteral(KELVARA_SAMPLES_DIR));
        WindowFixture::answerOpen(QStringLiteral("lesion.kelvara"));
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
        QDir::setCurrent(f.dir.path());
    }
    void cleanupTestCase() { f.tearDown(); }

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
        auto* v = f.child<QGraphicsView>(view);
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
        const QImage saved = f.saveThrough(f.child<QPushButton>(button), png + "_window.png");
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

    void saveButtonsWriteTheShownImage_data()
    {
        QTest::addColumn<QString>("view");
        const std::pair<const char*, const char*> rows[] = {
            {"DWIBinaryMaskSaveButton", "DWI_AOI_MaskImg_GraphicsView"},
            {"ADCBinaryMaskSaveButton", "ADC_AOI_MaskImg_GraphicsView"},
            {"DWIBinarySymMaskSaveButton", "DWI_AOI_SymMaskImg_GraphicsView"},
            {"ADCBinarySymMaskSaveButton", "ADC_AOI_SymMaskImg_GraphicsView"},
            {"T2SaveRawSymmetry2DButton", "T2_AOI_SymImg_GraphicsView"},
            {"DWISaveRawSymmetry2DButton", "DWI_AOI_SymImg_GraphicsView"},
            {"ADCSaveRawSymmetry2DButton", "ADC_AOI_SymImg_GraphicsView"},
            {"T2SaveSmoothSymmetry2DButton", "T2_AOI_SymSmoothImg_GraphicsView"},
            {"DWISaveSmoothSymmetry2DButton", "DWI_AOI_SymSmoothImg_GraphicsView"},
            {"ADCSaveSmoothSymmetry2DButton", "ADC_AOI_SymSmoothImg_GraphicsView"},
            {"SymProdSave2DButton", "SymProdPreview_GraphicsView"},
        };
        for (const auto& [button, view] : rows)
            QTest::newRow(button) << QString::fromLatin1(view);
    }
    void saveButtonsWriteTheShownImage()
    {
        QFETCH(QString, view);
        const QImage saved = f.saveThrough(f.child<QPushButton>(QTest::currentDataTag()), "saved.png");
        QVERIFY(!saved.isNull());
        QCOMPARE(argb(saved), argb(shownImage(f.child<QGraphicsView>(view))));
    }

    void statistics()
    {
        const QJsonObject r = readJson(batchDir + "result.json");
        QCOMPARE(ui->SusPixels->text().toInt(), r.value("suspiciousPixels").toInt());
        QCOMPARE(ui->PathologyDetectedLabel->isActive(), r.value("pathology").toBool());
        QVERIFY(ui->PathologyDetectedLabel->isActive()); // the lesion case is a pathology
        QCOMPARE(ui->DWI_IntervalLeft->value(),
                 r.value("intervals").toObject().value("DWILeft").toInt());
        QCOMPARE(ui->ADC_IntervalRight->value(),
                 r.value("intervals").toObject().value("ADCRight").toInt());
    }
};

QTEST_MAIN(TestBatchWindow)
#include "test_batch_window.moc"
