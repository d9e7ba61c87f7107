#include "MainWindow.h"

#include "ui_MainWindow.h"

using kelvara::ControlValues;

ControlValues MainWindow::controlValues() const
{
    const Ui::MainWindow& f = *ui;
    ControlValues c;
    c.scale = {f.OverlayScaleT2->value(), f.OverlayScaleDWI->value(), f.OverlayScaleADC->value()};
    c.hCells = f.HCells->value();
    c.vCells = f.VCells->value();
    c.hStep = f.HStep->value();
    c.vStep = f.VStep->value();
    c.hPos = f.horizontalSlider->value();
    c.vPos = f.verticalSlider->value();

    c.logarithmic = {f.T2DisplayFFTLog->isChecked(), f.DWIDisplayFFTLog->isChecked(),
                     f.ADCDisplayFFTLog->isChecked()};
    c.threshold[0] = {f.T2FFTTreshXMin->value(), f.T2FFTTreshXMax->value(), f.T2FFTTreshYMin->value(),
                      f.T2FFTTreshYMax->value()};
    c.threshold[1] = {f.DWIFFTTreshXMin->value(), f.DWIFFTTreshXMax->value(), f.DWIFFTTreshYMin->value(),
                      f.DWIFFTTreshYMax->value()};
    c.threshold[2] = {f.ADCFFTTreshXMin->value(), f.ADCFFTTreshXMax->value(), f.ADCFFTTreshYMin->value(),
                      f.ADCFFTTreshYMax->value()};
    c.filter[0] = {f.T2FFTFilterComboBox->currentIndex(), f.T2FFTCutoffSpinBox->value(),
                   f.T2FFTCutoffSpinBox2->value()};
    c.filter[1] = {f.DWIFFTFilterComboBox->currentIndex(), f.DWIFFTCutoffSpinBox->value(),
                   f.DWIFFTCutoffSpinBox2->value()};
    c.filter[2] = {f.ADCFFTFilterComboBox->currentIndex(), f.ADCFFTCutoffSpinBox->value(),
                   f.ADCFFTCutoffSpinBox2->value()};

    c.dwiMask = {f.DWIBinMaskInputImgCombo->currentIndex(), f.DWI_IntervalLeft->value(),
                 f.DWI_IntervalRight->value(), f.BinMaskDWIAutoCorrectInterval->isChecked(),
                 f.BinMaskDWIAutoCorrectBaseCombo->currentIndex(), f.BinMaskDWIAutoCorrectFactor->value()};
    c.adcMask = {f.ADCBinMaskInputImgCombo->currentIndex(), f.ADC_IntervalLeft->value(),
                 f.ADC_IntervalRight->value(), f.BinMaskADCAutoCorrectInterval->isChecked(),
                 f.BinMaskADCAutoCorrectBaseCombo->currentIndex(), f.BinMaskADCAutoCorrectFactor->value()};

    c.symmetry[0] = {f.T2SymInputImgCombo->currentIndex(), f.T2SymInverted->isChecked(),
                     f.T2FilterShapeComboBox->currentIndex(), f.T2ApproachComboBox->currentIndex(),
                     f.T2RectDimX->value(), f.T2RectDimY->value(), f.T2CircleRad->value()};
    c.symmetry[1] = {f.DWISymInputImgCombo->currentIndex(), f.DWISymInverted->isChecked(),
                     f.DWIFilterShapeComboBox->currentIndex(), f.DWIApproachComboBox->currentIndex(),
                     f.DWIRectDimX->value(), f.DWIRectDimY->value(), f.DWICircleRad->value()};
    c.symmetry[2] = {f.ADCSymInputImgCombo->currentIndex(), f.ADCSymInverted->isChecked(),
                     f.ADCFilterShapeComboBox->currentIndex(), f.ADCApproachComboBox->currentIndex(),
                     f.ADCRectDimX->value(), f.ADCRectDimY->value(), f.ADCCircleRad->value()};

    c.productChecked = {f.ProductT2SmoothSymCheck->isChecked(), f.ProductDWISmoothSymCheck->isChecked(),
                        f.ProductADCSmoothSymCheck->isChecked()};
    c.productAmplification = {f.ProductT2SmoothSymAmp->value(), f.ProductDWISmoothSymAmp->value(),
                              f.ProductADCSmoothSymAmp->value()};

    for (int i = 0; i < f.ResultIncludedImages->count(); ++i) {
        const QListWidgetItem* item = f.ResultIncludedImages->item(i);
        c.program.append({item->text(), item->data(Qt::UserRole).toString()});
    }
    c.resultMin = f.ResultMaskIntervalMin->value();
    c.resultMax = f.ResultMaskIntervalMax->value();
    c.resultAutocorrect = f.ResultAutoCorrectInterval->isChecked();
    c.resultAutocorrectBase = f.ResultAutoCorrectBaseCombo->currentIndex();
    c.resultAutocorrectFactor = f.ResultAutoCorrectFactor->value();
    c.includeIntervalIn3D = f.ResultIncludeIntervalIn3DGraph->isChecked();

    c.smallAreaThreshold = f.SmallAreaTresh->value();
    c.pathologyThreshold = f.PathologyTresh->value();
    return c;
}
