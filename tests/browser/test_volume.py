"""The volume of a series: values, positions, sides and pictures are those that the series was generated with."""

import base64
import os
import re

import numpy as np
import phantoms
import pytest
from phantoms import AXIAL, SAGITTAL, Grid, tilted, write_series
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

SIZE = (1024, 600)  # of the page: software draws a large rendering slowly
ROOT = "#volume-view"
CANVAS = ".volume-stage canvas"
HU = {"RescaleIntercept": -1024, "RescaleSlope": 2, "RescaleType": "HU"}
GRIDS = {
    "axial": Grid((7, 9, 11), AXIAL, (1.5, 2.0), 4.0, (12.5, -30.25, 101.0)),
    "tilted": Grid((7, 9, 11), tilted(AXIAL, 25), (1.5, 2.0), 4.0, (-12.5, 30.25, -101.0)),
    "sagittal": Grid((7, 9, 11), SAGITTAL, (1.5, 2.0), 4.0, (40.0, 3.0, -7.0)),
    "turned sagittal": Grid((7, 9, 11), tilted(SAGITTAL, -20, 2), (1.5, 2.0), 4.0, (1.0, 2.0, 3.0)),
}
# What a radiologist expects: the patient's right on the left of the picture, and the nose on the left
LETTERS = {
    "axial": {"left": "R", "right": "L", "top": "A", "bottom": "P"},
    "coronal": {"left": "R", "right": "L", "top": "S", "bottom": "I"},
    "sagittal": {"left": "A", "right": "P", "top": "S", "bottom": "I"},
}


def counted(shape, dtype="i2"):
    """Samples that tell their place."""
    slice_, row, column = np.indices(shape)
    return (600 + 100 * slice_ + 10 * row + column).astype(dtype)


SERIES = {}  # of all tests, because one server shows them: description -> what writes the series


def series(grid, samples, lost=None, **attributes):
    """Adds a series; the file of a lost slice is missing. Gives its description, by which the search finds it alone."""
    number = len(SERIES) + 1
    description = f"phantom-{number:02}"

    def write(folder):
        write_series(folder, grid, samples, number, description=description, **attributes)
        if lost is not None:
            os.remove(folder / f"{number:03}-{lost + 1:05}.dcm")

    SERIES[description] = write
    return description


@pytest.fixture(scope="module")
def folder(tmp_path_factory, servers):
    made = tmp_path_factory.mktemp("series")
    for description, write in SERIES.items():
        write(made / description)
    servers.share(made)
    return made


@pytest.fixture
def volume(kept_page, folder):
    """Shows the volume of a series, seen as in a new page: volume(series). The page may have shown others before; a new
    page takes seconds for its first volume."""

    def show(description, state="ready"):
        shown = kept_page(folder, *SIZE)
        shown.script("performance.setResourceTimingBufferSize(100000)")  # for what is loaded by all tests together
        see_as_in_a_new_page(shown)
        shown.choose(description)
        shown.show("volume")
        wait_for_state(shown, state)
        assert shown.script(HOW_SEEN, AT_FIRST) == AT_FIRST
        return shown

    return show


# Layout, side, plane that the keys move in, whether the picture is smooth, and colours
AT_FIRST = ["all", "radiological", "axial", True, "gray"]
HOW_SEEN = """
    const root = document.querySelector("#volume-view");
    const { layout, side, plane } = root?.dataset ?? {};
    return layout === undefined ? arguments[0] : [layout, side, plane, root.querySelector(".volume-smooth").checked,
                                                  root.querySelector(".volume-colours").value];
"""


def see_as_in_a_new_page(page):
    """Undoes with the controls what the last test has done. Window, frame, cross-hair and enlargement begin anew with
    each volume."""
    found = page.script(HOW_SEEN, AT_FIRST)
    if found != AT_FIRST:
        layout, side, plane, is_smooth, colours = found
        page.show("volume")
        if plane != "axial":
            press_layout(page, "axial")
            layout = "axial"
        if layout != "all":
            press_layout(page, "all")
        if side != "radiological":
            page.click(".volume-side")
        if not is_smooth:
            page.click(".volume-smooth")
        if colours != "gray":
            Select(page.find(".volume-colours")).select_by_visible_text("Grey")
        assert page.script(HOW_SEEN, None) == AT_FIRST
    page.show("slices")


