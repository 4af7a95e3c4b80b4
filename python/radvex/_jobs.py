"""Work on folders, done by the package's own program in processes of its own."""

from __future__ import annotations

import errno
import importlib
import json
import operator
import os
import signal
import socket
import subprocess
import sys
import threading
from typing import Any, Callable, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Type, Union

from radvex._errors import Error, ReaderDied, UsageError, _exception
from radvex._library import program

Progress = Union[bool, Callable[[str, int, int], None]]
"""True for a bar of tqdm where it is installed, or a function of what is being done, how much of it is done, and how
much there is."""

_LONGEST_MESSAGE = 65536


class Bar:
    """Shows progress as the caller wants it."""

    def __init__(self, progress: Progress) -> None:
        self._call = progress if callable(progress) else None
        self._tqdm: Any = None
        self._bar: Any = None
        self._what = ""
        if progress is True:
            try:
                self._tqdm = importlib.import_module("tqdm.auto").tqdm
            except ImportError:
                pass

    def show(self, what: str, done: int, total: int) -> None:
        if self._call is not None:
            self._call(what, done, total)
        if self._tqdm is None:
            return
        if self._bar is None or what != self._what:
            self.close()
            self._bar, self._what = self._tqdm(total=total, desc=what), what
        self._bar.update(done - self._bar.n)

    def close(self) -> None:
        if self._bar is not None:
            self._bar.close()
            self._bar = None


def jobs_of(jobs: Optional[int]) -> int:
    """The number of processes that is meant: without one, as many as this process has cores."""
    if jobs is None:
        return len(os.sched_getaffinity(0))
    if not hasattr(jobs, "__index__"):
        raise TypeError(f"jobs={jobs!r}: a whole number is expected.")
    if jobs < 1:
        raise UsageError(f"jobs={jobs}: at least one process is needed.")
    return operator.index(jobs)


def require_keys(**given: Any) -> None:
    """Refuses keys of a patient, study or series that are no text."""
    for name, value in given.items():
        if value is not None and not isinstance(value, str):
            raise TypeError(f"{name}={value!r}: text is expected.")


def end_of(status: int) -> str:
    """How a process ended, as part of a sentence."""
    if status < 0:
        try:
            return f"ended with signal {-status} ({signal.Signals(-status).name})"
        except ValueError:
            return f"ended with signal {-status}"
    return f"ended with exit status {status}"


class Job:
    """One run of the program. It is ended with this object."""

    def __init__(
        self, path: str, request: Dict[str, Any], progress: Progress = False, descriptors: Sequence[int] = ()
    ) -> None:
        self._path = path
        self._bar = Bar(progress)
        message = json.dumps(request).encode()
        self._socket, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        with theirs:
            number = theirs.fileno()
            command: List[Union[str, bytes]] = [program("radvex-worker"), str(number), os.fsencode(path)]
            try:
                self._socket.send(message)  # no argument, which other users of the machine could see
                self._process = subprocess.Popen(command, pass_fds=[number, *descriptors], stdin=subprocess.DEVNULL)
            except BaseException:
                self._socket.close()
                raise

    def __enter__(self) -> Job:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], *_: object) -> None:
        self.close(waits=kind is not None and kind is not GeneratorExit)

    def close(self, waits: bool = True) -> None:
        """Ends the program if it still works; with it go the processes that it started.

        waits: until it is gone. Giving back the memory of a series takes it longer than it takes us to go on
        """
        self._bar.close()
        self._socket.close()
        if self._process.poll() is None:
            self._process.terminate()
        if waits or sys.is_finalizing():  # no thread starts any more then, and to wait for its start is to wait for ever
            self._process.wait()
        elif self._process.poll() is None:
            threading.Thread(target=self._process.wait, daemon=True).start()

    def take(self) -> None:
        """Asks for the next volume."""
        try:
            self._socket.send(b"+")
        except OSError:
            pass  # the end says why

    def messages(self) -> Iterator[Tuple[str, Any, Optional[int]]]:
        """Kind and content of each message but progress, and the descriptor of the samples of a volume.

        Raises what the program reports, and ReaderDied when it ended without a word.
        """
        while True:
            message, descriptor = self._receive()
            if message is None:
                raise ReaderDied(self._path, end_of(self._process.wait()))
            if "progress" in message:
                self._bar.show(*message["progress"])
            elif "error" in message:
                raise _error_of(message["error"])
            elif "done" in message:
                return
            elif "volume" in message:
                _, samples = self._receive()
                yield "volume", message["volume"], samples
            else:
                for kind, content in message.items():
                    yield kind, content, descriptor

    def announced(self, key: str) -> Iterator[Tuple[Dict[str, Any], bytes]]:
        """Messages that have the key, each with the bytes that follow it."""
        while True:
            message, _ = self._receive()
            if message is None:
                raise ReaderDied(self._path, end_of(self._process.wait()))
            if "error" in message:
                raise _error_of(message["error"])
            if "done" in message:
                return
            if key in message:
                content, _ = self._receive_bytes()
                if content is None:
                    raise ReaderDied(self._path, end_of(self._process.wait()))
                yield message, content

    def _receive(self) -> Tuple[Optional[Dict[str, Any]], Optional[int]]:
        text, descriptor = self._receive_bytes()
        content: Optional[Dict[str, Any]] = json.loads(text) if text is not None else None
        return content, descriptor

    def _receive_bytes(self) -> Tuple[Optional[bytes], Optional[int]]:
        """Nothing at the end."""
        try:
            text, descriptors, flags, _ = socket.recv_fds(self._socket, _LONGEST_MESSAGE, 1)
        except ConnectionResetError:  # said once, when the program ended without reading take(); what it sent is there
            text, descriptors, flags, _ = socket.recv_fds(self._socket, _LONGEST_MESSAGE, 1)
        if flags & socket.MSG_CTRUNC:
            raise OSError(errno.EMFILE, os.strerror(errno.EMFILE), self._path)
        descriptor = descriptors[0] if descriptors else None
        if not text:
            return None, None
        if text == b"\n" and descriptor is not None:  # too long for a message
            with os.fdopen(descriptor, "rb") as file:
                file.seek(0)
                text = file.read()
            descriptor = None
        return text, descriptor


def _error_of(error: Dict[str, Any]) -> Error:
    return _exception(
        error["kind"], error["sentence"], error.get("code", 0), error.get("name", ""), error.get("parameters", ())
    )


def path_list(paths: Iterable[str]) -> int:
    """The descriptor of a file in memory with paths, each with a null behind, as the program takes them."""
    descriptor = os.memfd_create("radvex-list")
    try:
        with os.fdopen(descriptor, "wb", closefd=False) as file:
            for path in paths:
                file.write(os.fsencode(path) + b"\0")
    except BaseException:
        os.close(descriptor)
        raise
    return descriptor


def run_command(arguments: Any) -> Tuple[int, str, str]:
    """Runs the command of the package: exit status, standard output, standard error."""
    done = subprocess.run(
        [program("radvex"), *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    )
    return done.returncode, done.stdout.decode("utf-8", "replace"), done.stderr.decode("utf-8", "replace")


def path_text(value: Union[str, Dict[str, str]]) -> str:
    """A path of a message, whose bytes need not be UTF-8."""
    if isinstance(value, dict):
        import base64

        return os.fsdecode(base64.b64decode(value["bytes"]))
    return value
