"""One file: how it is opened, its attributes, its pictures and values."""

import copy
import io
import os
import pathlib
import pickle
import shutil
import warnings

import numpy as np
import pydicom
import pytest

import builders
import radvex


@pytest.fixture
def made(tmp_path):
    """Two frames of 3 rows and 5 columns, and their path."""
    array = builders.places(2)
    return array, builders.written(tmp_path, builders.picture(array, PatientName="A^B", Modality="OT"))


def dicom_files(samples):
    return sorted(str(path) for path in pathlib.Path(samples).glob("*.dcm"))


def readable(samples):
    """The samples that radvex can open."""
    for path in dicom_files(samples):
        try:
            with radvex.open(path):
                yield path
        except radvex.OpenFileError:
            pass


# Opening and closing


class Wrapped:
    def __init__(self, path):
        self.path = path

    def __fspath__(self):
        return self.path


def test_a_file_is_opened_from_a_path_bytes_or_a_file_object(made):
    array, path = made
    content = pathlib.Path(path).read_bytes()
    sources = [path, pathlib.Path(path), Wrapped(path), content, bytearray(content), memoryview(content)]
    with open(path, "rb") as binary:
        for source in [*sources, io.BytesIO(content), binary]:
            with radvex.open(source) as file:
                assert file["PatientName"] == "A^B"
                assert np.array_equal(file.values(), array)
    assert np.array_equal(radvex.values(content), array)
    assert radvex.tags(content, "PatientName", "PatientID") == {"PatientName": "A^B"}
    assert radvex.tags(path)["Rows"] == 3
    assert radvex.image(path).shape == array.shape


def test_a_path_may_be_relative(made, monkeypatch, tmp_path):
    monkeypatch.chdir(tmp_path)
    with radvex.open("file.dcm") as file:
        monkeypatch.chdir("/")
        assert file.path == made[1] and file["Rows"] == 3


def test_a_path_object_that_can_be_read_is_a_path(made):
    class Readable(Wrapped):
        def read(self):
            raise AssertionError("the path was read")

    with radvex.open(Readable(made[1])) as file:
        assert file["Rows"] == 3


def test_what_is_no_source_is_refused_and_keeps_no_descriptor(made):
    before = len(os.listdir("/proc/self/fd"))
    for wrong in (None, 3, io.StringIO("text"), ["a"]):
        with pytest.raises(TypeError):
            radvex.open(wrong)
    for wrong in (b"", b"DICM", b"\0" * 128 + b"DICM"[:3], io.BytesIO()):
        with pytest.raises(radvex.OpenFileError) as caught:
            radvex.open(wrong)
        assert "/proc" not in str(caught.value)
    assert len(os.listdir("/proc/self/fd")) == before


def test_a_missing_file_and_a_folder_are_the_exceptions_of_python(tmp_path):
    path = str(tmp_path / "missing.dcm")
    with pytest.raises(FileNotFoundError) as caught:
        radvex.open(path)
    assert caught.value.filename == path
    with pytest.raises(IsADirectoryError):
        radvex.open(tmp_path)
    text = tmp_path / "text.dcm"
    text.write_text("This is a letter.")
    with pytest.raises(radvex.OpenFileError, match="text.dcm"):
        radvex.open(text)


def test_a_closed_file_says_so(made):
    array, path = made
    with radvex.open(path) as file:
        kept = file.values()
        assert not file.closed
    assert file.closed
    uses = [
        lambda: file["Rows"],
        lambda: file.get("Rows"),
        lambda: "Rows" in file,
        lambda: list(file),
        lambda: len(file),
        file.tags,
        file.vr,
        lambda: file.info,
        lambda: file.frames,
        file.image,
        file.values,
        file.overlays,
    ]
    for use in uses:
        with pytest.raises(radvex.FileError, match="was closed"):
            use()
    assert repr(file) == f"<radvex.File {path}, closed>"
    assert file.path == path
    file.close()
    assert np.array_equal(kept, array)


def test_a_file_is_closed_when_nobody_has_it_any_more(made):
    before = len(os.listdir("/proc/self/fd"))
    file = radvex.open(pathlib.Path(made[1]).read_bytes())
    assert file["Rows"] == 3
    assert len(os.listdir("/proc/self/fd")) > before
    del file
    assert len(os.listdir("/proc/self/fd")) == before


def test_two_files_of_one_path_are_closed_one_by_one(made):
    array, path = made
    one, other = radvex.open(path), radvex.open(path)
    one.close()
    one.close()
    os.remove(path)  # what is open can be read all the same
    assert other["PatientName"] == "A^B"
    assert np.array_equal(other.values(), array)
    other.close()


