"""What an index tells about the quality of its archive. Everything is counted by SQL, without growing memory."""

from __future__ import annotations

import os
import re
from typing import Any, Dict, Iterator, List, Optional, Sequence

from radvex.archive._describe import UNDECODED
from radvex.archive._store import read_only, rows_of

_MOST = 1000  # groups that are listed
_MAKER = ("Manufacturer", "ManufacturerModelName", "Modality", "TransferSyntaxUID")
_IDENTIFIERS = ("SOPClassUID", "SOPInstanceUID", "StudyInstanceUID", "SeriesInstanceUID", "TransferSyntaxUID")
_VERDICTS = ("withPixels", "withoutPixels", "broken", "notDecoded", "notChecked")

# What files of a series disagree in -> a condition on the series. Files without pixels have no size.
_DISAGREEMENTS = {
    "size": "min(Rows) != max(Rows) OR min(Columns) != max(Columns)",
    "Modality": "min(coalesce(Modality, '')) != max(coalesce(Modality, ''))",
    "PatientID": "min(coalesce(PatientID, '')) != max(coalesce(PatientID, ''))",
    "StudyInstanceUID": "min(coalesce(StudyInstanceUID, '')) != max(coalesce(StudyInstanceUID, ''))",
}

_CHOSEN = """
WITH chosen AS NOT MATERIALIZED (SELECT *, CASE
        WHEN state = 'broken' THEN 'broken'
        WHEN digest IS NULL THEN 'notChecked'
        WHEN instr(reason, '{undecoded}') THEN 'notDecoded'
        WHEN reason IS NOT NULL THEN 'broken'
        WHEN digest = '' THEN 'withoutPixels'
        ELSE 'withPixels' END AS verdict
    FROM paths WHERE ({where}) AND state IN ('dicom', 'broken'))
"""

# What differs between two sentences of the same kind -> what stands for it.
_PARTICULARS = [
    (re.compile(r" at byte \d+(?: of(?: at least)? \d+)?"), ""),
    (re.compile(r"(?<!\w)'[^']*'(?!\w)|\"[^\"]*\""), "'...'"),
    (re.compile(r"\([0-9A-Fa-f]{4},[0-9A-Fa-f]{4}\)"), "an element"),
    (re.compile(r"(?<![\w)])/\S*/\S*\w"), "FILE"),
    (re.compile(r"\b\d+(?:\.\d+){3,}"), "UID"),
    (re.compile(r"(?<!JPEG )(?<![\w.-])\d+(?:\.\d+)?(?!\w)"), "N"),
]


def kind_of(sentence: str, path: str) -> str:
    """A sentence about a file without what is particular to that file: its path, bytes, numbers, identifiers, values.

    >>> kind_of("/a/b.dcm is cut off at byte 9630 of 9692, in its pixels.", "/a/b.dcm")
    'is cut off, in its pixels'
    """
    for written in (path, os.fsencode(path).decode("utf-8", "replace")):
        sentence = sentence.replace(written, "FILE")
    for pattern, stands_for in _PARTICULARS:
        sentence = pattern.sub(stands_for, sentence)
    return re.sub(r"^FILE:? ", "", sentence).rstrip(".")


class Chosen:
    """Questions about the files of an index for which a condition holds. The table `chosen` has the columns of
    `paths`, and `verdict`."""

    def __init__(self, index: str, where: Optional[str], values: Sequence[Any]) -> None:
        self._database = read_only(index)
        self._values = list(values)
        self._with = _CHOSEN.format(undecoded=UNDECODED, where=where if where is not None else "1")
        root = os.fsdecode(self._database.execute("SELECT root FROM archive").fetchone()[0])

        def kind(sentence: Any, path: Any) -> str:
            return kind_of(text_of(sentence), os.path.join(root, os.fsdecode(path)))

        self._database.create_function("kind_of", 2, kind, deterministic=True)
        self._database.create_function("size_class", 1, int.bit_length, deterministic=True)

    def __enter__(self) -> Chosen:
        return self

    def __exit__(self, *_: object) -> None:
        self._database.close()

    def ask(self, query: str, *values: Any) -> Iterator[Dict[str, Any]]:
        """The rows of a query on `chosen`."""
        names, rows = rows_of(self._database, self._with + query, [*self._values, *values])
        for row in rows:
            yield dict(zip(names, row))

    def one(self, query: str, *values: Any) -> Dict[str, Any]:
        """Its only row."""
        return next(self.ask(query, *values))


def text_of(value: Any) -> str:
    """Text of the index, of which bytes in no known character set are shown as far as they can be."""
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value or "")


def report(index: str, where: Optional[str] = None, values: Sequence[Any] = ()) -> Dict[str, Any]:
    """The report on the files of an index for which a condition holds."""
    with Chosen(index, where, values) as chosen:
        counted = {row["verdict"]: row for row in chosen.ask(
            "SELECT verdict, count(*) AS files, sum(size) AS bytes FROM chosen GROUP BY verdict"
        )}
        numbers: Dict[str, Any] = {
            "files": sum(row["files"] for row in counted.values()),
            "bytes": sum(row["bytes"] for row in counted.values()),
        }
        numbers.update({name: counted[name]["files"] if name in counted else 0 for name in _VERDICTS})
        return {
            **numbers,
            "brokenKinds": _kinds(chosen, "broken"),
            "notDecodedKinds": _kinds(chosen, "notDecoded"),
            "copiesOfPixels": _copies(chosen),
            "sameIdentifier": _same_identifier(chosen),
            "seriesThatDisagree": {name: _series(chosen, condition) for name, condition in _DISAGREEMENTS.items()},
            "missing": {name: _missing(chosen, name) for name in _IDENTIFIERS},
        }


