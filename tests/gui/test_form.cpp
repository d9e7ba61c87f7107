// The main window form against the product's layout: every control exists with its class,
// visible text and start properties; tabs in order; pages opening where they should.
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include <QStackedWidget>
#include <QtTest>

namespace {

struct Control {
    const char* name;
    const char* cls;
    const char* text; // text, group box title or tab title; nullptr = not checked
};

QList<Control> perModality(const QStringList& mods, const QList<QStringList>& rows)
{
    // rows: { class, text, name for T2/DWI/ADC... } with as many names as mods
    static QList<QByteArray> storage; // keeps the generated names alive
    QList<Control> out;
    for (const QStringList& r : rows) {
        for (int m = 0; m < mods.size(); ++m) {
            storage.append(r.at(2 + m).toUtf8());
            const char* name = storage.last().constData();
            storage.append(r.at(0).toUtf8());
            const char* cls = storage.last().constData();
            const char* text = nullptr;
            if (r.at(1) != QLatin1String("*")) {
                storage.append(r.at(1) == QLatin1String("@") ? mods.at(m).toUtf8() : r.at(1).toUtf8());
                text = storage.last().constData();
            }
            out.append({name, cls, text});
        }
    }
    return out;
}

QList<Control> allControls()
{
    QList<Control> c = {
        {"centralwidget", "QWidget", nullptr},
        {"tabWidget", "QTabWidget", nullptr},
        {"menubar", "QMenuBar", nullptr},
        {"statusbar", "QStatusBar", nullptr},
        // Tab 1
        {"prepareImgsTab", "QWidget", "Prepare images"},
        {"groupBox_8", "QGroupBox", "Display"},
        {"overlayImagesView", "QGraphicsView", nullptr},
        {"verticalSlider", "QSlider", nullptr},
        {"horizontalSlider", "QSlider", nullptr},
        {"groupBox_7", "QGroupBox", "Settings"},
        {"loadSettingsButton", "QPushButton", "Load default settings"},
        {"SaveSettingsButton", "QPushButton", "Save default settings"},
        {"LoadProjectButton", "QPushButton", "Load project"},
        {"SaveProjectButton", "QPushButton", "Save project"},
        {"groupBox_9", "QGroupBox", "Image T2"},
        {"groupBox_10", "QGroupBox", "Image DWI"},
        {"groupBox_11", "QGroupBox", "Image ADC"},
        {"groupBox_4", "QGroupBox", "Area of interest"},
        {"label_5", "QLabel", "Cells"},
        {"label_7", "QLabel", "Cell size"},
        {"label", "QLabel", "Horizontal"},
        {"label_3", "QLabel", "Vertical"},
        {"HCells", "QSpinBox", nullptr},
        {"HStep", "QSpinBox", nullptr},
        {"VCells", "QSpinBox", nullptr},
        {"VStep", "QSpinBox", nullptr},
        {"img1_crosshairCheckBox", "QCheckBox", "Display box"},
        {"groupBox_12", "QGroupBox", "Zoom"},
        {"OverlayZoomSlider", "QSlider", nullptr},
        // Tab 2
        {"tab_11", "QWidget", "Fast Fourier transform"},
        {"tabWidget_20", "QTabWidget", nullptr},
        {"tab_12", "QWidget", "Treshold preparation"},
        {"tabWidget_22", "QTabWidget", nullptr},
        {"tab_46", "QWidget", "Filter"},
        {"tabWidget_21", "QTabWidget", nullptr},
        // Tab 3
        {"tab_13", "QWidget", "Binary mask"},
        {"tabWidget_5", "QTabWidget", nullptr},
        // Tab 4
        {"tab_14", "QWidget", "Symmetry"},
        {"tabWidget_6", "QTabWidget", nullptr},
        {"tab_33", "QWidget", "Area of interest"},
        {"tabWidget_12", "QTabWidget", nullptr},
        {"tab_19", "QWidget", "Raw symmetry"},
        {"tabWidget_7", "QTabWidget", nullptr},
        {"tab_20", "QWidget", "Smooth symmetry"},
        {"tabWidget_8", "QTabWidget", nullptr},
        // Tab 5
        {"tab_15", "QWidget", "Symmetry product preview"},
        {"tabWidget_2", "QTabWidget", nullptr},
        {"tab", "QWidget", "2D image"},
        {"SymProdSave2DButton", "QPushButton", "Save image"},
        {"SymProdPreview_GraphicsView", "QGraphicsView", nullptr},
        {"tab_2", "QWidget", "3D"},
        {"label_46", "QLabel", "View preset"},
        {"SymProdView3D", "QComboBox", nullptr},
        {"SymProdSave3DImage", "QPushButton", "Save image"},
        {"groupBox_18", "QGroupBox", ""},
        {"groupBox_20", "QGroupBox", "Smooth symmetries"},
        {"ProductT2SmoothSymCheck", "QCheckBox", "T2  symmetry"},
        {"ProductDWISmoothSymCheck", "QCheckBox", "DWI symmetry"},
        {"ProductADCSmoothSymCheck", "QCheckBox", "ADC symmetry"},
        {"label_2", "QLabel", "Amplification"},
        {"label_4", "QLabel", "Amplification"},
        {"label_6", "QLabel", "Amplification"},
        {"ProductT2SmoothSymAmp", "QDoubleSpinBox", nullptr},
        {"ProductDWISmoothSymAmp", "QDoubleSpinBox", nullptr},
        {"ProductADCSmoothSymAmp", "QDoubleSpinBox", nullptr},
        {"ProductCalculateButton", "QPushButton", "Calculate product"},
        {"groupBox_21", "QGroupBox", "Zoom 2D image"},
        {"SymProdPreviewZoom", "QSlider", nullptr},
        // Tab 6
        {"tab_16", "QWidget", "Result"},
        {"tabWidget_11", "QTabWidget", nullptr},
        {"tab_31", "QWidget", "3D display"},
        {"label_47", "QLabel", "View preset"},
        {"ResultView3D", "QComboBox", nullptr},
        {"ResultSave3DImage", "QPushButton", "Save image"},
        {"tab_32", "QWidget", "Overlay T2 image"},
        {"ResultSave2DButton", "QPushButton", "Save image"},
        {"ResultOverlayView", "QGraphicsView", nullptr},
        {"label_42", "QLabel", "Zoom"},
        {"ResultOverlayZoom", "QSlider", nullptr},
        {"groupBox_50", "QGroupBox", ""},
        {"groupBox_15", "QGroupBox", "Form solution"},
        {"label_30", "QLabel", "Mask"},
        {"ResultMaskComboBox", "QComboBox", nullptr},
        {"ResultAddMaskButton", "QPushButton", "Add mask"},
        {"label_33", "QLabel", "Symmetry image"},
        {"ResultSymImageComboBox", "QComboBox", nullptr},
        {"label_9", "QLabel", "Image amplification"},
        {"ResultSymImageAmplification", "QDoubleSpinBox", nullptr},
        {"ResultAddImageButton", "QPushButton", "Add image"},
        {"groupBox_19", "QGroupBox", "Solution"},
        {"ResultRemoveSelectedButton", "QPushButton", "Remove selected"},
        {"ResultClearButton", "QPushButton", "Clear solution"},
        {"ResultIncludedImages", "QListWidget", nullptr},
        {"label_10", "QLabel", "Interval"},
        {"ResultMaskIntervalMin", "QDoubleSpinBox", nullptr},
        {"ResultMaskIntervalMax", "QDoubleSpinBox", nullptr},
        {"ResultIncludeIntervalIn3DGraph", "QCheckBox", "Include interval in 3d graph"},
        {"ResultCalculateButton", "QPushButton", "Calculate"},
        {"groupBox_72", "QGroupBox", "Automatic interval"},
        {"ResultAutoCorrectInterval", "QCheckBox", "Auto-correct interval"},
        {"label_68", "QLabel", "Base"},
        {"ResultAutoCorrectBaseCombo", "QComboBox", nullptr},
        {"label_69", "QLabel", "Value"},
        {"AutocorrectValue", "QLabel", ""},
        {"label_67", "QLabel", "Factor"},
        {"ResultAutoCorrectFactor", "QDoubleSpinBox", nullptr},
        {"groupBox_14", "QGroupBox", "Statistics"},
        {"label_14", "QLabel", "Suspicious area"},
        {"SusPixels", "QLabel", ""},
        {"label_24", "QLabel", "pixels"},
        {"label_17", "QLabel", "Average signal amplitude"},
        {"ResultAvgSignal", "QLabel", ""},
        {"label_48", "QLabel", "Average signal amplitude (non-masked)"},
        {"ResultAvgSignalNM", "QLabel", ""},
        // Tab 7
        {"tab_53", "QWidget", "Result evaluation"},
        {"groupBox_75", "QGroupBox", "Display"},
        {"saveEvalImageButton", "QPushButton", "Save image"},
        {"evaluationOverlay", "QGraphicsView", nullptr},
        {"groupBox_76", "QGroupBox", "Settings"},
        {"groupBox_78", "QGroupBox", ""},
        {"label_81", "QLabel", "Small area treshold"},
        {"SmallAreaTresh", "QSpinBox", nullptr},
        {"label_82", "QLabel", "Image pathology treshold"},
        {"PathologyTresh", "QSpinBox", nullptr},
        {"determinePathologyButton", "QPushButton", "Determine image pathology"},
        {"PathologyDetectedLabel", "LEDWidget", nullptr},
        {"groupBox_77", "QGroupBox", "Zoom"},
        {"evalViewZoom", "QSlider", nullptr},
    };

    const QStringList three = {"T2", "DWI", "ADC"};
    const QStringList two = {"DWI", "ADC"};
    // Prepare images, per modality.
    c += perModality(three, {
        {"QPushButton", "Load DICOM", "OverlayImgLoadT2_DICOM", "OverlayImgLoadDWI_DICOM", "OverlayImgLoadADC_DICOM"},
        {"QPushButton", "Load BMP", "OverlayImgLoadT2_BMP", "OverlayImgLoadDWI_BMP", "OverlayImgLoadADC_BMP"},
        {"QLabel", "Scale factor", "label_18", "label_19", "label_20"},
        {"QDoubleSpinBox", "*", "OverlayScaleT2", "OverlayScaleDWI", "OverlayScaleADC"},
        {"QLabel", "Image transparency", "label_21", "label_22", "label_23"},
        {"QSlider", "*", "OverlayT2Transparency", "OverlayDWITransparency", "OverlayADCTransparency"},
        {"QCheckBox", "Display image", "OverlayImgDisplayT2", "OverlayImgDisplayDWI", "OverlayImgDisplayADC"},
    });
    // Fourier threshold and filter pages.
    c += perModality(three, {
        {"QWidget", "@", "tab_50", "tab_51", "tab_52"},
        {"QGroupBox", "Display", "groupBox_26", "groupBox_61", "groupBox_64"},
        {"QGroupBox", "Settings", "groupBox_30", "groupBox_62", "groupBox_65"},
        {"QGroupBox", "", "groupBox_34", "groupBox_63", "groupBox_66"},
        {"QGroupBox", "Prepare treshold", "groupBox_69", "groupBox_70", "groupBox_71"},
        {"QGroupBox", "Zoom", "groupBox_38", "groupBox_67", "groupBox_68"},
        {"QGraphicsView", "*", "FFTTreshT2GraphicsView", "FFTTreshDWIGraphicsView", "FFTTreshADCGraphicsView"},
        {"QRadioButton", "Logaritmic", "T2DisplayFFTLog", "DWIDisplayFFTLog", "ADCDisplayFFTLog"},
        {"QRadioButton", "Direct", "T2DisplayFFTDir", "DWIDisplayFFTDir", "ADCDisplayFFTDir"},
        {"QPushButton", "Display FFT", "FFTT2DisplayFFTButton", "FFTDWIDisplayFFTButton", "FFTADCDisplayFFTButton"},
        {"QLabel", "XMin", "label_55", "label_59", "label_63"},
        {"QLabel", "XMax", "label_56", "label_60", "label_64"},
        {"QLabel", "YMin", "label_57", "label_61", "label_65"},
        {"QLabel", "YMax", "label_58", "label_62", "label_66"},
        {"QDoubleSpinBox", "*", "T2FFTTreshXMin", "DWIFFTTreshXMin", "ADCFFTTreshXMin"},
        {"QDoubleSpinBox", "*", "T2FFTTreshXMax", "DWIFFTTreshXMax", "ADCFFTTreshXMax"},
        {"QDoubleSpinBox", "*", "T2FFTTreshYMin", "DWIFFTTreshYMin", "ADCFFTTreshYMin"},
        {"QDoubleSpinBox", "*", "T2FFTTreshYMax", "DWIFFTTreshYMax", "ADCFFTTreshYMax"},
        {"QPushButton", "Display treshold", "FFTT2DisplayTreshButton", "FFTDWIDisplayTreshButton", "FFTADCDisplayTreshButton"},
        {"QLabel", "", "FFTT2TresholdLabel", "FFTDWITresholdLabel", "FFTADCTresholdLabel"},
        {"QSlider", "*", "FFTTreshT2Zoom", "FFTTreshDWIZoom", "FFTTreshADCZoom"},
        {"QWidget", "@", "tab_47", "tab_48", "tab_49"},
        {"QGroupBox", "Display", "groupBox", "groupBox_45", "groupBox_52"},
        {"QGroupBox", "Settings", "groupBox_2", "groupBox_49", "groupBox_53"},
        {"QGroupBox", "", "groupBox_13", "groupBox_16", "groupBox_17"},
        {"QGroupBox", "Zoom", "groupBox_3", "groupBox_55", "groupBox_60"},
        {"QGraphicsView", "*", "FFTFilterT2GraphicsView", "FFTFilterDWIGraphicsView", "FFTFilterADCGraphicsView"},
        {"QLabel", "Filter", "label_49", "label_52", "label_54"},
        {"QLabel", "Cutoff", "label_50", "label_51", "label_53"},
        {"QComboBox", "*", "T2FFTFilterComboBox", "DWIFFTFilterComboBox", "ADCFFTFilterComboBox"},
        {"QDoubleSpinBox", "*", "T2FFTCutoffSpinBox", "DWIFFTCutoffSpinBox", "ADCFFTCutoffSpinBox"},
        {"QDoubleSpinBox", "*", "T2FFTCutoffSpinBox2", "DWIFFTCutoffSpinBox2", "ADCFFTCutoffSpinBox2"},
        {"QPushButton", "Display result", "FFTT2DisplayResButton", "FFTDWIDisplayResButton", "FFTADCDisplayResButton"},
        {"QSlider", "*", "FFTZoomSlider", "FFTZoomSliderDWI", "FFTZoomSliderADC"},
    });
    // Binary mask pages.
    c += perModality(two, {
        {"QWidget", "@", "tab_17", "tab_18"},
        {"QTabWidget", "*", "tabWidget_9", "tabWidget_10"},
        {"QWidget", "Area of interest - image", "tab_27", "tab_29"},
        {"QWidget", "Area of interest - mask", "tab_28", "tab_30"},
        {"QWidget", "Area of interest - symmetric mask", "tab_7", "tab_10"},
        {"QGraphicsView", "*", "DWI_AOI_Img_GraphicsView", "ADC_AOI_Img_GraphicsView"},
        {"QPushButton", "Save image", "DWIBinaryMaskSaveButton", "ADCBinaryMaskSaveButton"},
        {"QGraphicsView", "*", "DWI_AOI_MaskImg_GraphicsView", "ADC_AOI_MaskImg_GraphicsView"},
        {"QPushButton", "Save image", "DWIBinarySymMaskSaveButton", "ADCBinarySymMaskSaveButton"},
        {"QGraphicsView", "*", "DWI_AOI_SymMaskImg_GraphicsView", "ADC_AOI_SymMaskImg_GraphicsView"},
        {"QGroupBox", "", "groupBox_22", "groupBox_23"},
        {"QLabel", "Input", "label_70", "label_71"},
        {"QComboBox", "*", "DWIBinMaskInputImgCombo", "ADCBinMaskInputImgCombo"},
        {"QLabel", "Interval", "label_15", "label_16"},
        {"QSpinBox", "*", "DWI_IntervalLeft", "ADC_IntervalLeft"},
        {"QSpinBox", "*", "DWI_IntervalRight", "ADC_IntervalRight"},
        {"QPushButton", "Recalculate mask", "DWIRecalculateMaskButton", "ADCRecalculateMaskButton"},
        {"QGroupBox", "Automatic interval", "groupBox_73", "groupBox_74"},
        {"QCheckBox", "Auto-correct interval", "BinMaskDWIAutoCorrectInterval", "BinMaskADCAutoCorrectInterval"},
        {"QLabel", "Base", "label_75", "label_78"},
        {"QLabel", "Value", "label_76", "label_79"},
        {"QLabel", "Factor", "label_77", "label_80"},
        {"QComboBox", "*", "BinMaskDWIAutoCorrectBaseCombo", "BinMaskADCAutoCorrectBaseCombo"},
        {"QLabel", "", "BinMaskDWIAutocorrectValue", "BinMaskADCAutocorrectValue"},
        {"QDoubleSpinBox", "*", "BinMaskDWIAutoCorrectFactor", "BinMaskADCAutoCorrectFactor"},
        {"QGroupBox", "Area of interest - statistical info", "groupBox_51", "groupBox_6"},
        {"QLabel", "Average value - image", "label_43", "label_27"},
        {"QLabel", "", "DWI_AOI_ImgAvg", "ADC_AOI_ImgAvg"},
        {"QLabel", "Average value - mask", "label_44", "label_28"},
        {"QLabel", "", "DWI_AOI_MaskAvg", "ADC_AOI_MaskAvg"},
        {"QGroupBox", "Zoom", "groupBox_24", "groupBox_25"},
        {"QSlider", "*", "DWIZoomSlider", "ADCZoomSlider"},
    });
    // Symmetry pages.
    c += perModality(three, {
        {"QWidget", "@", "tab_34", "tab_35", "tab_36"},
        {"QTabWidget", "*", "tabWidget_3", "tabWidget_4", "tabWidget_13"},
        {"QWidget", "2D image", "tab_5", "tab_3", "tab_4"},
        {"QGraphicsView", "*", "SymmetryAOIT2View", "SymmetryAOIDWIView", "SymmetryAOIADCView"},
        {"QGroupBox", "", "groupBox_54", "groupBox_5", "groupBox_56"},
        {"QLabel", "Input image", "label_72", "label_73", "label_74"},
        {"QComboBox", "*", "T2SymInputImgCombo", "DWISymInputImgCombo", "ADCSymInputImgCombo"},
        {"QPushButton", "Refresh", "SymmetryAOIT2RefreshButton", "SymmetryAOIDWIRefreshButton", "SymmetryAOIADCRefreshButton"},
        {"QGroupBox", "Zoom", "groupBox_57", "groupBox_58", "groupBox_59"},
        {"QSlider", "*", "SymmetryAOIT2Zoom", "SymmetryAOIDWIZoom", "SymmetryAOIADCZoom"},
        {"QWidget", "@", "tab_21", "tab_22", "tab_23"},
        {"QTabWidget", "*", "tabWidget_14", "tabWidget_15", "tabWidget_16"},
        {"QWidget", "2D image", "tab_6", "tab_9", "tab_38"},
        {"QWidget", "3D", "tab_8", "tab_37", "tab_39"},
        {"QPushButton", "Save image", "T2SaveRawSymmetry2DButton", "DWISaveRawSymmetry2DButton", "ADCSaveRawSymmetry2DButton"},
        {"QGraphicsView", "*", "T2_AOI_SymImg_GraphicsView", "DWI_AOI_SymImg_GraphicsView", "ADC_AOI_SymImg_GraphicsView"},
        {"QLabel", "View preset", "label_25", "label_26", "label_29"},
        {"QComboBox", "*", "T2View3DRawSymmetry", "DWIView3DRawSymmetry", "ADCView3DRawSymmetry"},
        {"QPushButton", "Save image", "T2SaveRawSymmetry3DButton", "DWISaveRawSymmetry3DButton", "ADCSaveRawSymmetry3DButton"},
        {"QGroupBox", "", "groupBox_27", "groupBox_31", "groupBox_35"},
        {"QGroupBox", "", "groupBox_29", "groupBox_32", "groupBox_36"},
        {"QGroupBox", "Zoom 2D image", "groupBox_28", "groupBox_33", "groupBox_37"},
        {"QCheckBox", "Inverted", "T2SymInverted", "DWISymInverted", "ADCSymInverted"},
        {"QPushButton", "Recalculate symmetry", "T2RecalculateSymmetryButton", "DWIRecalculateSymmetryButton", "ADCRecalculateSymmetryButton"},
        {"QSlider", "*", "T2RawSymZoom", "DWIRawSymZoom", "ADCRawSymZoom"},
        {"QWidget", "@", "tab_24", "tab_25", "tab_26"},
        {"QTabWidget", "*", "tabWidget_17", "tabWidget_18", "tabWidget_19"},
        {"QWidget", "2D image", "tab_40", "tab_42", "tab_44"},
        {"QWidget", "3D", "tab_41", "tab_43", "tab_45"},
        {"QPushButton", "Save image", "T2SaveSmoothSymmetry2DButton", "DWISaveSmoothSymmetry2DButton", "ADCSaveSmoothSymmetry2DButton"},
        {"QGraphicsView", "*", "T2_AOI_SymSmoothImg_GraphicsView", "DWI_AOI_SymSmoothImg_GraphicsView", "ADC_AOI_SymSmoothImg_GraphicsView"},
        {"QLabel", "View preset", "label_31", "label_32", "label_45"},
        {"QComboBox", "*", "T2View3DSmoothSymmetry", "DWIView3DSmoothSymmetry", "ADCView3DSmoothSymmetry"},
        {"QPushButton", "Save image", "T2SaveSmoothSymmetry3DButton", "DWISaveSmoothSymmetry3DButton", "ADCSaveSmoothSymmetry3DButton"},
        {"QGroupBox", "", "groupBox_39", "groupBox_42", "groupBox_46"},
        {"QGroupBox", "", "groupBox_40", "groupBox_43", "groupBox_47"},
        {"QGroupBox", "Zoom 2D image", "groupBox_41", "groupBox_44", "groupBox_48"},
        {"QLabel", "Filter shape", "label_8", "label_34", "label_38"},
        {"QLabel", "Approach", "label_13", "label_35", "label_39"},
        {"QComboBox", "*", "T2FilterShapeComboBox", "DWIFilterShapeComboBox", "ADCFilterShapeComboBox"},
        {"QComboBox", "*", "T2ApproachComboBox", "DWIApproachComboBox", "ADCApproachComboBox"},
        {"QGroupBox", "Circle radius", "T2CircleRadius", "DWICircleRadius", "ADCCircleRadius"},
        {"QSlider", "*", "T2CircleRadSlider", "DWICircleRadSlider", "ADCCircleRadSlider"},
        {"QSpinBox", "*", "T2CircleRad", "DWICircleRad", "ADCCircleRad"},
        {"QGroupBox", "Rectangle radii", "T2RectangleDims", "DWIRectangleDims", "ADCRectangleDims"},
        {"QLabel", "Horizontal", "label_11", "label_36", "label_40"},
        {"QLabel", "Vertical", "label_12", "label_37", "label_41"},
        {"QSlider", "*", "T2RectDimXSlider", "DWIRectDimXSlider", "ADCRectDimXSlider"},
        {"QSlider", "*", "T2RectDimYSlider", "DWIRectDimYSlider", "ADCRectDimYSlider"},
        {"QSpinBox", "*", "T2RectDimX", "DWIRectDimX", "ADCRectDimX"},
        {"QSpinBox", "*", "T2RectDimY", "DWIRectDimY", "ADCRectDimY"},
        {"QPushButton", "Filter symmetry", "T2FilterSymmetryButton", "DWIFilterSymmetryButton", "ADCFilterSymmetryButton"},
        {"QSlider", "*", "T2SmoothSymZoom", "DWISmoothSymZoom", "ADCSmoothSymZoom"},
    });
    return c;
}

QString shownText(QWidget* w)
{
    if (auto* b = qobject_cast<QAbstractButton*>(w))
        return b->text();
    if (auto* l = qobject_cast<QLabel*>(w))
        return l->text();
    if (auto* g = qobject_cast<QGroupBox*>(w))
        return g->title();
    // A tab page: its title in the parent tab widget.
    auto* stack = w->parentWidget();
    auto* tabs = stack ? qobject_cast<QTabWidget*>(stack->parentWidget()) : nullptr;
    if (tabs && tabs->indexOf(w) >= 0)
        return tabs->tabText(tabs->indexOf(w));
    return QStringLiteral("<no text>");
}

} // namespace

