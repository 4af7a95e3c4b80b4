"""Indexes of archives: by this process, and by a cluster of two workers of Dask."""

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
import psutil
import pydicom
import pytest

import builders
import radvex
import radvex.archive
from radvex.archive import find, frame, index
from radvex.archive._describe import Batch, describe, rows_in
from builders import put

COLUMNS = "SOPClassUID, SOPInstanceUID, TransferSyntaxUID, PatientID, SeriesInstanceUID, Modality, Rows, Columns"


def generated(number):
    """A file of one of four series of two patients."""
    dataset = builders.picture(builders.places(0) + np.uint16(number))
    dataset.PatientID = f"P{number % 2}"
    dataset.StudyInstanceUID = f"1.2.{number % 2}"
    dataset.SeriesInstanceUID = f"1.2.{number % 2}.{number % 4}"
    dataset.SOPInstanceUID = f"1.2.3.{number}"
    dataset.file_meta.MediaStorageSOPInstanceUID = dataset.SOPInstanceUID
    dataset.Modality = "CT" if number % 4 < 2 else "MR"
    return builders.content(dataset)


@pytest.fixture
def archive(tmp_path):
    """24 files in three folders, a text, a cut file and an empty folder."""
    root = tmp_path / "archive"
    for number in range(24):
        put(root / f"{number % 3}" / "deep" / f"{number:02}.dcm", generated(number))
    put(root / "notes.txt", b"nothing of interest")
    put(root / "0" / "cut.dcm", generated(0)[:-20])
    os.makedirs(root / "empty")
    return root


def rows(path, columns=COLUMNS, where="state = 'dicom'"):
    return list(find(path, sql=f"SELECT path, {columns} FROM paths WHERE {where} ORDER BY path").rows)


def states(path):
    return dict(find(path, sql="SELECT path, state FROM paths").rows)


def numbers(counts):
    return {name: counts[name] for name in ("read", "unchanged", "dicom", "notDicom", "broken", "vanished")}


def test_each_file_has_a_row_that_says_what_pydicom_reads(archive, tmp_path):
    counts = index(archive, tmp_path / "i.sqlite", workers=0)
    assert numbers(counts) == {"read": 26, "unchanged": 0, "dicom": 24, "notDicom": 1, "broken": 1, "vanished": 0}
    found = rows(tmp_path / "i.sqlite")
    assert len(found) == 24
    for path, sop_class, instance, syntax, patient, series, modality, rows_, columns in found:
        dataset = pydicom.dcmread(archive / path)
        assert (sop_class, instance) == (dataset.SOPClassUID, dataset.SOPInstanceUID)
        assert syntax == dataset.file_meta.TransferSyntaxUID
        assert (patient, series, modality) == (dataset.PatientID, dataset.SeriesInstanceUID, dataset.Modality)
        assert (rows_, columns) == (dataset.Rows, dataset.Columns)
    sizes = dict(find(tmp_path / "i.sqlite", sql="SELECT path, size FROM paths").rows)
    assert all(os.path.getsize(archive / path) == size for path, size in sizes.items())


def test_what_is_no_dicom_and_what_is_broken_says_why(archive, tmp_path):
    index(archive, tmp_path / "i.sqlite", workers=0)
    reasons = dict(find(tmp_path / "i.sqlite", sql="SELECT path, reason FROM paths WHERE state != 'dicom'").rows)
    assert sorted(reasons) == ["0/cut.dcm", "notes.txt"]
    assert "looks like a text" in reasons["notes.txt"] and "is cut off at byte" in reasons["0/cut.dcm"]


def test_series_and_studies_are_counted(archive, tmp_path):
    index(archive, tmp_path / "i.sqlite", workers=0)
    series = list(find(tmp_path / "i.sqlite", sql="SELECT SeriesInstanceUID, PatientID, files FROM series ORDER BY 1").rows)
    assert series == [("1.2.0.0", "P0", 6), ("1.2.0.2", "P0", 6), ("1.2.1.1", "P1", 6), ("1.2.1.3", "P1", 6)]
    studies = list(find(tmp_path / "i.sqlite", sql="SELECT StudyInstanceUID, series, files FROM studies ORDER BY 1").rows)
    assert studies == [("1.2.0", 2, 12), ("1.2.1", 2, 12)]


def test_what_did_not_change_is_not_read_again(archive, tmp_path):
    path = tmp_path / "i.sqlite"
    index(archive, path, workers=0)
    before = rows(path)
    assert numbers(index(archive, path, workers=0))["unchanged"] == 26
    assert rows(path) == before


