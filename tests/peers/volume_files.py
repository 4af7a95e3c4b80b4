"""Volumes in files: NIfTI through nibabel, NRRD through a small reader of its own, both in the order of the slices."""

import gzip
import re

import nibabel
import numpy

TO_LPS = numpy.diag([-1.0, -1.0, 1.0, 1.0])
NRRD_TYPES = {"int8": "i1", "uint8": "u1", "int16": "<i2", "uint16": "<u2", "int32": "<i4", "uint32": "<u4",
              "float": "<f4", "double": "<f8"}
SECONDS = {"s": 1.0, "sec": 1.0, "ms": 1e-3, "msec": 1e-3, "us": 1e-6, "usec": 1e-6}


class Volume:
    """Values by ([point,] slice, row, column[, colour]); the matrix takes (column, row, slice, 1) to LPS."""

    def __init__(self, values, affine, spacing, seconds=None):
        self.values = values
        self.affine = affine  # None: the file does not say where the volume lies
        self.spacing = spacing  # between columns, rows, slices
        self.seconds = seconds  # between two points in time, or None
        self.forms_apart = 0.0  # by how far the two matrices of a NIfTI file differ

    def parts(self):
        """Volumes of three axes, one for each point in time."""
        values = self.values
        space = 4 if values.shape[-1] == 3 and values.dtype == numpy.uint8 and values.ndim > 3 else 3
        for part in values.reshape(-1, *values.shape[-space:]):
            yield Volume(part, self.affine, self.spacing)


def read_nifti(path):
    image = nibabel.load(path)
    header = image.header
    data = numpy.asarray(image.dataobj)
    if data.dtype.names:  # colour
        data = numpy.stack([data[name] for name in data.dtype.names[:3]], axis=-1)
        data = data.transpose(*range(data.ndim - 2, -1, -1), data.ndim - 1)
    else:
        data = data.reshape(data.shape + (1,) * (3 - data.ndim)).T
    in_space = int(header["sform_code"]) > 0 or int(header["qform_code"]) > 0
    seconds = None
    if int(header["dim"][0]) > 3:
        seconds = float(header["pixdim"][4]) * SECONDS.get(header.get_xyzt_units()[1], numpy.nan)
    affine = TO_LPS @ image.affine if in_space else None
    volume = Volume(data, affine, [float(mm) for mm in header["pixdim"][1:4]], seconds)
    if int(header["sform_code"]) > 0 and int(header["qform_code"]) > 0:
        far = numpy.array([*(int(size) for size in header["dim"][1:4]), 1])
        volume.forms_apart = numpy.abs((header.get_sform() - header.get_qform()) @ far).max()
    return volume


def vectors(text):
    return [[float(number) for number in vector.split(",")] for vector in re.findall(r"\(([^)]*)\)", text)]


def read_nrrd(path):
    with open(path, "rb") as file:
        content = file.read()
    head, data = content.split(b"\n\n", 1)
    lines = head.decode("ascii").split("\n")
    if not re.fullmatch(r"NRRD000\d", lines[0]):
        raise ValueError("not NRRD: " + lines[0])
    fields = dict(line.split(": ", 1) for line in lines[1:] if not line.startswith("#") and ":=" not in line)
    if fields["encoding"] == "gzip":
        data = gzip.decompress(data)
    kind = numpy.dtype(NRRD_TYPES[fields["type"]])
    if kind.itemsize > 1 and fields["endian"] != "little":
        raise ValueError("endian: " + fields["endian"])
    sizes = [int(size) for size in fields["sizes"].split()]
    kinds = fields["kinds"].split()
    if len(sizes) != int(fields["dimension"]) or len(kinds) != len(sizes):
        raise ValueError("dimension, sizes and kinds disagree")
    if len(data) != kind.itemsize * numpy.prod(sizes):
        raise ValueError("%d bytes of data" % len(data))
    values = numpy.frombuffer(data, kind).reshape(sizes[::-1])  # the fastest axis first in the file
    colour = int(kinds[0] == "RGB-color")
    spacings = [float(number) for number in fields.get("spacings", "").split()]
    affine = None
    if "space directions" in fields:
        if fields["space"] != "left-posterior-superior":
            raise ValueError("space: " + fields["space"])
        affine = numpy.eye(4)
        affine[:3, :3] = numpy.array(vectors(fields["space directions"])).T
        affine[:3, 3] = vectors(fields["space origin"])[0]
        spacing = [float(numpy.linalg.norm(affine[:3, axis])) for axis in range(3)]
    else:
        spacing = spacings[colour:colour + 3]
    seconds = None
    if len(sizes) > 3 + colour and len(spacings) == len(sizes):
        units = re.findall(r'"([^"]*)"', fields["units"])
        seconds = spacings[-1] * SECONDS.get(units[-1], numpy.nan)
    return Volume(values, affine, spacing, seconds)
