"""Instances of many SOP classes, filled until dciodvfy misses nothing, with all that the confidentiality table names.

dciodvfy knows what each class requires: it is asked what is missing, that is put in, and so on until it is content. Then
come the rows of the table that the class has room for, at the top level and in every item.
"""

import functools
import itertools
import os
import re
import shutil
import subprocess
import sys

from pydicom import config
from pydicom.datadict import dictionary_VR, keyword_for_tag, tag_for_keyword
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import ExplicitVRLittleEndian

config.settings.writing_validation_mode = config.IGNORE

TABLE = os.path.join(os.path.dirname(__file__), "../../deidentify/profile/confidentiality-2024b.tsv")
ROOT = "1.2.840.10008.5.1.4.1.1."
CLASSES = {  # classes that dciodvfy knows, by name
    "computed radiography": ROOT + "1", "digital x-ray": ROOT + "1.1", "mammography": ROOT + "1.2", "ct": ROOT + "2",
    "enhanced ct": ROOT + "2.1", "ultrasound multi-frame": ROOT + "3.1", "mr": ROOT + "4", "enhanced mr": ROOT + "4.1",
    "ultrasound": ROOT + "6.1", "secondary capture": ROOT + "7", "x-ray angiography": ROOT + "12.1",
    "enhanced angiography": ROOT + "12.1.1", "x-ray 3d": ROOT + "13.1.1", "tomosynthesis": ROOT + "13.1.3",
    "nuclear medicine": ROOT + "20", "presentation state": ROOT + "11.1", "waveform": ROOT + "9.1.1",
    "segmentation": ROOT + "66.4", "registration": ROOT + "66.1", "photography": ROOT + "77.1.4",
    "slide microscopy": ROOT + "77.1.6", "basic text": ROOT + "88.11", "comprehensive report": ROOT + "88.33",
    "key objects": ROOT + "88.59", "encapsulated pdf": ROOT + "104.1", "pet": ROOT + "128",
    "enhanced pet": ROOT + "130", "rt image": ROOT + "481.1", "rt dose": ROOT + "481.2",
    "rt structures": ROOT + "481.3", "rt plan": ROOT + "481.5", "rt record": ROOT + "481.4",
}
ROUNDS = 12  # the deepest class needs eight
VALUES = {
    "DA": "20200229", "TM": "101112", "DT": "20200229101112", "PN": "Zyxwvut^Quirina", "LO": "Text", "SH": "Text",
    "ST": "Text", "LT": "Text", "UT": "Text", "UC": "Text", "CS": "WORD", "AE": "AETITLE", "AS": "042Y", "IS": "1",
    "DS": "1", "UR": "http://example.org", "US": 1, "UL": 1, "SS": 1, "SL": 1, "FL": 1.0, "FD": 1.0, "AT": 0x00100010,
    "OB": b"\0\0", "OW": b"\0\0", "UN": b"\0\0", "OF": b"\0\0\0\0", "OD": b"\0" * 8, "OL": b"\0" * 4,
}
SPECIAL = {
    "ImageType": ["ORIGINAL", "PRIMARY", "AXIAL", "NONE"], "PatientSex": "F", "LUTData": b"\0\0",
    "PresentationIntentType": "FOR PRESENTATION", "ContentQualification": "PRODUCT", "BurnedInAnnotation": "NO",
    "PixelData": b"\0\0",
}
FINDING = re.compile(r"^(Error|Warning) - <(/[^>]*)> - (.*)$")
STEP = re.compile(r"(\w+)\([0-9a-f]{4},[0-9a-f]{4}\)(?:\[(\d+)\])?$")
MISSING = re.compile(r"Missing attribute for Type [12]C?\b")

_NUMBERS = itertools.count(1)


def validator():
    tool = os.environ.get("DCIODVFY") or shutil.which("dciodvfy")
    if tool is None:
        sys.exit("dciodvfy is missing; it is in Debian's dicom3tools")
    return tool


