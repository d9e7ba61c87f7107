#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_DWI_IntervalLeft_valueChanged(int)
{
}

void MainWindow::on_DWI_IntervalRight_valueChanged(int)
{
}

void MainWindow::on_ADC_IntervalLeft_valueChanged(int)
{
}

void MainWindow::on_ADC_IntervalRight_valueChanged(int)
{
}

void MainWindow::on_DWIRecalculateMaskButton_clicked()
{
}

void MainWindow::on_ADCRecalculateMaskButton_clicked()
{
}
