"""De-identification of archives, patient by patient, and the check of what was made."""

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
from radvex.archive import deidentify, find, index, verify
from builders import put

KEY = b"sixteen secret bytes and a few more"


def file_of(patient, number, **attributes):
    """A file whose texts name its patient."""
    made = builders.picture(builders.places(0) + np.uint16(number))
    made.PatientName = f"Quirin{patient}^Wanda"
    made.PatientID = f"HOSP-{patient}"
    made.StudyInstanceUID = f"1.2.{patient}"
    made.SeriesInstanceUID = f"1.2.{patient}.{number % 2}"
    made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"1.2.{patient}.3.{number}"
    made.StudyDate = "20200131"
    made.Modality = "CT" if number % 2 else "MR"
    made.BodyPartExamined = "KNEE"
    made.BurnedInAnnotation = "NO"
    made.StudyDescription = f"Knee of Wanda Quirin{patient}"
    return builders.content_with(made, attributes)


@pytest.fixture
def archive(tmp_path):
    """Five patients with four files each in folders that name them, two files of nobody, and a broken one."""
    root = tmp_path / "archive"
    for patient in range(5):
        for number in range(4):
            put(root / f"Quirin{patient}" / f"{number}.dcm", file_of(patient, number))
    for number in range(2):
        put(root / "nobody" / f"{number}.dcm", file_of(7, number, PatientID="", PatientName=""))
    put(root / "nobody" / "cut.dcm", file_of(8, 1)[:-10])
    put(tmp_path / "key", KEY)
    index(root, tmp_path / "i.sqlite", workers=0)
    return root


def run(tmp_path, output="out", **options):
    return deidentify(tmp_path / "i.sqlite", tmp_path / output, key=tmp_path / "key", workers=0, **options)


def contents(folder):
    """Path below the folder -> digest of the file."""
    found = {}
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            if not name.startswith("."):
                with open(path, "rb") as file:
                    found[os.path.relpath(path, folder)] = hashlib.sha256(file.read()).hexdigest()
    return found


def asked(tmp_path, sql):
    return list(find(tmp_path / "i.sqlite", sql=sql).rows)


def test_each_patient_gets_a_folder_without_an_identifier(archive, tmp_path):
    counts = run(tmp_path, accept_pixels=["secondary-capture"])
    assert counts == {"written": 22, "failed": 0, "skipped": 0, "done": 6, "unchanged": 0, "gone": 0}
    made = contents(tmp_path / "out")
    assert len(made) == 22 and len({os.path.dirname(path) for path in made}) == 6
    pairs = asked(tmp_path, "SELECT path, folder || '/' || name FROM deidentified_files ORDER BY path")
    assert sorted(new for _, new in pairs) == sorted(made)
    for path, new in pairs:
        with open(tmp_path / "out" / new, "rb") as file:
            content = file.read()
        old, finished = pydicom.dcmread(archive / path), pydicom.dcmread(tmp_path / "out" / new)
        assert b"uirin" not in content and b"HOSP" not in content and b"Wanda" not in content
        assert finished.PixelData == old.PixelData and finished.StudyInstanceUID != old.StudyInstanceUID
        assert finished.StudyDate == "" and finished.PatientIdentityRemoved == "YES"
    assert "Quirin" not in "".join(os.listdir(tmp_path / "out"))


def test_studies_and_series_stay_together(archive, tmp_path):
    run(tmp_path)
    groups = {}
    for path, new in asked(tmp_path, "SELECT path, folder || '/' || name FROM deidentified_files"):
        old, finished = pydicom.dcmread(archive / path), pydicom.dcmread(tmp_path / "out" / new)
        for keyword in ("StudyInstanceUID", "SeriesInstanceUID", "PatientID"):
            groups.setdefault((keyword, old[keyword].value), set()).add(finished[keyword].value)
    assert all(len(new) == 1 for new in groups.values())
    assert len({min(new) for (keyword, _), new in groups.items() if keyword == "SeriesInstanceUID"}) == 12


