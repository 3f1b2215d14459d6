#!/usr/bin/env bash
# Fails, naming the places, when a source file is not as .clang-format wants it. --fix rewrites instead.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(--dry-run -Werror)
[ "${1:-}" = --fix ] && mode=(-i)
git ls-files -z -- '*.h' '*.c' '*.cpp' | xargs -0 -r clang-format-14 "${mode[@]}"
