"""Reads the public C++ headers: what a comment "/**" stands before, by namespace and class."""

import re
import textwrap

from comments import Paragraph, blocks, text_of
from cxx_class import public_members
from headers import Family, Function, Prose
from roff import declaration

COMMENT = re.compile(r"^( *)/\*\*(.*?)\*/\n", re.MULTILINE | re.DOTALL)
INTERNAL = re.compile(r"^namespace detail \{.*?^\} // namespace detail\n", re.MULTILINE | re.DOTALL)
SCOPE = re.compile(
    r"^( *)(?:namespace qldapx::(\w+)|(?:class|struct)(?: \[\[nodiscard\]\])? (\w+))",
    re.MULTILINE,
)


def declaration_at(text, start):
    """The declaration that begins here; of functions and classes without what is in braces."""
    whole = re.match(r"\s*(struct|enum)\b", text[start:])
    depth = 0
    for index in range(start, len(text)):
        sign = text[index]
        depth += (sign in "([{") - (sign in ")]}")
        if depth == 0 and sign == ";" or depth == 1 and sign == "{" and not whole:
            return text[start:index].rstrip()
    return text[start:]


def tidy(declaration):
    """As a reader wants it: without attributes, initialisers and words for the compiler."""
    text = textwrap.dedent(declaration)
    text = re.sub(r"\[\[.*?\]\] ?|\b(inline|constexpr|friend) ", "", text)
    if "{\n" in text:
        return text
    text = re.sub(r" ?\bnoexcept\b(\(.*\))?", "", " ".join(text.split()))
    return re.sub(r"\) : .*", ")", text)


def with_members(text, start, head):
    """A class with what it offers; other declarations as they are."""
    if not re.match(r"(template <.*> )?class ", head):
        return head
    members = [tidy(each) for each in public_members(text, start)]
    rows = "".join(textwrap.indent(declaration(each) + "\n", "    ") for each in members)
    return f"{head} {{\n{rows}}}" if rows else head


def name_of(declaration):
    declaration = re.sub(r"^template <.*?> ", "", declaration)
    found = re.search(r"\b(?:class|struct|using|enum class) (\w+(?:::\w+)*)", declaration)
    found = found or re.search(r"(operator\W+|~?\w+)\s*\(", declaration)
    found = found or re.search(r"(\w+)(?: =.*|\[\]|\{.*)?$", declaration)
    return found.group(1).strip()


def scopes(text):
    """Where classes and namespaces begin: position, indentation, name."""
    return [
        (found.start(), len(found.group(1)), found.group(2) or found.group(3))
        for found in SCOPE.finditer(text)
        if not text[: found.end()].endswith(";")
    ]


def within(text, listed, position, indent):
    """The scopes that a place of this indentation lies in."""
    names = {}
    for start, depth, name in listed:
        if start < position:
            names = {key: value for key, value in names.items() if key < depth or key == -1}
            is_space = text[start:].lstrip().startswith("namespace")
            names[-1 if is_space else depth] = name
    return [name for depth, name in sorted(names.items()) if depth < indent]


def part(text, found, listed):
    indent = len(found.group(1))
    lines = text_of(textwrap.dedent(found.group(0)).replace("/**", "/*", 1))
    lines = lines if lines[0] else lines[1:]
    declared = declaration_at(text, found.end())
    if declared.lstrip().startswith("namespace"):
        return Prose(blocks(lines))
    declared = tidy(declared)
    shown = with_members(text, found.end(), declared)
    path = within(text, listed, found.start(), indent) + [name_of(declared)]
    words = re.findall(r"\w+", declared)
    first, *others = blocks(lines, words)
    if not isinstance(first, Paragraph):
        return Function(["::".join(path)], "", [first, *others], [shown])
    return Function(["::".join(path)], first.text, others, [shown])


def unique(parts):
    """Overloads have places of their own."""
    seen = {}
    for each in parts:
        if isinstance(each, Function):
            name = each.names[0]
            seen[name] = seen.get(name, 0) + 1
            if seen[name] > 1:
                each.names = [f"{name}-{seen[name]}"]
    return parts


def family(path):
    text = INTERNAL.sub("", path.read_text())
    intro = COMMENT.search(text)
    lines = text_of(intro.group(0).replace("/**", "/*", 1))
    lines = lines if lines[0] else lines[1:]
    end = lines.index("") if "" in lines else len(lines)
    summary = " ".join(lines[:end]).split(" - ", 1)[1]
    listed = scopes(text)
    parts = [part(text, found, listed) for found in COMMENT.finditer(text, intro.end())]
    name = "cxx" if path.stem == "qldapx" else f"cxx_{path.stem}"
    title = path.name if path.stem == "qldapx" else f"cxx/{path.name}"
    return Family(name, "qldapx.hpp", summary, blocks(lines[end:]), unique(parts), title=title)


def families(root):
    include = root / "include"
    paths = [include / "qldapx.hpp", *sorted((include / "qldapx/cxx").glob("*.hpp"))]
    return [family(path) for path in paths]
