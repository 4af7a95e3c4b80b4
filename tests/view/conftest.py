"""What the tests of the server share: files, a server of a folder, and a client that asks it.

Environment: RADVEX (the command), RADVEX_VIEW (the program behind radvex view), RADVEX_LIBRARY, RADVEX_SAMPLES.
"""

import json
import os
import signal
import subprocess
import urllib.error
import urllib.request

import numpy as np
import pydicom
import pytest
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

PAGE = {"index.html": "<!doctype html>\n<html><head><title>Page</title>"
                      '<link rel="stylesheet" href="page.css"></head>'
                      '<body><script type="module" src="page.js"></script></body></html>\n',
        "page.css": "body { color: black; }\n",
        "page.js": "console.log('</script>');\n",
        "volume.js": "export {};\n"}


def write(path, pixels, **more):
    """A CT slice with these pixels ([row][column], or [frame][row][column]) and further attributes by keyword."""
    dataset = Dataset()
    dataset.SOPClassUID = "1.2.840.10008.5.1.4.1.1.2"
    dataset.SOPInstanceUID = more.pop("SOPInstanceUID", pydicom.uid.generate_uid(entropy_srcs=[str(path)]))
    dataset.PatientID, dataset.PatientName = "P1", "Doe^Jane"
    dataset.StudyInstanceUID, dataset.SeriesInstanceUID = "1.2.3", "1.2.3.1"
    dataset.StudyDate, dataset.Modality = "20240131", "CT"
    dataset.Rows, dataset.Columns = pixels.shape[-2:]
    if pixels.ndim == 3:
        dataset.NumberOfFrames = len(pixels)
    dataset.SamplesPerPixel, dataset.PhotometricInterpretation = 1, "MONOCHROME2"
    dataset.BitsAllocated = dataset.BitsStored = 8 * pixels.dtype.itemsize
    dataset.HighBit = dataset.BitsStored - 1
    dataset.PixelRepresentation = int(pixels.dtype.kind == "i")
    dataset.PixelData = pixels.astype(pixels.dtype.newbyteorder("<")).tobytes()
    for keyword, value in more.items():
        setattr(dataset, keyword, value)
    dataset.file_meta = FileMetaDataset()
    dataset.file_meta.TransferSyntaxUID = ExplicitVRLittleEndian
    dataset.file_meta.MediaStorageSOPClassUID = dataset.SOPClassUID
    dataset.file_meta.MediaStorageSOPInstanceUID = dataset.SOPInstanceUID
    dataset.is_little_endian, dataset.is_implicit_VR = True, False
    path.parent.mkdir(parents=True, exist_ok=True)
    dataset.save_as(path, write_like_original=False)


def write_stack(folder, slices, **more):
    """A stack of CT slices 2 mm apart. Returns its stored values as [slice][row][column]."""
    values = np.random.default_rng(1).integers(0, 2000, (slices, 6, 5), dtype=np.int16)
    for number, pixels in enumerate(values):
        write(folder / f"{number:04}.dcm", pixels, ImagePositionPatient=[0, 0, 2 * number],
              ImageOrientationPatient=[1, 0, 0, 0, 1, 0], PixelSpacing=[0.5, 0.75], InstanceNumber=number + 1,
              RescaleSlope=1, RescaleIntercept=-1024, **more)
    return values


class Client:
    """Asks a server as its page does."""

    def __init__(self, process, address):
        self.process = process
        self.address = address

    @property
    def host(self):
        return self.address.split("/")[2]

    def get(self, path, **headers):
        """Status, headers and bytes."""
        return fetch(self.address + path, **headers)

    def json(self, path):
        status, headers, body = self.get(path)
        assert status == 200 and "Radvex-Refusal" not in headers, body
        return json.loads(body)

    def refusal(self, path):
        """The sentence about what cannot be given."""
        status, headers, body = self.get(path)
        assert status == 200 and headers.get("Radvex-Refusal") == "1", (status, body[:200])
        return json.loads(body)["error"]

    def values(self, series, file, frame=0):
        """What the samples are, and the samples."""
        status, headers, body = self.get(f"api/series/{series}/files/{file}/values?frame={frame}")
        assert status == 200, body
        info = json.loads(headers["Radvex-Values"])
        return info, np.frombuffer(body, info["type"]).reshape(info["shape"])


def fetch(address, method="GET", **headers):
    names = {name.replace("_", "-"): value for name, value in headers.items()}
    request = urllib.request.Request(address, headers=names, method=method)
    try:
        with urllib.request.urlopen(request, timeout=60) as answer:
            return answer.status, dict(answer.headers), answer.read()
    except urllib.error.HTTPError as error:
        return error.code, dict(error.headers), error.read()


@pytest.fixture
def page_folder(tmp_path):
    """A page of a few bytes; what a browser makes of the real one is looked at by other tests."""
    folder = tmp_path / "page"
    folder.mkdir()
    for name, text in PAGE.items():
        (folder / name).write_text(text)
    return folder


@pytest.fixture
def start(page_folder, tmp_path):
    """start(folder) is a client of a new server, which leaves nothing behind when it is ended."""
    temporary = tmp_path / "temporary"
    temporary.mkdir()
    started = []

    def begin(folder, port=0, memory=64, series=".*", place="none", **options):
        words = [os.environ["RADVEX_VIEW"], "serve", os.environ["RADVEX_LIBRARY"], "2", series, str(folder), str(port),
                 str(memory), place, str(page_folder)]
        process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env={**os.environ, "TMPDIR": str(temporary)}, **options)
        started.append(process)
        address = process.stdout.readline().decode().strip()
        assert address.startswith("http://127.0.0.1:"), process.stderr.read()
        return Client(process, address)

    yield begin
    for process in started:
        if process.poll() is None:
            process.send_signal(signal.SIGINT)
        assert process.wait(60) in (0, -signal.SIGKILL)
        assert process.stderr.read() == b""
    assert list(temporary.iterdir()) == []
