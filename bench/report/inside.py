"""What happens inside the program: Google Benchmark's figures of decoding and of growing sizes."""

import collections
import json
import os
import subprocess

from .table import Spread, ratios, table
from .trial import BUILD, MASTER_CORE, pinned

KINDS_GOAL, LOOKUP_GOAL, SCALE_GOAL = 1.5, 1.2, 1.5

DEAD_SERVER = {"dead:0/set_aside_after:0": "all alive", "dead:1/set_aside_after:0": "one dead",
               "dead:1/set_aside_after:3": "one dead, set aside after 3 requests"}


def run(program, pattern, repetitions):
    """{name of the benchmark: its repetitions}, which took turns with those of the others."""
    result = subprocess.run(
        [os.path.join(BUILD, program), f"--benchmark_filter={pattern}",
         f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true",
         "--benchmark_format=json"],
        stdout=subprocess.PIPE, text=True, check=True, preexec_fn=pinned(MASTER_CORE))
    found = collections.defaultdict(list)
    for entry in json.loads(result.stdout)["benchmarks"]:
        if entry["run_type"] == "iteration":
            found[entry["run_name"].split("/iterations")[0]].append(entry)
    return found


def times(entries):
    return [entry["cpu_time"] for entry in entries]


def codec(plan, goals):
    if not plan.choose({"all": None}, "codec"):
        return ""
    found = run("bench_codec", ".", plan.repetitions)
    rows = []
    for name in sorted(name for name in found if name.endswith("/ours")):
        kind = name.split("/")[1]
        ours, least = found[name], found[f"Decode/{kind}/least"]
        ratio = ratios(times(ours), times(least))
        rows.append([kind, Spread(times(ours)).show("{:,.0f}"),
                     Spread(times(least)).show("{:,.0f}"), f"**{ratio.show()}**",
                     f"{ours[0]['allocations']:.2f} : {least[0]['allocations']:.2f}",
                     f"`{plan.again('codec')}`"])
        goals.at_most(f"Codec: {kind} within {KINDS_GOAL} times of the least", ratio.median,
                      KINDS_GOAL, why=("kind", kind))
    growth = ratios(times(found["LookUp/1000"]), times(found["LookUp/10"]))
    goals.at_most("Types: a look-up among 1,000 costs what it costs among 10", growth.median,
                  LOOKUP_GOAL)
    head = ["kind", "ours, ns", "least, ns", "ratio", "allocations", "again"]
    return ("## Codec and types\n\nOne decoding of a register, against the least that gives the "
            "same value: a decoding by hand and `std::to_chars`.\n\n" + table(head, rows)
            + f"\nA number by the name of its type: among 1,000 types {growth.show()} times what "
            "it takes among 10.\n\n")


def scale(plan, goals):
    if not plan.choose({"all": None}, "scale"):
        return ""
    sizes = plan.sizes
    found = run("bench_scale", f"/({'|'.join(map(str, sizes))})$", plan.scale_repetitions)
    rows = []
    for operation in sorted({name.rsplit("/", 1)[0] for name in found}):
        costs = {size: [e["per_register"] for e in found[f"{operation}/{size}"]] for size in sizes}
        growth = ratios(costs[sizes[-1]], costs[sizes[0]])
        limit, limit_growth = growth_of_limit(found, operation, sizes)
        name = operation.split("/", 1)[1]
        rows.append([name, *(Spread(costs[size]).show("{:,.0f}") for size in sizes),
                     f"**{growth.show()}**", limit_growth.show(), limit.show(),
                     f"`{plan.again('scale')}`"])
        goals.at_most(f"Scale: {name}, cost per register from {sizes[0]:,} to {sizes[-1]:,}",
                      growth.median, SCALE_GOAL, why=("scale", operation, sizes[-1]),
                      limit=("standard library", limit_growth.median))
    head = ["operation", *(f"{size:,}, ns" for size in sizes), "growth",
            "growth of the least", "times the least", "again"]
    return ("## Scale\n\nNanoseconds per register at growing sizes, and how much that grows from "
            "the first size to the last. The least is the same done by the standard library's "
            "containers, by turns: what it grows, too, is the price of n log n and of memory that "
            f"no longer fits the caches.\n\n{table(head, rows)}\n" + memory(plan))


def growth_of_limit(found, operation, sizes):
    """How many times the least is taken at the last size, and how much the least grows."""
    first, last = (found[f"{operation}/{size}"] for size in (sizes[0], sizes[-1]))
    least = [[e["per_register"] / e["times_limit"] for e in entries] for entries in (first, last)]
    return Spread(e["times_limit"] for e in last), ratios(least[1], least[0])


def memory(plan):
    program = os.path.join(BUILD, "bench_scale")
    pieces = json.loads(subprocess.run([program, "--memory"], stdout=subprocess.PIPE, text=True,
                                       check=True).stdout)
    rows = [[piece["name"], f"{piece['bytes']:.0f}"] for piece in pieces["pieces"]]
    rows.append(["**all of it**", f"**{pieces['total']:.0f}**"])
    return (f"Bytes of memory per register (`{plan.again('scale')}`).\n\n"
            + table(["piece", "bytes"], rows) + "\n")


def others(plan, _goals):
    if not plan.choose({"all": None}, "others"):
        return ""
    rows = []
    found = run("bench_dead_server", ".", 1)
    for name, case in DEAD_SERVER.items():
        entry = found[f"DeadServer/{name}"][0]
        rows.append([case, f"{entry['answers_per_s']:.2f}", f"{entry['of_full_rate']:.0%}"])
    found = run("bench_recorder", "Transaction", plan.repetitions)
    without, recorded = times(found["Transaction/0"]), times(found["Transaction/65536"])
    again = plan.again("others")
    return ("## A dead server, and the recorder\n\nTen servers polled at 9600 baud, in virtual "
            f"time (`{again}`).\n\n" + table(["case", "answers a second", "of what the others had"],
                                             rows)
            + f"\nA transaction with the recorder takes {ratios(recorded, without).show()} times "
            f"the processor time of one without it (`{again}`).\n\n")
