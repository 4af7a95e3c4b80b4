"""The check of an archive: what it reads, what it says is broken, and what it does when it is interrupted."""

import hashlib
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import time

import numpy as np
import pydicom
import pytest

import builders
import radvex
from radvex.archive import check, find, index
from radvex.archive import _check, _describe, _histograms, _progress
from radvex.archive._check import Files, judge
from radvex.archive._describe import Batch, rows_in
from radvex.archive._report import Chosen, kind_of
from radvex.archive._report_text import amount, lines
from builders import put

MAKERS = (("Alpha", "A1"), ("Beta $x_2$", "B1"))


def generated(number, pixels=None, **attributes):
    """A file of two makers, with pixels that no other number has."""
    made = builders.picture(builders.places(0) + np.uint16(300 * (number if pixels is None else pixels)))
    made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"1.2.3.{number}"
    made.StudyInstanceUID, made.SeriesInstanceUID = "1.2.77", "1.2.77.1"
    made.PatientID, made.PatientName = "SECRET-7", "Hidden^Person"
    made.Modality, made.StudyDate = "CT", f"{2010 + number % 3}0102"
    made.Manufacturer, made.ManufacturerModelName = MAKERS[number % 2]
    for keyword, value in attributes.items():
        if value is None:
            delattr(made, keyword)
        else:
            setattr(made, keyword, value)
    return builders.content(made)


def compressed(folder, syntax, number):
    """A compressed file, and the same with a first frame that nobody can decode."""
    path = os.path.join(folder, f"{syntax}-{number}.dcm")
    values = builders.places(2, 30, 50).astype("u2") + np.uint16(number)
    radvex.write(path, values, {"Manufacturer": "Gamma", "Modality": "OT"}, compress=syntax, force=True)
    with open(path, "rb") as file:
        content = file.read()
    frame = pydicom.encaps.generate_pixel_data_frame(pydicom.dcmread(path).PixelData, 2)
    at = content.index(next(frame))
    return content, content[:at] + b"\xff" * 24 + content[at + 24 :]


def digest(path):
    return hashlib.sha256(pydicom.dcmread(path).pixel_array.tobytes()).hexdigest()


def asked(path, sql):
    return list(find(path, sql=sql).rows)


def states(path):
    return {row[0]: row[1:] for row in asked(path, "SELECT path, state, reason, signal, digest FROM paths")}


@pytest.fixture
def archive(tmp_path, samples):
    """Eight good files, a report, a file with a cut, one in an unknown form, and broken pixels of two forms."""
    root = tmp_path / "archive"
    for number in range(8):
        put(root / f"{number % 3}" / f"{number}.dcm", generated(number))
    for syntax in ("RLE", "JPEGLossless"):
        good, bad = compressed(tmp_path, syntax, 1)
        put(root / syntax / "good.dcm", good)
        put(root / syntax / "bad.dcm", bad)
    put(root / "0" / "cut.dcm", generated(20)[:-10])
    put(root / "notes.txt", b"nothing of interest")
    shutil.copy(os.path.join(samples, "test-SR.dcm"), root / "report.dcm")
    with open(os.path.join(samples, "JPEG2000.dcm"), "rb") as file:
        put(root / "part2.dcm", file.read().replace(b"1.2.840.10008.1.2.4.91", b"1.2.840.10008.1.2.4.93"))
    return root


@pytest.fixture
def indexed(archive, tmp_path):
    path = tmp_path / "i.sqlite"
    index(archive, path, workers=0)
    return path


def totals(found):
    return {name: found[name] for name in EXPECTED}


EXPECTED = {"files": 15, "withPixels": 10, "withoutPixels": 1, "broken": 3, "notDecoded": 1, "notChecked": 0}


def test_each_file_is_counted_by_what_its_pixels_are(archive, indexed):
    found = check(indexed, workers=0)
    assert totals(found) == EXPECTED
    known = [path for path, row in states(indexed).items() if row[0] in ("dicom", "broken")]
    assert found["bytes"] == sum(os.path.getsize(archive / path) for path in known)
    assert (found["run"]["read"], found["run"]["failed"], found["run"]["different"]) == (14, 3, 0)


