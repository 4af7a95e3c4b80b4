from __future__ import annotations

import errno
import functools
import json
import math
import operator
import os
import warnings
from typing import IO, TYPE_CHECKING, Any, Dict, Iterator, List, Optional, Sequence, Tuple, Union, cast

from radvex import _radvex
from radvex._errors import FileError, LibraryError, RadvexWarning, UsageError, in_python
from radvex._library import call
from radvex._meaning import Meaning

if TYPE_CHECKING:  # numpy takes longer to load than all else here
    import numpy as np
    import numpy.typing as npt

    from radvex._values import Pixels

PathLike = Union[str, "os.PathLike[str]"]
Source = Union[PathLike, IO[bytes], bytes, bytearray, memoryview]
Tag = Union[str, Tuple[int, int], int]
Window = Union[str, Sequence[float], None]

_PATIENT = ["Name", "ID", "BirthDate", "BirthTime", "Sex", "BirthName", "Age", "Weight"]
_STUDY = ["ID", "UID", "Date", "Time", "Description", "Modalities"]
_SERIES = ["UID", "Date", "Time", "Description", "Number", "Type"]
_LAST_FRAME = 2**31 - 1  # more than any file has
_PIXELS = ("PixelData", "OverlayData")


def _in_memory(content: Union[bytes, bytearray, memoryview]) -> int:
    """A nameless file in memory, which is gone with its descriptor."""
    descriptor = os.memfd_create("radvex")
    try:
        with os.fdopen(descriptor, "wb", closefd=False) as file:
            file.write(content)
    except BaseException:
        os.close(descriptor)
        raise
    return descriptor


@functools.lru_cache(maxsize=4096)
def _digits(tag: Tag) -> str:
    """A keyword, or eight hexadecimal digits."""
    if isinstance(tag, tuple) and len(tag) == 2:
        return f"{tag[0]:04x}{tag[1]:04x}"
    if isinstance(tag, int):
        return f"{tag:08x}"
    if not isinstance(tag, str):
        raise TypeError(f"{tag!r} is no tag: a keyword is one, (group, element), or both as one number.")
    plain = tag.strip("()").replace(",", "").replace("_", "").replace(" ", "").lower()
    is_number = len(plain) == 8 and all(digit in "0123456789abcdef" for digit in plain)
    return plain if is_number else tag


def window_words(window: Window) -> Union[str, List[float], None]:
    """A window as the requests to the extension and the worker have it; its numbers may be those of numpy."""
    if window is None or isinstance(window, str):
        return window
    try:
        numbers = [float(number) for number in window]
    except (TypeError, ValueError):
        raise UsageError(f"window={window!r} is no window: (width, centre), or a name.") from None
    if not all(math.isfinite(number) for number in numbers):
        raise UsageError(f"window={tuple(numbers)}: width and centre have to be finite.")
    return numbers