def test_a_change_an_addition_and_a_loss_are_found(archive, tmp_path):
    path = tmp_path / "i.sqlite"
    index(archive, path, workers=0)
    put(archive / "1" / "deep" / "01.dcm", generated(99))
    put(archive / "empty" / "new.dcm", generated(50))
    (archive / "2" / "deep" / "02.dcm").unlink()
    shutil.rmtree(archive / "0")
    counts = numbers(index(archive, path, workers=0))
    assert counts == {"read": 2, "unchanged": 15, "dicom": 16, "notDicom": 1, "broken": 0, "vanished": 10}
    assert dict(find(path, sql="SELECT path, SOPInstanceUID FROM paths").rows)["1/deep/01.dcm"] == "1.2.3.99"
    assert states(path)["2/deep/02.dcm"] == states(path)["0/cut.dcm"] == "vanished"
    put(archive / "0" / "cut.dcm", generated(0)[:-20])  # back again
    assert numbers(index(archive, path, workers=0))["broken"] == 1


def test_digests_are_those_of_the_stored_values(archive, tmp_path):
    path = tmp_path / "i.sqlite"
    index(archive, path, workers=0)
    assert numbers(index(archive, path, workers=0, digests=True))["read"] == 24  # those that may have one
    for name, digest in find(path, sql="SELECT path, digest FROM paths WHERE state = 'dicom'").rows:
        pixels = pydicom.dcmread(archive / name).pixel_array
        assert digest == hashlib.sha256(pixels.tobytes()).hexdigest()
    assert numbers(index(archive, path, workers=0, digests=True))["read"] == 0
    assert numbers(index(archive, path, workers=0))["read"] == 0  # more is known than is asked for


def test_a_file_that_kills_its_reader_is_recorded_with_its_signal(archive, tmp_path, monkeypatch):
    put(archive / "1" / "killer.dcm", generated(77))
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "killer.dcm")
    counts = index(archive, tmp_path / "i.sqlite", workers=0)
    assert numbers(counts)["dicom"] == 24
    found = list(find(tmp_path / "i.sqlite", sql="SELECT path, signal, reason FROM paths WHERE signal IS NOT NULL").rows)
    assert [(path, number) for path, number, _ in found] == [("1/killer.dcm", signal.SIGSEGV)]
    assert "SIGSEGV" in found[0][2]
    assert numbers(index(archive, tmp_path / "i.sqlite", workers=0))["read"] == 0  # it is not tried again


def test_names_that_are_no_utf8_are_kept(archive, tmp_path):
    name = os.fsdecode(b"M\xfcller.dcm")
    put(archive / name, generated(3))
    index(archive, tmp_path / "i.sqlite", workers=0)
    index(archive, tmp_path / "i.sqlite", workers=0)
    done = subprocess.run(
        [sys.executable, "-m", "radvex.archive", "find", tmp_path / "i.sqlite", "--paths", "-0"],
        check=True,
        stdout=subprocess.PIPE,
    )
    assert b"M\xfcller.dcm" in done.stdout.split(b"\0")
    assert len(done.stdout.split(b"\0")) == 28


def test_links_are_not_counted_twice(archive, tmp_path):
    os.symlink(archive / "1" / "deep" / "01.dcm", archive / "link.dcm")
    os.symlink(archive, archive / "loop")
    put(tmp_path / "outside.dcm", generated(5))
    os.symlink(tmp_path / "outside.dcm", archive / "outside.dcm")
    counts = index(archive, tmp_path / "i.sqlite", workers=0)
    assert counts["dicom"] == 25 and "outside.dcm" in states(tmp_path / "i.sqlite")


def test_an_index_belongs_to_one_archive(archive, tmp_path):
    index(archive, tmp_path / "i.sqlite", workers=0)
    os.makedirs(tmp_path / "other")
    with pytest.raises(radvex.FileError, match="is the index of"):
        index(tmp_path / "other", tmp_path / "i.sqlite", workers=0)
    put(tmp_path / "text.sqlite", b"no database, but a longer text than the head of one would be, " * 20)
    with pytest.raises(radvex.FileError, match="cannot be used as an index"):
        index(archive, tmp_path / "text.sqlite", workers=0)
    with sqlite3.connect(tmp_path / "foreign.sqlite") as database:
        database.execute("CREATE TABLE mine (a)")
    with pytest.raises(radvex.FileError, match="something else"):
        index(archive, tmp_path / "foreign.sqlite", workers=0)
    with pytest.raises(FileNotFoundError):
        index(tmp_path / "absent", tmp_path / "new.sqlite", workers=0)
    assert numbers(index(archive, tmp_path / "i.sqlite", workers=0))["unchanged"] == 26


