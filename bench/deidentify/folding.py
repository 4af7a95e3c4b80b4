"""Texts without accents and capitals, and the texts that bytes may spell."""

import unicodedata
import zlib

from pydicom.uid import DeflatedExplicitVRLittleEndian

LETTERS = str.maketrans({"ø": "o", "ł": "l", "ı": "i", "Ø": "O", "Ł": "L"})

# What the bytes of a file may be: encodings that the files of the world use, UTF-16 at even and odd offsets.
ENCODINGS = (("latin-1", 0), ("utf-8", 0), ("utf-16-le", 0), ("utf-16-le", 1), ("utf-16-be", 0), ("utf-16-be", 1),
             ("gb18030", 0), ("iso2022_jp", 0), ("iso8859-5", 0))


def folded(text):
    """What two spellings of one name have in common."""
    parts = unicodedata.normalize("NFKD", text.translate(LETTERS).casefold())
    return "".join(part for part in parts if not unicodedata.combining(part))


def holds(text, needle):
    """Whether folded text holds a folded needle. Numbers, UIDs and short words only count when they stand alone."""
    if not needle:
        return False
    is_number = all(letter.isdigit() or letter == "." for letter in needle)
    is_short = len(needle) < 6 and needle.isascii()
    at = text.find(needle)
    while at >= 0:
        around = text[max(at - 1, 0):at] + text[at + len(needle):at + len(needle) + 1]
        is_inside = any(letter.isdigit() or is_short and letter.isalnum() for letter in around)
        if not is_inside or not (is_number or is_short):
            return True
        at = text.find(needle, at + 1)
    return False


def readings(data):
    """The folded texts that bytes may spell."""
    return [folded(data[offset:].decode(encoding, "replace")) for encoding, offset in ENCODINGS]


def inflated(data, syntax):
    """The bytes of a file, those of a deflated dataset inflated."""
    if syntax != DeflatedExplicitVRLittleEndian or data[128:132] != b"DICM":
        return data
    begin = 144 + int.from_bytes(data[140:144], "little")  # behind the meta information, whose length comes first
    return data[:begin] + zlib.decompressobj(-15).decompress(data[begin:])
