"""The slices are shown as `radvex image` draws them and as the standard says, and their values are those of the files."""

import re

import numpy as np
import pydicom
import pytest
import stacks
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from stackpage import (
    PICTURE,
    STAGE,
    Fit,
    choose_option,
    click,
    drag,
    enter,
    hover,
    picture,
    press,
    reading,
    wait_ready,
    window,
)

ROUNDED = 0.5 + 1e-4  # of a grey level
ONE_LEVEL = 1


def opened(page, folder, *datasets):
    """Writes and shows a series; its paths are in the order of its slices."""
    paths = stacks.write(folder, *datasets)
    shown = page(folder)
    wait_ready(shown)
    return shown, paths


def expect_levels(found, wanted, tolerance):
    assert found.shape == wanted.shape
    assert np.max(np.abs(found - wanted)) <= tolerance


# What the file says

OWN_WINDOWS = {
    "linear": (stacks.ct(WindowCenter="300", WindowWidth="400"), (300, 400, "LINEAR")),
    "narrow": (stacks.ct(WindowCenter="300", WindowWidth="2"), (300, 2, "LINEAR")),
    "one wide": (stacks.ct(WindowCenter="300", WindowWidth="1"), (300, 1, "LINEAR")),
    "exact": (stacks.ct(WindowCenter="300", WindowWidth="50", VOILUTFunction="LINEAR_EXACT"), (300, 50, "LINEAR_EXACT")),
    "sigmoid": (stacks.ct(WindowCenter="300", WindowWidth="500", VOILUTFunction="SIGMOID"), (300, 500, "SIGMOID")),
}


@pytest.mark.parametrize("name", OWN_WINDOWS)
def test_the_files_own_window_is_drawn_by_its_function(page, tmp_path, name):
    made, (centre, width, function) = OWN_WINDOWS[name]
    shown, paths = opened(page, tmp_path, made)
    wanted = stacks.by_standard(stacks.modality_values(paths[0]), centre, width, function)
    expect_levels(picture(shown), wanted, ROUNDED)
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path, "--window", "file"), ONE_LEVEL)


def test_small_values_of_monochrome1_are_bright(page, tmp_path):
    made = stacks.ct(PhotometricInterpretation="MONOCHROME1", WindowCenter="300", WindowWidth="900")
    shown, paths = opened(page, tmp_path, made)
    values = stacks.modality_values(paths[0])
    expect_levels(picture(shown), 255 - stacks.by_standard(values, 300, 900), ROUNDED)
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path, "--window", "file"), ONE_LEVEL)
    shown.click("[data-action=invert]")
    expect_levels(picture(shown), stacks.by_standard(values, 300, 900), ROUNDED)
    assert "MONOCHROME1" in shown.text("[data-role=window-sentence]")


WHOLE_RANGES = {
    "8 bit": stacks.dataset(stacks.values("u1", 3, 250)),
    "8 bit signed": stacks.dataset(stacks.values("i1", -120, 100)),
    "12 of 16 bit": stacks.dataset(stacks.values("u2", 0, 4095), BitsStored=12, HighBit=11),
    "16 bit signed": stacks.dataset(stacks.values("i2", -32768, 32767)),
    "32 bit": stacks.dataset(stacks.values("u4", 0, 3_000_000)),
    "one value": stacks.dataset(np.full((stacks.ROWS, stacks.COLUMNS), 7, "u2")),
}


@pytest.mark.parametrize("name", WHOLE_RANGES)
def test_without_a_window_the_smallest_value_is_black_and_the_largest_white(page, tmp_path, name):
    shown, paths = opened(page, tmp_path, WHOLE_RANGES[name])
    values = stacks.modality_values(paths[0])
    low, high = int(values.min()), int(values.max())
    expect_levels(picture(shown), stacks.by_standard(values, (low + high + 1) / 2, high - low + 1), ROUNDED)
    if low < high:
        expect_levels(picture(shown), (values.astype(float) - low) * 255 / (high - low), ROUNDED)
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path), ONE_LEVEL)
    assert "The file has no window." in shown.text("[data-role=window-sentence]")


