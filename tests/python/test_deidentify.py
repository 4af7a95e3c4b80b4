"""De-identified files, as pydicom reads them."""

import os

import numpy as np
import pydicom
import pytest
from builders_folders import dataset, place_values, save, stack

import radvex

PICTURE = place_values(1, 4, 5)[0]
NAME = "Kowalczyk^Zbigniew"
IDENTITY = {
    "PatientName": NAME,
    "PatientID": "ID48151623",
    "PatientBirthDate": "19430817",
    "StudyDate": "20190504",
    "AccessionNumber": "ACC108342",
    "InstitutionName": "Mercy Hospital",
    "SeriesDescription": "Control of Kowalczyk",
    "BodyPartExamined": "CHEST",
}
WORDS = (b"Kowalczyk", b"Zbigniew", b"ID48151623", b"19430817", b"ACC108342", b"Mercy")


def uids_of(instance):
    """All UIDs but those of classes and the like, at any depth."""
    found = set()

    def take(_, element):
        if element.VR == "UI" and element.keyword not in ("SOPClassUID", "ReferencedSOPClassUID"):
            found.add(str(element.value))

    instance.walk(take)
    return found


@pytest.fixture
def file(tmp_path):
    return save(dataset(PICTURE, **IDENTITY), str(tmp_path / "original.dcm"))


@pytest.fixture
def folder(tmp_path):
    stack(tmp_path / "in", **IDENTITY)
    stack(tmp_path / "in" / "more", **{**IDENTITY, "SeriesInstanceUID": "1.2.826.0.1.1.2"})
    return str(tmp_path / "in")


@pytest.fixture
def key(tmp_path):
    path = tmp_path / "secret.key"
    path.write_bytes(bytes(range(32)))
    return path


def files_of(place):
    return sorted(os.path.join(folder, name) for folder, _, names in os.walk(place) for name in names)


def test_a_file_loses_its_identity_and_keeps_its_pixels(file, tmp_path):
    output = tmp_path / "shared.dcm"
    result = radvex.anonymize(file, output)
    assert (result.written, result.failed, result.skipped, result.problems) == (1, 0, 0, [])
    original, new = pydicom.dcmread(file), pydicom.dcmread(output)
    assert new.PatientName != original.PatientName and new.PatientID != original.PatientID
    assert not new.get("PatientBirthDate") and not new.get("StudyDate") and not new.get("InstitutionName")
    assert not uids_of(original) & uids_of(new) and len(uids_of(new)) == len(uids_of(original)) == 4
    assert new.file_meta.MediaStorageSOPInstanceUID == new.SOPInstanceUID
    assert new.PatientIdentityRemoved == "YES"
    assert np.array_equal(new.pixel_array, original.pixel_array)
    content = output.read_bytes()
    assert not [word for word in WORDS if word in content]
    assert [word for word in WORDS if word in open(file, "rb").read()] == list(WORDS)
    many = len(result.remaining)
    assert repr(result) == f"<Anonymized: 1 written, 0 failed, 0 skipped, {many} kind{'s' * (many != 1)} of remains>"
    assert result.report["written"] == 1 and result.report["profile"]["edition"] == "2024b"


def test_a_folder_stays_consistent(folder, tmp_path):
    result = radvex.anonymize(folder, tmp_path / "out")
    outputs = files_of(tmp_path / "out")
    assert result.written == len(outputs) == 6
    read = [pydicom.dcmread(path) for path in outputs]
    assert len({each.PatientID for each in read}) == 1 and len({each.StudyInstanceUID for each in read}) == 1
    assert len({each.SeriesInstanceUID for each in read}) == 2 and len({each.SOPInstanceUID for each in read}) == 6
    for path in outputs:
        with open(path, "rb") as file:
            content = file.read()
        assert not [word for word in WORDS if word in content]


def test_new_values_take_the_place_of_the_old(file, tmp_path):
    values = {"PatientName": "Bär^Anna", "PatientID": 17, "StudyDate": "20200101", "InstitutionName": None}
    radvex.anonymize(file, tmp_path / "out.dcm", new_values=values)
    new = pydicom.dcmread(tmp_path / "out.dcm")
    assert (new.PatientName, new.PatientID, new.StudyDate) == ("Bär^Anna", "17", "20200101")
    assert not new.get("InstitutionName")
    assert b"None" not in (tmp_path / "out.dcm").read_bytes()