def report_on(path):
    """What dciodvfy says about a file, line by line."""
    report = subprocess.run([validator(), "-new", path], capture_output=True, text=True, errors="replace").stderr
    return report.splitlines()


def representation(keyword):
    return dictionary_VR(tag_for_keyword(keyword)).split(" ")[0]


def fill(item, keyword):
    """Puts the attribute with some value that its VR allows; a sequence gets an empty item."""
    vr = representation(keyword)
    if keyword in SPECIAL:
        value = SPECIAL[keyword]
    elif keyword.endswith(("LUTDescriptor", "LookupTableDescriptor")):
        value = [256, 0, 8]
    elif vr == "SQ":
        value = Sequence([Dataset()])
    elif vr == "UI":
        value = "1.2.826.0.1.99.%d" % next(_NUMBERS)
    elif vr in ("LO", "SH", "ST", "LT", "UT", "UC") and keyword in rows():
        value = "Row%05d" % next(_NUMBERS)  # may identify, so it must not be the word of any code
    else:
        value = VALUES[vr]
    setattr(item, keyword, value)


def save(dataset, path):
    dataset.file_meta = FileMetaDataset()
    dataset.file_meta.TransferSyntaxUID = ExplicitVRLittleEndian
    dataset.file_meta.MediaStorageSOPClassUID = dataset.SOPClassUID
    dataset.file_meta.MediaStorageSOPInstanceUID = dataset.SOPInstanceUID
    dataset.is_little_endian, dataset.is_implicit_VR = True, False
    dataset.save_as(path, write_like_original=False)


def findings(dataset, path):
    """(item, keyword, message) of each finding whose item is there."""
    save(dataset, path)
    for line in report_on(path):
        match = FINDING.match(line)
        steps = match and [STEP.match(step) for step in match.group(2).strip("/").split("/")]
        if not steps or None in steps:
            continue
        item = dataset
        for step in steps[:-1]:
            below = getattr(item, step.group(1), None)
            index = int(step.group(2) or 1) - 1
            item = below[index] if isinstance(below, Sequence) and index < len(below) else None
            if item is None:
                break
        if item is not None:
            yield item, steps[-1].group(1), match.group(3)


def items_of(dataset):
    yield dataset
    for element in dataset:
        if element.VR == "SQ":
            for item in element.value:
                yield from items_of(item)


@functools.cache
def rows():
    """Keywords of the table."""
    with open(TABLE, encoding="utf-8") as table:
        tags = [line.split("\t")[0] for line in table]
    numbers = [int(tag.replace(",", ""), 16) for tag in tags if re.fullmatch("[0-9A-F]{4},[0-9A-F]{4}", tag)]
    known = [keyword_for_tag(number) for number in numbers if 0x00080000 <= number < 0xFFFA0000]
    return [keyword for keyword in known if keyword]


def instance(name, path):
    """Writes an instance of the class."""
    dataset = Dataset()
    dataset.SOPClassUID = CLASSES[name]
    for keyword in ("SOPInstanceUID", "ImageType", "PresentationIntentType"):
        fill(dataset, keyword)
    _complete(dataset, path)
    for item in list(items_of(dataset)):
        for keyword in rows():
            if keyword not in item:
                fill(item, keyword)
    for _ in range(2):
        for item, keyword, message in list(findings(dataset, path)):
            if "not present in standard" in message or "which may not be present otherwise" in message:
                if keyword in item and keyword != "SOPInstanceUID":
                    delattr(item, keyword)
        _complete(dataset, path)
    save(dataset, path)


def _complete(dataset, path):
    for _ in range(ROUNDS):
        missing = [(item, keyword) for item, keyword, message in findings(dataset, path) if MISSING.match(message)]
        if not missing:
            return
        for item, keyword in missing:
            if keyword not in item:
                fill(item, keyword)
