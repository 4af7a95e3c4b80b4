from __future__ import annotations

import os
import sqlite3
import time
from contextlib import ExitStack
from typing import Any, Dict, Iterator, List, Optional, Tuple

from radvex._errors import FileError
from radvex._file import PathLike
from radvex.archive._cluster import Crew
from radvex.archive._describe import Batch, describe, rows_in, seconds_of
from radvex.archive._listing import Folder, folders
from radvex.archive._progress import FileCount, Progress, Teller
from radvex.archive._store import Index, stored_name
from radvex.archive._verdicts import batches as series_batches, judge, keep as keep_verdicts

_SECONDS = 2.0  # of work in a batch
_MOST = 2000  # files in a batch
_BETWEEN_COMMITS = 1.0


class _Pending:
    """A folder of which files are on their way."""

    def __init__(self, folder: int, digest: str) -> None:
        self.folder = folder
        self.digest = digest
        self.left = 0
        self.is_listed = False


class _Run:
    """One run of the indexer."""

    def __init__(self, index: Index, root: str, digests: bool, progress: Optional[Progress], count: Optional[FileCount]) -> None:
        self._index = index
        self._root = root
        self._digests = digests
        self._teller = Teller(progress)
        self._count = count
        self._places: Dict[str, Tuple[_Pending, str, int, int]] = {}  # path -> folder, name, size, changed
        self._committed = time.monotonic()
        self._pace = 1.0  # of the workers and their storage: seconds for each one that was expected
        self.read = self.unchanged = self.failed = self.verdicts = 0

    def batches(self) -> Iterator[Batch]:
        """The files that have to be read, in batches of about the same work. Reads the list of the archive as it goes."""
        paths: List[str] = []
        seconds = 0.0
        for folder in folders(self._root):
            for path, size in self._changed(folder):
                paths.append(path)
                seconds += seconds_of(size, self._digests)
                if seconds * self._pace >= _SECONDS or len(paths) >= _MOST:
                    yield Batch(self._root, paths, self._digests)
                    paths, seconds = [], 0.0
            self._tell()
        if paths:
            yield Batch(self._root, paths, self._digests)

    def _changed(self, folder: Folder) -> Iterator[Tuple[str, int]]:
        """The files of a folder that the index does not have as they are."""
        number, digest = self._index.folder(folder.path)
        kept = folder.digest + ("+" if self._digests else "")
        if folder.problem:
            self._index.finish_folder(number, None, folder.problem)
            return
        if digest in (kept, folder.digest + "+"):
            self.unchanged += folder.number
            return
        self._index.finish_folder(number, None)
        known = self._index.files(number)
        pending = _Pending(number, kept)
        for name, size, changed in folder.files():
            was = known.pop(name, None)
            is_same = was is not None and was[:2] == (size, changed) and was[2] != "vanished"
            if is_same and was is not None and (was[3] or not self._digests or was[2] != "dicom"):
                self.unchanged += 1
                continue
            path = f"{folder.path}/{name}" if folder.path else name
            pending.left += 1
            self._places[path] = (pending, name, size, changed)
            yield path, size
        self._index.vanish(number, known)
        pending.is_listed = True
        self._finish(pending)

    def take(self, batch: Batch, chunks: List[bytes], seconds: float) -> None:
        """Writes what a worker found in so many seconds."""
        rows = []
        touched: Dict[int, _Pending] = {}
        expected = 0.0
        for path, row in zip(batch.paths, rows_in(chunks)):
            pending, name, size, changed = self._places.pop(path)
            rows.append((pending.folder, stored_name(name), size, changed, *row))
            pending.left -= 1
            touched[pending.folder] = pending
            expected += seconds_of(size, self._digests)
            self.failed += row[0] == "broken" or (row[0] == "dicom" and row[1] is not None)
        self.read += len(rows)
        self._pace += 0.3 * (max(0.1, seconds / expected) - self._pace)
        self._index.write(rows)
        for pending in touched.values():
            self._finish(pending)
        self._commit()

    def judged(self, series: int) -> None:
        """Commits the verdicts on so many series."""
        self.verdicts += series
        self._commit()

    def _finish(self, pending: _Pending) -> None:
        if pending.is_listed and pending.left == 0:
            self._index.finish_folder(pending.folder, pending.digest)

    def _commit(self) -> None:
        if time.monotonic() - self._committed >= _BETWEEN_COMMITS:
            self._index.commit()
            self._committed = time.monotonic()
        self._tell()

    def _tell(self) -> None:
        self._teller.tell(self.state(), self.read + self.unchanged, self._count.total if self._count else None)

    def state(self) -> Dict[str, Any]:
        """How far it is."""
        seconds = self._teller.seconds
        return {
            "read": self.read,
            "unchanged": self.unchanged,
            "failed": self.failed,
            "verdicts": self.verdicts,
            "seconds": seconds,
            "perSecond": self.read / seconds if seconds else 0.0,
        }


