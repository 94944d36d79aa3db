"""report.py RESULTS - turns what scripts/bench measured into docs/performance.md."""

import pathlib
import platform
import statistics
import sys


def pairs(path):
    """The lines "name value" of a file, as name -> list of values."""
    values = {}
    for line in path.read_text().splitlines():
        name, value = line.split()
        values.setdefault(name, []).append(float(value))
    return values


def machine():
    model = next(
        (line.split(":")[1].strip() for line in open("/proc/cpuinfo") if "model name" in line),
        platform.machine(),
    )
    cores = sum(line.startswith("processor") for line in open("/proc/cpuinfo"))
    return f"{model}, {cores} cores"


def row(what, measured, peer, ratio, goal, kept):
    return f"| {what} | {measured} | {peer} | {ratio} | {goal} | {'yes' if kept else 'NO'} |"


def main(results):
    instructions = {name: v[0] for name, v in pairs(results / "instructions.txt").items()}
    trips = {name: v[0] for name, v in pairs(results / "extops.txt").items()}
    servers = {name: statistics.median(v) for name, v in pairs(results / "servers.txt").items()}
    size = int((results / "size.txt").read_text()) / 1024

    cost = instructions["library"] / instructions["hand"]
    searches = servers["strata-sim"] / servers["slapd"]
    growth = servers["rss-after"] / servers["rss-warm"]
    print(
        f"""# Performance

Written by `scripts/bench`; every figure stands beside its peer of the same run. Figures of time
are medians on a machine that others share: read the ratios.

Machine: {machine()}.

| what | measured | peer | ratio | goal | kept |
| --- | --- | --- | --- | --- | --- |"""
    )
    print(
        row(
            "instructions of one `ldap_partition_entry_count`; peer: the same exchange by hand "
            "on libldap",
            f"{instructions['library']:.0f}",
            f"{instructions['hand']:.0f}",
            f"{cost:.4f}",
            "at most 1.03",
            cost <= 1.03,
        )
    )
    print(
        row(
            "its round trips per second; peer: by hand, in turn; the ratio is the median of pairs",
            f"{trips['library']:.0f}",
            f"{trips['hand']:.0f}",
            f"{trips['ratio']:.3f}",
            "at least 0.98",
            trips["ratio"] >= 0.98,
        )
    )
    print(
        row(
            "base searches per second of strata-sim, 4 clients; peer: slapd (mdb)",
            f"{servers['strata-sim']:.0f}",
            f"{servers['slapd']:.0f}",
            f"{searches:.2f}",
            "at least 0.5",
            searches >= 0.5,
        )
    )
    print(
        row(
            "resident KiB of strata-sim after a million requests; peer: after 100,000",
            f"{servers['rss-after']:.0f}",
            f"{servers['rss-warm']:.0f}",
            f"{growth:.3f}",
            "flat: at most 1.02",
            growth <= 1.02,
        )
    )
    print(
        row(
            "the shared object, stripped, in KiB",
            f"{size:.1f}",
            "400",
            f"{size / 400:.2f}",
            "below 1",
            size < 400,
        )
    )


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
