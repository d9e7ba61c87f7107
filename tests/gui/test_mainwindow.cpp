// MainWindow construction: every slot wired exactly once to the signal its name designates,
// the start-up state, zooming, and the real start-up path ending with exit code 0.
#include "KelvaraApp.h"
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include <QtTest>

namespace {

// QObject::receivers is protected; a pointer to member taken through a derived class is the
// legal way to reach it.
struct ReceiverCount : QObject {
    static int of(const QObject* o, const QByteArray& signal)
    {
        return (o->*(&ReceiverCount::receivers))(signal.constData());
    }
};

QStringList warnings;
void collect(QtMsgType type, const QMessageLogContext&, const QString& msg)
{
    if (type == QtWarningMsg)
        warnings << msg;
}

// The form connects each kernel slider with its spin box in both directions.
const QSet<QString> kSyncedControls = {
    "T2CircleRadSlider", "T2CircleRad", "T2RectDimXSlider", "T2RectDimX", "T2RectDimYSlider", "T2RectDimY",
    "DWICircleRadSlider", "DWICircleRad", "DWIRectDimXSlider", "DWIRectDimX", "DWIRectDimYSlider", "DWIRectDimY",
    "ADCCircleRadSlider", "ADCCircleRad", "ADCRectDimXSlider", "ADCRectDimX", "ADCRectDimYSlider", "ADCRectDimY"};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;

private slots:
    void initTestCase()
    {
        QDir::setCurrent(QDir::tempPath());
        QFile::remove(QStringLiteral("config.cfg"));
        auto previous = qInstallMessageHandler(collect);
        window = std::make_unique<MainWindow>();
        qInstallMessageHandler(previous);
        ui = window->form();
    }
    void cleanupTestCase() { window.reset(); }

    void noUnmatchedSlotWarnings()
    {
        for (const QString& w : std::as_const(warnings))
            QVERIFY2(!w.contains(QLatin1String("No matching signal")) &&
                         !w.contains(QLatin1String("connectSlotsByName")),
                     qPrintable(w));
    }

