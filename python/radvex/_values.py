"""Arrays that know what their numbers stand for. The only module that loads numpy before it is needed."""

from __future__ import annotations

import functools
from typing import TYPE_CHECKING, Any, Optional, Tuple, cast

import numpy as np
import numpy.typing as npt

from radvex._meaning import Meaning


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
