"""Servers of the soak: strata-sim, certificates for it, and a peer that answers with garbage."""

import os
import pathlib
import random
import signal
import socket
import subprocess
import threading
import time

import actors

PATIENCE = 120  # seconds for whatever must happen in the end


class Complaints:
    """What was not as it must be; of the same words one is enough."""

    def __init__(self):
        self.lines = {}
        self.lock = threading.Lock()

    def add(self, words):
        with self.lock:
            self.lines[words] = self.lines.get(words, 0) + 1


class Server:
    """A strata-sim at a free port."""

    def __init__(self, program, folder, name, complaints, *options):
        self.name, self.complaints = name, complaints
        self.ready = folder / f"{name}.uri"
        self.ready.unlink(missing_ok=True)
        self.log = open(folder / f"{name}.log", "a")
        self.options = [program, "--ready-file", self.ready, *options]
        self.start("127.0.0.1:0")

    def start(self, address):
        self.process = actors.Processes.start(
            [*self.options, "--listen", address], stdout=subprocess.DEVNULL, stderr=self.log
        )
        end = time.monotonic() + PATIENCE
        while not self.ready.exists():
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError(f"strata-sim does not start: {self.options[1:]}")
            time.sleep(0.01)
        self.uri = self.ready.read_text().strip()

    @property
    def pid(self):
        return self.process.pid

    @property
    def address(self):
        return self.uri.split("//")[1]

    def stop(self, by=signal.SIGTERM):
        """Ends it; who ends otherwise than asked is a complaint."""
        self.process.send_signal(by)
        try:
            code = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            code = f"no end within {PATIENCE} s"
        if code != (0 if by == signal.SIGTERM else -by):
            self.complaints.add(f"strata-sim {self.name} ended with {code}")
        self.ready.unlink(missing_ok=True)

    def again(self, by):
        """Ends it and starts it at the same address."""
        address = self.address
        self.stop(by)
        self.start(address)


class Garbage:
    """Answers whatever comes with bytes that are no LDAP, and closes."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.uri = "ldap://127.0.0.1:%d" % self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def answer(self):
        nonsense = self.random.randbytes(self.random.randint(1, 300))
        return self.random.choice(
            [
                nonsense,
                b"\x30" + nonsense,
                b"\x30\x82\x01\x00\x02\x01\x01\x61" + nonsense,  # a bind response, so to speak
                b"\x30\x05\x02\x01\x01\x42\x00",  # an unbind of the server's
                b"",
            ]
        )

    def serve(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            with client:
                client.settimeout(5)
                try:
                    client.recv(4096)
                    client.sendall(self.answer())
                except OSError:
                    pass  # the client was faster

    def stop(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()


def make_pkcs12(client, path):
    """The certificate and key of a PEM file as PKCS #12."""
    command = ["openssl", "pkcs12", "-export", "-in", client, "-inkey", client, "-out", path]
    subprocess.run([*command, "-passout", "pass:soak"], check=True)
    os.chmod(path, 0o600)
    return pathlib.Path(path)
