"""Work on items, by this process or by the workers of a Dask cluster."""

from __future__ import annotations

import importlib
import tempfile
from collections import deque
from contextlib import contextmanager
from typing import Any, Callable, Deque, Dict, Iterable, Iterator, Optional, Protocol, Sequence, Tuple, TypeVar

from radvex._jobs import jobs_of

_AHEAD = 2  # items that are on their way to each worker, with the one on which it works


class Item(Protocol):
    """Work for one worker."""

    def parts(self) -> Sequence[Any]:
        """Smaller items that are the same work together; none if it cannot be divided."""

    def lost(self, reason: str, number: Optional[int]) -> Any:
        """The result of an item that ends whoever works on it, with a signal if one is known."""


AnyItem = TypeVar("AnyItem", bound=Item)


class OneProcess:
    """This process does the work, one batch after the other."""

    def run(self, work: Callable[[AnyItem], Any], items: Iterable[AnyItem]) -> Iterator[Tuple[AnyItem, Any]]:
        """Items with their results."""
        for item in items:
            yield item, work(item)


class Cluster:
    """The workers of a Dask cluster do the work. As many items as they need are on their way, never all: the graph of
    an archive would not fit into the memory of a scheduler."""

    def __init__(self, client: Any) -> None:
        self._client = client
        self._distributed = importlib.import_module("distributed")

    def run(self, work: Callable[[AnyItem], Any], items: Iterable[AnyItem]) -> Iterator[Tuple[AnyItem, Any]]:
        """Items with their results, in the order in which they are finished. An item whose worker goes away is done by
        another one; when that happens again and again, its parts are tried, down to the file that does it."""
        source = iter(items)
        again: Deque[AnyItem] = deque()
        running = self._distributed.as_completed()
        on_their_way: Dict[Any, AnyItem] = {}

        def give() -> None:
            while len(on_their_way) < _AHEAD * max(1, len(self._client.scheduler_info()["workers"])):
                item = again.popleft() if again else None
                if item is None:
                    item = next(source, None)
                if item is None:
                    return
                future = self._client.submit(work, item, pure=False)
                on_their_way[future] = item
                running.add(future)

        give()
        while on_their_way:
            future = next(running)
            item = on_their_way.pop(future)
            if future.status == "finished":
                yield item, future.result()
            elif future.status == "error" and isinstance(future.exception(), self._distributed.KilledWorker):
                parts = item.parts()
                again.extend(parts)
                if not parts:
                    yield item, item.lost("each worker that took it was ended by it", None)
            elif future.status == "error":
                raise future.exception()
            else:  # lost with a scheduler's memory
                again.append(item)
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
