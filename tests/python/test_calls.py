"""The exported functions, and how arguments and results are converted."""

import gc
import inspect
import os
import pathlib

import numpy as np
import pydicom
import pytest

import builders
import radvex
from radvex import _radvex, functions

PATIENT = "77654033"
ALL = ".*"
MINMAX = [0.0, 0.0]
PLANE = np.arange(15).reshape(3, 5) % 4 == 0


def calls_of(samples, folder):
    """A call of each function that succeeds, with what its result has to be."""
    ct = os.path.join(samples, "CT_small.dcm")
    dose = os.path.join(samples, "rtdose.dcm")
    medium = os.path.join(samples, "dicomdirtests", "DICOMDIR")
    planar = builders.with_plane(builders.picture(builders.places(0)), PLANE)
    overlaid = builders.written(folder, planar, "overlaid.dcm")
    source = builders.written(folder, builders.picture(builders.places(0), PatientName="Before"), "source.dcm")
    expected = pydicom.dcmread(ct)
    pixels = expected.pixel_array
    directory = pydicom.dcmread(medium)
    records = [record.DirectoryRecordType for record in directory.DirectoryRecordSequence]
    series = next(
        record.SeriesInstanceUID
        for record in directory.DirectoryRecordSequence
        if record.DirectoryRecordType == "SERIES"
    )
    images = records.count("IMAGE")
    patients = records.count("PATIENT")
    one_patient = [PATIENT, ALL, ALL]
    new = os.path.join(folder, "new.dcm")
    anonymous = os.path.join(folder, "anonymous.dcm")
    return {
        "setExceptionDetailsContext": (["Host`"], lambda found: found.startswith("Host`")),
        "GetFrameCount": ([dose], lambda found: found == 15),
        "GetRepresentativeFrameIndex": ([dose], lambda found: found == 0),
        "GetOverlayCount": ([overlaid], lambda found: found == 1),
        "CloseReader": ([dose], lambda found: found is None),
        "ClearCache": ([], lambda found: found is None),
        "ReadMetadata": ([ct, ["Rows"], False], lambda found: found.items() == [("Rows", 128)]),
        "ReadMetadataIntTags": ([ct, [["0028", "0010"]]], lambda found: found.items() == [("Rows", 128)]),
        "ReadAllMetadata": (
            [ct, ["PixelData"], False],
            lambda found: found["PatientID"] == expected.PatientID and "PixelData" not in found,
        ),
        "ReadVRName": ([["Rows"]], lambda found: found.items() == [("Rows", "US")]),
        "ReadVRNameIntTags": ([[["0028", "0010"]]], lambda found: found.items() == [("", "US")]),
        "GetGroupElemNumbers": (["Rows"], lambda found: list(found) == [str(0x28), str(0x10)]),
        "GetKeyword": (["0028", "0010"], lambda found: found == "Rows"),
        "ReadPatientInfo": ([ct, ["ID"], ALL], lambda found: found["PatientID"] == expected.PatientID),
        "ReadStudyInfo": (
            [ct, ["UID"], ALL, ALL],
            lambda found: found["StudyInstanceUID"] == expected.StudyInstanceUID,
        ),
        "ReadSeriesInfo": (
            [ct, ["UID"], ALL, ALL, ALL],
            lambda found: found["SeriesInstanceUID"] == expected.SeriesInstanceUID,
        ),
        "ReadImage": (
            [ct, 0, 0, MINMAX, False, 0],
            lambda found: found.shape == pixels.shape
            and np.argmax(found) == np.argmax(pixels)
            and found.min() == 0
            and found.max() == 1,
        ),
        "ReadImageData": (
            [ct, 0, 0, MINMAX, False, 0],
            lambda found: len(found) == 1 and np.argmax(found[0]) == np.argmax(pixels),
        ),
        "ReadIntermediatePixelData": (
            [ct, 0, 0],
            lambda found: np.array_equal(found, pixels * int(expected.RescaleSlope) + int(expected.RescaleIntercept)),
        ),
        "ReadOverlay": ([overlaid], lambda found: np.array_equal(found, PLANE)),
        "ReadOverlays": (
            [overlaid],
            lambda found: found.names() == ["1"] and np.array_equal(found[0], PLANE),
        ),
        "ReadDICOMDIRStructure": ([medium, ALL, ALL, ALL, False], lambda found: len(found) == patients),
        "Read2DImagesDir": (
            [medium, MINMAX, False, 0, *one_patient],
            lambda found: found.names() == [PATIENT] and leaf_of(found).ndim == 2,
        ),
        "Read3DImage": (
            [medium, PATIENT, ALL, ALL, MINMAX, 0],
            lambda found: found.names() == [PATIENT] and leaf_of(found).ndim >= 2,
        ),
        "ReadMetadataRecursive": (
            [medium, ["SeriesInstanceUID"], series, False],
            lambda found: {each["SeriesInstanceUID"] for each in found} == {series},
        ),
        "ReadMetadataIntTagsRecursive": ([medium, [["0010", "0020"]]], lambda found: len(found) == images),
        "ReadAllMetadataRecursive": (
            [medium, ["PixelData"], series, False],
            lambda found: {each["SeriesInstanceUID"] for each in found} == {series},
        ),
        "WriteImage": (
            [new, builders.places(0), {"PatientID": "7"}, [PLANE], "Uncompressed", 0, 0, {"1": {"OriginRow": "2"}}],
            lambda found: found is None
            and np.array_equal(pydicom.dcmread(new).pixel_array, builders.places(0))
            and pydicom.dcmread(new).PatientID == "7"
            and pydicom.dcmread(new)[0x6000, 0x0050].value[0] == 2,
        ),
        "DicomAnonymize": (
            [source, anonymous, {"PatientName": "After"}],
            lambda found: found is None and pydicom.dcmread(anonymous).PatientName == "After",
        ),
        "SetDefaultTagValue": (["Modality", "OT"], lambda found: found is None),
        "GetDefaultTagValue": (["Modality"], lambda found: found == "OT"),
        "GetDictionaryInfo": ([], lambda found: found["LoadedQ"] is True and found["EntryCount"] > 3000),
    }


