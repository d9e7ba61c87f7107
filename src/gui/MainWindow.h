#pragma once

#include "AnalysisChain.h"
#include "CaseImages.h"
#include "Dual2D3DView.h"
#include "ControlValues.h"
#include "LoadFinding.h"
#include "MaskView.h"
#include "Modality.h"
#include "OverlayView.h"
#include "ResultMatrix.h"
#include "ResultView.h"
#include "StoredFile.h"
#include "SymmetryEngine.h"
#include "T2_View.h"

#include <QMainWindow>
#include <QString>

#include <array>
#include <memory>

class QDialog;
class QLabel;
class QSlider;

class QDoubleSpinBox;
class QLabel;
class QSpinBox;

namespace Ui {
class MainWindow;
}

// The single window of Kelvara. It owns every scene, engine and piece of state as plain members
// (declared, and so constructed, in the order below); each control signal has one slot, connected
// by name when the form is set up. Slot bodies live in one file per feature (MainWindowInput.cpp,
// MainWindowFourier.cpp, ...); this file's .cpp holds construction and the zoom slots.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // The generated form, for the feature code and for tests.
    Ui::MainWindow* form() const { return ui.get(); }

    // The values of every analysis control, as the analysis chain takes them.
    kelvara::ControlValues controlValues() const;

    // The case the window shows: images, their files and scales, the AOI.
    const kelvara::CaseImages& caseModel() const { return caseImages; }

    // The planes behind the symmetry and product views, as the engines hold them.
    const SymmetryEngine& symmetry() const { return symmetryEngine; }
    const ResultMatrix& product() const { return productMatrix; }

