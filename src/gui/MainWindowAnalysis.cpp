#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Numeric.h"

using kelvara::truncToInt;

kelvara::AOIImages MainWindow::currentAOIImages()
{
    return caseImages.aoiImages();
}

void MainWindow::showAutomaticBounds(const kelvara::ControlValues& c)
{
    if (ui->BinMaskDWIAutoCorrectInterval->isChecked())
        ui->DWI_IntervalLeft->setValue(c.dwiMask.left);
    if (ui->BinMaskADCAutoCorrectInterval->isChecked())
        ui->ADC_IntervalRight->setValue(c.adcMask.right);
    if (ui->ResultAutoCorrectInterval->isChecked())
        ui->ResultMaskIntervalMin->setValue(c.resultMin);
}

// Surfaces cover the AOI around the canvas centre.
void MainWindow::showSurface(Dual2D3DView& view, const double* const* values, double yMax,
                             bool useInterval, double lo, double hi)
{
    view.setSurfaceData(values, truncToInt(caseImages.boxHalfWidth()), truncToInt(caseImages.boxHeight()),
                        0.0, yMax, useInterval, lo, hi);
}