def wait_for_state(page, state="ready"):
    page.wait(lambda: page.data(ROOT, "state") == state, f"the state {state!r} of the volume")
    settle(page)


def settle(page):
    """Until what was asked for is drawn."""
    page.driver.execute_async_script(
        "const next = requestAnimationFrame; const done = arguments[0]; next(() => next(() => next(done)))"
    )


def go_to(page, position):
    box = page.find(".volume-target")
    box.send_keys(Keys.CONTROL, "a")
    box.send_keys(" ".join(f"{part:.4f}" for part in position), Keys.ENTER)
    settle(page)


def position(page):
    return np.array([float(part) for part in page.data(ROOT, "position").split(",")])


def value(page):
    return [float(part) for part in page.data(ROOT, "value").split(",")]


def press_layout(page, layout):
    page.click(f"[data-layout='{layout}'].volume-layout")
    settle(page)


def set_field(page, selector, text):
    box = page.find(selector)
    box.send_keys(Keys.CONTROL, "a")
    box.send_keys(str(text), Keys.TAB)
    settle(page)


def set_window(page, centre, width):
    set_field(page, ".volume-centre", centre)
    set_field(page, ".volume-width", width)


def pixels(page, tile):
    """The picture of a tile: [row][column][red, green, blue]."""
    width, height, data = page.script(
        """
        const canvas = document.querySelector(arguments[0]);
        const tile = document.querySelector(`[data-tile=${arguments[1]}]`);
        const copy = document.createElement("canvas");
        [copy.width, copy.height] = [canvas.width, canvas.height];
        const context = copy.getContext("2d");
        context.drawImage(canvas, 0, 0);
        const box = [tile.offsetLeft, tile.offsetTop, tile.offsetWidth, tile.offsetHeight];
        const image = context.getImageData(...box);
        let text = "";
        for (let index = 0; index < image.data.length; index += 4) {
          text += String.fromCharCode(image.data[index], image.data[index + 1], image.data[index + 2]);
        }
        return [image.width, image.height, btoa(text)];
        """,
        CANVAS,
        tile,
    )
    return np.frombuffer(base64.b64decode(data), "u1").reshape(height, width, 3)


def cross(page, tile):
    """Where the lines of the cross-hair meet in a tile: across, down."""
    return page.script(
        """
        const lines = document.querySelectorAll(`[data-tile=${arguments[0]}] line`);
        return [Number(lines[2].getAttribute("x1")), Number(lines[0].getAttribute("y1"))];
        """,
        tile,
    )


def colour_at_cross(page, tile):
    across, down = cross(page, tile)
    return pixels(page, tile)[int(down), int(across)].astype(int)


def letters(page, tile):
    return {side: page.data(f"[data-tile='{tile}']", side) for side in ("left", "right", "top", "bottom")}


COUNTED = {name: series(grid, counted(grid.shape)) for name, grid in GRIDS.items()}
COUNTED_HU = {name: series(grid, counted(grid.shape), **HU) for name, grid in GRIDS.items()}


@pytest.mark.parametrize("name", GRIDS)
def test_value_and_position_of_a_voxel_are_those_it_was_made_with(volume, name):
    grid = GRIDS[name]
    samples = counted(grid.shape)
    page = volume(COUNTED_HU[name])
    assert page.data(ROOT, "unit") == "HU"
    for voxel in ((0, 0, 0), (6, 8, 10), (3, 4, 5), (1, 7, 2), (6, 0, 0), (0, 8, 0), (0, 0, 10)):
        place = grid.place(*voxel)
        go_to(page, place)
        assert position(page) == pytest.approx(place, abs=2e-3)
        assert value(page) == [2 * int(samples[voxel]) - 1024]
        text = page.text(".volume-reading")
        assert f"{2 * int(samples[voxel]) - 1024} HU" in text
        left, posterior, superior = re.search(r"L (-?[0-9]+\.[0-9]) P (-?[0-9]+\.[0-9]) S (\S+) mm", text).groups()
        assert [float(left), float(posterior), float(superior)] == pytest.approx(place, abs=0.051)