    void slotConnections_data()
    {
        QTest::addColumn<QString>("object");
        QTest::addColumn<QByteArray>("signal");
        const QMetaObject* mo = window->metaObject();
        int count = 0;
        for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
            const QMetaMethod m = mo->method(i);
            const QString name = QString::fromLatin1(m.name());
            if (m.methodType() != QMetaMethod::Slot || !name.startsWith(QLatin1String("on_")))
                continue;
            ++count;
            const int cut = name.lastIndexOf(QLatin1Char('_'));
            const QString object = name.mid(3, cut - 3);
            QByteArray signal = name.mid(cut + 1).toLatin1() + "(";
            signal += m.parameterTypes().join(',') + ")";
            QTest::newRow(qPrintable(name)) << object << signal;
        }
        QCOMPARE(count, 91);
    }
    void slotConnections()
    {
        QFETCH(QString, object);
        QFETCH(QByteArray, signal);
        QObject* sender = window->findChild<QObject*>(object);
        QVERIFY2(sender, qPrintable(object));
        const int index = sender->metaObject()->indexOfSignal(signal.constData());
        QVERIFY2(index >= 0, signal.constData());
        // Exactly one connection to the window, plus the form's own slider <-> spin box link.
        const int expected = 1 + (kSyncedControls.contains(object) ? 1 : 0);
        QCOMPARE(ReceiverCount::of(sender, QByteArray::number(QSIGNAL_CODE) + signal), expected);
    }

    void comboBoxes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QStringList>("data");
        const QStringList filters = {"Low-pass filter", "High-pass filter", "Band-pass filter", "Band-reject filter"};
        const QStringList inputs = {"Original image", "FFT filtered image"};
        for (const char* n : {"T2FFTFilterComboBox", "DWIFFTFilterComboBox", "ADCFFTFilterComboBox"})
            QTest::newRow(n) << n << filters << QStringList();
        QTest::newRow("ResultAutoCorrectBaseCombo")
            << "ResultAutoCorrectBaseCombo"
            << QStringList{"T2 Fourier", "DWI Fourier", "ADC Fourier", "Non-masked average"} << QStringList();
        for (const char* n : {"DWIBinMaskInputImgCombo", "ADCBinMaskInputImgCombo", "T2SymInputImgCombo",
                              "DWISymInputImgCombo", "ADCSymInputImgCombo"})
            QTest::newRow(n) << n << inputs << QStringList();
        for (const char* n : {"BinMaskADCAutoCorrectBaseCombo", "BinMaskDWIAutoCorrectBaseCombo"})
            QTest::newRow(n) << n << QStringList{"FFT", "Average"} << QStringList();
        for (const char* m : {"T2", "DWI", "ADC"}) {
            const QString shape = QString("%1FilterShapeComboBox").arg(m);
            const QString approach = QString("%1ApproachComboBox").arg(m);
            QTest::newRow(qPrintable(shape)) << shape << QStringList{"Rectangle", "Circle"} << QStringList();
            QTest::newRow(qPrintable(approach))
                << approach << QStringList{"Average symmetries", "Average image"} << QStringList();
        }
        QTest::newRow("ResultSymImageComboBox")
            << "ResultSymImageComboBox"
            << QStringList{"T2 smooth symmetry", "DWI smooth symmetry", "ADC smooth symmetry"}
            << QStringList{"SS_T2", "SS_DWI", "SS_ADC"};
        QTest::newRow("ResultMaskComboBox")
            << "ResultMaskComboBox"
            << QStringList{"DWI mask", "ADC mask", "DWI simmetrical mask", "ADC simmetrical mask"}
            << QStringList{"M_DWI", "M_ADC", "MS_DWI", "MS_ADC"};
    }
    void comboBoxes()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, items);
        QFETCH(QStringList, data);
        auto* c = window->findChild<QComboBox*>(name);
        QVERIFY(c);
        QCOMPARE(c->count(), items.size());
        for (int i = 0; i < items.size(); ++i) {
            QCOMPARE(c->itemText(i), items.at(i));
            if (!data.isEmpty())
                QCOMPARE(c->itemData(i).toString(), data.at(i));
            else
                QVERIFY(!c->itemData(i).isValid());
        }
        QCOMPARE(c->currentIndex(), 0);
    }

    void startupVisibility_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("visible");
        for (const char* m : {"T2", "DWI", "ADC"}) {
            QTest::newRow(qPrintable(QString("%1 circle hidden").arg(m))) << QString("%1CircleRadius").arg(m) << false;
            QTest::newRow(qPrintable(QString("%1 rectangle shown").arg(m))) << QString("%1RectangleDims").arg(m) << true;
        }
        QTest::newRow("HStep") << "HStep" << false;
        QTest::newRow("VStep") << "VStep" << false;
        QTest::newRow("label_7") << "label_7" << false;
        QTest::newRow("HCells") << "HCells" << true;
    }
    void startupVisibility()
    {
        QFETCH(QString, name);
        QFETCH(bool, visible);
        QWidget* w = window->findChild<QWidget*>(name);
        QVERIFY(w);
        QCOMPARE(w->isVisibleTo(w->parentWidget()), visible);
    }

    // Views bound to their graphics views; every zoom slider replaces its views' transform.
    void zoom_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<QStringList>("views");
        QTest::newRow("DWI mask tab") << "DWIZoomSlider"
                                      << QStringList{"DWI_AOI_Img_GraphicsView", "DWI_AOI_MaskImg_GraphicsView",
                                                     "DWI_AOI_SymMaskImg_GraphicsView"};
        QTest::newRow("ADC mask tab") << "ADCZoomSlider"
                                      << QStringList{"ADC_AOI_Img_GraphicsView", "ADC_AOI_MaskImg_GraphicsView",
                                                     "ADC_AOI_SymMaskImg_GraphicsView"};
        QTest::newRow("T2 spectrum") << "FFTTreshT2Zoom" << QStringList{"FFTTreshT2GraphicsView"};
        QTest::newRow("DWI spectrum") << "FFTTreshDWIZoom" << QStringList{"FFTTreshDWIGraphicsView"};
        QTest::newRow("ADC spectrum") << "FFTTreshADCZoom" << QStringList{"FFTTreshADCGraphicsView"};
        QTest::newRow("T2 filtered") << "FFTZoomSlider" << QStringList{"FFTFilterT2GraphicsView"};
        QTest::newRow("DWI filtered") << "FFTZoomSliderDWI" << QStringList{"FFTFilterDWIGraphicsView"};
        QTest::newRow("ADC filtered") << "FFTZoomSliderADC" << QStringList{"FFTFilterADCGraphicsView"};
        QTest::newRow("T2 symmetry input") << "SymmetryAOIT2Zoom" << QStringList{"SymmetryAOIT2View"};
        QTest::newRow("DWI symmetry input") << "SymmetryAOIDWIZoom" << QStringList{"SymmetryAOIDWIView"};
        QTest::newRow("ADC symmetry input") << "SymmetryAOIADCZoom" << QStringList{"SymmetryAOIADCView"};
    }
    void zoom()
    {
        QFETCH(QString, slider);
        QFETCH(QStringList, views);
        auto* s = window->findChild<QSlider*>(slider);
        QVERIFY(s);
        s->setValue(250);
        s->setValue(40); // replaces, does not compound
        for (const QString& v : views) {
            auto* gv = window->findChild<QGraphicsView*>(v);
            QVERIFY(gv);
            QVERIFY2(gv->scene(), qPrintable(v + " has no scene"));
            QCOMPARE(gv->transform(), QTransform::fromScale(0.4, 0.4));
            QCOMPARE(gv->renderHints(), QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        }
        s->setValue(100);
    }

    void kernelSlidersFollowSpinBoxes()
    {
        ui->DWIRectDimX->setValue(17);
        QCOMPARE(ui->DWIRectDimXSlider->value(), 17);
        ui->ADCCircleRadSlider->setValue(42);
        QCOMPARE(ui->ADCCircleRad->value(), 42);
    }
};

// runKelvara creates its own QApplication, so it is exercised from a separate process entry:
// when this binary is started with the argument "--run-app" it runs the program and closes its
// window as soon as it is shown.
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

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void runsAndExitsWithZero()
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
};

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--run-app") == 0) {
        closeOnShow = true;
        int one = 1;
        return runKelvara(one, argv);
    }
    QApplication app(argc, argv);
    TestMainWindow windowTests;
    TestStartup startupTests;
    int rc = QTest::qExec(&windowTests, argc, argv);
    rc |= QTest::qExec(&startupTests, argc, argv);
    return rc;
}

#include "test_mainwindow.moc"
