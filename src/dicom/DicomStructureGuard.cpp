#include "DicomStructureGuard.h"

#include "DicomError.h"
#include "FileAccess.h"

#include <QFile>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcistrmf.h>
#include <dcmtk/dcmdata/dctag.h>
#include <dcmtk/dcmdata/dcvr.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/oflog/oflog.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace kelvara {

namespace {

constexpr uint32_t kUndefinedLength = 0xFFFFFFFFu;
constexpr uint16_t kItemGroup = 0xFFFE;
constexpr uint16_t kItem = 0xE000;
constexpr uint16_t kItemDelimiter = 0xE00D;
constexpr uint16_t kSequenceDelimiter = 0xE0DD;

struct Encoding
{
    bool explicitVR;
    bool bigEndian;
};

constexpr Encoding kImplicitLittle{false, false};

// The structure stops making sense at some offset. `pastEnd` marks a value length that reaches
// beyond the end of the data: that file is refused, anything else is left to DCMTK.
struct Malformed
{
    QString what;
    bool pastEnd;
};

// Thrown for nesting beyond the limit; never swallowed by the speculative parses below.
struct TooDeep
{
    size_t offset;
};

class Walker
{
public:
    Walker(const uchar* data, size_t size) : d(data), n(size) {}

    // Elements of a data set or item from pos up to end (or up to the item delimiter when the
    // item has undefined length). Returns the offset after the last byte consumed.
    size_t elements(size_t pos, size_t end, bool undefinedItem, Encoding enc, int depth)
    {
        while (pos < end) {
            bool delimiter = false;
            pos = element(pos, end, enc, depth, delimiter);
            if (delimiter && undefinedItem)
                return pos;
        }
        return pos;
    }

    // One element (including any sequence it holds). Returns the offset after it; an item
    // delimiter found in its place sets `itemDelimiter`.
    size_t element(size_t pos, size_t end, Encoding enc, int depth, bool& itemDelimiter)
    {
        if (end - pos < 8)
            throw Malformed{at(pos, "an element header is cut off"), true};
        const uint16_t group = u16(pos, enc.bigEndian);
        const uint16_t elementNo = u16(pos + 2, enc.bigEndian);
        if (group == kItemGroup) {
            // Delimiters and items carry a 4-byte length whatever the VR encoding. A stray item
            // delimiter is skipped, as DCMTK does.
            if (elementNo == kItemDelimiter) {
                itemDelimiter = true;
                return pos + 8;
            }
            throw Malformed{at(pos, "an item or sequence delimiter where an element was "
                                    "expected"),
                            false};
        }

        uint32_t length = 0;
        bool sequence = false;
        Encoding inner = enc;
        if (enc.explicitVR) {
            const char vrName[3] = {char(d[pos + 4]), char(d[pos + 5]), 0};
            const DcmVR vr(vrName);
            if (vr.usesExtendedLengthEncoding()) {
                if (end - pos < 12)
                    throw Malformed{at(pos, "an element header is cut off"), true};
                length = u32(pos + 8, enc.bigEndian);
                pos += 12;
            } else {
                length = u16(pos + 6, enc.bigEndian);
                pos += 8;
            }
            sequence = vr.getEVR() == EVR_SQ;
            // CP-246: an UN element of undefined length holds implicit little endian items.
            if (vr.getEVR() == EVR_UN && length == kUndefinedLength)
                inner = kImplicitLittle;
        } else {
            length = u32(pos + 4, enc.bigEndian);
            pos += 8;
            sequence = DcmTag(group, elementNo).getEVR() == EVR_SQ;
        }

        if (length == kUndefinedLength) {
            if (group == 0x7FE0 && elementNo == 0x0010)
                return fragments(pos, end, enc, depth + 1);
            return items(pos, end, inner, depth + 1);
        }
        if (length > end - pos)
            throw Malformed{at(pos, QStringLiteral("element (%1,%2) declares %3 bytes of value "
                                                   "but only %4 remain")
                                        .arg(group, 4, 16, QLatin1Char('0'))
                                        .arg(elementNo, 4, 16, QLatin1Char('0'))
                                        .arg(length)
                                        .arg(end - pos)),
                            end == n};
        if (sequence) {
            items(pos, pos + length, inner, depth + 1);
        } else if (!enc.explicitVR && looksLikeItem(pos, length, enc)) {
            // A private sequence that the dictionary does not know: DCMTK may still parse it as
            // one (private dictionaries), so look inside, but insist only on the depth.
            try {
                items(pos, pos + length, inner, depth + 1);
            } catch (const Malformed&) {
            }
        }
        return pos + length;
    }

private:
    // Items of a sequence. Returns the offset after the sequence.
    size_t items(size_t pos, size_t end, Encoding enc, int depth)
    {
        if (depth > kMaxDicomSequenceDepth)
            throw TooDeep{pos};
        while (pos < end) {
            if (end - pos < 8)
                throw Malformed{at(pos, "an item header is cut off"), true};
            const uint16_t group = u16(pos, enc.bigEndian);
            const uint16_t element = u16(pos + 2, enc.bigEndian);
            const uint32_t length = u32(pos + 4, enc.bigEndian);
            pos += 8;
            if (group == kItemGroup && element == kSequenceDelimiter)
                return pos;
            if (group != kItemGroup || element != kItem)
                throw Malformed{at(pos - 8, "a sequence holds something other than items"), false};
            if (length == kUndefinedLength) {
                pos = elements(pos, end, true, enc, depth);
                continue;
            }
            if (length > end - pos)
                throw Malformed{at(pos, QStringLiteral("an item declares %1 bytes but only %2 "
                                                       "remain")
                                            .arg(length)
                                            .arg(end - pos)),
                                end == n};
            elements(pos, pos + length, false, enc, depth);
            pos += length;
        }
        return pos; // a missing sequence delimiter at the very end is tolerated
    }