def test_a_point_between_voxels_belongs_to_the_nearest_and_none_outside(volume):
    grid = GRIDS["tilted"]
    page = volume(COUNTED_HU["tilted"])
    go_to(page, grid.place(2.4, 3.6, 6.4))
    assert position(page) == pytest.approx(grid.place(2, 4, 6), abs=2e-3)
    go_to(page, grid.place(2, 4, 11.6))
    assert page.find(".volume-target").get_attribute("aria-invalid") == "true"
    assert position(page) == pytest.approx(grid.place(2, 4, 6), abs=2e-3)


@pytest.mark.parametrize("name", ["axial", "sagittal"])
def test_letters_are_those_of_the_convention(volume, name):
    page = volume(COUNTED[name])
    for tile, expected in LETTERS.items():
        assert letters(page, tile) == expected
    assert page.text(".volume-side") == "Radiological"
    page.click(".volume-side")
    settle(page)
    assert page.text(".volume-side") == "Neurological"
    exchanged = {"left": "L", "right": "R"}
    assert letters(page, "axial") == {**LETTERS["axial"], **exchanged}
    assert letters(page, "coronal") == {**LETTERS["coronal"], **exchanged}
    assert letters(page, "sagittal") == LETTERS["sagittal"]


def test_letters_of_a_slanting_volume_name_both_directions_and_a_sentence_says_so(volume):
    # Columns run to the back and, by 25 degrees, to the head.
    page = volume(COUNTED["tilted"])
    assert letters(page, "axial") == {"left": "R", "right": "L", "top": "AI", "bottom": "PS"}
    assert letters(page, "sagittal") == {"left": "AI", "right": "PS", "top": "SA", "bottom": "IP"}
    assert "25.0°" in page.text(".volume-remarks")


BOX_CENTRE = np.array([20.0, -25.0, 22.0])  # left, in front, above


def box(directions):
    grid = Grid((40, 48, 44), directions, (3.0, 2.5), 3.5, (0, 0, 0))
    samples = np.full(grid.shape, 100, "i2")
    samples[(np.abs(grid.places() - BOX_CENTRE) < 8).all(-1)] = 1000
    return series(grid, samples)


BOXES = {"axial": box(AXIAL), "tilted": box(tilted(AXIAL, 15)), "sagittal": box(SAGITTAL)}


@pytest.mark.parametrize("orientation", BOXES)
def test_a_box_at_the_left_in_front_and_above_is_drawn_there(volume, orientation):
    page = volume(BOXES[orientation])
    go_to(page, BOX_CENTRE)
    set_window(page, 550, 200)
    expected = {"axial": (+1, -1), "coronal": (+1, -1), "sagittal": (-1, -1)}  # to the right, downwards
    for tile, signs in expected.items():
        assert side_of_box(page, tile) == signs
    # The cross-hair stands in the box, as it was sent there.
    for tile in expected:
        rows, columns = box_of(page, tile)
        assert cross(page, tile) == pytest.approx([columns.mean(), rows.mean()], abs=10)
    page.click(".volume-side")
    settle(page)
    assert side_of_box(page, "axial") == (-1, -1)
    assert side_of_box(page, "coronal") == (-1, -1)
    assert side_of_box(page, "sagittal") == (-1, -1)


def box_of(page, tile):
    return np.nonzero(pixels(page, tile)[..., 0] > 200)


def side_of_box(page, tile):
    """Where the bright pixels are: right (+1) or left, below (+1) or above the middle of the picture."""
    picture = pixels(page, tile)
    rows, columns = box_of(page, tile)
    assert len(rows) > 20
    return (
        int(np.sign(columns.mean() - picture.shape[1] / 2)),
        int(np.sign(rows.mean() - picture.shape[0] / 2)),
    )


