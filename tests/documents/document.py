"""The code blocks of a document, and what each of them is for.

    c NAME, cpp NAME   a program, which is compiled; shell blocks call it by its name
    sh                 commands, which are run; "sh fails": the last of them fails
    FORMAT NAME        a file, which the commands find
    FORMAT             what the commands before it print; "..." stands for anything

A comment that begins with "<!-- sh" is a shell block which only the tests see.
"""

import re
from dataclasses import dataclass

from markdown import PARSER

FORMATS = ("text", "json", "ldif", "cmake")


@dataclass
class Block:
    document: str
    line: int
    language: str
    argument: str
    text: str

    def place(self):
        return f"{self.document}:{self.line}"


def commented_shell(token):
    found = re.match(r"<!-- (sh(?: \S+)?)\n(.*?)-->\s*$", token.content, re.DOTALL)
    return found.groups() if found else None


def blocks(root, document):
    """The blocks of the document, in their order."""
    result = []
    for token in PARSER.parse((root / document).read_text()):
        info = None
        if token.type in ("fence", "code_block"):
            info, text = token.info, token.content
        elif token.type == "html_block" and commented_shell(token):
            info, text = commented_shell(token)
        if info is not None:
            language, _, argument = info.strip().partition(" ")
            result.append(Block(document, token.map[0] + 1, language, argument, text))
    return result


def is_program(block):
    return block.language in ("c", "cpp") and re.fullmatch(r"[a-z_]+\.(c|cpp)", block.argument)


def is_shell(block):
    return block.language == "sh" and block.argument in ("", "fails")


def is_file(block):
    return block.language in FORMATS and re.fullmatch(r"[\w.]+", block.argument)


def is_output(block, before):
    """Whether the block is the output of the one before it."""
    shell = before is not None and is_shell(before)
    return shell and block.language in FORMATS and not block.argument


def faults(listed):
    """What is wrong with the labels of a document's blocks."""
    before = None
    for block in listed:
        known = is_program(block) or is_shell(block) or is_file(block) or is_output(block, before)
        if not known:
            label = f"{block.language} {block.argument}".strip()
            yield f'{block.place()}: a block "{label}" that nothing checks'
        before = block
