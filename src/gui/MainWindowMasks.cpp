#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::prepareMasks(QImage& maskInputDWI, QImage& maskInputADC)
{
    kelvara::ControlValues c = controlValues();
    const kelvara::MaskInputs in = chain.prepareMasks(c);
    maskInputDWI = in.dwi;
    maskInputADC = in.adc;
    showAutomaticBounds(c);
}

// Both buttons recompute both modalities' masks; each refreshes only its own views.
void MainWindow::on_DWIRecalculateMaskButton_clicked()
{
    QImage dwi, adc;
    prepareMasks(dwi, adc);
    dwiAOIView.setImage(dwi);
    dwiMaskView.setImage(symmetryEngine.dwiMaskImage());
    dwiSymMaskView.setImage(symmetryEngine.dwiSymmetricMaskImage());
    ui->DWI_AOI_ImgAvg->setNum(symmetryEngine.dwiImageAverage());
    ui->DWI_AOI_MaskAvg->setNum(symmetryEngine.dwiMaskAverage());
}

void MainWindow::on_ADCRecalculateMaskButton_clicked()
{
    QImage dwi, adc;
    prepareMasks(dwi, adc);
    adcAOIView.setImage(adc);
    adcMaskView.setImage(symmetryEngine.adcMaskImage());
    adcSymMaskView.setImage(symmetryEngine.adcSymmetricMaskImage());
    ui->ADC_AOI_ImgAvg->setNum(symmetryEngine.adcImageAverage());
    ui->ADC_AOI_MaskAvg->setNum(symmetryEngine.adcMaskAverage());
}

void MainWindow::on_DWI_IntervalLeft_valueChanged(int value)
{
    symmetryEngine.setDWILeft(value);
}

void MainWindow::on_DWI_IntervalRight_valueChanged(int value)
{
    symmetryEngine.setDWIRight(value);
}

void MainWindow::on_ADC_IntervalLeft_valueChanged(int value)
{
    symmetryEngine.setADCLeft(value);
}

void MainWindow::on_ADC_IntervalRight_valueChanged(int value)
{
    symmetryEngine.setADCRight(value);
}
