"""Generated DICOM files. Their pixels spell their place, and their sides are unequal."""

import io
import os
import subprocess
import sys
import textwrap

import numpy as np
import pydicom
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence

SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"
CT_IMAGE = "1.2.840.10008.5.1.4.1.1.2"


def places(frames=2, rows=3, columns=5, dtype="u2"):
    """Pixels [frame][row][column] of the value 100 * frame + 10 * row + column; without frames for frames=0."""
    frame, row, column = np.indices((max(frames, 1), rows, columns))
    array = (100 * frame + 10 * row + column).astype(dtype)
    return array if frames else array[0]


def put(path, content):
    """Writes a file, and the folders above it."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def content_with(made, attributes):
    """The file of a dataset with other values: keyword -> value."""
    for keyword, value in attributes.items():
        setattr(made, keyword, value)
    return content(made)


def dataset(sop_class=SECONDARY_CAPTURE, **attributes):
    """A dataset that can be saved, without pixels."""
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = sop_class
    meta.MediaStorageSOPInstanceUID = "1.2.3.4"
    meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    made = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
    made.is_little_endian, made.is_implicit_VR = True, False
    made.SOPClassUID = sop_class
    made.SOPInstanceUID = "1.2.3.4"
    for keyword, value in attributes.items():
        setattr(made, keyword, value)
    return made


def picture(array, **attributes):
    """A dataset with pixels: whole numbers [row][column], [frame][row][column], or with three channels behind."""
    array = np.asarray(array)
    is_colour = attributes.pop("colour", False)
    made = dataset()
    shape = array.shape[:-1] if is_colour else array.shape
    if len(shape) == 3:
        made.NumberOfFrames = shape[0]
    made.Rows, made.Columns = shape[-2:]
    made.SamplesPerPixel = 3 if is_colour else 1
    made.PhotometricInterpretation = "RGB" if is_colour else "MONOCHROME2"
    if is_colour:
        made.PlanarConfiguration = 0
    made.BitsAllocated = made.BitsStored = 8 * array.itemsize
    made.HighBit = made.BitsStored - 1
    made.PixelRepresentation = 1 if array.dtype.kind == "i" else 0
    made.PixelData = array.tobytes() + b"\0" * (array.nbytes % 2)
    made["PixelData"].VR = "OB" if array.itemsize == 1 else "OW"
    for keyword, value in attributes.items():
        setattr(made, keyword, value)
    return made


def with_plane(made, plane, group=0x6000, **properties):
    """Adds an overlay plane of bool to a dataset."""
    made.add_new((group, 0x0010), "US", plane.shape[0])
    made.add_new((group, 0x0011), "US", plane.shape[1])
    made.add_new((group, 0x0040), "CS", "G")
    made.add_new((group, 0x0050), "SS", properties.get("origin", [1, 1]))
    made.add_new((group, 0x0100), "US", 1)
    made.add_new((group, 0x0102), "US", 0)
    bits = np.packbits(plane.ravel(), bitorder="little").tobytes()
    made.add_new((group, 0x3000), "OW", bits + b"\0" * (len(bits) % 2))
    return made


def content(made):
    """The bytes of the file of a dataset."""
    target = io.BytesIO()
    made.save_as(target, write_like_original=False)
    return target.getvalue()


def written(folder, made, name="file.dcm"):
    """Writes a dataset and returns the path."""
    path = os.path.join(str(folder), name)
    made.save_as(path, write_like_original=False)
    return path


def items(*contents):
    """A sequence of items with these attributes."""
    made = []
    for each in contents:
        item = Dataset()
        for keyword, value in each.items():
            setattr(item, keyword, value)
        made.append(item)
    return Sequence(made)


def run(script, *arguments, timeout=60):
    """Runs a Python script in a process of its own, which has to end in time and well; returns what it prints."""
    done = subprocess.run(
        [sys.executable, "-X", "faulthandler", "-c", textwrap.dedent(script), *arguments],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=timeout,
    )
    assert done.returncode == 0, f"exit status {done.returncode}: {done.stderr.decode()}"
    return done.stdout.decode()
