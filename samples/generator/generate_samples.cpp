// Writes the synthetic sample cases: one axial prostate slice as T2, DWI and ADC MR DICOM
// files, once with a one-sided peripheral-zone lesion and once without; and an examination of
// series folders (exam/) around the lesion.
//
//   kelvara-sample-generator OUTPUT_DIR
//
// T2 is 192 x 192; DWI and ADC are 96 x 96 as diffusion series usually are coarser, so the
// projects register them with a scale of 2. Values are 12-bit in 16-bit words, MONOCHROME2,
// with a window that covers the tissue. The noise is seeded, so the pixel values are
// reproducible (the UIDs are new each run).
#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

enum class Kind { T2, DWI, ADC };

// Tissue grey levels per sequence (ADC in 10^-6 mm^2/s).
struct Tissue
{
    double t2, dwi, adc;
};
constexpr Tissue kAir{10, 5, 0};
constexpr Tissue kFat{1150, 90, 600};
constexpr Tissue kMuscle{420, 160, 1450};
constexpr Tissue kBone{250, 40, 400};
constexpr Tissue kRectumWall{380, 260, 1200};
constexpr Tissue kRectumLumen{120, 20, 300};
constexpr Tissue kPeripheral{980, 300, 1750};
constexpr Tissue kTransition{640, 360, 1300};
constexpr Tissue kUrethra{1500, 200, 2200};
// Clinically significant tumour: darker on T2, bright on high-b DWI, restricted on ADC.
constexpr Tissue kLesion{520, 1050, 650};

double channel(const Tissue& t, Kind k)
{
    return k == Kind::T2 ? t.t2 : k == Kind::DWI ? t.dwi : t.adc;
}

// Smooth 0..1 weight of a soft-edged ellipse (partial volume at tissue borders).
double softEllipse(double x, double y, double cx, double cy, double ax, double ay, double edge)
{
    const double dx = (x - cx) / ax;
    const double dy = (y - cy) / ay;
    const double r = std::sqrt(dx * dx + dy * dy);
    return std::clamp((1.0 + edge - r) / (2.0 * edge), 0.0, 1.0);
}

// Tissue mixture at a point in normalised coordinates (-1..1, y downwards = posterior); the
// lesion's size is scaled by `lesion` (0: none).
double anatomy(double x, double y, Kind k, double lesion)
{
    double v = channel(kAir, k);
    auto blend = [&](const Tissue& t, double w) { v = v * (1.0 - w) + channel(t, k) * w; };

    blend(kFat, softEllipse(x, y, 0.0, 0.0, 0.95, 0.80, 0.02));
    // Obturator internus muscles and the pubic / ischial bone on both sides.
    for (double side : {-1.0, 1.0}) {
        blend(kMuscle, softEllipse(x, y, side * 0.55, 0.05, 0.16, 0.40, 0.08));
        blend(kBone, softEllipse(x, y, side * 0.74, 0.02, 0.09, 0.30, 0.06));
    }
    blend(kMuscle, softEllipse(x, y, 0.0, -0.55, 0.30, 0.12, 0.10)); // anterior fibromuscular
    blend(kRectumWall, softEllipse(x, y, 0.0, 0.48, 0.20, 0.15, 0.06));
    blend(kRectumLumen, softEllipse(x, y, 0.0, 0.49, 0.11, 0.07, 0.10));
    // The gland: peripheral zone posteriorly and laterally, transition zone anteriorly.
    blend(kPeripheral, softEllipse(x, y, 0.0, 0.02, 0.30, 0.24, 0.06));
    blend(kTransition, softEllipse(x, y, 0.0, -0.05, 0.19, 0.14, 0.10));
    blend(kUrethra, softEllipse(x, y, 0.0, -0.04, 0.025, 0.025, 0.30));
    if (lesion > 0.0)
        blend(kLesion, softEllipse(x, y, 0.16, 0.12, 0.075 * lesion, 0.065 * lesion, 0.25));
    return v;
}

std::vector<Uint16> renderSlice(int size, Kind k, double lesion, std::mt19937& rng)
{
    // A few sub-samples per pixel so the coarse diffusion images carry partial volume.
    const int sub = 3;
    const double noiseSigma = k == Kind::T2 ? 35.0 : k == Kind::DWI ? 22.0 : 70.0;
    std::normal_distribution<double> noise(0.0, noiseSigma);
    std::vector<Uint16> pixels(static_cast<std::size_t>(size) * size);
    for (int row = 0; row < size; ++row) {
        for (int col = 0; col < size; ++col) {
            double sum = 0.0;
            for (int sy = 0; sy < sub; ++sy)
                for (int sx = 0; sx < sub; ++sx) {
                    const double x = (col + (sx + 0.5) / sub) / size * 2.0 - 1.0;
                    const double y = (row + (sy + 0.5) / sub) / size * 2.0 - 1.0;
                    sum += anatomy(x, y, k, lesion);
                }
            // Magnitude images: Rician-like noise, never negative.
            const double re = sum / (sub * sub) + noise(rng);
            const double im = noise(rng);
            const double v = std::sqrt(re * re + im * im);
            pixels[static_cast<std::size_t>(row) * size + col] =
                static_cast<Uint16>(std::clamp(std::lround(v), 0L, 4095L));
        }
    }
    return pixels;
}

