// The main window on one shared instance: its wiring, its controls against the stored-controls
// table, the case and AOI, the analysis tabs up to the verdict, and projects and settings
// through the buttons. Functions run in order; each sets up the controls it relies on.
#include "ControlFile.h"
#include "Dual2D3DView.h"
#include "FrequencyFilter.h"
#include "KelvaraApp.h"
#include "LEDWidget.h"
#include "StoredControlTable.h"
#include "TransparentPixmapItem.h"
#include "WindowFixture.h"

#include <QDialog>
#include <QGraphicsEllipseItem>
#include <QtDataVisualization/Q3DSurface>
#include <QtDataVisualization/QSurface3DSeries>
#include <QtDataVisualization/QSurfaceDataProxy>
#include <QtDataVisualization/QValue3DAxis>

#include <cmath>

using kelvara::ControlKind;
using kelvara::Modality;
using kelvara::StoredControl;
using kelvara::StoredControlTable;

namespace {

// QObject::receivers is protected; a pointer to member taken through a derived class reaches it.
struct ReceiverCount : QObject {
    static int of(const QObject* o, const QByteArray& signal)
    {
        return (o->*(&ReceiverCount::receivers))(signal.constData());
    }
};

// The Symmetry tab's kernel controls: each slider and its spin box follow each other.
QStringList kernelSpinBoxes()
{
    QStringList names;
    for (const char* m : {"T2", "DWI", "ADC"})
        for (const char* c : {"CircleRad", "RectDimX", "RectDimY"})
            names << QString::fromLatin1(m) + QLatin1String(c);
    return names;
}

// The case: T2 40 with a block graded 100..195 left of the midline (rows 250..259, columns
// 230..249 of the AOI canvas), DWI 40 with a bright 8 x 10 lesion over the block's first eight
// columns, ADC uniform 60 (and so symmetric).
QImage t2Case()
{
    QImage img = greyImage(512, 40);
    for (int y = 250; y < 260; ++y)
        for (int x = 230; x < 250; ++x)
            img.scanLine(y)[x] = uchar(100 + 5 * (x - 230));
    return img;
}
QImage dwiCase()
{
    QImage img = greyImage(512, 40);
    for (int y = 250; y < 260; ++y)
        for (int x = 230; x < 238; ++x)
            img.scanLine(y)[x] = 220;
    return img;
}

// The widget property a stored control's value goes through (its setter emits the signal).
const char* valueProperty(ControlKind k)
{
    return k == ControlKind::ComboBox ? "currentIndex" : k == ControlKind::CheckBox ? "checked" : "value";
}
// A value `fraction` of the way through the control's limits: whole numbers for ranges of 4
// and more (the files keep the result bounds as whole numbers), else rounded to the decimals.
QVariant within(const StoredControl& c, double fraction)
{
    const double span = c.maximum - c.minimum, scale = std::pow(10.0, c.decimals);
    const double v = c.minimum + span * fraction;
    if (c.kind == ControlKind::CheckBox)
        return fraction >= 0.5;
    if (c.kind != ControlKind::DoubleSpinBox)
        return int(std::lround(v));
    return span >= 4 ? std::round(v) : std::round(v * scale) / scale;
}
StoredControl holding(StoredControl c, const QVariant& v)
{
    c.number = v.toDouble(), c.integer = v.toInt(), c.checked = v.toBool();
    return c;
}

// A canvas whose cells tell where they are: column x, row y holds x * 1000 + y.
struct Canvas
{
    std::vector<std::vector<double>> columns =
        std::vector<std::vector<double>>(512, std::vector<double>(512));
    std::vector<const double*> table;
    explicit Canvas(double uniform = -1)
    {
        for (int x = 0; x < 512; ++x) {
            for (int y = 0; y < 512; ++y)
                columns[x][y] = uniform >= 0 ? uniform : x * 1000.0 + y;
            table.push_back(columns[x].data());
        }
    }
};

} // namespace

class TestWindow : public QObject
{
    Q_OBJECT

