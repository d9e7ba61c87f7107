#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Dialogs.h"
#include "ControlFile.h"

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
    kelvara::ControlFile::settings().save(kelvara::ControlFile::defaultSettingsPath(), controlValues());
}

void MainWindow::on_loadSettingsButton_clicked()
{
    const std::optional<StoredFile> file =
        kelvara::ControlFile::settings().load(kelvara::ControlFile::defaultSettingsPath());
    if (file)
        applyStoredFile(*file);
}

void MainWindow::on_SaveProjectButton_clicked()
{
    const QString path = kelvara::Dialogs::getSaveFileName(this, QStringLiteral("Save project file"),
                                                           QStringLiteral("."), kProjectFilter);
    if (path.isEmpty())
        return;
    std::array<kelvara::ImageSource, 3> sources = caseImages.imageSources();
    for (Modality m : kelvara::kModalities)
        sources[int(m)].autoScale = automaticScaleInUse(m);
    if (kelvara::ControlFile::project().save(path, controlValues(), sources))
        showProjectName(path);
}

void MainWindow::on_LoadProjectButton_clicked()
{
    const QString path = kelvara::Dialogs::getOpenFileName(this, QStringLiteral("Open Kelvara project file"),
                                                           QStringLiteral("."), kProjectFilter);
    if (path.isEmpty())
        return;
    const std::optional<StoredFile> file = kelvara::ControlFile::project().load(path);
    if (!file)
        return;
    // Images first: the scales and the AOI restored after them put every box in place.
    // Every image's problem stays in the status bar, not only the last one's.
    QStringList problems;
    for (Modality m : kelvara::kModalities) {
        kelvara::ImageSource source = file->images[int(m)];
        source.path = kelvara::resolveImagePath(source.path, path,
                                                kelvara::ImagePathBase::WorkingDirectoryFirst);
        const QString problem = loadModalityImage(m, source);
        if (!problem.isEmpty())
            problems << problem;
    }
    if (!problems.isEmpty())
        ui->statusbar->showMessage(problems.join(QStringLiteral("; ")));
    applyStoredFile(*file);
    for (Modality m : kelvara::kModalities)
        if (file->images[int(m)].autoScale)
            applyAutomaticScale(m);
    markResultsStale();
    showProjectName(path);
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

    // The slots ran only for values that changed; the geometry is re-applied as a whole.
    for (Modality m : kelvara::kModalities) {
        const double scale = m == Modality::T2    ? ui->OverlayScaleT2->value()
                             : m == Modality::DWI ? ui->OverlayScaleDWI->value()
                                                  : ui->OverlayScaleADC->value();
        overlayView.setScale(m, scale);
        caseImages.setScale(m, scale);
    }
    applyAOISize();
    applyAOIPosition();

    ui->ResultIncludedImages->clear();
    for (const kelvara::ProgramItem& p : file.program) {
        auto* item = new QListWidgetItem(p.text);
        item->setData(Qt::UserRole, p.data);
        ui->ResultIncludedImages->addItem(item);
    }
}
