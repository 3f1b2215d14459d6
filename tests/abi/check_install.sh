#!/bin/sh
# Installs to a folder of its own and builds against it as a user would: -lkestrova alone brings the companion along.
#
#   check_install.sh <cmake> <build folder> <C compiler> <C program>
set -eu
cmake=$1 build=$2 compiler=$3 program=$4
temp=$(mktemp -d)
trap 'rm -rf "$temp"' EXIT

"$cmake" --install "$build" --prefix "$temp" > "$temp/log"
library=$(dirname "$(find "$temp" -name libkestrova.so.3)")
"$compiler" -I"$temp/include" "$program" -L"$library" -lkestrova -Wl,-rpath,"$library" -o "$temp/program"
env -u LD_LIBRARY_PATH "$temp/program"
exported=$(nm -D --defined-only "$library/libkestrova_pgm.so.3" | awk '{ print $NF }' | sort | tr '\n' ' ')
[ "$exported" = "pgm16Read pgm8Read " ] || { echo "the companion exports: $exported"; exit 1; }
