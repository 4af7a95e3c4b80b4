"""New files, as pydicom and the tools of DCMTK read them."""

import datetime
import decimal
import os
import subprocess

import numpy as np
import pydicom
import pytest

import radvex

LOSSLESS = [
    ("JPEGLossless", "1.2.840.10008.1.2.4.70"),
    ("JPEGLosslessNonhierarchical", "1.2.840.10008.1.2.4.57"),
    ("JPEGLosslessNonhierarchical:6", "1.2.840.10008.1.2.4.57"),
    ("JPEG-LSLossless", "1.2.840.10008.1.2.4.80"),
    ("RLE", "1.2.840.10008.1.2.5"),
]
LOSSY = [
    ("JPEGLossy8bit:100", "1.2.840.10008.1.2.4.50"),
    ("JPEGLossy8bit:90", "1.2.840.10008.1.2.4.50"),
    ("JPEGLossy12bit:95", "1.2.840.10008.1.2.4.51"),
    ("JPEG-LSLossy:2", "1.2.840.10008.1.2.4.81"),
]
DECODERS = {"1.2.840.10008.1.2.5": "dcmdrle", "80": "dcmdjpls", "81": "dcmdjpls"}
# 2 frames, 3 rows, 5 columns
PLACES = np.add.outer(100 * np.arange(2), np.add.outer(10 * np.arange(3), np.arange(5)))
COLOUR = np.stack([PLACES, PLACES + 50, 255 - PLACES], axis=-1).astype(np.uint8)
PICTURE = PLACES[0].astype(np.uint8)


@pytest.fixture
def path(tmp_path):
    return str(tmp_path / "new.dcm")


@pytest.fixture(autouse=True)
def nothing_is_left_behind(tmp_path):
    yield
    assert not [each.name for each in tmp_path.iterdir() if each.name.startswith(".")]


def written(path, array, tags=None, **options):
    radvex.write(path, array, tags, **options)
    return pydicom.dcmread(path)


def decompressed(path):
    """The file as DCMTK decompresses it."""
    syntax = str(pydicom.dcmread(path).file_meta.TransferSyntaxUID)
    tool = DECODERS.get(syntax) or DECODERS.get(syntax.rsplit(".", 1)[-1]) or "dcmdjpeg"
    plain = path + ".plain"
    subprocess.run([tool, path, plain], check=True, capture_output=True)
    result = pydicom.dcmread(plain)
    os.unlink(plain)
    return result


# Pixels


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("frames", [1, 2])
def test_whole_numbers_are_a_secondary_capture_image(path, dtype, frames):
    array = (PLACES * (200 if dtype == np.uint16 else 1)).astype(dtype)
    array = array if frames == 2 else array[0]
    read = written(path, array)
    assert read.pixel_array.dtype == dtype and np.array_equal(read.pixel_array, array)
    assert "Secondary Capture" in read.SOPClassUID.name and read.PhotometricInterpretation == "MONOCHROME2"
    assert read.BitsStored == np.dtype(dtype).itemsize * 8 and read.PixelRepresentation == 0
    assert int(read.get("NumberOfFrames") or 1) == frames
    assert np.array_equal(radvex.values(path), array)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
@pytest.mark.parametrize("frames", [1, 2])
def test_real_numbers_are_a_parametric_map(path, dtype, frames):
    array = (PLACES / 7 - 3).astype(dtype)
    array = array if frames == 2 else array[0]
    read = written(path, array)
    assert read.SOPClassUID.name == "Parametric Map Storage"
    keyword = "FloatPixelData" if dtype == np.float32 else "DoubleFloatPixelData"
    values = np.frombuffer(read[keyword].value, np.dtype(dtype).newbyteorder("<"))
    assert np.array_equal(values, array.ravel())
    assert (read.Rows, read.Columns, int(read.NumberOfFrames)) == (3, 5, frames)


@pytest.mark.parametrize("frames", [1, 2])
def test_truth_values_are_zero_and_not_zero(path, frames):
    array = PLACES % 2 == 1
    array = array if frames == 2 else array[0]
    read = written(path, array)
    assert np.array_equal(read.pixel_array != 0, array)
    assert set(np.unique(read.pixel_array)) == {0, 1} or set(np.unique(read.pixel_array)) == {0, 255}


