"""Compares ReadIntermediatePixelData with pydicom's stored values and the file's own rescale.

Every monochrome sample file that both can decode: exactly where slope and intercept are whole, truncated toward zero
where they are not, as integer types make them; lossy files within the codec's error. Files that are left out are listed
in values_left_out.json with their reason; one that is not listed fails, and so does a listed one that could be compared.
Usage: compare_values.py RADVEX
"""

import base64
import json
import os
import sys
import warnings

import numpy
import pydicom

from samples import Session, sample_files

warnings.simplefilter("ignore")

TYPES = {"s8": "i1", "u8": "u1", "s16": "<i2", "u16": "<u2", "s32": "<i4", "u32": "<u4"}
LOSSY = {"1.2.840.10008.1.2.4.50", "1.2.840.10008.1.2.4.51"}
LOSSY_ERROR = 2.0  # grey levels by which two decoders of the same JPEG stream may round apart (ISO 10918-2: 1 a DCT)


def ours(session, path):
    """The array, or the sentence of the refusal."""
    answer = session.call("ReadIntermediatePixelData", path, 1, 0)
    session.call("CloseReader", path)
    if answer["code"] != 0:
        return answer["name"]
    if answer["result"] is None:
        return "no result"
    array = answer["result"]["array"]
    data = numpy.frombuffer(base64.b64decode(array["base64"]), TYPES[array["type"]])
    return data.reshape(array["dims"])


def theirs(path):
    """Stored values with the modality rescale applied, or why there are none."""
    dataset = pydicom.dcmread(path, force=True)
    if "PixelData" not in dataset:
        return None
    if not str(dataset.get("PhotometricInterpretation", "")).startswith("MONOCHROME"):
        return None
    try:
        stored = dataset.pixel_array.astype("float64")
    except Exception as error:  # no decoder, or a broken stream
        return "pydicom: " + type(error).__name__
    slope = float(dataset.get("RescaleSlope", None) or 1)
    intercept = float(dataset.get("RescaleIntercept", None) or 0)
    lossy = dataset.file_meta.get("TransferSyntaxUID", "") in LOSSY
    return numpy.trunc(stored * slope + intercept), lossy


def compare(mine, reference):
    if isinstance(reference, str):
        return reference
    if isinstance(mine, str):
        return "radvex: " + mine
    expected, lossy = reference
    if mine.shape != expected.shape:
        return "shape %s instead of %s" % (mine.shape, expected.shape)
    difference = numpy.abs(mine.astype("float64") - expected).max() if mine.size else 0
    return "" if difference <= (LOSSY_ERROR if lossy else 0) else "differs by up to %g" % difference


def main(command):
    with open(os.path.join(os.path.dirname(__file__), "values_left_out.json"), encoding="utf-8") as file:
        listed = json.load(file)
    session = Session(command)
    compared = failures = 0
    for name, path in sample_files():
        try:
            reference = theirs(path)
        except Exception:  # not a file that pydicom reads
            reference = None
        if reference is None:
            continue
        problem = compare(ours(session, path), reference)
        compared += problem == ""
        if (problem != "") != (name in listed):
            failures += 1
            print(name, problem or "is listed as left out, but can be compared")
    print("%d files compared, %d left out, %d unexplained" % (compared, len(listed), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
