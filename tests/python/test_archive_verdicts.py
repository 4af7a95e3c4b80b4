"""Verdicts on series, from attributes alone, beside the volumes that are made of them."""

import json
import os
import signal

import numpy as np
import pydicom
import pytest

import builders
from radvex.archive import find, index, volumes
from radvex.archive._progress import FileCount, Teller
from builders import put


def slice_of(series, number, height, **attributes):
    made = builders.picture(builders.places(0) + np.uint16(number))
    made.PatientID, made.StudyInstanceUID, made.SeriesInstanceUID = "P", "1.2", f"1.2.{series}"
    made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"1.2.{series}.{number}"
    made.Modality, made.InstanceNumber = "CT", number
    made.ImagePositionPatient, made.ImageOrientationPatient = [0, 0, height], [1, 0, 0, 0, 1, 0]
    made.PixelSpacing, made.FrameOfReferenceUID = [0.5, 0.5], "1.2.9"
    return builders.content_with(made, attributes)


@pytest.fixture
def archive(tmp_path):
    """Series of three slices: even, with a gap, with two echoes, with a file that is none, and a text report."""
    root = tmp_path / "archive"
    for number in range(3):
        put(root / "even" / f"{number}.dcm", slice_of(1, number, 2 * number))
        put(root / "gap" / f"{number}.dcm", slice_of(2, number, [0, 2, 8][number]))
        for echo in (10, 20):
            dicom = slice_of(3, 3 * echo + number, 2 * number, Modality="MR", EchoTime=str(echo))
            put(root / "echoes" / f"{echo}-{number}.dcm", dicom)
    report = builders.dataset(PatientID="P", StudyInstanceUID="1.2", SeriesInstanceUID="1.2.4", Modality="SR")
    put(root / "report.dcm", builders.content(report))
    return root


def verdicts(path):
    rows = find(path, sql="SELECT SeriesInstanceUID, verdict, volumes, reason FROM series ORDER BY 1").rows
    return {uid: rest for uid, *rest in rows}


def test_each_series_is_judged_by_the_attributes_of_its_files(archive, tmp_path):
    counts = index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)
    assert counts["verdicts"] == 4
    found = verdicts(tmp_path / "i.sqlite")
    assert found["1.2.1"] == ["even", 1, None]
    assert found["1.2.2"][:2] == ["refused", 1] and "2 slices are missing" in found["1.2.2"][2]
    assert found["1.2.3"] == ["even", 2, None]
    assert found["1.2.4"][0] == "noPictures"
    row = find(tmp_path / "i.sqlite", sql="SELECT description FROM verdicts WHERE SeriesInstanceUID = '1.2.1'").rows
    volume = json.loads(next(row)[0])["volumes"][0]
    assert volume["shape"] == [3, 3, 5] and volume["geometry"]["spacing"] == [0.5, 0.5, 2]


def test_what_is_not_asked_for_is_not_judged(archive, tmp_path):
    assert index(archive, tmp_path / "i.sqlite", workers=0)["verdicts"] == 0
    assert set(map(tuple, verdicts(tmp_path / "i.sqlite").values())) == {(None, None, None)}
    assert index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)["verdicts"] == 4


def test_only_a_series_that_changed_is_judged_again(archive, tmp_path):
    index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)
    assert index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)["verdicts"] == 0
    put(archive / "gap" / "new.dcm", slice_of(2, 7, 4))
    put(archive / "gap" / "newer.dcm", slice_of(2, 8, 6))
    os.remove(archive / "gap" / "2.dcm")
    assert index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)["verdicts"] == 1
    assert verdicts(tmp_path / "i.sqlite")["1.2.2"] == ["even", 1, None]
    put(archive / "even" / "9.dcm", slice_of(1, 9, 30))
    index(archive, tmp_path / "i.sqlite", workers=0)  # a verdict on other files is none
    assert verdicts(tmp_path / "i.sqlite")["1.2.1"] == [None, None, None]


