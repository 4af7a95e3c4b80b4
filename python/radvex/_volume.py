from __future__ import annotations

import importlib
import json
import os
import tempfile
import warnings
from contextlib import ExitStack
from typing import TYPE_CHECKING, Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union, cast

from radvex import _radvex
from radvex._arrays import load
from radvex._errors import HostError, NoPicturesError, RadvexWarning, ReaderDied, UsageError, VolumeError, in_python
from radvex._file import PathLike, Window, window_words
from radvex._jobs import Job, Progress, jobs_of, path_list, require_keys

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

_TYPES = {"s8": "i1", "u8": "u1", "s16": "<i2", "u16": "<u2", "s32": "<i4", "u32": "<u4", "f32": "<f4", "f64": "<f8"}


class Finding(NamedTuple):
    """Something that one should know about the slices of a volume.

    kind: one word, such as "missingSlices"; docs/volumes.md lists them
    is_error: a volume with it is only made with force=True
    sentence: what it is
    files: which it concerns
    """

    kind: str
    is_error: bool
    sentence: str
    files: List[str]


class Volume:
    """A volume that radvex.volume read.

    array: [k][j][i], which are slice, row, column; [t] in front for four dimensions, [3] behind for colour. It is
        writable. Whole numbers stay whole, so its type is int16, uint8, ... or float32, float64 for other values.
    spacing: millimetres between slices, rows and columns, in the order of the axes
    unit: of the values, such as "HU"; None when the files do not say, and for stored values
    values: "modality", "stored" or "rendered"
    findings: what should be known about it, see Finding
    group: what tells it from the other volumes of its series: {"EchoTime": "4.6"}
    label: the same as a part of a file name; empty when the series is one volume
    patient, study, series: PatientID, StudyInstanceUID, SeriesInstanceUID
    series_number: as text
    slices: the file of each slice, with the frame where a file has several
    seconds: the time of each volume of four dimensions in time; None otherwise
    tilt_degrees: the angle by which the slices are stacked askew; None without
    slope, intercept: for "stored" values; 1 and 0 otherwise
    """

    def __init__(self, described: Dict[str, Any], array: npt.NDArray[Any]) -> None:
        self._header: Dict[str, Any] = described["header"]
        self.array = array
        self._shape = array.shape
        self.spacing: Tuple[float, float, float] = tuple(reversed(described["geometry"]["spacing"]))  # type: ignore
        self.values: str = described["values"]
        self.unit: Optional[str] = None if self.values == "stored" else described["unit"]  # it is of rescaled values
        self.findings = _findings(described)
        self.group: Dict[str, str] = described["group"]
        self.label: str = described["label"].lstrip("-")
        self.patient: str = described["patient"]
        self.study: str = described["study"]
        self.series: str = described["series"]
        self.series_number: str = described["seriesNumber"]
        self.slices: List[str] = described["slices"]
        self.seconds: Optional[List[float]] = described.get("seconds")
        self.tilt_degrees: Optional[float] = described["tiltDegrees"]
        self.slope: float = described.get("slope", 1.0)
        self.intercept: float = described.get("intercept", 0.0)

    @property
    def shape(self) -> Tuple[int, ...]:
        """The shape of the array."""
        return self.array.shape

    @property
    def dtype(self) -> np.dtype[Any]:
        """The type of the elements."""
        return self.array.dtype

    @property
    def axes(self) -> List[str]:
        """The names of the axes: "t" for four dimensions, "z", "y", "x", and "channel" for colour."""
        time = ["t"] if self._header["volumes"] > 1 else []
        return [*time, "z", "y", "x", *(["channel"] if self._header["channels"] > 1 else [])]

    @property
    def has_position(self) -> bool:
        """Whether one matrix tells where every voxel lies."""
        return bool(self._header["hasPosition"])

    @property
    def affine(self) -> npt.NDArray[np.float64]:
        """The matrix [4][4] that takes (i, j, k, 1), which are column, row and slice from 0, to millimetres in the
        patient, RAS: right, front, head. Mind the order: array[k, j, i].

        Raises VolumeError when nothing says where the slices lie; see has_position.
        """
        import numpy as np

        if not self.has_position:
            raise VolumeError("Nothing says where the slices of this volume lie; only its spacing is known.")
        matrix = np.eye(4)
        matrix[:3, 0] = self._header["columnStep"]
        matrix[:3, 1] = self._header["rowStep"]
        matrix[:3, 2] = self._header["sliceStep"]
        matrix[:3, 3] = self._header["origin"]
        matrix[:2] *= -1  # the files' own directions are left and back
        return matrix + 0.0  # no -0.0

    @property
    def orientation(self) -> str:
        """Where the axes i, j and k grow to, as three letters such as "LPS"; "???" without a position."""
        import numpy as np

        if not self.has_position:
            return "???"
        letters = ""
        for column in self.affine[:3, :3].T:
            axis = int(np.argmax(np.abs(column)))
            letters += ("RAS" if column[axis] > 0 else "LPI")[axis]
        return letters

    def __array__(self, dtype: Any = None) -> npt.NDArray[Any]:
        return self.array if dtype is None else self.array.astype(dtype, copy=False)

    def __len__(self) -> int:
        return len(self.array)

    def to_nibabel(self) -> Any:
        """A nibabel.Nifti1Image with the axes (i, j, k[, t]) and the affine matrix; without a position the spacings.
        The samples are those of this volume, not a copy."""
        import numpy as np

        nibabel = importlib.import_module("nibabel")
        self._require_shape()
        if self._header["channels"] > 1:
            raise UsageError("nibabel keeps colour in a type of its own; v.save('out.nii') writes colour as NIfTI.")
        data = self.array.transpose(*reversed(range(self.array.ndim)))
        affine = self.affine if self.has_position else np.diag([*reversed(self.spacing), 1.0])
        image = nibabel.Nifti1Image(data, affine)
        known = 1 if self.has_position else 0
        image.set_sform(affine, known)
        image.set_qform(affine, known)
        image.header.set_xyzt_units("mm", "sec" if self._header["secondsBetweenVolumes"] else "unknown")
        if self._header["secondsBetweenVolumes"]:
            image.header.set_zooms((*image.header.get_zooms()[:3], self._header["secondsBetweenVolumes"]))
        return image

    def to_xarray(self) -> Any:
        """An xarray.DataArray with the dimensions ([t, ]z, y, x[, channel]), distances from the first voxel along each
        axis in millimetres as coordinates, and units, affine and findings as attributes. The samples are those of this
        volume, not a copy."""
        import numpy as np

        xarray = importlib.import_module("xarray")
        self._require_shape()
        coordinates: Dict[str, Any] = {
            name: np.arange(size) * step for name, size, step in zip("zyx", self._spatial(), self.spacing)
        }
        if self.seconds is not None:
            coordinates["t"] = self.seconds
        attributes: Dict[str, Any] = {
            "units": self.unit or "",
            "series": self.series,
            "findings": [finding.sentence for finding in self.findings],
        }
        if self.has_position:
            attributes["affine"] = self.affine
        return xarray.DataArray(self.array, dims=self.axes, coords=coordinates, attrs=attributes, name=self.values)

    def _spatial(self) -> Tuple[int, int, int]:
        return self._header["slices"], self._header["rows"], self._header["columns"]

    def save(self, path: PathLike, *, force: bool = False) -> None:
        """Writes the volume with its geometry: .nrrd, .nii, .nii.gz, or .npy, which cannot hold the geometry.

        force: replace what is there. Without it, an existing file is a FileError.
        """
        _radvex.save_volume(os.fsencode(path), json.dumps(self._header), self._dense(), force)

    def preview(self) -> bytes:
        """A PNG of the three middle slices in true proportions, with what was found about the volume below."""
        findings = [(finding.kind, finding.is_error, finding.sentence) for finding in self.findings]
        with tempfile.TemporaryDirectory(prefix="radvex-") as folder:
            path = os.path.join(folder, "preview.png")
            title = f"Series {self.series_number or self.series}" + (f", {self.label}" if self.label else "")
            _radvex.save_preview(path, json.dumps(self._header), self._dense(), title, findings)
            with open(path, "rb") as file:
                return file.read()

    def _require_shape(self) -> None:
        """The geometry is that of the array as it was read."""
        if self.array.shape != self._shape:
            raise UsageError(f"The array is {self.array.shape} now; the volume was read as {self._shape}.")

    def _dense(self) -> npt.NDArray[Any]:
        import numpy as np

        self._require_shape()
        load()
        array = np.ascontiguousarray(self.array)
        expected = np.dtype(_TYPES[_type_name(self._header["type"])])
        if array.dtype != expected:
            raise UsageError(f"The array is of {array.dtype} now; the volume was read as {expected}.")
        return array

    def _repr_png_(self) -> bytes:
        return self.preview()

    def __repr__(self) -> str:
        size = " x ".join(str(length) for length in self.shape)
        unit = f" {self.unit}" if self.unit else ""
        spacing = " x ".join(f"{step:.6g}" for step in self.spacing)
        wrong = len(self.findings)
        findings = "no findings" if not wrong else f"{wrong} finding{'s' if wrong > 1 else ''}"
        return f"<Volume {size} {self.dtype}{unit}, {spacing} mm, {self.orientation}, {findings}>"


