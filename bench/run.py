#!/usr/bin/python3
"""Runs the benchmarks and writes bench/results.md: tables, and which goals are met."""

import argparse
import dataclasses
import os
import platform
import sys
import time

from report import inside, line, profile, table, trial

SECTIONS = (line.line, line.silent, line.wire, line.letter, line.lines, inside.codec, inside.scale,
            inside.others)


@dataclasses.dataclass
class Plan:
    """How long to measure, and what."""

    only: str
    rounds: int = 7
    seconds: float = 0.35
    silent_rounds: int = 3
    wire_rounds: int = 3
    wire_seconds: float = 1.0
    letter_rounds: int = 3
    repetitions: int = 7
    scale_repetitions: int = 3
    sizes: tuple = (1000, 10000, 100000, 1000000)
    rows: dict = dataclasses.field(default_factory=dict)

    def choose(self, rows, section):
        """The names of the rows of a section that are to be measured."""
        wanted, _, row = self.only.partition("/")
        if wanted not in ("", section):
            return []
        if row and row not in rows:
            raise SystemExit(f"bench: {section} has no row {row!r} but {', '.join(rows)}")
        return [row] if row else self.rows.get(section, list(rows))

    @staticmethod
    def again(row):
        return f"./run bench --only {row}"


def quick(only):
    return Plan(only, rounds=2, seconds=0.2, silent_rounds=1, wire_rounds=1, wire_seconds=0.5,
                letter_rounds=1, repetitions=2, scale_repetitions=1, sizes=(1000, 10000, 100000),
                rows={"line": ["03x10", "03x125"], "silent": ["03x10"],
                      "wire": ["19200-0ms", "115200-0ms"], "letter": ["115200"],
                      "lines": ["64"]})


def machine():
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as file:
        models = [text.split(":")[1].strip() for text in file if text.startswith("model name")]
    name = models[0] if models else platform.machine()
    return f"{name}, {os.cpu_count()} cores, Linux {platform.release()}"


def report(plan):
    goals = table.Goals()
    sections = []
    for section in SECTIONS:
        start = time.monotonic()
        sections.append(section(plan, goals))
        if sections[-1]:
            print(f"bench: {section.__name__}, {time.monotonic() - start:.0f} s", file=sys.stderr)
    sections.append(profile.of_unmet(goals))
    return (f"# Results\n\n{machine()}. Contenders run in turn, A B A B; each figure is the median "
            "of its runs, the least and the greatest behind it. Ratios are those of runs next to "
            f"each other.\n\n## Goals\n\n{goals.show()}\n" + "".join(sections))


def main():
    parser = argparse.ArgumentParser(prog="./run bench", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="two minutes")
    parser.add_argument("--only", default="", metavar="SECTION[/ROW]",
                        help="one section or one row of it, printed and not written")
    options = parser.parse_args()
    sections = [section.__name__ for section in SECTIONS]
    if options.only.split("/")[0] not in ("", *sections):
        parser.error(f"the sections are {', '.join(sections)}")
    plan = quick(options.only) if options.quick else Plan(options.only)
    text = report(plan)
    if options.only or options.quick:
        print(text)
        return
    with open(os.path.join(trial.ROOT, "bench", "results.md"), "w", encoding="utf-8") as file:
        file.write(text.rstrip("\n") + "\n")
    print("bench: bench/results.md is written", file=sys.stderr)


if __name__ == "__main__":
    main()
