#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_FFTT2DisplayResButton_clicked() {}

void MainWindow::on_FFTDWIDisplayResButton_clicked() {}

void MainWindow::on_FFTADCDisplayResButton_clicked() {}

void MainWindow::on_FFTT2DisplayFFTButton_clicked() {}

void MainWindow::on_FFTDWIDisplayFFTButton_clicked() {}

void MainWindow::on_FFTADCDisplayFFTButton_clicked() {}

void MainWindow::on_FFTT2DisplayTreshButton_clicked() {}

void MainWindow::on_FFTDWIDisplayTreshButton_clicked() {}

void MainWindow::on_FFTADCDisplayTreshButton_clicked() {}
