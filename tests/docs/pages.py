"""The pages of the tree, and the tables in them."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PAGES = sorted([ROOT / "README.md", ROOT / "CHANGELOG.md", ROOT / "SECURITY.md", *(ROOT / "docs").glob("*.md")])


def rows(name, columns):
    """The cells of all rows of the tables on a page of docs/ that have so many columns, without headers."""
    found = []
    for line in (ROOT / "docs" / name).read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if len(cells) == columns and not set(line) <= set("|- "):
            found.append(cells)
    return found[1:]
