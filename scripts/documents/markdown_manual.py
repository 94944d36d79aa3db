"""A Markdown document as the sections of a manual page."""

import roff
from markdown import plain, tree


def inline(node):
    if node.type == "text":
        return roff.escape(node.content)
    if node.type == "code_inline":
        return roff.bold(node.content)
    if node.type in ("softbreak", "hardbreak"):
        return " "
    inside = "".join(inline(child) for child in node.children)
    return f"\\fI{inside}\\fR" if node.type in ("em", "strong") else inside


def cells(row):
    return [inline(cell) for cell in row.children]


def table(node):
    """A table as a list: its first column is the term, the others explain it."""
    head, body = node.children[0].children[0], node.children[1]
    titles = [plain(cell) for cell in head.children]
    page = ""
    for row in body.children:
        first, *rest = cells(row)
        shown = rest
        if len(rest) > 1:
            shown = [f"{roff.escape(name)}: {text}" for name, text in zip(titles[1:], rest) if text]
        text = "\n.br\n".join(roff.line(each) for each in shown)
        page += roff.term(first or "\\(en", text + "\n")
    return page


def listing(node):
    page = ""
    for number, item in enumerate(node.children, 1):
        mark = "\\(bu" if node.type == "bullet_list" else f"{number}."
        page += roff.nested("".join(block(child) for child in item.children)).replace(
            ".PP\n", f".IP {mark} 4\n", 1
        )
    return page


def block(node):
    if node.type == "paragraph":
        return roff.paragraph(inline(node))
    if node.type in ("fence", "code_block"):
        return roff.code(node.content.rstrip())
    if node.type == "table":
        return table(node)
    if node.type in ("bullet_list", "ordered_list"):
        return listing(node)
    if node.type == "html_block":
        return ""  # what only the tests read
    raise ValueError(f"a manual page cannot show {node.type}")


def sections(text, heading):
    """The document below its title; `heading` writes a heading of a level."""
    page = ""
    for node in tree(text).children:
        if node.type != "heading":
            page += block(node)
        elif node.tag != "h1":
            page += heading(int(node.tag[1]), plain(node))
    return page