def _type_name(code: int) -> str:
    return ["", "s8", "u8", "s16", "u16", "s32", "u32", "s64", "u64", "f32", "f64"][code]


def _findings(described: Dict[str, Any]) -> List[Finding]:
    return [
        Finding(each["kind"], each["error"], in_python(each["sentence"]), each["files"])
        for each in described.get("findings", ())
    ]


def _volume_of(described: Dict[str, Any], descriptor: int) -> Volume:
    import numpy as np

    dtype = np.dtype(_TYPES[described["type"]])
    array = _radvex.map_samples(descriptor).view(dtype).reshape(described["shape"])
    return Volume(described, array)


def _refusal(described: Dict[str, Any]) -> Exception:
    """Why there is no volume."""
    end = described.get("processEnd", "")
    if described.get("kind") == "readerDied":
        return ReaderDied(described["sentence"], end)
    for finding in described.get("findings", ()):
        if finding.get("processEnd"):
            return ReaderDied(finding["files"][0], finding["processEnd"])
    series = f"Series {described['series']}: "
    if described.get("kind") == "noPictures":
        return NoPicturesError(series + described["sentence"])
    if "sentence" in described:
        return VolumeError(series + in_python(described["sentence"]))
    findings = _findings(described)
    sentences = " ".join(finding.sentence for finding in findings if finding.is_error)
    return VolumeError(f"{series}{sentences} force=True makes the volume all the same.", findings)


