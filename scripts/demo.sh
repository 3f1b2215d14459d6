#!/usr/bin/env bash
# Installs what is missing, builds the program and runs the main job.
#
#   scripts/demo.sh [OPTIONS OF kestrova demo]   renders a scene, calibrates, matches, compares with the truth
#   scripts/demo.sh --photos [--to FOLDER]       real photographs: 13 pairs of a checkerboard, calibrated and rectified
#                                                beside OpenCV, and a rectified pair, beside a block matcher
#
# Pictures and clouds go to demo-out/ (or where --to says).
set -euo pipefail

photos=
if [ "${1:-}" = --photos ]; then
  case "$#:${2:-}" in
  1:) photos=demo-out/photos ;;
  3:--to) photos=$3 ;;
  *)
    echo "demo.sh: --photos takes no option but --to FOLDER" >&2
    exit 2
    ;;
  esac
fi
cd "$(dirname "$0")/.."

scripts/install-deps.sh build
cmake --preset release -B build/demo -DKESTROVA_BUILD_TESTS=OFF -DKESTROVA_BUILD_BENCH=OFF >/dev/null
cmake --build build/demo -j "$(nproc)" --target kestrova_cli
program=build/demo/apps/kestrova/kestrova

# Prints the folder that holds the photographs. Slim systems drop documentation as they install a package, so the
# package is unpacked by hand when its files are not there.
photo_folder() {
  local installed=/usr/share/doc/opencv-doc/examples/data unpacked=build/photos
  scripts/install-deps.sh photos >&2
  if [ -e "$installed/aloeL.jpg" ]; then
    echo "$installed"
    return
  fi
  if [ ! -e "$unpacked$installed/aloeL.jpg" ]; then
    mkdir -p "$unpacked"
    (cd "$unpacked" && apt-get download opencv-doc && dpkg-deb -x opencv-doc_*.deb .) >&2
  fi
  echo "$unpacked$installed"
}

run_photos() {
  local data out=$photos
  data=$(photo_folder)
  echo
  echo "== calibration from 13 pairs of a checkerboard; its squares were not told, 25 mm is what is usually assumed =="
  mkdir -p "$out"
  "$program" calibrate --right "$data/right[01]*.jpg" --left "$data/left[01]*.jpg" --inner 9x6 --square 25mm \
    --canvas 640x480 --compare-opencv -o "$out/rig.txt" --report "$out/calibration.html"
  echo
  echo "== the same cameras checked on one pair, without the board's help =="
  "$program" check --calibration "$out/rig.txt" --right "$data/right14.jpg" --left "$data/left14.jpg"
  for preset in trusted dense; do
    echo
    echo "== preset $preset =="
    "$program" run --rectified --resize 640x480 --right "$data/aloeR.jpg" --left "$data/aloeL.jpg" \
      --truth "$data/aloeGT.png" --truth-view left --compare-bm --preset "$preset" \
      --out disparity.pfm,colour,reason,images,report,text --to "$out/$preset"
  done
}

if [ -n "$photos" ]; then
  run_photos
else
  "$program" demo "$@"
fi
