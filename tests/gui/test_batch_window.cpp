// The lesion sample in the window, shown at laptop size. First the window and the batch tool
// agree pixel for pixel: the project is loaded through "Load project", every analysis button is
// pressed in the batch tool's order, each view's shown image is compared with the batch PNG and
// the 2D save buttons write exactly what their views show. Then the viewing aids (Ctrl + wheel
// zoom, the status bar readout, dragging the AOI, the 3D camera combos) and what later loads do:
// relative image paths, the title, results marked as from the previous images.
#include "WindowFixture.h"

#include "DICOMUtil.h"
#include "FileFaults.h"
#include "Dual2D3DView.h"
#include "LEDWidget.h"

#include <QDialog>
#include <QImageReader>
#include <QJsonDocument>
#include <QListWidget>
#include <QRegularExpression>
#include <QtDataVisualization/Q3DCamera>
#include <QtDataVisualization/Q3DScene>

#include <cmath>
#include <optional>

namespace {

const QString kSamples = QStringLiteral(KELVARA_SAMPLES_DIR);

QImage argb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

void sendMouse(QGraphicsView* view, QEvent::Type type, QPoint at, Qt::MouseButton button,
               Qt::MouseButtons held)
{
    QWidget* vp = view->viewport();
    QMouseEvent event(type, QPointF(at), QPointF(vp->mapToGlobal(at)), button, held, Qt::NoModifier);
    QApplication::sendEvent(vp, &event);
}

} // namespace

class TestBatchWindow : public QObject
{
    Q_OBJECT

    WindowFixture f;
    Ui::MainWindow* ui = nullptr;
    QLabel* readout = nullptr;
    QString batchDir;
    QImage lesion[3]; // as loaded from the samples folder

    // Moves the mouse over scene pixel (x, y). Screen pixels are whole and the view may sit half
    // a pixel off the scene grid: a quarter pixel in lands in (x, y) either way at 1:1.
    QString readoutAt(QGraphicsView* view, QPointF p)
    {
        sendMouse(view, QEvent::MouseMove, view->mapFromScene(p + QPointF(0.25, 0.25)), Qt::NoButton,
                  Qt::NoButton);
        return readout->text();
    }
    QStringList staleViews() const
    {
        QStringList names;
        for (QGraphicsView* v : f.window->findChildren<QGraphicsView*>())
            if (auto* c = v->findChild<QLabel*>(v->objectName() + "StaleCaption");
                c && !c->isHidden() && v->viewport()->graphicsEffect())
                names << v->objectName();
        return names;
    }

private slots:
    void initTestCase()
    {
        QString error;
        batchDir = f.runSampleBatch(kSamples, &error);
        QVERIFY2(!batchDir.isEmpty(), qPrintable(error));

        f.build();
        ui = f.ui;
        readout = f.child<QLabel>("viewReadout");
        QVERIFY(readout);
        f.window->resize(1366, 738); // 1366 x 768 less a title bar
        f.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
        f.loadSample(kSamples);
        for (kelvara::Modality m : kelvara::kModalities)
            lesion[int(m)] = f.window->caseModel().image(m);
        QVERIFY(!lesion[2].isNull());

        QCOMPARE(ui->PathologyDetectedLabel->caption(), QStringLiteral("not evaluated"));
        f.pressEveryAnalysisButton();
    }
    void cleanupTestCase() { f.tearDown(); }

