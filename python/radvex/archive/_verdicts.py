"""The verdict on the geometry of each series: which volumes it would be, from its attributes alone."""

from __future__ import annotations

import json
import os
import sqlite3
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple

from radvex._errors import in_python, signal_in
from radvex._jobs import Job, path_list
from radvex.archive._cluster import in_parts, require_archive
from radvex.archive._store import SOURCE

Verdict = Tuple[str, Optional[str], Optional[int], int, str]
"""Verdict, reason, signal, number of volumes, what is known about them as JSON."""

_FILES = 2000  # in a batch; the attributes of a file take about half a millisecond

class SeriesBatch(NamedTuple):
    """Series that a worker takes together."""

    root: str
    uids: List[Any]
    sources: List[str]
    paths: List[List[str]]  # of each series, below the root

    def parts(self) -> List[SeriesBatch]:
        """Two halves; none of a single series."""
        middle = len(self.uids) // 2
        first = SeriesBatch(self.root, self.uids[:middle], self.sources[:middle], self.paths[:middle])
        second = SeriesBatch(self.root, self.uids[middle:], self.sources[middle:], self.paths[middle:])
        return [first, second] if middle else []

    def lost(self, reason: str, number: Optional[int]) -> List[Verdict]:
        """The verdicts on series whose files nobody could read."""
        return [("unreadable", reason, number, 0, "{}") for _ in self.uids]


def judge(batch: SeriesBatch) -> List[Verdict]:
    """A verdict on each series of a batch, in its order."""
    require_archive(batch.root)
    return in_parts(_judged, batch)


def _judged(batch: SeriesBatch) -> List[Verdict]:
    verdicts: List[Verdict] = batch.lost("it was not read", None)
    descriptor = path_list(os.path.join(batch.root, path) for paths in batch.paths for path in paths)
    try:
        counts = [len(paths) for paths in batch.paths]
        request = {"job": "verdicts", "list": descriptor, "counts": counts, "jobs": 1}
        with Job(batch.root, request, descriptors=[descriptor]) as job:
            for _, found, _ in job.messages():
                verdicts[found.pop("i")] = _verdict_of(found)
    finally:
        os.close(descriptor)
    return verdicts


def _verdict_of(found: Dict[str, Any]) -> Verdict:
    if "noPictures" in found:
        return "noPictures", found["noPictures"], None, 0, "{}"
    if "refused" in found:
        return ("unreadable" if "end" in found else "refused"), in_python(found["refused"]), signal_in(found.get("end", "")), 0, "{}"
    findings = found["findings"] + [finding for volume in found["volumes"] for finding in volume["findings"]]
    errors = [finding["sentence"] for finding in findings if finding["error"]]
    reason = " ".join(errors) or None
    return ("refused" if errors else "even"), reason and in_python(reason), None, len(found["volumes"]), json.dumps(found)


def batches(database: sqlite3.Connection, root: str) -> Iterator[SeriesBatch]:
    """Series that were not judged as they are."""
    wanted = database.execute(
        f"SELECT f.SeriesInstanceUID, f.source FROM (SELECT SeriesInstanceUID, {SOURCE} AS source FROM files "
        "WHERE state = 'dicom' AND SeriesInstanceUID != '' GROUP BY SeriesInstanceUID) AS f "
        "LEFT JOIN verdicts AS v ON v.SeriesInstanceUID = f.SeriesInstanceUID "
        "WHERE v.source IS NULL OR v.source != f.source ORDER BY f.SeriesInstanceUID"
    )
    batch, files = SeriesBatch(root, [], [], []), 0
    for uid, source in wanted.fetchall():
        rows = database.execute(
            "SELECT path FROM paths WHERE SeriesInstanceUID = ? AND state = 'dicom' ORDER BY folder, name", (uid,)
        )
        paths = [os.fsdecode(row[0]) for row in rows]
        batch.uids.append(uid)
        batch.sources.append(source)
        batch.paths.append(paths)
        files += len(paths)
        if files >= _FILES:
            yield batch
            batch, files = SeriesBatch(root, [], [], []), 0
    if batch.uids:
        yield batch


def keep(database: sqlite3.Connection, batch: SeriesBatch, verdicts: List[Verdict]) -> None:
    """Writes the verdicts on a batch."""
    rows = [(uid, *verdict, source) for uid, verdict, source in zip(batch.uids, verdicts, batch.sources)]
    database.executemany("INSERT OR REPLACE INTO verdicts VALUES (?, ?, ?, ?, ?, ?, ?)", rows)