def test_digests_are_those_of_pydicom_and_empty_without_pixels(archive, indexed):
    check(indexed, workers=0)
    found = states(indexed)
    for path in ("0/0.dcm", "1/7.dcm", "RLE/good.dcm", "JPEGLossless/good.dcm"):
        if path.startswith("JPEG"):  # pydicom brings no decoder for it: the pixels are those of the RLE file
            assert found[path] == ("dicom", None, None, digest(archive / "RLE" / "good.dcm"))
        else:
            assert found[path] == ("dicom", None, None, digest(archive / path))
    assert found["report.dcm"] == ("dicom", None, None, "")
    assert found["notes.txt"][3] is None and found["0/cut.dcm"][3] is None


def test_pixels_that_cannot_be_decoded_have_a_reason(archive, indexed):
    check(indexed, workers=0)
    found = states(indexed)
    with pytest.raises(Exception):
        pydicom.dcmread(archive / "RLE" / "bad.dcm").pixel_array
    for path in ("RLE/bad.dcm", "JPEGLossless/bad.dcm"):
        assert found[path][0] == "dicom" and found[path][3] == ""
        assert "Could not open DICOM image" in found[path][1] and str(archive / path) in found[path][1]
    assert "JPEG 2000 Part 2, which cannot be decoded here" in found["part2.dcm"][1]


def test_what_was_read_is_not_read_again(indexed):
    first = check(indexed, workers=0)
    again = check(indexed, workers=0)
    assert again["run"]["read"] == 0
    assert {**again, "run": None} == {**first, "run": None}


def test_the_indexer_leaves_nothing_to_check_and_reads_nothing_twice(archive, tmp_path):
    path = tmp_path / "d.sqlite"
    index(archive, path, workers=0, digests=True)
    assert states(path)["report.dcm"][3] == "" and "Could not open" in states(path)["RLE/bad.dcm"][1]
    put(archive / "new.txt", b"the folder of the report is looked at again")
    assert index(archive, path, workers=0, digests=True)["read"] == 1
    found = check(path, workers=0)
    assert found["run"]["read"] == 0 and totals(found) == EXPECTED


def test_the_indexer_trusts_what_was_checked(archive, indexed):
    check(indexed, workers=0)
    assert index(archive, indexed, workers=0, digests=True)["read"] == 0
    put(archive / "0" / "new.dcm", generated(30))
    assert index(archive, indexed, workers=0, digests=True)["read"] == 1


def test_without_digests_the_indexer_says_nothing_of_pixels(indexed):
    assert {row[3] for row in states(indexed).values()} == {None}


def test_broken_files_are_counted_by_kind_and_maker(archive, indexed):
    put(archive / "1" / "cut.dcm", generated(21)[:-4])
    index(archive, indexed, workers=0)
    found = check(indexed, workers=0)
    kinds = {kind["kind"]: kind for kind in found["brokenKinds"]}
    assert [kind["files"] for kind in found["brokenKinds"]] == [2, 2]
    cut = kinds["is cut off, in its pixels"]
    assert [maker["files"] for maker in cut["makers"]] == [2] and cut["makers"][0]["shareOfFiles"] is None
    assert cut["makers"][0]["example"] == "0/cut.dcm"
    undecoded = next(kind for name, kind in kinds.items() if "Could not open" in name)
    assert undecoded["bytes"] == sum(os.path.getsize(archive / form / "bad.dcm") for form in ("RLE", "JPEGLossless"))
    made = {maker["TransferSyntaxUID"]: maker for maker in undecoded["makers"]}
    assert sorted(made) == ["1.2.840.10008.1.2.4.70", "1.2.840.10008.1.2.5"]
    rle = made["1.2.840.10008.1.2.5"]
    sizes = {name: os.path.getsize(archive / "RLE" / f"{name}.dcm") for name in ("good", "bad")}
    assert (rle["Manufacturer"], rle["Modality"], rle["files"], rle["bytes"]) == ("Gamma", "OT", 1, sizes["bad"])
    assert rle["shareOfFiles"] == 0.5 and rle["shareOfBytes"] == sizes["bad"] / sum(sizes.values())
    assert [kind["files"] for kind in found["notDecodedKinds"]] == [1]


