"""Kinds of series, each with the volumes that it is: every voxel's value and where it lies.

A kind is a function that returns the files (datasets, or bytes of whole files) and what is expected of one or several
runs of `radvex volume`. Values spell their place: 1000 * volume + 100 * slice + 10 * row + column.
"""

import math
import struct

import numpy
from pydicom.uid import DeflatedExplicitVRLittleEndian, ExplicitVRBigEndian, ImplicitVRLittleEndian, RLELossless

from kind_files import (FRAME_OF_REFERENCE, STACK, Grid, blank, colours, compressed, decimal, file_bytes, many_frames,
                        pattern, put_pixels, slices, with_attributes)

KINDS = {}  # functions by the name of the kind
GROUPS = ("echo", "time", "-b", "magnitude", "phase", "real", "imaginary", "stack", "acq", "window")  # in suffixes


class Truth:
    """One volume: values by (slice, row, column), with several points in time as a first axis, colour as a last one."""

    def __init__(self, values, grid, suffix="", kind=None, unit=None, seconds=None, tolerance=1e-4, in_space=True,
                 any_order=False):
        self.values = numpy.asarray(values)
        self.grid = grid
        self.suffix = suffix  # of the name, before the extension
        self.type = kind  # of the voxels, where it is certain
        self.unit = unit
        self.seconds = seconds  # between two points in time
        self.tolerance = tolerance  # mm
        self.in_space = in_space
        self.any_order = any_order  # the slices may come from either end
        self.group = {}  # some of what tells the volume from others, in the JSON
        self.is_of_group = any(word in suffix for word in GROUPS)


class Run:
    """What a run with these options gives: volumes and findings, or a refusal with an error of one of these kinds."""

    def __init__(self, volumes=(), findings=(), refused=(), options=(), check=None,
                 extensions=(".nii.gz", ".nrrd")):
        self.volumes = list(volumes)
        self.findings = set(findings)
        self.refused = {refused} if isinstance(refused, str) else set(refused)
        self.options = list(options)
        self.extensions = list(extensions)
        self.check = check  # a function of the written volume that returns sentences, when values are not known


def kind(function):
    KINDS[function.__name__.replace("_", " ")] = function
    return function


def ct(grid, hounsfield, **more):
    """Slices of 16 bits without a sign, and an intercept that gives these HU."""
    return slices("CT", grid, hounsfield + 1024, RescaleIntercept=-1024, RescaleSlope=1, **more)


def one_ct(grid=None, **more):
    grid = grid or Grid(6, 4, 5)
    values = pattern(grid) - 1000
    return ct(grid, values, **more), Truth(values, grid, kind="int16", unit="HU")


def refused_ct(finding, files):
    return files, [Run(refused=finding)]


# Geometry


@kind
def ct_axial():
    files, truth = one_ct()
    return files, [Run([truth])]


@kind
def ct_non_square_pixels():
    files, truth = one_ct(Grid(5, 4, 7, step=(0, 0, 3), spacing=(1.5, 0.5)))
    return files, [Run([truth])]


def mr(grid, **more):
    values = pattern(grid)
    return slices("MR", grid, values, **more), [Run([Truth(values, grid, kind="uint16")])]


@kind
def mr_oblique():
    along_columns = (0.8, 0.48, -0.36)
    along_rows = (-0.6, 0.64, -0.48)
    step = 2.2 * numpy.cross(along_columns, along_rows)
    return mr(Grid(6, 5, 4, step, along_columns, along_rows))


@kind
def mr_sagittal():
    return mr(Grid(7, 4, 5, (-3, 0, 0), (0, 1, 0), (0, 0, -1)))


@kind
def mr_coronal():
    return mr(Grid(4, 6, 5, (0, 4.4, 0), (1, 0, 0), (0, 0, -1)))


@kind
def directions_of_three_decimals():
    """The two directions are neither of length one nor quite at right angles."""
    along_columns, along_rows = (0.985, 0.174, 0), (-0.163, 0.925, -0.342)
    files, runs = mr(Grid(5, 4, 6, 3 * numpy.cross(along_columns, along_rows), along_columns, along_rows))
    runs[0].volumes[0].tolerance = 2e-3  # directions that are made orthogonal and of length one are as good
    return files, runs


@kind
def positions_of_two_decimals():
    """A step of 0.625 mm, rounded: the neighbours lie 0.62 or 0.63 mm apart."""
    grid = Grid(7, 4, 5, step=(0, 0, 0.625), origin=(-10, -20, 30))
    grid.origins = numpy.round(grid.origins + 1e-9, 2)
    values = pattern(grid)
    return ct(grid, values), [Run([Truth(values, grid, tolerance=0.011)])]


@kind
def directions_that_vary_in_the_last_digits():
    files, truth = one_ct()
    truth.tolerance = 1e-3
    for index, dataset in enumerate(files):
        turn = 2e-5 * (index % 2)
        dataset.ImageOrientationPatient = ["1", decimal(turn), "0", decimal(-turn), "1", "0"]
    return files, [Run([truth])]


@kind
def spacings_that_contradict_the_positions():
    """The positions are right."""
    files, truth = one_ct(SpacingBetweenSlices="9.9", SliceThickness="7", SliceLocation="1")
    return files, [Run([truth])]


@kind
def without_pixel_spacing():
    files, truth = one_ct(PixelSpacing=None)
    truth.in_space = False
    return files, [Run([truth], ["noPixelSpacing"])]


@kind
def two_slices():
    """Nothing says that a slice is missing between them."""
    files, truth = one_ct(Grid(2, 4, 5, step=(0, 0, 12)), SliceThickness="3")
    return files, [Run([truth])]


@kind
def directions_that_vary_too_far():
    """Far columns of every other slice lie half a pixel off."""
    grid = Grid(6, 2, 600, spacing=(1, 1))
    files = ct(grid, numpy.zeros(grid.shape, int))
    for dataset in files[::2]:
        dataset.ImageOrientationPatient = ["1", "0.0009", "0", "-0.0009", "1", "0"]
    return refused_ct("differentOrientation", files)


@kind
def pixel_spacings_that_vary_too_far():
    grid = Grid(6, 2, 600, spacing=(1, 1))
    files = ct(grid, numpy.zeros(grid.shape, int))
    for dataset in files[::2]:
        dataset.PixelSpacing = ["1", "1.0009"]
    return refused_ct("differentPixelSpacing", files)


@kind
def slice_without_a_position():
    files, _ = one_ct()
    del files[5].ImagePositionPatient
    return refused_ct("noPosition", files)


@kind
def numbers_backwards():
    files, truth = one_ct(Grid(6, 4, 5, step=(0, 0, -2.5)), numbers=range(1, 7))
    return files, [Run([truth])]


@kind
def numbers_shuffled():
    """By position, as the numbers give no order in space."""
    files, truth = one_ct(numbers=[4, 1, 6, 2, 5, 3])
    return files, [Run([truth], ["instanceOrder"])]


@kind
def numbers_with_holes():
    files, truth = one_ct(numbers=[2, 9, 10, 11, 100, 1000])
    return files, [Run([truth])]