def test_a_pet_with_a_fractional_slope_is_drawn_from_its_values(page, tmp_path):
    shown, paths = opened(page, tmp_path, stacks.pet())
    values = stacks.modality_values(paths[0])
    low, high = values.min(), values.max()
    expect_levels(picture(shown), (values - low) * 255 / (high - low), ROUNDED)
    enter(shown, "centre", "5000")
    enter(shown, "width", "4000")
    choose_option(shown, "function", "LINEAR")
    assert window(shown) == (5000, 4000, "LINEAR")
    expect_levels(picture(shown), stacks.by_standard(values, 5000, 4000), ROUNDED)
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path, "--window", "4000,5000"), ONE_LEVEL)


def test_a_dose_has_its_values_in_gray_and_windows_below_1_if_they_are_exact(page, tmp_path):
    shown, paths = opened(page, tmp_path, stacks.dose())
    press(shown, Keys.END)
    wait_ready(shown, 2)
    values = stacks.modality_values(paths[0])[2]
    low, high = values.min(), values.max()
    choose_option(shown, "preset", "range")
    expect_levels(picture(shown), (values - low) * 255 / (high - low), ROUNDED)
    enter(shown, "centre", "35")
    enter(shown, "width", "0.5")
    assert window(shown) == (35, 0.5, "LINEAR_EXACT")
    expect_levels(picture(shown), stacks.by_standard(values, 35, 0.5, "LINEAR_EXACT"), ROUNDED)


RANDOM = np.random.default_rng(60)
COLOURS = {
    "rgb": stacks.dataset(RANDOM.integers(0, 256, (stacks.ROWS, stacks.COLUMNS, 3)).astype("u1")),
    "rgb of 16 bit": stacks.dataset(RANDOM.integers(0, 65536, (stacks.ROWS, stacks.COLUMNS, 3)).astype("u2")),
    "palette": stacks.palette(),
}


@pytest.mark.parametrize("name", COLOURS)
def test_colour_is_shown_as_it_is_stored(page, tmp_path, name):
    shown, paths = opened(page, tmp_path, COLOURS[name])
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path), ONE_LEVEL)
    assert not shown.find("[data-role=centre]").is_displayed()
    assert not shown.find("[data-action=invert]").is_enabled()
    if name == "rgb":
        stored = pydicom.dcmread(paths[0]).pixel_array
        expect_levels(picture(shown), stored, 0)
        hover(shown, Fit(shown, stacks.ROWS, stacks.COLUMNS).place(11, 17))
        assert reading(shown)[1]["values"] == " ".join(map(str, stored[11, 17]))


def test_each_frame_of_an_enhanced_file_has_its_own_window(page, tmp_path):
    windows = [(0, 500), (500, 1000), (200, 100)]
    shown, paths = opened(page, tmp_path, stacks.enhanced(windows))
    for frame, (centre, width) in enumerate(windows):
        wait_ready(shown, frame)
        assert window(shown) == (centre, width, "LINEAR")
        values = stacks.modality_values(paths[0], frame + 1)
        expect_levels(picture(shown), stacks.by_standard(values, centre, width), ROUNDED)
        levels = stacks.rendered(paths[0], tmp_path, "--window", "file", "--frame", str(frame + 1))
        expect_levels(picture(shown), levels, ONE_LEVEL)
        press(shown, Keys.ARROW_DOWN)


# What the user chooses

TWO_WINDOWS = {"WindowCenter": ["40", "-600"], "WindowWidth": ["400", "1500"]}
PRESETS = ("abdomen", "lung", "bone", "brain", "mediastinum")


def test_presets_are_those_of_the_command(page, tmp_path):
    made = stacks.ct(WindowCenterWidthExplanation=["SOFT <b>", "LÜNGS"], **TWO_WINDOWS)
    made.SpecificCharacterSet = "ISO_IR 100"
    shown, paths = opened(page, tmp_path, made)
    assert {"SOFT <b> (40, 400)", "LÜNGS (-600, 1500)"} <= set(shown.texts("[data-role=preset] option"))
    for option, name in [("file:1", "file"), ("file:2", "file:2"), *((name, name) for name in PRESETS)]:
        choose_option(shown, "preset", option)
        expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path, "--window", name), ONE_LEVEL)
        assert shown.script("return document.querySelector('[data-role=preset]').value") == option
    choose_option(shown, "preset", "range")
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path), ONE_LEVEL)


