# SPDX-License-Identifier: MIT
"""Tests the tests: plants small faults in src/, one at a time, and tells which ones no unit test notices.

    python tests/mutation/mutate.py BUILD [--count N] [--seed N] [--mavlink FOLDER] [FILE...]

Works on a copy of the sources in BUILD. A fault that makes a test fail or hang is noticed; one that does not
compile does not count. Ends with 1 if fewer than --least of a hundred are noticed.
"""

import argparse
import json
import os
import random
import shutil
import subprocess
import sys
from pathlib import Path

from mutants import mutants_of

ROOT = Path(__file__).resolve().parent.parent.parent
COPIED = ["CMakeLists.txt", "cmake", "src", "tests", "tools"]
TEST_SECONDS = "40"
CONTROL = 25  # so often the tests are run without a fault


class Project:
    """A copy of the project with a build of its library and unit tests."""

    def __init__(self, folder, mavlink):
        self.source = folder / "source"
        self.build = folder / "build"
        shutil.rmtree(self.source, ignore_errors=True)
        self.source.mkdir(parents=True)
        for name in COPIED:
            copy = shutil.copytree if (ROOT / name).is_dir() else shutil.copy2
            copy(ROOT / name, self.source / name)
        options = {
            "CMAKE_BUILD_TYPE": "Debug",
            "CMAKE_CXX_FLAGS": "-O0 -g0 -w",
            "CMAKE_LINK_DEPENDS_NO_SHARED": "ON",
            "NOFLAILSTEN_BUILD_TOOLS": "OFF",
            "NOFLAILSTEN_WARNINGS_AS_ERRORS": "OFF",
        }
        if mavlink:
            options["MAVLINK_INCLUDE_DIR"] = str(mavlink)
        defines = [f"-D{name}={value}" for name, value in options.items()]
        run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, *defines]).check_returncode()

    def compiles(self):
        return run(["cmake", "--build", self.build]).returncode == 0

    def passes(self, *selection):
        """Whether the selected tests pass; a selection of none counts as passed."""
        command = [
            "ctest",
            "--test-dir",
            self.build,
            "--timeout",
            TEST_SECONDS,
            "--stop-on-failure",
            "-j",
            "4",
        ]
        return run([*command, "-E", "^package$", *selection]).returncode == 0


def run(command):
    return subprocess.run(
        [str(word) for word in command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )


def nearest_tests(path):
    """A pattern for the tests that are likely to notice a fault in this file: those that carry its name."""
    return ["-R", path.stem]


def fate(project, mutant):
    """What became of a fault: "does not compile", "noticed" or "survived"."""
    target = project.source / mutant.path
    original = target.read_text()
    target.write_text(mutant.apply(original))
    try:
        if not project.compiles():
            return "does not compile"
        noticed = not project.passes(*nearest_tests(mutant.path)) or not project.passes()
        return "noticed" if noticed else "survived"
    finally:
        target.write_text(original)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("--count", type=int, default=300)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--least", type=float, default=85.0)
    parser.add_argument("--mavlink", type=Path, help="generated headers, to save making them")
    parser.add_argument(
        "files", nargs="*", type=Path, help="relative to the project; all of src/ if none is named"
    )
    return parser.parse_args()


def sample(options):
    files = options.files or sorted(path.relative_to(ROOT) for path in (ROOT / "src").rglob("*.cpp"))
    everything = [mutant for path in files for mutant in mutants_of(ROOT, path)]
    chosen = random.Random(options.seed).sample(everything, min(options.count, len(everything)))
    print(f"{len(everything)} faults possible in {len(files)} files, {len(chosen)} planted", flush=True)
    return chosen


def main():
    options = arguments()
    os.environ["PATH"] = f"{ROOT / 'tools' / 'standins'}:{os.environ['PATH']}"
    chosen = sample(options)
    project = Project(options.build.resolve(), options.mavlink)
    if not project.compiles() or not project.passes():
        sys.exit("mutate: the tests do not pass without a fault")
    fates = []
    for number, mutant in enumerate(chosen, 1):
        if number % CONTROL == 0 and not (project.compiles() and project.passes()):
            sys.exit("mutate: the tests have failed without a fault: what they noticed means nothing")
        fates.append(fate(project, mutant))
        print(f"{number:4} {fates[-1]:16} {mutant}", flush=True)
    survived = [str(mutant) for mutant, what in zip(chosen, fates, strict=True) if what == "survived"]
    compiled = len(fates) - fates.count("does not compile")
    noticed = 100 * (1 - len(survived) / max(compiled, 1))
    (options.build / "survivors.json").write_text(json.dumps(survived, indent=1))
    print(f"{compiled} faults compiled, {compiled - len(survived)} noticed: {noticed:.1f} %")
    sys.exit(0 if noticed >= options.least else 1)


if __name__ == "__main__":
    main()
