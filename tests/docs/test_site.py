"""The pages of docs/ as a site, and the links between the pages as they stand in the tree."""

import html.parser
import os
import re
import subprocess
import sys

import pytest

from pages import PAGES, ROOT


def build(out, *, root=ROOT):
    return subprocess.run(
        [sys.executable, "-m", "mkdocs", "build", "--config-file", root / "mkdocs.yml", "--site-dir", out],
        capture_output=True, text=True, check=False, env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"},
    )


@pytest.fixture(scope="module")
def site(tmp_path_factory):
    out = tmp_path_factory.mktemp("site")
    run = build(out)
    assert run.returncode == 0, run.stderr
    return out


class Elements(html.parser.HTMLParser):
    """The elements of a page with their attributes, and its text outside of code."""

    def __init__(self, page):
        super().__init__()
        self.elements = []
        self.text = ""
        self.depth = 0
        self.feed(page.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        self.elements.append((tag, dict(attrs)))
        self.depth += tag in ("code", "pre", "style")

    def handle_endtag(self, tag):
        self.depth -= tag in ("code", "pre", "style")

    def handle_data(self, data):
        self.text += "" if self.depth else data


def test_every_page_is_on_the_site(site):
    assert {page.stem.lower() for page in PAGES} == {page.stem for page in site.glob("*.html")}


def test_nothing_is_loaded_from_elsewhere(site):
    for page in site.glob("*.html"):
        for tag, attributes in Elements(page).elements:
            assert tag not in ("script", "iframe", "object", "embed"), page.name
            loaded = [attributes.get("src", ""), attributes.get("srcset", "")]
            loaded += [attributes.get("href", "")] if tag == "link" else []
            for address in loaded:
                assert "//" not in address, (page.name, address)
    for sheet in site.rglob("*.css"):
        assert not re.search(r"@import|url\(", sheet.read_text(encoding="utf-8")), sheet
    assert {path.suffix for path in site.rglob("*") if path.is_file()} <= {".html", ".css", ".png"}


def test_every_link_of_the_site_leads_to_a_file_and_a_headline(site):
    anchors = {page.name: {attributes.get("id") for _, attributes in Elements(page).elements} for page in site.glob("*.html")}
    count = 0
    for page in site.glob("*.html"):
        for tag, attributes in Elements(page).elements:
            link = attributes.get("href" if tag == "a" else "src", "")
            if link and ":" not in link:
                target, _, anchor = link.partition("#")
                assert not target or (site / target).is_file(), (page.name, link)
                assert not anchor or anchor in anchors[target or page.name], (page.name, link)
                count += 1
    assert count > 500


def test_no_markdown_is_left_as_text(site):
    for page in site.glob("*.html"):
        text = Elements(page).text
        assert "```" not in text and "](" not in text and not re.search(r"^\s*\|.*\|", text, re.MULTILINE), page.name


@pytest.mark.parametrize("link", ["[x](nowhere.md)", "[x](volumes.md#no-such-headline)", "[x](../nowhere.md)", "![x](no.png)"])
def test_a_broken_link_is_an_error(tmp_path, link):
    root = copy_of_the_pages(tmp_path)
    with open(root / "docs" / "view.md", "a", encoding="utf-8") as page:
        page.write("\n" + link + "\n")
    assert build(tmp_path / "out", root=root).returncode != 0


def test_a_page_without_a_place_is_an_error(tmp_path):
    root = copy_of_the_pages(tmp_path)
    (root / "docs" / "more.md").write_text("# More\n", encoding="utf-8")
    run = build(tmp_path / "out", root=root)
    assert run.returncode != 0 and "more.md has no place" in run.stderr


def test_a_link_to_another_file_of_the_tree_becomes_its_path(tmp_path):
    root = copy_of_the_pages(tmp_path)
    with open(root / "docs" / "view.md", "a", encoding="utf-8") as page:
        page.write("\nSee [the sources](../scripts/site/hooks.py).\n")
    assert build(tmp_path / "out", root=root).returncode == 0
    assert "the sources (<code>scripts/site/hooks.py</code>)" in (tmp_path / "out" / "view.html").read_text(encoding="utf-8")


def copy_of_the_pages(folder):
    """What the site is made of, in a folder of its own."""
    root = folder / "tree"
    parts = [ROOT / "scripts" / "site", ROOT / "docs" / "pictures", *(ROOT / "examples").iterdir()]
    for path in [*PAGES, ROOT / "mkdocs.yml", *(path for part in parts if part.is_dir() for path in part.iterdir())]:
        if path.is_file():
            copy = root / path.relative_to(ROOT)
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(path.read_bytes())
    return root


def test_every_relative_link_in_the_tree_leads_to_a_file():
    count = 0
    for page in PAGES:
        text = re.sub(r"^```.*?^```$|`[^`\n]+`", "", page.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
        for link in re.findall(r"\]\(([^()\s]+)\)", text):
            if not re.match(r"[a-z]+:|#", link):
                assert (page.parent / link.partition("#")[0]).exists(), (page.name, link)
                count += 1
    assert count > 60