def test_queries_change_nothing_and_are_refused_with_a_sentence(archive, tmp_path):
    path = tmp_path / "i.sqlite"
    index(archive, path, workers=0)
    assert len(list(find(path, "Modality = ? AND PatientID = 'P0'", ["CT"]).rows)) == 6
    assert len(list(find(path).rows)) == 26
    with pytest.raises(radvex.UsageError, match="no query"):
        find(path, "Modalty = 'CT'")
    for sql in ("DELETE FROM files", f"VACUUM INTO '{tmp_path}/copy'", f"ATTACH '{tmp_path}/copy' AS copy"):
        with pytest.raises(radvex.UsageError, match="denied|not authorized|prohibited"):
            list(find(path, sql=sql).rows)
    assert not (tmp_path / "copy").exists()
    with pytest.raises(radvex.UsageError):
        find(path, "1", sql="SELECT 1")
    with pytest.raises(FileNotFoundError):
        find(tmp_path / "absent.sqlite")
    assert len(list(find(path).rows)) == 26
    table = frame(path, "Modality = 'MR'")
    assert list(table.PatientID.value_counts().sort_index().items()) == [("P0", 6), ("P1", 6)]


def test_the_command_indexes_and_finds(archive, tmp_path):
    def run(*words):
        done = subprocess.run(
            [sys.executable, "-m", "radvex.archive", *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE
        )
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    status, output, _ = run("index", archive, tmp_path / "i.sqlite", "--workers", "0", "--json")
    assert status == 0 and json.loads(output)["dicom"] == 24
    status, output, _ = run("find", tmp_path / "i.sqlite", "--where", "InstanceNumber IS NULL AND Modality = 'CT'", "--paths")
    assert status == 0 and len(output.splitlines()) == 12
    assert run("find", tmp_path / "i.sqlite", "--where", "nonsense")[0] == 2
    status, _, errors = run("index", tmp_path / "absent", tmp_path / "j.sqlite")
    assert status == 1 and errors.startswith("radvex-archive: ")


def test_a_batch_is_halved_without_a_loss():
    batch = Batch("/", [str(number) for number in range(7)], False)
    first, second = batch.parts()
    assert Batch("/", ["1"], False).parts() == []
    assert first.paths + second.paths == batch.paths and abs(len(first.paths) - len(second.paths)) == 1


def test_a_batch_gives_a_record_for_each_file_in_order(archive):
    paths = ["notes.txt", "0/cut.dcm", "1/deep/01.dcm", "absent.dcm"]
    assert [row[0] for row in rows_in(describe(Batch(str(archive), paths, False)))] == ["notDicom", "broken", "dicom", "broken"]


CLUSTER = """
import os, sys, time
from radvex.archive import index
if __name__ == "__main__":
    archive, path, workers = sys.argv[1:4]
    print(index(archive, path, workers=int(workers)))
"""


def indexing(archive, path, workers=2, **options):
    script = os.path.join(os.path.dirname(path), "indexing.py")
    with open(script, "w") as file:
        file.write(CLUSTER)
    command = [sys.executable, script, archive, path, str(workers)]
    options["env"] = {**os.environ, "TMPDIR": os.path.dirname(path)}
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)


def finished(process, seconds=120):
    output, errors = process.communicate(timeout=seconds)
    assert process.returncode == 0, errors.decode()[-2000:]
    return eval(output.decode().splitlines()[-1])


def many(root, count):
    """Small files of four syntaxes in folders of 200, 50 broken ones, and 3 that end their reader."""
    contents = [generated(number) for number in range(5)]
    for compress in ("RLE", "JPEG-LSLossless", "JPEGLossless"):
        made = root.parent / "made.dcm"
        radvex.write(made, builders.places(0).astype("u2"), compress=compress, force=True)
        contents.append(made.read_bytes())
    for number in range(count):
        put(root / f"{number // 200:03}" / f"{number:05}.dcm", contents[number % 8])
    for number in range(50):
        put(root / "broken" / f"{number:02}.dcm", contents[number % 5][: -1 - number % 20])  # in the pixels
    for number in range(3):
        put(root / f"{number:03}" / "killer.dcm", contents[number])


def test_two_workers_find_what_one_process_finds(tmp_path, monkeypatch):
    many(tmp_path / "archive", 20000)
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "killer.dcm")
    counts = finished(indexing(tmp_path / "archive", tmp_path / "two.sqlite"))
    alone = index(tmp_path / "archive", tmp_path / "one.sqlite", workers=0)
    assert numbers(counts) == numbers(alone)
    assert numbers(counts)["dicom"] == 20000 and numbers(counts)["broken"] == 53
    sql = f"SELECT path, size, changed, state, reason, signal, {COLUMNS} FROM paths ORDER BY path"
    assert list(find(tmp_path / "two.sqlite", sql=sql).rows) == list(find(tmp_path / "one.sqlite", sql=sql).rows)


