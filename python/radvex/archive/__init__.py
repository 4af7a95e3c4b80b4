"""Archives: folders of more files than one process should read. The work is done by the workers of a Dask cluster, which
may be processes of this machine.

>>> import radvex.archive
>>> counts = radvex.archive.index("ARCHIVE", "index.sqlite")
>>> radvex.archive.find("index.sqlite", "Modality = 'CT'")
"""

from radvex.archive._check import check
from radvex.archive._deidentify import deidentify, verify
from radvex.archive._find import Found, find, frame
from radvex.archive._index import index
from radvex.archive._volumes import LazyVolume, open, volumes

# Not open, which is Python's own elsewhere.
__all__ = ["Found", "LazyVolume", "check", "deidentify", "find", "frame", "index", "verify", "volumes"]
