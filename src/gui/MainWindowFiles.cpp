#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Dialogs.h"
#include "ControlFile.h"

#include "FileAccess.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QVBoxLayout>

using kelvara::ControlKind;
using kelvara::Modality;
using kelvara::StoredControl;
using kelvara::StoredFile;

namespace {

const QString kProjectFilter = QStringLiteral("Kelvara project files (*.kelvara)");
const QString kSaveSettings = QStringLiteral("Save default settings");
const QString kLoadSettings = QStringLiteral("Load default settings");

} // namespace

void MainWindow::on_SaveSettingsButton_clicked()
{
    QString error;
    if (!kelvara::ControlFile::settings().save(kelvara::ControlFile::defaultSettingsPath(),
                                               controlValues(), {}, &error))
        kelvara::Dialogs::information(this, kSaveSettings, error);
}

void MainWindow::on_loadSettingsButton_clicked()
{
    loadSettingsFile(false);
}

void MainWindow::loadSettingsFile(bool quietWhenMissing)
{
    const QString path = kelvara::ControlFile::defaultSettingsPath();
    if (quietWhenMissing && !QFileInfo::exists(path))
        return;
    const kelvara::ControlFileLoad loaded = kelvara::ControlFile::settings().load(path);
    if (!loaded.ok()) {
        kelvara::Dialogs::information(this, kLoadSettings, loaded.error);
        return;
    }
    applyStoredFile(loaded.file);
    showLoadFindings(path, loaded.findings);
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
    QString error;
    if (kelvara::ControlFile::project().save(path, controlValues(), sources, &error))
        showProjectName(path);
    else
        kelvara::Dialogs::information(this, QStringLiteral("Save project"), error);
}

void MainWindow::on_LoadProjectButton_clicked()
{
    const QString path = kelvara::Dialogs::getOpenFileName(this, QStringLiteral("Open Kelvara project file"),
                                                           QStringLiteral("."), kProjectFilter);
    if (path.isEmpty())
        return;
    const kelvara::ControlFileLoad loaded = kelvara::ControlFile::project().load(path);
    if (!loaded.ok()) {
        kelvara::Dialogs::information(this, QStringLiteral("Load project"), loaded.error);
        return;
    }
    const StoredFile& file = loaded.file;
    // Images first: the scales and the AOI restored after them put every box in place.
    // Every image's problem stays in the status bar, not only the last one's.
    QStringList problems;
    for (Modality m : kelvara::kModalities) {
        kelvara::ImageSource source = file.images[int(m)];
        source.path = kelvara::resolveImagePath(source.path, path,
                                                kelvara::ImagePathBase::WorkingDirectoryFirst);
        const QString problem = loadModalityImage(m, source);
        if (!problem.isEmpty())
            problems << problem;
    }
    if (!problems.isEmpty())
        ui->statusbar->showMessage(problems.join(QStringLiteral("; ")));
    applyStoredFile(file);
    for (Modality m : kelvara::kModalities)
        if (file.images[int(m)].autoScale)
            applyAutomaticScale(m);
    markResultsStale();
    showProjectName(path);
    showLoadFindings(path, loaded.findings);
}

void MainWindow::showLoadFindings(const QString& path, const QList<kelvara::LoadFinding>& findings)
{
    if (findings.isEmpty()) {
        if (findingsPanel)
            findingsPanel->hide();
        return;
    }
    if (!findingsPanel) {
        findingsPanel = new QDialog(this);
        findingsPanel->setObjectName(QStringLiteral("LoadFindingsPanel"));
        findingsPanel->setModal(false);
        findingsPanel->resize(720, 320);
        auto* layout = new QVBoxLayout(findingsPanel);
        auto* heading = new QLabel(findingsPanel);
        heading->setObjectName(QStringLiteral("LoadFindingsHeading"));
        heading->setWordWrap(true);
        auto* list = new QListWidget(findingsPanel);
        list->setObjectName(QStringLiteral("LoadFindingsList"));
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, findingsPanel);
        connect(buttons, &QDialogButtonBox::rejected, findingsPanel, &QDialog::hide);
        layout->addWidget(heading);
        layout->addWidget(list);
        layout->addWidget(buttons);
    }
    findingsPanel->setWindowTitle(QStringLiteral("Loaded with changes: %1").arg(QFileInfo(path).fileName()));
    findingsPanel->findChild<QLabel*>(QStringLiteral("LoadFindingsHeading"))
        ->setText(QStringLiteral("'%1' was loaded; %2 of its keys were not used as written:")
                      .arg(kelvara::displayPath(path))
                      .arg(findings.size()));
    auto* list = findingsPanel->findChild<QListWidget*>(QStringLiteral("LoadFindingsList"));
    list->clear();
    for (const kelvara::LoadFinding& finding : findings)
        list->addItem(finding.keyPath + QStringLiteral(": ") + finding.what);
    findingsPanel->show();
    findingsPanel->raise();
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
