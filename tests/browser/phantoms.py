"""Generated series whose values and positions in the patient are known: what the page shows is compared with them."""

import os

import numpy as np
import pydicom
from pydicom.dataset import FileDataset, FileMetaDataset

SOP_CLASSES = {
    "CT": "1.2.840.10008.5.1.4.1.1.2",
    "MR": "1.2.840.10008.5.1.4.1.1.4",
    "PT": "1.2.840.10008.5.1.4.1.1.128",
    "OT": "1.2.840.10008.5.1.4.1.1.7",
}
AXIAL = ((1, 0, 0), (0, 1, 0))
SAGITTAL = ((0, 1, 0), (0, 0, -1))
ROOT = "1.2.826.0.1.3680043.10.1338"


def tilted(orientation, degrees, axis=0):
    """An orientation turned about an axis of the patient."""
    angle = np.radians(degrees)
    first, second = [number for number in range(3) if number != axis]
    turn = np.eye(3)
    turn[first, first] = turn[second, second] = np.cos(angle)
    turn[first, second], turn[second, first] = -np.sin(angle), np.sin(angle)
    return tuple(tuple(turn @ np.array(direction, dtype=float)) for direction in orientation)


class Grid:
    """Where the voxels lie: [slice][row][column]. Positions in mm, LPS."""

    def __init__(self, shape, orientation=AXIAL, spacing=(1.5, 2.0), step=3.0, centre=(0.0, 0.0, 0.0)):
        self.shape = shape
        self.spacing = spacing  # between rows, between columns
        self.along_row, self.down_column = (np.array(direction, dtype=float) for direction in orientation)
        self.normal = np.cross(self.along_row, self.down_column)
        self.step = step
        middle = self.place(*((np.array(shape) - 1) / 2), origin=np.zeros(3))
        self.origin = np.array(centre, dtype=float) - middle

    def place(self, slice_, row, column, origin=None):
        """The position of a voxel."""
        return (
            (self.origin if origin is None else origin)
            + column * self.spacing[1] * self.along_row
            + row * self.spacing[0] * self.down_column
            + slice_ * self.step * self.normal
        )

    def places(self):
        """The positions of all voxels: [slice][row][column][3]."""
        indices = np.indices(self.shape, dtype=float)[..., np.newaxis]
        return self.place(*indices)


def write_series(
    folder, grid, samples, number=1, modality="CT", description="Phantom", patient="Phantom", **attributes
):
    """Writes stored samples [slice][row][column] or [time][slice][row][column], colour with three channels behind.

    @param attributes  keyword -> value for all files, or a function of (time, slice); None: left out
    """
    samples = np.asarray(samples)
    is_colour = attributes.pop("colour", False)
    times = samples if samples.ndim == 4 + is_colour else samples[np.newaxis]
    os.makedirs(folder, exist_ok=True)
    series = f"{ROOT}.{number}"
    for time, volume in enumerate(times):
        for slice_, picture in enumerate(volume):
            instance = time * len(volume) + slice_ + 1
            made = dataset(modality, f"{series}.{instance}")
            made.PatientName, made.PatientID = patient, patient
            made.StudyInstanceUID, made.SeriesInstanceUID = f"{ROOT}.0", series
            made.FrameOfReferenceUID = f"{ROOT}.0.1"
            made.StudyDate, made.StudyDescription = "20240131", "Phantoms"
            made.Modality, made.SeriesDescription = modality, description
            made.SeriesNumber, made.InstanceNumber = number, instance
            made.ImagePositionPatient = [f"{part:.10g}" for part in grid.place(slice_, 0, 0)]
            made.ImageOrientationPatient = [f"{part:.10g}" for part in (*grid.along_row, *grid.down_column)]
            made.PixelSpacing, made.SliceThickness = list(grid.spacing), grid.step
            fill(made, picture, is_colour)
            for keyword, value in attributes.items():
                if value is None:
                    delattr(made, keyword)
                else:
                    setattr(made, keyword, value(time, slice_) if callable(value) else value)
            made.save_as(os.path.join(str(folder), f"{number:03}-{instance:05}.dcm"), write_like_original=False)
    return folder


def dataset(modality, uid):
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = SOP_CLASSES[modality]
    meta.MediaStorageSOPInstanceUID = uid
    meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    made = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
    made.is_little_endian, made.is_implicit_VR = True, False
    made.SOPClassUID, made.SOPInstanceUID = meta.MediaStorageSOPClassUID, uid
    return made


def fill(made, picture, is_colour):
    picture = np.ascontiguousarray(picture)
    made.Rows, made.Columns = picture.shape[:2]
    made.SamplesPerPixel = 3 if is_colour else 1
    made.PhotometricInterpretation = "RGB" if is_colour else "MONOCHROME2"
    if is_colour:
        made.PlanarConfiguration = 0
    made.BitsAllocated = made.BitsStored = 8 * picture.itemsize
    made.HighBit = made.BitsStored - 1
    made.PixelRepresentation = 1 if picture.dtype.kind == "i" else 0
    made.PixelData = picture.tobytes() + b"\0" * (picture.nbytes % 2)
    made["PixelData"].VR = "OB" if picture.itemsize == 1 else "OW"


def hounsfield(places):
    """HU of a head in LPS: skin, skull, brain, ventricles, a nose, an air cavity, and a dense box at the left, in front
    and above."""
    x, y, z = np.moveaxis(np.asarray(places, dtype=float), -1, 0)

    def ball(cx, cy, cz, rx, ry, rz):
        return ((x - cx) / rx) ** 2 + ((y - cy) / ry) ** 2 + ((z - cz) / rz) ** 2

    values = np.full(x.shape, -1000.0)
    head = np.minimum(ball(0, 0, 0, 72, 90, 85), ball(0, -88, -20, 10, 18, 14))
    values[head < 1] = 60
    skull = ball(0, 4, 4, 66, 80, 77)
    values[skull < 1] = 1100
    values[ball(0, 4, 4, 60, 74, 71) < 1] = 35
    ripple = np.sin(x / 5) * np.sin(y / 6) * np.sin(z / 5)
    brain = ball(0, 4, 4, 58, 72, 69) < 1
    values[brain] += 4 * ripple[brain]
    for side in (-1, 1):
        values[ball(12 * side, -2, 8, 6, 26, 10) < 1] = 5
        values[ball(14 * side, -70, -24, 8, 8, 7) < 1] = 20  # eyes
    values[ball(0, -66, -48, 16, 14, 12) < 1] = -990  # the cavity behind the nose
    box = (np.abs(x - 30) < 9) & (np.abs(y + 30) < 7) & (np.abs(z - 30) < 9)
    values[box] = 220
    return values
