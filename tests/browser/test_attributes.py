"""The table of the attributes of a file."""

import pydicom
import pytest
import studies
from selenium.webdriver.common.keys import Keys


@pytest.fixture
def table(kept_page, mixed):
    """The page with all attributes of the series "attributes", and none of them in detail."""
    shown = kept_page(mixed)
    if "attributes" not in shown.text("#shown"):
        shown.choose("attributes")
    shown.show("attributes")
    wait_read(shown)
    if shown.find("#attribute-detail").is_displayed():
        shown.click("#attribute-detail button")
    shown.find("#attribute-search").send_keys(Keys.ESCAPE)
    shown.wait(lambda: shown.data("#attributes", "query") == "", "all attributes")
    return shown


def wait_read(page):
    page.wait(
        lambda: page.data("#attributes", "state") == "ready"
        and page.data("#attributes", "series") == page.data("html", "series"),
        "the attributes",
    )


def find(page, text, hits):
    """Searches, and waits until so many are found."""
    box = page.find("#attribute-search")
    box.send_keys(Keys.CONTROL, "a")
    box.send_keys(text)
    page.wait(lambda: page.data("#attributes", "query") == text, f"the search for {text!r}")
    assert page.text("#attribute-hits") == f"{hits} found"


def row_of(page, tag):
    """The texts of the cells of the row with this tag."""
    return page.script(
        "const row = document.querySelector(`#attribute-table [data-tag='${arguments[0]}']`);"
        "return row && [...row.children].map(each => each.textContent)",
        tag,
    )


def tags(page):
    return page.script(
        "return [...document.querySelectorAll('#attribute-table .attribute.row')].map(each => each.dataset.tag ?? '')"
    )


def test_values_are_those_of_the_file(table, mixed):
    made = pydicom.dcmread(mixed / "series7" / "1.dcm")
    for keyword in ("PatientName", "StudyDate", "SeriesDescription", "SOPInstanceUID", "Rows"):
        element = made[keyword]
        tag = f"({element.tag.group:04X},{element.tag.element:04X})"
        find(table, tag, 1)
        assert row_of(table, tag)[:4] == [tag, keyword, element.VR, str(element.value)]


def test_table_counts_all_attributes_of_the_file(table, mixed):
    made = pydicom.dcmread(mixed / "series7" / "1.dcm")
    count = len(made) + len(made.file_meta)
    assert table.text("#attribute-hits") == f"{count} attributes"
    assert table.find("#attribute-table").get_attribute("aria-rowcount") == str(count + 1)


def test_rows_say_what_a_deidentification_does(table):
    find(table, "(0020,0011)", 1)
    assert row_of(table, "(0020,0011)")[4] == "kept"
    find(table, "(0008,0018)", 1)
    assert row_of(table, "(0008,0018)")[4] == "new UID"
    find(table, "(0010,4000)", 1)
    assert row_of(table, "(0010,4000)")[4] == "removed"


def test_private_elements_have_the_name_of_their_creator(table):
    find(table, "private value", 1)
    assert row_of(table, "(0011,1001)")[:4] == ["(0011,1001)", "[A MAKER]", "LO", "private value"]


def test_markup_in_values_is_text(table):
    find(table, "onerror", 1)
    assert row_of(table, "(0020,4000)")[3] == studies.MARKUP
    assert table.script("return document.querySelectorAll('[onerror]').length") == 0


def test_long_value_is_cut_and_can_be_seen_whole(table):
    find(table, "(0010,4000)", 1)
    assert "…" in row_of(table, "(0010,4000)")[3]
    table.click("#attribute-table .whole")
    assert table.text("#attribute-value") == "x" * 2999 + "!"
    table.click("#attribute-detail button")
    assert not table.find("#attribute-detail").is_displayed()


def test_sequences_open_and_close(table):
    find(table, "contentsequence", 1)
    table.click("#attribute-table [data-tag='(0040,A730)'] .fold")
    table.wait(lambda: len(tags(table)) > 1, "the items")
    assert [text for text in table.texts("#attribute-table .item .tag")][:2] == ["Item 1", "Item 2"]
    assert tags(table).count("(0008,0100)") == 2
    table.click("#attribute-table [data-tag='(0040,A730)'] .fold")
    table.wait(lambda: tags(table) == ["(0040,A730)"], "the sequence alone")


def test_search_opens_what_holds_a_hit(table):
    find(table, "innermost treasure", 2)
    shown = tags(table)
    assert shown.count("(0008,0104)") == 2 and shown.count("(0040,A043)") == 2
    levels = table.script(
        "return [...document.querySelectorAll(\"[data-tag='(0008,0104)']\")]"
        ".map(each => each.getAttribute('aria-level'))"
    )
    assert levels == ["7", "3"]
    cut = table.script(
        "return [...document.querySelectorAll('#attribute-table .row .tag')]"
        ".some(each => each.scrollWidth > each.clientWidth)"
    )
    assert not cut
    table.find("#attribute-search").send_keys(Keys.ESCAPE)
    table.wait(lambda: "(0008,0104)" not in tags(table), "the folded table")


def test_table_follows_the_slice(page, mixed):
    shown = page(mixed)
    shown.choose("even")
    shown.show("attributes")
    wait_read(shown)
    find(shown, "(0020,0013)", 1)
    assert row_of(shown, "(0020,0013)")[3] == "1"
    shown.tab_to("places-slider")
    shown.keys(Keys.ARROW_UP, Keys.ARROW_UP)
    shown.wait(lambda: (row_of(shown, "(0020,0013)") or [""] * 4)[3] == "3", "the attributes of the third slice")


def test_fifty_thousand_attributes_have_few_elements(page, tmp_path):
    studies.many_attributes(tmp_path)
    shown = page(tmp_path)
    shown.show("attributes")
    wait_read(shown)
    assert len(tags(shown)) < 100
    find(shown, "item 249 place 99", 1)
    assert [text for text in shown.texts("#attribute-table .item .tag")] == ["Item 250"]
    find(shown, "place", "25,000")
    assert len(tags(shown)) < 100
    shown.tab_to("attribute-table")
    shown.keys(Keys.END)
    assert shown.find("#attribute-table .active").text.splitlines()[:4] == [
        "(0013,1063)",
        "[A MAKER]",
        "LO",
        "item 249 place 99",
    ]
