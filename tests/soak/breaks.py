"""The tool with servers that fail: each failure has to be said, and what can be mended is."""

import select
import signal
import time

import commands
import faults
import servers
from tool import ToolUser

FLAWS = ["expired", "not-yet-valid", "wrong-name", "self-signed"]
LOST_ANSWERS = ["drop", "partway:40", "cut", faults.SLOW]


class Breaker(ToolUser):
    """Starts a server for each attempt; uses that with the faults of the moment as well."""

    def __init__(self, strata_sim, board, chance, *arguments):
        super().__init__(*arguments)
        self.strata_sim, self.board, self.chance = strata_sim, board, chance

    def serve(self, *options):
        return servers.Server(self.strata_sim, self.folder, "own", self.complaints, *options)

    def expect(self, line, wanted, holds, server, **more):
        return self.run(line, wanted, holds, uri=server.uri, group="tool broken", **more)

    def spoilt_answer(self):
        """One operation of the server with faults, which has to end with 1."""
        current = self.board.current
        if current is None:
            return
        names = [
            name
            for name, kind in current.chosen.items()
            if name in commands.SPOILT and kind.text != "cut"
        ]
        name = self.chance.choice(sorted(names))
        self.expect(commands.SPOILT[name] + " --timeout 4", 1, None, current.server)
        (self.folder / "spoilt.checkpoint").unlink(missing_ok=True)

    def broken_load(self):
        """An answer is lost; the load goes on where it was, and nothing is missing or twice."""
        kind = self.chance.choice(LOST_ANSWERS)
        server = self.serve("--fault", f"lburp-operation@3={kind}")
        self.expect("load {add_area}", 0, None, server)
        wanted = (0, 1) if kind == "cut" else 1  # the last answer may have come before the cut
        self.expect("load {add_many} --timeout 4", wanted, None, server)
        if (self.folder / "add_many.checkpoint").exists():
            self.expect("load {add_many} --resume", 0, None, server)
        found = self.expect("search -b {area} -s one (sn=Soak) 1.1", 0, "dn:", server)
        if found is not None and found.count("dn:") != 300:
            self.complaints.add(f"after {kind} a resumed load has {found.count('dn:')} of 300")
        server.stop()

    def lost_connection(self):
        """A watch finds its server again, and says what may be missing."""
        server = self.serve()
        line = "events watch --type 1 --count 4 --json --reconnect"
        watching = self.begin(self.command(line, uri=server.uri))
        self.make_events(server, lambda: select.select([watching.stdout], [], [], 1)[0])
        server.again(self.chance.choice([signal.SIGTERM, signal.SIGKILL]))
        self.make_events(server, lambda: watching.poll() is not None)
        self.finish(watching, line, 0, '"gap"', "tool broken")
        server.stop()

    def make_events(self, server, is_enough):
        end = time.monotonic() + servers.PATIENCE
        while True:
            self.expect("load {add_area}", 0, None, server)
            if is_enough() or time.monotonic() > end:
                break
            self.expect("load {delete_area}", 0, None, server)
            time.sleep(0.1)

    def interrupted(self):
        """Ctrl-C ends by the signal, whenever it comes."""
        server = self.serve()
        line = "search -b dc=example,dc=com --follow"
        following = self.begin(self.command(line, uri=server.uri))
        time.sleep(self.chance.uniform(0, 0.2))
        following.send_signal(signal.SIGINT)
        self.finish(following, line, -signal.SIGINT, None, "tool broken")
        server.stop()

    def bad_certificate(self):
        flaw = self.chance.choice(FLAWS)
        ca = self.folder / "flawed.pem"
        server = self.serve("--tls", "auto", "--tls-ca-file", ca, "--tls-auto-cert", flaw)
        self.expect(f"whoami --cacert {ca}", 1, "connect", server)
        self.expect(f"whoami --cacert {ca} --tls-verify off", 0, commands.ADMIN, server)
        server.stop()

    def bad_handshake(self):
        kind = self.chance.choice(faults.HANDSHAKES)
        ca = self.folder / "ca.pem"
        fault = f"tls-handshake={kind}"
        server = self.serve("--tls", "auto", "--tls-ca-file", ca, "--fault", fault)
        self.expect(f"whoami --cacert {ca} --timeout 1", 1, "connect", server)
        server.stop()

    def scripts(self):
        often = [self.spoilt_answer] * 6
        return often + [
            self.broken_load,
            self.lost_connection,
            self.interrupted,
            self.bad_certificate,
            self.bad_handshake,
        ]
