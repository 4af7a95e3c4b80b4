"""Series as volumes."""

import copy
import datetime
import gc
import io
import os
import pickle
import signal
import time
import warnings

import nibabel
import numpy as np
import psutil
import pytest
from builders_folders import (
    CT,
    MR,
    OBLIQUE,
    PLAIN,
    dataset,
    normal_of,
    place_of,
    place_values,
    save,
    stack,
)

import radvex

ORIGIN = (-20.0, 30.0, 100.0)
PNG = b"\x89PNG\r\n\x1a\n"


def is_running(process):
    try:
        return process.status() != psutil.STATUS_ZOMBIE
    except psutil.NoSuchProcess:
        return False


def workers(recursive=True):
    """The processes of the package: the interpreter may have others of its own."""
    found = []
    for each in psutil.Process().children(recursive):
        try:
            if each.name().startswith("radvex"):
                found.append(each)
        except psutil.NoSuchProcess:  # it has ended just now
            pass
    return found


def ended(processes, seconds=5):
    """Whether all of the processes end within a time."""
    processes = list(processes)
    end = time.monotonic() + seconds
    while any(is_running(each) for each in processes):
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True


@pytest.fixture(autouse=True)
def no_process_is_left():
    """No test leaves a process that it did not find."""
    before = set(workers())
    yield
    assert ended(each for each in workers() if each not in before)


@pytest.fixture
def plain(tmp_path):
    return str(tmp_path / "plain"), stack(tmp_path / "plain")


def several_series(folder, count, rows=4, columns=5):
    """UIDs of series that say their number in every pixel."""
    for number in range(count):
        pixels = np.full((2, rows, columns), number + 1, np.uint16)
        stack(
            folder / f"s{number}",
            pixels,
            names=f"s{number}-{{:02d}}.dcm",
            SeriesInstanceUID=f"1.2.3.{number}",
            SeriesNumber=number + 1,
        )
    return [f"1.2.3.{number}" for number in range(count)]


def kinds(findings):
    return [finding.kind for finding in findings]


# What the array holds


def test_the_array_is_slice_row_column_of_the_files_own_type(plain):
    folder, paths = plain
    v = radvex.volume(folder)
    assert v.array.dtype == v.dtype == np.uint16
    assert v.shape == (3, 4, 5) and len(v) == 3
    assert np.array_equal(v.array, place_values(3, 4, 5))
    assert v.array[2, 3, 4] == 2034
    assert v.slices == paths
    assert v.findings == [] and v.group == {} and v.label == ""
    assert v.unit is None and v.values == "modality" and v.seconds is None and v.tilt_degrees is None
    assert (v.patient, v.study, v.series, v.series_number) == ("P1", "1.2.826.0.1.1", "1.2.826.0.1.1.1", "1")


@pytest.mark.parametrize("orientation, letters", [(PLAIN, "LPS"), (OBLIQUE, "IRP")])
def test_the_affine_matrix_takes_every_voxel_to_its_place(tmp_path, orientation, letters):
    stack(tmp_path, orientation=orientation)
    v = radvex.volume(tmp_path)
    assert v.has_position
    assert v.spacing == pytest.approx((2.5, 0.5, 0.75))
    for k, j, i in [(0, 0, 0), (0, 0, 4), (0, 3, 0), (2, 0, 0), (2, 3, 4), (1, 2, 1)]:
        expected = place_of(i, j, k, orientation, ORIGIN, 2.5, (0.5, 0.75))
        assert v.affine @ [i, j, k, 1] == pytest.approx([*expected, 1], abs=1e-9)
        assert v.array[k, j, i] == 1000 * k + 10 * j + i
    assert v.orientation == letters == "".join(nibabel.aff2axcodes(v.affine))


def test_one_voxel_lies_where_a_person_computes_it(plain):
    # Origin (-20, 30, 100) to the left and back; columns 0.75 mm apart, rows 0.5 mm, slices 2.5 mm.
    v = radvex.volume(plain[0])
    assert (v.affine @ [4, 3, 2, 1]).tolist() == [20 - 4 * 0.75, -(30 + 3 * 0.5), 100 + 2 * 2.5, 1]


def test_slices_whose_numbers_are_no_order_are_sorted_by_position(tmp_path):
    stack(tmp_path, numbers=[2, 1, 3])
    v = radvex.volume(tmp_path)
    assert np.array_equal(v.array, place_values(3, 4, 5))
    assert kinds(v.findings) == ["instanceOrder"] and not v.findings[0].is_error
    assert v.affine[2, 3] == 100
    with pytest.raises(radvex.VolumeError, match='sort="position" mends it') as caught:
        radvex.volume(tmp_path, sort="instance")
    assert kinds(caught.value.findings) == ["instanceOrder"] and caught.value.findings[0].is_error
    assert radvex.volume(tmp_path, sort="position").array[2, 0, 0] == 2000