def leaf_of(store):
    """The first value below a tree of stores."""
    while isinstance(store, radvex.Store):
        store = store[0]
    return store


def snake(name):
    return "".join("_" + letter.lower() if letter.isupper() else letter for letter in name)


def test_each_exported_function_is_a_function_of_python_with_the_same_arguments():
    described = _radvex.functions()
    assert len(described) == 32
    assert [name for name, *_ in described] == functions.__all__
    for name, _, arguments, *_ in described:
        parameters = list(inspect.signature(getattr(functions, name)).parameters)
        assert parameters == [snake(each[0]) for each in arguments], name


def test_each_exported_function_can_be_called(samples, tmp_path):
    calls = calls_of(samples, str(tmp_path))
    called = set()
    for name, (arguments, is_right) in calls.items():
        found = getattr(functions, name)(*arguments)
        assert is_right(found), f"{name} gave {found!r}"
        called.add(name)
    assert called == {name for name, *_ in _radvex.functions()}


def test_arguments_that_are_left_out_are_empty(samples):
    ct = os.path.join(samples, "CT_small.dcm")
    all_at_once = radvex.call("ReadAllMetadata", ct)
    assert all_at_once.names() == radvex.call("ReadAllMetadata", ct, [], False).names()
    assert np.array_equal(
        radvex.call("ReadIntermediatePixelData", ct), radvex.call("ReadIntermediatePixelData", ct, 0, 0)
    )


# Results


def test_numbers_texts_and_truth_become_those_of_python(samples):
    info = radvex.call("GetDictionaryInfo")
    assert info["LoadedQ"] is True
    assert type(info["EntryCount"]) is int
    dose = os.path.join(samples, "rtdose.dcm")
    assert type(radvex.call("GetFrameCount", dose)) is int
    assert type(radvex.call("GetKeyword", "0028", "0010")) is str
    assert radvex.call("CloseReader", dose) is None


