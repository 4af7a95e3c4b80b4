"""Compares the DICOM JSON Model of `radvex tags --dicom-json` with what pydicom and DCMTK's dcm2json make of the same
files, and reads it back with pydicom. What `radvex write --meta` makes of the JSON of pydicom and of dcm2json is compared
with the attributes that the JSON gave.

Usage: compare_dicom_json.py RADVEX
"""

import base64
import json
import math
import os
import struct
import subprocess
import sys
import tempfile

import numpy
import pydicom
from pydicom.dataset import Dataset

from samples import sample_files

# Attributes that new files get from their pictures, or that are written in another way.
NOT_WRITTEN = {"SOPClassUID", "SOPInstanceUID", "StudyInstanceUID", "SeriesInstanceUID", "ConversionType",
               "SamplesPerPixel", "PhotometricInterpretation", "PlanarConfiguration", "Rows", "Columns", "BitsAllocated",
               "BitsStored", "HighBit", "PixelRepresentation", "PixelData", "SpecificCharacterSet"}


def output(*words):
    done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    return done.stdout if done.returncode == 0 else None


def number(value):
    """A number in one form, whatever it was written as; None for what is none."""
    try:
        return float(value)
    except (TypeError, ValueError):
        return None


def is_equal(one, other, vr):
    if vr in ("DS", "FL", "FD", "IS", "SL", "SS", "SV", "UL", "US", "UV"):
        left, right = number(one), number(other)
        if left is not None and right is not None:
            if left == right or (math.isnan(left) and math.isnan(right)):
                return True
            if vr == "FL":  # the shortest text of a single is another double
                return struct.pack("<f", left) == struct.pack("<f", right)
            return math.isclose(left, right, rel_tol=1e-15)
    if vr == "PN":
        return name_of(one) == name_of(other)
    if isinstance(one, str) and isinstance(other, str):
        return one.rstrip(" ") == other.rstrip(" ")  # pydicom keeps the padding of some values
    return one == other


def name_of(value):
    """Without empty groups; dcm2json leaves out components that are empty."""
    return {key: text.rstrip("^ ") for key, text in (value or {}).items() if text.rstrip("^ ")}


def bytes_of(member, is_swapped):
    """pydicom keeps the order of bytes of the file, and an odd length."""
    data = base64.b64decode(member.get("InlineBinary", ""))
    if is_swapped and member["vr"] == "OW":
        data = numpy.frombuffer(data, "<u2").byteswap().tobytes()
    return data + b"\0" * (len(data) % 2)


def without_empty(values):
    """Programs differ in how they write values that are empty."""
    return [] if all(value in (None, "", {}) or (isinstance(value, dict) and not name_of(value)) for value in values) \
        else values


def is_guessed(one, other, tag):
    """pydicom gives unknown attributes the value representation of its dictionaries."""
    return one["vr"] == "UN" or (tag == "7FE00010" and {one["vr"], other["vr"]} == {"OB", "OW"}) or (
        {one["vr"], other["vr"]} == {"US", "SS"})


def compare(ours, theirs, path, differences, is_swapped=False):
    """Adds a line for each attribute that differs."""
    for tag in sorted(set(ours) | set(theirs)):
        place = path + tag
        if tag == "00080005" or tag.endswith("0000"):
            continue  # ours is the character set of JSON, and lengths of groups have no place there
        if tag not in ours or tag not in theirs:
            differences.append("%s: only in %s" % (place, "ours" if tag in ours else "theirs"))
            continue
        one, other = ours[tag], theirs[tag]
        if one["vr"] != other["vr"] and is_guessed(one, other, tag):
            continue
        if one["vr"] != other["vr"]:
            differences.append("%s: %s, but theirs is %s" % (place, one["vr"], other["vr"]))
        elif bytes_of(one, is_swapped) != bytes_of(other, False):
            differences.append("%s: other bytes" % place)
        elif one["vr"] == "SQ":
            items, others = one.get("Value", []), other.get("Value", [])
            if len(items) != len(others):
                differences.append("%s: %d items, theirs %d" % (place, len(items), len(others)))
            for index, (item, second) in enumerate(zip(items, others)):
                compare(item, second, "%s[%d]." % (place, index), differences, is_swapped)
        else:
            values, others = without_empty(one.get("Value", [])), without_empty(other.get("Value", []))
            if len(values) != len(others) or not all(is_equal(*pair, one["vr"]) for pair in zip(values, others)):
                differences.append("%s: %r, theirs %r" % (place, values, others))


