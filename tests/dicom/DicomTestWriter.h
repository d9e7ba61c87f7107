#pragma once
// DICOM files written by the tests themselves with DCMTK: single-frame MR files or enhanced MR
// multi-frame files with per-frame positions, b-values and windows, pixels in a pattern that
// identifies the frame.
#include <QByteArray>
#include <QByteArrayList>
#include <QFile>
#include <QString>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include <array>
#include <functional>
#include <vector>

namespace dicomtest {

struct Frame
{
    int id = 0; // selects the pixel pattern
    std::array<double, 3> position{};
    double b = -1;                      // none when negative
    QByteArray center = {}, width = {}; // no window when null
};

struct Header
{
    QByteArray uid, description, modality = "MR";
    int seriesNumber = 1, instance = -1, side = 32, bits = 16;
    std::array<double, 6> orientation{1, 0, 0, 0, 1, 0};
    bool enhanced = false;
    QByteArray pixelSpacing = {}; // 0.5\0.5 for single-frame files, 0.8\0.9 for enhanced ones
};

inline int pattern(int id, int x, int y, int bits)
{
    const int v = ((x + 1) * (id + 3) + y * 7 + id * id) % 251 + 20 * id;
    return bits == 1 ? v & 1 : bits == 8 ? v & 255 : v;
}

inline QByteArray ds(const double* v, int n)
{
    QByteArrayList parts;
    for (int i = 0; i < n; ++i)
        parts << QByteArray::number(v[i], 'g', 12);
    return parts.join('\\');
}

inline DcmItem* macro(DcmDataset* d, const DcmTagKey& groups, long index, const DcmTagKey& sequence)
{
    DcmItem *group = nullptr, *item = nullptr;
    d->findOrCreateSequenceItem(groups, group, index);
    group->findOrCreateSequenceItem(sequence, item, 0);
    return item;
}

inline bool writeDicom(const QString& path, const Header& h, const std::vector<Frame>& frames,
                E_TransferSyntax syntax = EXS_LittleEndianExplicit)
{
    DcmFileFormat file;
    DcmDataset* d = file.getDataset();
    d->putAndInsertString(DCM_SOPClassUID,
                          h.enhanced ? UID_EnhancedMRImageStorage : UID_MRImageStorage);
    d->putAndInsertString(DCM_SOPInstanceUID, "1.2.826.0.1.3680043.2.1143.9");
    d->putAndInsertString(DCM_SeriesInstanceUID, h.uid.constData());
    d->putAndInsertString(DCM_Modality, h.modality.constData());
    d->putAndInsertString(DCM_SeriesDescription, h.description.constData());
    d->putAndInsertString(DCM_SeriesNumber, QByteArray::number(h.seriesNumber).constData());
    if (h.instance >= 0)
        d->putAndInsertString(DCM_InstanceNumber, QByteArray::number(h.instance).constData());
    d->putAndInsertUint16(DCM_Rows, Uint16(h.side));
    d->putAndInsertUint16(DCM_Columns, Uint16(h.side));
    d->putAndInsertUint16(DCM_BitsAllocated, Uint16(h.bits));
    d->putAndInsertUint16(DCM_BitsStored, Uint16(h.bits));
    d->putAndInsertUint16(DCM_HighBit, Uint16(h.bits - 1));
    d->putAndInsertUint16(DCM_PixelRepresentation, 0);
    d->putAndInsertUint16(DCM_SamplesPerPixel, 1);
    d->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    if (frames.size() > 1 || h.enhanced)
        d->putAndInsertString(DCM_NumberOfFrames, QByteArray::number(int(frames.size())));
    const QByteArray orientation = ds(h.orientation.data(), 6);
    if (h.enhanced) {
        const DcmTagKey shared = DCM_SharedFunctionalGroupsSequence;
        macro(d, shared, 0, DCM_PlaneOrientationSequence)
            ->putAndInsertString(DCM_ImageOrientationPatient, orientation.constData());
        DcmItem* measures = macro(d, shared, 0, DCM_PixelMeasuresSequence);
        measures->putAndInsertString(DCM_PixelSpacing,
                                     h.pixelSpacing.isNull() ? "0.8\\0.9" : h.pixelSpacing.constData());
        measures->putAndInsertString(DCM_SliceThickness, "4");
        for (size_t f = 0; f < frames.size(); ++f) {
            const Frame& fr = frames[f];
            const DcmTagKey perFrame = DCM_PerFrameFunctionalGroupsSequence;
            macro(d, perFrame, long(f), DCM_PlanePositionSequence)
                ->putAndInsertString(DCM_ImagePositionPatient, ds(fr.position.data(), 3));
            if (fr.b >= 0)
                macro(d, perFrame, long(f), DCM_MRDiffusionSequence)
                    ->putAndInsertFloat64(DCM_DiffusionBValue, fr.b);
            if (!fr.center.isNull()) {
                DcmItem* voi = macro(d, perFrame, long(f), DCM_FrameVOILUTSequence);
                voi->putAndInsertString(DCM_WindowCenter, fr.center.constData());
                voi->putAndInsertString(DCM_WindowWidth, fr.width.constData());
            }
        }
    } else {
        const Frame& fr = frames.front();
        d->putAndInsertString(DCM_ImageOrientationPatient, orientation.constData());
        d->putAndInsertString(DCM_ImagePositionPatient, ds(fr.position.data(), 3));
        d->putAndInsertString(DCM_PixelSpacing,
                              h.pixelSpacing.isNull() ? "0.5\\0.5" : h.pixelSpacing.constData());
        d->putAndInsertString(DCM_SliceThickness, "3");
        if (fr.b >= 0)
            d->putAndInsertFloat64(DCM_DiffusionBValue, fr.b);
        if (!fr.center.isNull()) {
            d->putAndInsertString(DCM_WindowCenter, fr.center.constData());
            d->putAndInsertString(DCM_WindowWidth, fr.width.constData());
        }
    }
    std::vector<Uint16> words;
    QByteArray bytes;
    for (const Frame& fr : frames)
        for (int y = 0; y < h.side; ++y)
            for (int x = 0; x < h.side; ++x) {
                const int v = pattern(fr.id, x, y, h.bits);
                words.push_back(Uint16(v));
                const int bit = int(words.size()) - 1; // 1-bit samples packed from bit 0
                if (h.bits == 8)
                    bytes.append(char(v));
                else if (h.bits == 1 && bit % 8 == 0)
                    bytes.append(char(v));
                else if (h.bits == 1)
                    bytes.back() = char(bytes.back() | (v << (bit % 8)));
            }
    const OFCondition put =
        h.bits == 16
            ? d->putAndInsertUint16Array(DCM_PixelData, words.data(), Uint32(words.size()))
            : d->putAndInsertUint8Array(DCM_PixelData, reinterpret_cast<const Uint8*>(bytes.data()),
                                        Uint32(bytes.size()));
    if (put.bad() ||
        (DcmXfer(syntax).isEncapsulated() && d->chooseRepresentation(syntax, nullptr).bad()))
        return false;
    return file.saveFile(OFFilename(QFile::encodeName(path).constData()), syntax).good();
}

// Loads `path`, lets `edit` change its data set (the faults the writer above never makes) and
// saves it again.
inline bool editDicom(const QString& path, const std::function<void(DcmDataset&)>& edit)
{
    DcmFileFormat file;
    const OFFilename name(QFile::encodeName(path).constData());
    if (file.loadFile(name).bad() || file.loadAllDataIntoMemory().bad())
        return false; // the Pixel Data too: the file is written over
    edit(*file.getDataset());
    return file.saveFile(name, EXS_LittleEndianExplicit).good();
}

// The item `index` of the Per-frame Functional Groups Sequence's macro `sequence`, made when
// missing.
inline DcmItem* perFrameMacro(DcmDataset& d, long index, const DcmTagKey& sequence)
{
    return macro(&d, DCM_PerFrameFunctionalGroupsSequence, index, sequence);
}

} // namespace dicomtest
