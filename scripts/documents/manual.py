"""manual.py ROOT OUT - writes the manual pages of the library and of strata-sim.

Each family of functions has a page, libqldapx(3) leads to them, and each function has a page that
leads to its family's: but for those whose names libldap or libmd have pages for.
"""

import pathlib
import re
import sys

import cxx_headers
import headers
import markdown_manual
import roff

MANUAL = "libqldapx Programmer's Manual"
# libmd's package has pages of these names.
FOREIGN = re.compile(r"MD5")
# A heading begins a paragraph as it is.
HEADED = re.compile(r"^(\.S[HS] .*\n)\.PP\n", re.MULTILINE)


def page_name(family):
    return f"qldapx_{family.name}"


def title_of(text):
    """The first sentence, without its end, and what follows."""
    first, _, rest = re.sub(r"\. (?=[A-Z])", ".\n", text, count=1).partition("\n")
    return first.rstrip(".:"), rest


class Pages:
    def __init__(self, root):
        header = (root / "include/qldapx.h").read_text()
        self.version = re.search(r'QLDAPX_VERSION "(.*)"', header).group(1)
        self.families = headers.families(root) + cxx_headers.families(root)
        known = {
            name for family in self.families if family.is_c() for name in family.names()
        }
        self.known = re.compile(r"\b(" + "|".join(sorted(known, key=len, reverse=True)) + r")\b")
        self.conventions = (root / "CONVENTIONS.md").read_text()
        self.tool = (root / "docs/man/qldapx.1").read_text()
        self.simulator = (root / "docs/strata-sim.md").read_text()

    def inline(self, text):
        parts = self.known.split(text)
        return "".join(
            roff.bold(part) if index % 2 else roff.escape(part) for index, part in enumerate(parts)
        )

    def begin(self, name, section, names, summary, manual=MANUAL):
        listed = ", ".join(roff.escape(each) for each in names)
        return (
            roff.title(name, section, self.version, manual)
            + roff.section("Name")
            + f"{listed} \\- {roff.escape(summary)}\n"
        )

    def synopsis(self, family):
        page = roff.section("Synopsis") + ".nf\n" + roff.bold(f"#include <{family.header}>")
        classes = set(family.names())
        for function in family.functions():
            if function.names[0].rpartition("::")[0] in classes:
                continue  # stands in its class
            for each in function.declarations:
                rows = roff.declaration(each).splitlines()
                page += "\n.sp\n" + "\n".join(roff.bold(row) for row in rows)
        return page + "\n.fi\n"

    def part(self, part):
        if isinstance(part, headers.Source):
            return roff.code(part.text)
        if isinstance(part, headers.Prose):
            return roff.of_blocks(part.blocks, self.inline)
        summary = part.summary[:1].upper() + part.summary[1:]
        return (
            roff.subsection(", ".join(part.title()))
            + (roff.paragraph(self.inline(summary)) if summary else "")
            + roff.of_blocks(part.blocks, self.inline)
        )

    def family(self, family):
        summary, rest = title_of(family.summary)
        names = [page_name(family)]
        if family.is_c():
            names += family.names() + family.forwarded
        page = self.begin(page_name(family), 3, names, summary) + self.synopsis(family)
        page += roff.section("Description")
        page += roff.line(self.inline(rest or summary[0].upper() + summary[1:] + ".")) + "\n"
        page += roff.of_blocks(family.blocks, self.inline)
        types = [part for part in family.parts if isinstance(part, headers.Source)]
        others = [part for part in family.parts if not isinstance(part, headers.Source)]
        for name, parts in (("Types and constants", types), ("Functions and data", others)):
            if parts:
                page += roff.section(name) + "".join(self.part(part) for part in parts)
        if family.forwarded:
            names = ", ".join(roff.bold(name) for name in family.forwarded)
            page += roff.section("Forwarded functions")
            page += f"Exported by this library, too, and described in ldap_schema(3): {names}.\n"
        return page + roff.section("See also") + ".BR libqldapx (3)\n"

    def library(self):
        page = self.begin(
            "libqldapx", 3, ["libqldapx"], "client-side extension library for the Strata server"
        )
        page += roff.section("Synopsis") + ".nf\n" + roff.bold("#include <qldapx.h>") + "\n.br\n"
        page += roff.bold("cc program.c $(pkg-config --cflags --libs qldapx)") + "\n.sp\n"
        page += roff.bold("#include <qldapx.hpp>") + "\n.br\n"
        page += roff.bold("c++ -std=c++17 program.cpp $(pkg-config --cflags --libs qldapx)")
        page += "\n.fi\n"
        page += roff.section("Description")
        page += (
            "Adds to OpenLDAP\\(aqs client libraries what programs need that administer a Strata\n"
            "directory server. Sessions are libldap\\(aqs own: open one with\n"
            ".BR ldap_initialize (3)\nor with\n.BR ldapssl_init (3)\n"
            "for TLS, set it to LDAP v3, bind, and pass it to the functions of the families\n"
            "below.\n"
        )
        page += roff.section("Families")
        for family in self.families:
            summary, _ = title_of(family.summary)
            page += roff.term(roff.bold(page_name(family)) + "(3)", self.inline(summary) + ".\n")
        page += roff.section("Linking")
        page += (
            "The linker\\(aqs flags come from\n.B pkg\\-config \\-\\-libs qldapx\n"
            "or, in CMake, from\n.B find_package(qldapx)\nand the target\n.BR qldapx::qldapx .\n"
            "Functions of libldap itself need libldap and liblber beside it; both come with\n"
            "these.\n"
        )
        page += roff.section("Conventions")
        page += markdown_manual.sections(
            self.conventions, lambda level, name: roff.subsection(name)
        )
        return page + roff.section("See also") + (
            ".BR qldapx (1),\n.BR strata\\-sim (1),\n.BR ldap (3)\n"
        )

    def strata_sim(self):
        page = self.begin(
            "strata-sim", 1, ["strata-sim"], "a simulated Strata directory server", "User Commands"
        )
        page += roff.section("Synopsis") + roff.bold("strata-sim [OPTION...]") + "\n"
        page += roff.section("Description")
        page += markdown_manual.sections(
            self.simulator,
            lambda level, name: roff.section(name) if level == 2 else roff.subsection(name),
        )
        return page + roff.section("See also") + ".BR qldapx (1),\n.BR libqldapx (3)\n"

    def all(self):
        """The pages, each with the name of its file."""
        yield "qldapx.1", self.tool
        yield "strata-sim.1", self.strata_sim()
        yield "libqldapx.3", self.library()
        for family in self.families:
            yield f"{page_name(family)}.3", self.family(family)
            for name in family.names():
                if family.is_c() and not FOREIGN.match(name):
                    yield f"{name}.3", f".so man3/{page_name(family)}.3\n"


def write(root, out):
    for name, page in Pages(root).all():
        folder = out / f"man{name[-1]}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(HEADED.sub(r"\1", page))


if __name__ == "__main__":
    write(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
