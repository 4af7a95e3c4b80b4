"""The verdict on the geometry in words, and the drawing of where slices lie."""

import re

import numpy as np
import pytest
import studies
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys


@pytest.fixture
def page(wide_page):
    return wide_page


def drawing(page, name):
    return page.data("#places-slider", name)


def verdict(page):
    return page.data("#verdict-words", "verdict")


def ticks(page):
    """The drawn slices: the two ends of each, x and y."""
    path = page.find("#places-slider .slices").get_attribute("d")
    numbers = [float(number) for number in re.findall(r"-?[\d.]+", path)]
    return np.array(numbers).reshape(-1, 2, 2)


def shown_caption(page):
    return page.text("#places-words .caption")


def test_even_stack_is_fit_and_evenly_drawn(mixed_page):
    shown = mixed_page
    assert shown.choose("even") == "ready"
    assert verdict(shown) == "fit" and "Fit for a volume" in shown.text("#verdict-words")
    assert [drawing(shown, name) for name in ("ticks", "gaps", "doubles", "tilt")] == ["20", "0", "0", None]
    assert "20 slices from 0 to 38 mm along their normal, 2 mm apart." in shown.text("#places-words")
    heights = ticks(shown)[:, 0, 1]
    assert np.all(np.diff(heights) < 0)  # upwards
    np.testing.assert_allclose(np.diff(heights), np.diff(heights)[0], atol=0.2)
    assert shown.texts("#places-slider .end") == ["S", "I"]


def test_gap_and_double_are_drawn_and_told(mixed_page):
    shown = mixed_page
    shown.choose("gap and double")
    assert verdict(shown) == "errors"
    kinds = shown.script("return [...document.querySelectorAll('.finding.is-error')].map(each => each.dataset.kind)")
    assert sorted(kinds) == ["duplicatePosition", "missingSlices"]
    assert shown.texts(".finding .rank") == ["Error", "Error"]
    assert [drawing(shown, name) for name in ("ticks", "gaps", "doubles")] == ["9", "1", "1"]
    assert shown.texts("#places-slider .label") == ["2 slices", "12 mm"]
    assert shown.texts("#places-words .go") == [
        "Gap: 12 mm between slices 6 and 7, usual 2 mm",
        "Double: slices 4, 5 lie at one position",
    ]
    # The gap of 12 mm is drawn six times as large as the usual distance.
    heights = sorted(ticks(shown)[:, 0, 1])
    steps = np.diff(heights)
    assert max(steps) / np.median(steps) == pytest.approx(6, rel=0.02)


def test_gantry_tilt_slants_the_slices(mixed_page):
    shown = mixed_page
    shown.choose("tilted")
    assert verdict(shown) == "remarks"
    assert float(drawing(shown, "tilt")) == pytest.approx(15, abs=0.01)
    assert "The stack is tilted by 15° (gantry tilt)" in shown.text("#places-words")
    for one, other in ticks(shown):
        rise, run = abs(other[1] - one[1]), abs(other[0] - one[0])
        assert np.degrees(np.arctan2(rise, run)) == pytest.approx(15, abs=0.2)


def test_slices_without_positions_are_told(mixed_page):
    shown = mixed_page
    shown.choose("no positions")
    assert "The slices have no position in the patient. Only their order is known." in shown.text("#places-words")
    assert shown.all("#places-slider") == []


def test_one_slice_without_neighbours(page, tmp_path):
    studies.ct_stack(tmp_path, 1, [12], SeriesDescription="single")
    shown = page(tmp_path)
    assert drawing(shown, "ticks") == "1"
    assert shown_caption(shown) == "Slice 1 of 1 at 12 mm"
    assert "One slice has no neighbours." in shown.text("#places-words")


def test_series_that_cannot_be_read_says_why(mixed_page):
    shown = mixed_page
    shown.choose("without pixels")
    assert verdict(shown) in ("errors", "refused")
    assert len(shown.text("#verdict-words")) > 40


def test_keys_on_the_drawing_go_from_slice_to_slice(page, mixed):
    shown = page(mixed)
    shown.choose("even")
    shown.tab_to("places-slider")
    for key, number in ((Keys.ARROW_UP, 2), (Keys.PAGE_UP, 12), (Keys.END, 20), (Keys.ARROW_DOWN, 19), (Keys.HOME, 1)):
        shown.keys(key)
        shown.wait(lambda: shown_caption(shown) == f"Slice {number} of 20 at {2 * (number - 1)} mm", f"slice {number}")
        assert shown.find("#places-slider").get_attribute("aria-valuenow") == str(number)


def test_click_on_a_tick_goes_to_its_slice(page, mixed):
    shown = page(mixed)
    shown.choose("even")
    svg = shown.find("#places-slider")
    ends = ticks(shown)[13]
    middle = ends.mean(axis=0)
    offset = middle - np.array([svg.size["width"], svg.size["height"]]) / 2
    ActionChains(shown.driver).move_to_element_with_offset(svg, int(offset[0]), int(round(offset[1]))).click().perform()
    shown.wait(lambda: shown_caption(shown) == "Slice 14 of 20 at 26 mm", "slice 14")


def test_gap_in_words_leads_to_the_slice_below_it(page, mixed):
    shown = page(mixed)
    shown.choose("gap and double")
    shown.click("#places-words .go[data-kind=gap]")
    shown.wait(lambda: shown_caption(shown) == "Slice 6 of 9 at 8 mm", "slice 6")