def test_slices_numbered_downwards_keep_their_order_and_their_place(tmp_path):
    stack(tmp_path, numbers=[3, 2, 1])
    v = radvex.volume(tmp_path)
    assert v.array[:, 0, 0].tolist() == [2000, 1000, 0]
    assert v.orientation == "LPI" and (v.affine @ [0, 0, 0, 1])[2] == 105
    other = radvex.volume(tmp_path, sort="position")
    assert other.array[:, 0, 0].tolist() == [0, 1000, 2000] and other.orientation == "LPS"


def test_signed_values_are_rescaled_to_whole_numbers(tmp_path):
    stored = place_values(3, 4, 5, np.int16) - np.int16(1500)
    stack(tmp_path, stored, RescaleSlope=2, RescaleIntercept=-1024)
    v = radvex.volume(tmp_path)
    assert np.array_equal(v.array, stored.astype(int) * 2 - 1024)
    assert v.dtype.kind == "i" and v.unit == "HU"


def test_stored_values_come_with_slope_and_intercept(tmp_path):
    stored = place_values(3, 4, 5, np.int16) - np.int16(1500)
    stack(tmp_path, stored, RescaleSlope=2, RescaleIntercept=-1024)
    v = radvex.volume(tmp_path, values="stored")
    assert np.array_equal(v.array, stored) and v.dtype == np.int16
    assert (v.slope, v.intercept, v.values) == (2, -1024, "stored")
    assert (radvex.volume(tmp_path).slope, radvex.volume(tmp_path).intercept) == (1, 0)


def test_a_fractional_slope_gives_real_numbers(tmp_path):
    stored = place_values(3, 4, 5, np.int16)
    stack(tmp_path, stored, RescaleSlope=0.25, RescaleIntercept=0.5)
    v = radvex.volume(tmp_path)
    assert v.dtype.kind == "f"
    assert np.array_equal(v.array, stored * 0.25 + 0.5)


def test_rendered_values_are_those_of_the_window(tmp_path):
    stored = place_values(3, 4, 5, np.int16)
    stack(tmp_path, stored, RescaleSlope=1, RescaleIntercept=0)
    v = radvex.volume(tmp_path, values="rendered", window=(1000, 1500))
    largest = np.iinfo(v.dtype).max
    # PS3.3 C.11.2.1.2: 0 up to centre - 0.5 - (width - 1) / 2, the largest value above the other end
    assert np.all(v.array[0] == 0) and np.all(v.array[2] == largest)
    expected = ((stored[1] - 1499.5) / 999 + 0.5) * largest
    assert np.abs(v.array[1] - expected).max() <= largest / 999
    assert v.unit is None and v.values == "rendered"


def test_colour_is_behind_the_columns(tmp_path):
    places = place_values(3, 4, 5)
    colour = np.stack([places % 251, places % 13, places % 7], axis=-1).astype(np.uint8)
    stack(tmp_path, colour)
    v = radvex.volume(tmp_path)
    assert v.array.dtype == np.uint8 and np.array_equal(v.array, colour)


