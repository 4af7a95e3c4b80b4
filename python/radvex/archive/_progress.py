"""How far a run is, and how long it still takes."""

from __future__ import annotations

import threading
import time
from typing import Any, Callable, Dict, Optional

from radvex._errors import Error
from radvex._jobs import Job

Progress = Callable[[Dict[str, Any]], None]

_BETWEEN = 0.5  # seconds


class Teller:
    """Tells a caller who wants to know, twice a second at most."""

    def __init__(self, call: Optional[Progress]) -> None:
        self._call = call
        self._start = self._told = time.monotonic()

    @property
    def seconds(self) -> float:
        """Since the start."""
        return time.monotonic() - self._start

    def tell(self, state: Dict[str, Any], done: int, total: Optional[int]) -> None:
        """Gives the state with "seconds", "total", and "secondsLeft", which is None as long as nobody knows."""
        now = time.monotonic()
        if self._call is None or now - self._told < _BETWEEN:
            return
        self._told = now
        left = self.seconds * max(0, total - done) / done if total is not None and done else None
        self._call({**state, "seconds": self.seconds, "total": total, "secondsLeft": left})


class FileCount:
    """Counts the files below a folder while others read them."""

    def __init__(self, root: str) -> None:
        self._root = root
        self._total: Optional[int] = None
        self._job: Optional[Job] = None
        self._thread = threading.Thread(target=self._count, daemon=True)

    @property
    def total(self) -> Optional[int]:
        """None before all folders were looked at."""
        return self._total

    def __enter__(self) -> FileCount:
        self._job = Job(self._root, {"job": "count"})
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        if self._job is not None:
            self._job.close()
        self._thread.join()

    def _count(self) -> None:
        found: Optional[int] = None
        try:
            for _, found, _ in self._job.messages() if self._job is not None else ():
                pass
            self._total = found
        except (Error, OSError):  # it only foretells the end
            pass