class _Request:
    """The arguments that volume and volumes have in common."""

    def __init__(
        self,
        path: Union[PathLike, Sequence[PathLike]],
        single: bool,
        *,
        values: str,
        four_d: bool,
        window: Window,
        scaling: str,
        jobs: Optional[int],
        progress: Progress,
        **options: Any,
    ) -> None:
        if values in ("modality", "stored") and (window is not None or scaling != "minmax"):
            raise UsageError(f'window and scaling go with values="rendered", not with values="{values}".')
        self.files: List[str] = []
        if isinstance(path, (list, tuple)):
            self.files = [os.path.abspath(os.fspath(each)) for each in path]
            if not self.files:
                raise UsageError("The list of files is empty.")
            if any(options[name] is not None for name in ("patient", "study", "series")):
                raise UsageError("series, study and patient choose from a folder; a list of files is one series.")
            path = self.files[0]
        self.path = os.path.abspath(os.fspath(cast(PathLike, path)))
        if not os.path.exists(self.path):
            raise FileNotFoundError(2, "There is no such file or folder", self.path)
        require_keys(**{name: options[name] for name in ("patient", "study", "series")})
        self.progress = progress
        self.message = {
            "job": "volumes",
            "single": single,
            "values": values,
            "fourD": four_d,
            "window": window_words(window),
            "scaling": scaling,
            "jobs": jobs_of(jobs),
            **options,
        }

    def run(self) -> Iterator[Any]:
        """Volumes, and exceptions for what is none."""
        with ExitStack() as kept:
            descriptors = []
            if self.files:
                descriptors.append(path_list(self.files))
                kept.callback(os.close, descriptors[0])
                self.message["list"] = descriptors[0]
            job = kept.enter_context(Job(self.path, self.message, self.progress, descriptors))
            for kind, content, descriptor in job.messages():
                if kind == "volume":
                    if descriptor is None:
                        raise HostError("The samples of a volume did not arrive.")
                    volume = _volume_of(content, descriptor)
                    job.take()
                    yield volume
                elif kind == "refused":
                    yield _refusal(content)


