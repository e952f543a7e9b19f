#!/usr/bin/env python3
"""Draws what a program printed as a picture of a terminal.

usage: program | terminal_svg.py TITLE >picture.svg
"""

import html
import sys

LINE, CHARACTER, MARGIN, BAR = 17, 7.83, 16, 30
BLANK = "\N{NO-BREAK SPACE}"  # viewers run ordinary blanks together


def shown(line):
    return html.escape(line).replace(" ", BLANK)


lines = [line.rstrip("\n") for line in sys.stdin]
width = max(map(len, lines)) * CHARACTER + 2 * MARGIN
height = len(lines) * LINE + BAR + 2 * MARGIN
dots = "".join(
    f'<circle cx="{18 + 18 * i}" cy="15" r="5" fill="{color}"/>'
    for i, color in enumerate(("#e0645c", "#d9a441", "#5fa45b"))
)
rows = "\n".join(
    f'<text x="{MARGIN}" y="{BAR + MARGIN + LINE * (i + 0.75):.0f}">{shown(line)}</text>'
    for i, line in enumerate(lines)
    if line
)
print(f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height:.0f}" width="{width:.0f}">
<rect width="100%" height="100%" rx="8" fill="#1d2530"/>{dots}
<text x="50%" y="20" text-anchor="middle" fill="#8fa0b3" font-family="sans-serif" font-size="13">{html.escape(sys.argv[1])}</text>
<g font-family="'DejaVu Sans Mono', Menlo, Consolas, monospace" font-size="13" fill="#d7dfe8">
{rows}
</g></svg>""")
