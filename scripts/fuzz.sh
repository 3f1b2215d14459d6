#!/usr/bin/env bash
# Builds the fuzzers and runs each for a time, as many side by side as there are processors.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default: 60 seconds each, all targets of tests/fuzz
#
# What they find new is kept in build/fuzz/corpus and read again by the next run. A finding is left in
# build/fuzz/findings, and the script fails.
set -euo pipefail
cd "$(dirname "$0")/.."
export seconds=${1:-60}
shift || true
[ $# -gt 0 ] || set -- $(basename -a tests/fuzz/corpus/*)

scripts/install-deps.sh build ci
cmake --preset fuzz
cmake --build --preset fuzz -j "$(nproc)"

fuzz_one() { # <target>
  local target=$1 log=build/fuzz/$1.log
  mkdir -p "build/fuzz/corpus/$target" "build/fuzz/findings"
  # Standard output belongs to the library and is closed. Files are small, so memory beyond 256 MB is a finding too.
  if ! "build/fuzz/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -malloc_limit_mb=256 -max_len=16384 \
       -close_fd_mask=1 -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$target-" \
       "build/fuzz/corpus/$target" "tests/fuzz/corpus/$target" >"$log" 2>&1; then
    tail -n 40 "$log"
    echo "fuzz.sh: $target: a finding; see build/fuzz/findings and $log"
    return 1
  fi
  echo "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") executions in $seconds s, no finding"
}
export -f fuzz_one
export UBSAN_OPTIONS=print_stacktrace=1
printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} bash -c 'fuzz_one {}'
