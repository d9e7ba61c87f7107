#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Dialogs.h"
#include "FrequencyFilter.h"

#include <QFileInfo>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>()),
      chain(symmetryEngine, productMatrix, solutionMatrix, nonMaskedMatrix, intervalBases,
            [this] { return currentAOIImages(); },
            [this] { queueCutoffNotice(); })
{
    // From here on every change made to a control runs its slot.
    ui->setupUi(this);
    baseTitle = windowTitle();

    // Fixed combo boxes. Adding the first item makes it current and runs its slot.
    for (QComboBox* c : {ui->T2FFTFilterComboBox, ui->DWIFFTFilterComboBox, ui->ADCFFTFilterComboBox})
        c->addItems({QStringLiteral("Low-pass filter"), QStringLiteral("High-pass filter"),
                     QStringLiteral("Band-pass filter"), QStringLiteral("Band-reject filter")});
    ui->ResultAutoCorrectBaseCombo->addItems({QStringLiteral("T2 Fourier"), QStringLiteral("DWI Fourier"),
                                              QStringLiteral("ADC Fourier"),
                                              QStringLiteral("Non-masked average")});
    for (QComboBox* c : {ui->DWIBinMaskInputImgCombo, ui->ADCBinMaskInputImgCombo, ui->T2SymInputImgCombo,
                         ui->DWISymInputImgCombo, ui->ADCSymInputImgCombo})
        c->addItems({QStringLiteral("Original image"), QStringLiteral("FFT filtered image")});
    for (QComboBox* c : {ui->BinMaskADCAutoCorrectBaseCombo, ui->BinMaskDWIAutoCorrectBaseCombo})
        c->addItems({QStringLiteral("FFT"), QStringLiteral("Average")});

    overlayView.attachView(ui->overlayImagesView, nullptr);

    // Image scenes: box flag before midline flag.
    struct Binding {
        kelvara::ImageScene* scene;
        QGraphicsView* view;
        QPushButton* save;
        bool midline;
    };
    const Binding bindings[] = {
        {&symmetryAOIT2View, ui->SymmetryAOIT2View, nullptr, true},
        {&fftThresholdT2View, ui->FFTTreshT2GraphicsView, nullptr, false},
        {&fftThresholdDWIView, ui->FFTTreshDWIGraphicsView, nullptr, false},
        {&fftThresholdADCView, ui->FFTTreshADCGraphicsView, nullptr, false},
        {&fftFilterT2View, ui->FFTFilterT2GraphicsView, nullptr, false},
        {&fftFilterDWIView, ui->FFTFilterDWIGraphicsView, nullptr, false},
        {&fftFilterADCView, ui->FFTFilterADCGraphicsView, nullptr, false},
        {&dwiAOIView, ui->DWI_AOI_Img_GraphicsView, nullptr, true},
        {&symmetryAOIDWIView, ui->SymmetryAOIDWIView, nullptr, true},
        {&adcAOIView, ui->ADC_AOI_Img_GraphicsView, nullptr, true},
        {&symmetryAOIADCView, ui->SymmetryAOIADCView, nullptr, true},
        {&dwiMaskView, ui->DWI_AOI_MaskImg_GraphicsView, ui->DWIBinaryMaskSaveButton, true},
        {&adcMaskView, ui->ADC_AOI_MaskImg_GraphicsView, ui->ADCBinaryMaskSaveButton, true},
        {&dwiSymMaskView, ui->DWI_AOI_SymMaskImg_GraphicsView, ui->DWIBinarySymMaskSaveButton, true},
        {&adcSymMaskView, ui->ADC_AOI_SymMaskImg_GraphicsView, ui->ADCBinarySymMaskSaveButton, true},
    };
    for (const Binding& b : bindings) {
        b.scene->attachView(b.view, b.save);
        b.scene->setBoxVisible(false);
        b.scene->setMidlineVisible(b.midline);
    }

    // Smoothing controls, T2, DWI, ADC; the solution combos are filled between the ADC approach
    // items and the ADC shape index.
    struct Smoothing {
        QComboBox* shape;
        QComboBox* approach;
        QGroupBox* circle;
    };
    const Smoothing smoothing[] = {
        {ui->T2FilterShapeComboBox, ui->T2ApproachComboBox, ui->T2CircleRadius},
        {ui->DWIFilterShapeComboBox, ui->DWIApproachComboBox, ui->DWICircleRadius},
        {ui->ADCFilterShapeComboBox, ui->ADCApproachComboBox, ui->ADCCircleRadius},
    };
    for (const Smoothing& s : smoothing) {
        s.shape->addItems({QStringLiteral("Rectangle"), QStringLiteral("Circle")});
        s.approach->addItems({QStringLiteral("Average symmetries"), QStringLiteral("Average image")});
        if (s.shape == ui->ADCFilterShapeComboBox) {
            ui->ResultSymImageComboBox->addItem(QStringLiteral("T2 smooth symmetry"), QStringLiteral("SS_T2"));
            ui->ResultSymImageComboBox->addItem(QStringLiteral("DWI smooth symmetry"), QStringLiteral("SS_DWI"));
            ui->ResultSymImageComboBox->addItem(QStringLiteral("ADC smooth symmetry"), QStringLiteral("SS_ADC"));
            ui->ResultMaskComboBox->addItem(QStringLiteral("DWI mask"), QStringLiteral("M_DWI"));
            ui->ResultMaskComboBox->addItem(QStringLiteral("ADC mask"), QStringLiteral("M_ADC"));
            ui->ResultMaskComboBox->addItem(QStringLiteral("DWI simmetrical mask"), QStringLiteral("MS_DWI"));
            ui->ResultMaskComboBox->addItem(QStringLiteral("ADC simmetrical mask"), QStringLiteral("MS_ADC"));
        }
        s.shape->setCurrentIndex(0);
        s.circle->hide();
    }

    // 2D/3D views: graph first, then the 2D view; midline flag before box flag. The evaluation
    // view is a ResultView too but shows no graph.
    struct DualBinding {
        Dual2D3DView* scene;
        QBoxLayout* graphLayout;
        QComboBox* camera;
        QPushButton* save3D;
        QGraphicsView* view;
        QPushButton* save2D;
        bool midline;
    };
    const DualBinding dualBindings[] = {
        {&rawSymmetryT2View, ui->RawSymT2Graph, ui->T2View3DRawSymmetry,
         ui->T2SaveRawSymmetry3DButton, ui->T2_AOI_SymImg_GraphicsView,
         ui->T2SaveRawSymmetry2DButton, true},
        {&rawSymmetryDWIView, ui->RawSymDWIGraph, ui->DWIView3DRawSymmetry,
         ui->DWISaveRawSymmetry3DButton, ui->DWI_AOI_SymImg_GraphicsView,
         ui->DWISaveRawSymmetry2DButton, true},
        {&rawSymmetryADCView, ui->RawSymADCGraph, ui->ADCView3DRawSymmetry,
         ui->ADCSaveRawSymmetry3DButton, ui->ADC_AOI_SymImg_GraphicsView,
         ui->ADCSaveRawSymmetry2DButton, true},
        {&symmetryProductView, ui->SymProdGraph, ui->SymProdView3D, ui->SymProdSave3DImage,
         ui->SymProdPreview_GraphicsView, ui->SymProdSave2DButton, false},
        {&solutionView, ui->Result3D, ui->ResultView3D, ui->ResultSave3DImage,
         ui->ResultOverlayView, ui->ResultSave2DButton, false},
        {&evaluationView, nullptr, nullptr, nullptr, ui->evaluationOverlay,
         ui->saveEvalImageButton, false},
        {&smoothSymmetryT2View, ui->SmoothSymT2Graph, ui->T2View3DSmoothSymmetry,
         ui->T2SaveSmoothSymmetry3DButton, ui->T2_AOI_SymSmoothImg_GraphicsView,
         ui->T2SaveSmoothSymmetry2DButton, true},
        {&smoothSymmetryDWIView, ui->SmoothSymDWIGraph, ui->DWIView3DSmoothSymmetry,
         ui->DWISaveSmoothSymmetry3DButton, ui->DWI_AOI_SymSmoothImg_GraphicsView,
         ui->DWISaveSmoothSymmetry2DButton, true},
        {&smoothSymmetryADCView, ui->SmoothSymADCGraph, ui->ADCView3DSmoothSymmetry,
         ui->ADCSaveSmoothSymmetry3DButton, ui->ADC_AOI_SymSmoothImg_GraphicsView,
         ui->ADCSaveSmoothSymmetry2DButton, true},
    };
    for (const DualBinding& b : dualBindings) {
        if (b.graphLayout)
            b.scene->attachGraph(this, b.graphLayout, b.camera, b.save3D);
        b.scene->attachView(b.view, b.save2D);
        b.scene->setMidlineVisible(b.midline);
        b.scene->setBoxVisible(false);
    }

    setUpViewingAids();

    buildSeriesControls();

    // AOI start-up geometry from the cell spin boxes; the extraction is already due to run.
    applyAOISize();

    // Cell size exists in the layout but stays 1 and out of sight.
    ui->VStep->setVisible(false);
    ui->HStep->setVisible(false);
    ui->label_7->setVisible(false);

    loadSettingsFile(true);

    // Each graph area already says so; the status bar says it once more for the whole window,
    // unless the settings load has something to say there.
    if (const QString reason = Dual2D3DView::graphsUnavailableReason();
        !reason.isEmpty() && ui->statusbar->currentMessage().isEmpty())
        ui->statusbar->showMessage(reason);
}

