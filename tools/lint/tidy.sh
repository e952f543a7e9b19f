#!/bin/sh
# Runs clang-tidy over the sources that the clang preset builds; needs its configured tree.
# shellcheck disable=SC2016  # the inner shell expands
set -eu
cd "$(dirname "$0")/../.."

find platform src design tools examples -name '*.cpp' ! -name '*_win.cpp' -print0 |
  xargs -0 -r -P "$(nproc)" -n 1 sh -c '
    found=$(clang-tidy -p build/clang --quiet "$1" 2>&1) || { echo "$found"; exit 1; }' tidy
