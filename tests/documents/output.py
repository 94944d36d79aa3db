"""Compares what a document shows with what was printed."""

import difflib
import re

# What is another one with every run.
VARYING = (
    (r"\d{4}-\d\d-\d\d[T ]\d\d:\d\d:\d\d(\.\d+)?Z?", "TIME"),
    (r"127\.0\.0\.1:\d+", "ADDRESS"),
    (r"localhost:\d+", "LOCALHOST"),
    (r"\b(?:[0-9A-F]{2}:){7,}([0-9A-F]{2})?", "HEX"),
    (r"\b1[789]\d{8}\b", "SECONDS"),
)


def steady(text):
    for pattern, name in VARYING:
        text = re.sub(pattern, name, text)
    return [line.rstrip() for line in text.splitlines()]


def line_pattern(line):
    return ".*".join(re.escape(part) for part in line.split("..."))


def matches(shown, printed):
    pattern = "".join(
        "(?:.*\n)*?" if line.strip() == "..." else line_pattern(line) + "\n"
        for line in steady(shown)
    )
    return re.fullmatch(pattern, "".join(line + "\n" for line in steady(printed))) is not None


def difference(shown, printed):
    rows = difflib.unified_diff(steady(shown), steady(printed), "shown", "printed", lineterm="")
    return "\n".join(rows)