@pytest.mark.parametrize("layout", ["all", "coronal"])
def test_a_click_goes_to_the_voxel_that_is_drawn_there(volume, layout):
    page = volume(BOXES["tilted"])
    press_layout(page, layout)
    go_to(page, BOX_CENTRE)
    set_window(page, 550, 200)
    for tile in ["axial", "coronal", "sagittal"] if layout == "all" else [layout]:
        rows, columns = box_of(page, tile)
        go_to(page, BOX_CENTRE)
        # Another place of the same plane, from where the click has to lead back
        canvas = page.find(CANVAS)
        left, top = page.script(
            "const tile = document.querySelector(`[data-tile=${arguments[0]}]`);"
            "return [tile.offsetLeft, tile.offsetTop]",
            tile,
        )
        middle = (canvas.size["width"] / 2, canvas.size["height"] / 2)
        across, down = left + columns.mean() - middle[0], top + rows.mean() - middle[1]
        beside = left + columns.min() - 20 - middle[0]
        ActionChains(page.driver).move_to_element_with_offset(canvas, int(beside), int(down)).click().perform()
        settle(page)
        assert value(page) == [100]
        ActionChains(page.driver).move_to_element_with_offset(canvas, int(across), int(down)).click().perform()
        settle(page)
        assert value(page) == [1000]
        assert position(page) == pytest.approx(BOX_CENTRE, abs=6)


def test_keys_move_the_cross_hair_as_it_is_seen(volume):
    grid = GRIDS["axial"]
    page = volume(COUNTED["axial"])
    go_to(page, grid.place(3, 4, 5))
    page.script("document.querySelector(arguments[0]).focus()", CANVAS)

    def moved(*keys):
        before = position(page)
        page.keys(*keys)
        settle(page)
        return pytest.approx(position(page) - before, abs=1e-3)

    assert moved(Keys.ARROW_RIGHT) == [2.0, 0, 0]  # to the patient's left
    assert moved(Keys.ARROW_UP) == [0, -1.5, 0]  # to the front
    assert moved(Keys.PAGE_UP) == [0, 0, 4.0]  # to the head
    assert moved("2", Keys.ARROW_UP) == [0, 0, 4.0]  # in the coronal plane
    assert moved("3", Keys.ARROW_LEFT) == [0, -1.5, 0]  # in the sagittal plane: to the front
    assert page.data(ROOT, "plane") == "sagittal"
    assert value(page) == [600 + 100 * 5 + 10 * 2 + 6]
    page.click(".volume-side")
    page.script("document.querySelector(arguments[0]).focus()", CANVAS)
    assert moved("1", Keys.ARROW_RIGHT) == [-2.0, 0, 0]  # to the patient's right
    assert moved(Keys.SHIFT, Keys.ARROW_LEFT) == [10.0, 0, 0]  # ten voxels, but not out of the volume


def test_what_is_under_the_cross_hair_is_spoken(volume):
    grid = GRIDS["axial"]
    page = volume(COUNTED_HU["axial"])
    go_to(page, grid.place(1, 2, 3))
    page.wait(lambda: page.text(".volume-spoken") == page.text(".volume-reading"), "the spoken text")
    assert page.find(".volume-spoken").get_attribute("aria-live") == "polite"
    assert "422 HU" in page.text(".volume-spoken")


COARSE = Grid((3, 4, 5), AXIAL, (10.0, 10.0), 10.0)
COARSE_OF_8 = Grid((3, 4, 8), AXIAL, (10.0, 10.0), 10.0)


def with_row(grid, row, dtype="i2", channels=()):
    """Samples of 0, but for a row in the middle."""
    samples = np.zeros((*grid.shape, *channels), dtype)
    samples[1, 2] = row
    return samples


GREYS = series(
    COARSE_OF_8,
    with_row(COARSE_OF_8, [1024, 1034, 1044, 1064, 1084, 1094, 1104, 1124]),  # HU 0, 10, 20, 40, 60, 70, 80, 100
    RescaleIntercept=-1024,
    RescaleSlope=1,
    RescaleType="HU",
)


