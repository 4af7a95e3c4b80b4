"""Compares ReadAllMetadata with an independent reading by pydicom, attribute by attribute, on every sample file.

Same attributes at every depth, same numbers, same text, same nesting. What differs is named, with its reason, in
metadata_differences.json; a difference that is not listed fails, and so does a listed one that is gone.
Usage: compare_metadata.py RADVEX
"""

import base64
import json
import math
import os
import re
import struct
import sys
import warnings

import pydicom
from pydicom.charset import convert_encodings, decode_bytes
from pydicom.datadict import keyword_for_tag

from samples import Session, sample_files

warnings.simplefilter("ignore")

INTEGERS = {"US": "H", "SS": "h", "UL": "I", "SL": "i"}
REALS = {"FL": "f", "FD": "d"}
BYTES = {"OB": 1, "OW": 2}
TEXTS = {"SH", "LO", "ST", "LT", "UC", "UT", "PN"}
LEFT_OUT = {"AT", "UN", "OF", "OD", "OL", "OV", "SV", "UV"}  # representations without a node
CONVERTED = ("SpecificCharacterSet", "ISO_IR 192")  # what the reader's conversion to UTF-8 leaves, also where none was
GRAPHICS = {0x7FE00010, 0x60003000}  # told in a form of their own


def hexadecimal(tag):
    return "%04x_%04x" % (tag.group, tag.element)


def is_group_length(tag):
    return tag.element == 0 and tag.group % 2 == 0 and tag.group != 2


def trimmed(text):
    """Padding is no part of a value (PS3.5 section 6.2)."""
    return "\\".join(part.rstrip(" \0") for part in text.split("\\"))


class Reading:
    """One file as pydicom reads it, in the shape of the library's result."""

    def __init__(self, path):
        self.dataset = pydicom.dcmread(path, force=True)

    def nodes(self):
        meta = getattr(self.dataset, "file_meta", None)
        found = list(self.level(meta)) if meta is not None else []
        return found + list(self.level(self.dataset))

    def level(self, dataset, outer_set="ISO_IR 6"):
        character_set = dataset.get("SpecificCharacterSet") or outer_set  # an item has that around it, or its own
        encodings = convert_encodings(character_set)
        little = dataset.is_little_endian is not False
        for tag in sorted(dataset.keys()):
            if tag in GRAPHICS or is_group_length(tag) or (tag.group & 0xFF01 == 0x6000 and tag.element == 0x3000):
                continue
            raw = dataset.get_item(tag)
            if isinstance(raw, pydicom.dataelem.RawDataElement) and raw.VR == "UN" and raw.length != 0xFFFFFFFF:
                continue  # pydicom looks the representation up; the file itself says that it is unknown
            element = dataset[tag]
            vr = element.VR
            key = keyword_for_tag(tag) or hexadecimal(tag)
            if vr == "SQ":
                items = [list(self.level(item, character_set)) for item in (element.value or [])]
                yield tag, key, vr, items
            elif vr in LEFT_OUT:
                continue
            else:
                value = self.value(raw, element, vr, encodings, little)
                if value is not None:
                    yield tag, key, vr, value

    @staticmethod
    def value(raw, element, vr, encodings, little):
        data = raw.value if isinstance(raw, pydicom.dataelem.RawDataElement) else None
        if vr in INTEGERS or vr in REALS:
            values = element.value if isinstance(element.value, (list, pydicom.multival.MultiValue)) else [element.value]
            values = [value for value in values if value is not None and value != ""]
            if vr in ("UL",):
                values = [value - (1 << 32) if value >= 1 << 31 else value for value in values]
            return values or None
        if vr in BYTES:
            data = element.value if data is None else data
            if not data:
                return None
            size = BYTES[vr]
            count = len(data) // size
            return list(struct.unpack(("<" if little else ">") + {1: "B", 2: "H"}[size] * count, data[: count * size]))
        if data is None:
            value = element.value
            values = value if isinstance(value, (list, pydicom.multival.MultiValue)) else [value]
            text = "\\".join("" if part is None else str(part) for part in values)
        elif vr in TEXTS:
            text = decode_bytes(data, encodings, {"\\", "^", "=", "\r", "\n", "\t", "\f"})
        else:
            text = data.decode("latin-1")
        return text if text.rstrip(" \0") != "" else None