@pytest.mark.parametrize(
    "sentence, kind",
    [
        ("/a b/c 1.dcm is cut off at byte 9630 of 9692, in its pixels.", "is cut off, in its pixels"),
        ("/a b/c 1.dcm is cut off at byte 1 of at least 92, in its pixels.", "is cut off, in its pixels"),
        ("/a b/c 1.dcm is cut off at byte 9 of at least 23, in (300A,00B0).", "is cut off, in an element"),
        ("/a b/c 1.dcm is cut off at byte 9 of 23, in its meta information.", "is cut off, in its meta information"),
        ("/a b/c 1.dcm: the reader ended with signal 11 (SIGSEGV).", "the reader ended with signal N (SIGSEGV)"),
        ("/a b/c 1.dcm: the reader ended with signal 6 (SIGABRT).", "the reader ended with signal N (SIGABRT)"),
        ("/a b/c 1.dcm has pixels compressed with JPEG 2000, which", "has pixels compressed with JPEG 2000, which"),
        ("Its value 'Doe^John' has 12 parts in 1.2.840.10008.1.2.4.50.", "Its value '...' has N parts in UID"),
        ("The file's end is the reader's.", "The file's end is the reader's"),
        ("Could not open /a b/c 1.dcm. Status: 5.", "Could not open FILE. Status: N"),
        ("Could not open /other/way.dcm. Bad", "Could not open FILE. Bad"),
    ],
)
def test_sentences_of_one_kind_are_equal_and_name_no_file(sentence, kind):
    assert kind_of(sentence, "/a b/c 1.dcm") == kind


def test_a_name_that_is_no_utf8_is_not_part_of_the_kind(archive, indexed):
    put(archive / os.fsdecode(b"M\xfcller 12.dcm"), generated(22)[:-6])
    index(archive, indexed, workers=0)
    found = check(indexed, workers=0)
    assert [kind["files"] for kind in found["brokenKinds"]] == [2, 2]


def test_the_grouped_report_tells_nothing_of_patients(indexed):
    found = json.dumps(check(indexed, workers=0)) + "\n".join(lines(check(indexed, workers=0)))
    assert "Gamma" in found
    assert not [word for word in ("SECRET", "Hidden", "1.2.77", "1.2.3.") if word in found]


def test_a_file_that_kills_its_reader_is_broken_with_its_signal(archive, indexed, monkeypatch):
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "/1/4.dcm")
    found = check(indexed, workers=0)
    assert totals(found) == {**EXPECTED, "withPixels": 9, "broken": 4}
    assert states(indexed)["1/4.dcm"][0] == "broken" and states(indexed)["1/4.dcm"][2] == signal.SIGSEGV
    killed = next(kind for kind in found["brokenKinds"] if "SIGSEGV" in kind["kind"])
    assert killed["makers"][0]["Manufacturer"] == "Alpha" and killed["makers"][0]["example"] == "1/4.dcm"
    assert check(indexed, workers=0)["run"]["read"] == 0


def test_pixels_that_cannot_be_read_have_a_reason_and_no_digest(archive):
    short = builders.picture(builders.places(0), Rows=500)
    sizeless = builders.picture(builders.places(0))
    del sizeless.Rows
    put(archive / "short.dcm", builders.content(short))
    put(archive / "sizeless.dcm", builders.content(sizeless))
    paths = ["0/0.dcm", "part2.dcm", "RLE/bad.dcm", "RLE/good.dcm", "short.dcm", "sizeless.dcm"]
    rows = rows_in(_describe.describe(Batch(str(archive), paths, True)))
    assert [row[0] for row in rows] == ["dicom"] * 6
    good, part2, bad, rle, few, unknown = [row[1] for row in rows]
    assert good is None and rle is None
    assert "JPEG 2000 Part 2, which cannot be decoded here" in part2 and str(archive / "RLE" / "bad.dcm") in bad
    assert few.endswith("short.dcm holds fewer pixels than its attributes promise.")
    assert unknown.endswith("sizeless.dcm has pixels without a size.")
    assert [bool(row[3]) for row in rows] == [True, False, False, True, False, False]