@pytest.mark.parametrize("frames", [1, 2])
def test_colour_has_its_channels_behind(path, frames):
    array = COLOUR if frames == 2 else COLOUR[0]
    read = written(path, array)
    assert read.PhotometricInterpretation == "RGB" and np.array_equal(read.pixel_array, array)
    assert np.array_equal(radvex.image(path), array)


def test_three_columns_are_colour_only_behind_two_axes_and_by_word(path):
    flat = np.arange(12, dtype=np.uint8).reshape(4, 3)
    assert written(path, flat).SamplesPerPixel == 1
    deep = np.arange(30, dtype=np.uint8).reshape(2, 5, 3)
    assert written(path, deep, force=True).SamplesPerPixel == 3
    read = written(path, deep, colour=False, force=True)
    assert read.SamplesPerPixel == 1 and np.array_equal(read.pixel_array, deep)


def test_arrays_in_another_order_in_memory_are_written_as_they_look(path):
    for array in (np.asfortranarray(PLACES.astype(np.uint16)), PLACES.astype(np.uint16)[:, ::-1, ::2]):
        assert np.array_equal(written(path, array, force=True).pixel_array, array)


def test_tags_that_the_array_determines_may_not_contradict_it(path):
    for array, tags in [
        (PLACES.astype(np.uint8), {"NumberOfFrames": 3}),
        (PICTURE.astype(np.uint8), {"NumberOfFrames": 2}),
        (COLOUR, {"PlanarConfiguration": 1}),
    ]:
        with pytest.raises(radvex.UsageError, match="leave it out"):
            radvex.write(path, array, tags)
        assert not os.path.exists(path)
    assert written(path, PLACES.astype(np.uint8), {"NumberOfFrames": 2}).NumberOfFrames == 2
    assert written(path, PICTURE.astype(np.float32), {"NumberOfFrames": "1"}, force=True).NumberOfFrames == 1
    assert written(path, COLOUR, {"PlanarConfiguration": 0}, force=True).PlanarConfiguration == 0
    item = {"ReferencedImageSequence": [{"NumberOfFrames": 9}]}
    assert written(path, PICTURE.astype(np.uint8), item, force=True).ReferencedImageSequence[0].NumberOfFrames == 9


def test_private_attributes_and_meta_information_are_refused(path):
    for tags in ({"CellNumberAtTheta": 1}, {"ReferencedImageSequence": [{"CellNumberAtTheta": 1}]}):
        with pytest.raises(radvex.UsageError, match="private"):
            radvex.write(path, PICTURE.astype(np.uint8), tags)
    with pytest.raises(radvex.UsageError, match="meta information"):
        radvex.write(path, PICTURE.astype(np.uint8), {"TransferSyntaxUID": "1.2.840.10008.1.2"})
    assert not os.path.exists(path)
    assert written(path, PICTURE.astype(np.uint8), {"TableSpeed": 1}).TableSpeed == 1  # private ones have this name too


@pytest.mark.parametrize("dtype", [np.int8, np.int16, np.int32, np.uint32, np.int64, np.float16, complex, object])
def test_other_types_are_refused(path, dtype):
    with pytest.raises(TypeError, match="uint16"):
        radvex.write(path, PICTURE.astype(dtype))
    assert not os.path.exists(path)
    radvex.write(path, PICTURE.astype(np.uint16))
    assert np.array_equal(pydicom.dcmread(path).pixel_array, PICTURE)


def test_shapes_that_are_no_image_are_refused(path):
    for shape in ((5,), (), (2, 2, 2, 2), (0, 5), (5, 0), (0, 3, 5)):
        with pytest.raises(ValueError):
            radvex.write(path, np.zeros(shape, np.uint8))
    for shape in ((2, 5), (2, 5, 4), (3,)):
        with pytest.raises(radvex.UsageError, match="three samples"):
            radvex.write(path, np.zeros(shape, np.uint8), colour=True)
    assert not os.path.exists(path)
    radvex.write(path, np.zeros((1, 1), np.uint8))
    assert pydicom.dcmread(path).pixel_array.shape == (1, 1)


def test_classes_that_the_standard_does_not_have_are_refused(path):
    with pytest.raises(radvex.ImageWriteError):
        radvex.write(path, COLOUR.astype(np.uint16))
    with pytest.raises(radvex.ImageWriteError):
        radvex.write(path, COLOUR[0].astype(np.float32))
    assert not os.path.exists(path)
    read = written(path, COLOUR[0].astype(np.uint16) * 200)
    assert np.array_equal(read.pixel_array, COLOUR[0].astype(np.uint16) * 200)


