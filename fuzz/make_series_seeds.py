#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_series: small DICOM series (explicit VR little endian, 4 x 4
16-bit pixels) whose files are joined by the harness's separator. Run from anywhere:
    python3 fuzz/make_series_seeds.py
"""
import os
import struct

SEPARATOR = b"\xf0SPLIT\xf0"  # as in fuzz_series.cpp
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "series")


def element(group, elem, vr, value):
    if isinstance(value, str):
        value = value.encode("ascii")
        if len(value) % 2:
            value += b"\0" if vr == "UI" else b" "
    head = struct.pack("<HH", group, elem) + vr.encode("ascii")
    if vr in ("OB", "OW", "SQ", "UN", "UT"):
        return head + b"\0\0" + struct.pack("<I", len(value)) + value
    return head + struct.pack("<H", len(value)) + value


def dicom(uid, instance, position, orientation="1\\0\\0\\0\\1\\0", b=None, spacing="0.5\\0.5"):
    meta = element(0x0002, 0x0010, "UI", "1.2.840.10008.1.2.1")
    meta = element(0x0002, 0x0000, "UL", struct.pack("<I", len(meta))) + meta
    data = [
        element(0x0008, 0x0060, "CS", "MR"),
        element(0x0018, 0x0050, "DS", "3"),
    ]
    if b is not None:
        data.append(element(0x0018, 0x9087, "FD", struct.pack("<d", b)))
    data += [
        element(0x0020, 0x000E, "UI", uid),
        element(0x0020, 0x0011, "IS", "1"),
        element(0x0020, 0x0013, "IS", str(instance)),
    ]
    if position is not None:
        data.append(element(0x0020, 0x0032, "DS", position))
    data += [
        element(0x0020, 0x0037, "DS", orientation),
        element(0x0028, 0x0002, "US", struct.pack("<H", 1)),
        element(0x0028, 0x0004, "CS", "MONOCHROME2"),
        element(0x0028, 0x0010, "US", struct.pack("<H", 4)),
        element(0x0028, 0x0011, "US", struct.pack("<H", 4)),
        element(0x0028, 0x0030, "DS", spacing),
        element(0x0028, 0x0100, "US", struct.pack("<H", 16)),
        element(0x0028, 0x0101, "US", struct.pack("<H", 16)),
        element(0x0028, 0x0102, "US", struct.pack("<H", 15)),
        element(0x0028, 0x0103, "US", struct.pack("<H", 0)),
        element(0x7FE0, 0x0010, "OW", bytes(range(instance, instance + 32))),
    ]
    return b"\0" * 128 + b"DICM" + meta + b"".join(data)


SEEDS = {
    "clean": [dicom("1.2.3", 3 - i, "0\\0\\%d" % (3 * i)) for i in range(3)],
    "b-values": [dicom("1.2.3", i + 1, "0\\0\\%d" % (3 * (i // 2)), b=500.0 * (i % 2))
                 for i in range(4)],
    "one-position": [dicom("1.2.3", i + 1, "0\\0\\6") for i in range(2)],
    "no-position": [dicom("1.2.3", 3 - i, None) for i in range(3)],
    "faulty": [dicom("1.2.3", 1, "NaN\\0\\0"), dicom("1.2.3", 2, "0\\0", "0\\0\\0\\0\\0\\0"),
               dicom("1.2.3", 3, "0\\0\\3", b=float("nan"), spacing="0.7\\0.5")],
    "two-series": [dicom("1.2.3", 1, "0\\0\\0"), dicom("1.2.4", 1, "0\\0\\0",
                                                      "0\\1\\0\\0\\0\\-1")],
}

os.makedirs(OUT, exist_ok=True)
for name, files in SEEDS.items():
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(SEPARATOR.join(files))
