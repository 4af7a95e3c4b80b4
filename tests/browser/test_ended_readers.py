"""A program that reads and is ended is a sentence on the page, and the next one reads on."""

import psutil
import stacks
from stackpage import STAGE, picture, wait_ready


def readers_of(server):
    children = psutil.Process(server.process.pid).children(recursive=True)
    return [each for each in children if each.name() == "radvex-view" and "read" in each.cmdline()]


def test_the_page_lives_on(page, servers, tmp_path):
    stacks.write(tmp_path, *[stacks.ct(number) for number in range(3)])
    shown = page(tmp_path)
    wait_ready(shown)
    whole = picture(shown)
    server = servers.all[-1]
    assert len(readers_of(server)) > 0
    for reader in readers_of(server):
        reader.suspend()  # what the page asks for now is on its way when they end
    shown.driver.refresh()
    shown.wait(lambda: shown.data("html", "series") == "0", "the tree, for which nobody has to read")
    for reader in readers_of(server):
        reader.kill()
    shown.wait(lambda: shown.data(STAGE, "state") == "failed", "the end of the reader")
    assert "ended with signal 9 (SIGKILL)" in shown.text("[data-role=message]")
    shown.driver.refresh()
    assert shown.wait_read() == "ready"
    wait_ready(shown)
    assert (picture(shown) == whole).all()
