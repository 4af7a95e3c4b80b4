"""Generated studies for the tests of the page."""

import io
import os

import numpy as np
import pydicom
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import ExplicitVRLittleEndian

CT = "1.2.840.10008.5.1.4.1.1.2"
SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"
ROOT = "1.2.826.0.1.3680043.10.99"
MARKUP = "Z<img src=x onerror=alert(1)>&amp;\"'"


def instance(series, number, pixels=None, sop_class=CT, **attributes):
    """A complete instance. Pixels are [row][column], [frame][row][column] or [row][column][3] of bytes."""
    made = FileDataset("", {}, file_meta=FileMetaDataset(), preamble=b"\0" * 128)
    made.file_meta.TransferSyntaxUID = ExplicitVRLittleEndian
    made.file_meta.MediaStorageSOPClassUID = made.SOPClassUID = sop_class
    made.file_meta.MediaStorageSOPInstanceUID = made.SOPInstanceUID = f"{ROOT}.{series}.{number}"
    made.is_little_endian, made.is_implicit_VR = True, False
    made.PatientName, made.PatientID = "Doe^Jane", "P-1"
    made.StudyInstanceUID, made.StudyDate = f"{ROOT}.0", "20240131"
    made.StudyDescription = "Head and neck"
    made.SeriesInstanceUID, made.SeriesNumber = f"{ROOT}.{series}", series
    made.FrameOfReferenceUID = f"{ROOT}.0.1"
    made.Modality, made.InstanceNumber = "CT", number
    if pixels is not None:
        put_pixels(made, np.asarray(pixels))
    for keyword, value in attributes.items():
        setattr(made, keyword, value)
    return made


def put_pixels(made, pixels):
    is_colour = pixels.dtype == np.uint8 and pixels.shape[-1] == 3
    made.SamplesPerPixel = 3 if is_colour else 1
    made.PhotometricInterpretation = "RGB" if is_colour else "MONOCHROME2"
    if is_colour:
        made.PlanarConfiguration = 0
    shape = pixels.shape[:-1] if is_colour else pixels.shape
    if len(shape) == 3:
        made.NumberOfFrames = shape[0]
    made.Rows, made.Columns = shape[-2:]
    made.BitsAllocated = made.BitsStored = 8 * pixels.itemsize
    made.HighBit = made.BitsStored - 1
    made.PixelRepresentation = int(pixels.dtype.kind == "i")
    made.PixelData = pixels.tobytes() + b"\0" * (pixels.nbytes % 2)
    made["PixelData"].VR = "OB" if pixels.itemsize == 1 else "OW"


def save(made, *parts):
    path = os.path.join(*map(str, parts))
    os.makedirs(os.path.dirname(path), exist_ok=True)
    pydicom.dcmwrite(path, made, write_like_original=False)
    return path


def disc(rows, columns, radius, value=1000):
    """A bright disc on a ground that grows darker towards the corner."""
    row, column = np.indices((rows, columns))
    inside = (row - rows / 2) ** 2 + (column - columns / 2) ** 2 < radius**2
    return (np.where(inside, value, 0) + row + column).astype(np.int16)


def ct_stack(folder, series, heights, tilt=0.0, **attributes):
    """A CT series of a file per height in mm. Under a tilt in degrees, slices shift towards the back as they rise."""
    back = np.tan(np.radians(tilt))
    for number, height in enumerate(heights, 1):
        pixels = disc(48, 64, 8 + number % 12)
        made = instance(series, number, pixels, **attributes)
        made.ImageOrientationPatient = [1, 0, 0, 0, 1, 0]
        made.ImagePositionPatient = [-32, round(-24 + height * back, 6), height]
        made.PixelSpacing = [1, 1]
        made.SliceThickness = 2
        save(made, folder, f"series{series}", f"{number:04d}.dcm")


def nested(depth):
    """A sequence in a sequence, and so on; the innermost holds a description."""
    item = Dataset()
    if depth == 0:
        item.CodeMeaning = "innermost treasure"
    else:
        item.ConceptNameCodeSequence = Sequence([nested(depth - 1)])
    item.CodeValue = f"depth{depth}"
    return item


