"""site.py ROOT MANUAL OUT - writes the documents, the reference and the manual pages of the
programs as HTML that needs nothing else: no script, no network. MANUAL holds the manual pages."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
from html import escape

import cxx_headers
import headers
from manual import page_name
from markdown import PARSER, anchors, plain, tree
from reference import Reference

# What the navigation shows, and which pages there are: title, source.
DOCUMENTS = {
    "Start": [("Overview", "README.md"), ("Guide", "docs/guide.md")],
    "Using the library": [
        ("Partitions and replicas", "docs/partitions.md"),
        ("Replication filter", "docs/replication-filter.md"),
        ("Identity and privileges", "docs/identity.md"),
        ("Controls", "docs/controls.md"),
        ("Backup and restore", "docs/backup.md"),
        ("Events", "docs/events.md"),
        ("Bulk update", "docs/bulk-update.md"),
        ("Schema", "docs/schema.md"),
        ("DIGEST-MD5", "docs/digest-md5.md"),
        ("TLS", "docs/tls.md"),
        ("Search by URL", "docs/url-search.md"),
        ("Conventions", "CONVENTIONS.md"),
    ],
    "Programs": [
        ("qldapx", "docs/qldapx.md"),
        ("qldapx(1)", "man1/qldapx.1"),
        ("Backup files", "docs/backup-file.md"),
        ("strata-sim", "docs/strata-sim.md"),
        ("strata-sim(1)", "man1/strata-sim.1"),
    ],
    "What is promised": [
        ("Security", "SECURITY.md"),
        ("Failing memory", "docs/failing-memory.md"),
        ("Assertions", "docs/assertions.md"),
        ("Performance", "docs/performance.md"),
        ("Coverage", "docs/coverage.md"),
        ("Long tests", "docs/deep-tests.md"),
        ("Changes", "CHANGELOG.md"),
        ("Working on it", "CONTRIBUTING.md"),
    ],
}
TEMPLATE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title} - libqldapx</title>
<link rel="stylesheet" href="{root}style.css">
</head>
<body>
<header><a class="brand" href="{root}index.html">libqldapx</a>
<a class="menu" href="#navigation">Contents</a></header>
<main>
{body}</main>
<nav id="navigation" aria-label="Contents">
{navigation}</nav>
</body>
</html>
"""
# A page with so many sections lists them at its beginning.
LISTED_SECTIONS = 5


def target(source):
    """Where a source's page is, within the site."""
    if source == "README.md":
        return "index.html"
    return re.sub(r"\.md$", "", source) + ".html"


def relative(page, to):
    return os.path.relpath(to, os.path.dirname(page) or ".")


