"""Compares ReadImage with DCMTK's own command line tools, sample by sample, bit for bit.

Every sample file with pixels, first and last frame, with a window from minimum to maximum, without a window and with an
explicit window; at 8, 16 and 32 bits, grey, RGB, palette and YBR. Files that are left out are listed in
pictures_left_out.json with their reason; one that is not listed fails, and so does a listed one that could be compared.
Usage: compare_pictures.py RADVEX
"""

import base64
import json
import os
import subprocess
import sys
import tempfile
import warnings

import numpy
import pydicom

from samples import Session, sample_files

warnings.simplefilter("ignore")

WINDOWS = {  # scaling tensor, and the same wish to the tools
    "minmax": ([0.0, 0.0], ["+Wm"]),
    "none": ([-3.0, 0.0], ["-W"]),
    "explicit": ([400.0, 40.0], ["+Ww", "40", "400"]),
}
DEPTHS = {"u8": ("u1", ["+opb"]), "u16": ("<u2", ["+opw"]), "f32": ("<f4", ["+opn", "32"])}
JPEG2000 = {"1.2.840.10008.1.2.4.90", "1.2.840.10008.1.2.4.91"}
JPEG_LS = {"1.2.840.10008.1.2.4.80", "1.2.840.10008.1.2.4.81"}


def ours(session, path, frame, scaling):
    tensor = {"tensor": {"type": "real", "dims": [2], "data": scaling}}
    answer = session.call("ReadImage", path, frame, 1, tensor, False, 1)
    return answer["result"]["image"] if answer["code"] == 0 else answer["name"]


def pixels(image):
    """[row][column] or [row][column][channel]."""
    data = numpy.frombuffer(base64.b64decode(image["base64"]), DEPTHS[image["type"]][0])
    rows, columns, channels = image["rows"], image["columns"], image["channels"]
    if channels == 1:
        return data.reshape(rows, columns)
    if image["interleaved"]:
        return data.reshape(rows, columns, channels)
    return data.reshape(channels, rows, columns).transpose(1, 2, 0)


def read_pnm(path):
    with open(path, "rb") as file:
        content = file.read()
    fields = []
    position = 0
    while len(fields) < 4:  # magic, columns, rows, maximum; comments end with their line
        end = position
        while content[end:end + 1] not in (b" ", b"\n", b""):
            end += 1
        if content[position:position + 1] == b"#":
            position = content.index(b"\n", position) + 1
            continue
        if end > position:
            fields.append(content[position:end])
        position = end + 1
    magic, columns, rows, maximum = fields[0], *map(int, fields[1:])
    if magic in (b"P2", b"P3"):
        data = numpy.array(content[position:].split(), dtype="uint32")
    else:
        data = numpy.frombuffer(content, ">u2" if maximum > 255 else "u1", offset=position)
    shape = (rows, columns) if magic in (b"P2", b"P5") else (rows, columns, 3)
    return data[:int(numpy.prod(shape))].reshape(shape)


def keep_bits_stored(original, copy):
    """Gives GDCM's copy the BitsStored of its original, which GDCM replaces by the bits of the codestream.

    PS3.5 8.2.4 has the codestream decide on the samples, and calls attributes that contradict it suggestions for the
    uncompressed form. 14 bits hold all samples of 693_J2KI.dcm, whose codestream has 16, so both are right; but DCMTK
    maps the whole range of BitsStored to grey levels where there is no window.
    """
    stated = pydicom.dcmread(original, stop_before_pixels=True)
    dataset = pydicom.dcmread(copy)
    end = 1 << (stated.BitsStored - stated.PixelRepresentation)
    if dataset.BitsStored <= stated.BitsStored or dataset.BitsAllocated != 16:
        return
    samples = numpy.frombuffer(dataset.PixelData, "<i2" if stated.PixelRepresentation else "<u2")
    if samples.max() < end and samples.min() >= -end:
        dataset.BitsStored, dataset.HighBit = stated.BitsStored, stated.HighBit
        dataset.save_as(copy)


def theirs(path, syntax, frame, window, depth, folder):
    """The picture of DCMTK's tool for this compression, or its last words. JPEG 2000 is decompressed by GDCM before."""
    if syntax in JPEG2000:
        original, path = path, os.path.join(folder, "raw.dcm")
        run = subprocess.run(["gdcmconv", "--raw", original, path], stderr=subprocess.DEVNULL, check=False)
        if run.returncode == 0:
            keep_bits_stored(original, path)
    tool = "dcml2pnm" if syntax in JPEG_LS else "dcmj2pnm"
    output = os.path.join(folder, "picture.pnm")
    run = subprocess.run([tool, "-O", "+F", str(frame + 1), *window, *depth, path, output], capture_output=True, text=True,
                         check=False)
    if run.returncode != 0:
        return tool + ": " + (run.stderr.strip().splitlines() or ["no word"])[-1]
    return read_pnm(output)


def compare(session, path, syntax, frame, window, folder):
    """The empty text when both pictures are the same, else what differs."""
    scaling, option = WINDOWS[window]
    image = ours(session, path, frame, scaling)
    if isinstance(image, str):
        return "radvex: " + image
    if image["type"] not in DEPTHS:
        return "radvex: a copy of the stored values (%s)" % image["type"]
    reference = theirs(path, syntax, frame, option, DEPTHS[image["type"]][1], folder)
    if isinstance(reference, str):
        return reference
    mine = pixels(image)
    if image["type"] == "f32":
        reference = (reference.astype("float64") / 4294967295.0).astype("float32")
    if mine.shape != reference.shape:
        return "shape %s instead of %s" % (mine.shape, reference.shape)
    return "" if numpy.array_equal(mine, reference) else "other pixels"


def main(command):
    with open(os.path.join(os.path.dirname(__file__), "pictures_left_out.json"), encoding="utf-8") as file:
        listed = json.load(file)
    session = Session(command)
    compared = failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for name, path in sample_files():
            try:
                dataset = pydicom.dcmread(path, force=True, stop_before_pixels=True)
                frames = int(dataset.get("NumberOfFrames", None) or 1)
                syntax = str(getattr(dataset, "file_meta", {}).get("TransferSyntaxUID", ""))
            except Exception:  # not a file that pydicom reads
                continue
            if "Rows" not in dataset:
                continue
            problems = set()
            for frame in sorted({0, frames - 1}):
                for window in WINDOWS:
                    problems.add(compare(session, path, syntax, frame, window, folder))
            session.call("CloseReader", path)
            problems.discard("")
            compared += not problems
            if bool(problems) != (name in listed):
                failures += 1
                print(name, sorted(problems) or "is listed as left out, but can be compared")
    print("%d files compared, %d left out, %d unexplained" % (compared, len(listed), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
