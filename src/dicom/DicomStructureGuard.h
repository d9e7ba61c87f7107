#pragma once

#include <QString>

class DcmFileFormat;

namespace kelvara {

// Sequences nested deeper than this are refused. DCMTK parses nesting by recursion, so a file
// of a few hundred kilobytes of nested sequences would otherwise overflow the stack; real data
// sets stay far below this.
constexpr int kMaxDicomSequenceDepth = 64;

// Inflated size up to which a deflated data set is examined (and then read).
constexpr qint64 kMaxInflatedDicomBytes = qint64(512) * 1024 * 1024;

// Walks the element structure of a DICOM file (tags and value lengths only, no values) before
// DCMTK parses it, and throws DicomError for what would hurt the parser rather than merely make
// it fail: a missing, unreadable or empty file, anything but a regular file under the image size
// cap, a file that is not DICOM at all, sequences nested deeper than
// kMaxDicomSequenceDepth, and value lengths that reach past the end of the file. Other
// irregularities are left to DCMTK, which reports them itself.
void checkDicomStructure(const QString& path);

// The whole file after checkDicomStructure, parsed by DCMTK into `format`; DicomError in plain
// words when it cannot be.
void loadDicomFile(DcmFileFormat& format, const QString& path);

} // namespace kelvara