def test_a_real_becomes_a_float(tmp_path):
    path = builders.written(tmp_path, builders.dataset(ExaminedBodyThickness=1.5))
    number = radvex.call("ReadMetadata", path, ["ExaminedBodyThickness"])[0]
    assert type(number) is float and number == 1.5


def test_text_that_is_not_utf_8_becomes_bytes(tmp_path):
    good = builders.content(builders.dataset(SpecificCharacterSet="ISO_IR 192", PatientName="AB\u00e4C"))
    path = tmp_path / "good.dcm"
    path.write_bytes(good)
    assert radvex.call("ReadMetadata", path, ["PatientName"])[0] == "AB\u00e4C"
    bad = tmp_path / "bad.dcm"
    bad.write_bytes(good.replace("AB\u00e4C".encode(), b"AB\xff\xfeC"))
    assert radvex.call("ReadMetadata", bad, ["PatientName"])[0] == b"AB\xff\xfeC"


def test_bytes_of_an_attribute_become_an_array_of_whole_numbers(samples):
    ct = os.path.join(samples, "CT_small.dcm")
    found = radvex.call("ReadAllMetadata", ct)["FileMetaInformationVersion"]
    assert found.dtype == np.int32
    assert found.tolist() == list(pydicom.dcmread(ct).file_meta.FileMetaInformationVersion)


@pytest.mark.parametrize("dtype", ["u1", "i1", "u2", "i2", "u4", "i4"])
def test_a_numeric_array_has_the_smallest_type_for_its_values(tmp_path, dtype):
    info = np.iinfo(dtype)
    array = np.array([[info.min, info.max, 3], [4, 5, 6]], dtype)
    path = builders.written(tmp_path, builders.picture(array))
    found = radvex.call("ReadIntermediatePixelData", path)
    assert found.dtype == array.dtype and np.array_equal(found, array)


def test_images_are_rows_and_columns_with_frames_before_and_colours_behind(tmp_path):
    grey = builders.places(0, 3, 5, "u1")
    frames = builders.places(2, 3, 5, "u1")
    colour = np.arange(45, dtype="u1").reshape(3, 5, 3)
    colours = np.arange(90, dtype="u1").reshape(2, 3, 5, 3)
    for array, is_colour in ((grey, False), (frames, False), (colour, True), (colours, True)):
        path = builders.written(tmp_path, builders.picture(array, colour=is_colour), f"{array.ndim}{is_colour}.dcm")
        found = radvex.call("ReadImage", path, 0, 0, [-9.0, 0.0])
        assert found.dtype == array.dtype and np.array_equal(found, array), array.shape


def test_colour_in_planes_has_its_channels_behind_too(tmp_path):
    colour = np.arange(45, dtype="u1").reshape(3, 5, 3)
    made = builders.picture(colour, colour=True)
    made.PlanarConfiguration = 1
    made.PixelData = np.moveaxis(colour, -1, 0).tobytes() + b"\0"
    path = builders.written(tmp_path, made)
    assert np.array_equal(radvex.call("ReadImage", path, 0, 0, [-9.0, 0.0]), colour)
    assert np.array_equal(radvex.open(path).image(scaling="none"), colour)


def test_a_bit_image_is_an_array_of_bool(tmp_path):
    path = builders.written(tmp_path, builders.with_plane(builders.picture(builders.places(0)), PLANE))
    plane = radvex.call("ReadOverlay", path)
    assert plane.dtype == np.bool_ and np.array_equal(plane, PLANE)


def test_a_store_keeps_order_names_and_depth(samples, tmp_path):
    made = builders.dataset(
        ReferencedStudySequence=builders.items({"StudyID": "A"}, {"StudyID": "B"}),
    )
    path = builders.written(tmp_path, made)
    both = radvex.call("ReadMetadata", path, ["SOPInstanceUID", "ReferencedStudySequence"])
    assert both.names() == ["SOPInstanceUID", "ReferencedStudySequence"]
    inner = both["ReferencedStudySequence"]
    assert isinstance(inner, radvex.Store) and len(inner) == 2
    assert [item["StudyID"] for item in inner] == ["A", "B"]


