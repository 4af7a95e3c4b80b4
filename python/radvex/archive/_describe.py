"""What a worker does with a batch of files. Functions here run on other machines: they take and return plain values."""

from __future__ import annotations

import base64
import os
from typing import Any, Dict, List, NamedTuple, Optional, Tuple

from radvex._errors import signal_in
from radvex._jobs import Job, path_list
from radvex.archive._cluster import in_parts, require_archive
from radvex.archive._store import COLUMNS

Record = Tuple[str, Optional[str], Optional[int], Optional[str], Dict[str, Any]]
"""State, reason, signal, digest of the pixels, values of the columns."""


class Batch(NamedTuple):
    """Files of one or several folders that a worker takes together."""

    root: str
    paths: List[str]  # below the root
    digests: bool

    def parts(self) -> List[Batch]:
        """Two halves; none of a single file."""
        middle = len(self.paths) // 2
        halves = [self._replace(paths=self.paths[:middle]), self._replace(paths=self.paths[middle:])]
        return halves if middle else []

    def lost(self, reason: str, number: Optional[int]) -> List[Record]:
        """What is recorded of files that nobody could read. The signal is that which ended the reader."""
        return [("broken", reason, number, None, {}) for _ in self.paths]


def describe(batch: Batch) -> List[Record]:
    """A record for each file of the batch, in its order. The files are read by a process of their own, so that one that
    ends its reader is charged with that, and the others are read all the same. If the program around that process ends,
    too, as the system may end what takes all memory, the halves of the batch are tried.

    Raises FileNotFoundError where there is no archive: its files are not broken."""
    require_archive(batch.root)
    return in_parts(_described, batch)


def _described(batch: Batch) -> List[Record]:
    records: List[Optional[Record]] = [None] * len(batch.paths)
    descriptor = path_list(os.path.join(batch.root, path) for path in batch.paths)
    try:
        keywords = [name for name in COLUMNS if name != "TransferSyntaxUID"]
        request = {"job": "describe", "list": descriptor, "keywords": keywords, "pixels": batch.digests, "jobs": 1}
        with Job(batch.root, request, descriptors=[descriptor]) as job:
            for kind, content, _ in job.messages():
                if kind == "records":
                    for record in content:
                        records[record["i"]] = _record_of(record)
    finally:
        os.close(descriptor)
    return [record or ("broken", "it was not read", None, None, {}) for record in records]


def _record_of(found: Dict[str, Any]) -> Record:
    if "notDicom" in found:
        return "notDicom", found["notDicom"], None, None, {}
    if "broken" in found:
        return "broken", found["broken"], signal_in(found.get("end", "")), None, {}
    values = {name: _plain(found["values"].get(name)) for name in COLUMNS}
    return "dicom", found.get("brokenPixels"), None, found.get("digest"), values


def _plain(value: Any) -> Any:
    """A value as it is kept: text in no known character set is bytes."""
    return base64.b64decode(value["bytes"]) if isinstance(value, dict) else value


def seconds_of(size: int, digests: bool) -> float:
    """About how long a file takes a worker, from its size in bytes: an open, a parse, and what is read of it."""
    return 0.0003 + size * (1e-8 if digests else 2e-10)