// Where a slice sits in its series; the defaults are those of the single-slice cases.
struct Placement
{
    double z = 0.0;
    int instance = 1;
    const char* description = nullptr; // the sequence's own when null
    double bValue = -1.0;              // none when negative
    const char* orientation = "1\\0\\0\\0\\1\\0";
};

bool writeDicom(const std::string& path, const std::vector<Uint16>& pixels, int size, Kind k,
                const char* patientName, const char* studyUid, const char* seriesUid,
                const char* frameOfReferenceUid, const Placement& at = {})
{
    DcmFileFormat file;
    DcmDataset* ds = file.getDataset();
    char uid[100];
    const char* description = at.description ? at.description
                              : k == Kind::T2  ? "T2W TSE AX"
                              : k == Kind::DWI ? "DWI b1400"
                                               : "ADC";
    const double fov = 180.0; // mm
    const std::string spacing = std::to_string(fov / size);

    ds->putAndInsertString(DCM_SOPClassUID, UID_MRImageStorage);
    ds->putAndInsertString(DCM_SOPInstanceUID,
                           dcmGenerateUniqueIdentifier(uid, SITE_INSTANCE_UID_ROOT));
    ds->putAndInsertString(DCM_StudyInstanceUID, studyUid);
    ds->putAndInsertString(DCM_SeriesInstanceUID, seriesUid);
    ds->putAndInsertString(DCM_FrameOfReferenceUID, frameOfReferenceUid);
    ds->putAndInsertString(DCM_Modality, "MR");
    ds->putAndInsertString(DCM_PatientName, patientName);
    ds->putAndInsertString(DCM_PatientID, patientName);
    ds->putAndInsertString(DCM_PatientSex, "M");
    ds->putAndInsertString(DCM_BodyPartExamined, "PROSTATE");
    ds->putAndInsertString(DCM_SeriesDescription, description);
    ds->putAndInsertString(DCM_ImageType,
                           k == Kind::ADC ? "DERIVED\\PRIMARY\\ADC" : "ORIGINAL\\PRIMARY");
    ds->putAndInsertString(DCM_SliceThickness, "3");
    ds->putAndInsertString(DCM_PixelSpacing, (spacing + "\\" + spacing).c_str());
    ds->putAndInsertString(DCM_ImagePositionPatient,
                           ("-90\\-90\\" + std::to_string(at.z)).c_str());
    ds->putAndInsertString(DCM_ImageOrientationPatient, at.orientation);
    ds->putAndInsertString(DCM_InstanceNumber, std::to_string(at.instance).c_str());
    if (at.bValue >= 0.0)
        ds->putAndInsertFloat64(DCM_DiffusionBValue, at.bValue);
    ds->putAndInsertUint16(DCM_SamplesPerPixel, 1);
    ds->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    ds->putAndInsertUint16(DCM_Rows, static_cast<Uint16>(size));
    ds->putAndInsertUint16(DCM_Columns, static_cast<Uint16>(size));
    ds->putAndInsertUint16(DCM_BitsAllocated, 16);
    ds->putAndInsertUint16(DCM_BitsStored, 12);
    ds->putAndInsertUint16(DCM_HighBit, 11);
    ds->putAndInsertUint16(DCM_PixelRepresentation, 0);
    // Windows a reader would pick for the tissue of each sequence.
    const char* centre = k == Kind::T2 ? "700" : k == Kind::DWI ? "520" : "1200";
    const char* width = k == Kind::T2 ? "1500" : k == Kind::DWI ? "1100" : "2600";
    ds->putAndInsertString(DCM_WindowCenter, centre);
    ds->putAndInsertString(DCM_WindowWidth, width);
    ds->putAndInsertUint16Array(DCM_PixelData, pixels.data(),
                                static_cast<unsigned long>(pixels.size()));

    // RLE keeps the committed samples small; plain explicit little endian if it cannot.
    E_TransferSyntax xfer = EXS_RLELossless;
    if (ds->chooseRepresentation(xfer, nullptr).bad() || !ds->canWriteXfer(xfer))
        xfer = EXS_LittleEndianExplicit;
    const OFCondition status = file.saveFile(path.c_str(), xfer);
    if (status.bad()) {
        std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), status.text());
        return false;
    }
    return true;
}

