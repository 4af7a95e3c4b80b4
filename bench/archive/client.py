"""The client of an index as it is, with its SQLite file, before simulated folders and simulated workers.
Waiting takes no time: the clock jumps over it."""

import functools
import heapq
import json
import time
from contextlib import contextmanager
from typing import Any, Callable, Dict, Iterator, List, NamedTuple, Tuple
from unittest import mock

from radvex.archive import _index
from radvex.archive._cluster import _AHEAD
from radvex.archive._listing import Folder

from costs import Archive, Costs, Storage, batch_seconds, walk_seconds


class Clock:
    """Seconds since it was made: those that this process worked, and those that it would have waited."""

    def __init__(self, real: Callable[[], float] = time.perf_counter) -> None:
        self._real = real
        self._ahead = -real()

    def now(self) -> float:
        """The time."""
        return self._real() + self._ahead

    def wait_until(self, moment: float) -> None:
        """Jumps there, if it has not come."""
        self._ahead += max(0.0, moment - self.now())

    @contextmanager
    def stopped(self) -> Iterator[None]:
        """Work that no client does."""
        start = self._real()
        yield
        self._ahead -= self._real() - start


class Outcome(NamedTuple):
    """What a run with the real client comes to."""

    seconds: float
    composing: float  # seconds of the client until all batches were made, without waiting
    taking: float  # and until all rows were parsed and written
    finishing: float  # and until series and studies were counted
    growth: List[Tuple[int, float]]  # rows in the index, and seconds for each row at that size
    counts: Dict[str, Any]


@functools.lru_cache(maxsize=4)
def _row_of(folder: int) -> str:
    """What a worker finds in a file, with places for its number from 0, and from 1. Each folder is a series, the
    series of a patient lie in ten folders."""
    root = f"1.2.826.0.1.3680043.8.498.{folder * 7919 % 1000003:012}{folder // 10:012}"
    values = {
        "SOPClassUID": "1.2.840.10008.5.1.4.1.1.2",
        "SOPInstanceUID": f"{root}.%d",
        "TransferSyntaxUID": "1.2.840.10008.1.2.1",
        "PatientID": f"P{folder // 10:08}",
        "StudyInstanceUID": f"1.2.826.0.1.3680043.8.498.{folder // 10 * 104729 % 1000003:012}.1",
        "SeriesInstanceUID": root,
        "Modality": "CT" if folder % 3 else "MR",
        "StudyDate": f"{2000 + folder % 25}0{folder % 9 + 1}15",
        "SeriesDate": f"{2000 + folder % 25}0{folder % 9 + 1}15",
        "AcquisitionDate": f"{2000 + folder % 25}0{folder % 9 + 1}15",
        "SeriesNumber": str(folder % 10 + 1),
        "InstanceNumber": "%d",
        "SeriesDescription": "Thorax 1.0 B30f",
        "StudyDescription": "Thorax routine",
        "Manufacturer": "Maker of scanners",
        "ManufacturerModelName": f"Model {folder % 40}",
        "Rows": 512,
        "Columns": 512,
        "NumberOfFrames": None,
        "BitsStored": 12,
    }
    return json.dumps(["dicom", None, None, None, *values.values()], separators=(",", ":"))


def rows_of(paths: List[str]) -> List[bytes]:
    """Rows for paths of `folders_of`, as `describe` gives them, but with little work."""
    parts = ((path[:8], int(path[9:15])) for path in paths)
    rows = (_row_of(int(folder)) % (number, number + 1) for folder, number in parts)
    return [f"[{','.join(rows)}]".encode()]


def folders_of(archive: Archive) -> Iterator[Folder]:
    """Folders as the walk sends them."""
    for first in range(0, archive.files, archive.files_per_folder):
        number = min(archive.files_per_folder, archive.files - first)
        raw = b"".join(b"%06d.dcm\0%d\0%d\0" % (each, archive.file_size, 10**18 + each) for each in range(number))
        yield Folder(f"{first // archive.files_per_folder:08}", f"{first:064x}", number, "", raw)


