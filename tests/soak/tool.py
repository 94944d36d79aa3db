"""The tool, run again and again."""

import collections
import os
import pathlib
import subprocess
import threading
import time

import actors
import commands
import servers

HANGS = 120  # seconds for one run of the tool


class Runs:
    """Counts of exit statuses: {(server, command): {status: count}}."""

    def __init__(self):
        self.counts = collections.defaultdict(collections.Counter)
        self.lock = threading.Lock()

    def add(self, group, command, status):
        with self.lock:
            self.counts[group, command][status] += 1


def person(dn):
    name = dn.split(",")[0].split("=")[1]
    return f"dn: {dn}\nobjectClass: person\ncn: {name}\nsn: Soak\ndescription: a child\n\n"


def deletion(dn):
    return f"dn: {dn}\nchangetype: delete\n\n"


class ToolUser:
    """Runs the tool with one server, in a part of the tree and a folder of its own."""

    def __init__(self, program, group, server, folder, material, runs, complaints):
        self.program, self.group, self.server = program, group, server
        self.runs, self.complaints = runs, complaints
        self.breathe = lambda: None
        self.folder = folder / f"tool-{group}"
        self.folder.mkdir()
        area = f"ou=tool-{group},dc=example,dc=com"
        child = f"cn=child,{area}"
        self.values = {
            "admin": commands.ADMIN,
            "ada": commands.ADA,
            "kora": "example.com/people/Ada Brandt",
            "server": "cn=strata3,ou=servers,dc=example,dc=com",
            "area": area,
            "child": child,
            "address": server.uri.split("//")[1] if server else "",
            "pkcs12_password": self.file("pkcs12-password", "soak"),
            "password": self.file("password", "an image's"),
            **{name: str(self.folder / name) for name in ("image", "schema", "nothing")},
            "spoilt_checkpoint": str(self.folder / "spoilt.checkpoint"),
            "rejects": str(self.folder / "rejects"),
            **material,
        }
        self.write_ldif(area, child)

    def file(self, name, text):
        path = self.folder / name
        path.write_text(text)
        path.chmod(0o600)
        return str(path)

    def write_ldif(self, area, child):
        many = [f"cn=many-{i},{area}" for i in range(300)]
        unit = f"dn: {area}\nobjectClass: organizationalUnit\nou: tool-{self.group}\n\n"
        texts = {
            "add_area": unit,
            "delete_area": deletion(area),
            "add_child": person(child),
            "delete_child": deletion(child),
            "add_many": "".join(map(person, many)),
            "delete_many": "".join(map(deletion, many)),
        }
        self.values.update({name: self.file(name, text) for name, text in texts.items()})

    def command(self, line, binds=True, uri=None):
        """The arguments of a row, and those of the connection."""
        uri = uri or self.server.uri
        words = [word.format(**self.values) for word in line.split()]
        if binds:
            words += ["-D", commands.ADMIN, "-w", "secret"]
        if uri.startswith("ldaps") and "--cacert" not in words and words[0] != "cert":
            words += ["--cacert", self.values["ca"]]
        return [self.program, *words, "-H", uri]

    def begin(self, arguments):
        environment = {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LDAPCONF": "/dev/null"}
        if "reference" in arguments:  # which loses memory by contract
            environment["ASAN_OPTIONS"] = "detect_leaks=0"
        return actors.Processes.start(
            arguments,
            env=environment,
            cwd=self.folder,
            text=True,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )

    def finish(self, process, line, wanted, holds, group=None):
        """Awaits a run; gives its output, or None if it is not as it must be."""
        name = " ".join(word for word in line.split()[:2] if word[0] not in "-{(") or line
        try:
            output, _ = process.communicate(timeout=HANGS)
        except subprocess.TimeoutExpired:
            process.kill()
            output, _ = process.communicate()
            self.complaints.add(f"qldapx {line} hangs")
        group = group or "tool " + self.group
        self.runs.add(group, name, process.returncode)
        wanted = wanted if isinstance(wanted, tuple) else (wanted,)
        text = holds.format(**self.values) if holds else ""
        if process.returncode in wanted and text in output.replace('": ', '":'):
            return output
        first = " / ".join(output.strip().splitlines()[:4])
        self.complaints.add(
            f"{group}: qldapx {line} gave {process.returncode}, not {wanted} with {text!r}: {first}"
        )
        return None

    def run(self, line, wanted, holds, binds=True, uri=None, group=None):
        process = self.begin(self.command(line, binds, uri))
        return self.finish(process, line, wanted, holds, group)

    def play(self, script, binds=True):
        """The commands one after the other; between them all may be brought to rest."""
        pathlib.Path(self.values["rejects"]).unlink(missing_ok=True)
        for line, wanted, holds in script:
            self.breathe()
            if self.run(line, wanted, holds, binds) is None:
                return

    def watch(self):
        """Monitors events while another run makes them; none may be missing."""
        line = "events watch --type 1,2 --count 4 --json --filter (string1={child})"
        watching = self.begin(self.command(line))
        # Whether it listens already shows in what it has seen.
        end = time.monotonic() + servers.PATIENCE
        while watching.poll() is None and time.monotonic() < end:
            for name in ("add_child", "delete_child"):
                self.run(f"load {{{name}}}", 0, None)
        output = self.finish(watching, line, 0, '"type":1') or ""
        types = [line.split('"type":')[1].split(",")[0].strip() for line in output.splitlines()]
        if types not in (["1", "2"] * 2, ["2", "1"] * 2):
            self.complaints.add(f"events are missing: {types}")

    def scripts(self):
        """What there is to choose from, as functions."""
        all_scripts = [
            lambda script=script, binds=binds: self.play(script, binds)
            for table, binds in ((commands.SCRIPTS, True), (commands.OWN_BIND, False))
            for script in table.values()
        ]
        if self.server.uri.startswith("ldaps"):
            all_scripts += [
                lambda script=script: self.play(script, False) for script in commands.TLS.values()
            ]
        return [*all_scripts, self.watch]
