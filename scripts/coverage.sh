#!/usr/bin/env bash
# Branches and lines of the library that the tests reach, by folder, and the lines that nothing reaches.
#
#   scripts/coverage.sh     figures to standard output, pages to build/coverage/report
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build test nightly
flags="--coverage -fprofile-update=atomic -O1 -fno-inline"
cmake -S . -B build/coverage -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags -w" -DCMAKE_C_FLAGS="$flags" \
  -DKESTROVA_BUILD_APPS=OFF -DKESTROVA_BUILD_BENCH=OFF >/dev/null
cmake --build build/coverage -j "$(nproc)"
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage -j "$(nproc)" --output-on-failure >build/coverage/ctest.log || {
  tail -n 40 build/coverage/ctest.log
  exit 1
}
mkdir -p build/coverage/report
# Branches that only an exception takes are the compiler's, not ours.
gcovr -r . build/coverage --filter src/ --exclude-throw-branches --exclude-unreachable-branches -j "$(nproc)" \
  --json build/coverage/coverage.json --html-details build/coverage/report/index.html
python3 - <<'END'
import collections, json, pathlib
folders = collections.defaultdict(lambda: [0, 0, 0, 0])
unreached = []
for file in json.load(open("build/coverage/coverage.json"))["files"]:
    count = folders[str(pathlib.PurePath(file["file"]).parent)]
    for line in file["lines"]:
        if line.get("gcovr/noncode"):
            continue
        count[0] += line["count"] > 0
        count[1] += 1
        count[2] += sum(branch["count"] > 0 for branch in line["branches"])
        count[3] += len(line["branches"])
        if line["count"] == 0:
            unreached.append(f"{file['file']}:{line['line_number']}")
print(f"{'folder':28} {'lines':>14} {'branches':>16}")
folders["all"] = [sum(column) for column in zip(*folders.values())]
for name, (lines, of, branches, of_branches) in sorted(folders.items()):
    print(f"{name:28} {lines:6}/{of:<6} {branches:6}/{of_branches:<6} {100 * branches / max(of_branches, 1):5.1f} %")
print("lines that nothing reaches:", *unreached, sep="\n  ")
END