def of_pydicom(path):
    """Its JSON, with all bytes in it; None when it cannot make any."""
    try:
        dataset = pydicom.dcmread(path, force=True)
        return json.loads(json.dumps(dataset.to_json_dict(bulk_data_threshold=1 << 40)))
    except Exception:  # of many kinds
        return None


def is_big_endian(path):
    syntax = getattr(pydicom.dcmread(path, force=True).file_meta, "TransferSyntaxUID", "")
    return syntax == pydicom.uid.ExplicitVRBigEndian


def of_dcmtk(path):
    text = output("dcm2json", path)
    try:
        return None if text is None else json.loads(text)
    except ValueError:  # it writes bytes that are no UTF-8, or names the charset that it lacks
        return None


def compare_files(command, expected):
    compared = {"pydicom": 0, "dcm2json": 0, "from_json": 0}
    complaints = 0
    for name, path in sample_files():
        text = output(command, "tags", "--dicom-json", path)
        if text is None:
            continue
        ours = json.loads(text)
        for program, theirs in (("pydicom", of_pydicom(path)), ("dcm2json", of_dcmtk(path))):
            if theirs is None:
                continue
            compared[program] += 1
            differences = []
            is_swapped = program == "pydicom" and is_big_endian(path)
            compare(ours, theirs, "", differences, is_swapped)
            known = expected.get(program, {}).get(name, [])
            for difference in differences:
                if not any(difference.startswith(start) for start in known):
                    complaints += 1
                    print("%s, %s: %s" % (name, program, difference[:300]))
        try:
            read = Dataset.from_json(text.decode("utf-8"))
            again = json.loads(json.dumps(read.to_json_dict(bulk_data_threshold=1 << 40)))
        except Exception as error:
            if name not in expected.get("from_json", {}):
                complaints += 1
                print("%s: pydicom cannot read our JSON: %s" % (name, error))
            continue
        compared["from_json"] += 1
        differences = []
        compare(ours, again, "", differences)
        for difference in differences:
            if not any(difference.startswith(start) for start in expected.get("from_json", {}).get(name, [])):
                complaints += 1
                print("%s, read again: %s" % (name, difference[:300]))
    return compared, complaints


def is_private(tag):
    return int(tag[:4], 16) % 2 == 1


def writable(item):
    """What a new file can have of an object of the model."""
    kept = {}
    for tag, member in item.items():
        keyword = pydicom.datadict.keyword_for_tag(int(tag, 16))
        if is_private(tag) or not keyword or keyword in NOT_WRITTEN or tag.endswith("0000"):
            continue
        if member["vr"] == "SQ" and not member.get("Value"):
            continue  # a sequence without items is not written
        if member["vr"] == "SQ":
            member = {"vr": "SQ", "Value": [writable(inner) for inner in member["Value"]]}
        kept[tag] = member
    return kept


def compare_written(command, folder):
    """Metadata from the JSON of others, in a file that they read."""
    numpy.save(os.path.join(folder, "in.npy"), numpy.zeros((2, 2), "u1"))
    count = complaints = 0
    for name in ("CT_small.dcm", "MR_small.dcm", "rtplan.dcm", "test-SR.dcm", "reportsi.dcm"):
        path = dict((os.path.basename(relative), path) for relative, path in sample_files()).get(name)
        for program, theirs in (("pydicom", of_pydicom(path)), ("dcm2json", of_dcmtk(path))):
            if theirs is None:
                continue
            meta = os.path.join(folder, "meta.json")
            wanted = writable(theirs)
            with open(meta, "w", encoding="utf-8") as file:
                json.dump(theirs, file)
            out = os.path.join(folder, "out.dcm")
            done = subprocess.run([command, "write", "--force", os.path.join(folder, "in.npy"), "-o", out, "--compress", "RLE",
                                   "--meta", meta], stderr=subprocess.PIPE, check=False)
            count += 1
            if done.returncode != 0:
                complaints += 1
                print("%s of %s is not written: %s" % (name, program, done.stderr.decode()[:300]))
                continue
            differences = []
            found = of_pydicom(out)
            compare({tag: found[tag] for tag in found if tag in wanted}, wanted, "", differences)
            for difference in differences:
                complaints += 1
                print("%s of %s, written: %s" % (name, program, difference[:300]))
    return count, complaints


def main(command):
    with open(os.path.join(os.path.dirname(__file__), "dicom_json_differences.json"), encoding="utf-8") as file:
        expected = json.load(file)
    compared, complaints = compare_files(command, expected)
    with tempfile.TemporaryDirectory() as folder:
        written, more = compare_written(command, folder)
    print("Files compared: %s; %d written" % (compared, written))
    too_few = min(compared.values()) < 40 or written < 8
    return 1 if complaints or more or too_few else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