def _kinds(chosen: Chosen, verdict: str) -> List[Dict[str, Any]]:
    """Reasons by kind, the most frequent one first, each with its makers."""
    maker = ", ".join(f"coalesce({name}, '') AS {name}" for name in _MAKER)
    names = ", ".join(_MAKER)
    rows = chosen.ask(
        f""",
        found AS (SELECT kind_of(reason, path) AS kind, {maker}, count(*) AS files, sum(size) AS bytes,
            min(path) AS example FROM chosen WHERE verdict = ? GROUP BY 1, 2, 3, 4, 5),
        made AS (SELECT {maker}, count(*) AS allFiles, sum(size) AS allBytes FROM chosen GROUP BY 1, 2, 3, 4)
        SELECT *, sum(files) OVER (PARTITION BY kind) AS kindFiles, sum(bytes) OVER (PARTITION BY kind) AS kindBytes
            FROM found JOIN made USING ({names}) ORDER BY kindFiles DESC, kind, files DESC, {names} LIMIT {_MOST}""",
        verdict,
    )
    kinds: Dict[str, Dict[str, Any]] = {}
    for row in rows:
        kind = kinds.setdefault(
            row["kind"], {"kind": row["kind"], "files": row["kindFiles"], "bytes": row["kindBytes"], "makers": []}
        )
        kind["makers"].append(_maker(row))
    return list(kinds.values())


def _maker(row: Dict[str, Any]) -> Dict[str, Any]:
    """The files of one kind of reason and one maker, and their share of all that this maker made. There is no share
    of files that say nothing of their maker: they were made by several."""
    maker = {name: text_of(row[name]) for name in _MAKER}
    is_known = any(maker.values())
    return {
        **maker,
        "files": row["files"],
        "bytes": row["bytes"],
        "shareOfFiles": row["files"] / row["allFiles"] if is_known else None,
        "shareOfBytes": row["bytes"] / row["allBytes"] if is_known and row["allBytes"] else None,
        "example": os.fsdecode(row["example"]),
    }


def _copies(chosen: Chosen) -> Dict[str, Any]:
    """The same pixels under several identifiers."""
    row = chosen.one(
        """, same AS (SELECT count(*) AS files, sum(size) AS bytes, min(path) AS first, max(path) AS last FROM chosen
            WHERE digest > '' GROUP BY digest HAVING min(SOPInstanceUID) != max(SOPInstanceUID))
        SELECT count(*) AS pictures, sum(files) AS files, sum(bytes) AS bytes, first, last, max(files) FROM same"""
    )
    return _numbers(row, "pictures", "files", "bytes")


def _same_identifier(chosen: Chosen) -> Dict[str, Any]:
    """Identifiers that several files have: with the same pixels, and with other ones, which is an error. What was not
    read to its end is left out."""
    query = """, same AS (SELECT count(*) AS files, sum(size) AS bytes, min(path) AS first, max(path) AS last
            FROM chosen WHERE SOPInstanceUID > '' AND verdict IN ('withPixels', 'withoutPixels')
            GROUP BY SOPInstanceUID HAVING count(*) > 1 AND min(digest) {} max(digest))
        SELECT count(*) AS identifiers, sum(files) AS files, sum(bytes) AS bytes, first, last, max(files) FROM same"""
    return {
        "otherPixels": _numbers(chosen.one(query.format("!=")), "identifiers", "files", "bytes"),
        "samePixels": _numbers(chosen.one(query.format("=")), "identifiers", "files", "bytes"),
    }


def _series(chosen: Chosen, condition: str) -> Dict[str, Any]:
    """Series whose files disagree."""
    row = chosen.one(
        f""", same AS (SELECT count(*) AS files, sum(size) AS bytes, min(path) AS first, max(path) AS last FROM chosen
            WHERE state = 'dicom' AND SeriesInstanceUID > '' GROUP BY SeriesInstanceUID HAVING {condition})
        SELECT count(*) AS series, sum(files) AS files, sum(bytes) AS bytes, first, last, max(files) FROM same"""
    )
    return _numbers(row, "series", "files", "bytes")


def _missing(chosen: Chosen, name: str) -> Dict[str, Any]:
    """Files without an identifier. A directory of a medium has none."""
    row = chosen.one(
        f"""SELECT count(*) AS files, sum(size) AS bytes, min(path) AS first, NULL AS last FROM chosen
            WHERE state = 'dicom' AND coalesce({name}, '') = '' AND lower(CAST(name AS TEXT)) != 'dicomdir'"""
    )
    return _numbers(row, "files", "bytes")


def _numbers(row: Dict[str, Any], *names: str) -> Dict[str, Any]:
    """Numbers of a row, 0 for none, and the examples in it: two files of the largest group."""
    examples = [os.fsdecode(row[name]) for name in ("first", "last") if row[name] is not None]
    return {**{name: row[name] or 0 for name in names}, "examples": examples}