def test_a_file_that_was_replaced_is_read_anew(made):
    array, path = made
    with radvex.open(path) as file:
        assert np.array_equal(file.values(), array)
    builders.picture(array + 1, PatientName="New").save_as(path, write_like_original=False)
    with radvex.open(path) as file:
        assert file["PatientName"] == "New"
        assert np.array_equal(file.values(), array + 1)


def test_a_direct_call_does_not_keep_what_a_file_was_before(made):
    array, path = made
    assert radvex.call("ReadMetadata", path, ["PatientName"])[0] == "A^B"
    builders.picture(array + 1, PatientName="New").save_as(path, write_like_original=False)
    assert radvex.call("ReadMetadata", path, ["PatientName"])[0] == "A^B"  # it keeps the file open
    with radvex.open(path) as file:
        assert file["PatientName"] == "New"
        assert np.array_equal(file.values(), array + 1)


def test_files_in_memory_do_not_mix():
    contents = [builders.content(builders.picture(builders.places(2) + number)) for number in range(5)]
    files = [radvex.open(content) for content in contents]
    files[1].close()
    files.append(radvex.open(contents[1]))
    for number, file in zip((0, 2, 3, 4, 1), (files[0], *files[2:])):
        assert np.array_equal(file.values(), builders.places(2) + number)
        file.close()


# Attributes

PRIVATE = (0x0099, 0x0010)


@pytest.fixture
def typed(tmp_path):
    """A file with a value of each representation."""
    made = builders.dataset(
        SpecificCharacterSet="ISO_IR 192",
        ImageType=["ORIGINAL", "PRIMARY"],
        PatientName="M\u00fcller^\u4f60",
        PatientID=None,
        OtherPatientNames=["A^B", "C^D"],
        PatientAge="042Y",
        StudyDate="20200131",
        StudyTime="101112.25",
        SeriesNumber="-12",
        ReferencedFrameNumber=["1", "2", "3"],
        PatientWeight="71.5",
        PixelSpacing=["0.5", "0.25"],
        SliceThickness="",
        Rows=65535,
        TagAngleSecondAxis=-7,
        ExaminedBodyThickness=1.5,
        TagSpacingFirstDimension=-0.1,
        SelectorULValue=[4294967295, 5],
        SelectorSLValue=-2147483648,
        FrameIncrementPointer=[0x00181063, 0x00181065],
        ICCProfile=b"\x00\x01\xfe\xff",
        RedPaletteColorLookupTableData=b"\x01\x02\x03\x04",
        ImageComments="one\\text",
    )
    made.ReferencedStudySequence = builders.items(
        {"StudyID": "A", "ReferencedSeriesSequence": builders.items({"SeriesNumber": "5"}, {"SeriesNumber": "6"})},
        {"StudyID": "B"},
    )
    made.ReferencedPatientSequence = builders.items()
    made.add_new(PRIVATE, "LO", "RADVEX TEST")
    made.add_new((0x0099, 0x1001), "US", [1, 2])
    made.add_new((0x0099, 0x1002), "UN", b"\x05\x06")
    made.add_new((0x0099, 0x1003), "LO", "private")
    return builders.written(tmp_path, made)


EXPECTED = {
    "ImageType": ["ORIGINAL", "PRIMARY"],
    "PatientName": "M\u00fcller^\u4f60",
    "PatientID": None,
    "OtherPatientNames": ["A^B", "C^D"],
    "PatientAge": "042Y",
    "StudyDate": "20200131",
    "StudyTime": "101112.25",
    "SeriesNumber": -12,
    "ReferencedFrameNumber": [1, 2, 3],
    "PatientWeight": 71.5,
    "PixelSpacing": [0.5, 0.25],
    "SliceThickness": None,
    "Rows": 65535,
    "ExaminedBodyThickness": float(np.float32(1.5)),
    "TagSpacingFirstDimension": -0.1,
    "SelectorULValue": [4294967295, 5],
    "SelectorSLValue": -2147483648,
    "FrameIncrementPointer": ["(0018,1063)", "(0018,1065)"],
    "ICCProfile": b"\x00\x01\xfe\xff",
    "RedPaletteColorLookupTableData": b"\x01\x02\x03\x04",
    "ImageComments": "one\\text",
    "ReferencedStudySequence": [
        {"StudyID": "A", "ReferencedSeriesSequence": [{"SeriesNumber": 5}, {"SeriesNumber": 6}]},
        {"StudyID": "B"},
    ],
    "ReferencedPatientSequence": [],
}


@pytest.mark.parametrize("keyword", EXPECTED)
def test_values_have_the_type_of_their_representation(typed, keyword):
    with radvex.open(typed) as file:
        found, among_all = file[keyword], file.tags()[keyword]
    expected = EXPECTED[keyword]
    for value in (found, among_all):
        assert value == expected and type(value) is type(expected)
        if isinstance(value, list):
            assert [type(each) for each in value] == [type(each) for each in expected]


