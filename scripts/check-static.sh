#!/usr/bin/env bash
# Reads the library with clang-tidy and cppcheck; every finding is an error.
#
#   scripts/check-static.sh [clang-tidy | cppcheck]     default: both
#
# What is checked, and why some checks are not, stands in .clang-tidy and in scripts/cppcheck-exceptions.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build static

run_clang_tidy() {
  cmake -S . -B build/static -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
    -DKESTROVA_BUILD_TESTS=OFF -DKESTROVA_BUILD_APPS=OFF -DKESTROVA_BUILD_BENCH=OFF >/dev/null
  run-clang-tidy-14 -quiet -p build/static "$PWD/src/" >build/static/clang-tidy.log 2>&1 || {
    grep -E "(warning|error):" build/static/clang-tidy.log | sort -u
    echo "check-static.sh: clang-tidy has findings, see build/static/clang-tidy.log" >&2
    return 1
  }
  echo "clang-tidy: no finding"
}

run_cppcheck() {
  # Plain forms and one wide form: the others differ in the width of their vectors alone.
  cppcheck --quiet --std=c++20 --language=c++ --inline-suppr -j "$(nproc)" \
    --enable=warning,performance,portability --suppressions-list=scripts/cppcheck-exceptions.txt \
    --error-exitcode=1 -I include -I src -D__SSE2__ -D__GNUC__ src
  echo "cppcheck: no finding"
}

if [ $# -eq 0 ]; then
  set -- clang-tidy cppcheck
fi
for tool in "$@"; do
  case $tool in
    clang-tidy) run_clang_tidy ;;
    cppcheck) run_cppcheck ;;
    *)
      echo "check-static.sh: no such tool: $tool" >&2
      exit 2
      ;;
  esac
done
