// The analysis tabs driven through the window: buttons, labels and views, on a small case whose
// images the test writes itself.
#include "Dialogs.h"
#include "LEDWidget.h"
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "ShownImage.h"

#include <QGraphicsPixmapItem>
#include <QtTest>

#include <cmath>

namespace {

QImage uniformImage(int size, int value)
{
    QImage img(size, size, QImage::Format_Grayscale8);
    img.fill(uchar(value));
    return img;
}

} // namespace

class TestAnalysisWindow : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;
    QStringList messages;

    void load(QPushButton* button, const QImage& image, const QString& name)
    {
        const QString path = dir.filePath(name);
        QVERIFY(image.save(path, "BMP"));
        kelvara::Dialogs::setOpenFileHandler(
            [path](QWidget*, const QString&, const QString&, const QString&) { return path; });
        button->click();
    }

private slots:
    void init()
    {
        QDir::setCurrent(dir.path());
        QFile::remove(QStringLiteral("config.cfg"));
        messages.clear();
        kelvara::Dialogs::setInformationHandler(
            [this](QWidget*, const QString& title, const QString& text) { messages << title + ": " + text; });
        window = std::make_unique<MainWindow>();
        ui = window->form();
    }
    void cleanup()
    {
        window.reset();
        kelvara::Dialogs::resetHandlers();
    }

    // The threshold labels: T2 updates one label fewer; the solution's value label only follows
    // the modality its base selects.
    void thresholdLabels()
    {
        load(ui->OverlayImgLoadT2_BMP, uniformImage(256, 80), "t2.bmp");
        load(ui->OverlayImgLoadDWI_BMP, uniformImage(256, 120), "dwi.bmp");
        ui->ResultAutoCorrectBaseCombo->setCurrentIndex(1); // "DWI Fourier"
        ui->DWIFFTTreshXMax->setValue(0.5);
        ui->DWIFFTTreshYMax->setValue(0.5);
        ui->FFTDWIDisplayTreshButton->click();
        const QString dwi = ui->FFTDWITresholdLabel->text();
        QVERIFY(!dwi.isEmpty());
        QCOMPARE(ui->BinMaskDWIAutocorrectValue->text(), dwi);
        QCOMPARE(ui->AutocorrectValue->text(), dwi);
        ui->FFTT2DisplayTreshButton->click(); // all four spin boxes at 0: empty window
        QCOMPARE(ui->FFTT2TresholdLabel->text(), QStringLiteral("1"));
        QCOMPARE(ui->AutocorrectValue->text(), dwi); // not T2's
        QVERIFY(ui->BinMaskADCAutocorrectValue->text().isEmpty());
        QVERIFY(shownImage(ui->FFTTreshDWIGraphicsView).isNull()); // the threshold shows no image
    }

    void blackAOIGivesNaN()
    {
        load(ui->OverlayImgLoadADC_BMP, uniformImage(512, 0), "black.bmp");
        ui->FFTADCDisplayTreshButton->click();
        QCOMPARE(ui->FFTADCTresholdLabel->text(), QStringLiteral("nan"));
    }

    void spectrumShown()
    {
        load(ui->OverlayImgLoadT2_BMP, uniformImage(512, 100), "t2.bmp");
        ui->T2DisplayFFTDir->setChecked(true);
        ui->FFTT2DisplayFFTButton->click();
        const QImage s = shownImage(ui->FFTTreshT2GraphicsView);
        QCOMPARE(s.size(), QSize(512, 512));
        QCOMPARE(qGray(s.pixel(0, 0)), 255); // the zero frequency, unshifted
    }

    // The cut-off message: once per filtering, for the band filters only, spin boxes untouched.
    void cutoffMessage_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("c1");
        QTest::addColumn<double>("c2");
        QTest::addColumn<int>("count");
        QTest::newRow("band-pass 0.3/0.3") << 2 << 0.3 << 0.3 << 1;
        QTest::newRow("band-reject 0.5/0.2") << 3 << 0.5 << 0.2 << 1;
        QTest::newRow("low-pass 0.5/0.2") << 0 << 0.5 << 0.2 << 0;
        QTest::newRow("band-pass 0.2/0.5") << 2 << 0.2 << 0.5 << 0;
    }
    void cutoffMessage()
    {
        QFETCH(int, type);
        QFETCH(double, c1);
        QFETCH(double, c2);
        QFETCH(int, count);
        ui->DWIFFTFilterComboBox->setCurrentIndex(type);
        ui->DWIFFTCutoffSpinBox->setValue(c1);
        ui->DWIFFTCutoffSpinBox2->setValue(c2);
        ui->FFTDWIDisplayResButton->click();
        QCOMPARE(messages.size(), count);
        if (count)
            QCOMPARE(messages.first(),
                     QStringLiteral("Error: Second cutoff must be greater than first. cutoff2=cutoff1 + 0.1"));
        QCOMPARE(ui->DWIFFTCutoffSpinBox->value(), c1);
        QCOMPARE(ui->DWIFFTCutoffSpinBox2->value(), c2);
        QCOMPARE(shownImage(ui->FFTFilterDWIGraphicsView).size(), QSize(512, 512));
    }

    // Every recalculate button refreshes all three raw views; filter symmetry refreshes the
    // smooth views and leaves the raw ones as they were.
    void symmetryButtonsRefreshEveryModality()
    {
        load(ui->OverlayImgLoadT2_BMP, uniformImage(512, 100), "t2.bmp");
        ui->DWIRecalculateSymmetryButton->click();
        for (QGraphicsView* v : {ui->T2_AOI_SymImg_GraphicsView, ui->DWI_AOI_SymImg_GraphicsView,
                                 ui->ADC_AOI_SymImg_GraphicsView})
            QCOMPARE(shownImage(v).size(), QSize(512, 512));
        // Uniform 100 inside the ellipse: 100 on the rim where a cell faces a cell outside. In
        // row 240 the ellipse spans columns 218..294; the mirror of 294 is 217, outside.
        const QImage t2Raw = shownImage(ui->T2_AOI_SymImg_GraphicsView);
        QCOMPARE(qGray(t2Raw.pixel(256, 256)), 0);
        QCOMPARE(qGray(t2Raw.pixel(294, 240)), 100);
        QCOMPARE(qGray(t2Raw.pixel(217, 240)), 100);
        QCOMPARE(qGray(t2Raw.pixel(218, 240)), 0);
        QVERIFY(shownImage(ui->T2_AOI_SymSmoothImg_GraphicsView).isNull());

        ui->T2SymInverted->setChecked(true);
        ui->ADCFilterSymmetryButton->click();
        for (QGraphicsView* v : {ui->T2_AOI_SymSmoothImg_GraphicsView, ui->DWI_AOI_SymSmoothImg_GraphicsView,
                                 ui->ADC_AOI_SymSmoothImg_GraphicsView})
            QCOMPARE(shownImage(v).size(), QSize(512, 512));
        // 0 x 0 rectangle: the smoothed map is the (now inverted) raw symmetry...
        QCOMPARE(qGray(shownImage(ui->T2_AOI_SymSmoothImg_GraphicsView).pixel(0, 0)), 255);
        // ...while the raw view still shows the symmetry computed before.
        QCOMPARE(qGray(shownImage(ui->T2_AOI_SymImg_GraphicsView).pixel(0, 0)), 0);
    }

    void refreshShowsTheSymmetryInputs()
    {
        load(ui->OverlayImgLoadDWI_BMP, uniformImage(512, 77), "dwi.bmp");
        ui->SymmetryAOIADCRefreshButton->click();
        QCOMPARE(qGray(shownImage(ui->SymmetryAOIDWIView).pixel(256, 256)), 77);
        QCOMPARE(qGray(shownImage(ui->SymmetryAOIDWIView).pixel(10, 10)), 0);
        QCOMPARE(qGray(shownImage(ui->SymmetryAOIT2View).pixel(256, 256)), 32); // no T2 image
    }

    void kernelShapeSwitchesTheControls()
    {
        ui->DWIRectDimX->setValue(7);
        ui->DWIFilterShapeComboBox->setCurrentIndex(1);
        QVERIFY(ui->DWICircleRadius->isVisibleTo(ui->DWICircleRadius->parentWidget()));
        QVERIFY(!ui->DWIRectangleDims->isVisibleTo(ui->DWIRectangleDims->parentWidget()));
        ui->DWIFilterShapeComboBox->setCurrentIndex(0);
        QVERIFY(!ui->DWICircleRadius->isVisibleTo(ui->DWICircleRadius->parentWidget()));
        QCOMPARE(ui->DWIRectDimX->value(), 7);
        QCOMPARE(ui->DWIRectDimXSlider->value(), 7);
    }

    // The DWI button also recomputes ADC (and corrects its bound) but shows only DWI.
    void maskButtons()
    {
        load(ui->OverlayImgLoadDWI_BMP, uniformImage(512, 90), "dwi.bmp");
        load(ui->OverlayImgLoadADC_BMP, uniformImage(512, 60), "adc.bmp");
        ui->BinMaskADCAutoCorrectInterval->setChecked(true);
        ui->BinMaskADCAutoCorrectBaseCombo->setCurrentIndex(1); // "Average"
        ui->BinMaskADCAutoCorrectFactor->setValue(2.0);
        ui->DWIRecalculateMaskButton->click();
        QCOMPARE(ui->ADC_IntervalRight->value(), 120);
        QCOMPARE(ui->DWI_AOI_ImgAvg->text(), QStringLiteral("90"));
        QCOMPARE(ui->DWI_AOI_MaskAvg->text(), QStringLiteral("1")); // default [0, 255]
        QCOMPARE(qGray(shownImage(ui->DWI_AOI_MaskImg_GraphicsView).pixel(5, 5)), 255);
        QVERIFY(shownImage(ui->ADC_AOI_MaskImg_GraphicsView).isNull());
        QVERIFY(ui->ADC_AOI_ImgAvg->text().isEmpty());
        ui->ADCRecalculateMaskButton->click();
        QCOMPARE(ui->ADC_AOI_ImgAvg->text(), QStringLiteral("60"));
        QCOMPARE(ui->ADC_AOI_MaskAvg->text(), QStringLiteral("1")); // [0, 120] holds 60
    }

    void solutionList()
    {
        ui->ResultSymImageComboBox->setCurrentIndex(0);
        ui->ResultSymImageAmplification->setValue(2.5);
        ui->ResultAddImageButton->click();
        ui->ResultMaskComboBox->setCurrentIndex(2);
        ui->ResultAddMaskButton->click();
        ui->ResultSymImageAmplification->setValue(1.0);
        ui->ResultAddImageButton->click();
        QListWidget* list = ui->ResultIncludedImages;
        QCOMPARE(list->count(), 3);
        QCOMPARE(list->item(0)->text(), QStringLiteral("T2 smooth symmetry; Amplification=2.5"));
        QCOMPARE(list->item(0)->data(Qt::UserRole).toString(), QStringLiteral("SS_T2;2.5"));
        QCOMPARE(list->item(1)->text(), QStringLiteral("DWI simmetrical mask"));
        QCOMPARE(list->item(1)->data(Qt::UserRole).toString(), QStringLiteral("MS_DWI;1"));
        QCOMPARE(list->item(2)->data(Qt::UserRole).toString(), QStringLiteral("SS_T2;1"));
        list->setCurrentRow(1);
        ui->ResultRemoveSelectedButton->click();
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(1)->data(Qt::UserRole).toString(), QStringLiteral("SS_T2;1"));
        ui->ResultClearButton->click();
        QCOMPARE(list->count(), 0);
        ui->ResultRemoveSelectedButton->click(); // nothing selected: nothing happens
    }

    void emptySolutionStatistics()
    {
        ui->ResultCalculateButton->click();
        QCOMPARE(ui->SusPixels->text(), QStringLiteral("262144"));
        QCOMPARE(ui->ResultAvgSignal->text(), QStringLiteral("255"));
        QCOMPARE(ui->ResultAvgSignalNM->text(), QStringLiteral("255"));
    }

    void baseComboActivation()
    {
        ui->ResultAutoCorrectBaseCombo->setCurrentIndex(3); // programmatic: no slot
        QVERIFY(ui->AutocorrectValue->text().isEmpty());
        emit ui->ResultAutoCorrectBaseCombo->activated(3);
        QCOMPARE(ui->AutocorrectValue->text(), QStringLiteral("Not calculated"));
        emit ui->ResultAutoCorrectBaseCombo->activated(0); // computes T2 but shows it only on T2's label
        QCOMPARE(ui->FFTT2TresholdLabel->text(), QStringLiteral("1"));
        QCOMPARE(ui->AutocorrectValue->text(), QStringLiteral("Not calculated"));
    }

    void productOfNothingIsWhite()
    {
        ui->ProductCalculateButton->click();
        const QImage p = shownImage(ui->SymProdPreview_GraphicsView);
        QCOMPARE(p.size(), QSize(512, 512));
        QCOMPARE(qGray(p.pixel(0, 0)), 255);
        QCOMPARE(qGray(p.pixel(300, 260)), 255);
    }

    // A bright one-sided DWI lesion, listed as a mask: the verdict follows the thresholds.
    void determinePathology_data()
    {
        QTest::addColumn<int>("smallArea");
        QTest::addColumn<int>("pathology");
        QTest::addColumn<bool>("verdict");
        QTest::newRow("lesion kept") << 10 << 60 << true;
        QTest::newRow("lesion too small") << 81 << 1 << false;
        QTest::newRow("not enough pixels") << 10 << 81 << false;
    }
    void determinePathology()
    {
        QFETCH(int, smallArea);
        QFETCH(int, pathology);
        QFETCH(bool, verdict);
        QImage dwi = uniformImage(512, 40);
        for (int y = 250; y < 260; ++y) // 8 x 10 = 80 pixels left of the midline
            for (int x = 230; x < 238; ++x)
                dwi.scanLine(y)[x] = 220;
        load(ui->OverlayImgLoadDWI_BMP, dwi, "lesion.bmp");
        ui->DWI_IntervalLeft->setValue(200);
        ui->ResultMaskComboBox->setCurrentIndex(0);
        ui->ResultAddMaskButton->click();
        ui->ResultMaskIntervalMin->setValue(128);
        ui->SmallAreaTresh->setValue(smallArea);
        ui->PathologyTresh->setValue(pathology);
        ui->determinePathologyButton->click();
        QCOMPARE(ui->SusPixels->text(), QStringLiteral("80"));
        QCOMPARE(ui->PathologyDetectedLabel->isActive(), verdict);
        // The evaluation overlay marks the kept area in red over the T2 AOI image.
        const QImage overlay = [&] {
            for (QGraphicsItem* item : ui->evaluationOverlay->scene()->items())
                if (auto* p = dynamic_cast<QGraphicsPixmapItem*>(item); p && p->zValue() == 2.0)
                    return p->pixmap().toImage();
            return QImage();
        }();
        QCOMPARE(overlay.size(), QSize(512, 512));
        const bool kept = smallArea <= 80;
        QCOMPARE(qRed(overlay.pixel(233, 255)) == 255 && qAlpha(overlay.pixel(233, 255)) == 255, kept);
        QCOMPARE(qAlpha(overlay.pixel(300, 255)), 0);
    }

    // controlValues() hands every control to the chain under the right name.
    void controlValuesFollowTheControls()
    {
        ui->OverlayScaleDWI->setValue(1.5);
        ui->VCells->setValue(31);
        ui->verticalSlider->setValue(-12);
        ui->ADCDisplayFFTDir->setChecked(true);
        ui->DWIFFTTreshYMin->setValue(0.25);
        ui->ADCFFTFilterComboBox->setCurrentIndex(3);
        ui->T2FFTCutoffSpinBox2->setValue(0.75);
        ui->ADCBinMaskInputImgCombo->setCurrentIndex(1);
        ui->DWI_IntervalRight->setValue(201);
        ui->BinMaskADCAutoCorrectFactor->setValue(4.5);
        ui->DWISymInputImgCombo->setCurrentIndex(1);
        ui->ADCSymInverted->setChecked(true);
        ui->T2ApproachComboBox->setCurrentIndex(1);
        ui->DWIRectDimY->setValue(9);
        ui->ADCCircleRad->setValue(13);
        ui->ProductDWISmoothSymCheck->setChecked(true);
        ui->ProductADCSmoothSymAmp->setValue(3.25);
        ui->ResultMaskIntervalMax->setValue(99.5);
        ui->ResultAutoCorrectBaseCombo->setCurrentIndex(2);
        ui->ResultAutoCorrectFactor->setValue(0.5);
        ui->ResultIncludeIntervalIn3DGraph->setChecked(true);
        ui->SmallAreaTresh->setValue(17);
        ui->PathologyTresh->setValue(23);
        ui->ResultAddMaskButton->click();
        const kelvara::ControlValues c = window->controlValues();
        QCOMPARE(c.scale[1], 1.5);
        QCOMPARE(c.vCells, 31);
        QCOMPARE(c.vPos, -12);
        QCOMPARE(c.logarithmic[2], false);
        QCOMPARE(c.logarithmic[1], true);
        QCOMPARE(c.threshold[1].yMin, 0.25);
        QCOMPARE(c.filter[2].type, 3);
        QCOMPARE(c.filter[0].cut2, 0.75);
        QCOMPARE(c.adcMask.input, 1);
        QCOMPARE(c.dwiMask.right, 201);
        QCOMPARE(c.adcMask.autocorrectFactor, 4.5);
        QCOMPARE(c.symmetry[1].input, 1);
        QCOMPARE(c.symmetry[2].inverted, true);
        QCOMPARE(c.symmetry[0].approach, 1);
        QCOMPARE(c.symmetry[1].rectY, 9);
        QCOMPARE(c.symmetry[2].circleRadius, 13);
        QCOMPARE(c.productChecked[1], true);
        QCOMPARE(c.productAmplification[2], 3.25);
        QCOMPARE(c.resultMax, 99.5);
        QCOMPARE(c.resultAutocorrectBase, 2);
        QCOMPARE(c.resultAutocorrectFactor, 0.5);
        QCOMPARE(c.includeIntervalIn3D, true);
        QCOMPARE(c.smallAreaThreshold, 17);
        QCOMPARE(c.pathologyThreshold, 23);
        QCOMPARE(c.program.size(), 1);
        QCOMPARE(c.program.first().data, QStringLiteral("M_DWI;1"));
    }
};

QTEST_MAIN(TestAnalysisWindow)
#include "test_analysis_window.moc"
