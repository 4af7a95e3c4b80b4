"""The same files, read by readers that know nothing of each other."""

import os
import subprocess
import warnings

import nibabel
import numpy as np
import pydicom
import pytest
from builders_folders import OBLIQUE, PLAIN, place_values, stack
from pydicom.datadict import keyword_for_tag
from pydicom.pixel_data_handlers.util import apply_modality_lut, convert_color_space

import radvex

# Where we differ from pydicom, and why. Whatever else differs is an error.
ACCEPTED = {
    "pixels": "tags() leaves PixelData out",
    "group length": "lengths of groups are retired, and are not kept when a file is read",
    "unknown": "an attribute whose representation is UN in the file is its bytes; pydicom looks up what it might be",
    "padding": "spaces and zero bytes at the end of a text or of bytes do not count; pydicom keeps some of them",
    "empty group of a name": "pydicom drops the = of an empty group of components at the end of a name",
    "no number": "text in IS or DS that is no number is text; pydicom refuses it",
}

# Pixels that only one of the two decodes, and why.
NOT_DECODED = {
    "JPEG2000-embedded-sequence-delimiter.dcm": "the width in the codestream is overwritten with a delimiter",
}


NOT_OF_PYDICOM = {
    "badVR.dcm": "pydicom does not take the text 1A for NumberOfFrames, which has to be a number",
}

# Refused, because what DCMTK gives is wrong: in Explicit VR Big Endian it takes numbers of 32 bits for words of 16, and
# scalings in the representation UN are not applied.
REFUSED = {
    "rtdose_expb.dcm": (radvex.VolumeError, "big-endian"),
    "rtdose_expb_1frame.dcm": (radvex.VolumeError, "big-endian"),
    "rtdose_rle.dcm": (radvex.VolumeError, "DoseGridScaling"),
    "rtdose_rle_1frame.dcm": (radvex.VolumeError, "DoseGridScaling"),
}


def readable(folder):
    """Path and open file of all that the library takes."""
    for place, _, names in sorted(os.walk(folder)):
        for name in sorted(names):
            path = os.path.join(place, name)
            try:
                f = radvex.open(path)
            except radvex.LibraryError:
                continue
            with f:
                yield path, f


@pytest.fixture(scope="module", autouse=True)
def quiet():
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        yield


@pytest.fixture(scope="module")
def folders(samples):
    return [samples, os.path.join(os.path.dirname(samples), "charset_files")]


def plain(element):
    """The value as our types have it; 32 bit numbers are marked by their type."""
    value, vr = element.value, str(element.VR)[-2:] if str(element.VR).startswith("VR.") else str(element.VR)

    def single(each):
        if vr in ("IS", "US", "SS", "UL", "SL", "UV", "SV"):
            return int(each)
        if vr in ("DS", "FD"):
            return float(each)
        if vr == "FL":
            return np.float32(each)
        if vr == "AT":
            return f"({each.group:04x},{each.element:04x})"
        return each if isinstance(each, bytes) else str(each)

    if vr == "SQ":
        return [[(inner.tag, plain(inner)) for inner in item] for item in value]
    if value is None or (hasattr(value, "__len__") and len(value) == 0):
        return None
    if isinstance(value, (list, pydicom.multival.MultiValue)):
        return [single(each) for each in value]
    return single(value)


def difference(ours, theirs):
    """None if they are the same, the accepted class of the difference, or "?"."""
    if isinstance(theirs, list):
        if not isinstance(ours, list) or len(ours) != len(theirs):
            return "?"
        found = {difference(*pair) for pair in zip(ours, theirs)} - {None}
        return "?" if "?" in found else next(iter(found), None)
    if isinstance(ours, dict):
        return "?"
    if type(theirs) is np.float32:
        if type(ours) is not float or np.float32(ours) != theirs:
            return "?"
        return None if ours == float(theirs) else "?"
    if type(ours) is not type(theirs):
        return "?"
    if ours == theirs or (ours != ours and theirs != theirs):
        return None
    if isinstance(ours, bytes) and ours.rstrip(b"\0 ") == theirs.rstrip(b"\0 "):
        return "padding"
    if isinstance(ours, str):
        if ours.rstrip(" \0") == theirs.rstrip(" \0"):
            return "padding"
        if ours.rstrip("=") == theirs:
            return "empty group of a name"
    return "?"


