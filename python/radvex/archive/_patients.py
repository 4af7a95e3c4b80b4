"""What a worker does with the files of one patient: de-identifies them, or checks what was made of them."""

from __future__ import annotations

import hashlib
import hmac
import os
import shutil
import socket
import sys
import tempfile
import uuid
from contextlib import contextmanager
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

from radvex._deidentify import run_report
from radvex._errors import FileError
from radvex.archive._cluster import in_parts, require_archive


class Patient(NamedTuple):
    """A patient, whose files are worked on together: an identifier in one file is removed from all of them."""

    source: str  # tells whether the files have changed since
    root: str  # of the archive
    paths: List[str]  # below the root
    output: str  # folder of the run
    folder: str  # of the patient, below it
    words: List[str]  # options of the command
    fingerprints: Dict[str, str] = {}  # of the key and other files that the command reads, by path

    def parts(self) -> Sequence[Patient]:
        """A patient is not divided."""
        return []

    def lost(self, reason: str, number: Optional[int]) -> List[Outcome]:
        """Nothing was written."""
        return [Outcome([(path, None, reason) for path in self.paths], 0, {}, reason, number)]


class Outcome(NamedTuple):
    """What became of a patient's files."""

    files: List[Tuple[str, Optional[str], Optional[str]]]  # path below the root, new name, why there is none
    skipped: int  # files that are no DICOM, or directories of media
    remaining: Dict[str, int]  # what may still identify the patient, in how many files
    reason: Optional[str] = None  # why nothing was written
    signal: Optional[int] = None  # that ended the command
    is_final: bool = True  # another try would fail in the same way


class Check(NamedTuple):
    """What was found in the files that were made."""

    verdict: str  # "clean", "findings" or "unreadable"
    findings: Dict[str, int]  # what, in how many files
    stamp: str  # of the files that were checked, see stamp_of


def fingerprint(path: str) -> str:
    """Tells whether a file is the same without telling what is in it."""
    with open(path, "rb") as file:
        return hmac.new(file.read(), b"which key", hashlib.sha256).hexdigest()


def drafts_of(output: str) -> str:
    """The folder for what is not finished."""
    return os.path.join(output, ".radvex-drafts")


def deidentify(patient: Patient) -> List[Outcome]:
    """Writes new files in place of those that were there. The folder gets its name when all of them are done."""
    require_archive(patient.root)
    return in_parts(_deidentified, patient)


def _deidentified(patient: Patient) -> List[Outcome]:
    draft = os.path.join(drafts_of(patient.output), uuid.uuid4().hex)
    _require_same_files(patient)
    with _linked(patient) as links:
        words = ["anonymize", links, draft, "--neutral-names", "--report", "-", "--report-originals", "--jobs", "1", "-q"]
        try:
            _, report, problems = run_report(words + patient.words)
            files = [_result_of(patient, links, file) for file in report["files"]]
            written = any(name is not None for _, name, _ in files)
            _require_same_files(patient)
            if written:
                _publish(draft, patient)
        finally:
            shutil.rmtree(draft, ignore_errors=True)
        reason = None if written else " ".join(_named(patient, links, problem) for problem in problems) or "no DICOM file"
        is_final = all(file["output"] is not None or file["remaining"] for file in report["files"])
        return [Outcome(files, report["skipped"], report["remaining"], reason, is_final=is_final)]


def _require_same_files(patient: Patient) -> None:
    """What is made with another key would not fit to the rest.

    Raises FileError, OSError
    """
    for path, expected in patient.fingerprints.items():
        if fingerprint(path) != expected:
            raise FileError(f"{path} on {socket.gethostname()} is not what it was when the run began.")


def _publish(draft: str, patient: Patient) -> None:
    final = os.path.join(patient.output, patient.folder)
    if os.path.exists(final):
        old = os.path.join(drafts_of(patient.output), uuid.uuid4().hex)
        os.replace(final, old)
        shutil.rmtree(old, ignore_errors=True)
    os.replace(draft, final)


@contextmanager
def _linked(patient: Patient) -> Iterator[str]:
    """A folder of links to the files, named by their numbers."""
    with tempfile.TemporaryDirectory(prefix="radvex-", dir=_scratch()) as links:
        for number, path in enumerate(patient.paths):
            os.symlink(os.path.join(patient.root, path), os.path.join(links, f"{number:07}"))
        yield links


def _scratch() -> Optional[str]:
    """A folder that goes away with the worker, even if that is ended: links tell the names of the originals."""
    distributed: Any = sys.modules.get("distributed")
    try:
        return str(distributed.get_worker().local_directory)
    except (AttributeError, ValueError):  # no worker
        return None


def _result_of(patient: Patient, links: str, file: Dict[str, Any]) -> Tuple[str, Optional[str], Optional[str]]:
    reason = file.get("error")
    return (
        patient.paths[int(os.path.basename(file["input"]))],
        file["output"],
        _named(patient, links, reason) if reason else None,
    )


def _named(patient: Patient, links: str, sentence: str) -> str:
    """A sentence about a link, with the file in its place."""
    for word in sentence.split():
        number = word.rstrip(":.,;")[len(links) + 1 :]
        if word.startswith(links + os.sep) and number.isdigit():
            sentence = sentence.replace(os.path.join(links, number), patient.paths[int(number)])
    return sentence


def check(patient: Patient) -> List[Check]:
    """What of the originals is left in the files that were made of them."""
    require_archive(patient.root)
    return in_parts(_checked, patient)


def _checked(patient: Patient) -> List[Check]:
    made = os.path.join(patient.output, patient.folder)
    if not os.path.isdir(made):
        return [Check("unreadable", {"the folder is gone": 1}, "")]
    stamp = stamp_of(made)
    with _linked(patient) as links:
        _, report, problems = run_report(["verify", links, made, "--report", "-", "--jobs", "1", "-q", *patient.words])
    findings: Dict[str, int] = {}
    for file in report["files"]:
        for finding in file.get("findings", []) + file.get("pixels", []):
            findings[finding] = findings.get(finding, 0) + 1
    for difference in report["differences"]:
        findings[difference] = 1
    for problem in problems:
        findings[_named(patient, links, problem)] = 1
    verdict = "unreadable" if problems else "clean" if report["clean"] else "findings"
    return [Check(verdict, findings, stamp)]


def stamp_of(folder: str) -> str:
    """Changes when a file in a folder does; empty without the folder."""
    digest = hashlib.sha256()
    try:
        with os.scandir(folder) as entries:
            for entry in sorted(entries, key=lambda each: each.name):
                status = entry.stat(follow_symlinks=False)
                digest.update(os.fsencode(entry.name) + f"\0{status.st_size} {status.st_mtime_ns}\0".encode())
    except FileNotFoundError:
        return ""
    return digest.hexdigest()
