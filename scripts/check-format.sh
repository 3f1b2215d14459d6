#!/usr/bin/env bash
# Fails, naming the places, when a source file is not as .clang-format or check-style.py wants it. --fix rewrites what
# clang-format can.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(--dry-run -Werror)
[ "${1:-}" = --fix ] && mode=(-i)
git ls-files -z -- '*.h' '*.c' '*.cpp' | xargs -0 -r clang-format-14 "${mode[@]}"
git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r scripts/check-style.py
