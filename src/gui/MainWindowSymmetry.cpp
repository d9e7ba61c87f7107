#include "MainWindow.h"

#include "ui_MainWindow.h"

using kelvara::Modality;

// Kernel shape: 0 shows the rectangle controls, 1 the circle controls.
void MainWindow::setKernelShape(Modality m, int index)
{
    QGroupBox* const circle[] = {ui->T2CircleRadius, ui->DWICircleRadius, ui->ADCCircleRadius};
    QGroupBox* const rectangle[] = {ui->T2RectangleDims, ui->DWIRectangleDims, ui->ADCRectangleDims};
    const int i = static_cast<int>(m);
    if (index == 0) {
        circle[i]->hide();
        rectangle[i]->show();
    } else if (index == 1) {
        circle[i]->show();
        rectangle[i]->hide();
    }
}

void MainWindow::on_T2FilterShapeComboBox_currentIndexChanged(int index)
{
    setKernelShape(Modality::T2, index);
}

void MainWindow::on_DWIFilterShapeComboBox_currentIndexChanged(int index)
{
    setKernelShape(Modality::DWI, index);
}

void MainWindow::on_ADCFilterShapeComboBox_currentIndexChanged(int index)
{
    setKernelShape(Modality::ADC, index);
}

// The kernel size slots belong to the window's slot table; the smoothing reads the spin boxes
// when it runs, so there is nothing to keep here.
void MainWindow::on_T2CircleRad_valueChanged(int) {}
void MainWindow::on_T2RectDimX_valueChanged(int) {}
void MainWindow::on_T2RectDimY_valueChanged(int) {}
void MainWindow::on_DWICircleRad_valueChanged(int) {}
void MainWindow::on_DWIRectDimX_valueChanged(int) {}
void MainWindow::on_DWIRectDimY_valueChanged(int) {}
void MainWindow::on_ADCCircleRad_valueChanged(int) {}
void MainWindow::on_ADCRectDimX_valueChanged(int) {}
void MainWindow::on_ADCRectDimY_valueChanged(int) {}

// Each "Recalculate symmetry" button recomputes all three modalities.
void MainWindow::recalculateSymmetry()
{
    chain.rawSymmetries(controlValues());
    rawSymmetryT2View.setImage(symmetryEngine.t2RawSymmetryImage());
    rawSymmetryADCView.setImage(symmetryEngine.adcRawSymmetryImage());
    rawSymmetryDWIView.setImage(symmetryEngine.dwiRawSymmetryImage());
    showSurface(rawSymmetryT2View, symmetryEngine.t2RawSymmetry(), 255.0);
    showSurface(rawSymmetryDWIView, symmetryEngine.dwiRawSymmetry(), 255.0);
    showSurface(rawSymmetryADCView, symmetryEngine.adcRawSymmetry(), 255.0);
}

void MainWindow::on_T2RecalculateSymmetryButton_clicked()
{
    recalculateSymmetry();
}

void MainWindow::on_DWIRecalculateSymmetryButton_clicked()
{
    recalculateSymmetry();
}

void MainWindow::on_ADCRecalculateSymmetryButton_clicked()
{
    recalculateSymmetry();
}

// The previews show what the symmetry works on; the engine is not touched.
void MainWindow::refreshSymmetryInputs()
{
    const std::array<QImage, 3> in = chain.symmetryInputs(controlValues());
    symmetryAOIT2View.setImage(in[0]);
    symmetryAOIDWIView.setImage(in[1]);
    symmetryAOIADCView.setImage(in[2]);
}

void MainWindow::on_SymmetryAOIT2RefreshButton_clicked()
{
    refreshSymmetryInputs();
}

void MainWindow::on_SymmetryAOIDWIRefreshButton_clicked()
{
    refreshSymmetryInputs();
}

void MainWindow::on_SymmetryAOIADCRefreshButton_clicked()
{
    refreshSymmetryInputs();
}

// Raw symmetries are recomputed too, but their views keep what they show.
void MainWindow::filterSymmetry()
{
    chain.smoothSymmetries(controlValues());
    smoothSymmetryT2View.setImage(symmetryEngine.t2SmoothImage());
    smoothSymmetryADCView.setImage(symmetryEngine.adcSmoothImage());
    smoothSymmetryDWIView.setImage(symmetryEngine.dwiSmoothImage());
    showSurface(smoothSymmetryT2View, symmetryEngine.t2SmoothResult(), 255.0);
    showSurface(smoothSymmetryDWIView, symmetryEngine.dwiSmoothResult(), 255.0);
    showSurface(smoothSymmetryADCView, symmetryEngine.adcSmoothResult(), 255.0);
}

void MainWindow::on_T2FilterSymmetryButton_clicked()
{
    filterSymmetry();
}

void MainWindow::on_DWIFilterSymmetryButton_clicked()
{
    filterSymmetry();
}

void MainWindow::on_ADCFilterSymmetryButton_clicked()
{
    filterSymmetry();
}

void MainWindow::on_T2RawSymZoom_valueChanged(int value)
{
    rawSymmetryT2View.setZoom(value);
}

void MainWindow::on_DWIRawSymZoom_valueChanged(int value)
{
    rawSymmetryDWIView.setZoom(value);
}

void MainWindow::on_ADCRawSymZoom_valueChanged(int value)
{
    rawSymmetryADCView.setZoom(value);
}

void MainWindow::on_T2SmoothSymZoom_valueChanged(int value)
{
    smoothSymmetryT2View.setZoom(value);
}

void MainWindow::on_DWISmoothSymZoom_valueChanged(int value)
{
    smoothSymmetryDWIView.setZoom(value);
}

void MainWindow::on_ADCSmoothSymZoom_valueChanged(int value)
{
    smoothSymmetryADCView.setZoom(value);
}