def put(folder, number, height, name=None, **attributes):
    """An axial slice of 20 x 20 at a height."""
    made = studies.instance(1, number, studies.disc(20, 20, 5), **attributes)
    made.ImageOrientationPatient, made.PixelSpacing = [1, 0, 0, 0, 1, 0], [1, 1]
    made.ImagePositionPatient = [0, 0, height]
    studies.save(made, folder, name or f"{number:04d}.dcm")


def test_volumes_at_the_same_places_are_no_doubles(page, tmp_path):
    for echo in (1, 2, 3):
        for number, height in enumerate(range(0, 12, 3), 1):
            put(tmp_path, 10 * echo + number, height, EchoTime=10 * echo)
    shown = page(tmp_path)
    assert [drawing(shown, name) for name in ("ticks", "gaps", "doubles")] == ["4", "0", "0"]
    assert shown_caption(shown) == "Slice 1 of 4, volume 1 of 3 at 0 mm"
    for slider in ("slice", "time"):
        shown.find(f"[data-role={slider}]").send_keys(Keys.END)
    shown.wait(lambda: shown_caption(shown) == "Slice 4 of 4, volume 3 of 3 at 9 mm", "the last slice")
    assert [drawing(shown, name) for name in ("ticks", "gaps", "doubles")] == ["4", "0", "0"]
    shown.tab_to("places-slider")
    shown.keys(Keys.HOME)
    shown.wait(lambda: shown_caption(shown) == "Slice 1 of 4, volume 3 of 3 at 0 mm", "the first slice of the volume")


def test_points_in_time_of_one_slice_are_no_doubles(page, tmp_path):
    for number in (1, 2, 3):
        put(tmp_path, number, 5, TemporalPositionIdentifier=number)
    shown = page(tmp_path)
    assert verdict(shown) != "errors"
    assert [drawing(shown, name) for name in ("ticks", "doubles")] == ["1", "0"]


def test_volume_of_several_is_chosen(page, tmp_path):
    for acquisition, heights in ((1, range(0, 12, 3)), (2, range(0, 18, 3))):
        for number, height in enumerate(heights, 1):
            put(tmp_path, 10 * acquisition + number, height, AcquisitionNumber=acquisition)
    shown = page(tmp_path)
    assert shown.texts("#choices option") == ["acq1 (4 × 20 × 20)", "acq2 (6 × 20 × 20)"]
    assert shown.find("#choices").is_displayed() and drawing(shown, "ticks") == "4"
    shown.find("#choices").send_keys("acq2")
    shown.wait(lambda: drawing(shown, "ticks") == "6", "the second volume")
    assert "6 slices from 0 to 15 mm along their normal, 3 mm apart." in shown.text("#places-words")


def test_slices_of_no_volume_can_be_seen(page, tmp_path):
    for number, height in enumerate(range(0, 12, 3), 1):
        put(tmp_path, number, height)
    put(tmp_path, 4, 9, "copy.dcm")
    shown = page(tmp_path)
    assert shown.texts("#choices option") == ["Volume 1 (4 × 20 × 20)", "Slices of no volume (1)"]
    assert verdict(shown) == "remarks"
    shown.find("#choices").send_keys("Slices")
    shown.wait(lambda: verdict(shown) == "none", "the copy")
    assert shown_caption(shown) == "Slice 1 of 1 at 9 mm"
    assert "These slices belong to no volume" in shown.text("#verdict-words")
    shown.show("volume")
    assert "These slices make no volume." in shown.text("#volume-note")


def test_slices_that_are_not_parallel_have_no_line(page, tmp_path):
    for number, height in enumerate(range(0, 12, 3), 1):
        put(tmp_path, number, height)
    made = studies.instance(1, 5, studies.disc(20, 20, 5))
    made.ImageOrientationPatient, made.PixelSpacing, made.ImagePositionPatient = [0, 1, 0, 0, 0, -1], [1, 1], [0, 0, 0]
    studies.save(made, tmp_path, "0005.dcm")
    shown = page(tmp_path)
    assert verdict(shown) == "errors"
    assert "The slices are not parallel" in shown.text("#places-words")
    assert shown.all("#places-slider") == []


def test_tick_leads_from_the_volume_to_the_slice(page, mixed):
    shown = page(mixed)
    shown.choose("even")
    shown.show("volume")
    shown.tab_to("places-slider")
    shown.keys(Keys.END)
    shown.wait(lambda: shown.find("#slices").is_displayed(), "the slices")
    shown.wait(lambda: shown_caption(shown) == "Slice 20 of 20 at 38 mm", "slice 20")


def test_two_thousand_slices_are_one_path(page, tmp_path):
    pixels = studies.disc(8, 8, 3)
    made = studies.instance(1, 1, pixels, SeriesDescription="long")
    made.ImageOrientationPatient, made.PixelSpacing = [1, 0, 0, 0, 1, 0], [1, 1]
    for number in range(2000):
        made.InstanceNumber = number + 1
        made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"{studies.ROOT}.1.{number + 1}"
        made.ImagePositionPatient = [0, 0, number + 5 * (number >= 1000)]
        studies.save(made, tmp_path, f"{number:04d}.dcm")
    shown = page(tmp_path)
    assert [drawing(shown, name) for name in ("ticks", "gaps")] == ["2000", "1"]
    assert len(ticks(shown)) == 2000
    assert len(shown.all("#places-slider *")) < 60
    assert shown.texts("#places-slider .label") == ["6 mm"]