def test_a_second_run_does_nothing_and_a_changed_patient_is_done_anew(archive, tmp_path):
    run(tmp_path)
    before = contents(tmp_path / "out")
    assert run(tmp_path)["unchanged"] == 6 and contents(tmp_path / "out") == before
    put(archive / "Quirin2" / "new.dcm", file_of(2, 9))
    shutil.rmtree(archive / "Quirin4")
    index(archive, tmp_path / "i.sqlite", workers=0)
    counts = run(tmp_path)
    assert (counts["done"], counts["written"], counts["unchanged"], counts["gone"]) == (1, 5, 4, 1)
    after = contents(tmp_path / "out")
    assert len(after) == 23
    assert sum(after.get(path) != digest for path, digest in before.items()) == 0  # the same bytes, and one more
    assert run(tmp_path)["done"] == 0


def test_a_folder_that_was_removed_is_made_again(archive, tmp_path):
    run(tmp_path)
    before = contents(tmp_path / "out")
    shutil.rmtree(tmp_path / "out" / os.path.dirname(min(before)))
    assert run(tmp_path)["done"] == 1 and contents(tmp_path / "out") == before


def test_the_key_alone_decides_what_is_written(archive, tmp_path):
    run(tmp_path)
    run(tmp_path, "again")
    assert contents(tmp_path / "out") == contents(tmp_path / "again")
    put(tmp_path / "key", KEY[::-1])
    run(tmp_path, "other")
    assert not set(contents(tmp_path / "other")) & set(contents(tmp_path / "out"))
    assert not set(contents(tmp_path / "other").values()) & set(contents(tmp_path / "out").values())


def test_what_would_not_fit_together_is_refused(archive, tmp_path):
    run(tmp_path, keep=["dates"])
    with pytest.raises(radvex.UsageError, match="other options"):
        run(tmp_path)
    with pytest.raises(radvex.UsageError, match="other options"):
        run(tmp_path, keep=["dates"], where="Modality = 'CT'")
    assert run(tmp_path, keep="dates")["unchanged"] == 6
    put(tmp_path / "key", KEY[::-1])
    with pytest.raises(radvex.UsageError, match="another key"):
        run(tmp_path, keep=["dates"])
    put(tmp_path / "key", KEY[:15])
    with pytest.raises(radvex.FileError, match="too short"):
        run(tmp_path, "new")
    put(tmp_path / "key", KEY[:16])
    put(tmp_path / "full" / "something", b"of somebody else")
    with pytest.raises(radvex.FileError, match="holds something"):
        run(tmp_path, "full")
    for inside in (archive / "out", archive, tmp_path):
        with pytest.raises(radvex.UsageError, match="must not lie in each other"):
            deidentify(tmp_path / "i.sqlite", inside, key=tmp_path / "key", workers=0)
    with pytest.raises(radvex.UsageError, match="no condition"):
        run(tmp_path, "new", where="Modalty = 'CT'")
    with pytest.raises(radvex.UsageError, match="nonsense"):
        run(tmp_path, "newer", keep=["nonsense"])
    with pytest.raises(FileNotFoundError):
        deidentify(tmp_path / "absent.sqlite", tmp_path / "x", key=tmp_path / "key")
    assert run(tmp_path, "new")["written"] == 22


def test_a_condition_chooses_files(archive, tmp_path):
    assert run(tmp_path, where="Modality = 'CT' AND coalesce(PatientID, '') != 'HOSP-1'")["written"] == 9
    paths = [path for path, in asked(tmp_path, "SELECT path FROM deidentified_files ORDER BY path")]
    assert paths == sorted([f"Quirin{patient}/{number}.dcm" for patient in (0, 2, 3, 4) for number in (1, 3)] + ["nobody/1.dcm"])


def test_a_file_that_fails_is_named_and_the_others_are_written(archive, tmp_path):
    with open(archive / "Quirin1" / "2.dcm", "r+b") as file:  # after it was indexed
        file.truncate(300)
    counts = run(tmp_path)
    assert counts["written"] == 21 and counts["failed"] == 1
    rows = asked(tmp_path, "SELECT path, reason FROM deidentified_files WHERE name IS NULL")
    assert [path for path, _ in rows] == ["Quirin1/2.dcm"]
    assert rows[0][1].startswith("Quirin1/2.dcm is cut off") and "radvex-" not in rows[0][1]


def test_a_file_that_kills_its_reader_costs_itself_alone(archive, tmp_path, monkeypatch):
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "0000002")  # the third file of each patient
    monkeypatch.setenv("RADVEX_TEST_SPARES", "1")  # its start may be looked at
    counts = run(tmp_path)
    assert counts["written"] == 22 - 5 and counts["failed"] == 5
    reasons = [reason for reason, in asked(tmp_path, "SELECT reason FROM deidentified_files WHERE name IS NULL")]
    assert len(reasons) == 5 and all("SIGSEGV" in reason for reason in reasons)