private slots:
    void on_OverlayImgLoadT2_BMP_clicked();
    void on_OverlayImgLoadDWI_BMP_clicked();
    void on_OverlayImgLoadADC_BMP_clicked();
    void on_OverlayImgDisplayT2_toggled(bool checked);
    void on_OverlayImgDisplayDWI_toggled(bool checked);
    void on_OverlayImgDisplayADC_toggled(bool checked);
    void on_OverlayT2Transparency_valueChanged(int value);
    void on_OverlayDWITransparency_valueChanged(int value);
    void on_OverlayADCTransparency_valueChanged(int value);
    void on_OverlayScaleT2_valueChanged(double value);
    void on_OverlayScaleDWI_valueChanged(double value);
    void on_OverlayScaleADC_valueChanged(double value);
    void on_OverlayZoomSlider_valueChanged(int value);
    void on_OverlayImgLoadT2_DICOM_clicked();
    void on_OverlayImgLoadDWI_DICOM_clicked();
    void on_OverlayImgLoadADC_DICOM_clicked();
    void on_DWIZoomSlider_valueChanged(int value);
    void on_ADCZoomSlider_valueChanged(int value);
    void on_verticalSlider_valueChanged(int value);
    void on_horizontalSlider_valueChanged(int value);
    void on_HCells_valueChanged(int value);
    void on_VCells_valueChanged(int value);
    void on_img1_crosshairCheckBox_toggled(bool checked);
    void on_HStep_valueChanged(int value);
    void on_VStep_valueChanged(int value);
    void on_T2FilterShapeComboBox_currentIndexChanged(int index);
    void on_DWI_IntervalLeft_valueChanged(int value);
    void on_DWI_IntervalRight_valueChanged(int value);
    void on_ADC_IntervalLeft_valueChanged(int value);
    void on_ADC_IntervalRight_valueChanged(int value);
    void on_T2CircleRad_valueChanged(int value);
    void on_T2RectDimX_valueChanged(int value);
    void on_T2RectDimY_valueChanged(int value);
    void on_DWIRecalculateMaskButton_clicked();
    void on_ADCRecalculateMaskButton_clicked();
    void on_T2RecalculateSymmetryButton_clicked();
    void on_DWIRecalculateSymmetryButton_clicked();
    void on_ADCRecalculateSymmetryButton_clicked();
    void on_SymmetryAOIT2RefreshButton_clicked();
    void on_SymmetryAOIDWIRefreshButton_clicked();
    void on_SymmetryAOIADCRefreshButton_clicked();
    void on_SymmetryAOIT2Zoom_valueChanged(int value);
    void on_SymmetryAOIDWIZoom_valueChanged(int value);
    void on_SymmetryAOIADCZoom_valueChanged(int value);
    void on_T2RawSymZoom_valueChanged(int value);
    void on_DWIRawSymZoom_valueChanged(int value);
    void on_ADCRawSymZoom_valueChanged(int value);
    void on_DWIFilterShapeComboBox_currentIndexChanged(int index);
    void on_ADCFilterShapeComboBox_currentIndexChanged(int index);
    void on_DWICircleRad_valueChanged(int value);
    void on_DWIRectDimX_valueChanged(int value);
    void on_DWIRectDimY_valueChanged(int value);
    void on_ADCCircleRad_valueChanged(int value);
    void on_ADCRectDimX_valueChanged(int value);
    void on_ADCRectDimY_valueChanged(int value);
    void on_T2FilterSymmetryButton_clicked();
    void on_DWIFilterSymmetryButton_clicked();
    void on_ADCFilterSymmetryButton_clicked();
    void on_ResultAddImageButton_clicked();
    void on_ResultAddMaskButton_clicked();
    void on_T2SmoothSymZoom_valueChanged(int value);
    void on_DWISmoothSymZoom_valueChanged(int value);
    void on_ADCSmoothSymZoom_valueChanged(int value);
    void on_ProductCalculateButton_clicked();
    void on_SymProdPreviewZoom_valueChanged(int value);
    void on_ResultRemoveSelectedButton_clicked();
    void on_ResultClearButton_clicked();
    void on_ResultCalculateButton_clicked();
    void on_ResultOverlayZoom_valueChanged(int value);
    void on_loadSettingsButton_clicked();
    void on_SaveSettingsButton_clicked();
    void on_LoadProjectButton_clicked();
    void on_SaveProjectButton_clicked();
    void on_FFTT2DisplayResButton_clicked();
    void on_FFTDWIDisplayResButton_clicked();
    void on_FFTADCDisplayResButton_clicked();
    void on_FFTZoomSlider_valueChanged(int value);
    void on_FFTZoomSliderDWI_valueChanged(int value);
    void on_FFTZoomSliderADC_valueChanged(int value);
    void on_FFTTreshT2Zoom_valueChanged(int value);
    void on_FFTTreshDWIZoom_valueChanged(int value);
    void on_FFTTreshADCZoom_valueChanged(int value);
    void on_FFTT2DisplayFFTButton_clicked();
    void on_FFTDWIDisplayFFTButton_clicked();
    void on_FFTADCDisplayFFTButton_clicked();
    void on_FFTT2DisplayTreshButton_clicked();
    void on_FFTDWIDisplayTreshButton_clicked();
    void on_FFTADCDisplayTreshButton_clicked();
    void on_ResultAutoCorrectBaseCombo_activated(int index);
    void on_determinePathologyButton_clicked();
    void on_evalViewZoom_valueChanged(int value);

