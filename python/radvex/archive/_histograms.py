"""Pictures of the report of a check. They show numbers and names of devices, nothing of patients."""

from __future__ import annotations

import importlib
import os
from typing import Any, Dict, List, Optional, Sequence, Tuple

from radvex.archive._report import Chosen, text_of
from radvex.archive._report_text import amount, maker_name, syntax_name

_WIDTH = 9.0  # inches
_BARS = 15
_LONGEST_NAME = 44
_YEARS = (1970, 2100)
_TICKS = 9
_COLOURS = ("#2f6f9f", "#e08a2e", "#4a9a5b", "#8a62a8", "#c9a227", "#5bb0b8")  # of the modalities
_COLOUR = _COLOURS[0]
_OTHERS = "#b0b0b0"
_BROKEN = "#b5452c"


def require_matplotlib() -> None:
    """Raises ImportError with a sentence when it is not there."""
    try:
        importlib.import_module("matplotlib.figure")
    except ImportError:
        raise ImportError("Histograms need matplotlib: apt-get install python3-matplotlib.") from None


def draw(index: str, folder: str, where: Optional[str] = None, values: Sequence[Any] = ()) -> None:
    """Writes sizes.png, years.png, broken.png and syntaxes.png."""
    os.makedirs(folder, exist_ok=True)
    with Chosen(index, where, values) as chosen:
        for name, picture in (("sizes", _sizes), ("years", _years), ("broken", _broken), ("syntaxes", _syntaxes)):
            figure = picture(chosen)
            figure.savefig(os.path.join(folder, name + ".png"), dpi=100, bbox_inches="tight", facecolor="white")


def _axes(title: str, height: float = 4.5) -> Tuple[Any, Any]:
    """A figure that is no part of what the caller draws, and its axes."""
    figure = importlib.import_module("matplotlib.figure").Figure(figsize=(_WIDTH, height))
    axes = figure.add_subplot()
    axes.set_title(title, loc="left", fontsize=12)
    axes.spines[["top", "right"]].set_visible(False)
    return figure, axes


def _whole_numbers(axis: Any, form: str = "{x:,.0f}") -> None:
    ticker = importlib.import_module("matplotlib.ticker")
    axis.set_major_locator(ticker.MaxNLocator(nbins=_TICKS, integer=True))
    axis.set_major_formatter(ticker.StrMethodFormatter(form))


def _power_of_two(exponent: int) -> str:
    """A number of bytes."""
    units = ("B", "KiB", "MiB", "GiB", "TiB", "PiB")
    return f"{1 << exponent % 10} {units[exponent // 10]}"


def _shown(name: str) -> str:
    """A name from a file as it fits beside a bar."""
    plain = "".join(letter if letter.isprintable() else "?" for letter in name)
    return plain if len(plain) <= _LONGEST_NAME else plain[: _LONGEST_NAME - 1] + "…"