def test_a_patient_who_ends_the_whole_command_is_recorded_with_the_signal(archive, tmp_path, monkeypatch):
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "0000002")
    counts = run(tmp_path)
    assert counts["written"] == 2 and counts["failed"] == 20 and counts["done"] == 6
    rows = asked(tmp_path, "SELECT signal, written, failed FROM deidentified WHERE signal IS NOT NULL")
    assert rows == [(signal.SIGSEGV, 0, 4)] * 5
    assert run(tmp_path)["unchanged"] == 6  # nobody is tried again


def test_verify_finds_what_was_left_and_checks_nobody_twice(archive, tmp_path):
    with pytest.raises(radvex.UsageError, match="Nothing was de-identified"):
        verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0)
    run(tmp_path, accept_pixels=["secondary-capture"])
    new = asked(tmp_path, "SELECT folder || '/' || name FROM deidentified_files WHERE path = 'Quirin3/1.dcm'")[0][0]
    spoilt = pydicom.dcmread(tmp_path / "out" / new)
    spoilt.ImageComments = "sent for Wanda Quirin3"
    spoilt.save_as(tmp_path / "out" / new)
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0) == {"clean": 5, "findings": 1, "unreadable": 0}
    rows = asked(tmp_path, "SELECT findings FROM deidentified WHERE verdict = 'findings'")
    assert "ImageComments" in rows[0][0] and "Quirin" not in rows[0][0]
    with sqlite3.connect(tmp_path / "i.sqlite") as database:
        database.execute("UPDATE deidentified SET findings = 'mark'")
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0) == {"clean": 5, "findings": 1, "unreadable": 0}
    assert asked(tmp_path, "SELECT count(*) FROM deidentified WHERE findings = 'mark'") == [(6,)]  # nobody was looked at


def test_what_changes_after_it_was_checked_is_checked_again(archive, tmp_path):
    run(tmp_path, accept_pixels=["secondary-capture"])
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0)["clean"] == 6
    rows = asked(tmp_path, "SELECT folder, name FROM deidentified_files WHERE path LIKE 'Quirin%/1.dcm' ORDER BY path")
    spoilt, removed, added = [os.path.join(tmp_path / "out", folder) for folder, _ in rows[:3]]
    made = pydicom.dcmread(os.path.join(spoilt, rows[0][1]))
    made.ImageComments = "sent for Wanda Quirin0"
    made.save_as(os.path.join(spoilt, rows[0][1]))
    shutil.rmtree(removed)
    shutil.copy(archive / "Quirin2" / "0.dcm", os.path.join(added, "original"))
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0) == {"clean": 3, "findings": 2, "unreadable": 1}


def test_a_file_that_ends_its_check_is_unreadable(archive, tmp_path, monkeypatch):
    run(tmp_path, accept_pixels=["secondary-capture"])
    folder, name = asked(tmp_path, "SELECT folder, name FROM deidentified_files WHERE path = 'Quirin1/1.dcm'")[0]
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", f"{folder}/{name}")
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0) == {"clean": 5, "findings": 0, "unreadable": 1}


def test_who_was_done_anew_is_checked_again(archive, tmp_path):
    run(tmp_path, accept_pixels=["secondary-capture"])
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0)["clean"] == 6
    put(archive / "Quirin0" / "new.dcm", file_of(0, 9))
    index(archive, tmp_path / "i.sqlite", workers=0)
    run(tmp_path, accept_pixels=["secondary-capture"])
    assert asked(tmp_path, "SELECT count(*) FROM deidentified WHERE verdict IS NULL")[0][0] == 1
    assert verify(tmp_path / "i.sqlite", tmp_path / "out", workers=0)["clean"] == 6


