"""The index: one SQLite file, written by one process and read by any number."""

from __future__ import annotations

import os
import sqlite3
from contextlib import contextmanager
from typing import Any, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Union

from radvex._errors import FileError, UsageError
from radvex._file import PathLike

COLUMNS: Dict[str, str] = {
    "SOPClassUID": "TEXT",
    "SOPInstanceUID": "TEXT",
    "TransferSyntaxUID": "TEXT",
    "PatientID": "TEXT",
    "StudyInstanceUID": "TEXT",
    "SeriesInstanceUID": "TEXT",
    "Modality": "TEXT",
    "StudyDate": "TEXT",
    "SeriesDate": "TEXT",
    "AcquisitionDate": "TEXT",
    "SeriesNumber": "TEXT",
    "InstanceNumber": "TEXT",
    "SeriesDescription": "TEXT",
    "StudyDescription": "TEXT",
    "Manufacturer": "TEXT",
    "ManufacturerModelName": "TEXT",
    "Rows": "INTEGER",
    "Columns": "INTEGER",
    "NumberOfFrames": "TEXT",
    "BitsStored": "INTEGER",
}
"""The attributes that a file has a column for."""

SOURCE = "count(*) || ' ' || sum(size) || ' ' || max(changed) || ' ' || sum(changed % 2147483647)"
"""Of the files of a series or the like: changes when one of them does, also when an older file of the same size takes its
place."""

_CACHE = 64 * 1024  # KiB: series come in any order, and so do their places in the index of series
_VERSION = 2
_SCHEMA = f"""
CREATE TABLE archive (root, runs INTEGER NOT NULL, version INTEGER NOT NULL, summarized INTEGER NOT NULL);
CREATE TABLE folders (id INTEGER PRIMARY KEY, path UNIQUE NOT NULL, digest TEXT, run INTEGER NOT NULL, problem TEXT);
CREATE TABLE files (
    folder INTEGER NOT NULL REFERENCES folders(id), name NOT NULL, size INTEGER NOT NULL, changed INTEGER NOT NULL,
    state TEXT NOT NULL, reason TEXT, signal INTEGER, digest TEXT, {", ".join(f"{name} {kind}" for name, kind in COLUMNS.items())},
    PRIMARY KEY (folder, name)) WITHOUT ROWID;
CREATE INDEX files_series ON files(SeriesInstanceUID) WHERE state = 'dicom';
CREATE TABLE series (SeriesInstanceUID TEXT, StudyInstanceUID TEXT, PatientID TEXT, Modality TEXT, SeriesNumber TEXT,
    SeriesDescription TEXT, files INTEGER, bytes INTEGER, verdict TEXT, reason TEXT, volumes INTEGER);
CREATE TABLE verdicts (SeriesInstanceUID TEXT PRIMARY KEY, verdict TEXT NOT NULL, reason TEXT, signal INTEGER,
    volumes INTEGER NOT NULL, description TEXT NOT NULL, source TEXT NOT NULL);
CREATE TABLE studies (StudyInstanceUID TEXT, PatientID TEXT, StudyDate TEXT, StudyDescription TEXT, series INTEGER,
    files INTEGER, bytes INTEGER);
CREATE TABLE counts (state TEXT PRIMARY KEY, files INTEGER);
CREATE VIEW paths AS SELECT CASE WHEN folders.path = '' THEN name
    WHEN 'blob' IN (typeof(folders.path), typeof(name)) THEN CAST(folders.path || '/' || name AS BLOB)
    ELSE folders.path || '/' || name END AS path, files.* FROM files JOIN folders ON folders.id = files.folder;
"""

_SUMMARIES = f"""
DELETE FROM series;
INSERT INTO series SELECT f.uid, study, patient, modality, number, text, files, bytes, verdict, reason, volumes FROM
    (SELECT SeriesInstanceUID AS uid, min(StudyInstanceUID) AS study, min(PatientID) AS patient, min(Modality) AS modality,
        min(SeriesNumber) AS number, min(SeriesDescription) AS text, count(*) AS files, sum(size) AS bytes,
        {SOURCE} AS source FROM files WHERE state = 'dicom' GROUP BY SeriesInstanceUID) AS f
    LEFT JOIN verdicts ON verdicts.SeriesInstanceUID = f.uid AND verdicts.source = f.source;
DELETE FROM studies;
INSERT INTO studies SELECT StudyInstanceUID, min(PatientID), min(StudyDate), min(StudyDescription),
    count(DISTINCT SeriesInstanceUID), count(*), sum(size) FROM files WHERE state = 'dicom' GROUP BY StudyInstanceUID;
DELETE FROM counts;
INSERT INTO counts SELECT state, count(*) FROM files GROUP BY state;
UPDATE archive SET summarized = 1;
"""

