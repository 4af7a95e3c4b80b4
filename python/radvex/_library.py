"""The library in this process: loaded at its first use, and safe across fork."""

from __future__ import annotations

import atexit
import os
from typing import Any

try:
    from radvex import _radvex
except ImportError as error:
    raise ImportError(
        f"The package radvex cannot be loaded: {error}. It needs Debian's packages libicu72, libnifti2-2, "
        "libpng16-16, libssl3 and zlib1g."
    ) from error

_HERE = os.path.dirname(os.path.abspath(__file__))

_radvex.set_library(os.path.join(_HERE, "lib", "Radvex.so"))
atexit.register(_radvex.end)
os.register_at_fork(
    before=_radvex.before_fork, after_in_parent=_radvex.after_fork, after_in_child=_radvex.after_fork
)


def program(name: str) -> str:
    """The path of a program of the package."""
    return os.path.join(_HERE, "bin", name)


def call(name: str, *arguments: Any) -> Any:
    """Calls an exported function of the library by its name.

    Arguments are bool, int, float, str, bytes, paths, lists and dicts (data stores), and numpy arrays, which become
    tensors, images or numeric arrays, whichever the function takes. Arguments that are left out at the end are False,
    0, "" or empty. Results are converted the other way round; data stores become radvex.Store, and arrays are views of
    the library's memory.

    radvex.functions has each of them as a function with its documentation.

    Raises LibraryError, or the subclass of it that has the name of the error.

    >>> radvex.call("GetKeyword", "0010", "0010")
    'PatientName'
    """
    return _radvex.call(name, *arguments)
