#include "MainWindow.h"

#include "ui_MainWindow.h"

using kelvara::Modality;

void MainWindow::on_FFTT2DisplayResButton_clicked()
{
    fftFilterT2View.setImage(filterT2Image());
}

void MainWindow::on_FFTDWIDisplayResButton_clicked()
{
    fftFilterDWIView.setImage(filterDWIImage());
}

void MainWindow::on_FFTADCDisplayResButton_clicked()
{
    fftFilterADCView.setImage(filterADCImage());
}

void MainWindow::on_FFTT2DisplayFFTButton_clicked()
{
    fftThresholdT2View.setImage(chain.spectrum(Modality::T2, controlValues()));
}

void MainWindow::on_FFTDWIDisplayFFTButton_clicked()
{
    fftThresholdDWIView.setImage(chain.spectrum(Modality::DWI, controlValues()));
}

void MainWindow::on_FFTADCDisplayFFTButton_clicked()
{
    fftThresholdADCView.setImage(chain.spectrum(Modality::ADC, controlValues()));
}

void MainWindow::on_FFTT2DisplayTreshButton_clicked()
{
    prepareT2Threshold();
    showThreshold(Modality::T2);
}

void MainWindow::on_FFTDWIDisplayTreshButton_clicked()
{
    prepareDWIThreshold();
    showThreshold(Modality::DWI);
}

void MainWindow::on_FFTADCDisplayTreshButton_clicked()
{
    prepareADCThreshold();
    showThreshold(Modality::ADC);
}

void MainWindow::prepareT2Threshold()
{
    chain.prepareThreshold(Modality::T2, controlValues());
}

void MainWindow::prepareDWIThreshold()
{
    chain.prepareThreshold(Modality::DWI, controlValues());
}

void MainWindow::prepareADCThreshold()
{
    chain.prepareThreshold(Modality::ADC, controlValues());
}

// T2 has no mask of its own, so it updates one label fewer than DWI and ADC.
void MainWindow::showThreshold(Modality m)
{
    const double value = intervalBases.of(m);
    switch (m) {
    case Modality::T2:
        ui->FFTT2TresholdLabel->setNum(value);
        break;
    case Modality::DWI:
        ui->FFTDWITresholdLabel->setNum(value);
        ui->BinMaskDWIAutocorrectValue->setNum(value);
        break;
    case Modality::ADC:
        ui->FFTADCTresholdLabel->setNum(value);
        ui->BinMaskADCAutocorrectValue->setNum(value);
        break;
    }
    if (ui->ResultAutoCorrectBaseCombo->currentIndex() == static_cast<int>(m))
        ui->AutocorrectValue->setNum(value);
}

QImage MainWindow::filterT2Image()
{
    return chain.filtered(Modality::T2, controlValues());
}

QImage MainWindow::filterDWIImage()
{
    return chain.filtered(Modality::DWI, controlValues());
}

QImage MainWindow::filterADCImage()
{
    return chain.filtered(Modality::ADC, controlValues());
}
