#!/usr/bin/env bash
# Is what we install of use to others? Installs the program and the library of build/release (builds them if need be)
# into a folder that nothing was configured for, and checks there
#
#   the program: starts without help from the environment
#   pkg-config and find_package: a C and a C++ program build against the installed library and run
# and, from a tarball of the tracked files without .git,
#   a project that takes the library by add_subdirectory, by another generator: builds it, a C and a C++ program, runs
#   a machine without OpenCV, CLI11, GoogleTest: configures, and says what it leaves out
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build test install
build=build/release
[ -f $build/build.ninja ] || cmake --preset release >/dev/null
cmake --build $build -j "$(nproc)" --target kestrova kestrova_pgm kestrova_cli
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check-install.sh: $*" >&2
  exit 1
}
quietly() { # shows what a command printed only when it fails
  "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; fail "$* fails"; }
}
runs() { # a program of a user's, which prints the version
  local printed
  printed=$(env -u LD_LIBRARY_PATH "$1") || fail "$1 does not run"
  [[ $printed == *Kestrova* ]] || fail "$1 prints: $printed"
}

cat >"$work/user.c" <<'C'
#include <kestrova.h>
#include <stdio.h>
int main(void)
{
    KestrovaContext context;
    return puts(kestrovaVersion()) < 0 || kestrovaGetDefaultContextFromMemory(&context, "") == KestrovaErrorOk;
}
C
cp "$work/user.c" "$work/user.cpp"
cat >"$work/user.cmake" <<'C'
add_executable(user_c user.c)
add_executable(user_cpp user.cpp)
target_link_libraries(user_c PRIVATE Kestrova::kestrova)
target_link_libraries(user_cpp PRIVATE Kestrova::kestrova)
C

# ---- installed, into a prefix that was not configured, and moved once more ----
for time in once twice; do # over itself as well
  quietly cmake --install $build --prefix "$work/first"
done
mv "$work/first" "$work/moved here"
prefix="$work/moved here"
runs_installed=$(env -u LD_LIBRARY_PATH "$prefix/bin/kestrova" --version) || fail "the installed program does not start"
[[ $runs_installed == *Kestrova* ]] || fail "the installed program prints: $runs_installed"
libdir=$(dirname "$(find "$prefix" -name libkestrova.so.3)")

export PKG_CONFIG_PATH="$libdir/pkgconfig"
for language in c cpp; do
  compiler=${CC:-cc}
  [ $language = c ] || compiler=${CXX:-c++}
  # Paths with blanks come escaped, as pkg-config's answers are read by a shell.
  eval "$compiler \"$work/user.$language\" $(pkg-config --cflags --libs kestrova) -Wl,-rpath,\"$libdir\" -o \"$work/user_$language\""
  runs "$work/user_$language"
done
echo "pkg-config: C and C++ programs build and run"

mkdir "$work/package" && cp "$work"/user.c "$work"/user.cpp "$work/package"
{ echo 'cmake_minimum_required(VERSION 3.25)'; echo 'project(user C CXX)'; echo 'find_package(kestrova 3 REQUIRED)'
  cat "$work/user.cmake"; } >"$work/package/CMakeLists.txt"
quietly cmake -S "$work/package" -B "$work/package/build" -DCMAKE_PREFIX_PATH="$prefix"
quietly cmake --build "$work/package/build"
runs "$work/package/build/user_c"
runs "$work/package/build/user_cpp"
echo "find_package: C and C++ programs build and run"

# ---- from a tarball ----
mkdir "$work/tree" && git ls-files -z | tar -c --null --files-from=- | tar -x -C "$work/tree"
mkdir "$work/outer" && cp "$work"/user.c "$work"/user.cpp "$work/outer"
{ echo 'cmake_minimum_required(VERSION 3.25)'; echo 'project(user C CXX)'
  echo "add_subdirectory(\"$work/tree\" kestrova)"; cat "$work/user.cmake"; } >"$work/outer/CMakeLists.txt"
quietly cmake -S "$work/outer" -B "$work/outer/build" -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Release
quietly cmake --build "$work/outer/build" -j "$(nproc)"
runs "$work/outer/build/user_c"
runs "$work/outer/build/user_cpp"
[ -z "$(find "$work/outer/build" -name 'kestrova' -type f -perm -u+x)" ] || fail "add_subdirectory builds the program too"
echo "add_subdirectory: from a tarball, with make: C and C++ programs build and run"

bare=(-DCMAKE_DISABLE_FIND_PACKAGE_OpenCV=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)
cmake -S "$work/tree" -B "$work/bare" "${bare[@]}" >"$work/log" 2>&1 || fail "a machine with little: $(tail -n 5 "$work/log")"
for part in "the command line program" "the tests" "the benchmarks beside OpenCV"; do
  grep -q "Left out: $part" "$work/log" || fail "a machine with little: nothing is said of $part"
done
if cmake -S "$work/tree" -B "$work/bare2" "${bare[@]}" -DKESTROVA_BUILD_APPS=ON >"$work/log" 2>&1; then
  fail "the program was asked for, cannot be built, and nothing is said"
fi
echo "a machine with little: configures, and says what is left out"
