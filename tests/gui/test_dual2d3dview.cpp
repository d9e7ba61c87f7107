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
// Every cell tells where it is: x * 1000 + y is exact in single precision.
struct Canvas
{
    std::vector<std::unique_ptr<double[]>> columns;
    std::unique_ptr<const double*[]> table = std::make_unique<const double*[]>(kCanvas);
    explicit Canvas(double uniform = -1)
    {
        for (int x = 0; x < kCanvas; ++x) {
            columns.push_back(std::make_unique<double[]>(kCanvas));
            for (int y = 0; y < kCanvas; ++y)
                columns[x][y] = uniform >= 0 ? uniform : x * 1000.0 + y;
            table[x] = columns[x].get();
        }
    }
};

QSurfaceDataProxy* proxyOf(const Dual2D3DView& v)
{
    return v.surfaceGraph()->seriesList().at(0)->dataProxy();
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
    QPushButton *save3D = nullptr, *save2D = nullptr;
    std::unique_ptr<QGraphicsView> view2D;
    std::unique_ptr<Dual2D3DView> attached;

    Q3DCamera* camera() const { return attached->surfaceGraph()->scene()->activeCamera(); }
    bool fromAbove() const
    {
        return camera()->xRotation() == -90.0f && attached->surfaceGraph()->isOrthoProjection();
    }

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

    void placeholderAndAppearance()
    {
        const QSurfaceDataProxy* proxy = proxyOf(*plain);
        QCOMPARE(proxy->rowCount(), 100);
        QCOMPARE(proxy->columnCount(), 100);
        const struct
        {
            int row, point;
            QVector3D p;
        } samples[] = {{0, 0, {-10.0f, 0.5001510f, -10.0f}},
                       {49, 50, {0.10101f, 1.9901382f, -0.1010102f}},
                       {23, 71, {4.3434342f, 0.5220327f, -5.3535354f}},
                       {99, 99, {10.0f, 0.5001510f, 10.0f}}};
        for (const auto& s : samples) {
            const QVector3D p = proxy->itemAt(s.row, s.point)->position();
            const QVector3D d = p - s.p;
            QVERIFY2(qMax(qMax(qAbs(d.x()), qAbs(d.y())), qAbs(d.z())) < 1e-5f,
                     qPrintable(QString("%1 %2").arg(s.row).arg(s.point)));
        }

        Q3DSurface* g = plain->surfaceGraph();
        QCOMPARE(g->seriesList().size(), 1);
        QCOMPARE(g->seriesList().at(0)->colorStyle(), Q3DTheme::ColorStyleRangeGradient);
        const QGradientStops stops = {
            {0.0, Qt::blue}, {0.2, Qt::green}, {0.67, Qt::red}, {1.0, Qt::yellow}};
        QCOMPARE(g->seriesList().at(0)->baseGradient().stops(), stops);
        QCOMPARE(g->shadowQuality(), QAbstract3DGraph::ShadowQualityNone);
        QVERIFY(!g->activeTheme()->isGridEnabled());
        QCOMPARE(g->activeTheme()->gridLineColor(), QColor(Qt::blue));
        for (QValue3DAxis* axis : {g->axisX(), g->axisY(), g->axisZ()})
            QCOMPARE(axis->labelFormat(), QString(""));
        QVERIFY(!plain->container()); // never attached
    }

    void surfaceShape_data()
    {
        // Box half-width and height; first canvas column, surface rows, first canvas row, points.
        QTest::addColumn<QVector<int>>("box");
        QTest::addColumn<QVector<int>>("surface");
        QTest::newRow("50 x 50") << QVector<int>{50, 50} << QVector<int>{206, 100, 231, 50};
        QTest::newRow("odd height truncates")
            << QVector<int>{10, 51} << QVector<int>{246, 20, 231, 50};
        QTest::newRow("height 1 is empty") << QVector<int>{50, 1} << QVector<int>{0, 0, 0, 0};
        QTest::newRow("half-width 0 is empty") << QVector<int>{0, 50} << QVector<int>{0, 0, 0, 0};
        QTest::newRow("negative sizes are empty")
            << QVector<int>{-5, -40} << QVector<int>{0, 0, 0, 0};
        QTest::newRow("whole canvas") << QVector<int>{256, 512} << QVector<int>{0, 512, 0, 512};
        QTest::newRow("wider than the canvas")
            << QVector<int>{300, 20} << QVector<int>{0, 512, 246, 20};
        QTest::newRow("taller than the canvas")
            << QVector<int>{8, 700} << QVector<int>{248, 16, 0, 512};
        QTest::newRow("largest box") << QVector<int>{1000, 1000} << QVector<int>{0, 512, 0, 512};
    }
    void surfaceShape()
    {
        QFETCH(QVector<int>, box);
        QFETCH(QVector<int>, surface);
        static const Canvas canvas;
        plain->setSurfaceData(canvas.table.get(), box[0], box[1], -3.5, 17.25, false, 0.0, 0.0);
        // No value comes near either end of the axis: its range is what was asked for.
        QCOMPARE(plain->surfaceGraph()->axisY()->min(), -3.5f);
        QCOMPARE(plain->surfaceGraph()->axisY()->max(), 17.25f);
        const QSurfaceDataArray* array = proxyOf(*plain)->array();
        QCOMPARE(array->size(), surface[1]);
        for (int r = 0; r < surface[1]; ++r) {
            QCOMPARE(array->at(r)->size(), surface[3]);
            for (int p = 0; p < surface[3]; ++p) {
                const int x = surface[0] + r, y = surface[2] + p;
                // Canvas row along x, value up, canvas column along z.
                if (array->at(r)->at(p).position() != QVector3D(y, x * 1000.0 + y, x))
                    QFAIL(qPrintable(QString("row %1 point %2").arg(r).arg(p)));
            }
        }
        plain->setSurfaceData(nullptr, 50, 50, 0.0, 1.0, false, 0.0, 0.0);
        QCOMPARE(proxyOf(*plain)->rowCount(), 0);
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
        const Canvas canvas(value);
        plain->setSurfaceData(canvas.table.get(), 2, 4, 0.0, 1.0, useInterval, lo, hi);
        QCOMPARE(plain->surfaceGraph()->axisY()->max(), 1.0f);
        const QSurfaceDataArray* array = proxyOf(*plain)->array();
        QCOMPARE(array->size(), 4);
        for (const QSurfaceDataRow* row : *array) {
            QCOMPARE(row->size(), 4);
            for (const QSurfaceDataItem& item : *row)
                QCOMPARE(item.y(), height);
        }
    }

    void attachmentAndCamera()
    {
        QWidget* c = attached->container();
        QVERIFY(c);
        QCOMPARE(c->parentWidget(), window.get());
        QVERIFY(placeholder->indexOf(c) >= 0);
        QCOMPARE(placeholder->stretch(placeholder->indexOf(c)), 0);
        QVERIFY(attached->surfaceGraph()->isVisible());
        QCOMPARE(combo->count(), 7);
        QCOMPARE(combo->currentIndex(), 6);
        QCOMPARE(combo->itemText(0), QStringLiteral("Camera Front"));
        QCOMPARE(combo->itemText(4), QStringLiteral("Camera Isometric Behind"));
        QCOMPARE(combo->itemText(6), QStringLiteral("Camera Directly Above"));
        QVERIFY(fromAbove());

        // Front, Left, Right, Behind, Isometric Behind, Isometric Front.
        const Q3DCamera::CameraPreset presets[] = {
            Q3DCamera::CameraPresetRight,         Q3DCamera::CameraPresetFront,
            Q3DCamera::CameraPresetBehind,        Q3DCamera::CameraPresetLeft,
            Q3DCamera::CameraPresetIsometricLeft, Q3DCamera::CameraPresetIsometricRight};
        for (int i = 0; i < 6; ++i) {
            attached->setCameraPreset(6);
            attached->setCameraPreset(i);
            QCOMPARE(camera()->cameraPreset(), presets[i]);
            QVERIFY(!attached->surfaceGraph()->isOrthoProjection());
        }
        for (int bad : {-1, 7}) { // outside the table: the camera stays
            attached->setCameraPreset(bad);
            QCOMPARE(camera()->cameraPreset(), presets[5]);
            QVERIFY(!attached->surfaceGraph()->isOrthoProjection());
        }
        attached->setCameraPreset(6); // rotation and projection restored
        QVERIFY(fromAbove());

        combo->setCurrentIndex(0); // programmatic: no camera change
        QVERIFY(fromAbove());
        combo->setFocus();
        QTest::keyClick(combo, Qt::Key_Down); // the user picks "Camera Left"
        QCOMPARE(combo->currentIndex(), 1);
        QCOMPARE(camera()->cameraPreset(), Q3DCamera::CameraPresetFront);
        QVERIFY(!attached->surfaceGraph()->isOrthoProjection());
        emit combo->activated(6);
        QVERIFY(fromAbove());
    }

    void save_data()
    {
        QTest::addColumn<bool>("graph");
        QTest::addColumn<bool>("cancel");
        QTest::newRow("graph") << true << false;
        QTest::newRow("graph cancelled") << true << true;
        QTest::newRow("image") << false << false;
    }
    void save()
    {
        QFETCH(bool, graph);
        QFETCH(bool, cancel);
        const QString file = dir.filePath(QTest::currentDataTag() + QString(".png"));
        QStringList asked;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget* parent, const QString& c, const QString& d, const QString& f) {
                asked << c << d << f;
                return parent || cancel ? QString() : file;
            });
        QImage ramp(40, 30, QImage::Format_Grayscale8);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                ramp.scanLine(y)[x] = uchar(x * 5 + y * 11);
        attached->setCameraPreset(5);
        attached->setImage(ramp);
        attached->setMidlineVisible(true);
        attached->scaleImage(2.0);
        attached->setZoom(300);
        (graph ? save3D : save2D)->click(); // the image button reaches this class's override
        QCOMPARE(asked,
                 QStringList({graph ? "Save graph" : "Save image", ".", "PNG files (*.png)"}));
        QCOMPARE(QFile::exists(file), !cancel);
        if (cancel)
            return;
        const QImage back(file);
        if (!graph) {
            QCOMPARE(back.size(), QSize(80, 60));   // shown size, not zoomed
            for (int y = 0; y < back.height(); ++y) // no midline
                QCOMPARE(qGray(back.pixel(40, y)), qGray(ramp.pixel(20, y / 2)));
            return;
        }
        const QSize expected =
            attached->surfaceGraph()->size() * attached->surfaceGraph()->devicePixelRatio();
        QVERIFY(expected.width() > 100 && expected.height() > 100);
        QCOMPARE(back.size(), expected);
        // Something was drawn: a rendering is not one flat colour.
        QImage flat(back.size(), back.format());
        flat.fill(QColor::fromRgba(back.pixel(0, 0)));
        QVERIFY(back != flat);
    }
};

QTEST_MAIN(TestDual2D3DView)
#include "test_dual2d3dview.moc"
