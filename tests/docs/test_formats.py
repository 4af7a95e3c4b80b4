"""docs/formats.md names what there is, and what it says of pixels and texts is what the command does."""

import io
import json
import os
import pathlib
import re
import struct
import subprocess
import zlib

import numpy
import pydicom
import pytest
from PIL import Image
from pydicom.charset import python_encoding
from pydicom.uid import UID_dictionary

from pages import rows

RADVEX = os.environ["RADVEX"]
SYNTAXES = {cells[0]: cells for cells in rows("formats.md", 6) if re.match(r"[\d.]+$", cells[0])}
TERMS = {term for cells in rows("formats.md", 6) for term in re.findall(r"`((?:ISO|GB)[^`]*)`", cells[0])}
STANDARD = "1.2.840.10008.1.2"
NO_FILES = (STANDARD + ".7.", "1.2.840.10008.15.", "1.2.840.10008.1.20")  # live video; a directory service; Papyrus
MESSAGES = {STANDARD + ".6.1", STANDARD + ".6.2"}  # no files
DEFLATED = {STANDARD + ".4.95", STANDARD + ".4.205"}
GREY = (numpy.add.outer(numpy.arange(32), numpy.arange(48)) * 3).astype("u1")


def run(*words):
    return subprocess.run([RADVEX, *map(str, words)], capture_output=True, text=True, check=False)


def element(group, number, vr, value):
    value += (b"\0" if vr in (b"UI", b"OB") else b" ") * (len(value) % 2)
    long = vr in (b"OB", b"OW")
    length = struct.pack("<HI", 0, len(value)) if long else struct.pack("<H", len(value))
    return struct.pack("<HH", group, number) + vr + length + value


def write(path, syntax, dataset):
    meta = element(2, 0x10, b"UI", syntax.encode())
    path.write_bytes(bytes(128) + b"DICM" + element(2, 0, b"UL", struct.pack("<I", len(meta))) + meta + dataset)
    return path


def picture(pixels):
    """A grey picture of 8 bits, Explicit VR Little Endian, with these bytes as the element of its pixels."""
    numbers = [(0x02, 1), (0x10, GREY.shape[0]), (0x11, GREY.shape[1]), (0x100, 8), (0x101, 8), (0x102, 7), (0x103, 0)]
    shape = {number: element(0x28, number, b"US", struct.pack("<H", value)) for number, value in numbers}
    shape[4] = element(0x28, 4, b"CS", b"MONOCHROME2")
    return element(0x10, 0x10, b"PN", b"Doe^Jane") + b"".join(shape[number] for number in sorted(shape)) + pixels


def fragments(frame):
    items = b"\xfe\xff\x00\xe0" + bytes(4) + b"\xfe\xff\x00\xe0" + struct.pack("<I", len(frame) + len(frame) % 2)
    return b"\xe0\x7f\x10\x00OB\0\0\xff\xff\xff\xff" + items + frame + bytes(len(frame) % 2) + b"\xfe\xff\xdd\xe0" + bytes(4)


def jpeg(**form):
    stream = io.BytesIO()
    Image.fromarray(GREY).save(stream, "JPEG", quality=90, **form)
    return stream.getvalue()


def values(path, folder):
    out = folder / "values.npy"
    assert run("data", path, "-o", out, "--force").returncode == 0
    return numpy.load(out).reshape(GREY.shape)


def test_every_transfer_syntax_that_dcmtk_knows_has_a_row():
    headers = pathlib.Path(os.environ["RADVEX_DCMTK"]) / "dcmtk" / "dcmdata"
    known = set(re.findall(r'#define UID_\w+TransferSyntax\s+"([\d.]+)"', (headers / "dcuid.h").read_text()))
    listed = set(re.findall(r"\bEXS_\w+ = \d+", (headers / "dcxfer.h").read_text()))
    assert len(known) >= len(listed) - 1 > 40  # one of them has no UID
    assert {uid for uid in known if not uid.startswith(NO_FILES)} <= set(SYNTAXES)


def test_every_transfer_syntax_for_files_of_the_standard_has_a_row():
    of_images = {uid for uid, entry in UID_dictionary.items()
                 if entry[1] == "Transfer Syntax" and not uid.startswith(NO_FILES)}
    assert of_images | {STANDARD + ".4.%d" % number for number in range(201, 206)} <= set(SYNTAXES)


@pytest.mark.parametrize("syntax", [uid for uid, cells in SYNTAXES.items() if cells[2].startswith("no") and uid not in MESSAGES])
def test_pixels_that_are_not_read_are_refused(syntax, tmp_path):
    dataset = picture(fragments(jpeg()))
    if syntax in DEFLATED:
        pack = zlib.compressobj(wbits=-15)
        dataset = pack.compress(dataset) + pack.flush()
    path = write(tmp_path / "picture.dcm", syntax, dataset)
    assert run("data", path).returncode == 1
    assert run("image", path, "-o", tmp_path / "picture.png").returncode == 1
    assert not (tmp_path / "picture.png").exists()
    attributes = run("tags", "--json", "--tag", "PatientName", path)
    assert (attributes.returncode == 0) == ("nor attributes" not in SYNTAXES[syntax][2])
    assert attributes.returncode != 0 or json.loads(attributes.stdout) == {"PatientName": "Doe^Jane"}


