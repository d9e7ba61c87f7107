// The 2D/3D view: surface building from canvas columns (shape, coordinates, single-precision
// interval, clipping of oversize boxes), the placeholder surface, the camera presets and their
// combo box, and both PNG saves through the dialog seam. Needs OpenGL: run under xvfb-run.
#include "Dialogs.h"
#include "Dual2D3DView.h"
#include "MidLinePixmapItem.h"

#include <QComboBox>
#include <QGraphicsView>
#include <QHBoxLayout>
#include <QPushButton>
#include <QtDataVisualization/Q3DCamera>
#include <QtDataVisualization/Q3DScene>
#include <QtDataVisualization/Q3DSurface>
#include <QtDataVisualization/Q3DTheme>
#include <QtDataVisualization/QSurface3DSeries>
#include <QtDataVisualization/QSurfaceDataProxy>
#include <QtDataVisualization/QValue3DAxis>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

constexpr int kCanvas = 512;

// A canvas whose columns are separate heap blocks and whose column table has exactly 512
// entries, so the sanitizer build flags any read past a column or past the last column.
class Canvas
{
public:
    explicit Canvas(double (*value)(int x, int y))
        : columns(kCanvas), table(std::make_unique<const double*[]>(kCanvas))
    {
        for (int x = 0; x < kCanvas; ++x) {
            columns[x] = std::make_unique<double[]>(kCanvas);
            for (int y = 0; y < kCanvas; ++y)
                columns[x][y] = value(x, y);
            table[x] = columns[x].get();
        }
    }
    const double* const* values() const { return table.get(); }

private:
    std::vector<std::unique_ptr<double[]>> columns;
    std::unique_ptr<const double*[]> table;
};

// Every cell tells where it is: exact in single precision for the whole canvas.
double position(int x, int y)
{
    return x * 1000.0 + y;
}

QSurfaceDataProxy* proxyOf(const Dual2D3DView& v)
{
    return v.surfaceGraph()->seriesList().at(0)->dataProxy();
}

QImage greyRamp(int w, int h)
{
    QImage img(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.scanLine(y)[x] = uchar((x * 5 + y * 11) & 0xFF);
    return img;
}

} // namespace

