"""Masters on a line: as fast as the machine, at a line's pace, by letters, many lines at once."""

from .table import Spread, ratios, table
from .trial import NAMES, PEERS, interleave, one_core, system_calls, trial

WORKLOADS = {  # function, registers or coils, bytes of request and of reply
    "03x1": (3, 1, 8, 7),
    "03x10": (3, 10, 8, 25),
    "03x125": (3, 125, 8, 255),
    "06": (6, 1, 8, 8),
    "10x100": (16, 100, 209, 8),
    "01x2000": (1, 2000, 8, 255),
}
BITS = 11  # of a character


def arguments_of(workload):
    function, count, _, _ = WORKLOADS[workload]
    return ["--function", str(function), "--count", str(count)]


def title(workload):
    name, _, count = workload.partition("x")
    return f"${name}" + (f" x {count}" if count else "")


def rates(results):
    return [result["rates"][0] for result in results]


def speed_row(row, workload, masters, silence, rounds, plan):
    arguments = [*arguments_of(workload), "--silence", silence, "--seconds", str(plan.seconds)]
    with one_core():
        results = interleave(masters, rounds, lambda master: trial(master, arguments))
    bare = rates(results["bare"])
    cells = [title(workload), Spread(bare).show("{:,.0f}")]
    cells += [ratios(rates(results[master]), bare).show() for master in masters[1:]]
    return results, [*cells, f"`{plan.again(row)}`"]


def speed(plan, section, masters, silence, rounds):
    rows, ours = [], {"transport": {}, "letter": {}}
    behind, allocations = [], 0.0
    for workload in plan.choose(WORKLOADS, section):
        results, cells = speed_row(f"{section}/{workload}", workload, masters, silence, rounds,
                                   plan)
        rows.append(cells)
        bare = rates(results["bare"])
        for name, of_row in ours.items():
            of_row[workload] = ratios(rates(results[name]), bare).median
            allocations = max(allocations, *(r["allocations"] for r in results[name]))
            for peer in set(PEERS) & set(masters):
                if ratios(rates(results[name]), rates(results[peer])).median <= 1:
                    behind.append(f"{NAMES[name]} behind {NAMES[peer]} in {title(workload)}")
    return rows, ours, behind, allocations


def add_speed_goals(goals, kind, ours, behind):
    for name, goal in (("transport", 0.95), ("letter", 0.90)):
        for workload, value in ours[name].items():
            goals.at_least(f"{kind}, {title(workload)}: {NAMES[name]} at {goal:.2f} of the bare "
                           "master", value, goal, "{:.3f}", why=("row", name, workload))
    goals.add(f"{kind}: ahead of every peer in every row", ", ".join(behind) or "ahead", not behind)


def line(plan, goals):
    masters = ("bare", "transport", "letter", *PEERS)
    rows, ours, behind, allocations = speed(plan, "line", masters, "0", plan.rounds)
    if not rows:
        return ""
    add_speed_goals(goals, "Line", ours, behind)
    goals.at_most("Line: no heap allocation per transaction", allocations, 0.001, "{:.3f}")
    head = ["request", "bare master, a second", *(NAMES[m] for m in masters[1:]), "again"]
    text = ("## The line, no silent interval\n\nTransactions a second of the bare master, and how "
            "much of them the others reach. Master, server and the kernel's worker between them "
            "share a core. $01 goes through the client alone, since a letter reads at most 128 "
            f"coils by one request.\n\n{table(head, rows)}\n")
    return text + calls(plan, goals, masters)


def calls(plan, goals, masters):
    arguments = arguments_of("03x10")
    with one_core():
        counts = {master: system_calls(master, arguments) for master in masters}
    if None in counts.values():
        return "System calls were not counted: there is no strace.\n\n"
    for name in ("transport", "letter"):
        goals.at_most(f"Line: three system calls per transaction, {NAMES[name]}", counts[name],
                      3.05)
    row = ["$03 x 10", *(f"{counts[master]:.2f}" for master in masters), f"`{plan.again('line')}`"]
    return ("System calls per transaction, counted by strace.\n\n"
            + table(["request", *(NAMES[m] for m in masters), "again"], [row]) + "\n")


