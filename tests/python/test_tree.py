"""What lies on a medium or in a folder."""

import collections
import os
import shutil
import warnings

import psutil
import pydicom
import pytest
from builders_folders import dataset, place_values, save, stack

import radvex

PICTURE = place_values(1, 4, 5)[0]


def as_pydicom_sees(paths):
    """(PatientID, StudyInstanceUID, SeriesInstanceUID) -> paths"""
    found = collections.defaultdict(set)
    for path in paths:
        each = pydicom.dcmread(path, stop_before_pixels=True)
        found[each.PatientID, each.StudyInstanceUID, each.SeriesInstanceUID].add(str(path))
    return dict(found)


def as_radvex_sees(tree):
    found = collections.defaultdict(set)
    for patient in tree:
        for study in patient:
            for series in study:
                found[patient.id, study.uid, series.uid] |= set(series)
    return dict(found)


def files_below(folder):
    return [os.path.join(place, name) for place, _, names in os.walk(folder) for name in names]


@pytest.fixture(scope="module")
def medium(samples):
    return os.path.join(samples, "dicomdirtests")


@pytest.fixture
def ward(tmp_path):
    """Two patients, one with two studies, one study with two series."""
    stack(tmp_path / "a", SeriesDescription="Axial", StudyDate="20200102", StudyDescription="Chest")
    stack(tmp_path / "b", SeriesInstanceUID="1.2.826.0.1.1.2", SeriesNumber=2, StudyDate="20200102")
    stack(tmp_path / "c", StudyInstanceUID="1.2.826.0.1.2", SeriesInstanceUID="1.2.826.0.1.2.1")
    stack(
        tmp_path / "d",
        PatientID="P2",
        PatientName="Other",
        StudyInstanceUID="1.2.826.0.1.3",
        SeriesInstanceUID="1.2.826.0.1.3.1",
    )
    return tmp_path


def test_a_medium_is_listed_as_its_directory_says(medium):
    directory = pydicom.dcmread(os.path.join(medium, "DICOMDIR"))
    expected = collections.defaultdict(set)
    keys = {}
    for record in directory.DirectoryRecordSequence:
        keys[record.DirectoryRecordType] = record
        if "ReferencedFileID" in record:
            path = os.path.join(medium, *record.ReferencedFileID)
            ids = keys["PATIENT"].PatientID, keys["STUDY"].StudyInstanceUID, keys["SERIES"].SeriesInstanceUID
            expected[ids].add(path)
    for path in (medium, os.path.join(medium, "DICOMDIR")):
        tree = radvex.tree(path)
        assert as_radvex_sees(tree) == dict(expected)
        assert tree.refused == []
    names = {record.PatientID: str(record.PatientName) for record in directory.DirectoryRecordSequence
             if record.DirectoryRecordType == "PATIENT"}
    assert {patient.id: patient.name for patient in tree} == names


def test_a_folder_of_a_medium_is_listed_as_pydicom_reads_its_files(medium):
    folder = os.path.join(medium, "77654033")
    tree = radvex.tree(folder)
    assert as_radvex_sees(tree) == as_pydicom_sees(files_below(folder))
    first = pydicom.dcmread(tree.series()[0].files[0])
    study = tree.patients[0].studies[0]
    assert (study.date, study.description) == (first.StudyDate, first.StudyDescription)


def test_a_plain_folder_is_listed_as_pydicom_reads_its_files(ward):
    tree = radvex.tree(ward)
    assert as_radvex_sees(tree) == as_pydicom_sees(files_below(ward))
    assert tree.path == str(ward) and tree.skipped == 0 and tree.refused == []
    assert [patient.id for patient in tree] == ["P1", "P2"] and len(tree) == 2
    assert [study.uid for study in tree.patients[0]] == ["1.2.826.0.1.1", "1.2.826.0.1.2"]
    series = tree.patients[0].studies[0].series
    assert [(each.number, each.modality, each.description) for each in series] == [
        ("1", "CT", "Axial"),
        ("2", "CT", None),
    ]
    assert (tree.patients[0].studies[0].date, tree.patients[0].studies[0].description) == ("20200102", "Chest")
    assert [each.uid for each in tree.series()] == [
        "1.2.826.0.1.1.1",
        "1.2.826.0.1.1.2",
        "1.2.826.0.1.2.1",
        "1.2.826.0.1.3.1",
    ]


def test_files_of_a_folder_are_sorted_by_path(tmp_path):
    paths = stack(tmp_path, numbers=[3, 1, 2])
    series = radvex.tree(tmp_path).series()[0]
    assert list(series) == series.files == paths and len(series) == 3


