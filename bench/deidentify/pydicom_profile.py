#!/usr/bin/env python3
"""The profile as a careful engineer writes it with pydicom: by the table, in all sequences, over all files of a run.

Usage: pydicom_profile.py IN OUT basic|research
Basic: the codes of the table; private and unknown attributes go, UIDs become new ones that are the same in all files.
Research: the patient's characteristics, device and institution stay, dates are shifted by a number of days for each
patient. In both, texts that stay lose the identifiers that any file of the patient holds.
"""

import collections
import datetime
import hashlib
import os
import re
import secrets
import sys
import unicodedata
import warnings

import pydicom
from pydicom.datadict import dictionary_has_tag, keyword_for_tag
from pydicom.sequence import Sequence

import table

warnings.simplefilter("ignore")

DUMMIES = {"DA": "19000101", "DT": "19000101000000", "TM": "000000", "PN": "Anonymous", "AE": "ANONYMOUS",
           "AS": "000Y", "CS": "ANONYMOUS", "DS": "0", "IS": "0", "UR": "urn:anonymous"}
TEXTS = ("LO", "SH", "ST", "LT", "UT", "UC", "PN", "CS", "AE")
PEOPLE = ("PatientName", "OtherPatientNames", "ReferringPhysicianName", "OperatorsName", "PerformingPhysicianName",
          "NameOfPhysiciansReadingStudy")
NUMBERS = ("PatientID", "OtherPatientIDs", "AccessionNumber", "StudyID", "PatientAddress")
SPELLED = {"ä": "ae", "ö": "oe", "ü": "ue", "ß": "ss", "ø": "oe", "å": "aa", "æ": "ae"}
UIDS = r"\b[012]\.\d+\.\d[\d.]{10,}\d\b|\b2\.25\.\d{20,}"
REPEATED = {0x3000, 0x4000}  # of overlays: the plane and its comment


def _plain(text):
    return "".join(part for part in unicodedata.normalize("NFKD", text) if not unicodedata.combining(part))


def _spelled_out(text):
    return "".join(SPELLED.get(letter, letter) for letter in text.lower())


def _date_spellings(day):
    try:
        date = datetime.datetime.strptime(day[:8], "%Y%m%d")
    except ValueError:
        return []
    forms = ("%Y%m%d", "%Y-%m-%d", "%d.%m.%Y", "%d/%m/%Y", "%m/%d/%Y", "%d %b %Y", "%b %d, %Y", "%d %B %Y")
    spelled = [date.strftime(form) for form in forms]
    return spelled + [one.lstrip("0").replace(".0", ".").replace("/0", "/") for one in spelled]


def _loosely(digits):
    """A pattern for a telephone number with any separators."""
    return r"\+?" + r"[\s./()-]*".join(digits)


def _patterns(dataset):
    """Patterns for the identifiers of a file: names word by word, with and without accents, with ue for ü."""
    parts = set()
    for keyword in PEOPLE:
        names = str(dataset.get(keyword) or "").replace("=", "^").replace("\\", "^").split("^")
        for word in (word for name in names for word in name.split() if len(word) > 1):
            parts |= {re.escape(spelling) for spelling in (word, _plain(word), _plain(_spelled_out(word)))}
    for keyword in NUMBERS:
        for value in str(dataset.get(keyword) or "").split("\\"):
            parts |= {re.escape(one) for one in re.split(r"\s*,\s*", value) if len(one) > 3}
    for keyword in ("PatientBirthDate", "StudyDate", "SeriesDate", "AcquisitionDate", "ContentDate"):
        parts |= {re.escape(one) for one in _date_spellings(str(dataset.get(keyword) or ""))}
    digits = re.sub(r"\D", "", str(dataset.get("PatientTelephoneNumbers") or ""))
    if len(digits) > 5:
        parts |= {_loosely(digits), _loosely("00" + digits), _loosely("0" + digits[2:]), r"\(?" + _loosely(
            "0" + digits[2:])}
    return parts


def _joined(parts):
    """One pattern that finds the parts as whole words; underscores separate words, too, and scripts without blanks
    have no words."""
    words = [part if not part.isascii() and not part[0].islower() and ord(part[0]) > 0x2E80
             else rf"(?<![^\W_]){part}(?![^\W_])" for part in sorted(parts, key=len, reverse=True)]
    return re.compile("|".join(words + [UIDS]), re.IGNORECASE)


