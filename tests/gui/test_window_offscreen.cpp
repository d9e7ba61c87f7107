// The window where no 3D graph can be drawn (this test runs on Qt's offscreen platform): it
// opens, each graph area says why it is empty, and the lesion sample runs through every analysis
// button to the same 2D results and verdict as kelvara-batch.
#include "WindowFixture.h"

#include "Dual2D3DView.h"
#include "LEDWidget.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtDataVisualization/Q3DSurface>

namespace {

const QString kSamples = QStringLiteral(KELVARA_SAMPLES_DIR);

QImage argb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestWindowOffscreen : public QObject
{
    Q_OBJECT

    WindowFixture f;
    Ui::MainWindow* ui = nullptr;
    QString batchDir;

private slots:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("offscreen"));
        QString error;
        batchDir = f.runSampleBatch(kSamples, &error);
        QVERIFY2(!batchDir.isEmpty(), qPrintable(error));

        f.build();
        ui = f.ui;
        // Said once at the start; later messages (a load's) may replace it.
        QCOMPARE(ui->statusbar->currentMessage(), Dual2D3DView::graphsUnavailableReason());
        f.window->resize(1366, 738);
        f.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
        f.loadSample(kSamples);
        f.pressEveryAnalysisButton();
        // The graphs' windows would render here, and crash, if any had been made.
        QTest::qWait(200);
    }
    void cleanupTestCase() { f.tearDown(); }

    // Eight graph areas, each with the reason instead of a graph, and their camera and save
    // controls off. No graph window exists at all.
    void graphAreasSayWhy()
    {
        const QString reason = Dual2D3DView::graphsUnavailableReason();
        QVERIFY2(reason.startsWith("3D view unavailable: "), qPrintable(reason));
        const QList<QLabel*> areas = f.window->findChildren<QLabel*>("graphUnavailable");
        QCOMPARE(areas.size(), 8);
        for (QLabel* l : areas)
            QCOMPARE(l->text(), reason);
        for (QWidget* w : std::initializer_list<QWidget*>{
                 ui->T2View3DRawSymmetry, ui->SymProdView3D, ui->ResultView3D,
                 ui->ADCView3DSmoothSymmetry, ui->T2SaveRawSymmetry3DButton, ui->SymProdSave3DImage,
                 ui->ResultSave3DImage, ui->ADCSaveSmoothSymmetry3DButton})
            QVERIFY2(!w->isEnabled() && w->toolTip() == reason, qPrintable(w->objectName()));
        for (QWindow* w : QGuiApplication::allWindows())
            QVERIFY(!qobject_cast<Q3DSurface*>(w));
    }

    // The 2D views of the graphs' results, the statistics and the verdict as kelvara-batch gives
    // them; the readout still reads the plane behind a symmetry image.
    void resultsAsWithGraphs_data()
    {
        QTest::addColumn<QString>("view");
        QTest::newRow("t2_raw_symmetry") << "T2_AOI_SymImg_GraphicsView";
        QTest::newRow("adc_smooth_symmetry") << "ADC_AOI_SymSmoothImg_GraphicsView";
        QTest::newRow("product") << "SymProdPreview_GraphicsView";
    }
    void resultsAsWithGraphs()
    {
        QFETCH(QString, view);
        auto* graphics = f.child<QGraphicsView>(view);
        QCOMPARE(argb(shownImage(graphics)), argb(QImage(batchDir + QTest::currentDataTag() + ".png")));

        const QPoint at = graphics->mapFromScene(QPointF(256.25, 256.25));
        QMouseEvent move(QEvent::MouseMove, QPointF(at), QPointF(graphics->viewport()->mapToGlobal(at)),
                         Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(graphics->viewport(), &move);
        const QString readout = f.child<QLabel>("viewReadout")->text();
        QVERIFY2(readout.contains(": value "), qPrintable(readout));

        QFile file(batchDir + "result.json");
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject r = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(ui->SusPixels->text().toInt(), r.value("suspiciousPixels").toInt());
        QVERIFY(r.value("pathology").toBool());
        QVERIFY(ui->PathologyDetectedLabel->isActive());
        QVERIFY(ui->PathologyDetectedLabel->caption().isEmpty());
        QCOMPARE(argb(f.saveThrough(ui->ResultSave2DButton, "solution.png")),
                 argb(QImage(batchDir + "solution_overlay.png")));
    }
};

QTEST_MAIN(TestWindowOffscreen)
#include "test_window_offscreen.moc"
