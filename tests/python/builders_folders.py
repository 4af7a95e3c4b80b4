"""Series and folders of generated DICOM files, whose pixels spell their place."""

import os

import numpy as np
import pydicom
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian, ImplicitVRLittleEndian, generate_uid

CT = "1.2.840.10008.5.1.4.1.1.2"
MR = "1.2.840.10008.5.1.4.1.1.4"
SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"
PLAIN = ((1.0, 0.0, 0.0), (0.0, 1.0, 0.0))
# Unit vectors at right angles to each other, with all entries unlike.
OBLIQUE = ((0.36, 0.48, -0.8), (-0.8, 0.6, 0.0))


def place_values(slices, rows, columns, dtype=np.uint16):
    """1000 * slice + 10 * row + column."""
    k, j, i = np.indices((slices, rows, columns))
    return (1000 * k + 10 * j + i).astype(dtype)


def dataset(pixels=None, sop_class=CT, syntax=ExplicitVRLittleEndian, **tags):
    """A complete instance. Pixels are [row][column], [frame][row][column] with `NumberOfFrames`, or colour with
    [3] behind."""
    tags = {
        "PatientName": "Test^Patient",
        "PatientID": "P1",
        "StudyInstanceUID": "1.2.826.0.1.1",
        "SeriesInstanceUID": "1.2.826.0.1.1.1",
        "SOPInstanceUID": generate_uid(),
        "FrameOfReferenceUID": "1.2.826.0.1.1.9",
        "Modality": "CT",
        "InstanceNumber": 1,
        "SeriesNumber": 1,
        **tags,
    }
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = sop_class
    meta.MediaStorageSOPInstanceUID = tags["SOPInstanceUID"]
    meta.TransferSyntaxUID = syntax
    meta.ImplementationClassUID = "1.2.826.0.1.99"
    result = FileDataset("", {}, file_meta=meta, preamble=b"\0" * 128)
    result.is_little_endian = True
    result.is_implicit_VR = syntax == ImplicitVRLittleEndian
    result.SOPClassUID = sop_class
    for keyword, value in tags.items():
        if value is not None:
            setattr(result, keyword, value)
    if pixels is not None:
        _set_pixels(result, np.asarray(pixels), "NumberOfFrames" in tags)
    return result


def _set_pixels(target, pixels, has_frames):
    is_colour = pixels.ndim == (4 if has_frames else 3)
    target.SamplesPerPixel = 3 if is_colour else 1
    target.PhotometricInterpretation = "RGB" if is_colour else "MONOCHROME2"
    if is_colour:
        target.PlanarConfiguration = 0
    shape = pixels.shape[1:] if has_frames else pixels.shape
    target.Rows, target.Columns = shape[:2]
    bits = pixels.dtype.itemsize * 8
    target.BitsAllocated = target.BitsStored = bits
    target.HighBit = bits - 1
    target.PixelRepresentation = int(pixels.dtype.kind == "i")
    content = pixels.astype(pixels.dtype.newbyteorder("<")).tobytes()
    target.PixelData = content + b"\0" * (len(content) % 2)
    target["PixelData"].VR = "OB" if bits == 8 else "OW"


def save(instance, path):
    """Writes the instance, also under a name of bytes."""
    os.makedirs(os.path.dirname(path) or b".", exist_ok=True)
    with open(path, "wb") as file:
        pydicom.dcmwrite(file, instance, write_like_original=False)
    return path


def normal_of(orientation):
    return np.cross(orientation[0], orientation[1])


def stack(
    folder,
    pixels=None,
    orientation=PLAIN,
    origin=(-20.0, 30.0, 100.0),
    gap=2.5,
    spacing=(0.5, 0.75),
    heights=None,
    names="{:03d}.dcm",
    numbers=None,
    per_slice=None,
    **tags,
):
    """A series of one file for each slice, and the paths in the order of the slices.

    spacing: between rows, between columns
    heights: along the normal, in units of the gap
    numbers: InstanceNumber of each slice
    per_slice: a function of the slice that gives more attributes
    """
    pixels = place_values(3, 4, 5) if pixels is None else pixels
    normal = normal_of(orientation)
    paths = []
    for k, picture in enumerate(pixels):
        height = heights[k] if heights is not None else k
        instance = dataset(
            picture,
            **{
                "InstanceNumber": numbers[k] if numbers else k + 1,
                "ImageOrientationPatient": [f"{value:.12g}" for axis in orientation for value in axis],
                "ImagePositionPatient": [f"{value:.10g}" for value in np.array(origin) + height * gap * normal],
                "PixelSpacing": list(spacing),
                "SliceThickness": gap,
                **tags,
                **(per_slice(k) if per_slice else {}),
            },
        )
        paths.append(save(instance, os.path.join(str(folder), names.format(k))))
    return paths


def place_of(i, j, k, orientation, origin, gap, spacing):
    """Where the centre of a voxel lies, right, front, head."""
    along_row, along_column = np.array(orientation[0]), np.array(orientation[1])
    left_back_head = (
        np.array(origin)
        + i * spacing[1] * along_row
        + j * spacing[0] * along_column
        + k * gap * normal_of(orientation)
    )
    return left_back_head * [-1, -1, 1]
