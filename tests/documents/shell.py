"""Runs the shell blocks of a document, one after the other in one shell and one folder."""

import os
import random
import re
import signal
import socket
import subprocess

PATIENCE = 120  # seconds for all of a document, on a machine that is busy

# The addresses that documents name; the ports are others in a test.
ADDRESS = re.compile(r"\b(127\.0\.0\.1|localhost)([: ])(1\d{3})\b")

# A server in the background is there when the next command needs it; one that is started at an
# address that another one has takes its place. What it says is no output of the document.
PROLOGUE = """
set -eu
declare -A servers=()
start_simulator() {
    local listen=$default_address argument previous=
    for argument in "$@"; do
        [ "$previous" != --listen ] || listen=$argument
        previous=$argument
    done
    if [ -n "${servers[$listen]-}" ]; then
        kill "${servers[$listen]}"
        wait "${servers[$listen]}" || true
    fi
    rm -f ready
    strata-sim "$@" --listen "$listen" --ready-file ready >>simulator.log 2>&1 &
    servers[$listen]=$!
    until [ -e ready ]; do
        kill -0 $! || { cat simulator.log; exit 1; }
        sleep 0.02
    done
}
"""


def free_port(taken):
    """A port that no connection's own end will take meanwhile."""
    while True:
        port = random.randrange(20000, 30000)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
            except OSError:
                continue
        if port not in taken:
            return str(port)


def ports(text):
    """A free port for each that the text listens at or asks."""
    named = sorted({found[2] for found in ADDRESS.findall(text)} | {"1389"})
    result = {}
    for port in named:
        result[port] = free_port(result.values())
    return result


def moved(text, mapping):
    """The text with those ports."""
    return ADDRESS.sub(lambda found: "".join([*found.groups()[:2], mapping[found.group(3)]]), text)


def commands(text):
    """The text with servers started as above; an address given twice would be refused."""

    def start(found):
        arguments = found.group(1)
        address = re.search(r"--listen (\S+)", arguments)
        arguments = re.sub(r"--listen \S+ ?", "", arguments)
        listen = f"default_address={address.group(1)} " if address else ""
        return f"{listen}start_simulator {arguments.strip()}"

    return re.sub(r"^strata-sim (.*)&$", start, text, flags=re.MULTILINE)


def script(blocks, mapping):
    text = PROLOGUE.replace("$default_address", "${default_address:-127.0.0.1:1389}")
    for index, block in enumerate(blocks):
        group = f"{{\n{commands(block.text)}}} >output.{index} 2>&1"
        run = f"if {group}; then exit 1; fi" if block.argument else group
        text += f"echo {index} >block\n{run}\n"
    return moved(text, mapping)


def run(blocks, mapping, folder, path, environment):
    """Runs them, with their output a line at a time as on a terminal; gives the output of each and
    the index of the one that failed, or None."""
    process = subprocess.Popen(
        ["stdbuf", "-oL", "bash", "-c", script(blocks, mapping)],
        cwd=folder,
        env={**environment, "PATH": path},
        stdin=subprocess.DEVNULL,
        start_new_session=True,
    )
    try:
        status = process.wait(PATIENCE)
    except subprocess.TimeoutExpired:
        status = -1
    finally:
        try:
            os.killpg(process.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass
        process.wait()
    outputs = [
        (folder / f"output.{index}").read_text() if (folder / f"output.{index}").exists() else ""
        for index in range(len(blocks))
    ]
    for name, port in mapping.items():
        outputs = [text.replace(f":{port}", f":{name}") for text in outputs]
    return outputs, None if status == 0 else int((folder / "block").read_text())
