"""What the server says about files, beside those who wrote or read them without it."""

import json
import os
import subprocess

import numpy as np
import pydicom
from conftest import write, write_stack

FIRST = "api/series/0"


def test_values_are_those_of_the_generator_in_their_unit(start, tmp_path):
    stored = write_stack(tmp_path / "ct", 3, WindowCenter=[40, 300], WindowWidth=[400, 1500],
                         WindowCenterWidthExplanation=["soft", "bone"])
    client = start(tmp_path / "ct")
    series = client.json(FIRST)
    for slice_ in series["slices"]:
        info, values = client.values(0, slice_["file"], slice_["frame"])
        place = int(slice_["position"][2] / 2)
        assert np.array_equal(values, stored[place].astype(int) - 1024)
        assert info["unit"] == slice_["unit"] == "HU"
        assert info["windows"] == [[40, 400], [300, 1500]] and info["windowNames"] == ["soft", "bone"]
        assert (slice_["rows"], slice_["columns"], slice_["spacing"]) == (6, 5, [0.5, 0.75])
        assert slice_["orientation"] == [[1, 0, 0], [0, 1, 0]]
    assert series["findings"] == [] and series["volumes"][0]["findings"] == []
    order = series["volumes"][0]["order"]
    assert [series["slices"][index]["position"][2] for index in order] == [0, 2, 4]


def test_fractions_and_reals(start, tmp_path):
    pixels = np.arange(30, dtype=np.uint16).reshape(5, 6)
    write(tmp_path / "pet" / "1.dcm", pixels, Modality="PT", Units="BQML", RescaleSlope="0.37", RescaleIntercept="0")
    client = start(tmp_path / "pet")
    info, values = client.values(0, 0)
    assert info["unit"] == "BQML"
    np.testing.assert_allclose(values, pixels * 0.37, rtol=1e-6)


def test_windows_are_linear_or_sigmoid_or_a_sentence(start, tmp_path):
    pixels = np.arange(30, dtype=np.uint16).reshape(5, 6)
    window = {"WindowCenter": 20, "WindowWidth": 10}
    table = pydicom.Dataset()
    table.LUTDescriptor = [2, 0, 16]
    table.add_new("LUTData", "US", [0, 65535])
    cases = {"linear": {**window, "VOILUTFunction": "LINEAR"}, "exact": {**window, "VOILUTFunction": "LINEAR_EXACT"},
             "sigmoid": {**window, "VOILUTFunction": "SIGMOID"}, "other": {**window, "VOILUTFunction": "CUBIC"},
             "table": {"VOILUTSequence": [table]}}
    found = {}
    for number, (name, attributes) in enumerate(cases.items()):
        write(tmp_path / "windows" / f"{name}.dcm", pixels, SeriesInstanceUID=f"1.2.3.{number + 1}",
              SeriesNumber=number, **attributes)
    client = start(tmp_path / "windows")
    for series in client.json("api/tree")["patients"][0]["studies"][0]["series"]:
        info, _ = client.values(series["id"], 0)
        found[list(cases)[int(series["number"])]] = (info["function"], info["windows"], info["windowProblem"])
    assert found["linear"] == ("LINEAR", [[20, 10]], "")
    assert found["exact"] == ("LINEAR_EXACT", [[20, 10]], "")
    assert found["sigmoid"] == ("SIGMOID", [[20, 10]], "")
    assert found["other"] == ("LINEAR", [], "The file has a window of a kind that is not drawn.")
    assert found["table"] == ("LINEAR", [], "The file has a table (VOI LUT) in place of a window, which is not drawn.")


def test_frames_come_one_by_one(start, tmp_path):
    pixels = np.random.default_rng(2).integers(0, 255, (7, 4, 3), dtype=np.uint8)
    write(tmp_path / "cine" / "1.dcm", pixels, Modality="US", SOPClassUID="1.2.840.10008.5.1.4.1.1.3.1")
    client = start(tmp_path / "cine")
    for frame in (3, 0, 6):
        assert np.array_equal(client.values(0, 0, frame)[1], pixels[frame])
    assert client.refusal(FIRST + "/files/0/values?frame=7").endswith("has no frame 8.")
    assert len(client.json(FIRST)["slices"]) == 7


