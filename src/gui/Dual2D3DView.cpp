#include "Dual2D3DView.h"

#include "ImageSaving.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLinearGradient>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QPushButton>
#include <QtDataVisualization/Q3DCamera>
#include <QtDataVisualization/Q3DScene>
#include <QtDataVisualization/Q3DSurface>
#include <QtDataVisualization/Q3DTheme>
#include <QtDataVisualization/QSurface3DSeries>
#include <QtDataVisualization/QSurfaceDataProxy>
#include <QtDataVisualization/QValue3DAxis>

#include <algorithm>
#include <cmath>

namespace {

// Entries of the camera combo that are presets; a custom entry may follow them.
constexpr int kPresetCount = 7;

// A sinc-like bump shown until the first result arrives. Single precision throughout, so the
// grid lands exactly where the float arithmetic puts it (the last step stops just short of 10).
QSurfaceDataArray* placeholderSurface()
{
    constexpr int kPoints = 100;
    constexpr float kStep = 0.2020202f;
    auto* array = new QSurfaceDataArray;
    array->reserve(kPoints);
    for (int i = 0; i < kPoints; ++i) {
        const float z = std::min(float(i) * kStep - 10.0f, 10.0f);
        auto* row = new QSurfaceDataRow(kPoints);
        for (int j = 0; j < kPoints; ++j) {
            const float x = std::min(float(j) * kStep - 10.0f, 10.0f);
            const float r = std::sqrt(x * x + z * z) + 0.01f;
            const float y = (std::sin(r) / r + 0.24f) * 1.61f;
            (*row)[j].setPosition(QVector3D(x, y, z));
        }
        *array << row;
    }
    return array;
}

// Why no 3D graph can be drawn here, empty when one can. Q3DSurface does not check this itself:
// without an OpenGL context its constructor crashes, and on a platform that draws nowhere its
// first rendering does.
QString probeGraphs()
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal"))
        return QStringLiteral("no OpenGL window on the '%1' platform").arg(platform);
    QOpenGLContext context;
    if (!context.create())
        return QStringLiteral("no OpenGL context");
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return QStringLiteral("no OpenGL context can be made current");
    context.doneCurrent();
    return QString();
}

} // namespace

QString Dual2D3DView::graphsUnavailableReason()
{
    static const QString reason = probeGraphs();
    return reason.isEmpty() ? reason : QStringLiteral("3D view unavailable: ") + reason;
}

Dual2D3DView::Dual2D3DView()
{
    if (!graphsUnavailableReason().isEmpty())
        return;
    graph = new Q3DSurface();
    auto* series = new QSurface3DSeries();
    QLinearGradient gradient;
    gradient.setColorAt(0.0, Qt::blue);
    gradient.setColorAt(0.2, Qt::green);
    gradient.setColorAt(0.67, Qt::red);
    gradient.setColorAt(1.0, Qt::yellow);
    series->dataProxy()->resetArray(placeholderSurface());
    series->setBaseGradient(gradient);
    series->setColorStyle(Q3DTheme::ColorStyleRangeGradient);
    graph->addSeries(series);

    graph->setShadowQuality(QAbstract3DGraph::ShadowQualityNone);
    graph->activeTheme()->setGridEnabled(false);
    graph->activeTheme()->setGridLineColor(Qt::blue);

    // No axis labels: the numbers on a symmetry height field mean nothing to the reader.
    graph->axisX()->setLabelFormat(QString(""));
    graph->axisY()->setLabelFormat(QString(""));
    graph->axisZ()->setLabelFormat(QString(""));
    // The titles do tell which way is which: setSurfaceData puts the image row on x and the
    // image column on z.
    graph->axisX()->setTitle(QStringLiteral("image row"));
    graph->axisY()->setTitle(QStringLiteral("value"));
    graph->axisZ()->setTitle(QStringLiteral("image column"));
    for (QValue3DAxis* axis : {graph->axisX(), graph->axisY(), graph->axisZ()})
        axis->setTitleVisible(true);
    // Without labels only the titles have a frame, which makes them harder to read.
    graph->activeTheme()->setLabelBorderEnabled(false);
}