def test_signed_shorts_and_reals_of_any_width_are_numbers(tmp_path):
    made = builders.dataset()
    made.add_new((0x0028, 0x0106), "SS", -5)  # SmallestImagePixelValue
    made.PixelRepresentation = 1
    made.add_new((0x0072, 0x007E), "SS", [-32768, 32767])  # SelectorSSValue
    made.add_new((0x0072, 0x0074), "FD", [0.1, -1e300])  # SelectorFDValue
    made.add_new((0x0072, 0x0076), "FL", [0.5, -2.0])  # SelectorFLValue
    with radvex.open(builders.content(made)) as file:
        assert file["SmallestImagePixelValue"] == -5
        assert file["SelectorSSValue"] == [-32768, 32767]
        assert file["SelectorFDValue"] == [0.1, -1e300]
        assert file["SelectorFLValue"] == [0.5, -2.0]


@pytest.mark.parametrize("number", [0, 2**31 - 1, 2**31, 2**32 - 1])
def test_unsigned_longs_are_not_negative(number):
    made = builders.dataset()
    made.add_new((0x0072, 0x0078), "UL", number)  # SelectorULValue
    with radvex.open(builders.content(made)) as file:
        assert file["SelectorULValue"] == file[0x0072, 0x0078] == file.tags()["SelectorULValue"] == number


@pytest.mark.parametrize(
    "tag",
    ["PatientName", "0010,0010", "(0010,0010)", "00100010", "0010_0010", (0x10, 0x10), 0x00100010],
    ids=str,
)
def test_an_attribute_is_named_in_several_ways(typed, tag):
    with radvex.open(typed) as file:
        assert file[tag] == file.get(tag) == EXPECTED["PatientName"]
        assert tag in file


@pytest.mark.parametrize("absent", ["PatientSex", "0010,0040", (0x10, 0x40), 0x00100040, "Nonsense", (0x99, 0x1009)])
def test_an_absent_attribute_is_a_key_error(typed, absent):
    with radvex.open(typed) as file:
        with pytest.raises(KeyError):
            file[absent]
        assert file.get(absent) is None and file.get(absent, 5) == 5
        assert absent not in file


@pytest.mark.parametrize("wrong", [None, 1.5, b"PatientName", (0x10,), (0x10, 0x10, 0x10)], ids=repr)
def test_what_is_no_tag_is_a_type_error(typed, wrong):
    with radvex.open(typed) as file:
        with pytest.raises(TypeError):
            file[wrong]


def test_an_attribute_without_a_value_is_none_and_there(typed):
    with radvex.open(typed) as file:
        assert "PatientID" in file and file["PatientID"] is None and file.get("PatientID", 5) is None


def test_private_attributes_are_found_by_number(typed):
    with radvex.open(typed) as file:
        assert file[0x0099, 0x1001] == file["0099,1001"] == file["(0099,1001)"] == file[0x00991001] == [1, 2]
        assert file[0x0099, 0x1002] == b"\x05\x06"
        assert file[0x0099, 0x1003] == "private"
        tags = file.tags()
        assert tags["0099_1001"] == [1, 2] and tags["0099_1003"] == "private"
        assert tags["0099_0010"] == "RADVEX TEST"


def test_each_private_attribute_has_a_key_of_its_own(samples):
    path = os.path.join(samples, "CT_small.dcm")
    expected = pydicom.dcmread(path)
    with radvex.open(path) as file:
        tags = file.tags()
        private = [element for element in expected if element.tag.is_private]
        for element in private:
            assert f"{element.tag.group:04x}_{element.tag.element:04x}" in tags, element.tag
        outside_pixels = [element for element in expected if element.tag.group != 0x7FE0]
        assert len(tags) == len(outside_pixels) + len(expected.file_meta)


def test_an_attribute_in_a_sequence_is_not_that_of_the_file(typed):
    with radvex.open(typed) as file:
        assert "StudyID" not in file
        assert file["SeriesNumber"] == -12


def test_iteration_gives_the_keywords_in_order(typed):
    with radvex.open(typed) as file:
        names = list(file)
        assert len(file) == len(names) == len(set(names))
        assert names[:2] == ["FileMetaInformationGroupLength", "FileMetaInformationVersion"]
        known = [name for name in names if name in EXPECTED]
        assert known == [element.keyword for element in pydicom.dcmread(typed) if element.keyword in EXPECTED]
        assert all(name in file for name in names)


