"""Looks with other eyes at files that WriteImage makes: pixels with pydicom and GDCM, attributes with dciodvfy.

Pixels come back bit for bit where nothing is lost, within the deviation for near-lossless JPEG-LS, and within the
error of a smooth image at quality 100 for JPEG. Complaints of dciodvfy that are listed in written_complaints.json, each
with its reason, are accepted; any other error fails, and so does a listed complaint that no file draws any more.
Usage: compare_written.py RADVEX
"""

import base64
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import warnings

import gdcm
import numpy
import pydicom
from pydicom.pixel_data_handlers import gdcm_handler

from samples import Session

warnings.simplefilter("ignore")

TYPES = {"bit": "i1", "u8": "u1", "u16": "<u2", "f32": "<f4", "f64": "<f8"}
# name, first and second parameter, largest error of a sample
COMPRESSIONS = [("Uncompressed", 0, 0, 0), ("JPEGLossless", 1, 0, 0), ("JPEGLosslessNonhierarchical", 6, 0, 0),
                ("JPEGLossy8bit", 100, 0, 3), ("JPEG-LSLossless", 0, 0, 0), ("JPEG-LSLossy", 2, 0, 2),
                ("RLE", 0, 0, 0)]


def samples_of(kind, frames, channels):
    """[frame][row][column][channel] of values that say their index, smooth for the sake of JPEG."""
    frame, row, column, channel = numpy.meshgrid(range(frames), range(24), range(31), range(channels), indexing="ij")
    values = 20 * frame + 3 * row + 2 * column + 5 * channel
    if kind == "bit":
        values = values // 5 % 2
    elif kind == "u16":
        values = values * 200
    elif kind in ("f32", "f64"):
        values = values / 8 - 10
    return values.astype(TYPES[kind])


def image_of(kind, values, interleaved):
    """The image argument; planes of each frame one after the other when not interleaved."""
    frames, rows, columns, channels = values.shape
    data = values if interleaved else values.transpose(0, 3, 1, 2)
    return {"image": {"type": kind, "rank": 2 if frames == 1 else 3, "slices": frames, "rows": rows, "columns": columns,
                      "channels": channels, "colorSpace": 1 if channels == 3 else 0, "interleaved": interleaved,
                      "base64": base64.b64encode(numpy.ascontiguousarray(data).tobytes()).decode()}}


def cases():
    for kind in TYPES:
        for frames in (1, 3):
            for channels in (1, 3):
                for interleaved in (True, False):
                    if channels == 3 and (kind in ("f32", "f64") or kind == "u16" and frames > 1):
                        continue  # no class has room for it
                    for compression in COMPRESSIONS:
                        lossy_jpeg = compression[0] == "JPEGLossy8bit"
                        if compression[0] != "Uncompressed" and kind in ("f32", "f64"):
                            continue  # refused
                        if compression[0] == "JPEG-LSLossy" and kind == "bit":
                            continue  # signed pixels take no deviation
                        if lossy_jpeg and kind != "u8":
                            continue  # rendered to other values
                        yield kind, frames, channels, interleaved, compression


def pixels_of(path, kind, channels):
    """[frame][row][column][channel] as pydicom reads them; None for colours that it leaves in another model."""
    dataset = pydicom.dcmread(path)
    if kind in ("f32", "f64"):
        element = dataset.FloatPixelData if kind == "f32" else dataset.DoubleFloatPixelData
        array = numpy.frombuffer(element, TYPES[kind])
    else:
        syntax = dataset.file_meta.TransferSyntaxUID
        if syntax.is_compressed and syntax != pydicom.uid.RLELossless:
            array = gdcm_handler.get_pixeldata(dataset)
            if dataset.PhotometricInterpretation.startswith("YBR"):
                array = None  # the colours are another model's
        else:
            array = dataset.pixel_array
    if array is None:
        return None
    return array.reshape(-1, dataset.Rows, dataset.Columns, channels)


def gdcm_pixels_of(path, kind, channels, rows, columns):
    """The same as GDCM reads them, or a sentence."""
    reader = gdcm.ImageReader()
    reader.SetFileName(path)
    if not reader.Read():
        return "GDCM cannot read it"
    image = reader.GetImage()
    data = image.GetBuffer().encode("utf-8", errors="surrogateescape")
    array = numpy.frombuffer(data, TYPES[kind])
    if channels == 3 and image.GetPlanarConfiguration() == 1:
        return array.reshape(-1, channels, rows, columns).transpose(0, 2, 3, 1)
    return array.reshape(-1, rows, columns, channels)


def error_of(found, expected):
    if isinstance(found, str):
        return found
    if found.shape != expected.shape:
        return "shape %s instead of %s" % (found.shape, expected.shape)
    return float(numpy.abs(found.astype("float64") - expected.astype("float64")).max())


def complaints_of(path):
    """Errors that dciodvfy reports, without the values in them."""
    tool = os.environ.get("DCIODVFY") or shutil.which("dciodvfy")
    if tool is None:
        sys.exit("dciodvfy is missing; it is in Debian's dicom3tools")
    report = subprocess.run([tool, "-new", path], capture_output=True, text=True, errors="replace").stderr
    return {line.strip() for line in report.splitlines() if line.startswith("Error")}


def main(command):
    gdcm.Trace.WarningOff()
    gdcm.Trace.ErrorOff()
    with open(os.path.join(os.path.dirname(__file__), "written_complaints.json"), encoding="utf-8") as file:
        accepted = json.load(file)
    session = Session(command)
    failures = written = 0
    used = set()
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "w.dcm")
        for kind, frames, channels, interleaved, (name, first, second, bound) in cases():
            label = "%s, %d frames, %d channels, interleaved %s, %s" % (kind, frames, channels, interleaved, name)
            values = samples_of(kind, frames, channels)
            answer = session.call("WriteImage", path, image_of(kind, values, interleaved), {}, [], name, first, second,
                                  {})
            problems = []
            if answer["code"] != 0:
                problems.append(answer["message"])
            else:
                written += 1
                found = pixels_of(path, kind, channels)
                if found is not None:
                    error = error_of(found, values)
                    if isinstance(error, str) or error > bound:
                        problems.append("pydicom: %s" % error)
                # GDCM mixes up the bytes of 16-bit colour in RLE, which pydicom reads bit for bit.
                gdcm_fails = kind == "u16" and channels == 3 and name == "RLE"
                if kind not in ("f32", "f64") and name != "JPEGLossy8bit" and not gdcm_fails:
                    error = error_of(gdcm_pixels_of(path, kind, channels, values.shape[1], values.shape[2]), values)
                    if isinstance(error, str) or error > bound:
                        problems.append("GDCM: %s" % error)
                for complaint in complaints_of(path):
                    known = [pattern for pattern in accepted if re.search(pattern, complaint)]
                    used.update(known)
                    if not known:
                        problems.append(complaint)
            if problems:
                failures += 1
                print(label)
                for problem in problems:
                    print("   ", problem)
    for pattern in sorted(set(accepted) - used):
        failures += 1
        print("listed, but no file draws it:", pattern)
    print("%d files compared, %d kinds of complaints accepted, %d failures" % (written, len(accepted), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
