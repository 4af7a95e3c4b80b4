"""What the kinds of series in series_kinds.py are made of: grids of voxels, datasets of slices and of many frames."""

import io
import itertools
import os
import subprocess
import tempfile

import numpy
from pydicom import config, dcmwrite
from pydicom.datadict import tag_for_keyword
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import ExplicitVRLittleEndian

config.settings.writing_validation_mode = config.IGNORE  # some kinds are wrong on purpose

CLASSES = {  # SOP classes by name
    "CT": "1.2.840.10008.5.1.4.1.1.2",
    "MR": "1.2.840.10008.5.1.4.1.1.4",
    "EnhancedMR": "1.2.840.10008.5.1.4.1.1.4.1",
    "SC": "1.2.840.10008.5.1.4.1.1.7",
    "US": "1.2.840.10008.5.1.4.1.1.3.1",  # of several frames
    "NM": "1.2.840.10008.5.1.4.1.1.20",
    "PT": "1.2.840.10008.5.1.4.1.1.128",
    "EnhancedPT": "1.2.840.10008.5.1.4.1.1.130",
    "RTDOSE": "1.2.840.10008.5.1.4.1.1.481.2",
}
MODALITIES = {"EnhancedMR": "MR", "EnhancedPT": "PT", "SC": "OT"}
ORIGIN = (-101.5, -120.25, 33.125)
FRAME_OF_REFERENCE = "1.2.826.0.1.99.9"
ORGANIZATION = "1.2.826.0.1.99.4"

_INSTANCES = itertools.count(1)


def decimal(value):
    """The number as a decimal string of at most 16 characters."""
    for digits in range(12, 4, -1):
        text = "%.*g" % (digits, value)
        if len(text) <= 16:
            return text
    raise ValueError(value)


def written(values):
    """The numbers that a reader gets from the decimal strings."""
    return [float(decimal(value)) for value in values]


class Grid:
    """Where the voxels of a stack lie (LPS, mm); `spacing` is between rows, between columns, as in the file."""

    def __init__(self, slices, rows, columns, step=(0, 0, 2.5), along_columns=(1, 0, 0), along_rows=(0, 1, 0),
                 spacing=(0.8, 0.6), origin=ORIGIN, places=None):
        self.shape = (slices, rows, columns)
        self.spacing = spacing
        self.orientation = written([*along_columns, *along_rows])
        places = numpy.arange(slices) if places is None else numpy.array(places, float)
        exact = numpy.array(origin, float) + numpy.outer(places, numpy.array(step, float))
        self.origins = numpy.array([written(origin) for origin in exact])
        self.column_step = spacing[1] * numpy.array(self.orientation[:3])
        self.row_step = spacing[0] * numpy.array(self.orientation[3:])
        self.normal = numpy.cross(self.orientation[:3], self.orientation[3:])
        self.thickness = abs(self.normal @ numpy.array(step, float))

    def part(self, chosen):
        """The grid of some of the slices, in this order."""
        part = Grid.__new__(Grid)
        part.__dict__.update(self.__dict__)
        part.origins = self.origins[list(chosen)]
        part.shape = (len(part.origins), *self.shape[1:])
        return part


def pattern(grid, volume=0):
    """Values by (slice, row, column) that spell their place."""
    slices, rows, columns = numpy.indices(grid.shape)
    return 1000 * volume + 100 * slices + 10 * rows + columns


def colours(grid, volume=0):
    """Values by (slice, row, column, red or green or blue) that spell their place, up to 255."""
    slices, rows, columns = numpy.indices(grid.shape)
    return numpy.stack([40 * slices + rows, 20 * rows + columns, 30 * columns + slices + volume], axis=3)


def blank(sop_class, series=3, **attributes):
    """A dataset without pixels; series are told apart by their number."""
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = CLASSES[sop_class]
    meta.MediaStorageSOPInstanceUID = "1.2.826.0.1.99.1.%d" % next(_INSTANCES)
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    dataset = FileDataset("", {}, file_meta=meta, preamble=b"\0" * 128)
    dataset.is_little_endian, dataset.is_implicit_VR = True, False
    dataset.SOPClassUID, dataset.SOPInstanceUID = meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID
    dataset.Modality = MODALITIES.get(sop_class, sop_class)
    dataset.PatientName, dataset.PatientID, dataset.StudyID = "Doe^Jane", "P1", "1"
    dataset.StudyDate, dataset.StudyTime, dataset.StudyInstanceUID = "20200101", "101010", "1.2.826.0.1.99.2"
    dataset.SeriesInstanceUID, dataset.SeriesNumber = "1.2.826.0.1.99.3.%d" % series, series
    dataset.FrameOfReferenceUID = FRAME_OF_REFERENCE
    return with_attributes(dataset, attributes)


def with_attributes(dataset, attributes):
    """The dataset with these; lists of dictionaries become sequences, and None removes."""
    for name, value in attributes.items():
        if value is None:
            if name in dataset:
                delattr(dataset, name)
        elif isinstance(value, list) and value and isinstance(value[0], dict):
            setattr(dataset, name, Sequence([with_attributes(Dataset(), item) for item in value]))
        else:
            setattr(dataset, name, value)
    return dataset


