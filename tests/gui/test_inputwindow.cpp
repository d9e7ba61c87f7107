// The window's input side: loading through the file dialogs (BMP and DICOM, failures and
// cancel), the overlay controls, the AOI controls and sources, and when the AOI images are
// extracted again.
#include "AOIOracle.h"
#include "DICOMUtil.h"
#include "Dialogs.h"
#include "MainWindow.h"
#include "TransparentPixmapItem.h"
#include "ui_MainWindow.h"

#include <QGraphicsEllipseItem>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <functional>

using kelvara::Modality;

namespace {

// Counts the paint events a widget receives.
class PaintCounter : public QObject
{
public:
    int count = 0;
    bool eventFilter(QObject*, QEvent* e) override
    {
        if (e->type() == QEvent::Paint)
            ++count;
        return false;
    }
};

QImage colourImage(int w, int h, int seed)
{
    QImage img(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.setPixel(x, y,
                         qRgb((x * 3 + seed) & 0xFF, (y * 5 + seed * 7) & 0xFF, (x * y) & 0xFF));
    return img;
}

const char* kPydicomFiles = "/usr/lib/python3/dist-packages/pydicom/data/test_files";

} // namespace

class TestInputWindow : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;

    // What the dialog seam was asked (caption, start, filter) and what it answers.
    QList<QStringList> calls;
    QString answer;

