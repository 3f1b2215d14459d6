#!/usr/bin/env bash
# One frame of the demo's pair and one of its L set under valgrind, from files to a cloud, and a call of every function:
# no bad access, no value that was never written, nothing lost.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build test nightly
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target every_function_c11 kestrova_cli
program=build/release/apps/kestrova/kestrova
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

watched() { # <command...>
  valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
    "$@" >"$scratch/log" 2>&1 || {
    cat "$scratch/log"
    return 1
  }
}

watched build/release/tests/abi/every_function_c11
for cameras in pair l; do # the L set takes the plain forms
  demo=$scratch/$cameras
  "$program" demo --size 320x240 --cameras "$cameras" --to "$demo" >/dev/null
  frames=(--right "$demo/raw_right.png" --left "$demo/raw_left.png")
  [ "$cameras" = pair ] || frames+=(--top "$demo/raw_top.png")
  watched "$program" run --calibration "$demo/calibration.txt" "${frames[@]}" --to "$scratch/out"
done
echo "valgrind: no finding"
