#include "DicomPixelFrame.h"

#include "DicomError.h"
#include "DicomJpeg2000.h"
#include "FileAccess.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dccodec.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpls/djdecode.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace kelvara {

namespace {

// The attributes of the Image Pixel module that decide how the Pixel Data is laid out.
struct PixelLayout
{
    uint32_t rows = 0, columns = 0;
    uint32_t bitsAllocated = 0, bitsStored = 0, highBit = 0;
    uint32_t pixelRepresentation = 0;
    uint32_t samplesPerPixel = 1;
    uint32_t planarConfiguration = 0;
    uint64_t frames = 1;
    QString photometric;
};

uint16_t requiredUint16(DcmDataset& dataset, const DcmTagKey& key, const char* name,
                        const QString& path)
{
    Uint16 value = 0;
    const OFCondition status = dataset.findAndGetUint16(key, value);
    if (status.bad())
        throw DicomError(path, QStringLiteral("%1 %2 %3")
                                   .arg(QLatin1String(name), QLatin1String(key.toString().c_str()),
                                        status == EC_TagNotFound
                                            ? QStringLiteral("is missing")
                                            : QStringLiteral("does not hold a 16-bit number")));
    return value;
}

uint16_t optionalUint16(DcmDataset& dataset, const DcmTagKey& key, uint16_t fallback)
{
    Uint16 value = 0;
    return dataset.findAndGetUint16(key, value).good() ? value : fallback;
}

// Refuses what the decoding below could not make sense of, before any pixel is touched.
PixelLayout readLayout(DcmDataset& dataset, const QString& path)
{
    PixelLayout l;
    l.rows = requiredUint16(dataset, DCM_Rows, "Rows", path);
    l.columns = requiredUint16(dataset, DCM_Columns, "Columns", path);
    l.bitsAllocated = requiredUint16(dataset, DCM_BitsAllocated, "Bits Allocated", path);
    l.bitsStored = optionalUint16(dataset, DCM_BitsStored, uint16_t(l.bitsAllocated));
    l.highBit = optionalUint16(dataset, DCM_HighBit, uint16_t(std::max(1u, l.bitsStored) - 1));
    l.pixelRepresentation = optionalUint16(dataset, DCM_PixelRepresentation, 0);
    l.samplesPerPixel = optionalUint16(dataset, DCM_SamplesPerPixel, 1);
    l.planarConfiguration = optionalUint16(dataset, DCM_PlanarConfiguration, 0);
    OFString photometric;
    dataset.findAndGetOFString(DCM_PhotometricInterpretation, photometric);
    l.photometric = QString::fromLatin1(photometric.c_str());
    Sint32 frames = 1;
    if (dataset.findAndGetSint32(DCM_NumberOfFrames, frames).good()) {
        if (frames < 1)
            throw DicomError(path, QStringLiteral("Number of Frames is %1").arg(frames));
        l.frames = uint64_t(frames);
    }

    auto refuse = [&path](const QString& why) { throw DicomError(path, why); };
    if (const QString tooLarge = imageSideProblem(l.columns, l.rows); !tooLarge.isEmpty())
        refuse(tooLarge);
    const uint32_t ba = l.bitsAllocated;
    if (ba != 1 && ba != 8 && ba != 16 && ba != 32)
        refuse(QStringLiteral("Bits Allocated is %1 (1, 8, 16 or 32 can be read)").arg(ba));
    if (l.bitsStored < 1 || l.bitsStored > ba)
        refuse(
            QStringLiteral("Bits Stored is %1 with Bits Allocated %2").arg(l.bitsStored).arg(ba));
    if (l.highBit >= ba || l.highBit + 1 < l.bitsStored)
        refuse(QStringLiteral("High Bit is %1 with Bits Stored %2 and Bits Allocated %3")
                   .arg(l.highBit)
                   .arg(l.bitsStored)
                   .arg(ba));
    if (l.pixelRepresentation > 1)
        refuse(QStringLiteral("Pixel Representation is %1").arg(l.pixelRepresentation));
    if (l.samplesPerPixel != 1 && l.samplesPerPixel != 3)
        refuse(
            QStringLiteral("Samples per Pixel is %1 (1 or 3 can be read)").arg(l.samplesPerPixel));
    const QString& pi = l.photometric;
    const bool oneSample =
        pi.startsWith(QLatin1String("MONOCHROME")) || pi == QLatin1String("PALETTE COLOR");
    const bool threeSamples = pi == QLatin1String("RGB") || pi.startsWith(QLatin1String("YBR"));
    if ((oneSample && l.samplesPerPixel != 1) || (threeSamples && l.samplesPerPixel != 3))
        refuse(QStringLiteral("Samples per Pixel is %1 with Photometric Interpretation %2")
                   .arg(l.samplesPerPixel)
                   .arg(pi));
    if (ba == 1 && l.samplesPerPixel != 1)
        refuse(QStringLiteral("1-bit pixels with %1 samples each").arg(l.samplesPerPixel));
    if (l.samplesPerPixel == 3 && l.planarConfiguration > 1)
        refuse(QStringLiteral("Planar Configuration is %1").arg(l.planarConfiguration));
    return l;
}

bool isSubsampled422(const QString& photometric)
{
    return photometric == QLatin1String("YBR_FULL_422") ||
           photometric == QLatin1String("YBR_PARTIAL_422");
}

uint64_t bytesFor(uint64_t samples, uint32_t bitsAllocated)
{
    return bitsAllocated == 1 ? (samples + 7) / 8 : samples * (bitsAllocated / 8);
}

// Stored value of sample `i` of a buffer in host byte order.
inline uint32_t rawSample(const uint8_t* data, uint64_t i, uint32_t bitsAllocated)
{
    switch (bitsAllocated) {
    case 1:
        return (data[i >> 3] >> (i & 7)) & 1u;
    case 8:
        return data[i];
    case 16:
        return uint32_t(data[2 * i]) | uint32_t(data[2 * i + 1]) << 8;
    default:
        return uint32_t(data[4 * i]) | uint32_t(data[4 * i + 1]) << 8 |
               uint32_t(data[4 * i + 2]) << 16 | uint32_t(data[4 * i + 3]) << 24;
    }
}

// Turns the frame's bytes (little endian) into signed stored values, interleaved by pixel. The
// frame's first sample is sample `skip` of `data`.
void decodeSamples(const PixelLayout& l, const uint8_t* data, uint64_t skip, bool planar,
                   bool subsampled422, std::vector<int32_t>& out)
{
    const uint32_t shift = l.highBit + 1 - l.bitsStored;
    const uint32_t mask = l.bitsStored >= 32 ? 0xFFFFFFFFu : (1u << l.bitsStored) - 1;
    const uint32_t signBit = 1u << (l.bitsStored - 1);
    const bool isSigned = l.pixelRepresentation == 1;
    const uint32_t ba = l.bitsAllocated;
    auto value = [&](uint64_t i) {
        uint32_t v = (rawSample(data, i + skip, ba) >> shift) & mask;
        if (isSigned && (v & signBit))
            v |= ~mask;
        return static_cast<int32_t>(v); // two's complement: the bits are the signed value
    };

    const uint64_t pixels = uint64_t(l.rows) * l.columns;
    const uint32_t spp = l.samplesPerPixel;
    out.resize(pixels * spp);
    if (spp == 1 || (!planar && !subsampled422)) {
        for (uint64_t i = 0; i < out.size(); ++i)
            out[i] = value(i);
    } else if (subsampled422) {
        // Two pixels share one Cb and Cr: stored as Y0 Y1 Cb Cr.
        for (uint64_t p = 0; p < pixels; ++p) {
            const uint64_t pair = (p / 2) * 4;
            out[3 * p] = value(pair + (p & 1));
            out[3 * p + 1] = value(pair + 2);
            out[3 * p + 2] = value(pair + 3);
        }
    } else {
        for (uint64_t p = 0; p < pixels; ++p)
            for (uint32_t s = 0; s < spp; ++s)
                out[spp * p + s] = value(s * pixels + p);
    }
}

// Frame bytes; the native reader leaves them uninitialised until DCMTK fills them, which saves
// touching a fresh buffer twice.
using FrameBytes = std::unique_ptr<uint8_t[]>;

// Native Pixel Data: the frames follow one another without padding, in the byte order of the
// file. The bytes are read from the even offset at or before the frame's first bit (1-bit and
// odd-sized 8-bit frames need not start on a word); *skip counts the samples before the frame.
FrameBytes readNativeFrame(DcmDataset& dataset, DcmElement& pixelData, const PixelLayout& l,
                           uint64_t samplesPerFrame, uint32_t frame, uint64_t declaredBytes,
                           const QString& path, uint64_t* skip)
{
    const uint64_t frameBytes = bytesFor(samplesPerFrame, l.bitsAllocated);
    const uint64_t length = pixelData.getLength();
    auto mismatch = [&](const char* comparison) {
        return DicomError(path, QStringLiteral("Pixel Data holds %1 bytes, %2 than the %3 that "
                                               "%4 frame(s) of %5 x %6 pixels with %7 sample(s) "
                                               "of %8 bits take")
                                    .arg(length)
                                    .arg(QLatin1String(comparison))
                                    .arg(declaredBytes)
                                    .arg(l.frames)
                                    .arg(l.columns)
                                    .arg(l.rows)
                                    .arg(l.samplesPerPixel)
                                    .arg(l.bitsAllocated));
    };
    if (length < declaredBytes)
        throw mismatch("fewer");
    // Trailing padding is tolerated; a whole frame or more beyond the declared size means the
    // dimensions do not describe this data.
    if (length - declaredBytes >= std::max<uint64_t>(frameBytes, 2))
        throw mismatch("more");

    const uint64_t firstBit = uint64_t(frame) * samplesPerFrame * l.bitsAllocated;
    const uint64_t start = (firstBit / 8) & ~uint64_t(1);
    *skip = (firstBit - start * 8) / l.bitsAllocated;
    const uint64_t needed = bytesFor(*skip + samplesPerFrame, l.bitsAllocated);
    // Read an even count where the data allows, so that word-wise swapping stays possible.
    const uint64_t wanted = std::min<uint64_t>(length - start, needed + (needed & 1));
    FrameBytes bytes(new uint8_t[wanted + 4]);
    std::fill_n(bytes.get() + wanted, 4, uint8_t(0)); // slack, never part of a sample
    if (wanted == 0)
        return bytes;
    const E_ByteOrder fileOrder = DcmXfer(dataset.getOriginalXfer()).getByteOrder();
    const E_ByteOrder order = fileOrder == EBO_BigEndian ? EBO_BigEndian : EBO_LittleEndian;
    const OFCondition status =
        pixelData.getPartialValue(bytes.get(), Uint32(start), Uint32(wanted), nullptr, order);
    if (status.bad())
        throw DicomError(
            path,
            QStringLiteral("Pixel Data cannot be read: %1").arg(inPlainWords(status)));

    if (order == EBO_BigEndian) {
        // The bytes are as in the file: each sample (or each 16-bit word of OW data holding
        // 1- or 8-bit samples) is stored most significant byte first.
        const uint32_t wordBytes = pixelData.getVR() == EVR_OW ? 2 : 1;
        const uint32_t unit = std::max(l.bitsAllocated / 8, wordBytes);
        for (uint64_t i = 0; unit > 1 && i + unit <= wanted; i += unit)
            std::reverse(bytes.get() + i, bytes.get() + i + unit);
    }
    return bytes;
}

// Encapsulated Pixel Data: DCMTK decodes the one frame into host byte order.
FrameBytes readCompressedFrame(DcmDataset& dataset, DcmPixelData& pixelData,
                               E_TransferSyntax syntax, uint64_t frameBytes, uint32_t frame,
                               const QString& path)
{
    if (!DcmCodecList::canChangeCoding(syntax, EXS_LittleEndianExplicit))
        throw DicomError(path, QStringLiteral("its pixel data is compressed as %1, which this "
                                              "program cannot decode")
                                   .arg(QLatin1String(DcmXfer(syntax).getXferName())));
    Uint32 dcmtkBytes = 0;
    OFCondition status = pixelData.getUncompressedFrameSize(&dataset, dcmtkBytes);
    if (status.bad())
        throw DicomError(path, QStringLiteral("the frame size cannot be determined: %1")
                                   .arg(inPlainWords(status)));
    uint64_t size = std::max<uint64_t>(frameBytes, dcmtkBytes);
    size += size & 1; // DCMTK wants an even buffer size
    if (size > 0xFFFFFFFEu)
        throw DicomError(path, QStringLiteral("one frame would take more than 4 GiB"));
    FrameBytes bytes(new uint8_t[size + 4]()); // zeroed: a decoder may deliver less
    Uint32 startFragment = 0;
    OFString colorModel;
    status = pixelData.getUncompressedFrame(&dataset, frame, startFragment, bytes.get(),
                                            Uint32(size), colorModel);
    if (status.bad())
        throw DicomError(path, QStringLiteral("frame %1 cannot be decoded (%2): %3")
                                   .arg(frame)
                                   .arg(QLatin1String(DcmXfer(syntax).getXferName()),
                                        inPlainWords(status)));
    return bytes;
}

// DCMTK's RLE decoder follows the segment offsets of the RLE header without checking them
// against the data, and reads outside the fragments for an offset past their end. The frame's
// header is checked here first: at most 15 segments, offsets from 64 on, in order, inside the
// compressed data. When every frame is one fragment, that fragment is the frame's data; a frame
// other than 0 can be found in no other way.
void checkRleHeader(DcmPixelData& pixelData, const DcmRepresentationParameter* parameter,
                    uint64_t frames, uint32_t frame, const QString& path)
{
    DcmPixelSequence* fragments = nullptr;
    if (pixelData.getEncapsulatedRepresentation(EXS_RLELossless, parameter, fragments).bad() ||
        !fragments)
        throw DicomError(path, QStringLiteral("the compressed Pixel Data cannot be read"));
    const bool onePerFrame = frames > 1 && fragments->card() == frames + 1;
    if (frame > 0 && !onePerFrame)
        throw DicomError(path, QStringLiteral("frame %1 cannot be located: the RLE data holds %2 "
                                              "fragment(s) for %3 frames")
                                   .arg(frame)
                                   .arg(fragments->card() == 0 ? 0 : fragments->card() - 1)
                                   .arg(frames));
    uint64_t total = 0;
    DcmPixelItem* first = nullptr;
    for (unsigned long i = onePerFrame ? frame + 1 : 1; i < fragments->card(); ++i) {
        DcmPixelItem* item = nullptr;
        if (fragments->getItem(item, i).bad() || !item)
            break;
        if (!first)
            first = item;
        total += item->getLength();
        if (onePerFrame)
            break;
    }
    Uint8* header = nullptr;
    if (!first || first->getLength() < 64 || first->getUint8Array(header).bad() || !header)
        throw DicomError(path, QStringLiteral("frame %1 has no complete RLE header").arg(frame));
    auto word = [header](int i) {
        const Uint8* p = header + 4 * i;
        return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
    };
    const uint32_t segments = word(0);
    if (segments < 1 || segments > 15)
        throw DicomError(path, QStringLiteral("the RLE header of frame %1 names %2 segments "
                                              "(1 to 15 are possible)")
                                   .arg(frame)
                                   .arg(segments));
    uint64_t previous = 64;
    for (uint32_t s = 1; s <= segments; ++s) {
        const uint32_t offset = word(int(s));
        if (offset < previous || offset >= total)
            throw DicomError(path, QStringLiteral("the RLE header of frame %1 puts segment %2 "
                                                  "at byte %3 of %4 bytes of compressed data")
                                       .arg(frame)
                                       .arg(s)
                                       .arg(offset)
                                       .arg(total));
        previous = offset;
    }
}

// JPEG 2000 is not among DCMTK's free codecs: OpenJPEG decodes the frame's fragments.
FrameBytes readJpeg2000Frame(DcmPixelData& pixelData, E_TransferSyntax syntax,
                             const DcmRepresentationParameter* parameter, const PixelLayout& l,
                             uint32_t frame, const QString& path)
{
    DcmPixelSequence* fragments = nullptr;
    if (pixelData.getEncapsulatedRepresentation(syntax, parameter, fragments).bad() || !fragments)
        throw DicomError(path, QStringLiteral("the compressed Pixel Data cannot be read"));
    const Jpeg2000Target target{l.columns,       l.rows,   l.samplesPerPixel,
                                l.bitsAllocated, l.frames, frame};
    return decodeJpeg2000(jpeg2000Frame(*fragments, target, path), target, path);
}

bool isJpeg2000(E_TransferSyntax syntax)
{
    return syntax == EXS_JPEG2000LosslessOnly || syntax == EXS_JPEG2000;
}

} // namespace