    // Encapsulated pixel data: items of raw fragments up to the sequence delimiter.
    size_t fragments(size_t pos, size_t end, Encoding enc, int depth)
    {
        if (depth > kMaxDicomSequenceDepth)
            throw TooDeep{pos};
        while (pos < end) {
            if (end - pos < 8)
                throw Malformed{at(pos, "a pixel data fragment header is cut off"), true};
            const uint16_t group = u16(pos, enc.bigEndian);
            const uint16_t element = u16(pos + 2, enc.bigEndian);
            const uint32_t length = u32(pos + 4, enc.bigEndian);
            pos += 8;
            if (group == kItemGroup && element == kSequenceDelimiter)
                return pos;
            if (group != kItemGroup || element != kItem || length == kUndefinedLength)
                throw Malformed{at(pos - 8, "encapsulated pixel data holds something other "
                                            "than fragments"),
                                false};
            if (length > end - pos)
                throw Malformed{at(pos, QStringLiteral("a pixel data fragment declares %1 "
                                                       "bytes but only %2 remain")
                                            .arg(length)
                                            .arg(end - pos)),
                                end == n};
            pos += length;
        }
        return pos;
    }

    bool looksLikeItem(size_t pos, uint32_t length, Encoding enc) const
    {
        return length >= 8 && u16(pos, enc.bigEndian) == kItemGroup &&
               u16(pos + 2, enc.bigEndian) == kItem;
    }

    uint16_t u16(size_t pos, bool bigEndian) const
    {
        return bigEndian ? uint16_t(d[pos] << 8 | d[pos + 1]) : uint16_t(d[pos + 1] << 8 | d[pos]);
    }

    uint32_t u32(size_t pos, bool bigEndian) const
    {
        const uint32_t a = u16(pos, bigEndian), b = u16(pos + 2, bigEndian);
        return bigEndian ? (a << 16 | b) : (b << 16 | a);
    }

