"""A page in one file shows the same without a server, and a report without scripts."""

import os
import subprocess

import numpy as np
import stacks
import studies
from conftest import Page
from selenium.webdriver.common.keys import Keys
from stackpage import picture, press, wait_ready


def written(folder, option, out):
    subprocess.run([os.environ["RADVEX"], "view", str(folder), option, str(out)], check=True, timeout=120)
    return "file://" + str(out)


def test_the_slices_of_a_saved_page_are_those_of_the_files(driver, tmp_path):
    made = [stacks.ct(number, WindowCenter="300", WindowWidth="900") for number in range(3)]
    paths = stacks.write(tmp_path / "ct", *made)
    driver.get_log("browser")
    page = Page(driver, written(tmp_path / "ct", "--save", tmp_path / "page.html"))
    driver.get(page.address)
    assert page.wait_read() == "ready"
    for index, path in enumerate(paths):
        wait_ready(page, index)
        wanted = stacks.rendered(path, tmp_path, "--window", "900,300")
        assert np.max(np.abs(picture(page).astype(int) - wanted)) <= 1
        press(page, Keys.ARROW_DOWN)
    page.show("attributes")
    page.wait(lambda: "PatientName" in page.text("#attributes"), "the attributes")
    assert not page.find("#tab-volume").is_displayed()
    assert page.console() == []
    driver.get("about:blank")


def test_a_report_needs_no_script(driver, tmp_path):
    studies.mixed_study(tmp_path / "mixed")
    driver.get_log("browser")
    ran = subprocess.run([os.environ["RADVEX"], "view", str(tmp_path / "mixed"), "--report", str(tmp_path / "report.html")],
                         timeout=120, check=False)
    assert ran.returncode in (0, 3)
    page = Page(driver, "file://" + str(tmp_path / "report.html"))
    driver.get(page.address)
    assert page.script("return document.scripts.length") == 0
    widths = page.script("return [...document.images].map(each => each.naturalWidth)")
    assert len(widths) > 5 and min(widths) > 0
    assert studies.MARKUP in page.text("body")
    assert page.console() == []
    driver.get("about:blank")