# Compression


@pytest.mark.parametrize("name, syntax", LOSSLESS)
@pytest.mark.parametrize("kind", ["grey8", "grey16", "colour"])
def test_lossless_compression_gives_every_bit_back(path, name, syntax, kind):
    array = {"grey8": PLACES.astype(np.uint8), "grey16": (PLACES * 300).astype(np.uint16), "colour": COLOUR}[kind]
    read = written(path, array, compress=name)
    assert read.file_meta.TransferSyntaxUID == syntax
    plain = decompressed(path)
    assert plain.pixel_array.reshape(array.shape).dtype == array.dtype
    assert np.array_equal(plain.pixel_array, array)
    own = radvex.image(path) if kind == "colour" else radvex.values(path)
    assert np.array_equal(own, array)


@pytest.mark.parametrize("name, syntax", LOSSY)
def test_lossy_compression_stays_near(path, name, syntax):
    smooth = np.add.outer(np.arange(32), 2 * np.arange(40)).astype(np.uint8)
    read = written(path, smooth, compress=name)
    assert read.file_meta.TransferSyntaxUID == syntax
    off = np.abs(decompressed(path).pixel_array.astype(int) - smooth)
    assert off.max() <= 4  # of values from 0 to 109
    assert np.abs(np.asarray(radvex.values(path)).astype(int) - smooth).max() <= 4


def test_a_lower_quality_is_smaller_and_farther_off(path):
    noise = np.random.default_rng(7).integers(0, 256, (64, 64)).astype(np.uint8)
    sizes, errors = [], []
    for quality in (0, 50, 100):
        radvex.write(path, noise, compress=f"JPEGLossy8bit:{quality}", force=True)
        sizes.append(os.path.getsize(path))
        errors.append(np.abs(decompressed(path).pixel_array.astype(int) - noise).mean())
    assert sizes == sorted(sizes) and errors == sorted(errors, reverse=True) and errors[0] > 10 * errors[2]


@pytest.mark.parametrize(
    "wrong, right",
    [
        ("JPEGLossy8bit:101", "JPEGLossy8bit:100"),
        ("JPEGLossy8bit:-1", "JPEGLossy8bit:0"),
        ("JPEGLossy8bit:x", "JPEGLossy8bit"),
        ("JPEGLossy8bit:", "JPEGLossy8bit:9"),
        ("JPEGLossy8bit:90,3", "JPEGLossy8bit:90"),
        ("RLE:1", "RLE"),
        ("JPEGLosslessNonhierarchical:8", "JPEGLosslessNonhierarchical:7"),
        ("zip", "JPEG-LSLossless"),
        ("", "Uncompressed"),
        ("rle", "RLE"),
    ],
)
def test_compressions_that_there_are_not_are_usage_errors(path, wrong, right):
    with pytest.raises(radvex.UsageError, match="compress="):
        radvex.write(path, PICTURE, compress=wrong)
    assert not os.path.exists(path)
    radvex.write(path, PICTURE, compress=right)
    assert decompressed(path).pixel_array.shape == (3, 5) if right != "Uncompressed" else os.path.exists(path)


def test_real_numbers_are_not_compressed(path):
    with pytest.raises(radvex.ImageWriteError):
        radvex.write(path, PICTURE.astype(float), compress="RLE")
    assert not os.path.exists(path)
    radvex.write(path, PICTURE.astype(float))


# Attributes