Dual2D3DView::~Dual2D3DView()
{
    // Once embedded, the container owns the graph; a graph that was never attached (the
    // evaluation view's) is ours to release.
    if (!graphContainer)
        delete graph.data();
}

QStringList Dual2D3DView::cameraTexts()
{
    // Named after the viewpoint on the image, not after the preset: the surface's x axis runs
    // along image rows.
    return {QStringLiteral("Camera Front"),
            QStringLiteral("Camera Left"),
            QStringLiteral("Camera Right"),
            QStringLiteral("Camera Behind"),
            QStringLiteral("Camera Isometric Behind"),
            QStringLiteral("Camera Isometric Front"),
            QStringLiteral("Camera Directly Above")};
}

void Dual2D3DView::attachGraph(QWidget* parent, QBoxLayout* layout, QComboBox* cameraCombo,
                               QPushButton* saveButton)
{
    if (graphContainer)
        return;
    if (!graph) {
        // The area says why it stays empty; the controls of a graph that is not there are off.
        const QString reason = graphsUnavailableReason();
        if (reason.isEmpty())
            return;
        auto* label = new QLabel(reason, parent);
        label->setObjectName(QStringLiteral("graphUnavailable"));
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        label->setMinimumWidth(120);
        if (layout)
            layout->addWidget(label, 0);
        for (QWidget* w : {static_cast<QWidget*>(cameraCombo), static_cast<QWidget*>(saveButton)})
            if (w) {
                w->setEnabled(false);
                w->setToolTip(reason);
            }
        return;
    }
    graphContainer = QWidget::createWindowContainer(graph, parent);
    if (layout)
        layout->addWidget(graphContainer, 0);

    if (cameraCombo) {
        // Filled and set before connecting: the start-up index must not move the camera.
        for (const QString& text : cameraTexts())
            cameraCombo->addItem(text);
        cameraCombo->setCurrentIndex(6);
        camera = cameraCombo;
        connect(cameraCombo, &QComboBox::activated, this, &Dual2D3DView::chooseCameraPreset);
    }
    if (saveButton)
        connect(saveButton, &QPushButton::clicked, this, &Dual2D3DView::save3DImage);

    Q3DCamera* activeCamera = graph->scene()->activeCamera();
    activeCamera->setCameraPreset(Q3DCamera::CameraPresetDirectlyAbove);
    activeCamera->setXRotation(-90.0f);
    graph->setOrthoProjection(true);
    connect(activeCamera, &Q3DCamera::xRotationChanged, this, &Dual2D3DView::cameraTurned);
    connect(activeCamera, &Q3DCamera::yRotationChanged, this, &Dual2D3DView::cameraTurned);
    graph->show();
}

void Dual2D3DView::chooseCameraPreset(int index)
{
    // Back at a preset: the custom entry goes until the user turns the camera again.
    if (camera && index >= 0 && index < kPresetCount && camera->count() > kPresetCount)
        camera->removeItem(camera->count() - 1);
    setCameraPreset(index);
}

void Dual2D3DView::cameraTurned()
{
    if (applyingPreset || !camera)
        return;
    if (camera->count() == kPresetCount)
        camera->addItem(customCameraText());
    camera->setCurrentIndex(camera->count() - 1);
}

void Dual2D3DView::setCameraPreset(int index)
{
    static const Q3DCamera::CameraPreset presets[] = {
        Q3DCamera::CameraPresetRight,         Q3DCamera::CameraPresetFront,
        Q3DCamera::CameraPresetBehind,        Q3DCamera::CameraPresetLeft,
        Q3DCamera::CameraPresetIsometricLeft, Q3DCamera::CameraPresetIsometricRight,
        Q3DCamera::CameraPresetDirectlyAbove};
    if (!graph || index < 0 || index > 6)
        return;
    applyingPreset = true;
    Q3DCamera* activeCamera = graph->scene()->activeCamera();
    activeCamera->setCameraPreset(presets[index]);
    if (index == 6) {
        // Looking straight down at the image, rows left to right as in the 2D view.
        activeCamera->setXRotation(-90.0f);
        graph->setOrthoProjection(true);
    } else {
        graph->setOrthoProjection(false);
    }
    applyingPreset = false;
}

