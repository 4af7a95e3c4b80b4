"""The page of a folder, in a notebook or in the browser."""

from __future__ import annotations

import html
import os
import subprocess
import weakref
from typing import Any, List, Optional

from radvex._errors import FileError
from radvex._file import PathLike
from radvex._library import program


class View:
    """The page of a folder or a medium, until it is closed or the interpreter ends. A notebook shows it in a frame.

    >>> with radvex.view("STUDY") as page:  # doctest: +SKIP
    ...     print(page.address)
    """

    def __init__(self, process: "subprocess.Popen[bytes]", address: str, height: int) -> None:
        self.address: str = address
        """Of the page, for a browser of this machine. Who knows it can read the folder."""
        self._height = height
        self._end = weakref.finalize(self, _end, process)

    def close(self) -> None:
        """Ends the page. What a browser still shows of it gets no more answers."""
        self._end()

    def __enter__(self) -> View:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<radvex.View at {self.address}>" if self._end.alive else "<radvex.View, closed>"

    def _repr_html_(self) -> str:
        if not self._end.alive:
            return "<p>The page is closed.</p>"
        address = html.escape(self.address)
        return (
            f'<iframe src="{address}" title="DICOM files" width="100%" height="{self._height}"></iframe>'
            f'<p><a href="{address}" target="_blank" rel="noopener">Open in a tab of its own</a></p>'
        )


def view(
    path: PathLike,
    *,
    series: Optional[str] = None,
    height: int = 720,
    memory: Optional[int] = None,
    jobs: Optional[int] = None,
) -> View:
    """Shows a file, a folder or a medium on a page: the tree of its studies, slices, volumes and attributes, as the command
    `radvex view` does. In a notebook on this machine the page stands in a frame below the cell.

    series: show only series whose SeriesInstanceUID matches this regular expression
    height: of the frame, in pixels
    memory: MiB of volumes that are kept, and of the largest one that is shown; 1024 by default
    jobs: processes that read; by default as many as there are cores

    Raises FileError where the page cannot be shown, and says why.
    """
    words: List[str] = [program("radvex"), "view", "--in-frame"]
    for name, value in (("--series", series), ("--memory", memory), ("--jobs", jobs)):
        if value is not None:
            words += [name, str(value)]
    process = subprocess.Popen(
        [*words, "--", os.fspath(path)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    )
    assert process.stdin is not None and process.stdout is not None and process.stderr is not None
    address = process.stdout.readline().decode().strip()
    if not address:
        said = process.stderr.read().decode("utf-8", "replace").strip().split("\n")[0]
        _end(process)
        raise FileError(said[len("radvex: ") :] if said.startswith("radvex: ") else said)
    return View(process, address, int(height))


def _end(process: "subprocess.Popen[bytes]") -> None:
    """The server ends with its standard input, also when this interpreter is killed."""
    for pipe in (process.stdin, process.stdout, process.stderr):
        if pipe is not None:
            pipe.close()
    process.wait()
