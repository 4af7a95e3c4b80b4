"""Reads and writes DICOM images: attributes, pixels, volumes, new files, de-identification.

>>> import radvex
>>> with radvex.open("CT_small.dcm") as f:
...     print(f["PatientName"], f.values().max(), f.values().meaning.unit)
CompressedSamples^CT1 1167 HU
"""

from typing import TYPE_CHECKING, Any

from radvex import functions
from radvex._deidentify import Anonymized, Verified, anonymize, verify
from radvex._errors import (
    Error,
    FileError,
    HostError,
    LibraryError,
    NoPicturesError,
    RadvexWarning,
    ReaderDied,
    UsageError,
    VolumeError,
)
from radvex._file import File, image, tags, values
from radvex._file import open as open  # not in __all__, where it would replace Python's own
from radvex._library import call
from radvex._meaning import Meaning
from radvex._registered import *  # noqa: F401,F403
from radvex._store import Store
from radvex._tree import Patient, Series, Study, Tree, tree
from radvex._version import __version__
from radvex._view import View, view
from radvex._volume import Finding, Volume, volume, volumes
from radvex._write import write

if TYPE_CHECKING:
    from radvex._values import Pixels

__all__ = [
    "Anonymized",
    "Error",
    "File",
    "FileError",
    "Finding",
    "HostError",
    "LibraryError",
    "Meaning",
    "NoPicturesError",
    "Patient",
    "Pixels",
    "RadvexWarning",
    "ReaderDied",
    "Series",
    "Store",
    "Study",
    "Tree",
    "UsageError",
    "Verified",
    "View",
    "Volume",
    "VolumeError",
    "__version__",
    "anonymize",
    "call",
    "functions",
    "image",
    "tags",
    "tree",
    "values",
    "verify",
    "view",
    "volume",
    "volumes",
    "write",
]


def __getattr__(name: str) -> Any:
    """Pixels is an array of numpy, which many scripts do not need and which takes longer to load than all of this."""
    if name == "Pixels":
        from radvex._values import Pixels

        return Pixels
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
