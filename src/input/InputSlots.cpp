#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_OverlayImgLoadT2_BMP_clicked() {}

void MainWindow::on_OverlayImgLoadDWI_BMP_clicked() {}

void MainWindow::on_OverlayImgLoadADC_BMP_clicked() {}

void MainWindow::on_OverlayImgDisplayT2_toggled(bool) {}

void MainWindow::on_OverlayImgDisplayDWI_toggled(bool) {}

void MainWindow::on_OverlayImgDisplayADC_toggled(bool) {}

void MainWindow::on_OverlayT2Transparency_valueChanged(int) {}

void MainWindow::on_OverlayDWITransparency_valueChanged(int) {}

void MainWindow::on_OverlayADCTransparency_valueChanged(int) {}

void MainWindow::on_OverlayScaleT2_valueChanged(double) {}

void MainWindow::on_OverlayScaleDWI_valueChanged(double) {}

void MainWindow::on_OverlayScaleADC_valueChanged(double) {}

void MainWindow::on_OverlayZoomSlider_valueChanged(int) {}

void MainWindow::on_OverlayImgLoadT2_DICOM_clicked() {}

void MainWindow::on_OverlayImgLoadDWI_DICOM_clicked() {}

void MainWindow::on_OverlayImgLoadADC_DICOM_clicked() {}

void MainWindow::on_verticalSlider_valueChanged(int) {}

void MainWindow::on_horizontalSlider_valueChanged(int) {}

void MainWindow::on_HCells_valueChanged(int) {}

void MainWindow::on_VCells_valueChanged(int) {}

void MainWindow::on_img1_crosshairCheckBox_toggled(bool) {}

void MainWindow::on_HStep_valueChanged(int) {}

void MainWindow::on_VStep_valueChanged(int) {}
