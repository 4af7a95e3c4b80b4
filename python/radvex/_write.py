from __future__ import annotations

import datetime
import math
import numbers
import os
from typing import TYPE_CHECKING, Any, Dict, Iterable, List, Mapping, Optional, Sequence, Tuple, Union

from radvex import _radvex
from radvex._arrays import load
from radvex._errors import LibraryError, UsageError
from radvex._file import PathLike, Tag, _digits
from radvex._library import call

if TYPE_CHECKING:
    import numpy.typing as npt

_OVERLAY_PROPERTIES = {
    "OriginRow",
    "OriginColumn",
    "ImageFrameOrigin",
    "OverlayType",
    "OverlayDescription",
    "OverlaySubtype",
    "OverlayLabel",
}
Overlay = Union["npt.ArrayLike", Tuple["npt.ArrayLike", Mapping[str, Any]]]


def write(
    path: PathLike,
    array: npt.ArrayLike,
    tags: Optional[Mapping[Any, Any]] = None,
    *,
    compress: str = "Uncompressed",
    overlays: Iterable[Overlay] = (),
    colour: Optional[bool] = None,
    force: bool = False,
) -> None:
    """Writes an array as a new DICOM file: whole numbers as a Secondary Capture image, floats as a Parametric Map.

    path: of the file
    array: [row][column] or [frame][row][column], with [3] (red, green, blue) behind for colour; bool, uint8, uint16,
        float32 or float64
    tags: keyword, "gggg,eeee" or (gggg, eeee) -> value: text, numbers, dates, a list of several, or a list of dicts
        for a sequence. Errors are unknown keywords, private attributes, what the array determines, file meta
        information, and values that no number can be read from; lengths of texts are not checked. Text beyond ASCII is written in the SpecificCharacterSet that is given, if it fits, also that of
        an item; otherwise the whole file becomes UTF-8.
    compress: "Uncompressed", "JPEGLossless", "JPEGLosslessNonhierarchical", "JPEGLossy8bit", "JPEGLossy12bit",
        "JPEG-LSLossless", "JPEG-LSLossy" or "RLE", some with numbers: "JPEGLossy8bit:90"
    overlays: planes as arrays, every value but 0 of which is set; or pairs of a plane and its properties: (plane,
        {"OverlayLabel": "Lesion", "OriginRow": 2})
    colour: whether the last axis is colour; by default it is when it has 3 elements and there are 3 axes or more
    force: replace what is there. Without it, an existing file is a FileError.

    A failure leaves no file behind. Lossy JPEG keeps the differences between values, not the values themselves: what is
    read back may be shifted so that the smallest is 0.

    Raises TagWriteError, ImageWriteError, InvalidTagName for what the library refuses; UsageError, TypeError for the
    arguments.
    """
    import numpy as np

    load()
    if isinstance(array, np.ma.MaskedArray) and np.any(array.mask):
        raise UsageError("A file cannot say which pixels are masked; give the array filled, as by array.filled(0).")
    image = np.asarray(array)
    if not image.dtype.isnative:
        image = image.astype(image.dtype.newbyteorder("="))
    is_colour = colour if colour is not None else image.ndim >= 3 and image.shape[-1] == 3
    if is_colour and (image.ndim < 3 or image.shape[-1] != 3):
        raise UsageError(f"Colour has three samples a pixel in the last axis; this array is {image.shape}.")
    attributes = _texts_of(tags or {})
    _check_determined(attributes, image.shape[0] if image.ndim - is_colour == 3 else 1)
    planes: List[npt.NDArray[Any]] = []
    properties: Dict[str, Dict[str, str]] = {}
    for number, overlay in enumerate(overlays, start=1):
        plane, given = overlay if isinstance(overlay, tuple) else (overlay, {})
        if unknown := set(given) - _OVERLAY_PROPERTIES:
            known = ", ".join(sorted(_OVERLAY_PROPERTIES))
            raise UsageError(f"{min(unknown)!r} is no property of an overlay: {known}.")
        planes.append(np.asarray(plane))
        properties[str(number)] = {name: str(value) for name, value in given.items()}
    texts: Tuple[Dict[str, Any], Mapping[str, Any]] = (attributes, properties)
    if _is_wide(attributes) or _is_wide(properties):
        texts = _radvex.encode_texts(attributes, properties)
    try:
        _radvex.write_image(os.fsencode(path), image, is_colour, texts[0], planes, texts[1], compress, force)
    except LibraryError as error:
        if "`reason`" not in str(error):
            raise
        sentence = f"An image of {image.dtype} {image.shape} cannot be compressed as {compress}."  # for no known reason
        raise type(error)(sentence, error.code, error.name, error.parameters) from None


