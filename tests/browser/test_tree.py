"""The tree of patients, studies and series."""

import time

import pytest
import studies
from conftest import note
from selenium.webdriver.common.keys import Keys


@pytest.fixture
def page(wide_page):
    return wide_page


def row_with(page, text):
    rows = "#tree [role=treeitem]"
    return page.wait(lambda: next((row.text for row in page.all(rows) if text in row.text), None), f"a row {text!r}")


def names_of_series(page):
    return page.texts("#tree [data-series] .description")


def active_text(page):
    return page.script(
        "const tree = document.getElementById('tree');"
        "return document.getElementById(tree.getAttribute('aria-activedescendant')).textContent"
    )


def test_rows_say_what_the_folder_holds(mixed_page, mixed):
    shown = mixed_page
    assert "2 patients, 2 studies, 9 series" in shown.text("#contents")
    assert row_with(shown, "Doe, Jane").splitlines() == ["Doe, Jane", "ID P-1", "8 series"]
    assert row_with(shown, "Head and neck").splitlines() == ["2024-01-31", "Head and neck"]
    size = sum(file.stat().st_size for file in (mixed / "series1").iterdir())
    lines = row_with(shown, "even").splitlines()
    assert lines[:2] == ["CT #1 even", f"20 files, {size / 1000:.0f} KB"]


def test_first_series_is_chosen(page, mixed):
    shown = page(mixed)
    chosen = shown.all("#tree [aria-selected=true]")
    assert [row.get_attribute("data-series") for row in chosen] == [shown.data("html", "series")]
    assert "even" in chosen[0].text and "even" in shown.text("#shown")


def test_rows_are_sorted_by_name_date_and_number(page, tmp_path):
    for number, (name, date, series) in enumerate(
        [("B^Second", "20240102", 10), ("B^Second", "20240102", 9), ("B^Second", "20231231", 1), ("A^First", None, 2)]
    ):
        made = studies.instance(number, 1, studies.disc(8, 8, 3), PatientName=name, StudyDate=date, SeriesNumber=series)
        made.PatientID, made.StudyInstanceUID = name, f"{studies.ROOT}.{name[0] == 'A':d}.{(date or '0')[:4]}"
        studies.save(made, tmp_path, f"{number}.dcm")
    shown = page(tmp_path)
    assert shown.texts("#tree .title") == [
        *("A, First", "No date", "CT #2 No description"),
        *("B, Second", "2023-12-31", "CT #1 No description"),
        *("2024-01-02", "CT #9 No description", "CT #10 No description"),
    ]
    assert "#2" in shown.find("#tree [aria-selected=true]").text


def test_series_that_is_chosen_is_the_one_that_is_shown(mixed_page):
    shown = mixed_page
    assert shown.choose("tilted") == "ready"
    assert "tilted" in shown.text("#shown")
    assert "tilted" in shown.find("#tree [aria-selected=true]").text


def test_verdicts_come_for_the_series_in_view(mixed_page):
    shown = mixed_page
    for name, verdict in (("even", "fit"), ("tilted", "remarks"), ("gap and double", "errors"), ("without", "errors")):
        shown.wait(
            lambda: shown.script(
                "const row = [...document.querySelectorAll('#tree [data-series]')]"
                ".find(each => each.textContent.includes(arguments[0]));"
                "return row?.querySelector('.badge')?.dataset.verdict === arguments[1]",
                name,
                verdict,
            ),
            f"the verdict {verdict} on {name!r}",
        )


def test_thumbnails_show_pictures_or_say_that_there_is_none(mixed_page):
    shown = mixed_page
    state = "return [...document.querySelectorAll('#tree .thumbnail')].map(each => each.dataset.picture)"
    states = shown.wait(lambda: (all_ := shown.script(state)) and "waiting" not in all_ and all_, "all thumbnails")
    assert sorted(set(states)) == ["none", "shown"]
    without = next(row for row in shown.all("#tree [data-series]") if "without pixels" in row.text)
    assert "No\npicture" in without.text or "No picture" in without.text
    images = "[...document.querySelectorAll('#tree .thumbnail img')]"
    widths = shown.script(f"return {images}.map(each => each.naturalWidth)")
    assert len(widths) == 8 and min(widths) > 0


