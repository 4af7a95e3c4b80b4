"""Work on items, by this process or by the workers of a Dask cluster."""

from __future__ import annotations

import errno
import importlib
import math
import multiprocessing
import os
import socket
import tempfile
import time
from collections import deque
from contextlib import ExitStack
from itertools import chain, islice
from multiprocessing import forkserver
from typing import Any, Callable, Deque, Dict, Iterable, Iterator, List, Optional, Protocol, Sequence, Tuple, TypeVar, Union

from radvex._errors import ReaderDied, UsageError
from radvex._jobs import jobs_of
from radvex._version import __version__

_BETWEEN_COUNTS = 1.0  # seconds
_LOCAL_SETTINGS = {
    "distributed.worker.profile.interval": "1h",  # by default it looks at each worker's stack a hundred times a second
}
_AHEAD = 2  # items that are on their way to each worker, with the one on which it works


class Item(Protocol):
    """Work for one worker."""

    def parts(self) -> Sequence[Any]:
        """Smaller items that are the same work together; none if it cannot be divided."""

    def lost(self, reason: str, number: Optional[int]) -> Any:
        """The result of an item that ends whoever works on it, with a signal if one is known."""


AnyItem = TypeVar("AnyItem", bound=Item)


def in_parts(work: Callable[[AnyItem], List[Any]], item: AnyItem) -> List[Any]:
    """The results of an item, one for each piece in it. If the program that reads the files ends, as the system may end
    what takes all memory, the parts of the item are tried, down to the piece that does it."""
    try:
        return work(item)
    except ReaderDied as error:
        parts = item.parts()
        if not parts:
            return list(item.lost(str(error), error.signal))
    return [result for part in parts for result in in_parts(work, part)]


def require_archive(root: str) -> None:
    """For a worker, which is on another machine, perhaps: where the storage is not mounted is no such folder, or an empty
    one.

    Raises FileNotFoundError
    """
    try:
        with os.scandir(root) as entries:
            if next(entries, None) is not None:
                return
    except FileNotFoundError:
        pass
    raise FileNotFoundError(errno.ENOENT, f"{socket.gethostname()} does not see the archive", root)


def timed(work: Callable[[AnyItem], Any], item: AnyItem, version: str) -> Tuple[Any, float]:
    """What a worker does: the result, and the seconds that it took.

    Raises UsageError where another version of this package would do something else
    """
    if version != __version__:
        raise UsageError(f"{socket.gethostname()} has version {__version__} of radvex, and not {version}.")
    start = time.monotonic()
    return work(item), time.monotonic() - start


class OneProcess:
    """This process does the work, one item after the other."""

    def run(self, work: Callable[[AnyItem], Any], items: Iterable[AnyItem]) -> Iterator[Tuple[AnyItem, Any, float]]:
        """Items with their results, and the seconds that they took."""
        for item in items:
            result, seconds = timed(work, item, __version__)
            yield item, result, seconds