def test_values_of_all_kinds_are_what_pydicom_reads(path):
    read = written(
        path,
        PICTURE,
        {
            "PatientID": "A-7",
            "PatientName": "Doe^John",
            "PatientBirthDate": datetime.date(1970, 2, 3),
            "StudyTime": datetime.time(4, 5, 6, 700),
            "AcquisitionDateTime": datetime.datetime(2020, 2, 3, 4, 5, 6, 50),
            "InstanceNumber": 7,
            "SeriesNumber": np.int64(8),
            "SliceThickness": 1 / 3,
            "WindowCenter": [40, 400.5],
            "PixelSpacing": np.array([0.5, 0.25]),
            "ImageType": ["DERIVED", "SECONDARY"],
            "PatientSize": decimal.Decimal("1.75"),
            "AccessionNumber": None,
            "SelectorFDValue": 0.1,
            "SelectorULValue": 4000000000,
            "SelectorSLValue": -5,
            "SimpleFrameList": [1, 2],
            "FrameIncrementPointer": None,
        },
    )
    assert (read.PatientID, read.PatientName) == ("A-7", "Doe^John")
    assert (read.PatientBirthDate, read.StudyTime) == ("19700203", "040506.000700")
    assert read.AcquisitionDateTime == "20200203040506.000050"
    assert (read.InstanceNumber, read.SeriesNumber) == (7, 8)
    assert len(str(read.SliceThickness)) <= 16 and float(read.SliceThickness) == pytest.approx(1 / 3, abs=1e-13)
    assert [float(each) for each in read.WindowCenter] == [40, 400.5]
    assert [float(each) for each in read.PixelSpacing] == [0.5, 0.25]
    assert list(read.ImageType) == ["DERIVED", "SECONDARY"] and float(read.PatientSize) == 1.75
    assert read.AccessionNumber == "" and "AccessionNumber" in read
    assert (read.SelectorFDValue, read.SelectorULValue, read.SelectorSLValue) == (0.1, 4000000000, -5)
    assert list(read.SimpleFrameList) == [1, 2]
    assert "SpecificCharacterSet" not in read


@pytest.mark.parametrize(
    "number", [1 / 3, -1 / 3, 1e-300, -1.2345678901234567e-300, 123456789.123456789, 1e22, 5e-324]
)
def test_decimals_fit_into_sixteen_characters(path, number):
    read = written(path, PICTURE, {"SliceThickness": number})
    text = str(read["SliceThickness"].value.original_string)
    assert len(text) <= 16
    assert float(text) == pytest.approx(number, rel=1e-8)


def test_text_beyond_ascii_makes_the_file_utf8(path):
    tags = {"PatientName": "Müller^Jörg", "SeriesDescription": "山 – ß"}
    read = written(path, PICTURE, tags)
    assert read.SpecificCharacterSet == "ISO_IR 192"
    assert (read.PatientName, read.SeriesDescription) == ("Müller^Jörg", "山 – ß")
    for tags in (
        {"ReferencedStudySequence": [{"StudyDescription": "größer", "ReferencedSOPClassUID": "1.2"}]},
        {"OtherPatientNames": ["A", "Ö"]},
        {"PatientName": "Mü", "SpecificCharacterSet": "ISO_IR 192"},
    ):
        assert written(path, PICTURE, tags, force=True).SpecificCharacterSet == "ISO_IR 192"
    read = written(path, PICTURE, {"PatientName": "Mu", "SpecificCharacterSet": "ISO_IR 100"}, force=True)
    assert read.SpecificCharacterSet == "ISO_IR 100"


def test_text_is_in_the_character_set_that_is_given_where_it_fits(path):
    item = {"SpecificCharacterSet": "ISO_IR 144", "PatientID": "Люк"}
    tags = {"PatientName": "Mü", "SpecificCharacterSet": "ISO_IR 100", "OtherPatientIDsSequence": [item]}
    read = written(path, PICTURE, tags)
    assert read.SpecificCharacterSet == "ISO_IR 100" and read.get_item("PatientName").value.rstrip() == b"M\xfc"
    assert read.OtherPatientIDsSequence[0].PatientID == "Люк"
    assert read.OtherPatientIDsSequence[0].SpecificCharacterSet == "ISO_IR 144"
    tags = {"PatientName": "Yamada^Tarou=山田^太郎", "SpecificCharacterSet": ["", "ISO 2022 IR 87"]}
    read = written(path, PICTURE, tags, force=True)
    assert list(read.SpecificCharacterSet) == ["", "ISO 2022 IR 87"] and str(read.PatientName) == tags["PatientName"]
    with radvex.open(path) as f:
        assert f["PatientName"] == tags["PatientName"]
    plane = np.ones(PICTURE.shape[:2], bool)
    read = written(
        path,
        PICTURE,
        {"SpecificCharacterSet": "ISO_IR 100"},
        overlays=[(plane, {"OverlayLabel": "Läsion"})],
        force=True,
    )
    assert (read.SpecificCharacterSet, read[0x6000, 0x1500].value) == ("ISO_IR 100", "Läsion")


