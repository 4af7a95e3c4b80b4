"""Lengths, angles and the values of regions are those that numpy finds in the files."""

import numpy as np
import pytest
import stacks
from selenium.webdriver.common.keys import Keys
from stackpage import STAGE, Fit, click, drag, is_drawn, picture, press, wait_ready

NO_DISTANCES = "The file says nothing about distances in the patient."
MIDDLE = (stacks.ROWS // 2, stacks.COLUMNS // 2)  # where the cross-hair begins: row and column from 0


def opened(page, folder, *datasets):
    paths = stacks.write(folder, *datasets)
    shown = page(folder)
    wait_ready(shown)
    return shown, paths


def go(page, start, end):
    """Moves the cross-hair by keys between pixels, row and column."""
    down, right = end[0] - start[0], end[1] - start[1]
    keys = [Keys.ARROW_DOWN if down > 0 else Keys.ARROW_UP] * abs(down)
    press(page, *keys, *[Keys.ARROW_RIGHT if right > 0 else Keys.ARROW_LEFT] * abs(right))


def measure(page, key, *pixels):
    """Measures by the keyboard between the centres of pixels, row and column from 0."""
    press(page, key, Keys.ARROW_UP)  # the first key shows the cross-hair in the middle
    place = MIDDLE
    for pixel in pixels:
        go(page, place, pixel)
        place = pixel
        press(page, Keys.ENTER)
    is_drawn(page)


def measured(page):
    """The number of the chosen measurement and its unit."""
    return float(page.data("[data-role=measured]", "value")), page.data("[data-role=measured]", "unit")


def statistics(page):
    cells = page.script(
        "return [...document.querySelectorAll('[data-role=statistics] td')].map(each => [each.dataset.name, "
        "Number(each.dataset.value), each.textContent])"
    )
    return {name: value for name, value, _ in cells}, {name: text for name, _, text in cells}


def expect_statistics(page, values, area):
    found, _ = statistics(page)
    assert found["Pixels"] == values.size
    assert found["Area of them"] == pytest.approx(area * values.size)
    assert found["Mean"] == pytest.approx(values.mean(), rel=1e-6)
    assert found["Standard deviation"] == pytest.approx(values.std(), rel=1e-6)
    assert found["Minimum"] == pytest.approx(values.min(), rel=1e-6)
    assert found["Maximum"] == pytest.approx(values.max(), rel=1e-6)


def test_a_length_is_in_mm_whatever_the_spacing(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    for one, other in (((5, 7), (5, 27)), ((5, 7), (25, 7)), ((3, 40), (20, 8))):
        measure(shown, "l", one, other)
        wanted = np.linalg.norm(np.subtract(one, other) * stacks.SPACING)
        assert measured(shown) == (pytest.approx(wanted), "mm")
        assert f"{wanted:.1f} mm" in shown.text("[data-role=measured]")
    assert len(shown.all(".stack-measures li")) == 3


def test_an_angle_is_that_in_the_patient(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    for one, corner, other in (((2, 2), (20, 10), (6, 40)), ((15, 5), (15, 20), (15, 40)), ((2, 9), (12, 9), (12, 30))):
        measure(shown, "a", one, corner, other)
        first = np.subtract(one, corner) * stacks.SPACING
        second = np.subtract(other, corner) * stacks.SPACING
        cosine = first @ second / np.linalg.norm(first) / np.linalg.norm(second)
        assert measured(shown) == (pytest.approx(np.degrees(np.arccos(cosine)), abs=1e-5), "°")


def test_without_distances_lengths_are_in_pixels_and_a_sentence_says_why(page, tmp_path):
    made = stacks.dataset(stacks.values("u2", 0, 999))
    shown, _ = opened(page, tmp_path, made)
    measure(shown, "l", (5, 7), (25, 17))
    assert measured(shown) == (pytest.approx(np.hypot(20, 10)), "pixels")
    assert NO_DISTANCES in shown.text(".stack-details")
    measure(shown, "b", (5, 7), (9, 9))
    assert statistics(shown)[1]["Area of them"].endswith("pixels")
    assert NO_DISTANCES in shown.text(".stack-details")


REGIONS = {"ct": (stacks.ct, "HU"), "pet": (stacks.pet, "BQML")}


@pytest.mark.parametrize("name", REGIONS)
def test_a_rectangle_has_the_statistics_of_its_pixels(page, tmp_path, name):
    make, unit = REGIONS[name]
    shown, paths = opened(page, tmp_path, make())
    values = stacks.modality_values(paths[0]).astype(float)
    for (top, left), (bottom, right) in (((4, 6), (12, 30)), ((29, 43), (0, 0)), ((10, 10), (10, 10))):
        measure(shown, "b", (top, left), (bottom, right))
        rows = slice(min(top, bottom), max(top, bottom) + 1)
        inside = values[rows, min(left, right) : max(left, right) + 1]
        expect_statistics(shown, inside, stacks.SPACING[0] * stacks.SPACING[1])
        assert statistics(shown)[1]["Mean"].endswith(f" {unit}")


def test_an_ellipse_has_the_statistics_of_its_pixels(page, tmp_path):
    shown, paths = opened(page, tmp_path, stacks.ct())
    values = stacks.modality_values(paths[0]).astype(float)
    (top, left), (bottom, right) = (4, 6), (22, 37)
    measure(shown, "e", (top, left), (bottom, right))
    row, column = np.indices(values.shape)
    across = (column - (left + right) / 2) / ((right - left) / 2)
    down = (row - (top + bottom) / 2) / ((bottom - top) / 2)
    inside = values[across**2 + down**2 <= 1 + 1e-9]
    expect_statistics(shown, inside, stacks.SPACING[0] * stacks.SPACING[1])


def test_a_histogram_counts_the_values_of_a_region(page, tmp_path):
    shown, paths = opened(page, tmp_path, stacks.ct())
    values = stacks.modality_values(paths[0])[3:20, 5:31]
    measure(shown, "b", (3, 5), (19, 30))
    counts = [int(each) for each in shown.data(".stack-histogram svg", "counts").split()]
    assert sum(counts) == values.size
    low, high = int(values.min()), int(values.max())
    step = -(-(high - low + 1) // 48)  # whole, so that each bin has as many values
    edges = low - 0.5 + step * np.arange(len(counts) + 1)
    assert counts == list(np.histogram(values, edges)[0])
    assert edges[-2] < high < edges[-1]


def test_regions_in_colour_have_an_area_and_no_mean(page, tmp_path):
    array = np.random.default_rng(80).integers(0, 256, (stacks.ROWS, stacks.COLUMNS, 3)).astype("u1")
    shown, _ = opened(page, tmp_path, stacks.dataset(array))
    measure(shown, "b", (4, 6), (12, 30))
    found, _ = statistics(shown)
    assert found == {"Pixels": 9 * 25, "Area of them": 9 * 25}
    assert "Colour has no values" in shown.text(".stack-details")


def test_the_pointer_measures_by_a_drag_or_by_clicks(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    fit = Fit(shown, stacks.ROWS, stacks.COLUMNS, stacks.SPACING)
    one, other = (6, 8), (21, 33)
    wanted = np.linalg.norm(np.subtract(one, other) * stacks.SPACING)
    screen = stacks.SPACING[0] / fit.down  # mm of a pixel of the screen, to which the pointer is rounded
    shown.click("[data-tool=length]")
    assert shown.find("[data-tool=length]").get_attribute("aria-pressed") == "true"
    drag(shown, fit.place(*one), fit.place(*other))
    is_drawn(shown)
    assert measured(shown) == (pytest.approx(wanted, abs=2 * screen), "mm")
    fit = Fit(shown, stacks.ROWS, stacks.COLUMNS, stacks.SPACING)  # the list has come beside it
    click(shown, fit.place(*one))
    click(shown, fit.place(*other))
    is_drawn(shown)
    assert len(shown.all(".stack-measures li")) == 2
    assert measured(shown) == (pytest.approx(wanted, abs=2 * screen), "mm")
    shown.click("[data-tool=angle]")
    for place in ((2, 2), (20, 10), (6, 40)):
        click(shown, fit.place(*place))
    is_drawn(shown)
    assert measured(shown)[1] == "°"


def test_measurements_belong_to_their_slice_and_can_be_removed(page, tmp_path):
    shown, _ = opened(page, tmp_path, *(stacks.ct(number) for number in range(3)))
    before = picture(shown)
    measure(shown, "l", (5, 7), (5, 27))
    assert len(shown.all(".stack-drawing [data-measurement]")) == 1
    assert np.array_equal(picture(shown), before), "the values stay as they are"
    press(shown, "s", Keys.ARROW_DOWN)
    wait_ready(shown, 1)
    is_drawn(shown)
    assert shown.all(".stack-drawing [data-measurement]") == []
    assert "on slice 1" in shown.text(".stack-measures li")
    measure(shown, "b", (5, 7), (9, 9))
    press(shown, Keys.DELETE)
    assert len(shown.all(".stack-measures li")) == 1
    shown.click(".stack-measures li button")
    wait_ready(shown, 0)
    is_drawn(shown)
    assert len(shown.all(".stack-drawing [data-measurement]")) == 1
    shown.click(".stack-measures li button[aria-label^=Remove]")
    is_drawn(shown)
    assert shown.all(".stack-drawing [data-measurement]") == []
    assert not shown.find(".stack-measures").is_displayed()


def test_escape_gives_a_measurement_up(page, tmp_path):
    shown, _ = opened(page, tmp_path, stacks.ct())
    press(shown, "l", Keys.ENTER, Keys.ARROW_LEFT)
    is_drawn(shown)
    assert len(shown.all(".stack-drawing .stack-draft")) == 1
    press(shown, Keys.ESCAPE)
    is_drawn(shown)
    assert shown.all(".stack-drawing .stack-draft") == []
    assert shown.data(STAGE, "state") == "ready"