// A press may filter several images, each raising the same notice: it is shown once, after the
// press.
void MainWindow::queueCutoffNotice()
{
    if (cutoffNoticePending)
        return;
    cutoffNoticePending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            cutoffNoticePending = false;
            kelvara::Dialogs::information(this, QString::fromLatin1(kelvara::kCutoffMessageTitle),
                                          QString::fromLatin1(kelvara::kCutoffMessageText));
        },
        Qt::QueuedConnection);
}

QList<AbstractView*> MainWindow::resultViews()
{
    return {&fftThresholdT2View,   &fftThresholdDWIView,   &fftThresholdADCView,
            &fftFilterT2View,      &fftFilterDWIView,      &fftFilterADCView,
            &symmetryAOIT2View,    &symmetryAOIDWIView,    &symmetryAOIADCView,
            &dwiAOIView,           &adcAOIView,            &dwiMaskView,
            &adcMaskView,          &dwiSymMaskView,        &adcSymMaskView,
            &rawSymmetryT2View,    &rawSymmetryDWIView,    &rawSymmetryADCView,
            &smoothSymmetryT2View, &smoothSymmetryDWIView, &smoothSymmetryADCView,
            &symmetryProductView,  &solutionView,          &evaluationView};
}

void MainWindow::markResultsStale()
{
    const QString caption = QStringLiteral("from the previous images - press its button again");
    for (AbstractView* v : resultViews())
        if (v->graphicsView() && !v->isStale())
            v->setStale(true, caption);
    const QString calculate = QStringLiteral("from the previous images - press Calculate");
    solutionView.setStale(true, calculate);
    evaluationView.setStale(true, QStringLiteral("from the previous images - press Determine "
                                                 "image pathology"));
    for (QLabel* l : {ui->SusPixels, ui->ResultAvgSignal, ui->ResultAvgSignalNM}) {
        l->setEnabled(false);
        l->setToolTip(calculate);
    }
    if (ui->PathologyDetectedLabel->caption().isEmpty())
        ui->PathologyDetectedLabel->setCaption(QStringLiteral("from the previous images"));
}