def put_pixels(dataset, stored, bits=16, signed=False):
    """Stored values by (row, column) or (frame, row, column), colour on a last axis of three; `bits` are stored."""
    is_colour = stored.shape[-1] == 3
    dataset.Rows, dataset.Columns = stored.shape[-3:-1] if is_colour else stored.shape[-2:]
    dataset.SamplesPerPixel = 3 if is_colour else 1
    dataset.PhotometricInterpretation = "RGB" if is_colour else "MONOCHROME2"
    if is_colour:
        dataset.PlanarConfiguration = 0
    allocated = 8 if bits <= 8 else 16 if bits <= 16 else 32
    dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit = allocated, bits, bits - 1
    dataset.PixelRepresentation = int(signed)
    lowest, highest = (-2 ** (bits - 1), 2 ** (bits - 1) - 1) if signed else (0, 2 ** bits - 1)
    assert stored.min() >= lowest and stored.max() <= highest, "values outside of %d bits" % bits
    pixels = stored.astype("<%s%d" % ("i" if signed else "u", allocated // 8)).tobytes()
    dataset.PixelData = pixels + b"\0" * (len(pixels) % 2)
    dataset["PixelData"].VR = "OB" if allocated == 8 else "OW"


def placed(dataset, grid, index):
    """The dataset with the position of a slice."""
    dataset.ImagePositionPatient = [decimal(value) for value in grid.origins[index]]
    dataset.ImageOrientationPatient = [decimal(value) for value in grid.orientation]
    dataset.PixelSpacing = [decimal(value) for value in grid.spacing]
    dataset.SliceThickness = decimal(grid.thickness)
    return dataset


def slices(sop_class, grid, stored, numbers=None, bits=16, signed=False, each=None, series=3, **attributes):
    """Datasets of a stack, one for each slice; `each` gives more attributes by the index of the slice."""
    numbers = range(1, grid.shape[0] + 1) if numbers is None else numbers
    result = []
    for index, number in enumerate(numbers):
        dataset = placed(blank(sop_class, series), grid, index)
        dataset.InstanceNumber = number
        if sop_class == "MR":
            dataset.ScanningSequence, dataset.SequenceVariant, dataset.MRAcquisitionType = "GR", "NONE", "2D"
            dataset.ImageType, dataset.EchoTime, dataset.RepetitionTime = ["ORIGINAL", "PRIMARY", "M"], "2.5", "500"
        put_pixels(dataset, stored[index], bits, signed)
        with_attributes(dataset, attributes)
        with_attributes(dataset, each(index) if each else {})
        result.append(dataset)
    return result


def dimension(index, group):
    """The item that says what a dimension counts, by keywords."""
    return {"DimensionOrganizationUID": ORGANIZATION, "DimensionIndexPointer": tag_for_keyword(index),
            "FunctionalGroupPointer": tag_for_keyword(group)}


STACK = (("StackID", "FrameContentSequence"), ("InStackPositionNumber", "FrameContentSequence"))


def many_frames(sop_class, grid, frames, shared=None, bits=16, signed=False, series=3, dimensions=STACK, **attributes):
    """One dataset of many frames; each is (index of the slice, stored values, functional groups of this frame)."""
    dataset = blank(sop_class, series, InstanceNumber=1, NumberOfFrames=len(frames), **attributes)
    put_pixels(dataset, numpy.stack([stored for _, stored, _ in frames]), bits, signed)
    spacing = {"PixelSpacing": [decimal(value) for value in grid.spacing], "SliceThickness": decimal(grid.thickness)}
    orientation = {"ImageOrientationPatient": [decimal(value) for value in grid.orientation]}
    groups = {"PixelMeasuresSequence": [spacing], "PlaneOrientationSequence": [orientation], **(shared or {})}
    with_attributes(dataset, {"DimensionOrganizationSequence": [{"DimensionOrganizationUID": ORGANIZATION}],
                              "DimensionIndexSequence": [dimension(*names) for names in dimensions]})
    dataset.SharedFunctionalGroupsSequence = Sequence([with_attributes(Dataset(), groups)])
    items = []
    for index, _, groups in frames:
        position = {"ImagePositionPatient": [decimal(value) for value in grid.origins[index]]}
        items.append(with_attributes(Dataset(), {"PlanePositionSequence": [position], **groups}))
    dataset.PerFrameFunctionalGroupsSequence = Sequence(items)
    return dataset


def file_bytes(dataset, syntax=None):
    """The file as bytes, uncompressed in another transfer syntax if one is given."""
    if syntax is not None:
        dataset.file_meta.TransferSyntaxUID = syntax
        dataset.is_little_endian, dataset.is_implicit_VR = syntax.is_little_endian, syntax.is_implicit_VR
        if not syntax.is_little_endian and dataset.BitsAllocated == 16:
            dataset.PixelData = numpy.frombuffer(dataset.PixelData, "<u2").astype(">u2").tobytes()
    buffer = io.BytesIO()
    dcmwrite(buffer, dataset, write_like_original=False)
    return buffer.getvalue()


def compressed(dataset, *words):
    """The file as bytes after a tool that takes the path of a file and of its compressed copy."""
    with tempfile.TemporaryDirectory() as folder:
        plain, packed = os.path.join(folder, "plain"), os.path.join(folder, "packed")
        dataset.save_as(plain, write_like_original=False)
        subprocess.run([*words, plain, packed], check=True, capture_output=True)
        with open(packed, "rb") as file:
            return file.read()


def save(datasets, folder):
    """Writes files whose names tell the order of series, not of slices; bytes are those of a whole file."""
    os.makedirs(folder)
    order = numpy.random.default_rng(len(datasets)).permutation(len(datasets))
    for number, dataset in zip(order, datasets):
        series = 3 if isinstance(dataset, bytes) else dataset.SeriesNumber
        path = os.path.join(folder, "IM%d%04d" % (series, number))
        if isinstance(dataset, bytes):
            with open(path, "wb") as file:
                file.write(dataset)
        else:
            dataset.save_as(path, write_like_original=False)