def test_verdicts_agree_with_the_volumes_of_all_samples(samples, tmp_path):
    index(samples, tmp_path / "i.sqlite", workers=0, verdicts=True)
    volumes(tmp_path / "i.sqlite", tmp_path / "out", workers=0)
    rows = list(
        find(
            tmp_path / "i.sqlite",
            sql="SELECT SeriesInstanceUID, verdict, series.volumes, group_concat(v.state), count(*) FROM series "
            "JOIN volumes AS v USING (SeriesInstanceUID) GROUP BY SeriesInstanceUID",
        ).rows
    )
    assert len(rows) > 30
    # Whether compressed pixels can be decoded no verdict looks at; in one sample they are broken.
    broken = pydicom.dcmread(os.path.join(samples, "JPEG2000-embedded-sequence-delimiter.dcm")).SeriesInstanceUID
    assert [row[1] for row in rows if row[0] == broken] == ["even"]
    rows = [row[1:] for row in rows if row[0] != broken]
    for verdict, count, states, made in rows:
        assert (verdict == "even") == (set(states.split(",")) == {"written"})
        assert verdict != "even" or count == made
    assert {verdict for verdict, *_ in rows} == {"even", "refused", "noPictures"}


def test_compressed_pixels_are_not_decoded_for_a_verdict(tmp_path, samples):
    path = os.path.join(samples, "MR_small_RLE.dcm")
    with open(path, "rb") as file:
        content = bytearray(file.read())
    start = content.index(next(pydicom.encaps.generate_pixel_data_frame(pydicom.dcmread(path).PixelData, 1)))
    content[start : start + 64] = b"\xff" * 64  # nobody can decode this
    put(tmp_path / "archive" / "broken.dcm", bytes(content))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0, verdicts=True)
    assert [found[0] for found in verdicts(tmp_path / "i.sqlite").values()] == ["even"]
    rows = list(find(tmp_path / "i.sqlite", sql="SELECT Rows, BitsStored FROM files").rows)
    assert rows == [(64, 16)]


def test_two_workers_say_the_same(archive, tmp_path):
    index(archive, tmp_path / "one.sqlite", workers=0, verdicts=True)
    index(archive, tmp_path / "two.sqlite", workers=2, verdicts=True)
    assert verdicts(tmp_path / "one.sqlite") == verdicts(tmp_path / "two.sqlite")


def test_a_file_that_kills_its_reader_is_told_of_its_series(archive, tmp_path, monkeypatch):
    index(archive, tmp_path / "i.sqlite", workers=0)
    put(archive / "single.dcm", slice_of(5, 1, 1))
    index(archive, tmp_path / "i.sqlite", workers=0)
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "single.dcm")
    index(archive, tmp_path / "i.sqlite", workers=0, verdicts=True)
    rows = list(find(tmp_path / "i.sqlite", sql="SELECT SeriesInstanceUID, signal FROM verdicts WHERE verdict = 'unreadable'").rows)
    assert rows == [("1.2.5", signal.SIGSEGV)]
    assert verdicts(tmp_path / "i.sqlite")["1.2.1"] == ["even", 1, None]


def test_files_are_counted_while_they_are_read(archive):
    os.symlink(archive, archive / "loop")
    with FileCount(str(archive)) as count:
        count._thread.join()
        assert count.total == sum(len(names) for _, _, names in os.walk(archive)) == 13
    with FileCount(str(archive / "absent")) as count:
        count._thread.join()
        assert count.total is None


def test_the_time_that_is_left_is_told_when_the_end_is_known(monkeypatch):
    from radvex.archive import _progress

    now = [100.0]
    monkeypatch.setattr(_progress.time, "monotonic", lambda: now[0])
    told = []
    teller = Teller(told.append)
    teller.tell({}, 1, 10)
    assert told == []  # too soon
    now[0] += 4
    teller.tell({"done": 2}, 2, 10)
    now[0] += 4
    teller.tell({}, 4, None)
    assert told[0] == {"done": 2, "seconds": 4.0, "total": 10, "secondsLeft": 16.0}
    assert told[1]["secondsLeft"] is None and len(told) == 2
