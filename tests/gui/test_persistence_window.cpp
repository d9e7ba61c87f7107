// Settings and project files through the window: what the buttons write, what a load restores
// through the controls, and the cases where nothing may change.
#include "Dialogs.h"
#include "MainWindow.h"
#include "ProjectFile.h"
#include "SettingsFile.h"
#include "ui_MainWindow.h"

#include "ShownImage.h"

#include <QGraphicsPixmapItem>
#include <QStatusBar>
#include <QtTest>

using kelvara::ControlValues;

namespace {

// Every stored analysis control away from its default.
void setStoredControls(Ui::MainWindow* ui)
{
    ui->OverlayScaleT2->setValue(1.25);
    ui->OverlayScaleDWI->setValue(0.75);
    ui->OverlayScaleADC->setValue(2.0);
    ui->T2FFTTreshXMin->setValue(0.125);
    ui->DWIFFTTreshXMax->setValue(0.5);
    ui->ADCFFTTreshYMax->setValue(0.875);
    ui->T2FFTFilterComboBox->setCurrentIndex(2);
    ui->DWIFFTCutoffSpinBox->setValue(0.3333);
    ui->ADCFFTCutoffSpinBox2->setValue(0.9);
    ui->DWI_IntervalLeft->setValue(12);
    ui->DWI_IntervalRight->setValue(200);
    ui->DWIBinMaskInputImgCombo->setCurrentIndex(1);
    ui->BinMaskDWIAutoCorrectInterval->setChecked(true);
    ui->BinMaskDWIAutoCorrectBaseCombo->setCurrentIndex(1);
    ui->BinMaskDWIAutoCorrectFactor->setValue(2.5);
    ui->ADC_IntervalLeft->setValue(3);
    ui->ADC_IntervalRight->setValue(99);
    ui->ADCBinMaskInputImgCombo->setCurrentIndex(1);
    ui->BinMaskADCAutoCorrectInterval->setChecked(true);
    ui->BinMaskADCAutoCorrectBaseCombo->setCurrentIndex(1);
    ui->BinMaskADCAutoCorrectFactor->setValue(0.5);
    ui->T2SymInverted->setChecked(true);
    ui->DWISymInputImgCombo->setCurrentIndex(1);
    ui->ADCFilterShapeComboBox->setCurrentIndex(1);
    ui->ADCCircleRad->setValue(17);
    ui->T2ApproachComboBox->setCurrentIndex(1);
    ui->DWIRectDimX->setValue(5);
    ui->DWIRectDimY->setValue(8);
    ui->ResultMaskIntervalMin->setValue(37.0);
    ui->ResultMaskIntervalMax->setValue(200.0);
    ui->ResultAutoCorrectInterval->setChecked(true);
    ui->ResultAutoCorrectBaseCombo->setCurrentIndex(2);
    ui->ResultMaskComboBox->setCurrentIndex(1);
    ui->ResultAddMaskButton->click();
    ui->ResultSymImageAmplification->setValue(2.5);
    ui->ResultAddImageButton->click();
    ui->ResultMaskComboBox->setCurrentIndex(3);
    ui->ResultAddMaskButton->click();
}

} // namespace

class TestPersistenceWindow : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

    static std::unique_ptr<MainWindow> newWindow() { return std::make_unique<MainWindow>(); }

    static void answerOpen(const QString& path)
    {
        kelvara::Dialogs::setOpenFileHandler([path](QWidget*, const QString&, const QString&, const QString&) { return path; });
    }
    static void answerSave(const QString& path)
    {
        kelvara::Dialogs::setSaveFileHandler([path](QWidget*, const QString&, const QString&, const QString&) { return path; });
    }