def test_the_tiles_of_a_mosaic_are_its_slices(start, tmp_path):
    tiles = np.random.default_rng(3).integers(0, 900, (4, 8, 8), dtype=np.uint16)
    mosaic = tiles.reshape(2, 2, 8, 8).transpose(0, 2, 1, 3).reshape(16, 16)
    path = tmp_path / "mosaic" / "1.dcm"
    write(path, mosaic, Modality="MR", SOPClassUID="1.2.840.10008.5.1.4.1.1.4", Manufacturer="SIEMENS",
          ImageType=["ORIGINAL", "PRIMARY", "M", "MOSAIC"], ImagePositionPatient=[-100, -100, 0],
          ImageOrientationPatient=[1, 0, 0, 0, 1, 0], PixelSpacing=[2, 2], SpacingBetweenSlices=3)
    dataset = pydicom.dcmread(path)
    dataset.private_block(0x0019, "SIEMENS MR HEADER", create=True).add_new(0x0A, "US", 4)
    dataset.save_as(path)
    client = start(path.parent)
    series = client.json(FIRST)
    if not series["volumes"] or len(series["slices"]) == 1:  # nothing says where they lie; then the picture is whole
        assert np.array_equal(client.values(0, 0)[1], mosaic)
        return
    for slice_ in series["slices"]:
        assert np.array_equal(client.values(0, 0, slice_["frame"])[1], tiles[slice_["frame"]])


def test_a_changed_file_is_read_again(start, tmp_path):
    path = tmp_path / "one" / "1.dcm"
    pixels = np.arange(12, dtype=np.uint16).reshape(3, 4)
    write(path, pixels)
    client = start(path.parent)
    assert np.array_equal(client.values(0, 0)[1], pixels)
    write(path, pixels + 100)
    assert np.array_equal(client.values(0, 0)[1], pixels + 100)
    path.unlink()
    assert "1.dcm" in client.refusal(FIRST + "/files/0/values?frame=0")


def test_colour_is_interleaved(start, tmp_path):
    colour = np.random.default_rng(4).integers(0, 255, (5, 4, 3), dtype=np.uint8)
    write(tmp_path / "rgb" / "1.dcm", colour[..., 0], SamplesPerPixel=3, PhotometricInterpretation="RGB",
          PlanarConfiguration=1, PixelData=colour.transpose(2, 0, 1).tobytes(), SOPClassUID="1.2.840.10008.5.1.4.1.1.7")
    client = start(tmp_path / "rgb")
    assert np.array_equal(client.values(0, 0)[1], colour)


def test_fewer_pixels_than_promised_are_refused_and_as_many_are_not(start, tmp_path):
    pixels = np.arange(12, dtype=np.uint16).reshape(3, 4)
    write(tmp_path / "short" / "1.dcm", pixels, PixelData=pixels.tobytes()[:-2])
    assert start(tmp_path / "short").refusal(FIRST + "/files/0/values?frame=0").endswith(
        "1.dcm holds fewer pixels than its attributes promise.")
    write(tmp_path / "whole" / "1.dcm", pixels)
    assert start(tmp_path / "whole").values(0, 0)[1].shape == (3, 4)


def test_a_preview_makes_up_nothing(start, tmp_path):
    pixels = np.arange(12, dtype=np.uint16).reshape(3, 4)
    write(tmp_path / "short" / "1.dcm", pixels, PixelData=pixels.tobytes()[:-2])
    assert "fewer pixels" in start(tmp_path / "short").refusal(FIRST + "/files/0/preview?frame=0")


def test_overlay_planes(start, tmp_path):
    pixels = np.zeros((4, 8), np.uint16)
    bits = np.random.default_rng(5).integers(0, 2, (4, 8), dtype=np.uint8)
    path = tmp_path / "overlay" / "1.dcm"
    write(path, pixels)
    dataset = pydicom.dcmread(path)
    dataset.add_new(0x60000010, "US", 4)
    dataset.add_new(0x60000011, "US", 8)
    dataset.add_new(0x60000040, "CS", "G")
    dataset.add_new(0x60000050, "SS", [1, 1])
    dataset.add_new(0x60000100, "US", 1)
    dataset.add_new(0x60000102, "US", 0)
    dataset.add_new(0x60003000, "OW", np.packbits(bits, bitorder="little").tobytes())
    dataset.save_as(path)
    client = start(path.parent)
    status, headers, body = client.get(FIRST + "/files/0/overlays?frame=0")
    assert status == 200
    assert [(plane["rows"], plane["columns"]) for plane in json.loads(headers["Radvex-Values"])["planes"]] == [(4, 8)]
    assert np.array_equal(np.frombuffer(body, np.uint8).reshape(4, 8), bits)


