from __future__ import annotations

import os
import sqlite3
from contextlib import closing
from dataclasses import replace
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

from radvex._file import PathLike
from radvex.archive._cluster import Crew
from radvex.archive._describe import Batch, Row, describe, rows_in, seconds_of
from radvex.archive._histograms import draw, require_matplotlib
from radvex.archive._progress import Progress, Teller
from radvex.archive._report import report
from radvex.archive._store import read_only, require_condition, writable

_SECONDS = 2.0  # of work in a batch
_MOST = 4000  # files in a batch, and in a page of the index
_EXAMPLES = 10  # of files that were not judged

Stamp = Tuple[int, int]
"""Size in bytes, time of the last change in nanoseconds."""


class Files(NamedTuple):
    """Files of an index that a worker takes together."""

    batch: Batch
    keys: List[Tuple[int, Any]]  # folder and name in the index
    stamps: List[Stamp]  # as indexed

    def parts(self) -> List[Files]:
        """Two halves; none of a single file."""
        middle = len(self.keys) // 2
        halves = zip(self.batch.parts(), (slice(None, middle), slice(middle, None)))
        return [Files(batch, self.keys[places], self.stamps[places]) for batch, places in halves]

    def lost(self, reason: str, number: Optional[int]) -> List[Optional[Row]]:
        """What is recorded of files that nobody could read."""
        return [*rows_in(self.batch.lost(reason, number))]


def judge(files: Files) -> List[Optional[Row]]:
    """A row for each of the files; None for one that is not, or did not stay, as it was indexed."""
    root, paths = files.batch.root, files.batch.paths

    def is_as_indexed(place: int) -> bool:
        return _stamp(os.path.join(root, paths[place])) == files.stamps[place]

    places = [place for place in range(len(paths)) if is_as_indexed(place)]
    found: List[Optional[Row]] = [None] * len(paths)
    if places:
        records = rows_in(describe(replace(files.batch, paths=[paths[place] for place in places])))
        for place, record in zip(places, records):
            found[place] = record if is_as_indexed(place) else None
    return found


def _stamp(path: str) -> Optional[Stamp]:
    try:
        status = os.stat(path)
    except OSError:
        return None
    return status.st_size, status.st_mtime_ns


class _Run:
    """One run of the check."""

    def __init__(
        self, database: sqlite3.Connection, questions: sqlite3.Connection, where: Optional[str], values: Sequence[Any]
    ) -> None:
        self._database = database
        self._questions = questions
        self._wanted = f"({where if where is not None else '1'}) AND state = 'dicom' AND digest IS NULL"
        self._values = list(values)
        self._root = os.fsdecode(questions.execute("SELECT root FROM archive").fetchone()[0])
        require_condition(questions, where, self._values)
        self.total: int = self._ask("SELECT count(*) FROM paths WHERE " + self._wanted)[0][0]
        self.read = self.failed = self.different = 0
        self.examples: List[str] = []

    def _ask(self, query: str, *values: Any) -> List[Any]:
        return self._questions.execute(query, [*self._values, *values]).fetchall()

    def _rows(self) -> Iterator[Any]:
        """Folder, name, path, size and time of what was not read, page by page: a question that stays open would keep
        all that is written meanwhile from being put into its place."""
        last = (-1, "")
        query = (
            f"SELECT folder, name, path, size, changed FROM paths WHERE {self._wanted} AND (folder, name) > (?, ?) "
            f"ORDER BY folder, name LIMIT {_MOST}"
        )
        while True:
            rows = self._ask(query, *last)
            if not rows:
                return
            yield from rows
            last = rows[-1][:2]

    def items(self) -> Iterator[Files]:
        """What has to be read, in parts of about the same work."""
        files = self._none()
        seconds = 0.0
        for folder, name, path, size, changed in self._rows():
            files.batch.paths.append(os.fsdecode(path))
            files.keys.append((folder, name))
            files.stamps.append((size, changed))
            seconds += seconds_of(size, True)
            if seconds >= _SECONDS or len(files.keys) >= _MOST:
                yield files
                files, seconds = self._none(), 0.0
        if files.keys:
            yield files

    def _none(self) -> Files:
        return Files(Batch(self._root, [], True), [], [])

    def take(self, files: Files, records: List[Optional[Row]]) -> None:
        """Writes what a worker found. It counts from here on."""
        rows = []
        for path, key, stamp, record in zip(files.batch.paths, files.keys, files.stamps, records):
            if record is None:
                self.different += 1
                self.examples += [path] if len(self.examples) < _EXAMPLES else []
                continue
            state, reason, signal, digest = record[:4]
            rows.append((state, reason, signal, digest, *key, *stamp))
            self.read += 1
            self.failed += bool(reason)
        self._database.execute("BEGIN IMMEDIATE")
        self._database.executemany(
            "UPDATE files SET state = ?, reason = ?, signal = ?, digest = ? "
            "WHERE folder = ? AND name = ? AND size = ? AND changed = ? AND state = 'dicom'",
            rows,
        )
        if any(row[0] != "dicom" for row in rows):
            self._database.execute("UPDATE archive SET summarized = 0")  # series have fewer files now
        self._database.execute("COMMIT")


def check(
    index: PathLike,
    where: Optional[str] = None,
    values: Sequence[Any] = (),
    *,
    histograms: Optional[PathLike] = None,
    workers: Optional[int] = None,
    cluster: Optional[str] = None,
    progress: Optional[Progress] = None,
) -> Dict[str, Any]:
    """Reads every pixel of the DICOM files of an index, and says what is broken, by whom it was made, and how much. A
    file that was read is not read again before it changes; a run that was ended in any way goes on where it was.

    index: of the archive
    where, values: only the files for which this holds; see find
    histograms: folder for pictures of the report, made if it is not there; they need matplotlib
    workers, cluster: see radvex.archive.index
    progress: gets a dict with the files "done", "failed" ones among them, their "total", "seconds" and "secondsLeft"
        from time to time

    Returns the report, and under "run" what this run did: "read" files, "failed" ones among them, and those that are
    "different" on the disk from what was indexed, or gone. These were not judged; "examples" are some of their paths.

    Raises UsageError for a condition that is no SQL, FileError, FileNotFoundError, ImportError without matplotlib.
    """
    if histograms is not None:
        require_matplotlib()
    path = os.fspath(index)
    teller = Teller(progress)
    with closing(read_only(path)) as questions, writable(path, []) as (database, _):
        database.execute("PRAGMA synchronous = NORMAL")
        run = _Run(database, questions, where, values)
        with Crew(workers, cluster) as crew:
            for files, records, _ in crew.run(judge, run.items()):
                run.take(files, records)
                done = run.read + run.different
                teller.tell({"done": done, "failed": run.failed}, done, run.total)
        found = report(path, where, values)
        found["run"] = {
            "read": run.read,
            "failed": run.failed,
            "different": run.different,
            "examples": run.examples,
            "seconds": teller.seconds,
        }
        if histograms is not None:
            draw(path, os.fspath(histograms), where, values)
        return found
