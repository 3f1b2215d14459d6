#!/usr/bin/env bash
# Installs the Debian packages that a job needs, and only those that are missing.
#
#   scripts/install-deps.sh [build] [test] [ci] [static] [nightly] [install] [photos] [viewers]     default: build test
set -euo pipefail

declare -A groups=(
  [build]="g++ cmake ninja-build libboost-thread-dev libcli11-dev libopencv-dev libyaml-cpp-dev"
  [test]="locales python3 libgtest-dev libgmock-dev libeigen3-dev libbenchmark-dev libnanoflann-dev"
  [ci]="clang libclang-rt-14-dev clang-format-14"
  [install]="make pkg-config"
  [photos]="opencv-doc"
  [static]="clang clang-tidy-14 cppcheck"
  [nightly]="valgrind gcovr"
  [viewers]="chromium imagemagick meshlab pcl-tools xvfb xauth"
)

[ $# -gt 0 ] || set -- build test
architecture=$(dpkg --print-architecture)
missing=()
for group in "$@"; do
  if [ -z "${groups[$group]:-}" ]; then
    echo "install-deps.sh: no such group: $group (known: build, test, ci, static, nightly, install, photos, viewers)" >&2
    exit 1
  fi
  for package in ${groups[$group]}; do
    # One line for each architecture that the machine knows it for: ours, or one that has none, is what counts.
    dpkg-query -W -f='${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null |
      grep -qxE "(all|$architecture) installed" || missing+=("$package")
  done
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "install-deps.sh: neither root nor sudo; please install: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
       apt-get install -y --no-install-recommends "${missing[@]}"; } </dev/null >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "install-deps.sh: apt-get failed" >&2
  exit 1
fi
