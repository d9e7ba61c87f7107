#include "MainWindow.h"

#include "ui_MainWindow.h"

void MainWindow::on_loadSettingsButton_clicked()
{
}

void MainWindow::on_SaveSettingsButton_clicked()
{
}

void MainWindow::on_LoadProjectButton_clicked()
{
}

void MainWindow::on_SaveProjectButton_clicked()
{
}