void registerDicomDecoders()
{
    // Colour stays as stored (no YCbCr conversion) and decoded colour frames come out pixel by
    // pixel, so that what reaches the reader are the stored values.
    static const bool registered = [] {
        DJDecoderRegistration::registerCodecs(EDC_never, EUC_never, EPC_colorByPixel);
        DJLSDecoderRegistration::registerCodecs(EJLSUC_never, EJLSPC_colorByPixel);
        DcmRLEDecoderRegistration::registerCodecs();
        return true;
    }();
    Q_UNUSED(registered);
}

DicomPixelFrame DicomPixelFrame::read(DcmDataset& dataset, const QString& path, uint32_t frameNo)
{
    DcmElement* element = nullptr;
    if (dataset.findAndGetElement(DCM_PixelData, element).bad() || !element)
        throw DicomError(path, QStringLiteral("the data set holds no image (no Pixel Data)"));
    if (element->ident() != EVR_PixelData)
        throw DicomError(path, QStringLiteral("Pixel Data has an unexpected encoding"));
    auto& pixelData = static_cast<DcmPixelData&>(*element);

    const PixelLayout l = readLayout(dataset, path);
    if (frameNo >= l.frames)
        throw DicomError(path, QStringLiteral("it has no frame %1 (it holds %2 frame(s), counted "
                                              "from 0)")
                                   .arg(frameNo)
                                   .arg(l.frames));
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    pixelData.getCurrentRepresentationKey(syntax, parameter);
    const bool compressed = DcmXfer(syntax).isEncapsulated();

    // Native 4:2:2 data stores two samples per pixel; decoders always deliver three.
    const bool subsampled = !compressed && l.samplesPerPixel == 3 && isSubsampled422(l.photometric);
    if (subsampled && l.columns % 2 != 0)
        throw DicomError(path, QStringLiteral("%1 needs an even number of columns, not %2")
                                   .arg(l.photometric)
                                   .arg(l.columns));
    const uint64_t samplesPerFrame =
        uint64_t(l.rows) * l.columns * (subsampled ? 2 : l.samplesPerPixel);
    const uint64_t frameBytes = bytesFor(samplesPerFrame, l.bitsAllocated);

    DicomPixelFrame frame;
    frame.width = l.columns;
    frame.height = l.rows;
    frame.samplesPerPixel = l.samplesPerPixel;

    FrameBytes bytes;
    uint64_t skip = 0;
    bool planar = l.samplesPerPixel == 3 && l.planarConfiguration == 1;
    if (compressed) {
        if (frameBytes == 0)
            return frame;
        if (syntax == EXS_RLELossless)
            checkRleHeader(pixelData, parameter, l.frames, frameNo, path);
        bytes = isJpeg2000(syntax)
                    ? readJpeg2000Frame(pixelData, syntax, parameter, l, frameNo, path)
                    : readCompressedFrame(dataset, pixelData, syntax, frameBytes, frameNo, path);
        // The JPEG decoders deliver colour pixel by pixel; RLE keeps the planar configuration
        // that the data set declares.
        if (syntax != EXS_RLELossless)
            planar = false;
    } else {
        const uint64_t declaredBytes = bytesFor(samplesPerFrame * l.frames, l.bitsAllocated);
        bytes = readNativeFrame(dataset, pixelData, l, samplesPerFrame, frameNo, declaredBytes,
                                path, &skip);
        if (frameBytes == 0)
            return frame;
    }
    decodeSamples(l, bytes.get(), skip, planar, subsampled, frame.values);
    return frame;
}

} // namespace kelvara
