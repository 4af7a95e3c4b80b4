"""Compares what is read of a DICOMDIR with an independent reading by pydicom and with reads of the single files.

Media: those of pydicom's data, and copies of their variants under the name that makes them a directory. Of each:
structure, keys and file lists as pydicom reads the records; pictures of every file as ReadImage gives them; metadata of
every file as ReadAllMetadata gives it; the volume of every series as the stack of its single pictures or, where DCMTK
counts over 16 bits, of dcmj2pnm's at 16; the common window from pydicom's own pixel values. No file changes.

What differs is named, with its reason, in directory_differences.json; a difference that is not listed fails, and so does
a listed one that is gone.
Usage: compare_directories.py RADVEX
"""

import hashlib
import json
import os
import re
import shutil
import sys
import tempfile
import warnings

import numpy
import pydicom

from compare_pictures import DEPTHS, pixels, theirs
from samples import Session

warnings.simplefilter("ignore")

SCALINGS = {  # scaling tensor, and the same wish to DCMTK's tool
    "minmax": ([0.0, 0.0], ["+Wm"]),
    "none": ([-3.0, 0.0], ["-W"]),
    "explicit": ([400.0, 40.0], ["+Ww", "40", "400"]),
}
KEYS = (("PatientID", "PatientName"), ("StudyInstanceUID", "StudyID"), ("SeriesInstanceUID", "SeriesNumber"))


def tensor(values):
    return {"tensor": {"type": "real", "dims": [2], "data": values}}


def text(record, keyword):
    value = record.get(keyword)
    if value is None:
        return ""
    parts = value if isinstance(value, pydicom.multival.MultiValue) else [value]
    return "\\".join(str(part) for part in parts)


class Medium:
    """The records of a DICOMDIR, linked by their offsets, as pydicom reads them."""

    def __init__(self, path):
        self.path = path
        self.dataset = pydicom.dcmread(path, force=True)
        self.records = {record.seq_item_tell: record for record in self.dataset.get("DirectoryRecordSequence") or []}

    def chain(self, offset):
        seen = set()
        while offset in self.records and offset not in seen:
            seen.add(offset)
            yield self.records[offset]
            offset = self.records[offset].get("OffsetOfTheNextDirectoryRecord", 0)

    def below(self, record):
        return self.chain(record.get("OffsetOfReferencedLowerLevelDirectoryEntity", 0))

    @staticmethod
    def key(record, level):
        return text(record, KEYS[level][0]) or text(record, KEYS[level][1])

    def structure(self):
        """[[patient, [[study, [[series, [file]]]]]]] in directory order; no studies and series without a key."""
        patients = []
        for patient in self.chain(self.dataset.get("OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity", 0)):
            studies = []
            for study in self.below(patient):
                series = [[self.key(one, 2), [self.name(file) for file in self.below(one)]]
                          for one in self.below(study)]
                studies.append([self.key(study, 1), [one for one in series if one[0]]])
            patients.append([self.key(patient, 0), [study for study in studies if study[0]]])
        return patients

    @staticmethod
    def name(record):
        return text(record, "ReferencedFileID").replace("\\", "/")

    def file_path(self, name):
        return self.path[:-len("DICOMDIR")] + name

    def all_series(self):
        for patient, studies in self.structure():
            for study, series in studies:
                for name, files in series:
                    yield patient, study, name, [self.file_path(file) for file in files]


def plain(value, levels):
    """A result of stores inside stores as lists of names and values."""
    nodes = value["store"]
    return [[name, plain(inner, levels - 1)] for name, inner in nodes] if levels else [inner for _, inner in nodes]


class File:
    """What pydicom says about a referenced file; nothing when it is no file."""

    def __init__(self, path):
        dataset = pydicom.dcmread(path)
        self.number = int(dataset.get("InstanceNumber") or 0)
        self.size = (dataset.get("Rows"), dataset.get("Columns"))
        self.syntax = str(dataset.file_meta.TransferSyntaxUID)
        self.dataset = dataset

    def span(self):
        """Smallest and greatest value in the file's unit."""
        slope = float(self.dataset.get("RescaleSlope") or 1)
        intercept = float(self.dataset.get("RescaleIntercept") or 0)
        values = self.dataset.pixel_array.astype("float64") * slope + intercept
        values = numpy.trunc(values)  # DCMTK's types are integers
        return values.min(), values.max()


