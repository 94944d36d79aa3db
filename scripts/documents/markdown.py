"""The documents' Markdown: CommonMark with tables, as GitHub shows it."""

import re

from markdown_it import MarkdownIt
from markdown_it.tree import SyntaxTreeNode

PARSER = MarkdownIt("commonmark").enable("table")


def tree(text):
    return SyntaxTreeNode(PARSER.parse(text))


def anchors(titles):
    """The anchors that GitHub gives to a document's headings."""
    seen, result = {}, []
    for title in titles:
        slug = re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
        count = seen.get(slug, 0)
        seen[slug] = count + 1
        result.append(f"{slug}-{count}" if count else slug)
    return result


def plain(node):
    """The text of a node, without its marks."""
    if node.type in ("text", "code_inline"):
        return node.content
    if node.type in ("softbreak", "hardbreak"):
        return " "
    return "".join(plain(child) for child in node.children)