def test_a_store_may_repeat_names():
    names = radvex.call("ReadVRName", ["Rows", "PatientName", "Rows"])
    assert names.items() == [("Rows", "US"), ("PatientName", "PN"), ("Rows", "US")]
    assert names["PatientName"] == "PN" and names[2] == "US" and names[-1] == "US"
    assert names.to_dict() == {"Rows": "US", "PatientName": "PN"}
    assert "Rows" in names and "Columns" not in names and names.get("Columns", 5) == 5
    assert names[1:].names() == ["PatientName", "Rows"]
    with pytest.raises(KeyError):
        names["Columns"]
    with pytest.raises(IndexError):
        names[3]


def test_a_store_without_names_is_shown_without_them():
    assert repr(radvex.Store([("", 1), ("", 2)])) == "Store(1, 2)"
    assert repr(radvex.Store([("A", 1)])) == "Store(A=1)"
    assert repr(radvex.Store([("", each) for each in range(5)])) == "Store(0, 1, 2, 3, ...)"
    assert radvex.Store([("", 1)]) == radvex.Store([("", 1)]) != radvex.Store([("", 2)])


# Arguments


class BytesPath:
    def __init__(self, path):
        self.path = path

    def __fspath__(self):
        return os.fsencode(self.path)


def test_a_path_is_a_text_bytes_or_something_that_has_a_path(samples):
    path = os.path.join(samples, "rtdose.dcm")
    for given in (path, path.encode(), pathlib.Path(path), BytesPath(path)):
        assert functions.GetFrameCount(given) == 15


def test_a_path_whose_bytes_are_no_text_is_found(tmp_path):
    name = os.fsdecode(b"caf\xe9.dcm")
    path = builders.written(tmp_path, builders.picture(builders.places(2)), name)
    assert radvex.call("GetFrameCount", path) == 2
    with radvex.open(path) as file:
        assert file.frames == 2


@pytest.mark.parametrize(
    "names",
    [["Rows"], ("Rows",), {"any": "Rows"}, radvex.Store([("", "Rows")]), [b"Rows"], [np.str_("Rows")]],
    ids=["list", "tuple", "dict", "Store", "bytes", "numpy"],
)
def test_a_store_is_made_of_lists_dicts_and_stores(names):
    assert radvex.call("ReadVRName", names).items() == [("Rows", "US")]


def test_a_dict_becomes_a_sequence_in_a_list(tmp_path):
    path = str(tmp_path / "new.dcm")
    item = [{"StudyID": "A"}, {"StudyID": "B"}]
    radvex.call("WriteImage", path, builders.places(0), {"ReferencedStudySequence": item}, [], "Uncompressed")
    assert [each.StudyID for each in pydicom.dcmread(path).ReferencedStudySequence] == ["A", "B"]


@pytest.mark.parametrize("window", [(20.0, 10.0), [20, 10.0], np.array([20.0, 10.0]), np.array([20, 10], ">f4")])
def test_a_tensor_is_made_of_numbers_in_any_form(tmp_path, window):
    path = builders.written(tmp_path, builders.picture(builders.places(0, dtype="u1")))
    expected = radvex.call("ReadImage", path, 0, 0, (20.0, 10.0))
    assert expected.min() == 0 and expected.max() == 255
    assert np.array_equal(radvex.call("ReadImage", path, 0, 0, window), expected)


@pytest.mark.parametrize("order", ["C", "F", "reversed", "big-endian"])
def test_an_array_is_written_however_it_lies_in_memory(tmp_path, order):
    array = builders.places(2)
    given = {
        "C": array,
        "F": np.asfortranarray(array),
        "reversed": array[::-1, ::-1, ::-1].copy()[::-1, ::-1, ::-1],
        "big-endian": array.astype(">u2"),
    }[order]
    path = str(tmp_path / "new.dcm")
    radvex.call("WriteImage", path, given, {}, [], "Uncompressed")
    assert np.array_equal(pydicom.dcmread(path).pixel_array, array)