def test_patient_study_and_series_are_chosen(ward):
    def chosen(**choice):
        return [series.uid for series in radvex.tree(ward, **choice).series()]

    assert chosen(patient="P2") == ["1.2.826.0.1.3.1"]
    assert chosen(study="1.2.826.0.1.1") == ["1.2.826.0.1.1.1", "1.2.826.0.1.1.2"]
    assert chosen(series="1.2.826.0.1.1.2") == ["1.2.826.0.1.1.2"]
    assert chosen(patient="P1", study="1.2.826.0.1.2") == ["1.2.826.0.1.2.1"]
    assert chosen(patient="P2", study="1.2.826.0.1.1") == []
    assert len(radvex.tree(ward, patient="nobody")) == 0


def test_a_choice_is_exact(tmp_path):
    for number, uid in enumerate(["1.2.3", "1.213", "1.2.34", "11.2.3", "1.2"]):
        ids = {"PatientID": uid, "StudyInstanceUID": uid, "SeriesInstanceUID": uid}
        save(dataset(PICTURE, **ids), str(tmp_path / f"{number}.dcm"))
    for level in ("patient", "study", "series"):
        assert [each.uid for each in radvex.tree(tmp_path, **{level: "1.2.3"}).series()] == ["1.2.3"]
        for pattern in (".*", "1.2.?", "[1]", "1.2.3|1.2.34", "(", "1.2.3$", ""):
            assert radvex.tree(tmp_path, **{level: pattern}).series() == []


def test_signs_of_patterns_in_an_id_are_signs(tmp_path):
    for number, patient in enumerate(["A(1)*", "A1", "A^+$", "A[1].{2}|?"]):
        save(dataset(PICTURE, PatientID=patient, StudyInstanceUID=f"1.2.{number}"), str(tmp_path / f"{number}.dcm"))
    for patient in ("A(1)*", "A1", "A^+$", "A[1].{2}|?"):
        assert [each.id for each in radvex.tree(tmp_path, patient=patient)] == [patient]


def test_texts_beyond_ascii_are_those_of_pydicom(tmp_path):
    latin = {"PatientName": "Müller^Jörg", "SeriesDescription": "Schädel", "StudyDescription": "Größe"}
    save(dataset(PICTURE, SpecificCharacterSet="ISO_IR 100", **latin), str(tmp_path / "über" / "a.dcm"))
    ids = {"PatientID": "P2", "StudyInstanceUID": "1.2.5", "SeriesInstanceUID": "1.2.6"}
    name = "Yamada^Tarou=山田^太郎"
    save(dataset(PICTURE, SpecificCharacterSet="ISO_IR 192", PatientName=name, **ids), str(tmp_path / "山.dcm"))
    tree = radvex.tree(tmp_path)
    for patient in tree:
        study = patient.studies[0]
        series = study.series[0]
        read = pydicom.dcmread(series.files[0])
        assert patient.name == str(read.PatientName)
        assert study.description == read.get("StudyDescription")
        assert series.description == read.get("SeriesDescription")
    assert {patient.name for patient in tree} == {"Müller^Jörg", name}


def test_what_no_file_says_is_none(tmp_path):
    nothing = {"PatientName": "", "PatientID": "", "Modality": None, "SeriesNumber": None, "InstanceNumber": None}
    save(dataset(PICTURE, **nothing), str(tmp_path / "a.dcm"))
    patient = radvex.tree(tmp_path).patients[0]
    study = patient.studies[0]
    series = study.series[0]
    assert (patient.id, patient.name, study.date, study.description) == (None, None, None, None)
    assert (series.number, series.modality, series.description) == (None, None, None)
    assert repr(series) == "<Series -: -, 1 file>"
    assert len(series) == 1


