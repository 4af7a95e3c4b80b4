"""The report of a check in words."""

from __future__ import annotations

from typing import Any, Dict, Iterator, List

_SYNTAXES = {
    "": "unknown",
    "1.2.840.10008.1.2": "Implicit VR",
    "1.2.840.10008.1.2.1": "Explicit VR",
    "1.2.840.10008.1.2.1.99": "Deflated",
    "1.2.840.10008.1.2.2": "Big Endian",
    "1.2.840.10008.1.2.5": "RLE",
    "1.2.840.10008.1.2.4.50": "JPEG 8 bit",
    "1.2.840.10008.1.2.4.51": "JPEG 12 bit",
    "1.2.840.10008.1.2.4.57": "JPEG lossless (57)",
    "1.2.840.10008.1.2.4.70": "JPEG lossless",
    "1.2.840.10008.1.2.4.80": "JPEG-LS lossless",
    "1.2.840.10008.1.2.4.81": "JPEG-LS",
    "1.2.840.10008.1.2.4.90": "JPEG 2000 lossless",
    "1.2.840.10008.1.2.4.91": "JPEG 2000",
    "1.2.840.10008.1.2.4.100": "MPEG-2",
    "1.2.840.10008.1.2.4.102": "MPEG-4",
    "1.2.840.10008.1.2.4.103": "MPEG-4 (103)",
}
_MAKERS = 10  # that are listed
_UNITS = ("bytes", "KB", "MB", "GB", "TB", "PB")


def syntax_name(uid: str) -> str:
    """A short name of a transfer syntax, or its identifier."""
    return _SYNTAXES.get(uid, uid)


def amount(size: float) -> str:
    """A number of bytes with a unit."""
    unit = 0
    while size >= 999.5 and unit + 1 < len(_UNITS):
        size, unit = size / 1000, unit + 1
    return f"{size:.3g} {_UNITS[unit]}"


def number_of(count: int, thing: str) -> str:
    """A number of things, of which one has no s."""
    return f"{count:,} {thing}{'s' if count != 1 and thing != 'series' else ''}"


def maker_name(group: Dict[str, Any]) -> str:
    """Manufacturer and model; "unknown" without both."""
    return " ".join(group[name] for name in ("Manufacturer", "ManufacturerModelName") if group[name]) or "unknown"


def lines(report: Dict[str, Any]) -> Iterator[str]:
    """The report for people."""
    numbers = (
        "{withPixels:,} with pixels, {withoutPixels:,} without, {broken:,} broken, "
        "{notDecoded:,} that cannot be decoded here, {notChecked:,} not checked"
    )
    yield f"{number_of(report['files'], 'file')}, {amount(report['bytes'])}: {numbers.format(**report)}"
    yield from _kinds("Broken", report["brokenKinds"])
    yield from _kinds("Cannot be decoded here", report["notDecodedKinds"])
    same = report["sameIdentifier"]
    yield from _found("Errors", [
        ("(SOPInstanceUID) of files with different pixels", "identifiers", same["otherPixels"]),
        *[
            (f"whose files disagree in {name}", "series", numbers)
            for name, numbers in report["seriesThatDisagree"].items()
            if name != "size"
        ],
        *[(f"without {name}", "files", numbers) for name, numbers in report["missing"].items()],
    ])
    yield from _found("What may be as it should", [
        ("under several identifiers (copies of pixels)", "pictures", report["copiesOfPixels"]),
        ("(SOPInstanceUID) of several files with the same pixels", "identifiers", same["samePixels"]),
        ("whose files disagree in Rows or Columns", "series", report["seriesThatDisagree"]["size"]),
    ])


def _kinds(title: str, kinds: List[Dict[str, Any]]) -> Iterator[str]:
    if kinds:
        yield from ("", title)
    for kind in kinds:
        yield f"  {number_of(kind['files'], 'file')}, {amount(kind['bytes'])}: {kind['kind']}"
        yield from map(_maker, kind["makers"][:_MAKERS])
        if len(kind["makers"]) > _MAKERS:
            yield f"    and of {len(kind['makers']) - _MAKERS} more; --json lists them"


def _maker(maker: Dict[str, Any]) -> str:
    files = "    " + number_of(maker["files"], "file")
    if maker["shareOfBytes"] is None:
        return f"{files} of an unknown maker; such as {maker['example']}"
    form = f"{maker['Modality'] or 'no modality'}, {syntax_name(maker['TransferSyntaxUID'])}"
    shares = f"{maker['shareOfFiles']:.2%} of its files, {maker['shareOfBytes']:.2%} of their bytes"
    return f"{files} of {maker_name(maker)}, {form}: {shares}; such as {maker['example']}"


def _found(title: str, items: List[Any]) -> Iterator[str]:
    found = [item for item in items if item[2][item[1]]]
    if found:
        yield from ("", title)
    for words, name, numbers in found:
        files = number_of(numbers["files"], "file") + ", " if name != "files" else ""
        thing = number_of(numbers[name], "series" if name == "series" else name[:-1])
        examples = ", ".join(dict.fromkeys(numbers["examples"]))
        yield f"  {thing} {words} ({files}{amount(numbers['bytes'])}); such as {examples}"