def node_value(value):
    """A node of the library's answer in the shape of Reading."""
    if isinstance(value, dict):
        if "tensor" in value:
            return value["tensor"]["data"]
        if "bytes" in value:
            return base64.b64decode(value["bytes"])
        if "store" in value:
            inner = value["store"]
            if inner and isinstance(inner[0][1], dict) and "store" in inner[0][1]:
                return [item[1]["store"] for item in inner]
            return [node[1] for node in inner]
        return value
    return value


def same_numbers(ours, theirs):
    ours = ours if isinstance(ours, list) else [ours]
    return len(ours) == len(theirs) and all(
        a == b or (isinstance(b, float) and math.isclose(a, b, rel_tol=1e-6)) for a, b in zip(ours, theirs))


class Comparison:
    """Walks both readings in parallel and collects what differs as "path: what"."""

    def __init__(self):
        self.differences = []
        self.compared = 0

    def report(self, path, what):
        self.differences.append("%s: %s" % (path, what))

    def level(self, path, ours, theirs):
        index = 0
        others = {key for _, key, _, _ in theirs} | {"SpecificCharacterSet"}
        for tag, key, vr, value in theirs:
            where = path + "/" + key
            if index >= len(ours) or not self.is_name(ours[index][0], tag, key, others):
                skipped = next((ahead for ahead in range(index, len(ours))
                                if self.is_name(ours[ahead][0], tag, key, others)), None)
                if skipped is None:
                    self.report(where, "absent")
                    continue
                self.surplus(path, ours[index:skipped])
                index = skipped
            self.node(where, vr, node_value(ours[index][1]), value)
            index += 1
        self.surplus(path, ours[index:])

    def surplus(self, path, nodes):
        for name, value in nodes:
            if name not in ("PixelData", "OverlayData") and (name, value) != CONVERTED:
                self.report(path + "/" + name, "surplus")

    @staticmethod
    def is_name(name, tag, key, others):
        """A private attribute may have a name in DCMTK's dictionary: any that no other attribute here has."""
        if name == key or not tag.is_private:
            return name == key
        is_named = not re.fullmatch("[0-9a-f]{4}_[0-9a-f]{4}", name) and name not in others
        return is_named and (name in ("PrivateCreator", "PrivateGroupLength")) == (tag.element < 0x100)

    def node(self, where, vr, ours, theirs):
        self.compared += 1
        if vr == "SQ":
            if not isinstance(ours, list) or len(ours) != len(theirs):
                self.report(where, "other number of items")
                return
            for number, (our_item, their_item) in enumerate(zip(ours, theirs), 1):
                self.level("%s[%d]" % (where, number), our_item, their_item)
        elif vr in INTEGERS or vr in REALS or vr in BYTES:
            if isinstance(ours, (str, bytes)) or not same_numbers(ours, theirs):
                self.report(where, "other numbers")
        elif (where.rsplit("/", 1)[1], ours) == CONVERTED:
            return
        elif not isinstance(ours, str) or trimmed(ours) != trimmed(theirs):
            self.report(where, "other text")


def main(command):
    with open(os.path.join(os.path.dirname(__file__), "metadata_differences.json"), encoding="utf-8") as file:
        expected = json.load(file)
    session = Session(command)
    failures = 0
    attributes = 0
    files = sample_files()
    for name, path in files:
        answer = session.call("ReadAllMetadata", path, [], False)
        session.call("CloseReader", path)
        listed = expected.get(name, {})
        comparison = Comparison()
        try:
            theirs = Reading(path).nodes()
        except Exception as error:  # pydicom's own refusal
            theirs = None
            comparison.report("", "pydicom refuses: " + type(error).__name__)
        if answer["code"] != 0:
            comparison.report("", "refused: " + answer["name"])
        elif theirs is not None:
            comparison.level("", answer["result"]["store"], theirs)
        attributes += comparison.compared
        found = set(comparison.differences)
        for difference in sorted(found):
            if difference not in listed:
                failures += 1
                print("%s %s" % (name, difference))
        for difference in sorted(set(listed) - found):
            failures += 1
            print("%s listed, but not found any more: %s" % (name, difference))
    print("%d files, %d attributes compared, %d unexplained differences" % (len(files), attributes, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