def item_difference(ours, theirs):
    """The same for the items of a sequence, whose values come in the order of their tags."""
    if ours is None or theirs is None or not theirs:
        return None if not ours and not theirs else "?"
    if not isinstance(ours, list) or len(ours) != len(theirs):
        return "?"
    found = set()
    for our_item, their_item in zip(ours, theirs):
        if not isinstance(our_item, dict) or len(our_item) != len(their_item):
            return "?"
        for (tag, value), (key, our_value) in zip(their_item, our_item.items()):
            if keyword_for_tag(tag) and keyword_for_tag(tag) != key:
                return "?"
            is_sequence = isinstance(value, list) and value and isinstance(value[0], list)
            found.add((item_difference if is_sequence else difference)(our_value, value))
    return "?" if "?" in found else next(iter(found - {None}), None)


def attribute_difference(f, representation, element, raw):
    """How our value differs from that of pydicom, or None."""
    tag = (element.tag.group, element.tag.element)
    if tag[1] == 0 and tag[0] != 2:
        return "group length" if tag not in f else "?"
    try:
        ours = f[tag]
    except KeyError:
        return "?"
    try:
        theirs = plain(element)
    except ValueError:
        return "no number" if isinstance(ours, str) and element.VR in ("IS", "DS") else "?"
    if str(element.VR).endswith("SQ") and isinstance(theirs, list):
        found = item_difference(ours, theirs)
    else:
        found = difference(ours, theirs)
    if found == "?" and isinstance(ours, bytes) and isinstance(raw, bytes):
        in_words = representation == "UN" and ours.rstrip(b"\0 ") == raw.rstrip(b"\0 ")
        return "unknown" if in_words else "?"
    return found


def test_every_attribute_is_that_of_pydicom(folders):
    seen, wrong, compared = set(), [], 0
    for folder in folders:
        for path, f in readable(folder):
            with pydicom.config.disable_value_validation():
                instance = pydicom.dcmread(path, force=True)
            raw = {tag: getattr(instance.get_item(tag), "value", None) for tag in instance.keys()}
            explicit = {tag: getattr(instance.get_item(tag), "VR", None) for tag in instance.keys()}
            for element in [*instance.file_meta, *instance]:
                if element.keyword == "PixelData":
                    seen.add("pixels")
                    continue
                representation = f.vr().get(element.keyword) or ("UN" if explicit.get(element.tag) == "UN" else "")
                found = attribute_difference(f, representation, element, raw.get(element.tag))
                compared += 1
                if found is not None:
                    seen.add(found)
                if found not in ACCEPTED and found is not None:
                    ours = f.get((element.tag.group, element.tag.element))
                    wrong.append((os.path.basename(path), element.tag, repr(ours)[:80], repr(raw[element.tag])[:80]))
    assert wrong == []
    assert seen == set(ACCEPTED)  # no class is accepted that does not occur
    assert compared > 8000


def standard_and_private(instance):
    """Keys of the standard attributes, and the number of private ones."""
    elements = [
        each for each in [*instance.file_meta, *instance] if each.tag.element != 0 or each.tag.group == 2
    ]
    keys = {
        each.keyword or f"{each.tag.group:04x}_{each.tag.element:04x}" for each in elements if not each.tag.is_private
    }
    return keys - {"PixelData"}, sum(each.tag.is_private for each in elements)


def test_tags_has_all_standard_attributes_in_the_order_of_the_file(folders):
    for folder in folders:
        for path, f in readable(folder):
            standard, _ = standard_and_private(pydicom.dcmread(path, force=True))
            ours = f.tags()
            assert standard <= set(ours), path
            assert list(f) == list(f.vr()) and len(f) == len(f.vr())
            assert [key for key in f if key != "PixelData"] == list(ours)


def test_a_value_is_the_same_by_keyword_by_number_and_among_all(folders):
    different = set()
    for folder in folders:
        for path, f in readable(folder):
            ours = f.tags()
            for element in pydicom.dcmread(path, force=True):
                if element.keyword in ours and ours[element.keyword] == ours[element.keyword]:
                    tag = element.tag.group, element.tag.element
                    if not ours[element.keyword] == f.get(element.keyword) == f[tag]:
                        different.add((os.path.basename(path), element.keyword))
    assert different == set()


def test_every_private_attribute_has_a_key_of_its_own(folders):
    counts = {}
    for folder in folders:
        for path, f in readable(folder):
            standard, count = standard_and_private(pydicom.dcmread(path, force=True))
            private = [key for key in f.tags() if key not in standard]
            if len(private) != count:
                counts[os.path.basename(path)] = (len(private), count)
    assert counts == {}


def pydicom_values(instance):
    if instance.SOPClassUID.name == "RT Dose Storage":
        return instance.pixel_array * float(instance.DoseGridScaling)
    return apply_modality_lut(instance.pixel_array, instance)