# Of a row of folders: whether it lies below one that could not be read in this run. Paths may be bytes.
_BELOW_CLOSED = """EXISTS (SELECT 1 FROM folders AS closed WHERE closed.run = ? AND closed.problem IS NOT NULL
    AND (closed.path = '' OR substr(CAST(folders.path AS BLOB), 1, length(CAST(closed.path || '/' AS BLOB)))
        = CAST(closed.path || '/' AS BLOB)))"""

Name = Union[str, bytes]


def stored_name(name: str) -> Name:
    """A file name as it is kept: text, or its bytes if they are no UTF-8."""
    try:
        name.encode()
    except UnicodeEncodeError:
        return os.fsencode(name)
    return name


class Index:
    """An index that this process writes. Nothing counts before `commit`."""

    def __init__(self, path: str, root: str) -> None:
        self.path = path
        try:
            self._database = sqlite3.connect(path, isolation_level=None)
        except sqlite3.DatabaseError as error:
            raise FileError(f"{path} cannot be opened: {error}.") from None
        try:
            self._open(root)
        except sqlite3.DatabaseError as error:
            self.close()
            raise FileError(f"{path} cannot be used as an index: {error}.") from None
        except BaseException:
            self.close()
            raise

    def _open(self, root: str) -> None:
        database = self._database
        database.execute("PRAGMA journal_mode = WAL")
        database.execute("PRAGMA synchronous = NORMAL")
        database.execute(f"PRAGMA cache_size = -{_CACHE}")
        database.execute("BEGIN IMMEDIATE")
        known = database.execute("SELECT count(*) FROM sqlite_master WHERE name = 'archive'").fetchone()[0]
        if not known:
            if database.execute("SELECT count(*) FROM sqlite_master").fetchone()[0]:
                raise FileError(f"{self.path} is a database of something else.")
            for statement in _SCHEMA.split(";\n"):
                if statement.strip():
                    database.execute(statement)
            database.execute("INSERT INTO archive VALUES (?, 0, ?, 0)", (stored_name(root), _VERSION))
        kept, runs, version, summarized = database.execute("SELECT * FROM archive").fetchone()
        if version != _VERSION:
            raise FileError(f"{self.path} was written by another version of this program.")
        if os.fsdecode(kept) != root:
            raise FileError(f"{self.path} is the index of {os.fsdecode(kept)}, not of {root}.")
        self.run: int = runs + 1
        self._is_summarized = bool(summarized)
        database.execute("UPDATE archive SET runs = ?", (self.run,))

    @property
    def connection(self) -> sqlite3.Connection:
        """For tables of what is made of the files."""
        return self._database

    def close(self) -> None:
        """Leaves out what was not committed."""
        self._database.close()

    def commit(self) -> None:
        """What was written counts from here on."""
        self._database.execute("COMMIT")
        self._database.execute("BEGIN IMMEDIATE")

    def folder(self, path: str) -> Tuple[int, Optional[str]]:
        """The number of a folder, which is noted as seen in this run, and the digest of the list of its files as it was
        last read to the end; None when it was not."""
        name = stored_name(path)
        found = self._database.execute("SELECT id, digest FROM folders WHERE path = ?", (name,)).fetchone()
        if found is None:
            row = self._database.execute("INSERT INTO folders(path, run) VALUES (?, ?)", (name, self.run))
            return int(row.lastrowid or 0), None
        self._database.execute("UPDATE folders SET run = ? WHERE id = ?", (self.run, found[0]))
        return found[0], found[1]

    def finish_folder(self, folder: int, digest: Optional[str], problem: str = "") -> None:
        """Every file of the folder's list is in the index; None: not yet."""
        self._database.execute(
            "UPDATE folders SET digest = ?, problem = ? WHERE id = ?", (digest, problem or None, folder)
        )

    def files(self, folder: int) -> Dict[str, Tuple[int, int, str, bool]]:
        """Size, time of the last change, state, and whether there is a digest of the pixels, by name."""
        rows = self._database.execute(
            "SELECT name, size, changed, state, digest IS NOT NULL FROM files WHERE folder = ?", (folder,)
        )
        return {os.fsdecode(row[0]): (row[1], row[2], row[3], bool(row[4])) for row in rows}

    def write(self, records: Iterable[Sequence[Any]]) -> None:
        """Folder, name, size, changed, state, reason, signal, digest and the columns of each file."""
        self._outdate()
        marks = ", ".join("?" * (8 + len(COLUMNS)))
        self._database.executemany(f"INSERT OR REPLACE INTO files VALUES ({marks})", records)

    def vanish(self, folder: int, names: Iterable[str]) -> None:
        """Marks files that are no longer there."""
        gone = [(folder, stored_name(name)) for name in names]
        if gone:
            self._outdate()
            self._database.executemany("UPDATE files SET state = 'vanished' WHERE folder = ? AND name = ?", gone)

    def _outdate(self) -> None:
        """Series and studies are no longer what they were when they were counted, even if this run is ended."""
        if self._is_summarized:
            self._database.execute("UPDATE archive SET summarized = 0")
            self._is_summarized = False

    def finish(self) -> None:
        """Marks the files of folders that are no longer there, but not of those below one that cannot be read, and counts series and studies."""
        gone = self._database.execute(
            "UPDATE files SET state = 'vanished' WHERE state != 'vanished' AND folder IN "
            f"(SELECT id FROM folders WHERE run != ? AND NOT {_BELOW_CLOSED})",
            (self.run, self.run),
        )
        self._database.execute("UPDATE folders SET digest = NULL WHERE run != ?", (self.run,))
        if gone.rowcount:
            self._outdate()
        if not self._is_summarized:
            self.summarize()
        self.commit()

    def summarize(self) -> None:
        """Counts series and studies anew."""
        for statement in _SUMMARIES.split(";\n"):
            if statement.strip():
                self._database.execute(statement)
        self.commit()

    def has_files(self) -> bool:
        """Whether any file was there in the last run."""
        return self._database.execute("SELECT 1 FROM files WHERE state != 'vanished' LIMIT 1").fetchone() is not None

    def closed_folders(self) -> List[str]:
        """Folders of this run that cannot be read."""
        rows = self._database.execute(
            "SELECT path FROM folders WHERE run = ? AND problem IS NOT NULL ORDER BY path", (self.run,)
        )
        return [os.fsdecode(path) for (path,) in rows]

    def counts(self) -> Dict[str, int]:
        """The number of files in each state."""
        return {state: count for state, count in self._database.execute("SELECT state, files FROM counts")}