def test_the_representation_of_each_attribute_is_that_of_the_file(samples):
    for name in ("CT_small.dcm", "rtplan.dcm", "MR_small_RLE.dcm"):
        path = os.path.join(samples, name)
        expected = pydicom.dcmread(path)
        with radvex.open(path) as file:
            vr = file.vr()
        for element in expected:
            key = element.keyword or f"{element.tag.group:04x}_{element.tag.element:04x}"
            if not element.tag.is_private:
                assert vr[key] == element.VR, key


def test_text_that_is_not_valid_in_its_character_set_is_bytes(tmp_path):
    good = builders.content(builders.dataset(SpecificCharacterSet="ISO_IR 192", PatientName="AB\u00e4C"))
    with radvex.open(good) as file:
        assert file["PatientName"] == file.tags()["PatientName"] == "AB\u00e4C"
    with radvex.open(good.replace("AB\u00e4C".encode(), b"AB\xff\xfeC")) as file:
        assert file["PatientName"] == file.tags()["PatientName"] == b"AB\xff\xfeC"


@pytest.mark.parametrize(
    "name", "chrArab chrFren chrFrenMulti chrGerm chrGreek chrHbrw chrI2 chrRuss chrX1 chrX2".split()
)
def test_text_of_any_character_set_is_text(samples, name):
    path = os.path.join(os.path.dirname(samples), "charset_files", f"{name}.dcm")
    expected = pydicom.dcmread(path)
    with radvex.open(path) as file:
        # pydicom leaves out empty groups of components at the end
        assert file["PatientName"].rstrip("=") == str(expected.PatientName).rstrip("=")
        assert file.tags()["PatientName"] == file["PatientName"]


def test_all_attributes_together_are_those_one_by_one(samples):
    differences = []
    for path in readable(samples):
        with radvex.open(path) as file:
            for key, value in file.tags().items():
                found = file.get(key, "absent")
                if repr(found) != repr(value):
                    differences.append((os.path.basename(path), key, found, value))
    assert not differences


def plain(value):
    """A value of pydicom as radvex gives it."""
    if isinstance(value, pydicom.sequence.Sequence):
        return [plain_dataset(item) for item in value]
    if value == "" or value == []:
        return None
    if isinstance(value, pydicom.multival.MultiValue):
        return [plain(each) for each in value]
    if isinstance(value, pydicom.valuerep.IS):
        return int(value)
    if isinstance(value, pydicom.valuerep.DSfloat):
        return float(value)
    if isinstance(value, (pydicom.valuerep.PersonName, pydicom.uid.UID)):
        return str(value)
    if isinstance(value, pydicom.tag.BaseTag):
        return f"({value.group:04x},{value.element:04x})"
    return value


def plain_dataset(dataset):
    """Keyword -> value, of what is compared."""
    return {
        element.keyword: [] if element.VR == "SQ" and not element.value else plain(element.value)
        for element in dataset
        if is_compared(element)
    }


def is_compared(element):
    """pydicom has bytes in another form, and empty numbers as empty texts."""
    return element.keyword and element.VR not in ("OB", "OW", "UN") and element.keyword != "SpecificCharacterSet"


def of_interest(value):
    """A value of radvex without what is not compared. pydicom leaves out spaces at the end of a text."""
    if isinstance(value, str):
        return value.rstrip(" ")
    if isinstance(value, list):
        return [of_interest(each) for each in value]
    if isinstance(value, dict):
        known = {key: each for key, each in value.items() if not isinstance(each, bytes) and "_" not in key}
        return {key: of_interest(each) for key, each in known.items()}
    return value


@pytest.mark.parametrize("name", ["CT_small.dcm", "MR_small.dcm", "rtplan.dcm", "rtdose.dcm", "test-SR.dcm"])
def test_attributes_are_those_that_pydicom_reads(samples, name):
    path = os.path.join(samples, name)
    expected = plain_dataset(pydicom.dcmread(path))
    with radvex.open(path) as file:
        found = {keyword: of_interest(file[keyword]) for keyword in expected}
    assert len(expected) > 20
    assert found == {keyword: of_interest(value) for keyword, value in expected.items()}


def test_info_says_who_and_what(samples):
    path = os.path.join(samples, "CT_small.dcm")
    expected = pydicom.dcmread(path)
    with radvex.open(path) as file:
        info = file.info
    assert set(info) == {"patient", "study", "series"}
    assert info["patient"]["PatientName"] == str(expected.PatientName)
    assert info["patient"]["PatientWeight"] == float(expected.PatientWeight)
    assert info["study"]["StudyInstanceUID"] == expected.StudyInstanceUID
    assert info["series"]["SeriesNumber"] == int(expected.SeriesNumber)
    assert "PatientBirthTime" not in info["patient"]