def test_what_changed_since_it_was_indexed_is_not_judged(archive, indexed):
    put(archive / "0" / "0.dcm", generated(40)[:-10])
    put(archive / "1" / "1.dcm", generated(41))  # of the same size
    os.remove(archive / "2" / "2.dcm")
    found = check(indexed, workers=0)
    assert (found["run"]["read"], found["run"]["different"]) == (11, 3)
    assert sorted(found["run"]["examples"]) == ["0/0.dcm", "1/1.dcm", "2/2.dcm"]
    assert totals(found) == {**EXPECTED, "withPixels": 7, "notChecked": 3}
    assert states(indexed)["0/0.dcm"] == ("dicom", None, None, None)
    index(archive, indexed, workers=0)
    found = check(indexed, workers=0)
    assert (found["run"]["read"], found["run"]["different"]) == (1, 0)
    assert totals(found) == {**EXPECTED, "files": 14, "withPixels": 8, "broken": 4}


def test_a_file_that_changes_while_it_is_read_is_not_judged(archive, monkeypatch):
    def stamp(path):
        found = os.stat(archive / path)
        return found.st_size, found.st_mtime_ns

    paths = ["0/0.dcm", "1/1.dcm"]
    files = Files(Batch(str(archive), paths, True), [(1, "0.dcm"), (2, "1.dcm")], [stamp(path) for path in paths])
    assert [record[0] for record in judge(files)] == ["dicom", "dicom"]

    def described(batch):
        put(archive / "1" / "1.dcm", generated(50) + b"\0\0")
        return _describe.describe(batch)

    monkeypatch.setattr(_check, "describe", described)
    first, second = judge(files)
    assert first[3] == digest(archive / "0" / "0.dcm") and second is None


def test_a_part_is_halved_without_a_loss():
    files = Files(Batch("/", ["a", "b", "c"], True), [(1, "a"), (1, "b"), (1, "c")], [(1, 1), (2, 2), (3, 3)])
    first, second = files.parts()
    assert (first.keys + second.keys, first.stamps + second.stamps) == (files.keys, files.stamps)
    assert first.batch.paths == ["a"] and second.batch.paths == ["b", "c"]
    assert first.parts() == []
    assert [record[:3] for record in files.lost("why", 9)] == [["broken", "why", 9]] * 3


def test_only_what_is_asked_for_is_read_and_reported(archive, indexed):
    found = check(indexed, "Manufacturer = ?", ["Gamma"], workers=0)
    expected = {"files": 4, "withPixels": 2, "withoutPixels": 0, "broken": 2, "notDecoded": 0, "notChecked": 0}
    assert totals(found) == expected
    assert states(indexed)["0/0.dcm"][3] is None
    assert totals(check(indexed, "Rows > 5000", workers=0))["files"] == 0
    with pytest.raises(radvex.UsageError, match="no condition of SQL"):
        check(indexed, "Manufactrer = 'Gamma'", workers=0)
    assert check(indexed, workers=0)["run"]["read"] == 10


def test_what_is_no_index_is_refused(tmp_path):
    with pytest.raises(FileNotFoundError):
        check(tmp_path / "absent.sqlite", workers=0)
    assert not (tmp_path / "absent.sqlite").exists()
    with sqlite3.connect(tmp_path / "foreign.sqlite") as database:
        database.execute("CREATE TABLE mine (a)")
    with pytest.raises(radvex.FileError, match="no index"):
        check(tmp_path / "foreign.sqlite", workers=0)