def test_presets_in_hu_are_for_hu_only(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.pet())
    values = shown.script("return [...document.querySelector('[data-role=preset]').options].map(each => each.value)")
    assert values == ["own", "range", "numbers"]


@pytest.mark.parametrize("button", ["right", "left"])
def test_a_drag_changes_width_and_centre(page, tmp_path, button):
    shown, paths = opened(page, tmp_path, stacks.ct(WindowCenter="300", WindowWidth="400"))
    if button == "left":
        shown.click("[data-tool=window]")
    drag(shown, (-50, -50), (30, -50), button)
    centre, width, function = window(shown)
    assert (centre, function) == (300, "LINEAR") and width > 400
    drag(shown, (-50, -50), (-50, 20), button)
    lower, same, _ = window(shown)
    assert lower > centre and same == width
    levels = stacks.rendered(paths[0], tmp_path, "--window", f"{width:g},{lower:g}")
    expect_levels(picture(shown), levels, ONE_LEVEL)
    assert float(shown.find("[data-role=width]").get_attribute("value")) == width
    assert float(shown.find("[data-role=centre]").get_attribute("value")) == lower
    assert shown.find("[data-role=preset]").get_attribute("value") == "numbers"


def test_a_linear_window_below_1_is_refused_with_a_sentence(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct(WindowCenter="300", WindowWidth="400"))
    before = picture(shown)
    enter(shown, "width", "0.5")
    assert "a linear window is at least 1 wide" in shown.text("[data-role=window-sentence]")
    assert np.array_equal(picture(shown), before)
    choose_option(shown, "function", "LINEAR_EXACT")
    assert window(shown) == (300, 0.5, "LINEAR_EXACT")


def test_a_window_of_the_file_that_dicom_does_not_allow_is_not_used(page, tmp_path):
    shown, paths = opened(page, tmp_path, stacks.ct(WindowCenter="300", WindowWidth="0"))
    expect_levels(picture(shown), stacks.rendered(paths[0], tmp_path), ONE_LEVEL)
    sentence = shown.text("[data-role=window-sentence]")
    assert "shown from its smallest to its largest value" in sentence
    assert "The file has no window." not in sentence, "it says what is wrong with it"


def test_a_chosen_window_stays_and_otherwise_each_slice_has_its_own(page, tmp_path):
    made = [stacks.ct(number, WindowCenter=str(100 * number), WindowWidth="300") for number in range(3)]
    shown, paths = opened(page, tmp_path, *made)
    assert window(shown) == (0, 300, "LINEAR")
    assert "Each slice has the first window of its file." in shown.text("[data-role=window-sentence]")
    press(shown, Keys.ARROW_DOWN)
    wait_ready(shown, 1)
    assert window(shown) == (100, 300, "LINEAR")
    enter(shown, "width", "700")
    press(shown, Keys.ARROW_DOWN)
    wait_ready(shown, 2)
    assert window(shown) == (100, 700, "LINEAR")
    expect_levels(picture(shown), stacks.rendered(paths[2], tmp_path, "--window", "700,100"), ONE_LEVEL)
    assert "This window stays" in shown.text("[data-role=window-sentence]")
    press(shown, "r")
    assert window(shown) == (200, 300, "LINEAR")


def test_invert_exchanges_black_and_white(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct(WindowCenter="300", WindowWidth="400"))
    before = picture(shown)
    press(shown, "i")
    assert np.array_equal(picture(shown), 255 - before)
    assert shown.find("[data-action=invert]").get_attribute("aria-pressed") == "true"
    shown.click("[data-action=invert]")
    assert np.array_equal(picture(shown), before)


# What lies under the pointer

UNDER_POINTER = {"ct": stacks.ct, "pet": stacks.pet}


