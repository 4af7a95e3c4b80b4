from __future__ import annotations

import hashlib
import importlib
import json
import math
import os
import re
import shutil
import sqlite3
import uuid
import warnings
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

from radvex._errors import ReaderDied, UsageError, VolumeError
from radvex._file import PathLike
from radvex._volume import Volume, volumes as read_volumes
from radvex.archive._cluster import Crew, require_archive
from radvex.archive._progress import Progress, Teller
from radvex.archive._store import SOURCE, require_condition, stored_name, writable

_ENDINGS = {"zarr": ".zarr", "nifti": ".nii.gz"}
_CHUNK = 1 << 24  # bytes, about: large enough for the disk, small enough for many at a time
_TABLE = """
CREATE TABLE IF NOT EXISTS volumes (
    SeriesInstanceUID TEXT NOT NULL, label TEXT NOT NULL, state TEXT NOT NULL, reason TEXT, signal INTEGER, file TEXT,
    format TEXT NOT NULL, shape TEXT, type TEXT, unit TEXT, spacing TEXT, affine TEXT, findings TEXT, source TEXT NOT NULL,
    PRIMARY KEY (SeriesInstanceUID, format, label))
"""

Row = Tuple[Any, ...]
"""Label, state, reason, signal, file, shape, type, unit, spacing, affine, findings."""


class Series(NamedTuple):
    """A series to make volumes of."""

    uid: Union[str, bytes]
    root: str
    paths: List[str]  # below the root
    output: str
    format: str
    source: str  # tells whether its files have changed since

    def parts(self) -> Sequence[Series]:
        """A series is not divided."""
        return []

    def lost(self, reason: str, number: Optional[int]) -> List[Row]:
        """No volume."""
        return [("", "refused", reason, number, *[None] * 7)]


def make(series: Series) -> List[Row]:
    """Writes the volumes of a series, each under another name first."""
    require_archive(series.root)
    files = [os.path.join(series.root, path) for path in series.paths]
    rows: List[Row] = []
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        for volume in read_volumes(files, errors="give", jobs=1):
            if isinstance(volume, Exception):
                rows.append(_refused(volume))
            else:
                rows.append(_written(series, volume))
    return rows


def _refused(error: Any) -> Row:
    findings = [finding._asdict() for finding in getattr(error, "findings", ())]
    number = error.signal if isinstance(error, ReaderDied) else None
    return ("", "refused", str(error), number, *[None] * 6, json.dumps(findings))


def _written(series: Series, volume: Volume) -> Row:
    name = _file_name(series.uid) + (f"-{volume.label}" if volume.label else "") + _ENDINGS[series.format]
    final = os.path.join(series.output, name)
    draft = os.path.join(series.output, f".{uuid.uuid4().hex}{_ENDINGS[series.format]}")
    try:
        if series.format == "zarr":
            _save_zarr(draft, volume)
            shutil.rmtree(final, ignore_errors=True)
        else:
            volume.save(draft)
        os.replace(draft, final)
    except BaseException:
        shutil.rmtree(draft, ignore_errors=True)
        if os.path.exists(draft):
            os.remove(draft)
        raise
    affine = volume.affine.tolist() if volume.has_position else None
    findings = [finding._asdict() for finding in volume.findings]
    return (
        volume.label,
        "written",
        None,
        None,
        name,
        json.dumps(volume.shape),
        str(volume.dtype),
        volume.unit,
        json.dumps(volume.spacing),
        json.dumps(affine),
        json.dumps(findings),
    )


def _file_name(uid: Union[str, bytes]) -> str:
    """The identifier where it is one. What is none gets a digest, so that no two have the same name."""
    text = os.fsdecode(uid)
    plain = re.sub(r"[^0-9A-Za-z.]", "_", text)
    return plain if text == plain and not text.startswith(".") else f"{plain}-{hashlib.sha256(os.fsencode(text)).hexdigest()[:8]}"