    WindowFixture f;
    Ui::MainWindow* ui = nullptr;
    std::unique_ptr<Dual2D3DView> surfaceView;
    // Every stored control's widget with its start-up value, restored after each function so
    // that a failure stays where it happened.
    QList<std::tuple<QWidget*, const char*, QVariant>> startValues;

    void restoreStartValues()
    {
        for (const auto& [w, property, value] : std::as_const(startValues))
            w->setProperty(property, value);
        ui->ResultClearButton->click();
    }

    void loadCase()
    {
        f.load(ui->OverlayImgLoadT2_BMP, t2Case(), "t2.bmp");
        f.load(ui->OverlayImgLoadDWI_BMP, dwiCase(), "dwi.bmp");
        f.load(ui->OverlayImgLoadADC_BMP, greyImage(512, 60), "adc.bmp");
    }
    QImage refreshedT2AOI()
    {
        ui->SymmetryAOIT2RefreshButton->click();
        return shownImage(ui->SymmetryAOIT2View);
    }
    // The overlay stacks T2, DWI, ADC from the bottom.
    QGraphicsPixmapItem* overlayItem(Modality m) const
    {
        for (QGraphicsItem* item : ui->overlayImagesView->scene()->items())
            if (auto* p = dynamic_cast<TransparentPixmapItem*>(item); p && p->zValue() == int(m))
                return p;
        return nullptr;
    }
    QGraphicsEllipseItem* aoiEllipse() const
    {
        for (QGraphicsItem* item : ui->overlayImagesView->scene()->items())
            if (auto* e = dynamic_cast<QGraphicsEllipseItem*>(item))
                return e;
        return nullptr;
    }
    static void storedControlRows(bool storedOnly)
    {
        QTest::addColumn<QString>("name");
        for (const StoredControl& c : StoredControlTable::controls()) {
            kelvara::ControlValues probe;
            if (!storedOnly || StoredControlTable::assign(probe, c))
                QTest::newRow(qPrintable(c.objectName)) << c.objectName;
        }
    }

private slots:
    void initTestCase()
    {
        f.build();
        ui = f.ui;
        for (const StoredControl& c : StoredControlTable::controls())
            if (QWidget* w = f.child<QWidget>(c.objectName))
                startValues.append({w, valueProperty(c.kind), w->property(valueProperty(c.kind))});
    }
    void cleanup() { restoreStartValues(); }
    void cleanupTestCase()
    {
        surfaceView.reset();
        f.tearDown();
    }

