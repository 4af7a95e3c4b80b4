"""Exceptions: which there are, what they say, and that they can be sent to another process."""

import builtins
import os
import pickle

import numpy as np
import pytest

import builders
import radvex
from radvex import _radvex, _registered

MINMAX = [0.0, 0.0]


def test_each_registered_error_is_a_class_with_its_name_number_and_message():
    registered = _radvex.errors()
    assert len(registered) > 60
    assert sorted(name for _, name, _ in registered) == sorted(_registered.__all__)
    for code, name, message in registered:
        found = getattr(radvex, name)
        assert issubclass(found, radvex.LibraryError) and found.__name__ == name
        assert (found.code, found.name) == (code, name)
        documented = " ".join(found.__doc__.replace("\\", "").split())
        assert documented == " ".join(message.replace("`", "'").split()) or same_words(documented, message), name


def same_words(one, other):
    """Whether two texts have the same letters and figures: the slots of a message are written in two ways."""
    return [each for each in one if each.isalnum()] == [each for each in other if each.isalnum()]


def test_names_and_numbers_are_those_of_one_error():
    registered = _radvex.errors()
    assert len({code for code, *_ in registered}) == len({name for _, name, _ in registered}) == len(registered)


def test_errors_are_kinds_of_those_that_python_has():
    assert issubclass(radvex.OpenFileError, OSError)
    assert issubclass(radvex.PathNotValidated, OSError)
    assert issubclass(radvex.FileError, OSError)
    assert issubclass(radvex.UsageError, ValueError)
    assert issubclass(radvex.HostError, RuntimeError)
    assert issubclass(_registered.TypeError, builtins.TypeError)
    assert issubclass(_registered.MemoryError, builtins.MemoryError)
    assert issubclass(_registered.NotImplementedError, builtins.NotImplementedError)
    assert issubclass(radvex.NoPicturesError, radvex.VolumeError)
    for name in ("LibraryError", "FileError", "UsageError", "VolumeError", "HostError", "ReaderDied"):
        assert issubclass(getattr(radvex, name), radvex.Error)


def provocations(samples, folder):
    """Name of an error -> calls that lead to it, each with the values of its message; and a legal call near it."""
    ct = os.path.join(samples, "CT_small.dcm")
    plan = os.path.join(samples, "rtplan.dcm")
    cut = os.path.join(samples, "JPEG2000-embedded-sequence-delimiter.dcm")
    missing = os.path.join(folder, "missing.dcm")
    new = os.path.join(folder, "new.dcm")
    image = builders.places(0)
    write = ["WriteImage", new, image]

    def with_tags(tags):
        return [*write, tags, [], "Uncompressed"]

    def with_overlays(count, properties=()):
        return [*write, {}, [np.ones((2, 3), bool)] * count, "Uncompressed", 0, 0, properties]

    good = with_tags({})
    return {
        "OpenFileError": (["GetFrameCount", missing], 2, ["GetFrameCount", ct]),
        "InvalidTagName": (["ReadMetadata", ct, ["Row"]], 1, ["ReadMetadata", ct, ["Rows"]]),
        "TensorTypeError": (["ReadImage", ct, 0, 0, [20, 10]], 0, ["ReadImage", ct, 0, 0, [20.0, 10.0]]),
        "InvalidPixelScaling": (["ReadImage", ct, 0, 0, [20.0]], 0, ["ReadImage", ct, 0, 0, [20.0, 10.0]]),
        "CreateFromNullError": (["ReadMetadata", ct, None], 0, ["ReadMetadata", ct, []]),
        "DLInvalidNodeType": (["ReadVRName", [1]], 0, ["ReadVRName", ["1"]]),
        "FunctionError": (["GetKeyword", None, "0010"], 0, ["GetKeyword", "0028", "0010"]),
        "ImageOpenError": (["ReadIntermediatePixelData", plan], 2, ["ReadIntermediatePixelData", ct]),
        "ImageReadError": (["ReadImage", cut, 0, 0, MINMAX], 1, ["ReadImage", ct, 0, 0, MINMAX]),
        "OverlayReadError": (["ReadOverlay", ct], 1, ["ReadOverlays", ct]),
        "VArgumentTypeError": (with_tags({"PatientID": 3}), 0, with_tags({"PatientID": "3"})),
        "ReservedTagError": (with_tags({"Rows": "3"}), 1, good),
        "SequenceTagVRError": (
            with_tags({"PatientName": [{"PatientID": "1"}]}),
            0,
            with_tags({"ReferencedStudySequence": [{"PatientID": "1"}]}),
        ),
        "ImageWriteError": ([*write, {}, [], "JPEG2000"], 1, [*write, {}, [], "RLE"]),
        "OverlayCountError": (with_overlays(17), 0, with_overlays(16)),
        "OverlayPropertyError": (
            with_overlays(1, {"1": {"OriginRow": "99999999999"}}),
            1,
            with_overlays(1, {"1": {"OriginRow": "2"}}),
        ),
        "InvalidTagValue": (with_tags({"StudyDate": "yesterday"}), 2, with_tags({"StudyDate": "20000101"})),
        "AnonymizationError": (
            ["DicomAnonymize", ct, new, {"Rows": "x"}],
            1,
            ["DicomAnonymize", ct, new, {"Rows": "128"}],
        ),
    }


