"""What the generator writes, computed anew, and whether a program's volume is the same.

Axes may come in any order and direction: formats differ in that.
"""

import functools
import itertools
import os

import nibabel
import numpy

INTERCEPT = -1024
SAMPLES = 4096  # voxels that are looked at before a whole comparison


@functools.lru_cache(maxsize=1)
def stored(slices, side):
    """The stored values of a series [slice][row][column], as fillPixels of pixels.h makes them."""
    count = side * side
    factors, sums = _generator(count)
    row, column = numpy.mgrid[0:side, 0:side]
    x, y = column - side // 2, row - side // 2
    body = 1000 + numpy.fix((x + y) / 2).astype(numpy.int32)  # as C++ divides
    state = numpy.uint32(12345)
    volume = numpy.empty((slices, side, side), numpy.uint16)
    for index in range(slices):
        noise = factors * state + sums  # the random numbers of a slice, each from the last one of the slice before
        state = noise[-1]
        radius = 150 * side // 512 + index // 8
        inside = numpy.where(x * x + 2 * y * y < radius * radius, body, 24)
        volume[index] = inside + (noise >> numpy.uint32(28)).reshape(side, side)
    return volume


def _generator(count):
    """a and c of: the random number after n steps is a * first + c."""
    factor, addend = 1664525, 1013904223
    factors, sums = numpy.empty(count, numpy.uint32), numpy.empty(count, numpy.uint32)
    a, c = 1, 0
    for index in range(count):
        a, c = a * factor & 0xFFFFFFFF, (c * factor + addend) & 0xFFFFFFFF
        factors[index], sums[index] = a, c
    return factors, sums


def modality(slices, side):
    return stored(slices, side).astype(numpy.int32) + INTERCEPT, 0


def rendered(slices, side):
    """One window over all values, 16 bits, and the tolerance: less than half of the step between neighbours."""
    values = stored(slices, side).astype(numpy.float32)
    low, high = float(values.min()), float(values.max())
    center, width = (low + high) / 2, high - low
    scaled = ((values - (center - 0.5)) / (width - 1) + 0.5) * 65535
    return numpy.clip(scaled, 0, 65535), 0.49 * 65535 / (width - 1)


def read(path, shape, dtype):
    """The values of a volume: .nrrd and .nii by their headers, .npy, or bytes alone."""
    if path.endswith(".nii"):
        image = nibabel.load(path)
        slope, inter = image.dataobj.slope, image.dataobj.inter
        values = numpy.asanyarray(image.dataobj.get_unscaled()).squeeze()
        return values if (slope, inter) == (1, 0) else values * numpy.float32(slope) + numpy.float32(inter)
    if path.endswith(".npy"):
        return numpy.load(path)
    if path.endswith(".nrrd"):
        return _read_nrrd(path)
    return numpy.fromfile(path, dtype).reshape(shape)


def _read_nrrd(path):
    types = {"short": "i2", "int16": "i2", "ushort": "u2", "uint16": "u2", "unsigned short": "u2", "int32": "i4",
             "int": "i4", "float": "f4", "double": "f8", "uint8": "u1", "unsigned char": "u1"}
    with open(path, "rb") as file:
        fields = {}
        while (line := file.readline().strip()):
            name, colon, value = line.decode().partition(":")
            if colon:
                fields[name] = value.strip("= ")
        if fields["encoding"] != "raw":
            raise ValueError("a volume in the encoding " + fields["encoding"])
        dtype = numpy.dtype(types[fields["type"]]).newbyteorder("<" if fields.get("endian") == "little" else ">")
        sizes = [int(size) for size in fields["sizes"].split()]
        return numpy.fromfile(file, dtype).reshape(sizes[::-1])


def difference(path, expected, tolerance, dtype):
    """A word on how the volume of a file differs from the expected one; nothing when it does not."""
    if not os.path.exists(path):
        return "no volume"
    try:
        found = read(path, expected.shape, dtype)
    except (ValueError, KeyError, OSError) as error:
        return str(error)
    if sorted(found.shape) != sorted(expected.shape):
        return "%s instead of %s" % (found.shape, expected.shape)
    indices = numpy.random.default_rng(1).integers(0, expected.size, SAMPLES)
    at = numpy.unravel_index(indices, expected.shape)
    for view in _views(found, expected.shape):
        if numpy.abs(view[at].astype(float) - expected[at]).max() <= tolerance:
            return _whole_difference(view, expected, tolerance)
    return "in every order of the axes"


def _views(values, shape):
    for order in itertools.permutations(range(3)):
        view = values.transpose(order)
        if view.shape != shape:
            continue
        for steps in itertools.product((1, -1), repeat=3):
            yield view[::steps[0], ::steps[1], ::steps[2]]


def _whole_difference(view, expected, tolerance):
    for index in range(expected.shape[0]):
        largest = numpy.abs(view[index].astype(float) - expected[index]).max()
        if largest > tolerance:
            return "slice %d by up to %g" % (index, largest)
    return ""