def _sizes(chosen: Chosen) -> Any:
    """Files by size, in classes of powers of two."""
    query = "SELECT Modality, size_class(size) AS class, count(*) AS files FROM chosen GROUP BY 1, 2"
    counts: Dict[str, Dict[int, int]] = {}
    for row in chosen.ask(query):
        sizes = counts.setdefault(_shown(text_of(row["Modality"])) or "none", {})
        sizes[row["class"]] = sizes.get(row["class"], 0) + row["files"]  # none may be empty or not there
    names = sorted(counts, key=lambda name: (-sum(counts[name].values()), name))
    shown, others = names[: len(_COLOURS)], names[len(_COLOURS) :]
    figure, axes = _axes("File sizes by modality")
    classes = sorted({each for name in names for each in counts[name]}) or [0]
    places = list(range(classes[0], classes[-1] + 1))
    floor = [0] * len(places)
    groups = [(name, [name], colour) for name, colour in zip(shown, _COLOURS)]
    for label, members, colour in groups + ([("others", others, _OTHERS)] if others else []):
        heights = [sum(counts[name].get(place, 0) for name in members) for place in places]
        axes.bar(places, heights, 0.9, floor, label=f"{label} ({sum(heights):,})", color=colour)
        floor = [low + high for low, high in zip(floor, heights)]
    edges = [*places, places[-1] + 1][:: 1 + len(places) // _TICKS]
    axes.set_xticks([edge - 0.5 for edge in edges], [_power_of_two(edge - 1) if edge else "empty" for edge in edges])
    axes.set_ylim(0, 1.05 * max(*floor, 1))
    axes.set_xlabel("size of the file; each bar reaches to twice the size at its left")
    axes.set_ylabel("files")
    _whole_numbers(axes.yaxis)
    if names:
        legend = axes.legend(title="Modality (files)", frameon=False, loc="upper left", bbox_to_anchor=(1, 1))
        _plain(legend.get_texts())
    return figure


def _plain(texts: Sequence[Any]) -> None:
    """Names are no formulas, whatever they hold."""
    for text in texts:
        text.set_parse_math(False)


def _years(chosen: Chosen) -> Any:
    """Files by year of the study."""
    first, last = _YEARS
    years: Dict[int, int] = {}
    without = 0
    year = "CAST(substr(StudyDate, 1, 4) AS INTEGER)"
    known = f"StudyDate GLOB '[0-9][0-9][0-9][0-9]*' AND {year} BETWEEN {first} AND {last}"
    query = f"SELECT CASE WHEN {known} THEN {year} END AS year, count(*) AS files FROM chosen GROUP BY 1"
    for row in chosen.ask(query):
        if row["year"] is None:
            without = row["files"]
        else:
            years[row["year"]] = row["files"]
    note = f" ({without:,} files without one between {first} and {last})" if without else ""
    figure, axes = _axes("Files by year of the study" + note)
    axes.bar(list(years), list(years.values()), 0.9, color=_COLOUR)
    if years:
        axes.set_xlim(min(years) - 1, max(years) + 1)
    axes.set_xlabel("year of StudyDate")
    axes.set_ylabel("files")
    _whole_numbers(axes.xaxis, "{x:.0f}")
    _whole_numbers(axes.yaxis)
    return figure


def _bars(title: str, label: str, rows: List[Tuple[str, float, str]], colour: str) -> Any:
    """Horizontal bars: name, length, words at the end."""
    figure, axes = _axes(title, 1.2 + 0.32 * max(3, len(rows)))
    places = list(range(len(rows)))
    axes.barh(places, [row[1] for row in rows], 0.75, color=colour)
    axes.set_yticks(places, [_shown(row[0]) for row in rows], fontsize=9)
    _plain(axes.get_yticklabels())
    axes.set_ylim(max(len(rows), 3) - 0.4, -0.6)
    longest = max([row[1] for row in rows], default=0) or 1
    axes.set_xlim(0, 1.3 * longest)
    for place, (_, length, words) in zip(places, rows):
        axes.text(length + 0.01 * longest, place, words, va="center", fontsize=8)
    axes.set_xlabel(label)
    return figure


def _broken(chosen: Chosen) -> Any:
    """The share of broken files of each maker that has some."""
    query = f"""SELECT coalesce(Manufacturer, '') AS Manufacturer,
            coalesce(ManufacturerModelName, '') AS ManufacturerModelName, count(*) AS files,
            sum(verdict = 'broken') AS broken FROM chosen GROUP BY 1, 2 HAVING broken > 0
            ORDER BY broken DESC, 1, 2 LIMIT {_BARS}"""
    rows = []
    for row in chosen.ask(query):
        maker = maker_name({name: text_of(row[name]) for name in ("Manufacturer", "ManufacturerModelName")})
        share = 100 * row["broken"] / row["files"]
        rows.append((maker, share, f"{row['broken']:,} of {row['files']:,} ({share:.2g} %)"))
    title = "Broken files by maker, most files first" if rows else "No file is broken"
    return _bars(title, "broken, % of the maker's files", rows, _BROKEN)


def _syntaxes(chosen: Chosen) -> Any:
    """Files by transfer syntax."""
    query = f"""SELECT coalesce(TransferSyntaxUID, '') AS syntax, count(*) AS files, sum(size) AS bytes FROM chosen
            GROUP BY 1 ORDER BY files DESC, 1 LIMIT {_BARS}"""
    rows = [
        (syntax_name(text_of(row["syntax"])), float(row["files"]), f"{row['files']:,} ({amount(row['bytes'])})")
        for row in chosen.ask(query)
    ]
    figure = _bars("Files by transfer syntax", "files", rows, _COLOUR)
    _whole_numbers(figure.axes[0].xaxis)
    return figure