def test_black_and_white_are_the_ends_of_the_window(volume):
    page = volume(GREYS)
    page.click(".volume-smooth")
    press_layout(page, "axial")
    set_window(page, 40, 80)
    assert page.data(ROOT, "window") == "40,80"
    expected = [0, 32, 64, 128, 191, 223, 255, 255]
    for column, grey in enumerate(expected):
        go_to(page, COARSE_OF_8.place(1, 2, column))
        assert colour_at_cross(page, "axial") == pytest.approx([grey] * 3, abs=3)


STEPS = series(COARSE, with_row(COARSE, [0, 250, 500, 750, 1000]), modality="MR")


def test_other_colours_keep_the_window(volume):
    page = volume(STEPS)
    page.click(".volume-smooth")
    press_layout(page, "axial")
    set_window(page, 1000, 2000)
    Select(page.find(".volume-colours")).select_by_visible_text("Grey, inverted")
    settle(page)
    assert page.data(ROOT, "window") == "1000,2000"
    for column, grey in enumerate([255, 223, 191, 159, 128]):
        go_to(page, COARSE.place(1, 2, column))
        assert colour_at_cross(page, "axial") == pytest.approx([grey] * 3, abs=3)


def test_presets_of_hounsfield_units_are_the_commands_own(volume):
    page = volume(COUNTED_HU["axial"])
    presets = {"Lung": "-600,1500", "Bone": "300,1500", "Brain": "40,80", "Abdomen": "60,400", "Mediastinum": "40,400"}
    assert page.data(ROOT, "window") == presets["Mediastinum"]
    for name, window in presets.items():
        Select(page.find(".volume-preset")).select_by_visible_text(name)
        assert page.data(ROOT, "window") == window


COUNTED_MR = series(GRIDS["axial"], counted(GRIDS["axial"].shape), modality="MR")


def test_values_without_a_unit_have_no_preset_of_another_unit(volume):
    page = volume(COUNTED_MR)
    assert page.texts(".volume-preset option:enabled") == ["Automatic", "Full range"]
    Select(page.find(".volume-preset")).select_by_visible_text("Full range")
    centre, width = (float(part) for part in page.data(ROOT, "window").split(","))
    assert (centre - width / 2, centre + width / 2) == (600, 600 + 600 + 80 + 10)


SMALL_STEPS = series(
    COARSE,
    with_row(COARSE, [0, 250, 500, 750, 1000], "u2"),
    modality="MR",
    RescaleIntercept=0,
    RescaleSlope="1e-9",
    RescaleType="US",
)


def test_very_small_values_are_drawn_in_their_window(volume):
    page = volume(SMALL_STEPS)
    page.click(".volume-smooth")
    press_layout(page, "axial")
    set_window(page, 5e-7, 1e-6)
    for column, grey in enumerate([0, 64, 128, 191, 255]):
        go_to(page, COARSE.place(1, 2, column))
        assert value(page) == pytest.approx([column * 2.5e-7], rel=1e-6)
        assert colour_at_cross(page, "axial") == pytest.approx([grey] * 3, abs=3)


LAST_OF_32_BITS = np.full(COARSE.shape, 70000, "u4")
LAST_OF_32_BITS[2, 3, 4] = 300000
OF_32_BITS = series(COARSE, LAST_OF_32_BITS, modality="MR")


def test_no_voxel_of_32_bits_is_lost(volume):
    page = volume(OF_32_BITS)
    page.click(".volume-smooth")
    press_layout(page, "axial")
    set_window(page, 200000, 200000)
    go_to(page, COARSE.place(2, 3, 4))
    assert value(page) == [300000]
    assert colour_at_cross(page, "axial") == pytest.approx([255] * 3, abs=3)
    go_to(page, COARSE.place(2, 3, 3))
    assert value(page) == [70000]
    assert colour_at_cross(page, "axial") == pytest.approx([0] * 3, abs=3)