@pytest.fixture
def doubtful(tmp_path):
    """Copies, shared identifiers, series whose files disagree; and what is next to each and legal."""
    root = tmp_path / "archive"
    half, broken_half = compressed(tmp_path, "RLE", 2)
    files = {
        "good/0": generated(0),
        "good/1": generated(1),
        "copy/a": generated(2, pixels=60, SeriesInstanceUID="1.2.77.2"),
        "copy/b": generated(3, pixels=60, SeriesInstanceUID="1.2.77.3"),
        "copy/c": generated(3, pixels=60, SeriesInstanceUID="1.2.77.3"),  # the same file as b
        "other/a": generated(4, pixels=61),
        "other/b": generated(4, pixels=62),
        "half/a": half,
        "half/b": broken_half,  # nothing is known of its pixels
        "twice/a": generated(5, pixels=63),
        "twice/b": generated(5, pixels=63),
        "size/a": generated(6, SeriesInstanceUID="1.2.77.4"),
        "size/b": generated(7, SeriesInstanceUID="1.2.77.4", Rows=5, Columns=3),
        "modality/a": generated(8, SeriesInstanceUID="1.2.77.5"),
        "modality/b": generated(9, SeriesInstanceUID="1.2.77.5", Modality="MR"),
        "patient/a": generated(10, SeriesInstanceUID="1.2.77.6"),
        "patient/b": generated(11, SeriesInstanceUID="1.2.77.6", PatientID=""),
        "study/a": generated(12, SeriesInstanceUID="1.2.77.7"),
        "study/b": generated(13, SeriesInstanceUID="1.2.77.7", StudyInstanceUID="1.2.78"),
        "missing/a": generated(14, SeriesInstanceUID=None),
        "missing/b": generated(15, StudyInstanceUID=None, SeriesInstanceUID="1.2.77.8"),
        "missing/c": generated(16, PatientID=None, SeriesInstanceUID="1.2.77.9"),  # may be
    }
    for name, content in files.items():
        put(root / f"{name}.dcm", content)
    path = tmp_path / "i.sqlite"
    index(root, path, workers=0)
    return path, {name: len(content) for name, content in files.items()}


def of(sizes, *names):
    """The numbers of these files, the first and the last of which are the examples."""
    numbers = {"files": len(names), "bytes": sum(sizes[name] for name in names)}
    return {**numbers, "examples": [f"{names[0]}.dcm", f"{names[-1]}.dcm"]}


def test_copies_of_pixels_are_found_under_other_identifiers_only(doubtful):
    path, sizes = doubtful
    found = check(path, workers=0)
    assert found["copiesOfPixels"] == {"pictures": 1, **of(sizes, "copy/a", "copy/b", "copy/c")}


def test_an_identifier_with_other_pixels_is_told_from_one_with_the_same(doubtful):
    path, sizes = doubtful
    found = check(path, workers=0)["sameIdentifier"]
    assert found["otherPixels"] == {"identifiers": 1, **of(sizes, "other/a", "other/b")}
    same = [sizes[name] for name in ("copy/b", "copy/c", "twice/a", "twice/b")]
    numbers = {name: found["samePixels"][name] for name in ("identifiers", "files", "bytes")}
    assert numbers == {"identifiers": 2, "files": 4, "bytes": sum(same)}
    assert found["samePixels"]["examples"] in (["copy/b.dcm", "copy/c.dcm"], ["twice/a.dcm", "twice/b.dcm"])


def test_series_whose_files_disagree_are_found_and_others_not(doubtful):
    path, sizes = doubtful
    found = check(path, workers=0)["seriesThatDisagree"]
    parts = {"size": "size", "Modality": "modality", "PatientID": "patient", "StudyInstanceUID": "study"}
    assert found == {name: {"series": 1, **of(sizes, f"{part}/a", f"{part}/b")} for name, part in parts.items()}


def test_files_without_an_identifier_are_counted(doubtful, tmp_path, samples):
    path, sizes = doubtful
    shutil.copy(os.path.join(samples, "dicomdirtests", "DICOMDIR"), tmp_path / "archive")  # which has none
    index(tmp_path / "archive", path, workers=0)
    found = check(path, workers=0)["missing"]
    none = {"files": 0, "bytes": 0, "examples": []}
    assert found == {
        "SOPClassUID": none,
        "SOPInstanceUID": none,
        "StudyInstanceUID": {"files": 1, "bytes": sizes["missing/b"], "examples": ["missing/b.dcm"]},
        "SeriesInstanceUID": {"files": 1, "bytes": sizes["missing/a"], "examples": ["missing/a.dcm"]},
        "TransferSyntaxUID": none,
    }


