#pragma once

#include <QImage>
#include <QObject>
#include <QString>

// Reads one frame of a DICOM file into an 8-bit grey image: the frame's stored values through a
// linear window (the file's own, or one that stretches the frame's value range onto 0..255); RGB
// files are kept as colour and turned grey at the end. Frame N of a multi-frame file gives the
// image a single-frame file holding that frame would give; its window is the frame's own (Frame
// VOI LUT functional group) when the file has one.
class DICOMUtil : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Throws kelvara::DicomError (a std::exception) when the file cannot be read as an image;
    // what() names the file and the reason. An image of width or height 0 gives a null image.
    QImage loadImage(const QString& path, int frame = 0);
};
