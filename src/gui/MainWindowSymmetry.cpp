#include "MainWindow.h"

#include "ui_MainWindow.h"

using kelvara::Modality;

// Kernel shape: 0 shows the rectangle controls, 1 the circle controls; the choice is recorded
// (the smoothing itself reads the controls).
void MainWindow::setKernelShape(Modality m, int index)
{
    struct Kernel {
        QGroupBox* circle;
        QGroupBox* rectangle;
        QSpinBox* x;
        QSpinBox* y;
        QSpinBox* radius;
        bool& isRectangle;
        int& recordX;
        int& recordY;
    };
    Kernel k = m == Modality::T2    ? Kernel{ui->T2CircleRadius, ui->T2RectangleDims, ui->T2RectDimX, ui->T2RectDimY,
                                          ui->T2CircleRad, t2KernelIsRectangle, t2KernelX, t2KernelY}
               : m == Modality::DWI ? Kernel{ui->DWICircleRadius, ui->DWIRectangleDims, ui->DWIRectDimX,
                                             ui->DWIRectDimY, ui->DWICircleRad, dwiKernelIsRectangle, dwiKernelX,
                                             dwiKernelY}
                                    : Kernel{ui->ADCCircleRadius, ui->ADCRectangleDims, ui->ADCRectDimX,
                                             ui->ADCRectDimY, ui->ADCCircleRad, adcKernelIsRectangle, adcKernelX,
                                             adcKernelY};
    if (index == 0) {
        k.circle->hide();
        k.rectangle->show();
        k.isRectangle = true;
        k.recordX = k.x->value();
        k.recordY = k.y->value();
    } else if (index == 1) {
        k.circle->show();
        k.rectangle->hide();
        k.isRectangle = false;
        k.recordX = k.recordY = k.radius->value();
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

void MainWindow::on_T2CircleRad_valueChanged(int value)
{
    t2KernelX = t2KernelY = value;
}

void MainWindow::on_T2RectDimX_valueChanged(int value)
{
    t2KernelX = value;
}

void MainWindow::on_T2RectDimY_valueChanged(int value)
{
    t2KernelY = value;
}

void MainWindow::on_DWICircleRad_valueChanged(int value)
{
    dwiKernelX = dwiKernelY = value;
}

void MainWindow::on_DWIRectDimX_valueChanged(int value)
{
    dwiKernelX = value;
}

void MainWindow::on_DWIRectDimY_valueChanged(int value)
{
    dwiKernelY = value;
}

void MainWindow::on_ADCCircleRad_valueChanged(int value)
{
    adcKernelX = adcKernelY = value;
}

void MainWindow::on_ADCRectDimX_valueChanged(int value)
{
    adcKernelX = value;
}

void MainWindow::on_ADCRectDimY_valueChanged(int value)
{
    adcKernelY = value;
}

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