class TestForm : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> window;

    template <typename T> T* find(const char* name) { return window->findChild<T*>(QLatin1String(name)); }

private slots:
    void initTestCase()
    {
        // No settings file in the working directory: the form defaults stay.
        QDir::setCurrent(QDir::tempPath());
        QFile::remove(QStringLiteral("config.cfg"));
        window = std::make_unique<MainWindow>();
    }
    void cleanupTestCase() { window.reset(); }

    void windowTitleAndSize()
    {
        QCOMPARE(window->windowTitle(), QStringLiteral("Kelvara V1"));
        QCOMPARE(window->size(), QSize(1267, 943));
        QCOMPARE(window->minimumSize(), QSize(0, 0));
        QVERIFY(window->menuBar()->actions().isEmpty());
    }

    void controls_data()
    {
        QTest::addColumn<QString>("cls");
        QTest::addColumn<bool>("checkText");
        QTest::addColumn<QString>("text");
        QSet<QByteArray> seen;
        for (const Control& c : allControls()) {
            QVERIFY2(!seen.contains(c.name), c.name); // the table itself must not repeat a name
            seen.insert(c.name);
            QTest::newRow(c.name) << QString::fromLatin1(c.cls) << (c.text != nullptr)
                                  << QString::fromUtf8(c.text ? c.text : "");
        }
    }
    void controls()
    {
        QFETCH(QString, cls);
        QFETCH(bool, checkText);
        QFETCH(QString, text);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        const QList<QWidget*> found = window->findChildren<QWidget*>(name);
        QCOMPARE(found.size(), 1); // objectNames are unique in the window
        QCOMPARE(QString::fromLatin1(found.first()->metaObject()->className()), cls);
        if (checkText)
            QCOMPARE(shownText(found.first()), text);
    }

    void graphPlaceholdersAreLayouts_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* n : {"RawSymT2Graph", "RawSymDWIGraph", "RawSymADCGraph", "SmoothSymT2Graph",
                              "SmoothSymDWIGraph", "SmoothSymADCGraph", "SymProdGraph", "Result3D"})
            QTest::newRow(n) << QString::fromLatin1(n);
    }
    void graphPlaceholdersAreLayouts()
    {
        QFETCH(QString, name);
        auto* layout = window->findChild<QHBoxLayout*>(name);
        QVERIFY(layout);
        QVERIFY(!window->findChild<QWidget*>(name));
    }

    void properties_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QVariantMap>("props");
        auto row = [](const char* tag, QStringList names, QVariantMap props) {
            QTest::newRow(tag) << names << props;
        };
        const QStringList zooms = {"OverlayZoomSlider", "FFTTreshT2Zoom", "FFTTreshDWIZoom", "FFTTreshADCZoom",
                                   "FFTZoomSlider", "FFTZoomSliderDWI", "FFTZoomSliderADC", "DWIZoomSlider",
                                   "ADCZoomSlider", "SymmetryAOIT2Zoom", "SymmetryAOIDWIZoom", "SymmetryAOIADCZoom",
                                   "T2RawSymZoom", "DWIRawSymZoom", "ADCRawSymZoom", "T2SmoothSymZoom",
                                   "DWISmoothSymZoom", "ADCSmoothSymZoom", "SymProdPreviewZoom", "evalViewZoom"};
        row("AOI position sliders", {"verticalSlider", "horizontalSlider"},
            {{"minimum", -500}, {"maximum", 500}, {"value", 0}});
        row("vertical slider", {"verticalSlider"}, {{"orientation", int(Qt::Vertical)}});
        row("scales and amplifications",
            {"OverlayScaleT2", "OverlayScaleDWI", "OverlayScaleADC", "ProductT2SmoothSymAmp", "ProductDWISmoothSymAmp",
             "ProductADCSmoothSymAmp", "ResultSymImageAmplification"},
            {{"singleStep", 0.1}, {"value", 1.0}, {"minimum", 0.0}, {"maximum", 99.99}, {"decimals", 2}});
        row("checked boxes", {"OverlayImgDisplayT2", "OverlayImgDisplayDWI", "OverlayImgDisplayADC", "img1_crosshairCheckBox",
                              "T2DisplayFFTLog", "DWIDisplayFFTLog", "ADCDisplayFFTLog"}, {{"checked", true}});
        row("unchecked boxes", {"T2DisplayFFTDir", "T2SymInverted", "ResultIncludeIntervalIn3DGraph", "ResultAutoCorrectInterval",
                                "BinMaskDWIAutoCorrectInterval", "ProductT2SmoothSymCheck"}, {{"checked", false}});
        row("cells", {"HCells", "VCells"}, {{"minimum", 1}, {"maximum", 1000}, {"value", 50}, {"enabled", true}});
        row("cell size", {"HStep", "VStep"}, {{"minimum", 1}, {"maximum", 1000}, {"value", 1}, {"enabled", false}});
        row("zoom sliders", zooms, {{"minimum", 1}, {"maximum", 500}, {"value", 100}, {"orientation", int(Qt::Horizontal)}});
        row("result overlay zoom", {"ResultOverlayZoom"}, {{"minimum", 1}, {"maximum", 1000}, {"value", 100}});
        row("threshold window",
            {"T2FFTTreshXMin", "T2FFTTreshXMax", "T2FFTTreshYMin", "T2FFTTreshYMax", "DWIFFTTreshXMin", "DWIFFTTreshXMax",
             "DWIFFTTreshYMin", "DWIFFTTreshYMax", "ADCFFTTreshXMin", "ADCFFTTreshXMax", "ADCFFTTreshYMin", "ADCFFTTreshYMax"},
            {{"decimals", 3}, {"minimum", 0.0}, {"maximum", 1.0}, {"singleStep", 0.1}, {"value", 0.0}});
        row("cutoffs",
            {"T2FFTCutoffSpinBox", "T2FFTCutoffSpinBox2", "DWIFFTCutoffSpinBox", "DWIFFTCutoffSpinBox2", "ADCFFTCutoffSpinBox",
             "ADCFFTCutoffSpinBox2"},
            {{"decimals", 4}, {"minimum", 0.0}, {"maximum", 1.0}, {"singleStep", 0.1}, {"value", 0.0}});
        row("mask bounds at 0", {"DWI_IntervalLeft", "ADC_IntervalLeft", "ADC_IntervalRight"},
            {{"minimum", 0}, {"maximum", 255}, {"value", 0}});
        row("DWI upper bound", {"DWI_IntervalRight"}, {{"minimum", 0}, {"maximum", 255}, {"value", 255}});
        row("factors", {"BinMaskDWIAutoCorrectFactor", "BinMaskADCAutoCorrectFactor", "ResultAutoCorrectFactor"},
            {{"minimum", 0.0}, {"maximum", 255.0}, {"value", 1.0}, {"decimals", 2}, {"singleStep", 1.0}});
        row("circle radius",
            {"T2CircleRadSlider", "T2CircleRad", "DWICircleRadSlider", "DWICircleRad", "ADCCircleRadSlider", "ADCCircleRad"},
            {{"minimum", 1}, {"maximum", 100}, {"value", 1}});
        row("rectangle",
            {"T2RectDimXSlider", "T2RectDimYSlider", "T2RectDimX", "T2RectDimY", "DWIRectDimXSlider", "DWIRectDimYSlider",
             "DWIRectDimX", "DWIRectDimY", "ADCRectDimXSlider", "ADCRectDimYSlider", "ADCRectDimX", "ADCRectDimY"},
            {{"minimum", 0}, {"maximum", 100}, {"value", 0}});
        row("result interval min", {"ResultMaskIntervalMin"}, {{"minimum", 0.0}, {"maximum", 255.0}, {"value", 0.0}});
        row("result interval max", {"ResultMaskIntervalMax"}, {{"minimum", 0.0}, {"maximum", 255.0}, {"value", 255.0}});
        row("evaluation thresholds", {"SmallAreaTresh", "PathologyTresh"}, {{"minimum", 0}, {"maximum", 2000}, {"value", 0}});
        row("transparency", {"OverlayT2Transparency", "OverlayDWITransparency", "OverlayADCTransparency"},
            {{"minimum", 0}, {"maximum", 99}, {"value", 0}, {"orientation", int(Qt::Horizontal)}});
        row("lamp", {"PathologyDetectedLabel"}, {{"minimumSize", QSize(0, 200)}});
    }
    void properties()
    {
        QFETCH(QStringList, names);
        QFETCH(QVariantMap, props);
        for (const QString& n : names) {
            QWidget* w = window->findChild<QWidget*>(n);
            QVERIFY2(w, qPrintable(n));
            for (auto it = props.cbegin(); it != props.cend(); ++it) {
                const QVariant actual = w->property(it.key().toLatin1());
                QVERIFY2(actual.isValid(), qPrintable(n + "." + it.key()));
                const bool same = it.value().typeId() == QMetaType::Double
                                      ? qFuzzyCompare(actual.toDouble() + 1, it.value().toDouble() + 1)
                                      : (it.value().typeId() == QMetaType::Int ? actual.toInt() == it.value().toInt()
                                                                               : actual == it.value());
                QVERIFY2(same, qPrintable(QString("%1.%2 = %3, expected %4")
                                              .arg(n, it.key(), actual.toString(), it.value().toString())));
            }
        }
    }

    void tabs_data()
    {
        QTest::addColumn<QString>("tabWidget");
        QTest::addColumn<QStringList>("pages");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<int>("current");
        QTest::newRow("top") << "tabWidget"
                             << QStringList{"prepareImgsTab", "tab_11", "tab_13", "tab_14", "tab_15", "tab_16", "tab_53"}
                             << QStringList{"Prepare images", "Fast Fourier transform", "Binary mask", "Symmetry",
                                            "Symmetry product preview", "Result", "Result evaluation"}
                             << 0;
        QTest::newRow("fourier") << "tabWidget_20" << QStringList{"tab_12", "tab_46"}
                                 << QStringList{"Treshold preparation", "Filter"} << 0;
        QTest::newRow("threshold") << "tabWidget_22" << QStringList{"tab_50", "tab_51", "tab_52"}
                                   << QStringList{"T2", "DWI", "ADC"} << 0;
        QTest::newRow("filter") << "tabWidget_21" << QStringList{"tab_47", "tab_48", "tab_49"}
                                << QStringList{"T2", "DWI", "ADC"} << 0;
        QTest::newRow("mask") << "tabWidget_5" << QStringList{"tab_17", "tab_18"} << QStringList{"DWI", "ADC"} << 0;
        QTest::newRow("symmetry") << "tabWidget_6" << QStringList{"tab_33", "tab_19", "tab_20"}
                                  << QStringList{"Area of interest", "Raw symmetry", "Smooth symmetry"} << 0;
        QTest::newRow("symmetry aoi") << "tabWidget_12" << QStringList{"tab_34", "tab_35", "tab_36"}
                                      << QStringList{"T2", "DWI", "ADC"} << 0;
        QTest::newRow("raw") << "tabWidget_7" << QStringList{"tab_21", "tab_22", "tab_23"}
                             << QStringList{"T2", "DWI", "ADC"} << 0;
        QTest::newRow("smooth") << "tabWidget_8" << QStringList{"tab_24", "tab_25", "tab_26"}
                                << QStringList{"T2", "DWI", "ADC"} << 0;
        QTest::newRow("product") << "tabWidget_2" << QStringList{"tab", "tab_2"} << QStringList{"2D image", "3D"} << 0;
        QTest::newRow("result opens on the overlay")
            << "tabWidget_11" << QStringList{"tab_31", "tab_32"} << QStringList{"3D display", "Overlay T2 image"} << 1;
        QTest::newRow("DWI mask views") << "tabWidget_9" << QStringList{"tab_27", "tab_28", "tab_7"}
                                        << QStringList{"Area of interest - image", "Area of interest - mask",
                                                       "Area of interest - symmetric mask"}
                                        << 0;
    }
    void tabs()
    {
        QFETCH(QString, tabWidget);
        QFETCH(QStringList, pages);
        QFETCH(QStringList, titles);
        QFETCH(int, current);
        auto* tw = window->findChild<QTabWidget*>(tabWidget);
        QVERIFY(tw);
        QCOMPARE(tw->count(), pages.size());
        for (int i = 0; i < pages.size(); ++i) {
            QCOMPARE(tw->widget(i)->objectName(), pages.at(i));
            QCOMPARE(tw->tabText(i), titles.at(i));
        }
        QCOMPARE(tw->currentIndex(), current);
    }

    // Controls of one settings column stand top to bottom in the documented order.
    void order_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::newRow("prepare images")
            << QStringList{"loadSettingsButton", "LoadProjectButton", "groupBox_9", "groupBox_10",
                           "groupBox_11", "groupBox_4", "img1_crosshairCheckBox", "groupBox_12"};
        QTest::newRow("threshold page") << QStringList{"T2DisplayFFTLog", "T2DisplayFFTDir", "FFTT2DisplayFFTButton",
                                                       "T2FFTTreshXMin", "T2FFTTreshXMax", "T2FFTTreshYMin",
                                                       "T2FFTTreshYMax", "FFTT2DisplayTreshButton", "FFTTreshT2Zoom"};
        QTest::newRow("mask page") << QStringList{"DWIBinMaskInputImgCombo", "DWI_IntervalLeft", "DWIRecalculateMaskButton",
                                                  "BinMaskDWIAutoCorrectInterval", "BinMaskDWIAutoCorrectBaseCombo",
                                                  "BinMaskDWIAutocorrectValue", "BinMaskDWIAutoCorrectFactor",
                                                  "DWI_AOI_ImgAvg", "DWI_AOI_MaskAvg", "DWIZoomSlider"};
        QTest::newRow("smooth page") << QStringList{"T2FilterShapeComboBox", "T2ApproachComboBox",
                                                    "T2RectangleDims", "T2FilterSymmetryButton", "T2SmoothSymZoom"};
        QTest::newRow("result column") << QStringList{"groupBox_15", "groupBox_19", "groupBox_72", "groupBox_14"};
        QTest::newRow("solution group") << QStringList{"ResultRemoveSelectedButton", "ResultIncludedImages",
                                                       "ResultMaskIntervalMin", "ResultIncludeIntervalIn3DGraph",
                                                       "ResultCalculateButton"};
        QTest::newRow("evaluation column") << QStringList{"groupBox_78", "determinePathologyButton",
                                                          "PathologyDetectedLabel", "groupBox_77"};
    }
    void order()
    {
        QFETCH(QStringList, names);
        window->resize(1267, 943);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        int lastY = -1;
        for (const QString& n : names) {
            QWidget* w = window->findChild<QWidget*>(n);
            QVERIFY2(w, qPrintable(n));
            // Bring every enclosing page to the front so that its layout is active.
            for (QWidget* p = w; p; p = p->parentWidget())
                if (auto* tw = qobject_cast<QTabWidget*>(p->parentWidget() ? p->parentWidget()->parentWidget() : nullptr))
                    tw->setCurrentWidget(p);
            QCoreApplication::processEvents();
            // Compare positions within the page, so nesting does not matter.
            QWidget* page = w;
            while (page->parentWidget() && !qobject_cast<QStackedWidget*>(page->parentWidget()))
                page = page->parentWidget();
            const int y = w->mapTo(page, QPoint(0, 0)).y();
            QVERIFY2(y > lastY, qPrintable(n + " is not below its predecessor"));
            lastY = y;
        }
    }
};

QTEST_MAIN(TestForm)
#include "test_form.moc"