    // Each view against its batch PNG; where the view has a save button, the saved file is what
    // the view shows.
    void views_data()
    {
        QTest::addColumn<QString>("view");
        QTest::addColumn<QString>("save");
        const char* rows[][3] = {
            {"t2_aoi", "SymmetryAOIT2View", ""},
            {"dwi_aoi", "DWI_AOI_Img_GraphicsView", ""},
            {"adc_aoi", "ADC_AOI_Img_GraphicsView", ""},
            {"t2_spectrum", "FFTTreshT2GraphicsView", ""},
            {"dwi_spectrum", "FFTTreshDWIGraphicsView", ""},
            {"adc_spectrum", "FFTTreshADCGraphicsView", ""},
            {"t2_filtered", "FFTFilterT2GraphicsView", ""},
            {"dwi_filtered", "FFTFilterDWIGraphicsView", ""},
            {"adc_filtered", "FFTFilterADCGraphicsView", ""},
            {"dwi_mask", "DWI_AOI_MaskImg_GraphicsView", "DWIBinaryMaskSaveButton"},
            {"dwi_symmetric_mask", "DWI_AOI_SymMaskImg_GraphicsView", "DWIBinarySymMaskSaveButton"},
            {"adc_mask", "ADC_AOI_MaskImg_GraphicsView", "ADCBinaryMaskSaveButton"},
            {"adc_symmetric_mask", "ADC_AOI_SymMaskImg_GraphicsView", "ADCBinarySymMaskSaveButton"},
            {"t2_raw_symmetry", "T2_AOI_SymImg_GraphicsView", "T2SaveRawSymmetry2DButton"},
            {"dwi_raw_symmetry", "DWI_AOI_SymImg_GraphicsView", "DWISaveRawSymmetry2DButton"},
            {"adc_raw_symmetry", "ADC_AOI_SymImg_GraphicsView", "ADCSaveRawSymmetry2DButton"},
            {"t2_smooth_symmetry", "T2_AOI_SymSmoothImg_GraphicsView", "T2SaveSmoothSymmetry2DButton"},
            {"dwi_smooth_symmetry", "DWI_AOI_SymSmoothImg_GraphicsView", "DWISaveSmoothSymmetry2DButton"},
            {"adc_smooth_symmetry", "ADC_AOI_SymSmoothImg_GraphicsView", "ADCSaveSmoothSymmetry2DButton"},
            {"product", "SymProdPreview_GraphicsView", "SymProdSave2DButton"},
        };
        for (const auto& r : rows)
            QTest::newRow(r[0]) << QString(r[1]) << QString(r[2]);
    }
    void views()
    {
        QFETCH(QString, view);
        QFETCH(QString, save);
        const QImage shown = shownImage(f.child<QGraphicsView>(view));
        QVERIFY(!shown.isNull());
        QCOMPARE(argb(QImage(batchDir + QTest::currentDataTag() + ".png")), argb(shown));
        if (!save.isEmpty())
            QCOMPARE(argb(f.saveThrough(f.child<QPushButton>(save), "saved.png")), argb(shown));
    }

    // The result views show a composition: their saved PNG is compared; the lesion gives red marks.
    void composedOverlays_data()
    {
        QTest::addColumn<QString>("button");
        QTest::newRow("solution_overlay") << "ResultSave2DButton";
        QTest::newRow("evaluation_overlay") << "saveEvalImageButton";
    }
    void composedOverlays()
    {
        QFETCH(QString, button);
        const QImage saved = f.saveThrough(f.child<QPushButton>(button), "overlay.png");
        const QImage batch(batchDir + QTest::currentDataTag() + ".png");
        QVERIFY(!saved.isNull());
        QCOMPARE(argb(batch), argb(saved));
        bool red = false;
        for (int y = 0; y < batch.height() && !red; ++y)
            for (int x = 0; x < batch.width() && !red; ++x)
                red = qRed(batch.pixel(x, y)) > qGreen(batch.pixel(x, y)) + 60;
        QVERIFY(red);
    }

