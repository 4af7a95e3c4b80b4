"""De-identifies an archive, patient by patient, and checks what was made."""

from __future__ import annotations

import fcntl
import hashlib
import hmac
import json
import os
import shutil
import sqlite3
from contextlib import contextmanager
from itertools import groupby
from operator import itemgetter
from typing import Any, Dict, Iterable, Iterator, List, Mapping, Optional, Set, Tuple

from radvex._deidentify import profile_words
from radvex._errors import FileError, UsageError
from radvex._file import PathLike
from radvex.archive._cluster import Crew
from radvex.archive._patients import Check, Outcome, Patient, check, deidentify as deidentify_patient, drafts_of
from radvex.archive._progress import Progress, Teller
from radvex.archive._store import require_condition, stored_name, writable

_TABLES = (
    "CREATE TABLE IF NOT EXISTS deidentifications (output PRIMARY KEY, options TEXT, key TEXT)",
    "CREATE TABLE IF NOT EXISTS deidentified (output, folder TEXT, source TEXT, written INTEGER, failed INTEGER, "
    "skipped INTEGER, remaining TEXT, reason TEXT, signal INTEGER, verdict TEXT, findings TEXT, PRIMARY KEY (output, folder))",
    "CREATE TABLE IF NOT EXISTS deidentified_files (output, folder TEXT, name TEXT, path, reason TEXT)",
    "CREATE INDEX IF NOT EXISTS deidentified_names ON deidentified_files(output, folder)",
)

# Files without a PatientID belong together by their study. Identifiers may be bytes that are no text.
_GROUP = (
    "CASE WHEN length(PatientID) > 0 THEN 'patient ' || hex(PatientID) "
    "ELSE 'study ' || hex(coalesce(StudyInstanceUID, '')) END"
)
_DIRECTORY = "1.2.840.10008.1.3.10"  # Media Storage Directory Storage
_SHORTEST_KEY = 16


def deidentify(
    index: PathLike,
    output: PathLike,
    *,
    key: PathLike,
    where: Optional[str] = None,
    new_values: Optional[Mapping[str, Optional[str]]] = None,
    keep: Iterable[str] = (),
    shift_dates: bool = False,
    clean: Iterable[str] = (),
    keep_private: Optional[PathLike] = None,
    accept_pixels: Iterable[str] = (),
    mask: Optional[PathLike] = None,
    strict: bool = False,
    workers: Optional[int] = None,
    cluster: Optional[str] = None,
    progress: Optional[Progress] = None,
) -> Dict[str, int]:
    """De-identifies the files of an archive under the basic confidentiality profile, as radvex.anonymize does. Each
    patient gets a folder, whose name and all new identifiers follow from the key alone: workers need not know of each
    other, and later runs fit in. An identifier of one patient in the files of another one is not looked for.

    index: of the archive, with the files as they are
    output: folder for the new files, outside of the archive; every worker has to see it under the same path
    key: file of 16 or more secret bytes, which every worker has to see under the same path
    where: the files for which this holds; see find
    new_values, keep, shift_dates, clean, keep_private, accept_pixels, mask, strict: see radvex.anonymize
    workers, cluster: see index
    progress: gets a dict with the patients "done", their "total", "seconds" and "secondsLeft" from time to time

    A patient whose files were done and have not changed is not done again; one whose files have changed is done anew. What
    was done is in the tables `deidentified` and `deidentified_files` of the index.

    Returns the numbers of files "written", "failed" and "skipped", of patients "done" and "unchanged", and of those whose
    originals are "gone" from the archive, while their new files are still there.

    Raises UsageError, FileError; FileNotFoundError.
    """
    options = {
        "new_values": dict(new_values or {}),
        "keep": _listed(keep),
        "shift_dates": shift_dates,
        "clean": _listed(clean),
        "keep_private": _absolute(keep_private),
        "accept_pixels": _listed(accept_pixels),
        "mask": _absolute(mask),
        "strict": strict,
        "where": where,
    }
    secret = _secret(key)
    folder = os.path.abspath(os.fspath(output))
    counts = {"written": 0, "failed": 0, "skipped": 0, "done": 0, "unchanged": 0, "gone": 0}
    with writable(index, _TABLES) as (database, root), _only_run(folder, root):
        _require_same(database, folder, options, hmac.new(secret, b"which key", hashlib.sha256).hexdigest())
        words = [*_checked_words(options), "--key", os.path.abspath(os.fspath(key))]
        words += ["--mask", os.path.abspath(os.fspath(mask))] if mask is not None else []
        words += ["--strict"] if strict else []
        seen: Set[str] = set()

        def items() -> Iterator[Patient]:
            for group, source, paths in _patients(database, where):
                name = _folder_of(secret, group)
                seen.add(name)
                if _is_done(database, folder, name, source):
                    counts["unchanged"] += 1
                else:
                    yield Patient(source, root, paths, folder, name, words)

        total = _number_of_patients(database, where)
        teller = Teller(progress)
        with Crew(workers, cluster) as crew:
            for patient, outcomes, _ in crew.run(deidentify_patient, items()):
                _keep(database, patient, outcomes[0])
                for state, number in _numbers(outcomes[0]).items():
                    counts[state] += number
                counts["done"] += 1
                done = counts["done"] + counts["unchanged"]
                teller.tell({"done": done}, done, total)
        counts["gone"] = _gone(database, folder, seen)
    return counts