@pytest.mark.parametrize("name", UNDER_POINTER)
def test_values_and_places_under_the_pointer(page, tmp_path, name):
    shown, paths = opened(page, tmp_path, *(UNDER_POINTER[name](number) for number in range(3)))
    press(shown, Keys.ARROW_DOWN)
    wait_ready(shown, 1)
    unit = {"ct": "HU", "pet": "BQML"}[name]
    file = pydicom.dcmread(paths[1])
    along, down = np.split(np.array(file.ImageOrientationPatient, dtype=float), 2)
    between_rows, between_columns = map(float, file.PixelSpacing)
    position = np.array(file.ImagePositionPatient, dtype=float)
    fit = Fit(shown, stacks.ROWS, stacks.COLUMNS, stacks.SPACING)
    random = np.random.default_rng(70)
    for _ in range(20):
        row, column = int(random.integers(stacks.ROWS)), int(random.integers(stacks.COLUMNS))
        hover(shown, fit.place(row, column))
        text, data = reading(shown)
        printed = stacks.run("data", paths[1], "--pixel", f"{row + 1},{column + 1}")
        value = float(printed.rsplit(":", 1)[1].split()[0])
        assert text.startswith(f"Row {row + 1}, column {column + 1}: ") and f" {unit}\n" in text
        assert float(text.split(": ")[1].split()[0]) == pytest.approx(value, rel=5e-6)
        assert float(data["values"]) == pytest.approx(value, rel=1e-7)
        place = position + along * between_columns * column + down * between_rows * row
        assert [float(each) for each in data["place"].split()] == pytest.approx(place, abs=1e-6)
        letters = re.fullmatch(r"L (\S+) P (\S+) S (\S+) mm", text.split("\n")[1])
        assert [float(each) for each in letters.groups()] == pytest.approx(place, abs=0.0501)


def test_letters_name_the_sides_of_the_patient(page, tmp_path):
    made = stacks.ct(ImageOrientationPatient=[0, 1, 0, 0, 0, -1])
    shown, _ = opened(page, tmp_path, made)
    assert [shown.text(f"[data-edge={side}]") for side in ("left", "right", "top", "bottom")] == ["A", "P", "S", "I"]


def test_without_an_orientation_there_are_neither_letters_nor_places(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.dataset(stacks.values("u2", 0, 999)))
    assert [shown.text(f"[data-edge={side}]") for side in ("left", "right", "top", "bottom")] == [""] * 4
    hover(shown, (0, 0))
    text, data = reading(shown)
    assert text.endswith(" -") and "mm" not in text and "place" not in data


# Through the slices

def test_keys_and_wheel_go_through_the_slices(page, tmp_path):
    shown, paths = opened(page, tmp_path, *(stacks.ct(number) for number in range(25)))
    for key, index in (
        (Keys.ARROW_DOWN, 1),
        (Keys.PAGE_DOWN, 11),
        (Keys.ARROW_UP, 10),
        (Keys.END, 24),
        (Keys.ARROW_DOWN, 24),
        (Keys.PAGE_UP, 14),
        (Keys.HOME, 0),
    ):
        press(shown, key)
        wait_ready(shown, index)
        assert shown.text("[data-role=slice-text]") == f"{index + 1} of 25"
        assert shown.data(PICTURE, "file") == str(index)
    origin = ScrollOrigin.from_element(shown.find(STAGE))
    ActionChains(shown.driver).scroll_from_origin(origin, 0, 120).perform()
    wait_ready(shown, 1)
    values = stacks.modality_values(paths[1])
    low, high = int(values.min()), int(values.max())
    expect_levels(picture(shown), (values - low) * 255.0 / (high - low), ROUNDED)


def test_several_volumes_have_a_second_slider(page, tmp_path):
    made = []
    for time in range(3):
        for number in range(4):
            each = stacks.ct(number, "dynamic", AcquisitionTime=f"1200{10 * time:02}", AcquisitionNumber=time + 1)
            each.TemporalPositionIdentifier = time + 1
            each.NumberOfTemporalPositions = 3
            each.InstanceNumber = 4 * time + number + 1
            made.append(each)
    shown, _ = opened(page, tmp_path, *made)
    assert shown.find("[data-role=time]").is_displayed()
    assert shown.text("[data-role=slice-text]") == "1 of 4" and shown.text("[data-role=time-text]") == "1 of 3"
    press(shown, ".", Keys.ARROW_DOWN, ".")
    wait_ready(shown, 9)
    assert shown.text("[data-role=slice-text]") == "2 of 4" and shown.text("[data-role=time-text]") == "3 of 3"
    press(shown, Keys.END, Keys.ARROW_DOWN, ",")
    wait_ready(shown, 7)


def test_a_film_goes_on_until_it_is_stopped(page, tmp_path):
    shown, _ = opened(page, tmp_path, *(stacks.ct(number) for number in range(4)))
    press(shown, Keys.SPACE)
    for index in ("1", "3", "0"):
        shown.wait(lambda: shown.data(PICTURE, "index") == index, f"slice {index} of the film")
    shown.click("[data-action=cine]")
    assert shown.find("[data-action=cine]").get_attribute("aria-pressed") == "false"