def _save_zarr(path: str, volume: Volume) -> None:
    """A group with the array "values" and what is known about it as attributes; xarray.open_zarr reads it too."""
    zarr = importlib.import_module("zarr")
    group = zarr.open_group(path, mode="w")
    array, axes = volume.array, volume.axes
    chunks = list(array.shape)
    slices = axes.index("z")
    bytes_of_slice = math.prod(array.shape[slices + 1 :]) * array.itemsize
    chunks[:slices] = [1] * slices
    chunks[slices] = max(1, min(chunks[slices], _CHUNK // max(1, bytes_of_slice)))
    values = group.create_dataset("values", data=array, chunks=tuple(chunks))
    values.attrs["_ARRAY_DIMENSIONS"] = axes
    values.attrs["units"] = volume.unit or ""
    group.attrs.update(
        {
            "series": volume.series,
            "study": volume.study,
            "patient": volume.patient,
            "label": volume.label,
            "unit": volume.unit,
            "spacing": list(volume.spacing),
            "affine": volume.affine.tolist() if volume.has_position else None,
            "findings": [finding.sentence for finding in volume.findings],
        }
    )


def _series_of(
    database: sqlite3.Connection, where: Optional[str], values: Sequence[Any]
) -> Iterator[Tuple[Union[str, bytes], str]]:
    """Identifier and source of each series that has a file that matches."""
    chosen = f"AND ({where})" if where is not None else ""
    query = (
        f"SELECT SeriesInstanceUID, {SOURCE} FROM files "
        f"WHERE state = 'dicom' AND SeriesInstanceUID IN (SELECT SeriesInstanceUID FROM paths WHERE state = 'dicom' {chosen}) "
        "GROUP BY SeriesInstanceUID ORDER BY SeriesInstanceUID"
    )
    require_condition(database, where, values)
    return iter(database.execute(query, values).fetchall())


def volumes(
    index: PathLike,
    output: PathLike,
    where: Optional[str] = None,
    values: Sequence[Any] = (),
    *,
    format: str = "nifti",
    workers: Optional[int] = None,
    cluster: Optional[str] = None,
    progress: Optional[Progress] = None,
) -> Dict[str, int]:
    """Makes volumes of the series of an archive, as radvex.volume makes them, and keeps the verdict on each in the table
    `volumes` of the index. Series that were done into the same folder and have not changed are not done again. Of one that
    has changed, the earlier volumes are replaced, or removed.

    index: of the archive
    output: folder for the volumes, which every worker has to see under the same path; made if it is not there
    where, values: the series that have a file for which this holds; see find
    format: "nifti" (.nii.gz), or "zarr": a group with the array "values" in chunks, for open
    workers, cluster: see index
    progress: gets a dict with the series "done", their "total", "seconds" and "secondsLeft" from time to time

    Returns the numbers: "written" and "refused" volumes, "unchanged" series.
    """
    if format not in _ENDINGS:
        raise UsageError(f"format={format!r} is unknown: nifti, zarr.")
    folder = os.path.abspath(os.fspath(output))
    os.makedirs(folder, exist_ok=True)
    counts = {"written": 0, "refused": 0, "unchanged": 0}
    with writable(index, [_TABLE]) as (database, root):
        wanted = list(_wanted(database, folder, format, where, values, counts))

        def items() -> Iterator[Series]:
            for uid, source in wanted:
                rows = database.execute(
                    "SELECT path FROM paths WHERE SeriesInstanceUID = ? AND state = 'dicom' ORDER BY folder, name", (uid,)
                )
                yield Series(uid, root, [os.fsdecode(row[0]) for row in rows], folder, format, source)

        teller = Teller(progress)
        with Crew(workers, cluster) as crew:
            for done, (series, rows, _) in enumerate(crew.run(make, items()), start=1):
                _keep(database, series, rows)
                for row in rows:
                    counts[row[1]] += 1
                teller.tell({"done": done}, done, len(wanted))
    return counts


def _wanted(
    database: sqlite3.Connection,
    folder: str,
    format: str,
    where: Optional[str],
    values: Sequence[Any],
    counts: Dict[str, int],
) -> Iterator[Tuple[Union[str, bytes], str]]:
    """Series that were not done, or have changed, or whose volumes are gone."""
    for uid, files in _series_of(database, where, values):
        source = f"{files} {_mark_of(folder)}"
        rows = database.execute(
            "SELECT source, file FROM volumes WHERE SeriesInstanceUID = ? AND format = ?", (uid, format)
        ).fetchall()
        is_done = all(row[0] == source and (not row[1] or os.path.exists(os.path.join(folder, row[1]))) for row in rows)
        if rows and is_done:
            counts["unchanged"] += 1
        else:
            yield uid, source


def _mark_of(folder: str) -> str:
    """Tells one output from another: what lies in one says nothing about the other."""
    return hashlib.sha256(os.fsencode(folder)).hexdigest()[:16]


def _remove_earlier(database: sqlite3.Connection, series: Series, rows: List[Row]) -> None:
    """Removes the volumes of the series as it was, which nobody can tell from what the series is now."""
    earlier = database.execute(
        "SELECT file FROM volumes WHERE SeriesInstanceUID = ? AND format = ? AND file IS NOT NULL AND source LIKE ?",
        (series.uid, series.format, f"% {_mark_of(series.output)}"),
    )
    for name in {os.fsdecode(row[0]) for row in earlier} - {row[4] for row in rows}:
        path = os.path.join(series.output, name)
        if os.path.isdir(path):
            shutil.rmtree(path)
        elif os.path.exists(path):
            os.remove(path)


def _keep(database: sqlite3.Connection, series: Series, rows: List[Row]) -> None:
    _remove_earlier(database, series, rows)
    database.execute("BEGIN IMMEDIATE")
    database.execute("DELETE FROM volumes WHERE SeriesInstanceUID = ? AND format = ?", (series.uid, series.format))
    for number, row in enumerate(rows):
        label, state, reason, signal, file, *described = row
        label = label or (f"refused-{number}" if state == "refused" and number else "")
        database.execute(
            f"INSERT INTO volumes VALUES ({', '.join('?' * 14)})",
            (series.uid, label, state, reason, signal, stored_name(file) if file else None, series.format, *described,
             series.source),
        )
    database.execute("COMMIT")


class LazyVolume:
    """A volume on the disk. `array` is a dask array that is read when it is computed; the rest is as of radvex.Volume."""

    def __init__(self, path: str) -> None:
        zarr, dask = importlib.import_module("zarr"), importlib.import_module("dask.array")
        group = zarr.open_group(path, mode="r")
        described = dict(group.attrs)
        self.path = path
        self.array: Any = dask.from_zarr(group["values"])
        self.series: str = described["series"]
        self.study: str = described["study"]
        self.patient: str = described["patient"]
        self.label: str = described["label"]
        self.unit: Optional[str] = described["unit"]
        self.spacing: Tuple[float, ...] = tuple(described["spacing"])
        self.findings: List[str] = described["findings"]
        self._affine = described["affine"]

    @property
    def affine(self) -> Any:
        """See radvex.Volume.affine."""
        if self._affine is None:
            raise VolumeError("Nothing says where the slices of this volume lie; only its spacing is known.")
        import numpy as np

        return np.array(self._affine)

    def __repr__(self) -> str:
        return f"<LazyVolume {' x '.join(map(str, self.array.shape))} {self.array.dtype}, series {self.series}>"


def open(output: PathLike) -> List[LazyVolume]:
    """The Zarr volumes of a folder, by name, without reading their voxels.

    >>> mean = sum(v.array.mean() for v in radvex.archive.open("VOLUMES")).compute()
    """
    folder = os.fspath(output)
    if not os.path.isdir(folder):
        raise FileNotFoundError(2, "There is no such folder", folder)
    names = sorted(name for name in os.listdir(folder) if name.endswith(".zarr") and not name.startswith("."))
    return [LazyVolume(os.path.join(folder, name)) for name in names]


