"""The prose of header comments: paragraphs, lists of terms, and code."""

import re
from dataclasses import dataclass


@dataclass
class Paragraph:
    text: str


@dataclass
class Terms:
    """A list of terms, each with blocks that explain it; a term of None only has blocks."""

    rows: list


@dataclass
class Code:
    text: str


def indent_of(line):
    return len(line) - len(line.lstrip())


def text_of(comment):
    """The lines of a comment without its frame."""
    lines = comment.strip().removeprefix("/*").removesuffix("*/").splitlines()
    stripped = [re.sub(r"^ \* ?", "", line) for line in lines[1:]]
    return [line.rstrip() for line in [lines[0].strip(), *stripped]]


def dedented(first, column, rest):
    """The lines of a term's text: the first stands behind the term, the others where they stand."""
    margin = min([column, *(indent_of(line) for line in rest)])
    return [first, *(line[margin:] for line in rest)]


def take_while(lines, start, wanted):
    end = start
    while end < len(lines) and lines[end] and wanted(lines[end]):
        end += 1
    return lines[start:end], end


def table(lines):
    """Indented lines: a list of terms where a gap sets terms off, else code."""
    margin = min(indent_of(line) for line in lines)
    rows, index = [], 0
    while index < len(lines):
        line = lines[index][margin:]
        rest, end = take_while(lines, index + 1, lambda each: indent_of(each) > margin)
        found = re.match(r"(\S+(?: \S+)*) {2,}(?=\S)", line)
        rest = [each[margin:] for each in rest]
        if found:
            body = dedented(line[found.end() :], found.end(), rest)
            rows.append((found.group(1), blocks(body)))
        else:
            rows.append((None, blocks([line, *(each.lstrip() for each in rest)])))
        index = end
    if any(re.search(r"[;{}]$", line) for line in lines) or all(term is None for term, _ in rows):
        return Code("\n".join(line[margin:] for line in lines))
    return Terms(rows)


def argument(line, parameters):
    """The match of "name, name: " where all names are parameters."""
    found = re.match(r"(\w+(?:, \w+)*):\s+(?=\S)", line)
    known = found and all(name in parameters for name in found.group(1).split(", "))
    return found if known else None


def arguments(lines, start, parameters):
    """The argument list that begins at this line, and the index behind it."""
    rows, index = [], start
    while index < len(lines) and (found := argument(lines[index], parameters)):
        rest, end = take_while(lines, index + 1, lambda each: each.startswith(" "))
        body = dedented(lines[index][found.end() :], found.end(), rest)
        rows.append((found.group(1), blocks(body)))
        index = end
    return Terms(rows), index


def blocks(lines, parameters=()):
    """The blocks that these lines hold."""
    result, index = [], 0
    while index < len(lines):
        line = lines[index]
        if not line:
            index += 1
        elif line.startswith("  "):
            chunk, index = take_while(lines, index, lambda each: each.startswith("  "))
            result.append(table(chunk))
        elif argument(line, parameters):
            terms, index = arguments(lines, index, parameters)
            result.append(terms)
        else:
            chunk, index = take_while(
                lines,
                index,
                lambda each: not each.startswith("  ") and not argument(each, parameters),
            )
            result.append(Paragraph(" ".join(chunk)))
    return result
