#pragma once

#include <QString>

namespace kelvara {

// Where a modality's image came from, as a project records it: the file path and its kind
// ("BMP" or "DICOM"); both empty when nothing was loaded.
struct ImageSource
{
    QString path;
    QString kind;
    bool operator==(const ImageSource& o) const { return path == o.path && kind == o.kind; }
};

} // namespace kelvara
