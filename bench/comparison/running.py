"""Runs the rows of a job interleaved, each as a process of its own."""

import os
import shutil
import statistics
import subprocess
import tempfile
from dataclasses import dataclass, field
from typing import Callable, Optional

from .memory import peak_together

BARE = "bare DCMTK"
PLAIN = "plain"  # rows that move the bytes only have names that begin so


@dataclass
class Row:
    """One program of a job."""

    name: str
    command: list
    reference: str = BARE  # the row that its times are divided by
    removes: tuple = ()  # files and folders that are removed, unmeasured, before each run
    voxels: Optional[Callable] = None  # says how its output differs from what was generated, "" when it does not
    check: Optional[list] = None  # the command to look at the voxels of, when the measured one writes none
    reports: bool = False  # its time is the number of microseconds that it prints
    divides: bool = False  # among processes, whose memory is added up in a run of its own
    limit: float = 0  # seconds that are wanted at most
    times: float = 0  # the times of its reference that are wanted at most
    most: float = 0  # MiB that are wanted at most
    found: Optional[Callable] = None  # as voxels, of what else the program found
    needs: str = ""  # the program that has to be installed, where another one starts it


@dataclass
class Job:
    title: str
    rows: list
    prepare: Optional[Callable] = None  # makes its data, unmeasured
    rounds: int = 0  # at most, where a round takes long


@dataclass
class RowResult:
    row: Row
    state: str = ""  # "missing", "failed", "other voxels: ...", "other result: ..." or nothing
    seconds: list = field(default_factory=list)
    processor: list = field(default_factory=list)
    mebibytes: list = field(default_factory=list)
    largest: list = field(default_factory=list)  # MiB of the largest process
    together: Optional[float] = None  # MiB of all processes, where the row divides its work

    @property
    def is_measured(self):
        return bool(self.seconds)

    def median(self, values):
        return statistics.median(values) if values else None


@dataclass
class JobResult:
    title: str
    rows: list

    def find(self, name):
        return next((row for row in self.rows if row.row.name == name and row.is_measured), None)

    def plain(self):
        return next((row for row in self.rows if row.row.name.startswith(PLAIN) and row.is_measured), None)


class Runner:
    def __init__(self, measure, rounds):
        self.measure, self.rounds = measure, rounds

    def run(self, job):
        if job.prepare is not None:
            job.prepare()
        results = [RowResult(row) for row in job.rows]
        for result in results:
            result.state = self._prepare(result.row)
        for result in results:
            if result.row.divides and result.state not in ("missing", "failed"):
                _remove(result.row.removes)
                result.together = peak_together(result.row.command)
        for _ in range(min(self.rounds, job.rounds or self.rounds)):
            for result in results:
                if result.state not in ("missing", "failed"):
                    self._round(result)
        for result in results:
            if result.state == "failed":
                result.seconds = result.processor = result.mebibytes = []
        return JobResult(job.title, results)

    def _prepare(self, row):
        """The state before the rounds: what is there, and whether its voxels, or what else it found, are those that were
        generated."""
        if shutil.which(row.needs or row.command[0]) is None:
            return "missing"
        compare, what = (row.voxels, "voxels") if row.voxels is not None else (row.found, "result")
        if compare is None:
            return ""
        _remove(row.removes)
        if self._measured(row.check or row.command) is None:
            return "failed"
        difference = compare()
        return "other %s: %s" % (what, difference) if difference else "same " + what

    def _round(self, result):
        _remove(result.row.removes)
        measured = self._measured(result.row.command)
        if measured is None:
            result.state = "failed"
            return
        seconds, processor, kibibytes, output = measured
        if result.row.reports:
            seconds = processor = float(output) / 1e6
        result.seconds.append(seconds)
        result.processor.append(processor)
        result.mebibytes.append(max(result.together or 0, kibibytes / 1024))
        result.largest.append(kibibytes / 1024)

    def _measured(self, command):
        """Wall and processor seconds, peak memory and output of one run; nothing when the program failed."""
        with tempfile.NamedTemporaryFile("r") as figures:
            process = subprocess.run([self.measure, figures.name, *command], stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
            words = figures.read().split()
        if process.returncode != 0 or len(words) != 4 or int(words[3]) != 0:
            return None
        # The output of a dump is long and of no use here.
        return float(words[0]), float(words[1]), int(words[2]), process.stdout[:100]


def _remove(paths):
    for path in paths:
        if os.path.isdir(path):
            shutil.rmtree(path)
        elif os.path.exists(path):
            os.remove(path)