@kind
def no_instance_number():
    files, truth = one_ct(numbers=[None] * 6)
    return files, [Run([truth], ["noInstanceNumber"])]


@kind
def one_number_for_all():
    files, truth = one_ct(numbers=[7] * 6)
    return files, [Run([truth], ["noInstanceNumber"])]


@kind
def instance_number_3a():
    files, truth = one_ct()
    content = file_bytes(files[2])
    assert content.count(b"IS\x02\x003 ") == 2  # InstanceNumber comes after SeriesNumber
    place = content.rindex(b"IS\x02\x003 ")
    files[2] = content[:place] + b"IS\x02\x003a" + content[place + 6:]
    return files, [Run([truth])]


@kind
def gantry_tilt():
    files, truth = one_ct(Grid(6, 4, 5, step=(0, 0.9, 3)), GantryDetectorTilt="16.7")
    return files, [Run([truth], ["tilt"])]


@kind
def sideways_drift():
    """Slices that jump sideways lie on no grid."""
    grid = Grid(6, 4, 5)
    grid.origins[2:4, 0] += 2
    return refused_ct("drift", ct(grid, pattern(grid)))


@kind
def single_slice():
    files, truth = one_ct(Grid(1, 4, 5, step=(0, 0, 4)))
    return files, [Run([truth])]


def with_places(places):
    grid = Grid(len(places), 4, 5, step=(0, 0, 2), places=places)
    return ct(grid, pattern(grid))


@kind
def numbers_and_slices_missing():
    files, _ = one_ct(Grid(7, 4, 5))
    return refused_ct("missingSlices", files[:3] + files[4:])


@kind
def one_row():
    files, truth = one_ct(Grid(4, 1, 5))
    return files, [Run([truth])]


@kind
def one_slice_missing():
    return refused_ct("missingSlices", with_places([0, 1, 2, 4, 5, 6]))


@kind
def gap_of_1_6():
    return refused_ct("missingSlices", with_places([0, 1, 2, 3.6, 4.6, 5.6]))


@kind
def gap_of_2_5():
    return refused_ct("missingSlices", with_places([0, 1, 2, 4.5, 5.5, 6.5]))


@kind
def two_slices_missing():
    return refused_ct("missingSlices", with_places([0, 1, 2, 5, 6, 7]))


@kind
def holes_at_two_places():
    return refused_ct("missingSlices", with_places([0, 1, 3, 4, 6, 7, 8]))


@kind
def two_blocks_100_mm_apart():
    return refused_ct("missingSlices", with_places([0, 1, 2, 3, 53, 54, 55]))


@kind
def uneven_within_a_tenth():
    grid = Grid(6, 4, 5, step=(0, 0, 2.5), places=[0, 1.05, 1.96, 3, 4.06, 5])
    values = pattern(grid)
    return ct(grid, values), [Run([Truth(values, grid, tolerance=0.25)], ["unevenSpacing"])]


@kind
def uneven_beyond_a_tenth():
    """No gap is large enough for a missing slice. --resample gives an even grid, --force no place in space."""
    places = [0, 1, 2.3, 3.3, 4.6, 5.6, 6.6]
    grid = Grid(7, 4, 5, step=(0, 0, 2), places=places)
    values = pattern(grid)

    def resampled(volume):
        problems = []
        heights = volume.affine[2, 3] + volume.affine[2, 2] * numpy.arange(volume.values.shape[0])
        known = grid.origins[:, 2]
        if heights.min() < known[0] - 1e-3 or heights.max() > known[-1] + 1e-3:
            problems.append("the grid leaves the slices: %s" % heights)
        if heights.min() > known[0] + 1e-3 or heights.max() < known[-1] - 2:
            problems.append("the grid does not cover the slices: %s" % heights)
        expected = numpy.apply_along_axis(lambda line: numpy.interp(heights, known, line), 0, values.astype(float))
        apart = numpy.abs(volume.values - expected).max()
        if apart > 1e-3:
            problems.append("values differ by up to %g from the linear interpolation" % apart)
        return problems

    forced = Truth(values, grid, in_space=False)
    return ct(grid, values), [Run(refused="unevenSpacing"), Run([forced], ["unevenSpacing"], options=["--force"]),
                              Run([Truth(values, grid)], ["resampled"], options=["--resample"], check=resampled)]


# Values


@kind
def ct_without_sign():
    """Values need 32 bits: from -1024 to 64511."""
    grid = Grid(4, 5, 6)
    values = pattern(grid)
    values[0, 0, 0], values[3, 4, 5] = -1024, 64511
    return ct(grid, values), [Run([Truth(values, grid, kind="int32", unit="HU")])]


@kind
def ct_with_sign():
    grid = Grid(4, 5, 6)
    values = pattern(grid) - 300
    return (slices("CT", grid, values, signed=True, RescaleIntercept=0, RescaleSlope=1),
            [Run([Truth(values, grid, kind="int16", unit="HU")])])


@kind
def twelve_bits_with_sign():
    grid = Grid(4, 5, 6)
    values = pattern(grid) - 1024
    files = slices("CT", grid, pattern(grid) - 200, bits=12, signed=True, RescaleIntercept=-824, RescaleSlope=1)
    for dataset in files:  # the sign stands in bit 11 alone
        stored = numpy.frombuffer(dataset.PixelData, "<u2") & 0x0fff
        dataset.PixelData = stored.astype("<u2").tobytes()
    return files, [Run([Truth(values, grid, kind="int16", unit="HU")])]


@kind
def twelve_bits_on_top():
    """The low four bits of each word are no part of the value."""
    grid = Grid(4, 5, 6)
    values = pattern(grid)
    files = slices("CT", grid, values, bits=12, RescaleIntercept=0, RescaleSlope=1, HighBit=15)
    for dataset in files:
        stored = (numpy.frombuffer(dataset.PixelData, "<u2") << 4) + 5
        dataset.PixelData = stored.astype("<u2").tobytes()
    return files, [Run([Truth(values, grid, unit="HU")])]


@kind
def slope_below_zero():
    grid = Grid(4, 5, 6)
    stored = pattern(grid)
    return (slices("MR", grid, stored, RescaleSlope=-2, RescaleIntercept=7),
            [Run([Truth(7 - 2 * stored, grid, kind="int16")])])


@kind
def overlay_in_unused_bits():
    grid = Grid(4, 5, 6)
    values = pattern(grid)
    files = slices("CT", grid, values, bits=12, RescaleIntercept=0, RescaleSlope=1)
    for dataset in files:
        overlay = ((0x10, "US", 5), (0x11, "US", 6), (0x40, "CS", "G"), (0x50, "SS", [1, 1]), (0x100, "US", 16),
                   (0x102, "US", 15))
        for element, representation, value in overlay:
            dataset.add_new((0x6000, element), representation, value)
        stored = numpy.frombuffer(dataset.PixelData, "<u2") | 0x8000
        dataset.PixelData = stored.astype("<u2").tobytes()
    return files, [Run([Truth(values, grid, unit="HU")])]


