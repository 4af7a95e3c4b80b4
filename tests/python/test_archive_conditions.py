"""Conditions on the files of an archive."""

import os

import pytest

import builders
import radvex
from radvex.archive import check, deidentify, find, index, volumes

NO_CONDITIONS = ["1) OR (1", "1) --", "1 -- all", "1; DELETE FROM files", "1 LIMIT 1", "Modality = ?", "Modalty = 1", ""]
CONDITIONS = [
    ("(Rows = 3) OR (Rows = 4)", 1),
    ("SeriesDescription = '1) OR (1'", 1),
    ("SeriesDescription = 'a; b' OR SeriesDescription = 'a -- b'", 0),
    ("path IN (SELECT path FROM paths WHERE Rows = 3 LIMIT 1)", 1),
]


@pytest.fixture
def archive(tmp_path):
    """A picture, and a directory of a medium, which lists names."""
    os.makedirs(tmp_path / "archive")
    made = builders.picture(builders.places(0), SeriesDescription="1) OR (1")
    made.SeriesInstanceUID, made.PatientID = "1.2.3", "A"
    builders.written(tmp_path / "archive", made, "a.dcm")
    directory = builders.dataset("1.2.840.10008.1.3.10", PatientID="A")
    builders.written(tmp_path / "archive", directory, "b.dcm")
    index(tmp_path / "archive", tmp_path / "i.sqlite", workers=0)
    (tmp_path / "key").write_bytes(b"sixteen secret bytes")
    return tmp_path


def jobs(place, where, name):
    """The numbers of files or volumes on which each job would work."""
    i = place / "i.sqlite"
    yield lambda: check(i, where, workers=0)["files"]
    yield lambda: volumes(i, place / name / "volumes", where, workers=0)["written"]
    yield lambda: deidentify(i, place / name / "new", key=place / "key", where=where, workers=0)["written"]


@pytest.mark.parametrize("where", NO_CONDITIONS)
def test_what_is_no_whole_condition_is_refused(archive, where):
    for job in jobs(archive, where, "out"):
        with pytest.raises(radvex.UsageError, match="no condition of SQL"):
            job()


@pytest.mark.parametrize("number", range(len(CONDITIONS)))
def test_a_condition_with_the_same_signs_chooses_files(archive, number):
    where, files = CONDITIONS[number]
    assert len(list(find(archive / "i.sqlite", where).rows)) == files
    assert [job() for job in jobs(archive, where, "out")] == [files] * 3
