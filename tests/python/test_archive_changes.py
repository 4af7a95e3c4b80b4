"""Archives that change between runs, or in which something has an odd name."""

import os
import signal
import subprocess
import sys
import threading
import time

import nibabel
import numpy as np
import pytest

import builders
import radvex
from radvex.archive import _index, find, index, open as open_volumes, volumes
from radvex.archive.__main__ import main
from radvex.archive._listing import folders
from radvex.archive._store import Index
from test_archive_deidentify import KEY, file_of, put


def slice_of(number, place=None, series="1.2.9"):
    """A slice full of its number."""
    made = builders.picture(np.full((3, 5), number, "u2"), PatientID="P", StudyInstanceUID="1.2", Modality="CT")
    made.SeriesInstanceUID = series
    made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"1.2.3.{number}"
    made.SOPClassUID = made.file_meta.MediaStorageSOPClassUID = builders.CT_IMAGE
    made.ImagePositionPatient = [0, 0, 2 * (number if place is None else place)]
    made.ImageOrientationPatient, made.PixelSpacing, made.InstanceNumber = [1, 0, 0, 0, 1, 0], [1, 1], number
    return builders.content(made)


def made(place, output="out", format="nifti"):
    """The counts of a run over the archive as it is now."""
    index(place / "archive", place / "i.sqlite", workers=0)
    return volumes(place / "i.sqlite", place / output, format=format, workers=0)


def slices_in(place, output="out"):
    """The number in each slice of the only volume."""
    image = nibabel.load(place / output / "1.2.9.nii.gz")
    return sorted(np.asarray(image.dataobj)[0, 0].tolist())


@pytest.fixture
def series(tmp_path):
    for number in range(4):
        put(tmp_path / "archive" / f"{number}.dcm", slice_of(number))
    return tmp_path


def test_an_older_file_of_the_same_size_is_noticed(series):
    assert made(series)["written"] == 1 and slices_in(series) == [0, 1, 2, 3]
    path = series / "archive" / "1.dcm"
    time_before = os.stat(path).st_mtime_ns
    put(path, slice_of(90, place=1))
    os.utime(path, ns=(time_before - 10**9,) * 2)
    assert made(series)["written"] == 1 and slices_in(series) == [0, 2, 3, 90]
    assert made(series)["unchanged"] == 1


def test_each_output_has_the_series_as_it_is_now(series):
    made(series)
    put(series / "archive" / "4.dcm", slice_of(4))
    assert made(series, "other")["written"] == 1
    assert made(series)["written"] == 1 and slices_in(series) == slices_in(series, "other") == [0, 1, 2, 3, 4]
    assert made(series)["unchanged"] == 1


@pytest.mark.parametrize("format", ["nifti", "zarr"])
def test_a_series_that_is_refused_now_leaves_no_volume(series, format):
    assert made(series, format=format)["written"] == 1 and len(os.listdir(series / "out")) == 1
    os.remove(series / "archive" / "2.dcm")
    assert made(series, format=format)["refused"] == 1 and os.listdir(series / "out") == []
    assert open_volumes(series / "out") == []


def test_what_another_program_put_there_stays(series):
    put(series / "out" / "1.2.9-mine.nii.gz", b"mine")
    made(series)
    os.remove(series / "archive" / "2.dcm")
    assert made(series)["refused"] == 1 and os.listdir(series / "out") == ["1.2.9-mine.nii.gz"]


def test_series_with_odd_identifiers_have_volumes_of_their_own(tmp_path):
    for number in range(2):
        for name, uid in (("a", "1.2.3_4"), ("b", "1.2.3/4"), ("c", "1.2.3x4")):
            content = slice_of(number, series="1.2.3#4").replace(b"1.2.3#4", uid.encode())
            put(tmp_path / "archive" / f"{name}{number}.dcm", content)
        content = slice_of(number, series="1.2.3#4").replace(b"1.2.3#4", b"1.2.3\xe94")
        put(tmp_path / "archive" / f"d{number}.dcm", content)
    assert made(tmp_path)["written"] == 4 and len(os.listdir(tmp_path / "out")) == 4
    assert {"1.2.3_4.nii.gz", "1.2.3x4.nii.gz"} < set(os.listdir(tmp_path / "out"))
    assert made(tmp_path)["unchanged"] == 4


