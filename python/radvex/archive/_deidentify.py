"""De-identifies an archive, patient by patient, and checks what was made."""

from __future__ import annotations

import fcntl
import hashlib
import hmac
import json
import os
import shutil
import sqlite3
from contextlib import closing, contextmanager
from itertools import groupby
from operator import itemgetter
from typing import Any, Dict, Iterable, Iterator, List, Mapping, Optional, Set, Tuple, Union

from radvex._deidentify import profile_words
from radvex._errors import FileError, UsageError
from radvex._file import PathLike
from radvex.archive._cluster import Crew
from radvex.archive._patients import Check, Outcome, Patient, check, deidentify as deidentify_patient, drafts_of, stamp_of
from radvex.archive._patients import fingerprint
from radvex.archive._progress import Progress, Teller
from radvex.archive._store import read_only, require_condition, stored_name, writable

_TABLES = (
    "CREATE TABLE IF NOT EXISTS deidentifications (output PRIMARY KEY, options TEXT, key TEXT)",
    "CREATE TABLE IF NOT EXISTS deidentified (output, folder TEXT, source TEXT, written INTEGER, failed INTEGER, "
    "skipped INTEGER, remaining TEXT, reason TEXT, signal INTEGER, verdict TEXT, findings TEXT, stamp TEXT, "
    "PRIMARY KEY (output, folder))",
    "CREATE TABLE IF NOT EXISTS deidentified_files (output, folder TEXT, name TEXT, path, reason TEXT)",
    "CREATE INDEX IF NOT EXISTS deidentified_names ON deidentified_files(output, folder)",
)

_DIRECTORY = "1.2.840.10008.1.3.10"  # Media Storage Directory Storage
_FILES = f"state = 'dicom' AND coalesce(SOPClassUID, '') != '{_DIRECTORY}'"  # directories list files by the names they had

