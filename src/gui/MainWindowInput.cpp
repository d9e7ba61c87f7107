// Loading a case and placing the AOI: the "Prepare images" tab.
#include "MainWindow.h"

#include "Dialogs.h"
#include "ui_MainWindow.h"

using kelvara::Modality;

namespace {

const QString kBmp = QStringLiteral("BMP");
const QString kDicom = QStringLiteral("DICOM");

QString askForImage(QWidget* parent)
{
    return kelvara::Dialogs::getOpenFileName(parent, QStringLiteral("Open image file"),
                                             QStringLiteral("."),
                                             QStringLiteral("Image files (*.bmp)"));
}

QString askForDicom(QWidget* parent)
{
    return kelvara::Dialogs::getOpenFileName(parent, QStringLiteral("Open DICOM file"),
                                             QStringLiteral("."),
                                             QStringLiteral("DICOM files (*.dcm)"));
}

} // namespace

// --- Loading -------------------------------------------------------------------------------

void MainWindow::on_OverlayImgLoadT2_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::T2, {file, kBmp});
}

void MainWindow::on_OverlayImgLoadDWI_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::DWI, {file, kBmp});
}

void MainWindow::on_OverlayImgLoadADC_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::ADC, {file, kBmp});
}

void MainWindow::on_OverlayImgLoadT2_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::T2, {file, kDicom});
}

void MainWindow::on_OverlayImgLoadDWI_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::DWI, {file, kDicom});
}

void MainWindow::on_OverlayImgLoadADC_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadModalityImage(Modality::ADC, {file, kDicom});
}

QString MainWindow::loadModalityImage(Modality m, const kelvara::ImageSource& source)
{
    // A failed DICOM read keeps the previous image, an unreadable BMP gives a null one (the
    // AOI then reads as missing data); either way the AOI is cut again.
    QString error;
    QStringList warnings;
    const QString& kind = source.kind;
    const bool loaded = caseImages.loadSource(m, source, &error, &warnings);
    QString message;
    if (loaded)
        message = warnings.join(QStringLiteral("; "));
    else if (kind == kDicom) // the reader's text names the file and the reason
        message = error;
    else if (kind == kBmp)
        message = QStringLiteral("%1 image: %2").arg(QLatin1String(kelvara::modalityName(m)), error);
    // A good load clears the previous error.
    if (message.isEmpty())
        ui->statusbar->clearMessage();
    else
        ui->statusbar->showMessage(message);
    if (loaded || kind == kBmp)
        markResultsStale();
    overlayView.setImage(m, caseImages.image(m));
    showSliceChoice(m);
    return message;
}

// --- Overlay -------------------------------------------------------------------------------

void MainWindow::on_OverlayImgDisplayT2_toggled(bool checked)
{
    overlayView.setImageVisible(Modality::T2, checked);
}

void MainWindow::on_OverlayImgDisplayDWI_toggled(bool checked)
{
    overlayView.setImageVisible(Modality::DWI, checked);
}

void MainWindow::on_OverlayImgDisplayADC_toggled(bool checked)
{
    overlayView.setImageVisible(Modality::ADC, checked);
}

// The items' opacity requests no repaint, so the view is repainted here, at once.
void MainWindow::on_OverlayT2Transparency_valueChanged(int value)
{
    overlayView.setOpacityPercent(Modality::T2, 100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayDWITransparency_valueChanged(int value)
{
    overlayView.setOpacityPercent(Modality::DWI, 100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayADCTransparency_valueChanged(int value)
{
    overlayView.setOpacityPercent(Modality::ADC, 100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayScaleT2_valueChanged(double value)
{
    overlayView.setScale(Modality::T2, value);
    caseImages.setScale(Modality::T2, value);
}

void MainWindow::on_OverlayScaleDWI_valueChanged(double value)
{
    overlayView.setScale(Modality::DWI, value);
    caseImages.setScale(Modality::DWI, value);
}

void MainWindow::on_OverlayScaleADC_valueChanged(double value)
{
    overlayView.setScale(Modality::ADC, value);
    caseImages.setScale(Modality::ADC, value);
}

void MainWindow::on_OverlayZoomSlider_valueChanged(int value)
{
    overlayView.setZoom(value);
}

// --- AOI position and size -----------------------------------------------------------------

void MainWindow::on_horizontalSlider_valueChanged(int)
{
    applyAOIPosition();
}

void MainWindow::on_verticalSlider_valueChanged(int)
{
    applyAOIPosition();
}

void MainWindow::on_HCells_valueChanged(int)
{
    applyAOISize();
}

void MainWindow::on_HStep_valueChanged(int)
{
    applyAOISize();
}

void MainWindow::on_VCells_valueChanged(int)
{
    applyAOISize();
}

void MainWindow::on_VStep_valueChanged(int)
{
    applyAOISize();
}

// Showing or hiding the ellipse changes nothing the extraction reads.
void MainWindow::on_img1_crosshairCheckBox_toggled(bool checked)
{
    overlayView.setAOIVisible(checked);
}

void MainWindow::applyAOISize()
{
    caseImages.setAOICells(ui->HCells->value(), ui->VCells->value(), ui->HStep->value(),
                           ui->VStep->value());
    overlayView.setAOISize(caseImages.boxHalfWidth(), caseImages.boxHeight());
    resizeSymmetryEngine();
    showAOIGeometry();
}

void MainWindow::applyAOIPosition()
{
    caseImages.setAOIPosition(ui->horizontalSlider->value(), ui->verticalSlider->value());
    overlayView.setAOICentre(caseImages.aoiCentre());
    showAOIGeometry();
}

void MainWindow::resizeSymmetryEngine()
{
    symmetryEngine.resize(caseImages.aoiWidth(), caseImages.aoiHeight());
}
