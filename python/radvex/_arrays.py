"""Loads numpy when the first array is made: many scripts need none, and numpy takes longer to load than all of this."""

from __future__ import annotations

import os
import threading

from radvex import _radvex

_lock = threading.Lock()
_is_loaded = False


def load() -> None:
    """To be called before the extension sees or makes an array. Its own first use of numpy is no matter for two threads:
    one waits for the other in a place where it keeps Python's lock, which the other needs to go on."""
    global _is_loaded
    if not _is_loaded:
        with _lock:
            import numpy  # noqa: F401

            _radvex.load_numpy()
            _is_loaded = True


def _renew_lock() -> None:
    """In a child, whose parent had another thread in there, perhaps."""
    global _lock
    _lock = threading.Lock()


os.register_at_fork(after_in_child=_renew_lock)
