"""report.py RESULTS - turns what scripts/bench measured into docs/performance.md."""

import math
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


def medians(path):
    return {name: statistics.median(values) for name, values in pairs(path).items()}


def at_most(limit):
    return f"at most {limit}", lambda ratio: ratio <= limit


def at_least(limit):
    return f"at least {limit}", lambda ratio: ratio >= limit


def row(what, measured, peer, ratio, goal, digits=0):
    """One line of the table; the peer is what the goal compares with."""
    text, keeps = goal
    kept = "yes" if keeps(ratio) else "NO"
    return f"| {what} | {measured:.{digits}f} | {peer:.{digits}f} | {ratio:.3f} | {text} | {kept} |"


def instructions(what, library, hand, limit):
    return row(f"instructions {what}", library, hand, library / hand, at_most(limit))


# What a plain implementation reached, with answers at once and 1 ms later.
BULK_GOALS = {
    ("one-by-one", "0"): 31,
    ("pipelined", "0"): 11.7,
    ("one-by-one", "1000"): 366,
    ("pipelined", "1000"): 2.7,
}


# What the C++ interface is measured by.
# What is counted, and how much more of it than in C there may be. The list that C's program makes has
# a fixed length, that of C++ any.
CXX_WORKS = {
    "counts": ("of one `partition::entry_count`", 1.01),
    "events": ("to take an event from its session, visit its payload and release it", 1.01),
    "elements": ("to walk over the 100 attribute types of a schema", 1.01),
    "adds": ("to encode an add of ten attributes", 1.01),
    "built-adds": (
        "to make a list of ten attributes (of any length; in C, of ten), and encode an add of it",
        1.25,
    ),
}


def cxx_rows(counted):
    for work, (cxx, c) in counted.items():
        what, limit = CXX_WORKS[work]
        yield instructions(f"{what}, in C++; peer: in C", cxx, c, limit)


def bulk_rows(speed):
    peers = {
        "one-by-one": "`ldap_add_ext_s` one after another",
        "pipelined": "`ldap_add_ext`, answers collected in between",
    }
    for (peer, delay), goal in BULK_GOALS.items():
        bulk, other = speed[f"bulk-{delay}"], speed[f"{peer}-{delay}"]
        answers = "at once" if delay == "0" else "after 1 ms"
        yield row(
            f"20,000 adds, 100 a request, 4 requests under way, answers {answers}: adds per "
            f"second (client on processor 0, server on 1); peer: {peers[peer]}",
            bulk,
            other,
            bulk / other,
            at_least(goal),
        )


def load_rows(load):
    yield row(
        "`qldapx load` of 1,000,000 entries: resident MiB at most; peer: 64",
        load["load-rss"] / 1024,
        64,
        load["load-rss"] / 1024 / 64,
        at_most(1),
        digits=1,
    )
    seconds = load["load-user"] + load["load-system"]
    yield row(
        "its seconds of the processor in the kernel, libldap and liblber, libc included; peer: all",
        load["load-outside"] * seconds,
        seconds,
        load["load-outside"],
        at_least(0.6),
        digits=2,
    )


# Those of the table; the plots show more.
SCHEMA_SIZES = "500", "5000", "50000"


def edit_costs(results):
    return {size: medians(results / f"edit-{size}.txt") for size in SCHEMA_SIZES}


def schema_rows(results):
    fetch = {size: medians(results / f"fetch-{size}.txt") for size in SCHEMA_SIZES}
    for size, times in fetch.items():
        yield row(
            f"microseconds of the processor for `ldap_schema_fetch` of {int(size):,} attribute "
            "types; peer: the same search and `ldap_str2attributetype` of each value; the ratio is "
            "the median of pairs",
            times["library"],
            times["hand"],
            times["ratio"],
            at_most(1.10),
        )
    count = medians(results / "fetch-instructions.txt")
    growth = 10 * math.log(50000) / math.log(5000)
    yield row(
        "instructions of a fetch of 50,000, and its release; peer: of 5,000, of which n log n is "
        "the goal",
        count["50000"],
        count["5000"],
        count["50000"] / count["5000"],
        at_most(round(growth, 1)),
    )
    lookup = medians(results / "lookup.txt")
    for key, text in ("oid", "an OID"), ("name", "a name"):
        yield row(
            f"nanoseconds for `ldap_schema_get_by_name` of {text} among 50,000; peer: a binary "
            "search of an array of the same strings; the ratio is the median of pairs",
            lookup[f"{key}-library"],
            lookup[f"{key}-hand"],
            lookup[f"{key}-ratio"],
            at_most(1.2),
        )
    costs = edit_costs(results)
    move = costs["50000"]["move"] / costs["5000"]["move"]
    for edit in "add", "modify", "delete":
        grown = costs["50000"][edit] / costs["5000"][edit]
        yield row(
            f"how many times longer `ldap_schema_{edit}` takes among 50,000 than among 5,000; "
            "peer: moving an array of so many pointers",
            grown,
            move,
            grown / move,
            at_most(1),
            digits=2,
        )
    memory = medians(results / "schema-memory.txt")
    yield row(
        "bytes an element in a schema of 50,000, besides libldap's record and the copy of its "
        "name; peer: 64",
        memory["bytes"],
        64,
        memory["bytes"] / 64,
        at_most(1),
        digits=1,
    )


