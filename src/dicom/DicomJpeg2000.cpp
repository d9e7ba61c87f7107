#include "DicomJpeg2000.h"

#include "DicomError.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>

#include <openjpeg.h>

#include <algorithm>
#include <cstring>

namespace kelvara {

namespace {

const uint8_t kCodestreamStart[] = {0xFF, 0x4F, 0xFF, 0x51}; // SOC followed by SIZ
const uint8_t kJp2Signature[] = {0x00, 0x00, 0x00, 0x0C, 0x6A, 0x50,
                                 0x20, 0x20, 0x0D, 0x0A, 0x87, 0x0A};

bool startsWith(const uint8_t* data, size_t size, const uint8_t* prefix, size_t prefixSize)
{
    return size >= prefixSize && std::memcmp(data, prefix, prefixSize) == 0;
}

bool startsFrame(const uint8_t* data, size_t size)
{
    return startsWith(data, size, kCodestreamStart, sizeof kCodestreamStart) ||
           startsWith(data, size, kJp2Signature, sizeof kJp2Signature);
}

struct Fragment
{
    const uint8_t* data = nullptr;
    uint32_t length = 0;
};

// Byte offsets of the frames, relative to the first fragment, or empty when the table does not
// describe `frames` frames in increasing order starting at 0.
std::vector<uint64_t> offsetTable(const Fragment& table, uint64_t frames)
{
    if (table.length == 0 || table.length % 4 != 0 || table.length / 4 != frames)
        return {};
    std::vector<uint64_t> offsets(table.length / 4);
    for (size_t i = 0; i < offsets.size(); ++i) {
        const uint8_t* p = table.data + 4 * i;
        offsets[i] =
            uint64_t(p[0]) | uint64_t(p[1]) << 8 | uint64_t(p[2]) << 16 | uint64_t(p[3]) << 24;
        if ((i == 0 && offsets[i] != 0) || (i > 0 && offsets[i] <= offsets[i - 1]))
            return {};
    }
    return offsets;
}

// OpenJPEG reads from memory through these callbacks.
struct MemoryStream
{
    const uint8_t* data;
    size_t size;
    size_t pos;
};

OPJ_SIZE_T readMemory(void* buffer, OPJ_SIZE_T count, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    const size_t n = std::min<size_t>(count, s->size - s->pos);
    if (n == 0)
        return OPJ_SIZE_T(-1);
    std::memcpy(buffer, s->data + s->pos, n);
    s->pos += n;
    return n;
}

OPJ_OFF_T skipMemory(OPJ_OFF_T count, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    if (count < 0 ? size_t(-count) > s->pos : size_t(count) > s->size - s->pos) {
        s->pos = count < 0 ? 0 : s->size;
        return -1;
    }
    s->pos = size_t(OPJ_OFF_T(s->pos) + count);
    return count;
}

OPJ_BOOL seekMemory(OPJ_OFF_T to, void* user)
{
    auto* s = static_cast<MemoryStream*>(user);
    if (to < 0 || uint64_t(to) > s->size)
        return OPJ_FALSE;
    s->pos = size_t(to);
    return OPJ_TRUE;
}

void collectError(const char* message, void* user)
{
    auto* text = static_cast<QString*>(user);
    if (text->isEmpty()) // the first error is the cause; later ones only report the fallout
        *text = QString::fromLatin1(message).trimmed();
}

void ignoreMessage(const char*, void*) {}

struct CodecDeleter
{
    void operator()(opj_codec_t* c) const { opj_destroy_codec(c); }
};
struct StreamDeleter
{
    void operator()(opj_stream_t* s) const { opj_stream_destroy(s); }
};
struct ImageDeleter
{
    void operator()(opj_image_t* i) const { opj_image_destroy(i); }
};

// The decoded image must be the one the data set describes; otherwise the stored values would
// be read with the wrong geometry or lose bits.
void checkGeometry(const opj_image_t& image, const Jpeg2000Target& t, const QString& path)
{
    if (image.numcomps != t.samplesPerPixel)
        throw DicomError(path, QStringLiteral("the JPEG 2000 stream holds %1 component(s), the "
                                              "data set declares %2 sample(s) per pixel")
                                   .arg(image.numcomps)
                                   .arg(t.samplesPerPixel));
    for (uint32_t c = 0; c < image.numcomps; ++c) {
        const opj_image_comp_t& comp = image.comps[c];
        if (comp.dx != 1 || comp.dy != 1)
            throw DicomError(path, QStringLiteral("component %1 of the JPEG 2000 stream is "
                                                  "subsampled (%2 x %3)")
                                       .arg(c)
                                       .arg(comp.dx)
                                       .arg(comp.dy));
        if (comp.w != t.columns || comp.h != t.rows)
            throw DicomError(path, QStringLiteral("the JPEG 2000 stream holds %1 x %2 pixels, "
                                                  "the data set declares %3 x %4")
                                       .arg(comp.w)
                                       .arg(comp.h)
                                       .arg(t.columns)
                                       .arg(t.rows));
        if (comp.prec < 1 || comp.prec > t.bitsAllocated)
            throw DicomError(path, QStringLiteral("the JPEG 2000 stream has %1-bit samples, "
                                                  "the data set allocates %2 bits")
                                       .arg(comp.prec)
                                       .arg(t.bitsAllocated));
    }
}

} // namespace

std::vector<uint8_t> jpeg2000Frame(DcmPixelSequence& sequence, const Jpeg2000Target& target,
                                   const QString& path)
{
    const uint64_t frames = target.frames;
    std::vector<Fragment> items;
    const unsigned long count = sequence.card();
    for (unsigned long i = 0; i < count; ++i) {
        DcmPixelItem* item = nullptr;
        Uint8* data = nullptr;
        if (sequence.getItem(item, i).bad() || !item)
            break;
        const Uint32 length = item->getLength();
        if (length > 0 && (item->getUint8Array(data).bad() || !data))
            throw DicomError(path,
                             QStringLiteral("fragment %1 of the Pixel Data cannot be read").arg(i));
        items.push_back({data, length});
    }
    if (items.size() < 2)
        throw DicomError(path, QStringLiteral("the Pixel Data holds no compressed fragment"));

    const std::vector<uint64_t> offsets = offsetTable(items[0], frames);
    std::vector<uint8_t> stream;
    uint64_t position = 0; // of the current fragment's item tag, relative to the first fragment
    uint64_t current = 0;  // the frame the current fragment belongs to
    for (size_t i = 1; i < items.size(); ++i) {
        const Fragment& f = items[i];
        if (i > 1) {
            if (offsets.size() > 1) {
                while (current + 1 < offsets.size() && position >= offsets[current + 1])
                    ++current;
            } else if (frames > 1 && startsFrame(f.data, f.length)) {
                ++current;
            }
        }
        if (current > target.frame)
            break;
        if (current == target.frame)
            stream.insert(stream.end(), f.data, f.data + f.length);
        position += 8 + uint64_t(f.length);
    }
    if (stream.empty() && target.frame > 0)
        throw DicomError(
            path, QStringLiteral("no JPEG 2000 fragment belongs to frame %1").arg(target.frame));
    return stream;
}

std::unique_ptr<uint8_t[]> decodeJpeg2000(const std::vector<uint8_t>& stream,
                                          const Jpeg2000Target& target, const QString& path)
{
    OPJ_CODEC_FORMAT format;
    if (startsWith(stream.data(), stream.size(), kCodestreamStart, sizeof kCodestreamStart))
        format = OPJ_CODEC_J2K;
    else if (startsWith(stream.data(), stream.size(), kJp2Signature, sizeof kJp2Signature))
        format = OPJ_CODEC_JP2;
    else
        throw DicomError(path, QStringLiteral("frame %1 is neither a JPEG 2000 codestream nor "
                                              "a JP2 file")
                                   .arg(target.frame));

    QString error;
    std::unique_ptr<opj_codec_t, CodecDeleter> codec(opj_create_decompress(format));
    if (!codec)
        throw DicomError(path, QStringLiteral("the JPEG 2000 decoder cannot be created"));
    opj_set_error_handler(codec.get(), collectError, &error);
    opj_set_warning_handler(codec.get(), ignoreMessage, nullptr);
    opj_set_info_handler(codec.get(), ignoreMessage, nullptr);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    // Strict: a truncated stream is an error, not an image with blurred or missing parts.
    if (!opj_setup_decoder(codec.get(), &parameters) ||
        !opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE))
        throw DicomError(path, QStringLiteral("the JPEG 2000 decoder cannot be set up"));