def volume(
    path: Union[PathLike, Sequence[PathLike]],
    series: Optional[str] = None,
    *,
    study: Optional[str] = None,
    patient: Optional[str] = None,
    values: str = "modality",
    four_d: bool = False,
    sort: str = "auto",
    strangers: str = "refuse",
    resample: bool = False,
    force: bool = False,
    window: Window = None,
    scaling: str = "minmax",
    jobs: Optional[int] = None,
    progress: Progress = False,
) -> Volume:
    """Reads a series as a volume. Either every voxel lies where its slice says, or an exception says why not.

    path: a DICOMDIR, a folder, one file whose frames are slices, or a list with the files of one series
    series, study, patient: SeriesInstanceUID, StudyInstanceUID, PatientID; needed when there is more than one
    values: "modality" (HU for CT), "stored" (with slope and intercept), or "rendered" (grey levels; see window)
    four_d: join points in time, echoes or b-values to one volume [t][k][j][i]
    sort: order of the slices: "instance" (InstanceNumber), "position", or "auto": by position if the other order is
        none in space
    strangers: slices that do not fit the largest stack: "refuse", leave them out ("largest"), or "split" them off
    resample: interpolate unevenly spaced slices to an even volume
    force: make the volume although slices are missing, doubled or do not fit together; its findings say what is wrong
    window, scaling: of "rendered" values; see File.image. scaling="common" is one window for the whole series
    jobs: processes that read files; by default as many as there are cores
    progress: True for a bar, or a function of (what, done, total)

    Raises VolumeError with the findings; ReaderDied when a file ended the process that read it; UsageError.

    >>> v = radvex.volume("dicomdirtests/98892001", "1.3.6.1.4.1.5962.1.1.0.0.0.1194734704.16302.0.6")
    >>> v.shape, v.unit, v.orientation
    ((5, 16, 16), 'HU', 'LPI')
    """
    request = _Request(
        path,
        True,
        series=series,
        study=study,
        patient=patient,
        values=values,
        four_d=four_d,
        sort=sort,
        strangers=strangers,
        resample=resample,
        force=force,
        window=window,
        scaling=scaling,
        jobs=jobs,
        progress=progress,
    )
    for outcome in request.run():
        if isinstance(outcome, Exception):
            raise outcome
        _warn(outcome)
        found: Volume = outcome
        return found
    raise VolumeError(f"{request.path} gave no volume.")


def volumes(
    path: Union[PathLike, Sequence[PathLike]],
    *,
    series: Optional[str] = None,
    study: Optional[str] = None,
    patient: Optional[str] = None,
    values: str = "modality",
    four_d: bool = False,
    sort: str = "auto",
    strangers: str = "refuse",
    resample: bool = False,
    force: bool = False,
    window: Window = None,
    scaling: str = "minmax",
    errors: str = "warn",
    jobs: Optional[int] = None,
    progress: Progress = False,
) -> Iterator[Volume]:
    """The volumes of all series, one after the other, while the next one is being read. See volume for the arguments.

    errors: what becomes of a series without a volume: "warn" (it is left out, and a RadvexWarning says why), "raise"
        (its exception ends the loop), or "give" (the exception itself takes the place of the volume)
    """
    if errors not in ("warn", "raise", "give"):
        raise UsageError(f"errors={errors!r} is unknown: warn, raise, give.")
    request = _Request(
        path,
        False,
        series=series,
        study=study,
        patient=patient,
        values=values,
        four_d=four_d,
        sort=sort,
        strangers=strangers,
        resample=resample,
        force=force,
        window=window,
        scaling=scaling,
        jobs=jobs,
        progress=progress,
    )
    return _volumes(request, errors)


def _volumes(request: _Request, errors: str) -> Iterator[Any]:
    for outcome in request.run():
        if not isinstance(outcome, Exception):
            _warn(outcome)
            yield outcome
        elif errors == "raise":
            raise outcome
        elif errors == "give":
            yield outcome
        elif not isinstance(outcome, NoPicturesError):
            warnings.warn(str(outcome), RadvexWarning, stacklevel=2)


def _warn(volume: Volume) -> None:
    """A volume that was made by force says what is wrong with it."""
    for finding in volume.findings:
        if finding.is_error:
            warnings.warn(finding.sentence, RadvexWarning, stacklevel=3)
