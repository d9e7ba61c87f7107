#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

#include <array>
#include <limits>
#include <optional>
#include <vector>

namespace kelvara {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

// One image of a series: a file and, in a multi-frame file, one of its frames. Geometry comes
// from the frame's functional groups (enhanced multi-frame files) or else the top level.
struct DicomSeriesImage
{
    QString file;
    int frame = 0;
    std::optional<int> instanceNumber;
    std::optional<std::array<double, 3>> position;    // Image Position (Patient), mm
    std::optional<std::array<double, 6>> orientation; // Image Orientation (Patient): row, column
    // Position projected on the slice normal (row cosines x column cosines), mm; NaN without
    // both position and orientation.
    double normalPosition = kNoValue;
    std::array<double, 2> pixelSpacing{kNoValue, kNoValue}; // between rows, between columns
    double sliceThickness = kNoValue;
    std::optional<double> bValue;
};

struct NearestSlice
{
    int index = -1; // -1: no image of the series has a position
    double distance = kNoValue;
};

// The images of one Series Instance UID under a scanned path, ordered by position along the
// slice normal, ascending; images without a position follow, by Instance Number, then file
// name, then frame. The series-wide values are those of the first image that has them.
struct DicomSeries
{
    QString source; // the file or folder that was scanned
    QString uid, modality, description;
    std::optional<int> seriesNumber;
    std::vector<DicomSeriesImage> images;
    std::optional<std::array<double, 6>> orientation;
    bool mixedOrientations = false; // images disagree (or some have none)
    std::array<double, 2> pixelSpacing{kNoValue, kNoValue};
    double sliceThickness = kNoValue; // (0018,0050)
    double sliceSpacing = kNoValue;   // median step between distinct positions along the normal
    std::vector<double> bValues;      // distinct, ascending

    // Throws DicomError, naming the source and two disagreeing files, for mixed orientations.
    void requireOneOrientation() const;
    // The image whose normal position is nearest (ties: the lower index). Throws for mixed
    // orientations.
    NearestSlice nearestSlice(double normalPosition) const;
    // The image nearest to image `index` of `other`, whose position is projected on this
    // series' normal; index -1 when that image has no position.
    NearestSlice nearestSliceTo(const DicomSeries& other, int index) const;
    // Reads image `index` with DICOMUtil. Throws DicomError for mixed orientations, an index
    // out of range and any failure to read the file.
    QImage loadImage(int index) const;
};

struct DicomScan
{
    QString path;
    std::vector<DicomSeries> series; // by Series Number, then description, then UID
    // DICOM files (they carry the DICM preamble) that could not be read and entries that are
    // not regular files (a FIFO, a device), one message each naming the file; files that are
    // not DICOM at all are skipped without a word.
    QStringList problems;

    // Throws DicomError naming the path and the UID when there is no such series.
    const DicomSeries& find(const QString& uid) const;
};

// Reads the headers (never the Pixel Data) of `path`, a DICOM file or a folder whose files
// (not its subfolders) are scanned, and groups the images by Series Instance UID. Throws
// DicomError naming the path when it cannot be read or holds no DICOM image.
DicomScan scanDicomSeries(const QString& path);

// The series list as text columns, as kelvara-batch --list-series prints it.
QStringList seriesListHeader();
QStringList seriesListRow(const DicomSeries& series);

} // namespace kelvara