@kind
def slices_of_two_pixel_types():
    grid = Grid(6, 4, 5)
    values = pattern(grid)
    files = ct(grid, values)
    files[3:] = slices("CT", grid.part([3, 4, 5]), values[3:] - 50, numbers=[4, 5, 6], bits=12, signed=True,
                       RescaleIntercept=50, RescaleSlope=1)
    return files, [Run([Truth(values, grid, unit="HU")])]


@kind
def intercept_by_slice():
    grid = Grid(6, 4, 5)
    values = pattern(grid)
    values[0, 0, 0] = -1000
    files = ct(grid, values)
    files[3:] = slices("CT", grid.part([3, 4, 5]), values[3:], numbers=[4, 5, 6], RescaleIntercept=0, RescaleSlope=1)
    return files, [Run([Truth(values, grid, kind="int16", unit="HU")])]


@kind
def eight_bits():
    grid = Grid(3, 4, 5)
    values = pattern(grid) // 2 + numpy.indices(grid.shape)[2]
    return slices("MR", grid, values, bits=8), [Run([Truth(values, grid, kind="uint8")])]


@kind
def eight_bits_with_intercept():
    grid = Grid(3, 4, 5)
    values = pattern(grid) - 50
    return (slices("CT", grid, values + 50, bits=8, RescaleIntercept=-50, RescaleSlope=1),
            [Run([Truth(values, grid, kind="int16")])])


@kind
def monochrome1():
    """Modality values know no polarity."""
    grid = Grid(4, 5, 6)
    values = pattern(grid)
    return (slices("CT", grid, values + 1024, RescaleIntercept=-1024, RescaleSlope=1,
                   PhotometricInterpretation="MONOCHROME1"), [Run([Truth(values, grid, unit="HU")])])


@kind
def modality_table():
    grid = Grid(2, 4, 5)
    stored = pattern(grid)
    table = 7 * numpy.arange(200) + 11
    lut = {"LUTDescriptor": [200, 0, 16], "ModalityLUTType": "US", "LUTData": table.astype("<u2").tobytes()}
    return (slices("SC", grid, stored, ModalityLUTSequence=[lut]), [Run([Truth(table[stored], grid)])])


SLOPES = (0.37, 1e-8, 1234.56789, 0.0025, 2.718281828)


def pet(grid, stored, slopes, **more):
    """Slices of PET, each with its own slope."""
    def each(index):
        return {"RescaleSlope": decimal(slopes[index]), "RescaleIntercept": 0, "ImageIndex": index + 1,
                **(more.get("each", lambda _: {})(index))}
    attributes = {name: value for name, value in more.items() if name != "each"}
    return slices("PT", grid, stored, each=each, Units="BQML", CorrectedImage=["DECY", "ATTN"], **attributes)


def becquerels(stored, slopes):
    return stored * numpy.array([float(decimal(slope)) for slope in slopes]).reshape(-1, 1, 1)


@kind
def pet_slope_by_slice():
    grid = Grid(5, 4, 6, step=(0, 0, -3.27))
    stored = pattern(grid, 1)
    files = pet(grid, stored, SLOPES, SeriesType=["STATIC", "IMAGE"])
    return files, [Run([Truth(becquerels(stored, SLOPES), grid, unit="BQML")])]


# Encodings


def encoded(encode):
    files, truth = one_ct()
    return [encode(dataset) for dataset in files], [Run([truth])]


@kind
def implicit_little_endian():
    return encoded(lambda dataset: file_bytes(dataset, ImplicitVRLittleEndian))


@kind
def explicit_big_endian():
    return encoded(lambda dataset: file_bytes(dataset, ExplicitVRBigEndian))


@kind
def deflated():
    return encoded(lambda dataset: file_bytes(dataset, DeflatedExplicitVRLittleEndian))


def run_length(dataset):
    dataset.compress(RLELossless, generate_instance_uid=False)
    return dataset


@kind
def rle():
    return encoded(run_length)


@kind
def jpeg_lossless():
    return encoded(lambda dataset: compressed(dataset, "dcmcjpeg", "+un", "+e1"))


@kind
def jpeg_ls():
    return encoded(lambda dataset: compressed(dataset, "dcmcjpls", "+un"))


@kind
def slices_in_two_encodings():
    files, truth = one_ct()
    return [run_length(dataset) if index % 2 else dataset for index, dataset in enumerate(files)], [Run([truth])]


# Several volumes


def volumes(sop_class, grid, each, by_slice=False, **more):
    """Values of several volumes, and their slices with the attributes of `each`, numbered by volume or by slice."""
    values = [pattern(grid, number + 1) for number in range(len(each))]
    count = grid.shape[0]
    files = []
    for index, stored in enumerate(values):
        numbers = [number * len(each) + index + 1 if by_slice else index * count + number + 1
                   for number in range(count)]
        files += slices(sop_class, grid, stored, numbers, **{**more, **each[index]})
    return files, values


def one_each(values, grid, suffixes, **more):
    return Run([Truth(stored, grid, suffix, **more) for stored, suffix in zip(values, suffixes)])


def one_4d(values, grid, **more):
    return Run([Truth(numpy.stack(values), grid, **more)], options=["--4d"])


@kind
def mr_two_echoes():
    """Slice by slice; as texts the echo times would be in the other order."""
    grid = Grid(5, 4, 6, step=(0, 0, 3))
    each = [{"EchoTime": "9.2", "EchoNumbers": 1}, {"EchoTime": "18.4", "EchoNumbers": 2}]
    files, values = volumes("MR", grid, each, by_slice=True)
    return files, [one_each(values, grid, ["-echo1", "-echo2"], kind="uint16"), one_4d(values, grid)]


@kind
def mr_echoes_by_time_alone():
    """The second echo comes first in the numbers."""
    grid = Grid(5, 4, 6, step=(0, 0, 3))
    files, values = volumes("MR", grid, [{"EchoTime": "4.92"}, {"EchoTime": "2.46"}])
    return files, [one_each(values[::-1], grid, ["-echo1", "-echo2"])]


@kind
def mr_magnitude_and_phase():
    grid = Grid(5, 4, 6, step=(0, 0, 3))
    each = [{"ImageType": ["ORIGINAL", "PRIMARY", "M", "ND"]},
            {"ImageType": ["ORIGINAL", "PRIMARY", "P", "ND"], "RescaleSlope": 2, "RescaleIntercept": -4096}]
    files, values = volumes("MR", grid, each)
    values[1] = 2 * values[1] - 4096
    return files, [one_each(values, grid, ["-magnitude", "-phase"]), one_4d(values, grid)]


@kind
def mr_real_and_imaginary():
    grid = Grid(4, 4, 6, step=(0, 0, 3))
    each = [{"ImageType": ["ORIGINAL", "PRIMARY", "R"]}, {"ImageType": ["ORIGINAL", "PRIMARY", "I"]}]
    files, values = volumes("MR", grid, each, signed=True)
    return files, [one_each(values, grid, ["-real", "-imaginary"], kind="int16"), one_4d(values, grid)]


