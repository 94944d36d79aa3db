"""The requests of a manual page (man(7))."""

import textwrap

from comments import Code, Paragraph

WIDTH = 72  # of code, which a screen of 80 columns shows indented


def escape(text):
    """Text that troff shows as it stands."""
    for plain, shown in (
        ("\\", "\\e"),
        ("-", "\\-"),
        ("'", "\\(aq"),
        ("`", "\\(ga"),
        ("^", "\\(ha"),
        ("~", "\\(ti"),
        ('"', "\\(dq"),
    ):
        text = text.replace(plain, shown)
    return text


def line(text):
    """A line of text, which no dot at its beginning turns into a request."""
    return ("\\&" if text.startswith(".") else "") + text


def title(name, section, version, manual):
    # Names are neither cut nor stretched.
    return f'.TH {name.upper()} {section} "" "libqldapx {version}" "{manual}"\n.ad l\n.nh\n'


def section(name):
    return f".SH {escape(name.upper())}\n"


def subsection(name):
    return f'.SS "{escape(name)}"\n'


def bold(text):
    return f"\\fB{escape(text)}\\fR"


def paragraph(text):
    return f".PP\n{line(text)}\n"


def code(text):
    rows = "\n".join(line(escape(each)) for each in text.splitlines())
    return f".PP\n.RS 4\n.nf\n{rows}\n.fi\n.RE\n"


def term(name, body):
    """A term, given as it is to appear, and the body behind it."""
    return f".TP\n{line(name)}\n{body.removeprefix('.PP' + chr(10)) or '.br' + chr(10)}"


def nested(body):
    """What stands in a list belongs to its item."""
    first, *rest = body.split(".PP\n")[1:] or [body]
    return ".PP\n" + first + "".join(".IP\n" + each for each in rest)


def of_blocks(blocks, inline):
    """The blocks of a comment; `inline` writes the text of a paragraph."""
    page = ""
    for block in blocks:
        if isinstance(block, Paragraph):
            page += paragraph(inline(block.text))
        elif isinstance(block, Code):
            page += code(block.text)
        else:
            page += of_terms(block, inline)
    return page


def of_terms(terms, inline):
    page = ""
    for name, blocks in terms.rows:
        body = of_item(blocks, inline)
        page += term(bold(name), body) if name else ".PP\n" + body.removeprefix(".PP\n")
    return page


def of_item(blocks, inline):
    """What stands behind a term; a list in it is set off."""
    page = ""
    for block in blocks:
        if isinstance(block, Paragraph):
            page += (".IP\n" if page else ".PP\n") + line(inline(block.text)) + "\n"
        else:
            page += ".RS\n" + of_blocks([block], inline) + ".RE\n"
    return page


def declaration(text):
    """A declaration, broken between parameters where a screen ends."""
    head, bracket, rest = text.partition("(")
    if not bracket or "(" in rest:
        return text + ";"
    whole = [each.replace(" ", "\0") for each in f"{rest};".split(", ")]
    rows = textwrap.wrap(
        f"{head}(".replace(" ", "\0") + ", ".join(whole),
        WIDTH,
        subsequent_indent=" " * 4,
        break_long_words=False,
    )
    return "\n".join(rows).replace("\0", " ")
