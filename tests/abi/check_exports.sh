#!/bin/sh
# Compares the checked-in list of exported names with the shared object, the header and the C program over the header.
#
#   check_exports.sh <C compiler> <shared object> <header> <list> <C program>   compares
#   check_exports.sh <C compiler> <shared object> <header> <list> --update      writes the list anew
#
# Names of namespace kestrova are exported as well and are nobody's contract, so they are left out. Anything else that
# leaks, such as an instantiation of a standard template, fails the comparison.
set -eu
export LC_ALL=C
compiler=$1 library=$2 header=$3 list=$4 program=$5
temp=$(mktemp -d)
trap 'rm -rf "$temp"' EXIT

nm -D --defined-only "$library" | awk '{ print $NF }' | sed 's/@.*//' | grep -Ev '^_Z(NK?|T[A-Z]N)8kestrova' | sort -u > "$temp/exported"

if [ "$program" = --update ]; then
    cp "$temp/exported" "$list"
    exit 0
fi

# One declaration per line; a name given to the linker wins over the name of the function.
"$compiler" -DKESTROVA_NUMERICS -E -P -x c "$header" | tr '\n' ' ' | tr ';' '\n' | grep 'visibility("default")' |
    sed -E -e 's/.*__asm__ *\("([^"]*)"\).*/\1/' -e 's/.*[ *](g_[A-Za-z0-9_]*) *$/\1/' \
        -e 's/.*[ *]([A-Za-z0-9_]+) *\(.*/\1/' |
    sort -u > "$temp/declared"
nm -D "$program" | awk '{ print $NF }' | sed 's/@.*//' | sort -u | comm -12 - "$list" > "$temp/used"

failed=0
compare() { # <file> <what>
    if ! diff "$list" "$1" > "$temp/diff"; then
        echo "The list of exported names (<) and $2 (>) differ:"
        grep '^[<>]' "$temp/diff"
        failed=1
    fi
}
sort -c "$list"
compare "$temp/exported" "what the shared object exports"
compare "$temp/declared" "what the header declares"
compare "$temp/used" "what the C program uses"

version=$(echo KESTROVA_VERSION_MAJOR.KESTROVA_VERSION_MINOR.KESTROVA_VERSION_RELEASE_NUMBER |
    "$compiler" -E -P -include "$header" -x c - | tail -n 1 | tr -d ' ')
soname=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
if [ "$soname" != libkestrova.so.3 ] || [ "$(basename "$library")" != "libkestrova.so.$version" ]; then
    echo "$library has the name $soname; the header is of version $version"
    failed=1
fi
exit $failed
