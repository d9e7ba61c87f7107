// The 2D/3D views as the window binds them: a graph container in every 3D placeholder, the
// camera combo boxes filled, the save buttons and zoom sliders reaching the right scene, and
// the midline/box flags of each 2D view.
#include "Dialogs.h"
#include "MainWindow.h"
#include "MidLinePixmapItem.h"
#include "TransparentPixmapItem.h"
#include "ui_MainWindow.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QtTest>

namespace {

template <typename Item> Item* findItem(const QGraphicsView* view)
{
    if (!view->scene())
        return nullptr;
    for (QGraphicsItem* item : view->scene()->items())
        if (auto* found = dynamic_cast<Item*>(item))
            return found;
    return nullptr;
}

} // namespace

class TestDualViewsWindow : public QObject
{
    Q_OBJECT

    // A single window for all cases: it carries eight 3D graphs.
    std::unique_ptr<MainWindow> window;

private slots:
    void initTestCase()
    {
        QDir::setCurrent(QDir::tempPath());
        QFile::remove(QStringLiteral("config.cfg"));
        window = std::make_unique<MainWindow>();
    }
    void cleanupTestCase() { window.reset(); }
    void cleanup() { kelvara::Dialogs::resetHandlers(); }

    void graphs_data()
    {
        QTest::addColumn<QString>("combo");
        QTest::newRow("RawSymT2Graph") << "T2View3DRawSymmetry";
        QTest::newRow("RawSymDWIGraph") << "DWIView3DRawSymmetry";
        QTest::newRow("RawSymADCGraph") << "ADCView3DRawSymmetry";
        QTest::newRow("SmoothSymT2Graph") << "T2View3DSmoothSymmetry";
        QTest::newRow("SmoothSymDWIGraph") << "DWIView3DSmoothSymmetry";
        QTest::newRow("SmoothSymADCGraph") << "ADCView3DSmoothSymmetry";
        QTest::newRow("SymProdGraph") << "SymProdView3D";
        QTest::newRow("Result3D") << "ResultView3D";
    }
    void graphs()
    {
        QFETCH(QString, combo);
        auto* layout = window->findChild<QBoxLayout*>(QTest::currentDataTag());
        QVERIFY(layout);
        QCOMPARE(layout->count(), 1);
        QVERIFY(layout->itemAt(0)->widget()->inherits("QWindowContainer"));
        QCOMPARE(layout->itemAt(0)->widget()->window(), window.get());
        auto* c = window->findChild<QComboBox*>(combo);
        QVERIFY(c);
        QCOMPARE(c->count(), 7);
        QCOMPARE(c->currentIndex(), 6);
    }

    void onlyTheseGraphsExist()
    {
        // Seven symmetry/product graphs and the solution's; the evaluation view gets none.
        const QList<QWidget*> all = window->findChildren<QWidget*>();
        QCOMPARE(std::count_if(all.begin(), all.end(),
                               [](QWidget* w) { return w->inherits("QWindowContainer"); }),
                 8);
    }

    void views2D_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<QString>("view");
        QTest::addColumn<bool>("midline");
        QTest::addColumn<bool>("overlay");
        QTest::newRow("raw T2") << "T2RawSymZoom"
                                << "T2_AOI_SymImg_GraphicsView" << true << false;
        QTest::newRow("raw DWI") << "DWIRawSymZoom"
                                 << "DWI_AOI_SymImg_GraphicsView" << true << false;
        QTest::newRow("raw ADC") << "ADCRawSymZoom"
                                 << "ADC_AOI_SymImg_GraphicsView" << true << false;
        QTest::newRow("smooth T2") << "T2SmoothSymZoom"
                                   << "T2_AOI_SymSmoothImg_GraphicsView" << true << false;
        QTest::newRow("smooth DWI") << "DWISmoothSymZoom"
                                    << "DWI_AOI_SymSmoothImg_GraphicsView" << true << false;
        QTest::newRow("smooth ADC") << "ADCSmoothSymZoom"
                                    << "ADC_AOI_SymSmoothImg_GraphicsView" << true << false;
        QTest::newRow("product") << "SymProdPreviewZoom"
                                 << "SymProdPreview_GraphicsView" << false << false;
        QTest::newRow("solution") << "ResultOverlayZoom"
                                  << "ResultOverlayView" << false << true;
        QTest::newRow("evaluation") << "evalViewZoom"
                                    << "evaluationOverlay" << false << true;
    }
    void views2D()
    {
        QFETCH(QString, slider);
        QFETCH(QString, view);
        QFETCH(bool, midline);
        QFETCH(bool, overlay);
        auto* s = window->findChild<QSlider*>(slider);
        auto* gv = window->findChild<QGraphicsView*>(view);
        QVERIFY(s);
        QVERIFY(gv);
        const MidLinePixmapItem* pixmap = findItem<MidLinePixmapItem>(gv);
        QVERIFY(pixmap);
        QCOMPARE(pixmap->midlineShown(), midline);
        QVERIFY(findItem<QGraphicsEllipseItem>(gv) &&
                !findItem<QGraphicsEllipseItem>(gv)->isVisible());
        QCOMPARE(findItem<TransparentPixmapItem>(gv) != nullptr, overlay);

        s->setValue(40);
        QCOMPARE(gv->transform(), QTransform::fromScale(0.4, 0.4));
        for (const QGraphicsView* other : window->findChildren<QGraphicsView*>())
            if (other != gv) // no other view zooms
                QVERIFY2(!other->transform().isScaling(), qPrintable(other->objectName()));
        s->setValue(100);
    }

    void saveButtons_data()
    {
        QTest::addColumn<QString>("caption");
        for (const char* b : {"T2SaveRawSymmetry3DButton", "DWISaveRawSymmetry3DButton",
                              "ADCSaveRawSymmetry3DButton", "T2SaveSmoothSymmetry3DButton",
                              "DWISaveSmoothSymmetry3DButton", "ADCSaveSmoothSymmetry3DButton",
                              "SymProdSave3DImage", "ResultSave3DImage"})
            QTest::newRow(b) << "Save graph";
        for (const char* b : {"T2SaveRawSymmetry2DButton", "DWISaveRawSymmetry2DButton",
                              "ADCSaveRawSymmetry2DButton", "T2SaveSmoothSymmetry2DButton",
                              "DWISaveSmoothSymmetry2DButton", "ADCSaveSmoothSymmetry2DButton",
                              "SymProdSave2DButton", "ResultSave2DButton", "saveEvalImageButton"})
            QTest::newRow(b) << "Save image";
    }
    void saveButtons()
    {
        QFETCH(QString, caption);
        QStringList asked;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget*, const QString& c, const QString&, const QString&) {
                asked << c;
                return QString(); // cancelled
            });
        auto* b = window->findChild<QPushButton*>(QTest::currentDataTag());
        QVERIFY(b);
        b->click();
        QCOMPARE(asked, QStringList{caption});
    }
};

QTEST_MAIN(TestDualViewsWindow)
#include "test_dualviews_window.moc"