def verify(
    index: PathLike,
    output: PathLike,
    *,
    workers: Optional[int] = None,
    cluster: Optional[str] = None,
    progress: Optional[Progress] = None,
) -> Dict[str, int]:
    """Checks what of the originals is left in the files that `deidentify` made, as radvex.verify does, patient by patient.
    Who was checked and has not been done anew since is not checked again. What was found is in the table `deidentified`.

    index, output, workers, cluster, progress: as for deidentify

    Returns the numbers of patients, in this and earlier runs: "clean", with "findings", and "unreadable".

    Raises UsageError when nothing was de-identified into the folder; FileNotFoundError.
    """
    folder = os.path.abspath(os.fspath(output))
    place = stored_name(folder)
    with writable(index, _TABLES) as (database, root):
        found = database.execute("SELECT options FROM deidentifications WHERE output = ?", (place,)).fetchone()
        if found is None:
            raise UsageError(f"Nothing was de-identified into {folder} yet.")
        words = _checked_words(json.loads(found[0]))
        query = "FROM deidentified WHERE output = ? AND written > 0"
        names = [row[0] for row in database.execute(f"SELECT folder {query} AND verdict IS NULL ORDER BY folder", (place,))]

        def items() -> Iterator[Patient]:
            for name in names:
                rows = database.execute(
                    "SELECT path FROM deidentified_files WHERE output = ? AND folder = ? AND name IS NOT NULL", (place, name)
                )
                yield Patient("", root, [os.fsdecode(row[0]) for row in rows.fetchall()], folder, name, words)

        teller = Teller(progress)
        with Crew(workers, cluster) as crew:
            for done, (patient, checks, _) in enumerate(crew.run(check, items()), start=1):
                _keep_check(database, place, patient, checks[0])
                teller.tell({"done": done}, done, len(names))
        counts = {"clean": 0, "findings": 0, "unreadable": 0}
        counts.update(database.execute(f"SELECT verdict, count(*) {query} GROUP BY verdict", (place,)).fetchall())
    return counts


def _listed(words: Iterable[str]) -> List[str]:
    return [words] if isinstance(words, str) else sorted(words)


def _absolute(path: Optional[PathLike]) -> Optional[str]:
    return None if path is None else os.path.abspath(os.fspath(path))


def _checked_words(options: Dict[str, Any]) -> List[str]:
    """The options that the check needs too."""
    names = ("new_values", "keep", "shift_dates", "clean", "keep_private", "accept_pixels")
    return profile_words(**{name: options[name] for name in names})


def _secret(key: PathLike) -> bytes:
    with open(key, "rb") as file:
        secret = file.read()
    if len(secret) < _SHORTEST_KEY:
        raise FileError(f"{os.fspath(key)} is too short for a key: at least {_SHORTEST_KEY} secret bytes are needed.")
    return secret


def _folder_of(secret: bytes, group: str) -> str:
    return hmac.new(secret, b"folder " + group.encode(), hashlib.sha256).hexdigest()[:24]


@contextmanager
def _only_run(folder: str, root: str) -> Iterator[None]:
    """Keeps other runs away from an output, and removes what an interrupted one has left in it."""
    places = [os.path.realpath(folder) + os.sep, os.path.realpath(root) + os.sep]
    if places[0].startswith(places[1]) or places[1].startswith(places[0]):
        raise UsageError(f"The output and the archive must not lie in each other: {folder}, {root}.")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, ".radvex-lock"), "w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise FileError(f"Another run is writing into {folder}.") from None
        shutil.rmtree(drafts_of(folder), ignore_errors=True)
        os.makedirs(drafts_of(folder))
        yield
        shutil.rmtree(drafts_of(folder), ignore_errors=True)


