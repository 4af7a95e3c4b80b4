"""The page for those who do not use a pointer, or do not see it."""

import os

import pytest
import studies
from selenium.webdriver.common.keys import Keys


def findings(page):
    """What axe-core finds of impact serious or critical."""
    if not page.script("return typeof window.axe === 'object'"):
        with open(os.environ["RADVEX_AXE"], encoding="utf-8") as file:
            page.script(file.read())
    found = page.driver.execute_async_script(
        "const done = arguments[arguments.length - 1];"
        "axe.run(document).then(result => done(result.violations), error => done(String(error)))"
    )
    assert isinstance(found, list), found
    return [
        (each["id"], each["impact"], [node["html"][:200] for node in each["nodes"][:5]])
        for each in found
        if each["impact"] in ("serious", "critical")
    ]


@pytest.mark.parametrize("scheme", ["light", "dark"])
@pytest.mark.parametrize("size", [(1600, 1000), (1024, 700)])
def test_no_serious_findings_in_any_tab(page, mixed, scheme, size):
    shown = page(mixed, *size, scheme)
    assert shown.script("return matchMedia('(prefers-color-scheme: dark)').matches") == (scheme == "dark")
    shown.choose("gap and double")
    assert findings(shown) == []
    shown.click("#left-out summary")
    for tab in ("volume", "attributes"):
        shown.show(tab)
        if tab == "attributes":
            shown.wait(lambda: shown.data("#attributes", "state") == "ready", "the attributes")
            shown.find("#attribute-search").send_keys("sequence")
            shown.tab_to("attribute-table")
            shown.keys(Keys.ENTER)
        assert findings(shown) == []


def test_axe_finds_what_is_wrong(page, mixed):
    """The check itself can fail."""
    shown = page(mixed)
    shown.script("document.getElementById('search').removeAttribute('aria-label');"
                 "document.getElementById('search').removeAttribute('placeholder')")
    assert "label" in [each[0] for each in findings(shown)]


def test_theme_follows_the_system_and_the_button(page, mixed):
    ground = "return getComputedStyle(document.body).backgroundColor"
    shown = page(mixed)
    light = shown.script(ground)
    shown.prefer("dark")
    dark = shown.wait(lambda: (now := shown.script(ground)) != light and now, "the dark page")
    shown.wait(lambda: shown.text("#theme") == "Light colours", "the name of the button")
    shown.click("#theme")
    shown.wait(lambda: shown.script(ground) == light, "the light page")
    assert shown.text("#theme") == "Dark colours"
    shown.driver.refresh()
    shown.wait_read()
    assert shown.script(ground) == dark
    assert shown.script("return localStorage.length + sessionStorage.length") == 0


def test_series_tab_and_attribute_by_keys_only(page, mixed):
    shown = page(mixed)
    shown.tab_to("search")
    shown.keys("tilted", Keys.ARROW_DOWN)
    assert shown.focused() == "tree"
    shown.keys(Keys.ENTER)
    shown.wait(lambda: "tilted" in shown.text("#shown"), "the choice")
    shown.wait_read()
    shown.tab_to("tab-slices")
    shown.keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    assert shown.focused() == "tab-attributes"
    assert not shown.find("#attributes").is_displayed()
    shown.keys(Keys.ENTER)
    shown.wait(lambda: shown.data("#attributes", "state") == "ready", "the attributes")
    assert shown.find("#tab-attributes").get_attribute("aria-selected") == "true"
    shown.tab_to("attribute-search")
    shown.keys("PatientID", Keys.ENTER)
    assert shown.focused() == "attribute-table"
    shown.keys(Keys.ENTER)
    assert shown.text("#attribute-value") == "P-1"
    shown.tab_to("attribute-value")
    shown.keys(Keys.SHIFT + Keys.TAB)
    shown.keys(Keys.ENTER)
    assert not shown.find("#attribute-detail").is_displayed()
    assert shown.focused() == "attribute-table"


def test_focus_can_be_seen_wherever_it_is(page, mixed):
    shown = page(mixed)
    seen = set()
    for _ in range(40):
        shown.keys(Keys.TAB)
        marked = shown.script(
            "const now = document.activeElement;"
            "if (now === document.body) return null;"
            "const outlined = each => each && getComputedStyle(each).outlineStyle !== 'none'"
            "  && parseFloat(getComputedStyle(each).outlineWidth) >= 2;"
            "return [now.id || now.tagName, outlined(now) || outlined(now.querySelector('.active'))]"
        )
        if marked is None:
            break
        assert marked[1], f"{marked[0]} does not show that it has the focus."
        seen.add(marked[0])
    assert {"theme", "search", "tree", "divider", "tab-slices", "verdict-words", "places-slider"} <= seen


def test_width_of_the_list_changes_by_keys(page, mixed):
    shown = page(mixed)
    before = shown.find("#series").size["width"]
    shown.tab_to("divider")
    shown.keys(Keys.ARROW_RIGHT)
    after = shown.wait(lambda: (now := shown.find("#series").size["width"]) > before and now, "a wider list")
    assert abs(float(shown.find("#divider").get_attribute("aria-valuenow")) - after) <= 1