def test_a_file_in_short(made, samples):
    _, path = made
    with radvex.open(path) as file:
        assert repr(file) == "<radvex.File file.dcm: OT, 5 x 3, 2 frames>"
    with radvex.open(os.path.join(samples, "rtplan.dcm")) as file:
        assert repr(file) == "<radvex.File rtplan.dcm: RTPLAN, no pixels>"
    with radvex.open(pathlib.Path(path).read_bytes()) as file:
        assert repr(file) == "<radvex.File The file in memory: OT, 5 x 3, 2 frames>"
    with open(path, "rb") as binary, radvex.open(binary) as file:
        assert repr(file) == "<radvex.File file.dcm: OT, 5 x 3, 2 frames>"


def test_frames_are_counted(samples, made):
    for name, frames in (("rtplan.dcm", 0), ("CT_small.dcm", 1), ("rtdose.dcm", 15)):
        with radvex.open(os.path.join(samples, name)) as file:
            assert file.frames == frames
    with radvex.open(made[1]) as file:
        assert file.frames == 2


# Values


@pytest.mark.parametrize("dtype", ["u1", "i1", "u2", "i2", "u4", "i4"])
def test_values_are_the_stored_ones_without_a_rescale(dtype):
    info = np.iinfo(dtype)
    array = np.array([[[info.min, info.max, 0], [1, 2, 3]], [[4, 5, 6], [7, 8, 9]]], dtype)
    values = radvex.values(builders.content(builders.picture(array)))
    assert values.dtype == array.dtype and np.array_equal(values, array)
    assert not values.flags.writeable
    meaning = values.meaning
    assert (meaning.values, meaning.unit, meaning.slope, meaning.intercept) == ("modality", None, None, None)
    assert meaning.signed == (array.dtype.kind == "i") and meaning.bits_stored == 8 * array.itemsize
    assert (meaning.photometric_interpretation, meaning.polarity) == ("MONOCHROME2", "MONOCHROME2")


def test_values_are_rescaled_to_their_unit():
    array = builders.places(2)
    rescaled = builders.picture(array, RescaleSlope="2", RescaleIntercept="-1024", RescaleType="HU", Modality="CT")
    values = radvex.values(builders.content(rescaled))
    assert values.dtype.kind == "i" and np.array_equal(values, 2 * array.astype(int) - 1024)
    assert (values.meaning.unit, values.meaning.slope, values.meaning.intercept) == ("HU", 2.0, -1024.0)


def test_a_fractional_rescale_gives_reals():
    array = builders.places(2)
    made = builders.picture(array, RescaleSlope="0.1", RescaleIntercept="-3.5", Modality="PT", Units="BQML")
    values = radvex.values(builders.content(made))
    assert values.dtype == np.float64
    assert np.allclose(values, array * 0.1 - 3.5, rtol=1e-15)
    assert values.meaning.unit == "BQML"


def test_doses_are_scaled(samples):
    path = os.path.join(samples, "rtdose.dcm")
    expected = pydicom.dcmread(path)
    values = radvex.values(path)
    assert values.dtype == np.float64
    assert np.allclose(values, expected.pixel_array * float(expected.DoseGridScaling), rtol=1e-12)
    assert values.meaning.unit == expected.DoseUnits


@pytest.mark.parametrize("name", ["CT_small.dcm", "MR_small.dcm", "MR_small_RLE.dcm", "rtdose.dcm", "image_dfl.dcm"])
def test_values_are_those_of_pydicom(samples, name):
    path = os.path.join(samples, name)
    expected = pydicom.dcmread(path)
    scale = float(getattr(expected, "DoseGridScaling", getattr(expected, "RescaleSlope", 1)))
    intercept = float(getattr(expected, "RescaleIntercept", 0))
    assert np.allclose(radvex.values(path), expected.pixel_array * scale + intercept, rtol=1e-12)


def test_one_frame_is_given_without_the_others(made):
    array, path = made
    with radvex.open(path) as file:
        for number in (0, 1, np.int64(1)):
            assert np.array_equal(file.values(frame=number), array[number])
            assert file.image(frame=number).shape == (3, 5)
    assert np.array_equal(radvex.values(path, frame=1), array[1])


@pytest.mark.parametrize("frame", [-1, 2, 2**31 - 1, 2**31, 2**80])
def test_frames_that_are_not_there_are_refused(made, frame):
    with radvex.open(made[1]) as file:
        for read in (file.values, file.image):
            with pytest.raises(radvex.UsageError, match="counted from 0"):
                read(frame=frame)


@pytest.mark.parametrize("frame", ["0", 1.0, [0]])
def test_a_frame_is_a_whole_number(made, frame):
    with radvex.open(made[1]) as file:
        for read in (file.values, file.image):
            with pytest.raises(TypeError):
                read(frame=frame)


