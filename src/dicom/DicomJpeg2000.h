#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

class DcmPixelSequence;

namespace kelvara {

// What the data set says frame `frame` must look like once decoded.
struct Jpeg2000Target
{
    uint32_t columns = 0, rows = 0;
    uint32_t samplesPerPixel = 1;
    uint32_t bitsAllocated = 16;
    uint64_t frames = 1;
    uint64_t frame = 0;
};

// The compressed bytes of frame `target.frame`: the fragments the Basic Offset Table assigns to
// it, or, when the table is empty or unusable, the fragments from the frame's first fragment
// (counting fragments that start a codestream or a JP2 file) up to the next such one; a
// single-frame file's fragments are all its frame's. Throws DicomError, naming `path`, when the
// frame has no fragment.
std::vector<uint8_t> jpeg2000Frame(DcmPixelSequence& fragments, const Jpeg2000Target& target,
                                   const QString& path);

// Decodes one JPEG 2000 codestream or JP2 file with OpenJPEG into samples of
// `target.bitsAllocated` bits, little endian, interleaved by pixel (the layout native Pixel Data
// has), with 4 zero bytes of slack at the end. The stream must hold exactly the data set's
// columns, rows and samples, unsubsampled, with no more bits per sample than are allocated;
// anything else, and any stream OpenJPEG cannot decode completely, throws DicomError.
std::unique_ptr<uint8_t[]> decodeJpeg2000(const std::vector<uint8_t>& stream,
                                          const Jpeg2000Target& target, const QString& path);

} // namespace kelvara
