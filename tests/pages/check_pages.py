#!/usr/bin/env python3
"""Runs the commands of the pages as they are printed, and compares printed code with the file that it is taken from.

    check_pages.py SOURCE PROGRAM PAGE...

Every block of a page that begins with ```sh has a line above it that readers do not see:

    <!-- run -->                it is run as it stands, by bash, in a folder of its own with frames and calibrations
    <!-- run: COMMANDS -->      the same, after these
    <!-- not run: WHY -->       it is not

and a block of another language may have <!-- as in FILE -->, a file of the tree that it has to be equal to. A block that
is run must end with status 0, and every file or folder that its calls of kestrova name as a result must be there then.
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

from photos import write_photos

RESULTS = {"-o", "--to", "--report", "--json", "--write"}
BLOCK = re.compile(r"(?:^<!-- ([^\n]*) -->\n)?^```(\w*)\n(.*?)^```$", re.M | re.S)
FRAME_NAMES = {"right": ("r.png", "right.png", "right1.png", "frame_right.png"),
               "left": ("l.png", "left.png", "left1.png", "frame_left.png")}


def call(kestrova, folder, *arguments):
    subprocess.run([kestrova, *map(str, arguments)], cwd=folder, check=True, stdout=subprocess.DEVNULL)


def prepare(kestrova, folder):
    """What a reader of the pages has: photos of a board in r and l, a calibration in every form, a truth, a list."""
    for name in ("r", "l"):
        (folder / name).mkdir()
    write_photos(folder / "r", folder / "l", 10)
    for side, sub in (("right", "r"), ("left", "l")):
        for number in range(2, 11):
            shutil.copy(folder / sub / ("%d.png" % number), folder / ("%s%d.png" % (side, number)))
        for name in FRAME_NAMES[side]:
            shutil.copy(folder / sub / "1.png", folder / name)
    call(kestrova, folder, "calibrate", "--right", "r/*.png", "--left", "l/*.png", "--inner", "9x6", "--square", "25mm",
         "-o", "rig.txt")
    call(kestrova, folder, "export", "--calibration", "rig.txt", "--to", "ros", "--out", "ros")
    for name in ("left.yaml", "right.yaml"):
        shutil.copy(folder / "ros" / name, folder / name)
    (folder / "frames.txt").write_text("".join("r/%d.png l/%d.png\n" % (n, n) for n in range(1, 9)))
    call(kestrova, folder, "run", "--calibration", "rig.txt", "--right", "r.png", "--left", "l.png", "--to", "before",
         "--out", "disparity.pfm,kitti16,disparity8")
    shutil.copy(folder / "before/disparity.pfm", folder)
    shutil.copy(folder / "before/disparity_kitti_256ths.png", folder / "truth.png")
    shutil.copy(folder / "before/disparity8_pixels_offset0.png", folder / "aloeGT.png")


def named_results(block):
    """Files and folders that the calls of a block say they write; what a shell has to fill in is left out."""
    for line in block.replace("\\\n", " ").splitlines():
        words = shlex.split(line, comments=True)
        if words[:1] == ["kestrova"]:
            found = [value for option, value in zip(words, words[1:]) if option in RESULTS and value != "-"]
            if words[1] == "export":
                found += [value for option, value in zip(words, words[1:]) if option == "--out"]
                found.remove(words[words.index("--to") + 1])
            yield from (value for value in found if "$" not in value)


def run_block(prepared, folder, before, block):
    """What is wrong with the block, or nothing."""
    shutil.copytree(prepared, folder)
    script = "set -euo pipefail\nexport LC_ALL=C\n%s\n%s" % (before, block)
    done = subprocess.run(["bash", "-c", script], cwd=folder, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        return "status %d: %s" % (done.returncode, (done.stderr or done.stdout)[-400:])
    missing = [name for name in named_results(block) if not (folder / name).exists()]
    return "these are not there: " + ", ".join(missing) if missing else ""


def check_page(source, page, prepared, work):
    """Lines that tell what is wrong with a page, and the number of blocks that were run."""
    faults, runs = [], 0
    text = (source / page).read_text()
    for number, match in enumerate(BLOCK.finditer(text)):
        mark, language, block = match.group(1) or "", match.group(2), match.group(3)
        where = "%s:%d: " % (page, text.count("\n", 0, match.start(3)))
        if mark.startswith("as in "):
            if (source / mark[6:]).read_text() != block:
                faults.append(where + "differs from " + mark[6:])
        elif re.match(r"run(: |$)", mark):
            runs += 1
            fault = run_block(prepared, work / ("%s-%d" % (page.replace("/", "-"), number)), mark[5:], block)
            faults += [where + fault] if fault else []
        elif language == "sh" and not mark.startswith("not run: "):
            faults.append(where + "says neither run nor not run")
    return faults, runs


def main(source, program, *pages):
    source = pathlib.Path(source)
    with tempfile.TemporaryDirectory() as name:
        work = pathlib.Path(name)
        (work / "bin").mkdir()
        kestrova = work / "bin/kestrova"
        kestrova.symlink_to(pathlib.Path(program).resolve())
        prepared = work / "prepared"
        prepared.mkdir()
        prepare(kestrova, prepared)
        os.environ["PATH"] = "%s:%s" % (work / "bin", os.environ["PATH"])
        results = [check_page(source, page, prepared, work) for page in pages]
    faults = [fault for found, _ in results for fault in found]
    print("\n".join(faults + ["%d blocks run, %d faults" % (sum(runs for _, runs in results), len(faults))]))
    return 1 if faults or not any(runs for _, runs in results) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
