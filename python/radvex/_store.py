from __future__ import annotations

from typing import Any, Dict, Iterator, List, Sequence, Tuple, Union

Name = Union[str, bytes]


def _shown(name: Name) -> str:
    return name if isinstance(name, str) else repr(name)


class Store(Sequence[Any]):
    """A list of named values, as the library's functions return them. Names may be empty, and may repeat.

    A number gives the value at that place, a name the first value of that name. Iteration gives the values.
    """

    __slots__ = ("_nodes",)

    def __init__(self, nodes: Sequence[Tuple[Name, Any]] = ()) -> None:
        self._nodes: List[Tuple[Name, Any]] = list(nodes)

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, (str, bytes)):
            for name, value in self._nodes:
                if name == key:
                    return value
            raise KeyError(key)
        if isinstance(key, slice):
            return Store(self._nodes[key])
        return self._nodes[key][1]

    def __len__(self) -> int:
        return len(self._nodes)

    def __iter__(self) -> Iterator[Any]:
        return (value for _, value in self._nodes)

    def __contains__(self, name: object) -> bool:
        """Whether there is a value of that name."""
        return any(name == each for each, _ in self._nodes)

    def get(self, name: Name, default: Any = None) -> Any:
        """The first value of a name, or the default."""
        return self[name] if name in self else default

    def names(self) -> List[Name]:
        """The names in order."""
        return [name for name, _ in self._nodes]

    def items(self) -> List[Tuple[Name, Any]]:
        """Names and values in order."""
        return list(self._nodes)

    def to_dict(self) -> Dict[Name, Any]:
        """The first value of each name."""
        result: Dict[Name, Any] = {}
        for name, value in self._nodes:
            result.setdefault(name, value)
        return result

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Store) and self._nodes == other._nodes

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        if any(name for name, _ in self._nodes):
            shown = ", ".join(f"{_shown(name)}={value!r}" for name, value in self._nodes[:4])
        else:
            shown = ", ".join(repr(value) for _, value in self._nodes[:4])
        return f"Store({shown}{', ...' if len(self) > 4 else ''})"
