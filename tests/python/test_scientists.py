"""What a scientist runs into: numbers that would be wrong in silence, and messages that name the wrong thing."""

import os
import socket
import warnings

import numpy as np
import phantom
import pydicom
import pytest
import radvex
from radvex._jobs import Job


@pytest.fixture(scope="module")
def head(tmp_path_factory):
    """A folder with the generated series."""
    folder = tmp_path_factory.mktemp("series") / "head"
    phantom.write_series(folder)
    return folder


def colour_file(path, samples):
    """A file of 3 rows and 5 columns with so many samples for a pixel."""
    pixels = np.arange(15 * samples, dtype=np.uint8).reshape((3, 5, samples) if samples > 1 else (3, 5))
    radvex.write(path, pixels)
    return pixels


def test_colour_has_no_modality_values(tmp_path):
    colour_file(tmp_path / "colour.dcm", 3)
    with radvex.open(tmp_path / "colour.dcm") as f:
        for frame in (None, 0):
            with pytest.raises(radvex.RawPixelReadError, match="colour.dcm is in colour"):
                f.values(frame=frame)
    grey = colour_file(tmp_path / "grey.dcm", 1)
    assert np.array_equal(radvex.values(tmp_path / "grey.dcm"), grey)


def test_a_window_may_have_the_numbers_of_numpy(head):
    with radvex.open(head / "13.dcm") as f:
        expected = f.image((80, 40))
        for window in ([80, 40], np.array([80, 40]), np.array([80.0, 40.0]), (np.int64(80), np.float32(40))):
            picture = f.image(window)
            assert picture.meaning.window == (80, 40)
            assert np.array_equal(picture, expected)


@pytest.mark.parametrize("window", [(float("nan"), 40), (80, float("inf"))])
def test_a_window_that_is_not_finite_says_so(head, window):
    with radvex.open(head / "13.dcm") as f, pytest.raises(radvex.UsageError, match="have to be finite"):
        f.image(window)
    with pytest.raises(radvex.UsageError, match="have to be finite"):
        radvex.volume(head, values="rendered", window=window)


def test_a_message_about_windows_names_the_argument(head):
    with radvex.open(head / "13.dcm") as f, pytest.raises(radvex.FileError) as caught:
        f.image("file")
    assert "window=(width, centre)" in str(caught.value)
    assert "WIDTH" not in str(caught.value)


def test_a_window_for_values_that_are_no_pictures_is_refused(head):
    for values in ("modality", "stored"):
        with pytest.raises(radvex.UsageError, match="window and scaling go with"):
            radvex.volume(head, values=values, window="brain")
        with pytest.raises(radvex.UsageError, match="window and scaling go with"):
            list(radvex.volumes(head, values=values, scaling="common"))
    rendered = radvex.volume(head, values="rendered", window="brain", scaling="minmax")
    assert rendered.array[13, 45, 32] < rendered.array[13, 45, 5]  # brain beside bone


def test_stored_values_have_no_unit(head):
    stored = radvex.volume(head, values="stored")
    assert stored.unit is None
    assert "HU" not in repr(stored)
    assert np.array_equal(stored.array.astype(int) * stored.slope + stored.intercept, phantom.hounsfield_units())
    assert radvex.volume(head).unit == "HU"


def test_the_geometry_is_not_that_of_another_shape(head):
    volume = radvex.volume(head)
    volume.array = volume.array[::2]
    for use in (volume.to_nibabel, volume.to_xarray, volume.preview, lambda: volume.save("unwritten.nii")):
        with pytest.raises(radvex.UsageError, match="was read as"):
            use()
    volume = radvex.volume(head)
    volume.array = volume.array / 2  # another type is none of the geometry
    assert np.array_equal(volume.to_nibabel().affine, volume.affine)


def test_a_warning_of_a_forced_volume_names_the_line_that_asked(head, tmp_path):
    gap = tmp_path / "gap"
    phantom.write_series(gap)
    os.remove(gap / "10.dcm")
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        radvex.volume(gap, force=True)
        list(radvex.volumes(gap, force=True))
    assert [each.filename for each in caught] == [__file__, __file__]


@pytest.mark.parametrize("read", [radvex.tree, radvex.volume, radvex.open])
def test_what_is_not_there_is_not_found(read, tmp_path):
    with pytest.raises(FileNotFoundError):
        read(tmp_path / "nothing")
    (tmp_path / "empty").mkdir()
    with pytest.raises((radvex.FileError, IsADirectoryError)):
        read(tmp_path / "empty")


def test_an_empty_path_is_no_folder():
    with pytest.raises(FileNotFoundError):
        radvex.open("")


def test_files_without_findings_in_their_pixels_are_verified(tmp_path):
    ds = pydicom.dcmread(os.path.join(os.environ["RADVEX_SAMPLES"], "rtdose.dcm"))
    ds.save_as(tmp_path / "dose.dcm")
    checked = radvex.verify(tmp_path / "dose.dcm")
    assert not checked.clean
    (findings,) = checked.findings.values()
    assert any(finding.startswith("PatientName") for finding in findings)


def test_anonymize_names_its_arguments(head, tmp_path):
    (tmp_path / "full").mkdir()
    (tmp_path / "full" / "file").write_text("here")
    with pytest.raises(radvex.FileError, match="force=True"):
        radvex.anonymize(head, tmp_path / "full")
    assert radvex.anonymize(head, tmp_path / "full", force=True).written == 24


def test_the_end_of_the_program_hides_nothing_that_it_sent():
    job = Job.__new__(Job)
    job._socket, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    with job._socket:
        theirs.send(b'{"refused": 1}')
        theirs.send(b'{"done": true}')
        job.take()  # is never read
        theirs.close()
        assert list(job.messages()) == [("refused", 1, None)]


def test_all_volumes_come_each_time(head):
    for _ in range(15):
        assert [volume.shape for volume in radvex.volumes(head, jobs=1)] == [phantom.SHAPE]


def test_a_store_shows_names_that_are_no_text():
    assert repr(radvex.Store([(b"\xff", 1), ("Rows", 2)])) == r"Store(b'\xff'=1, Rows=2)"


def test_a_file_that_was_written_again_is_read_again(tmp_path):
    path = tmp_path / "file.dcm"
    radvex.write(path, np.full((3, 5), 1, np.uint8), {"PatientID": "old"})
    first = radvex.open(path)
    assert first["PatientID"] == "old"
    radvex.write(path, np.full((3, 5), 2, np.uint8), {"PatientID": "new"}, force=True)
    with radvex.open(path) as second, radvex.open(path) as third:
        assert second["PatientID"] == third["PatientID"] == "new"
        assert int(second.values().max()) == 2
    first.close()
    assert radvex.tags(path, "PatientID") == {"PatientID": "new"}