@contextmanager
def writable(path: PathLike, tables: Iterable[str]) -> Iterator[Tuple[sqlite3.Connection, str]]:
    """An index for the results of a job, and the folder of its archive. Each statement counts at once.

    tables: statements that make the tables of the job
    """
    name = os.fspath(path)
    if not os.path.exists(name):
        raise FileNotFoundError(2, "There is no such index", name)
    database = sqlite3.connect(name, isolation_level=None)
    try:
        root, version = database.execute("SELECT root, version FROM archive").fetchone()
        if version != _VERSION:
            raise FileError(f"{name} was written by another version of this program.")
        for statement in tables:
            database.execute(statement)
        yield database, os.fsdecode(root)
    except sqlite3.DatabaseError as error:
        raise FileError(f"{name} cannot be used: {error}. What was done before is in it.") from None
    finally:
        database.close()


def read_only(path: str) -> sqlite3.Connection:
    """An index to be queried, also while it is being written."""
    if not os.path.exists(path):
        raise FileNotFoundError(2, "There is no such index", path)
    database = sqlite3.connect(f"file:{_quoted(path)}?mode=ro", uri=True)
    try:
        database.execute("SELECT root FROM archive")
        database.set_authorizer(_reads_only)
    except sqlite3.DatabaseError as error:
        database.close()
        raise FileError(f"{path} is no index: {error}.") from None
    return database


def require_condition(database: sqlite3.Connection, where: Optional[str], values: Sequence[Any] = ()) -> None:
    """Refuses what is no whole condition of SQL on the files. In brackets alone, "1) OR (1" would be one.

    values: for the question marks in it

    Raises UsageError
    """
    if where is None:
        return
    for question in (f"SELECT 1 FROM paths WHERE {where}\nLIMIT 0", f"SELECT 1 FROM paths WHERE ({where}) LIMIT 0"):
        try:
            database.execute(question, values).close()
        except (sqlite3.Error, sqlite3.Warning) as error:
            raise UsageError(f"where= is no condition of SQL: {error}.") from None


def _reads_only(action: int, *_: Any) -> int:
    """Refuses what is no question: VACUUM INTO and ATTACH write files of their own."""
    allowed = (sqlite3.SQLITE_SELECT, sqlite3.SQLITE_READ, sqlite3.SQLITE_FUNCTION, sqlite3.SQLITE_RECURSIVE)
    return sqlite3.SQLITE_OK if action in allowed else sqlite3.SQLITE_DENY


def _quoted(path: str) -> str:
    from urllib.parse import quote

    return quote(os.path.abspath(path))


def rows_of(database: sqlite3.Connection, sql: str, values: Sequence[Any] = ()) -> Tuple[List[str], Iterator[Tuple[Any, ...]]]:
    """The names of the columns of a query, and its rows as they come."""
    cursor = database.execute(sql, values)
    return [column[0] for column in cursor.description or ()], iter(cursor)
