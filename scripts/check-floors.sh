#!/usr/bin/env bash
# Fails, naming the places, when a file of the library includes one from a floor above its own, when files include one
# another in a circle, or when rooms do. The table of floors in docs/design.md is the only list of them.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "floor room" of every `src/room` in the table
sed -n '/^## Floors$/,/^## [^F]/p' docs/design.md |
  awk '/^\| [0-9]+ \|/ { floor = $2; while (match($0, /`src\/[a-z]+`/)) {
         print floor, substr($0, RSTART + 5, RLENGTH - 6); $0 = substr($0, RSTART + RLENGTH) } }' >"$work/floors"
# "file included" of every include of ours; paths are those under src
(cd src && find . -name '*.h' -o -name '*.cpp') | sed 's|^./||' >"$work/files"
(cd src && xargs grep -HE '^ *# *include *"' <"$work/files") |
  sed -E 's/^([^:]+):[^"]*"([^"]+)".*/\1 \2/' | grep -v ' kestrova\.h$' >"$work/includes"

failed=0
diff <(cut -d' ' -f2 "$work/floors" | sort) <(cut -d/ -f1 "$work/files" | sort -u) >"$work/rooms" || {
  echo "check-floors.sh: rooms of the table in docs/design.md (<) and folders of src (>) differ:"
  cat "$work/rooms"
  failed=1
}
awk -v files="$work/files" -v floors="$work/floors" '
  BEGIN { while ((getline < floors) > 0) floor[$2] = $1; while ((getline < files) > 0) known[$1] = 1 }
  { from = $1; sub("/.*", "", from); to = $2; sub("/.*", "", to) }
  !($2 in known) { print "src/" $1 " includes \"" $2 "\", which is no file under src"; bad = 1; next }
  floor[to] + 0 > floor[from] + 0 {
    print "src/" $1 " (floor " floor[from] ") includes \"" $2 "\" (floor " floor[to] ")"; bad = 1 }
  END { exit bad }' "$work/includes" || failed=1
tsort "$work/includes" >/dev/null || { echo "check-floors.sh: these files include one another in a circle"; failed=1; }
sed -E 's|([^/]+)/[^ ]* ([^/]+)/.*|\1 \2|' "$work/includes" | tsort >/dev/null || {
  echo "check-floors.sh: these rooms include one another in a circle"
  failed=1
}
exit $failed