class File:
    """One DICOM file, opened with radvex.open. Everything is read when it is asked for; closing it frees the memory.

    f["PatientName"], f["0010,0010"], f[0x0010, 0x0010]: the value of an attribute. Whole numbers (IS, US, ...) are int,
    decimals (DS, FL, FD) float, texts str, dates and times str as they stand, bytes and words (OB, OW, UN, ...) bytes,
    little-endian. Several values are a list, a sequence is a list of dicts, an attribute without a value is None, and
    one that the file does not have is a KeyError. Text that is not valid in its character set is bytes.
    """

    _is_open = False

    def __init__(self, source: Source) -> None:
        descriptor: Optional[int] = None
        if isinstance(source, (bytes, bytearray, memoryview)):
            descriptor = _in_memory(source)
        elif not isinstance(source, (str, os.PathLike)) and hasattr(source, "read"):
            descriptor = _in_memory(source.read())
        if descriptor is None:
            given = os.fspath(cast(PathLike, source))
            self._path = os.path.abspath(given) if given else given
            self._name = self._path
        else:
            self._path = f"/proc/self/fd/{descriptor}"
            self._name = str(getattr(source, "name", "")) or "The file in memory"
        self._descriptor = descriptor
        self._native = os.fsencode(self._path)
        try:
            _radvex.open_reader(self._native)
        except BaseException as error:
            if descriptor is not None:
                os.close(descriptor)
            elif missing := _missing(self._path):
                raise missing from None
            if not isinstance(error, LibraryError):
                raise
            sentence = str(error).replace(self._path, self._name)
            raise type(error)(sentence, error.code, error.name, error.parameters) from None
        self._is_open = True

    @property
    def path(self) -> str:
        """The absolute path."""
        return self._path

    @property
    def closed(self) -> bool:
        """Whether the file was closed."""
        return not self._is_open

    def close(self) -> None:
        """Forgets what was read. Arrays that were given out stay valid."""
        if self._is_open:
            self._is_open = False
            _radvex.close_reader(self._native)
            if self._descriptor is not None:
                os.close(self._descriptor)

    def __del__(self) -> None:
        self.close()

    def __enter__(self) -> File:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _require_open(self) -> bytes:
        """The path for the library: it need not be text."""
        if not self._is_open:
            raise FileError(f"{self._name} was closed.")
        return self._native

    def __getitem__(self, tag: Tag) -> Any:
        path = self._require_open()
        if tag in _PIXELS:
            if tag == "PixelData" and call("ReadMetadata", path, ["BitsAllocated"]).get("BitsAllocated") not in (8, 16):
                raise UsageError(f"The pixels of {self._name} are of another size than 8 or 16 bits; values() gives them.")
            frames = call("ReadMetadata", path, [tag], False)
            if tag not in frames:
                raise KeyError(tag)
            return list(frames[tag]) if hasattr(frames[tag], "names") else frames[tag]
        is_there, value = _radvex.attribute(path, _digits(tag))
        if not is_there:
            raise KeyError(tag)
        return value

    def get(self, tag: Tag, default: Any = None) -> Any:
        """The value of an attribute, or the default when the file does not have it."""
        try:
            return self[tag]
        except KeyError:
            return default

    def __contains__(self, tag: object) -> bool:
        try:
            self[tag]  # type: ignore[index]
        except KeyError:
            return False
        return True

    def __iter__(self) -> Iterator[str]:
        return iter(self.vr())

    def __len__(self) -> int:
        return len(self.vr())

    def tags(self) -> Dict[str, Any]:
        """All attributes but the pixels, in the order of the file: keyword -> value as by f[keyword]. A tag that the
        dictionary does not know, such as a private one, has the key gggg_eeee in hexadecimal."""
        result: Dict[str, Any] = _radvex.attributes(self._require_open())
        return result

    def vr(self) -> Dict[str, str]:
        """The value representation of each attribute: keyword -> "PN"."""
        result: Dict[str, str] = _radvex.representations(self._require_open())
        return result

    @property
    def info(self) -> Dict[str, Dict[str, Any]]:
        """What the file says of its patient, study and series: {"patient": {...}, "study": {...}, "series": {...}},
        each keyword -> value. What the file does not say is not there."""
        path = self._require_open()
        found = {
            "patient": call("ReadPatientInfo", path, _PATIENT, ".*"),
            "study": call("ReadStudyInfo", path, _STUDY, ".*", ".*"),
            "series": call("ReadSeriesInfo", path, _SERIES, ".*", ".*", ".*"),
        }
        return {part: {keyword: self[keyword] for keyword in store.names()} for part, store in found.items()}

    @property
    def frames(self) -> int:
        """The number of frames; 0 for a file without pixels."""
        path = self._require_open()
        if self.get("Rows") is None or self.get("Columns") is None:
            return 0
        return max(1, int(call("GetFrameCount", path)))

    def image(
        self,
        window: Window = None,
        *,
        scaling: str = "minmax",
        frame: Optional[int] = None,
        overlays: bool = False,
    ) -> Pixels:
        """The pixels as grey levels or colour.

        window: (width, centre) in the unit of the modality values, or "lung", "bone", "brain", "abdomen",
            "mediastinum" for values in HU, or "file", "file:2" for a window of the file's own
        scaling: without a window: "minmax" (from the smallest to the largest value), "trimmed" (without the extreme
            ones) or "none" (as DCMTK does by default)
        frame: only this one, counted from 0
        overlays: burn overlay planes into the picture

        Returns a read-only array [row][column], [frame][row][column] for several frames, with [3] (red, green, blue)
        behind for colour: uint8, uint16 or float32. MONOCHROME1 is turned, so that larger is always brighter. Its
        `meaning` says how it was made.

        Raises ImageOpenError, ImageReadError for pixels that cannot be decoded or rendered.
        """
        if not isinstance(scaling, str):
            raise UsageError(f"scaling={scaling!r} is no scaling: minmax, trimmed and none are.")
        request = json.dumps({"window": window_words(window), "scaling": scaling, "overlays": bool(overlays)})
        array, meaning = _radvex.picture(self._require_open(), *self._range(frame), request)
        described = json.loads(meaning)
        for doubt in described["doubts"]:
            warnings.warn(in_python(doubt).replace(self._path, self._name), RadvexWarning, stacklevel=2)
        return _known(self._channels_last(array, described), Meaning(self._name, described))

    def _channels_last(self, array: npt.NDArray[Any], described: Dict[str, Any]) -> npt.NDArray[Any]:
        """Colour of a single frame comes with its channels first when the file stores its planes apart."""
        if described["polarity"] is not None or array.ndim != 3 or array.shape[0] != 3:
            return array
        sizes = (self.get("Rows"), self.get("Columns"))
        is_either = array.shape[:2] == sizes == array.shape[1:]  # 3 x 3
        is_planar = self.get("PlanarConfiguration") == 1 if is_either else array.shape[1:] == sizes
        return array.transpose(1, 2, 0) if is_planar else array

    def values(self, *, frame: Optional[int] = None) -> Pixels:
        """The modality values: HU for most CT, activity for PET, dose for RTDOSE, as the rescale of the file says.

        frame: only this one, counted from 0

        Returns a read-only array [row][column], or [frame][row][column] for several frames: whole numbers where the
        rescale gives whole numbers, in the type of the stored ones or a larger one, else float64. Its `meaning` has the
        unit.

        Raises RawPixelReadError, ImageOpenError for pixels that cannot be decoded, and for colour.
        """
        array, meaning = _radvex.values(self._require_open(), *self._range(frame))
        described = Meaning(self._name, json.loads(meaning))
        return _known(_as_stored(array, described), described)

    def overlays(self) -> List[npt.NDArray[np.bool_]]:
        """The overlay planes as read-only arrays of bool, [row][column], in the size of each plane, of its first
        frame. An empty list without planes."""
        planes = list(call("ReadOverlays", self._require_open()))
        for plane in planes:
            plane.flags.writeable = False
        return planes

    @staticmethod
    def _range(frame: Optional[int]) -> Tuple[int, int]:
        if frame is None:
            return 0, 0
        number = operator.index(frame)
        if number < 0:
            raise UsageError(f"frame={frame}: frames are counted from 0.")
        return min(number, _LAST_FRAME), 1

    def __repr__(self) -> str:
        if self.closed:
            return f"<radvex.File {self._name}, closed>"
        modality = self.get("Modality") or "no modality"
        size = f"{self.get('Columns')} x {self.get('Rows')}" if self.frames else "no pixels"
        frames = f", {self.frames} frames" if self.frames > 1 else ""
        return f"<radvex.File {os.path.basename(self._name)}: {modality}, {size}{frames}>"


