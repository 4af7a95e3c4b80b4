"""The client and the scheduler as they are, and workers of Dask that only wait as long as reading would take: the
simulation is compared with that. All workers are in two processes, which many waiting ones may share."""

import os
import tempfile
import time
from typing import List
from unittest import mock

import distributed
from radvex.archive import _index
from radvex.archive._describe import Batch

from client import folders_of, rows_of
from costs import Archive, Costs, Storage, batch_seconds
from measure import HERE, program, scheduler

PROCESSES = 2


def waiting(batch: Batch) -> List[bytes]:
    """What `describe` gives, when it would. The root says how long a batch takes, and each of its files."""
    start = time.monotonic()
    each_batch, each_file = map(float, batch.root.split("+"))
    rows = rows_of(batch.paths)
    time.sleep(max(0.0, start + each_batch + len(batch.paths) * each_file - time.monotonic()))
    return rows


def run_cluster(costs: Costs, archive: Archive, storage: Storage, workers: int) -> float:
    """Seconds of an index on a cluster that is there. Of the storage, only the latency of files counts."""
    start = batch_seconds(costs, storage, 0)
    root = f"{start}+{batch_seconds(costs, storage, 1) - start}"

    def told(batch: Batch) -> Batch:
        return Batch(root, *batch[1:])

    with tempfile.TemporaryDirectory(prefix="radvex-cluster-") as folder, scheduler(folder) as (_, address):
        share = [workers // PROCESSES + (each < workers % PROCESSES) for each in range(PROCESSES)]
        words = [(os.path.join(HERE, "idle_workers.py"), address, str(number), folder) for number in share if number]
        with program(*words[0]), program(*words[-1] if len(words) > 1 else ("-c", "pass")):
            with distributed.Client(address) as client:
                client.wait_for_workers(workers, timeout=120)
                client.run(waiting, Batch("0+0", [], False))  # imports what is needed
            made = _index._Run.batches
            with mock.patch.object(_index, "describe", waiting), mock.patch.object(
                _index, "folders", lambda _: folders_of(archive)
            ), mock.patch.object(_index._Run, "batches", lambda run: map(told, made(run))):
                begun = time.perf_counter()
                _index.index("/", os.path.join(folder, "i.sqlite"), cluster=address)
                return time.perf_counter() - begun
