"""A head of ellipsoids as a CT series, made by arithmetic alone: what docs/python.md reads and shows."""

import os

import numpy as np
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import CTImageStorage, ExplicitVRLittleEndian

SHAPE = (24, 90, 64)
SPACING = (6.0, 2.0, 2.5)
CORNER = (-69.0, -89.0, -78.75)  # the centre of the first voxel: z, y, x, towards head, back and left
AIR, BONE, BRAIN, WATER, LESION = -1000, 900, 35, 8, 75


def hounsfield_units():
    """The head: [slice][row][column] of int16."""
    z, y, x = (corner + step * place for corner, step, place in zip(CORNER, SPACING, np.indices(SHAPE)))

    def within(size, centre=(0, 0, 0), left=x):
        return sum(((at - middle) / half) ** 2 for at, middle, half in zip((z, y, left), centre, size)) <= 1

    head = np.full(SHAPE, AIR, np.int16)
    head[within((66, 85, 70))] = BONE
    head[within((60, 76, 63))] = BRAIN
    head[within((16, 30, 7), (5, 5, 12), abs(x))] = WATER
    head[within((12, 12, 12), (9, -20, 40))] = LESION
    return head


def write_slice(path, plane, number, *, time=None):
    """One slice of the series as a file."""
    ds = Dataset()
    ds.file_meta = FileMetaDataset()
    ds.file_meta.TransferSyntaxUID = ExplicitVRLittleEndian
    ds.file_meta.MediaStorageSOPClassUID = ds.SOPClassUID = CTImageStorage
    ds.file_meta.MediaStorageSOPInstanceUID = ds.SOPInstanceUID = f"2.25.{100 * (time or 1) + number}"
    ds.PatientName, ds.PatientID = "Phantom^Head", "P1"
    ds.StudyInstanceUID, ds.StudyID, ds.StudyDate, ds.StudyTime = "2.25.10", "S1", "20240102", "101500"
    ds.StudyDescription, ds.SeriesDescription = "Head", "Ellipsoids"
    ds.SeriesInstanceUID, ds.SeriesNumber, ds.InstanceNumber = "2.25.20", 3, number
    ds.FrameOfReferenceUID, ds.Modality, ds.BodyPartExamined = "2.25.40", "CT", "HEAD"
    if time is not None:
        ds.TemporalPositionIdentifier = time
    ds.ImagePositionPatient = [CORNER[2], CORNER[1], CORNER[0] + SPACING[0] * (number - 1)]
    ds.ImageOrientationPatient = [1, 0, 0, 0, 1, 0]
    ds.PixelSpacing, ds.SliceThickness = [SPACING[1], SPACING[2]], SPACING[0]
    ds.RescaleSlope, ds.RescaleIntercept, ds.RescaleType = 1, -1024, "HU"
    ds.Rows, ds.Columns = plane.shape
    ds.SamplesPerPixel, ds.PhotometricInterpretation, ds.PixelRepresentation = 1, "MONOCHROME2", 0
    ds.BitsAllocated, ds.BitsStored, ds.HighBit = 16, 12, 11
    ds.PixelData = (plane + 1024).astype("<u2").tobytes()
    ds.is_little_endian, ds.is_implicit_VR = True, False
    ds.save_as(path, write_like_original=False)


def write_series(folder):
    """The head as 24 files, 01.dcm and on."""
    os.makedirs(folder)
    for number, plane in enumerate(hounsfield_units(), start=1):
        write_slice(os.path.join(folder, f"{number:02}.dcm"), plane, number)


def write_times(folder):
    """The middle of the head at three points in time, each 10 HU above the one before, as contrast medium does."""
    os.makedirs(folder)
    for time in (1, 2, 3):
        for number in (11, 12, 13, 14):
            path = os.path.join(folder, f"{time}-{number}.dcm")
            write_slice(path, hounsfield_units()[number - 1] + 10 * (time - 1), number, time=time)