Rows = Callable[[List[str]], List[bytes]]
"""What workers find in files."""


class _Crew:
    """Workers that need the time that costs say. The scheduler takes none."""

    def __init__(self, clock: Clock, costs: Costs, storage: Storage, workers: int, rows: Rows) -> None:
        self.clock, self.costs, self.storage, self.rows = clock, costs, storage, rows
        self.free = [0.0] * workers
        self.storage_free = self.composing = self.taking = 0.0
        self.taken: List[Tuple[int, float]] = []  # files of a batch, and seconds for them
        self.waited = 0.0  # for the list of the files

    def run(self, _: Any, items: Any) -> Iterator[Tuple[Any, List[bytes], float]]:
        source = iter(items)
        running: List[Tuple[float, int, Any, float]] = []

        def give() -> None:
            while len(running) < _AHEAD * len(self.free):
                start, waited = self.clock.now(), self.waited
                item = next(source, None)
                self.composing += self.clock.now() - start - (self.waited - waited)
                if item is None:
                    return
                end, seconds = self.end_of(len(item.paths))
                heapq.heappush(running, (end, id(item), item, seconds))

        give()
        while running:
            end, _, item, seconds = heapq.heappop(running)
            self.clock.wait_until(end)
            give()
            with self.clock.stopped():
                rows = self.rows(item.paths)
            start = self.clock.now()
            yield item, rows, seconds
            needed = self.clock.now() - start
            self.taking += needed
            self.taken.append((len(item.paths), needed))

    def end_of(self, files: int) -> Tuple[float, float]:
        """When a batch is read, and the seconds that it takes."""
        start = max(self.clock.now(), heapq.heappop(self.free))
        end = start + batch_seconds(self.costs, self.storage, files)
        self.storage_free = max(start, self.storage_free) + files * self.costs.read_bytes / self.storage.bandwidth
        end = max(end, self.storage_free)
        heapq.heappush(self.free, end)
        return end, end - start

    def listed(self, archive: Archive) -> Iterator[Folder]:
        """The folders, each not before the walk has it. The walk never waits for the client."""
        made = self.clock.now()
        folders = folders_of(archive)
        while True:
            with self.clock.stopped():
                folder = next(folders, None)
            if folder is None:
                return
            made += walk_seconds(self.costs, self.storage, folder.number)
            before = self.clock.now()
            self.clock.wait_until(made)
            self.waited += self.clock.now() - before
            yield folder


def run_client(
    costs: Costs,
    archive: Archive,
    storage: Storage,
    workers: int,
    path: str,
    clock: Clock,
    rows: Rows = rows_of,
) -> Outcome:
    """Indexes simulated folders into a real index at the path. The scheduler, and the way of the rows from there
    to the client, take no time here."""
    crew = _Crew(clock, costs, storage, workers, rows)

    @contextmanager
    def crew_of(*_: Any) -> Iterator[_Crew]:
        yield crew

    ends: List[float] = []
    finish = _index.Index.finish

    def timed_finish(index: Any) -> None:
        start = clock.now()
        finish(index)
        ends.append(clock.now() - start)

    with mock.patch.object(_index, "Crew", crew_of), mock.patch.object(
        _index, "folders", lambda _: crew.listed(archive)
    ), mock.patch.object(_index.Index, "finish", timed_finish):
        counts = _index.index("/", path)
    return Outcome(clock.now(), crew.composing, crew.taking, ends[0], growth_of(crew.taken), counts)


def growth_of(taken: List[Tuple[int, float]]) -> List[Tuple[int, float]]:
    """Seconds for each row, over stretches of rows each about twice as long as the one before."""
    growth: List[Tuple[int, float]] = []
    rows = files = 0
    seconds = 0.0
    for number, each in taken:
        files += number
        seconds += each
        if files >= max(50_000, rows):
            growth.append((rows + files // 2, seconds / files))
            rows, files, seconds = rows + files, 0, 0.0
    if not growth and files:
        growth.append((files // 2, seconds / files))
    return growth
