#!/usr/bin/python3
"""Joins the transcripts of tests/cli/transcripts, which tests run, to docs/cookbook.md. --check: only says whether that
page is up to date."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COOKBOOK = ROOT / "docs" / "cookbook.md"
OPENING = """# Cookbook

Questions that people have, and the commands that answer them. Every command here runs in a test that compares what it
shows with this page. Standard error and standard output stand as a terminal shows them, a status that is not 0 follows in
parentheses, and `...` stands for any text. `tests/cli/transcripts/make_files.py FOLDER` makes the files.

This page is made from `tests/cli/transcripts` by `scripts/cookbook.py`; edit the pages there.

"""


def anchor(headline):
    """The name of a headline in links, as Markdown pages on the web have it."""
    return re.sub(r"[^\w\- ]", "", headline.lower()).replace(" ", "-")


def headlines(page):
    """The lines that begin with number signs, outside of blocks."""
    text = re.sub(r"```.*?```", "", page, flags=re.DOTALL)
    return re.findall(r"^(#+) (.*)$", text, flags=re.MULTILINE)


def with_lower_headlines(page):
    """The page as a part of another one: headlines outside of blocks go down by one."""
    parts = re.split(r"(```.*?```)", page, flags=re.DOTALL)
    return "".join(part if part.startswith("```") else re.sub(r"^#", "##", part, flags=re.MULTILINE) for part in parts)


def cookbook():
    pages = [path.read_text(encoding="utf-8") for path in sorted((ROOT / "tests/cli/transcripts").glob("*.md"))]
    contents = []
    for page in pages:
        for level, headline in headlines(page):
            contents.append("%s- [%s](#%s)\n" % ("  " * (len(level) - 1), headline, anchor(headline)))
    return OPENING + "".join(contents) + "".join("\n" + with_lower_headlines(page) for page in pages)


def main():
    made = cookbook()
    if sys.argv[1:] != ["--check"]:
        COOKBOOK.write_text(made, encoding="utf-8")
    elif not COOKBOOK.exists() or COOKBOOK.read_text(encoding="utf-8") != made:
        sys.exit("docs/cookbook.md is not what the transcripts give: run scripts/cookbook.py.")


if __name__ == "__main__":
    main()
