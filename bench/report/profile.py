"""Where the time goes in rows that do not reach their goal."""

import os
import re
import shutil
import subprocess
import tempfile

from .line import WIRES, arguments_of, on_wire, title
from .table import table
from .trial import BUILD, MASTER_CORE, NAMES, one_core, pinned, trial

MOST, FEW = 12, 4  # functions of a profile


def perf(file, event="cpu-clock:u"):
    return ["perf", "record", "-q", "-e", event, "-F", "5000", "-o", file, "--"]


def functions(file):
    """(share, function) of a recording, the greatest first."""
    out = subprocess.run(["perf", "report", "-i", file, "--stdio", "--no-children", "-F",
                          "overhead,symbol"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                         text=True, check=True).stdout
    found = re.findall(r"^\s+(\d+\.\d+)%\s+\[.\]\s+(.+?)\s*$", out, re.MULTILINE)
    return [(share, re.sub(r"OrvixModBus::|\(anonymous namespace\)::|\[abi:cxx11\]", "", name))
            for share, name in found][:MOST]


def show(what, found):
    rows = [[f"{share} %", f"`{name[:90]}`"] for share, name in found]
    return f"{what}\n\n" + table(["time", "function"], rows) + "\n"


def of_row(master, workload):
    with tempfile.NamedTemporaryFile(suffix=".perf") as file, one_core():
        trial(master, [*arguments_of(workload), "--seconds", "1"], wrapper=perf(file.name))
        return show(f"{NAMES[master]}, {title(workload)}:", functions(file.name))


def of_lines():
    with tempfile.NamedTemporaryFile(suffix=".perf") as file:
        on_wire("letter", *WIRES["115200"], 0, 64, 1, wrapper=perf(file.name, "cpu-clock"))
        return show("64 lines in one thread, the kernel included:", functions(file.name))


def of_scale(operation, size):
    with tempfile.NamedTemporaryFile(suffix=".perf") as file:
        subprocess.run([*perf(file.name), os.path.join(BUILD, "bench_scale"), "--alone",
                        f"--benchmark_filter={operation}/{size}$"], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=True, preexec_fn=pinned(MASTER_CORE))
        return show(f"{operation} of {size:,} registers, made and named before:",
                    functions(file.name)[:FEW])


def of_kind(kind):
    with tempfile.NamedTemporaryFile(suffix=".perf") as file:
        subprocess.run([*perf(file.name), os.path.join(BUILD, "bench_codec"),
                        f"--benchmark_filter=Decode/{kind}/ours"], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=True, preexec_fn=pinned(MASTER_CORE))
        return show(f"Decoding of {kind}:", functions(file.name))


PROFILES = {"row": of_row, "kind": of_kind, "lines": of_lines, "scale": of_scale}


def of_unmet(goals):
    if not goals.unmet:
        return ""
    if shutil.which("perf") is None:
        return "## Profiles\n\nThere is no perf on this machine.\n"
    try:
        made = [PROFILES[kind](*what) for kind, *what in goals.unmet]
    except (subprocess.CalledProcessError, SystemExit):
        return "## Profiles\n\nperf is not allowed on this machine.\n"
    return "## Profiles of what is not met\n\n" + "".join(made)
