"""Measures what each stage of an index costs on this machine: with real files, a real scheduler, and a real index."""

import functools
import json
import os
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from typing import Any, Callable, Dict, Iterator, List, Tuple

import distributed
import numpy as np
import psutil
import pydicom
from pydicom.dataset import FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian, generate_uid
from radvex.archive._cluster import Cluster
from radvex.archive._describe import Batch, describe
from radvex.archive._index import _MOST
from radvex.archive._listing import folders

from client import Clock, rows_of, run_client
from costs import FREE, Archive, Costs, Storage

HERE = os.path.dirname(os.path.abspath(__file__))
NAMES = _MOST  # as many as are read in one batch


def slope(one: Tuple[float, float], other: Tuple[float, float]) -> Tuple[float, float]:
    """The line through two points: its value at 0, and its rise for 1."""
    rise = (other[1] - one[1]) / (other[0] - one[0])
    return max(0.0, one[1] - rise * one[0]), max(0.0, rise)


def best_of(times: int, work: Callable[[], Any]) -> float:
    """Seconds of the fastest try: the machine may have other things to do."""
    seconds = []
    for _ in range(times):
        start = time.perf_counter()
        work()
        seconds.append(time.perf_counter() - start)
    return min(seconds)


def write_slice(path: str, side: int = 512) -> int:
    """Writes a CT slice without compression. Returns its size in bytes."""
    dataset = pydicom.Dataset()
    dataset.file_meta = FileMetaDataset()
    dataset.file_meta.TransferSyntaxUID = ExplicitVRLittleEndian
    dataset.is_little_endian, dataset.is_implicit_VR = True, False
    dataset.SOPClassUID = dataset.file_meta.MediaStorageSOPClassUID = "1.2.840.10008.5.1.4.1.1.2"
    dataset.SOPInstanceUID = dataset.file_meta.MediaStorageSOPInstanceUID = generate_uid()
    dataset.StudyInstanceUID, dataset.SeriesInstanceUID = generate_uid(), generate_uid()
    dataset.StudyDate = dataset.SeriesDate = dataset.AcquisitionDate = "20200102"
    dataset.Modality, dataset.PatientID, dataset.PatientName = "CT", "P0000001", "Nobody"
    dataset.Manufacturer, dataset.ManufacturerModelName = "Maker of scanners", "Model 7"
    dataset.SeriesNumber, dataset.InstanceNumber = 3, 17
    dataset.SeriesDescription, dataset.StudyDescription = "Thorax 1.0 B30f", "Thorax routine"
    dataset.Rows = dataset.Columns = side
    dataset.BitsAllocated, dataset.BitsStored, dataset.HighBit, dataset.PixelRepresentation = 16, 12, 11, 0
    dataset.SamplesPerPixel, dataset.PhotometricInterpretation = 1, "MONOCHROME2"
    block = dataset.private_block(0x0009, "MAKER HEADER", create=True)
    for number in range(100):  # as many attributes as a scanner writes
        block.add_new(number, "LO", f"setting {number}")
    dataset.PixelData = (np.arange(side * side) % 4096).astype("<u2").tobytes()
    pydicom.dcmwrite(path, dataset, write_like_original=False)
    return os.path.getsize(path)


def link_files(source: str, root: str, files: int, per_folder: int) -> List[str]:
    """Hard links in folders. Returns their paths below the root."""
    paths = []
    for number in range(files):
        folder, name = f"{number // per_folder:06}", f"{number % per_folder:06}.dcm"
        if number % per_folder == 0:
            os.makedirs(os.path.join(root, folder))
        os.link(source, os.path.join(root, folder, name))
        paths.append(f"{folder}/{name}")
    return paths


def bytes_read() -> int:
    """By this process and by those that it started, when all of them have ended: a thread waits for each reader."""
    while psutil.Process().children():
        time.sleep(0.05)
    with open("/proc/self/io", encoding="utf-8") as file:
        return int(file.readline().split()[1])