def edit_table(results):
    lines = [
        "| elements | add | modify | delete | moving an array of so many pointers |",
        "| --- | --- | --- | --- | --- |",
    ]
    for size, cost in edit_costs(results).items():
        values = " | ".join(f"{cost[name]:.2f}" for name in ("add", "modify", "delete", "move"))
        lines.append(f"| {int(size):,} | {values} |")
    return "\n".join(lines)


def digest_rows(results):
    md5 = medians(results / "md5.txt")
    for name, what, goal in (
        ("large", "of 16 MiB; peer: OpenSSL's `EVP_Digest`", at_least(0.95)),
        ("small", "of 64 bytes; peer: OpenSSL's `EVP_Digest`", at_least(2)),
    ):
        library, peer = 1e9 / md5[f"{name}-library"], 1e9 / md5[f"{name}-peer"]
        ratio = 1 / md5[f"{name}-ratio"]
        digits = 1 if name == "large" else 0
        yield row(f"`MD5` {what}: a second of the processor", library, peer, ratio, goal, digits)
    pool = medians(results / "pool.txt")
    yield row(
        "nanoseconds of the processor for 8 KiB of `XRAND_bytes`; peer: `MD5` of as many blocks",
        pool["pool-library"],
        pool["pool-peer"],
        pool["pool-ratio"],
        at_most(1.10),
    )
    response = medians(results / "response.txt")
    yield row(
        "challenges of DIGEST-MD5 read and answered, with a new nonce, a second of the processor; "
        "peer: the steps of cyrus-sasl's client",
        1e9 / response["response-library"],
        1e9 / response["response-peer"],
        1 / response["response-ratio"],
        at_least(3),
    )
    bind = medians(results / "bind.txt")
    yield row(
        "microseconds of a DIGEST-MD5 bind with slapd; peer: `ldap_sasl_interactive_bind_s`",
        bind["bind-library"],
        bind["bind-peer"],
        bind["bind-ratio"],
        at_most(1),
    )


def tls_rows(results):
    speed, all_times = medians(results / "tls.txt"), pairs(results / "tls.txt")

    def session(what, name, peer, peer_name, goal):
        turns = zip(all_times[name], all_times[peer])
        ratio = statistics.median(library / other for library, other in turns)
        return row(
            f"microseconds of an ldaps session (connect, search, unbind) {what}; peer: "
            f"{peer_name}; the ratio is the median of pairs",
            speed[name],
            speed[peer],
            ratio,
            goal,
        )

    alone = "libldap with OpenSSL alone"
    yield session("that the library carries", "fresh", "libldap-openssl", alone, at_most(1.02))
    yield session(
        "that it carries, with a TLS session taken up again",
        "library",
        "libldap-openssl",
        alone,
        at_most(1),
    )
    yield session("by libldap, on its context", "library-openssl", "libldap-openssl", alone,
                  at_most(1.02))
    for name, what in (
        ("fresh", "that the library carries"),
        ("library", "that it carries, taken up again"),
        ("library-openssl", "by libldap, on its context"),
    ):
        yield instructions(
            f"of an ldaps session {what}; peer: {alone}",
            speed[f"{name}-instructions"],
            speed["libldap-openssl-instructions"],
            1.02,
        )
    yield row(
        "microseconds of the processor to load 150 CA certificates; peer: OpenSSL's own loader; the "
        "ratio is the median of pairs",
        speed["bundle-library"],
        speed["bundle-peer"],
        speed["bundle-ratio"],
        at_most(1.05),
    )


