"""The files that the transcripts work on: pydicom's samples under readable names, and others made here, which hold
invented patients, known values and known defects. Usage: make_files.py FOLDER"""

import os
import shutil
import struct
import sys
import zlib

import numpy
import pydicom
from pydicom.encaps import encapsulate
from pydicom.uid import MPEG4HP41

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "peers"))
from kind_files import Grid, blank, many_frames, put_pixels, slices

SAMPLES = os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files")
WATER, AIR, LUNG, BONE = 0, -1000, -850, 700  # HU


def save(dataset, *path):
    os.makedirs(os.path.join(".", *path[:-1]), exist_ok=True)
    dataset.save_as(os.path.join(*path), write_like_original=False)


def disc(row, column, radius, size=64):
    """Which pixels lie in a disc."""
    rows, columns = numpy.indices((size, size))
    return (rows - row) ** 2 + (columns - column) ** 2 <= radius**2


def thorax(index):
    """HU of a slice: a body of water with two lungs, and a spine that is 10 HU denser in each slice."""
    values = numpy.full((64, 64), AIR)
    values[disc(32, 32, 28)] = WATER
    values[disc(30, 20, 8) | disc(30, 44, 8)] = LUNG
    values[disc(50, 32, 4)] = BONE + 10 * index
    return values


def ct_series(**attributes):
    grid = Grid(5, 64, 64, step=(0, 0, 5), spacing=(2, 2), origin=(-63, -63, 100))
    stored = [thorax(index) + 1024 for index in range(5)]
    words = dict(RescaleSlope=1, RescaleIntercept=-1024, RescaleType="HU", WindowWidth=400, WindowCenter=40,
                 SeriesDescription="Thorax", Manufacturer="Example", SeriesDate="20200101")
    return slices("CT", grid, stored, **{**words, **attributes})


def make_ct():
    for number, dataset in enumerate(ct_series(), 1):
        save(dataset, "SERIES", "slice%d.dcm" % number)
        if number != 3:
            save(dataset, "GAP", "slice%d.dcm" % number)
        dataset.StudyDate, dataset.StudyDescription = "20191231", "before the correction"
        save(dataset, "OLD", "slice%d.dcm" % number)


def make_cine():
    """Twelve frames of colour: a red dot walks over a grey ramp."""
    frames = numpy.zeros((12, 48, 64, 3), int)
    frames[...] = 2 * numpy.arange(64)[None, None, :, None]
    for index in range(12):
        frames[index, 20:24, 4 * index:4 * index + 4] = (200, 0, 0)
    file = blank("US", NumberOfFrames=12, FrameTime="40", FrameIncrementPointer=0x00181063, InstanceNumber=1,
                 series=7)
    put_pixels(file, frames, bits=8)
    save(file, "cine.dcm")


def make_pet():
    grid = Grid(1, 8, 8, step=(0, 0, 3.27), spacing=(4, 4))
    stored = [100 * numpy.arange(64).reshape(8, 8)]
    file, = slices("PT", grid, stored, Units="BQML", RescaleSlope="0.5", RescaleIntercept="0", series=8)
    save(file, "pet.dcm")


def make_mr():
    grid = Grid(4, 16, 16, step=(0, 0, 3), spacing=(1.5, 1.5))
    flat = numpy.ones((16, 16), int)
    for number, time in enumerate(("9.2", "18.4"), 1):
        files = slices("MR", grid, [(1000 * number + index) * flat for index in range(4)],
                       range(4 * number - 3, 4 * number + 1), EchoTime=time, EchoNumbers=number,
                       SeriesDescription="Two echoes", series=6)
        for index, file in enumerate(files, 1):
            save(file, "ECHOES", "echo%d-slice%d.dcm" % (number, index))
    for number, value in enumerate((0, 500, 1000)):
        files = slices("MR", grid, [(3000 - value + index) * flat for index in range(4)],
                       range(4 * number + 1, 4 * number + 5), DiffusionBValue=float(value),
                       DiffusionDirectionality="NONE" if value == 0 else "ISOTROPIC", series=4,
                       SeriesDescription="Diffusion")
        for index, file in enumerate(files, 1):
            save(file, "DIFFUSION", "b%d-slice%d.dcm" % (value, index))
    mosaic, = slices("MR", Grid(1, 16, 16), [flat], series=5, SeriesDescription="fMRI",
                     ImageType=["ORIGINAL", "PRIMARY", "M", "MOSAIC"])
    save(mosaic, "MOSAIC", "volume1.dcm")


