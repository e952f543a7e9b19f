"""Figures with their spread, tables and goals, as Markdown."""

import statistics


class Spread:
    """The median of several measurements, the least and the greatest."""

    def __init__(self, values):
        values = sorted(values)
        self.median, self.least, self.most = statistics.median(values), values[0], values[-1]

    def show(self, pattern="{:.2f}"):
        parts = [pattern.format(value) for value in (self.median, self.least, self.most)]
        if parts[1] == parts[2]:
            return parts[0]
        return f"{parts[0]} ({parts[1]} to {parts[2]})"


def ratios(own, other):
    """Of measurements that took turns."""
    return Spread(a / b for a, b in zip(own, other))


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + " --- |" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def figure(value, pattern, limit):
    """limit: who has reached what on this machine, to compare with."""
    shown = pattern.format(value)
    return shown if limit is None else f"{shown} ({limit[0]} {pattern.format(limit[1])})"


class Goals:
    """What was to be reached, and whether it was: never more than the figures say."""

    def __init__(self):
        self.rows = []
        self.unmet = []

    def add(self, text, figure, met, why=None):
        """why: names what a profile of it would be taken of."""
        self.rows.append((text, figure, "met" if met else "not met"))
        if not met and why is not None:
            self.unmet.append(why)

    def at_least(self, text, value, goal, pattern="{:.2f}", why=None, limit=None):
        self.add(text, figure(value, pattern, limit), value >= goal, why)

    def at_most(self, text, value, goal, pattern="{:.2f}", why=None, limit=None):
        self.add(text, figure(value, pattern, limit), value <= goal, why)

    def show(self):
        return table(("goal", "figure", ""), self.rows)