def test_folders_whose_names_are_no_utf8_are_read(tmp_path):
    name = os.fsdecode(b"M\xfcller")
    for place in ("plain", name):
        put(tmp_path / "archive" / place / f"{name}.dcm", slice_of(1, series=f"1.2.{len(place)}"))
        put(tmp_path / "archive" / place / "plain.dcm", slice_of(2, series=f"1.2.{len(place)}"))
    put(tmp_path / "archive" / "\u00fc.dcm", slice_of(1, series="1.2.1"))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    paths = {os.fsencode(path) for path, *_ in find(tmp_path / "i.sqlite").rows}
    names = (b"M\xfcller.dcm", b"plain.dcm")
    below = {folder + b"/" + file for folder in (b"plain", b"M\xfcller") for file in names}
    assert paths == below | {b"\xc3\xbc.dcm"}
    assert made(tmp_path)["written"] == 3


def test_an_archive_that_is_not_mounted_keeps_its_index(series):
    counts = index(series / "archive", series / "i.sqlite", workers=0)
    os.rename(series / "archive", series / "away")
    os.makedirs(series / "archive")
    with pytest.raises(radvex.FileError, match="is the storage mounted"):
        index(series / "archive", series / "i.sqlite", workers=0)
    os.rmdir(series / "archive")
    os.rename(series / "away", series / "archive")
    again = index(series / "archive", series / "i.sqlite", workers=0)
    assert again["unchanged"] == counts["dicom"] == 4
    for number in range(1, 4):
        os.remove(series / "archive" / f"{number}.dcm")
    assert index(series / "archive", series / "i.sqlite", workers=0)["vanished"] == 3


def test_two_runs_may_begin_the_same_index(series):
    root, path, found = str(series / "archive"), str(series / "i.sqlite"), []
    first = Index(path, root)
    second = threading.Thread(target=lambda: found.append(index(root, path, workers=0)))
    second.start()
    time.sleep(0.5)  # it waits for the first
    assert not found
    first.commit()
    first.close()
    second.join()
    assert found[0]["dicom"] == 4


@pytest.mark.parametrize("closed", ["a", os.fsdecode(b"a\xfc"), ""])
def test_what_lies_below_a_folder_that_cannot_be_read_has_not_vanished(tmp_path, monkeypatch, capfdbinary, closed):
    places = [os.path.join(closed, "deep"), "ab/deep"]
    for number, place in enumerate(places):
        put(tmp_path / "archive" / place / "file.dcm", slice_of(number))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)

    def folders_without(root):
        for folder in folders(root):
            if folder.path == closed:
                yield folder._replace(problem="Permission denied", digest="", number=0, raw=b"")
            elif closed and not folder.path.startswith((closed + "/", "ab")):
                yield folder

    with monkeypatch.context() as patched:
        patched.setattr(_index, "folders", folders_without)
        counts = index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
        assert main(["index", str(tmp_path / "archive"), str(tmp_path / "i.sqlite"), "--workers", "0"]) == 3
    assert counts["closedFolders"] == [closed]
    name = os.fsencode(closed or str(tmp_path / "archive"))
    assert b"radvex-archive: 1 folder cannot be read: " + name + b"\n" in capfdbinary.readouterr().err
    vanished = {os.fsdecode(path) for path, *_ in find(tmp_path / "i.sqlite", "state = 'vanished'").rows}
    assert vanished == ({"ab/deep/file.dcm"} if closed else set()) and counts["vanished"] == len(vanished)
    again = index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    assert (again["dicom"], again["vanished"], again["read"]) == (2, 0, len(vanished))
    assert again["closedFolders"] == []


def test_an_empty_archive_has_an_empty_index(tmp_path):
    os.makedirs(tmp_path / "archive")
    for _ in range(2):
        assert index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)["dicom"] == 0


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_run_that_is_interrupted_leaves_nothing_unfinished(tmp_path, number):
    put(tmp_path / "key", KEY)
    for patient in range(150):
        put(tmp_path / "archive" / f"{patient}.dcm", file_of(patient, 1))
    os.makedirs(tmp_path / "tmp")
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    words = ["deidentify", tmp_path / "i.sqlite", tmp_path / "out", "--key", tmp_path / "key", "--workers", "2"]
    process = subprocess.Popen(
        [sys.executable, "-m", "radvex.archive", *words],
        env={**os.environ, "TMPDIR": str(tmp_path / "tmp")},
        stderr=subprocess.PIPE,
        start_new_session=True,
    )
    end = time.monotonic() + 60
    while not (tmp_path / "out").exists() or len(os.listdir(tmp_path / "out")) < 8:
        assert time.monotonic() < end and process.poll() is None
        time.sleep(0.02)
    process.send_signal(number)
    errors = process.communicate(timeout=60)[1].decode()
    assert process.returncode == 128 + number and "interrupted" in errors and "Traceback" not in errors
    left = os.listdir(tmp_path / "out")
    assert [name for name in left if name.startswith(".")] == [".radvex-lock"] and 5 < len(left) < 151
    assert os.listdir(tmp_path / "tmp") == []