def test_colour_has_no_values():
    colour = np.arange(45, dtype="u1").reshape(3, 5, 3)
    with radvex.open(builders.content(builders.picture(colour, colour=True))) as file:
        with pytest.raises(radvex.RawPixelReadError, match="colour"):
            file.values()
        assert np.array_equal(file.image(scaling="none"), colour)


def test_pixels_that_are_not_there_are_refused(samples):
    with radvex.open(os.path.join(samples, "rtplan.dcm")) as file:
        for read in (file.values, file.image):
            with pytest.raises(radvex.LibraryError):
                read()
    with radvex.open(os.path.join(samples, "JPEG2000-embedded-sequence-delimiter.dcm")) as file:
        for read in (file.values, file.image):
            with pytest.raises(radvex.ImageOpenError, match="JPEG 2000"):
                read()
    with radvex.open(os.path.join(samples, "JPEG2000.dcm")) as file:
        assert file.values().shape == file.image().shape == (1024, 256)


def test_frames_that_are_not_there_are_said_instead_of_the_others(samples, tmp_path):
    instance = pydicom.dcmread(os.path.join(samples, "MR_small_RLE.dcm"))
    for frames, holds_all in (("1", True), ("3", False)):
        instance.NumberOfFrames = frames
        path = str(tmp_path / f"{frames}.dcm")
        instance.save_as(path)
        with radvex.open(path) as file:
            for read in (file.values, file.image):
                if holds_all:
                    assert read().shape == (64, 64)
                else:
                    with pytest.raises(radvex.VolumeError, match="holds 1 of the 3 frames that its attributes promise"):
                        read()


# Pictures


def grey(values, width, centre, top=255):
    """The window of DICOM, linear (PS3.3 C.11.2.1.2.1)."""
    values = values.astype(float)
    return np.clip((values - (centre - 0.5)) / (width - 1) + 0.5, 0, 1) * top


def test_a_window_maps_its_values_to_all_greys():
    array = builders.places(2, dtype="u1")
    with radvex.open(builders.content(builders.picture(array))) as file:
        for window in ((20, 10), [20.0, 10.0], (np.float32(20), np.int64(10)), np.array([20, 10])):
            image = file.image(window)
            assert image.dtype == np.uint8 and image.meaning.window == (20.0, 10.0)
            assert image.meaning.values == "rendered" and image.meaning.unit is None
            assert np.abs(image - grey(array, 20, 10)).max() <= 1
        assert np.array_equal(file.image((20, 10), frame=1), file.image((20, 10))[1])


def test_a_window_is_in_the_unit_of_the_values(samples):
    path = os.path.join(samples, "CT_small.dcm")
    values = np.asarray(radvex.values(path))
    for window, numbers in (("lung", (1500, -600)), ((1500, -600), (1500, -600))):
        image = radvex.image(path, window)
        assert image.meaning.window == numbers
        top = 1 if image.dtype == np.float32 else np.iinfo(image.dtype).max
        assert np.abs(image - grey(values, *numbers, top)).max() <= 0.01 * top


@pytest.mark.parametrize("name", ["lung", "bone", "brain", "abdomen", "mediastinum"])
def test_windows_have_names(samples, name):
    assert radvex.image(os.path.join(samples, "CT_small.dcm"), name).meaning.window is not None


def test_a_window_of_the_file_is_counted_from_1():
    array = builders.places(2, dtype="u1")
    made = builders.picture(array, WindowWidth=["20", "40"], WindowCenter=["10", "30"])
    with radvex.open(builders.content(made)) as file:
        assert file.image("file").meaning.window == (20.0, 10.0)
        assert file.image("file:2").meaning.window == (40.0, 30.0)
        assert np.array_equal(file.image("file:2"), file.image((40, 30)))
        with pytest.raises(radvex.Error):
            file.image("file:3")
    with radvex.open(builders.content(builders.picture(array))) as file:
        with pytest.raises(radvex.FileError, match="no window of its own"):
            file.image("file")


def test_without_a_window_the_scaling_says_how_dark_and_bright():
    array = builders.places(2, dtype="u1")
    with radvex.open(builders.content(builders.picture(array))) as file:
        image = file.image()
        assert image.meaning.window is None
        assert image.min() == 0 and image.max() == 255
        assert np.array_equal(file.image(scaling="minmax"), image)
        assert np.array_equal(file.image(scaling="none"), array)
        trimmed = file.image(scaling="trimmed")
        assert trimmed.shape == array.shape and trimmed.min() == 0 and trimmed.max() == 255
        assert not np.array_equal(trimmed, image)


