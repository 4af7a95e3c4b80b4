"""Generated series for the tests of the slices. Their sides are unequal, and their values differ everywhere."""

import os
import subprocess

import numpy as np
import pydicom
from matplotlib import image
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import generate_uid

ROWS, COLUMNS = 30, 44
SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"
CT = "1.2.840.10008.5.1.4.1.1.2"
PET = "1.2.840.10008.5.1.4.1.1.128"
DOSE = "1.2.840.10008.5.1.4.1.1.481.2"
CR = "1.2.840.10008.5.1.4.1.1.1"

ORIENTATION = [0.96, 0.28, 0.0, -0.28 * 0.8, 0.96 * 0.8, -0.6]  # of unit length and at right angles
SPACING = [1.5, 0.75]  # between rows, between columns
STEP = 2.5  # mm between slices


def values(dtype, low, high, frames=0, seed=1):
    """Whole numbers [row][column] or [frame][row][column] from low to high, both included."""
    shape = (frames, ROWS, COLUMNS) if frames else (ROWS, COLUMNS)
    random = np.random.default_rng(seed)
    made = random.integers(low, high, shape, endpoint=True)
    made.flat[0], made.flat[-1] = low, high
    return made.astype(dtype)


def dataset(array, sop_class=SECONDARY_CAPTURE, modality="OT", description="series", instance=1, **attributes):
    """A file of whole numbers [row][column], [frame][row][column] or, as RGB, [row][column][3]."""
    array = np.asarray(array)
    is_colour = array.ndim == 3 and array.shape[-1] == 3
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = sop_class
    meta.MediaStorageSOPInstanceUID = generate_uid()
    meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    made = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
    made.is_little_endian, made.is_implicit_VR = True, False
    made.SOPClassUID = sop_class
    made.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
    made.PatientID = made.PatientName = "Test^Page"
    made.StudyInstanceUID = "1.2.826.0.1.3680043.8.498.1"
    made.SeriesInstanceUID = "1.2.826.0.1.3680043.8.498.2." + str(sum(description.encode()) * len(description))
    made.FrameOfReferenceUID = "1.2.826.0.1.3680043.8.498.3"
    made.SeriesDescription = description
    made.Modality = modality
    made.InstanceNumber = instance
    if array.ndim == 3 and not is_colour:
        made.NumberOfFrames = array.shape[0]
    made.Rows, made.Columns = array.shape[:2] if is_colour else array.shape[-2:]
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


def placed(number):
    """Attributes of the place of a slice in an oblique stack."""
    along, down = np.array(ORIENTATION[:3]), np.array(ORIENTATION[3:])
    position = np.array([-20.0, 33.5, -61.25]) + number * STEP * np.cross(along, down)
    return {
        "ImagePositionPatient": [f"{value:.10g}" for value in position],
        "ImageOrientationPatient": ORIENTATION,
        "PixelSpacing": SPACING,
        "SliceThickness": STEP,
    }


def ct(number=0, description="ct", **attributes):
    array = values("i2", -200, 1900, seed=10 + number)
    wanted = {"RescaleSlope": "1", "RescaleIntercept": "-24", "RescaleType": "HU", **placed(number), **attributes}
    return dataset(array, CT, "CT", description, number + 1, **wanted)


def pet(number=0):
    array = values("u2", 0, 32000, seed=20 + number)
    more = {"RescaleSlope": "0.37431", "RescaleIntercept": "0", "Units": "BQML", **placed(number)}
    return dataset(array, PET, "PT", "pet", number + 1, **more)


def dose():
    array = values("u4", 0, 70_000, frames=3, seed=30)
    more = {"DoseGridScaling": "0.001", "DoseUnits": "GY", "GridFrameOffsetVector": [0, STEP, 2 * STEP]}
    more["FrameIncrementPointer"] = pydicom.tag.Tag("GridFrameOffsetVector")
    return dataset(array, DOSE, "RTDOSE", "dose", 1, **placed(0), **more)