def test_text_that_does_not_fit_its_character_set_makes_the_file_utf8(path):
    item = {"SpecificCharacterSet": "ISO_IR 144", "PatientID": "Люк"}
    tags = {"PatientName": "山", "SpecificCharacterSet": "ISO_IR 100", "OtherPatientIDsSequence": [item]}
    read = written(path, PICTURE, {**tags, "PatientComments": b"gr\xfcn"})
    assert (read.SpecificCharacterSet, read.PatientName) == ("ISO_IR 192", "山")
    assert "SpecificCharacterSet" not in read.OtherPatientIDsSequence[0]
    assert (read.OtherPatientIDsSequence[0].PatientID, read.PatientComments) == ("Люк", "grün")
    with pytest.raises(radvex.FileError, match="PatientComments: these bytes are no text"):
        radvex.write(path, PICTURE, {"PatientName": "山", "SpecificCharacterSet": "ISO_IR 127",
                                     "PatientComments": b"\xff"}, force=True)


def test_sequences_are_nested(path):
    tags = {
        "RequestAttributesSequence": [
            {
                "RequestedProcedureID": "R1",
                "ScheduledProtocolCodeSequence": [
                    {"CodeValue": "c1", "0040,0440": [{"CodeMeaning": "Übersicht"}, {"NumericValue": [1, 2.5]}]},
                    {"CodeValue": "c2"},
                ],
            },
            {"RequestedProcedureID": "R2"},
        ]
    }
    read = written(path, PICTURE, tags)
    first, second = read.RequestAttributesSequence
    assert (first.RequestedProcedureID, second.RequestedProcedureID) == ("R1", "R2")
    inner = first.ScheduledProtocolCodeSequence
    assert [each.CodeValue for each in inner] == ["c1", "c2"]
    assert inner[0].ProtocolContextSequence[0].CodeMeaning == "Übersicht"
    assert [float(each) for each in inner[0].ProtocolContextSequence[1].NumericValue] == [1, 2.5]
    assert "ProtocolContextSequence" not in inner[1] and "ScheduledProtocolCodeSequence" not in second


@pytest.mark.parametrize("tag", ["0010,4000", "(0010,4000)", "00104000", (0x0010, 0x4000), 0x00104000])
def test_a_tag_is_named_by_its_number_too(path, tag):
    assert written(path, PICTURE, {tag: "words", "Modality": "OT"}).PatientComments == "words"


def test_what_was_read_can_be_written(path, samples):
    with radvex.open(os.path.join(samples, "CT_small.dcm")) as f:
        names = ("PatientName", "PatientID", "StudyDate", "PixelSpacing", "KVP", "ImageType")
        kept = {name: f[name] for name in names}
    read = written(path, PICTURE, kept)
    original = pydicom.dcmread(os.path.join(samples, "CT_small.dcm"))
    for name in kept:
        assert read[name].value == original[name].value


@pytest.mark.parametrize(
    "wrong, error",
    [
        ({"NoSuchThing": "x"}, radvex.InvalidTagName),
        ({"0099,9999": "x"}, radvex.InvalidTagName),
        ({"PatientAge": "old"}, radvex.InvalidTagValue),
        ({"StudyDate": "20201399"}, radvex.InvalidTagValue),
        ({"InstanceNumber": "seven"}, radvex.InvalidTagValue),
        ({"Rows": 7}, radvex.ReservedTagError),
        ({"InstanceNumber": True}, radvex.UsageError),
        ({"InstanceNumber": np.True_}, radvex.UsageError),
        ({"SliceThickness": float("nan")}, radvex.UsageError),
        ({"SliceThickness": float("inf")}, radvex.UsageError),
        ({"PatientID": object()}, TypeError),
        ({"PatientID": {"a": "b"}}, TypeError),
        ({"PatientID": {"a"}}, TypeError),
        ({"ReferencedStudySequence": [{"StudyDescription": "x"}, "y"]}, TypeError),
    ],
)
def test_attributes_that_there_are_not_leave_no_file(tmp_path, wrong, error):
    path = tmp_path / "new.dcm"
    with pytest.raises(error) as caught:
        radvex.write(path, PICTURE, wrong)
    assert "Unknown" not in str(caught.value)
    assert list(tmp_path.iterdir()) == []
    path.write_bytes(b"mine")
    with pytest.raises(error):
        radvex.write(path, PICTURE, wrong, force=True)
    assert path.read_bytes() == b"mine" and len(list(tmp_path.iterdir())) == 1


def test_the_nearest_legal_attributes_pass(path):
    tags = {"0010,1010": "042Y", "StudyDate": "20201231", "InstanceNumber": "7", "SliceThickness": 1e-5}
    read = written(path, PICTURE, tags)
    assert (read.PatientAge, read.StudyDate, read.InstanceNumber) == ("042Y", "20201231", 7)
    assert float(read.SliceThickness) == 1e-5


