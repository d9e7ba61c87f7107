#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Numeric.h"

#include <cmath>

using kelvara::Modality;

QString MainWindow::statisticText(double value)
{
    // As QLabel::setNum shows a double.
    const QString number = QString::number(value);
    return std::isnan(value) ? number + QStringLiteral(" (no suspicious pixels)") : number;
}

// Solution list entries carry "KEY;AMPLIFICATION" under Qt::UserRole.
void MainWindow::on_ResultAddImageButton_clicked()
{
    const QString amplification = QString::number(ui->ResultSymImageAmplification->value(), 'g', 6);
    auto* item = new QListWidgetItem(ui->ResultSymImageComboBox->currentText() +
                                     QStringLiteral("; Amplification=") + amplification);
    item->setData(Qt::UserRole, ui->ResultSymImageComboBox->currentData().toString() +
                                    QLatin1Char(';') + amplification);
    ui->ResultIncludedImages->addItem(item);
}

void MainWindow::on_ResultAddMaskButton_clicked()
{
    auto* item = new QListWidgetItem(ui->ResultMaskComboBox->currentText());
    item->setData(Qt::UserRole, ui->ResultMaskComboBox->currentData().toString() + QStringLiteral(";1"));
    ui->ResultIncludedImages->addItem(item);
}

void MainWindow::on_ResultRemoveSelectedButton_clicked()
{
    const int row = ui->ResultIncludedImages->currentRow();
    if (row >= 0)
        delete ui->ResultIncludedImages->takeItem(row);
}

void MainWindow::on_ResultClearButton_clicked()
{
    ui->ResultIncludedImages->clear();
}

void MainWindow::on_ProductCalculateButton_clicked()
{
    chain.product(controlValues());
    symmetryProductView.setImage(productMatrix.toGrayImage());
    showSurface(symmetryProductView, productMatrix.data(), 1.0);
}

void MainWindow::on_ResultCalculateButton_clicked()
{
    kelvara::ControlValues c = controlValues();
    const kelvara::SolutionStatistics s = chain.solution(c);
    showAutomaticBounds(c);
    // Always over the extracted T2 image, never a filtered one.
    solutionView.setImage(caseImages.aoiImages().t2);
    solutionView.setOverlayImage(solutionMatrix.intervalImage());
    showSurface(solutionView, solutionMatrix.data(), 1.0, c.includeIntervalIn3D, c.resultMin / 255.0,
                c.resultMax / 255.0);
    ui->SusPixels->setNum(s.suspiciousPixels);
    ui->ResultAvgSignal->setText(statisticText(s.averageSignal));
    ui->ResultAvgSignalNM->setText(statisticText(s.averageSignalNonMasked));
    for (QLabel* l : {ui->SusPixels, ui->ResultAvgSignal, ui->ResultAvgSignalNM}) {
        l->setEnabled(true);
        l->setToolTip(QString());
    }
}

// Only a user's choice of an item lands here (activated), never an index set by a load.
void MainWindow::on_ResultAutoCorrectBaseCombo_activated(int index)
{
    switch (index) {
    case 0:
        prepareT2Threshold();
        showThreshold(Modality::T2);
        break;
    case 1:
        prepareDWIThreshold();
        showThreshold(Modality::DWI);
        break;
    case 2:
        prepareADCThreshold();
        showThreshold(Modality::ADC);
        break;
    case 3:
        ui->AutocorrectValue->setText(QStringLiteral("Not calculated"));
        break;
    default:
        break;
    }
}

void MainWindow::on_determinePathologyButton_clicked()
{
    on_ResultCalculateButton_clicked();
    const bool pathology = chain.evaluateSolution(controlValues());
    ui->PathologyDetectedLabel->setActive(pathology);
    evaluationView.setImage(caseImages.aoiImages().t2);
    evaluationView.setOverlayImage(solutionMatrix.evaluationImage());
}

void MainWindow::on_SymProdPreviewZoom_valueChanged(int value)
{
    symmetryProductView.setZoom(value);
}

void MainWindow::on_ResultOverlayZoom_valueChanged(int value)
{
    solutionView.setZoom(value);
}

void MainWindow::on_evalViewZoom_valueChanged(int value)
{
    evaluationView.setZoom(value);
}