def _keyword(tag: Tag) -> str:
    """The keyword of a tag, which may be given by its number."""
    digits = _digits(tag)
    if len(digits) != 8 or any(digit not in "0123456789abcdef" for digit in digits):
        return digits
    keyword = str(call("GetKeyword", digits[:4], digits[4:]))
    return keyword if keyword.isalnum() else digits  # for the sentence of the library that there is none


def _check_determined(attributes: Mapping[str, Any], frames: int) -> None:
    """The library would write these as given, and the file could not be read, or not rightly."""
    for keyword, determined in (("NumberOfFrames", frames), ("PlanarConfiguration", 0)):
        if attributes.get(keyword, str(determined)) != str(determined):
            raise UsageError(f"{keyword} is {determined} for this array, whatever tags say; leave it out.")


def _check_group(keyword: str) -> None:
    try:
        group = int(call("GetGroupElemNumbers", keyword)[0])
    except LibraryError:
        return  # no keyword, which the library says when it writes
    if group == 2:
        raise UsageError(f"{keyword}: the library alone writes the file's meta information.")
    if group % 2 == 1:  # the library would write it without the creator that gives it its meaning
        raise UsageError(f"{keyword}: only standard attributes can be written, and this one is private.")


def _texts_of(tags: Mapping[Tag, Any]) -> Dict[str, Any]:
    texts = {}
    for tag, value in tags.items():
        keyword = _keyword(tag)
        _check_group(keyword)
        texts[keyword] = _text_of(keyword, value)
    return texts


def _text_of(keyword: str, value: Any) -> Any:
    """Text as it is written, or the items of a sequence."""
    import numpy as np

    if isinstance(value, (list, tuple)) and value and all(isinstance(each, Mapping) for each in value):
        return [_texts_of(item) for item in value]
    if isinstance(value, (list, tuple, np.ndarray)):
        texts = [_text_of(keyword, each) for each in value]
        return b"\\".join(texts) if texts and isinstance(texts[0], bytes) else "\\".join(texts)
    if isinstance(value, (bool, np.bool_)):
        raise UsageError("DICOM has no attributes that are true or false.")
    if isinstance(value, datetime.datetime):
        return _text_of(keyword, value.date()) + value.strftime("%H%M%S.%f%z")
    if isinstance(value, datetime.date):
        return value.isoformat().replace("-", "")  # with four digits for the year
    if isinstance(value, datetime.time):
        return value.strftime("%H%M%S.%f")
    if value is None:
        return ""
    if isinstance(value, (float, np.floating)):
        is_decimal = call("ReadVRName", [keyword])[0] == "DS"
        return _decimal(float(value)) if is_decimal else repr(float(value))
    if isinstance(value, (str, bytes)):
        return value
    has_text = any("__str__" in vars(base) for base in type(value).__mro__[:-1])
    if not has_text and not isinstance(value, numbers.Number):
        raise TypeError(f"{keyword}: {type(value).__name__} is no value of an attribute.")
    return str(value)


def _decimal(number: float) -> str:
    """At most 16 characters, as a decimal string may have."""
    if not math.isfinite(number):
        raise UsageError(f"{number} cannot be written as a decimal.")
    text = repr(number)
    digits = 16
    while len(text) > 16:
        text = f"{number:.{digits}g}"
        digits -= 1
    return text


def _is_wide(value: Any) -> bool:
    if isinstance(value, str):
        return not value.isascii()
    if isinstance(value, Mapping):
        return any(_is_wide(each) for each in value.values())
    return isinstance(value, Sequence) and not isinstance(value, bytes) and any(_is_wide(each) for each in value)