@pytest.mark.parametrize("window", [(0.5, 40), (0, 40), (-5, 40), (400,), (400, 40, 1), ("a", "b"), "lungs", "40,4"])
def test_what_is_no_window_is_refused(samples, window):
    with radvex.open(os.path.join(samples, "CT_small.dcm")) as file:
        with pytest.raises(radvex.UsageError):
            file.image(window)
        assert file.image((400, 40)).meaning.window == (400.0, 40.0)


@pytest.mark.parametrize("window", [(float("nan"), 40), (400, float("inf")), (np.float32("nan"), 40)])
def test_a_window_is_finite(samples, window):
    with pytest.raises(radvex.UsageError, match="finite"):
        radvex.image(os.path.join(samples, "CT_small.dcm"), window)


@pytest.mark.filterwarnings("ignore::radvex.RadvexWarning")
def test_the_narrowest_window_has_the_width_1(samples):
    assert radvex.image(os.path.join(samples, "CT_small.dcm"), (1, 40)).meaning.window == (1.0, 40.0)


def test_an_unknown_scaling_is_refused(made):
    with radvex.open(made[1]) as file:
        for wrong in ("brightest", "MINMAX", "", 5):
            with pytest.raises(radvex.UsageError):
                file.image(scaling=wrong)
        with pytest.raises(TypeError):
            file.image(width=5)


def test_a_window_on_colour_warns_where_it_was_asked_for():
    colour = np.arange(45, dtype="u1").reshape(3, 5, 3)
    with radvex.open(builders.content(builders.picture(colour, colour=True))) as file:
        with pytest.warns(radvex.RadvexWarning, match="colour") as caught:
            image = file.image((20, 10))
        assert [os.path.basename(each.filename) for each in caught] == ["test_files.py"]
        assert "/proc" not in str(caught[0].message)
        assert image.shape == (3, 5, 3)
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            file.image()


def test_colour_has_its_channels_behind():
    colours = np.arange(90, dtype="u1").reshape(2, 3, 5, 3)
    with radvex.open(builders.content(builders.picture(colours, colour=True))) as file:
        image = file.image(scaling="none")
        assert np.array_equal(image, colours)
        assert np.array_equal(file.image(scaling="none", frame=1), colours[1])
        assert image.meaning.photometric_interpretation == "RGB" and image.meaning.polarity is None


@pytest.mark.parametrize("shape", [(3, 5, 3), (3, 3, 3), (2, 3, 5, 3), (3, 3, 3, 3), (2, 4, 3, 3)])
@pytest.mark.parametrize("planar", [0, 1])
def test_colour_is_the_same_however_it_is_stored(shape, planar):
    colour = np.arange(np.prod(shape), dtype="u1").reshape(shape)
    made = builders.picture(colour, colour=True, PlanarConfiguration=planar)
    if planar:
        stored = np.moveaxis(colour, -1, -3).tobytes()
        made.PixelData = stored + b"\0" * (len(stored) % 2)
    with radvex.open(builders.content(made)) as file:
        assert np.array_equal(file.image(scaling="none"), colour)
        if colour.ndim == 4:
            assert np.array_equal(file.image(scaling="none", frame=1), colour[1])


def test_larger_is_brighter_in_pictures_whatever_the_file_says():
    array = builders.places(2, dtype="u1")
    inverted = builders.content(builders.picture(array, PhotometricInterpretation="MONOCHROME1"))
    plainly = builders.content(builders.picture(array))
    dark = radvex.values(inverted)
    assert np.array_equal(dark, array) and dark.meaning.polarity == "MONOCHROME1"
    image = radvex.image(inverted, (200, 50))
    assert image.meaning.photometric_interpretation == "MONOCHROME1"
    bright = radvex.image(plainly, (200, 50))
    assert bright.meaning.polarity == "MONOCHROME2" == image.meaning.polarity
    assert np.abs(image.astype(int) - (255 - bright.astype(int))).max() <= 1


def test_overlays_are_planes_and_may_be_burnt_in():
    array = np.zeros((3, 5), "u1") + np.arange(5, dtype="u1")
    first = np.arange(15).reshape(3, 5) % 4 == 0
    second = np.arange(8).reshape(2, 4) % 3 == 0
    made = builders.with_plane(builders.with_plane(builders.picture(array), first), second, 0x6002)
    with radvex.open(builders.content(made)) as file:
        planes = file.overlays()
        assert len(planes) == 2 and np.array_equal(planes[0], first) and np.array_equal(planes[1], second)
        assert all(plane.dtype == np.bool_ and not plane.flags.writeable for plane in planes)
        without, burnt = file.image(), file.image(overlays=True)
        assert np.array_equal(file.image(overlays=False), without)
        both = first.copy()
        both[:2, :4] |= second
        assert (np.asarray(burnt)[both] == 255).all()
        assert np.array_equal(np.asarray(burnt)[~both], np.asarray(without)[~both])
    with radvex.open(builders.content(builders.picture(array))) as file:
        assert file.overlays() == []


