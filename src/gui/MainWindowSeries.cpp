// Series input on the "Prepare images" tab: a DICOM folder per modality, the slice of each
// modality's series, and the registration scales from the pixel spacings.
#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Dialogs.h"
#include "DicomSeries.h"

#include <cmath>
#include <limits>

using kelvara::Modality;

namespace {

QString bValuesText(const std::vector<double>& values)
{
    QStringList s;
    for (double b : values)
        s << QString::number(b);
    return s.isEmpty() ? QString() : QStringLiteral(", b = ") + s.join(QLatin1Char('/'));
}

} // namespace

QDoubleSpinBox* MainWindow::scaleBox(Modality m) const
{
    QDoubleSpinBox* const boxes[] = {ui->OverlayScaleT2, ui->OverlayScaleDWI, ui->OverlayScaleADC};
    return boxes[int(m)];
}

void MainWindow::buildSeriesControls()
{
    automaticScales.fill(std::numeric_limits<double>::quiet_NaN());
    QGroupBox* const groups[] = {ui->groupBox_9, ui->groupBox_10, ui->groupBox_11};
    for (Modality m : kelvara::kModalities) {
        QGroupBox* group = groups[int(m)];
        const QString name = QLatin1String(kelvara::modalityName(m));
        auto* folder = new QPushButton(QStringLiteral("Load folder"), group);
        folder->setObjectName(QStringLiteral("OverlayImgLoad%1_Folder").arg(name));
        folder->setToolTip(QStringLiteral("Open a folder of DICOM series"));
        auto* slice = new QSpinBox(group);
        slice->setObjectName(QStringLiteral("OverlaySlice%1").arg(name));
        slice->setPrefix(QStringLiteral("Slice "));
        slice->setEnabled(false);
        auto* position = new QLabel(group);
        position->setObjectName(QStringLiteral("OverlaySlicePosition%1").arg(name));
        auto* row = new QHBoxLayout;
        row->addWidget(folder);
        row->addWidget(slice);
        row->addWidget(position, 1);
        if (auto* column = qobject_cast<QBoxLayout*>(group->layout()))
            column->insertLayout(1, row);
        sliceBoxes[int(m)] = slice;
        slicePositions[int(m)] = position;
        connect(folder, &QPushButton::clicked, this, [this, m] { loadSeriesFolder(m); });
        connect(slice, &QSpinBox::valueChanged, this, [this, m](int v) { chooseSlice(m, v); });
    }
    auto* automatic = new QPushButton(QStringLiteral("Automatic scale"), ui->groupBox_9);
    automatic->setObjectName(QStringLiteral("OverlayAutomaticScale"));
    automatic->setToolTip(QStringLiteral("DWI and ADC scales from their pixel spacing over T2's"));
    if (auto* column = qobject_cast<QBoxLayout*>(ui->groupBox_9->layout()))
        column->addWidget(automatic);
    connect(automatic, &QPushButton::clicked, this, &MainWindow::applyAutomaticScales);
}

void MainWindow::loadSeriesFolder(Modality m)
{
    const QString folder = kelvara::Dialogs::getExistingDirectory(
        this, QStringLiteral("Open DICOM series folder"), QStringLiteral("."));
    if (folder.isEmpty())
        return;
    kelvara::ImageSource source(folder, QStringLiteral("DICOM"));
    try {
        const kelvara::DicomScan scan = kelvara::scanDicomSeries(folder);
        if (scan.series.size() > 1) {
            QStringList items;
            for (const kelvara::DicomSeries& s : scan.series)
                items << QStringLiteral("%1 (%2 images%3) %4")
                             .arg(s.description.isEmpty() ? QStringLiteral("no description")
                                                          : s.description)
                             .arg(s.images.size())
                             .arg(bValuesText(s.bValues), s.uid);
            const int chosen = kelvara::Dialogs::chooseItem(
                this, QStringLiteral("Choose a series"),
                QStringLiteral("%1 image from %2:").arg(QLatin1String(kelvara::modalityName(m)),
                                                         folder),
                items);
            if (chosen < 0)
                return;
            source.series = scan.series[std::size_t(chosen)].uid;
        }
    } catch (const std::exception& e) {
        ui->statusbar->showMessage(QString::fromUtf8(e.what()));
        return;
    }
    loadModalityImage(m, source);
}

void MainWindow::chooseSlice(Modality m, int slice)
{
    const kelvara::ChosenImage* chosen = caseImages.chosenImage(m);
    if (!chosen || chosen->index == slice)
        return;
    kelvara::ImageSource source = caseImages.source(m);
    source.slice = slice;
    loadModalityImage(m, source);
}

void MainWindow::showSliceChoice(Modality m)
{
    QSpinBox* box = sliceBoxes[int(m)];
    QLabel* label = slicePositions[int(m)];
    if (!box)
        return;
    const kelvara::ChosenImage* chosen = caseImages.chosenImage(m);
    const QSignalBlocker block(box);
    box->setEnabled(chosen != nullptr);
    if (!chosen) {
        box->setRange(0, 0);
        label->clear();
        return;
    }
    box->setRange(0, int(chosen->series.images.size()) - 1);
    box->setValue(chosen->index);
    const kelvara::DicomSeriesImage& image = chosen->image();
    QString text = std::isnan(image.normalPosition)
                       ? QStringLiteral("no position")
                       : QStringLiteral("%1 mm").arg(image.normalPosition, 0, 'f', 1);
    if (image.bValue)
        text += QStringLiteral(", b %1").arg(*image.bValue);
    label->setText(text);
}

void MainWindow::applyAutomaticScales()
{
    for (Modality m : {Modality::DWI, Modality::ADC})
        if (!applyAutomaticScale(m))
            return;
}

bool MainWindow::applyAutomaticScale(Modality m)
{
    double scale = 1.0;
    QString error;
    if (!caseImages.automaticScale(m, &scale, &error)) {
        ui->statusbar->showMessage(error);
        return false;
    }
    scaleBox(m)->setValue(scale);
    automaticScales[int(m)] = scaleBox(m)->value();
    return true;
}

bool MainWindow::automaticScaleInUse(Modality m) const
{
    return automaticScales[int(m)] == scaleBox(m)->value();
}