TIME_GRID = Grid((4, 5, 6), AXIAL, (10.0, 10.0), 10.0)
TIME_SAMPLES = np.stack([counted(TIME_GRID.shape, "u2") + 1000 * time for time in range(4)])
TIMES = series(
    TIME_GRID,
    TIME_SAMPLES,
    modality="PT",
    Units="BQML",
    RescaleIntercept=0,
    RescaleSlope="0.5",
    TemporalPositionIdentifier=lambda time, _: time + 1,
    NumberOfTemporalPositions=4,
    TriggerTime=lambda time, _: str(2500 * time),
)


def test_the_slider_shows_each_point_in_time(volume):
    page = volume(TIMES)
    press_layout(page, "axial")
    page.click(".volume-smooth")
    set_window(page, 1250, 2500)
    go_to(page, TIME_GRID.place(1, 2, 3))
    greys = []
    for time in range(4):
        assert page.data(ROOT, "frame") == str(time)
        assert value(page) == [0.5 * int(TIME_SAMPLES[time, 1, 2, 3])]
        assert f"{0.5 * int(TIME_SAMPLES[time, 1, 2, 3]):g} BQML" in page.text(".volume-reading")
        assert page.text(".volume-frame-text") == f"{time + 1} of 4, {2.5 * time:g} s"
        greys.append(int(colour_at_cross(page, "axial")[0]))
        page.find(".volume-frame").send_keys(Keys.ARROW_RIGHT)
        settle(page)
    expected = [255 * 0.5 * int(TIME_SAMPLES[time, 1, 2, 3]) / 2500 for time in range(4)]
    assert greys == pytest.approx(expected, abs=3)


COLOURS = [(250, 10, 20), (0, 200, 0), (5, 6, 7), (90, 80, 230), (255, 255, 255)]
IN_COLOUR = series(COARSE, with_row(COARSE, COLOURS, "u1", (3,)), modality="OT", colour=True)


def test_colour_is_drawn_as_it_is_and_has_no_window(volume):
    page = volume(IN_COLOUR)
    page.click(".volume-smooth")
    press_layout(page, "axial")
    assert not page.find(".volume-window").is_displayed()
    for column, colour in enumerate(COLOURS):
        go_to(page, COARSE.place(1, 2, column))
        assert value(page) == list(colour)
        assert colour_at_cross(page, "axial") == pytest.approx(colour, abs=2)
    assert "red 255, green 255, blue 255" in page.text(".volume-reading")


WITH_GAP = series(GRIDS["axial"], counted(GRIDS["axial"].shape), lost=3, **HU)


def test_a_volume_with_an_error_is_shown_only_when_somebody_insists(volume):
    shown = volume(WITH_GAP, "refused")
    assert not shown.find(".volume-body").is_displayed()
    assert "1 slice is missing" in shown.text(".volume-notes")
    shown.click(".volume-anyway")
    wait_for_state(shown)
    assert "1 slice is missing" in shown.text(".volume-remarks")


WITHOUT_POSITIONS = {"ImagePositionPatient": None, "ImageOrientationPatient": None}
COUNTED_ANYWHERE = series(GRIDS["axial"], counted(GRIDS["axial"].shape), **WITHOUT_POSITIONS)


def test_without_positions_there_are_no_sides(volume):
    page = volume(COUNTED_ANYWHERE)
    assert letters(page, "axial") == {"left": None, "right": None, "top": None, "bottom": None}
    assert page.data(ROOT, "position") == ""
    assert "position not known" in page.text(".volume-reading")
    assert "not known" in page.text(".volume-remarks")
    assert not page.find(".volume-side").is_displayed()


CORNER = np.full((3, 6, 8), 100, "i2")
CORNER[:, 0, 7] = 1000  # at the top and at the right of the slice
CORNER_ANYWHERE = series(Grid(CORNER.shape, AXIAL, (10.0, 10.0), 10.0), CORNER, **WITHOUT_POSITIONS)


def test_the_picture_without_positions_lies_as_the_slices_do(volume):
    page = volume(CORNER_ANYWHERE)
    press_layout(page, "axial")
    set_window(page, 550, 200)
    assert side_of_box(page, "axial") == (+1, -1)