def test_modality_values_are_those_of_pydicom_and_gdcm(samples):
    compared, not_compared = 0, set()
    for path, f in readable(samples):
        instance = pydicom.dcmread(path, force=True)
        if "PixelData" not in instance or "Rows" not in instance or instance.get("SamplesPerPixel", 1) != 1:
            continue
        name = os.path.basename(path)
        if name in NOT_DECODED:
            with pytest.raises(radvex.LibraryError):
                f.values()
            not_compared.add(name)
            continue
        if name in NOT_OF_PYDICOM:
            with pytest.raises(Exception):
                instance.pixel_array
            assert f.values().size
            not_compared.add(name)
            continue
        if name in REFUSED:
            error, why = REFUSED[name]
            with pytest.raises(error, match=why):
                f.values()
            not_compared.add(name)
            continue
        values = f.values()
        expected = pydicom_values(instance)
        assert values.shape == expected.shape, name
        if np.all(expected == np.round(expected)):
            assert np.array_equal(values, expected), name
        assert np.allclose(values, expected, rtol=1e-12, atol=0), name
        compared += 1
    assert compared >= 46
    assert not_compared == set(NOT_DECODED) | set(NOT_OF_PYDICOM) | set(REFUSED)  # no file is in the tables without need


def test_colour_is_that_of_pydicom_and_gdcm(samples):
    compared = {"RGB": 0, "YBR": 0}
    for path, f in readable(samples):
        instance = pydicom.dcmread(path, force=True)
        name = os.path.basename(path)
        if instance.get("SamplesPerPixel", 1) != 3 or instance.BitsAllocated != 8 or name in NOT_DECODED:
            continue
        ours, theirs = f.image(scaling="none"), instance.pixel_array
        if instance.PhotometricInterpretation in ("RGB", "YBR_RCT"):  # which decoders make RGB
            assert np.array_equal(ours, theirs), name
        else:
            converted = convert_color_space(theirs, "YBR_FULL", "RGB").astype(int)
            assert ours.shape == converted.shape and np.abs(ours.astype(int) - converted).max() <= 1, name
        compared[instance.PhotometricInterpretation[:3]] += 1
    assert compared["RGB"] >= 8 and compared["YBR"] >= 5


# Volumes


def places_of_values(array, affine):
    """Value -> where its voxel lies, for arrays [i][j][k] in which every value is there once."""
    places = {}
    for index in np.ndindex(array.shape):
        places[int(array[index])] = tuple(np.round((affine @ [*index, 1])[:3], 3))
    assert len(places) == array.size
    return places


@pytest.mark.parametrize("orientation", [PLAIN, OBLIQUE])
def test_dcm2niix_puts_every_voxel_where_we_do(tmp_path, orientation):
    # More rows and columns than elsewhere: a picture of a few pixels is no volume to dcm2niix.
    stack(
        tmp_path / "in",
        place_values(6, 20, 10),
        orientation=orientation,
        Manufacturer="Nobody",
        SeriesDescription="x",
        RescaleSlope=1,
        RescaleIntercept=0,
    )
    (tmp_path / "out").mkdir()
    done = subprocess.run(
        ["dcm2niix", "-f", "volume", "-z", "n", "-o", str(tmp_path / "out"), str(tmp_path / "in")],
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stdout
    theirs = nibabel.load(tmp_path / "out" / "volume.nii")
    v = radvex.volume(tmp_path / "in")
    expected = places_of_values(np.asarray(theirs.dataobj), theirs.affine)
    ours = places_of_values(v.array.T, v.affine)
    assert set(ours) == set(expected)
    for value, place in ours.items():
        assert place == pytest.approx(expected[value], abs=2e-3)
    v.save(tmp_path / "ours.nii")
    saved = nibabel.load(tmp_path / "ours.nii")
    for value, place in places_of_values(np.asarray(saved.dataobj), saved.affine).items():
        assert place == pytest.approx(expected[value], abs=2e-3)


def test_saved_volumes_of_the_public_files_lie_where_pydicom_says(samples, tmp_path):
    compared = 0
    for number, v in enumerate(radvex.volumes(os.path.join(samples, "dicomdirtests"), errors="give")):
        if not isinstance(v, radvex.Volume) or not v.has_position:
            continue
        path = tmp_path / f"{number}.nii.gz"
        v.save(path)
        image = nibabel.load(path)
        assert np.array_equal(np.asarray(image.dataobj).T, v.array)
        assert np.allclose(image.affine, v.affine, atol=1e-4)
        for k, file in enumerate(v.slices):
            instance = pydicom.dcmread(file)
            position = np.array(instance.ImagePositionPatient, float) * [-1, -1, 1]
            assert np.allclose((v.affine @ [0, 0, k, 1])[:3], position, atol=0.1 * v.spacing[0])
            assert np.array_equal(v.array[k], apply_modality_lut(instance.pixel_array, instance))
            compared += 1
    assert compared >= 5