def wait_for(condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.02)


def recorded(path):
    try:
        return next(iter(find(path, sql="SELECT count(*) FROM files").rows))[0]
    except (OSError, radvex.Error, sqlite3.Error):
        return 0


def test_a_run_whose_client_is_killed_goes_on_where_it_was(tmp_path):
    many(tmp_path / "archive", 20000)
    process = indexing(tmp_path / "archive", tmp_path / "i.sqlite", start_new_session=True)
    wait_for(lambda: recorded(tmp_path / "i.sqlite") > 0)
    os.killpg(process.pid, signal.SIGKILL)
    process.communicate()
    before = recorded(tmp_path / "i.sqlite")
    counts = numbers(index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0))
    assert counts["dicom"] == 20003 and counts["broken"] == 50
    assert counts["read"] == 20053 - before and counts["unchanged"] == before  # nothing twice


def kill_one(process, ended):
    """Kills a program that reads files for a worker of Dask, or that worker. Whether there was one."""
    try:
        found = [each for each in psutil.Process(process.pid).children(recursive=True) if each.name() == "radvex-worker"]
        mine = {process.pid, *(each.pid for each in found)}
        for reader in found:
            if reader.ppid() not in mine:
                (reader.parent() if ended == "worker" else reader).kill()
                return True
    except psutil.Error:  # it has ended just now
        pass
    return False


@pytest.mark.parametrize("ended", ["worker", "program"])
def test_a_worker_that_is_killed_costs_only_time(tmp_path, ended):
    many(tmp_path / "archive", 20000)
    process = indexing(tmp_path / "archive", tmp_path / "i.sqlite")
    wait_for(lambda: kill_one(process, ended))
    counts = numbers(finished(process))
    assert counts["dicom"] == 20003 and counts["broken"] == 50 and counts["read"] == 20053


def test_a_full_disk_loses_nothing_that_was_written(tmp_path):
    many(tmp_path / "archive", 3000)
    code = (
        "import resource, sys; resource.setrlimit(resource.RLIMIT_FSIZE, (400000, 400000));"
        "import signal; signal.signal(signal.SIGXFSZ, signal.SIG_IGN);"
        "from radvex.archive.__main__ import main; sys.exit(main(['index', sys.argv[1], sys.argv[2], '--workers', '0']))"
    )
    done = subprocess.run(
        [sys.executable, "-c", code, tmp_path / "archive", tmp_path / "i.sqlite"], stderr=subprocess.PIPE
    )
    assert done.returncode == 1 and b"cannot be written" in done.stderr
    counts = numbers(index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0))
    assert counts["dicom"] == 3003 and counts["broken"] == 50


def series_of(root, number, slope="1", rows=6, columns=5):
    """A CT series of 4 slices; voxel (k, j, i) is 100 * number + 10 * k + j."""
    for k in range(4):
        values = np.broadcast_to(100 * number + 10 * k + np.arange(rows)[:, None], (rows, columns)).astype("u2")
        dataset = builders.picture(values)
        dataset.Modality, dataset.PatientID = "CT", f"P{number}"
        dataset.StudyInstanceUID, dataset.SeriesInstanceUID = f"1.2.{number}", f"1.2.{number}.1"
        dataset.SOPInstanceUID = dataset.file_meta.MediaStorageSOPInstanceUID = f"1.2.{number}.1.{k}"
        dataset.InstanceNumber, dataset.RescaleSlope, dataset.RescaleIntercept = k + 1, slope, "-1024"
        dataset.ImagePositionPatient, dataset.ImageOrientationPatient = [0, 0, 3 * k], [1, 0, 0, 0, 1, 0]
        dataset.PixelSpacing, dataset.SliceThickness = [2, 1.5], 3
        put(root / f"{k}" / f"{number}.dcm", builders.content(dataset))  # the files of a series lie apart


def expected(number, rows=6, columns=5):
    k, j, _ = np.indices((4, rows, columns))
    return 100 * number + 10 * k + j - 1024


@pytest.fixture
def cohort(tmp_path):
    """Three series, and one of which a slice is missing."""
    for number in (1, 2, 3, 4):
        series_of(tmp_path / "archive", number)
    os.remove(tmp_path / "archive" / "1" / "4.dcm")
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    return tmp_path


