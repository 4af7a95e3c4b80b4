#!/usr/bin/python3
"""Takes the pictures of the page for docs/pictures, of generated series and of two of pydicom's sample files.

Usage: page-pictures.py BUILD_FOLDER [OUT]

Needs Chromium with its driver, selenium and PIL.
"""

import io
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "browser"))
sys.dont_write_bytecode = True

import numpy as np  # noqa: E402
import phantoms  # noqa: E402
from conftest import Page, start_browser  # noqa: E402
from PIL import Image  # noqa: E402
from pydicom.data import get_testdata_file  # noqa: E402
from selenium.webdriver.common.action_chains import ActionChains  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.webdriver.support.ui import Select  # noqa: E402

SIZE = (1280, 800)
LARGEST = 150_000  # bytes of a picture
STAGE = "[data-role=stage]"
VOLUME = "#volume-view"
HEAD = {
    "patient": "Phantom^Head",
    "RescaleIntercept": -1024,
    "RescaleSlope": 1,
    "RescaleType": "HU",
    "WindowCenter": "40",
    "WindowWidth": "120",
}


def write_data(folder):
    """A head by CT, once with a missing slice, its tracer in time by PET, and a sagittal MR that is turned; samples."""
    head = phantoms.Grid((64, 256, 256), phantoms.AXIAL, (0.85, 0.85), 3.0)
    stored = (np.round(phantoms.hounsfield(head.places())) + 1024).astype("i2")
    phantoms.write_series(folder / "head", head, stored, 1, description="Thin slices", **HEAD)
    few = phantoms.Grid((12, 256, 256), phantoms.AXIAL, (0.85, 0.85), 6.0)
    gap = (np.round(phantoms.hounsfield(few.places())) + 1024).astype("i2")
    phantoms.write_series(folder / "gap", few, gap, 2, description="A slice is lost", **HEAD)
    os.remove(folder / "gap" / "002-00006.dcm")

    coarse = phantoms.Grid((30, 64, 64), phantoms.AXIAL, (3.4, 3.4), 6.0)
    anatomy = phantoms.hounsfield(coarse.places())
    uptake = np.select([anatomy < -500, anatomy == 220, anatomy < 10, anatomy < 50], [0, 300, 30, 150], 20)
    times = np.stack([uptake * weight for weight in (10, 25, 40, 30)]).astype("u2")
    phantoms.write_series(
        folder / "tracer",
        coarse,
        times,
        3,
        "PT",
        "Tracer in time",
        patient="Phantom^Head",
        Units="BQML",
        RescaleIntercept=0,
        RescaleSlope="2",
        TemporalPositionIdentifier=lambda time, _: time + 1,
        NumberOfTemporalPositions=4,
        TriggerTime=lambda time, _: str(60000 * time),
    )

    turned = phantoms.Grid((40, 128, 128), phantoms.tilted(phantoms.SAGITTAL, 12, 2), (1.7, 1.7), 4.5)
    signal = np.clip(phantoms.hounsfield(turned.places()) + 100, 0, 400).astype("u2")
    phantoms.write_series(folder / "turned", turned, signal, 4, "MR", "Sagittal, turned", patient="Phantom^Head")
    # Real anatomy beside them
    for name in ("CT_small.dcm", "MR_small.dcm"):
        shutil.copy(get_testdata_file(name), folder / name)


def settle(page):
    """Until everything that was asked for is there: previews have come, and two frames are drawn."""
    page.wait(lambda: page.script("return [...document.images].every((image) => image.complete)"), "the previews")
    page.driver.execute_async_script("requestAnimationFrame(() => requestAnimationFrame(() => arguments[0]()))")


def save(page, out, name):
    settle(page)
    image = Image.open(io.BytesIO(page.driver.get_screenshot_as_png())).convert("RGB")
    few = image.quantize(256, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE)
    target = out / f"page-{name}.png"
    few.save(target, optimize=True)
    size = target.stat().st_size
    print(f"{target}: {size} bytes")
    if size > LARGEST:
        raise SystemExit(f"{target} is larger than {LARGEST} bytes.")


def show_slices(page, index):
    page.choose("Thin slices")
    page.show("slices")
    page.wait(lambda: page.data(STAGE, "state") == "ready", "the first slice")
    page.script("document.querySelector(arguments[0]).focus()", STAGE)
    for step in range(index):
        page.keys(Keys.ARROW_DOWN)
        page.wait(lambda: page.data("[data-role=picture]", "index") == str(step + 1), f"slice {step + 1}")
    page.wait(lambda: page.data(STAGE, "state") == "ready", "the slice")


def drag(page, begin, end):
    stage = page.find(STAGE)
    actions = ActionChains(page.driver, duration=20)
    pointer = actions.w3c_actions.pointer_action
    pointer.move_to(stage, *begin)
    pointer.pointer_down(0)
    pointer.move_to(stage, *end)
    pointer.pointer_up(0)
    actions.perform()


def show_volume(page, series, target, preset):
    page.choose(series)
    page.show("volume")
    page.wait(lambda: page.data(VOLUME, "state") == "ready", "the volume")
    page.find(".volume-target").send_keys(target, Keys.ENTER)
    Select(page.find(".volume-preset")).select_by_visible_text(preset)


def take(page, out):
    show_slices(page, 40)
    save(page, out, "slices")

    page.click("[data-tool=length]")
    drag(page, (-120, 40), (120, 40))
    page.click("[data-tool=ellipse]")
    drag(page, (20, -130), (90, -70))
    save(page, out, "measuring")

    show_volume(page, "Thin slices", "30 -30 30", "Brain")
    save(page, out, "volume")
    show_volume(page, "Tracer in time", "30 -30 30", "Full range")
    Select(page.find(".volume-colours")).select_by_value("hotiron")
    for _ in range(2):
        page.find(".volume-frame").send_keys(Keys.ARROW_RIGHT)
    save(page, out, "volume-time")

    page.choose("A slice is lost")
    page.show("attributes")
    page.wait(lambda: "PatientName" in page.text("#attributes"), "the attributes")
    save(page, out, "attributes")


def main():
    build = pathlib.Path(sys.argv[1])
    out = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else ROOT / "docs" / "pictures"
    out.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        write_data(pathlib.Path(folder, "scans"))
        server = subprocess.Popen(
            [os.path.abspath(build / "bin" / "radvex"), "view", "--no-browser", "scans"],
            cwd=folder,  # sentences name files as they are asked for
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            text=True,
        )
        browser = start_browser("--hide-scrollbars")
        try:
            page = Page(browser, server.stdout.readline().strip())
            page.resize(*SIZE)
            page.prefer("light")
            browser.get(page.address)
            page.wait_read()
            take(page, out)
        finally:
            browser.quit()
            server.terminate()
            server.wait(30)


if __name__ == "__main__":
    main()
