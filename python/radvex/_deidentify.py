from __future__ import annotations

import json
import os
import re
import warnings
from typing import Any, Dict, Iterable, List, Mapping, Optional, Tuple

from radvex._errors import FileError, RadvexWarning, ReaderDied, UsageError, in_python
from radvex._file import PathLike
from radvex._jobs import end_of, run_command


class _Outcome:
    """What both runs have in common."""

    def __init__(self, report: Dict[str, Any], problems: List[str]) -> None:
        self.report = report
        self.failed: int = report["failed"]
        self.problems = problems


class Anonymized(_Outcome):
    """What a run of anonymize did.

    written, failed, skipped: numbers of files
    remaining: what may still identify the patient -> the number of files. Look at these before you share anything
    problems: sentences about files that failed
    report: the whole report, as docs/deidentification.md describes it
    """

    def __init__(self, report: Dict[str, Any], problems: List[str]) -> None:
        super().__init__(report, problems)
        self.written: int = report["written"]
        self.skipped: int = report["skipped"]
        self.remaining: Dict[str, int] = report["remaining"]

    def __repr__(self) -> str:
        return (
            f"<Anonymized: {self.written} written, {self.failed} failed, {self.skipped} skipped, "
            f"{len(self.remaining)} kind{'' if len(self.remaining) == 1 else 's'} of remains>"
        )


class Verified(_Outcome):
    """What verify found.

    clean: nothing was found, and every file could be read
    checked, failed: numbers of files
    report: the whole report, as docs/deidentification.md describes it
    """

    def __init__(self, report: Dict[str, Any], problems: List[str]) -> None:
        super().__init__(report, problems)
        self.clean: bool = report["clean"]
        self.checked: int = report["checked"]

    @property
    def findings(self) -> Dict[str, List[Any]]:
        """File -> what may still identify the patient in it, pixels included. Differences between the trees, such as
        a file too many, are in report["differences"]."""
        files = self.report["files"]
        found = {each["file"]: each.get("findings", []) + each.get("pixels", []) for each in files}
        return {file: findings for file, findings in found.items() if findings}

    def __bool__(self) -> bool:
        return self.clean

    def __repr__(self) -> str:
        return f"<Verified: {'clean' if self.clean else 'not clean'}, {self.checked} files checked>"


def run_report(arguments: List[str]) -> Tuple[int, Dict[str, Any], List[str]]:
    """The exit status of the command, its report, and the sentences that it said on standard error."""
    status, output, errors = run_command(arguments)
    problems = [_in_python(line[len("radvex: ") :]) for line in errors.splitlines() if line.startswith("radvex: ")]
    if status < 0:
        raise ReaderDied(arguments[1], end_of(status))
    if status == 2:
        raise UsageError(" ".join(problems))
    if not output.strip():
        raise FileError(" ".join(problems) or "The command gave no report.")
    return status, json.loads(output), problems


def _in_python(sentence: str) -> str:
    """A sentence that names options of the command, with the arguments of the functions here."""
    return re.sub(r"(?<![\w/.-])--([a-z][a-z-]*)", lambda found: found[1].replace("-", "_"), in_python(sentence))


def _flags(**given: bool) -> List[str]:
    return [f"--{name.replace('_', '-')}" for name, value in given.items() if value]


def _options(**given: Any) -> List[str]:
    return [
        word
        for name, value in given.items()
        if value is not None
        for word in (f"--{name.replace('_', '-')}", os.fspath(value) if hasattr(value, "__fspath__") else str(value))
    ]


def _words(option: str, words: Iterable[str]) -> List[str]:
    if isinstance(words, str):
        words = [words]
    return [each for word in words for each in (option, word)]


def _replacements(new_values: Optional[Mapping[str, Optional[str]]]) -> List[str]:
    given = (new_values or {}).items()
    return _words("--set", [f"{keyword}={'' if value is None else value}" for keyword, value in given])


def profile_words(
    *,
    new_values: Optional[Mapping[str, Optional[str]]] = None,
    keep: Iterable[str] = (),
    shift_dates: bool = False,
    clean: Iterable[str] = (),
    keep_private: Optional[PathLike] = None,
    accept_pixels: Iterable[str] = (),
) -> List[str]:
    """The words of the command that say what may stay, for anonymize as for verify."""
    words = _replacements(new_values) + _words("--keep", keep) + _words("--clean", clean)
    words += _words("--accept-pixels", accept_pixels) + _options(keep_private=keep_private)
    return words + _flags(shift_dates=shift_dates)


