"""How long an index takes, by a simulation of its batches in virtual time."""

import heapq
import itertools
import math
from collections import deque
from typing import Deque, List, NamedTuple, Optional, Tuple

from radvex.archive._cluster import _AHEAD
from radvex.archive._describe import seconds_of

from costs import Archive, Costs, Storage, batch_seconds, walk_seconds, write_cost


class Outcome(NamedTuple):
    """What a simulated run comes to."""

    seconds: float
    client: float  # share of the time in which the client works
    scheduler: float
    workers: float  # of all workers
    most_files: int  # that were on their way at the same time


_SUBMITTED, _SCHEDULED, _READ, _RECEIVED, _FREE = range(5)


class _Simulation:
    """One run. The client does one thing after the other: it has a result, gives out batches while the workers need
    some, and then takes the result. The scheduler is a queue of which paths and rows take their turn. A worker takes
    the next batch as soon as it is free."""

    def __init__(self, costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool) -> None:
        self.costs, self.storage, self.workers = costs, storage, workers
        self.archive, self.digests = archive, digests
        self.pace = 1.0  # that the client takes for true
        self.left = self.total = archive.files
        self.list_file = walk_seconds(costs, storage, archive.files_per_folder) / archive.files_per_folder
        self.now = self.scheduler_free = self.storage_free = self.listed = self.composed = 0.0
        self.client_busy = self.scheduler_busy = self.workers_busy = 0.0
        self.client_works = False
        self.idle = workers
        self.batches_out = self.files_out = self.most_files = self.rows = 0
        self.waiting: Deque[int] = deque()  # batches for which no worker is free
        self.results: Deque[Tuple[int, float]] = deque()  # files, seconds of a worker; the client has none
        self.in_hand: Optional[Tuple[int, float]] = None  # the result that the client takes next
        self.events: List[Tuple[float, int, int, int, float]] = []
        self.count = itertools.count()

    def at(self, time: float, kind: int, files: int, seconds: float = 0.0) -> None:
        heapq.heappush(self.events, (time, next(self.count), kind, files, seconds))

    def run(self) -> Outcome:
        self.now = self.listed = self.composed = self.costs.start
        self.client_turn()
        while self.events:
            self.now, _, kind, files, seconds = heapq.heappop(self.events)
            if kind == _SUBMITTED:
                self.pass_scheduler(files, _SCHEDULED)
            elif kind == _SCHEDULED:
                self.waiting.append(files)
                self.begin_reading()
            elif kind == _READ:
                self.idle += 1
                self.pass_scheduler(files, _RECEIVED, seconds)
                self.begin_reading()
            elif kind == _RECEIVED:
                self.results.append((files, seconds))
                self.client_turn()
            else:
                self.client_works = False
                self.client_turn()
        finish = self.total * self.costs.finish_file
        seconds = self.now + finish
        shares = (self.client_busy + finish, self.scheduler_busy, self.workers_busy / self.workers)
        return Outcome(seconds, *(share / seconds if seconds else 0.0 for share in shares), self.most_files)

    def client_turn(self) -> None:
        if self.client_works:
            return
        if self.in_hand is None and self.results:
            self.in_hand = self.results.popleft()
            self.batches_out -= 1
        if self.left and self.batches_out < _AHEAD * self.workers:
            self.give()
        elif self.in_hand is not None:
            self.take(*self.in_hand)
            self.in_hand = None

    def give(self) -> None:
        """The list of the next batch is made while the client does other things, but not that of the one after."""
        files = min(self.archive.batch_size(self.digests, self.pace), self.left)
        self.left -= files
        self.listed = max(self.listed, self.composed) + files * self.list_file
        self.composed = max(self.now, self.listed)
        work = files * self.costs.compose_file + self.costs.submit_batch
        self.client_busy += work
        self.client_does(self.composed + work)
        self.batches_out += 1
        self.files_out += files
        self.most_files = max(self.most_files, self.files_out)
        self.at(self.composed + work, _SUBMITTED, files)

    def take(self, files: int, seconds: float) -> None:
        expected = files * seconds_of(self.archive.file_size, self.digests)
        self.pace += 0.3 * (max(0.1, seconds / expected) - self.pace)
        work = files * (self.costs.receive_file + write_cost(self.costs, self.rows + files / 2))
        self.rows += files
        self.files_out -= files
        self.client_busy += work
        self.client_does(self.now + work)

    def client_does(self, until: float) -> None:
        self.client_works = True
        self.at(until, _FREE, 0)

    def pass_scheduler(self, files: int, then: int, seconds: float = 0.0) -> None:
        work = (self.costs.schedule_batch + files * self.costs.schedule_file) / 2  # on the way out, and back
        self.scheduler_busy += work
        self.scheduler_free = max(self.scheduler_free, self.now) + work
        self.at(self.scheduler_free, then, files, seconds)

    def begin_reading(self) -> None:
        while self.idle and self.waiting:
            files = self.waiting.popleft()
            self.idle -= 1
            end = self.now + batch_seconds(self.costs, self.storage, files)
            if math.isfinite(self.storage.bandwidth):
                sent = max(self.storage_free, self.now) + files * self.costs.read_bytes / self.storage.bandwidth
                self.storage_free = sent
                end = max(end, sent)
            self.workers_busy += end - self.now
            self.at(end, _READ, files, end - self.now)


def simulate(costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool = False) -> Outcome:
    """Simulates a run in which nothing was indexed before and nothing fails."""
    return _Simulation(costs, archive, storage, workers, digests).run()