def test_a_preview_is_a_small_png(start, tmp_path):
    pixels = np.tile(np.arange(400, dtype=np.uint16), (300, 1))
    write(tmp_path / "large" / "1.dcm", pixels)
    status, headers, body = start(tmp_path / "large").get(FIRST + "/files/0/preview?frame=0")
    assert (status, headers["Content-Type"]) == (200, "image/png")
    assert body[:8] == b"\x89PNG\r\n\x1a\n" and body[16:24] == (160).to_bytes(4, "big") + (120).to_bytes(4, "big")


def test_a_volume_has_the_voxels_of_the_generator(start, tmp_path):
    stored = write_stack(tmp_path / "ct", 4)
    status, headers, body = start(tmp_path / "ct").get(FIRST + "/volumes/0")
    assert status == 200 and json.loads(headers["Radvex-Values"])["unit"] == "HU"
    voxels = np.frombuffer(body[352:], "<i2").reshape(4, 6, 5)
    assert np.array_equal(voxels, stored.astype(int) - 1024)


def test_points_in_time_are_a_fourth_dimension(start, tmp_path):
    for time in range(3):
        write_stack(tmp_path / "time" / str(time), 2, AcquisitionNumber=time + 1, TemporalPositionIdentifier=time + 1,
                    NumberOfTemporalPositions=3, AcquisitionTime=f"1200{10 * time:02}")
    client = start(tmp_path / "time")
    volumes = client.json(FIRST)["volumes"]
    assert [volume["shape"] for volume in volumes] == [[3, 2, 6, 5]]
    assert sorted(volumes[0]["order"]) == list(range(6))
    status, headers, body = client.get(FIRST + "/volumes/0")
    assert status == 200 and json.loads(headers["Radvex-Values"])["shape"] == [3, 2, 6, 5]
    assert len(body) == 352 + 2 * 3 * 2 * 6 * 5


def test_a_volume_that_is_too_large_is_a_sentence(start, tmp_path):
    pixels = np.zeros((600, 1000), np.uint16)
    for number in range(2):
        write(tmp_path / "large" / f"{number}.dcm", pixels, ImagePositionPatient=[0, 0, number],
              ImageOrientationPatient=[1, 0, 0, 0, 1, 0], PixelSpacing=[1, 1], InstanceNumber=number)
    assert start(tmp_path / "large", memory=2).refusal(FIRST + "/volumes/0") == (
        "The volume has 2 MiB, and the page shows 2 MiB at most. radvex volume makes a file of it.")
    assert start(tmp_path / "large", memory=3).get(FIRST + "/volumes/0")[0] == 200


def test_files_without_pictures_are_told_one_by_one(start, tmp_path):
    write_stack(tmp_path / "mixed", 2)
    (tmp_path / "mixed" / "0001.dcm").write_bytes((tmp_path / "mixed" / "0001.dcm").read_bytes())
    write(tmp_path / "mixed" / "short.dcm", np.zeros((6, 5), np.int16), PixelData=b"\0\0", InstanceNumber=9)
    dataset = pydicom.dcmread(tmp_path / "mixed" / "0000.dcm")
    del dataset.PixelData, dataset.Rows, dataset.Columns
    dataset.SOPInstanceUID = dataset.file_meta.MediaStorageSOPInstanceUID = "1.9"
    dataset.save_as(tmp_path / "mixed" / "nopicture.dcm")
    series = start(tmp_path / "mixed").json(FIRST)
    assert sorted({slice_["file"] for slice_ in series["slices"]}) == [0, 1, 2, 3]
    assert sum(slice_["rows"] == 0 for slice_ in series["slices"]) >= 1
    assert any("hold" in finding["sentence"] for finding in series["findings"]), series["findings"]


def test_a_file_alone(start, tmp_path):
    write(tmp_path / "1.dcm", np.zeros((2, 3), np.uint8), SeriesDescription="Lonely")
    tree = start(tmp_path / "1.dcm").json("api/tree")
    (series,) = tree["patients"][0]["studies"][0]["series"]
    assert (tree["patients"][0]["name"], series["description"], series["files"]) == ("Doe^Jane", "Lonely", 1)
    assert series["bytes"] == (tmp_path / "1.dcm").stat().st_size


