#!/usr/bin/env python3
"""Reads every #include of the project and refuses one that reaches up or makes a circle.

usage: floors.py [--self-test]
"""

import pathlib
import posixpath
import re
import sys

FOLDERS = ["platform", "src", "design", "tools", "examples", "tests", "bench"]
INCLUDE_FOLDERS = ["", "src", "design"]  # where the compiler looks, after the file's own folder

# Each room and the rooms that it stands on; it may include them and all that they stand on.
STANDS_ON = {
    "platform/rtl": [],
    "platform/model": ["platform/rtl"],
    "platform/loop": ["platform/model"],
    "platform/modbus": ["platform/loop"],
    "platform/designer": ["platform/model"],
    "src/uMBLib": ["platform/modbus"],
    "src/uMBTypeInfo": ["src/uMBLib"],
    "src/uMBReg": ["src/uMBTypeInfo"],
    "src/uMBRTU": ["src/uMBReg"],
    "src/uMBTCP": ["src/uMBReg"],
    "src/uMBEmul": ["src/uMBReg"],
    "src/uMBClient": ["src/uMBRTU", "src/uMBTCP", "src/uMBEmul"],
    "src/uMBLetters": ["src/uMBClient"],
    "src/uMBReadWrite": ["src/uMBLetters"],
    "src/uMBRegSort": ["src/uMBLetters"],
    "src/uMBRegsAutoFill": ["src/uMBLetters"],
    "src/uMBCustomFunctions": ["src/uMBClient"],
    "src/uMBLogCustomFunctions": ["src/uMBCustomFunctions"],
    "src/uMBOscilCustomFunctions": ["src/uMBCustomFunctions"],
    "src/uMBForm": [
        "src/uMBRegsAutoFill", "src/uMBLogCustomFunctions", "src/uMBOscilCustomFunctions",
    ],
    "the run-time units": ["src/uMBReadWrite", "src/uMBRegSort", "src/uMBForm"],
    "design": ["the run-time units", "platform/designer"],
    "tools": ["the run-time units"],
    "examples": ["tools"],
    "bench": ["tools"],
    "tests": ["design", "tools", "examples", "bench"],
}


def room_of(path):
    """platform/rtl/uText.h is in platform/rtl, src/uMBTypeInfo_Numbers.cpp in src/uMBTypeInfo."""
    top, *rest = path.split("/")
    if top == "platform":
        return f"{top}/{rest[0]}"
    if top == "src":
        return f"{top}/{rest[0].split('.')[0].split('_')[0]}"
    return top


def rooms_below(room):
    below = set()
    for lower in STANDS_ON[room]:
        below |= {lower} | rooms_below(lower)
    return below


def includes(text):
    """Yields line number, whether quoted, and name of every #include."""
    for number, line in enumerate(text.splitlines(), 1):
        match = re.match(r'\s*#\s*include\s*(["<])([^">]+)[">]', line)
        if match:
            yield number, match[1] == '"', match[2]


def resolve(files, path, name):
    for folder in [posixpath.dirname(path)] + INCLUDE_FOLDERS:
        candidate = posixpath.normpath(posixpath.join(folder, name))
        if candidate in files:
            return candidate
    return None


def find_cycles(graph):
    """Every include that closes a circle, as the circle's files in order."""
    cycles, done = [], set()

    def visit(path, trail):
        if path in trail:
            cycles.append(trail[trail.index(path):] + [path])
        elif path not in done:
            for target in graph[path]:
                visit(target, trail + [path])
            done.add(path)

    for path in graph:
        visit(path, [])
    return cycles


def check(files):
    """The faults of files (path from the root: text), one line each."""
    faults, graph = [], {path: [] for path in files}
    for path, text in files.items():
        room = room_of(path)
        if room not in STANDS_ON:
            faults.append(f"{path}: {room} has no floor yet; give it one in tools/lint/floors.py")
            continue
        allowed = {room} | rooms_below(room)
        for number, quoted, name in includes(text):
            target = resolve(files, path, name)
            if target:
                graph[path].append(target)
                if room_of(target) not in allowed:
                    faults.append(f"{path}:{number}: {room} does not stand on {room_of(target)}")
            elif quoted:
                faults.append(f'{path}:{number}: "{name}" is no file of this project')
    return faults + ["circle: " + " -> ".join(cycle) for cycle in find_cycles(graph)]


