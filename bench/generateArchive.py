#!/usr/bin/env python3
"""Writes an archive like one of a department: CT and MR slices in series of 100 files, in five transfer syntaxes.

Usage: generateArchive.py files FOLDER NUMBER          files of their own, 20 to 525 KB before compression
       generateArchive.py links FOLDER NUMBER ARCHIVE  hard links of the files of ARCHIVE, again and again
       generateArchive.py volumes FOLDER NUMBER SLICES SIDE  Zarr volumes, which need the package on PYTHONPATH

Every file of its own has a SOP instance of its own. Its identifiers are computed from its number, see `instance`.
"""

import hashlib
import io
import os
import subprocess
import sys
import tempfile

SERIES = 100  # files of a series, which is a folder
SIDES = (96, 128, 128, 128, 160, 192, 256, 128, 192, 512)  # of the slices of ten series
PROGRAMS = (None, None, ["dcmcrle"], ["dcmcjpeg"], ["dcmcjpls"])  # explicit VR, implicit VR, RLE, JPEG, JPEG-LS
CT, MR = "1.2.840.10008.5.1.4.1.1.2", "1.2.840.10008.5.1.4.1.1.4"
ROOT = "1.2.826.0.1.3680043.8.498"
FIRST = 1_000_000_000  # the numbers in identifiers, all of one length


def instance(number):
    """The SOP instance of a file."""
    return "%s.4.%d" % (ROOT, FIRST + number)


def checksum(instances):
    """A digest of SOP instances that does not depend on their order; one that is there twice counts twice."""
    found = hashlib.sha256()
    for each in sorted(instances):
        found.update(each.encode() + b"\n")
    return found.hexdigest()


def expected(files, number):
    """The digest of an archive of so many files of their own or links to them."""
    return checksum(instance(index % files) for index in range(number))


