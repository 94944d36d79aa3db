"""soak.py - mixed work with the library, the tool and strata-sim for a long time.

Starts servers with and without faults, soak_api and the tool again and again; every few seconds all
of them rest and what they have is counted. Ends with a verdict, and with 1 if anything was not as
it must be.
"""

import argparse
import pathlib
import random
import signal
import sys
import tempfile
import threading
import time

import actors
import breaks
import rounds
import samples
import servers
import summary
import tool


def fresh_folder(path):
    path.mkdir(parents=True, exist_ok=True)
    return path


class Soak:
    def __init__(self, options, folder):
        self.options, self.folder = options, folder
        self.complaints = servers.Complaints()
        self.samples = samples.Samples(options.out / "samples.csv")
        self.runs = tool.Runs()
        self.sim = options.build / "simserver/strata-sim"
        self.start_servers()

    def start(self, name, *options):
        return servers.Server(self.sim, self.folder, name, self.complaints, *options)

    def start_servers(self):
        names = ("ca", "client", "pkcs12")
        self.material = {name: str(self.folder / f"{name}.pem") for name in names}
        issuing = ["--tls-ca-file", self.material["ca"]]
        self.steady = {
            "plain": self.start("plain"),
            "tls": self.start(
                "tls", "--tls", "auto", *issuing, "--tls-client-file", self.material["client"]
            ),
            "stranger": self.start("stranger", "--tls", "auto"),
        }
        servers.make_pkcs12(self.material["client"], self.material["pkcs12"])
        self.before = {name: samples.descriptors(each.pid) for name, each in self.steady.items()}

    def start_api(self):
        uris = [word for name, each in self.steady.items() for word in (f"--{name}", each.uri)]
        files = [word for name, path in self.material.items() for word in (f"--{name}", path)]
        program = self.options.build / "tests/soak/soak_api"
        self.api = actors.Api(program, *uris, *files, "--seed", str(self.options.seed))

    def start_tools(self):
        program = self.options.build / "tools/qldapx/qldapx"
        common = (self.folder, self.material, self.runs, self.complaints)
        users = [
            tool.ToolUser(program, name, self.steady[name], *common) for name in ("plain", "tls")
        ]
        chance = random.Random(self.options.seed + 1)
        plain = self.steady["plain"]
        users.append(
            breaks.Breaker(self.sim, self.board, chance, program, "broken", plain, *common)
        )
        self.gate = actors.Gate(len(users))
        for user in users:
            user.breathe = self.gate.go_on
        self.threads = [
            threading.Thread(
                target=self.use, args=(user, random.Random(self.options.seed + i)), daemon=True
            )
            for i, user in enumerate(users)
        ]
        for thread in self.threads:
            thread.start()

    def use(self, user, chance):
        user.run("load {add_area}", 0, None)
        scripts = user.scripts()
        while self.gate.go_on():
            try:
                chance.choice(scripts)()
            except Exception as error:  # a thread that ends would leave the rest waiting
                self.complaints.add(f"tool {user.group}: {error!r}")
            time.sleep(0.05)
        user.run("load {delete_area}", 0, None)

    def count(self):
        """While all rest."""
        self.gate.close()
        heap = self.api.say("rest")
        now = time.monotonic() - self.begin
        processes = {"api": self.api, **self.steady}
        for name, process in processes.items():
            lost = heap["lost"] // 1024 if name == "api" else 0
            self.samples.add(now, name, "resident", samples.resident(process.pid) - lost)
            self.samples.count(now, name, "descriptors", samples.descriptors, process.pid)
            self.samples.count(now, name, "threads", samples.threads, process.pid)
        self.samples.add(now, "faulty", "resident", samples.resident(self.board.current.server.pid))
        self.samples.add(now, "api", "heap", heap["heap"] - heap["lost"])
        self.samples.add(now, "api", "lost", heap["lost"])
        self.api.say("go")
        self.gate.open()

    def work(self):
        self.start_api()
        self.board = rounds.FaultBoard(
            self.start, self.api, self.options.seed, self.options.seconds, self.complaints
        )
        self.start_tools()
        self.await_practice()
        every = min(10, self.options.seconds / 8)
        end = self.begin + self.options.seconds
        due = self.begin + every
        while time.monotonic() < end:
            self.board.tend()
            if time.monotonic() >= due:
                self.count()
                due += every
            time.sleep(0.1)

    def await_practice(self):
        """The time begins when soak_api has done each of its jobs."""
        self.api.say("rest")
        self.api.say("go")
        self.begin = time.monotonic()

    def finish(self):
        """Lets all come to their end, and gives the report of soak_api."""
        self.board.await_all()
        self.count()
        self.gate.open(is_over=True)
        for thread in self.threads:
            thread.join()
        self.board.stop()
        report = self.api.say("stop")
        if (code := self.api.process.wait(servers.PATIENCE)) != 0:
            self.complaints.add(f"soak_api ended with {code}")
        after = {
            name: samples.settled(lambda each=each: samples.descriptors(each.pid), self.before[name])
            for name, each in self.steady.items()
        }
        self.pairs = [
            (f"descriptors of {name}", self.before[name], after[name]) for name in self.before
        ]
        self.pairs += [
            (f"{figure} of api", report["before"][figure], report["after"][figure])
            for figure in ("descriptors", "threads")
        ]
        for each in self.steady.values():
            each.stop()
        return report

    def judge(self, report):
        verdict = summary.Summary()
        verdict.faults(self.board.injected, report["calls"].get("fault", {}))
        if not self.options.sanitized:
            verdict.memory(self.samples, samples.slope)
        verdict.counts(self.samples)
        verdict.before_and_after(self.pairs)
        verdict.complaints({**report["complaints"], **self.complaints.lines})
        verdict.tables(report["calls"], self.runs.counts)
        print(
            f"\nseed {self.options.seed}, {self.options.seconds:.0f} s, "
            f"{self.board.rounds} rounds of faults: "
            f"{verdict.checks - verdict.failed} checks hold, {verdict.failed} do not"
        )
        return 1 if verdict.failed else 0


def parsed():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="where all is built")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="folder for the samples")
    parser.add_argument("--seconds", type=float, default=1800)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(100_000))
    parser.add_argument(
        "--sanitized", action="store_true", help="memory is a sanitizer's: do not judge it"
    )
    return parser.parse_args()


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    # A shell lets its background jobs ignore it, and the tool would inherit that.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    options = parsed()
    options.build = options.build.resolve()
    fresh_folder(options.out)
    print(f"seed {options.seed}, {options.seconds:.0f} s", flush=True)
    with tempfile.TemporaryDirectory(prefix="qldapx-soak-") as name:
        try:
            soak = Soak(options, pathlib.Path(name))
            soak.work()
            return soak.judge(soak.finish())
        finally:
            actors.Processes.end_all()


if __name__ == "__main__":
    sys.exit(main())