class Comparison:
    def __init__(self, command):
        self.session = Session(command)
        self.differences = []
        self.compared = {"pictures": 0, "volumes": 0, "files": 0}
        self.folder = tempfile.mkdtemp()

    def report(self, where, what):
        self.differences.append("%s: %s" % (where, what))

    def medium(self, name, path):
        medium = Medium(path)
        self.structure(name, medium)
        self.info(name, medium)
        self.metadata(name, medium)
        for patient, study, series, files in medium.all_series():
            where = "%s/%s" % (name, series)
            patterns = [re.escape(text) for text in (patient, study, series)]
            found = [(file, File(file)) for file in files if os.path.isfile(file)]
            self.pictures(where, medium, patterns, found)
            self.volumes(where, medium, patterns, found)
        self.session.call("ClearCache")

    def structure(self, name, medium):
        for absolute in (False, True):
            answer = self.session.call("ReadDICOMDIRStructure", medium.path, ".*", ".*", ".*", absolute)
            expected = medium.structure()
            if absolute:
                expected = [[p, [[s, [[r, [medium.file_path(f) for f in files]] for r, files in series]]
                                 for s, series in studies]] for p, studies in expected]
            if answer["code"] != 0:
                self.report(name, "structure refused: " + answer["name"])
            elif plain(answer["result"], 3) != expected:
                self.report(name, "other structure")

    def info(self, name, medium):
        answer = self.session.call("ReadPatientInfo", medium.path, ["Name", "ID"], ".*")
        expected = []
        for patient in medium.chain(medium.dataset.get("OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity", 0)):
            fields = [[word, text(patient, word)] for word in ("PatientName", "PatientID") if text(patient, word)]
            expected.append([medium.key(patient, 0), {"store": fields}])
        if answer["code"] != 0 or answer["result"]["store"] != expected:
            self.report(name, "other info of its patients")

    def metadata(self, name, medium):
        answer = self.session.call("ReadAllMetadataRecursive", medium.path, [], ".*", False)
        numbers = self.session.call("ReadMetadataIntTagsRecursive", medium.path, [["0010", "0010"], ["0028", "0010"]])
        names = self.session.call("ReadMetadataRecursive", medium.path, ["PatientName", "Rows"], ".*", True)
        files = [file for _, _, _, series in medium.all_series() for file in series]
        if answer["code"] != 0:
            self.report(name, "metadata refused: " + answer["name"])
            return
        nodes = answer["result"]["store"]
        if [node[0] for node in nodes] != files:
            self.report(name, "metadata of other files")
        for file, value in nodes:
            single = self.session.call("ReadAllMetadata", file, [], False)
            self.session.call("CloseReader", file)
            self.compared["files"] += 1
            if single["code"] != 0 or single["result"] != value:
                self.report("%s %s" % (name, file), "other metadata than that of the file")
        expected = [[file, {"store": [[word, value] for word, value in (
            ("PatientName", text(pydicom.dcmread(file), "PatientName")), ("Rows", pydicom.dcmread(file).get("Rows")))
            if value]}] for file in files]
        if names["code"] != 0 or names["result"]["store"] != expected:
            self.report(name, "other metadata by name than pydicom's")
        if numbers["code"] != 0 or numbers["result"]["store"] != expected:
            self.report(name, "other metadata by number than pydicom's")

    def single(self, path, scaling):
        answer = self.session.call("ReadImage", path, 0, 0, tensor(scaling), False, 1)
        self.session.call("CloseReader", path)
        return answer["result"]["image"] if answer["code"] == 0 else answer["name"]

    @staticmethod
    def inner(answer):
        """The value of the one series that was asked for: others of its study are empty stores."""
        studies = [study for _, patient in answer["result"]["store"] for study in patient["store"]]
        series = [one for _, study in studies for one in study["store"]]
        found = [value for _, value in series if "image" in value or value["store"]]
        return found[0] if len(found) == 1 else None

    def pictures(self, where, medium, patterns, files):
        for scaling in [values for values, _ in SCALINGS.values()]:
            answer = self.session.call("Read2DImagesDir", medium.path, tensor(scaling), False, 1, *patterns)
            if answer["code"] != 0:
                self.report(where, "pictures refused: " + answer["name"])
                continue
            value = self.inner(answer)
            nodes = value["store"] if value else []
            singles = {file: self.single(file, scaling) for file, _ in files}
            expected = sorted(file for file, picture in singles.items() if not isinstance(picture, str))
            if sorted(node[0] for node in nodes) != expected:
                self.report(where, "pictures of other files")
                continue
            number = {file: said.number for file, said in files}
            if [number[node[0]] for node in nodes] != sorted(number[file] for file in expected):
                self.report(where, "pictures in another order")
            for file, picture in nodes:
                self.compared["pictures"] += 1
                if picture["image"] != singles[file]:
                    self.report(where, "other picture than that of the file")

    def volumes(self, where, medium, patterns, files):
        windows = dict(SCALINGS)
        try:
            spans = [said.span() for _, said in files]
            lowest, highest = min(low for low, _ in spans), max(high for _, high in spans)
            centre, width = (lowest + highest) / 2, highest - lowest
            windows["common"] = ([-2.0, 0.0], ["+Ww", repr(centre), repr(width)], [width, centre])
        except Exception as error:  # pydicom's own refusal
            self.report(where, "no common window from pydicom: " + type(error).__name__)
        for window, wish in windows.items():
            answer = self.session.call("Read3DImage", medium.path, *patterns, tensor(wish[0]), 1)
            if answer["code"] != 0:
                self.report(where, "volume refused: " + answer["name"])
                continue
            self.volume(where, window, wish, self.inner(answer)["image"], files)

    def volume(self, where, window, wish, volume, files):
        numbers = [said.number for _, said in files]
        ordered = [one for _, one in sorted(zip(numbers, files), key=lambda pair: pair[0])]
        if len(set(numbers)) != len(numbers):
            self.report(where, "instance numbers are not unique")
            return
        if volume["slices"] != len(files):
            self.report(where, "other number of slices")
            return
        slices = []
        for file, said in ordered:
            single = self.single(file, wish[2] if window == "common" else wish[0])
            if not isinstance(single, str) and single["type"] == volume["type"]:
                slices.append(pixels(single))
                continue
            reference = theirs(file, said.syntax, 0, wish[1], DEPTHS[volume["type"]][1], self.folder)
            if isinstance(reference, str):
                self.report(where, reference)
                return
            slices.append(reference)
        self.compared["volumes"] += 1
        data = dict(volume, rows=volume["rows"] * volume["slices"])
        if not numpy.array_equal(pixels(data), numpy.concatenate(slices)):
            self.report(where, "other slices, window " + window)