def test_points_in_time_are_volumes_of_their_own_or_one_of_four_dimensions(tmp_path):
    values = place_values(6, 4, 5)
    stack(
        tmp_path,
        values,
        heights=[0, 1, 2] * 2,
        AcquisitionDate="20200102",
        per_slice=lambda k: {
            "TemporalPositionIdentifier": k // 3 + 1,
            "AcquisitionTime": ["101500", "101507.5"][k // 3],
        },
    )
    with pytest.raises(radvex.VolumeError, match="2 volumes .*four_d=True"):
        radvex.volume(tmp_path)
    each = list(radvex.volumes(tmp_path))
    assert [v.group for v in each] == [{"TemporalPositionIdentifier": "1"}, {"TemporalPositionIdentifier": "2"}]
    assert [v.label for v in each] == ["time1", "time2"]
    assert np.array_equal(each[0].array, values[:3]) and np.array_equal(each[1].array, values[3:])
    v = radvex.volume(tmp_path, four_d=True)
    assert v.shape == (2, 3, 4, 5) and np.array_equal(v.array, values.reshape(2, 3, 4, 5))
    assert v.seconds[1] - v.seconds[0] == 7.5
    start = datetime.datetime(2020, 1, 2, 10, 15, tzinfo=datetime.timezone.utc)
    assert v.seconds[0] % 86400 == start.timestamp() % 86400


def test_two_echoes_are_two_volumes(tmp_path):
    values = place_values(6, 4, 5)
    stack(
        tmp_path,
        values,
        heights=[0, 1, 2] * 2,
        sop_class=MR,
        Modality="MR",
        per_slice=lambda k: {"EchoTime": [4.6, 9.2][k // 3]},
    )
    each = list(radvex.volumes(tmp_path))
    assert [float(v.group["EchoTime"]) for v in each] == [4.6, 9.2]
    assert [v.label for v in each] == ["echo1", "echo2"]
    assert np.array_equal(each[1].array, values[3:])
    joined = radvex.volume(tmp_path, four_d=True)
    assert np.array_equal(joined.array, values.reshape(2, 3, 4, 5)) and joined.seconds is None


# What is refused


def refused_stack(folder, kind):
    if kind == "missingSlices":
        stack(folder, heights=[0, 1, 3])
    elif kind == "duplicatePosition":
        stack(folder, heights=[0, 1, 1])
    elif kind == "unevenSpacing":
        stack(folder, place_values(5, 4, 5), heights=[0, 1, 2, 3.3, 4.3])
    else:
        stack(folder)
        stack(folder / "more", place_values(2, 4, 5), orientation=OBLIQUE, numbers=[7, 8])


@pytest.mark.parametrize("kind", ["missingSlices", "duplicatePosition", "unevenSpacing", "differentOrientation"])
def test_slices_that_make_no_volume_are_refused_with_their_findings(tmp_path, kind):
    refused_stack(tmp_path, kind)
    with pytest.raises(radvex.VolumeError) as caught:
        radvex.volume(tmp_path)
    assert kinds(caught.value.findings) == [kind]
    finding = caught.value.findings[0]
    assert finding.is_error and finding.files and finding.sentence in str(caught.value)
    assert all(os.path.exists(file) for file in finding.files)
    assert "force=True" in str(caught.value) and "--" not in str(caught.value)
    again = pickle.loads(pickle.dumps(caught.value))
    assert str(again) == str(caught.value) and again.findings == caught.value.findings


@pytest.mark.parametrize("kind", ["missingSlices", "duplicatePosition", "unevenSpacing", "differentOrientation"])
def test_force_makes_the_volume_with_a_warning_and_without_a_position(tmp_path, kind):
    refused_stack(tmp_path, kind)
    with pytest.warns(radvex.RadvexWarning) as warned:
        v = radvex.volume(tmp_path, force=True)
    assert kinds(v.findings) == [kind] and v.findings[0].is_error
    assert [str(each.message) for each in warned] == [v.findings[0].sentence]
    assert warned[0].filename == __file__
    assert not v.has_position and v.orientation == "???"
    with pytest.raises(radvex.VolumeError, match="where the slices of this volume lie"):
        v.affine


def test_strangers_are_left_out_or_split_off(tmp_path):
    refused_stack(tmp_path, "differentOrientation")
    largest = radvex.volume(tmp_path, strangers="largest")
    assert np.array_equal(largest.array, place_values(3, 4, 5)) and largest.orientation == "LPS"
    assert "leftOut" in kinds(largest.findings) and not any(each.is_error for each in largest.findings)
    with pytest.raises(radvex.VolumeError, match="2 volumes"):
        radvex.volume(tmp_path, strangers="split")
    parts = list(radvex.volumes(tmp_path, strangers="split"))
    assert [(v.label, v.shape, v.orientation) for v in parts] == [
        ("part1", (3, 4, 5), "LPS"),
        ("part2", (2, 4, 5), "IRP"),
    ]


def test_uneven_slices_are_resampled_on_request(tmp_path):
    # Values that grow with the height alone: interpolation along the stack gives the height back.
    heights = [0, 1, 2, 3.4, 4.4]
    values = np.stack([np.full((4, 5), round(1000 * height), np.uint16) for height in heights])
    stack(tmp_path, values, heights=heights, gap=2.5)
    with pytest.raises(radvex.VolumeError, match="resample=True"):
        radvex.volume(tmp_path)
    v = radvex.volume(tmp_path, resample=True)
    assert {"unevenSpacing", "resampled"} == set(kinds(v.findings)) and v.has_position
    places = [(v.affine @ [0, 0, k, 1])[2] for k in range(v.shape[0])]
    expected = (np.array(places) - 100) / 2.5 * 1000
    assert v.array[:, 0, 0] == pytest.approx(expected, abs=0.51)
    assert v.array[0, 3, 4] == 0 and v.array[-1, 3, 4] == pytest.approx(4400, abs=0.51)
    with pytest.raises(radvex.UsageError):
        radvex.volume(tmp_path, resample=True, values="stored")


def test_several_series_need_a_choice(tmp_path):
    uids = several_series(tmp_path, 3)
    with pytest.raises(radvex.VolumeError, match="3 series") as caught:
        radvex.volume(tmp_path)
    assert sum(uid in str(caught.value) for uid in uids) == 2 and caught.value.findings == []
    assert "series=" in str(caught.value)
    v = radvex.volume(tmp_path, uids[1])
    assert v.series == uids[1] and v.series_number == "2" and np.all(v.array == 2)
    assert radvex.volume(tmp_path, series=uids[2], study="1.2.826.0.1.1", patient="P1").series == uids[2]
    for wrong in ({"series": "1.2.3"}, {"series": "1x2.3.1"}, {"study": "1"}, {"patient": "P"}):
        with pytest.raises(radvex.VolumeError, match="no series that matches"):
            radvex.volume(tmp_path, **{"series": uids[1], **wrong})


def test_unknown_words_are_usage_errors_that_name_the_known_ones(plain):
    for wrong, known in (
        ({"sort": "size"}, "position"),
        ({"strangers": "eat"}, "largest"),
        ({"values": "raw"}, "stored"),
        ({"values": "rendered", "window": "foot"}, "lung"),
        ({"values": "rendered", "scaling": "huge"}, "minmax"),
    ):
        with pytest.raises(radvex.UsageError, match=known):
            radvex.volume(plain[0], **wrong)
    with pytest.raises(radvex.UsageError, match="warn, raise, give"):
        radvex.volumes(plain[0], errors="hide")


@pytest.mark.parametrize(
    "wrong", [{"series": 5}, {"study": b"1.2"}, {"patient": ["P1"]}, {"jobs": "2"}, {"jobs": 1.5}]
)
def test_arguments_of_another_type_are_type_errors(plain, wrong):
    with pytest.raises(TypeError, match=next(iter(wrong))):
        radvex.volume(plain[0], **wrong)
    with pytest.raises(TypeError, match=next(iter(wrong))):
        radvex.tree(plain[0], **wrong)


def test_jobs_are_counted_from_one(plain):
    for jobs in (0, -1):
        with pytest.raises(radvex.UsageError, match="jobs"):
            radvex.volume(plain[0], jobs=jobs)
    assert len(radvex.volume(plain[0], jobs=1)) == len(radvex.volume(plain[0], jobs=None)) == 3


def test_a_folder_that_is_not_there_is_a_file_not_found(tmp_path):
    for read in (radvex.volume, radvex.volumes, radvex.tree):
        with pytest.raises(FileNotFoundError, match="nowhere"):
            for _ in read(tmp_path / "nowhere"):
                pass


def test_a_folder_without_dicom_files_is_a_file_error(tmp_path):
    (tmp_path / "note.txt").write_text("no image")
    with pytest.raises(radvex.FileError, match="holds no DICOM file"):
        radvex.volume(tmp_path)


# One file


def test_a_multiframe_file_is_a_volume_if_it_says_where_its_frames_lie(tmp_path):
    values = place_values(3, 4, 5)
    dose = dataset(
        values,
        sop_class="1.2.840.10008.5.1.4.1.1.481.2",
        Modality="RTDOSE",
        NumberOfFrames=3,
        GridFrameOffsetVector=[0, 2.5, 5],
        ImagePositionPatient=[-20, 30, 100],
        ImageOrientationPatient=[1, 0, 0, 0, 1, 0],
        PixelSpacing=[0.5, 0.75],
        DoseUnits="GY",
        DoseGridScaling="0.5",
    )
    path = save(dose, str(tmp_path / "dose.dcm"))
    v = radvex.volume(path)
    assert np.array_equal(v.array, values * 0.5) and v.unit == "GY"
    assert v.affine @ [4, 3, 2, 1] == pytest.approx([17, -31.5, 105, 1])
    assert [each.startswith(path) for each in v.slices] == [True] * 3


def test_frames_that_nothing_places_are_stacked_by_force(tmp_path):
    values = place_values(3, 4, 5)
    film = dataset(values, sop_class="1.2.840.10008.5.1.4.1.1.7.3", NumberOfFrames=3, PixelSpacing=[0.5, 0.75])
    path = save(film, str(tmp_path / "film.dcm"))
    with pytest.raises(radvex.VolumeError, match="force=True stacks them"):
        radvex.volume(path)
    v = radvex.volume(path, force=True)
    assert np.array_equal(v.array, values) and not v.has_position and v.spacing[1:] == (0.5, 0.75)
    v.save(tmp_path / "film.nii")
    assert np.array_equal(v.to_nibabel().affine, nibabel.load(tmp_path / "film.nii").affine)
    assert v.to_nibabel().header.get_zooms() == (0.75, 0.5, 1.0)
    assert "affine" not in v.to_xarray().attrs


# The memory of a volume


def test_the_array_is_writable_and_outlives_the_loop(tmp_path):
    several_series(tmp_path, 3)
    kept = [v.array for v in radvex.volumes(tmp_path)]
    gc.collect()
    for number, array in enumerate(kept):
        assert np.all(array == number + 1)
        array += 10
    assert [int(array[1, 2, 3]) for array in kept] == [11, 12, 13]


def test_the_memory_of_a_volume_is_freed_with_it(plain):
    def mapped():
        with open("/proc/self/maps") as maps:
            return sum("memfd:radvex" in line for line in maps)

    before = mapped()
    v = radvex.volume(plain[0])
    part = v.array[1]
    assert mapped() == before + 1
    del v
    gc.collect()
    assert mapped() == before + 1 and part[0, 0] == 1000
    del part
    gc.collect()
    assert mapped() == before


def test_no_descriptor_is_left_open(tmp_path):
    uids = several_series(tmp_path, 2)
    descriptors = psutil.Process().num_fds
    before = descriptors()
    for _ in range(3):
        radvex.volume(tmp_path, uids[0])
        list(radvex.volumes(tmp_path))
        with pytest.raises(radvex.VolumeError):
            radvex.volume(tmp_path)
        next(radvex.volumes(tmp_path))
    gc.collect()
    assert descriptors() == before


def test_numpy_takes_the_samples_without_a_copy(plain):
    v = radvex.volume(plain[0])
    assert np.shares_memory(np.asarray(v), v.array)
    real = np.asarray(v, dtype=np.float32)
    assert real.dtype == np.float32 and np.array_equal(real, v.array)
    assert np.max(v) == 2034


def test_a_volume_is_pickled_and_copied_whole(tmp_path):
    stack(tmp_path, orientation=OBLIQUE, numbers=[2, 1, 3])
    v = radvex.volume(tmp_path)
    for other in (pickle.loads(pickle.dumps(v)), copy.deepcopy(v)):
        assert np.array_equal(other.array, v.array) and not np.shares_memory(other.array, v.array)
        assert np.array_equal(other.affine, v.affine) and other.findings == v.findings
        assert other.slices == v.slices and repr(other) == repr(v)
        other.array[0, 0, 0] = 77
        assert v.array[0, 0, 0] == 0


# Other forms


@pytest.mark.parametrize("suffix", [".nii", ".nii.gz"])
@pytest.mark.parametrize("orientation", [PLAIN, OBLIQUE])
def test_a_saved_nifti_is_what_nibabel_reads(tmp_path, suffix, orientation):
    stack(tmp_path / "in", orientation=orientation)
    v = radvex.volume(tmp_path / "in")
    v.array[1, 2, 3] = 4321
    path = tmp_path / f"out{suffix}"
    v.save(path)
    image = nibabel.load(path)
    expected = place_values(3, 4, 5)
    expected[1, 2, 3] = 4321
    assert np.array_equal(np.asarray(image.dataobj), expected.T)
    assert image.get_data_dtype() == np.uint16
    assert image.affine @ [4, 3, 2, 1] == pytest.approx(
        [*place_of(4, 3, 2, orientation, ORIGIN, 2.5, (0.5, 0.75)), 1], abs=1e-4
    )
    assert image.affine == pytest.approx(v.affine, abs=1e-5)
    assert image.header.get_zooms() == pytest.approx((0.75, 0.5, 2.5))
    assert image.header.get_xyzt_units()[0] == "mm"


def test_a_saved_npy_is_what_numpy_reads(tmp_path):
    stack(tmp_path / "in", (place_values(3, 4, 5) * 0.25).astype(np.uint16), RescaleSlope=0.5, RescaleIntercept=1)
    v = radvex.volume(tmp_path / "in")
    v.save(str(tmp_path / "out.npy"))
    read = np.load(tmp_path / "out.npy")
    assert read.dtype == v.dtype and np.array_equal(read, (place_values(3, 4, 5) * 0.25).astype(np.uint16) * 0.5 + 1)


def nrrd(path):
    """Fields and samples of an uncompressed or gzipped NRRD file."""
    import gzip

    with open(path, "rb") as file:
        head, _, body = file.read().partition(b"\n\n")
    fields = dict(
        line.split(": ", 1) for line in head.decode().splitlines()[1:] if ": " in line and not line.startswith("#")
    )
    if fields["encoding"] in ("gzip", "gz"):
        body = gzip.decompress(body)
    return fields, body


def test_a_saved_nrrd_holds_values_and_places(tmp_path):
    stack(tmp_path / "in", orientation=OBLIQUE)
    v = radvex.volume(tmp_path / "in")
    v.save(tmp_path / "out.nrrd")
    fields, body = nrrd(tmp_path / "out.nrrd")
    assert fields["sizes"] == "5 4 3" and fields["type"] in ("uint16", "unsigned short", "ushort")
    assert np.array_equal(np.frombuffer(body, "<u2").reshape(3, 4, 5), place_values(3, 4, 5))
    directions = np.array([eval(each) for each in fields["space directions"].split()])
    origin = np.array(eval(fields["space origin"]))
    signs = np.array([-1 if "left" in fields["space"] else 1, -1 if "posterior" in fields["space"] else 1, 1])
    place = (origin + [4, 3, 2] @ directions) * signs
    assert place == pytest.approx(place_of(4, 3, 2, OBLIQUE, ORIGIN, 2.5, (0.5, 0.75)), abs=1e-6)


def test_colour_is_saved_as_nifti_colour(tmp_path):
    places = place_values(3, 4, 5)
    colour = np.stack([places % 251, places % 13, places % 7], axis=-1).astype(np.uint8)
    stack(tmp_path / "in", colour)
    v = radvex.volume(tmp_path / "in")
    v.save(tmp_path / "out.nii")
    read = np.asarray(nibabel.load(tmp_path / "out.nii").dataobj)
    for index, channel in enumerate("RGB"):
        assert np.array_equal(read[channel].T, colour[..., index])
    with pytest.raises(radvex.UsageError, match="colour"):
        v.to_nibabel()
    assert v.to_xarray().dims == ("z", "y", "x", "channel")


def test_four_dimensions_are_saved_with_their_distance_in_time(tmp_path):
    values = place_values(6, 4, 5)
    stack(
        tmp_path / "in",
        values,
        heights=[0, 1, 2] * 2,
        per_slice=lambda k: {"AcquisitionTime": ["101500", "101507.5"][k // 3]},
    )
    v = radvex.volume(tmp_path / "in", four_d=True)
    v.save(tmp_path / "out.nii.gz")
    for image in (nibabel.load(tmp_path / "out.nii.gz"), v.to_nibabel()):
        assert np.array_equal(np.asarray(image.dataobj), values.reshape(2, 3, 4, 5).T)
        assert image.header.get_zooms() == pytest.approx((0.75, 0.5, 2.5, 7.5))
        assert image.header.get_xyzt_units() == ("mm", "sec")
    assert v.to_xarray().dims == ("t", "z", "y", "x")
    assert np.diff(v.to_xarray().coords["t"]).tolist() == [7.5]


def test_an_existing_file_is_replaced_by_force_only(plain, tmp_path):
    v = radvex.volume(plain[0])
    path = tmp_path / "out.nii"
    path.write_bytes(b"mine")
    with pytest.raises(radvex.FileError, match="force=True"):
        v.save(path)
    assert path.read_bytes() == b"mine"
    v.save(path, force=True)
    assert nibabel.load(path).shape == (5, 4, 3)
    assert sorted(each.name for each in tmp_path.iterdir()) == ["out.nii", "plain"]


def test_a_file_of_no_known_kind_is_refused(plain, tmp_path):
    v = radvex.volume(plain[0])
    for name in ("out.txt", "out", "out.nii.bz2", "-"):
        with pytest.raises(radvex.UsageError, match=".nii.gz"):
            v.save(tmp_path / name if name != "-" else name)
    with pytest.raises(radvex.FileError):
        v.save(tmp_path / "nowhere" / "out.nii")


def test_another_type_or_shape_is_refused_and_another_order_in_memory_is_not(plain, tmp_path):
    v = radvex.volume(plain[0])
    whole = v.array
    v.array = whole.astype(np.float32)
    with pytest.raises(radvex.UsageError, match="float32 .* uint16"):
        v.save(tmp_path / "out.nii")
    v.array = whole[:2]
    with pytest.raises(radvex.UsageError, match=r"\(2, 4, 5\) now"):
        v.save(tmp_path / "out.nii")
    with pytest.raises(radvex.UsageError):
        v.preview()
    v.array = np.asfortranarray(whole)
    v.save(tmp_path / "out.nii")
    assert np.array_equal(np.asarray(nibabel.load(tmp_path / "out.nii").dataobj), place_values(3, 4, 5).T)


def test_nibabel_gets_the_samples_without_a_copy(tmp_path):
    stack(tmp_path, orientation=OBLIQUE)
    v = radvex.volume(tmp_path)
    image = v.to_nibabel()
    assert np.shares_memory(np.asarray(image.dataobj), v.array)
    assert image.shape == (5, 4, 3) and image.dataobj[4, 3, 2] == 2034
    assert image.affine == pytest.approx(v.affine)
    assert image.header["sform_code"] == image.header["qform_code"] == 1
    assert image.get_qform() == pytest.approx(v.affine, abs=1e-5)
    assert image.header.get_zooms() == pytest.approx((0.75, 0.5, 2.5))
    assert image.header.get_xyzt_units() == ("mm", "unknown")


def test_xarray_gets_the_samples_with_their_places(tmp_path):
    stack(tmp_path, place_values(3, 4, 5, np.int16), RescaleSlope=1, RescaleIntercept=0)
    v = radvex.volume(tmp_path)
    array = v.to_xarray()
    assert np.shares_memory(array.values, v.array)
    assert array.dims == ("z", "y", "x") and array.name == "modality"
    assert array.coords["z"].values.tolist() == [0, 2.5, 5]
    assert array.coords["y"].values.tolist() == [0, 0.5, 1, 1.5]
    assert array.coords["x"].values.tolist() == [0, 0.75, 1.5, 2.25, 3]
    assert array.attrs["units"] == "HU" and array.attrs["series"] == v.series and array.attrs["findings"] == []
    assert np.array_equal(array.attrs["affine"], v.affine)
    assert int(array.sel(z=2.5, y=1.0, x=0.75)) == 1021


def png_size(content):
    assert content[:8] == PNG and content[12:16] == b"IHDR"
    return int.from_bytes(content[16:20], "big"), int.from_bytes(content[20:24], "big")


def test_the_preview_is_a_png_and_tells_findings(tmp_path):
    stack(tmp_path / "a")
    stack(tmp_path / "b", numbers=[2, 1, 3])
    plain, sorted_ = radvex.volume(tmp_path / "a"), radvex.volume(tmp_path / "b")
    assert min(png_size(plain.preview())) > 50
    assert plain._repr_png_() == plain.preview()
    # Values and places are the same: the line about the order is what differs.
    assert plain.preview() != sorted_.preview()
    changed = radvex.volume(tmp_path / "a")
    changed.array[1] = 0
    assert changed.preview() != plain.preview()


def test_repr_is_a_line_about_the_volume(tmp_path):
    stack(tmp_path / "a", RescaleSlope=1, RescaleIntercept=-5)
    v = radvex.volume(tmp_path / "a")
    assert repr(v) == f"<Volume 3 x 4 x 5 {v.dtype} HU, 2.5 x 0.5 x 0.75 mm, LPS, no findings>"
    stack(tmp_path / "b", numbers=[2, 1, 3])
    assert repr(radvex.volume(tmp_path / "b")).endswith(" uint16, 2.5 x 0.5 x 0.75 mm, LPS, 1 finding>")


# Several series


def test_volumes_gives_all_series_with_one_process_or_several(tmp_path):
    uids = several_series(tmp_path, 4)
    for jobs in (1, 4):
        found = list(radvex.volumes(tmp_path, jobs=jobs))
        assert [v.series for v in found] == uids
        assert [int(v.array[1, 3, 4]) for v in found] == [1, 2, 3, 4]
    assert [v.series for v in radvex.volumes(tmp_path, series=uids[2])] == [uids[2]]


def test_a_series_without_a_volume_is_warned_of_raised_or_given(tmp_path):
    uids = several_series(tmp_path, 2)
    stack(tmp_path / "wrong", heights=[0, 1, 3], SeriesInstanceUID="1.2.3.0.1", SeriesNumber=9)
    with pytest.warns(radvex.RadvexWarning, match="1.2.3.0.1: 1 slice is missing") as warned:
        assert [v.series for v in radvex.volumes(tmp_path)] == uids
    assert len(warned) == 1
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        given = list(radvex.volumes(tmp_path, errors="give"))
    errors = [each for each in given if isinstance(each, Exception)]
    assert len(given) == 3 and len(errors) == 1
    assert isinstance(errors[0], radvex.VolumeError) and kinds(errors[0].findings) == ["missingSlices"]
    with pytest.raises(radvex.VolumeError, match="1.2.3.0.1"):
        list(radvex.volumes(tmp_path, errors="raise"))


def test_a_series_without_pictures_is_no_volume_and_no_warning(tmp_path):
    uids = several_series(tmp_path, 1)
    plan = dataset(
        sop_class="1.2.840.10008.5.1.4.1.1.481.5", Modality="RTPLAN", SeriesInstanceUID="1.2.9", SeriesNumber=5
    )
    save(plan, str(tmp_path / "plan" / "plan.dcm"))
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert [v.series for v in radvex.volumes(tmp_path)] == uids
    given = list(radvex.volumes(tmp_path, errors="give"))
    assert [type(each) for each in given if not isinstance(each, radvex.Volume)] == [radvex.NoPicturesError]
    with pytest.raises(radvex.NoPicturesError):
        radvex.volume(tmp_path, "1.2.9")


def test_leaving_the_loop_ends_the_processes(tmp_path):
    several_series(tmp_path, 4)
    for v in radvex.volumes(tmp_path, jobs=2):
        started = workers()
        assert any(each.name() == "radvex-worker" for each in started)
        break
    assert ended(started)
    assert int(v.array[0, 0, 0]) == 1


def test_series_that_nobody_takes_are_not_read_ahead(tmp_path):
    several_series(tmp_path, 8)
    loop = radvex.volumes(tmp_path, jobs=1, errors="give")
    first = next(loop)
    settle(workers())
    for path in (tmp_path / "s7").iterdir():
        path.unlink()
    rest = list(loop)
    assert first.series == "1.2.3.0" and len(rest) == 7
    assert [v.series for v in rest[:2]] == ["1.2.3.1", "1.2.3.2"]
    assert isinstance(rest[-1], radvex.VolumeError)  # it was read only now


def settle(processes):
    """Waits until the processes wait for us."""
    last = None
    for _ in range(40):
        spent = [sum(each.cpu_times()[:2]) for each in processes if each.is_running()]
        if spent == last:
            return
        last = spent
        time.sleep(0.15)


def test_the_last_messages_come_although_the_program_has_ended(tmp_path):
    stack(tmp_path / "a", SeriesInstanceUID="1.2.3.1", SeriesNumber=1)
    many = np.zeros((80, 4, 5), np.uint16)
    stack(tmp_path / "b", many, heights=[*range(79), 80], SeriesInstanceUID="1.2.3.2", SeriesNumber=2)
    loop = radvex.volumes(tmp_path, jobs=1, errors="give")
    assert next(loop).series == "1.2.3.1"
    assert ended(workers())  # nobody reads any more that the first volume was taken
    assert [kinds(each.findings) for each in loop] == [["missingSlices"]]


# Progress, and what ends a run


def test_progress_is_called_up_to_the_end(tmp_path):
    several_series(tmp_path, 2)
    calls = []
    assert len(list(radvex.volumes(tmp_path, progress=lambda *call: calls.append(call)))) == 2
    assert all(isinstance(what, str) and 0 <= done <= total for what, done, total in calls)
    for uid in ("1.2.3.0", "1.2.3.1"):
        assert calls[[what for what, _, _ in calls].index(f"Reading series {uid}")][2] == 2
        assert (f"Reading series {uid}", 2, 2) in calls


def test_progress_true_shows_a_bar(tmp_path, capfd):
    several_series(tmp_path, 1)
    radvex.volume(tmp_path, progress=True)
    assert "Reading series 1.2.3.0" in capfd.readouterr().err
    radvex.volume(tmp_path)
    assert capfd.readouterr() == ("", "")


class OwnError(Exception):
    pass


@pytest.mark.parametrize("read", [radvex.tree, radvex.volume, lambda *a, **o: list(radvex.volumes(*a, **o))])
def test_an_exception_in_the_callback_ends_the_run_and_its_processes(plain, read):
    started = []

    def progress(*_):
        started.extend(workers())
        raise OwnError("enough")

    with pytest.raises(OwnError, match="enough"):
        read(plain[0], progress=progress)
    assert started
    assert ended(started)


@pytest.mark.parametrize("read", [radvex.tree, radvex.volume, lambda *a, **o: list(radvex.volumes(*a, **o))])
def test_ctrl_c_during_a_read_leaves_no_process(plain, read):
    started = []

    def progress(*_):
        started.extend(workers())
        signal.raise_signal(signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        read(plain[0], progress=progress)
    assert started
    assert ended(started)
    assert len(radvex.volume(plain[0])) == 3


def ended_at(monkeypatch, name, spares):
    monkeypatch.setenv("LD_PRELOAD", os.environ["RADVEX_FAILING_OPEN"])
    monkeypatch.setenv("RADVEX_TEST_ENDS_AT", name)
    monkeypatch.setenv("RADVEX_TEST_SPARES", str(spares))


def test_a_file_that_ends_its_reader_is_named_and_the_other_series_come(tmp_path, monkeypatch):
    uids = several_series(tmp_path, 3)
    path = str(tmp_path / "s1" / "s1-01.dcm")
    # The file is opened a few times when the folder is listed; only then is it read for its volume.
    deaths = []
    for spares in range(6):
        ended_at(monkeypatch, "s1-01.dcm", spares)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            given = list(radvex.volumes(tmp_path, errors="give"))
        died = [each for each in given if isinstance(each, radvex.ReaderDied)]
        if died:
            deaths.append((spares, died[0], given))
    assert deaths
    for spares, error, given in deaths:
        assert (error.path, error.signal) == (path, signal.SIGSEGV)
        assert path in str(error) and "SIGSEGV" in str(error)
        assert [each.series for each in given if isinstance(each, radvex.Volume)] == [uids[0], uids[2]]
    spares = deaths[0][0]
    ended_at(monkeypatch, "s1-01.dcm", spares)
    with pytest.raises(radvex.ReaderDied) as caught:
        radvex.volume(tmp_path, uids[1])
    assert (caught.value.path, caught.value.signal) == (path, 11)
    again = pickle.loads(pickle.dumps(caught.value))
    assert (str(again), again.path, again.signal) == (str(caught.value), path, 11)
    assert np.all(radvex.volume(tmp_path, uids[2]).array == 3)
    with pytest.warns(radvex.RadvexWarning, match="s1-01.dcm"):
        assert [v.series for v in radvex.volumes(tmp_path)] == [uids[0], uids[2]]
    with pytest.raises(radvex.ReaderDied):
        list(radvex.volumes(tmp_path, errors="raise"))


def test_a_file_that_ends_the_listing_is_refused_with_the_reason(tmp_path, monkeypatch):
    several_series(tmp_path, 2)
    ended_at(monkeypatch, "s1-01.dcm", 0)
    with pytest.warns(radvex.RadvexWarning, match="s1-01.dcm.*signal 11"):
        tree = radvex.tree(tmp_path)
    assert [path for path, _ in tree.refused] == [str(tmp_path / "s1" / "s1-01.dcm")]
    assert sum(len(series) for series in tree.series()) == 3


def test_the_end_of_the_worker_itself_is_no_hang(tmp_path):
    several_series(tmp_path, 6)
    loop = radvex.volumes(tmp_path, jobs=2, errors="give")
    next(loop)
    started = workers()
    worker = workers(recursive=False)[-1]
    worker.kill()
    given = 1
    with pytest.raises(radvex.ReaderDied, match="SIGKILL") as caught:
        for _ in loop:
            given += 1
    assert given < 6  # at most what was under way
    assert (caught.value.path, caught.value.signal) == (str(tmp_path), signal.SIGKILL)
    assert ended(started)
    assert len(list(radvex.volumes(tmp_path))) == 6


def test_the_builder_puts_slices_along_their_normal():
    assert normal_of(OBLIQUE) == pytest.approx([0.48, 0.64, 0.6])
    assert np.linalg.norm(normal_of(OBLIQUE)) == pytest.approx(1)
    buffer = io.BytesIO()
    import pydicom

    pydicom.dcmwrite(buffer, dataset(place_values(1, 4, 5)[0], sop_class=CT), write_like_original=False)
    buffer.seek(0)
    assert pydicom.dcmread(buffer).pixel_array[3, 4] == 34
