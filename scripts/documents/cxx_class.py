"""The public members of a C++ class, as its reader sees them."""

import re

SKIPPED = re.compile(r"\s+|//[^\n]*|/\*.*?\*/|#[^\n]*", re.DOTALL)
LABEL = re.compile(r"(public|protected|private):")


def end_of_braces(text, start):
    """Behind the brace that belongs to the one at the start."""
    depth = 0
    for index in range(start, len(text)):
        depth += (text[index] == "{") - (text[index] == "}")
        if depth == 0:
            return index + 1
    return len(text)


def declaration_end(text, start):
    """Where the declaration ends that begins here: at its body, or at its semicolon."""
    depth = 0
    for index in range(start, len(text)):
        depth += (text[index] in "([") - (text[index] in ")]")
        if depth == 0 and text[index] in ";{":
            return index
    return len(text)


def statements(body):
    """The declarations in a class's body, each with the label that it stands under."""
    label, index = "private", 0
    while index < len(body):
        if found := SKIPPED.match(body, index):
            index = found.end()
        elif found := LABEL.match(body, index):
            label, index = found.group(1), found.end()
        else:
            end = declaration_end(body, index)
            yield label, body[index:end].strip()
            index = end_of_braces(body, end) if body[end : end + 1] == "{" else end + 1


def is_shown(declaration):
    """Whether readers want it: what a using-declaration brings stands with its base."""
    return declaration and not re.match(r"friend\b|using \w+::", declaration)


def public_members(text, start):
    """The public declarations of the class that is declared here."""
    opened = declaration_end(text, start)
    body = text[opened + 1 : end_of_braces(text, opened) - 1]
    return [each for label, each in statements(body) if label == "public" and is_shown(each)]