    QString writeBmp(const QString& name, const QImage& image)
    {
        const QString path = dir.filePath(name);
        if (!image.save(path, "BMP"))
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

    QPushButton* loadButton(Modality m, bool dicom)
    {
        return window->findChild<QPushButton*>(QStringLiteral("OverlayImgLoad%1_%2")
                                                   .arg(kelvara::modalityName(m))
                                                   .arg(dicom ? "DICOM" : "BMP"));
    }

    void loadThroughDialog(Modality m, bool dicom, const QString& path)
    {
        answer = path;
        loadButton(m, dicom)->click();
    }

    ImageScene& source(Modality m)
    {
        switch (m) {
        case Modality::T2:
            return window->t2AOISource;
        case Modality::DWI:
            return window->dwiAOISource;
        case Modality::ADC:
            return window->adcAOISource;
        }
        return window->t2AOISource;
    }
    QString filePath(Modality m) const
    {
        const QString* p[] = {&window->t2FilePath, &window->dwiFilePath, &window->adcFilePath};
        return *p[int(m)];
    }
    QString fileKind(Modality m) const
    {
        const QString* k[] = {&window->t2FileKind, &window->dwiFileKind, &window->adcFileKind};
        return *k[int(m)];
    }
    QDoubleSpinBox* scaleBox(Modality m)
    {
        return window->findChild<QDoubleSpinBox*>(
            QStringLiteral("OverlayScale%1").arg(kelvara::modalityName(m)));
    }

    // The AOI images as the extraction must produce them from the sources' current state.
    QImage expectedAOI(Modality m)
    {
        ImageScene& s = source(m);
        return aoitest::oracleAOI(s.image(), qint64(std::trunc(s.boxX())),
                                  qint64(std::trunc(s.boxY())),
                                  int(std::trunc(window->t2AOISource.boxHalfWidth() * 2.0)),
                                  int(std::trunc(window->t2AOISource.boxHeight())));
    }
    QImage aoiImage(Modality m)
    {
        switch (m) {
        case Modality::T2:
            return window->aoiExtractor.t2AOIImage();
        case Modality::DWI:
            return window->aoiExtractor.dwiAOIImage();
        case Modality::ADC:
            return window->aoiExtractor.adcAOIImage();
        }
        return QImage();
    }

    static void modalityRows()
    {
        QTest::addColumn<int>("modality");
        for (Modality m : kelvara::kModalities)
            QTest::newRow(kelvara::modalityName(m)) << int(m);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        // No settings file in the working directory: the form's defaults stay.
        QDir::setCurrent(dir.path());
    }

    void init()
    {
        calls.clear();
        answer.clear();
        kelvara::Dialogs::setOpenFileHandler([this](QWidget* parent, const QString& caption,
                                                    const QString& start, const QString& filter) {
            calls.append({caption, start, filter});
            return parent == window.get() ? answer : QString();
        });
        window = std::make_unique<MainWindow>();
        ui = window->form();
    }

    void cleanup()
    {
        window.reset();
        kelvara::Dialogs::resetHandlers();
    }

    void startUpGeometry()
    {
        QCOMPARE(window->overlayView.graphicsView(), ui->overlayImagesView);
        QCOMPARE(ui->overlayImagesView->scene(), window->overlayView.graphicsScene());
        QCOMPARE(window->overlayView.aoiFullWidth(), 100.0);
        QCOMPARE(window->overlayView.aoiFullHeight(), 50.0);
        for (Modality m : kelvara::kModalities) {
            QCOMPARE(source(m).boxHalfWidth(), 50.0);
            QCOMPARE(source(m).boxHeight(), 50.0);
            QCOMPARE(source(m).boxX(), -50.0); // no image yet: the AOI corner itself
            QCOMPARE(source(m).boxY(), -25.0);
            QVERIFY(!source(m).graphicsView()); // the sources are never shown
        }
        QVERIFY(window->aoiExtractor.needsUpdate());
    }

    void boxOriginAtScale2()
    {
        const QImage img = aoitest::nonZeroGrey(256, 256);
        loadThroughDialog(Modality::T2, false, writeBmp("t2.bmp", img));
        ui->OverlayScaleT2->setValue(2.0);
        QCOMPARE(window->overlayView.t2BoxOrigin(), QPointF(206, 231));
        QCOMPARE(window->t2AOISource.boxX(), 206.0);
        QCOMPARE(window->t2AOISource.boxY(), 231.0);
        QCOMPARE(window->t2AOISource.image().size(), QSize(512, 512));
        window->refreshAOIImages();
        QCOMPARE(window->aoiExtractor.t2AOIImage(), expectedAOI(Modality::T2));
    }

    void loadBmpThroughDialog_data() { modalityRows(); }
    void loadBmpThroughDialog()
    {
        QFETCH(int, modality);
        const auto m = Modality(modality);
        const QString path = writeBmp("colour.bmp", colourImage(64, 40, modality));
        loadThroughDialog(m, false, path);

        QCOMPARE(calls, (QList<QStringList>{{"Open image file", ".", "Image files (*.bmp)"}}));
        QCOMPARE(filePath(m), path);
        QCOMPARE(fileKind(m), QStringLiteral("BMP"));

        // Colour becomes grey by the toolkit's standard conversion.
        const QImage grey = QImage(path).convertToFormat(QImage::Format_Grayscale8);
        QCOMPARE(source(m).originalImage().format(), QImage::Format_Grayscale8);
        QCOMPARE(source(m).originalImage(), grey);
        const QImage shown = window->overlayView.item(m)->pixmap().toImage();
        QCOMPARE(shown.size(), QSize(64, 40));
        for (int y = 0; y < shown.height(); ++y)
            for (int x = 0; x < shown.width(); ++x) {
                const QRgb c = shown.pixel(x, y);
                QVERIFY(qRed(c) == qGreen(c) && qGreen(c) == qBlue(c));
                QCOMPARE(qRed(c), int(grey.constScanLine(y)[x]));
            }
        for (Modality other : kelvara::kModalities)
            if (other != m) {
                QVERIFY(filePath(other).isEmpty());
                QVERIFY(!source(other).imageSet());
            }
    }

    void loadDicomThroughDialog_data() { modalityRows(); }
    void loadDicomThroughDialog()
    {
        QFETCH(int, modality);
        const auto m = Modality(modality);
        const QString path = QString::fromLatin1(kPydicomFiles) + QStringLiteral("/MR_small.dcm");
        if (!QFile::exists(path))
            QSKIP("python3-pydicom's sample files are not installed");
        loadThroughDialog(m, true, path);
        QCOMPARE(calls, (QList<QStringList>{{"Open DICOM file", ".", "DICOM files (*.dcm)"}}));
        QCOMPARE(filePath(m), path);
        QCOMPARE(fileKind(m), QStringLiteral("DICOM"));
        const QImage expected = DICOMUtil().loadImage(path);
        QCOMPARE(source(m).originalImage(), expected);
        QCOMPARE(window->overlayView.item(m)->pixmap().size(), expected.size());
        QVERIFY(ui->statusbar->currentMessage().isEmpty());
    }

    void failedDicomKeepsThePreviousImage_data()
    {
        QTest::addColumn<int>("modality");
        QTest::addColumn<QString>("file");
        for (Modality m : kelvara::kModalities)
            QTest::newRow(qPrintable(QStringLiteral("%1, missing").arg(kelvara::modalityName(m))))
                << int(m) << QStringLiteral("does-not-exist.dcm");
        QTest::newRow("T2, truncated")
            << int(Modality::T2)
            << QString::fromLatin1(kPydicomFiles) + QStringLiteral("/MR_truncated.dcm");
    }
    void failedDicomKeepsThePreviousImage()
    {
        QFETCH(int, modality);
        QFETCH(QString, file);
        const auto m = Modality(modality);
        const QString path = QFileInfo(file).isAbsolute() ? file : dir.filePath(file);
        if (QFileInfo(file).isAbsolute() && !QFile::exists(path))
            QSKIP("python3-pydicom's sample files are not installed");
        QString readerMessage;
        try {
            DICOMUtil().loadImage(path);
        } catch (const std::exception& e) {
            readerMessage = QString::fromUtf8(e.what());
        }
        QVERIFY(!readerMessage.isEmpty());

        const QImage previous = aoitest::nonZeroGrey(80, 60);
        loadThroughDialog(m, false, writeBmp("previous.bmp", previous));
        scaleBox(m)->setValue(1.5);
        ui->HCells->setValue(20);
        window->refreshAOIImages();

        // Geometry changed behind the loader's back, to see that it is still re-applied.
        source(m).setBoxPos(QPointF(-1000, -1000));
        loadThroughDialog(m, true, path);

        QCOMPARE(ui->statusbar->currentMessage(), readerMessage);
        QCOMPARE(filePath(m), path);
        QCOMPARE(fileKind(m), QStringLiteral("DICOM"));
        QCOMPARE(source(m).originalImage(), previous);
        QCOMPARE(source(m).image().size(), QSize(120, 90));
        QCOMPARE(window->overlayView.item(m)->pixmap().size(), QSize(80, 60));
        QCOMPARE(QPointF(source(m).boxX(), source(m).boxY()), window->overlayView.boxOrigin(m));
        QVERIFY(window->aoiExtractor.needsUpdate());
    }

    void cancelChangesNothing_data()
    {
        QTest::addColumn<int>("modality");
        QTest::addColumn<bool>("dicom");
        for (Modality m : kelvara::kModalities)
            for (bool dicom : {false, true})
                QTest::newRow(qPrintable(
                    QStringLiteral("%1 %2").arg(kelvara::modalityName(m), dicom ? "DICOM" : "BMP")))
                    << int(m) << dicom;
    }
    void cancelChangesNothing()
    {
        QFETCH(int, modality);
        QFETCH(bool, dicom);
        const auto m = Modality(modality);
        const QImage img = aoitest::nonZeroGrey(50, 50);
        const QString path = writeBmp("kept.bmp", img);
        loadThroughDialog(m, false, path);
        window->refreshAOIImages();
        source(m).setBoxPos(QPointF(-7, -7)); // a loader run would move it

        loadThroughDialog(m, dicom, QString());
        QCOMPARE(calls.size(), 2);
        QCOMPARE(filePath(m), path);
        QCOMPARE(fileKind(m), QStringLiteral("BMP"));
        QCOMPARE(source(m).originalImage(), img);
        QCOMPARE(source(m).boxX(), -7.0);
        QVERIFY(!window->aoiExtractor.needsUpdate());
        QVERIFY(ui->statusbar->currentMessage().isEmpty());
    }

    void loadingAppliesTheCurrentScale_data() { modalityRows(); }
    void loadingAppliesTheCurrentScale()
    {
        QFETCH(int, modality);
        const auto m = Modality(modality);
        scaleBox(m)->setValue(2.0);
        loadThroughDialog(m, false, writeBmp("scaled.bmp", aoitest::nonZeroGrey(100, 60)));
        QCOMPARE(window->overlayView.item(m)->scale(), 2.0);
        QCOMPARE(window->overlayView.item(m)->pixmap().size(), QSize(100, 60));
        QCOMPARE(source(m).originalImage().size(), QSize(100, 60));
        QCOMPARE(source(m).image().size(), QSize(200, 120));
        QCOMPARE(QPointF(source(m).boxX(), source(m).boxY()), QPointF(-50 + 100, -25 + 60));
    }

    // A missing BMP gives a null image; the AOI of that modality then reads as missing data.
    void unreadableBmp()
    {
        loadThroughDialog(Modality::ADC, false, dir.filePath("missing.bmp"));
        QCOMPARE(window->adcFilePath, dir.filePath("missing.bmp"));
        QVERIFY(window->adcAOISource.imageSet());
        QVERIFY(window->adcAOISource.image().isNull());
        QVERIFY(ui->statusbar->currentMessage().isEmpty());
        window->refreshAOIImages();
        QCOMPARE(int(window->aoiExtractor.adcAOIImage().constScanLine(256)[256]), 32);
    }

    void dwiLoadMovesOnlyTheDwiBox()
    {
        ui->horizontalSlider->setValue(40);
        ui->VCells->setValue(31);
        const QPointF sentinel(-123.5, 77.25);
        window->t2AOISource.setBoxPos(sentinel);
        window->adcAOISource.setBoxPos(sentinel);
        loadThroughDialog(Modality::DWI, false, writeBmp("dwi.bmp", aoitest::nonZeroGrey(90, 70)));
        QCOMPARE(window->dwiAOISource.boxX(), 40 - 50 + 45.0);
        QCOMPARE(window->dwiAOISource.boxY(), -15.5 + 35.0);
        QCOMPARE(window->dwiAOISource.boxHeight(), 31.0);
        QCOMPARE(QPointF(window->t2AOISource.boxX(), window->t2AOISource.boxY()), sentinel);
        QCOMPARE(QPointF(window->adcAOISource.boxX(), window->adcAOISource.boxY()), sentinel);
        QVERIFY(window->aoiExtractor.needsUpdate());
    }

    void transparency_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<int>("modality");
        QTest::addColumn<int>("value");
        QTest::addColumn<double>("opacity");
        QTest::newRow("T2 99") << "OverlayT2Transparency" << int(Modality::T2) << 99 << 0.01;
        QTest::newRow("T2 40") << "OverlayT2Transparency" << int(Modality::T2) << 40 << 0.6;
        QTest::newRow("DWI 99") << "OverlayDWITransparency" << int(Modality::DWI) << 99 << 0.01;
        QTest::newRow("ADC 25") << "OverlayADCTransparency" << int(Modality::ADC) << 25 << 0.75;
    }
    void transparency()
    {
        QFETCH(QString, slider);
        QFETCH(int, modality);
        QFETCH(int, value);
        QFETCH(double, opacity);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        PaintCounter paints;
        ui->overlayImagesView->viewport()->installEventFilter(&paints);
        window->findChild<QSlider*>(slider)->setValue(value);
        // Painted before the slot returned: a repaint, not a scheduled update.
        QVERIFY(paints.count >= 1);
        QCOMPARE(window->overlayView.item(Modality(modality))->opacity(), opacity);
        for (Modality m : kelvara::kModalities)
            if (int(m) != modality)
                QCOMPARE(window->overlayView.item(m)->opacity(), 1.0);
    }

