#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Dialogs.h"
#include "ProjectFile.h"
#include "SettingsFile.h"

using kelvara::ControlKind;
using kelvara::Modality;
using kelvara::StoredControl;
using kelvara::StoredFile;

namespace {

const QString kProjectFilter = QStringLiteral("Kelvara project files (*.kelvara)");

} // namespace

// Failures stay silent: an unwritable file leaves the previous one as it was.
void MainWindow::on_SaveSettingsButton_clicked()
{
    kelvara::SettingsFile::save(kelvara::SettingsFile::defaultPath(), controlValues());
}

void MainWindow::on_loadSettingsButton_clicked()
{
    const std::optional<StoredFile> file = kelvara::SettingsFile::load(kelvara::SettingsFile::defaultPath());
    if (file)
        applyStoredFile(*file);
}

void MainWindow::on_SaveProjectButton_clicked()
{
    const QString path = kelvara::Dialogs::getSaveFileName(this, QStringLiteral("Save project file"),
                                                           QStringLiteral("."), kProjectFilter);
    if (path.isEmpty())
        return;
    kelvara::ProjectFile::save(path, controlValues(),
                               {kelvara::ImageSource{t2FilePath, t2FileKind}, kelvara::ImageSource{dwiFilePath, dwiFileKind},
                                kelvara::ImageSource{adcFilePath, adcFileKind}});
}

void MainWindow::on_LoadProjectButton_clicked()
{
    const QString path = kelvara::Dialogs::getOpenFileName(this, QStringLiteral("Open Kelvara project file"),
                                                           QStringLiteral("."), kProjectFilter);
    if (path.isEmpty())
        return;
    const std::optional<StoredFile> file = kelvara::ProjectFile::load(path);
    if (!file)
        return;
    // Images first: the scales and the AOI restored after them put every box in place.
    loadT2Image(file->images[0].path, file->images[0].kind);
    loadDWIImage(file->images[1].path, file->images[1].kind);
    loadADCImage(file->images[2].path, file->images[2].kind);
    applyStoredFile(*file);
}

// Values go through the controls' setters in the file's order, so their slots run as if the
// user had set them; then the overlay and AOI geometry is re-applied and the solution list
// refilled.
void MainWindow::applyStoredFile(const StoredFile& file)
{
    for (const StoredControl& c : file.controls) {
        QWidget* w = findChild<QWidget*>(c.objectName);
        switch (c.kind) {
        case ControlKind::DoubleSpinBox:
            if (auto* s = qobject_cast<QDoubleSpinBox*>(w))
                s->setValue(c.number);
            break;
        case ControlKind::SpinBox:
            if (auto* s = qobject_cast<QSpinBox*>(w))
                s->setValue(c.integer);
            break;
        case ControlKind::ComboBox:
            if (auto* s = qobject_cast<QComboBox*>(w))
                s->setCurrentIndex(c.integer);
            break;
        case ControlKind::CheckBox:
            if (auto* s = qobject_cast<QAbstractButton*>(w))
                s->setChecked(c.checked);
            break;
        case ControlKind::Slider:
            if (auto* s = qobject_cast<QAbstractSlider*>(w))
                s->setValue(c.integer);
            break;
        }
    }

    const double scales[] = {ui->OverlayScaleT2->value(), ui->OverlayScaleDWI->value(),
                             ui->OverlayScaleADC->value()};
    for (Modality m : kelvara::kModalities) {
        overlayView.setScale(m, scales[static_cast<int>(m)]);
        aoiSource(m).scaleImage(scales[static_cast<int>(m)]);
        aoiSource(m).setBoxPos(overlayView.boxOrigin(m));
    }
    setAOIHalfWidth(ui->HCells->value() * ui->HStep->value());
    setAOIHeight(ui->VStep->value() * ui->VCells->value());
    resizeSymmetryEngine();
    overlayView.setAOIX(ui->horizontalSlider->value());
    syncAOIBoxes();
    overlayView.setAOIY(-ui->verticalSlider->value());
    syncAOIBoxes();

    ui->ResultIncludedImages->clear();
    for (const kelvara::ProgramItem& p : file.program) {
        auto* item = new QListWidgetItem(p.text);
        item->setData(Qt::UserRole, p.data);
        ui->ResultIncludedImages->addItem(item);
    }
}
