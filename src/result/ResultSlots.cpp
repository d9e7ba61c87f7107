#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_ResultAddImageButton_clicked()
{
}

void MainWindow::on_ResultAddMaskButton_clicked()
{
}

void MainWindow::on_ProductCalculateButton_clicked()
{
}

void MainWindow::on_SymProdPreviewZoom_valueChanged(int)
{
}

void MainWindow::on_ResultRemoveSelectedButton_clicked()
{
}

void MainWindow::on_ResultClearButton_clicked()
{
}

void MainWindow::on_ResultCalculateButton_clicked()
{
}

void MainWindow::on_ResultOverlayZoom_valueChanged(int)
{
}

void MainWindow::on_ResultAutoCorrectBaseCombo_activated(int)
{
}

void MainWindow::on_determinePathologyButton_clicked()
{
}

void MainWindow::on_evalViewZoom_valueChanged(int)
{
}