def _known(array: npt.NDArray[Any], meaning: Meaning) -> Pixels:
    from radvex._values import pixels

    return pixels(array, meaning)


def _as_stored(array: npt.NDArray[Any], meaning: Meaning) -> npt.NDArray[Any]:
    """Not in less than the stored type: which one DCMTK takes depends on the values of the file, and what fits for one file
    of a series overflows for the next."""
    if array.dtype.kind not in "iu" or not meaning.bits_stored:
        return array
    import numpy as np

    bits = 8 if meaning.bits_stored <= 8 else 16 if meaning.bits_stored <= 16 else 32
    stored = np.dtype(f"{'i' if meaning.signed else 'u'}{bits // 8}")
    return array.astype(np.promote_types(array.dtype, stored), copy=False)


def _missing(path: str) -> Optional[OSError]:
    """Python's own exception for what is no matter of DICOM."""
    if not os.path.exists(path):
        return FileNotFoundError(errno.ENOENT, "There is no such file", path)
    if os.path.isdir(path):
        return IsADirectoryError(errno.EISDIR, "This is a folder; radvex.tree() and radvex.volume() read folders", path)
    return None


def open(source: Source) -> File:
    """Opens a DICOM file.

    source: a path, the bytes of a file, or a binary file object. Bytes and file objects are put into a nameless file in
        memory, which is gone when the file is closed.

    Raises FileNotFoundError, IsADirectoryError, and OpenFileError (an OSError) with the reason for what is no readable
    DICOM file.

    >>> with radvex.open("CT_small.dcm") as f:
    ...     f["Modality"], f["Rows"], f.values().meaning.unit
    ('CT', 128, 'HU')
    """
    return File(source)


def image(source: Source, window: Window = None, **options: Any) -> Pixels:
    """The picture of a file; see File.image."""
    with File(source) as file:
        return file.image(window, **options)


def values(source: Source, *, frame: Optional[int] = None) -> Pixels:
    """The modality values of a file; see File.values."""
    with File(source) as file:
        return file.values(frame=frame)


def tags(source: Source, *names: Tag) -> Dict[Any, Any]:
    """Attributes of a file: all, or those of the given names that it has; see File.tags."""
    with File(source) as file:
        if not names:
            return file.tags()
        return {name: file[name] for name in names if name in file}


__all__: Sequence[str] = ["File", "open", "image", "values", "tags"]
