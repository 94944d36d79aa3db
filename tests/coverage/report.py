"""report.py BUILD REASONS - prints docs/coverage.md: what the tests reach of src/, by the counters
of a build with QLDAPX_COVERAGE, and why they do not reach the rest. Fails below the goals, and when
a line has no reason or a reason no line."""

import collections
import concurrent.futures
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
GOALS = {"lines": 97.0, "branches": 90.0}


def counters(notes):
    """What gcov says of one object file."""
    options = ["--json-format", "--stdout", "--demangled-names", "--branch-probabilities"]
    command = ["gcov", *options, str(notes)]
    return json.loads(subprocess.run(command, capture_output=True, check=True).stdout)


def plain_name(demangled):
    """The name of a function without its namespaces and arguments; of a lambda, its function's."""
    name = demangled.replace("(anonymous namespace)::", "")
    name = re.sub(r"operator\(\)", "call", name).split("(")[0]
    while (shorter := re.sub(r"<[^<>]*>", "", name)) != name:
        name = shorter
    return name.split("::")[-1].split(" ")[-1]


class Line:
    """A line of a source, in all instances of its templates and in all files that include it."""

    def __init__(self):
        self.count = 0
        self.function = ""
        self.branches = []

    def add(self, counted, names):
        self.count += counted["count"]
        self.function = names.get(counted.get("function_name"), self.function)
        taken = [branch["count"] for branch in counted["branches"]]
        self.branches += [0] * (len(taken) - len(self.branches))
        for i, count in enumerate(taken):
            self.branches[i] += count

    def untaken(self):
        return self.branches.count(0)


def all_lines(build):
    """Source -> number -> line."""
    sources = collections.defaultdict(lambda: collections.defaultdict(Line))
    with concurrent.futures.ThreadPoolExecutor() as pool:
        objects = pool.map(counters, sorted(build.glob("src/CMakeFiles/qldapx.dir/**/*.gcno")))
    for counted in objects:
        folder = pathlib.Path(counted["current_working_directory"])
        for source in counted["files"]:
            path = (folder / source["file"]).resolve()
            if not path.is_relative_to(ROOT / "src"):
                continue
            names = {f["name"]: plain_name(f["demangled_name"]) for f in source["functions"]}
            for line in source["lines"]:
                sources[str(path.relative_to(ROOT))][line["line_number"]].add(line, names)
    return sources


def read_reasons(path):
    """(source, function, text of the line) -> why it is not reached."""
    reasons, why = {}, ""
    for line in path.read_text().splitlines():
        if line.startswith("    "):
            source, function, text = line.strip().split(" | ", 2)
            reasons[source, function, text] = why
        elif line and not line.startswith("#"):
            why = line
    return reasons


class Sum:
    def __init__(self, lines):
        lines = list(lines)
        self.counts = {
            "lines": (sum(line.count > 0 for line in lines), len(lines)),
            "branches": (
                sum(len(line.branches) - line.untaken() for line in lines),
                sum(len(line.branches) for line in lines),
            ),
        }

    def percent(self, what):
        reached, there = self.counts[what]
        return 100 * reached / there if there else 100

    def row(self, name):
        cells = [name]
        for what in GOALS:
            reached, there = self.counts[what]
            cells += [str(there), str(reached), f"{self.percent(what):.1f} %"]
        return f"| {' | '.join(cells)} |"


def folder_table(sources):
    folders = collections.defaultdict(list)
    for source, lines in sources.items():
        folders[source.rsplit("/", 1)[0]] += lines.values()
    print("| folder | lines | reached | | branches | taken | |")
    print("| --- | --: | --: | --: | --: | --: | --: |")
    for folder in sorted(folders):
        print(Sum(folders[folder]).row(f"`{folder}`"))
    total = Sum(line for lines in sources.values() for line in lines.values())
    print(total.row("**all**"))
    return total


class Texts:
    def __init__(self):
        self.files = {}

    def line(self, source, number):
        if source not in self.files:
            self.files[source] = (ROOT / source).read_text().splitlines()
        return self.files[source][number - 1].strip()


def escaped(text):
    return text.replace("|", "\\|")


def table_of(sources, is_missed, reasons=None):
    """A table of the lines that are missed; returns the keys that are in it."""
    keys, texts = [], Texts()
    print("| where | what |" + (" why |" if reasons else ""))
    print("| --- | --- |" + (" --- |" if reasons else ""))
    for source in sorted(sources):
        for number, line in sorted(sources[source].items()):
            if not is_missed(line):
                continue
            keys.append((source, line.function, texts.line(source, number)))
            why = f" {reasons.get(keys[-1], '')} |" if reasons else ""
            print(f"| {source}:{number} `{line.function}` | `{escaped(keys[-1][2])}` |{why}")
    return keys


def faults(total, unreached, reasons):
    for what, goal in GOALS.items():
        if total.percent(what) < goal:
            yield f"{total.percent(what):.2f} % of the {what}; the goal is {goal} %."
    for key in sorted(set(unreached) - set(reasons)):
        yield f"No reason why this is not reached: {' | '.join(key)}"
    for key in sorted(set(reasons) - set(unreached)):
        yield f"A reason for what is reached, or is not there: {' | '.join(key)}"


def main(build, reasons_path):
    sources = all_lines(pathlib.Path(build).resolve())
    reasons = read_reasons(pathlib.Path(reasons_path))
    print("# Coverage\n")
    print("What the tests reach of the library (`scripts/coverage`): lines that were run, and")
    print("branches of conditions that were taken, as gcc counts them without optimisation, by the")
    print("tests `unit`, `api`, `fuzz` and `peer`, those with failing memory included.\n")
    total = folder_table(sources)
    print("\n## Lines that are not reached\n")
    unreached = table_of(sources, lambda line: line.count == 0, reasons)
    print("\n## Branches that are not taken, of lines that are reached\n")
    table_of(sources, lambda line: line.count > 0 and line.untaken() > 0)
    found = list(faults(total, unreached, reasons))
    print("\n".join(found), file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
