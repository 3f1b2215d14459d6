#!/usr/bin/env bash
# Installs what is missing, builds everything and runs all tests.
#
#   scripts/test.sh [PRESET]     release (default), debug, asan or tsan (the library alone: the threads of the image
#                                library that the program uses are not built for it)
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/install-deps.sh build test
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset"
