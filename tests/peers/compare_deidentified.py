"""Looks with dciodvfy and pydicom at what `radvex anonymize` leaves of public samples and of instances of many classes.

A file that was valid stays valid: a complaint of dciodvfy that the original does not draw has to be listed with its
reason in deidentified_complaints.json. Pixels are the same bit for bit, and so is the transfer syntax. A listed
complaint that no file draws any more fails too.
Usage: compare_deidentified.py RADVEX [NAME...]
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import warnings

import pydicom
from pydicom.encaps import generate_pixel_data_fragment, get_frame_offsets
from pydicom.filebase import DicomBytesIO
from pydicom.uid import DeflatedExplicitVRLittleEndian, MediaStorageDirectoryStorage

from deidentified_files import CLASSES, instance, report_on
from samples import sample_files

warnings.simplefilter("ignore")

OPTIONS = {
    "basic": [],
    "kept": ["--keep", "uids,device,institution,patient,dates"],
    "cleaned": ["--shift-dates", "--clean", "descriptors,structured-content,graphics"],
}
SHOWN = 6  # places of a problem
PIXELS = ("PixelData", "FloatPixelData", "DoubleFloatPixelData")


def complaints_of(path):
    """Errors that dciodvfy reports, without values and numbers of items."""
    lines = {line.strip() for line in report_on(path) if line.startswith("Error")}
    return {re.sub(r"\[\d+\]", "", re.sub(r"(=|is) <[^>]*>|<\d+>", "<>", line)) for line in lines}


def fragments_of(value):
    """Fragments behind the offset table."""
    stream = DicomBytesIO(value)
    stream.is_little_endian = True
    get_frame_offsets(stream)
    return list(generate_pixel_data_fragment(stream))


def without_comments(fragment):
    """A JPEG 2000 or JPEG stream whose comments and metadata of cameras are zero, as far as its first headers go."""
    told = (0x64,) if fragment[:2] == b"\xff\x4f" else (0xFE, *range(0xE1, 0xEE)) if fragment[:2] == b"\xff\xd8" else ()
    kept = 2 if told == (0x64,) else 0  # says of what kind a comment is
    stream, at = bytearray(fragment), 2
    while told and at + 4 <= len(stream) and stream[at] == 0xFF and stream[at + 1] not in (0x90, 0xDA, 0xD9):
        end = at + 2 + int.from_bytes(stream[at + 2:at + 4], "big")
        if stream[at + 1] in told:
            stream[at + 4 + kept:end] = bytes(max(0, end - at - 4 - kept))
        at = end
    return bytes(stream)


def without_boxes(fragment):
    """The same of a JP2 file around a codestream: its other boxes, but those that say what the picture is, are zero."""
    if fragment[:8] != b"\0\0\0\x0cjP  ":
        return without_comments(fragment)
    stream, at = b"", 0
    while at + 8 <= len(fragment):
        size, kind = int.from_bytes(fragment[at:at + 4], "big") or len(fragment) - at, fragment[at + 4:at + 8]
        assert 8 <= size <= len(fragment) - at
        content = fragment[at + 8:at + size]
        if kind == b"jp2c":
            content = without_comments(content)
        elif kind not in (b"jP  ", b"ftyp", b"jp2h"):
            content = bytes(len(content))
        stream, at = stream + fragment[at:at + 8] + content, at + size
    return stream + bytes(len(fragment) - at)


def pixels_of(dataset):
    """Bytes of the pixels by keyword; of compressed ones each fragment, without the comments that have to go."""
    elements = {keyword: dataset[keyword] for keyword in PIXELS if keyword in dataset}
    return {keyword: [without_boxes(one) for one in fragments_of(element.value)] if element.is_undefined_length else element.value
            for keyword, element in elements.items()}


def syntax_of(dataset):
    meta = getattr(dataset, "file_meta", {})
    return meta.get("TransferSyntaxUID") or (dataset.is_implicit_VR, dataset.is_little_endian)


def differences(original, written, options):
    """Sentences about what the command may not change, and complaints that are new."""
    before = pydicom.dcmread(original, force=True)  # some samples have no meta information
    after = pydicom.dcmread(written, force=True)
    problems = []
    if pixels_of(before) != pixels_of(after):
        problems.append("other pixels")
    if "TransferSyntaxUID" in getattr(before, "file_meta", {}) and syntax_of(before) != syntax_of(after):
        problems.append("transfer syntax %s instead of %s" % (syntax_of(after), syntax_of(before)))
    instance_uid = before.get("SOPInstanceUID", "")
    is_well_known = instance_uid.startswith("1.2.840.10008.")  # as that of a palette is
    if instance_uid and not is_well_known and "uids" not in " ".join(options) \
            and after.get("SOPInstanceUID") == instance_uid:
        problems.append("the same instance")
    if syntax_of(before) == DeflatedExplicitVRLittleEndian:  # dciodvfy does not inflate
        return problems, set()
    return problems, complaints_of(written) - complaints_of(original)


def is_directory(path):
    """Whether it is the DICOMDIR of a medium, which stands for its folder."""
    meta = getattr(pydicom.dcmread(path, force=True, stop_before_pixels=True), "file_meta", {})
    return meta.get("MediaStorageSOPClassUID") == MediaStorageDirectoryStorage


def inputs(folder, names):
    """(name, path) of samples and of generated instances."""
    for name, path in sample_files():
        if (not names or name in names) and not is_directory(path):
            yield name, path
    for name in CLASSES:
        if not names or name in names:
            path = os.path.join(folder, name.replace(" ", "-"))
            instance(name, path)
            yield name, path


class Accepted:
    """What deidentified_complaints.json lists, and what of it was drawn."""

    def __init__(self):
        with open(os.path.join(os.path.dirname(__file__), "deidentified_complaints.json"), encoding="utf-8") as file:
            lists = json.load(file)
        self.complaints, self.refused = lists["complaints"], lists["refused"]
        self.used = set()

    def accepts(self, complaint):
        known = [pattern for pattern in self.complaints if re.search(pattern, complaint)]
        self.used.update(known)
        return bool(known)

    def refuses(self, name):
        if name in self.refused:
            self.used.add(name)
        return name in self.refused

    def unused(self):
        return sorted((set(self.complaints) | set(self.refused)) - self.used)


def compare(command, name, original, written, options, accepted):
    """Sentences about what is wrong with a run over one file; new complaints that are not listed among them."""
    words = [command, "anonymize", original, written, "--force", "-q", "--jobs", "0", *options]
    run = subprocess.run(words, capture_output=True, text=True, errors="replace")
    if run.returncode != 0:
        return [] if accepted.refuses(name) else [run.stderr.strip() or "status %d" % run.returncode]
    problems, complaints = differences(original, written, options)
    return problems + sorted(complaint for complaint in complaints if not accepted.accepts(complaint))


def main(command, names):
    accepted = Accepted()
    compared = 0
    places = {}  # by problem, since many files share one
    with tempfile.TemporaryDirectory() as folder:
        for name, original in inputs(folder, names):
            for label, options in OPTIONS.items():
                compared += 1
                for problem in compare(command, name, original, os.path.join(folder, "written"), options, accepted):
                    places.setdefault(problem, []).append("%s (%s)" % (name, label))
    for problem, where in sorted(places.items()):
        print("%s\n    %d times: %s" % (problem, len(where), ", ".join(where[:SHOWN])))
    unused = [] if names else accepted.unused()
    for entry in unused:
        print("listed, but not seen:", entry)
    print("%d files compared, %d kinds of failures" % (compared, len(places) + len(unused)))
    return 1 if places or unused else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