    MemoryStream memory{stream.data(), stream.size(), 0};
    std::unique_ptr<opj_stream_t, StreamDeleter> input(opj_stream_create(1 << 16, OPJ_TRUE));
    if (!input)
        throw DicomError(path, QStringLiteral("the JPEG 2000 decoder cannot be set up"));
    opj_stream_set_read_function(input.get(), readMemory);
    opj_stream_set_skip_function(input.get(), skipMemory);
    opj_stream_set_seek_function(input.get(), seekMemory);
    opj_stream_set_user_data(input.get(), &memory, nullptr);
    opj_stream_set_user_data_length(input.get(), stream.size());

    auto fail = [&](const char* stage) {
        return DicomError(path, QStringLiteral("frame %1 cannot be decoded (JPEG 2000, %2): %3")
                                    .arg(target.frame)
                                    .arg(QLatin1String(stage),
                                         error.isEmpty() ? QStringLiteral("corrupt data") : error));
    };
    opj_image_t* header = nullptr;
    if (!opj_read_header(input.get(), codec.get(), &header)) {
        opj_image_destroy(header);
        throw fail("header");
    }
    std::unique_ptr<opj_image_t, ImageDeleter> image(header);
    // Checked before decoding so that a stream claiming a huge image never gets decoded.
    checkGeometry(*image, target, path);
    if (!opj_decode(codec.get(), input.get(), image.get()) ||
        !opj_end_decompress(codec.get(), input.get()))
        throw fail("data");
    checkGeometry(*image, target, path); // a JP2 palette can change the components
    for (uint32_t c = 0; c < image->numcomps; ++c)
        if (!image->comps[c].data)
            throw fail("data");