def test_a_frame_that_cannot_be_read_shows_why_and_scrolling_goes_on(page, tmp_path):
    made = [stacks.ct(number) for number in range(3)]
    made[1].PixelData = made[1].PixelData[:1000]
    shown, _ = opened(page, tmp_path, *made)
    states = []
    count = int(shown.text("[data-role=slice-text]").split(" of ")[1])
    for _ in range(count):
        shown.wait(lambda: shown.data(STAGE, "state") in ("ready", "failed"), "an answer")
        states.append(shown.data(STAGE, "state"))
        if states[-1] == "failed":
            message = shown.find("[data-role=message]")
            assert message.is_displayed() and "fewer pixels" in message.text
            assert message.get_attribute("role") == "status"
        press(shown, Keys.ARROW_DOWN)
    assert sorted(states) == ["failed", "ready", "ready"]


def test_a_file_without_a_picture_says_so_and_shows_no_window(page, tmp_path):
    made = stacks.ct()
    for keyword in ("PixelData", "Rows", "Columns"):
        delattr(made, keyword)
    stacks.write(tmp_path, made)
    shown = page(tmp_path)
    shown.wait(lambda: shown.data(STAGE, "state") == "failed", "the sentence")
    assert shown.find("[data-role=message]").text.endswith(".")
    assert not shown.find("[data-role=centre]").is_displayed()
    assert shown.data(PICTURE, "window") is None


# Zoom, moving and overlays

def test_zoom_keeps_what_is_under_the_pointer_and_a_drag_moves_it(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    fit = Fit(shown, stacks.ROWS, stacks.COLUMNS, stacks.SPACING)
    at = fit.place(8, 12)
    origin = ScrollOrigin.from_element(shown.find(STAGE), *at)
    hover(shown, at)
    before = reading(shown)[1]
    assert (before["row"], before["column"]) == ("8", "12")
    actions = ActionChains(shown.driver)
    actions.key_down(Keys.CONTROL).scroll_from_origin(origin, 0, -300).key_up(Keys.CONTROL).perform()
    assert reading(shown)[1] == before
    far = (at[0] + round(fit.across * 2), at[1])  # would be two columns further without the zoom
    hover(shown, far)
    assert reading(shown)[1]["column"] == "13"
    drag(shown, at, (at[0] + 40, at[1] + 30), "middle")
    hover(shown, (at[0] + 40, at[1] + 30))
    assert reading(shown)[1] == before
    press(shown, "0")
    hover(shown, at)
    assert reading(shown)[1] == before
    hover(shown, fit.place(stacks.ROWS - 1, 0))
    assert (reading(shown)[1]["row"], reading(shown)[1]["column"]) == (str(stacks.ROWS - 1), "0")


def test_overlays_are_drawn_over_the_picture_when_they_are_wanted(page, tmp_path):
    plane = np.zeros((stacks.ROWS, stacks.COLUMNS), bool)
    plane[3:9, 5:11] = True
    plane[20, :] = True
    shown, _ = opened(page, tmp_path, stacks.with_overlay(stacks.ct(), plane))
    before = picture(shown)
    button = shown.find("[data-action=overlays]")
    shown.wait(button.is_displayed, "the button of the overlays")
    button.click()
    drawn = shown.wait(
        lambda: shown.script(
            """
            const canvas = document.querySelector("[data-role=overlays]");
            const context = canvas.getContext("2d");
            const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
            return data.some(each => each) ? [canvas.height, canvas.width, Array.from(data)] : null;
            """
        ),
        "overlays",
    )
    found = np.array(drawn[2]).reshape(drawn[0], drawn[1], 4)[..., 3] == 255
    assert np.array_equal(found, plane)
    assert np.array_equal(picture(shown), before), "the values stay as they are"


def test_a_file_without_overlays_has_no_button_for_them(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    click(shown, (0, 0))
    asked = "return performance.getEntriesByType('resource').some(each => each.name.includes('/overlays'))"
    shown.wait(lambda: shown.script(asked), "the question for overlays")
    assert not shown.find("[data-action=overlays]").is_displayed()
