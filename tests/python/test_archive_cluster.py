"""Indexes made by a Dask cluster whose scheduler and workers were started by others."""

import json
import os
import signal
import subprocess
import sys
import time

import builders
import psutil
import pytest
from radvex.archive import find, index
from radvex.archive._describe import Batch, describe, rows_in

COUNTS = ("read", "unchanged", "dicom", "notDicom", "broken", "vanished")


class Cluster:
    """A scheduler and its workers, each a process, as somebody would start them by hand."""

    def __init__(self, folder):
        self._folder = folder
        self._processes = []
        file = folder / "scheduler.json"
        self._start("scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard", "--scheduler-file", file)
        wait_for(lambda: file.exists() and file.read_text().endswith("}"))
        self.address = json.loads(file.read_text())["address"]

    def _start(self, kind, *words, python=sys.executable, **options):
        command = [python, "-m", f"distributed.cli.dask_{kind}", *words]
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)
        self._processes.append(process)
        return process

    def start_worker(self, **options):
        words = ("--nthreads", "1", "--no-nanny", "--no-dashboard", "--local-directory", self._folder)
        return self._start("worker", self.address, *words, **options)

    def end(self):
        for process in reversed(self._processes):
            process.kill()
            process.wait()


def wait_for(condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.02)


@pytest.fixture
def cluster(tmp_path):
    """A cluster without workers."""
    os.makedirs(tmp_path / "cluster")
    started = Cluster(tmp_path / "cluster")
    yield started
    started.end()


def fill(root, count):
    """Files in folders of 200, every tenth of which is cut in its pixels, and a text in each folder."""
    contents = []
    for number in range(10):
        dataset = builders.picture(builders.places(0) + number)
        dataset.SOPInstanceUID = dataset.file_meta.MediaStorageSOPInstanceUID = f"1.2.3.{number}"
        contents.append(builders.content(dataset))
    contents[9] = contents[9][:-7]
    for number in range(count):
        folder = root / f"{number // 200:03}"
        if number % 200 == 0:
            os.makedirs(folder)
            (folder / "notes.txt").write_text("nothing of interest")
        (folder / f"{number:05}.dcm").write_bytes(contents[number % 10])


def indexing(archive, path, address, **environment):
    """The command, as it is started on a cluster."""
    command = [sys.executable, "-m", "radvex.archive", "index", archive, path, "--cluster", address, "--json"]
    return subprocess.Popen(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env={**os.environ, **environment}
    )


def finished(process):
    """Exit status, standard output, and the last line of the standard error."""
    output, errors = process.communicate(timeout=120)
    return process.returncode, output.decode(), (errors.decode().splitlines() or [""])[-1]


def counted(process):
    status, output, said = finished(process)
    assert status == 0, said
    return {name: json.loads(output)[name] for name in COUNTS}


def is_reading(worker):
    try:
        return any(child.name() == "radvex-worker" for child in psutil.Process(worker.pid).children())
    except psutil.Error:  # it has ended just now
        return False


def test_a_cluster_that_loses_a_worker_finds_what_one_process_finds(cluster, tmp_path):
    fill(tmp_path / "archive", 20000)
    lost, kept = cluster.start_worker(), cluster.start_worker()
    process = indexing(tmp_path / "archive", tmp_path / "two.sqlite", cluster.address)
    wait_for(lambda: is_reading(lost))
    lost.send_signal(signal.SIGKILL)
    counts = counted(process)
    assert counts == {"read": 20100, "unchanged": 0, "dicom": 18000, "notDicom": 100, "broken": 2000, "vanished": 0}
    assert (lost.wait(), kept.poll()) == (-signal.SIGKILL, None)  # one was lost, and the other did the rest
    index(tmp_path / "archive", tmp_path / "one.sqlite", workers=0)
    sql = "SELECT path, size, changed, state, reason, signal, SOPInstanceUID, Rows, Columns FROM paths ORDER BY path"
    assert list(find(tmp_path / "two.sqlite", sql=sql).rows) == list(find(tmp_path / "one.sqlite", sql=sql).rows)


def test_workers_may_come_after_the_client(cluster, tmp_path):
    fill(tmp_path / "archive", 200)
    process = indexing(tmp_path / "archive", tmp_path / "i.sqlite", cluster.address)
    wait_for((tmp_path / "i.sqlite").exists)
    time.sleep(1)
    assert process.poll() is None
    cluster.start_worker()
    assert counted(process)["read"] == 201


def test_an_address_where_no_scheduler_is_ends_with_a_sentence(cluster, tmp_path):
    fill(tmp_path / "archive", 10)
    cluster.start_worker()
    patience = {"DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT": "2s"}
    absent = indexing(tmp_path / "archive", tmp_path / "i.sqlite", "tcp://127.0.0.1:1", **patience)
    status, _, said = finished(absent)
    assert status == 1 and said.startswith("radvex-archive: ") and "127.0.0.1:1" in said
    assert counted(indexing(tmp_path / "archive", tmp_path / "i.sqlite", cluster.address, **patience))["read"] == 11


def test_a_worker_without_the_package_ends_the_run_and_says_so(cluster, tmp_path):
    fill(tmp_path / "archive", 10)
    bare = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    stranger = cluster.start_worker(python=os.path.join(sys.base_prefix, "bin", "python3"), env=bare)
    status, _, said = finished(indexing(tmp_path / "archive", tmp_path / "i.sqlite", cluster.address))
    assert status == 1 and said == "radvex-archive: No module named 'radvex'"
    stranger.kill()
    stranger.wait()
    cluster.start_worker()
    assert counted(indexing(tmp_path / "archive", tmp_path / "i.sqlite", cluster.address))["read"] == 11


def test_a_worker_that_does_not_see_the_archive_calls_no_file_broken(tmp_path):
    fill(tmp_path / "archive", 2)
    os.makedirs(tmp_path / "not mounted")
    for root in ("absent", "not mounted"):
        with pytest.raises(FileNotFoundError, match="does not see the archive"):
            describe(Batch(str(tmp_path / root), ["000/00000.dcm"], False))
    found = rows_in(describe(Batch(str(tmp_path / "archive"), ["000/00000.dcm", "000/gone.dcm"], False)))
    assert [record[0] for record in found] == ["dicom", "broken"]
    assert [record[0] for record in rows_in(describe(Batch(str(tmp_path / "archive"), ["gone.dcm"], False)))] == ["broken"]
