// Loading a case and placing the AOI: the "Prepare images" tab.
#include "MainWindow.h"

#include "Dialogs.h"
#include "Numeric.h"
#include "ui_MainWindow.h"

#include <exception>

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

QDoubleSpinBox* scaleBox(Ui::MainWindow* ui, Modality m)
{
    switch (m) {
    case Modality::T2:
        return ui->OverlayScaleT2;
    case Modality::DWI:
        return ui->OverlayScaleDWI;
    case Modality::ADC:
        return ui->OverlayScaleADC;
    }
    return ui->OverlayScaleT2;
}

} // namespace

// --- Loading -------------------------------------------------------------------------------

void MainWindow::on_OverlayImgLoadT2_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadT2Image(file, kBmp);
}

void MainWindow::on_OverlayImgLoadDWI_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadDWIImage(file, kBmp);
}

void MainWindow::on_OverlayImgLoadADC_BMP_clicked()
{
    const QString file = askForImage(this);
    if (!file.isEmpty())
        loadADCImage(file, kBmp);
}

void MainWindow::on_OverlayImgLoadT2_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadT2Image(file, kDicom);
}

void MainWindow::on_OverlayImgLoadDWI_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadDWIImage(file, kDicom);
}

void MainWindow::on_OverlayImgLoadADC_DICOM_clicked()
{
    const QString file = askForDicom(this);
    if (!file.isEmpty())
        loadADCImage(file, kDicom);
}

void MainWindow::loadT2Image(QString path, QString kind)
{
    loadModalityImage(Modality::T2, path, kind);
}

void MainWindow::loadDWIImage(QString path, QString kind)
{
    loadModalityImage(Modality::DWI, path, kind);
}

void MainWindow::loadADCImage(QString path, QString kind)
{
    loadModalityImage(Modality::ADC, path, kind);
}

ImageScene& MainWindow::aoiSource(Modality m)
{
    switch (m) {
    case Modality::T2:
        return t2AOISource;
    case Modality::DWI:
        return dwiAOISource;
    case Modality::ADC:
        return adcAOISource;
    }
    return t2AOISource;
}

void MainWindow::loadModalityImage(Modality m, const QString& path, const QString& kind)
{
    // Recorded before reading, so that a project saved after a failed load still names the
    // file the user asked for.
    QString* const filePath[] = {&t2FilePath, &dwiFilePath, &adcFilePath};
    QString* const fileKind[] = {&t2FileKind, &dwiFileKind, &adcFileKind};
    *filePath[int(m)] = path;
    *fileKind[int(m)] = kind;

    ImageScene& source = aoiSource(m);
    if (kind == kBmp) {
        // Whatever format the file really has is accepted; a missing or unreadable file gives
        // a null image, which the AOI then reads as missing data.
        QImage image(path);
        image.convertTo(QImage::Format_Grayscale8);
        overlayView.setImage(m, image);
        source.setImage(image);
    } else if (kind == kDicom) {
        try {
            const QImage image = dicomUtil.loadImage(path);
            overlayView.setImage(m, image);
            source.setImage(image);
        } catch (const std::exception& e) {
            // The previous image stays; the reader's text names the file and the reason.
            ui->statusbar->showMessage(QString::fromUtf8(e.what()));
        }
    }

    // Re-apply the current registration and AOI to the new image.
    const double scale = scaleBox(ui.get(), m)->value();
    overlayView.setScale(m, scale);
    source.scaleImage(scale);

    const double halfWidth = ui->HCells->value() * ui->HStep->value();
    overlayView.setAOIHalfWidth(halfWidth);
    source.setBoxHalfWidth(halfWidth);
    source.setBoxPos(overlayView.boxOrigin(m));

    const double height = ui->VCells->value() * ui->VStep->value();
    overlayView.setAOIHeight(height);
    source.setBoxHeight(height);
    source.setBoxPos(overlayView.boxOrigin(m));

    resizeSymmetryEngine();

    overlayView.setAOIX(ui->horizontalSlider->value());
    source.setBoxPos(overlayView.boxOrigin(m));
    overlayView.setAOIY(-ui->verticalSlider->value());
    source.setBoxPos(overlayView.boxOrigin(m));

    aoiExtractor.setNeedsUpdate(true);
}

// --- Overlay -------------------------------------------------------------------------------

void MainWindow::on_OverlayImgDisplayT2_toggled(bool checked)
{
    overlayView.setT2Visible(checked);
}

void MainWindow::on_OverlayImgDisplayDWI_toggled(bool checked)
{
    overlayView.setDWIVisible(checked);
}