def side_of(number):
    """Rows and columns of a file."""
    return SIDES[number // SERIES % len(SIDES)]


def pixels(side):
    """A bright disc before a dark background, with noise."""
    import numpy
    random = numpy.random.default_rng(side)
    row, column = numpy.mgrid[0:side, 0:side] - side // 2
    inside = row * row + 2 * column * column < (side // 3) ** 2
    return (numpy.where(inside, 1000 + row + column, 24) + random.integers(0, 16, (side, side))).astype("<u2")


# What scanners write beside what is measured: about as much as a slice of a scanner has.
USUAL = """AccessionNumber AcquisitionMatrix AcquisitionNumber AcquisitionTime AdditionalPatientHistory AngioFlag
    BodyPartExamined CollimatorType ContentDate ContentTime ContrastBolusAgent ContrastBolusRoute ConvolutionKernel
    DataCollectionDiameter DateOfLastCalibration DeviceSerialNumber DistanceSourceToDetector DistanceSourceToPatient
    EchoNumbers EchoTime EchoTrainLength EstimatedDoseSaving EthnicGroup Exposure ExposureModulationType ExposureTime
    FilterType FlipAngle FocalSpots GantryDetectorTilt GeneratorPower ImageComments ImageType ImagedNucleus
    ImagingFrequency InstanceCreationDate InstanceCreationTime InstitutionAddress InstitutionName
    InstitutionalDepartmentName KVP LossyImageCompression MRAcquisitionType MagneticFieldStrength NumberOfAverages
    NumberOfPhaseEncodingSteps Occupation OperatorsName OtherPatientIDs PatientAge PatientBirthDate PatientPosition
    PatientSex PatientSize PatientWeight PercentPhaseFieldOfView PercentSampling PerformedProcedureStepDescription
    PerformedProcedureStepID PerformedProcedureStepStartDate PerformedProcedureStepStartTime
    PerformingPhysicianName PixelBandwidth PositionReferenceIndicator ProtocolName ReconstructionDiameter
    ReferringPhysicianName RepetitionTime RescaleType RevolutionTime RotationDirection SAR ScanOptions
    ScanningSequence SequenceName SequenceVariant SeriesTime SingleCollimationWidth SliceLocation SoftwareVersions
    SpacingBetweenSlices SpatialResolution SpecificCharacterSet SpiralPitchFactor StationName StudyID StudyTime
    TableFeedPerRotation TableHeight TableSpeed TimeOfLastCalibration TotalCollimationWidth TransmitCoilName
    TriggerTime VariableFlipAngleFlag WindowCenterWidthExplanation XRayTubeCurrent dBdt""".split()
TEXTS = {"DA": "20261122", "TM": "101530.250", "DS": "12.5", "IS": "3", "CS": "NORMAL", "PN": "Doe^Jane", "AS": "052Y",
         "LO": "As a scanner writes it", "SH": "Scanner 1", "LT": "Nothing", "ST": "1 Street", "UI": ROOT + ".9"}
PRIVATE = 60  # elements of a vendor


def add_usual(file):
    """Two sequences and a private block are there, too."""
    from pydicom.datadict import dictionary_VR
    from pydicom.dataset import Dataset
    for keyword in USUAL:
        vr = dictionary_VR(keyword)
        setattr(file, keyword, "ISO_IR 100" if keyword == "SpecificCharacterSet" else TEXTS.get(vr, 2))
    for keyword in ("RequestAttributesSequence", "ProcedureCodeSequence"):
        items = []
        for number in range(2):
            item = Dataset()
            item.CodeValue, item.CodingSchemeDesignator, item.CodeMeaning = "C%d" % number, "99X", "A procedure"
            items.append(item)
        setattr(file, keyword, items)
    block = file.private_block(0x0019, "RADVEX GENERATOR", create=True)
    for number in range(PRIVATE):
        block.add_new(number, "DS" if number % 2 else "LO", "1.5" if number % 2 else "a value of the vendor")


def template(side, is_implicit):
    """A slice whose identifiers are those of file 0."""
    from pydicom.dataset import FileDataset, FileMetaDataset
    from pydicom.uid import ExplicitVRLittleEndian, ImplicitVRLittleEndian
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = CT if side >= 192 else MR
    meta.MediaStorageSOPInstanceUID = instance(0)
    meta.TransferSyntaxUID = ImplicitVRLittleEndian if is_implicit else ExplicitVRLittleEndian
    file = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
    file.is_little_endian, file.is_implicit_VR = True, is_implicit
    values = {
        "SOPClassUID": meta.MediaStorageSOPClassUID, "SOPInstanceUID": instance(0),
        "StudyInstanceUID": "%s.2.%d" % (ROOT, FIRST), "SeriesInstanceUID": "%s.3.%d" % (ROOT, FIRST),
        "FrameOfReferenceUID": ROOT + ".5", "PatientID": "P%d" % FIRST, "PatientName": "Doe^Jane",
        "Modality": "CT" if side >= 192 else "MR", "StudyDate": "20261122", "SeriesDate": "20261122",
        "AcquisitionDate": "20261122", "SeriesNumber": "7", "InstanceNumber": "00001", "SeriesDescription": "axial",
        "StudyDescription": "thorax", "Manufacturer": "Radvex", "ManufacturerModelName": "generator",
        "ImagePositionPatient": ["-125.5", "-125.5", "12.75"], "ImageOrientationPatient": [1, 0, 0, 0, 1, 0],
        "PixelSpacing": ["0.75", "0.75"], "SliceThickness": "1.25", "RescaleSlope": "1", "RescaleIntercept": "-1024",
        "WindowCenter": "40", "WindowWidth": "400", "Rows": side, "Columns": side, "SamplesPerPixel": 1,
        "PhotometricInterpretation": "MONOCHROME2", "BitsAllocated": 16, "BitsStored": 16, "HighBit": 15,
        "PixelRepresentation": 0,
    }
    for keyword, value in values.items():
        setattr(file, keyword, value)
    add_usual(file)
    file.PixelData = pixels(side).tobytes()
    file["PixelData"].VR = "OW"
    target = io.BytesIO()
    file.save_as(target, write_like_original=False)
    return target.getvalue()


def compressed(content, command):
    """The file as one of DCMTK's programs compresses it without loss."""
    if command is None:
        return content
    with tempfile.TemporaryDirectory(prefix="radvex-bench-") as folder:
        plain, made = os.path.join(folder, "plain"), os.path.join(folder, "made")
        with open(plain, "wb") as file:
            file.write(content)
        subprocess.run([*command, plain, made], check=True)
        with open(made, "rb") as file:
            return file.read()


class Template:
    """A file, and where the identifiers stand in it."""

    def __init__(self, side, kind):
        self._content = compressed(template(side, kind == 1), PROGRAMS[kind])
        self._places = {}
        for name, marks in (("instance", "%s.4.%d"), ("series", "%s.3.%d"), ("study", "%s.2.%d")):
            self._places[name] = self._find((marks % (ROOT, FIRST)).encode(), 10)
        self._places["patient"] = self._find(b"P%d" % FIRST, 10)
        self._places["number"] = self._find(b"00001", 5)

    def _find(self, mark, digits):
        """Where the digits at the end of a mark are, wherever it is."""
        places, start = [], self._content.find(mark)
        while start >= 0:
            places.append(start + len(mark) - digits)
            start = self._content.find(mark, start + 1)
        return places

    def file(self, number):
        """The file of a number."""
        content = bytearray(self._content)
        series = number // SERIES
        digits = {"instance": FIRST + number, "series": FIRST + series, "study": FIRST + series // 4,
                  "patient": FIRST + series // 8, "number": "%05d" % (number % SERIES + 1)}
        for name, value in digits.items():
            text = str(value).encode()
            for place in self._places[name]:
                content[place : place + len(text)] = text
        return content


def path_of(folder, number):
    """Where a file is: patient, series, file."""
    series = number // SERIES
    return os.path.join(folder, "P%05d" % (series // 8), "S%06d" % series, "IM%03d.dcm" % (number % SERIES))


def write_files(folder, number):
    templates = {}
    for index in range(number):
        kind = (side_of(index), index // SERIES // len(SIDES) % len(PROGRAMS))
        if kind not in templates:
            templates[kind] = Template(*kind)
        path = path_of(folder, index)
        if index % SERIES == 0:
            os.makedirs(os.path.dirname(path))
        with open(path, "wb") as file:
            file.write(templates[kind].file(index))


def write_links(folder, number, archive):
    sources = sorted(os.path.join(place, name) for place, _, names in os.walk(archive) for name in names)
    for index in range(number):
        path = path_of(folder, index)
        if index % SERIES == 0:
            os.makedirs(os.path.dirname(path))
        os.link(sources[index % len(sources)], path)


def write_volumes(folder, number, slices, side):
    """Voxels are those of `pixels`, and one more from slice to slice and from volume to volume."""
    import numpy
    from types import SimpleNamespace
    from radvex.archive._volumes import _save_zarr
    os.makedirs(folder)
    plane = pixels(int(side)).astype(numpy.int16)
    steps = numpy.arange(int(slices), dtype=numpy.int16)[:, None, None]
    for index in range(number):
        volume = SimpleNamespace(array=plane + steps + numpy.int16(index), axes=["z", "y", "x"], unit="HU",
                                 series=str(index), study="", patient="", label="", spacing=(1, 1, 1),
                                 has_position=False, findings=())
        _save_zarr(os.path.join(folder, "%05d.zarr" % index), volume)


def mean_of_volumes(number, slices, side):
    """The mean of all their voxels."""
    return float(pixels(side).mean()) + (slices - 1) / 2 + (number - 1) / 2


def main(kind, folder, number, *more):
    {"files": write_files, "links": write_links, "volumes": write_volumes}[kind](folder, int(number), *more)


if __name__ == "__main__":
    main(*sys.argv[1:])
