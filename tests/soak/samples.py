"""Samples of processes while all rest: memory, descriptors, threads; and what becomes of them."""

import csv
import pathlib
import time


def resident(pid):
    """KiB of memory that is resident."""
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1])
    return 0


def descriptors(pid):
    return len(list(pathlib.Path(f"/proc/{pid}/fd").iterdir()))


def threads(pid):
    return len(list(pathlib.Path(f"/proc/{pid}/task").iterdir()))


def settled(count, wanted):
    """What is counted, as soon as it is not more than wanted; at last as it is. A server hears of
    the end of a connection a moment later."""
    end = time.monotonic() + 5
    while (now := count()) > wanted and time.monotonic() < end:
        time.sleep(0.02)
    return now


def slope(points):
    """Of the straight line through points (seconds, figure) with the least squares: per minute."""
    middle = sum(x for x, _ in points) / len(points)
    spread = sum((x - middle) ** 2 for x, _ in points)
    return 60 * sum((x - middle) * y for x, y in points) / spread if spread else 0.0


class Series:
    """The samples of one figure, such as ("api", "heap")."""

    def __init__(self):
        self.points = []

    def add(self, seconds, figure):
        self.points.append((seconds, figure))

    def after(self, share):
        """The points behind that share of the time."""
        begin = self.points[-1][0] * share
        return [point for point in self.points if point[0] >= begin]

    @property
    def last(self):
        return self.points[-1][1]


class Samples:
    """All series, which are written as they come."""

    COLUMNS = ["seconds", "process", "figure", "value"]

    def __init__(self, path):
        self.series = {}
        self.file = open(path, "w", newline="")
        self.writer = csv.writer(self.file)
        self.writer.writerow(self.COLUMNS)

    def add(self, seconds, process, figure, value):
        self.series.setdefault((process, figure), Series()).add(seconds, value)
        self.writer.writerow([f"{seconds:.1f}", process, figure, value])
        self.file.flush()

    def baseline(self, process, figure):
        """The first value; without one more than there can be."""
        series = self.series.get((process, figure))
        return series.points[0][1] if series else 1 << 30

    def count(self, seconds, process, figure, counter, pid):
        value = settled(lambda: counter(pid), self.baseline(process, figure))
        self.add(seconds, process, figure, value)