@kind
def mr_echoes_of_magnitude_and_phase():
    grid = Grid(4, 4, 6, step=(0, 0, 3))
    each = [{"EchoTime": echo, "ImageType": ["ORIGINAL", "PRIMARY", part]} for echo in ("5", "10") for part in "MP"]
    files, values = volumes("MR", grid, each)
    suffixes = ["-echo1-magnitude", "-echo1-phase", "-echo2-magnitude", "-echo2-phase"]
    return files, [one_each(values, grid, suffixes), one_4d(values, grid)]


@kind
def pet_dynamic():
    grid = Grid(5, 4, 6, step=(0, 0, -3.27))
    moments = [5000.0, 15000.0, 25000.0, 105000.0]  # as texts in another order
    files, values = [], []
    for index, moment in enumerate(moments):
        stored = pattern(grid, index + 1)
        slopes = numpy.roll(SLOPES, index)
        files += pet(grid, stored, slopes, numbers=range(5 * index + 1, 5 * index + 6), SeriesType=["DYNAMIC", "IMAGE"],
                     NumberOfTimeSlices=4, NumberOfSlices=5, FrameReferenceTime=decimal(moment),
                     ActualFrameDuration=10000,
                     each=lambda slice_index, index=index: {"ImageIndex": 5 * index + slice_index + 1})
        values.append(becquerels(stored, slopes))
    suffixes = ["-time%d" % number for number in range(1, 5)]
    return files, [one_each(values, grid, suffixes, unit="BQML"), one_4d(values, grid, unit="BQML")]


@kind
def pet_dynamic_of_even_frames():
    grid = Grid(3, 4, 6, step=(0, 0, 3.27))
    files, values = [], []
    for index in range(3):
        stored = pattern(grid, index + 1)
        files += pet(grid, stored, SLOPES[2:], numbers=range(3 * index + 1, 3 * index + 4),
                     FrameReferenceTime=decimal(5000 + 10000 * index), ActualFrameDuration=10000)
        values.append(becquerels(stored, SLOPES[2:]))
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"], unit="BQML"),
                   one_4d(values, grid, unit="BQML", seconds=10)]


@kind
def mr_cine():
    grid = Grid(3, 4, 6, step=(0, 0, 8))
    each = [{"TriggerTime": decimal(90 * number), "CardiacNumberOfImages": 5} for number in range(5)]
    files, values = volumes("MR", grid, each, by_slice=True)
    return files, [one_each(values, grid, ["-time%d" % number for number in range(1, 6)], kind="uint16"),
                   one_4d(values, grid, seconds=0.09)]


@kind
def mr_cine_of_one_slice():
    grid = Grid(1, 5, 6, step=(0, 0, 8))
    files, values = volumes("MR", grid, [{"TriggerTime": decimal(45 * number)} for number in range(12)])
    return files, [one_each(values, grid, ["-time%d" % number for number in range(1, 13)]),
                   one_4d(values, grid, seconds=0.045)]


@kind
def mr_points_in_time_numbered_to_and_fro():
    """Every other volume is numbered downwards: in one file all have to run the same way."""
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    each = [{"TemporalPositionIdentifier": number} for number in (1, 2, 3)]
    files, values = volumes("MR", grid, each)
    for dataset in files[4:8]:
        dataset.InstanceNumber = 13 - dataset.InstanceNumber
    runs = [one_each(values, grid, ["-time1", "-time2", "-time3"], any_order=True), one_4d(values, grid)]
    return files, runs


@kind
def mr_times_across_midnight():
    grid = Grid(3, 5, 6, step=(0, 0, 5))
    each = [{"AcquisitionDate": date, "AcquisitionTime": time}
            for date, time in (("20200101", "235948"), ("20200101", "235958"), ("20200102", "000008"))]
    files, values = volumes("MR", grid, each)
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"]), one_4d(values, grid, seconds=10)]


@kind
def mr_cine_of_several_breaths():
    """Each slice was taken in a breath of its own, with a heart of its own pace."""
    grid = Grid(3, 4, 6, step=(0, 0, 8))
    files, values = [], [pattern(grid, number + 1) for number in range(4)]
    for number in range(4):
        files += slices("MR", grid, values[number], [4 * index + number + 1 for index in range(3)],
                        each=lambda index, number=number: {"TriggerTime": decimal((90 + 3 * index) * number)})
    return files, [one_each(values, grid, ["-time%d" % number for number in range(1, 5)])]


@kind
def mr_acquisition_times_by_slice():
    """Each slice of each point in time has a time of its own, the slices taken in two passes."""
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    files, values = [], [pattern(grid, number + 1) for number in range(3)]
    for number in range(3):
        files += slices("MR", grid, values[number], range(4 * number + 1, 4 * number + 5),
                        each=lambda index, number=number: {
                            "AcquisitionTime": "1010%05.2f" % (2 * number + (0, 1, 0.5, 1.5)[index])})
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"]), one_4d(values, grid)]


@kind
def mr_echoes_of_points_in_time():
    grid = Grid(3, 5, 6, step=(0, 0, 5))
    each = [{"EchoTime": echo, "TemporalPositionIdentifier": number} for number in (1, 2) for echo in ("14", "30")]
    files, values = volumes("MR", grid, each)
    return files, [one_each(values, grid, ["-echo1-time1", "-echo2-time1", "-echo1-time2", "-echo2-time2"])]


@kind
def mr_water_and_fat():
    grid = Grid(3, 5, 6, step=(0, 0, 5))
    each = [{"ImageType": ["DERIVED", "PRIMARY", "DIXON", part]} for part in ("FAT", "WATER")]
    files, values = volumes("MR", grid, each)
    return files, [one_each(values, grid, ["-fat", "-water"]), one_4d(values, grid)]


@kind
def mr_temporal_positions():
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    each = [{"TemporalPositionIdentifier": number, "NumberOfTemporalPositions": 11, "AcquisitionNumber": number}
            for number in range(1, 12)]
    files, values = volumes("MR", grid, each)
    return files, [one_each(values, grid, ["-time%d" % number for number in range(1, 12)]), one_4d(values, grid)]


