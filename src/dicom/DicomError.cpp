#include "DicomError.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcerror.h>

namespace kelvara {

QString inPlainWords(const OFCondition& status)
{
    struct Words
    {
        const OFConditionConst& condition;
        const char* text;
    };
    // The conditions DCMTK's parser and pixel access return; its own texts ("I/O suspension or
    // premature end of stream", "Illegal call, perhaps wrong parameters") mean nothing to a user.
    static const Words words[] = {
        {EC_StreamNotifyClient, "the file ends in the middle of a data element (it is truncated)"},
        {EC_EndOfStream, "the file ends in the middle of a data element (it is truncated)"},
        {EC_ElemLengthLargerThanItem, "a data element is longer than the item holding it"},
        {EC_SeqOrItemContentOverflow, "a sequence or item holds more than its length allows"},
        {EC_PrematureSequDelimitationItem, "a sequence ends in the middle of an item"},
        {EC_SequDelimitationItemMissing, "a sequence is not closed"},
        {EC_ItemDelimitationItemMissing, "an item is not closed"},
        {EC_SequEnd, "a sequence ends where none was open"},
        {EC_ItemEnd, "an item ends where none was open"},
        {EC_InvalidTag, "it holds a data element with an invalid tag"},
        {EC_InvalidVR, "it holds a data element with an invalid value representation"},
        {EC_UnknownVR, "it holds a data element with an unknown value representation"},
        {EC_DoubledTag, "a data element occurs twice"},
        {EC_CorruptedData, "its data elements are corrupt"},
        {EC_InvalidStream, "its data elements are corrupt"},
        {EC_PixelDataExplLengthIllegal, "its compressed Pixel Data has a fixed length"},
        {EC_UndefinedLengthOBOW, "an uncompressed binary value has no defined length"},
        {EC_ElemLengthExceeds32BitField, "a data element is longer than 4 GiB"},
        {EC_InvalidOffset, "a value is read beyond its end"},
        {EC_TooManyBytesRequested, "a value is read beyond its end"},
        {EC_InvalidBasicOffsetTable, "the offset table of its compressed Pixel Data is invalid"},
        {EC_UnknownTransferSyntax, "its transfer syntax is unknown"},
        {EC_UnsupportedEncoding, "it is encoded in a way this program cannot read"},
        {EC_CannotChangeRepresentation, "its Pixel Data cannot be decoded"},
        {EC_RepresentationNotFound, "its Pixel Data cannot be decoded"},
        {EC_FileMetaInfoHeaderMissing, "not a DICOM file (no file meta information)"},
        {EC_InvalidDICOMDIR, "it is a damaged DICOMDIR"},
        {EC_MemoryExhausted, "there is not enough memory to read it"},
        {EC_InvalidFilename, "the file cannot be opened"},
        {EC_TagNotFound, "a required data element is missing"},
        {EC_IllegalCall, "a data element does not hold the kind of value it should"},
        {EC_IllegalParameter, "a data element does not hold the kind of value it should"},
    };
    for (const Words& w : words)
        if (status == w.condition)
            return QLatin1String(w.text);
    // Conditions not listed above come from other parts of DCMTK (codecs, system errors).
    return QStringLiteral("the DICOM toolkit reports: %1").arg(QLatin1String(status.text()));
}

} // namespace kelvara