    static QString at(size_t pos, const QString& what)
    {
        return QStringLiteral("%1 at byte %2").arg(what).arg(pos);
    }

    const uchar* d;
    size_t n;
};

// The file meta information: group 0002 elements from offset 132, normally explicit little
// endian. Returns the offset of the data set and fills the transfer syntax UID.
size_t walkMetaHeader(const uchar* data, size_t size, std::string& transferSyntax)
{
    Walker walker(data, size);
    size_t pos = 132;
    while (size - pos >= 8 && data[pos] == 0x02 && data[pos + 1] == 0x00) {
        // Some writers encode the meta header implicitly; tell by the VR letters.
        const bool explicitVR = std::isupper(data[pos + 4]) && std::isupper(data[pos + 5]);
        bool delimiter = false;
        const size_t next = walker.element(pos, size, Encoding{explicitVR, false}, 0, delimiter);
        if (data[pos + 2] == 0x10 && data[pos + 3] == 0x00) {
            const char vrName[3] = {char(data[pos + 4]), char(data[pos + 5]), 0};
            const bool longHeader = explicitVR && DcmVR(vrName).usesExtendedLengthEncoding();
            const size_t value = std::min(next, pos + (longHeader ? 12 : 8));
            transferSyntax.assign(reinterpret_cast<const char*>(data + value), next - value);
            while (!transferSyntax.empty() &&
                   (transferSyntax.back() == '\0' || transferSyntax.back() == ' '))
                transferSyntax.pop_back();
        }
        pos = next;
    }
    return pos;
}

// Inflates a deflated data set with DCMTK's own zlib filter, so that it is read exactly as the
// parser will read it.
std::vector<uchar> inflateDataSet(const QString& path, size_t offset)
{
    DcmInputFileStream stream(OFFilename(QFile::encodeName(path).constData()),
                              offile_off_t(offset));
    std::vector<uchar> out;
    if (!stream.good() || stream.installCompressionFilter(ESC_zlib).bad())
        return out;
    std::vector<uchar> chunk(1 << 16);
    while (!stream.eos() && stream.good()) {
        const offile_off_t got = stream.read(chunk.data(), offile_off_t(chunk.size()));
        if (got <= 0)
            break;
        if (qint64(out.size()) + got > kMaxInflatedDicomBytes)
            throw DicomError(path, QStringLiteral("the deflated data set inflates to more than "
                                                  "%1 MiB")
                                       .arg(kMaxInflatedDicomBytes / (1024 * 1024)));
        out.insert(out.end(), chunk.begin(), chunk.begin() + got);
    }
    return out;
}

// A data set without the file meta information (older writers) starts with an element DCMTK's
// dictionary knows, in one byte order or the other; text, images and the like do not.
bool startsWithKnownElement(const uchar* data, size_t size)
{
    if (size < 8)
        return false;
    const DcmDataDictionary& dictionary = dcmDataDict.rdlock();
    bool known = false;
    for (const bool bigEndian : {false, true}) {
        auto u16 = [&](size_t at) {
            return uint16_t(bigEndian ? data[at] << 8 | data[at + 1] : data[at + 1] << 8 | data[at]);
        };
        const DcmTagKey key(u16(0), u16(2));
        // Any group has a length element; that one holds 4 bytes, explicit ("UL") or not.
        const bool groupLength = key.getElement() == 0 &&
                                 ((data[4] == 'U' && data[5] == 'L' && u16(6) == 4) ||
                                  (u16(4) == 4 && u16(6) == 0) || (u16(4) == 0 && u16(6) == 4));
        known = known || (key.getGroup() % 2 == 0 &&
                          (key.getElement() == 0 ? groupLength
                                                 : dictionary.findEntry(key, nullptr) != nullptr));
    }
    dcmDataDict.rdunlock();
    return known;
}

// DCMTK logs what it tolerates or fails to parse to standard error. Failures reach the user as
// this reader's own messages; the rest, and anything about files that are not DICOM, is noise.
class QuietDcmtk
{
public:
    QuietDcmtk() : level(DCM_dcmdataLogger.getLogLevel())
    {
        DCM_dcmdataLogger.setLogLevel(dcmtk::log4cplus::OFF_LOG_LEVEL);
    }
    ~QuietDcmtk() { DCM_dcmdataLogger.setLogLevel(level); }
    QuietDcmtk(const QuietDcmtk&) = delete;
    QuietDcmtk& operator=(const QuietDcmtk&) = delete;

private:
    dcmtk::log4cplus::LogLevel level;
};

void refuseTooDeep(const QString& path, size_t offset)
{
    throw DicomError(path, QStringLiteral("sequences are nested more than %1 levels deep "
                                          "(at byte %2)")
                               .arg(kMaxDicomSequenceDepth)
                               .arg(offset));
}

} // namespace

