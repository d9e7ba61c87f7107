// Viewing aids of the window: Ctrl + wheel zoom through the zoom sliders, the status bar
// readout of the value under the mouse, dragging the AOI ellipse, the window on a laptop
// screen and the 3D camera combo's custom entry.
#include "Dialogs.h"
#include "Dual2D3DView.h"
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include <QGraphicsView>
#include <QLabel>
#include <QRegularExpression>
#include <QStatusBar>
#include <QtDataVisualization/Q3DCamera>
#include <QtDataVisualization/Q3DScene>
#include <QtTest>

#include <cmath>

namespace {

void sendMouse(QGraphicsView* view, QEvent::Type type, QPoint at, Qt::MouseButton button,
               Qt::MouseButtons held)
{
    QWidget* vp = view->viewport();
    QMouseEvent event(type, QPointF(at), QPointF(vp->mapToGlobal(at)), button, held, Qt::NoModifier);
    QApplication::sendEvent(vp, &event);
}

// Moves the mouse over scene pixel (x, y) and returns the status bar readout. Screen pixels
// are whole and the view may sit half a pixel off the scene grid: a quarter pixel in lands in
// (x, y) either way at 1:1.
QString readoutAt(QGraphicsView* view, QLabel* readout, int x, int y)
{
    const QPoint at = view->mapFromScene(QPointF(x + 0.25, y + 0.25));
    sendMouse(view, QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton);
    return readout->text();
}

} // namespace

class TestViewing : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;
    QLabel* readout = nullptr;