def test_numbers_of_numpy_are_numbers(samples):
    dose = os.path.join(samples, "rtdose.dcm")
    expected = radvex.call("ReadIntermediatePixelData", dose, 0, 4)
    assert expected.shape == (4, 10, 10)
    for count in (np.int64(4), np.uint8(4), np.array([4])[0]):
        assert np.array_equal(radvex.call("ReadIntermediatePixelData", dose, np.int32(0), count), expected)
    ct = os.path.join(samples, "CT_small.dcm")
    assert radvex.call("ReadMetadata", ct, ["Rows"], np.bool_(False))[0] == 128


@pytest.mark.parametrize("wrong", ["5", 5.0, None, [5]])
def test_an_argument_of_another_kind_is_refused(samples, wrong):
    dose = os.path.join(samples, "rtdose.dcm")
    with pytest.raises((TypeError, radvex.LibraryError)):
        radvex.call("ReadIntermediatePixelData", dose, 0, wrong)
    assert len(radvex.call("ReadIntermediatePixelData", dose, 0, 5)) == 5


def test_nothing_is_no_value(samples):
    with pytest.raises(radvex.CreateFromNullError):
        radvex.call("ReadImage", os.path.join(samples, "CT_small.dcm"), 0, 0, None)


def test_whole_numbers_have_32_bits(samples):
    ct = os.path.join(samples, "CT_small.dcm")
    for fits in (2**31 - 1, np.int64(2**31 - 1)):
        assert radvex.call("ReadIntermediatePixelData", ct, 0, fits).shape == (128, 128)
    for wide in (2**31, -(2**31) - 1, 10**400, np.uint64(2**31)):
        with pytest.raises(ValueError, match="does not fit into 32 bits"):
            radvex.call("ReadIntermediatePixelData", ct, 0, wide)


def test_texts_have_no_null_character():
    with pytest.raises(ValueError, match="null character"):
        radvex.call("GetKeyword", "0028\0", "0010")
    with pytest.raises(ValueError, match="null character"):
        radvex.call("ReadVRName", ["Rows\0"])
    with pytest.raises(ValueError, match="null character"):
        radvex.call("ReadVRName", {"a\0": "Rows"})
    assert radvex.call("ReadVRName", ["Rows\1"])[0] == "UN"


@pytest.mark.parametrize("unknown", [object(), {1, 2}, range(3), int, b"".join], ids=repr)
def test_unknown_objects_are_refused(unknown):
    with pytest.raises(TypeError, match="cannot be passed to the library"):
        radvex.call("GetKeyword", unknown, "0010")
    with pytest.raises(TypeError, match="cannot be passed to the library"):
        radvex.call("ReadVRName", ["Rows", unknown])


def nested(levels):
    value = "Rows"
    for _ in range(levels):
        value = [value]
    return value


def test_values_are_nested_over_500_levels_and_not_without_end():
    for deep in (500, 512):
        with pytest.raises(radvex.DLInvalidNodeType):  # it came to the library, which wants texts
            radvex.call("ReadVRName", nested(deep))
    assert radvex.call("ReadVRName", nested(1))[0] == "US"
    endless = []
    endless.append(endless)
    for deeper in (nested(513), nested(100000), endless):
        with pytest.raises(ValueError, match="nested too deeply"):
            radvex.call("ReadVRName", deeper)
    while deeper and deeper is not endless:  # the interpreter frees it level by level
        deeper = deeper[0] if isinstance(deeper, list) else None


def test_too_many_arguments_are_refused():
    assert radvex.call("GetKeyword", "0028", "0010") == "Rows"
    with pytest.raises(TypeError, match="GetKeyword takes 2 arguments, and 3 are given"):
        radvex.call("GetKeyword", "0028", "0010", "")


def test_an_unknown_function_is_a_key_error():
    with pytest.raises(KeyError, match="GetKeywords"):
        radvex.call("GetKeywords", "0028", "0010")


@pytest.mark.parametrize("shape", [(5,), (2, 2, 3, 5), (0, 5), (3, 0)])
def test_what_is_no_image_is_refused(tmp_path, shape):
    path = str(tmp_path / "new.dcm")
    with pytest.raises(ValueError):
        radvex.call("WriteImage", path, np.zeros(shape, "u2"), {}, [], "Uncompressed")
    assert not os.path.exists(path)
    radvex.call("WriteImage", path, np.zeros((3, 5), "u2"), {}, [], "Uncompressed")
    assert os.path.exists(path)


