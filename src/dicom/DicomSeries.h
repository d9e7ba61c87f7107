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

// Geometry within a series is checked, never guessed: every image needs a finite three-value
// Image Position (Patient) and an Image Orientation (Patient) of two unit, perpendicular vectors
// (within these tolerances), and no two images of one b-value may share a position. Only a
// series in which no image has a position at all is ordered by Instance Number (with a warning).
constexpr double kUnitVectorTolerance = 1e-2;
constexpr double kPerpendicularTolerance = 1e-2; // |cosine| between row and column
// DICOM b-values outside 0..kMaximumBValue s/mm^2 (or not finite) are reported and not used.
constexpr double kMaximumBValue = 100000;

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
    // Why the series cannot be used, each naming the files: geometry that does not add up, a
    // file of the series (or of unknown series in the same folder) that could not be read.
    QStringList faults;
    // What was read but not used, or how the order was found, each naming the files.
    QStringList warnings;

    // Throws DicomError naming the source, the series and its faults when it has any.
    void requireUsable() const;
    // Throws DicomError, naming the source and two disagreeing files, for mixed orientations.
    void requireOneOrientation() const;
    // The image whose normal position is nearest (ties: the lower index). Throws for mixed
    // orientations.
    NearestSlice nearestSlice(double normalPosition) const;
    // The image nearest to image `index` of `other`, whose position is projected on this
    // series' normal; index -1 when that image has no position.
    NearestSlice nearestSliceTo(const DicomSeries& other, int index) const;
    // Reads image `index` with DICOMUtil. Throws DicomError for faults, mixed orientations, an
    // index out of range and any failure to read the file.
    QImage loadImage(int index) const;
};

struct DicomScan
{
    QString path;
    std::vector<DicomSeries> series; // by Series Number, then description, then UID
    // Files that could not be read (they carry the DICM preamble, or could not even be opened
    // or examined) and entries that are not regular files (a FIFO, a device), one message each
    // naming the file; files that are not DICOM at all are skipped without a word. A file that
    // could not be read and whose series is therefore unknown is also a fault of every series
    // of the folder: it may hold any of their slices.
    QStringList problems;

    // Throws DicomError naming the path and the UID when there is no such series.
    const DicomSeries& find(const QString& uid) const;
};

// Reads the headers (never the Pixel Data) of `path`, a DICOM file or a folder whose files
// (not its subfolders) are scanned, and groups the images by Series Instance UID. Throws
// DicomError naming the path when it cannot be read or holds no DICOM image.
DicomScan scanDicomSeries(const QString& path);

// Limits of a listing of a whole folder tree: folders deeper than this below the path are not
// entered, and no more entries than this are examined in all.
constexpr int kSeriesTreeDepth = 8;
constexpr int kSeriesTreeEntries = 100000;

struct DicomTreeScan
{
    std::vector<DicomScan> folders; // those holding a series, in path order (a folder, then below)
    QStringList notes; // unreadable folders, limits reached, links back into the tree
};

// scanDicomSeries on `path` and on every folder below it. Symbolic links to folders are followed
// once (a link back into the tree is a note, not a loop). A folder whose entries would pass
// `maxEntries` in all is not scanned (a note says so, and the listing stops there). Throws
// DicomError naming the path when it does not exist or nothing below it holds a DICOM image.
DicomTreeScan scanDicomTree(const QString& path, int maxDepth = kSeriesTreeDepth,
                            int maxEntries = kSeriesTreeEntries);

// The series list as text columns, as kelvara-batch --list-series prints it; the last column is
// the scanned file or folder, as a project's "Path" names it.
QStringList seriesListHeader();
QStringList seriesListRow(const DicomSeries& series);

} // namespace kelvara