def make_enhanced():
    grid = Grid(6, 16, 16, step=(0, 0, 2.5), spacing=(1, 1))
    flat = numpy.ones((16, 16), int)
    frames = [(index, 100 * (index + 1) * flat,
               {"FrameContentSequence": [{"StackID": "1", "InStackPositionNumber": index + 1,
                                          "DimensionIndexValues": [1, index + 1]}]}) for index in range(6)]
    echo = {"MREchoSequence": [{"EffectiveEchoTime": 12.5}]}
    file = many_frames("EnhancedMR", grid, frames, echo, ImageType=["ORIGINAL", "PRIMARY", "VOLUME", "NONE"], series=9)
    save(file, "enhanced.dcm")


def make_overlay():
    """A slice with the outline of a region in an overlay plane."""
    dataset = ct_series(series=11)[2]
    ring = disc(30, 20, 10) & ~disc(30, 20, 9)
    dataset.add_new(0x60000010, "US", 64)
    dataset.add_new(0x60000011, "US", 64)
    dataset.add_new(0x60000022, "LO", "left lung")
    dataset.add_new(0x60000040, "CS", "R")
    dataset.add_new(0x60000050, "SS", [1, 1])
    dataset.add_new(0x60000100, "US", 1)
    dataset.add_new(0x60000102, "US", 0)
    dataset.add_new(0x60003000, "OW", numpy.packbits(ring, bitorder="little").tobytes())
    save(dataset, "overlay.dcm")


def make_texts():
    dataset = ct_series(series=12)[0]
    dataset.SpecificCharacterSet = "ISO_IR 100"
    dataset.PatientName = "Müller^Jörg"
    save(dataset, "umlauts.dcm")
    dataset = ct_series(series=13)[0]
    block = dataset.private_block(0x0019, "EXAMPLE SCANNER 1", create=True)
    block.add_new(0x0C, "IS", "1000")
    block.add_new(0x0E, "LO", "warm-up done")
    save(dataset, "private.dcm")