class Profile:
    def __init__(self, setting):
        self.setting, self.rows, self.secret = setting, table.rows(), secrets.token_bytes(32)
        self.patterns = {}  # by patient: one pattern for the identifiers in all files of the patient

    def learn(self, paths):
        parts = collections.defaultdict(set)
        for path in paths:
            dataset = pydicom.dcmread(path, stop_before_pixels=True)
            parts[str(dataset.get("PatientID", ""))] |= _patterns(dataset)
        self.patterns = {patient: _joined(found) for patient, found in parts.items()}

    def uid(self, original):
        digest = hashlib.blake2b(original.encode(), key=self.secret, digest_size=15).digest()
        return "2.25." + str(int.from_bytes(digest, "big"))

    def days(self, patient):
        digest = hashlib.blake2b(patient.encode(), key=self.secret, digest_size=4).digest()
        return 30 + int.from_bytes(digest, "big") % 3000

    def apply(self, dataset):
        self.pattern = self.patterns[str(dataset.get("PatientID", ""))]
        self.shift = self.days(str(dataset.get("PatientID", "")))
        self._walk(dataset)
        dataset.file_meta.MediaStorageSOPInstanceUID = dataset.SOPInstanceUID
        for tag in [one.tag for one in dataset.file_meta if one.tag.element > 0x13]:
            del dataset.file_meta[tag]
        dataset.preamble = b"\0" * 128
        dataset.PatientIdentityRemoved, dataset.DeidentificationMethod = "YES", "PS3.15 annex E, pydicom"

    def _walk(self, dataset):
        for tag in list(dataset.keys()):
            if tag.is_private or tag.group >> 8 == 0x50 or not dictionary_has_tag(tag) and int(tag) not in self.rows \
                    and tag.group >> 8 != 0x60:
                del dataset[tag]
                continue
            self._element(dataset, tag)

    def _element(self, dataset, tag):
        element, row = dataset[tag], self.rows.get(int(tag))
        code = row.code(self.setting) or "X" if row else None
        if tag.group >> 8 == 0x60 and tag.element in REPEATED:
            code = "X" if self.setting == table.BASIC or tag.element == 0x3000 else "C"
        if code == "X":
            del dataset[tag]
        elif code in ("C", "M"):
            self._clean(dataset, element)
        elif code not in (None, "K"):
            self._replace(element, code)
        elif element.VR == "SQ":
            for part in element.value:
                self._walk(part)
        elif code is None and element.VR in TEXTS and keyword_for_tag(tag) not in ("SpecificCharacterSet", "Modality"):
            self._clean_text(element)

    def _replace(self, element, code):
        if element.VR == "UI":
            values = element.value if element.VM > 1 else [element.value] if element.value else []
            element.value = [self.uid(str(one)) for one in values] or ""
        elif element.VR == "SQ":
            if "U*" in code:
                for part in element.value:
                    self._walk(part)
            else:
                element.value = Sequence()
        elif "Z" in code:
            element.value = b"" if element.VR in ("OB", "UN", "OW") else ""
        else:
            element.value = b"\0\0" if element.VR in ("OB", "UN", "OW") else DUMMIES.get(element.VR, "ANONYMIZED")

    def _clean(self, dataset, element):
        if element.VR == "SQ":
            for part in element.value:
                self._walk(part)
        elif element.VR in ("DA", "DT"):
            element.value = self._shifted(str(element.value))
        elif element.VR in TEXTS:
            self._clean_text(element)
        elif element.VR in ("OB", "UN"):
            del dataset[element.tag]

    def _clean_text(self, element):
        values = [str(one) for one in (element.value if element.VM > 1 else [element.value])]
        cleaned = [self.pattern.sub("X", one) for one in values]
        if cleaned != values:
            element.value = cleaned if len(cleaned) > 1 else cleaned[0]

    def _shifted(self, value):
        try:
            day = datetime.datetime.strptime(value[:8], "%Y%m%d") - datetime.timedelta(days=self.shift)
        except ValueError:
            return ""
        return day.strftime("%Y%m%d") + value[8:]


def main():
    source, target, setting = sys.argv[1:]
    os.makedirs(target, exist_ok=True)
    paths = [os.path.join(root, name) for root, _, names in os.walk(source) for name in sorted(names)]
    profile = Profile(setting)
    profile.learn(paths)
    for number, path in enumerate(paths):
        try:
            dataset = pydicom.dcmread(path)
            profile.apply(dataset)
            dataset.save_as(os.path.join(target, f"I{number:07d}"))
        except Exception as error:  # one bad file does not stop the others
            print(f"file {number}: {type(error).__name__}: {error}", file=sys.stderr)


if __name__ == "__main__":
    main()
