#!/usr/bin/python3
"""Writes the expected grey images of the DICOM reader test for pydicom's sample files.

The stored values come from pydicom (and GDCM for JPEG), not from DCMTK, so the test compares
the reader against an independent decoder. Grey files are windowed here exactly as the reader
must window them; for RGB files the low 8 bits of each sample are written as an RGB PNG and the
test turns them grey with Qt's own conversion, as the reader does.

YBR files go the grey way (the first width x height samples, interleaved by pixel), as in the
reader.

Run with Debian's python3 (packages python3-pydicom, python3-numpy, python3-gdcm):
    /usr/bin/python3 tests/dicom/make_dicom_references.py
"""

import os
import struct
import sys
import warnings
import zlib

import numpy as np
import pydicom
from pydicom.pixel_data_handlers import gdcm_handler, numpy_handler, rle_handler

SAMPLES = os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files")
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")

# reference name -> (sample files that must all give it, kind)
REFERENCES = {
    "mr_small.png": (["MR_small.dcm", "MR_small_implicit.dcm", "MR_small_bigendian.dcm",
                      "MR_small_expb.dcm", "MR_small_RLE.dcm", "MR_small_jpeg_ls_lossless.dcm",
                      "MR_small_padded.dcm", "MR_small_jp2klossless.dcm"], "grey"),
    "ct_small.png": (["CT_small.dcm"], "grey"),
    "jpeg_extended_12bit.png": (["JPGExtended.dcm", "JPEG-lossy.dcm"], "grey"),
    "image_dfl.png": (["image_dfl.dcm"], "grey"),
    "liver_1bit.png": (["liver_1frame.dcm", "liver_expb_1frame.dcm"], "grey"),
    "rtdose_frame0.png": (["rtdose.dcm", "rtdose_1frame.dcm", "rtdose_expb.dcm",
                           "rtdose_rle.dcm"], "grey"),
    "ybr_full_422.png": (["SC_ybr_full_422_uncompressed.dcm"], "grey"),
    "sc_rgb.png": (["SC_rgb_rle.dcm", "SC_rgb_rle_2frame.dcm", "SC_rgb_rle_16bit.dcm",
                    "SC_rgb_rle_16bit_2frame.dcm", "SC_rgb_rle_32bit.dcm",
                    "SC_rgb_rle_32bit_2frame.dcm", "SC_rgb_jpeg_gdcm.dcm"], "rgb"),
    "sc_rgb_jpeg_baseline.png": (["SC_rgb_dcmtk_+eb+cr.dcm"], "rgb"),
    "explvr_bigend_rgb.png": (["ExplVR_BigEnd.dcm"], "rgb"),
    "sc_rgb_small_odd.png": (["SC_rgb_small_odd.dcm"], "rgb"),
    # JPEG 2000, decoded by GDCM
    "jpeg2000_16bit.png": (["JPEG2000.dcm"], "grey"),
    "j2k_14bit_lossy.png": (["693_J2KI.dcm"], "grey"),
    "j2k_pixelrep_mismatch.png": (["J2K_pixelrep_mismatch.dcm"], "grey"),
    "j2k_ybr_rct.png": (["GDCMJ2K_TextGBR.dcm"], "grey"),
}


def stored_frame0(ds):
    """Frame 0 as signed stored values, samples interleaved by pixel."""
    # Read before decoding: pydicom's JPEG 2000 corrections may rewrite Pixel Representation
    # to what the codestream says, and the data set's value is the one that counts.
    signed = ds.PixelRepresentation == 1
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        pixels = ds.pixel_array
    frames = int(getattr(ds, "NumberOfFrames", 1) or 1)
    if frames > 1:
        pixels = pixels[0]
    raw = pixels.astype(np.int64)
    if ds.BitsAllocated > 1:
        # Keep Bits Stored from the High Bit down; sign-extend signed data.
        bits, high = ds.BitsStored, ds.HighBit
        raw = raw & ((1 << ds.BitsAllocated) - 1)
        raw = (raw >> (high + 1 - bits)) & ((1 << bits) - 1)
        if signed:
            raw = np.where(raw & (1 << (bits - 1)), raw - (1 << bits), raw)
    return raw


def first_value(ds, keyword):
    if keyword not in ds or ds[keyword].value in (None, ""):
        return ""
    value = ds[keyword].value
    if isinstance(value, pydicom.multival.MultiValue):
        value = value[0]
    return str(value).strip()


def to_double(text):
    try:
        return float(text)
    except ValueError:
        return 0.0


def window(ds, values):
    rows, cols = ds.Rows, ds.Columns
    flat = values.reshape(-1)[: rows * cols].astype(np.float64)  # one sample per pixel
    low, high = min(100000.0, flat.min()), max(-1000000.0, flat.max())
    wc = (high + 1.0 + low) * 0.5
    ww = (wc - low) * 2
    if first_value(ds, "WindowCenter"):
        wc = to_double(first_value(ds, "WindowCenter"))
    if first_value(ds, "WindowWidth"):
        ww = to_double(first_value(ds, "WindowWidth"))
    m, k = wc - 0.5, (ww - 1) * 0.5
    out = np.empty_like(flat)
    for i, v in enumerate(flat):
        if v <= m - k:
            out[i] = 0.0
        elif v > m + k:
            out[i] = 1.0
        else:
            out[i] = (v - m) / (ww - 1) + 0.5
    grey = np.trunc(out * 255.0).astype(np.int64) & 255
    return grey.reshape(rows, cols).astype(np.uint8)


def low_bytes_rgb(ds, values):
    return (values.reshape(ds.Rows, ds.Columns, 3) & 255).astype(np.uint8)


def write_png(path, image):
    height, width = image.shape[:2]
    colour = image.ndim == 3
    rows = b"".join(b"\0" + image[y].tobytes() for y in range(height))

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    header = struct.pack(">IIBBBBB", width, height, 8, 2 if colour else 0, 0, 0, 0)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
                + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def main():
    pydicom.config.pixel_data_handlers = [numpy_handler, rle_handler, gdcm_handler]
    os.makedirs(OUT, exist_ok=True)
    for name, (files, kind) in REFERENCES.items():
        results = []
        for file in files:
            ds = pydicom.dcmread(os.path.join(SAMPLES, file))
            values = stored_frame0(ds)
            image = window(ds, values) if kind == "grey" else low_bytes_rgb(ds, values)
            results.append((file, image))
        first_file, image = results[0]
        for file, other in results[1:]:
            if not np.array_equal(image, other):
                sys.exit(f"{file} does not give the same image as {first_file}")
        write_png(os.path.join(OUT, name), image)
        print(f"{name}: {image.shape} from {', '.join(files)}")


if __name__ == "__main__":
    main()