// An examination as a scanner exports it: a T2 series of five axial slices with a sagittal
// localizer in the same folder, a DWI series with b = 0 and 1400 at each position and an ADC
// series. File names say nothing and InstanceNumber runs against position; the lesion is
// largest on the middle slice. The series UIDs are fixed so that exam.kelvara can name them.
bool writeExamination(const std::string& out)
{
    std::mt19937 rng(3003u);
    char study[100], frame[100];
    dcmGenerateUniqueIdentifier(study, SITE_STUDY_UID_ROOT);
    dcmGenerateUniqueIdentifier(frame, SITE_STUDY_UID_ROOT);
    const std::string root = std::string(SITE_SERIES_UID_ROOT) + ".9001.";
    const std::string t2Uid = root + "1", localizerUid = root + "2", dwiUid = root + "3",
                      adcUid = root + "4";
    const char* patient = "KELVARA^exam";
    std::error_code ec;
    for (const char* folder : {"/t2", "/dwi", "/adc"})
        std::filesystem::create_directories(out + folder, ec);
    const double z[] = {-6.0, -3.0, 0.0, 3.0, 6.0};
    const double lesion[] = {0.0, 0.6, 1.0, 0.7, 0.0};
    int file = 0;
    auto name = [&](const char* folder) {
        char n[32];
        std::snprintf(n, sizeof n, "/%s/IM%04d", folder, ++file);
        return out + n;
    };
    bool ok = true;
    for (int i = 0; i < 5; ++i) {
        const Placement at{z[i], 5 - i};
        ok = writeDicom(name("t2"), renderSlice(192, Kind::T2, lesion[i], rng), 192, Kind::T2,
                        patient, study, t2Uid.c_str(), frame, at) &&
             ok;
    }
    Placement sagittal;
    sagittal.description = "LOCALIZER SAG";
    sagittal.orientation = "0\\1\\0\\0\\0\\-1";
    ok = writeDicom(name("t2"), renderSlice(192, Kind::T2, 0.0, rng), 192, Kind::T2, patient,
                    study, localizerUid.c_str(), frame, sagittal) &&
         ok;
    // The diffusion slices sit half a millimetre off T2's, as in a real examination.
    for (int i = 0; i < 5; ++i) {
        for (double b : {0.0, 1400.0}) {
            Placement at{z[i] + 0.5, 10 - 2 * i - (b > 0 ? 0 : 1), "DWI b0 b1400", b};
            const Kind look = b > 0 ? Kind::DWI : Kind::T2;
            ok = writeDicom(name("dwi"), renderSlice(96, look, lesion[i], rng), 96, Kind::DWI,
                            patient, study, dwiUid.c_str(), frame, at) &&
                 ok;
        }
        ok = writeDicom(name("adc"), renderSlice(96, Kind::ADC, lesion[i], rng), 96, Kind::ADC,
                        patient, study, adcUid.c_str(), frame, Placement{z[i] + 0.5, 5 - i}) &&
             ok;
    }
    return ok;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIR\n", argv[0]);
        return 2;
    }
    const std::string out = argv[1];
    DcmRLEEncoderRegistration::registerCodecs();

    struct Case
    {
        const char* name;
        bool lesion;
        unsigned seed;
    };
    const Case cases[] = {{"lesion", true, 1001u}, {"healthy", false, 2002u}};
    bool ok = true;
    for (const Case& c : cases) {
        std::mt19937 rng(c.seed);
        char study[100], frame[100];
        dcmGenerateUniqueIdentifier(study, SITE_STUDY_UID_ROOT);
        dcmGenerateUniqueIdentifier(frame, SITE_STUDY_UID_ROOT);
        const std::string patient = std::string("KELVARA^") + c.name;
        std::error_code ec;
        std::filesystem::create_directories(out + "/" + c.name, ec);
        const struct
        {
            Kind kind;
            const char* suffix;
            int size;
        } series[] = {{Kind::T2, "t2", 192}, {Kind::DWI, "dwi", 96}, {Kind::ADC, "adc", 96}};
        for (const auto& s : series) {
            char seriesUid[100];
            dcmGenerateUniqueIdentifier(seriesUid, SITE_SERIES_UID_ROOT);
            const std::vector<Uint16> pixels = renderSlice(s.size, s.kind, c.lesion, rng);
            const std::string path = out + "/" + c.name + "/" + s.suffix + ".dcm";
            ok = writeDicom(path, pixels, s.size, s.kind, patient.c_str(), study, seriesUid,
                            frame) &&
                 ok;
        }
    }
    ok = writeExamination(out + "/exam") && ok;
    DcmRLEEncoderRegistration::cleanup();
    return ok ? 0 : 1;
}