def run(*words):
    command = [sys.executable, "-m", "radvex.archive", *words]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def test_the_command_reports_and_its_status_says_whether_all_was_judged(archive, doubtful):
    path, _ = doubtful
    status, output, errors = run("check", path, "--workers", "0")
    assert (status, errors) == (0, "")
    assert "2 files" in output and "is cut off, in its pixels" in output and "(copies of pixels)" in output
    assert "of Gamma, OT, RLE: 50.00% of its files" in output
    status, output, _ = run("check", path, "--workers", "0", "--json", "--where", "Manufacturer = 'Gamma'")
    assert status == 0 and json.loads(output)["broken"] == 3
    put(archive / "9" / "late.dcm", generated(70))
    index(archive, path, workers=0)
    put(archive / "9" / "late.dcm", generated(71) + b"\0\0")
    status, output, errors = run("check", path, "--workers", "0")
    assert status == 3 and errors.count("9/late.dcm") == 1 and "Index the archive again" in errors
    assert "Broken" in output
    assert run("check", path, "--where", "nonsense")[0] == 2
    assert run("check", str(path) + "-absent")[0] == 1


def test_numbers_are_said_with_a_unit_that_fits():
    sizes = (0, 999, 1000, 123456, 5e12)
    assert [amount(size) for size in sizes] == ["0 bytes", "999 bytes", "1 KB", "123 KB", "5 TB"]


def words_of(figure):
    text = type(figure.axes[0].title)
    return " ".join(each.get_text() for each in figure.findobj(text))


def test_histograms_show_the_numbers_of_the_report_and_nobody(archive, indexed, tmp_path):
    check(indexed, histograms=tmp_path / "pictures", workers=0)
    for name in ("sizes", "years", "broken", "syntaxes"):
        assert (tmp_path / "pictures" / f"{name}.png").read_bytes().startswith(b"\x89PNG\r\n\x1a\n")
    with Chosen(str(indexed), None, ()) as chosen:
        sizes, years = _histograms._sizes(chosen), _histograms._years(chosen)
        broken, syntaxes = _histograms._broken(chosen), _histograms._syntaxes(chosen)
    assert sum(bar.get_height() for bar in sizes.axes[0].patches) == 15
    dated = {2010: 3, 2011: 3, 2012: 2}
    compressed_ones = [f"{form}/{name}.dcm" for form in ("RLE", "JPEGLossless") for name in ("good", "bad")]
    for path in ["report.dcm", "part2.dcm", *compressed_ones]:
        date = pydicom.dcmread(archive / path).get("StudyDate")
        if date:
            dated[int(date[:4])] = dated.get(int(date[:4]), 0) + 1
    bars = {round(bar.get_x() + bar.get_width() / 2): bar.get_height() for bar in years.axes[0].patches}
    assert bars == dated
    assert f"{15 - sum(dated.values())} files without one" in words_of(years)
    # half of Gamma; and of the cut file and the report, which have no maker
    assert [bar.get_width() for bar in broken.axes[0].patches] == [50, 50]
    assert sum(bar.get_width() for bar in syntaxes.axes[0].patches) == 15 and "RLE" in words_of(syntaxes)
    for figure in (sizes, years, broken, syntaxes):
        assert not [word for word in ("SECRET", "Hidden", "1.2.77", "1.2.3") if word in words_of(figure)]


def test_histograms_of_nothing_are_drawn_too(indexed, tmp_path):
    check(indexed, "Modality = 'XX'", histograms=tmp_path / "pictures", workers=0)
    assert len(os.listdir(tmp_path / "pictures")) == 4


def test_names_of_makers_are_no_formulas(indexed, tmp_path):
    with sqlite3.connect(indexed) as database:
        change = "UPDATE files SET state = 'broken', reason = 'why', Manufacturer = '$\\frac{$' WHERE name = '1.dcm'"
        database.execute(change)
    check(indexed, histograms=tmp_path / "pictures", workers=0)
    with Chosen(str(indexed), None, ()) as chosen:
        assert "$\\frac{$ B1" in words_of(_histograms._broken(chosen))


def test_without_matplotlib_only_histograms_are_refused_and_before_the_work(indexed, tmp_path, monkeypatch):
    monkeypatch.setitem(sys.modules, "matplotlib.figure", None)
    with pytest.raises(ImportError, match="apt-get install python3-matplotlib"):
        check(indexed, histograms=tmp_path / "pictures", workers=0)
    assert not (tmp_path / "pictures").exists() and states(indexed)["0/0.dcm"][3] is None
    assert totals(check(indexed, workers=0)) == EXPECTED


