#!/usr/bin/env bash
# Fails, naming the places, when the library does not compile for another processor than x86-64 with its plain forms
# alone. Needs a cross compiler: check-plain.sh [compiler], by default aarch64-linux-gnu-g++ (g++-aarch64-linux-gnu).
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=${1:-aarch64-linux-gnu-g++}
command -v "$compiler" >/dev/null || { echo "check-plain.sh: there is no $compiler" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ln -s "${BOOST_INCLUDEDIR:-/usr/include}/boost" "$work/boost" # headers only, none of this machine's own

find src -name '*.cpp' ! -path 'src/kernels/sse2/*' ! -path 'src/kernels/avx*/*' -print0 |
  xargs -0 -P "$(nproc)" -n 8 "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wshadow -Werror \
    -Iinclude -Isrc -isystem "$work"