    const uint32_t spp = target.samplesPerPixel, ba = target.bitsAllocated;
    const uint64_t pixels = uint64_t(target.columns) * target.rows;
    const uint64_t samples = pixels * spp;
    const uint64_t bytes = ba == 1 ? (samples + 7) / 8 : samples * (ba / 8);
    std::unique_ptr<uint8_t[]> out(new uint8_t[bytes + 4]());
    uint8_t* o = out.get();
    for (uint32_t c = 0; c < spp; ++c) {
        const OPJ_INT32* data = image->comps[c].data;
        for (uint64_t p = 0; p < pixels; ++p) {
            // Signed samples keep their two's complement bits; masking and sign extension
            // follow the data set's attributes afterwards, as for any other encoding.
            const uint32_t v = uint32_t(data[p]);
            const uint64_t i = p * spp + c;
            switch (ba) {
            case 1:
                o[i >> 3] |= uint8_t((v & 1u) << (i & 7));
                break;
            case 8:
                o[i] = uint8_t(v);
                break;
            case 16:
                o[2 * i] = uint8_t(v);
                o[2 * i + 1] = uint8_t(v >> 8);
                break;
            default:
                for (int b = 0; b < 4; ++b)
                    o[4 * i + b] = uint8_t(v >> (8 * b));
            }
        }
    }
    return out;
}

} // namespace kelvara
