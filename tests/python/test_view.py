"""The page of a folder: it answers while its object lives, and is gone with it and with the interpreter."""

import gc
import html
import re
import signal
import subprocess
import sys
import urllib.error
import urllib.request

import psutil
import pytest
import radvex
from builders import content, picture, places, put


@pytest.fixture
def folder(tmp_path):
    for number in (1, 2):
        put(str(tmp_path / "study" / f"{number}.dcm"), content(picture(places(0), PatientID="P1", PatientName="Doe^Jane",
            StudyInstanceUID="1.2", SeriesInstanceUID=f"1.2.{number}", SOPInstanceUID=f"1.2.3.{number}", Modality="OT")))
    return tmp_path / "study"


def get(address):
    with urllib.request.urlopen(address, timeout=30) as answer:
        return answer.read()


def servers():
    return [child for child in psutil.Process().children(recursive=True) if child.name() == "radvex-view"]


def test_a_page_answers_until_it_is_closed(folder):
    with radvex.view(folder) as page:
        assert page.address.startswith("http://127.0.0.1:") and page.address in repr(page)
        assert b"<html" in get(page.address) and b"Doe^Jane" in get(page.address + "api/tree")
        assert len(get(page.address + "page.js")) > 10_000
        assert servers()
    with pytest.raises(urllib.error.URLError):
        get(page.address)
    assert not servers() and repr(page) == "<radvex.View, closed>" and "closed" in page._repr_html_()
    page.close()


def test_a_notebook_gets_a_frame(folder):
    with radvex.view(folder, height=500) as page:
        frame = page._repr_html_()
        assert html.unescape(re.search(r'<iframe src="([^"]*)"', frame)[1]) == page.address and 'height="500"' in frame
        with urllib.request.urlopen(page.address) as answer:
            assert "frame-ancestors" not in answer.headers["Content-Security-Policy"]


def test_the_series_can_be_chosen(folder):
    with radvex.view(str(folder), series=r"1\.2\.2", jobs=1, memory=16) as page:
        tree = get(page.address + "api/tree")
        assert b'"1.2.2"' in tree and b'"1.2.1"' not in tree


def test_a_file_alone(folder):
    with radvex.view(folder / "1.dcm") as page:
        assert b'"files":1' in get(page.address + "api/tree")


def test_what_cannot_be_shown_is_a_sentence(tmp_path):
    with pytest.raises(radvex.FileError, match="does not exist") as error:
        radvex.view(tmp_path / "missing")
    assert not str(error.value).startswith("radvex")
    with pytest.raises(radvex.FileError, match="--series"):
        radvex.view(tmp_path, series="(")
    assert not servers()


def test_a_page_that_nobody_keeps_is_gone(folder):
    radvex.view(folder)
    gc.collect()
    assert not servers()


@pytest.mark.parametrize("end", ["", "os.kill(os.getpid(), 9)"])
def test_it_ends_with_the_interpreter(folder, end):
    script = f"import os, sys, radvex\npage = radvex.view(sys.argv[1])\nprint(page.address, flush=True)\n{end}"
    ran = subprocess.run([sys.executable, "-c", script, str(folder)], stdout=subprocess.PIPE, text=True, timeout=60)
    assert ran.returncode == (-signal.SIGKILL if end else 0)
    address = ran.stdout.strip()
    for _ in range(200):
        try:
            get(address)
        except OSError:  # refused, or cut off while it ended
            return
    raise AssertionError("The server is still there.")