void checkDicomStructure(const QString& path)
{
    // Before anything opens the file: a FIFO would block, a device never end.
    if (const QString problem = regularFileProblem(path, kMaximumImageFileSize); !problem.isEmpty())
        throw DicomError(path, problem);

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw DicomError(path, file.errorString());
    const qint64 fileSize = file.size();
    if (fileSize == 0)
        throw DicomError(path, QStringLiteral("the file is empty"));
    const uchar* data = file.map(0, fileSize);
    if (!data)
        throw DicomError(
            path,
            QStringLiteral("the file cannot be mapped into memory: %1").arg(file.errorString()));
    const size_t size = size_t(fileSize);
    const bool hasMetaHeader = size >= 132 && std::memcmp(data + 128, "DICM", 4) == 0;
    if (!hasMetaHeader && !startsWithKnownElement(data, size))
        throw DicomError(path, QStringLiteral("not a DICOM file"));

    size_t dataSetStart = 0;
    try {
        if (hasMetaHeader) {
            std::string syntaxUid;
            dataSetStart = walkMetaHeader(data, size, syntaxUid);
            const DcmXfer syntax(syntaxUid.c_str());
            if (syntax.getXfer() != EXS_Unknown) {
                const Encoding enc{syntax.isExplicitVR(), syntax.getByteOrder() == EBO_BigEndian};
                if (syntax.getStreamCompression() == ESC_zlib) {
                    const std::vector<uchar> inflated = inflateDataSet(path, dataSetStart);
                    Walker(inflated.data(), inflated.size())
                        .elements(0, inflated.size(), false, enc, 0);
                } else {
                    Walker(data, size).elements(dataSetStart, size, false, enc, 0);
                }
                return;
            }
        }
    } catch (const TooDeep& e) {
        refuseTooDeep(path, e.offset);
    } catch (const Malformed& e) {
        if (e.pastEnd)
            throw DicomError(path,
                             QStringLiteral("the file is truncated or corrupt: %1").arg(e.what));
        return; // DCMTK reports its own, more specific error
    }

    // No meta header or no known transfer syntax: DCMTK guesses the encoding of the data set.
    // Rather than guess the same way, refuse deep nesting under any of the encodings.
    for (const Encoding enc : {Encoding{false, false}, Encoding{true, false}, Encoding{true, true},
                               Encoding{false, true}}) {
        try {
            Walker(data, size).elements(dataSetStart, size, false, enc, 0);
        } catch (const TooDeep& e) {
            refuseTooDeep(path, e.offset);
        } catch (const Malformed&) {
        }
    }
}

void loadDicomFile(DcmFileFormat& format, const QString& path)
{
    checkDicomStructure(path);
    const QuietDcmtk silence;
    // Values longer than DCMTK's read limit, the Pixel Data above all, stay in the file.
    const OFCondition status =
        format.loadFile(OFFilename(QFile::encodeName(path).constData()), EXS_Unknown, EGL_noChange,
                        DCM_MaxReadLength, ERM_autoDetect);
    if (status.bad())
        throw DicomError(path, inPlainWords(status));
}

} // namespace kelvara