def command(*words):
    done = subprocess.run([sys.executable, "-m", "radvex.archive", *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def test_two_workers_write_what_one_process_writes(archive, tmp_path):
    run(tmp_path, "one", shift_dates=True)
    status, output, errors = command(
        "deidentify", tmp_path / "i.sqlite", tmp_path / "two", "--key", tmp_path / "key", "--shift-dates", "--workers", "2"
    )
    assert status == 0, errors
    assert output.startswith("22 files written, 0 failed, 0 skipped; 6 patients done")
    assert contents(tmp_path / "one") == contents(tmp_path / "two")
    status, output, _ = command("verify", tmp_path / "i.sqlite", tmp_path / "two", "--workers", "2")
    assert status == 0 and output.startswith("6 patients clean")


def test_the_command_says_what_it_does_not_do(archive, tmp_path):
    out = tmp_path / "out"
    assert command("deidentify", tmp_path / "i.sqlite", out)[0] == 2
    assert command("deidentify", tmp_path / "i.sqlite", out, "--key", tmp_path / "absent")[0] == 1
    status, _, errors = command("deidentify", tmp_path / "i.sqlite", out, "--key", tmp_path / "key", "--set", "PatientID")
    assert status == 2 and "KEYWORD=VALUE" in errors
    status, _, errors = command(
        "deidentify", tmp_path / "i.sqlite", out, "--key", tmp_path / "key", "--set", "StudyDescription=Knees", "--workers", "0"
    )
    assert status == 0, errors
    made = [pydicom.dcmread(out / path) for path in contents(out)]
    assert len(made) == 22 and all(each.StudyDescription == "Knees" for each in made)
    assert command("verify", tmp_path / "i.sqlite", out, "--workers", "0")[0] == 0
    made[0].PatientName = "Quirin0^Wanda"
    made[0].save_as(out / min(contents(out)))
    with sqlite3.connect(tmp_path / "i.sqlite") as database:
        database.execute("UPDATE deidentified SET verdict = NULL")
    status, output, _ = command("verify", tmp_path / "i.sqlite", out, "--workers", "0")
    assert status == 1 and "1 with findings" in output


def test_a_run_that_was_killed_leaves_whole_patients_and_goes_on(archive, tmp_path):
    for patient in range(10, 60):
        for number in range(4):
            put(archive / "more" / f"{patient}-{number}.dcm", file_of(patient, number))
    index(archive, tmp_path / "i.sqlite", workers=0)
    run(tmp_path, "undisturbed")
    words = ["deidentify", tmp_path / "i.sqlite", tmp_path / "out", "--key", tmp_path / "key", "--workers", "2"]
    os.makedirs(tmp_path / "tmp")  # nobody clears up behind a process that is killed
    process = subprocess.Popen(
        [sys.executable, "-m", "radvex.archive", *words],
        env={**os.environ, "TMPDIR": str(tmp_path / "tmp")},
        start_new_session=True,
    )
    end = time.monotonic() + 60
    while len(contents(tmp_path / "out")) < 20 if (tmp_path / "out").exists() else True:
        assert time.monotonic() < end
        time.sleep(0.02)
    for child in [*psutil.Process(process.pid).children(recursive=True), psutil.Process(process.pid)]:
        try:
            child.kill()
        except psutil.NoSuchProcess:
            pass
    assert process.wait() == -signal.SIGKILL
    expected = contents(tmp_path / "undisturbed")
    drafts = ".radvex-drafts"
    found = {path: digest for path, digest in contents(tmp_path / "out").items() if not path.startswith(drafts)}
    assert found.items() <= expected.items() and len(found) < len(expected)
    folders = {os.path.dirname(path) for path in found}
    assert {path for path in expected if os.path.dirname(path) in folders} == set(found)  # whole patients
    counts = run(tmp_path)
    assert contents(tmp_path / "out") == expected and not (tmp_path / "out" / drafts).exists()
    assert counts["done"] + counts["unchanged"] == 56 and counts["unchanged"] > 0


def test_another_run_into_the_same_folder_is_refused(archive, tmp_path):
    import fcntl

    os.makedirs(tmp_path / "out")
    with open(tmp_path / "out" / ".radvex-lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        with pytest.raises(radvex.FileError, match="Another run"):
            run(tmp_path)
    assert run(tmp_path)["written"] == 22


def test_a_directory_of_a_medium_is_left_out(tmp_path, samples):
    source = os.path.join(samples, "dicomdirtests")
    shutil.copytree(source, tmp_path / "archive")
    put(tmp_path / "key", KEY)
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    directories = sum("DICOMDIR" in name for _, _, names in os.walk(source) for name in names)
    files = asked(tmp_path, "SELECT count(*) FROM files WHERE state = 'dicom'")[0][0]
    assert directories > 3
    counts = run(tmp_path)
    assert counts["failed"] == 0 and counts["written"] == files - directories
    assert json.loads(asked(tmp_path, "SELECT remaining FROM deidentified LIMIT 1")[0][0]) is not None
