"""Runs each program over the generated files, with the best that its options can do. All write into a new folder."""

import os
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree

import table

HERE = os.path.dirname(os.path.abspath(__file__))
DUMMIES = {"DA": "19000101", "DT": "19000101000000", "TM": "000000", "PN": "ANONYMOUS", "UI": "2.25.1", "DS": "0",
           "IS": "0", "US": "0", "AS": "000Y", "OB": "0", "UN": "", "AE": "ANONYMOUS", "CS": "ANONYMOUS"}
CURVE = (0x5, 0x10, 0x20, 0x103, 0x2500, 0x2600, 0x3000)
RESEARCH_OPTIONS = ("--clean", "descriptors,structured-content,graphics", "--keep", "patient,device,institution",
                    "--shift-dates")


def _execute(*words, check=False):
    done = subprocess.run(words, capture_output=True, text=True, errors="replace", check=False)
    if check and done.returncode:
        sys.exit(f"{words[0]} failed with {done.returncode}: {done.stderr[-2000:]}")
    return done


def neutral_copies(source, target):
    """The files of a folder under numbers: what anybody does whose program keeps names of files."""
    os.makedirs(target)
    copies = []
    for root, _, names in os.walk(source):
        for name in sorted(names):
            copies.append(os.path.join(target, f"I{len(copies):07d}"))
            shutil.copyfile(os.path.join(root, name), copies[-1])
    return copies


class Radvex:
    def __init__(self, command, setting):
        self.command, self.setting = command, setting
        self.name = "radvex" if setting == table.BASIC else "radvex, options"

    def run(self, source, target, scratch):
        options = RESEARCH_OPTIONS if self.setting == table.RESEARCH else ()
        done = _execute(self.command, "anonymize", source, target, "--profile", "basic", "-q", *options)
        if done.returncode:
            print(f"{self.name} ended with {done.returncode}: {done.stderr[-1000:]}", file=sys.stderr)
        os.makedirs(target, exist_ok=True)


class Gdcmanon:
    """Both of its modes: the basic profile, which knows an older table and encrypts the originals for the holder of a
    key that is thrown away; then a list of what else the table names."""
    name, setting = "gdcmanon", table.BASIC

    def run(self, source, target, scratch):
        key, certificate = os.path.join(scratch, "key.pem"), os.path.join(scratch, "certificate.pem")
        _execute("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate,
                 "-subj", "/CN=nobody", "-days", "1", check=True)
        copies, between = os.path.join(scratch, "copies for gdcmanon"), os.path.join(scratch, "between")
        neutral_copies(source, copies)
        # one run for all files: only then a UID becomes the same in all of them
        _execute("gdcmanon", "-e", "--certificate", certificate, "-i", copies, "-o", between, "-r", "--continue")
        _execute("gdcmanon", "--dumb", *self._list(), "-i", between, "-o", target, "-r", "--continue")
        os.makedirs(target, exist_ok=True)

    @staticmethod
    def _list():
        words = []
        for row in table.rows().values():
            code, tag = row.code(table.BASIC), table.text_of(row.tag).lower()
            if "U" in code or row.tag >> 16 in (0, 2, 4):
                continue
            # it refuses a file when it is to empty an attribute that its dictionary lacks, and adds absent ones
            usual = row.tag in (0x00080020, 0x00080030, 0x00080050, 0x00080090, 0x00100010, 0x00100020, 0x00100030,
                                0x00100040, 0x00200010)
            words += ["--empty" if usual else "--remove", tag]
        for group in range(0x6000, 0x6020, 2):
            words += ["--remove", f"{group:04x},3000", "--remove", f"{group:04x},4000"]
        for element in CURVE:
            words += ["--remove", f"5000,{element:04x}"]
        return words


class Dcmodify:
    """A script by the table: what is removed, emptied or replaced wherever it occurs, and a new value for each UID.

    dcm2xml says which UIDs a file has and where; a text that only holds an identifier cannot be edited.
    """
    name, setting = "dcmodify", table.BASIC

    def __init__(self):
        self.rows, self.uids = table.rows(), {}
        self.common = self._common()

    def _common(self):
        words = ["-nb", "-imt", "-ie", "-q", "-ep"]
        for row in self.rows.values():
            code, tag = row.code(table.BASIC), "(" + table.text_of(row.tag).lower() + ")"
            if "U" in code and row.vr == "UI" or row.tag >> 16 in (0, 2, 4):
                continue
            if code == "X" or row.vr in ("SQ", None):
                words += ["-ea", tag]
            else:
                words += ["-ma", tag + "=" + ("" if "Z" in code else DUMMIES.get(row.vr, "ANONYMIZED"))]
        for group in range(0x6000, 0x6020, 2):
            words += ["-ea", f"({group:04x},3000)", "-ea", f"({group:04x},4000)"]
        for element in CURVE:
            words += ["-ea", f"(5000,{element:04x})"]
        return words + ["-e", "(0002,0016)", "-e", "(0002,0017)", "-e", "(0002,0018)", "-e", "(0002,0100)", "-e", "(0002,0102)"]

    def _new_uid(self, original):
        return self.uids.setdefault(original, "2.25." + str(int.from_bytes(os.urandom(15), "big")))

    def _uid_words(self, file):
        """A new value for every UID that the table replaces, by its path."""
        words = []
        for path, tag, text in _uids(_xml(file), ""):
            row = self.rows.get(tag)
            if row and "U" in row.code(table.BASIC) and text:
                words += ["-m", f"{path}={self._new_uid(text)}"]
        return words

    def run(self, source, target, scratch):
        for file in neutral_copies(source, target):
            uids = self._uid_words(file)
            if uids:
                _execute("dcmodify", "-nb", "-imt", "-ie", "-q", *uids, file)
            _execute("dcmodify", *self.common, file)
            with open(file, "r+b") as opened:
                opened.write(b"\0" * 128)  # the preamble, which dcmodify keeps


def _xml(file):
    # the encoding does not matter for UIDs; without one the program refuses character sets that XML does not know
    done = subprocess.run(["dcm2xml", "+Ca", "latin-1", file], capture_output=True, check=False)
    try:
        return xml.etree.ElementTree.fromstring(re.sub(rb"&#\d+;|\0", b"?", done.stdout))
    except xml.etree.ElementTree.ParseError:
        return xml.etree.ElementTree.Element("none")


def _uids(node, prefix):
    """The UIDs below a node of dcm2xml: (path as dcmodify takes it, tag, value)."""
    for part in node:
        if part.tag == "data-set":
            yield from _uids(part, prefix)
        elif part.tag == "element" and part.get("vr") == "UI":
            yield prefix + f"({part.get('tag')})", int(part.get("tag").replace(",", ""), 16), part.text
        elif part.tag == "sequence":
            for number, inner in enumerate(one for one in part if one.tag == "item"):
                yield from _uids(inner, prefix + f"({part.get('tag')})[{number}].")


class Pydicom:
    """pydicom_profile.py: the profile by its table, and a second round for the identifiers in texts."""

    def __init__(self, setting):
        self.setting, self.name = setting, "pydicom" if setting == table.BASIC else "pydicom, options"

    def run(self, source, target, scratch):
        done = _execute(sys.executable, os.path.join(HERE, "pydicom_profile.py"), source, target, self.setting)
        if done.stderr:
            print(f"{self.name}: {done.stderr[-500:]}", file=sys.stderr)
