"""De-identification of archives: who is one patient, and runs after which something is left to do."""

import os
import shutil
import sqlite3

import pydicom
import pytest

import radvex
from radvex.archive import _deidentify, index, verify
from test_archive_deidentify import KEY, asked, command, contents, file_of, put, run


@pytest.fixture
def place(tmp_path):
    """A folder with a key, and three patients with two files each."""
    put(tmp_path / "key", KEY)
    for patient in range(3):
        for number in range(2):
            put(tmp_path / "archive" / f"{patient}-{number}.dcm", file_of(patient, number))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    return tmp_path


def made_of(tmp_path, output="out"):
    """Path of each original -> folder and dataset of the new file."""
    rows = asked(tmp_path, "SELECT path, folder, name FROM deidentified_files WHERE name IS NOT NULL")
    return {path: (folder, pydicom.dcmread(tmp_path / output / folder / name)) for path, folder, name in rows}


def texts_of(tmp_path, **second):
    """What becomes of two files of a study, of which the first tells the patient's name and number."""
    put(tmp_path / "key", KEY)
    put(tmp_path / "archive" / "a.dcm", file_of(1, 1))
    put(tmp_path / "archive" / "b.dcm", file_of(1, 2, StudyDescription="sent for Quirin1 HOSP-1", **second))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    run(tmp_path, clean=["descriptors"])
    return made_of(tmp_path)


def test_a_file_without_a_patient_belongs_to_the_patient_of_its_study(tmp_path):
    made = texts_of(tmp_path, PatientID="", PatientName="")
    text = made["b.dcm"][1].StudyDescription
    assert text.startswith("sent for [removed]") and "HOSP" not in text and "Quirin" not in text
    assert made["a.dcm"][0] == made["b.dcm"][0] and made["b.dcm"][1].PatientID == ""


def test_a_file_without_a_patient_belongs_to_nobody_in_a_study_of_several(tmp_path):
    put(tmp_path / "archive" / "c.dcm", file_of(2, 3, StudyInstanceUID="1.2.1"))
    made = texts_of(tmp_path, PatientID="", PatientName="")
    assert len({folder for folder, _ in made.values()}) == 3


def test_a_study_without_an_identifier_has_no_patient(tmp_path):
    put(tmp_path / "archive" / "c.dcm", file_of(2, 3, StudyInstanceUID=""))
    made = texts_of(tmp_path, PatientID="", PatientName="", StudyInstanceUID="")
    assert len({folder for folder, _ in made.values()}) == 3


def test_who_has_one_pseudonym_has_one_folder(tmp_path):
    put(tmp_path / "key", KEY)
    texts = ["M\u00fc1", " M\u00fc1", "M\u00fc1  ", "m\u00fc1", "M\u00fc 1"]
    for number, text in enumerate(texts):
        content = file_of(number, 1, SpecificCharacterSet="ISO_IR 100", PatientID=text)
        put(tmp_path / "archive" / f"{number}.dcm", content)
    stated = file_of(8, 1, PatientID="M\u00fc1", SpecificCharacterSet="ISO_IR 100")
    put(tmp_path / "archive" / "8.dcm", stated.replace(b"ISO_IR 100", b"ISO_IR 6  "))  # no text in this character set
    put(tmp_path / "archive" / "9.dcm", file_of(9, 1, PatientID="M\u00fc1", SpecificCharacterSet="ISO_IR 192"))
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    run(tmp_path)
    made = made_of(tmp_path)
    folders = {path: folder for path, (folder, _) in made.items()}
    assert len({folders[f"{number}.dcm"] for number in (0, 1, 2, 8, 9)}) == 1
    assert len({folders[f"{number}.dcm"] for number in (0, 3, 4)}) == 3
    assert len({(folder, found.PatientID) for folder, found in made.values()}) == 3


def test_what_failed_is_tried_again(place):
    os.rename(place / "archive" / "1-1.dcm", place / "away")
    counts = run(place)
    assert (counts["written"], counts["failed"]) == (5, 1)
    counts = run(place)
    assert (counts["done"], counts["unchanged"], counts["failed"]) == (1, 2, 1)
    os.rename(place / "away", place / "archive" / "1-1.dcm")
    counts = run(place)
    assert (counts["done"], counts["unchanged"], counts["failed"]) == (1, 2, 0)
    assert len(contents(place / "out")) == 6 and run(place)["unchanged"] == 3


def test_what_may_identify_is_kept_back_and_not_tried_again(place):
    put(place / "archive" / "0-0.dcm", file_of(0, 0, BurnedInAnnotation="YES"))
    index(place / "archive", place / "i.sqlite", workers=0)
    counts = run(place, strict=True)
    assert (counts["done"], counts["written"], counts["failed"]) == (3, 5, 1)
    counts = run(place, strict=True)
    assert (counts["unchanged"], counts["failed"]) == (3, 1)