def verdicts(path):
    sql = "SELECT SeriesInstanceUID, state, file FROM volumes ORDER BY 1"
    return list(find(path, sql=sql).rows)


def test_volumes_of_an_archive_are_files_that_others_read(cohort):
    import nibabel

    counts = radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", workers=0)
    assert counts == {"written": 3, "refused": 1, "unchanged": 0}
    assert sorted(os.listdir(cohort / "out")) == [f"1.2.{number}.1.nii.gz" for number in (1, 2, 3)]
    image = nibabel.load(cohort / "out" / "1.2.2.1.nii.gz")
    assert np.array_equal(np.asarray(image.dataobj).T, expected(2))
    assert np.allclose(image.affine, [[-1.5, 0, 0, 0], [0, -2, 0, 0], [0, 0, 3, 0], [0, 0, 0, 1]])
    assert verdicts(cohort / "i.sqlite")[3] == ("1.2.4.1", "refused", None)
    reason = next(iter(find(cohort / "i.sqlite", sql="SELECT reason FROM volumes WHERE state = 'refused'").rows))[0]
    assert "missing" in reason


def test_volumes_that_were_made_are_not_made_again(cohort):
    radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", workers=0)
    again = radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", workers=0)
    assert again == {"written": 0, "refused": 0, "unchanged": 4}
    os.remove(cohort / "out" / "1.2.1.1.nii.gz")
    series_of(cohort / "archive", 3, slope="2")
    index(cohort / "archive", cohort / "i.sqlite", workers=0)
    counts = radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", workers=0)
    assert counts == {"written": 2, "refused": 0, "unchanged": 2}


def test_zarr_volumes_are_lazy_and_equal_the_generated_voxels(cohort):
    import xarray

    counts = radvex.archive.volumes(
        cohort / "i.sqlite", cohort / "out", "PatientID != ?", ["P1"], format="zarr", workers=0
    )
    assert counts == {"written": 2, "refused": 1, "unchanged": 0}
    lazy = radvex.archive.open(cohort / "out")
    assert [volume.series for volume in lazy] == ["1.2.2.1", "1.2.3.1"]
    for number, volume in zip((2, 3), lazy):
        assert np.array_equal(volume.array.compute(), expected(number))
        assert (volume.unit, volume.spacing) == ("HU", (3, 2, 1.5))
        assert np.allclose(volume.affine[:3, :3], np.diag([-1.5, -2, 3]))
    assert float(sum(volume.array.mean() for volume in lazy).compute()) == expected(2).mean() + expected(3).mean()
    data = xarray.open_zarr(cohort / "out" / "1.2.2.1.zarr", consolidated=False)
    assert data["values"].dims == ("z", "y", "x") and np.array_equal(data["values"], expected(2))


def test_two_workers_make_the_volumes_of_one_process(cohort):
    code = (
        "import sys, radvex.archive\n"
        "if __name__ == '__main__':\n"
        "    print(radvex.archive.volumes(sys.argv[1], sys.argv[2], format='zarr', workers=2))\n"
    )
    (cohort / "making.py").write_text(code)
    words = [sys.executable, cohort / "making.py", cohort / "i.sqlite", cohort / "two"]
    done = subprocess.run(words, stdout=subprocess.PIPE, check=True, env={**os.environ, "TMPDIR": str(cohort)})
    assert eval(done.stdout.decode()) == {"written": 3, "refused": 1, "unchanged": 0}
    for number, volume in zip((1, 2, 3), radvex.archive.open(cohort / "two")):
        assert np.array_equal(volume.array.compute(), expected(number))


def test_wrong_requests_for_volumes_are_refused(cohort):
    with pytest.raises(radvex.UsageError, match="nifti, zarr"):
        radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", format="png", workers=0)
    with pytest.raises(radvex.UsageError, match="SQL"):
        radvex.archive.volumes(cohort / "i.sqlite", cohort / "out", "nonsense", workers=0)
    with pytest.raises(FileNotFoundError):
        radvex.archive.volumes(cohort / "absent.sqlite", cohort / "out", workers=0)
    with pytest.raises(FileNotFoundError):
        radvex.archive.open(cohort / "absent")


def test_a_list_of_files_is_one_series(cohort):
    files = [cohort / "archive" / f"{k}" / "2.dcm" for k in (3, 1, 0, 2)]
    assert np.array_equal(radvex.volume(files).array, expected(2))
    with pytest.raises(radvex.VolumeError, match="missing"):
        radvex.volume([files[0], files[1], files[2]])
    with pytest.raises(radvex.UsageError):
        radvex.volume([])
    with pytest.raises(radvex.UsageError):
        radvex.volume(files, "1.2.2.1")