private:
    // Analysis (MainWindowAnalysis.cpp and the feature slot files).
    kelvara::AOIImages currentAOIImages();
    // Automatic bounds the chain computed go back into their spin boxes (whose slots run).
    void showAutomaticBounds(const kelvara::ControlValues& c);
    void prepareT2Threshold();
    void prepareDWIThreshold();
    void prepareADCThreshold();
    void showThreshold(kelvara::Modality m);
    QImage filterT2Image();
    QImage filterDWIImage();
    QImage filterADCImage();
    void prepareMasks(QImage& maskInputDWI, QImage& maskInputADC);
    void showSurface(Dual2D3DView& view, const double* const* values, double yMax,
                     bool useInterval = false, double lo = 0.0, double hi = 0.0);
    void recalculateSymmetry();
    void refreshSymmetryInputs();
    void filterSymmetry();
    void setKernelShape(kelvara::Modality m, int index);
    // Settings and project files (MainWindowFiles.cpp).
    void applyStoredFile(const kelvara::StoredFile& file);
    // At start-up a missing config.cfg is the first start, not a fault.
    void loadSettingsFile(bool quietWhenMissing);
    // The values a load changed, in one panel that each load refills (hidden after a clean
    // load).
    void showLoadFindings(const QString& path, const QList<kelvara::LoadFinding>& findings);

    // What the window says about its state (MainWindow.cpp).
    void queueCutoffNotice();
    QList<AbstractView*> resultViews();
    // After a load replaced an input: every result shown so far belongs to the old images.
    void markResultsStale();
    void showProjectName(const QString& path);
    // A statistic as a label shows it; NaN (nothing to average) says so.
    static QString statisticText(double value);

    // Case loading, overlay registration and the AOI (MainWindowInput.cpp).
    // Returns what the status bar says about the load (empty when all went well).
    QString loadModalityImage(kelvara::Modality m, const kelvara::ImageSource& source);

    // Series input (MainWindowSeries.cpp): a folder per modality, a slice per modality, the
    // scales from the pixel spacings.
    void buildSeriesControls();
    void loadSeriesFolder(kelvara::Modality m);
    void chooseSlice(kelvara::Modality m, int slice);
    void showSliceChoice(kelvara::Modality m);
    void applyAutomaticScales();
    bool applyAutomaticScale(kelvara::Modality m);
    bool automaticScaleInUse(kelvara::Modality m) const;
    QDoubleSpinBox* scaleBox(kelvara::Modality m) const;
    // The AOI size and position of the controls into the case and the overlay.
    void applyAOISize();
    void applyAOIPosition();
    // Called after every AOI size change and at start-up.
    void resizeSymmetryEngine();

    // Viewing aids (MainWindowViewing.cpp): mouse zoom and fit, the status bar readout, the
    // AOI in numbers and by mouse, a window that fits a laptop screen.
    void setUpViewingAids();
    void fitToSmallScreens();
    void zoomByWheel(AbstractView& view, QSlider* slider, int angle);
    void frameAOI(AbstractView& view, QSlider* slider);
    void dragAOI(QPointF centre);
    void showAOIGeometry();

    std::unique_ptr<Ui::MainWindow> ui;
    QLabel* viewReadout = nullptr;
    QLabel* aoiSizeLabel = nullptr;
    QLabel* aoiPositionLabel = nullptr;

    // 2D/3D result views: raw and smooth symmetries, product, solution, evaluation.
    Dual2D3DView rawSymmetryT2View, rawSymmetryDWIView, rawSymmetryADCView;
    Dual2D3DView smoothSymmetryT2View, smoothSymmetryDWIView, smoothSymmetryADCView;
    Dual2D3DView symmetryProductView;
    ResultView solutionView;
    ResultView evaluationView;
    OverlayView overlayView;
    T2_View symmetryAOIT2View;
    T2_View fftThresholdT2View, fftThresholdDWIView, fftThresholdADCView;
    T2_View fftFilterT2View, fftFilterDWIView, fftFilterADCView;
    MaskView dwiAOIView, symmetryAOIDWIView, dwiMaskView, dwiSymMaskView;
    MaskView adcAOIView, symmetryAOIADCView, adcMaskView, adcSymMaskView;

    ResultMatrix productMatrix, solutionMatrix, nonMaskedMatrix;
    SymmetryEngine symmetryEngine;

    // The loaded images with their files, scales and the AOI: what the scenes show and the
    // analysis cuts from.
    kelvara::CaseImages caseImages;

    // Spectrum threshold values and the solution's non-masked average: bases of the automatic
    // intervals.
    kelvara::IntervalBases intervalBases;

    // The analysis chain over the members above: slots read the controls, run it, show results.
    kelvara::AnalysisChain chain;

    QString baseTitle;
    std::array<QSpinBox*, 3> sliceBoxes{};
    std::array<QLabel*, 3> slicePositions{};
    // The scale the automatic scale last set per modality; NaN when it was not used.
    std::array<double, 3> automaticScales{};
    bool cutoffNoticePending = false;
    QDialog* findingsPanel = nullptr; // made by the first load that changes values
};