    void displayAndZoom()
    {
        ui->OverlayImgDisplayDWI->setChecked(false);
        QVERIFY(!window->overlayView.item(Modality::DWI)->isVisible());
        QVERIFY(window->overlayView.item(Modality::T2)->isVisible());
        ui->OverlayImgDisplayDWI->setChecked(true);
        QVERIFY(window->overlayView.item(Modality::DWI)->isVisible());
        ui->OverlayZoomSlider->setValue(250);
        QCOMPARE(ui->overlayImagesView->transform(), QTransform::fromScale(2.5, 2.5));
        ui->img1_crosshairCheckBox->setChecked(false);
        QVERIFY(!window->overlayView.aoiEllipse()->isVisible());
        QVERIFY(!window->overlayView.isAOIVisible());
    }

    void aoiControls()
    {
        loadThroughDialog(Modality::T2, false, writeBmp("t2.bmp", aoitest::nonZeroGrey(256, 256)));
        loadThroughDialog(Modality::ADC, false, writeBmp("adc.bmp", aoitest::nonZeroGrey(101, 77)));
        ui->verticalSlider->setValue(500);
        QCOMPARE(window->overlayView.aoiCentre(), QPointF(0, -500));
        QCOMPARE(window->overlayView.aoiEllipse()->pos(), QPointF(0, -500));
        ui->horizontalSlider->setValue(-120);
        QCOMPARE(window->overlayView.aoiEllipse()->pos(), QPointF(-120, -500));
        ui->HCells->setValue(70);
        ui->VCells->setValue(33);
        QCOMPARE(window->overlayView.aoiEllipse()->rect(), QRectF(-70, -16.5, 140, 33));
        for (Modality m : kelvara::kModalities) {
            QCOMPARE(source(m).boxHalfWidth(), 70.0);
            QCOMPARE(source(m).boxHeight(), 33.0);
            QCOMPARE(QPointF(source(m).boxX(), source(m).boxY()), window->overlayView.boxOrigin(m));
        }
        QCOMPARE(window->t2AOISource.boxX(), -120 - 70 + 128.0);
        QCOMPARE(window->adcAOISource.boxY(), -500 - 16.5 + 38.5);
    }

