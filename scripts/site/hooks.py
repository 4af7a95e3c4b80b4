"""What MkDocs does not do by itself for the pages of docs/.

README.md, CHANGELOG.md and SECURITY.md stand above docs/ and are pages all the same; links between them and docs/ work on
both sides. A link to another file of the tree, which is not on the site, becomes the path of the file. Headlines get the
anchors that links in Markdown have elsewhere, and an anchor that does not exist is a broken link too.
"""

import logging
import pathlib
import posixpath
import re

from mkdocs.structure.files import File

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
ABOVE = ("README.md", "CHANGELOG.md", "SECURITY.md")
LINK = re.compile(r"(!?)\[((?:`[^`\n]*`|[^\[\]`])+)\]\(([^()\s]+)\)")  # brackets inside of code are none
BLOCK = re.compile(r"(^```.*?^```$)", re.DOTALL | re.MULTILINE)
NESTED = re.compile(r"^( +)(?=- )", re.MULTILINE)

log = logging.getLogger("mkdocs.structure.site")


def slug(headline, separator):
    """The name of a headline in links, as scripts/cookbook.py and Markdown pages on the web have it."""
    return re.sub(r"[^\w\- ]", "", headline.lower()).replace(" ", separator)


def on_config(config):
    config["mdx_configs"]["toc"] = {"slugify": slug}
    return config


def on_env(env, config, files):
    config["theme"].static_templates.clear()  # a sitemap is for servers
    return env


class PageAbove(File):
    """A page that stands above docs/. MkDocs would take README.md for the first page of the site."""

    def _get_stem(self):
        return posixpath.splitext(self.src_uri)[0].lower()


def on_files(files, config):
    for path in ABOVE:
        files.append(PageAbove(path, str(ROOT), config["site_dir"], use_directory_urls=False))
    return files


def on_nav(nav, config, files):
    for file in files.documentation_pages():
        if file.page is None or file.page not in nav.pages:
            log.warning("%s has no place in the 'nav' of mkdocs.yml", file.src_uri)
    return nav


def place_on_site(link, base):
    """What a link says on the site: pages above docs/ and those in it lie side by side there.

    Returns None for a file of the tree that has no place on the site.
    """
    target, _, anchor = link.partition("#")
    if not target or re.match(r"[a-z]+:", target):
        return link
    path = posixpath.normpath(posixpath.join(base, target))
    if path in ABOVE:
        place = path
    elif path.startswith("docs/") or not (ROOT / path).exists():
        place = posixpath.relpath(path, "docs")
    else:
        return None
    return place + ("#" + anchor if anchor else "")


def on_page_markdown(markdown, page, config, files):
    base = "" if page.file.src_uri in ABOVE else "docs"

    def with_place(match):
        link = place_on_site(match[3], base)
        if link is None:
            path = posixpath.normpath(posixpath.join(base, match[3]))
            return match[2] if path in match[2] else "%s (`%s`)" % (match[2], path)
        return "%s[%s](%s)" % (match[1], match[2], link)

    def prepared(text):
        """Links as they are on the site; lists inside of lists as deep as Python-Markdown wants them."""
        return NESTED.sub(r"\1\1", LINK.sub(with_place, text))

    parts = BLOCK.split(markdown)
    return "".join(part if part.startswith("```") else prepared(part) for part in parts)


ANCHORS = {}
LINKED = []


def on_page_content(html, page, config, files):
    ANCHORS[page.url] = set(re.findall(r'\bid="([^"]+)"', html))
    for link in re.findall(r'\bhref="([^"]+)"', html):
        target, hash_sign, anchor = link.partition("#")
        if hash_sign and ":" not in target:
            LINKED.append((page, target or page.url, anchor))
    return html


def on_post_build(config):
    for page, target, anchor in LINKED:
        if anchor not in ANCHORS.get(target, ()):
            log.warning("%s contains a link to '%s#%s', which has no such headline", page.file.src_uri, target, anchor)