def anonymize(
    source: PathLike,
    output: PathLike,
    *,
    profile: str = "basic",
    new_values: Optional[Mapping[str, Optional[str]]] = None,
    keep: Iterable[str] = (),
    shift_dates: bool = False,
    clean: Iterable[str] = (),
    keep_private: Optional[PathLike] = None,
    accept_pixels: Iterable[str] = (),
    mask: Optional[PathLike] = None,
    pseudonyms: Optional[PathLike] = None,
    key: Optional[PathLike] = None,
    independent: bool = False,
    neutral_names: bool = False,
    strict: bool = False,
    dry_run: bool = False,
    resume: bool = False,
    force: bool = False,
    jobs: Optional[int] = None,
) -> Anonymized:
    """De-identifies a file, a folder or a medium, as the command `radvex anonymize` does with the same options.

    source, output: file or folder; the output must not be there yet
    profile: "basic", the basic confidentiality profile of DICOM, or "none": only identifiers and new_values change
    new_values: keyword -> text that replaces its value; None empties it
    keep: of "uids", "device", "institution", "patient", "dates"
    shift_dates: move all dates of a patient by the same number of days
    clean: of "descriptors", "structured-content", "graphics"
    keep_private, mask, pseudonyms, key: files, see docs/deidentification.md
    accept_pixels: kinds of pixels that somebody has looked at
    independent: a new value for every identifier of every file
    neutral_names: number the files instead of keeping their names
    strict: write no file that may still identify the patient
    dry_run: report what would be done, and write nothing
    resume: go on with an interrupted run
    force: replace what is there
    jobs: processes that read files

    Returns what was done. `remaining` says what may still identify the patient: nobody can promise that nothing does.
    Files that failed are in `problems`, and a RadvexWarning names the first.

    Raises UsageError; FileError when nothing could be written.
    """
    arguments = ["anonymize", os.fspath(source), os.fspath(output), "--report", "-", "--profile", profile]
    arguments += profile_words(
        new_values=new_values,
        keep=keep,
        shift_dates=shift_dates,
        clean=clean,
        keep_private=keep_private,
        accept_pixels=accept_pixels,
    )
    arguments += _options(mask=mask, pseudonyms=pseudonyms, key=key, jobs=jobs)
    arguments += _flags(
        independent=independent,
        neutral_names=neutral_names,
        strict=strict,
        dry_run=dry_run,
        resume=resume,
        force=force,
    )
    status, report, problems = run_report(arguments)
    if status == 1:
        raise FileError(" ".join(problems[:3]))
    if report["written"] == 0 and not (dry_run or resume):
        raise FileError(f"{os.fspath(source)} has no DICOM file.")
    if problems:
        warnings.warn(problems[0], RadvexWarning, stacklevel=2)
    return Anonymized(report, problems)


def verify(
    output: PathLike,
    originals: Optional[PathLike] = None,
    *,
    new_values: Optional[Mapping[str, Optional[str]]] = None,
    keep: Iterable[str] = (),
    shift_dates: bool = False,
    clean: Iterable[str] = (),
    keep_private: Optional[PathLike] = None,
    accept_pixels: Iterable[str] = (),
    jobs: Optional[int] = None,
) -> Verified:
    """Checks what may still identify the patients in de-identified files, as the command `radvex verify` does.

    output: file, folder or medium to check
    originals: what it was made of; then anything of the originals that is left in it is found too
    The other arguments are those of anonymize: what was done on purpose is no finding.

    >>> radvex.verify("CT_small.dcm").clean
    False

    Raises UsageError; FileError when there is nothing to check.
    """
    folders = [os.fspath(output)] if originals is None else [os.fspath(originals), os.fspath(output)]
    arguments = ["verify", *folders, "--report", "-"]
    arguments += profile_words(
        new_values=new_values,
        keep=keep,
        shift_dates=shift_dates,
        clean=clean,
        keep_private=keep_private,
        accept_pixels=accept_pixels,
    )
    arguments += _options(jobs=jobs)
    _, report, problems = run_report(arguments)
    if report["checked"] == 0:
        raise FileError(" ".join(problems) or f"{os.fspath(output)} has no DICOM file.")
    return Verified(report, problems)


__all__ = ["Anonymized", "Verified", "anonymize", "verify"]
