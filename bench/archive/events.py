"""How long an index takes, by a simulation of its batches in virtual time."""

import heapq
import itertools
import math
from collections import deque
from typing import Deque, List, NamedTuple, Tuple

from radvex.archive._cluster import _AHEAD

from costs import Archive, Costs, Storage, write_cost


class Outcome(NamedTuple):
    """What a simulated run comes to."""

    seconds: float
    client: float  # share of the time in which the client works
    scheduler: float
    workers: float  # of all workers
    most_files: int  # that were on their way at the same time


_SUBMITTED, _SCHEDULED, _READ, _RECEIVED, _FREE = range(5)


class _Simulation:
    """One run. The client does one thing after the other: it gives out batches while the workers need some, then
    takes one result. The scheduler is a queue of which paths and records take their turn. A worker takes the next
    batch as soon as it is free."""

    def __init__(self, costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool) -> None:
        self.costs, self.storage, self.workers = costs, storage, workers
        self.size = archive.batch_size(digests)
        self.left = self.total = archive.files
        self.list_file = costs.list_file + storage.stat_latency
        self.list_file += (costs.list_folder + storage.folder_latency) / archive.files_per_folder
        self.submit = costs.submit_batch + workers * costs.submit_worker
        self.schedule = (costs.schedule_batch + workers * costs.schedule_worker) / 2  # on the way out, and back
        self.now = self.client_free = self.scheduler_free = self.storage_free = self.listed = self.composed = 0.0
        self.client_busy = self.scheduler_busy = self.workers_busy = 0.0
        self.client_works = False
        self.idle = workers
        self.batches_out = self.files_out = self.most_files = self.rows = 0
        self.waiting: Deque[int] = deque()  # batches for which no worker is free
        self.results: Deque[int] = deque()  # that the client has not taken
        self.events: List[Tuple[float, int, int, int]] = []
        self.count = itertools.count()

    def at(self, time: float, kind: int, files: int) -> None:
        heapq.heappush(self.events, (time, next(self.count), kind, files))

    def run(self) -> Outcome:
        self.now = self.listed = self.composed = self.costs.start
        self.client_turn()
        while self.events:
            self.now, _, kind, files = heapq.heappop(self.events)
            if kind == _SUBMITTED:
                self.pass_scheduler(files, _SCHEDULED)
            elif kind == _SCHEDULED:
                self.waiting.append(files)
                self.begin_reading()
            elif kind == _READ:
                self.idle += 1
                self.pass_scheduler(files, _RECEIVED)
                self.begin_reading()
            elif kind == _RECEIVED:
                self.results.append(files)
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
        if self.left and self.batches_out < _AHEAD * self.workers:
            self.give()
        elif self.results:
            self.take(self.results.popleft())

    def give(self) -> None:
        """The list of the next batch is made while the client does other things, but not that of the one after."""
        files = min(self.size, self.left)
        self.left -= files
        self.listed = max(self.listed, self.composed) + files * self.list_file
        self.composed = max(self.now, self.listed)
        work = files * self.costs.compose_file + self.submit
        self.client_busy += work
        self.client_does(self.composed + work)
        self.batches_out += 1
        self.files_out += files
        self.most_files = max(self.most_files, self.files_out)
        self.at(self.composed + work, _SUBMITTED, files)

    def take(self, files: int) -> None:
        work = files * (self.costs.receive_file + write_cost(self.costs, self.rows + files / 2))
        self.rows += files
        self.batches_out -= 1
        self.files_out -= files
        self.client_busy += work
        self.client_does(self.now + work)

    def client_does(self, until: float) -> None:
        self.client_works = True
        self.at(until, _FREE, 0)

    def pass_scheduler(self, files: int, then: int) -> None:
        work = self.schedule + files * self.costs.schedule_file / 2
        self.scheduler_busy += work
        self.scheduler_free = max(self.scheduler_free, self.now) + work
        self.at(self.scheduler_free, then, files)

    def begin_reading(self) -> None:
        while self.idle and self.waiting:
            files = self.waiting.popleft()
            self.idle -= 1
            end = self.now + self.costs.read_batch + files * (self.costs.read_file + self.storage.file_latency)
            if math.isfinite(self.storage.bandwidth):
                sent = max(self.storage_free, self.now) + files * self.costs.read_bytes / self.storage.bandwidth
                self.storage_free = sent
                end = max(end, sent)
            self.workers_busy += end - self.now
            self.at(end, _READ, files)


def simulate(costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool = False) -> Outcome:
    """Simulates a run in which nothing was indexed before and nothing fails."""
    return _Simulation(costs, archive, storage, workers, digests).run()