private slots:
    void init()
    {
        QDir::setCurrent(dir.path());
        QFile::remove(QStringLiteral("config.cfg"));
    }
    void cleanup() { kelvara::Dialogs::resetHandlers(); }

    void settingsRoundTripAtStartUp()
    {
        auto w = newWindow();
        setStoredControls(w->form());
        const ControlValues saved = w->controlValues();
        w->form()->SaveSettingsButton->click();
        QVERIFY(QFile::exists("config.cfg"));
        w.reset();
        auto again = newWindow(); // the constructor's last step loads config.cfg
        const ControlValues loaded = again->controlValues();
        QCOMPARE(kelvara::SettingsFile::toJson(loaded), kelvara::SettingsFile::toJson(saved));
        QCOMPARE(loaded.program, saved.program);
        QCOMPARE(again->form()->ResultIncludedImages->count(), 3);
        QCOMPARE(again->form()->ADCCircleRadius->isVisibleTo(again->form()->ADCCircleRadius->parentWidget()), true);
        // The AOI is not part of the settings.
        QCOMPARE(loaded.hCells, 50);
    }

    void resultBoundsComeBackAsWholeNumbers_data()
    {
        QTest::addColumn<double>("stored");
        QTest::addColumn<double>("restored");
        QTest::newRow("37.25 reads as 0") << 37.25 << 0.0;
        QTest::newRow("37.00 survives") << 37.0 << 37.0;
    }
    void resultBoundsComeBackAsWholeNumbers()
    {
        QFETCH(double, stored);
        QFETCH(double, restored);
        auto w = newWindow();
        w->form()->ResultMaskIntervalMin->setValue(stored);
        w->form()->SaveSettingsButton->click();
        w->form()->ResultMaskIntervalMin->setValue(100.0);
        w->form()->loadSettingsButton->click();
        QCOMPARE(w->form()->ResultMaskIntervalMin->value(), restored);
    }

    void emptyObjectResetsToConversionDefaults()
    {
        QFile f("config.cfg");
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("{}");
        f.close();
        auto w = newWindow();
        Ui::MainWindow* ui = w->form();
        QCOMPARE(ui->ResultMaskIntervalMax->value(), 0.0);
        QCOMPARE(ui->DWI_IntervalRight->value(), 0);
        QCOMPARE(ui->OverlayScaleT2->value(), 0.0);
        QCOMPARE(ui->T2CircleRad->value(), 1); // clamped to the spin box minimum
        QCOMPARE(ui->BinMaskDWIAutoCorrectFactor->value(), 0.0);
        QCOMPARE(ui->HCells->value(), 50); // not in the settings file
        QCOMPARE(ui->ResultIncludedImages->count(), 0);
    }

    void loadingDoesNotRunTheBaseComboSlot()
    {
        auto w = newWindow();
        w->form()->ResultAutoCorrectBaseCombo->setCurrentIndex(3);
        w->form()->SaveSettingsButton->click();
        auto again = newWindow();
        QCOMPARE(again->form()->ResultAutoCorrectBaseCombo->currentIndex(), 3);
        QVERIFY(again->form()->AutocorrectValue->text().isEmpty());
        QVERIFY(again->form()->FFTT2TresholdLabel->text().isEmpty());
    }

    void unreadableOrMissingFileChangesNothing()
    {
        auto w = newWindow();
        w->form()->ResultAddMaskButton->click();
        w->form()->DWI_IntervalLeft->setValue(42);
        w->form()->loadSettingsButton->click(); // no config.cfg
        QCOMPARE(w->form()->DWI_IntervalLeft->value(), 42);
        QVERIFY(QDir().mkdir("config.cfg")); // a directory in its place
        w->form()->loadSettingsButton->click();
        QCOMPARE(w->form()->ResultIncludedImages->count(), 1);
        QVERIFY(QDir().rmdir("config.cfg"));
    }

    void projectRoundTrip()
    {
        QImage t2(128, 96, QImage::Format_Grayscale8);
        t2.fill(150);
        QVERIFY(t2.save(dir.filePath("t2.bmp"), "BMP"));
        auto w = newWindow();
        Ui::MainWindow* ui = w->form();
        answerOpen(dir.filePath("t2.bmp"));
        ui->OverlayImgLoadT2_BMP->click();
        setStoredControls(ui);
        ui->HCells->setValue(40);
        ui->VCells->setValue(33);
        ui->horizontalSlider->setValue(-17);
        ui->verticalSlider->setValue(23);
        const ControlValues saved = w->controlValues();
        const QString project = dir.filePath("case.kelvara");
        answerSave(project);
        ui->SaveProjectButton->click();
        QVERIFY(QFile::exists(project));
        w.reset();
        QFile::remove("config.cfg");

        auto again = newWindow();
        answerOpen(project);
        again->form()->LoadProjectButton->click();
        const ControlValues loaded = again->controlValues();
        const std::array<kelvara::ImageSource, 3> images{
            kelvara::ImageSource{dir.filePath("t2.bmp"), "BMP"}, kelvara::ImageSource{}, kelvara::ImageSource{}};
        QCOMPARE(kelvara::ProjectFile::toJson(loaded, images), kelvara::ProjectFile::toJson(saved, images));
        QCOMPARE(loaded.hCells, 40);
        QCOMPARE(loaded.vPos, 23);
        // The reloaded image is in place: the T2 symmetry input shows it inside the AOI.
        again->form()->SymmetryAOIT2RefreshButton->click();
        QCOMPARE(qGray(shownImage(again->form()->SymmetryAOIT2View).pixel(256, 256)), 150);
        // And saving it again writes the same file.
        const QString copy = dir.filePath("copy.kelvara");
        answerSave(copy);
        again->form()->SaveProjectButton->click();
        QFile a(project), b(copy);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        QCOMPARE(b.readAll(), a.readAll());
    }

    void projectWithoutImagesAndMovedFiles()
    {
        auto w = newWindow();
        const QString empty = dir.filePath("empty.kelvara");
        answerSave(empty);
        w->form()->SaveProjectButton->click();
        QFile f(empty);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject root = QJsonDocument::fromJson(f.readAll()).object();
        QCOMPARE(root["T2"].toObject()["Path"].toString(), QString());
        QCOMPARE(root["T2"].toObject()["Type"].toString(), QString());

        // A project naming files that are gone: the DICOM error reaches the status bar, the BMP
        // modality reads as missing data, the rest is restored.
        QJsonObject moved = root;
        moved["T2"] = QJsonObject{{"Path", dir.filePath("gone.dcm")}, {"Type", "DICOM"}, {"Scale", 1.0}};
        moved["DWI"] = QJsonObject{{"Path", dir.filePath("gone.bmp")}, {"Type", "BMP"}, {"Scale", 1.0}};
        QJsonObject aoi = moved["AOI"].toObject();
        aoi["HCells"] = 44;
        moved["AOI"] = aoi;
        const QString movedPath = dir.filePath("moved.kelvara");
        QFile m(movedPath);
        QVERIFY(m.open(QIODevice::WriteOnly));
        m.write(QJsonDocument(moved).toJson());
        m.close();
        answerOpen(movedPath);
        w->form()->LoadProjectButton->click();
        QVERIFY(w->statusBar()->currentMessage().contains(QLatin1String("gone.dcm")));
        QCOMPARE(w->form()->HCells->value(), 44);
        w->form()->SymmetryAOIDWIRefreshButton->click();
        QCOMPARE(qGray(shownImage(w->form()->SymmetryAOIDWIView).pixel(256, 256)), 32);
    }

    void cancelledDialogsChangeNothing()
    {
        auto w = newWindow();
        w->form()->ResultAddMaskButton->click();
        answerOpen(QString());
        w->form()->LoadProjectButton->click();
        QCOMPARE(w->form()->ResultIncludedImages->count(), 1);
        const QStringList before = QDir(dir.path()).entryList(QDir::Files);
        answerSave(QString());
        w->form()->SaveProjectButton->click();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), before);
    }
};

QTEST_MAIN(TestPersistenceWindow)
#include "test_persistence_window.moc"