void MainWindow::on_OverlayImgDisplayADC_toggled(bool checked)
{
    overlayView.setADCVisible(checked);
}

// The items' opacity requests no repaint, so the view is repainted here, at once.
void MainWindow::on_OverlayT2Transparency_valueChanged(int value)
{
    overlayView.setT2OpacityPercent(100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayDWITransparency_valueChanged(int value)
{
    overlayView.setDWIOpacityPercent(100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayADCTransparency_valueChanged(int value)
{
    overlayView.setADCOpacityPercent(100 - value);
    ui->overlayImagesView->viewport()->repaint();
}

void MainWindow::on_OverlayScaleT2_valueChanged(double value)
{
    overlayView.setT2Scale(value);
    t2AOISource.scaleImage(value);
    t2AOISource.setBoxPos(overlayView.t2BoxOrigin());
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_OverlayScaleDWI_valueChanged(double value)
{
    overlayView.setDWIScale(value);
    dwiAOISource.scaleImage(value);
    dwiAOISource.setBoxPos(overlayView.dwiBoxOrigin());
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_OverlayScaleADC_valueChanged(double value)
{
    overlayView.setADCScale(value);
    adcAOISource.scaleImage(value);
    adcAOISource.setBoxPos(overlayView.adcBoxOrigin());
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_OverlayZoomSlider_valueChanged(int value)
{
    overlayView.setZoom(value);
}

// --- AOI position and size -----------------------------------------------------------------

void MainWindow::on_horizontalSlider_valueChanged(int value)
{
    overlayView.setAOIX(value);
    syncAOIBoxes();
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_verticalSlider_valueChanged(int value)
{
    // Raising the slider moves the AOI up the screen, where scene y decreases.
    overlayView.setAOIY(-value);
    syncAOIBoxes();
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_HCells_valueChanged(int value)
{
    setAOIHalfWidth(ui->HStep->value() * value);
    resizeSymmetryEngine();
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_HStep_valueChanged(int value)
{
    setAOIHalfWidth(ui->HCells->value() * value);
    resizeSymmetryEngine();
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_VCells_valueChanged(int value)
{
    setAOIHeight(ui->VStep->value() * value);
    resizeSymmetryEngine();
    aoiExtractor.setNeedsUpdate(true);
}

void MainWindow::on_VStep_valueChanged(int value)
{
    setAOIHeight(ui->VCells->value() * value);
    resizeSymmetryEngine();
    aoiExtractor.setNeedsUpdate(true);
}

// Showing or hiding the ellipse changes nothing the extraction reads.
void MainWindow::on_img1_crosshairCheckBox_toggled(bool checked)
{
    overlayView.setAOIVisible(checked);
}

void MainWindow::setAOIHalfWidth(double halfWidth)
{
    overlayView.setAOIHalfWidth(halfWidth);
    t2AOISource.setBoxHalfWidth(halfWidth);
    dwiAOISource.setBoxHalfWidth(halfWidth);
    adcAOISource.setBoxHalfWidth(halfWidth);
    syncAOIBoxes();
}

void MainWindow::setAOIHeight(double height)
{
    overlayView.setAOIHeight(height);
    t2AOISource.setBoxHeight(height);
    dwiAOISource.setBoxHeight(height);
    adcAOISource.setBoxHeight(height);
    syncAOIBoxes();
}

void MainWindow::syncAOIBoxes()
{
    t2AOISource.setBoxPos(overlayView.t2BoxOrigin());
    dwiAOISource.setBoxPos(overlayView.dwiBoxOrigin());
    adcAOISource.setBoxPos(overlayView.adcBoxOrigin());
}

void MainWindow::refreshAOIImages()
{
    using kelvara::truncToInt;
    // The three sources always carry the same box size; the T2 one is read.
    const int h = truncToInt(t2AOISource.boxHeight());
    const int w = truncToInt(t2AOISource.boxHalfWidth() * 2.0);
    aoiExtractor.extract(t2AOISource.image(), dwiAOISource.image(), adcAOISource.image(),
                         truncToInt(t2AOISource.boxX()), truncToInt(t2AOISource.boxY()),
                         truncToInt(dwiAOISource.boxX()), truncToInt(dwiAOISource.boxY()),
                         truncToInt(adcAOISource.boxX()), truncToInt(adcAOISource.boxY()), w, h);
}

void MainWindow::resizeSymmetryEngine()
{
    // Only the T2 source's box is read: the three sources always hold the same size.
    symmetryEngine.resize(kelvara::truncToInt(2.0 * t2AOISource.boxHalfWidth()),
                          kelvara::truncToInt(t2AOISource.boxHeight()));
}