    // Which controls make the next analysis extract the AOI images again.
    void extractionIsRedoneOnlyWhenNeeded_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("redone");
        QTest::newRow("T2 transparency") << "OverlayT2Transparency=50" << false;
        QTest::newRow("ADC transparency") << "OverlayADCTransparency=99" << false;
        QTest::newRow("DWI visibility") << "OverlayImgDisplayDWI=0" << false;
        QTest::newRow("overlay zoom") << "OverlayZoomSlider=300" << false;
        QTest::newRow("Display box") << "img1_crosshairCheckBox=0" << false;
        QTest::newRow("nothing") << "" << false;
        QTest::newRow("T2 scale") << "OverlayScaleT2=1.2" << true;
        QTest::newRow("DWI scale") << "OverlayScaleDWI=0.9" << true;
        QTest::newRow("ADC scale") << "OverlayScaleADC=2" << true;
        QTest::newRow("horizontal slider") << "horizontalSlider=3" << true;
        QTest::newRow("vertical slider") << "verticalSlider=-3" << true;
        QTest::newRow("HCells") << "HCells=49" << true;
        QTest::newRow("VCells") << "VCells=51" << true;
        QTest::newRow("HStep") << "HStep=2" << true;
        QTest::newRow("VStep") << "VStep=2" << true;
        QTest::newRow("load DWI") << "load DWI" << true;
        QTest::newRow("failed DICOM load of ADC") << "load ADC DICOM" << true;
    }
    void extractionIsRedoneOnlyWhenNeeded()
    {
        QFETCH(QString, action);
        QFETCH(bool, redone);
        for (Modality m : kelvara::kModalities)
            loadThroughDialog(m, false,
                              writeBmp("img.bmp", aoitest::nonZeroGrey(256, 256, int(m))));
        window->refreshAOIImages();
        QVERIFY(!window->aoiExtractor.needsUpdate());

        if (action == QLatin1String("load DWI")) {
            loadThroughDialog(Modality::DWI, false,
                              writeBmp("other.bmp", aoitest::nonZeroGrey(300, 300, 9)));
        } else if (action == QLatin1String("load ADC DICOM")) {
            loadThroughDialog(Modality::ADC, true, dir.filePath("missing.dcm"));
        } else if (!action.isEmpty()) {
            const QString name = action.section(QLatin1Char('='), 0, 0);
            const QString value = action.section(QLatin1Char('='), 1);
            QObject* control = window->findChild<QObject*>(name);
            QVERIFY(control);
            if (auto* spin = qobject_cast<QDoubleSpinBox*>(control))
                spin->setValue(value.toDouble());
            else if (auto* box = qobject_cast<QAbstractButton*>(control))
                box->setChecked(value.toInt() != 0);
            else if (auto* ispin = qobject_cast<QSpinBox*>(control))
                ispin->setValue(value.toInt());
            else
                qobject_cast<QAbstractSlider*>(control)->setValue(value.toInt());
        }
        QCOMPARE(window->aoiExtractor.needsUpdate(), redone);

        // Swap the T2 source's picture behind the extractor's back: only a new extraction sees it.
        QImage marker(2048, 2048, QImage::Format_Grayscale8);
        marker.fill(77);
        const QImage before = window->aoiExtractor.t2AOIImage();
        window->t2AOISource.setImage(marker);
        window->refreshAOIImages();
        QVERIFY(!window->aoiExtractor.needsUpdate());
        if (redone)
            QCOMPARE(int(window->aoiExtractor.t2AOIImage().constScanLine(256)[256]), 77);
        else
            QCOMPARE(window->aoiExtractor.t2AOIImage(), before);
    }

    void extractedImagesMatchTheOracle_data()
    {
        QTest::addColumn<QList<double>>("scales");
        QTest::addColumn<QPoint>("sliders"); // horizontal, vertical
        QTest::addColumn<QSize>("cells");
        QTest::newRow("defaults") << QList<double>{1.0, 1.0, 1.0} << QPoint(0, 0) << QSize(50, 50);
        QTest::newRow("scaled and moved")
            << QList<double>{1.5, 0.75, 2.0} << QPoint(37, -12) << QSize(80, 61);
        QTest::newRow("oversize AOI")
            << QList<double>{3.0, 2.5, 0.5} << QPoint(-200, 150) << QSize(1000, 1000);
        // T2 box origin x = -83 - 50 + 256 * 1.01 / 2 = -3.72, read as -3.
        QTest::newRow("negative fractional origin")
            << QList<double>{1.01, 1.0, 1.0} << QPoint(-83, 0) << QSize(50, 50);
    }
    void extractedImagesMatchTheOracle()
    {
        QFETCH(QList<double>, scales);
        QFETCH(QPoint, sliders);
        QFETCH(QSize, cells);
        loadThroughDialog(Modality::T2, false, writeBmp("t2.bmp", colourImage(256, 256, 1)));
        loadThroughDialog(Modality::DWI, false, writeBmp("dwi.bmp", colourImage(200, 160, 2)));
        loadThroughDialog(Modality::ADC, false, writeBmp("adc.bmp", colourImage(131, 97, 3)));
        for (Modality m : kelvara::kModalities)
            scaleBox(m)->setValue(scales.at(int(m)));
        ui->horizontalSlider->setValue(sliders.x());
        ui->verticalSlider->setValue(sliders.y());
        ui->HCells->setValue(cells.width());
        ui->VCells->setValue(cells.height());
        window->refreshAOIImages();
        for (Modality m : kelvara::kModalities)
            QVERIFY2(aoiImage(m) == expectedAOI(m), kelvara::modalityName(m));

        if (QTest::currentDataTag() == QLatin1String("negative fractional origin"))
            QVERIFY(qAbs(window->t2AOISource.boxX() + 3.72) < 1e-9);
    }
};

QTEST_MAIN(TestInputWindow)
#include "test_inputwindow.moc"
