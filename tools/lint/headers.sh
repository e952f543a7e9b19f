#!/bin/sh
# Compiles each header alone with both compilers, warnings as errors.
# shellcheck disable=SC2016  # the inner shell expands
set -eu
cd "$(dirname "$0")/../.."

flags="-std=c++20 @cmake/warnings.txt -Werror -fsyntax-only -I. -Isrc -Idesign -x c++ -"
export flags
find platform src design tools examples tests bench -name '*.h' ! -name '*_win.h' -print0 |
  xargs -0 -r -P "$(nproc)" -n 1 sh -c '
    for compiler in g++ clang++-14; do
      echo "#include \"$1\"" | $compiler $flags || { echo "$1 does not compile alone"; exit 1; }
    done' header