def test_only_the_chosen_series(start, tmp_path):
    for number in range(3):
        write(tmp_path / "all" / f"{number}.dcm", np.zeros((2, 3), np.uint8), SeriesInstanceUID=f"1.2.3.{number}")
    series = start(tmp_path / "all", series=r"1\.2\.3\.[02]").json("api/tree")["patients"][0]["studies"][0]["series"]
    assert [each["uid"] for each in series] == ["1.2.3.0", "1.2.3.2"]


def places(elements, prefix=""):
    """Attributes with their places as the report of a de-identification names them."""
    for element in elements:
        number = element["tag"].upper().replace("_", ",")
        is_private = int(element["tag"][3], 16) % 2 == 1
        place = prefix + (number if is_private or not element["keyword"] else element["keyword"])
        yield place, element
        for index, item in enumerate(element.get("items", [])):
            yield from places(item, f"{place}[{index + 1}].")


def test_actions_are_those_of_the_report_of_a_deidentification(start, tmp_path):
    sample = next(os.path.join(folder, "CT_small.dcm") for folder in os.environ["RADVEX_SAMPLES"].split("\n")
                  if os.path.exists(os.path.join(folder, "CT_small.dcm")))
    client = start(sample)
    table = client.json(FIRST + "/files/0/tags")
    assert table["actionProblem"] == ""
    assert {element["action"] for element in table["elements"] if element["tag"].startswith("0002")} == {"written anew"}
    shown = {place: element["action"] for place, element in places(table["elements"])
             if element["action"] and not element["tag"].startswith("0002")}
    report = json.loads(subprocess.run(
        [os.environ["RADVEX"], "anonymize", sample, str(tmp_path / "out.dcm"), "-q", "--dry-run", "--report", "-"],
        check=True, capture_output=True).stdout)
    reported = {change["attribute"]: change["action"] for change in report["files"][0]["changes"]}
    in_file = {place for place, _ in places(table["elements"])}
    assert len(reported) > 20 and shown["PatientName"]
    gone = tuple(place + "[" for place, action in reported.items() if action in ("removed", "emptied"))
    assert {place: action for place, action in shown.items() if not place.startswith(gone)} == {
        place: action for place, action in reported.items() if place in in_file}


def test_what_is_in_a_removed_sequence_goes_with_it(start, tmp_path):
    item = pydicom.Dataset()
    item.PatientName = "Doe^John"
    write(tmp_path / "1.dcm", np.zeros((2, 3), np.uint8), OtherPatientIDsSequence=[item])
    table = start(tmp_path / "1.dcm").json(FIRST + "/files/0/tags")["elements"]
    (sequence,) = [element for element in table if element["keyword"] == "OtherPatientIDsSequence"]
    assert sequence["action"] == "removed" and sequence["items"][0][0]["action"] == "removed"


def test_what_is_in_a_dummy_is_rewritten_or_goes(start, tmp_path):
    items = [pydicom.Dataset(), pydicom.Dataset()]
    for item in items:
        item.PatientName, item.PatientID = "Doe^John", "7"
    content = pydicom.Dataset()
    content.ValueType, content.TextValue = "TEXT", "seen by Dr. Roe"
    write(tmp_path / "1.dcm", np.zeros((2, 3), np.uint8), ContentSequence=[content], RequestAttributesSequence=items)
    client = start(tmp_path / "1.dcm")
    table = {element["keyword"]: element for element in client.json(FIRST + "/files/0/tags")["elements"]}
    assert table["ContentSequence"]["action"]
    assert {inner["action"] for inner in table["ContentSequence"]["items"][0]} != {""}


def test_text_in_other_characters_arrives(start, tmp_path):
    write(tmp_path / "1.dcm", np.zeros((2, 3), np.uint8), SpecificCharacterSet="ISO_IR 192", Units="µ",
          Modality="PT", RescaleSlope=1, RescaleIntercept=0, PatientName="Müller^Jürgen")
    client = start(tmp_path / "1.dcm")
    assert client.json("api/tree")["patients"][0]["name"] == "Müller^Jürgen"
    assert client.get(FIRST + "/files/0/values?frame=0")[0] == 200


def test_nothing_is_compressed_for_a_browser_that_would_take_it(start, tmp_path):
    write(tmp_path / "a.dcm", np.zeros((64, 64), np.uint16))
    client = start(tmp_path / "a.dcm")
    for path in ("api/tree", "api/series/0/files/0/values?frame=0", "page.js"):
        plain = client.get(path)
        asked = client.get(path, Accept_Encoding="gzip, deflate, br")
        assert "Content-Encoding" not in asked[1] and asked[2] == plain[2], path
