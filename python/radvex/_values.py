from __future__ import annotations

import functools
from typing import TYPE_CHECKING, Any, Dict, Optional, Tuple, cast

import numpy as np
import numpy.typing as npt


class Meaning:
    """What the numbers of an array stand for.

    source: the file
    values: "modality" (rescaled, HU for most CT) or "rendered" (grey levels or colour)
    unit: of modality values, such as "HU"; None when the file does not say
    signed: whether the stored values are signed
    bits_stored: of the stored values
    slope, intercept: of the rescale, which modality values have behind them; None when the file has none
    photometric_interpretation: of the file
    polarity: MONOCHROME2 when larger values are brighter, MONOCHROME1 when they are darker; None for colour
    window: (width, centre) of rendered values; None when no window was asked for
    """

    __slots__ = (
        "source",
        "values",
        "unit",
        "signed",
        "bits_stored",
        "slope",
        "intercept",
        "photometric_interpretation",
        "polarity",
        "window",
    )

    def __init__(self, source: str, described: Dict[str, Any]) -> None:
        window = described.get("window")
        self.source = source
        self.values: str = described["values"]
        self.unit: Optional[str] = described.get("unit")
        self.signed: Optional[bool] = described.get("signed")
        self.bits_stored: Optional[int] = described.get("bitsStored")
        self.slope: Optional[float] = described.get("slope")
        self.intercept: Optional[float] = described.get("intercept")
        self.photometric_interpretation: Optional[str] = described.get("photometricInterpretation")
        self.polarity: Optional[str] = described.get("polarity")
        self.window: Optional[Tuple[float, float]] = (window[0], window[1]) if window else None

    def __getstate__(self) -> Dict[str, Any]:
        return {name: getattr(self, name) for name in self.__slots__}

    def __setstate__(self, state: Dict[str, Any]) -> None:
        for name, value in state.items():
            setattr(self, name, value)

    def __repr__(self) -> str:
        unit = f", unit {self.unit}" if self.unit else ""
        return f"<Meaning of {self.values} values{unit}, {self.photometric_interpretation}, of {self.source}>"


class Pixels(np.ndarray):  # type: ignore[type-arg]
    """A numpy array that says what its numbers stand for. Parts of it say so too; what is computed from it is a plain
    array, since nobody knows its unit."""

    meaning: Meaning  # None in arrays that numpy made of others, which nobody should ask for one

    if TYPE_CHECKING:

        def __getitem__(self, key: Any) -> Any:
            """A number, or a part that knows its meaning."""

    def __array_finalize__(self, source: Optional[npt.NDArray[Any]]) -> None:
        self.meaning = cast(Meaning, getattr(source, "meaning", None))

    def __array_ufunc__(self, ufunc: Any, method: str, *inputs: Any, **options: Any) -> Any:
        plain = [np.asarray(each) if isinstance(each, Pixels) else each for each in inputs]
        if "out" in options:
            options["out"] = tuple(np.asarray(each) if isinstance(each, Pixels) else each for each in options["out"])
        return getattr(ufunc, method)(*plain, **options)

    def __array_function__(self, function: Any, types: Any, arguments: Any, options: Any) -> Any:
        return _parts_only(super().__array_function__(function, types, arguments, options))

    def __reduce__(self) -> Any:
        rebuild, arguments, state = cast(Tuple[Any, Any, Any], super().__reduce__())
        return rebuild, arguments, (state, self.meaning)

    def __setstate__(self, state: Any) -> None:
        super().__setstate__(state[0])
        self.meaning = state[1]


def _parts_only(result: Any) -> Any:
    """What was computed, as a plain array; parts of an array as they are."""
    if isinstance(result, (list, tuple)):
        return type(result)(_parts_only(each) for each in result) if type(result) in (list, tuple) else result
    return np.asarray(result) if isinstance(result, Pixels) and result.base is None else result


def _computing(name: str) -> Any:
    """A method of numpy that computes without a ufunc."""
    original = getattr(np.ndarray, name)

    @functools.wraps(original)
    def method(self: Pixels, *arguments: Any, **options: Any) -> Any:
        return original(np.asarray(self), *arguments, **options)

    method.__doc__ = original.__doc__ or f"As {name} of a plain array."
    return method


for _name in (
    "argmax argmin argpartition argsort choose cumprod cumsum dot max mean min nonzero prod round searchsorted std "
    "sum trace var"
).split():
    setattr(Pixels, _name, _computing(_name))


def pixels(array: npt.NDArray[Any], meaning: Meaning) -> Pixels:
    """The array, read-only and with its meaning; nothing is copied."""
    result = array.view(Pixels)
    result.meaning = meaning
    result.flags.writeable = False
    return result
