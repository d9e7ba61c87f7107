// Viewing aids: Ctrl + wheel zoom and double-click framing in every 2D view, the readout of
// the value under the mouse, the AOI in numbers and by mouse, and a window that fits a laptop.
#include "MainWindow.h"

#include "ui_MainWindow.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsView>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>

#include <algorithm>
#include <cmath>

namespace {

// Room left for the window manager's title bar and frame, which the window cannot measure
// before it is shown.
constexpr int kFrameAllowance = 40;

} // namespace

void MainWindow::setUpViewingAids()
{
    // Permanent: the messages the window shows with showMessage never hide it, nor it them.
    viewReadout = new QLabel(this);
    viewReadout->setObjectName(QStringLiteral("viewReadout"));
    viewReadout->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("ADC x 0000, y 0000: value 0.000000e-00")));
    ui->statusbar->addPermanentWidget(viewReadout);

    // Every 2D view with the zoom slider that drives it.
    const std::pair<AbstractView*, QSlider*> zoomed[] = {
        {&overlayView, ui->OverlayZoomSlider},
        {&fftThresholdT2View, ui->FFTTreshT2Zoom},
        {&fftThresholdDWIView, ui->FFTTreshDWIZoom},
        {&fftThresholdADCView, ui->FFTTreshADCZoom},
        {&fftFilterT2View, ui->FFTZoomSlider},
        {&fftFilterDWIView, ui->FFTZoomSliderDWI},
        {&fftFilterADCView, ui->FFTZoomSliderADC},
        {&dwiAOIView, ui->DWIZoomSlider},
        {&dwiMaskView, ui->DWIZoomSlider},
        {&dwiSymMaskView, ui->DWIZoomSlider},
        {&adcAOIView, ui->ADCZoomSlider},
        {&adcMaskView, ui->ADCZoomSlider},
        {&adcSymMaskView, ui->ADCZoomSlider},
        {&symmetryAOIT2View, ui->SymmetryAOIT2Zoom},
        {&symmetryAOIDWIView, ui->SymmetryAOIDWIZoom},
        {&symmetryAOIADCView, ui->SymmetryAOIADCZoom},
        {&rawSymmetryT2View, ui->T2RawSymZoom},
        {&rawSymmetryDWIView, ui->DWIRawSymZoom},
        {&rawSymmetryADCView, ui->ADCRawSymZoom},
        {&smoothSymmetryT2View, ui->T2SmoothSymZoom},
        {&smoothSymmetryDWIView, ui->DWISmoothSymZoom},
        {&smoothSymmetryADCView, ui->ADCSmoothSymZoom},
        {&symmetryProductView, ui->SymProdPreviewZoom},
        {&solutionView, ui->ResultOverlayZoom},
        {&evaluationView, ui->evalViewZoom},
    };
    for (const auto& [view, slider] : zoomed) {
        AbstractView* v = view;
        QSlider* s = slider;
        connect(v, &AbstractView::zoomStepRequested, this,
                [this, v, s](int angle) { zoomByWheel(*v, s, angle); });
        connect(v, &AbstractView::fitRequested, this, [this, v, s] { frameAOI(*v, s); });
        connect(v, &AbstractView::readoutChanged, viewReadout, &QLabel::setText);
    }
    connect(&overlayView, &OverlayView::aoiDragged, this, &MainWindow::dragAOI);

    // The AOI in numbers, beside the controls that set it.
    aoiSizeLabel = new QLabel(ui->groupBox_4);
    aoiSizeLabel->setObjectName(QStringLiteral("aoiSizeLabel"));
    ui->gridLayout_2->addWidget(aoiSizeLabel, 3, 0, 1, 3);
    aoiPositionLabel = new QLabel(ui->groupBox_8);
    aoiPositionLabel->setObjectName(QStringLiteral("aoiPositionLabel"));
    ui->gridLayout_1->addWidget(aoiPositionLabel, 2, 0, 1, 2);

    fitToSmallScreens();
}

