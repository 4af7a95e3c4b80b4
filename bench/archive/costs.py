"""What an index of an archive costs, stage by stage, and the archives and storages for which that is asked."""

import json
import math
from typing import List, NamedTuple, Tuple

from radvex.archive._describe import seconds_of
from radvex.archive._index import _MOST, _SECONDS


class Costs(NamedTuple):
    """Seconds of each stage, as measure.py finds them, and bytes."""

    read_batch: float  # a worker, each batch: start of the program that reads
    read_file: float  # a worker, each file, without the latency of the storage
    read_bytes: float  # bytes that it reads of each file
    list_file: float  # the program that walks through the folders, each file
    list_folder: float  # the same, each folder
    compose_file: float  # the client, each file: what is new, and into which batch it goes
    submit_batch: float  # the client, each batch: to the scheduler and back, without its files
    receive_file: float  # the client, each file: its path goes out, and its row comes in
    write_file: List[Tuple[float, float]]  # rows in the index, and what the client needs to parse and write one more
    finish_file: float  # the client, each file at the end: series and studies
    schedule_batch: float  # the scheduler, each batch without its files
    schedule_file: float  # the scheduler, each file: its path goes through, and its row
    start: float  # until the first batch can be given out
    client_bytes: float  # memory of the client for each file that is on its way
    scheduler_bytes: float  # the same of the scheduler


FREE = Costs(**{name: [(1, 0.0)] if name == "write_file" else 0.0 for name in Costs._fields})
WALK_THREADS = 8  # of the walk, each with a folder of its own


class Archive(NamedTuple):
    """Files of one size in folders of one size."""

    files: int
    files_per_folder: int = 200
    file_size: int = 530_000  # bytes

    def batch_size(self, digests: bool, pace: float = 1.0) -> int:
        """Files in a batch, by the rule of the client, which measures the pace: seconds for each one it expected."""
        return max(1, min(_MOST, math.ceil(_SECONDS / (pace * seconds_of(self.file_size, digests)))))


class Storage(NamedTuple):
    """Storage that the workers share."""

    file_latency: float = 0.0  # seconds until a file is open and read, besides the work of the processor
    folder_latency: float = 0.0  # seconds until a folder is listed
    stat_latency: float = 0.0  # seconds until the size of a file is known while folders are listed
    bandwidth: float = math.inf  # bytes a second, of all workers together


def batch_seconds(costs: Costs, storage: Storage, files: int) -> float:
    """What a worker needs for a batch, if it has the storage for itself."""
    return costs.read_batch + files * (costs.read_file + storage.file_latency)


def walk_seconds(costs: Costs, storage: Storage, files: int) -> float:
    """What the walk needs for a folder with so many files. Its threads wait for the storage at the same time."""
    waiting = storage.folder_latency + files * storage.stat_latency
    return costs.list_folder + files * costs.list_file + waiting / WALK_THREADS


def load(path: str) -> Costs:
    """Costs that `save` wrote."""
    with open(path, encoding="utf-8") as file:
        return Costs(**json.load(file))


def save(costs: Costs, path: str) -> None:
    """Keeps costs as JSON."""
    with open(path, "w", encoding="utf-8") as file:
        json.dump(costs._asdict(), file, indent=1)
        file.write("\n")


def write_cost(costs: Costs, rows: float) -> float:
    """Seconds for one more row in an index with as many rows: between the measured sizes along the logarithm, outside
    of them the nearest one."""
    points = costs.write_file
    if rows <= points[0][0]:
        return points[0][1]
    for (low, before), (high, after) in zip(points, points[1:]):
        if rows <= high:
            share = math.log(rows / low) / math.log(high / low)
            return before + share * (after - before)
    return points[-1][1]


def mean_write_cost(costs: Costs, rows: int) -> float:
    """Seconds for each row while an index grows to as many rows."""
    steps = 200
    return sum(write_cost(costs, rows * (step + 0.5) / steps) for step in range(steps)) / steps