void Dual2D3DView::setSurfaceData(const double* const* values, int halfWidth, int height,
                                  double yMin, double yMax, bool useInterval, double lo, double hi)
{
    // Kept whole for the readout: the 2D image shows the entire canvas, not only the box. The
    // 2D view reads it with or without a graph.
    if (values) {
        plane.resize(std::size_t(kCanvasSize) * kCanvasSize);
        for (int x = 0; x < kCanvasSize; ++x)
            std::copy(values[x], values[x] + kCanvasSize, plane.begin() + std::ptrdiff_t(x) * kCanvasSize);
    } else {
        plane.clear();
    }
    if (!graph || graph->seriesList().isEmpty())
        return;

    constexpr int kCentre = kCanvasSize / 2;
    // The box is centred on the canvas; whatever of it lies outside the canvas has no values.
    const int halfHeight = height / 2;
    const int x0 = std::max(0, kCentre - std::max(halfWidth, 0));
    const int x1 = std::min(kCanvasSize, kCentre + std::max(halfWidth, 0));
    const int y0 = std::max(0, kCentre - std::max(halfHeight, 0));
    const int y1 = std::min(kCanvasSize, kCentre + std::max(halfHeight, 0));

    auto* array = new QSurfaceDataArray;
    if (values && x1 > x0 && y1 > y0) {
        array->reserve(x1 - x0);
        for (int x = x0; x < x1; ++x) {
            const double* column = values[x];
            auto* row = new QSurfaceDataRow(y1 - y0);
            for (int y = y0; y < y1; ++y) {
                float v = float(column[y]);
                // Compared as the float that is drawn, so 0.8 (stored as 0.800000012) lies
                // above a high bound of 0.8.
                if (useInterval && (double(v) < lo || double(v) > hi))
                    v = 0.0f;
                (*row)[y - y0].setPosition(QVector3D(float(y), v, float(x)));
            }
            *array << row;
        }
    }
    graph->seriesList().at(0)->dataProxy()->resetArray(array);
    graph->axisY()->setRange(float(yMin), float(yMax));
    setGraphGrey(false);
}

void Dual2D3DView::setImage(const QImage& image)
{
    plane.clear();
    T2_View::setImage(image);
}

QString Dual2D3DView::readout(QPointF p) const
{
    int x = 0;
    int y = 0;
    if (plane.empty() || !pixelAt(p, x, y) || x >= kCanvasSize || y >= kCanvasSize)
        return T2_View::readout(p);
    const double value = plane[std::size_t(x) * kCanvasSize + std::size_t(y)];
    return QStringLiteral("x %1, y %2: value %3").arg(x).arg(y).arg(QString::number(value, 'g', 6));
}

void Dual2D3DView::setStale(bool stale, const QString& caption)
{
    T2_View::setStale(stale, caption);
    setGraphGrey(stale);
}

void Dual2D3DView::setGraphGrey(bool grey)
{
    if (!graph || graph->seriesList().isEmpty())
        return;
    QSurface3DSeries* series = graph->seriesList().at(0);
    series->setBaseColor(Qt::gray);
    series->setColorStyle(grey ? Q3DTheme::ColorStyleUniform : Q3DTheme::ColorStyleRangeGradient);
}

void Dual2D3DView::save2DImage()
{
    saveShownImage();
}

void Dual2D3DView::save3DImage()
{
    if (graph)
        kelvara::saveImageAs(nullptr, QStringLiteral("Save graph"), graph->renderToImage(0));
}