def mixed_study(folder):
    """Series of many kinds, by their descriptions: "even", "tilted", "gap and double", "colour", "frames", "no
    positions", "attributes" and MARKUP; with a text file, a file that is cut off, and one whose pixels are missing."""
    ct_stack(folder, 1, range(0, 40, 2), SeriesDescription="even")
    ct_stack(folder, 2, range(0, 30, 3), tilt=15.0, SeriesDescription="tilted")
    ct_stack(folder, 3, [0, 2, 4, 6, 6, 8, 20, 22, 24], SeriesDescription="gap and double")
    colours = np.zeros((30, 40, 3), np.uint8)
    colours[:10, :, 0], colours[10:20, :, 1], colours[20:, :, 2] = 255, 255, 255
    colour = instance(4, 1, colours, SECONDARY_CAPTURE, SeriesDescription="colour", Modality="OT")
    save(colour, folder, "series4", "1.dcm")
    frames = np.stack([disc(32, 40, 3 + frame) for frame in range(6)])
    save(
        instance(5, 1, frames, SECONDARY_CAPTURE, SeriesDescription="frames", Modality="OT"), folder, "series5", "1.dcm"
    )
    for number in (1, 2, 3):
        made = instance(6, number, disc(32, 32, 5 * number), SECONDARY_CAPTURE, SeriesDescription="no positions")
        save(made, folder, "series6", f"{number}.dcm")
    save(attribute_file(), folder, "series7", "1.dcm")
    hostile = instance(8, 1, disc(20, 20, 5), SECONDARY_CAPTURE, SeriesDescription=MARKUP)
    hostile.PatientName, hostile.PatientID, hostile.StudyInstanceUID = MARKUP, "P-2", f"{ROOT}.0.8"
    hostile.StudyDescription = MARKUP
    save(hostile, folder, "series8", "1.dcm")
    save(instance(9, 1, None, SECONDARY_CAPTURE, SeriesDescription="without pixels"), folder, "series9", "1.dcm")
    with open(os.path.join(str(folder), "notes.txt"), "w", encoding="utf-8") as file:
        file.write("no DICOM")
    whole = save(instance(10, 1, disc(20, 20, 5)), folder, "broken.dcm")
    with open(whole, "rb+") as file:
        file.truncate(200)


def attribute_file():
    """Nested sequences, a private element, a long value, and text that looks like markup."""
    made = instance(7, 1, disc(20, 20, 5), SECONDARY_CAPTURE, SeriesDescription="attributes")
    made.ContentSequence = Sequence([nested(2), nested(0)])
    made.PatientComments = "x" * 2999 + "!"
    made.ImageComments = MARKUP
    block = made.private_block(0x0011, "A MAKER", create=True)
    block.add_new(0x01, "LO", "private value")
    return made


def many_attributes(folder, elements=50000, per_item=100):
    """A file with this many attributes: half in the file itself, half in the items of a sequence."""
    made = instance(1, 1, disc(20, 20, 5), SECONDARY_CAPTURE, SeriesDescription="many")
    for group in range(0x0013, 0x0013 + 2 * (elements // 2 // 200), 2):
        block = made.private_block(group, "A MAKER", create=True)
        for offset in range(200):
            block.add_new(offset, "LO", f"value {group:04x} {offset}")
    items = []
    for number in range(elements // 2 // per_item):
        item = Dataset()
        block = item.private_block(0x0013, "A MAKER", create=True)
        for offset in range(per_item):
            block.add_new(offset, "LO", f"item {number} place {offset}")
        items.append(item)
    made.ReferencedInstanceSequence = Sequence(items)
    save(made, folder, "many.dcm")


def many_series(folder, series=10000, per_study=20, per_patient=100):
    """A folder of this many series of one small file each: one file, with other numbers in the same places."""
    made = instance(99999, 1, disc(8, 8, 3), SeriesDescription="series-99999")
    made.PatientName, made.PatientID = "Patient^Number 88888", "P88888"
    made.StudyInstanceUID = f"{ROOT}.1.77777"
    with io.BytesIO() as file:
        pydicom.dcmwrite(file, made, write_like_original=False)
        template = file.getvalue()
    for number in range(series):
        patient = number // per_patient
        written = template
        for old, new in (
            ("series-99999", f"series-{number}".ljust(12)),
            ("99999", f"{10000 + number}"),
            ("88888", f"{10000 + patient}"),
            ("77777", f"{10000 + number // per_study}"),
        ):
            written = written.replace(old.encode(), new.encode())
        os.makedirs(os.path.join(str(folder), str(patient)), exist_ok=True)
        with open(os.path.join(str(folder), str(patient), f"{number}.dcm"), "wb") as file:
            file.write(written)