def rows(results):
    count = medians(results / "instructions.txt")
    yield instructions(
        "of one `ldap_partition_entry_count`; peer: the same exchange by hand on libldap",
        count["library"],
        count["hand"],
        1.03,
    )
    trips = medians(results / "extops.txt")
    yield row(
        "its round trips per second; peer: by hand, in turn; the ratio is the median of pairs",
        trips["library"],
        trips["hand"],
        trips["ratio"],
        at_least(0.98),
    )
    for control, (library, hand) in pairs(results / "controls.txt").items():
        what = f"of one `{control}`; peer: the same by hand on liblber"
        yield instructions(what, library, hand, 1.05)
    for kind, (library, hand) in pairs(results / "events.txt").items():
        what = f"to decode and release an event's payload of kind {kind}; peer: by hand on liblber"
        yield instructions(what, library, hand, 1.10)
    monitor = medians(results / "monitor.txt")
    yield row(
        "small events per second that a monitor takes from strata-sim, on one processor; peer: a "
        "client that throws the messages away",
        monitor["library"],
        monitor["hand"],
        monitor["ratio"],
        (
            "100,000 events, or at least 0.9",
            lambda ratio: ratio >= 0.9 or monitor["library"] >= 100000,
        ),
    )
    for form, (library, hand) in pairs(results / "lburp-instructions.txt").items():
        what = f"to encode an add of ten attributes ({form}); peer: libldap's add request"
        yield instructions(what, library, hand, 1.0)
    yield from cxx_rows(pairs(results / "cxx.txt"))
    yield from bulk_rows(medians(results / "lburp.txt"))
    yield from load_rows(medians(results / "load.txt"))
    yield from schema_rows(results)
    yield from digest_rows(results)
    yield from tls_rows(results)
    backup = medians(results / "backup.txt")
    for direction in "backup", "restore":
        peak = backup[f"{direction}-peak"]
        yield row(
            f"64 MiB through `ldap_{direction}_object` in pieces of 1 MiB: MiB of memory in use "
            "at most, libldap's included; peer: two pieces",
            peak,
            2,
            peak / 2,
            at_most(1.01),
            digits=3,
        )
    chunks = medians(results / "chunks.txt")
    what = "to render and parse one chunk size of 100,000; peer: one of 10,000"
    yield instructions(what, chunks["many"], chunks["few"], 1.05)
    servers = medians(results / "servers.txt")
    yield row(
        "base searches per second of strata-sim, 4 clients; peer: slapd (mdb)",
        servers["strata-sim"],
        servers["slapd"],
        servers["strata-sim"] / servers["slapd"],
        at_least(0.5),
    )
    yield row(
        "resident KiB of strata-sim after a million requests; peer: after 100,000",
        servers["rss-after"],
        servers["rss-warm"],
        servers["rss-after"] / servers["rss-warm"],
        at_most(1.02),
    )
    size = int((results / "size.txt").read_text()) / 1024
    yield row("the shared object, stripped, in KiB", size, 400, size / 400, at_most(1), digits=1)


def main(results):
    print(
        f"""# Performance

Written by `scripts/bench`; every figure stands beside its peer of the same run. Figures of time
are medians on a machine that others share: read the ratios.

Machine: {machine()}.

| what | measured | peer | ratio | goal | kept |
| --- | --- | --- | --- | --- | --- |"""
    )
    for line in rows(results):
        print(line)
    speed = medians(results / "backup.txt")["mib-per-second"]
    print(f"\nBackup and restore together move {speed:.0f} MiB a second over a local socket.")
    monitor = medians(results / "monitor.txt")
    print(
        f"\nA monitored event takes {monitor['library-cpu']:.2f} microseconds of the processor, "
        f"one that is thrown away {monitor['hand-cpu']:.2f}."
    )

    kept = medians(results / "md5.txt")
    freshen = medians(results / "response.txt")["freshen"]
    print(
        f"\n`MD5` of 64 bytes takes {kept['kept-library']:.0f} nanoseconds, OpenSSL's with a context "
        f"and an algorithm that are kept {kept['kept-peer']:.0f}. A DIGEST-MD5 bind freshens the "
        f"random pool in {freshen:.0f} nanoseconds, which is not part of the figure above."
    )
    tls = medians(results / "tls.txt")
    print(
        f"\nDebian's libldap alone, with GnuTLS, takes {tls['libldap']:.0f} microseconds and "
        f"{tls['libldap-instructions']:.0f} instructions for such an ldaps session."
    )
    print(f"\nMicroseconds of the processor an edit of a schema:\n\n{edit_table(results)}")
    print("""
## What grows

![Microseconds by the number of attribute types](performance/schema.svg)

A fetch grows as the number of elements does, beside the same search with
`ldap_str2attributetype` of each value. Adding and deleting move the rest of a sorted array.

![Adds a second by the size of a batch and of the window](performance/bulk.svg)

Answers come after 1 ms: 4 requests of 100 adds each are 400,000 a second at most, however fast the
client is, and larger batches or more requests under way are what helps. The line is libldap's own
adds, sent without waiting for answers.""")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
