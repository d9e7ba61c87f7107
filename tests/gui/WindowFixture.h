#pragma once

// One MainWindow per test executable (eight 3D graphs make each one expensive), started in an
// empty temporary folder so that no config.cfg applies, with the dialog seam answered by the test.
#include "Dialogs.h"
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include <QGraphicsPixmapItem>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

// The picture a graphics view shows: its scene's lowest pixmap item (overlays sit above it).
inline QImage shownImage(const QGraphicsView* view)
{
    QImage found;
    qreal lowest = 1e9;
    for (QGraphicsItem* item : view->scene()->items())
        if (auto* p = dynamic_cast<QGraphicsPixmapItem*>(item); p && p->zValue() < lowest) {
            lowest = p->zValue();
            found = p->pixmap().toImage();
        }
    return found;
}

inline QImage greyImage(int size, int value)
{
    QImage img(size, size, QImage::Format_Grayscale8);
    img.fill(uchar(value));
    return img;
}

struct WindowFixture
{
    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    Ui::MainWindow* ui = nullptr;
    QStringList messages;

    void build()
    {
        QDir::setCurrent(dir.path());
        kelvara::Dialogs::setInformationHandler(
            [this](QWidget*, const QString& title, const QString& text) { messages << title + ": " + text; });
        window = std::make_unique<MainWindow>();
        ui = window->form();
    }
    void tearDown()
    {
        window.reset();
        kelvara::Dialogs::resetHandlers();
    }

    static void answerOpen(const QString& path)
    {
        kelvara::Dialogs::setOpenFileHandler(
            [path](QWidget*, const QString&, const QString&, const QString&) { return path; });
    }
    static void answerSave(const QString& path)
    {
        kelvara::Dialogs::setSaveFileHandler(
            [path](QWidget*, const QString&, const QString&, const QString&) { return path; });
    }

    // Writes the image as a BMP in the temporary folder and loads it through the button.
    QString load(QPushButton* button, const QImage& image, const QString& name)
    {
        const QString path = dir.filePath(name);
        if (!image.save(path, "BMP"))
            qFatal("cannot write %s", qPrintable(path));
        answerOpen(path);
        button->click();
        return path;
    }
    QImage saveThrough(QPushButton* button, const QString& name)
    {
        const QString path = dir.filePath(name);
        QFile::remove(path);
        answerSave(path);
        button->click();
        return QImage(path);
    }
    template <typename T> T* child(const QString& name) const { return window->findChild<T*>(name); }

#ifdef KELVARA_BATCH_EXE
    // kelvara-batch's run of the sample lesion with the walk-through's thresholds: the folder of
    // its images and result.json, or "" with the reason in *error.
    QString runSampleBatch(const QString& samples, QString* error) const
    {
        const QString out = dir.filePath("batch");
        QProcess batch;
        batch.start(QStringLiteral(KELVARA_BATCH_EXE), {"--out", out, "--small-area", "20", "--pathology",
                                                        "50", samples + "/lesion.kelvara"});
        if (!batch.waitForFinished(120000) || batch.exitCode() != 0) {
            *error = QString::fromLocal8Bit(batch.readAllStandardError());
            return {};
        }
        return out + "/lesion/";
    }
#endif

    // Loads the sample lesion through "Load project" (its relative image paths taken from the
    // samples folder, as when Kelvara runs there) with the batch's thresholds.
    void loadSample(const QString& samples)
    {
        ui->SmallAreaTresh->setValue(20);
        ui->PathologyTresh->setValue(50);
        QDir::setCurrent(samples);
        answerOpen(QStringLiteral("lesion.kelvara"));
        ui->LoadProjectButton->click();
        QDir::setCurrent(dir.path());
    }
    // Every analysis button, in the chain's order.
    void pressEveryAnalysisButton()
    {
        for (QPushButton* b :
                 {ui->FFTT2DisplayFFTButton, ui->FFTT2DisplayTreshButton, ui->FFTT2DisplayResButton,
                  ui->FFTDWIDisplayFFTButton, ui->FFTDWIDisplayTreshButton, ui->FFTDWIDisplayResButton,
                  ui->FFTADCDisplayFFTButton, ui->FFTADCDisplayTreshButton, ui->FFTADCDisplayResButton,
                  ui->DWIRecalculateMaskButton, ui->ADCRecalculateMaskButton,
                  ui->T2RecalculateSymmetryButton, ui->T2FilterSymmetryButton, ui->ProductCalculateButton,
                  ui->determinePathologyButton, ui->SymmetryAOIT2RefreshButton})
            b->click();
    }
};