def test_what_is_kept_stays(file, tmp_path):
    original = pydicom.dcmread(file)
    radvex.anonymize(file, tmp_path / "a.dcm", keep="uids")
    assert uids_of(pydicom.dcmread(tmp_path / "a.dcm")) == uids_of(original)
    radvex.anonymize(file, tmp_path / "b.dcm", keep=["dates", "institution"])
    new = pydicom.dcmread(tmp_path / "b.dcm")
    assert new.StudyDate == "20190504" and new.InstitutionName == "Mercy Hospital"
    assert not uids_of(new) & uids_of(original)


def test_dates_are_shifted_and_descriptions_cleaned(file, tmp_path):
    radvex.anonymize(file, tmp_path / "out.dcm", shift_dates=True, clean=["descriptors"])
    new = pydicom.dcmread(tmp_path / "out.dcm")
    assert len(new.StudyDate) == 8 and new.StudyDate < "20190504"
    assert "Control of" in new.SeriesDescription and "Kowalczyk" not in new.SeriesDescription


def test_one_key_gives_the_same_identifiers_in_two_runs(file, key, tmp_path):
    for name, secret in (("a", key), ("b", key), ("c", None), ("d", None)):
        radvex.anonymize(file, tmp_path / name, key=secret)
    a, b, c, d = (pydicom.dcmread(tmp_path / name) for name in "abcd")
    assert a.PatientID == b.PatientID and uids_of(a) == uids_of(b)
    assert len({a.PatientID, c.PatientID, d.PatientID}) == 3 and not uids_of(c) & uids_of(d)


def test_a_dry_run_reports_and_writes_nothing(folder, tmp_path):
    before = files_of(tmp_path)
    result = radvex.anonymize(folder, tmp_path / "out", dry_run=True)
    assert result.written == 6 and result.report["dryRun"] is True
    assert files_of(tmp_path) == before and not os.path.exists(tmp_path / "out")


def test_what_is_there_is_replaced_by_force_only(file, tmp_path):
    output = tmp_path / "out.dcm"
    output.write_bytes(b"mine")
    with pytest.raises(radvex.FileError, match="force=True") as caught:
        radvex.anonymize(file, output)
    assert "--" not in str(caught.value) and output.read_bytes() == b"mine"
    radvex.anonymize(file, output, force=True)
    assert pydicom.dcmread(output).PatientIdentityRemoved == "YES"


def test_pixels_that_may_show_the_patient_remain_and_are_accepted_by_word(tmp_path):
    # A CT that does not say which part of the body it shows may be one of a face.
    file = save(dataset(PICTURE, **{**IDENTITY, "BodyPartExamined": None}), str(tmp_path / "a.dcm"))
    result = radvex.anonymize(file, tmp_path / "out.dcm")
    assert list(result.remaining.values()) == [1] and "unclear-face" in next(iter(result.remaining))
    assert radvex.anonymize(file, tmp_path / "b.dcm", accept_pixels=["unclear-face"]).remaining == {}
    strict = tmp_path / "strict.dcm"
    with pytest.raises(radvex.FileError):
        radvex.anonymize(file, strict, strict=True)
    assert not strict.exists()
    chest = save(dataset(PICTURE, **IDENTITY), str(tmp_path / "chest.dcm"))
    assert radvex.anonymize(chest, strict, strict=True).remaining == {}
    assert strict.exists()


@pytest.mark.parametrize(
    "wrong, right",
    [
        ({"profile": "strong"}, {"profile": "none"}),
        ({"keep": "names"}, {"keep": "uids"}),
        ({"keep": ["uids", "names"]}, {"keep": ["uids", "dates"]}),
        ({"clean": ["structured"]}, {"clean": ["structured-content"]}),
        ({"accept_pixels": "all"}, {"accept_pixels": "face"}),
        ({"shift_dates": True, "keep": "dates"}, {"shift_dates": True}),
        ({"independent": True}, {"independent": True, "profile": "none"}),
        ({"jobs": "many"}, {"jobs": 2}),
    ],
)
def test_wrong_words_are_usage_errors_in_the_words_of_python(file, tmp_path, wrong, right):
    with pytest.raises(radvex.UsageError) as caught:
        radvex.anonymize(file, tmp_path / "out.dcm", **wrong)
    assert "--" not in str(caught.value)
    assert next(iter(wrong)) in str(caught.value)
    assert not (tmp_path / "out.dcm").exists()
    assert radvex.anonymize(file, tmp_path / "out.dcm", **right).written == 1