LONGEST = 2048  # of the software renderer, and the least that WebGL 2 promises is smaller
LONG = series(Grid((2, 3, LONGEST + 1)), np.ones((2, 3, LONGEST + 1), "i2"))


def test_a_side_beyond_the_graphics_card_is_refused_with_a_sentence(volume):
    page = volume(LONG, "refused")
    assert f"{LONGEST + 1} voxels" in page.text(".volume-notes")


def test_a_volume_beyond_a_gibibyte_is_not_fetched(volume):
    shown = volume(COUNTED["axial"])
    shown.script(
        """
        window.fetched = window.fetch;
        window.asked = [];
        window.fetch = async (path, options) => {
          window.asked.push(String(path));
          const answer = await window.fetched(path, options);
          if (!/api\\/series\\/[0-9]+$/.test(String(path))) {
            return answer;
          }
          const series = await answer.json();
          series.volumes[0].shape = [1025, 1024, 512];
          return new Response(JSON.stringify(series), { headers: answer.headers });
        };
        """
    )
    shown.choose(COUNTED["axial"])
    shown.show("volume")
    wait_for_state(shown, "refused")
    asked = shown.script("window.fetch = window.fetched; return window.asked")
    assert "1 GiB" in shown.text(".volume-notes")
    assert [path for path in asked if "series" in path] and not [path for path in asked if "volumes" in path]


def test_everything_comes_from_the_server_of_the_page(volume):
    page = volume(COUNTED["axial"])
    press_layout(page, "rendering")
    names = page.script("return performance.getEntriesByType('resource').map(({ name }) => name)")
    assert any(name.endswith("volume.js") for name in names)
    assert [name for name in names if not name.startswith((page.address, "data:"))] == []


HEAD_GRID = Grid((30, 40, 40), AXIAL, (4.0, 4.0), 5.0)
HEAD = series(
    HEAD_GRID,
    (np.round(phantoms.hounsfield(HEAD_GRID.places())) + 1024).astype("i2"),
    RescaleIntercept=-1024,
    RescaleSlope=1,
    RescaleType="HU",
)


def test_the_rendering_shows_what_is_in_the_volume_and_turns(volume):
    page = volume(HEAD)
    press_layout(page, "rendering")
    before = pixels(page, "rendering")
    assert (before[..., 0] > 60).mean() > 0.05
    page.script("document.querySelector(arguments[0]).focus()", CANVAS)
    page.keys(*[Keys.ARROW_LEFT] * 6)
    settle(page)
    assert (pixels(page, "rendering") != before).any(-1).mean() > 0.02


# Pages of their own, because they show the first volume


def test_the_last_series_that_was_asked_for_is_shown(page, tmp_path):
    large, small = Grid((60, 128, 128)), GRIDS["axial"]
    write_series(tmp_path / "large", large, np.full(large.shape, 7, "i2"), 1, description="Large")
    write_series(tmp_path / "small", small, np.full(small.shape, 9, "i2"), 2, description="Small")
    shown = page(tmp_path, *SIZE)
    shown.choose("Large")
    shown.show("volume")
    shown.choose("Small")
    wait_for_state(shown)
    assert value(shown) == [9]
    shown.choose("Large")
    wait_for_state(shown)
    assert value(shown) == [7]


def test_a_browser_without_webgl_is_told_so(page, tmp_path):
    write_series(tmp_path, GRIDS["axial"], counted(GRIDS["axial"].shape))
    shown = page(tmp_path, *SIZE)
    shown.script(
        """
        const had = HTMLCanvasElement.prototype.getContext;
        HTMLCanvasElement.prototype.getContext = function (kind, ...rest) {
          return kind === "webgl2" ? null : had.call(this, kind, ...rest);
        };
        """
    )
    shown.choose("Phantom")
    shown.show("volume")
    wait_for_state(shown, "refused")
    assert "The browser has no WebGL 2" in shown.text(".volume-notes")
