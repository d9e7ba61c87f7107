#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_T2FilterShapeComboBox_currentIndexChanged(int)
{
}

void MainWindow::on_T2CircleRad_valueChanged(int)
{
}

void MainWindow::on_T2RectDimX_valueChanged(int)
{
}

void MainWindow::on_T2RectDimY_valueChanged(int)
{
}

void MainWindow::on_T2RecalculateSymmetryButton_clicked()
{
}

void MainWindow::on_DWIRecalculateSymmetryButton_clicked()
{
}

void MainWindow::on_ADCRecalculateSymmetryButton_clicked()
{
}

void MainWindow::on_SymmetryAOIT2RefreshButton_clicked()
{
}

void MainWindow::on_SymmetryAOIDWIRefreshButton_clicked()
{
}

void MainWindow::on_SymmetryAOIADCRefreshButton_clicked()
{
}

void MainWindow::on_T2RawSymZoom_valueChanged(int)
{
}

void MainWindow::on_DWIRawSymZoom_valueChanged(int)
{
}

void MainWindow::on_ADCRawSymZoom_valueChanged(int)
{
}

void MainWindow::on_DWIFilterShapeComboBox_currentIndexChanged(int)
{
}

void MainWindow::on_ADCFilterShapeComboBox_currentIndexChanged(int)
{
}

void MainWindow::on_DWICircleRad_valueChanged(int)
{
}

void MainWindow::on_DWIRectDimX_valueChanged(int)
{
}

void MainWindow::on_DWIRectDimY_valueChanged(int)
{
}

void MainWindow::on_ADCCircleRad_valueChanged(int)
{
}

void MainWindow::on_ADCRectDimX_valueChanged(int)
{
}

void MainWindow::on_ADCRectDimY_valueChanged(int)
{
}

void MainWindow::on_T2FilterSymmetryButton_clicked()
{
}

void MainWindow::on_DWIFilterSymmetryButton_clicked()
{
}

void MainWindow::on_ADCFilterSymmetryButton_clicked()
{
}

void MainWindow::on_T2SmoothSymZoom_valueChanged(int)
{
}

void MainWindow::on_DWISmoothSymZoom_valueChanged(int)
{
}

void MainWindow::on_ADCSmoothSymZoom_valueChanged(int)
{
}
