"""Compares what `radvex write` makes of NumPy's files, of PNG and of JSON with what pydicom reads from it.

Pixels have to be equal bit for bit; attributes have to be those that the JSON gave. Usage: compare_write_command.py RADVEX
"""

import json
import os
import struct
import subprocess
import sys
import tempfile
import zlib

import numpy
import pydicom

METADATA = {
    "PatientName": "Müller^Jörg=山田^太郎",
    "StudyDate": "20240102",
    "ImageType": "DERIVED\\SECONDARY",
    "OtherPatientIDsSequence": [{"PatientID": "A1", "TypeOfPatientID": "TEXT"}, {"PatientID": "Ü2"}],
    "SmallestImagePixelValue": 3,
    "ReferencePixelX0": -5,
    "RealWorldValueLUTData": [0.5, 0.25, -1.5],
    "SliceThickness": "1.50",
    "RedPaletteColorLookupTableData": [0, 255, 65535, 16],
    "ICCProfile": [0, 10, 255, 16],
}


def png(array):
    """A PNG file of rows x columns (x 3) samples of 8 or 16 bits."""

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows, columns = array.shape[:2]
    header = struct.pack(">IIBBBBB", columns, rows, 8 * array.dtype.itemsize, 2 if array.ndim == 3 else 0, 0, 0, 0)
    lines = b"".join(b"\0" + row.astype(array.dtype.newbyteorder(">")).tobytes() for row in array)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(lines)) + chunk(b"IEND", b"")


def arrays():
    """Arrays to write, by what they are, with further options."""
    numbers = numpy.random.default_rng(1)

    def some(kind, *shape):
        if kind.endswith("f4") or kind.endswith("f8"):
            return numbers.standard_normal(shape).astype(kind)
        return numbers.integers(0, 2 if kind == "?" else 256 ** numpy.dtype(kind).itemsize, shape).astype(kind)

    for kind in ("?", "u1", "<u2", ">u2", "<f4", ">f4", "<f8", ">f8"):
        yield kind + " 2D", some(kind, 7, 5), []
        yield kind + " frames", some(kind, 3, 7, 5), []
        yield kind + " Fortran", numpy.asfortranarray(some(kind, 4, 3, 2)), []
    for kind in ("u1", "<u2", ">u2"):
        yield kind + " colour", some(kind, 7, 5, 3), []
    yield "frames of colour", some("u1", 4, 7, 5, 3), []
    yield "frames of three columns", some("u1", 4, 7, 3), ["--axes", "frames,rows,columns"]
    for name in ("JPEGLossless", "JPEGLosslessNonhierarchical:4,0", "JPEG-LSLossless", "RLE"):
        yield name, some("u1", 2, 33, 20), ["--compress", name]
        yield name + " words", some("<u2", 2, 33, 20), ["--compress", name]


def radvex(command, *words):
    subprocess.run([command, "write", "--force", *words], check=True)


def stored(path):
    dataset = pydicom.dcmread(path)
    pixels = dataset.pixel_array
    return dataset, pixels


def compare_arrays(command, folder):
    failures = count = 0
    for name, array, options in arrays():
        numpy.save(os.path.join(folder, "in.npy"), array)
        radvex(command, os.path.join(folder, "in.npy"), "-o", os.path.join(folder, "out.dcm"), *options)
        pixels = stored(os.path.join(folder, "out.dcm"))[1]
        count += 1
        if pixels.shape != array.shape or not numpy.array_equal(pixels, array.astype(array.dtype.newbyteorder("="))):
            failures += 1
            print("%s: %s %s instead of %s %s" % (name, pixels.dtype, pixels.shape, array.dtype, array.shape))
    return count, failures


def compare_pictures(command, folder):
    failures = count = 0
    for kind in ("u1", "u2"):
        for shape in ((4, 6), (4, 6, 3)):
            array = (numpy.arange(numpy.prod(shape)) * 2500 % 256 ** numpy.dtype(kind).itemsize).astype(kind)
            array = array.reshape(shape)
            with open(os.path.join(folder, "in.png"), "wb") as file:
                file.write(png(array))
            radvex(command, os.path.join(folder, "in.png"), "-o", os.path.join(folder, "out.dcm"))
            count += 1
            if not numpy.array_equal(stored(os.path.join(folder, "out.dcm"))[1], array):
                failures += 1
                print("PNG of %s %s differs" % (kind, shape))
    return count, failures


def plain(element):
    """A value of pydicom's in the shape of the JSON."""
    if element.VR == "SQ":
        return [{inner.keyword: plain(inner) for inner in item} for item in element.value]
    if element.VR in ("OB", "OW"):
        return numpy.frombuffer(element.value, "u1" if element.VR == "OB" else "<u2").tolist()
    if element.VR == "DS":
        return element.value.original_string
    if element.VM > 1:
        values = list(element.value)
        return "\\".join(values) if isinstance(values[0], str) else values
    return element.value if isinstance(element.value, (int, float)) else str(element.value)


def compare_metadata(command, folder):
    numpy.save(os.path.join(folder, "in.npy"), numpy.zeros((2, 2), "u1"))
    with open(os.path.join(folder, "in.json"), "w", encoding="utf-8") as file:
        json.dump(METADATA, file)
    # Explicit value representations come with a compression.
    radvex(command, os.path.join(folder, "in.npy"), "-o", os.path.join(folder, "out.dcm"), "--meta",
           os.path.join(folder, "in.json"), "--compress", "RLE")
    dataset = pydicom.dcmread(os.path.join(folder, "out.dcm"))
    failures = 0
    for keyword, value in METADATA.items():
        found = plain(dataset[keyword])
        if found != value:
            failures += 1
            print("%s: %r instead of %r" % (keyword, found, value))
    return len(METADATA), failures


def main(command):
    with tempfile.TemporaryDirectory() as folder:
        results = [compare(command, folder) for compare in (compare_arrays, compare_pictures, compare_metadata)]
    print("%d arrays, %d pictures, %d attributes compared" % tuple(count for count, _ in results))
    return 1 if any(failures for _, failures in results) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