def reading(root: str, paths: List[str], digests: bool) -> Dict[str, float]:
    """What a worker needs when everything is in memory."""
    few, many = paths[: NAMES // 10], paths[:NAMES]
    seconds = [best_of(10, lambda: describe(Batch(root, some, digests))) for some in (few, many)]
    start, each = slope((len(few), seconds[0]), (len(many), seconds[1]))
    read = []
    for some in (few, many):
        before = bytes_read()
        describe(Batch(root, some, digests))
        read.append(bytes_read() - before)
    return {
        "read_batch": start,
        "read_file": each,
        "read_bytes": (read[1] - read[0]) / (len(many) - len(few)),
    }


def listing(folder: str, source: str) -> Dict[str, float]:
    """What the walk needs: with many files in each folder, and with few."""
    points = []
    for per_folder in (200, 4):
        root = os.path.join(folder, f"walk{per_folder}")
        link_files(source, root, 20_000, per_folder)
        points.append((20_000 / per_folder, best_of(10, lambda: sum(1 for _ in folders(root)))))
    start, each_folder = slope(*points)
    return {"list_file": start / 20_000, "list_folder": each_folder}


def client(folder: str, rows: int) -> Dict[str, Any]:
    """What the client needs to make batches, and to parse and write rows, as the index grows."""
    outcome = run_client(FREE, Archive(rows), Storage(), 1, os.path.join(folder, "growing.sqlite"), Clock())
    return {
        "compose_file": outcome.composing / rows,
        "write_file": outcome.growth,
        "finish_file": outcome.finishing / rows,
    }


@functools.lru_cache(maxsize=1)
def _made(files: int) -> List[bytes]:
    return rows_of(names(files))


def names(files: int, first_folder: int = 0) -> List[str]:
    """Paths of so many files, 200 in a folder."""
    return [f"{first_folder + number // 200:08}/{number % 200:06}.dcm" for number in range(files)]


def canned(batch: Batch) -> List[bytes]:
    """Rows without reading: what is left is the way to a worker and back."""
    return _made(len(batch.paths))


@contextmanager
def program(*words: str) -> Iterator["subprocess.Popen[bytes]"]:
    """A program, which ends with this block."""
    process = subprocess.Popen(
        [sys.executable, *words],
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        env={**os.environ, "PYTHONPATH": os.pathsep.join([HERE, *sys.path])},
    )
    try:
        yield process
    finally:
        process.terminate()
        process.wait()


@contextmanager
def scheduler(folder: str) -> Iterator[Tuple[psutil.Process, str]]:
    """A scheduler in a process of its own, and its address."""
    file = os.path.join(folder, "scheduler.json")
    words = ("-m", "distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard")
    with program(*words, "--scheduler-file", file) as process:
        deadline = time.monotonic() + 60
        while not os.path.exists(file) or not os.path.getsize(file):
            if process.poll() is not None or time.monotonic() > deadline:
                raise OSError("The scheduler did not start.")
            time.sleep(0.1)
        time.sleep(0.2)
        with open(file, encoding="utf-8") as text:
            address = json.load(text)["address"]
        os.remove(file)
        yield psutil.Process(process.pid), address


def processor_seconds(process: psutil.Process) -> float:
    times = process.cpu_times()
    return float(times.user + times.system)


def batches_through(client_: Any, process: psutil.Process, count: int, files: int) -> Tuple[float, float]:
    """Seconds of the processor for each batch of so many files: of the client, and of the scheduler."""
    paths = names(files)
    before, own = processor_seconds(process), time.process_time()
    for _, rows, _ in Cluster(client_).run(canned, (Batch("/archive", paths, False) for _ in range(count))):
        assert rows
    return (time.process_time() - own) / count, (processor_seconds(process) - before) / count


def through_scheduler(folder: str) -> Dict[str, float]:
    """What a batch costs the client and the scheduler: without files, and with files."""
    words = ("-m", "distributed.cli.dask_worker", "--nthreads", "1", "--no-nanny", "--no-dashboard")
    with scheduler(folder) as (process, address):
        place = ("--local-directory", folder, address)
        with program(*words, *place), program(*words, *place), distributed.Client(address) as connected:
            connected.wait_for_workers(2)
            batches_through(connected, process, 20, NAMES)
            client_, scheduler_ = zip(*(batches_through(connected, process, 150, files) for files in (1, NAMES)))
    return {
        "submit_batch": client_[0],
        "receive_file": max(0.0, client_[1] - client_[0]) / NAMES,
        "schedule_batch": scheduler_[0],
        "schedule_file": max(0.0, scheduler_[1] - scheduler_[0]) / NAMES,
    }


def held(batch: Batch) -> int:
    """A batch that stays on its way."""
    time.sleep(4)
    return len(batch.paths)


def memory_on_the_way(folder: str) -> Tuple[float, float]:
    """Bytes of the client for each file that is on its way, with its row, which waits there, and of the scheduler."""
    count, files = 100, NAMES
    with scheduler(folder) as (process, address), distributed.Client(address) as connected:
        connected.submit(len, [], pure=False)  # nobody does it; what the first task needs is loaded
        time.sleep(1)
        before = process.memory_info().rss
        futures = []
        for number in range(count):
            batch = Batch("/archive", names(files, number * files // 200), False)
            futures.append(connected.submit(held, batch, pure=False))
        time.sleep(3)
        scheduler_bytes = (process.memory_info().rss - before) / count / files
    own = psutil.Process()
    most: List[int] = []
    workers = 64  # all files are on their way before the first is done
    archive = Archive(2 * workers * NAMES)
    before = own.memory_info().rss

    def watched(paths: List[str]) -> List[bytes]:
        if not most:
            most.append(own.memory_info().rss)
        return rows_of(paths)

    run_client(FREE, archive, Storage(), workers, os.path.join(folder, "memory.sqlite"), Clock(), rows=watched)
    fetched = sum(map(len, rows_of(names(files)))) / files
    return (most[0] - before) / archive.files + fetched, scheduler_bytes


def start_seconds() -> float:
    """The start of a client that connects to a cluster which is there."""
    words = [sys.executable, "-c", "import distributed, radvex.archive"]
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
    return best_of(3, lambda: subprocess.run(words, check=True, env=environment))


def measure(rows: int, digests: bool, say: Callable[[str], None]) -> Costs:
    """All costs, for files of 0.5 MB. Needs about 500 bytes on the disk for each row."""
    with tempfile.TemporaryDirectory(prefix="radvex-costs-") as folder:
        source = os.path.join(folder, "slice.dcm")
        write_slice(source)
        say("reading")
        paths = link_files(source, os.path.join(folder, "files"), NAMES, 200)
        found: Dict[str, Any] = reading(os.path.join(folder, "files"), paths, digests)
        say("listing")
        found.update(listing(folder, source))
        say("scheduler")
        found.update(through_scheduler(folder))
        say("memory")
        client_bytes, scheduler_bytes = memory_on_the_way(folder)
        found.update(client_bytes=client_bytes, scheduler_bytes=scheduler_bytes)
        say(f"client, {rows} rows")
        found.update(client(folder, rows))
        return Costs(start=start_seconds(), **found)
