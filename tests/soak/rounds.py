"""The servers with faults, which are others every few seconds."""

import json
import random
import signal
import time

import faults
import servers


LEAST = 5  # seconds that a round lasts
SLOW = 2  # faults of a round that cost seconds each


class Round:
    """The servers with faults, until others take their place."""

    def __init__(self, start, chance, garbage, is_short):
        self.chosen = faults.choose(chance, 0 if is_short else SLOW)
        handshakes = faults.QUICK_HANDSHAKES if is_short else faults.HANDSHAKES
        self.handshake = chance.choice(handshakes)
        small = ["--event-queue", "4096"]
        self.server = start("faulty", *small, *faults.options(self.chosen))
        self.shaky = start("shaky", "--tls", "auto", "--fault", f"tls-handshake={self.handshake}")
        self.deaf = [self.shaky.uri, garbage.uri]

    def post(self, api):
        posted = {
            "uri": self.server.uri,
            "faults": faults.as_json(self.chosen),
            "deaf": self.deaf,
        }
        api.say("faults " + json.dumps(posted))

    def stop(self, by):
        self.server.stop(by)
        self.shaky.stop(by)


class FaultBoard:
    """Changes the servers with faults, each time in the midst of the work."""

    def __init__(self, start, api, seed, seconds, complaints):
        self.start, self.api, self.complaints = start, api, complaints
        self.least = min(LEAST, seconds / 8)
        self.is_short = seconds < 60
        self.chance = random.Random(seed)
        self.garbage = servers.Garbage(seed)
        self.injected = {}
        self.rounds = 0
        self.current = None
        self.renew()

    def renew(self):
        before, self.current = self.current, Round(
            self.start, self.chance, self.garbage, self.is_short
        )
        if before and self.chance.random() < 0.5:
            before.stop(signal.SIGKILL)  # while its clients still use it
            before = None
        self.current.post(self.api)
        if before:
            before.stop(signal.SIGTERM)
        self.began = time.monotonic()
        self.rounds += 1
        for kind in {(kind.text, kind.code) for kind in self.current.chosen.values()}:
            self.injected[kind] = self.injected.get(kind, 0) + 1

    def tend(self):
        """Renews them when all of their faults have been seen, which must not take for ever."""
        age = time.monotonic() - self.began
        if age < self.least:
            return
        unseen = self.api.say("unseen")
        if unseen and age > servers.PATIENCE + self.least:
            self.complain(unseen)
        if not unseen or age > servers.PATIENCE + self.least:
            self.renew()

    def await_all(self):
        """Waits until the faults of the last round have been seen."""
        end = time.monotonic() + servers.PATIENCE
        while (unseen := self.api.say("unseen")) and time.monotonic() < end:
            time.sleep(0.1)
        if unseen:
            self.complain(unseen)

    def complain(self, unseen):
        kinds = [f"{name} {self.current.chosen[name].text}" for name in unseen if name in self.current.chosen]
        self.complaints.add(f"faults that nobody has seen: {kinds or unseen}")

    def stop(self):
        self.current.stop(signal.SIGTERM)
        self.garbage.stop()
