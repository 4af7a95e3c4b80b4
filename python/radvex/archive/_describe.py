"""What a worker does with a batch of files. Functions here run on other machines: they take and return plain values."""

from __future__ import annotations

import base64
import json
import os
from dataclasses import dataclass, replace
from typing import Any, List, Optional

from radvex._jobs import Job, path_list
from radvex.archive._cluster import in_parts, require_archive
from radvex.archive._store import COLUMNS

Row = List[Any]
"""State, reason, signal, digest of the pixels, values of the columns. The digest is None when the pixels were not asked
for, and empty when there are none, or the reason says why they cannot be read."""

UNDECODED = "which cannot be decoded here"
"""Part of the sentence about pixels in a transfer syntax that is not known: they need not be broken."""


@dataclass(frozen=True)
class Batch:
    """Files of one or several folders that a worker takes together."""

    root: str
    paths: List[str]  # below the root
    digests: bool

    def parts(self) -> List[Batch]:
        """Two halves; none of a single file."""
        middle = len(self.paths) // 2
        halves = [replace(self, paths=self.paths[:middle]), replace(self, paths=self.paths[middle:])]
        return halves if middle else []

    def lost(self, reason: str, number: Optional[int]) -> List[bytes]:
        """What is recorded of files that nobody could read. The signal is that which ended the reader."""
        row: Row = ["broken", reason, number, None, *[None] * len(COLUMNS)]
        return [json.dumps([row] * len(self.paths)).encode()]


def describe(batch: Batch) -> List[bytes]:
    """A row for each file of the batch, in its order; see rows_in. They pass a worker and a scheduler as they come: to look
    at each of them would take as long as the reading of a small file. The files are read by a process of their own, so
    that one that ends its reader is charged with that, and the others are read all the same. If the program around that
    process ends, too, as the system may end what takes all memory, the halves of the batch are tried.

    Raises FileNotFoundError where there is no archive: its files are not broken."""
    require_archive(batch.root)
    return in_parts(_described, batch)


def _described(batch: Batch) -> List[bytes]:
    descriptor = path_list(os.path.join(batch.root, path) for path in batch.paths)
    try:
        request = {"job": "describe", "list": descriptor, "keywords": list(COLUMNS), "pixels": batch.digests, "jobs": 1}
        with Job(batch.root, request, descriptors=[descriptor]) as job:
            return [rows for _, rows in job.announced("rows")]
    finally:
        os.close(descriptor)


def rows_in(chunks: List[bytes]) -> List[Row]:
    """The rows that describe gives. Text in no known character set is bytes."""
    rows: List[Row] = []
    for chunk in chunks:
        found = json.loads(chunk)
        if b'{"bytes":' in chunk:
            found = [[_plain(value) for value in row] for row in found]
        rows += found
    return rows


def _plain(value: Any) -> Any:
    return base64.b64decode(value["bytes"]) if isinstance(value, dict) else value


def seconds_of(size: int, digests: bool) -> float:
    """About how long a file takes a worker, from its size in bytes: an open, a parse, and what is read of it."""
    return 0.00006 + size * (1e-8 if digests else 1e-10)