// Sizes below are in pixels of the unzoomed image: x to the right, y up as the slider points.
void MainWindow::showAOIGeometry()
{
    if (aoiSizeLabel)
        aoiSizeLabel->setText(QStringLiteral("W x H = %1 x %2 px")
                                  .arg(caseImages.aoiWidth())
                                  .arg(caseImages.aoiHeight()));
    if (aoiPositionLabel)
        aoiPositionLabel->setText(QStringLiteral("AOI centre: x = %1, y = %2")
                                      .arg(ui->horizontalSlider->value())
                                      .arg(ui->verticalSlider->value()));
}

// The sliders place the AOI, so a drag goes through them: the same clamping, the same slots.
// Scene y grows downwards while the vertical slider points up.
void MainWindow::dragAOI(QPointF centre)
{
    ui->horizontalSlider->setValue(qRound(centre.x()));
    ui->verticalSlider->setValue(qRound(-centre.y()));
}

void MainWindow::zoomByWheel(AbstractView& view, QSlider* slider, int angle)
{
    if (angle == 0 || !view.graphicsView())
        return;
    // About a fifth per notch, at least one step, so small values still move.
    const int current = slider->value();
    int next = int(std::lround(current * std::pow(1.2, angle / 120.0)));
    if (next == current)
        next += angle > 0 ? 1 : -1;
    // The slider's slot zooms every view it drives; the one under the mouse keeps the point
    // under the mouse where it is.
    QGraphicsView* graphics = view.graphicsView();
    const QGraphicsView::ViewportAnchor anchor = graphics->transformationAnchor();
    graphics->setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    slider->setValue(next); // clamped to the slider's range
    graphics->setTransformationAnchor(anchor);
}

void MainWindow::frameAOI(AbstractView& view, QSlider* slider)
{
    QGraphicsView* graphics = view.graphicsView();
    if (!graphics)
        return;
    QRectF box;
    if (&view == &overlayView) {
        box = overlayView.aoiEllipse()->sceneBoundingRect();
    } else {
        // The AOI canvas: the box centred on pixel (256, 256).
        constexpr double kCentre = Dual2D3DView::kCanvasSize / 2;
        const double halfWidth = caseImages.boxHalfWidth();
        const double height = caseImages.boxHeight();
        box = QRectF(kCentre - halfWidth, kCentre - height / 2, 2 * halfWidth, height);
    }
    const QSize room = graphics->viewport()->size();
    if (box.width() <= 0 || box.height() <= 0 || room.isEmpty())
        return;
    // The largest slider value that still shows the whole box, within the slider's range.
    const double scale = std::min(room.width() / box.width(), room.height() / box.height());
    slider->setValue(std::clamp(int(std::floor(scale * 100.0)), slider->minimum(), slider->maximum()));
    graphics->centerOn(box.center());
}

namespace {

// A column of controls taller than a laptop screen scrolls on its own, beside its view.
void scrollVertically(QBoxLayout* layout, QWidget* column)
{
    auto* scroll = new QScrollArea(column->parentWidget());
    scroll->setObjectName(column->objectName() + QStringLiteral("ScrollArea"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->replaceWidget(column, scroll);
    scroll->setWidget(column);
    scroll->setMinimumWidth(column->minimumSizeHint().width() +
                            scroll->verticalScrollBar()->sizeHint().width());
}

} // namespace

// The form was drawn for a tall screen. The two tall columns of controls scroll beside their
// views, and the pages as a whole scroll when the window is smaller still, so every control
// stays reachable; the window opens no larger than the screen.
void MainWindow::fitToSmallScreens()
{
    scrollVertically(ui->horizontalLayout_1, ui->groupBox_7);
    scrollVertically(ui->horizontalLayout_66, ui->groupBox_50);

    auto* scroll = new QScrollArea(ui->centralwidget);
    scroll->setObjectName(QStringLiteral("tabScrollArea"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    ui->verticalLayout->replaceWidget(ui->tabWidget, scroll);
    scroll->setWidget(ui->tabWidget);

    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QSize available = screen->availableSize() - QSize(0, kFrameAllowance);
        resize(size().boundedTo(available));
    }
}