def test_the_command_ends_with_3_as_long_as_a_file_is_not_written(place):
    words = ["deidentify", place / "i.sqlite", place / "out", "--key", place / "key", "--workers", "0", "--quiet"]
    os.rename(place / "archive" / "1-1.dcm", place / "away")
    for _ in range(2):
        status, output, errors = command(*words)
        assert (status, output) == (3, "") and errors.startswith("radvex-archive: 1 file not written")
    os.rename(place / "away", place / "archive" / "1-1.dcm")
    assert command(*words) == (0, "", "")


def test_rules_that_changed_are_other_options(place):
    put(place / "mask", b"[]")
    run(place, mask=place / "mask")
    assert run(place, mask=place / "mask")["unchanged"] == 3
    put(place / "mask", b'[{"match": {"Modality": "CT"}, "rectangles": [[0, 0, 2, 1]]}]')
    with pytest.raises(radvex.UsageError, match="other options"):
        run(place, mask=place / "mask")
    put(place / "mask", b"[]")
    os.rename(place / "mask", place / "elsewhere")
    with pytest.raises(FileNotFoundError):
        run(place, mask=place / "mask")


def test_a_key_that_changes_ends_the_run(place, monkeypatch):
    run(place, "undisturbed")
    work, done = _deidentify.deidentify_patient, []

    def work_with_another_key(patient):
        if done:
            put(place / "key", KEY[::-1])
        done.append(patient)
        return work(patient)

    with monkeypatch.context() as patched:
        patched.setattr(_deidentify, "deidentify_patient", work_with_another_key)
        with pytest.raises(radvex.FileError, match="not what it was"):
            run(place)
    assert len(contents(place / "out")) == 2 and not (place / "out" / ".radvex-drafts").exists()
    put(place / "key", KEY)
    assert run(place)["written"] == 4 and contents(place / "out") == contents(place / "undisturbed")


def test_a_patient_of_whom_the_index_does_not_know_binds_all_the_same(place):
    run(place)
    with sqlite3.connect(place / "i.sqlite") as database:  # as if the run had been killed behind its first patients
        database.execute("DELETE FROM deidentified")
        database.execute("DELETE FROM deidentified_files")
    with pytest.raises(radvex.UsageError, match="other options"):
        run(place, keep=["dates"])
    with pytest.raises(radvex.FileError, match="was not recorded by deidentify"):
        verify(place / "i.sqlite", place / "out", workers=0)
    assert run(place)["done"] == 3
    assert sum(verify(place / "i.sqlite", place / "out", workers=0).values()) == 3


def test_options_may_change_before_anything_was_written(place):
    with pytest.raises(radvex.UsageError, match="nonsense"):
        run(place, clean=["nonsense"])
    assert run(place)["written"] == 6


def test_verify_refuses_an_output_with_something_else_in_it(place):
    run(place)
    shutil.copy(place / "archive" / "0-0.dcm", place / "out" / "stray.dcm")
    with pytest.raises(radvex.FileError, match="stray.dcm was not recorded"):
        verify(place / "i.sqlite", place / "out", workers=0)
    os.remove(place / "out" / "stray.dcm")
    assert sum(verify(place / "i.sqlite", place / "out", workers=0).values()) == 3


def test_verify_says_who_is_no_longer_there_and_goes_on(place):
    run(place, accept_pixels=["secondary-capture"])
    folders = sorted({os.path.dirname(path) for path in contents(place / "out")})
    shutil.rmtree(place / "out" / folders[0])
    assert verify(place / "i.sqlite", place / "out", workers=0) == {"clean": 2, "findings": 0, "unreadable": 1}
    assert asked(place, "SELECT folder, findings FROM deidentified WHERE verdict = 'unreadable'") == [
        (folders[0], '{"the folder is gone": 1}')
    ]


def test_a_run_goes_on_while_others_write_into_the_index(place, monkeypatch):
    work, done = _deidentify.deidentify_patient, []

    def work_beside_others(patient):
        done.append(patient)
        put(place / "archive" / f"new{len(done)}.dcm", file_of(7, len(done)))
        index(place / "archive", place / "i.sqlite", workers=0)
        return work(patient)

    with monkeypatch.context() as patched:
        patched.setattr(_deidentify, "deidentify_patient", work_beside_others)
        assert run(place)["done"] == len(done) == 3
    counts = run(place)
    assert (counts["done"], counts["written"], counts["unchanged"]) == (1, 3, 3)