class Site:
    def __init__(self, root, manual, out):
        self.root, self.manual, self.out = root, manual, out
        self.families = headers.families(root) + cxx_headers.families(root)
        self.places = {
            name: f"reference/{page_name(family)}.html#{name}"
            for family in self.families
            if family.is_c()
            for name in family.names() + family.forwarded
        }
        for family in self.families:
            page = f"reference/{page_name(family)}.html"
            self.places |= {family.title: page, f"qldapx/{family.title}": page}
        self.places |= {
            source: target(source) for rows in DOCUMENTS.values() for _, source in rows
        }
        known = sorted(self.places, key=len, reverse=True)
        self.known = re.compile(r"(?<![\w/.-])(" + "|".join(map(re.escape, known)) + r")(?!\w)")

    def navigation(self, page):
        sections = {
            title: [(name, target(source)) for name, source in rows]
            for title, rows in DOCUMENTS.items()
        }
        pages = {
            family.title: f"reference/{page_name(family)}.html" for family in self.families
        }
        names = [name for name in pages if name.endswith(".h")]
        sections["Reference"] = [("All of it", "reference/index.html")]
        sections["Reference: C"] = [(name, pages.pop(name)) for name in names]
        sections["Reference: C++"] = [
            (name.removeprefix("cxx/"), to) for name, to in pages.items()
        ]
        text = ""
        for title, rows in sections.items():
            text += f"<h2>{title}</h2>\n<ul>\n"
            for name, to in rows:
                here = ' aria-current="page"' if to == page else ""
                shown = escape(name).replace("_", "_<wbr>")
                text += f'<li><a href="{relative(page, to)}"{here}>{shown}</a></li>\n'
            text += "</ul>\n"
        return text

    def write(self, page, title, body):
        path = self.out / page
        path.parent.mkdir(parents=True, exist_ok=True)
        up = "../" * page.count("/")
        path.write_text(
            TEMPLATE.format(
                title=escape(title), root=up, body=body, navigation=self.navigation(page)
            )
        )

    def linked(self, page, text):
        """A text of the reference; what it names leads there."""

        def link(found):
            name = found.group(1)
            return f'<a href="{relative(page, self.places[name])}"><code>{name}</code></a>'

        return self.known.sub(link, escape(text, quote=False))

    def links_of(self, page, source):
        """Rules of the renderer that make names and documents links."""

        def code(tokens, index, options, env):
            content = tokens[index].content
            shown = f"<code>{escape(content, quote=False)}</code>"
            inside = any(token.type == "link_open" for token in tokens[:index]) and not any(
                token.type == "link_close" for token in tokens[:index]
            )
            to = self.places.get(content)
            if inside or to is None or to == page:
                return shown
            return f'<a href="{relative(page, to)}">{shown}</a>'

        def link(tokens, index, options, env):
            token = tokens[index]
            path, mark, anchor = token.attrs["href"].partition("#")
            if path and ":" not in path:
                named = os.path.normpath(os.path.join(os.path.dirname(source), path))
                token.attrs["href"] = relative(page, self.places[named]) + mark + anchor
            return PARSER.renderer.renderToken(tokens, index, options, env)

        def image(tokens, index, options, env):
            path = pathlib.Path(source).parent / tokens[index].attrs["src"]
            copy = self.out / pathlib.Path(page).parent / tokens[index].attrs["src"]
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(self.root / path, copy)
            return kept_image(tokens, index, options, env)

        kept_image = PARSER.renderer.rules["image"]
        return {"code_inline": code, "link_open": link, "image": image}

    def document(self, source):
        page, text = target(source), (self.root / source).read_text()
        tokens = PARSER.parse(re.sub(r"<!--.*?-->", "", text, flags=re.DOTALL))
        headings = [node for node in tree(text).children if node.type == "heading"]
        places = anchors([plain(node) for node in headings])
        unused = iter(places)
        for token in tokens:
            if token.type == "heading_open":
                token.attrs["id"] = next(unused)
        prepare_tables(tokens)
        kept, PARSER.renderer.rules = PARSER.renderer.rules, {
            **PARSER.renderer.rules,
            **self.links_of(page, source),
        }
        body = PARSER.renderer.render(tokens, PARSER.options, {})
        PARSER.renderer.rules = kept
        body = body.replace("<table>", '<div class="wide"><table>')
        body = body.replace("</table>", "</table></div>")
        sections = [
            (place, plain(node)) for place, node in zip(places, headings) if node.tag == "h2"
        ]
        self.write(page, plain(headings[0]), with_sections(body, sections))

    def manual_page(self, source):
        page = target(source)
        html = subprocess.run(
            ["mandoc", "-Thtml", "-Ofragment", self.manual / source],
            check=True,
            capture_output=True,
            text=True,
        ).stdout
        name = f"{pathlib.Path(source).stem}({source[-1]})"
        html = re.sub(r'<table class="(head|foot)">.*?</table>', "", html, flags=re.DOTALL)
        html = re.sub(r'<a class="permalink"[^>]*>(.*?)</a>', r"\1", html, flags=re.DOTALL)
        html = re.sub(r'<dt id="[^"]*">', "<dt>", html)
        html = html.replace("h2", "h3").replace("<h1", "<h2").replace("</h1>", "</h2>")
        self.write(page, name, f"<h1>{name}</h1>\n{html}")

    def reference(self):
        for family in self.families:
            page = f"reference/{page_name(family)}.html"
            pages = Reference(self.families, lambda text, page=page: self.linked(page, text))
            self.write(page, family.title, pages.family(family))
        page = "reference/index.html"
        pages = Reference(self.families, lambda text: self.linked(page, text))
        self.write(page, "Reference", pages.index())

    def all(self):
        self.out.mkdir(parents=True, exist_ok=True)
        shutil.copy(pathlib.Path(__file__).parent / "style.css", self.out)
        for _, source in sum(DOCUMENTS.values(), []):
            (self.document if source.endswith(".md") else self.manual_page)(source)
        self.reference()


def prepare_tables(tokens):
    """Gives each cell the title of its column, for screens on which rows are stacked."""
    titles, column = [], 0
    for index, token in enumerate(tokens):
        if token.attrs.pop("style", "") == "text-align:right":
            token.attrs["class"] = "right"
        if token.type == "thead_open":
            titles = []
        elif token.type == "th_open":
            titles.append(tokens[index + 1].content)
        elif token.type == "tr_open":
            column = 0
        elif token.type == "td_open":
            if column > 0 and len(titles) > 2 and tokens[index + 1].content:
                token.attrs["data-title"] = titles[column]
            column += 1


def with_sections(body, sections):
    """The page with a list of its sections behind its title, if there are many."""
    if len(sections) < LISTED_SECTIONS:
        return body
    items = "".join(
        f'<li><a href="#{place}">{escape(title)}</a></li>\n' for place, title in sections
    )
    return body.replace("</h1>", f'</h1>\n<ul class="sections">\n{items}</ul>', 1)


if __name__ == "__main__":
    Site(*(pathlib.Path(argument) for argument in sys.argv[1:4])).all()
