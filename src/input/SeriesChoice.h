#pragma once

#include "DicomSeries.h"
#include "ImageSource.h"
#include "Modality.h"

#include <QStringList>

namespace kelvara {

// The image a project's DICOM source names inside a scanned file or folder: the series (by
// "Series", needed only when there are several), reduced to one b-value ("BValue", default the
// highest), and the slice ("Slice"; by default T2's middle slice, and for DWI and ADC the slice
// nearest to T2's along T2's normal).
struct ChosenImage
{
    DicomSeries series; // only the images of the chosen b-value
    int index = -1;     // into series.images
    QStringList warnings;

    const DicomSeriesImage& image() const { return series.images[std::size_t(index)]; }
};

// Whether a source is read through the series rules rather than as a single file's frame 0:
// a folder, a source with series keys, or for DWI and ADC a multi-frame file whose frames lie
// at different positions (its default is the slice nearest to T2's, like a series').
bool readsSeries(Modality m, const ImageSource& source);

// Throws DicomError whose text names the modality, the path and the problem. `t2` is T2's
// choice when DWI or ADC need the nearest slice (nullptr: the middle slice, with a warning,
// unless `t2Unplaced` says why a DICOM T2 has no usable position: then the default is refused).
ChosenImage chooseSeriesImage(Modality m, const ImageSource& source, const ChosenImage* t2,
                              const QString& t2Unplaced = {});

} // namespace kelvara
