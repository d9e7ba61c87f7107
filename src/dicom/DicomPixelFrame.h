#pragma once

#include <QString>

#include <cstdint>
#include <vector>

class DcmDataset;

namespace kelvara {

// One frame of a data set's image as stored values: Bits Stored taken from the High Bit down,
// sign-extended when Pixel Representation is 1, and nothing else applied (no modality rescale,
// no VOI LUT, no MONOCHROME1 inversion, no colour conversion). Samples are interleaved, pixel by
// pixel in row order, whatever the planar configuration or 4:2:2 subsampling of the file, so
// sample s of pixel (x, y) is at (y * width + x) * samplesPerPixel + s.
struct DicomPixelFrame
{
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t samplesPerPixel = 1;
    std::vector<int32_t> values;

    // Checks the image attributes against each other and against the Pixel Data, then decodes
    // frame `frame` only (the other frames of a multi-frame file are never touched). Throws
    // DicomError, naming `path`, for anything inconsistent or undecodable and for a frame the
    // file does not have.
    static DicomPixelFrame read(DcmDataset& dataset, const QString& path, uint32_t frame = 0);
};

// Registers DCMTK's RLE, JPEG and JPEG-LS decoders (once per process).
void registerDicomDecoders();

} // namespace kelvara
