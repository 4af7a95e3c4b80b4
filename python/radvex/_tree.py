from __future__ import annotations

import os
import warnings
from typing import Any, Dict, Iterator, List, Optional, Tuple

from radvex._errors import RadvexWarning
from radvex._file import PathLike
from radvex._jobs import Job, Progress, jobs_of, path_text, require_keys


def _counted(number: int, one: str, several: str) -> str:
    return f"{number} {one if number == 1 else several}"


class Series:
    """A series: uid, number, modality and description (None where nothing says so), files (paths, in
    the order of the medium; those of a folder are sorted)."""

    def __init__(self, root: str, described: Dict[str, Any]) -> None:
        self._root = root
        self._key: str = described["key"]
        self.uid: Optional[str] = described["uid"]
        self.number: Optional[str] = described["number"]
        self.modality: Optional[str] = described["modality"]
        self.description: Optional[str] = described["description"]
        self.files: List[str] = [path_text(path) for path in described["files"]]

    def volume(self, **options: Any) -> Any:
        """The series as a volume; see radvex.volume."""
        from radvex._volume import volume

        return volume(self._root, series=self._key, **options)

    def __len__(self) -> int:
        return len(self.files)

    def __iter__(self) -> Iterator[str]:
        return iter(self.files)

    def __repr__(self) -> str:
        about = ", ".join(text for text in (self.modality, self.description) if text)
        return f"<Series {self.number or '-'}: {about or '-'}, {_counted(len(self.files), 'file', 'files')}>"


class Study:
    """A study: uid, date and description (None where nothing says so), series."""

    def __init__(self, root: str, described: Dict[str, Any]) -> None:
        self.uid: Optional[str] = described["uid"]
        self.date: Optional[str] = described["date"]
        self.description: Optional[str] = described["description"]
        self.series: List[Series] = [Series(root, each) for each in described["series"]]

    def __len__(self) -> int:
        return len(self.series)

    def __iter__(self) -> Iterator[Series]:
        return iter(self.series)

    def __repr__(self) -> str:
        return f"<Study {self.date or '-'}: {self.description or '-'}, {len(self.series)} series>"


class Patient:
    """A patient: id and name (None where nothing says so), studies."""

    def __init__(self, root: str, described: Dict[str, Any]) -> None:
        self.id: Optional[str] = described["id"]
        self.name: Optional[str] = described["name"]
        self.studies: List[Study] = [Study(root, each) for each in described["studies"]]

    def __len__(self) -> int:
        return len(self.studies)

    def __iter__(self) -> Iterator[Study]:
        return iter(self.studies)

    def __repr__(self) -> str:
        return f"<Patient {self.id or '-'}: {self.name or '-'}, {_counted(len(self.studies), 'study', 'studies')}>"


class Tree:
    """What lies on a medium or in a folder: patients, their studies, their series, their files.

    path: of the medium or the folder
    patients: in the order of the medium; in a folder, of the paths of their first files
    skipped: the number of files that are not DICOM
    refused: path and reason of each DICOM file that could not be taken
    """

    def __init__(self, path: str, described: Dict[str, Any]) -> None:
        self.path = path
        self.patients: List[Patient] = [Patient(path, each) for each in described["patients"]]
        self.skipped: int = described["leftOut"]["skipped"]
        self.refused: List[Tuple[str, str]] = [
            (path_text(each["path"]), each["reason"]) for each in described["leftOut"]["refused"]
        ]

    def series(self) -> List[Series]:
        """All series of all patients."""
        return [series for patient in self.patients for study in patient for series in study]

    def __len__(self) -> int:
        return len(self.patients)

    def __iter__(self) -> Iterator[Patient]:
        return iter(self.patients)

    def __repr__(self) -> str:
        series = self.series()
        files = sum(len(each) for each in series)
        return (
            f"<Tree of {self.path}: {_counted(len(self.patients), 'patient', 'patients')}, "
            f"{len(series)} series, {_counted(files, 'file', 'files')}>"
        )

    def __str__(self) -> str:
        lines = []
        for patient in self.patients:
            lines.append(repr(patient))
            for study in patient:
                lines.append("  " + repr(study))
                lines += ["    " + repr(series) for series in study]
        return "\n".join(lines)


def tree(
    path: PathLike,
    *,
    patient: Optional[str] = None,
    study: Optional[str] = None,
    series: Optional[str] = None,
    jobs: Optional[int] = None,
    progress: Progress = False,
) -> Tree:
    """Lists a DICOMDIR or a folder, whose files are read one by one. Nothing is written.

    patient, study, series: only those with this PatientID, StudyInstanceUID, SeriesInstanceUID
    jobs: processes that read files; by default as many as there are cores
    progress: True for a bar, or a function of (what, done, total)

    Files that cannot be taken are in `refused`, and a RadvexWarning says so.

    Raises FileNotFoundError; FileError for what is neither a medium nor a folder.
    """
    root = os.path.abspath(os.fsdecode(path))
    if not os.path.exists(root):
        raise FileNotFoundError(2, "There is no such file or folder", root)
    require_keys(patient=patient, study=study, series=series)
    request = {"job": "tree", "patient": patient, "study": study, "series": series, "jobs": jobs_of(jobs)}
    found: Optional[Tree] = None
    with Job(root, request, progress) as job:
        for kind, content, _ in job.messages():
            if kind == "tree":
                found = Tree(root, content)
    assert found is not None
    if found.refused:
        first, reason = found.refused[0]
        left_out = _counted(len(found.refused), "file cannot be read and is", "files cannot be read and are")
        warnings.warn(f"{left_out} left out, such as {first}: {reason}.", RadvexWarning, stacklevel=2)
    return found