def test_a_name_that_is_no_utf8_can_be_opened(tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff\xfe.dcm"
    save(dataset(PICTURE, PatientName="Bytes"), path)
    (file,) = radvex.tree(tmp_path).series()[0].files
    assert os.fsencode(file) == path
    assert pydicom.dcmread(file).PatientName == "Bytes"
    with radvex.open(file) as f:
        assert f["PatientName"] == "Bytes" and f.values()[3, 4] == 34
    folder = os.fsencode(tmp_path) + b"/\xfd"
    save(dataset(PICTURE), folder + b"/a.dcm")
    assert [os.fsencode(each) for each in radvex.tree(folder).series()[0]] == [folder + b"/a.dcm"]
    assert radvex.volume(os.fsdecode(folder)).shape == (1, 4, 5)


def test_other_files_are_counted_and_damaged_ones_refused_with_a_warning(tmp_path):
    good = save(dataset(PICTURE), str(tmp_path / "good.dcm"))
    (tmp_path / "note.txt").write_text("hello")
    content = (tmp_path / "good.dcm").read_bytes()
    (tmp_path / "cut.dcm").write_bytes(content[:-10])
    with open(os.fsencode(tmp_path) + b"/\xff.dcm", "wb") as file:
        file.write(content[:-10])
    with pytest.warns(radvex.RadvexWarning) as warned:
        tree = radvex.tree(tmp_path)
    assert as_radvex_sees(tree) == as_pydicom_sees([good])
    assert tree.skipped == 1
    assert [os.fsencode(path) for path, _ in tree.refused] == [
        os.fsencode(tmp_path) + b"/cut.dcm",
        os.fsencode(tmp_path) + b"/\xff.dcm",
    ]
    assert all("cut off" in reason for _, reason in tree.refused)
    assert len(warned) == 1 and warned[0].filename == __file__
    sentence = str(warned[0].message)
    assert sentence.startswith("2 files cannot be read and are left out, such as ") and "cut.dcm" in sentence
    os.unlink(tree.refused[1][0])
    with pytest.warns(radvex.RadvexWarning, match="^1 file cannot be read and is left out"):
        radvex.tree(tmp_path)
    os.unlink(tree.refused[0][0])
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert radvex.tree(tmp_path).refused == []


def test_folders_without_dicom_files_and_single_files_are_refused_with_a_sentence(tmp_path):
    with pytest.raises(radvex.FileError, match="holds no DICOM file that can be listed"):
        radvex.tree(tmp_path)
    with pytest.raises(FileNotFoundError, match="no such file or folder.*nowhere"):
        radvex.tree(tmp_path / "nowhere")
    path = save(dataset(PICTURE), str(tmp_path / "a.dcm"))
    with pytest.raises(radvex.UsageError, match="single file"):
        radvex.tree(path)
    assert len(radvex.tree(tmp_path)) == 1


def test_a_directory_by_another_name_is_no_medium(medium, tmp_path):
    with pytest.raises(radvex.UsageError, match="name does not end in DICOMDIR"):
        radvex.tree(os.path.join(medium, "DICOMDIR-reordered"))
    shutil.copytree(medium, tmp_path / "m")
    shutil.copy(os.path.join(medium, "DICOMDIR-reordered"), tmp_path / "m" / "DICOMDIR")
    assert len(radvex.tree(tmp_path / "m" / "DICOMDIR")) == len(radvex.tree(medium))


def test_several_processes_see_what_one_sees(ward, samples):
    for path in (str(ward), samples):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            one, four = radvex.tree(path, jobs=1), radvex.tree(path, jobs=4)
        assert as_radvex_sees(one) == as_radvex_sees(four) != {}
        assert [each.files for each in one.series()] == [each.files for each in four.series()]
        assert (one.skipped, one.refused) == (four.skipped, four.refused)
        assert str(one) == str(four)


def test_what_the_public_files_hold_is_what_pydicom_reads(samples):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        tree = radvex.tree(samples)
        seen = as_radvex_sees(tree)
        files = {file for files in seen.values() for file in files}
        assert len(files) > 100
        for (patient, study, series), paths in seen.items():
            for path in paths:
                read = pydicom.dcmread(path, stop_before_pixels=True, force=True)
                assert (read.get("PatientID") or None, read.StudyInstanceUID) == (patient, study)
                assert read.SeriesInstanceUID == series
    refused = {path for path, _ in tree.refused}
    assert not files & refused
    names = {name for name in files_below(samples) if not os.path.basename(name).startswith("DICOMDIR")}
    directories = len(files_below(samples)) - len(names)
    assert files | refused <= names
    assert len(names - files - refused) <= tree.skipped <= len(names - files - refused) + directories


def test_progress_gets_the_number_of_files(ward):
    calls = []
    radvex.tree(ward, progress=lambda what, done, total: calls.append((what, done, total)))
    assert calls and all(isinstance(what, str) and 0 <= done <= total for what, done, total in calls)
    assert calls[-1][1:] == (12, 12)


def test_an_exception_of_the_callback_comes_out_and_leaves_no_process(ward):
    def progress(*_):
        raise ZeroDivisionError("mine")

    with pytest.raises(ZeroDivisionError, match="mine"):
        radvex.tree(ward, progress=progress)
    for each in psutil.Process().children():
        try:
            assert not each.name().startswith("radvex")
        except psutil.NoSuchProcess:
            pass


def test_a_series_of_the_tree_becomes_its_volume(ward):
    series = radvex.tree(ward, patient="P2").series()[0]
    v = series.volume()
    assert v.series == series.uid and v.patient == "P2" and v.slices == series.files
    assert series.volume(values="stored").values == "stored"


def test_repr_and_str_tell_what_there_is(ward):
    tree = radvex.tree(ward)
    assert repr(tree) == f"<Tree of {ward}: 2 patients, 4 series, 12 files>"
    assert str(tree).splitlines() == [
        "<Patient P1: Test^Patient, 2 studies>",
        "  <Study 20200102: Chest, 2 series>",
        "    <Series 1: CT, Axial, 3 files>",
        "    <Series 2: CT, 3 files>",
        "  <Study -: -, 1 series>",
        "    <Series 1: CT, 3 files>",
        "<Patient P2: Other, 1 study>",
        "  <Study -: -, 1 series>",
        "    <Series 1: CT, 3 files>",
    ]
