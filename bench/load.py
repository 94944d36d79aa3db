"""load.py ACKNOWLEDGER QLDAPX ENTRIES SAMPLE - loads a generated LDIF of so many entries into a
server that only acknowledges, by `qldapx load`.

Prints resident memory at most (KiB), seconds, the seconds of the processor within the program and
within the kernel, and which part of the time is spent outside of the tool's own code: that of the
kernel, and of the rest as much as callgrind counts instructions outside of it in a load of SAMPLE
entries. The tool's own code is its program, libstdc++, libfmt and libqldapx, and what libc does for
them; the other is that of libldap, liblber and zlib, and what libc does for those.
"""

import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

OWN = re.compile(r"/(qldapx|libqldapx|libstdc\+\+|libfmt)[^/]*$")
LIBC = re.compile(r"/(libc|libm|ld-linux)[.-][^/]*$")
START = re.compile(r"main")


def entries(path, count):
    with open(path, "w") as out:
        out.write("version: 1\n\n")
        for i in range(count):
            out.write(
                f"dn: uid=u{i:07},ou=people,dc=example,dc=com\n"
                "objectClass: inetOrgPerson\n"
                f"cn: Anna Example {i}\n"
                f"sn: Example {i}\n"
                "givenName: Anna\n"
                f"uid: u{i:07}\n"
                f"mail: u{i:07}@example.com\n"
                "telephoneNumber: +354 555 0100\n"
                "title: Engineer\n"
                "l: Reykjavik\n"
                "description:: b25lIG9mIHZlcnkgbWFueQ==\n\n"
            )


class Server:
    def __init__(self, program):
        self.process = subprocess.Popen([program], stdout=subprocess.PIPE, text=True)
        os.sched_setaffinity(self.process.pid, {1})
        self.uri = f"ldap://127.0.0.1:{self.process.stdout.readline().strip()}"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()


def load(command, server, path):
    """Runs a load on processor 0; gives its resources."""
    checkpoint = path.with_suffix(".checkpoint")
    child = subprocess.Popen(
        [*command, "load", "-H", server.uri, "--checkpoint", checkpoint, path],
        stdout=subprocess.DEVNULL,
        preexec_fn=lambda: os.sched_setaffinity(0, {0}),
    )
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        raise SystemExit(f"the load ended with {status}")
    return usage


def instructions(path):
    """Instructions of a callgrind file, of the tool's own code and of the other, as a pair.

    What libc does counts for who called it; what it calls back is its own again.
    """
    objects, functions, count = {}, {}, collections.Counter()
    here = called = function = ""
    is_call = False
    for line in open(path):
        if name := re.match(r"(c?)ob=\((\d+)\)(?: (.*))?", line):
            called = objects.setdefault(name[2], name[3])
            here = here if name[1] else called
        elif name := re.match(r"c?fn=\((\d+)\)(?: (.*))?", line):
            function = functions.setdefault(name[1], name[2])
        elif line.startswith("calls="):
            is_call = True
        elif re.match(r"[+*\d-]", line):
            cost = int(line.split()[1])
            is_inner = LIBC.search(here) is not None
            if not is_call and not is_inner:
                count[OWN.search(here) is not None] += cost
            if is_call and not START.search(function):
                if LIBC.search(called) and not is_inner:
                    count[OWN.search(here) is not None] += cost
                elif is_inner and OWN.search(called):
                    count[False] -= cost
            is_call, called = False, here
    return count[True], count[False]


def own_share(qldapx, server, folder, sample):
    path, profile = folder / "sample.ldif", folder / "profile"
    entries(path, sample)
    load(
        ["valgrind", "--tool=callgrind", "-q", f"--callgrind-out-file={profile}", qldapx],
        server,
        path,
    )
    own, other = instructions(profile)
    return own / (own + other)


def main(acknowledger, qldapx, count, sample):
    with tempfile.TemporaryDirectory() as name, Server(acknowledger) as server:
        folder = pathlib.Path(name)
        path = folder / "many.ldif"
        entries(path, count)
        start = time.monotonic()
        usage = load([qldapx], server, path)
        print("load-seconds", time.monotonic() - start)
        print("load-rss", usage.ru_maxrss)
        print("load-user", usage.ru_utime)
        print("load-system", usage.ru_stime)
        own = usage.ru_utime * own_share(qldapx, server, folder, sample)
        print("load-outside", 1 - own / (usage.ru_utime + usage.ru_stime))


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4]))