def test_search_finds_what_rows_show(mixed_page):
    shown = mixed_page
    for query, names in (
        ("tilted", ["tilted"]),
        ("GAP double", ["gap and double"]),
        ("#4", ["colour"]),
        ("p-2", [studies.MARKUP]),
        ("jane 2024-01-31 20 139", ["even"]),
        ("no such thing", []),
    ):
        shown.search(query)
        assert names_of_series(shown) == names
        assert shown.text("#hits") == f"{len(names)} of 9 series"
    shown.find("#search").send_keys(Keys.ESCAPE)
    shown.wait(lambda: len(names_of_series(shown)) == 9, "all series")
    assert not shown.find("#hits").is_displayed()


def test_markup_in_names_is_text(mixed_page):
    shown = mixed_page
    titles = shown.texts("#tree .level-1 .title")
    assert studies.MARKUP in titles
    assert studies.MARKUP in names_of_series(shown)
    assert studies.MARKUP in shown.texts("#tree .level-2 .facts")
    shown.choose(studies.MARKUP)
    assert studies.MARKUP in shown.text("#shown")
    assert shown.script("return document.querySelectorAll('[onerror]').length") == 0


def test_files_that_are_not_shown_are_counted_with_their_reasons(page, mixed):
    shown = page(mixed)
    assert "1 file is no DICOM and not shown." in shown.text("#left-out")
    assert "1 file cannot be read and is not shown." in shown.text("#left-out summary")
    shown.click("#left-out summary")
    reason = shown.find("#left-out li")
    assert reason.is_displayed() and reason.text.startswith("1 file: ") and len(reason.text) > len("1 file: ")


def test_keys_walk_through_the_tree(page, mixed):
    shown = page(mixed)
    shown.tab_to("tree")
    shown.keys(Keys.HOME)
    assert "Doe, Jane" in active_text(shown)
    shown.keys(Keys.ARROW_LEFT)
    row = shown.find("#tree .active")
    assert row.get_attribute("aria-expanded") == "false"
    assert len(names_of_series(shown)) == 1
    shown.keys(Keys.ARROW_RIGHT)
    assert shown.find("#tree .active").get_attribute("aria-expanded") == "true"
    shown.keys(Keys.ARROW_RIGHT)
    assert "Head and neck" in active_text(shown)
    shown.keys(Keys.ARROW_DOWN, Keys.ARROW_DOWN)
    assert "tilted" in active_text(shown)
    shown.keys(Keys.ENTER)
    shown.wait(lambda: "tilted" in shown.text("#shown"), "the choice")
    shown.keys(Keys.ARROW_LEFT)
    assert "Head and neck" in active_text(shown)
    shown.keys(Keys.END)
    assert studies.MARKUP in active_text(shown)
    shown.keys("g", "a")
    assert "gap and double" in active_text(shown)


def test_ten_thousand_series_have_few_elements(page, tmp_path):
    studies.many_series(tmp_path)
    begin = time.monotonic()
    shown = page(tmp_path)
    note(f"10,000 series, from the start of the command until the first is shown: {time.monotonic() - begin:.2f} s")
    assert "10,000 series" in shown.text("#contents")
    begin = time.monotonic()
    shown.search("series-9876")
    note(f"a search in them: {time.monotonic() - begin:.2f} s")
    assert names_of_series(shown) == ["series-9876"]
    shown.search("series")
    assert shown.text("#hits") == "10,000 of 10,000 series"
    shown.tab_to("tree")
    shown.keys(Keys.END)
    assert "series-" in active_text(shown)
    assert len(shown.all("#tree [role=treeitem]")) < 100
    assert shown.find("#tree .active").is_displayed()