class Cluster:
    """The workers of a Dask cluster do the work. As many items as they need are on their way, never all: the graph of
    an archive would not fit into the memory of a scheduler."""

    def __init__(self, client: Any) -> None:
        self._client = client
        self._distributed = importlib.import_module("distributed")
        self._workers = 1
        self._counted = -math.inf

    def _wanted(self) -> int:
        """How many items should be on their way. Workers come and go; to count them takes a while when they are many."""
        if time.monotonic() - self._counted > _BETWEEN_COUNTS:
            self._counted = time.monotonic()
            self._workers = max(1, len(self._client.scheduler_info()["workers"]))
        return _AHEAD * self._workers

    def run(self, work: Callable[[AnyItem], Any], items: Iterable[AnyItem]) -> Iterator[Tuple[AnyItem, Any, float]]:
        """Items with their results and the seconds that they took, in the order in which they are finished. An item whose
        worker goes away is done by another one; when that happens again and again, its parts are tried, down to the file
        that does it."""
        source = iter(items)
        again: Deque[AnyItem] = deque()
        # With results: they are fetched while this process works on earlier ones.
        running = self._distributed.as_completed(with_results=True, raise_errors=False)
        on_their_way: Dict[Any, AnyItem] = {}

        def give() -> None:
            while len(on_their_way) < self._wanted():
                taken = [again.popleft()] if again else list(islice(source, 1))
                if not taken:
                    return
                item = taken[0]
                future = self._client.submit(timed, work, item, __version__, pure=False)
                on_their_way[future] = item
                running.add(future)

        give()
        while on_their_way:
            future, result = next(running)
            item = on_their_way.pop(future)
            if future.status == "finished":
                future.release()
                give()  # before the result is looked at, so that no worker waits
                yield item, result[0], result[1]
                continue
            if future.status == "error" and isinstance(result[1], self._distributed.KilledWorker):
                parts = item.parts()
                again.extend(parts)
                if not parts:
                    yield item, item.lost("each worker that took it was ended by it", None), 0.0
            elif future.status == "error":
                raise result[1]
            else:  # lost with a scheduler's memory
                again.append(item)
            future.release()
            give()


def _worker_method() -> str:
    """How workers of this machine are started. While this process loads Dask, another one does too, and all workers come
    from that one."""
    multiprocessing.get_context("forkserver").set_forkserver_preload(["distributed", __name__])
    try:
        forkserver.ensure_running()
    except OSError:  # the path of its socket may be too long in TMPDIR
        return "spawn"
    return "forkserver"


class Crew:
    """Who does the work: the workers of a cluster at an address, or processes of this machine, or this process. They are
    started when there is something to do: most runs find that nothing has changed.

    workers: processes of this machine; by default as many as there are cores; 0: this one
    cluster: the address of a Dask scheduler, such as "tcp://host:8786"
    """

    def __init__(self, workers: Optional[int], cluster: Optional[str]) -> None:
        self._count = 0 if workers == 0 else jobs_of(workers)
        self._cluster = cluster
        self._stack = ExitStack()
        self._runner: Union[None, OneProcess, Cluster] = None

    def __enter__(self) -> Crew:
        return self

    def __exit__(self, *error: Any) -> None:
        self._stack.__exit__(*error)

    def run(self, work: Callable[[AnyItem], Any], items: Iterable[AnyItem]) -> Iterator[Tuple[AnyItem, Any, float]]:
        """Items with their results, and the seconds that they took, as they are finished."""
        source = iter(items)
        first = list(islice(source, 2))
        if len(first) == 2 or (first and self._cluster is not None):
            self._runner = self._runner or self._started()
        runner = self._runner or OneProcess()  # one item is done before workers are there
        yield from runner.run(work, chain(first, source))

    def _started(self) -> Union[OneProcess, Cluster]:
        if self._cluster is None and self._count == 0:
            return OneProcess()
        if self._cluster is not None:
            distributed = importlib.import_module("distributed")
            return Cluster(self._stack.enter_context(distributed.Client(self._cluster)))
        return self._local_cluster()

    def _local_cluster(self) -> Cluster:
        method = _worker_method()
        dask = importlib.import_module("dask")
        distributed = importlib.import_module("distributed")
        enter = self._stack.enter_context
        enter(dask.config.set({**_LOCAL_SETTINGS, "distributed.worker.multiprocessing-method": method}))
        folder = enter(tempfile.TemporaryDirectory(prefix="radvex-"))  # for what the memory of workers cannot hold
        local = distributed.LocalCluster(
            n_workers=self._count,
            threads_per_worker=1,
            processes=True,
            security=True,  # other users of this machine could give work to the scheduler, as if they were this one
            dashboard_address="127.0.0.1:0",
            worker_dashboard_address="127.0.0.1:0",
            silence_logs=50,
            local_directory=folder,
        )
        return Cluster(enter(distributed.Client(enter(local))))
