#pragma once

#include "T2_View.h"

#include <QPointer>
#include <QWidget>
#include <QtDataVisualization/Q3DSurface>

#include <vector>

class QBoxLayout;
class QComboBox;
class QPushButton;

// A result shown twice: as the grey image of T2_View and as a height field in a 3D surface
// graph placed next to it, with a camera combo box and a save button for the rendering (the
// graph is left out where none can be drawn).
class Dual2D3DView : public T2_View
{
    Q_OBJECT
public:
    // Side of the AOI canvas whose columns setSurfaceData reads.
    static constexpr int kCanvasSize = 512;

    Dual2D3DView();
    ~Dual2D3DView() override;

    // Embeds the graph into `layout` (owned by `parent` from then on), fills the camera combo
    // and wires it and the save button. Null combo or button are simply left out.
    void attachGraph(QWidget* parent, QBoxLayout* layout, QComboBox* cameraCombo,
                     QPushButton* saveButton);

    // Indexes of the camera combo; others (including -1) change nothing.
    void setCameraPreset(int index);

    // Shown in the camera combo, after the presets, while the camera is where the user's mouse
    // turned it rather than at a preset.
    static QString customCameraText() { return QStringLiteral("Custom view"); }

    // One surface row per canvas column of the AOI box, one point per canvas row. `values`
    // holds kCanvasSize column pointers of kCanvasSize values; boxes reaching beyond the canvas
    // are clipped to it.
    void setSurfaceData(const double* const* values, int halfWidth, int height, double yMin,
                        double yMax, bool useInterval, double lo, double hi);

    // A new image: the plane values of the previous one no longer belong to it.
    void setImage(const QImage& image) override;
    // The plane value under `p` while the image has one (setSurfaceData), else the grey level.
    QString readout(QPointF p) const override;

    // The graph goes grey with the 2D view, and back to its colours with new data.
    void setStale(bool stale, const QString& caption = QString()) override;

    // Same as MaskView: the shown pixmap, without zoom and midline.
    void save2DImage() override;
    void save3DImage();

    // Null where no 3D graph can be drawn (graphsUnavailableReason).
    Q3DSurface* surfaceGraph() const { return graph; }
    QWidget* container() const { return graphContainer; }

    static QStringList cameraTexts();

    // "3D view unavailable: no OpenGL context" (and the like) where this process cannot draw a
    // 3D graph; empty where it can. Found out once, before the first graph is made: each graph
    // area then shows the text instead of a graph, and the rest of the window works as always.
    static QString graphsUnavailableReason();

private:
    void setGraphGrey(bool grey);
    void chooseCameraPreset(int index);
    void cameraTurned();

    QPointer<Q3DSurface> graph;
    QPointer<QWidget> graphContainer;
    QPointer<QComboBox> camera;
    // Set while a preset moves the camera, so that move is not taken for the user's.
    bool applyingPreset = false;
    // The plane behind the shown image, column by column (kCanvasSize x kCanvasSize); empty
    // when the image has none.
    std::vector<double> plane;
};
