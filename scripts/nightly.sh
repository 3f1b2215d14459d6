#!/usr/bin/env bash
# The long forms of the checks, for a night on two cores. Prints the figures and what each stage took.
#
#   scripts/nightly.sh [SEED]     default: the day, so that every night has calls and faults of its own
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/run-stages.sh
seed=${1:-$(date +%Y%m%d)}
echo "seed $seed"

list=tests/abi/exported-flat-functions.txt
reliability=tests/reliability
# Seeds of the calls lie apart, so that no two nights share a sequence.
million() { "build/$1/$reliability/sequences" --seed "$((seed * 100000))" --calls "$2" --functions $list; }
make() { cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$(nproc)" --target sequences soak test_reliability; }

stage "packages" scripts/install-deps.sh build test ci static nightly
stage "build" make release
stage "build under ASan and UBSan" make asan
stage "build under TSan" make tsan
stage "a million calls" million release 1000000
stage "calls under ASan and UBSan" million asan 200000
stage "calls under TSan" million tsan 50000
stage "soak, 20 minutes" build/release/$reliability/soak 1200
stage "valgrind" scripts/check-valgrind.sh
stage "coverage" scripts/coverage.sh
stage "200 faults" scripts/mutate.py --seed "$seed" --count 200
stage "fuzzers, 10 minutes each" scripts/fuzz.sh 600
stages_end
