#!/usr/bin/env python3
"""Puts one-line faults into the library, one at a time, and tells which of them no test notices.

  scripts/mutate.py [--seed N] [--count N] [--wanted N] [--minutes N] [--only PREFIX] [--tests NAME,...] [--tree FOLDER]

Works on a copy of the tree, built with -O1 and without the program. The tests nearest to the fault run first and the
first that fails ends the run. A fault that leaves the object code as it was changes nothing and is replaced by another,
and so is one that does not compile. Ends with 1 when fewer of 100 are caught than wanted; a small sample wants a lower
bar, for one fault more that slips through is no news. Faults that survive though nothing can tell them from the code
count as survivors: see docs/reliability.md.
"""

import argparse
import hashlib
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
MOST_DEPENDENTS = 12  # a header that more objects include takes too long
MEMORY = 6 << 30  # of a test with a fault

# Spaces stand around binary operators, never inside template brackets: the formatter sees to it.
SWAPS = [(" < ", " <= "), (" <= ", " < "), (" > ", " >= "), (" >= ", " > "), (" == ", " != "), (" != ", " == "),
         (" && ", " || "), (" || ", " && "), (" + ", " - "), (" - ", " + "), (" * ", " / "), (" / ", " * "),
         (" += ", " -= "), (" -= ", " += "), (" << ", " >> "), (" >> ", " << "), (" & ", " | "), (" | ", " & "),
         ("++", "--"), ("--", "++"), ("true", "false"), ("false", "true"), ("std::min", "std::max"),
         ("std::max", "std::min")]
NUMBER = re.compile(r"(?<![\w.<])(\d+)(?![\w.>])")
CONDITION = re.compile(r"^(\s*(?:\} else )?(?:if|while) \()(.*)(\) \{)$")
STATEMENT = re.compile(r"^\s+(?!return|using|const|static|auto|case|break|continue|throw|goto|default|\}|#)"
                       r"[\w:\[\]().>*+ -]*(?:\(.*\)| [-+*/|&]?= .*|\+\+|--);$")
DECLARATION = re.compile(r"^\s*(#|//|/?\*|using |template|static_assert|friend |typedef |enum |struct |class |namespace )")


def faults_of(line):
    """The lines that a line may become."""
    code = line.split("//")[0].rstrip() if '"' not in line else line.rstrip()
    if not code.strip() or DECLARATION.match(code):
        return
    for old, new in SWAPS:
        for match in re.finditer(re.escape(old), code):
            yield code[:match.start()] + new + code[match.end():]
    for match in NUMBER.finditer(code):
        for step in (1, -1):
            number = int(match.group(1)) + step
            yield code[:match.start()] + str(number) + code[match.end():]
    if match := CONDITION.match(code):
        if ";" not in match.group(2):
            yield f"{match.group(1)}!({match.group(2)}){match.group(3)}"
    if STATEMENT.match(code) and code.count("(") == code.count(")"):
        yield re.match(r"\s*", code).group() + ";"


def is_code(path):
    return path.suffix in (".cpp", ".h")