@pytest.mark.parametrize("number, form", [(50, {}), (51, {}), (53, {"progressive": True}), (55, {"progressive": True})])
def test_jpeg_is_read_as_pillow_reads_it(number, form, tmp_path):
    syntax = STANDARD + ".4.%d" % number
    assert SYNTAXES[syntax][2] == "yes" and "Pillow" in SYNTAXES[syntax][5]
    stream = jpeg(**form)
    path = write(tmp_path / "picture.dcm", syntax, picture(fragments(stream)))
    assert numpy.array_equal(values(path, tmp_path), numpy.array(Image.open(io.BytesIO(stream))))


def test_the_makers_own_syntax_has_the_pixels_of_the_plain_one(tmp_path):
    syntax = "1.2.840.113619.5.2"
    assert SYNTAXES[syntax][2] == "yes"
    words = GREY.astype("u2") * 131
    numbers = [(0x02, 1), (0x10, GREY.shape[0]), (0x11, GREY.shape[1]), (0x100, 16), (0x101, 16), (0x102, 15), (0x103, 0)]
    parts = {number: struct.pack("<HHIH", 0x28, number, 2, value) for number, value in numbers}
    parts[4] = struct.pack("<HHI", 0x28, 4, 12) + b"MONOCHROME2 "
    pixels = words.astype(">u2").tobytes()
    implicit = b"".join(parts[number] for number in sorted(parts)) + struct.pack("<HHI", 0x7FE0, 0x10, len(pixels)) + pixels
    path = write(tmp_path / "picture.dcm", syntax, implicit)
    assert numpy.array_equal(values(path, tmp_path), words)


def test_what_is_written_has_the_transfer_syntax_of_its_row(tmp_path):
    Image.fromarray(GREY).save(tmp_path / "picture.png")
    names = {uid: cells[4].strip("`") for uid, cells in SYNTAXES.items() if cells[4] != "–"}
    refusal = run("write", tmp_path / "picture.png", "-o", tmp_path / "no.dcm", "--compress", "NoSuchName").stderr
    offered = refusal.partition("the names are ")[2].partition(".")[0].split(", ")
    assert len(offered) > 7 and sorted(names.values()) == sorted(offered)
    for uid, name in names.items():
        path = tmp_path / (name + ".dcm")
        assert run("write", tmp_path / "picture.png", "-o", path, "--compress", name).returncode == 0, name
        assert pydicom.dcmread(path).file_meta.TransferSyntaxUID == uid, name
        assert SYNTAXES[uid][2] == "yes" and run("data", path).returncode == 0, name


def test_every_character_set_that_pydicom_knows_has_a_row():
    of_its_own = {"", "ISO 2022 GBK", "ISO 2022 58", "ISO 2022 GB18030"}
    assert set(python_encoding) - of_its_own <= TERMS


WORDS = {  # by the number of the set: Python's name of it, its escape, and a text in it
    "100": ("latin-1", "-A", "Äneas^Rüdiger"),
    "101": ("iso8859-2", "-B", "Wałęsa^Šárka"),
    "109": ("iso8859-3", "-C", "Ĉiuĵaŭde"),
    "110": ("iso8859-4", "-D", "Āboliņš"),
    "203": ("iso8859-15", "-b", "Œuvre^Žižka"),
    "144": ("iso8859-5", "-L", "Люкceмбypг"),
    "127": ("iso8859-6", "-G", "قباني^لنزار"),
    "126": ("iso8859-7", "-F", "Διονυσιος"),
    "138": ("iso8859-8", "-H", "שרון^דבורה"),
    "148": ("iso8859-9", "-M", "Çağlayan^Işık"),
    "166": ("tis-620", "-T", "นามสกุล"),
    "13": ("shift_jis", ")I", "ﾔﾏﾀﾞ^ﾀﾛｳ"),
    "149": ("euc-kr", "$)C", "김^희중"),
    "58": ("gb2312", "$)A", "张^小东"),
}
PLAIN = [("ISO_IR " + number, word[0], word[2]) for number, word in WORDS.items() if number not in ("149", "58")]
PLAIN += [("ISO_IR 192", "utf-8", "Ärger^山田"), ("GB18030", "gb18030", "王^小东"), ("GBK", "gbk", "王^小东")]


def name_of(path, term, stored):
    write(path, STANDARD + ".1", element(8, 5, b"CS", term.encode()) + element(0x10, 0x10, b"PN", stored))
    return json.loads(run("tags", "--json", "--tag", "PatientName", path).stdout)["PatientName"]


@pytest.mark.parametrize("term, encoding, text", PLAIN)
def test_a_text_is_read_in_its_character_set(term, encoding, text, tmp_path):
    assert term in TERMS
    assert name_of(tmp_path / "text.dcm", term, text.encode(encoding)) == text


@pytest.mark.parametrize("number, encoding, text", [("87", "iso2022_jp", "山田^太郎"), ("159", "iso2022_jp_2", "丂^丄")])
def test_a_japanese_text_is_read(number, encoding, text, tmp_path):
    assert "ISO 2022 IR " + number in TERMS
    stored = b"^".join(part.encode(encoding) for part in text.split("^"))
    assert name_of(tmp_path / "text.dcm", "\\ISO 2022 IR " + number, stored) == text


@pytest.mark.parametrize("number", WORDS)
def test_a_text_that_changes_its_character_set_is_read(number, tmp_path):
    encoding, escape, text = WORDS[number]
    assert "ISO 2022 IR " + number in TERMS
    stored = b"^".join(b"\x1b" + escape.encode() + part.encode(encoding) for part in text.split("^"))
    assert name_of(tmp_path / "text.dcm", "ISO 2022 IR 6\\ISO 2022 IR " + number, stored) == text