def palette():
    made = dataset(values("u1", 0, 255, seed=40), description="palette")
    made.PhotometricInterpretation = "PALETTE COLOR"
    levels = np.arange(256)
    for name, table in (("Red", levels), ("Green", 255 - levels), ("Blue", (levels * 7) % 256)):
        setattr(made, f"{name}PaletteColorLookupTableDescriptor", [256, 0, 16])
        setattr(made, f"{name}PaletteColorLookupTableData", (table * 257).astype("<u2").tobytes())
    return made


def write(folder, *datasets):
    """Writes files whose names are in the order of the datasets; returns their paths."""
    os.makedirs(folder, exist_ok=True)
    paths = []
    for number, made in enumerate(datasets):
        paths.append(os.path.join(str(folder), f"{number:04}.dcm"))
        made.save_as(paths[-1], write_like_original=False)
    return paths


def with_overlay(made, plane, group=0x6000):
    """Adds an overlay plane [row][column] of bool."""
    made.add_new((group, 0x0010), "US", plane.shape[0])
    made.add_new((group, 0x0011), "US", plane.shape[1])
    made.add_new((group, 0x0040), "CS", "G")
    made.add_new((group, 0x0050), "SS", [1, 1])
    made.add_new((group, 0x0100), "US", 1)
    made.add_new((group, 0x0102), "US", 0)
    bits = np.packbits(plane.ravel(), bitorder="little").tobytes()
    made.add_new((group, 0x3000), "OW", bits + b"\0" * (len(bits) % 2))
    return made


def enhanced(windows):
    """A CT of several frames with windows, positions and rescale of their own in functional groups."""
    made = dataset(values("u2", 0, 3000, frames=len(windows), seed=50), "1.2.840.10008.5.1.4.1.1.2.1", "CT", "enhanced")

    def group(**attributes):
        item = Dataset()
        for keyword, value in attributes.items():
            setattr(item, keyword, value)
        return Sequence([item])

    shared = Dataset()
    shared.PixelMeasuresSequence = group(PixelSpacing=SPACING, SliceThickness=STEP)
    shared.PlaneOrientationSequence = group(ImageOrientationPatient=ORIENTATION)
    shared.PixelValueTransformationSequence = group(RescaleSlope="1", RescaleIntercept="-1000", RescaleType="HU")
    made.SharedFunctionalGroupsSequence = Sequence([shared])
    frames = []
    for number, (centre, width) in enumerate(windows):
        frame = Dataset()
        frame.PlanePositionSequence = group(ImagePositionPatient=placed(number)["ImagePositionPatient"])
        frame.FrameVOILUTSequence = group(WindowCenter=centre, WindowWidth=width)
        frames.append(frame)
    made.PerFrameFunctionalGroupsSequence = Sequence(frames)
    return made


def run(*words):
    """What the command prints."""
    done = subprocess.run([os.environ["RADVEX"], *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    assert done.returncode == 0, done.stderr.decode()
    return done.stdout.decode()


def rendered(path, folder, *words):
    """Grey levels [row][column], or [row][column][3], of `radvex image`."""
    target = os.path.join(str(folder), "rendered.png")
    run("image", path, "-o", target, "--force", *words)
    levels = image.imread(target)
    return np.rint((levels if levels.ndim == 2 else levels[..., :3]) * 255).astype(int)


def modality_values(path, frame=None):
    """Values of `radvex data`; as many frames as it gives."""
    target = path + ".npy"
    run("data", path, "-o", target, "--force", *(["--frame", str(frame)] if frame else []))
    array = np.load(target)
    os.remove(target)
    return array


def by_standard(array, centre, width, function="LINEAR"):
    """Grey levels by PS3.3 C.11.2.1.2 and C.11.2.1.3, with 0 and 255 for the limits of y; not rounded."""
    array = np.asarray(array, dtype=float)
    if function == "SIGMOID":
        return 255 / (1 + np.exp(-4 * (array - centre) / width))
    if function == "LINEAR_EXACT":
        low, high = array <= centre - width / 2, array > centre + width / 2
        level = ((array - centre) / width + 0.5) * 255
    else:
        low = array <= centre - 0.5 - (width - 1) / 2
        high = array > centre - 0.5 + (width - 1) / 2
        level = ((array - (centre - 0.5)) / (width - 1) + 0.5) * 255 if width > 1 else np.zeros(array.shape)
    return np.where(low, 0, np.where(high, 255, level))
