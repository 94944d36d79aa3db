"""The documents' Markdown: CommonMark with tables, as GitHub shows it."""

import re

from markdown_it import MarkdownIt
from markdown_it.tree import SyntaxTreeNode

PARSER = MarkdownIt("commonmark").enable("table")


def tree(text):
    return SyntaxTreeNode(PARSER.parse(text))


def slug(title):
    """The anchor that GitHub gives to a heading."""
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def plain(node):
    """The text of a node, without its marks."""
    if node.type in ("text", "code_inline"):
        return node.content
    if node.type in ("softbreak", "hardbreak"):
        return " "
    return "".join(plain(child) for child in node.children)
