#!/bin/sh
# Runs clang-tidy over the sources that the clang preset builds; needs its configured tree.
set -eu
cd "$(dirname "$0")/../.."

find platform src design tools examples -name '*.cpp' ! -name '*_win.cpp' |
  xargs -r -P "$(nproc)" -n 1 sh -c '
    found=$(clang-tidy -p build/clang --quiet "$1" 2>&1) || { echo "$found"; exit 1; }' tidy