# Arrays that say what they are


@pytest.fixture
def pixels(samples):
    return radvex.values(os.path.join(samples, "CT_small.dcm"))


def test_images_and_values_are_read_only(pixels, samples):
    for array in (pixels, pixels[:2], radvex.image(os.path.join(samples, "CT_small.dcm"))):
        with pytest.raises(ValueError, match="read-only"):
            array[0, 0] = 1
    changed = pixels.copy()
    changed[0, 0] = 1
    assert changed[0, 0] == 1


@pytest.mark.parametrize(
    "part",
    [
        lambda pixels: pixels[3],
        lambda pixels: pixels[2:4, ::3],
        lambda pixels: pixels.T,
        lambda pixels: pixels.reshape(-1),
        lambda pixels: np.flip(pixels),
        lambda pixels: np.moveaxis(pixels, 0, 1),
        lambda pixels: pixels[pixels > 0],
        lambda pixels: pixels[[1, 2]],
        lambda pixels: pixels.copy(),
        lambda pixels: copy.deepcopy(pixels),
        lambda pixels: pixels.astype("f4"),
    ],
)
def test_parts_and_copies_keep_their_meaning(pixels, part):
    assert type(part(pixels)) is radvex.Pixels
    assert part(pixels).meaning.unit == "HU"


@pytest.mark.parametrize(
    "compute",
    [
        lambda array: array + 1,
        lambda array: 2 * array,
        lambda array: array - array,
        lambda array: -array,
        lambda array: array > 0,
        lambda array: array @ array.T,
        lambda array: array.max(axis=0),
        lambda array: array.mean(axis=1),
        lambda array: array.sum(axis=0),
        lambda array: array.std(axis=0),
        lambda array: array.cumsum(),
        lambda array: array.argmax(axis=0),
        lambda array: array.argsort(),
        lambda array: array.clip(0, 1),
        lambda array: array.dot(array.T),
        lambda array: np.sqrt(abs(array)),
        lambda array: np.median(array, axis=0),
        lambda array: np.percentile(array, [5, 95]),
        lambda array: np.diff(array),
        lambda array: np.where(array > 0, array, 0),
        lambda array: np.concatenate([array, array]),
        lambda array: np.histogram(array)[0],
        lambda array: np.zeros_like(array),
        lambda array: np.dot(array, array.T),
        lambda array: np.add.reduce(array),
        lambda array: np.add.outer(array[0], array[1]),
        lambda array: np.asarray(array),
    ],
)
def test_what_is_computed_is_a_plain_array(pixels, compute):
    found = compute(pixels)
    assert type(found) is np.ndarray
    assert np.array_equal(found, compute(np.array(pixels)))


def test_single_numbers_are_numbers(pixels):
    expected = np.array(pixels)
    assert pixels.max() == expected.max() and np.isscalar(pixels.max())
    assert pixels.mean() == expected.mean() and np.isscalar(pixels.mean())
    assert pixels[5, 6] == expected[5, 6] and np.isscalar(pixels[5, 6])


def test_results_can_go_into_an_array_of_ones_own(pixels):
    target = np.zeros(pixels.shape, pixels.dtype)
    assert np.add(pixels, 1, out=target) is target
    assert np.array_equal(target, np.array(pixels) + 1)
    changed = pixels.copy()
    changed += 1
    assert np.array_equal(changed, target)
    with pytest.raises(ValueError, match="read-only"):
        np.add(pixels, 1, out=pixels)


def test_pickling_keeps_the_meaning(pixels):
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        again = pickle.loads(pickle.dumps(pixels, protocol))
        assert type(again) is radvex.Pixels and np.array_equal(again, pixels) and again.dtype == pixels.dtype
        for name in radvex.Meaning.__slots__:
            assert getattr(again.meaning, name) == getattr(pixels.meaning, name), name


def test_a_meaning_in_short(pixels):
    assert repr(pixels.meaning) == f"<Meaning of modality values, unit HU, MONOCHROME2, of {pixels.meaning.source}>"


def test_numpy_writes_and_reads_them(pixels, tmp_path):
    np.save(tmp_path / "pixels.npy", pixels)
    assert np.array_equal(np.load(tmp_path / "pixels.npy"), pixels)


def test_a_copy_of_a_sample_has_its_own_reader(samples, tmp_path):
    path = shutil.copy(os.path.join(samples, "CT_small.dcm"), tmp_path)
    with radvex.open(path) as file, radvex.open(os.path.join(samples, "CT_small.dcm")) as other:
        assert np.array_equal(file.values(), other.values())
