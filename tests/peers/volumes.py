"""Series of slices that spell their position in space, and volumes read back with an independent reader."""

import os
import tempfile

import nibabel
import numpy
import pydicom
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import CTImageStorage, ExplicitVRLittleEndian

NOISE = numpy.random.default_rng(7)


class Series:
    """A CT series: directions of columns, rows and the step between slices, and the peers that can read it."""

    def __init__(self, name, slices, shape, along_columns, along_rows, step, spacing, bits=16, reverse=False,
                 peers=("dcm2niix", "dicomtonifti")):
        self.name = name
        self.slices = slices
        self.shape = shape
        self.directions = [float("%.12g" % value) for value in (*along_columns, *along_rows)]
        self.step = numpy.array(step, float)
        self.spacing = spacing  # between rows, between columns
        self.bits = bits
        self.reverse = reverse
        self.peers = peers
        self.origin = numpy.array([-101.5, -120.25, 33.125])

    def write(self, folder):
        os.makedirs(folder)
        for index in range(self.slices):
            self._dataset(index).save_as(os.path.join(folder, "IM%05d" % index), write_like_original=False)

    def _dataset(self, index):
        meta = FileMetaDataset()
        meta.MediaStorageSOPClassUID = CTImageStorage
        meta.MediaStorageSOPInstanceUID = "1.2.826.0.1.99.%d.%d" % (len(self.name), index + 1)
        meta.TransferSyntaxUID = ExplicitVRLittleEndian
        dataset = FileDataset("", {}, file_meta=meta, preamble=b"\0" * 128)
        dataset.is_little_endian, dataset.is_implicit_VR = True, False
        dataset.SOPClassUID, dataset.SOPInstanceUID = CTImageStorage, meta.MediaStorageSOPInstanceUID
        dataset.PatientName, dataset.PatientID, dataset.StudyID, dataset.Modality = "Doe^Jane", "P1", "1", "CT"
        dataset.StudyDate, dataset.StudyTime = "20200101", "101010"
        dataset.StudyInstanceUID, dataset.FrameOfReferenceUID = "1.2.3", "1.2.9"
        dataset.SeriesInstanceUID, dataset.SeriesNumber = "1.2.3.%d" % len(self.name), 3
        dataset.InstanceNumber = self.slices - index if self.reverse else index + 1
        dataset.ImagePositionPatient = ["%.12g" % value for value in self.origin + index * self.step]
        dataset.ImageOrientationPatient = ["%.12g" % value for value in self.directions]
        dataset.PixelSpacing = list(self.spacing)
        normal = numpy.cross(self.directions[:3], self.directions[3:])
        dataset.SliceThickness = "%.6g" % abs(normal @ self.step)
        dataset.Rows, dataset.Columns = self.shape
        dataset.SamplesPerPixel, dataset.PhotometricInterpretation = 1, "MONOCHROME2"
        dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit = 16, self.bits, self.bits - 1
        dataset.PixelRepresentation, dataset.RescaleSlope, dataset.RescaleIntercept = 1, 1, -1024
        limit = 2 ** (self.bits - 1)
        # With the intercept the values stay in 16 bits, at which dicomtonifti clips them.
        lowest = max(-limit, -(2 ** 15) + 1024)
        dataset.PixelData = NOISE.integers(lowest, limit, self.shape).astype("<i2").tobytes()
        return dataset

    def affine(self):
        """Index (column, row, slice in the order of the positions) to RAS, from what was written."""
        lps = numpy.eye(4)
        lps[:3, 0] = self.spacing[1] * numpy.array(self.directions[:3])
        lps[:3, 1] = self.spacing[0] * numpy.array(self.directions[3:])
        lps[:3, 2] = self.step
        lps[:3, 3] = self.origin
        return numpy.diag([-1.0, -1.0, 1.0, 1.0]) @ lps


def values_of(folder):
    """Modality values by (column, row, slice in the order of the files), as pydicom reads them."""
    stack = []
    for name in sorted(os.listdir(folder)):
        dataset = pydicom.dcmread(os.path.join(folder, name))
        stack.append(dataset.pixel_array.astype("int32").T + int(dataset.RescaleIntercept))
    return numpy.stack(stack, axis=2)


def canonical(image):
    """The same volume with its axes in the order and direction nearest to RAS: values and matrix."""
    image = nibabel.as_closest_canonical(image)
    return numpy.asarray(image.dataobj).astype("float64"), image.affine


def compare_each(all_series, check, command):
    """Prints what `check` finds wrong with each series. Gives the exit status."""
    failures = 0
    for series in all_series:
        with tempfile.TemporaryDirectory() as target:
            for problem in check(command, series, target):
                failures += 1
                print("%s: %s" % (series.name, problem))
    print("%d series compared, %d differences" % (len(all_series), failures))
    return 1 if failures else 0
