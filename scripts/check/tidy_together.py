#!/usr/bin/env python3
"""Lints sources together. That costs a fraction of linting them one by one, since most of what the linter reads is
headers, the same ones over and over.

Usage: tidy_together.py BUILD-FOLDER <SOURCES

Prints which of the sources, one per line on standard input, were found clean. The others are to be linted alone: they
may have a fault, or only clash with others.
"""

import json
import os
import re
import shlex
import subprocess
import sys
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path.cwd()
# The sources are included, by one that only does that.
LINTER = [
    "clang-tidy",
    "--quiet",
    "--checks=-bugprone-suspicious-include",
    r"--header-filter=/(TessilGraph|TessilUtils|tools|examples|benchmarks|fuzz|tests)/[^<>]*\.(h|cpp)$",
]


def options_of_sources(build):
    """The compiler's options for each source, but for those that mean nothing to the linter."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        options = []
        words = iter(shlex.split(entry["command"])[1:])
        for word in words:
            if word in ("-o", "-c", "-Xclang"):
                next(words)
            elif not re.match("-[Of]", word):
                options.append(word)
        found[os.path.relpath(entry["file"], ROOT)] = options
    return found


def stands_alone(path):
    """Whether it replaces functions of the language or of C, which can be done once."""
    return re.search(r'^(extern "C" {|void\* operator new)', path.read_text(), re.MULTILINE)


def groups(sources, options):
    """The sources that can be read together, with the options of all."""
    alike = defaultdict(list)
    for source in sources:
        if source in options and not stands_alone(Path(source)):
            # A macro that is defined for a few sources does no harm to the others.
            kind = [option for option in options[source] if not re.match("-D(?!.*_EXPORTS$)", option)]
            alike[source.startswith("tests/"), *kind].append(source)
    for members in sorted(alike.values(), key=len, reverse=True):
        if len(members) > 1:
            yield members, list(dict.fromkeys(option for source in members for option in options[source]))


def includes(path):
    for line in path.read_text().splitlines():
        if found := re.match(r'#include "(.*)"', line):
            beside = path.parent / found[1]
            line = f'#include "{beside}"' if beside.exists() else line
        if line.startswith("#include"):
            yield line


def plainly(path, number):
    """The lines that include a source."""
    return [f"#define main main{number}", f"#define LLVMFuzzerTestOneInput fuzz{number}", f'#include "{path}"',
            "#undef main", "#undef LLVMFuzzerTestOneInput"]


def in_a_namespace(path, number):
    """The same for a test whose headers have been included: in a namespace of its own, since many tests use the same
    names, in which it finds all that it would find outside."""
    spaces = sorted(set(re.findall(r"^namespace (\w+) {", path.read_text(), re.MULTILINE)))
    return [*(f"namespace {space} {{}}" for space in spaces), f"namespace source{number} {{",
            *(f"namespace {space} {{ using namespace ::{space}; }}" for space in spaces), f'#include "{path}"', "}"]


def fits_in_a_namespace(path):
    """Specializations have to stand where their template stands."""
    return path.name.endswith("Test.cpp") and not re.search("^template <>", path.read_text(), re.MULTILINE)


def together(sources):
    """The text of a source that includes the others."""
    paths = [ROOT / source for source in sources]
    tests = [path for path in paths if fits_in_a_namespace(path)]
    lines = list(dict.fromkeys(line for path in tests for line in includes(path)))
    for number, path in enumerate(tests):
        lines += in_a_namespace(path, number)
    for number, path in enumerate(paths):
        lines += plainly(path, number) if path not in tests else []
    return "\n".join(lines) + "\n"


def told_of(command):
    """The files that a command tells something of."""
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    told = set(re.findall(r"^(\S+?):\d+:\d+: (?:warning|error|fatal error): ", run.stdout, re.MULTILINE))
    if run.returncode != 0 and not told:
        print(run.stdout, file=sys.stderr)
        told = {"/"}
    return {os.path.relpath(name, ROOT) for name in told}


def clean_ones(source, members, options):
    """The members that nothing is told of, when `source` includes them all."""
    # Those whose names clash are taken out first: the linter looks less closely where there are errors.
    while True:
        source.write_text(together(members))
        clashing = told_of(["clang++", *options, "-ferror-limit=0", "-fsyntax-only", source])
        if not clashing & set(members):
            break
        members = [member for member in members if member not in clashing]
    # What is told of a header concerns all of them.
    told = clashing or told_of([*LINTER, source, "--", *options])
    return [member for member in members if member not in told] if told <= set(members) else []


def main():
    build = Path(sys.argv[1]).resolve()
    folder = build / "together"
    (folder / "tests").mkdir(parents=True, exist_ok=True)
    (folder / "tests/.clang-tidy").write_text(Path("tests/.clang-tidy").read_text())
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        runs = []
        for number, (members, options) in enumerate(groups(sys.stdin.read().split(), options_of_sources(build))):
            kind = "tests" if members[0].startswith("tests/") else "."
            runs.append(pool.submit(clean_ones, folder / kind / f"sources{number}.cpp", members, options))
        for run in runs:
            for source in run.result():
                print(source)


main()
