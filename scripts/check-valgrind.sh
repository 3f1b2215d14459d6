#!/usr/bin/env bash
# One frame of the demo's cameras under valgrind: no bad access, no value that was never written, nothing lost.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build test nightly
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target every_function_c11
valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite,possible \
  --errors-for-leak-kinds=definite,possible build/release/tests/abi/every_function_c11
echo "valgrind: no finding"