class Bench:
    """The copy, its build and its tests."""

    def __init__(self, tree, only):
        self.tree, self.build = tree / "tree", tree / "build"
        self.copy()
        self.configure()
        tests = self.find_tests()
        self.tests = {name: tests[name] for name in only or tests}
        self.make(list(self.tests), check=True)
        self.deps = self.read_deps()
        self.hashes = {}
        self.seconds = {name: self.baseline(name) for name in self.tests}

    def copy(self):
        names = subprocess.run(["git", "ls-files", "-z", "-c", "-o", "--exclude-standard"], cwd=ROOT, check=True,
                               capture_output=True).stdout.decode().split("\0")
        wanted = {name for name in names if name and not name.startswith(("docs/images",)) and (ROOT / name).is_file()}
        for name in wanted:
            source, target = ROOT / name, self.tree / name
            if not target.exists() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(source, target)
        for path in self.tree.rglob("*"):
            if path.is_file() and str(path.relative_to(self.tree)) not in wanted:
                path.unlink()

    def configure(self):
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                        "-DCMAKE_CXX_FLAGS=-O1 -DNDEBUG -w", "-DKESTROVA_HARDEN=OFF", "-DKESTROVA_BUILD_APPS=OFF",
                        "-DKESTROVA_BUILD_BENCH=OFF", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"],
                       check=True, stdout=subprocess.DEVNULL)

    def make(self, targets, check=False):
        done = subprocess.run(["ninja", "-C", self.build, f"-j{os.cpu_count()}", *targets], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        if check and done.returncode != 0:
            sys.exit(done.stdout.decode()[-3000:])
        return done.returncode == 0

    def find_tests(self):
        names = []
        for path in sorted((self.tree / "tests").rglob("CMakeLists.txt")):
            names += [(name, path.parent) for name in re.findall(r"^kestrova_tests\((\w+)", path.read_text(), re.M)]
        return {f"test_{name}": folder for name, folder in names if name != "folder"}

    def read_deps(self):
        """Which objects are made of a source, by its path in the tree."""
        text = subprocess.run(["ninja", "-C", self.build, "-t", "deps"], check=True, capture_output=True).stdout.decode()
        deps = {}
        for block in text.split("\n\n"):
            lines = block.split("\n")
            target = lines[0].split(":")[0]
            for line in lines[1:]:
                path = pathlib.Path(os.path.normpath(self.build / line.strip()))
                if path.is_relative_to(self.tree):
                    deps.setdefault(str(path.relative_to(self.tree)), []).append(target)
        return deps

    def program(self, test):
        return self.build / "tests" / self.tests[test].relative_to(self.tree / "tests") / test

    def run(self, test, seconds):
        limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
        try:
            return subprocess.run([self.program(test), "--gtest_fail_fast", "--gtest_brief=1"], timeout=seconds,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=limit,
                                  cwd=self.build).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def baseline(self, test):
        start = time.monotonic()
        if not self.run(test, 600):
            sys.exit(f"mutate.py: {test} fails without any fault")
        return time.monotonic() - start

    def objects_of(self, name):
        return [target for target in self.deps.get(name, []) if target.startswith("src/")]

    def hash_of(self, target):
        return hashlib.sha256((self.build / target).read_bytes()).digest()

    def order(self, name):
        """Tests of the folder first, then those that name it, then the quick ones."""
        folders = pathlib.PurePath(name).parts[1:-1]
        def nearness(test):
            text = "".join(path.read_text() for path in self.tests[test].glob("*.cpp"))
            own = test == f"test_{folders[0]}" if folders else False
            file = pathlib.PurePath(name).stem in text
            return (not own and not file, -len(re.findall(rf'#include "{"/".join(folders)}/', text)), self.seconds[test])
        return sorted(self.tests, key=nearness)

    def judge(self, name, index, line):
        """'caught by ...', 'survives', or None when the fault does not compile or changes nothing."""
        path = self.tree / name
        text = path.read_text()
        lines = text.split("\n")
        lines[index] = line
        objects = self.objects_of(name)
        for target in objects:
            self.hashes.setdefault(target, self.hash_of(target))
        path.write_text("\n".join(lines))
        try:
            if not self.make(objects):
                return None
            if all(self.hash_of(target) == self.hashes[target] for target in objects):
                return None
            for test in self.order(name):
                if not self.make([test]) or not self.run(test, 10 + 5 * self.seconds[test]):
                    return f"caught by {test}"
            return "survives"
        finally:
            path.write_text(text)
            if not self.make(objects):
                sys.exit(f"mutate.py: {name} does not build any more")


def candidates(bench, only):
    found = []
    for path in sorted((bench.tree / "src").rglob("*")):
        name = str(path.relative_to(bench.tree))
        if is_code(path) and name.startswith(only) and 0 < len(bench.objects_of(name)) <= MOST_DEPENDENTS:
            for index, line in enumerate(path.read_text().split("\n")):
                if next(faults_of(line), None) is not None:
                    found.append((name, index, line))
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--wanted", type=float, default=97, help="of 100 that must be caught")
    parser.add_argument("--minutes", type=float, default=float("inf"), help="begin no fault after these")
    parser.add_argument("--only", default="src/", help="faults in these paths alone")
    parser.add_argument("--tests", default="", help="these alone, such as test_numerics,test_geometry")
    parser.add_argument("--tree", type=pathlib.Path, default=ROOT / "build/mutate")
    arguments = parser.parse_args()
    start = time.monotonic()
    bench = Bench(arguments.tree.resolve(), [name for name in arguments.tests.split(",") if name])
    chance = random.Random(arguments.seed)
    lines = candidates(bench, arguments.only)
    chance.shuffle(lines)
    print(f"{len(lines)} lines can take a fault; ready after {time.monotonic() - start:.0f} s", flush=True)
    start, survivors, caught, idle = time.monotonic(), [], 0, 0
    for name, index, line in lines:
        if caught + len(survivors) == arguments.count or time.monotonic() - start > 60 * arguments.minutes:
            break
        fault = chance.choice(list(faults_of(line)))
        verdict = bench.judge(name, index, fault)
        if verdict is None:
            idle += 1
            continue
        caught += verdict != "survives"
        if verdict == "survives":
            survivors.append(name)
        seconds = (time.monotonic() - start) / (caught + len(survivors))
        print(f"{caught + len(survivors):4} {name}:{index + 1}: {verdict} ({seconds:.1f} s each)", flush=True)
        if verdict == "survives":
            print(f"     - {line.strip()}\n     + {fault.strip()}", flush=True)
    seconds = time.monotonic() - start
    total = caught + len(survivors)
    share = 100 * caught / max(total, 1)
    print(f"{total} faults in {seconds:.0f} s: {caught} caught ({share:.1f} %), {len(survivors)} survive; "
          f"{idle} others did not compile or changed nothing")
    return share < arguments.wanted


if __name__ == "__main__":
    sys.exit(main())
