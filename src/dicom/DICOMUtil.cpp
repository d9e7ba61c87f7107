#include "DICOMUtil.h"

#include "DicomError.h"
#include "DicomFunctionalGroups.h"
#include "DicomPixelFrame.h"
#include "DicomStructureGuard.h"
#include "Numeric.h"


#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>

#include <algorithm>
#include <new>

namespace {

QString firstValue(DcmItem& dataset, const DcmTagKey& key)
{
    OFString value;
    if (dataset.findAndGetOFString(key, value, 0).bad())
        return QString();
    return QString::fromLatin1(value.c_str());
}

QImage windowedImage(const kelvara::DicomPixelFrame& frame, bool colour, const QString& center,
                     const QString& width, const QString& path)
{
    const uint32_t w = frame.width, h = frame.height;
    if (w == 0 || h == 0)
        return QImage();
    QImage result(int(w), int(h), QImage::Format_RGB32);
    if (result.isNull())
        throw kelvara::DicomError(path, QStringLiteral("there is not enough memory for an image "
                                                       "of %1 x %2 pixels")
                                            .arg(w)
                                            .arg(h));
    const int32_t* values = frame.values.data();

    // These start values are part of the window's definition: an image whose values all lie
    // above 100000 keeps min = 100000, one below -1000000 keeps max = -1000000.
    double min = 100000.0, max = -1000000.0;
    if (!colour) {
        const uint32_t count = w * h;
        for (uint32_t i = 0; i < count; ++i) {
            const double v = values[i];
            min = std::min(v, min);
            max = std::max(v, max);
        }
    }
    double wc = (max + 1.0 + min) * 0.5;
    double ww = (wc - min) * 2;
    if (!center.isEmpty())
        wc = center.toDouble();
    if (!width.isEmpty())
        ww = width.toDouble();

    const double m = wc - 0.5, k = (ww - 1) * 0.5;
    for (uint32_t y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(result.scanLine(int(y)));
        for (uint32_t x = 0; x < w; ++x) {
            const uint32_t i = y * w + x;
            if (colour) {
                const int32_t* rgb = values + 3 * i;
                line[x] = qRgb(rgb[0] & 255, rgb[1] & 255, rgb[2] & 255);
                continue;
            }
            const double xv = values[i];
            double yv;
            if (xv <= m - k)
                yv = 0.0;
            else if (xv > m + k)
                yv = 1.0;
            else
                yv = (xv - m) / (ww - 1) + 0.5;
            const int grey = kelvara::wrapGrey(yv * 255.0);
            line[x] = qRgb(grey, grey, grey);
        }
    }
    result.convertTo(QImage::Format_Grayscale8);
    return result;
}

} // namespace

QImage DICOMUtil::loadImage(const QString& path, int frameNo)
{
    try {
        if (frameNo < 0)
            throw kelvara::DicomError(path, QStringLiteral("frame %1 does not exist").arg(frameNo));
        kelvara::registerDicomDecoders();
        DcmFileFormat file;
        kelvara::loadDicomFile(file, path);
        DcmDataset& dataset = *file.getDataset();

        const kelvara::DicomPixelFrame frame =
            kelvara::DicomPixelFrame::read(dataset, path, uint32_t(frameNo));
        // Any other colour model (YBR, PALETTE COLOR) goes the grey way, one sample per pixel.
        const bool colour = firstValue(dataset, DCM_PhotometricInterpretation) == "RGB";
        DcmItem* voi =
            kelvara::functionalGroup(dataset, DCM_FrameVOILUTSequence, uint32_t(frameNo));
        DcmItem& window = voi && voi->tagExists(DCM_WindowCenter) ? *voi : dataset;
        return windowedImage(frame, colour, firstValue(window, DCM_WindowCenter),
                             firstValue(window, DCM_WindowWidth), path);
    } catch (const std::bad_alloc&) {
        throw kelvara::DicomError(path, QStringLiteral("there is not enough memory to read it"));
    }
}
