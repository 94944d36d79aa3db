"""Who works in the soak, and how all of them are brought to rest."""

import json
import os
import subprocess
import threading


class Processes:
    """All that have been started: none outlives the soak, whatever ends it."""

    running = []

    @classmethod
    def start(cls, *arguments, **more):
        process = subprocess.Popen(*arguments, **more)
        cls.running = [each for each in cls.running if each.poll() is None] + [process]
        return process

    @classmethod
    def end_all(cls):
        for process in cls.running:
            if process.poll() is None:
                process.kill()
                process.wait()


class Gate:
    """Lets threads through, or keeps them away while all rest."""

    def __init__(self, threads):
        self.changed = threading.Condition()
        self.threads, self.resting = threads, 0
        self.is_closed = self.is_over = False

    def go_on(self):
        with self.changed:
            self.resting += 1
            self.changed.notify_all()
            self.changed.wait_for(lambda: self.is_over or not self.is_closed)
            self.resting -= 1
            return not self.is_over

    def close(self):
        with self.changed:
            self.is_closed = True
            self.changed.wait_for(lambda: self.resting == self.threads)

    def open(self, is_over=False):
        with self.changed:
            self.is_closed, self.is_over = False, is_over
            self.changed.notify_all()


class Api:
    """soak_api, which obeys commands."""

    def __init__(self, *arguments):
        # What a thread keeps for its next allocations would count as memory in use.
        self.process = Processes.start(
            arguments,
            env={
                **os.environ,
                "GLIBC_TUNABLES": "glibc.malloc.tcache_count=0",
                "ASAN_OPTIONS": "detect_leaks=0",  # some calls lose memory by contract
            },
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.lock = threading.Lock()

    @property
    def pid(self):
        return self.process.pid

    def say(self, command):
        with self.lock:
            self.process.stdin.write(command + "\n")
            self.process.stdin.flush()
            answer = self.process.stdout.readline()
        if not answer:
            raise RuntimeError(f"soak_api has ended with {self.process.wait()} at: {command}")
        return json.loads(answer)
