"""One file that is being planted: its dataset, and the answer key that grows with it.

An action of the key is required (it takes an identifier away) or kept (research needs what it names). Each says in
which settings it holds.
"""

import string

from pydicom.datadict import tag_for_keyword
from pydicom.dataset import Dataset
from pydicom.sequence import Sequence
from pydicom.uid import GrayscaleSoftcopyPresentationStateStorage

from table import SETTINGS, text_of

# Words of descriptions that identify nobody. No name of a person is one of them, though short names are parts of some.
WORDS = ("lipid", "nasal", "angled", "analysis", "T1", "C7", "5mm", "B30f", "3.0", "axial", "contrast",
         "portal", "venous", "abdomen", "thin", "slices", "follow", "routine", "lesion", "knee",
         "sagittal", "native", "delayed", "perfusion", "pelvis", "lung", "window", "spine", "oblique")

LENGTHS = {"SH": 16, "AE": 16, "CS": 16, "LO": 64, "PN": 64, "ST": 1024}
TEXTS = ("LO", "ST", "LT", "UT", "UC", "SH")

# Dates of code tables and of machines stand in files of many patients. Moved with those of one, they tell by how much,
# so that they have to go and need not keep an interval.
SHARED_DATES = ("0008,0106", "0008,0107", "0040,DB06", "0040,DB07", "0014,407E", "0018,1200", "0018,1202", "0018,1203",
                "0018,1204", "0018,1205", "0018,700C")

# Kinds of required actions, and of things that are kept
REMOVED, REPLACED, FREE_OF = "removed", "replaced", "free of"
UID_REPLACED, DATE_REPLACED, BYTES_FREE, PATH_FREE = "uid replaced", "date replaced", "bytes free of", "path free of"
KEPT, WORDS_KEPT, PIXELS_KEPT, INTERVAL = "kept exactly", "words kept", "pixels kept", "interval kept"
UID_FOLLOWS, ITEM_KEPT = "uid follows", "item kept"


def path_of(*steps):
    """A path from keywords, tags as numbers, and numbers of items: its tags are "GGGG,EEEE"."""
    out = []
    for place, step in enumerate(steps):
        if place % 2 == 1:
            out.append(int(step))
        else:
            out.append(text_of(tag_for_keyword(step) if isinstance(step, str) else int(step)))
    return out


def plain(element):
    """The value of an element as JSON: a text, or a list of texts; of bytes, their hexadecimal digits."""
    value = element.value
    if value is None:
        return ""
    if isinstance(value, bytes):
        return value.rstrip(b"\0").hex()
    if element.VM > 1:
        return [str(one) for one in value]
    return str(value)


def item(**values):
    out = Dataset()
    for keyword, value in values.items():
        setattr(out, keyword, value)
    return out


def code_item(code, scheme, meaning):
    return item(CodeValue=code, CodingSchemeDesignator=scheme, CodeMeaning=meaning)