def silent(plan, goals):
    masters = ("bare", "transport", "letter", "qt", "pymodbus")
    rows, ours, behind, _ = speed(plan, "silent", masters, "-1", plan.silent_rounds)
    if not rows:
        return ""
    add_speed_goals(goals, "Line with silence", ours, behind)
    head = ["request", "bare master, a second", *(NAMES[m] for m in masters[1:]), "again"]
    return ("## The line, with the standard's silent interval of 1.75 ms\n\nThose that keep it. The "
            f"server answers at once, as above.\n\n{table(head, rows)}\n")


# ---- the wire -----------------------------------------------------------------------------------

WIRES = {  # baud rate, silent interval in microseconds, what a master is told of it
    "9600": (9600, 4010, "-1"),
    "19200": (19200, 2005, "-1"),
    "115200": (115200, 1750, "-1"),
    "115200-3.5": (115200, 334, "334"),
}


def ideal_seconds(workload, baud, silence, turnaround):
    _, _, request, reply = WORKLOADS[workload]
    return (request + reply) * BITS / baud + (silence + turnaround) / 1e6


def server_of(baud, silence, turnaround):
    return ["--baud", str(baud), "--silence", str(silence), "--turnaround", str(turnaround)]


def on_wire(master, baud, silence, told, turnaround, ports, seconds, wrapper=()):
    arguments = [*arguments_of("03x10"), "--silence", told, "--baud", str(baud), "--seconds",
                 str(seconds)]
    if master == "bare":
        arguments.append("--paced")
    result = trial(master, arguments, server_of(baud, silence, turnaround), ports, paced=True,
                   wrapper=wrapper)
    ideal = ideal_seconds("03x10", baud, silence, turnaround)
    result["utilisation"] = min(result["rates"]) * ideal
    result["share_early"] = result["early"] / max(result["requests"], 1)
    return result


def spread_of(results, key):
    return Spread(result[key] for result in results)


def wire(plan, goals):
    masters = ("bare", "letter", *PEERS)
    rows = []
    cases = {f"{name}-{turnaround // 1000}ms": (*settings, turnaround)
             for name, settings in WIRES.items() for turnaround in (0, 5000)}
    for case in plan.choose(cases, "wire"):
        baud, silence, told, turnaround = cases[case]
        results = interleave(masters, plan.wire_rounds, lambda master: on_wire(
            master, baud, silence, told, turnaround, 1, max(plan.wire_seconds, 9600 / baud)))
        place = f"{baud} baud, silence {silence / 1000:g} ms, turnaround {turnaround // 1000} ms"
        for master in masters:
            of_master = results[master]
            rows.append([place, NAMES[master],
                         spread_of(of_master, "utilisation").show("{:.2%}"),
                         spread_of(of_master, "share_early").show("{:.0%}"),
                         spread_of(of_master, "sleeps").show(),
                         f"`{plan.again('wire/' + case)}`"])
        own, bare = results["letter"], results["bare"]
        goal = 0.97 if baud == 115200 else 0.995
        goals.at_least(f"Wire, {place}: {goal:.1%} of the line",
                       spread_of(own, "utilisation").median, goal, "{:.2%}",
                       limit=("bare master", spread_of(bare, "utilisation").median))
        goals.at_most(f"Wire, {place}: no request early", spread_of(own, "early").most, 0,
                      "{:.0f}")
        # One wake-up ends the silent interval: the rest are for the reply.
        goals.at_most(f"Wire, {place}: one wake-up per reply",
                      spread_of(own, "sleeps").median - 1, 1.05,
                      limit=("bare master", spread_of(bare, "sleeps").median - 1))
    if not rows:
        return ""
    head = ["line", "master", "utilisation", "requests too early", "wake-ups per transaction",
            "again"]
    return ("## The wire\n\nAt the pace of a line, $03 x 10: 11 bits a character, bursts of 16 "
            "characters as from a port's buffer. Utilisation is the time that the frames, the "
            "turnaround and the silent interval take, by the time that was taken; who does not "
            "keep the interval exceeds it. Of the wake-ups one ends the silent interval. When a "
            "reply comes after a turnaround is not known: then its first burst wakes its reader, "
            "and before it the end of the time that it would have taken at once.\n\n"
            + table(head, rows) + "\n")


