"""The table of PS3.15 annex E that says what happens to which attribute, as the project holds it, read as plain text.

The answer key and the peers that take a table both follow it, never the command under test.
"""

import os
from dataclasses import dataclass

from pydicom.datadict import dictionary_VR

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "deidentify", "profile",
                     "confidentiality-2024b.tsv")

BASIC, RESEARCH = "basic", "research"
SETTINGS = (BASIC, RESEARCH)

# What the second setting asks for: descriptors, structured content and graphics cleaned, the patient's characteristics,
# devices and institutions kept, dates shifted.
OPTIONS = ("retain_device", "retain_institution", "retain_patient_characteristics", "modified_dates",
           "clean_descriptors", "clean_structured_content", "clean_graphics")

# The names of value representations end the names of attributes that a dictionary older than the table lacks.
ENDINGS = ((" UID", "UI"), ("DateTime", "DT"), (" Date", "DA"), (" Time", "TM"), (" Sequence", "SQ"), ("Name", "LO"),
           ("Label", "LO"), ("Description", "LO"), ("Notes", "UT"))


@dataclass(frozen=True)
class Row:
    """One attribute: its tag as a number, its name, its value representation and its code for each setting."""
    tag: int
    name: str
    vr: str
    codes: dict

    def code(self, setting):
        """X, Z, D, U, X/Z/D and the like; K to keep, C to clean, M to modify a date; None when options contradict."""
        return self.codes[setting]


def text_of(tag):
    return f"{tag >> 16:04X},{tag & 0xFFFF:04X}"


def _representation(tag, name):
    try:
        return dictionary_VR(tag).split(" ")[0]
    except KeyError:
        return next((vr for ending, vr in ENDINGS if name.endswith(ending)), None)


def _research_code(columns):
    wishes = {columns[option] for option in OPTIONS} - {""}
    if "K" in wishes and columns["modified_dates"]:
        return None  # the date of a device: kept says one option, changed says the other
    if not wishes:
        return columns["basic"]
    if columns["modified_dates"]:
        return "M"
    return "K" if "K" in wishes else "C"


def _lines():
    with open(TABLE, encoding="utf-8") as file:
        lines = [line.rstrip("\n").split("\t") for line in file if not line.startswith("#")]
    return [dict(zip(lines[0], line + [""] * (len(lines[0]) - len(line)))) for line in lines[1:]]


def rows():
    """The rows of single attributes, by tag. Groups that repeat and private attributes are places of their own."""
    found = {}
    for columns in _lines():
        try:
            tag = int(columns["tag"].replace(",", ""), 16)
        except ValueError:
            continue
        vr = _representation(tag, columns["name"])
        found[tag] = Row(tag, columns["name"], vr, {BASIC: columns["basic"], RESEARCH: _research_code(columns)})
    return found
