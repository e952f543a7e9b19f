"""One measurement: a server on pseudo-terminals, one master that polls it, both held to a core."""

import contextlib
import json
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.join(ROOT, "build", "release", "bench")
WORKQUEUES = "/sys/devices/virtual/workqueue/cpumask"
MASTER_CORE, SERVER_CORE = 0, min(1, os.cpu_count() - 1)

NAMES = {"bare": "bare master", "transport": "ours, transport", "letter": "ours, letter",
         "libmodbus": "libmodbus", "qt": "Qt Serial Bus", "pymodbus": "pymodbus"}
PEERS = ("libmodbus", "qt", "pymodbus")


def command(master):
    if master == "pymodbus":
        return ["/usr/bin/python3", os.path.join(ROOT, "bench", "line", "pymodbus_master.py")]
    program = "ours" if master in ("transport", "letter") else master
    letter = ["--letter"] if master == "letter" else []
    return [os.path.join(BUILD, "line", "bench_line_" + program), *letter]


def pinned(core):
    return lambda: os.sched_setaffinity(0, {core})


@contextlib.contextmanager
def one_core():
    """A pseudo-terminal's bytes pass through a worker of the kernel. Where that runs on the other
    core, every byte waits for a sleeping core to wake: so it is held to the masters' core, too."""
    try:
        with open(WORKQUEUES, encoding="ascii") as file:
            before = file.read()
        with open(WORKQUEUES, "w", encoding="ascii") as file:
            file.write(f"{1 << MASTER_CORE:x}")
    except OSError as error:
        print(f"bench: the kernel's workers may run on any core ({error.strerror})",
              file=sys.stderr)
        yield
        return
    try:
        yield
    finally:
        with open(WORKQUEUES, "w", encoding="ascii") as file:
            file.write(before)


def trial(master, arguments, server=(), ports=1, paced=False, wrapper=()):
    """What master reports and what the server saw, as one dictionary."""
    with subprocess.Popen(
            [os.path.join(BUILD, "line", "bench_line_slave"), "--ports", str(ports), *server],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            preexec_fn=pinned(SERVER_CORE if paced else MASTER_CORE)) as slave:
        paths = [slave.stdout.readline().strip() for _ in range(ports)]
        run = subprocess.run([*wrapper, *command(master), "--port", *paths, *arguments],
                             stdout=subprocess.PIPE, text=True, check=False,
                             preexec_fn=pinned(MASTER_CORE), timeout=120)
        seen, _ = slave.communicate(timeout=10)
    if run.returncode != 0:
        raise SystemExit(f"bench: {NAMES[master]} failed: {' '.join(arguments)}")
    return json.loads(run.stdout) | json.loads(seen)


def interleave(masters, rounds, measure):
    """measure(master) for each master in turn, rounds times: a list of results for each."""
    results = {master: [] for master in masters}
    for _ in range(rounds):
        for master in masters:
            results[master].append(measure(master))
    return results


def system_calls(master, arguments):
    """Per transaction: those of a long run less those of a short one, so that the start of the
    program does not count. Nothing without strace."""
    counts = []
    for seconds in ("0.2", "0.8"):
        with tempfile.NamedTemporaryFile("r", suffix=".strace") as file:
            try:
                seen = trial(master, [*arguments, "--seconds", seconds],
                             wrapper=["strace", "-f", "-c", "-o", file.name])
            except FileNotFoundError:
                return None
            total = re.search(r"(\d+)\s+(?:\d+\s+)?total", file.read())
            counts.append((int(total.group(1)), seen["requests"]))
    (calls_before, requests_before), (calls, requests) = counts
    return (calls - calls_before) / (requests - requests_before)
