"""The verdict: what has to hold, and after it tables of what was done."""

import dataclasses

WARM_UP = 0.1  # of the time: what is made once and kept is there by then


@dataclasses.dataclass
class Bound:
    """How much the figure of a process may grow, as the straight line through its samples."""

    process: str
    figure: str
    unit: str
    a_minute: float
    slack: float  # a short run is judged by this: so much may come and go


BOUNDS = [
    Bound("api", "heap", "B", 2_000, 60_000),
    Bound("api", "resident", "KiB", 64, 4_096),
    Bound("plain", "resident", "KiB", 64, 4_096),
    Bound("tls", "resident", "KiB", 64, 4_096),
    Bound("stranger", "resident", "KiB", 64, 4_096),
]


class Summary:
    def __init__(self):
        self.failed = 0
        self.checks = 0

    def check(self, holds, words):
        self.checks += 1
        self.failed += not holds
        print(f"  {'ok  ' if holds else 'FAIL'}  {words}")

    def memory(self, samples, slope):
        print(f"\nMemory while all rest, after a warm-up of {WARM_UP:.0%}")
        for bound in BOUNDS:
            points = samples.series[bound.process, bound.figure].after(WARM_UP)
            minutes = (points[-1][0] - points[0][0]) / 60
            growth = slope(points)
            most = max(bound.a_minute * minutes, bound.slack)
            self.check(
                growth * minutes <= most,
                f"{bound.process} {bound.figure}: {points[0][1]} to {points[-1][1]} {bound.unit}, "
                f"{growth:+.1f} a minute, {growth * minutes:+.0f} in {minutes:.1f} min of at most "
                f"{most:.0f}; {len(points)} samples",
            )

    def counts(self, samples):
        print("\nDescriptors and threads while all rest")
        for (process, figure), series in samples.series.items():
            if figure in ("descriptors", "threads"):
                values = [value for _, value in series.points]
                self.check(
                    values[-1] <= values[0] and max(values) == min(values),
                    f"{process} {figure}: {values[0]} to {values[-1]}, at most {max(values)}",
                )

    def before_and_after(self, pairs):
        print("\nBefore and after")
        for words, before, after in pairs:
            self.check(before == after, f"{words}: {before} before, {after} after")

    def complaints(self, lines):
        print("\nWhat was not as it must be")
        self.check(not lines, f"{len(lines)} complaints")
        for words, times in lines.items():
            print(f"        {times} x {words}")

    def faults(self, injected, seen):
        """Each fault that was put in has been seen with the result that it has to have."""
        print("\nFaults")
        for (name, code), times in sorted(injected.items()):
            codes = seen.get(name, {})
            self.check(
                codes.get(str(code), 0) > 0,
                f"{name}: {times} times put in, wanted {code}, seen {by_code(codes)}",
            )

    def tables(self, calls, runs):
        print("\nCalls of the library: server, call, times, results other than 0")
        for group, names in sorted(calls.items()):
            if group != "fault":
                for name, codes in sorted(names.items()):
                    print(row(group, name, codes))
        print("\nRuns of the tool: server, command, times, exit statuses other than 0")
        for (group, name), codes in sorted(runs.items()):
            print(row(group, name, {str(code): count for code, count in codes.items()}))


def by_code(codes):
    return ", ".join(f"{code} x {count}" for code, count in sorted(codes.items())) or "never"


def row(group, name, codes):
    failures = {code: count for code, count in codes.items() if code != "0"}
    text = by_code(failures) if failures else ""
    return f"  {group:<14} {name:<40} {sum(codes.values()):>8}  {text}".rstrip()