    // A name without an extension gets ".png"; a failed save says which file and why, leaves
    // the earlier file as it was and no temporary file.
    void saving_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("name");  // as answered in the dialog
        QTest::addColumn<QString>("fault"); // empty: saved, as name + ".png"
        QTest::newRow("image, no extension") << "T2SaveRawSymmetry2DButton" << "raw" << "";
        QTest::newRow("graph, no extension") << "T2SaveRawSymmetry3DButton" << "graph" << "";
        QTest::newRow("image, disk full") << "ResultSave2DButton" << "old.png" << "full";
        QTest::newRow("graph, disk full") << "SymProdSave3DImage" << "old.png" << "full";
        QTest::newRow("image, a folder of that name") << "ADCBinaryMaskSaveButton" << "dir.png" << "folder";
        QTest::newRow("image, read-only location") << "DWIBinaryMaskSaveButton" << "/sys/kelvara.png" << "denied";
    }
    void saving()
    {
        QFETCH(QString, button);
        QFETCH(QString, name);
        QFETCH(QString, fault);
        const QString path = QDir(f.dir.path()).absoluteFilePath(name);
        QFile old(path);
        QVERIFY(fault != "full" || (old.open(QIODevice::WriteOnly) && old.write("earlier") == 7 && old.flush()));
        old.close();
        QVERIFY(fault != "folder" || QDir().mkpath(path));
        f.messages.clear();
        WindowFixture::answerSave(path);
        {
            std::optional<testfaults::FileSizeLimit> limit;
            QVERIFY(fault != "full" || limit.emplace(64).active()); // smaller than any PNG of a picture
            f.child<QPushButton>(button)->click();
        }
        QCOMPARE(f.messages.size(), int(!fault.isEmpty()));
        if (fault.isEmpty()) {
            QCOMPARE(QImageReader(path + ".png").format(), QByteArray("png"));
            QVERIFY(!QFile::exists(path));
            return;
        }
        QVERIFY2(f.messages[0].contains("'" + path + "': "), qPrintable(f.messages[0]));
        QVERIFY(fault != "full" || (old.open(QIODevice::ReadOnly) && old.readAll() == "earlier"));
        QCOMPARE(QDir(f.dir.path()).entryList({name + '*'}, QDir::AllEntries | QDir::Hidden).size(),
                 int(fault == "full" || fault == "folder"));
    }

    void statistics()
    {
        QFile file(batchDir + "result.json");
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject r = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(ui->SusPixels->text().toInt(), r.value("suspiciousPixels").toInt());
        QVERIFY(ui->PathologyDetectedLabel->isActive()); // the lesion case is a pathology
        QCOMPARE(r.value("pathology").toBool(), true);
        QVERIFY(ui->PathologyDetectedLabel->caption().isEmpty());
        QCOMPARE(ui->DWI_IntervalLeft->value(), r.value("intervals").toObject().value("DWILeft").toInt());
        QCOMPARE(ui->ADC_IntervalRight->value(), r.value("intervals").toObject().value("ADCRight").toInt());
    }

    void wheelZoomMovesTheSlider_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<QStringList>("views"); // the first gets the wheel, the others follow
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("angle");
        QTest::addColumn<int>("direction"); // sign of the slider's change
        QTest::newRow("overlay, in") << "OverlayZoomSlider" << QStringList{"overlayImagesView"} << 100 << 120 << 1;
        QTest::newRow("DWI mask, out, AOI image follows") << "DWIZoomSlider"
            << QStringList{"DWI_AOI_MaskImg_GraphicsView", "DWI_AOI_Img_GraphicsView"} << 100 << -120 << -1;
        QTest::newRow("small trackpad step still moves")
            << "FFTZoomSlider" << QStringList{"FFTFilterT2GraphicsView"} << 3 << 15 << 1;
        QTest::newRow("held at the top of the range")
            << "SymProdPreviewZoom" << QStringList{"SymProdPreview_GraphicsView"} << 500 << 240 << 0;
        QTest::newRow("without Ctrl the wheel scrolls")
            << "T2RawSymZoom" << QStringList{"T2_AOI_SymImg_GraphicsView"} << 100 << 120 << 0;
    }
    void wheelZoomMovesTheSlider()
    {
        QFETCH(QString, slider);
        QFETCH(QStringList, views);
        QFETCH(int, start);
        QFETCH(int, angle);
        QFETCH(int, direction);
        auto* s = f.child<QSlider>(slider);
        auto* v = f.child<QGraphicsView>(views[0]);
        s->setValue(start);
        const QPoint at = v->viewport()->rect().center();
        const bool ctrl = !QByteArray(QTest::currentDataTag()).startsWith("without Ctrl");
        QWheelEvent wheel(QPointF(at), QPointF(v->viewport()->mapToGlobal(at)), QPoint(), QPoint(0, angle),
                          Qt::NoButton, ctrl ? Qt::ControlModifier : Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(v->viewport(), &wheel);
        const int value = s->value();
        QCOMPARE((value > start) - (value < start), direction);
        QVERIFY(value >= s->minimum() && value <= s->maximum());
        // The transform is the slider's: replaced, never accumulated.
        for (const QString& name : views)
            QCOMPARE(f.child<QGraphicsView>(name)->transform(), QTransform::fromScale(value / 100.0, value / 100.0));
        s->setValue(100);
    }

    // The image is centred on the scene origin and scaled about its centre; the readout names
    // the topmost image shown. It stays beside status messages and clears when the mouse leaves.
    void overlayReadoutNamesTheTopImage_data()
    {
        QTest::addColumn<QStringList>("hidden");
        QTest::addColumn<int>("modality");
        QTest::newRow("all shown: ADC") << QStringList{} << int(kelvara::Modality::ADC);
        QTest::newRow("ADC hidden: DWI") << QStringList{"OverlayImgDisplayADC"} << int(kelvara::Modality::DWI);
        QTest::newRow("ADC and DWI hidden: T2")
            << QStringList{"OverlayImgDisplayADC", "OverlayImgDisplayDWI"} << int(kelvara::Modality::T2);
    }
    void overlayReadoutNamesTheTopImage()
    {
        QFETCH(QStringList, hidden);
        QFETCH(int, modality);
        for (const QString& name : hidden)
            f.child<QCheckBox>(name)->setChecked(false);
        QGraphicsView* v = ui->overlayImagesView;
        ui->OverlayZoomSlider->setValue(100);
        const QPoint at = v->mapFromScene(QPointF(21.5, -13.5));
        sendMouse(v, QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton);
        const auto m = kelvara::Modality(modality);
        const QImage& image = f.window->caseModel().image(m);
        const double scale = f.window->caseModel().scale(m);
        const QPointF p = v->mapToScene(at);
        const int x = int(std::floor(p.x() / scale)) + image.width() / 2;
        const int y = int(std::floor(p.y() / scale)) + image.height() / 2;
        const QString text = QStringLiteral("%1 x %2, y %3: grey %4")
                                 .arg(QLatin1String(kelvara::modalityName(m))).arg(x).arg(y)
                                 .arg(qGray(image.pixel(x, y)));
        QCOMPARE(readout->text(), text);
        ui->statusbar->showMessage(QStringLiteral("a message"));
        QCOMPARE(readout->text(), text);
        QVERIFY(readout->isVisible());
        ui->statusbar->clearMessage();
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(v->viewport(), &leave);
        QVERIFY(readout->text().isEmpty());
        for (QCheckBox* box : {ui->OverlayImgDisplayT2, ui->OverlayImgDisplayDWI, ui->OverlayImgDisplayADC})
            box->setChecked(true);
    }

    // The plane views read out the engine's value, not the grey level shown.
    void planeReadoutShowsTheEngineValue_data()
    {
        QTest::addColumn<QString>("view");
        QTest::addColumn<bool>("product");
        QTest::newRow("product") << "SymProdPreview_GraphicsView" << true;
        QTest::newRow("T2 smooth symmetry") << "T2_AOI_SymSmoothImg_GraphicsView" << false;
    }
    void planeReadoutShowsTheEngineValue()
    {
        QFETCH(QString, view);
        QFETCH(bool, product);
        ui->ProductT2SmoothSymCheck->setChecked(true);
        ui->ProductDWISmoothSymCheck->setChecked(true);
        ui->ProductCalculateButton->click();
        const double* const* plane = product ? f.window->product().data() : f.window->symmetry().t2SmoothResult();
        QVERIFY(plane);
        // A pixel whose value is not a whole number, so it cannot pass for a grey level.
        QPoint px(-1, -1);
        for (int x = 200; x < 312 && px.x() < 0; ++x)
            for (int y = 200; y < 312 && px.x() < 0; ++y)
                if (std::abs(plane[x][y] - std::round(plane[x][y])) > 0.1)
                    px = {x, y};
        QVERIFY(px.x() >= 0);
        const QString text = readoutAt(f.child<QGraphicsView>(view), px);
        const QRegularExpressionMatch match = QRegularExpression("^x (\\d+), y (\\d+): value (\\S+)$").match(text);
        QVERIFY2(match.hasMatch(), qPrintable(text));
        QCOMPARE(QPoint(match.captured(1).toInt(), match.captured(2).toInt()), px);
        const double value = plane[px.x()][px.y()];
        QVERIFY2(std::abs(match.captured(3).toDouble() - value) <= 1e-5 * std::max(1.0, std::abs(value)),
                 qPrintable(text + " vs " + QString::number(value, 'g', 17)));
    }

    void draggingTheAOIMovesTheSliders_data()
    {
        // Where the press lands relative to the AOI centre (scene units) and how far the mouse
        // then moves (screen pixels, at 1:1).
        QTest::addColumn<QPointF>("press");
        QTest::addColumn<QPoint>("move");
        QTest::addColumn<QPoint>("sliders");
        QTest::newRow("right and down") << QPointF(0, 0) << QPoint(30, 20) << QPoint(30, -20);
        QTest::newRow("left and up, caught near the rim") << QPointF(30, 0) << QPoint(-15, -40) << QPoint(-15, 40);
        QTest::newRow("clamped to the sliders") << QPointF(0, 0) << QPoint(900, -700) << QPoint(500, 500);
        QTest::newRow("press beside the AOI") << QPointF(60, 0) << QPoint(30, 20) << QPoint(0, 0);
    }
    void draggingTheAOIMovesTheSliders()
    {
        QFETCH(QPointF, press);
        QFETCH(QPoint, move);
        QFETCH(QPoint, sliders);
        ui->OverlayZoomSlider->setValue(100);
        QGraphicsView* v = ui->overlayImagesView;
        const QPoint from = v->mapFromScene(f.window->caseModel().aoiCentre() + press);
        sendMouse(v, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseMove, from + move / 2, Qt::NoButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseMove, from + move, Qt::NoButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseButtonRelease, from + move, Qt::LeftButton, Qt::NoButton);
        QCOMPARE(QPoint(ui->horizontalSlider->value(), ui->verticalSlider->value()), sliders);
        // The sliders' slots placed the AOI, and its numbers say where.
        QCOMPARE(f.window->caseModel().aoiCentre(), QPointF(sliders.x(), -sliders.y()));
        QVERIFY(f.child<QLabel>("aoiPositionLabel")->text().contains(
            QStringLiteral("x = %1, y = %2").arg(sliders.x()).arg(sliders.y())));
        ui->horizontalSlider->setValue(0);
        ui->verticalSlider->setValue(0);
    }

    // Every page fits whole where it is shown, the status bar and readout included.
    void fitsALaptopScreen()
    {
        const QSize laptop(1366, 738);
        QCOMPARE(f.window->minimumSizeHint().boundedTo(laptop), f.window->minimumSizeHint());
        QCOMPARE(f.window->minimumSize().boundedTo(laptop), f.window->minimumSize());
        for (int page = 0; page < ui->tabWidget->count(); ++page) {
            ui->tabWidget->setCurrentIndex(page);
            f.window->resize(laptop);
            QCoreApplication::processEvents();
            QCOMPARE(f.window->size(), laptop);
            QVERIFY(ui->tabWidget->parentWidget()->rect().contains(ui->tabWidget->geometry()));
            QVERIFY(f.window->rect().contains(ui->statusbar->geometry()) && ui->statusbar->isVisible());
            QVERIFY(readout->isVisible());
        }
        ui->tabWidget->setCurrentIndex(0);
    }

    // Turning the camera as the mouse does adds a custom entry to the graph's combo; choosing
    // a preset then moves the camera there and takes the entry away.
    void turningTheCameraShowsACustomEntry()
    {
        QComboBox* combo = ui->SymProdView3D;
        Q3DCamera* camera = nullptr;
        for (QWindow* w : QGuiApplication::allWindows())
            if (auto* graph = qobject_cast<Q3DSurface*>(w); graph && !camera) {
                camera = graph->scene()->activeCamera();
                camera->setXRotation(camera->xRotation() + 25.0f);
                if (combo->count() == 7) // another graph's camera
                    camera = nullptr;
            }
        QVERIFY(camera);
        QCOMPARE(combo->currentText(), Dual2D3DView::customCameraText());
        combo->setCurrentIndex(2);
        emit combo->activated(2);
        QCOMPARE(combo->count(), 7);
        QCOMPARE(camera->cameraPreset(), Q3DCamera::CameraPresetBehind);
    }

    // Relative image paths: one that exists from the working directory is taken from there,
    // the others from the project's folder. The title names the project.
    void relativeImagePaths_data()
    {
        QTest::addColumn<bool>("t2Here");
        QTest::newRow("T2 in the working directory") << true;
        QTest::newRow("all beside the project") << false;
    }
    void relativeImagePaths()
    {
        QFETCH(bool, t2Here);
        const QString copy = f.dir.filePath("lesion/t2.dcm");
        QVERIFY(QDir(f.dir.path()).mkpath("lesion"));
        QFile::remove(copy);
        if (t2Here)
            QVERIFY(QFile::copy(kSamples + "/healthy/t2.dcm", copy));
        WindowFixture::answerOpen(kSamples + "/lesion.kelvara");
        ui->LoadProjectButton->click();
        for (kelvara::Modality m : kelvara::kModalities) {
            const QString file = "lesion/" + QString(kelvara::modalityName(m)).toLower() + ".dcm";
            const bool here = t2Here && m == kelvara::Modality::T2;
            QCOMPARE(f.window->caseModel().source(m).path, here ? file : kSamples + "/" + file);
            QCOMPARE(f.window->caseModel().image(m), here ? DICOMUtil().loadImage(copy) : lesion[int(m)]);
        }
        QCOMPARE(f.window->windowTitle(), QStringLiteral("Kelvara V1 - lesion.kelvara"));
    }

    // A load marks every result view, the statistics and the lamp as from the previous images,
    // even a project whose images are gone; a button clears the mark of the views it redraws.
    void resultsMarkedStale_data()
    {
        QTest::addColumn<bool>("project"); // else the T2 image is loaded again
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("redrawn");
        QTest::newRow("project, filter") << true << "FFTDWIDisplayResButton" << QStringList{"FFTFilterDWIGraphicsView"};
        QTest::newRow("image, symmetry") << false << "ADCRecalculateSymmetryButton"
            << QStringList{"T2_AOI_SymImg_GraphicsView", "DWI_AOI_SymImg_GraphicsView", "ADC_AOI_SymImg_GraphicsView"};
        QTest::newRow("project, calculate") << true << "ResultCalculateButton" << QStringList{"ResultOverlayView"};
        QTest::newRow("image, evaluation") << false << "determinePathologyButton"
                                           << QStringList{"ResultOverlayView", "evaluationOverlay"};
    }
    void resultsMarkedStale()
    {
        QFETCH(bool, project);
        QFETCH(QString, button);
        QFETCH(QStringList, redrawn);
        if (project) {
            QFile file(kSamples + "/lesion.kelvara");
            QVERIFY(file.open(QIODevice::ReadOnly));
            QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
            for (const char* m : {"T2", "DWI", "ADC"})
                root[m] = QJsonObject{{"Path", "gone.dcm"}, {"Type", "DICOM"}, {"Scale", root[m].toObject()["Scale"]}};
            QFile gone(f.dir.filePath("gone.kelvara"));
            QVERIFY(gone.open(QIODevice::WriteOnly) && gone.write(QJsonDocument(root).toJson()) > 0);
            gone.close();
            WindowFixture::answerOpen(gone.fileName());
            ui->LoadProjectButton->click();
            QCOMPARE(f.window->caseModel().image(kelvara::Modality::T2), lesion[0]);
        } else {
            WindowFixture::answerOpen(kSamples + "/lesion/t2.dcm");
            ui->OverlayImgLoadT2_DICOM->click();
        }
        QStringList all;
        for (QGraphicsView* v : f.window->findChildren<QGraphicsView*>())
            if (v != ui->overlayImagesView)
                all << v->objectName();
        QCOMPARE(staleViews(), all);
        for (QLabel* l : {ui->SusPixels, ui->ResultAvgSignal, ui->ResultAvgSignalNM})
            QVERIFY(!l->isEnabled());
        QCOMPARE(ui->PathologyDetectedLabel->caption(), QStringLiteral("from the previous images"));

        f.child<QPushButton>(button)->click();
        for (const QString& v : redrawn)
            all.removeOne(v);
        QCOMPARE(staleViews(), all);
        QCOMPARE(ui->ResultAvgSignal->isEnabled(), redrawn.contains("ResultOverlayView"));
        QCOMPARE(ui->PathologyDetectedLabel->caption().isEmpty(), redrawn.contains("evaluationOverlay"));
    }
    // The sample examination through the series controls. T2's folder also holds a localizer;
    // DWI takes b 1400 and, like ADC, the slice nearest T2's (0.5 mm off it). IM0001..5 are T2
    // at -6..6 mm, then per position DWI b 0, DWI b 1400 and ADC follow.
    void seriesControls_data()
    {
        QTest::addColumn<int>("modality");
        QTest::addColumn<QVector<int>>("slices"); // as the folder loads it, then as chosen
        QTest::addColumn<QStringList>("shown");   // the position label and the file, per slice
        QTest::newRow("T2: the chosen series' middle slice") << 0 << QVector<int>{2, 3}
            << QStringList{"0.0 mm", "IM0003", "3.0 mm", "IM0004"};
        QTest::newRow("DWI: b 1400, nearest T2's") << 1 << QVector<int>{3, 1}
            << QStringList{"3.5 mm, b 1400", "IM0017", "-2.5 mm, b 1400", "IM0011"};
        QTest::newRow("ADC: nearest T2's, kept") << 2 << QVector<int>{3} << QStringList{"3.5 mm", "IM0018"};
    }
    void seriesControls()
    {
        QFETCH(int, modality);
        QFETCH(QVector<int>, slices);
        QFETCH(QStringList, shown);
        const auto m = kelvara::Modality(modality);
        const QString name = kelvara::modalityName(m), folder = kSamples + "/exam/" + name.toLower() + "/";
        QStringList offered;
        kelvara::Dialogs::setFolderHandler([&](QWidget*, const QString&, const QString&) { return folder; });
        kelvara::Dialogs::setChoiceHandler([&](QWidget*, const QString&, const QString&, const QStringList& items) {
            offered = items;
            return int(items.indexOf(QRegularExpression("T2W TSE AX .*")));
        });
        f.child<QPushButton>("OverlayImgLoad" + name + "_Folder")->click();
        QCOMPARE(offered.size(), m == kelvara::Modality::T2 ? 2 : 0);
        auto* box = f.child<QSpinBox>("OverlaySlice" + name);
        for (int i = 0; i < slices.size(); ++i) {
            if (i > 0) {
                ui->ResultCalculateButton->click();
                box->setValue(slices[i]);
                QVERIFY(!ui->ResultAvgSignal->isEnabled()); // the results are from other images
            }
            QCOMPARE(box->value(), slices[i]);
            QCOMPARE(f.child<QLabel>("OverlaySlicePosition" + name)->text(), shown[2 * i]);
            QCOMPARE(f.window->caseModel().image(m), DICOMUtil().loadImage(folder + shown[2 * i + 1]));
        }
        if (m != kelvara::Modality::ADC)
            return;

        // All three in: the automatic scales, then the project written and exam.kelvara read.
        f.child<QPushButton>("OverlayAutomaticScale")->click();
        QVERIFY(ui->OverlayScaleDWI->value() == 2.0 && ui->OverlayScaleADC->value() == 2.0);
        const QString path = f.dir.filePath("exam.kelvara");
        WindowFixture::answerSave(path);
        ui->SaveProjectButton->click();
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(root["T2"]["Series"], QJsonValue("1.2.276.0.7230010.3.1.3.9001.1"));
        QVERIFY(root["T2"]["Slice"] == 3 && root["DWI"]["Slice"] == 1 && root["ADC"]["Slice"].isUndefined());
        QVERIFY(root["T2"]["Scale"].isDouble() && root["DWI"]["Scale"] == "auto" && root["ADC"]["Scale"] == "auto");

        ui->OverlayScaleADC->setValue(1.0);
        WindowFixture::answerOpen(kSamples + "/exam.kelvara");
        ui->LoadProjectButton->click();
        QCOMPARE(ui->OverlayScaleADC->value(), 2.0);
        const char* files[] = {"t2/IM0003", "dwi/IM0014", "adc/IM0015"};
        for (kelvara::Modality k : kelvara::kModalities)
            QCOMPARE(f.window->caseModel().image(k), DICOMUtil().loadImage(kSamples + "/exam/" + files[int(k)]));
    }

    // A project whose "Slice" names no image: the status bar gives the series' range, as for
    // any series error, and the findings panel lists the key.
    void projectSliceNamingNoImage()
    {
        QFile exam(kSamples + "/exam.kelvara");
        QVERIFY(exam.open(QIODevice::ReadOnly));
        QJsonObject root = QJsonDocument::fromJson(exam.readAll()).object();
        for (const char* m : {"T2", "DWI", "ADC"}) {
            QJsonObject image = root[m].toObject();
            image["Path"] = kSamples + "/" + image["Path"].toString();
            root[m] = image;
        }
        QJsonObject t2 = root["T2"].toObject();
        t2["Slice"] = -1;
        root["T2"] = t2;
        const QString path = f.dir.filePath("slice.kelvara");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(root).toJson()) > 0);
        file.close();
        WindowFixture::answerOpen(path);
        ui->LoadProjectButton->click();
        const QString expected = "T2 image '" + kSamples + "/exam/t2': slice -1 is out of range: "
                                 "series 1.2.276.0.7230010.3.1.3.9001.1 has slices 0 to 4";
        QVERIFY2(ui->statusbar->currentMessage().contains(expected),
                 qPrintable(ui->statusbar->currentMessage()));
        const QList<QDialog*> panels = f.window->findChildren<QDialog*>("LoadFindingsPanel");
        QVERIFY(panels.size() == 1 && panels[0]->isVisible());
        const QListWidget* list = panels[0]->findChild<QListWidget*>();
        QVERIFY(list && list->count() == 1 && list->item(0)->text().contains("T2/Slice: -1 is not a slice"));
    }
};

QTEST_MAIN(TestBatchWindow)
#include "test_batch_window.moc"