def test_times_keep_their_zone_and_years_their_digits(path):
    zone = datetime.timezone(datetime.timedelta(hours=-3, minutes=-30))
    tags = {
        "AcquisitionDateTime": datetime.datetime(2020, 2, 3, 4, 5, 6, tzinfo=zone),
        "StudyDate": datetime.date(987, 1, 2),
    }
    read = written(path, PICTURE, tags)
    assert read.AcquisitionDateTime == "20200203040506.000000-0330"
    assert read.StudyDate == "09870102"


# Overlays


def test_overlays_have_their_planes_and_properties(path):
    plane = np.zeros((3, 5))
    plane[1, 2] = plane[2, 4] = 7
    other = plane.T > 0
    read = written(
        path,
        PICTURE,
        overlays=[
            plane,
            (other, {"OverlayLabel": "Läsion", "OriginRow": 2, "OriginColumn": -1, "OverlayType": "R",
                     "OverlaySubtype": "USER", "OverlayDescription": "by hand"}),
        ],
    )
    assert np.array_equal(read.overlay_array(0x6000), plane != 0)
    assert np.array_equal(read.overlay_array(0x6002), other)
    assert (list(read[0x6000, 0x50].value), read[0x6000, 0x40].value) == ([1, 1], "G")
    assert (list(read[0x6002, 0x50].value), read[0x6002, 0x40].value) == ([2, -1], "R")
    assert (read[0x6002, 0x1500].value, read[0x6002, 0x22].value, read[0x6002, 0x45].value) == (
        "Läsion",
        "by hand",
        "USER",
    )
    assert read.SpecificCharacterSet == "ISO_IR 192"
    with radvex.open(path) as f:
        first, second = f.overlays()
    assert np.array_equal(first, plane != 0) and np.array_equal(second, other)


def test_wrong_overlays_are_refused(path):
    plane = np.ones((3, 5), bool)
    with pytest.raises(radvex.UsageError, match="NoSuch.*OverlayLabel"):
        radvex.write(path, PICTURE, overlays=[(plane, {"NoSuch": 1})])
    with pytest.raises(ValueError):
        radvex.write(path, PICTURE, overlays=[np.zeros(3)])
    with pytest.raises(radvex.OverlayCountError):
        radvex.write(path, PICTURE, overlays=[plane] * 17)
    assert not os.path.exists(path)
    read = written(path, PICTURE, overlays=[plane] * 16)
    assert np.array_equal(read.overlay_array(0x601E), plane)


# Files


def test_an_existing_file_is_replaced_by_force_only(tmp_path):
    path = tmp_path / "new.dcm"
    path.write_bytes(b"mine")
    with pytest.raises(radvex.FileError, match="force=True"):
        radvex.write(path, PICTURE)
    assert path.read_bytes() == b"mine"
    radvex.write(path, PICTURE, force=True)
    assert np.array_equal(pydicom.dcmread(path).pixel_array, PICTURE)
    assert [each.name for each in tmp_path.iterdir()] == ["new.dcm"]


def test_a_folder_that_is_not_there_is_a_file_error(tmp_path):
    with pytest.raises(radvex.FileError, match="nowhere"):
        radvex.write(tmp_path / "nowhere" / "new.dcm", PICTURE)
    assert list(tmp_path.iterdir()) == []


def test_a_name_that_is_no_utf8_is_written(tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff.dcm"
    radvex.write(os.fsdecode(path), PICTURE)
    assert os.listdir(os.fsencode(tmp_path)) == [b"\xff.dcm"]
    assert pydicom.dcmread(os.fsdecode(path)).Rows == 3


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_a_file_has_no_more_errors_than_that_of_the_command(tmp_path, dtype):
    tags = {"PatientName": "Doe^John", "PatientID": "7", "StudyID": "1", "StudyDate": datetime.date(2020, 1, 2),
            "StudyTime": datetime.time(1, 2, 3), "PatientOrientation": None, "Laterality": None}
    path = str(tmp_path / "new.dcm")
    radvex.write(path, PICTURE.astype(dtype), tags)
    done = subprocess.run(["dciodvfy", path], capture_output=True, text=True)
    assert "SCImage" in done.stdout + done.stderr  # it knew what it looked at
    assert [line for line in (done.stdout + done.stderr).splitlines() if line.startswith("Error")] == []
