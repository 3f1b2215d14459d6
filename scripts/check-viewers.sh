#!/usr/bin/env bash
# Do other programs take what kestrova writes? Installs them if need be, runs the demo, and opens
#
#   the page of a frame in headless Chromium, drawing in software: it must say that the cloud covers pixels, the canvas
#   must show it, and the console must stay silent. Broken copies of the page must fail, or the check is worth nothing.
#   the cloud in MeshLab's and PCL's command line readers: all points must arrive.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build viewers
build=build/release # of the tests, if they have been built; else what demo.sh builds
if [ ! -f $build/build.ninja ]; then
  build=build/demo
  cmake --preset release -B $build -DKESTROVA_BUILD_TESTS=OFF -DKESTROVA_BUILD_BENCH=OFF >/dev/null
fi
cmake --build $build -j "$(nproc)" --target kestrova_cli
program=$PWD/$build/apps/kestrova/kestrova

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "check-viewers.sh: $*" >&2
  exit 1
}

browse() { # arguments of Chromium; its log goes to browser.log
  local sandbox=()
  [ "$(id -u)" -ne 0 ] || sandbox=(--no-sandbox)
  timeout 120 chromium --headless "${sandbox[@]}" --user-data-dir="$work/profile" --use-gl=angle \
    --use-angle=swiftshader --enable-unsafe-swiftshader --window-size=1200,1000 --hide-scrollbars \
    --force-device-scale-factor=1 --virtual-time-budget=10000 --enable-logging=stderr "$@" 2>browser.log
}

# Prints what is wrong with a page, if anything.
page_faults() {
  local page=$1 head drawn canvas colours
  browse --dump-dom "file://$work/$page" >dom.html || echo "Chromium fails: $(tail -n 1 browser.log)"
  grep -a ':CONSOLE' browser.log || true
  head=$(grep -a -m 1 -o '<html[^>]*>' dom.html || true)
  drawn=$(sed -n 's/.*data-drawn="\([0-9]*\)".*/\1/p' <<<"$head")
  [ "${drawn:-0}" -ge 20000 ] || echo "the cloud covers ${drawn:-no} pixels: $head"
  canvas=$(sed -n 's/.*data-canvas="\([0-9x+]*\)".*/\1/p' <<<"$head")
  browse --screenshot="$work/$page.png" "file://$work/$page" >/dev/null || echo "no screenshot"
  grep -a ':CONSOLE' browser.log || true
  colours=$(convert "$page.png" -crop "${canvas:-1000x500+100+300}" -format %k info:)
  [ "$colours" -ge 1000 ] || echo "the canvas shows $colours colours"
  echo "drawn=${drawn:-0} colours=$colours" >"$page.numbers"
}

"$program" demo --size 320x240 >demo.log || fail "the demo fails: $(tail -n 1 demo.log)"
cp demo-out/report.html page.html
points=$(sed -n 's/^element vertex //p' <(head -c 2000 demo-out/cloud.ply | tr -d '\0'))
[ "${points:-0}" -gt 10000 ] || fail "the demo's cloud has ${points:-no} points"

faults=$(page_faults page.html)
[ -z "$faults" ] || fail "page: $faults"
echo "Chromium: page loads, the console is silent, $(cat page.html.numbers)"

sed 's/gl_Position = /gl_Positon = /' page.html >shader.html
sed 's/gl.drawArrays(gl.POINTS/void (gl.POINTS/' page.html >nothing.html
sed 's/const points = /const points == /; s/lookFrom(.tilted.);$/lookFrm();/' page.html >script.html
for broken in shader nothing script; do
  cmp -s page.html $broken.html && fail "$broken.html: the page has changed, and this script must break it anew"
  [ -n "$(page_faults $broken.html)" ] || fail "$broken.html: a broken page passes"
done
echo "Chromium: pages with a broken shader, without points and with a fault in the script are told"

meshlab=$(QT_QPA_PLATFORM=offscreen xvfb-run -a meshlabserver -i demo-out/cloud.ply 2>&1 || true)
grep -q "loaded has $points vn" <<<"$meshlab" || fail "MeshLab does not read $points points: $meshlab"
echo "MeshLab: $points points"

pcl=$(pcl_ply2pcd demo-out/cloud.ply cloud.pcd 2>&1 || true)
grep -a -q "^POINTS $points\$" cloud.pcd || fail "PCL does not read $points points: $pcl"
echo "PCL: $points points"