class Planting:
    """The dataset of one file, its truth and the means to plant into it."""

    def __init__(self, index, person, table, random):
        self.index, self.person, self.table, self.random = index, person, table, random
        self.dataset = Dataset()
        self.actions, self.notes = [], {}
        self.byte_texts = {}
        for what, _, text in person.spellings():
            self.byte_texts.setdefault(what, []).append(text)
        self.preamble, self.extra_meta = b"\0" * 128, {}
        self.folder, self.file_name = "", ""

    # What is planted

    def uid(self):
        return "2.25." + str(self.random.getrandbits(126) | 1 << 125)

    def token(self, length=11):
        """A word that nobody can have written by chance, such as the number of a form."""
        return "Q" + "".join(self.random.choice(string.ascii_uppercase) for _ in range(length - 1))

    def identifier(self, limit=64, ascii_only=False):
        """One identifier of the patient or of the staff in one spelling: (what, how, text)."""
        fitting = [one for one in self.person.spellings()
                   if len(one[2]) <= limit and (not ascii_only or one[2].isascii())]
        return self.random.choice(fitting)

    def words(self, count):
        return [self.random.choice(WORDS) for _ in range(count)]

    def sentence(self, limit=64):
        """A text that holds an identifier: (text, label, identifiers, other words)."""
        what, how, text = self.identifier(limit)
        words = []
        for word in self.words(3):
            if len(text) + sum(len(one) + 1 for one in words) + len(word) + 1 <= limit:
                words.append(word)
        parts = list(words)
        parts.insert(len(words) // 2, text)
        return " ".join(parts), f"{what}, {how}", [text], words

    def note(self, path, place, identifiers=(), words=None, how=""):
        """What `record` shall say of the element at a path."""
        self.notes[tuple(path)] = (place, list(identifiers), words, how)

    # The truth

    def require(self, place, kind, path=(), settings=SETTINGS, **more):
        self._add("required", place, kind, path, settings, more)

    def keep(self, place, kind, path=(), settings=SETTINGS, **more):
        self._add("kept", place, kind, path, settings, more)

    def _add(self, group, place, kind, path, settings, more):
        action = {"group": group, "place": place, "kind": kind, "path": list(path), "settings": list(settings)}
        action.update({key: value for key, value in more.items() if value not in (None, "", [])})
        self.actions.append(action)

    def record(self, path, element, settings=SETTINGS):
        """The actions for an element that is at a path: those of the table, or to keep it."""
        noted = self.notes.get(tuple(path), (None, [], None, ""))
        row = self.table.get(int(element.tag))
        if row is None:
            self._record_unlisted(path, element, noted, settings)
            return
        place = noted[0] or f"table, {element.VR}"
        for setting in settings:
            self._record_code(row.code(setting), setting, place, path, element, noted[1:])

    def _record_unlisted(self, path, element, noted, settings):
        place, identifiers, words, how = noted
        if identifiers:
            self.require(place, FREE_OF, path, settings, value=identifiers, how=how)
            if words:
                self.keep(f"{place}, words", WORDS_KEPT, path, settings, value=words)
        elif element.VR == "UI" and str(element.value).startswith("2.25."):
            self._record_uid(place or "UID outside the table", str(element.value), {"path": path, "settings": settings})
        elif element.VR not in ("OB", "OW", "UN"):
            self.keep("attributes outside the table", KEPT, path, settings, value=plain(element))

    def record_sequence(self, place, path, identifiers, kept=()):
        """The actions for a whole sequence that the table lists: by its code it goes, or what identifies in it goes.

        `kept` are the paths of values that stay when the sequence is kept or cleaned.
        """
        row = self.table[int(path[-1].replace(",", ""), 16)]
        for setting in SETTINGS:
            code = row.code(setting)
            at = {"path": path, "settings": [setting]}
            if code == "X":
                self.require(place, REMOVED, **at, value=list(identifiers))
            elif code != "K":
                self.require(place, FREE_OF, **at, value=list(identifiers))
            if code in ("K", "C"):
                for where, value in kept:
                    self.keep(f"{place}, values", KEPT, where, [setting], value=value)

    def _record_code(self, code, setting, place, path, element, noted):
        identifiers, words, how = noted
        at, original = {"path": path, "settings": [setting]}, plain(element)
        if code is None:
            return
        if element.VR == "UI" and "U" in code:
            self._record_uid(place, original, at)
        elif code == "K":
            self.keep(f"{place}, option", KEPT, **at, value=original)
        elif code == "M":
            if element.VR in ("DA", "DT"):
                self.require(place, DATE_REPLACED, **at, value=original)
                if path[-1] not in SHARED_DATES:
                    self.keep("dates, shifted", INTERVAL, **at, value=original)
        elif code == "C":
            self._record_cleaned(place, at, element, identifiers, words, how)
        elif code == "X" and not self._is_required(path):
            self.require(place, REMOVED, **at, value=original, how=how)
        else:
            self.require(place, REPLACED, **at, value=original, identifiers=identifiers, how=how)

    def _is_required(self, path):
        """Without these dates a presentation state is not valid: another value is as good as none."""
        return (path[-1] in ("0070,0082", "0070,0083")
                and self.dataset.get("SOPClassUID") == GrayscaleSoftcopyPresentationStateStorage)

    def _record_uid(self, place, original, at):
        """The original goes, and what takes its place is the same everywhere."""
        self.require(place, UID_REPLACED, **at, value=original)
        self.keep("new UIDs", UID_FOLLOWS, **at, value=original)

    def _record_cleaned(self, place, at, element, identifiers, words, how):
        if identifiers:
            self.require(place, FREE_OF, **at, value=identifiers, how=how)
        if words is None and element.VR in TEXTS:
            words = str(element.value).split()
        if words:
            self.keep(f"{place}, words", WORDS_KEPT, **at, value=words)

    def record_all(self, dataset=None, path=()):
        """Records every element of the dataset; of a sequence that the table lists, the places that note it do."""
        for element in self.dataset if dataset is None else dataset:
            here = list(path) + [text_of(element.tag)]
            if element.keyword in ("PixelData", "SpecificCharacterSet") or element.tag.is_private:
                continue
            if element.VR != "SQ":
                self.record(here, element)
            elif int(element.tag) not in self.table:
                for number, part in enumerate(element.value):
                    self.record_all(part, here + [number])

    # Means of the places

    def put(self, place, keyword, value, identifiers=(), words=None, how=""):
        """Sets an attribute of the top level and records it."""
        setattr(self.dataset, keyword, value)
        path = path_of(keyword)
        self.note(path, place, identifiers, words, how)
        self.record(path, self.dataset[keyword])

    def put_text(self, place, keyword, limit):
        text, how, identifiers, words = self.sentence(limit)
        self.put(place, keyword, text, identifiers, words, how)

    def put_items(self, keyword, *items):
        setattr(self.dataset, keyword, Sequence(items))