# The files for which a condition holds, with the group to which each belongs. A file without a PatientID belongs to the
# patient of its study, whose name it may hold; if there are several or none, such files belong together by the study.
_GROUPED = f"""
WITH owners AS MATERIALIZED (SELECT StudyInstanceUID AS study, min(patient_of(PatientID)) AS patient FROM files
        WHERE {_FILES} AND StudyInstanceUID > '' AND patient_of(PatientID) > ''
        GROUP BY 1 HAVING min(patient_of(PatientID)) = max(patient_of(PatientID))),
    chosen AS (SELECT *, patient_of(PatientID) AS patient FROM paths WHERE {_FILES} AND ({{where}})),
    grouped AS (SELECT chosen.*, CASE WHEN chosen.patient > '' THEN 'patient ' || hex(chosen.patient)
        WHEN owners.patient > '' THEN 'patient ' || hex(owners.patient)
        ELSE 'study ' || hex(coalesce(StudyInstanceUID, '')) END AS belongs
        FROM chosen LEFT JOIN owners ON owners.study = StudyInstanceUID)
"""
_SHORTEST_KEY = 16
_PADDING = "".join(map(chr, range(33)))


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

    A patient whose files were done and have not changed is not done again; one whose files have changed, or of whom a file
    failed, is done anew. Not tried again before it changes is what ended the command, and what strict= keeps back. What was
    done is in the tables `deidentified` and `deidentified_files` of the index.

    Returns the numbers of files "written" and "skipped", of those that "failed" in this run or an earlier one, of patients
    "done" and "unchanged", and of those whose originals are "gone" from the archive, while their new files are still there.

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
    fingerprints = {path: fingerprint(path) for path in map(_absolute, (key, keep_private, mask)) if path is not None}
    options["contents"] = sorted(fingerprints[path] for path in map(_absolute, (keep_private, mask)) if path is not None)
    folder = os.path.abspath(os.fspath(output))
    counts = {"written": 0, "failed": 0, "skipped": 0, "done": 0, "unchanged": 0, "gone": 0}
    # Questions have a connection of their own: one that is open in the other would end this run as soon as anybody writes.
    with writable(index, _TABLES) as (database, root), closing(read_only(os.fspath(index))) as questions, _only_run(folder, root):
        questions.create_function("patient_of", 1, _patient_of, deterministic=True)
        _require_same(database, folder, options, fingerprints[os.path.abspath(os.fspath(key))])
        words = [*_checked_words(options), "--key", os.path.abspath(os.fspath(key))]
        words += ["--mask", os.path.abspath(os.fspath(mask))] if mask is not None else []
        words += ["--strict"] if strict else []
        seen: Set[str] = set()

        def items() -> Iterator[Patient]:
            for group, source, paths in _patients(questions, where):
                name = _folder_of(secret, group)
                seen.add(name)
                failed = _failed(database, folder, name, source)
                if failed is None:
                    yield Patient(source, root, paths, folder, name, words, fingerprints)
                else:
                    counts["unchanged"] += 1
                    counts["failed"] += failed

        total = _number_of_patients(questions, where)
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
    Who was checked, and whose files have not changed since, is not checked again. What was found is in the table `deidentified`.

    index, output, workers, cluster, progress: as for deidentify

    Returns the numbers of patients, in this and earlier runs: "clean", with "findings", and "unreadable".

    Raises UsageError when nothing was de-identified into the folder; FileError when something is in it that no run has
    recorded; FileNotFoundError.
    """
    folder = os.path.abspath(os.fspath(output))
    place = stored_name(folder)
    with writable(index, _TABLES) as (database, root):
        found = database.execute("SELECT options FROM deidentifications WHERE output = ?", (place,)).fetchone()
        if found is None:
            raise UsageError(f"Nothing was de-identified into {folder} yet.")
        words = _checked_words(json.loads(found[0]))
        _require_no_strays(database, folder)
        query = "FROM deidentified WHERE output = ? AND written > 0"
        rows = database.execute(f"SELECT folder, source, verdict, stamp {query} ORDER BY folder", (place,)).fetchall()
        names = [
            (name, source)
            for name, source, verdict, stamp in rows
            if verdict is None or stamp != stamp_of(os.path.join(folder, name))
        ]

        def items() -> Iterator[Patient]:
            for name, source in names:
                rows = database.execute(
                    "SELECT path FROM deidentified_files WHERE output = ? AND folder = ? AND name IS NOT NULL", (place, name)
                )
                yield Patient(source, root, [os.fsdecode(row[0]) for row in rows.fetchall()], folder, name, words)

        teller = Teller(progress)
        with Crew(workers, cluster) as crew:
            for done, (patient, checks, _) in enumerate(crew.run(check, items()), start=1):
                _keep_check(database, place, patient, _check_of(checks[0]))
                teller.tell({"done": done}, done, len(names))
        counts = {"clean": 0, "findings": 0, "unreadable": 0}
        counts.update(database.execute(f"SELECT verdict, count(*) {query} GROUP BY verdict", (place,)).fetchall())
    return counts


def _require_no_strays(database: sqlite3.Connection, folder: str) -> None:
    """Nobody would look at what lies beside the folders of the patients."""
    rows = database.execute("SELECT folder FROM deidentified WHERE output = ? AND written > 0", (stored_name(folder),))
    known = {name for (name,) in rows} | {".radvex-lock", os.path.basename(drafts_of(folder))}
    strays = sorted(set(os.listdir(folder)) - known) if os.path.isdir(folder) else []
    if strays:
        raise FileError(
            f"{os.path.join(folder, strays[0])} was not recorded by deidentify. If a run was interrupted, go on with it; "
            "else remove what does not belong here."
        )


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
        try:
            yield
        finally:
            shutil.rmtree(drafts_of(folder), ignore_errors=True)


def _require_same(database: sqlite3.Connection, folder: str, options: Dict[str, Any], key: str) -> None:
    """Files that were made otherwise would not fit together."""
    text = json.dumps(options, sort_keys=True)
    place = stored_name(folder)
    found = database.execute("SELECT options, key FROM deidentifications WHERE output = ?", (place,)).fetchone()
    is_empty = all(name.startswith(".radvex-") for name in os.listdir(folder))
    if found is None and not is_empty:
        raise FileError(f"{folder} holds something already; name an empty folder.")
    # A run that was killed may have left a patient of whom the index does not know.
    is_known = database.execute("SELECT 1 FROM deidentified WHERE output = ?", (place,)).fetchone() is not None
    is_begun = is_known or not is_empty
    if is_begun and found[1] != key:
        raise UsageError(f"{folder} was made with another key; name another folder.")
    if is_begun and found[0] != text:
        raise UsageError(f"{folder} was made with other options; name another folder.")
    database.execute("INSERT OR REPLACE INTO deidentifications VALUES (?, ?, ?)", (place, text, key))


def _patient_of(identifier: Union[None, str, bytes]) -> str:
    """The text from which anonymize makes a pseudonym: without padding, the same in every character set. Empty for
    none."""
    text = identifier.decode("latin-1") if isinstance(identifier, bytes) else identifier or ""
    return text.strip(_PADDING)


def _grouped(where: Optional[str]) -> str:
    return _GROUPED.format(where=where if where is not None else "1")


def _number_of_patients(database: sqlite3.Connection, where: Optional[str]) -> int:
    require_condition(database, where)
    return int(database.execute(_grouped(where) + "SELECT count(DISTINCT belongs) FROM grouped").fetchone()[0])


def _patients(database: sqlite3.Connection, where: Optional[str]) -> Iterator[Tuple[str, str, List[str]]]:
    """Each patient, what tells whether the files have changed, and their paths. One after the other: an archive may hold
    millions."""
    rows = database.execute(_grouped(where) + "SELECT belongs, path, size, changed FROM grouped ORDER BY 1, folder, name")
    for group, files in groupby(rows, key=itemgetter(0)):
        paths, digest = [], hashlib.sha256()
        for _, path, size, changed in files:
            paths.append(os.fsdecode(path))
            digest.update(os.fsencode(path) + f"\0{size} {changed}\0".encode())
        yield group, digest.hexdigest(), paths


def _failed(database: sqlite3.Connection, folder: str, name: str, source: str) -> Optional[int]:
    """The number of files that failed of a patient who was done as the files are now; None if the patient was not, or the
    new files are no longer there."""
    row = database.execute(
        "SELECT source, written, failed FROM deidentified WHERE output = ? AND folder = ?", (stored_name(folder), name)
    ).fetchone()
    is_done = row is not None and row[0] == source and (not row[1] or os.path.isdir(os.path.join(folder, name)))
    return int(row[2]) if is_done else None


def _gone(database: sqlite3.Connection, folder: str, seen: Set[str]) -> int:
    rows = database.execute("SELECT folder FROM deidentified WHERE output = ? AND written > 0", (stored_name(folder),))
    return sum(name not in seen for (name,) in rows)


def _numbers(outcome: Outcome) -> Dict[str, int]:
    written = sum(name is not None for _, name, _ in outcome.files)
    return {"written": written, "failed": len(outcome.files) - written, "skipped": outcome.skipped}


def _keep(database: sqlite3.Connection, patient: Patient, outcome: Outcome) -> None:
    place = (stored_name(patient.output), patient.folder)
    numbers = _numbers(outcome)
    source = patient.source if outcome.is_final else ""  # else it is tried again: a disk may have been full
    if not numbers["written"]:  # what an earlier run made is not of these files
        shutil.rmtree(os.path.join(patient.output, patient.folder), ignore_errors=True)
    database.execute("BEGIN IMMEDIATE")
    database.execute(
        f"INSERT OR REPLACE INTO deidentified VALUES ({', '.join('?' * 12)})",
        (*place, source, *numbers.values(), json.dumps(outcome.remaining), outcome.reason, outcome.signal, None, None, None),
    )
    database.execute("DELETE FROM deidentified_files WHERE output = ? AND folder = ?", place)
    database.executemany(
        "INSERT INTO deidentified_files VALUES (?, ?, ?, ?, ?)",
        [(*place, name, stored_name(path), reason) for path, name, reason in outcome.files],
    )
    database.execute("COMMIT")


def _check_of(found: Union[Check, Outcome]) -> Check:
    """Of files that end whoever checks them, only the reason is known."""
    return found if isinstance(found, Check) else Check("unreadable", {found.reason or "it was not read": 1}, "")


def _keep_check(database: sqlite3.Connection, place: Any, patient: Patient, found: Check) -> None:
    database.execute(
        "UPDATE deidentified SET verdict = ?, findings = ?, stamp = ? WHERE output = ? AND folder = ? AND source = ?",
        (found.verdict, json.dumps(found.findings), found.stamp, place, patient.folder, patient.source),
    )