PROVOKED = (
    "OpenFileError InvalidTagName TensorTypeError InvalidPixelScaling CreateFromNullError DLInvalidNodeType "
    "FunctionError ImageOpenError ImageReadError OverlayReadError VArgumentTypeError ReservedTagError "
    "SequenceTagVRError ImageWriteError OverlayCountError OverlayPropertyError InvalidTagValue AnonymizationError"
).split()


@pytest.mark.parametrize("name", PROVOKED)
def test_an_error_of_the_library_is_the_exception_of_its_name(samples, tmp_path, name):
    wrong, values, right = provocations(samples, str(tmp_path))[name]
    with pytest.raises(radvex.LibraryError) as caught:
        radvex.call(*wrong)
    error = caught.value
    assert type(error) is getattr(radvex, name)
    code, message = next((code, message) for code, each, message in _radvex.errors() if each == name)
    assert (error.code, error.name) == (code, name)
    assert len(error.parameters) == values
    assert all(isinstance(each, str) and each in str(error) for each in error.parameters)
    assert str(error).split()[0].strip("'`") == message.split()[0] or values
    again = pickle.loads(pickle.dumps(error))
    assert (type(again), str(again), again.code, again.name, again.parameters) == (
        type(error),
        str(error),
        error.code,
        error.name,
        error.parameters,
    )
    radvex.call(*right)


def test_the_message_names_the_file_and_the_reason(tmp_path):
    path = str(tmp_path / "missing.dcm")
    with pytest.raises(OSError) as caught:
        radvex.call("GetFrameCount", path)
    assert caught.value.parameters[0] == path
    assert path in str(caught.value)


def test_a_file_cannot_be_made_in_a_folder_that_is_not_there(tmp_path):
    path = str(tmp_path / "missing" / "new.dcm")
    with pytest.raises(radvex.ImageWriteError) as caught:
        radvex.call("WriteImage", path, builders.places(0), {}, [], "Uncompressed")
    assert caught.value.parameters
    os.mkdir(tmp_path / "missing")
    radvex.call("WriteImage", path, builders.places(0), {}, [], "Uncompressed")


def test_each_class_can_be_pickled():
    for code, name, _ in _radvex.errors():
        kind = getattr(radvex, name)
        error = kind("A sentence.", parameters=["a", b"\xff"])
        for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
            again = pickle.loads(pickle.dumps(error, protocol))
            assert type(again) is kind
            assert (str(again), again.code, again.name) == ("A sentence.", code, name)
            assert again.parameters == ["a", b"\xff"]


@pytest.mark.parametrize("kind", [radvex.Error, radvex.FileError, radvex.UsageError, radvex.HostError])
def test_the_other_exceptions_can_be_pickled(kind):
    again = pickle.loads(pickle.dumps(kind("A sentence.")))
    assert type(again) is kind and str(again) == "A sentence."


def test_the_end_of_a_reader_can_be_pickled():
    for end, signal in (("ended with signal 11 (SIGSEGV)", 11), ("ended with exit status 3", None)):
        error = radvex.ReaderDied("a.dcm", end)
        again = pickle.loads(pickle.dumps(error))
        assert str(again) == str(error) == f"a.dcm: the reading process {end}."
        assert (again.path, again.signal) == (error.path, error.signal) == ("a.dcm", signal)


@pytest.mark.parametrize("kind", [radvex.VolumeError, radvex.NoPicturesError])
def test_findings_of_a_volume_can_be_pickled(kind):
    finding = radvex.Finding("missing", True, "A slice is missing.", ["a.dcm"])
    again = pickle.loads(pickle.dumps(kind("A sentence.", [finding])))
    assert type(again) is kind and str(again) == "A sentence."
    assert [(each.kind, each.is_error, each.sentence, each.files) for each in again.findings] == [
        ("missing", True, "A slice is missing.", ["a.dcm"])
    ]


def test_an_exception_comes_out_of_another_process(tmp_path):
    import concurrent.futures
    import multiprocessing

    path = str(tmp_path / "missing.dcm")
    with concurrent.futures.ProcessPoolExecutor(1, multiprocessing.get_context("spawn")) as pool:
        with pytest.raises(radvex.OpenFileError) as caught:
            pool.submit(radvex.call, "GetFrameCount", path).result(timeout=60)
    assert caught.value.parameters[0] == path
