"""What goes wrong, as exceptions. The text of each is a sentence: what, where, why."""

from __future__ import annotations

import os
import re
from typing import Any, Dict, List, Optional, Sequence, Type, Union


class Error(Exception):
    """Base of all exceptions of this package."""


class LibraryError(Error):
    """The library refused a call. There is a subclass for each error that it registers.

    code: the number of the error
    name: its registered name, such as "OpenFileError"
    parameters: the values that the library sent for the slots of the message
    """

    code: int = 0
    name: str = ""
    parameters: List[Union[str, bytes]]

    def __init__(
        self, sentence: str = "", code: int = 0, name: str = "", parameters: Sequence[Union[str, bytes]] = ()
    ) -> None:
        super().__init__(sentence)
        self.code = code or type(self).code
        self.name = name or type(self).name
        self.parameters = list(parameters)

    def __reduce__(self) -> Any:
        return type(self), (str(self), self.code, self.name, self.parameters)


class FileError(Error, OSError):
    """A file cannot be read or written, or does not hold what it should."""


class UsageError(Error, ValueError):
    """An argument is unknown, out of range, or does not go with another one."""


class VolumeError(Error):
    """A series does not make a volume.

    findings: what is wrong with its slices, as Finding objects; empty when the reason is another one
    """

    def __init__(self, sentence: str = "", findings: Sequence[Any] = ()) -> None:
        super().__init__(sentence)
        self.findings = list(findings)

    def __reduce__(self) -> Any:
        return type(self), (str(self), self.findings)


class NoPicturesError(VolumeError):
    """A series holds no pictures: structured reports, presentation states and the like."""


class HostError(Error, RuntimeError):
    """The library cannot be loaded or used."""


def signal_in(end: str) -> Optional[int]:
    """The number of the signal in a sentence about the end of a process."""
    found = re.search(r"signal (\d+)", end)
    return int(found.group(1)) if found else None


class ReaderDied(Error):
    """The process that read a file was ended by it. This process is as it was.

    path: the file, or the folder that was being read
    signal: the number of the signal that ended the process; None when it ended otherwise
    """

    def __init__(self, path: str = "", end: str = "") -> None:
        super().__init__(f"{path}: the reading process {end}.")
        self.path = path
        self._end = end
        self.signal = signal_in(end)

    def __reduce__(self) -> Any:
        return type(self), (self.path, self._end)


class RadvexWarning(UserWarning):
    """What should be known about a result: files that were left out, findings about a volume."""


_ARGUMENTS = {
    "--sort position": 'sort="position"',
    "--largest": 'strangers="largest"',
    "--split": 'strangers="split"',
    "--resample": "resample=True",
    "--4d": "four_d=True",
    "--force": "force=True",
    "--stored": 'values="stored"',
    "--rendered": 'values="rendered"',
    "--frame": "frame=",
    "--window": "window",
    "WIDTH,CENTER": "window=(width, centre)",
}


def in_python(sentence: str) -> str:
    """A sentence that names options of the command, with the arguments of the functions here."""
    for option, argument in _ARGUMENTS.items():
        sentence = sentence.replace(option, argument)
    return sentence


_KINDS: Dict[str, Type[Error]] = {
    "file": FileError,
    "usage": UsageError,
    "volume": VolumeError,
    "noPictures": NoPicturesError,
    "host": HostError,
}


def _exception(
    kind: str,
    sentence: Union[str, bytes],
    code: int = 0,
    name: str = "",
    parameters: Sequence[Union[str, bytes]] = (),
) -> Error:
    """The exception for an error of the extension or of the worker."""
    if isinstance(sentence, bytes):  # of a path whose bytes are no text
        sentence = os.fsdecode(sentence)
    if kind == "library":
        from radvex import _registered

        found = getattr(_registered, name, LibraryError) if name else LibraryError
        error: Error = found(sentence, code, name, parameters)
        return error
    return _KINDS.get(kind, Error)(in_python(sentence))