def hashes(folder):
    found = {}
    for target, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(target, name)
            with open(path, "rb") as file:
                found[path] = hashlib.sha256(file.read()).hexdigest()
    return found


def media(folder):
    """Name and path of every medium; variants are copied beside links to their files."""
    root = os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files", "dicomdirtests")
    yield "DICOMDIR", os.path.join(root, "DICOMDIR")
    yield "TINY_ALPHA", os.path.join(root, "TINY_ALPHA", "DICOMDIR")
    for variant in sorted(name for name in os.listdir(root) if name.startswith("DICOMDIR-")):
        target = os.path.join(folder, variant)
        os.mkdir(target)
        for name in os.listdir(root):
            if os.path.isdir(os.path.join(root, name)):
                os.symlink(os.path.join(root, name), os.path.join(target, name))
        shutil.copy(os.path.join(root, variant), os.path.join(target, "DICOMDIR"))
        yield variant, os.path.join(target, "DICOMDIR")


def main(command):
    with open(os.path.join(os.path.dirname(__file__), "directory_differences.json"), encoding="utf-8") as file:
        listed = json.load(file)
    comparison = Comparison(command)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        count = 0
        for name, path in media(folder):
            before = hashes(os.path.dirname(path))
            comparison.medium(name, path)
            if hashes(os.path.dirname(path)) != before:
                comparison.report(name, "a file has changed")
            count += 1
    shutil.rmtree(comparison.folder)
    found = {difference.replace(folder, "") for difference in comparison.differences}
    for difference in sorted(found - set(listed)):
        failures += 1
        print(difference)
    for difference in sorted(set(listed) - found):
        failures += 1
        print("listed, but not found any more: " + difference)
    compared = ", ".join("%d %s" % (number, what) for what, number in comparison.compared.items())
    print("%d media, %s compared, %d differences listed, %d unexplained" % (count, compared, len(listed), failures))
    return 1 if failures or not all(comparison.compared.values()) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