def test_matplotlib_is_loaded_only_for_histograms(indexed):
    code = (
        "import sys, radvex.archive; radvex.archive.check(sys.argv[1], workers=0); "
        "assert not {'matplotlib', 'distributed', 'pandas'} & set(sys.modules)"
    )
    builders.run(code, str(indexed))


def test_progress_tells_what_is_left_and_for_how_long(indexed, monkeypatch):
    monkeypatch.setattr(_check, "_MOST", 5)
    monkeypatch.setattr(_progress, "_BETWEEN", 0)
    told = []
    check(indexed, workers=0, progress=told.append)
    assert [(state["done"], state["total"]) for state in told] == [(5, 14), (10, 14), (14, 14)]
    assert told[-1]["secondsLeft"] == 0 and told[-1]["failed"] == 3
    for state in told:
        left = state["seconds"] * (14 - state["done"]) / state["done"]
        assert state["secondsLeft"] == pytest.approx(left, rel=0.5, abs=0.01)


def test_a_file_that_is_found_broken_leaves_its_series(archive, indexed, monkeypatch):
    def counted():
        return asked(indexed, "SELECT files FROM series WHERE SeriesInstanceUID = '1.2.77.1'")[0][0]

    check(indexed, workers=0)
    index(archive, indexed, workers=0)
    assert counted() == 8
    with sqlite3.connect(indexed) as database:
        database.execute("UPDATE files SET digest = NULL")
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "/1/4.dcm")
    check(indexed, workers=0)
    index(archive, indexed, workers=0)
    assert counted() == 7


CLUSTER = """
import json, sys
from radvex.archive import _check, check
if __name__ == "__main__":
    _check._MOST = 500
    print(json.dumps(check(sys.argv[1], workers=2)))
"""


def checking(path, **options):
    """A process that checks an index with two workers of a cluster of its own."""
    script = os.path.join(os.path.dirname(path), "checking.py")
    with open(script, "w") as file:
        file.write(CLUSTER)
    environment = {**os.environ, "TMPDIR": str(os.path.dirname(path))}
    return subprocess.Popen(
        [sys.executable, script, path], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment, **options
    )


def many(root, count, folder):
    """Small good files, broken ones and some without pixels, in folders of 500."""
    good, bad = compressed(folder, "RLE", 1)
    report = builders.content(builders.dataset(Modality="SR", Manufacturer="Delta"))
    contents = [generated(number) for number in range(40)]
    for number in range(count):
        content = bad if number % 200 == 7 else report if number % 50 == 3 else contents[number % 40]
        put(root / f"{number // 500:03}" / f"{number:05}.dcm", content)


def test_two_workers_report_what_one_process_reports(tmp_path, monkeypatch):
    many(tmp_path / "archive", 6000, tmp_path)
    one, two = tmp_path / "one.sqlite", tmp_path / "two.sqlite"
    index(tmp_path / "archive", one, workers=0)
    shutil.copy(one, two)
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "/01000.dcm")
    process = checking(two)
    alone = check(one, workers=0)
    output, errors = process.communicate(timeout=120)
    assert process.returncode == 0, errors.decode()[-2000:]
    together = json.loads(output)
    alone["run"]["seconds"] = together["run"]["seconds"] = 0
    assert together == alone
    expected = {"withPixels": 5849, "withoutPixels": 120, "broken": 31, "notDecoded": 0, "notChecked": 0}
    assert totals(alone) == {"files": 6000, **expected}
    assert states(one) == states(two)


def test_a_check_that_is_killed_goes_on_where_it_was(tmp_path):
    many(tmp_path / "archive", 8000, tmp_path)
    path = tmp_path / "i.sqlite"
    index(tmp_path / "archive", path, workers=0)

    def judged():
        return asked(path, "SELECT count(*) FROM files WHERE digest IS NOT NULL")[0][0]

    process = checking(path, start_new_session=True)
    end = time.monotonic() + 60
    while not judged():
        assert time.monotonic() < end
        time.sleep(0.03)
    os.killpg(process.pid, signal.SIGKILL)
    process.communicate()
    before = judged()
    found = check(path, workers=0)
    assert 0 < before < 8000 and found["run"]["read"] == 8000 - before  # nothing twice
    assert (found["withPixels"], found["withoutPixels"], found["broken"]) == (7800, 160, 40)