# ---- letters ------------------------------------------------------------------------------------

LETTERS = {  # baud rate, turnaround in microseconds; 0 baud = as fast as the machine
    "0": (0, 0),
    "19200": (19200, 0),
    "115200": (115200, 0),
    "115200-5ms": (115200, 5000),
}


def one_letter(master, baud, turnaround, seconds):
    told = "0" if baud == 0 else "-1"
    arguments = ["--map", "--silence", told, "--seconds", str(seconds)]
    if baud:
        arguments += ["--baud", str(baud)]
        return trial(master, arguments, server_of(baud, 0, turnaround), paced=True)
    with one_core():
        return trial(master, arguments)


def letter(plan, goals):
    masters = ("letter", "libmodbus")
    rows = []
    for case in plan.choose(LETTERS, "letter"):
        baud, turnaround = LETTERS[case]
        results = interleave(masters, plan.letter_rounds, lambda master: one_letter(
            master, baud, turnaround, plan.wire_seconds))
        own, peer = (Spread(1000 / rate for rate in rates(results[m])) for m in masters)
        gain = ratios(rates(results["letter"]), rates(results["libmodbus"]))
        requests = [results[m][0]["requests"] / results[m][0]["completed"] for m in masters]
        place = "as fast as the machine" if baud == 0 else f"{baud} baud"
        rows.append([f"{place}, turnaround {turnaround // 1000} ms", own.show("{:,.1f}"),
                     peer.show("{:,.1f}"), f"**{gain.show()}**",
                     " : ".join(f"{n:.0f}" for n in requests), f"`{plan.again('letter/' + case)}`"])
        goals.at_least(f"Letter, {rows[-1][0]}: faster than single reads by libmodbus",
                       gain.median, 1)
    if not rows:
        return ""
    head = ["line", "one letter, ms", "libmodbus, single reads, ms", "gain", "requests", "again"]
    return ("## The letter\n\nA map of 500 tags (clusters of registers of 1, 2 and 4 words, gaps) "
            "read once: by one letter that decodes it, and tag by tag with libmodbus, which keeps "
            f"no silent interval.\n\n{table(head, rows)}\n")


# ---- many lines ---------------------------------------------------------------------------------


def lines(plan, goals):
    masters = ("bare", "letter", *PEERS)
    cases = {str(count): count for count in (1, 8, 32, 64)}
    rows = []
    for case in plan.choose(cases, "lines"):
        count = cases[case]
        results = interleave(masters, plan.wire_rounds, lambda master: on_wire(
            master, 115200, 1750, "-1", 0, count, plan.wire_seconds))
        for master in masters:
            of_master = results[master]
            rows.append([case, NAMES[master],
                         spread_of(of_master, "utilisation").show("{:.1%}"),
                         spread_of(of_master, "processor").show("{:.1%}"),
                         spread_of(of_master, "share_early").show("{:.0%}"),
                         f"`{plan.again('lines/' + case)}`"])
        if count == 64:
            own, bare = results["letter"], results["bare"]
            goals.at_least("Many lines: 64 lines at 97 % of the line each",
                           spread_of(own, "utilisation").median, 0.97, "{:.1%}",
                           limit=("bare master", spread_of(bare, "utilisation").median))
            goals.at_most("Many lines: 64 lines on 12 % of a core",
                          spread_of(own, "processor").median, 0.12, "{:.1%}", why=("lines",),
                          limit=("bare master", spread_of(bare, "processor").median))
    if not rows:
        return ""
    head = ["lines", "master", "utilisation of the slowest line", "of a core",
            "requests too early", "again"]
    return ("## Many lines\n\nPaced lines at 115200 baud with the standard's silent interval, "
            "$03 x 10 back to back. One thread and registers decoded for ours; libmodbus has a "
            "thread for each line, Qt one thread, pymodbus one loop.\n\n"
            + table(head, rows) + "\n")