@kind
def mr_points_in_time_with_rounded_positions():
    """The same slices lie up to 1 micrometre apart from one point in time to the next."""
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    each = [{"TemporalPositionIdentifier": number} for number in (1, 2, 3)]
    files, values = volumes("MR", grid, each)
    for index, dataset in enumerate(files):
        z = grid.origins[index % 4, 2] + (index // 4 - 1) * 1e-3
        dataset.ImagePositionPatient[2] = decimal(z)
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"], tolerance=2e-3)]


@kind
def mr_acquisition_times():
    """Only the time of the acquisition tells the volumes apart."""
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    each = [{"AcquisitionDate": "20200101", "AcquisitionTime": time} for time in ("095959", "100014", "100029")]
    files, values = volumes("MR", grid, each)
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"]), one_4d(values, grid, seconds=15)]


DIRECTIONS = ((1, 0, 0), (0, 0.6, 0.8), (0, -0.8, 0.6))


@kind
def mr_diffusion():
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    each = [{"DiffusionBValue": 0.0}]
    each += [{"DiffusionBValue": 1000.0, "DiffusionGradientOrientation": list(vector)} for vector in DIRECTIONS]
    files, values = volumes("MR", grid, each)
    suffixes = ["-b0", "-b1000-dir1", "-b1000-dir2", "-b1000-dir3"]
    return files, [one_each(values, grid, suffixes, kind="uint16"), one_4d(values, grid)]


@kind
def mr_diffusion_with_varying_values():
    """The scanner states the b-value of each direction as it was, not as it was asked for."""
    grid = Grid(3, 5, 6, step=(0, 0, 5))
    each = [{"DiffusionBValue": 0.0}]
    each += [{"DiffusionBValue": value, "DiffusionGradientOrientation": list(vector)}
             for value, vector in zip((995.0, 1000.0, 1005.0), DIRECTIONS)]
    files, values = volumes("MR", grid, each)
    run = one_each(values, grid, ["-b0", "-b995", "-b1000", "-b1005"])
    for truth, value in zip(run.volumes, ("0", "995", "1000", "1005")):
        truth.group = {"DiffusionBValue": value}
    return files, [run, one_4d(values, grid)]


@kind
def mr_echoes_close_together():
    grid = Grid(3, 5, 6, step=(0, 0, 5))
    times = ("2.46", "2.47", "2.48")
    files, values = volumes("MR", grid, [{"EchoTime": time} for time in times])
    run = one_each(values, grid, ["-echo1", "-echo2", "-echo3"])
    for truth, time in zip(run.volumes, times):
        truth.group = {"EchoTime": time}
    return files, [run]


@kind
def mr_echo_time_that_varies_by_slice():
    """Some scanners state the time of each slice as it was."""
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    files, values = volumes("MR", grid, [{"EchoTime": "2.46"}, {"EchoTime": "4.92"}])
    files[1].EchoTime, files[6].EchoTime = "2.461", "4.921"
    return files, [one_each(values, grid, ["-echo1", "-echo2"])]


@kind
def mr_phase_between_the_slices_of_the_magnitude():
    grid = Grid(8, 5, 6, step=(0, 0, 5))
    files = slices("MR", grid, pattern(grid),
                   each=lambda index: {"ImageType": ["ORIGINAL", "PRIMARY", "MP"[index % 2]]})
    return refused_ct("differentContrast", files)


@kind
def mr_inversion_time_by_slice():
    """One pulse inverts all slices, which are read out one after the other."""
    return mr(Grid(6, 5, 4, step=(0, 0, 5)), each=lambda index: {"InversionTime": decimal(100 + 50 * index)})


@kind
def pet_slice_without_slope():
    grid = Grid(5, 4, 6, step=(0, 0, -3.27))
    files = pet(grid, pattern(grid, 1), SLOPES)
    del files[2].RescaleSlope
    return refused_ct("differentUnits", files)


@kind
def mr_diffusion_without_directions():
    grid = Grid(4, 5, 6, step=(0, 0, 5))
    files, values = volumes("MR", grid, [{"DiffusionBValue": float(value)} for value in (0, 50, 1000)], by_slice=True)
    return files, [one_each(values, grid, ["-b0", "-b50", "-b1000"])]


@kind
def ct_acquisition_for_each_slice():
    files, truth = one_ct(each=lambda index: {"AcquisitionNumber": index + 1, "AcquisitionTime": "10101%d" % index})
    return files, [Run([truth])]


@kind
def ct_two_acquisitions_that_meet():
    """One volume, as no place is taken twice."""
    files, truth = one_ct(each=lambda index: {"AcquisitionNumber": index // 3 + 1})
    return files, [Run([truth])]


@kind
def ct_two_acquisitions_that_overlap():
    first, second = Grid(6, 4, 5), Grid(6, 4, 5, places=[4, 5, 6, 7, 8, 9])
    values = [pattern(first, 1), pattern(second, 2)]
    files = ct(first, values[0], AcquisitionNumber=1)
    files += ct(second, values[1], numbers=range(7, 13), AcquisitionNumber=2)
    truths = [Truth(values[0], first, "-acq1", unit="HU"), Truth(values[1], second, "-acq2", unit="HU")]
    return files, [Run(truths)]


@kind
def two_series():
    """The second holds two echoes."""
    files, one = one_ct(series=3)
    grid = Grid(3, 4, 6, step=(0, 0, 3))
    more, values = volumes("MR", grid, [{"EchoTime": "5"}, {"EchoTime": "10"}], series=7)
    one.suffix = "-0001-3"
    run = one_each(values, grid, ["-0002-7-echo1", "-0002-7-echo2"])
    return files + more, [Run([one] + run.volumes)]


@kind
def same_position_twice():
    """Nothing but the numbers tells the volumes apart."""
    grid = Grid(4, 5, 6)
    files, _ = volumes("CT", grid, [{}, {}], RescaleIntercept=0, RescaleSlope=1)
    return refused_ct("duplicatePosition", files)


@kind
def one_position_twice():
    grid = Grid(7, 4, 5, places=[0, 1, 2, 3, 3, 4, 5])
    return refused_ct("duplicatePosition", ct(grid, pattern(grid)))


@kind
def copy_of_a_file():
    files, truth = one_ct()
    return files + [files[3]], [Run([truth], ["copies"])]


@kind
def incomplete_set():
    grid = Grid(4, 5, 6, step=(0, 0, 8))
    files, _ = volumes("MR", grid, [{"TriggerTime": decimal(90 * number)} for number in range(3)])
    del files[5]
    return refused_ct("incompleteSet", files)


# Slices that belong elsewhere


def strangers(finding, grids, **more):
    """Stacks in one series; the first is the largest. `more` holds lists with attributes of each."""
    files, values = [], []
    for index, grid in enumerate(grids):
        values.append(pattern(grid, index + 1))
        number = len(files) + 1
        files += ct(grid, values[index], numbers=range(number, number + grid.shape[0]),
                    **{name: each[index] for name, each in more.items()})
    parts = [Truth(stored, grid, "-part%d" % (index + 1), kind="uint16", unit="HU")
             for index, (stored, grid) in enumerate(zip(values, grids))]
    return files, [Run(refused=finding), Run([Truth(values[0], grids[0])], options=["--largest"]),
                   Run(parts, options=["--split"])]


@kind
def second_echo_of_half_the_slices():
    grid = Grid(6, 5, 4)
    files, _ = volumes("MR", grid, [{"EchoTime": "5"}, {"EchoTime": "10"}])
    return refused_ct("incompleteSet", files[:9])


@kind
def localizer_in_the_series():
    sagittal = Grid(1, 4, 5, (-2.5, 0, 0), (0, 1, 0), (0, 0, -1))
    return strangers("differentOrientation", [Grid(6, 4, 5), sagittal])


@kind
def three_orientations():
    sagittal = Grid(4, 4, 5, (-3, 0, 0), (0, 1, 0), (0, 0, -1))
    coronal = Grid(3, 4, 5, (0, 4, 0), (1, 0, 0), (0, 0, -1))
    return strangers("differentOrientation", [Grid(6, 4, 5), sagittal, coronal])


@kind
def one_slice_of_another_size():
    return strangers("differentSize", [Grid(5, 4, 5), Grid(1, 6, 4, places=[5])])


@kind
def two_pixel_spacings():
    return strangers("differentPixelSpacing", [Grid(5, 4, 6), Grid(2, 4, 6, spacing=(1.6, 1.2), places=[5, 6])])


@kind
def two_frames_of_reference():
    return strangers("differentFrameOfReference", [Grid(4, 5, 6), Grid(3, 5, 6, places=[4, 5, 6])],
                     FrameOfReferenceUID=[FRAME_OF_REFERENCE, FRAME_OF_REFERENCE + ".2"])


@kind
def truncated_file():
    files, _ = one_ct()
    content = file_bytes(files[3])
    files[3] = content[:-20]
    return refused_ct("unreadableFile", files)


@kind
def pixels_that_end_early():
    """The file is whole, but its PixelData are five values short."""
    files, _ = one_ct()
    files[5].PixelData = files[5].PixelData[:-10]
    return refused_ct("shortPixelData", files)


@kind
def file_that_ends_in_its_attributes():
    files, _ = one_ct()
    files[3] = file_bytes(files[3])[:500]
    return refused_ct("unreadableFile", files)


@kind
def other_files_in_the_folder():
    """What is not DICOM is no slice."""
    files, truth = one_ct()
    return files + [b"Notes on the patient\n", b""], [Run([truth])]


@kind
def mr_mosaic():
    grid = Grid(3, 8, 10, step=(0, 0, 0.5))
    files = slices("MR", grid, pattern(grid), ImageType=["ORIGINAL", "PRIMARY", "M", "ND", "MOSAIC"])
    return refused_ct("mosaic", files)


def csa_header(fields):
    """The value of the private attribute with what a Siemens scanner knows of an image, by names, as texts."""
    header = b"SV10\4\3\2\1" + struct.pack("<2I", len(fields), 77)
    for name, values in fields.items():
        header += struct.pack("<64si4s3i", name.encode(), len(values), b"FD", 4, 6, 77)
        for index in range(6):  # most of them are not used
            text = values[index].encode() + b"\0" if index < len(values) else b""
            header += struct.pack("<4i", len(text), len(text), 77, len(text)) + text + b"\0" * (-len(text) % 4)
    return header


def siemens_mosaic(grid, values, number, time):
    """A dataset whose picture has the slices as tiles, row by row. Its corner lies where it would if all of it were the
    first slice, around the same centre."""
    count, rows, columns = grid.shape
    side = math.ceil(math.sqrt(count))
    picture = numpy.zeros((side * rows, side * columns), int)
    for index, stored in enumerate(values):
        row, column = index // side * rows, index % side * columns
        picture[row:row + rows, column:column + columns] = stored
    whole = grid.part([0])
    whole.origins = whole.origins - (side - 1) / 2 * (columns * grid.column_step + rows * grid.row_step)
    [dataset] = slices("MR", whole, [picture], [number], Manufacturer="SIEMENS", AcquisitionNumber=number,
                       ImageType=["ORIGINAL", "PRIMARY", "M", "ND", "MOSAIC"], AcquisitionDate="20200101",
                       AcquisitionTime=time, SpacingBetweenSlices=decimal(grid.thickness))
    dataset.private_block(0x0019, "SIEMENS MR HEADER", create=True).add_new(0x0A, "US", count)
    fields = {"NumberOfImagesInMosaic": [str(count)], "SliceNormalVector": ["%.8f" % part for part in grid.normal]}
    dataset.private_block(0x0029, "SIEMENS CSA HEADER", create=True).add_new(0x10, "OB", csa_header(fields))
    return dataset


@kind
def mr_mosaics_of_siemens():
    """Points in time, in oblique slices."""
    along_columns, along_rows = (0.8, 0.48, -0.36), (-0.6, 0.64, -0.48)
    grid = Grid(5, 4, 6, 2.2 * numpy.cross(along_columns, along_rows), along_columns, along_rows)
    values = [pattern(grid, number + 1) for number in range(3)]
    files = [siemens_mosaic(grid, values[index], index + 1, time)
             for index, time in enumerate(("095959", "100001", "100003"))]
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"], kind="uint16"),
                   one_4d(values, grid, seconds=2)]


# Many frames


def echo(time):
    return {"MREchoSequence": [{"EffectiveEchoTime": time}]}


def enhanced_mr(grid, frames, shared=None, **more):
    return many_frames("EnhancedMR", grid, frames, shared, ImageType=["ORIGINAL", "PRIMARY", "VOLUME", "NONE"],
                       ComplexImageComponent="MAGNITUDE", AcquisitionContrast="T1", VolumetricProperties="VOLUME",
                       **more)


def content(index, *values, stack="1", time=None):
    """The functional group that says where a frame belongs."""
    item = {"StackID": stack, "InStackPositionNumber": index + 1, "DimensionIndexValues": [1, index + 1, *values]}
    if time is not None:
        item["TemporalPositionIndex"] = time
    return {"FrameContentSequence": [item]}


@kind
def enhanced_mr_with_shuffled_frames():
    grid = Grid(6, 4, 5, step=(0, 0, 2.2))
    values = pattern(grid)
    frames = [(index, values[index], content(index)) for index in (3, 0, 5, 1, 4, 2)]
    return [enhanced_mr(grid, frames)], [Run([Truth(values, grid, kind="uint16")], ["instanceOrder"])]


@kind
def enhanced_mr_oblique():
    along_columns, along_rows = (0.8, 0.48, -0.36), (-0.6, 0.64, -0.48)
    grid = Grid(5, 4, 6, 2.2 * numpy.cross(along_columns, along_rows), along_columns, along_rows)
    values = pattern(grid)
    frames = [(index, values[index], content(index)) for index in range(5)]
    return [enhanced_mr(grid, frames)], [Run([Truth(values, grid, kind="uint16")])]


@kind
def enhanced_mr_of_one_frame():
    grid = Grid(1, 4, 6, step=(0, 0, 2.2))
    values = pattern(grid, 1)
    return [enhanced_mr(grid, [(0, values[0], content(0))])], [Run([Truth(values, grid, kind="uint16")])]


@kind
def enhanced_mr_in_two_files():
    """The second half of the slices is a file of its own."""
    grid = Grid(6, 4, 5, step=(0, 0, 2.2))
    values = pattern(grid)
    files = [enhanced_mr(grid, [(index, values[index], content(index)) for index in half])
             for half in (range(3), range(3, 6))]
    files[1].InstanceNumber = 2
    return files, [Run([Truth(values, grid, kind="uint16")])]


@kind
def enhanced_mr_file_for_each_echo():
    grid = Grid(4, 5, 6, step=(0, 0, 2.2))
    values = [pattern(grid, 1), pattern(grid, 2)]
    files = [enhanced_mr(grid, [(index, stored[index], content(index)) for index in range(4)], echo(time))
             for stored, time in zip(values, (9.2, 18.4))]
    files[1].InstanceNumber = 2
    return files, [one_each(values, grid, ["-echo1", "-echo2"])]


@kind
def enhanced_mr_three_orientations():
    grid = Grid(5, 4, 6, step=(0, 0, 2.2))
    values = pattern(grid)
    frames = [(index, values[index], content(index)) for index in range(5)]
    file = enhanced_mr(grid, frames)
    shared = file.SharedFunctionalGroupsSequence[0]
    for index, item in enumerate(file.PerFrameFunctionalGroupsSequence):
        vectors = [[1, 0, 0, 0, 1, 0], [0, 1, 0, 0, 0, -1], [1, 0, 0, 0, 0, -1]][index % 3]
        with_attributes(item, {"PlaneOrientationSequence": [{"ImageOrientationPatient": vectors}]})
    del shared.PlaneOrientationSequence
    return refused_ct("differentOrientation", [file])


@kind
def enhanced_mr_two_echoes():
    grid = Grid(4, 5, 6, step=(0, 0, 2.2))
    values = [pattern(grid, 1), pattern(grid, 2)]
    frames = [(index, values[number][index], {**content(index, number + 1), **echo((9.2, 18.4)[number])})
              for index in range(4) for number in range(2)]
    dimensions = (*STACK, ("EffectiveEchoTime", "MREchoSequence"))
    runs = [one_each(values, grid, ["-echo1", "-echo2"]), one_4d(values, grid)]
    return [enhanced_mr(grid, frames, dimensions=dimensions)], runs


@kind
def enhanced_mr_diffusion():
    grid = Grid(4, 5, 6, step=(0, 0, 2.2))
    values = [pattern(grid, number + 1) for number in range(4)]
    groups = [{"MRDiffusionSequence": [{"DiffusionBValue": 0.0, "DiffusionDirectionality": "NONE"}]}]
    for vector in DIRECTIONS:
        gradient = [{"DiffusionGradientOrientation": list(vector)}]
        groups.append({"MRDiffusionSequence": [{"DiffusionBValue": 1000.0, "DiffusionDirectionality": "DIRECTIONAL",
                                                "DiffusionGradientDirectionSequence": gradient}]})
    frames = [(index, values[number][index], {**content(index, number + 1), **groups[number]})
              for number in range(4) for index in range(4)]
    suffixes = ["-b0", "-b1000-dir1", "-b1000-dir2", "-b1000-dir3"]
    dimensions = (*STACK, ("DiffusionBValue", "MRDiffusionSequence"))
    return [enhanced_mr(grid, frames, dimensions=dimensions)], [one_each(values, grid, suffixes)]


@kind
def enhanced_mr_two_stacks():
    grid = Grid(4, 5, 6, step=(0, 0, 2.2))
    values = [pattern(grid, 1), pattern(grid, 2)]
    frames = [(index, values[number][index], content(index, stack=str(number + 1)))
              for number in range(2) for index in range(4)]
    return [enhanced_mr(grid, frames)], [one_each(values, grid, ["-stack1", "-stack2"])]


@kind
def enhanced_mr_cine():
    grid = Grid(3, 5, 6, step=(0, 0, 8))
    values = [pattern(grid, number + 1) for number in range(4)]
    frames = [(index, values[number][index],
               {**content(index, number + 1),
                "CardiacSynchronizationSequence": [{"NominalCardiacTriggerDelayTime": 90.0 * number}]})
              for index in range(3) for number in range(4)]
    dimensions = (*STACK, ("NominalCardiacTriggerDelayTime", "CardiacSynchronizationSequence"))
    runs = [one_each(values, grid, ["-time1", "-time2", "-time3", "-time4"]), one_4d(values, grid, seconds=0.09)]
    return [enhanced_mr(grid, frames, dimensions=dimensions)], runs


@kind
def enhanced_mr_magnitude_and_phase():
    grid = Grid(3, 5, 6, step=(0, 0, 8))
    values = [pattern(grid, 1), pattern(grid, 2)]
    frames = [(index, values[number][index],
               {**content(index, number + 1),
                "MRImageFrameTypeSequence": [{"FrameType": ["ORIGINAL", "PRIMARY", "VOLUME", "NONE"],
                                              "ComplexImageComponent": ("MAGNITUDE", "PHASE")[number]}]})
              for index in range(3) for number in range(2)]
    dimensions = (*STACK, ("ComplexImageComponent", "MRImageFrameTypeSequence"))
    file = enhanced_mr(grid, frames, dimensions=dimensions)
    file.ComplexImageComponent = "MIXED"
    return [file], [one_each(values, grid, ["-magnitude", "-phase"])]


@kind
def enhanced_pet_dynamic():
    grid = Grid(4, 5, 6, step=(0, 0, 3.27))
    slopes = [numpy.roll(SLOPES, number)[:4] for number in range(3)]
    stored = [pattern(grid, number + 1) for number in range(3)]
    frames = []
    for index in (2, 0, 3, 1):
        for number in range(3):
            rescale = {"RescaleSlope": decimal(slopes[number][index]), "RescaleIntercept": 0, "RescaleType": "BQML"}
            frames.append((index, stored[number][index], {**content(index, number + 1, time=number + 1),
                                                          "PixelValueTransformationSequence": [rescale]}))
    dimensions = (*STACK, ("TemporalPositionIndex", "FrameContentSequence"))
    file = many_frames("EnhancedPT", grid, frames, dimensions=dimensions, Units="BQML",
                       ImageType=["ORIGINAL", "PRIMARY", "VOLUME", "NONE"])
    values = [becquerels(stored[number], slopes[number]) for number in range(3)]
    run = one_each(values, grid, ["-time1", "-time2", "-time3"], unit="BQML")
    run.findings = {"instanceOrder"}
    return [file], [run, one_4d(values, grid)]


def dose(grid, offsets):
    stored = 100000 * (pattern(grid) + 1)
    file = blank("RTDOSE", DoseUnits="GY", DoseType="PHYSICAL", DoseSummationType="PLAN", DoseGridScaling="3.7e-7",
                 ImagePositionPatient=[decimal(value) for value in grid.origins[0]],
                 ImageOrientationPatient=[decimal(value) for value in grid.orientation],
                 PixelSpacing=[decimal(value) for value in grid.spacing], InstanceNumber=1,
                 NumberOfFrames=grid.shape[0], FrameIncrementPointer=0x3004000c, SliceThickness="",
                 GridFrameOffsetVector=[decimal(value) for value in offsets])
    put_pixels(file, stored, bits=32)
    return [file], [Run([Truth(stored * 3.7e-7, grid, unit="GY", any_order=True)])]


@kind
def enhanced_mr_with_pixel_measures_by_frame():
    grid = Grid(4, 5, 6, step=(0, 0, 2.2))
    values = pattern(grid)
    measures = [{"PixelSpacing": [decimal(value) for value in grid.spacing], "SliceThickness": "2.2"}]
    frames = [(index, values[index], {**content(index), "PixelMeasuresSequence": measures}) for index in range(4)]
    file = enhanced_mr(grid, frames)
    del file.SharedFunctionalGroupsSequence[0].PixelMeasuresSequence
    return [file], [Run([Truth(values, grid, kind="uint16")])]


@kind
def rt_dose():
    grid = Grid(5, 4, 6, step=(0, 0, 2.5))
    return dose(grid, 2.5 * numpy.arange(5))


@kind
def rt_dose_downwards():
    grid = Grid(5, 4, 6, step=(0, 0, -2.5))
    return dose(grid, -2.5 * numpy.arange(5))


@kind
def rt_dose_sagittal():
    grid = Grid(5, 4, 6, (-2.5, 0, 0), (0, 1, 0), (0, 0, -1))
    return dose(grid, 2.5 * numpy.arange(5))


@kind
def rt_dose_with_heights():
    """The offsets are z in the patient."""
    grid = Grid(5, 4, 6, step=(0, 0, 2.5))
    return dose(grid, grid.origins[:, 2])


def tomography(grid, frames, spacing, **more):
    detector = {"ImagePositionPatient": [decimal(value) for value in grid.origins[0]],
                "ImageOrientationPatient": [decimal(value) for value in grid.orientation]}
    file = blank("NM", ImageType=["ORIGINAL", "PRIMARY", "RECON TOMO", "EMISSION"], NumberOfFrames=len(frames),
                 InstanceNumber=1, PixelSpacing=[decimal(value) for value in grid.spacing],
                 SliceThickness=decimal(abs(spacing)), SpacingBetweenSlices=decimal(spacing),
                 DetectorInformationSequence=[detector], NumberOfDetectors=1)
    with_attributes(file, more)
    put_pixels(file, numpy.stack(frames))
    return file


@kind
def nm_tomography():
    grid = Grid(5, 4, 6, step=(0, 0, 3.5))
    values = pattern(grid)
    file = tomography(grid, values, 3.5, FrameIncrementPointer=0x00540080, SliceVector=list(range(1, 6)),
                      NumberOfSlices=5)
    return [file], [Run([Truth(values, grid, any_order=True)])]


@kind
def nm_tomography_with_negative_spacing():
    grid = Grid(5, 4, 6, step=(0, 0, -3.5))
    values = pattern(grid)
    file = tomography(grid, values, -3.5, FrameIncrementPointer=0x00540080, SliceVector=list(range(1, 6)),
                      NumberOfSlices=5)
    return [file], [Run([Truth(values, grid, any_order=True)])]


@kind
def nm_two_energy_windows():
    grid = Grid(4, 5, 6, step=(0, 0, 3.5))
    values = [pattern(grid, 1), pattern(grid, 2)]
    file = tomography(grid, numpy.concatenate(values), 3.5, FrameIncrementPointer=[0x00540010, 0x00540080],
                      EnergyWindowVector=[1] * 4 + [2] * 4, NumberOfEnergyWindows=2, SliceVector=[1, 2, 3, 4] * 2,
                      NumberOfSlices=4)
    truths = [Truth(stored, grid, suffix, any_order=True) for stored, suffix in zip(values, ["-window1", "-window2"])]
    return [file], [Run(truths)]


# Colour


@kind
def nm_gated_tomography():
    grid = Grid(4, 5, 6, step=(0, 0, 3.5))
    values = [pattern(grid, number + 1) for number in range(3)]
    gates = {"NumberOfTimeSlots": 3, "TimeSlotInformationSequence": [{"TimeSlotTime": 100}]}
    file = tomography(grid, numpy.concatenate(values), 3.5,
                      ImageType=["ORIGINAL", "PRIMARY", "RECON GATED TOMO", "EMISSION"],
                      FrameIncrementPointer=[0x00540060, 0x00540070, 0x00540080], RRIntervalVector=[1] * 12,
                      TimeSlotVector=[1] * 4 + [2] * 4 + [3] * 4, SliceVector=[1, 2, 3, 4] * 3, NumberOfSlices=4,
                      NumberOfRRIntervals=1, GatedInformationSequence=[{"DataInformationSequence": [gates]}])
    truths = [Truth(stored, grid, "-time%d" % (index + 1), any_order=True) for index, stored in enumerate(values)]
    return [file], [Run(truths)]


@kind
def rgb_without_positions():
    grid = Grid(4, 5, 6)
    values = colours(grid)
    files = slices("SC", grid, values, bits=8, ImagePositionPatient=None, ImageOrientationPatient=None)
    return files, [Run([Truth(values, grid, kind="uint8", in_space=False)], ["noPosition", "assumedSpacing"])]


@kind
def rgb_in_space():
    grid = Grid(4, 5, 6, step=(0, 0, -2.5))
    values = colours(grid)
    return slices("SC", grid, values, bits=8), [Run([Truth(values, grid, kind="uint8")])]


@kind
def rgb_by_plane():
    grid = Grid(4, 5, 6)
    values = colours(grid)
    files = slices("SC", grid, values, bits=8, PlanarConfiguration=1)
    for dataset, colour in zip(files, values):
        dataset.PixelData = colour.transpose(2, 0, 1).astype("u1").tobytes()
    return files, [Run([Truth(values, grid, kind="uint8")])]


def palette_series(bits, unit):
    """The files, the colours and the grid."""
    grid = Grid(2, 5, 6)
    stored = pattern(grid)
    tables = [unit * numpy.arange(256), unit * (255 - numpy.arange(256)), unit * (numpy.arange(256) // 2)]
    palette = {}
    for name, table in zip(("Red", "Green", "Blue"), tables):
        palette[name + "PaletteColorLookupTableDescriptor"] = [256, 0, bits]
        palette[name + "PaletteColorLookupTableData"] = table.astype("<u%d" % (bits // 8)).tobytes()
    files = slices("SC", grid, stored, bits=8, PhotometricInterpretation="PALETTE COLOR", **palette)
    return files, numpy.stack([table[stored] for table in tables], axis=3), grid


@kind
def rgb_points_in_time():
    grid = Grid(3, 5, 6)
    files, values = [], [colours(grid, number) for number in range(3)]
    for number, stored in enumerate(values):
        files += slices("SC", grid, stored, range(3 * number + 1, 3 * number + 4), bits=8,
                        TemporalPositionIdentifier=number + 1)
    return files, [one_each(values, grid, ["-time1", "-time2", "-time3"], kind="uint8"), one_4d(values, grid)]


@kind
def palette_of_8_bits():
    files, values, grid = palette_series(8, 1)
    return files, [Run([Truth(values, grid, kind="uint8")])]


@kind
def palette_of_8_bits_in_16():
    files, values, grid = palette_series(16, 257)
    return files, [Run([Truth(values // 257, grid, kind="uint8")])]


@kind
def palette_of_16_bits():
    """NIfTI has no colour of 16 bits."""
    files, values, grid = palette_series(16, 199)
    return files, [Run([Truth(values, grid, kind="uint16")], extensions=[".nrrd"])]
