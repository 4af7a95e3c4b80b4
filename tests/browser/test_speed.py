"""How fast the page is, which is printed and not judged here."""

import time

import numpy as np
import studies
from conftest import note
from stackpage import PICTURE, STAGE, wait_ready

READ_FRAMES = "return performance.getEntriesByType('resource').filter(e => e.name.includes('/values?')).length"

# Scrolls by one slice for each picture that the browser draws, for some seconds. Gives the slices that were shown, and
# the seconds that it took.
SCROLL = """
    const [seconds, done] = arguments;
    const stage = document.querySelector("[data-role=stage]");
    const picture = document.querySelector("[data-role=picture]");
    const shown = [];
    const begin = performance.now();
    let step = 1;
    function next() {
        const index = Number(picture.dataset.index);
        if (shown.at(-1) !== index) {
            shown.push(index);
        }
        const passed = (performance.now() - begin) / 1000;
        if (passed >= seconds) {
            done([shown, passed]);
            return;
        }
        step = index >= 298 ? -1 : index <= 1 ? 1 : step;
        stage.dispatchEvent(new WheelEvent("wheel", { deltaY: 100 * step, bubbles: true, cancelable: true }));
        requestAnimationFrame(next);
    }
    requestAnimationFrame(next);
"""


def many_files(folder, number, series):
    """Small files in so many series, with the pixels of one."""
    made = studies.instance(1, 1, studies.disc(64, 64, 20))
    for index in range(number):
        place = index % series
        made.SeriesInstanceUID, made.SeriesNumber = f"{studies.ROOT}.{place + 1}", place + 1
        made.SeriesDescription = f"Series {place + 1}"
        made.InstanceNumber = index // series + 1
        made.SOPInstanceUID = made.file_meta.MediaStorageSOPInstanceUID = f"{studies.ROOT}.9.{index}"
        studies.save(made, folder, f"{index // 1000:03}", f"{index:06}.dcm")


def test_the_first_tile_of_2000_files(driver, server, tmp_path):
    many_files(tmp_path, 2000, 40)
    begin = time.monotonic()
    driver.get(server(tmp_path).address)
    while not driver.execute_script("return [...document.querySelectorAll('#tree img')].some(e => e.naturalWidth > 0)"):
        assert time.monotonic() - begin < 60
        time.sleep(0.01)
    note(f"first preview of a folder of 2,000 files, from the start of the command: {time.monotonic() - begin:.2f} s")
    driver.get("about:blank")


def test_a_series_of_300_slices(page, tmp_path):
    noise = np.random.default_rng(1).integers(-1000, 2000, (16, 512, 512), dtype=np.int16)
    for number in range(300):
        made = studies.instance(1, number + 1, noise[number % 16], RescaleSlope=1, RescaleIntercept=0)
        made.ImagePositionPatient, made.ImageOrientationPatient = [0, 0, number], [1, 0, 0, 0, 1, 0]
        made.PixelSpacing, made.WindowCenter, made.WindowWidth = [0.5, 0.5], 40, 400
        studies.save(made, tmp_path, f"{number:04}.dcm")
    shown = page(tmp_path)
    shown.script("performance.setResourceTimingBufferSize(5000); performance.clearResourceTimings();")
    begin = time.monotonic()
    shown.driver.refresh()
    shown.script("performance.setResourceTimingBufferSize(5000)")
    shown.wait(lambda: shown.data(STAGE, "state") == "ready", "the first slice")
    first = time.monotonic() - begin
    read = shown.script(READ_FRAMES)
    shown.wait(lambda: shown.script(READ_FRAMES) >= 300, "all slices")
    note(f"300 slices of 512 x 512: the first is shown after {first:.2f} s, when {read} are there; all are there after "
         f"{time.monotonic() - begin:.2f} s")
    assert read < 300, "the first slice is shown before the last one is read"
    shown.wait_read()
    wait_ready(shown)
    indices, seconds = shown.driver.execute_async_script(SCROLL, 3)
    note(f"scrolling through slices of 512 x 512, drawn by software: {len(indices) / seconds:.0f} slices a second")
    assert len(indices) > 10 and all(abs(one - other) <= 3 for one, other in zip(indices, indices[1:]))
    place = int(shown.data(PICTURE, "index"))
    assert shown.data(STAGE, "state") == "ready" and 0 <= place < 300
