"""The page in one file, and the report."""

import base64
import gzip
import json
import os
import re
import subprocess

import numpy as np
from conftest import PAGE, write, write_stack


def save(folder, out, page_folder, most=25, force="0"):
    return subprocess.run([os.environ["RADVEX_VIEW"], "save", os.environ["RADVEX_LIBRARY"], "2", ".*", str(folder),
                           str(out), force, str(most), str(page_folder)], capture_output=True, text=True, timeout=120)


def report(folder, out, *more):
    return subprocess.run([os.environ["RADVEX"], "view", str(folder), "--report", str(out), *more],
                          capture_output=True, text=True, timeout=120)


def answers_in(html):
    (text,) = re.findall(r'<script type="application/json" id="saved-answers">(.*?)</script>', html, re.S)
    return json.loads(text)


def test_a_saved_page_holds_what_the_server_says(start, page_folder, tmp_path):
    stored = write_stack(tmp_path / "ct", 3, SeriesDescription="</script><script>alert(1)</script>")
    client = start(tmp_path / "ct")
    ran = save(tmp_path / "ct", tmp_path / "page.html", page_folder)
    assert (ran.returncode, ran.stderr) == (0, "")
    html = (tmp_path / "page.html").read_text()
    assert html.count("</script>") == 2, "that of the answers and that of the page"
    assert 'src="' not in html and 'href="' not in html and PAGE["page.css"] in html
    answers = answers_in(html)
    for path, saved in answers.items():
        body = base64.b64decode(saved["body"])
        status, headers, expected = client.get(path)
        assert status == 200, path
        assert (body if saved["type"] == "image/png" else gzip.decompress(body)) == expected, path
        if "Radvex-Values" in headers:
            assert saved["info"] == json.loads(headers["Radvex-Values"]), path
    values = gzip.decompress(base64.b64decode(answers["api/series/0/files/2/values?frame=0"]["body"]))
    assert any(np.array_equal(np.frombuffer(values, "<i2").reshape(6, 5), each.astype(int) - 1024) for each in stored)


def test_a_page_that_would_be_too_large_is_not_written(page_folder, tmp_path):
    noise = np.random.default_rng(1).integers(0, 65535, (800, 1000), dtype=np.uint16)
    write(tmp_path / "ct" / "1.dcm", noise)
    ran = save(tmp_path / "ct", tmp_path / "page.html", page_folder, most=2)
    assert ran.returncode == 1 and not (tmp_path / "page.html").exists()
    assert ran.stderr == ("radvex: The page would be larger than 2 MiB. Choose fewer series with --series, or allow more "
                          "with --max-size.\n")
    assert save(tmp_path / "ct", tmp_path / "page.html", page_folder, most=3).returncode == 0


def test_a_file_that_cannot_be_shown_is_saved_with_its_sentence(page_folder, tmp_path):
    write(tmp_path / "ct" / "1.dcm", np.zeros((4, 4), np.uint16), PixelData=b"\0\0")
    assert save(tmp_path / "ct", tmp_path / "page.html", page_folder).returncode == 0
    saved = answers_in((tmp_path / "page.html").read_text())["api/series/0/files/0/values?frame=0"]
    assert saved["isRefusal"]
    assert "fewer pixels" in json.loads(gzip.decompress(base64.b64decode(saved["body"])))["error"]


def test_nothing_is_replaced_without_force(page_folder, tmp_path):
    write(tmp_path / "ct" / "1.dcm", np.zeros((4, 4), np.uint16))
    out = tmp_path / "out.html"
    out.write_text("kept")
    assert save(tmp_path / "ct", out, page_folder).returncode == 1 and out.read_text() == "kept"
    assert report(tmp_path / "ct", out).returncode == 1 and out.read_text() == "kept"
    assert report(tmp_path / "ct", tmp_path / "ct" / "1.dcm", "--force").returncode == 1, "it is read"
    assert report(tmp_path / "ct", out, "--force").returncode == 0 and out.read_text().startswith("<!doctype html>")


def test_a_report_has_no_script_and_shows_text_as_text(tmp_path):
    write_stack(tmp_path / "ct", 3, PatientName="<img src=x onerror=alert(1)>", KVP=120,
                SeriesDescription='"quoted" & <b>bold</b>', Manufacturer="<script>alert(2)</script>")
    ran = report(tmp_path / "ct", tmp_path / "report.html")
    assert (ran.returncode, ran.stderr) == (0, "")
    html = (tmp_path / "report.html").read_text()
    assert "<script" not in html and "<img src=x" not in html and "<b>" not in html
    assert "&lt;img src=x onerror=alert(1)&gt;" in html and "&quot;quoted&quot; &amp; &lt;b&gt;bold" in html
    assert "default-src 'none'" in html and "2024-01-31" in html and "KVP</th><td>120" in html
    assert html.count("data:image/png;base64,") == 3 and "Volume: 3 x 6 x 5, nothing to object." in html


def test_a_report_says_what_stands_against_a_volume(tmp_path):
    write_stack(tmp_path / "ct", 5)
    (tmp_path / "ct" / "0002.dcm").unlink()
    (tmp_path / "ct" / "notes.txt").write_text("no DICOM")
    assert report(tmp_path / "ct", tmp_path / "report.html").returncode == 0
    html = (tmp_path / "report.html").read_text()
    assert 'class="error"' in html and "nothing to object" not in html and "1 file is no DICOM." in html