def png(values):
    """A grey PNG of 8 bits."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    rows, columns = values.shape
    raw = b"".join(b"\0" + row.astype("u1").tobytes() for row in values)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", columns, rows, 8, 0, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


def write(path, content):
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def make_pictures():
    rows, columns = numpy.indices((64, 64))
    write("picture.png", png(2 * rows + columns))
    write("mask.png", png(255 * disc(32, 32, 10)))


def make_defects():
    with open("ct.dcm", "rb") as file:
        whole = file.read()
    write("broken.dcm", whole[:-16384])
    write("empty.dcm", b"")
    # The start of a JPEG file, named like a DICOM file.
    write("photo.dcm", bytes.fromhex("ffd8ffe000104a46494600010100000100010000") + b"\xff\xd9" * 200)


def compressed_to_nothing(dataset):
    """A file that says it is a video; nothing in the transcripts decodes it."""
    dataset.PixelData = encapsulate([b"\0\0\1\xb3" + b"\0" * 60])
    dataset["PixelData"].is_undefined_length = True
    dataset.file_meta.TransferSyntaxUID = MPEG4HP41
    return dataset


def make_archive():
    """What an archive receives in a day: three patients, and some things that are wrong."""
    grid = Grid(2, 8, 8)
    flat = numpy.ones((8, 8), int)
    people = (("Doe^Jane", "P1", "CT", "20200101"), ("Roe^Richard", "P2", "MR", "20200215"),
              ("Poe^Pat", "P3", "CT", "20200302"))
    for number, (name, patient, modality, date) in enumerate(people, 1):
        files = slices(modality, grid, [flat, 2 * flat], PatientName=name, PatientID=patient, StudyDate=date,
                       StudyInstanceUID="1.2.826.0.1.99.20.%d" % number,
                       SeriesInstanceUID="1.2.826.0.1.99.30.%d" % number)
        for index, file in enumerate(files, 1):
            save(file, "STUDIES", patient.lower(), "im%d.dcm" % index)
            save(file, "ARCHIVE", patient.lower(), "im%d.dcm" % index)
    save(file, "ARCHIVE", "p3", "im2-again.dcm")
    del file.StudyInstanceUID
    file.SOPInstanceUID = file.file_meta.MediaStorageSOPInstanceUID = "1.2.826.0.1.99.40.1"
    save(file, "ARCHIVE", "p3", "im3.dcm")
    files = slices("MR", grid, [flat, flat], PatientName="Roe^Richard", PatientID="P2", StudyDate="20200215",
                   StudyInstanceUID="1.2.826.0.1.99.20.2", SeriesInstanceUID="1.2.826.0.1.99.30.4", series=4)
    save(compressed_to_nothing(files[0]), "ARCHIVE", "p2", "im3.dcm")
    save(files[0], "video.dcm")
    shutil.copy("broken.dcm", "ARCHIVE/p1/cut.dcm")
    write("ARCHIVE/README.txt", b"What came in today.\n")


def make_plans():
    """A second plan in which the first beam has twice the dose."""
    plan = pydicom.dcmread("rtplan.dcm")
    beam = plan.FractionGroupSequence[0].ReferencedBeamSequence[0]
    beam.BeamMeterset = str(2 * float(beam.BeamMeterset))
    plan.save_as("rtplan-corrected.dcm")  # as it is: its meta information names another instance


def make_dose():
    """A dose from 0 to 47 Gy, stored as hundredths."""
    file = blank("RTDOSE", DoseUnits="GY", DoseType="PHYSICAL", DoseSummationType="PLAN", DoseGridScaling="0.01",
                 ImagePositionPatient=[0, 0, 0], ImageOrientationPatient=[1, 0, 0, 0, 1, 0], PixelSpacing=[5, 5],
                 NumberOfFrames=3, FrameIncrementPointer=0x3004000c, GridFrameOffsetVector=[0, 5, 10],
                 InstanceNumber=1, series=10)
    put_pixels(file, 100 * numpy.arange(48).reshape(3, 4, 4), bits=32)
    save(file, "dose-gy.dcm")


def copy_samples():
    names = {"CT_small.dcm": "ct.dcm", "MR_small.dcm": "mr.dcm", "rtplan.dcm": "rtplan.dcm", "rtdose.dcm": "rtdose.dcm", "rtstruct.dcm": "rtstruct.dcm",
             "JPEG-lossy.dcm": "jpeg.dcm", "reportsi.dcm": "report.dcm"}
    for sample, name in names.items():
        shutil.copyfile(os.path.join(SAMPLES, sample), name)
    for sample in ("DICOMDIR", "98892001", "98892003", "77654033"):
        source = os.path.join(SAMPLES, "dicomdirtests", sample)
        if os.path.isdir(source):
            shutil.copytree(source, os.path.join("MEDIUM", sample))
        else:
            shutil.copyfile(source, os.path.join("MEDIUM", sample))


def main():
    os.makedirs(sys.argv[1], exist_ok=True)
    os.chdir(sys.argv[1])
    os.makedirs("MEDIUM")
    copy_samples()
    for make in (make_ct, make_cine, make_pet, make_mr, make_enhanced, make_overlay, make_texts, make_pictures,
                 make_defects, make_archive, make_plans, make_dose):
        make()


if __name__ == "__main__":
    main()