    // runKelvara makes its own QApplication: it runs in a child process started with
    // --run-app, which closes its window once shown.
    void startUpExitsWithZero()
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QGuiApplication::platformName());
        p.setProcessEnvironment(env);
        p.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--run-app")});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 0);
    }

    // Every on_<object>_<signal> slot is connected exactly once (kernel controls also have
    // their partner).
    void slotConnections_data()
    {
        QTest::addColumn<QString>("object");
        QTest::addColumn<QByteArray>("signal");
        const QMetaObject* mo = f.window->metaObject();
        for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
            const QMetaMethod m = mo->method(i);
            const QString name = QString::fromLatin1(m.name());
            if (m.methodType() != QMetaMethod::Slot || !name.startsWith(QLatin1String("on_")))
                continue;
            const int cut = name.lastIndexOf(QLatin1Char('_'));
            QTest::newRow(qPrintable(name))
                << name.mid(3, cut - 3)
                << name.mid(cut + 1).toLatin1() + "(" + m.parameterTypes().join(',') + ")";
        }
    }
    void slotConnections()
    {
        QFETCH(QString, object);
        QFETCH(QByteArray, signal);
        QObject* sender = f.child<QObject>(object);
        QVERIFY2(sender, qPrintable(object));
        QVERIFY2(sender->metaObject()->indexOfSignal(signal.constData()) >= 0, signal.constData());
        const int expected = kernelSpinBoxes().contains(object) ? 2 : 1;
        QCOMPARE(ReceiverCount::of(sender, QByteArray::number(QSIGNAL_CODE) + signal), expected);
    }

    void kernelPairsFollowEachOther_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        for (const QString& spin : kernelSpinBoxes()) {
            QTest::newRow(qPrintable(spin + " moves its slider")) << spin << spin + "Slider";
            QTest::newRow(qPrintable(spin + "Slider moves its spin box")) << spin + "Slider" << spin;
        }
    }
    void kernelPairsFollowEachOther()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QObject* a = f.child<QObject>(from);
        QObject* b = f.child<QObject>(to);
        QVERIFY(a && b);
        const int v = std::max(a->property("value").toInt(), b->property("value").toInt()) + 1;
        a->setProperty("value", v);
        QCOMPARE(b->property("value").toInt(), v);
    }

    // Each control the table knows is on the form with the kind and limits the table gives.
    void controlLimits_data() { storedControlRows(false); }
    void controlLimits()
    {
        QFETCH(QString, name);
        const StoredControl& c = StoredControlTable::control(name);
        QWidget* w = f.child<QWidget>(name);
        QVERIFY2(w, qPrintable(name));
        const char* widgetClass[] = {"QDoubleSpinBox", "QSpinBox", "QComboBox", "QCheckBox", "QSlider"};
        QCOMPARE(w->metaObject()->className(), widgetClass[int(c.kind)]);
        double lo = w->property("minimum").toDouble(), hi = w->property("maximum").toDouble();
        if (c.kind == ControlKind::ComboBox)
            lo = 0, hi = qobject_cast<QComboBox*>(w)->count() - 1;
        if (c.kind == ControlKind::CheckBox)
            lo = 0, hi = 1;
        if (c.kind == ControlKind::DoubleSpinBox)
            QCOMPARE(w->property("decimals").toInt(), c.decimals);
        QCOMPARE(lo, c.minimum);
        QCOMPARE(hi, c.maximum);
    }

    // controlValues() reads every stored control into the field the files use for it.
    void controlValuesReadEveryControl_data() { storedControlRows(true); }
    void controlValuesReadEveryControl()
    {
        QFETCH(QString, name);
        const StoredControl& c = StoredControlTable::control(name);
        QWidget* w = f.child<QWidget>(name);
        const char* property = valueProperty(c.kind);
        QVariant changed = within(c, 0.75);
        if (changed == w->property(property))
            changed = within(c, 0.25);
        kelvara::ControlValues expected = f.window->controlValues();
        QVERIFY(StoredControlTable::assign(expected, holding(c, changed)));
        w->setProperty(property, changed);
        const auto json = [](const kelvara::ControlValues& v) { return kelvara::ControlFile::project().toJson(v); };
        QCOMPARE(json(f.window->controlValues()), json(expected));
    }

    // Loading shows the image and records its file. A failed DICOM read keeps the image and
    // the status bar shows the reader's message until the next load that works; an unreadable
    // BMP says so; a cancelled dialog changes nothing.
    void loadingImages()
    {
        for (Modality m : kelvara::kModalities) {
            const QString name = kelvara::modalityName(m);
            auto* bmp = f.child<QPushButton>("OverlayImgLoad" + name + "_BMP");
            QImage colour(64, 40, QImage::Format_RGB32);
            colour.fill(qRgb(200, 30, 90 + int(m)));
            const QImage grey = colour.convertToFormat(QImage::Format_Grayscale8);
            WindowFixture::answerOpen(f.dir.filePath("gone.dcm"));
            f.child<QPushButton>("OverlayImgLoad" + name + "_DICOM")->click();
            QVERIFY(ui->statusbar->currentMessage().contains(QLatin1String("gone.dcm")));
            const QString path = f.load(bmp, colour, name + ".bmp");
            QCOMPARE(ui->statusbar->currentMessage(), QString());
            QCOMPARE(f.window->caseModel().image(m), grey);
            QCOMPARE(f.window->caseModel().source(m), (kelvara::ImageSource{path, "BMP"}));
            QCOMPARE(overlayItem(m)->pixmap().toImage().convertToFormat(QImage::Format_Grayscale8), grey);

            WindowFixture::answerOpen(f.dir.filePath("gone.dcm"));
            f.child<QPushButton>("OverlayImgLoad" + name + "_DICOM")->click();
            QCOMPARE(f.window->caseModel().image(m), grey);
            WindowFixture::answerOpen(QString());
            bmp->click();
            QCOMPARE(f.window->caseModel().source(m).path, f.dir.filePath("gone.dcm"));

            QFile text(f.dir.filePath("text.bmp"));
            QVERIFY(text.open(QIODevice::WriteOnly) && text.write("no image") > 0);
            text.close();
            WindowFixture::answerOpen(text.fileName());
            bmp->click();
            QCOMPARE(ui->statusbar->currentMessage(), name + " image: '" + text.fileName() + "': not a readable image");
        }
    }

    // The vertical slider points up, the scene's y down: a positive value moves the ellipse up
    // and cuts the AOI from rows above the centre.
    void aoiFollowsTheSliders()
    {
        QImage rows(512, 512, QImage::Format_Grayscale8), columns = rows;
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                rows.scanLine(y)[x] = uchar(y / 2), columns.scanLine(y)[x] = uchar(x / 2);
        f.load(ui->OverlayImgLoadT2_BMP, rows, "rows.bmp");
        f.load(ui->OverlayImgLoadDWI_BMP, columns, "columns.bmp");
        QCOMPARE(qGray(refreshedT2AOI().pixel(256, 256)), 128);
        ui->verticalSlider->setValue(20);
        ui->horizontalSlider->setValue(30);
        QCOMPARE(aoiEllipse()->pos(), QPointF(30, -20));
        QCOMPARE(qGray(refreshedT2AOI().pixel(256, 256)), 118); // image row 236
        QCOMPARE(qGray(shownImage(ui->SymmetryAOIDWIView).pixel(256, 256)), 143); // column 286
    }

    // The DWI button computes both masks (the ADC bound corrected from its average) and shows
    // the DWI one.
    void maskButtons()
    {
        loadCase();
        ui->DWI_IntervalLeft->setValue(200);
        ui->BinMaskADCAutoCorrectInterval->setChecked(true);
        ui->BinMaskADCAutoCorrectBaseCombo->setCurrentIndex(1); // "Average"
        ui->BinMaskADCAutoCorrectFactor->setValue(2.0);
        ui->DWIRecalculateMaskButton->click();
        QCOMPARE(ui->ADC_IntervalRight->value(), 120);
        const QImage mask = shownImage(ui->DWI_AOI_MaskImg_GraphicsView);
        QCOMPARE(qGray(mask.pixel(233, 255)), 255);
        QCOMPARE(qGray(mask.pixel(300, 255)), 0);
    }

    // The threshold labels: the solution's value label follows the modality its base selects.
    void thresholdLabels()
    {
        ui->ResultAutoCorrectBaseCombo->setCurrentIndex(1); // "DWI Fourier"
        ui->DWIFFTTreshXMax->setValue(0.5);
        ui->DWIFFTTreshYMax->setValue(0.5);
        ui->FFTDWIDisplayTreshButton->click();
        const QString dwi = ui->FFTDWITresholdLabel->text();
        QVERIFY(!dwi.isEmpty());
        QCOMPARE(ui->BinMaskDWIAutocorrectValue->text(), dwi);
        QCOMPARE(ui->AutocorrectValue->text(), dwi);
        ui->FFTT2DisplayTreshButton->click();
        QVERIFY(!ui->FFTT2TresholdLabel->text().isEmpty());
        QCOMPARE(ui->AutocorrectValue->text(), dwi);
    }

    // Masks enter the solution but not its non-masked average; the automatic minimum from that
    // average goes back into its spin box.
    void solutionAverages()
    {
        loadCase();
        ui->DWI_IntervalLeft->setValue(200);
        ui->ResultSymImageComboBox->setCurrentIndex(0); // T2 smooth symmetry
        ui->ResultSymImageAmplification->setValue(1.0);
        ui->ResultAddImageButton->click();
        ui->ResultCalculateButton->click();
        const QString unmasked = ui->ResultAvgSignal->text();
        QVERIFY(unmasked.toDouble() > 0);
        QCOMPARE(ui->ResultAvgSignalNM->text(), unmasked);

        ui->ResultMaskComboBox->setCurrentIndex(0); // DWI mask: the lesion only
        ui->ResultAddMaskButton->click();
        ui->ResultCalculateButton->click();
        QVERIFY(ui->ResultAvgSignal->text() != unmasked);
        QCOMPARE(ui->ResultAvgSignalNM->text(), unmasked);

        ui->ResultAutoCorrectInterval->setChecked(true);
        ui->ResultAutoCorrectBaseCombo->setCurrentIndex(3); // "Non-masked average"
        ui->ResultAutoCorrectFactor->setValue(0.5);
        ui->ResultCalculateButton->click();
        const double expected =
            StoredControlTable::limitedNumber("ResultMaskIntervalMin", 0.5 * unmasked.toDouble());
        QVERIFY(qAbs(ui->ResultMaskIntervalMin->value() - expected) < 0.011);

        // An empty mask leaves no pixel to average.
        ui->DWI_IntervalLeft->setValue(250);
        ui->ResultCalculateButton->click();
        QCOMPARE(ui->ResultAvgSignal->text(), QStringLiteral("nan (no suspicious pixels)"));
    }

    // Band filters on all three symmetry inputs, each with its second cut-off below the first:
    // one "Error" box per press, shown once the press has returned to the event loop.
    void oneCutoffBoxPerPress()
    {
        loadCase();
        for (const char* m : {"T2", "DWI", "ADC"}) {
            f.child<QComboBox>(m + QString("FFTFilterComboBox"))->setCurrentIndex(2);
            f.child<QDoubleSpinBox>(m + QString("FFTCutoffSpinBox"))->setValue(0.5);
            f.child<QDoubleSpinBox>(m + QString("FFTCutoffSpinBox2"))->setValue(0.3);
            f.child<QComboBox>(m + QString("SymInputImgCombo"))->setCurrentIndex(1);
        }
        f.messages.clear();
        for (int press = 1; press <= 2; ++press) {
            ui->T2RecalculateSymmetryButton->click();
            QCOMPARE(f.messages.size(), press - 1);
            QCoreApplication::processEvents();
            QCOMPARE(f.messages.size(), press);
        }
        QCOMPARE(f.messages.first(), QString("%1: %2").arg(kelvara::kCutoffMessageTitle, kelvara::kCutoffMessageText));
    }

    // Each modality's Fourier views are kept while its AOI image stays: a second press with
    // one parameter changed shows that parameter's result, as a fresh transform computes it.
    void fourierViewsFollowEveryParameter_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<double>("value");
        QTest::newRow("threshold X min") << "DWIFFTTreshXMin" << 0.2;
        QTest::newRow("threshold X max") << "DWIFFTTreshXMax" << 0.8;
        QTest::newRow("threshold Y min") << "DWIFFTTreshYMin" << 0.2;
        QTest::newRow("threshold Y max") << "DWIFFTTreshYMax" << 0.8;
        QTest::newRow("band first cut-off") << "T2FFTCutoffSpinBox" << 0.2;
        QTest::newRow("band second cut-off") << "T2FFTCutoffSpinBox2" << 0.6;
    }
    void fourierViewsFollowEveryParameter()
    {
        QFETCH(QString, control);
        QFETCH(double, value);
        loadCase();
        ui->DWIFFTTreshXMax->setValue(0.5);
        ui->DWIFFTTreshYMax->setValue(0.5);
        ui->T2FFTFilterComboBox->setCurrentIndex(2); // band pass
        ui->T2FFTCutoffSpinBox->setValue(0.1);
        ui->T2FFTCutoffSpinBox2->setValue(0.3);
        const bool threshold = control.startsWith("DWI");
        auto press = [&] {
            if (threshold) {
                ui->FFTDWIDisplayTreshButton->click();
                return QVariant(ui->FFTDWITresholdLabel->text());
            }
            ui->FFTT2DisplayResButton->click();
            return QVariant(shownImage(ui->FFTFilterT2GraphicsView).convertToFormat(QImage::Format_Grayscale8));
        };
        const QVariant before = press();
        f.child<QDoubleSpinBox>(control)->setValue(value);
        const QVariant after = press();

        const kelvara::ControlValues c = f.window->controlValues();
        const kelvara::AOIImages aoi = const_cast<kelvara::CaseImages&>(f.window->caseModel()).aoiImages();
        const QVariant fresh =
            threshold ? QVariant(QString::number(kelvara::spectrumThresholdValue(aoi.dwi, c.threshold[1])))
                      : QVariant(kelvara::filteredImage(aoi.t2, kelvara::filterParameters(c.filter[0], aoi.t2.width())));
        QVERIFY(after != before);
        QCOMPARE(after, fresh);
    }

    // The 80-pixel DWI lesion as the whole solution: the lamp and the red marks follow the
    // thresholds.
    void verdict_data()
    {
        QTest::addColumn<int>("smallArea");
        QTest::addColumn<int>("pathology");
        QTest::addColumn<bool>("verdict");
        QTest::newRow("lesion kept") << 10 << 60 << true;
        QTest::newRow("lesion too small") << 81 << 1 << false;
    }
    void verdict()
    {
        QFETCH(int, smallArea);
        QFETCH(int, pathology);
        QFETCH(bool, verdict);
        loadCase();
        ui->DWI_IntervalLeft->setValue(200);
        ui->ResultMaskComboBox->setCurrentIndex(0);
        ui->ResultAddMaskButton->click();
        ui->ResultMaskIntervalMin->setValue(128);
        ui->SmallAreaTresh->setValue(smallArea);
        ui->PathologyTresh->setValue(pathology);
        ui->determinePathologyButton->click();
        QCOMPARE(ui->SusPixels->text(), QStringLiteral("80"));
        LEDWidget* lamp = ui->PathologyDetectedLabel;
        QCOMPARE(lamp->isActive(), verdict);
        // Inside the rim, above the text: the lamp is a 205-unit square scaled to the widget.
        const QImage shown = lamp->grab().toImage();
        const double unit = std::min(shown.width(), shown.height()) / 205.0;
        const QRgb fill = shown.pixel(shown.width() / 2 + int(5 * unit), shown.height() / 2 - int(75 * unit));
        QCOMPARE(qRed(fill) > 200 && qGreen(fill) < 50, verdict);
        QCOMPARE(qGreen(fill) > 200 && qRed(fill) < 50, !verdict);
        QImage marks;
        for (QGraphicsItem* item : ui->evaluationOverlay->scene()->items())
            if (auto* p = dynamic_cast<TransparentPixmapItem*>(item))
                marks = p->pixmap().toImage();
        QCOMPARE(qRed(marks.pixel(233, 255)) == 255 && qAlpha(marks.pixel(233, 255)) == 255,
                 smallArea <= 80);
        QCOMPARE(qAlpha(marks.pixel(300, 255)), 0);
    }

    // One surface row per canvas column of the AOI box, clipped to the canvas; the interval is
    // applied in single precision, as the graph holds its values.
    void surface_data()
    {
        QTest::addColumn<QVector<int>>("box"); // half-width, height
        QTest::addColumn<QVector<int>>("rows"); // first column, rows, first row, points
        QTest::newRow("50 x 50") << QVector<int>{50, 50} << QVector<int>{206, 100, 231, 50};
        QTest::newRow("odd height") << QVector<int>{10, 51} << QVector<int>{246, 20, 231, 50};
        QTest::newRow("height 1") << QVector<int>{50, 1} << QVector<int>{0, 0, 0, 0};
        QTest::newRow("beyond the canvas") << QVector<int>{300, 700} << QVector<int>{0, 512, 0, 512};
    }
    void surface()
    {
        QFETCH(QVector<int>, box);
        QFETCH(QVector<int>, rows);
        if (!surfaceView)
            surfaceView = std::make_unique<Dual2D3DView>();
        static const Canvas canvas;
        surfaceView->setSurfaceData(canvas.table.data(), box[0], box[1], -3.5, 17.25, false, 0, 0);
        QCOMPARE(surfaceView->surfaceGraph()->axisY()->max(), 17.25f);
        const QSurfaceDataArray* array = surfaceView->surfaceGraph()->seriesList().at(0)->dataProxy()->array();
        QCOMPARE(array->size(), rows[1]);
        for (int r = 0; r < rows[1]; ++r) {
            QCOMPARE(array->at(r)->size(), rows[3]);
            for (int p = 0; p < rows[3]; p += 7) {
                const int x = rows[0] + r, y = rows[2] + p;
                if (array->at(r)->at(p).position() != QVector3D(y, x * 1000.0 + y, x))
                    QFAIL(qPrintable(QString("row %1 point %2").arg(r).arg(p)));
            }
        }
        // 0.8f lies above the double 0.8, 0.7f below 0.7: both fall outside their interval.
        const struct { double v, lo, hi; bool kept; } cases[] = {
            {0.8, 0.0, 0.8, false}, {0.5, 0.0, 0.5, true}, {0.7, 0.7, 1.0, false}, {0.6, 0.2, 0.9, true}};
        for (const auto& c : cases) {
            const Canvas uniform(c.v);
            surfaceView->setSurfaceData(uniform.table.data(), 2, 4, 0.0, 1.0, true, c.lo, c.hi);
            const QSurfaceDataArray* a = surfaceView->surfaceGraph()->seriesList().at(0)->dataProxy()->array();
            QCOMPARE(a->at(1)->at(2).y(), c.kept ? float(c.v) : 0.0f);
        }
    }

    // The buttons write every stored control and the solution list, and a load brings them
    // back; a project also brings its images back, with the AOI where the sliders put it.
    void filesRestoreEveryControl_data()
    {
        QTest::addColumn<bool>("project");
        QTest::newRow("settings") << false;
        QTest::newRow("project") << true;
    }
    void filesRestoreEveryControl()
    {
        QFETCH(bool, project);
        loadCase();
        // Geometry is set by hand: walked scales and cells would make huge images, and the
        // vertical offset decides which rows the AOI image shows.
        const QStringList geometry = {"HCells", "VCells", "horizontalSlider", "verticalSlider",
                                      "OverlayScaleT2", "OverlayScaleDWI", "OverlayScaleADC"};
        for (const StoredControl& c : StoredControlTable::controls())
            if (!geometry.contains(c.objectName))
                f.child<QWidget>(c.objectName)->setProperty(valueProperty(c.kind), within(c, 0.75));
        ui->HCells->setValue(40);
        ui->VCells->setValue(30);
        ui->OverlayScaleDWI->setValue(1.5);
        ui->verticalSlider->setValue(20);
        ui->ResultAddMaskButton->click();
        ui->ResultAddImageButton->click();
        const kelvara::ControlValues saved = f.window->controlValues();
        ui->T2SymInputImgCombo->setCurrentIndex(0);
        const QImage shownAOI = refreshedT2AOI();
        ui->T2SymInputImgCombo->setCurrentIndex(1);

        const QString path = f.dir.filePath("case.kelvara");
        WindowFixture::answerSave(path);
        (project ? ui->SaveProjectButton : ui->SaveSettingsButton)->click();
        restoreStartValues();
        f.load(ui->OverlayImgLoadT2_BMP, greyImage(64, 9), "other.bmp");
        WindowFixture::answerOpen(path);
        (project ? ui->LoadProjectButton : ui->loadSettingsButton)->click();

        const kelvara::ControlFile file(project ? kelvara::FileLayout::Project : kelvara::FileLayout::Settings);
        QCOMPARE(file.toJson(f.window->controlValues()), file.toJson(saved));
        QCOMPARE(f.window->controlValues().program, saved.program);
        if (project) {
            QCOMPARE(f.window->caseModel().source(Modality::T2).path, f.dir.filePath("t2.bmp"));
            QCOMPARE(aoiEllipse()->pos(), QPointF(0, -20));
            ui->T2SymInputImgCombo->setCurrentIndex(0);
            QCOMPARE(refreshedT2AOI(), shownAOI);
        }
    }

    // A load that changes values lists them in one panel, a clean one hides it; a file that
    // cannot be loaded or written says why and changes nothing.
    void fileMessages_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("key"); // set to value in a file of the current values
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("finding");
        auto row = [](const char* name, const char* button, const char* key, const QJsonValue& value,
                      const char* message, const char* finding) {
            QTest::newRow(name) << button << key << value << message << finding;
        };
        row("settings clamped", "loadSettingsButton", "T2Scale", 200, "", "T2Scale: 200 is outside");
        row("project clamped", "LoadProjectButton", "AOI/HCells", 5000, "", "AOI/HCells: 5000 is outside");
        row("clean project", "LoadProjectButton", "", 0, "", "");
        row("invalid settings", "loadSettingsButton", "", "{", "config.cfg': not valid JSON", "");
        row("settings not written", "SaveSettingsButton", "", 0, "Save default settings: cannot write 'config.cfg'", "");
        row("project not written", "SaveProjectButton", "", 0, "gone/case.kelvara': ", "");
    }
    void fileMessages()
    {
        QFETCH(QString, button);
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(QString, message);
        QFETCH(QString, finding);
        const bool project = button.contains("Project");
        const QString path = f.dir.filePath(project ? "case.kelvara" : "config.cfg");
        QFile::remove(path);
        const kelvara::ControlFile layout(project ? kelvara::FileLayout::Project : kelvara::FileLayout::Settings);
        QJsonObject root = layout.toJson(f.window->controlValues());
        const QJsonObject before = root;
        if (button.startsWith("Save")) {
            QVERIFY(QDir(f.dir.path()).mkpath("config.cfg")); // a folder cannot be replaced by a file
            WindowFixture::answerSave(f.dir.filePath("gone/case.kelvara"));
        } else {
            const QStringList keys = key.split('/');
            QJsonObject inner = root.value(keys.first()).toObject();
            inner.insert(keys.last(), value);
            if (!key.isEmpty())
                root.insert(keys.first(), keys.size() == 2 ? QJsonValue(inner) : value);
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(value.isString() ? value.toString().toUtf8() : QJsonDocument(root).toJson());
            file.close();
            WindowFixture::answerOpen(path);
        }
        f.messages.clear();
        f.child<QPushButton>(button)->click();
        QDir(f.dir.filePath("config.cfg")).removeRecursively();
        if (message.isEmpty())
            QCOMPARE(f.messages, QStringList());
        else
            QVERIFY2(f.messages.size() == 1 && f.messages[0].contains(message), qPrintable(f.messages.join('\n')));
        if (!message.isEmpty())
            QCOMPARE(layout.toJson(f.window->controlValues()), before);
        const QList<QDialog*> panels = f.window->findChildren<QDialog*>("LoadFindingsPanel");
        QVERIFY(panels.size() <= 1);
        QCOMPARE(!panels.isEmpty() && panels[0]->isVisible(), !finding.isEmpty());
        if (!finding.isEmpty()) {
            const QListWidget* list = panels[0]->findChild<QListWidget*>();
            QCOMPARE(list->count(), 1);
            QVERIFY2(list->item(0)->text().startsWith(finding), qPrintable(list->item(0)->text()));
        }
    }
};

// The child process of startUpExitsWithZero closes its window as soon as it is shown.
static bool closeOnShow = false;
static void scheduleClose()
{
    if (closeOnShow)
        QTimer::singleShot(0, qApp, [] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (qobject_cast<QMainWindow*>(w) && w->isVisible())
                    w->close();
        });
}
Q_COREAPP_STARTUP_FUNCTION(scheduleClose)

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--run-app") == 0) {
        closeOnShow = true;
        int one = 1;
        return runKelvara(one, argv);
    }
    QApplication app(argc, argv);
    TestWindow tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_window.moc"