@pytest.mark.parametrize("dtype", ["i2", "i8", "c16", "S3", "O", "M8[D]"])
def test_an_image_of_other_elements_is_refused(tmp_path, dtype):
    with pytest.raises(TypeError):
        radvex.call("WriteImage", str(tmp_path / "new.dcm"), np.zeros((3, 5), dtype), {}, [], "Uncompressed")


@pytest.mark.parametrize("elements", [["a", "b"], [None, 1.0], [[1.0, 2.0], [3.0]], [2**40, 0]], ids=repr)
def test_a_tensor_of_other_elements_is_refused(samples, elements):
    with pytest.raises((TypeError, ValueError)):
        radvex.call("ReadImage", os.path.join(samples, "CT_small.dcm"), 0, 0, elements)


# Memory of arrays


def end_of_bases(array):
    while isinstance(array, np.ndarray):
        array = array.base
    return array


def arrays_of(path):
    with radvex.open(path) as file:
        yield file.image()
        yield file.values()
        yield radvex.call("ReadImage", path, 0, 0, [0.0, 0.0])
        yield radvex.call("ReadIntermediatePixelData", path)
        yield radvex.call("ReadImageData", path, 0, 0, [0.0, 0.0])[0]
        yield radvex.call("ReadOverlay", path)


def test_arrays_are_views_of_memory_that_the_library_gave(tmp_path):
    pixels = builders.places(2) + np.uint16(300)  # too large for bytes, which DCMTK would take, and which would be copied
    path = builders.written(tmp_path, builders.with_plane(builders.picture(pixels), PLANE))
    for number, array in enumerate(arrays_of(path)):
        assert not array.flags.owndata, number
        assert type(end_of_bases(array)).__name__ == "PyCapsule", number


def test_arrays_outlive_their_file_and_the_library(tmp_path):
    expected = builders.places(2)
    path = builders.written(tmp_path, builders.picture(expected))
    with radvex.open(path) as file:
        array = file.values()
        part = array[1, 1:]
    del array
    os.remove(path)
    _radvex.close()
    gc.collect()
    assert np.array_equal(part, expected[1, 1:])
    again = builders.written(tmp_path, builders.picture(expected + 1))
    assert np.array_equal(radvex.values(again), expected + 1)
    assert np.array_equal(part, expected[1, 1:])


def test_a_file_goes_on_after_the_library_was_closed(tmp_path):
    expected = builders.places(2)
    path = builders.written(tmp_path, builders.picture(expected))
    with radvex.open(path) as file:
        assert file["Rows"] == 3
        _radvex.close()
        assert np.array_equal(file.values(), expected)


def test_the_memory_of_an_array_is_freed_with_its_last_view(tmp_path):
    path = builders.written(tmp_path, builders.picture(builders.places(2)))
    radvex.values(path)
    gc.collect()
    before, violations = _radvex.account()
    array = radvex.call("ReadIntermediatePixelData", path)
    views = [array[0], array.T, array.reshape(-1)]
    assert _radvex.account()[0] == before + 1
    del array
    while views:
        assert _radvex.account()[0] == before + 1
        views.pop()
    assert _radvex.account() == (before, violations) and not violations


def test_a_refused_call_leaves_nothing_in_the_host(samples):
    ct = os.path.join(samples, "CT_small.dcm")
    before = _radvex.account()
    for _ in range(20):
        with pytest.raises(TypeError):
            radvex.call("ReadVRName", ["Rows", {"a": "Rows"}, np.zeros((2, 2), "u1"), object()])
        with pytest.raises(radvex.InvalidPixelScaling):
            radvex.call("ReadImage", ct, 0, 0, [1.0])
        with pytest.raises(radvex.DLInvalidNodeType):
            radvex.call("ReadVRName", [1, [2], np.zeros((2, 2), bool)])
    assert _radvex.account() == before
