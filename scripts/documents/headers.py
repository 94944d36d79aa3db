"""Reads the public C headers: each is a family with functions, prose, and types."""

import re
from dataclasses import dataclass, field

from comments import blocks, text_of

FRAME = re.compile(
    r"^#(ifndef|endif|include|ifdef|else|define QLDAPX_\w+_H$|define QLDAPX_(API|BEGIN|END)\b)"
    r"|^QLDAPX_(BEGIN|END)$"
)
# A name that libldap has, too: the macro makes it the name of its twin.
TWIN = re.compile(r"^#define (ldap_[a-z_]+) (ldapx_[a-z_]+)$", re.MULTILINE)


@dataclass
class Function:
    """What one comment documents: functions or data."""

    names: list
    summary: str
    blocks: list
    declarations: list

    def title(self):
        """The names without what sets overloads apart."""
        return [re.sub(r"-\d+$", "", name) for name in self.names]


@dataclass
class Prose:
    blocks: list


@dataclass
class Source:
    """Types and constants, as they stand in the header."""

    text: str


@dataclass
class Family:
    name: str
    header: str
    summary: str
    blocks: list
    parts: list = field(default_factory=list)
    forwarded: list = field(default_factory=list)
    title: str = ""  # what stands above its page

    def is_c(self):
        return self.title.endswith(".h")

    def functions(self):
        return [part for part in self.parts if isinstance(part, Function)]

    def names(self):
        return [name for function in self.functions() for name in function.names]


def chunks(text):
    """Runs of lines that belong together: what no empty line outside braces or comments parts."""
    run, depth, comment = [], 0, False
    for line in text.splitlines():
        if not line and not comment and depth == 0:
            if run:
                yield "\n".join(run)
            run = []
            continue
        run.append(line)
        comment = (comment or "/*" in line) and "*/" not in line
        depth += line.count("{") - line.count("}")
    if run:
        yield "\n".join(run)


def split_comment(chunk):
    """The comment that a chunk begins with, and the code behind it."""
    found = re.match(r"/\*.*?\*/\n?", chunk, re.DOTALL)
    return (found.group(0), chunk[found.end() :]) if found else ("", chunk)


def entries(chunk):
    """A chunk's comments, each with its code; a comment in the margin belongs to its line."""
    parts = re.split(r"^(?=/\*)", chunk, flags=re.MULTILINE)
    return [split_comment(part) for part in parts if part]


def declarations(code):
    flat = " ".join(code.split())
    return [each.strip().replace("QLDAPX_API ", "") for each in flat.split(";") if each.strip()]


def parameters(declaration):
    found = re.search(r"\((.*)\)$", declaration)
    if not found or found.group(1) == "void":
        return []
    return [re.search(r"(\w+)(\[\w*\])?$", each).group(1) for each in found.group(1).split(",")]


def declared_name(declaration):
    return re.search(r"(\w+)(\(|\[|$)", declaration).group(1)


def function(comment, code):
    lines = text_of(comment)
    lines = lines if lines[0] else lines[1:]
    end = lines.index("") if "" in lines else len(lines)
    names, summary = " ".join(lines[:end]).split(" - ", 1)
    declared = declarations(code)
    known = [name for each in declared for name in parameters(each)]
    return Function(names.split(", "), summary, blocks(lines[end:], known), declared)


def part(comment, code):
    if "QLDAPX_API" in code:
        return function(comment, code)
    if comment and not code.strip():
        return Prose(blocks(text_of(comment)))
    return Source((comment + code).rstrip())


def without_frame(text):
    return "\n".join(line for line in text.splitlines() if not FRAME.match(line))


def family(path, umbrella):
    text = without_frame(path.read_text())
    twins = dict(TWIN.findall(text))
    first, *rest = chunks(TWIN.sub("", text).strip())
    lines = [line for line in text_of(first)]
    lines = lines if lines[0] else lines[1:]
    end = lines.index("") if "" in lines else len(lines)
    summary = " ".join(lines[:end]).split(" - ", 1)[1]
    header = f"qldapx/{path.name}"
    included = "qldapx.h" if f"#include <{header}>" in umbrella else header
    parts = [part(*entry) for chunk in rest for entry in entries(chunk)]
    for each in parts:
        if isinstance(each, Function):
            each.names += [twins[name] for name in each.names if name in twins]
    return Family(path.stem, included, summary, blocks(lines[end:]), parts, title=path.name)


def exported(root):
    """The exported names, as the snapshot of the interface has them."""
    lines = (root / "abi/symbols.txt").read_text().splitlines()
    return [line.split()[1] for line in lines]


def families(root):
    """All families, in the order of their names. What no header of the library declares is
    libldap's, and stands with the family of its kind."""
    include = root / "include"
    umbrella = (include / "qldapx.h").read_text()
    found = [
        family(path, umbrella)
        for path in sorted((include / "qldapx").glob("*.h"))
        if path.name != "export.h"
    ]
    declared = {name for each in found for name in each.names()}
    for each in found:
        if each.name == "schema_description":
            each.forwarded = sorted(set(exported(root)) - declared)
    return found