def self_test():
    """Each fault is found, and the same files without it are clean."""
    good = {
        "platform/rtl/uText.h": "#include <string>\n",
        "platform/model/uComponent.h": '#include "platform/rtl/uText.h"\n',
        "src/uMBLib.h": '#include "platform/model/uComponent.h"\n',
        "src/uMBReg.h": '#include "uMBLib.h"\n',
        "src/uMBReg_Text.cpp": '#include "uMBReg.h"\n',
        "src/uMBRTU.h": '#include "uMBReg.h"\n',
        "src/uMBTCP.h": "",
        "src/uMBLetters.h": '#include "uMBReg.h"\n',
        "src/uMBCustomFunctions.h": "",
        "tests/src/uMBReg_test.cpp": '#include "uMBReg.h"\n#include <gtest/gtest.h>\n',
    }
    cases = [
        ("a clean house", {}, []),
        ("a floor reaches up", {"platform/rtl/uText.h": '#include "platform/model/uComponent.h"'},
         ["platform/rtl/uText.h:1: platform/rtl does not stand on platform/model",
          "circle: platform/rtl/uText.h -> platform/model/uComponent.h -> platform/rtl/uText.h"]),
        ("a floor reaches src by angles", {"platform/rtl/uText.h": "\n# include <uMBTCP.h>"},
         ["platform/rtl/uText.h:2: platform/rtl does not stand on src/uMBTCP"]),
        ("a unit reaches up", {"src/uMBLib.h": "", "src/uMBLib.cpp": '#include "uMBReg.h"'},
         ["src/uMBLib.cpp:1: src/uMBLib does not stand on src/uMBReg"]),
        ("a unit reaches its neighbour", {"src/uMBRTU.h": '#include "uMBTCP.h"'},
         ["src/uMBRTU.h:1: src/uMBRTU does not stand on src/uMBTCP"]),
        ("a unit reaches another branch", {"src/uMBCustomFunctions.h": '#include "uMBLetters.h"'},
         ["src/uMBCustomFunctions.h:1: src/uMBCustomFunctions does not stand on src/uMBLetters"]),
        ("a circle inside a room", {"platform/rtl/uA.h": '#include "uB.h"',
                                    "platform/rtl/uB.h": '#include "uC.h"',
                                    "platform/rtl/uC.h": '#include "platform/rtl/uA.h"'},
         ["circle: platform/rtl/uA.h -> platform/rtl/uB.h -> platform/rtl/uC.h -> "
          "platform/rtl/uA.h"]),
        ("a header includes itself", {"src/uMBTCP.h": '#include "uMBTCP.h"'},
         ["circle: src/uMBTCP.h -> src/uMBTCP.h"]),
        ("the library reaches a test", {"tests/rtl/help.h": "",
                                        "src/uMBTCP.h": '#include "tests/rtl/help.h"'},
         ["src/uMBTCP.h:1: src/uMBTCP does not stand on tests"]),
        ("an unknown file", {"src/uMBTCP.h": '#include "uGone.h"'},
         ['src/uMBTCP.h:1: "uGone.h" is no file of this project']),
        ("an unknown room", {"src/uMBNew.h": ""},
         ["src/uMBNew.h: src/uMBNew has no floor yet; give it one in tools/lint/floors.py"]),
    ]
    failed = 0
    for name, changes, expected in cases:
        got = check({**good, **changes})
        if got != expected:
            failed += 1
            print(f"{name}:\n  expected {expected}\n  got      {got}")
    print(f"{len(cases) - failed} passed, {failed} failed")
    return failed > 0


def project_files():
    root = pathlib.Path(__file__).resolve().parents[2]
    return {
        path.relative_to(root).as_posix(): path.read_text(encoding="utf-8")
        for folder in FOLDERS
        for path in sorted((root / folder).rglob("*"))
        if path.suffix in (".h", ".cpp", ".c")
    }


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    if arguments:
        print(__doc__)
        return 2
    faults = check(project_files())
    print("\n".join(faults), end="\n" if faults else "")
    return len(faults) > 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