def test_an_input_that_is_not_there_is_a_file_error(tmp_path, file, key):
    with pytest.raises(radvex.FileError, match="nowhere"):
        radvex.anonymize(tmp_path / "nowhere", tmp_path / "out")
    with pytest.raises(radvex.FileError, match="no.key"):
        radvex.anonymize(file, tmp_path / "out", key=tmp_path / "no.key")
    assert not (tmp_path / "out").exists()


def test_a_folder_that_is_broken_in_part_warns_and_says_which(folder, tmp_path):
    with open(os.path.join(folder, "000.dcm"), "rb") as file:
        content = file.read()
    for name in ("cut1.dcm", "cut2.dcm"):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content[:-10])
    with pytest.warns(radvex.RadvexWarning, match="cut1.dcm") as warned:
        result = radvex.anonymize(folder, tmp_path / "out")
    assert len(warned) == 1 and warned[0].filename == __file__
    assert (result.written, result.failed) == (6, 2)
    assert len(result.problems) == 2
    assert "cut1.dcm" in result.problems[0] and "cut2.dcm" in result.problems[1]
    assert len(files_of(tmp_path / "out")) == 6
    checked = radvex.verify(folder)
    assert checked.failed == 2 and not checked.clean and len(checked.problems) == 2


def test_files_of_other_kinds_are_skipped(folder, tmp_path):
    with open(os.path.join(folder, "note.txt"), "w") as file:
        file.write("no image")
    assert radvex.anonymize(folder, tmp_path / "out").skipped == 1
    assert len(files_of(tmp_path / "out")) == 6


# Checking


def test_what_was_done_well_is_clean(folder, tmp_path):
    radvex.anonymize(folder, tmp_path / "out")
    for checked in (radvex.verify(tmp_path / "out"), radvex.verify(tmp_path / "out", folder)):
        assert checked and checked.clean and checked.findings == {}
        assert (checked.checked, checked.failed, checked.problems) == (6, 0, [])
        assert repr(checked) == "<Verified: clean, 6 files checked>"


def test_an_original_is_not_clean(file):
    checked = radvex.verify(file)
    assert not checked and not checked.clean
    ((name, findings),) = checked.findings.items()
    assert os.path.basename(name) == "original.dcm"
    assert any("PatientName" in str(each) for each in findings)
    assert repr(checked) == "<Verified: not clean, 1 files checked>"


def test_originals_find_what_nothing_else_tells(file, tmp_path):
    output = str(tmp_path / "out.dcm")
    radvex.anonymize(file, output)
    instance = pydicom.dcmread(output)
    instance.SeriesDescription = "ID48151623"  # a word like others, to one who does not know the original
    instance.save_as(output)
    without, with_originals = radvex.verify(output), radvex.verify(output, file)
    assert not with_originals
    assert len(str(with_originals.findings)) > len(str(without.findings))
    assert any("SeriesDescription" in str(each) for found in with_originals.findings.values() for each in found)


def test_what_was_kept_on_purpose_is_no_finding(file, tmp_path):
    output = tmp_path / "out.dcm"
    radvex.anonymize(file, output, keep=["institution"], new_values={"PatientName": "Doe^Jane"})
    given = {"keep": ["institution"], "new_values": {"PatientName": "Doe^Jane"}}
    assert radvex.verify(output, file, **given)
    assert not radvex.verify(output, file, keep=["uids"])


def test_verify_refuses_what_is_not_there_and_what_it_does_not_know(file, tmp_path):
    with pytest.raises(radvex.FileError, match="nowhere"):
        radvex.verify(tmp_path / "nowhere")
    with pytest.raises(radvex.FileError, match="nowhere"):
        radvex.verify(file, tmp_path / "nowhere")
    (tmp_path / "empty").mkdir()
    with pytest.raises(radvex.FileError, match="no DICOM file"):
        radvex.verify(tmp_path / "empty")
    with pytest.raises(radvex.UsageError, match="keep does not know 'names'"):
        radvex.verify(file, keep="names")


def test_a_file_that_ends_its_reader_is_a_problem_and_not_our_end(folder, tmp_path, monkeypatch):
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", "/in/001.dcm")
    monkeypatch.setenv("RADVEX_TEST_SPARES", "1")
    with pytest.warns(radvex.RadvexWarning, match="signal 11"):
        result = radvex.anonymize(folder, tmp_path / "out", jobs=2)
    assert (result.written, result.failed) == (5, 1) and "in/001.dcm" in result.problems[0]