class TestDual2D3DView : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    // Graphs are expensive under software OpenGL: one plain and one attached view serve all.
    std::unique_ptr<Dual2D3DView> plain;
    std::unique_ptr<QWidget> window;
    QHBoxLayout* placeholder = nullptr;
    QComboBox* combo = nullptr;
    QPushButton* save3D = nullptr;
    QPushButton* save2D = nullptr;
    std::unique_ptr<QGraphicsView> view2D;
    std::unique_ptr<Dual2D3DView> attached;

    Q3DCamera* camera() const { return attached->surfaceGraph()->scene()->activeCamera(); }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        plain = std::make_unique<Dual2D3DView>();

        window = std::make_unique<QWidget>();
        auto* outer = new QVBoxLayout(window.get());
        placeholder = new QHBoxLayout();
        combo = new QComboBox(window.get());
        save3D = new QPushButton(window.get());
        save2D = new QPushButton(window.get());
        view2D = std::make_unique<QGraphicsView>();
        // As in the window's 3D tabs: controls on top, the placeholder takes the rest.
        outer->addWidget(combo);
        outer->addLayout(placeholder, 1);
        attached = std::make_unique<Dual2D3DView>();
        attached->attachGraph(window.get(), placeholder, combo, save3D);
        attached->attachView(view2D.get(), save2D);
        window->resize(320, 400);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }

    void cleanupTestCase()
    {
        attached.reset();
        window.reset(); // the container, and with it the attached graph
        plain.reset();
    }

    void cleanup() { kelvara::Dialogs::resetHandlers(); }

    void placeholderSurface_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("point");
        QTest::addColumn<float>("x");
        QTest::addColumn<float>("y");
        QTest::addColumn<float>("z");
        QTest::newRow("first corner") << 0 << 0 << -10.0f << 0.5001510f << -10.0f;
        QTest::newRow("off the diagonal") << 49 << 50 << 0.10101f << 1.9901382f << -0.1010102f;
        QTest::newRow("inner point") << 23 << 71 << 4.3434342f << 0.5220327f << -5.3535354f;
        QTest::newRow("last corner") << 99 << 99 << 10.0f << 0.5001510f << 10.0f;
    }
    void placeholderSurface()
    {
        QFETCH(int, row);
        QFETCH(int, point);
        QFETCH(float, x);
        QFETCH(float, y);
        QFETCH(float, z);
        const QSurfaceDataProxy* proxy = proxyOf(*plain);
        QCOMPARE(proxy->rowCount(), 100);
        QCOMPARE(proxy->columnCount(), 100);
        const QVector3D p = proxy->itemAt(row, point)->position();
        QVERIFY2(qAbs(p.x() - x) < 1e-5f, qPrintable(QString::number(p.x())));
        QVERIFY2(qAbs(p.y() - y) < 1e-5f, qPrintable(QString::number(p.y())));
        QVERIFY2(qAbs(p.z() - z) < 1e-5f, qPrintable(QString::number(p.z())));
    }

    void graphAppearance()
    {
        Q3DSurface* g = plain->surfaceGraph();
        QCOMPARE(g->seriesList().size(), 1);
        const QSurface3DSeries* s = g->seriesList().at(0);
        QCOMPARE(s->colorStyle(), Q3DTheme::ColorStyleRangeGradient);
        const QGradientStops stops = s->baseGradient().stops();
        QCOMPARE(stops.size(), 4);
        const QGradientStops expected = {{0.0, QColor(Qt::blue)},
                                         {0.2, QColor(Qt::green)},
                                         {0.67, QColor(Qt::red)},
                                         {1.0, QColor(Qt::yellow)}};
        QCOMPARE(stops, expected);
        QCOMPARE(g->shadowQuality(), QAbstract3DGraph::ShadowQualityNone);
        QVERIFY(!g->activeTheme()->isGridEnabled());
        QCOMPARE(g->activeTheme()->gridLineColor(), QColor(Qt::blue));
        QCOMPARE(g->axisX()->labelFormat(), QString(""));
        QCOMPARE(g->axisY()->labelFormat(), QString(""));
        QCOMPARE(g->axisZ()->labelFormat(), QString(""));
        QVERIFY(!plain->container()); // never attached
    }

    void surfaceShape_data()
    {
        QTest::addColumn<int>("halfWidth");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("firstColumn");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("points");
        QTest::newRow("50 x 50") << 50 << 50 << 206 << 100 << 231 << 50;
        QTest::newRow("odd height truncates") << 10 << 51 << 246 << 20 << 231 << 50;
        QTest::newRow("height 1 is empty") << 50 << 1 << 0 << 0 << 0 << 0;
        QTest::newRow("half-width 0 is empty") << 0 << 50 << 0 << 0 << 0 << 0;
        QTest::newRow("negative sizes are empty") << -5 << -40 << 0 << 0 << 0 << 0;
        QTest::newRow("whole canvas") << 256 << 512 << 0 << 512 << 0 << 512;
        QTest::newRow("wider than the canvas") << 300 << 20 << 0 << 512 << 246 << 20;
        QTest::newRow("taller than the canvas") << 8 << 700 << 248 << 16 << 0 << 512;
        QTest::newRow("largest box") << 1000 << 1000 << 0 << 512 << 0 << 512;
    }
    void surfaceShape()
    {
        QFETCH(int, halfWidth);
        QFETCH(int, height);
        QFETCH(int, firstColumn);
        QFETCH(int, rows);
        QFETCH(int, firstRow);
        QFETCH(int, points);
        static const Canvas canvas(position);
        plain->setSurfaceData(canvas.values(), halfWidth, height, 0.0, 255.0, false, 0.0, 0.0);
        const QSurfaceDataArray* array = proxyOf(*plain)->array();
        QCOMPARE(array->size(), rows);
        for (int r = 0; r < rows; ++r) {
            const QSurfaceDataRow& row = *array->at(r);
            QCOMPARE(row.size(), points);
            const int x = firstColumn + r;
            for (int p = 0; p < points; ++p) {
                const int y = firstRow + p;
                // Canvas row along x, value up, canvas column along z.
                if (row.at(p).position() != QVector3D(float(y), float(position(x, y)), float(x)))
                    QFAIL(qPrintable(QString("row %1 point %2").arg(r).arg(p)));
            }
        }
    }

    void interval_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("useInterval");
        QTest::addColumn<double>("lo");
        QTest::addColumn<double>("hi");
        QTest::addColumn<float>("height");
        // 0.8f is 0.800000012, above the double 0.8; 0.5 is exact in both precisions.
        QTest::newRow("0.8 above its own high bound") << 0.8 << true << 0.0 << 0.8 << 0.0f;
        QTest::newRow("0.5 on the high bound stays") << 0.5 << true << 0.0 << 0.5 << 0.5f;
        QTest::newRow("low bound is inside") << 0.25 << true << 0.25 << 1.0 << 0.25f;
        // 0.7f is 0.699999988, below the double 0.7.
        QTest::newRow("0.7 below its own low bound") << 0.7 << true << 0.7 << 1.0 << 0.0f;
        QTest::newRow("below the interval") << 0.1 << true << 0.2 << 0.9 << 0.0f;
        QTest::newRow("above the interval") << 0.95 << true << 0.2 << 0.9 << 0.0f;
        QTest::newRow("inside") << 0.6 << true << 0.2 << 0.9 << 0.6f;
        QTest::newRow("interval off keeps everything") << 0.95 << false << 0.2 << 0.9 << 0.95f;
        QTest::newRow("values above 1 are not limited") << 2.5 << false << 0.0 << 1.0 << 2.5f;
    }
    void interval()
    {
        QFETCH(double, value);
        QFETCH(bool, useInterval);
        QFETCH(double, lo);
        QFETCH(double, hi);
        QFETCH(float, height);
        std::vector<double> column(kCanvas, value);
        std::vector<const double*> table(kCanvas, column.data());
        plain->setSurfaceData(table.data(), 2, 4, 0.0, 1.0, useInterval, lo, hi);
        const QSurfaceDataArray* array = proxyOf(*plain)->array();
        QCOMPARE(array->size(), 4);
        for (const QSurfaceDataRow* row : *array) {
            QCOMPARE(row->size(), 4);
            for (const QSurfaceDataItem& item : *row)
                QCOMPARE(item.y(), height);
        }
    }

    void yRange_data()
    {
        QTest::addColumn<double>("yMin");
        QTest::addColumn<double>("yMax");
        QTest::newRow("symmetry") << 0.0 << 255.0;
        QTest::newRow("product") << 0.0 << 1.0;
        QTest::newRow("off-centre") << -3.5 << 17.25;
    }
    void yRange()
    {
        QFETCH(double, yMin);
        QFETCH(double, yMax);
        // No value comes near either end: the range is what was asked for, not what fits.
        std::vector<double> column(kCanvas, 0.3);
        std::vector<const double*> table(kCanvas, column.data());
        plain->setSurfaceData(table.data(), 20, 20, yMin, yMax, false, 0.0, 0.0);
        QCOMPARE(plain->surfaceGraph()->axisY()->min(), float(yMin));
        QCOMPARE(plain->surfaceGraph()->axisY()->max(), float(yMax));
    }

    void nullValuesGiveEmptySurface()
    {
        plain->setSurfaceData(nullptr, 50, 50, 0.0, 1.0, false, 0.0, 0.0);
        QCOMPARE(proxyOf(*plain)->rowCount(), 0);
    }

    void attachment()
    {
        QWidget* c = attached->container();
        QVERIFY(c);
        QCOMPARE(c->parentWidget(), window.get());
        const int at = placeholder->indexOf(c);
        QVERIFY(at >= 0);
        QCOMPARE(placeholder->stretch(at), 0);
        QVERIFY(attached->surfaceGraph()->isVisible());
        QCOMPARE(combo->count(), 7);
        QCOMPARE(combo->currentIndex(), 6);
        QCOMPARE(combo->itemText(0), QStringLiteral("Camera Front"));
        QCOMPARE(combo->itemText(4), QStringLiteral("Camera Isometric Behind"));
        QCOMPARE(combo->itemText(6), QStringLiteral("Camera Directly Above"));
        QCOMPARE(camera()->xRotation(), -90.0f);
        QVERIFY(attached->surfaceGraph()->isOrthoProjection());
    }

    void cameraPresets_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("preset");
        QTest::newRow("Camera Front") << 0 << int(Q3DCamera::CameraPresetRight);
        QTest::newRow("Camera Left") << 1 << int(Q3DCamera::CameraPresetFront);
        QTest::newRow("Camera Right") << 2 << int(Q3DCamera::CameraPresetBehind);
        QTest::newRow("Camera Behind") << 3 << int(Q3DCamera::CameraPresetLeft);
        QTest::newRow("Camera Isometric Behind") << 4 << int(Q3DCamera::CameraPresetIsometricLeft);
        QTest::newRow("Camera Isometric Front") << 5 << int(Q3DCamera::CameraPresetIsometricRight);
    }
    void cameraPresets()
    {
        QFETCH(int, index);
        QFETCH(int, preset);
        attached->setCameraPreset(6);
        attached->setCameraPreset(index);
        QCOMPARE(int(camera()->cameraPreset()), preset);
        QVERIFY(!attached->surfaceGraph()->isOrthoProjection());

        // Back to the view from above: rotation and projection restored.
        attached->setCameraPreset(6);
        QCOMPARE(camera()->xRotation(), -90.0f);
        QVERIFY(attached->surfaceGraph()->isOrthoProjection());

        // Indexes outside the table leave the camera alone.
        attached->setCameraPreset(index);
        for (int bad : {-1, 7, 100}) {
            attached->setCameraPreset(bad);
            QCOMPARE(int(camera()->cameraPreset()), preset);
            QVERIFY(!attached->surfaceGraph()->isOrthoProjection());
        }
    }

    void comboDrivesCameraOnlyOnActivation()
    {
        attached->setCameraPreset(6);
        combo->setCurrentIndex(6);
        combo->setCurrentIndex(0); // programmatic: no camera change
        QCOMPARE(camera()->xRotation(), -90.0f);
        QVERIFY(attached->surfaceGraph()->isOrthoProjection());

        combo->setFocus();
        QTest::keyClick(combo, Qt::Key_Down); // the user picks "Camera Left"
        QCOMPARE(combo->currentIndex(), 1);
        QCOMPARE(camera()->cameraPreset(), Q3DCamera::CameraPresetFront);
        QVERIFY(!attached->surfaceGraph()->isOrthoProjection());

        emit combo->activated(6);
        QCOMPARE(camera()->xRotation(), -90.0f);
        QVERIFY(attached->surfaceGraph()->isOrthoProjection());
    }

    void saveGraph_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::newRow("saved") << false;
        QTest::newRow("cancelled") << true;
    }
    void saveGraph()
    {
        QFETCH(bool, cancel);
        const QString file = dir.filePath(cancel ? "graph-cancelled.png" : "graph.png");
        QString caption, start, filter;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget* parent, const QString& c, const QString& d, const QString& f) {
                caption = c;
                start = d;
                filter = f;
                return parent || cancel ? QString() : file;
            });
        attached->setCameraPreset(5);
        save3D->click();
        QCOMPARE(caption, QStringLiteral("Save graph"));
        QCOMPARE(start, QStringLiteral("."));
        QCOMPARE(filter, QStringLiteral("PNG files (*.png)"));
        QCOMPARE(QFile::exists(file), !cancel);
        if (cancel)
            return;
        const QImage back(file);
        const QSize expected =
            attached->surfaceGraph()->size() * attached->surfaceGraph()->devicePixelRatio();
        QVERIFY(expected.width() > 100 && expected.height() > 100);
        QCOMPARE(back.size(), expected);
        // Something was drawn: a rendering is not one flat colour.
        const QRgb first = back.pixel(0, 0);
        bool varied = false;
        for (int y = 0; y < back.height() && !varied; y += 3)
            for (int x = 0; x < back.width() && !varied; x += 3)
                varied = back.pixel(x, y) != first;
        QVERIFY(varied);
    }

    void saveImage_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::newRow("saved") << false;
        QTest::newRow("cancelled") << true;
    }
    void saveImage()
    {
        QFETCH(bool, cancel);
        const QString file = dir.filePath(cancel ? "image-cancelled.png" : "image.png");
        QString caption, start, filter;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget* parent, const QString& c, const QString& d, const QString& f) {
                caption = c;
                start = d;
                filter = f;
                return parent || cancel ? QString() : file;
            });
        const QImage img = greyRamp(40, 30);
        attached->setImage(img);
        attached->setMidlineVisible(true);
        attached->scaleImage(2.0);
        attached->setZoom(300);
        save2D->click(); // the button reaches this class's override
        QCOMPARE(caption, QStringLiteral("Save image"));
        QCOMPARE(start, QStringLiteral("."));
        QCOMPARE(filter, QStringLiteral("PNG files (*.png)"));
        QCOMPARE(QFile::exists(file), !cancel);
        if (cancel)
            return;
        const QImage back(file);
        QCOMPARE(back.size(), QSize(80, 60));   // shown size, not zoomed
        for (int y = 0; y < back.height(); ++y) // no midline
            QCOMPARE(qGray(back.pixel(40, y)), qGray(img.pixel(20, y / 2)));
    }
};

QTEST_MAIN(TestDual2D3DView)
#include "test_dual2d3dview.moc"
