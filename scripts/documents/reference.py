"""The reference of the C interface as pages of HTML."""

from html import escape

import headers
from comments import Code, Paragraph
from manual import page_name, title_of
from roff import declaration


class Reference:
    """`linked` writes a text in which known names lead to their place."""

    def __init__(self, families, linked):
        self.families = families
        self.linked = linked

    def blocks(self, blocks):
        return "".join(self.block(block) for block in blocks)

    def block(self, block):
        if isinstance(block, Paragraph):
            return f"<p>{self.linked(block.text)}</p>\n"
        if isinstance(block, Code):
            return f"<pre><code>{escape(block.text)}</code></pre>\n"
        rows = ""
        for name, blocks in block.rows:
            rows += f"<dt><code>{escape(name)}</code></dt>\n" if name else ""
            rows += f"<dd>{self.blocks(blocks)}</dd>\n"
        return f"<dl>\n{rows}</dl>\n"

    def part(self, part):
        if isinstance(part, headers.Source):
            return f"<pre><code>{escape(part.text)}</code></pre>\n"
        if isinstance(part, headers.Prose):
            return self.blocks(part.blocks)
        first, *others = part.names
        anchors = "".join(f'<span id="{name}"></span>' for name in others)
        names = ", ".join(f"<code>{name}</code>" for name in part.title())
        declared = "\n".join(declaration(each) for each in part.declarations)
        summary = part.summary[:1].upper() + part.summary[1:]
        return (
            f'<section class="function">\n<h3 id="{first}">{anchors}{names}</h3>\n'
            f"<pre><code>{escape(declared)}</code></pre>\n"
            f"{self.blocks([Paragraph(summary)] if summary else [])}"
            f"{self.blocks(part.blocks)}</section>\n"
        )

    def family(self, family):
        summary, rest = title_of(family.summary)
        summary = summary[0].upper() + summary[1:]
        page = f"<h1><code>{family.title}</code></h1>\n<p>{self.linked(summary)}. "
        page += f"{self.linked(rest)}</p>\n"
        page += f"<pre><code>#include &lt;{family.header}&gt;</code></pre>\n"
        names = [name for each in family.functions() for name in each.names]
        listed = "".join(f'<li><a href="#{name}"><code>{name}</code></a></li>\n' for name in names)
        page += f'<ul class="names">\n{listed}</ul>\n' if names else ""
        page += self.blocks(family.blocks) + "".join(self.part(part) for part in family.parts)
        if family.forwarded:
            names = "".join(
                f'<li id="{name}"><code>{name}</code></li>\n' for name in family.forwarded
            )
            page += '<h2 id="forwarded-functions">Forwarded functions</h2>\n'
            page += "<p>Exported by this library, too, and described by libldap's ldap_schema(3):"
            page += f'</p>\n<ul class="names">\n{names}</ul>\n'
        return page

    def headers(self, families):
        page = "<dl>\n"
        for family in families:
            link = f'<a href="{page_name(family)}.html"><code>{family.title}</code></a>'
            page += f"<dt>{link}</dt>\n<dd>{self.linked(title_of(family.summary)[0])}</dd>\n"
        return page + "</dl>\n"

    def index(self):
        in_c = [family for family in self.families if family.is_c()]
        in_cxx = [family for family in self.families if not family.is_c()]
        page = "<h1>Reference</h1>\n"
        page += '<h2 id="c">Headers of the C interface</h2>\n' + self.headers(in_c)
        page += '<h2 id="cxx">Headers of the C++ interface</h2>\n' + self.headers(in_cxx)
        page += '<h2 id="names">All names of the C interface</h2>\n<ul class="names">\n'
        places = {
            name: page_name(family) for family in in_c for name in family.names() + family.forwarded
        }
        for name in sorted(places, key=str.lower):
            page += f'<li><a href="{places[name]}.html#{name}"><code>{name}</code></a></li>\n'
        return page + "</ul>\n"
