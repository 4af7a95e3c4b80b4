"""Work on batches, by this process or by the workers of a Dask cluster."""

from __future__ import annotations

import importlib
import tempfile
from collections import deque
from contextlib import contextmanager
from typing import Any, Callable, Deque, Dict, Iterable, Iterator, List, Optional, Tuple

from radvex._jobs import jobs_of
from radvex.archive._describe import Batch, Record, halves

Work = Callable[[Batch], List[Record]]
Outcome = Tuple[Batch, List[Record]]

_AHEAD = 2  # batches that wait at each worker while it works on another


def killer(batch: Batch) -> Outcome:
    """What is recorded of a file that ended each worker that took it."""
    reason = "every worker that read it was ended by it"
    return batch, [("broken", reason, None, None, {}) for _ in batch.paths]


class OneProcess:
    """This process does the work, one batch after the other."""

    def run(self, work: Work, batches: Iterable[Batch]) -> Iterator[Outcome]:
        """Batches with their records."""
        for batch in batches:
            yield batch, work(batch)


class Cluster:
    """The workers of a Dask cluster do the work. As many batches as they need are on their way, never all: the graph of
    an archive would not fit into the memory of a scheduler."""

    def __init__(self, client: Any) -> None:
        self._client = client
        self._distributed = importlib.import_module("distributed")

    def run(self, work: Work, batches: Iterable[Batch]) -> Iterator[Outcome]:
        """Batches with their records, in the order in which they are finished. A batch whose worker goes away is done
        by another one; when that happens again and again, its halves are tried, down to the file that does it."""
        source = iter(batches)
        again: Deque[Batch] = deque()
        running = self._distributed.as_completed()
        on_their_way: Dict[Any, Batch] = {}

        def give() -> None:
            while len(on_their_way) < _AHEAD * max(1, len(self._client.scheduler_info()["workers"])):
                batch = again.popleft() if again else None
                if batch is None:
                    batch = next(source, None)
                if batch is None:
                    return
                future = self._client.submit(work, batch, pure=False)
                on_their_way[future] = batch
                running.add(future)

        give()
        while on_their_way:
            future = next(running)
            batch = on_their_way.pop(future)
            if future.status == "finished":
                yield batch, future.result()
            elif future.status == "error" and isinstance(future.exception(), self._distributed.KilledWorker):
                if len(batch.paths) > 1:
                    again.extend(halves(batch))
                else:
                    yield killer(batch)
            elif future.status == "error":
                raise future.exception()
            else:  # lost with a scheduler's memory
                again.append(batch)
            future.release()
            give()


@contextmanager
def workers_of(workers: Optional[int], cluster: Optional[str]) -> Iterator[Any]:
    """Who does the work: the workers of a cluster at an address, or processes of this machine; workers=0: this one.

    workers: processes; by default as many as there are cores
    cluster: the address of a Dask scheduler, such as "tcp://host:8786"
    """
    count = 0 if workers == 0 else jobs_of(workers)
    if cluster is None and count == 0:
        yield OneProcess()
        return
    distributed = importlib.import_module("distributed")
    if cluster is not None:
        with distributed.Client(cluster) as client:
            yield Cluster(client)
        return
    with tempfile.TemporaryDirectory(prefix="radvex-") as folder:  # where workers would put what their memory cannot hold
        with distributed.LocalCluster(
            n_workers=count,
            threads_per_worker=1,
            processes=True,
            dashboard_address=None,
            silence_logs=50,
            local_directory=folder,
        ) as local, distributed.Client(local) as client:
            yield Cluster(client)