void MainWindow::showProjectName(const QString& path)
{
    setWindowTitle(baseTitle + QStringLiteral(" - ") + QFileInfo(path).fileName());
}

MainWindow::~MainWindow()
{
    // The form goes first, then the members in reverse order; the widgets die with the window.
    ui.reset();
}

// Zoom sliders: value 100 is 1:1.
void MainWindow::on_DWIZoomSlider_valueChanged(int value)
{
    for (kelvara::ImageScene* s : {static_cast<kelvara::ImageScene*>(&dwiAOIView), static_cast<kelvara::ImageScene*>(&dwiMaskView),
                          static_cast<kelvara::ImageScene*>(&dwiSymMaskView)})
        s->setZoom(value);
}

void MainWindow::on_ADCZoomSlider_valueChanged(int value)
{
    for (kelvara::ImageScene* s : {static_cast<kelvara::ImageScene*>(&adcAOIView), static_cast<kelvara::ImageScene*>(&adcMaskView),
                          static_cast<kelvara::ImageScene*>(&adcSymMaskView)})
        s->setZoom(value);
}

void MainWindow::on_SymmetryAOIT2Zoom_valueChanged(int value) { symmetryAOIT2View.setZoom(value); }
void MainWindow::on_SymmetryAOIDWIZoom_valueChanged(int value) { symmetryAOIDWIView.setZoom(value); }
void MainWindow::on_SymmetryAOIADCZoom_valueChanged(int value) { symmetryAOIADCView.setZoom(value); }
void MainWindow::on_FFTZoomSlider_valueChanged(int value) { fftFilterT2View.setZoom(value); }
void MainWindow::on_FFTZoomSliderDWI_valueChanged(int value) { fftFilterDWIView.setZoom(value); }
void MainWindow::on_FFTZoomSliderADC_valueChanged(int value) { fftFilterADCView.setZoom(value); }
void MainWindow::on_FFTTreshT2Zoom_valueChanged(int value) { fftThresholdT2View.setZoom(value); }
void MainWindow::on_FFTTreshDWIZoom_valueChanged(int value) { fftThresholdDWIView.setZoom(value); }
void MainWindow::on_FFTTreshADCZoom_valueChanged(int value) { fftThresholdADCView.setZoom(value); }