def _require_same(database: sqlite3.Connection, folder: str, options: Dict[str, Any], key: str) -> None:
    """Files that were made otherwise would not fit together."""
    text = json.dumps(options, sort_keys=True)
    place = stored_name(folder)
    found = database.execute("SELECT options, key FROM deidentifications WHERE output = ?", (place,)).fetchone()
    if found is None and any(not name.startswith(".radvex-") for name in os.listdir(folder)):
        raise FileError(f"{folder} holds something already; name an empty folder.")
    is_begun = database.execute("SELECT 1 FROM deidentified WHERE output = ?", (place,)).fetchone() is not None
    if is_begun and found[1] != key:
        raise UsageError(f"{folder} was made with another key; name another folder.")
    if is_begun and found[0] != text:
        raise UsageError(f"{folder} was made with other options; name another folder.")
    database.execute("INSERT OR REPLACE INTO deidentifications VALUES (?, ?, ?)", (place, text, key))


def _chosen(where: Optional[str]) -> str:
    """The files to work on: no directories of media, which list files by the names that they had."""
    return f"state = 'dicom' AND coalesce(SOPClassUID, '') != '{_DIRECTORY}'" + (f" AND ({where})" if where is not None else "")


def _number_of_patients(database: sqlite3.Connection, where: Optional[str]) -> int:
    require_condition(database, where)
    return int(database.execute(f"SELECT count(DISTINCT {_GROUP}) FROM paths WHERE {_chosen(where)}").fetchone()[0])


def _patients(database: sqlite3.Connection, where: Optional[str]) -> Iterator[Tuple[str, str, List[str]]]:
    """Each patient, what tells whether the files have changed, and their paths. One after the other: an archive may hold
    millions."""
    rows = database.execute(
        f"SELECT {_GROUP}, path, size, changed FROM paths WHERE {_chosen(where)} ORDER BY 1, folder, name"
    )
    for group, files in groupby(rows, key=itemgetter(0)):
        paths, digest = [], hashlib.sha256()
        for _, path, size, changed in files:
            paths.append(os.fsdecode(path))
            digest.update(os.fsencode(path) + f"\0{size} {changed}\0".encode())
        yield group, digest.hexdigest(), paths


def _is_done(database: sqlite3.Connection, folder: str, name: str, source: str) -> bool:
    """Whether a patient was done as the files are now, and the new ones are still there."""
    row = database.execute(
        "SELECT source, written FROM deidentified WHERE output = ? AND folder = ?", (stored_name(folder), name)
    ).fetchone()
    return row is not None and row[0] == source and (not row[1] or os.path.isdir(os.path.join(folder, name)))


def _gone(database: sqlite3.Connection, folder: str, seen: Set[str]) -> int:
    rows = database.execute("SELECT folder FROM deidentified WHERE output = ? AND written > 0", (stored_name(folder),))
    return sum(name not in seen for (name,) in rows)


def _numbers(outcome: Outcome) -> Dict[str, int]:
    written = sum(name is not None for _, name, _ in outcome.files)
    return {"written": written, "failed": len(outcome.files) - written, "skipped": outcome.skipped}


def _keep(database: sqlite3.Connection, patient: Patient, outcome: Outcome) -> None:
    place = (stored_name(patient.output), patient.folder)
    numbers = _numbers(outcome)
    if not numbers["written"]:  # what an earlier run made is not of these files
        shutil.rmtree(os.path.join(patient.output, patient.folder), ignore_errors=True)
    database.execute("BEGIN IMMEDIATE")
    database.execute(
        f"INSERT OR REPLACE INTO deidentified VALUES ({', '.join('?' * 11)})",
        (*place, patient.source, *numbers.values(), json.dumps(outcome.remaining), outcome.reason, outcome.signal, None, None),
    )
    database.execute("DELETE FROM deidentified_files WHERE output = ? AND folder = ?", place)
    database.executemany(
        "INSERT INTO deidentified_files VALUES (?, ?, ?, ?, ?)",
        [(*place, name, stored_name(path), reason) for path, name, reason in outcome.files],
    )
    database.execute("COMMIT")


def _keep_check(database: sqlite3.Connection, place: Any, patient: Patient, found: Check) -> None:
    database.execute(
        "UPDATE deidentified SET verdict = ?, findings = ? WHERE output = ? AND folder = ?",
        (found.verdict, json.dumps(found.findings), place, patient.folder),
    )
