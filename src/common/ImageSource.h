#pragma once

#include <QJsonValue>
#include <QString>

#include <utility>

namespace kelvara {

// Where a modality's image came from, as a project records it: the file path and its kind
// ("BMP" or "DICOM"); both empty when nothing was loaded. A DICOM path may name a folder of
// series; then the series, the slice and the b-value choose the image (each optional: unset is
// empty, -1 and a negative b-value), and the scale may follow the pixel spacing ("auto").
struct ImageSource
{
    ImageSource() = default;
    ImageSource(QString path, QString kind) : path(std::move(path)), kind(std::move(kind)) {}

    QString path;
    QString kind;
    QString series;
    int slice = -1;
    double bValue = -1.0;
    bool autoScale = false;
    // A "Slice" or "BValue" as the project wrote it when it names no image (a slice that is not a
    // whole number from 0, a b-value that is not a finite number from 0, or no number at all):
    // the choice then fails naming it and what the series holds, where falling back to the
    // default would analyse another image than the one asked for. Undefined otherwise.
    QJsonValue refusedSlice{QJsonValue::Undefined};
    QJsonValue refusedBValue{QJsonValue::Undefined};

    // The kinds a loader exists for.
    static bool readableKind(const QString& kind)
    {
        return kind == QLatin1String("BMP") || kind == QLatin1String("DICOM");
    }

    bool choosesImage() const
    {
        return !series.isEmpty() || slice >= 0 || bValue >= 0.0 || !refusedSlice.isUndefined() ||
               !refusedBValue.isUndefined();
    }
    bool operator==(const ImageSource& o) const
    {
        return path == o.path && kind == o.kind && series == o.series && slice == o.slice &&
               bValue == o.bValue && autoScale == o.autoScale && refusedSlice == o.refusedSlice &&
               refusedBValue == o.refusedBValue;
    }
};

} // namespace kelvara