private slots:
    void initTestCase()
    {
        QDir::setCurrent(QDir::tempPath());
        QFile::remove(QStringLiteral("config.cfg"));
        window = std::make_unique<MainWindow>();
        ui = window->form();
        readout = window->findChild<QLabel*>(QStringLiteral("viewReadout"));
        QVERIFY(readout);
        const QString project = qEnvironmentVariable("KELVARA_SOURCE_DIR") +
                                QStringLiteral("/samples/lesion.kelvara");
        kelvara::Dialogs::setOpenFileHandler(
            [project](QWidget*, const QString&, const QString&, const QString&) { return project; });
        ui->LoadProjectButton->click();
        kelvara::Dialogs::resetHandlers();
        QVERIFY(!window->caseModel().image(kelvara::Modality::ADC).isNull());
        window->resize(1366, 738);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }
    void cleanupTestCase() { window.reset(); }

    void wheelZoomMovesTheSlider_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<QString>("view");
        // Another view the same slider drives, or empty.
        QTest::addColumn<QString>("follower");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("angle");
        QTest::addColumn<bool>("ctrl");
        // Sign of the slider's change.
        QTest::addColumn<int>("direction");
        QTest::newRow("overlay, in") << "OverlayZoomSlider" << "overlayImagesView" << "" << 100 << 120
                                     << true << 1;
        QTest::newRow("DWI mask, out, AOI image follows")
            << "DWIZoomSlider" << "DWI_AOI_MaskImg_GraphicsView" << "DWI_AOI_Img_GraphicsView" << 100
            << -120 << true << -1;
        QTest::newRow("small trackpad step still moves")
            << "FFTZoomSlider" << "FFTFilterT2GraphicsView" << "" << 3 << 15 << true << 1;
        QTest::newRow("product, held at the top of the range")
            << "SymProdPreviewZoom" << "SymProdPreview_GraphicsView" << "" << 500 << 240 << true << 0;
        QTest::newRow("solution, held at the bottom of the range")
            << "ResultOverlayZoom" << "ResultOverlayView" << "" << 1 << -360 << true << 0;
        QTest::newRow("without Ctrl the wheel scrolls")
            << "T2RawSymZoom" << "T2_AOI_SymImg_GraphicsView" << "" << 100 << 120 << false << 0;
    }
    void wheelZoomMovesTheSlider()
    {
        QFETCH(QString, slider);
        QFETCH(QString, view);
        QFETCH(QString, follower);
        QFETCH(int, start);
        QFETCH(int, angle);
        QFETCH(bool, ctrl);
        QFETCH(int, direction);
        auto* s = window->findChild<QSlider*>(slider);
        auto* v = window->findChild<QGraphicsView*>(view);
        QVERIFY(s && v);
        s->setValue(start);
        const QPoint at = v->viewport()->rect().center();
        QWheelEvent wheel(QPointF(at), QPointF(v->viewport()->mapToGlobal(at)), QPoint(), QPoint(0, angle),
                          Qt::NoButton, ctrl ? Qt::ControlModifier : Qt::NoModifier, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(v->viewport(), &wheel);

        const int value = s->value();
        QCOMPARE((value > start) - (value < start), direction);
        QVERIFY(value >= s->minimum() && value <= s->maximum());
        // The transform is the slider's: replaced, never accumulated.
        QCOMPARE(v->transform().m11(), value / 100.0);
        QCOMPARE(v->transform().m22(), value / 100.0);
        if (!follower.isEmpty())
            QCOMPARE(window->findChild<QGraphicsView*>(follower)->transform().m11(), value / 100.0);
        s->setValue(100);
    }

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
            window->findChild<QCheckBox*>(name)->setChecked(false);
        QGraphicsView* v = ui->overlayImagesView;
        ui->OverlayZoomSlider->setValue(100);
        const QPoint at = v->mapFromScene(QPointF(21.5, -13.5));
        sendMouse(v, QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton);

        // The image is centred on the scene origin and scaled about its centre.
        const auto m = kelvara::Modality(modality);
        const QImage& image = window->caseModel().image(m);
        const double scale = window->caseModel().scale(m);
        const QPointF p = v->mapToScene(at);
        const int x = int(std::floor(p.x() / scale)) + image.width() / 2;
        const int y = int(std::floor(p.y() / scale)) + image.height() / 2;
        QCOMPARE(readout->text(), QStringLiteral("%1 x %2, y %3: grey %4")
                                      .arg(QLatin1String(kelvara::modalityName(m)))
                                      .arg(x)
                                      .arg(y)
                                      .arg(qGray(image.pixel(x, y))));

        for (QCheckBox* box : {ui->OverlayImgDisplayT2, ui->OverlayImgDisplayDWI, ui->OverlayImgDisplayADC})
            box->setChecked(true);
    }

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
        ui->T2FilterSymmetryButton->click();
        const double* const* plane =
            product ? window->product().data() : window->symmetry().t2SmoothResult();
        QVERIFY(plane);
        // A pixel whose value is not a whole number, so it cannot pass for a grey level.
        int px = -1;
        int py = -1;
        for (int x = 200; x < 312 && px < 0; ++x)
            for (int y = 200; y < 312 && px < 0; ++y)
                if (std::abs(plane[x][y] - std::round(plane[x][y])) > 0.1) {
                    px = x;
                    py = y;
                }
        QVERIFY(px >= 0);
        auto* v = window->findChild<QGraphicsView*>(view);
        const QString text = readoutAt(v, readout, px, py);
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^x (\\d+), y (\\d+): value (\\S+)$")).match(text);
        QVERIFY2(match.hasMatch(), qPrintable(text));
        QCOMPARE(match.captured(1).toInt(), px);
        QCOMPARE(match.captured(2).toInt(), py);
        const double shown = match.captured(3).toDouble();
        QVERIFY2(std::abs(shown - plane[px][py]) <= 1e-5 * std::max(1.0, std::abs(plane[px][py])),
                 qPrintable(text + QStringLiteral(" vs ") + QString::number(plane[px][py], 'g', 17)));
    }

    void readoutLivesBesideMessages()
    {
        QGraphicsView* v = ui->overlayImagesView;
        const QString text = readoutAt(v, readout, 3, 4);
        QVERIFY(!text.isEmpty());
        ui->statusbar->showMessage(QStringLiteral("a message"));
        QCOMPARE(readout->text(), text);
        QVERIFY(readout->isVisible());
        ui->statusbar->clearMessage();
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(v->viewport(), &leave);
        QVERIFY(readout->text().isEmpty());
    }

    void draggingTheAOIMovesTheSliders_data()
    {
        // Where the press lands relative to the AOI centre (scene units) and how far the mouse
        // then moves (screen pixels, at 1:1).
        QTest::addColumn<QPointF>("press");
        QTest::addColumn<QPoint>("move");
        QTest::addColumn<int>("horizontal");
        QTest::addColumn<int>("vertical");
        QTest::newRow("right and down") << QPointF(0, 0) << QPoint(30, 20) << 30 << -20;
        QTest::newRow("left and up, caught near the rim") << QPointF(30, 0) << QPoint(-15, -40) << -15 << 40;
        QTest::newRow("clamped to the sliders") << QPointF(0, 0) << QPoint(900, -700) << 500 << 500;
        QTest::newRow("press beside the AOI") << QPointF(60, 0) << QPoint(30, 20) << 0 << 0;
    }
    void draggingTheAOIMovesTheSliders()
    {
        QFETCH(QPointF, press);
        QFETCH(QPoint, move);
        QFETCH(int, horizontal);
        QFETCH(int, vertical);
        ui->OverlayZoomSlider->setValue(100);
        ui->horizontalSlider->setValue(0);
        ui->verticalSlider->setValue(0);
        QGraphicsView* v = ui->overlayImagesView;
        const QPoint from = v->mapFromScene(window->caseModel().aoiCentre() + press);
        sendMouse(v, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseMove, from + move / 2, Qt::NoButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseMove, from + move, Qt::NoButton, Qt::LeftButton);
        sendMouse(v, QEvent::MouseButtonRelease, from + move, Qt::LeftButton, Qt::NoButton);

        QCOMPARE(ui->horizontalSlider->value(), horizontal);
        QCOMPARE(ui->verticalSlider->value(), vertical);
        // The sliders' slots placed the AOI, and its numbers say where.
        QCOMPARE(window->caseModel().aoiCentre(), QPointF(horizontal, -vertical));
        auto* position = window->findChild<QLabel*>(QStringLiteral("aoiPositionLabel"));
        QVERIFY(position->text().contains(QStringLiteral("x = %1, y = %2").arg(horizontal).arg(vertical)));
        ui->horizontalSlider->setValue(0);
        ui->verticalSlider->setValue(0);
    }

    void fitsALaptopScreen()
    {
        // 1366 x 768 less a title bar.
        const QSize laptop(1366, 738);
        QVERIFY2(window->minimumSizeHint().boundedTo(laptop) == window->minimumSizeHint(),
                 qPrintable(QStringLiteral("%1 x %2").arg(window->minimumSizeHint().width())
                                .arg(window->minimumSizeHint().height())));
        QVERIFY(window->minimumSize().boundedTo(laptop) == window->minimumSize());
        for (int page = 0; page < ui->tabWidget->count(); ++page) {
            ui->tabWidget->setCurrentIndex(page);
            window->resize(laptop);
            QCoreApplication::processEvents();
            QCOMPARE(window->size(), laptop);
            // The page fits whole where it is shown: nothing to scroll to.
            QVERIFY(ui->tabWidget->parentWidget()->rect().contains(ui->tabWidget->geometry()));
            QVERIFY(ui->statusbar->isVisible());
            QVERIFY(window->rect().contains(ui->statusbar->geometry()));
            QVERIFY(readout->isVisible());
        }
        ui->tabWidget->setCurrentIndex(0);
    }

    void turningTheCameraShowsACustomEntry()
    {
        const QList<QComboBox*> combos = {ui->T2View3DRawSymmetry, ui->DWIView3DRawSymmetry,
                                          ui->ADCView3DRawSymmetry, ui->T2View3DSmoothSymmetry,
                                          ui->DWIView3DSmoothSymmetry, ui->ADCView3DSmoothSymmetry,
                                          ui->SymProdView3D, ui->ResultView3D};
        QSet<QComboBox*> turned;
        for (QWindow* w : QGuiApplication::allWindows()) {
            auto* graph = qobject_cast<Q3DSurface*>(w);
            if (!graph)
                continue;
            // As the mouse turns it.
            Q3DCamera* camera = graph->scene()->activeCamera();
            camera->setXRotation(camera->xRotation() + 25.0f);
            QList<QComboBox*> custom;
            for (QComboBox* c : combos)
                if (c->currentText() == Dual2D3DView::customCameraText())
                    custom.append(c);
            if (custom.isEmpty()) // the evaluation view's graph has no combo
                continue;
            QCOMPARE(custom.size(), 1);
            QComboBox* c = custom.first();
            QCOMPARE(c->count(), 8);
            QVERIFY(!turned.contains(c));
            turned.insert(c);

            // Choosing a preset moves the camera there and takes the custom entry away.
            c->setCurrentIndex(2);
            emit c->activated(2);
            QCOMPARE(c->count(), 7);
            QCOMPARE(c->currentIndex(), 2);
            QCOMPARE(camera->cameraPreset(), Q3DCamera::CameraPresetBehind);
        }
        QCOMPARE(turned.size(), combos.size());
    }
};

QTEST_MAIN(TestViewing)
#include "test_viewing.moc"
