from __future__ import annotations

import os
import sqlite3
from typing import Any, Iterator, List, NamedTuple, Optional, Sequence

from radvex._errors import UsageError
from radvex._file import PathLike
from radvex.archive._store import COLUMNS, read_only, rows_of

_SHOWN = ["path", "size", "state", "reason", *COLUMNS]


class Found(NamedTuple):
    """The answer to a query: the names of the columns, and the rows as they come."""

    columns: List[str]
    rows: Iterator[Any]


def find(
    index: PathLike,
    where: Optional[str] = None,
    values: Sequence[Any] = (),
    *,
    sql: Optional[str] = None,
) -> Found:
    """Asks an index. It may be written meanwhile.

    where: a condition in SQL on the files: "Modality = 'CT' AND Rows >= 512". Columns are path, size, changed, state
        ("dicom", "notDicom", "broken", "vanished"), reason, signal, digest, and the attributes by keyword. Without one,
        all files that are there
    values: for the question marks in it
    sql: a whole query instead, on the tables files, folders, series, studies and the view paths. It cannot change anything

    Raises UsageError for what is no SQL.
    """
    if sql is not None and where is not None:
        raise UsageError("where= is a part of a query, and sql= a whole one; give one of them.")
    columns = ", ".join(_SHOWN)
    chosen = where if where is not None else "state != 'vanished'"
    query = sql if sql is not None else f"SELECT {columns} FROM paths WHERE {chosen} ORDER BY folder, name"
    database = read_only(os.fspath(index))
    try:
        return Found(*rows_of(database, query, values))
    except sqlite3.Error as error:
        database.close()
        raise UsageError(f"This is no query of the index: {error}.") from None


def frame(index: PathLike, where: Optional[str] = None, values: Sequence[Any] = (), *, sql: Optional[str] = None) -> Any:
    """The same as a pandas.DataFrame. Needs pandas."""
    import importlib

    pandas = importlib.import_module("pandas")
    found = find(index, where, values, sql=sql)
    return pandas.DataFrame(list(found.rows), columns=found.columns)