def index(
    archive: PathLike,
    path: PathLike,
    *,
    workers: Optional[int] = None,
    cluster: Optional[str] = None,
    digests: bool = False,
    verdicts: bool = False,
    progress: Optional[Progress] = None,
) -> Dict[str, Any]:
    """Indexes an archive: one row for each file below a folder, with what the file says about itself or why it cannot be
    read, and tables of series and studies. What did not change since the last run is not read again, and what is gone is
    marked. A run that was ended in any way goes on where it was.

    archive: the folder, which every worker has to see under the same path
    path: of the index, an SQLite file. It is made if it is not there, and belongs to one archive
    workers: processes of this machine; by default as many as there are cores; 0: this process reads
    cluster: the address of a Dask scheduler, whose workers read instead; they need this package
    digests: also read all pixels, and keep the SHA-256 of the stored values of each file
    verdicts: also say of each series whether it would be volumes, and which, from the attributes of all its files
    progress: gets a dict with "read", "unchanged", "failed", "verdicts", "seconds", "perSecond", "total" files and
        "secondsLeft" from time to time; the last two are None until all folders were looked at

    Returns the numbers of files: "read" and "unchanged" in this run, "dicom", "notDicom", "broken" and "vanished" in all;
    that of series on which there is a new verdict, "verdicts"; and the paths of "closedFolders", which cannot be read: what
    lies below is as it was in earlier runs.

    Raises FileError, also when nothing is left in the archive: its storage may not be mounted; FileNotFoundError.
    """
    root = os.path.realpath(os.fspath(archive))
    if not os.path.isdir(root):
        raise FileNotFoundError(2, "There is no such folder", os.fspath(archive))
    kept = Index(os.fspath(path), root)
    try:
        _require_files(kept, root)
        with ExitStack() as stack, Crew(workers, cluster) as crew:
            count = stack.enter_context(FileCount(root)) if progress is not None else None
            run = _Run(kept, root, digests, progress, count)
            for batch, chunks, seconds in crew.run(describe, run.batches()):
                run.take(batch, chunks, seconds)
            kept.commit()
            kept.finish()
            if verdicts:
                for series, found, _ in crew.run(judge, series_batches(kept.connection, root)):
                    keep_verdicts(kept.connection, series, found)
                    run.judged(len(found))
                if run.verdicts:
                    kept.summarize()
        closed = kept.closed_folders()
        return {**run.state(), "closedFolders": closed, "dicom": 0, "notDicom": 0, "broken": 0, "vanished": 0, **kept.counts()}
    except sqlite3.DatabaseError as error:
        raise FileError(f"{os.fspath(path)} cannot be written: {error}. What was read before is in it.") from None
    finally:
        kept.close()


def _require_files(kept: Index, root: str) -> None:
    """An empty folder instead of the archive would make all files vanish, and all that is known of them."""
    with os.scandir(root) as entries:
        if next(entries, None) is None and kept.has_files():
            raise FileError(f"{root} is empty, and its index is not: is the storage mounted? If all is gone, remove the index.")
