#!/usr/bin/env python3
"""Puts small faults into the engine, one at a time, and sees whether the tests notice. See docs/mutants.md.

It works on copies of the tree below build/mutants and never touches the checkout itself.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
SKIP_LIST = ROOT / "scripts" / "mutants-skip.txt"
FOLDERS = ["TessilGraph/graph", "TessilGraph/exec", "TessilGraph/nodes"]
TEST_FOLDERS = ["tests/exec", "tests/faults", "tests/graph", "tests/nodes"]

# How the copies are built: as two presets are, so that the compiler's cache has the tests. Warnings are no errors in
# the libraries, since a fault may well leave a variable unused.
BUILDS = {
    "plain": {
        "CMAKE_BUILD_TYPE": "Release",
        "TESSIL_LIBRARY_OPTIONS": "-O1;-UNDEBUG;-Wno-error;-Werror=return-type",
    },
    "asan": {
        "CMAKE_BUILD_TYPE": "None",
        "CMAKE_CXX_FLAGS": "-O1 -g1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer",
        "TESSIL_LIBRARY_OPTIONS": "-Wno-error;-Werror=return-type",
        "TESSIL_SANITIZE": "address",
    },
}
ENVIRONMENT = {
    "GTEST_FAIL_FAST": "1",
    "GTEST_BRIEF": "1",
    "RC_PARAMS": "seed=1 max_success=100 noshrink=1",
    "ASAN_OPTIONS": "detect_leaks=1:hard_rss_limit_mb=6000",
}
MEMORY_LIMIT = 6 << 30


# What can be changed.


class Mutant(collections.namedtuple("Mutant", "file line kind begin end text above before after")):
    """`text` instead of [begin, end) of the file; `before` and `after` are the lines in question, `above` precedes them."""

    def change(self):
        return f"{self.before} => {self.after}"

    def entries(self):
        """What the list of known ones may say for it."""
        return {f"{self.file}: {self.change()}", f"{self.file}: {self.above} | {self.change()}"}


def blanked(text):
    """`text` without what faults make no sense in: comments, literals, preprocessor lines and assertions."""
    gone = re.compile(
        r"""//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'"""
        r"""|^[ \t]*\#(?:\\\n|[^\n])*|^[ \t]*(?:static_assert|assert)\b[^;]*;|\btemplate <[^\n]*>$""",
        re.S | re.M,
    )
    return gone.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), text)


OPERATORS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "&": "|", "|": "&",
    "+=": "-=", "-=": "+=", "*=": "+=", "|=": "&=", "&=": "|=",
}  # fmt: skip


def closing(text, opening):
    """Where the bracket at `opening` is closed."""
    depth = 0
    for place in range(opening, len(text)):
        if text[place] in "([{":
            depth += 1
        elif text[place] in ")]}":
            depth -= 1
            if depth == 0:
                return place
    return None


def pieces(text, begin, end):
    """The parts of [begin, end) between commas that stand in no brackets."""
    found = []
    depth = 0
    start = begin
    for place in range(begin, end):
        if text[place] in "([{":
            depth += 1
        elif text[place] in ")]}":
            depth -= 1
        elif text[place] == "," and depth == 0:
            found.append((start, place))
            start = place + 1
    found.append((start, end))
    return found


def statements(text):
    """Begin and end of whatever ends in a semicolon between braces, and whether it stands right after another."""
    begin = 0
    depth = 0
    follows = False
    for place, char in enumerate(text):
        if char == "(":
            depth += 1
        elif char == ")":
            depth -= 1
        elif char in "{}" and depth == 0:
            begin = place + 1
            follows = False
        elif char == ";" and depth == 0:
            start = begin + len(text[begin:place]) - len(text[begin:place].lstrip())
            yield start, place + 1, follows
            begin = place + 1
            follows = True


def is_plain(statement):
    """Whether it calls or assigns, and declares nothing."""
    call = re.match(r"(?:delete )?(?:[A-Za-z_][\w:.>-]*(?:->|\.|::))?([A-Za-z_]\w*)\(.*\);$", statement, re.S)
    if call:
        return "." in statement or "->" in statement or "::" in statement or call[1][0].islower()
    return re.match(r"(\*?[A-Za-z_][^ ={};]* [-+*|&^/]?= .*|(\+\+|--)[A-Za-z_].*|[A-Za-z_][\w.>-]*(\+\+|--));$", statement, re.S)


def changes(text):
    """(kind, begin, end, replacement) of every fault for a source."""
    bare = blanked(text)

    for found in re.finditer(r"(?<= )(?:[<>=!+*|&-]=|&&|\|\||[<>+*/%&|-])(?= |\n)", bare):
        if found.group() in OPERATORS:
            yield "operator", found.start(), found.end(), OPERATORS[found.group()]
    for found in re.finditer(r"\+\+|--", bare):
        yield "operator", found.start(), found.end(), "--" if found.group() == "++" else "++"
    for found in re.finditer(r"!(?=[\w(*:])", bare):
        yield "negation dropped", found.start(), found.end(), ""

    for found in re.finditer(r"\b(if|while) (?:constexpr )?\(", bare):
        end = closing(bare, found.end() - 1)
        condition = text[found.end() : end]
        if end is None or ";" in condition:
            continue
        yield "condition negated", found.end(), end, f"!({condition})"
        yield "condition dropped", found.end(), end, f"(({condition}), false)"
        if found[1] == "if":
            yield "condition dropped", found.end(), end, f"(({condition}), true)"
    for found in re.finditer(r"(?<= )\? ", bare):
        depth = 0
        colon = None
        for place in range(found.end(), len(bare)):
            if bare[place] in "([{":
                depth += 1
            elif bare[place] in ")]}":
                depth -= 1
            elif bare[place : place + 3] == " : " and depth == 0 and colon is None:
                colon = place
            if depth < 0 or (bare[place] in ";,?" and depth == 0):
                break
        if colon is not None and bare[place] != "?":
            first, second = text[found.end() : colon], text[colon + 3 : place]
            yield "condition negated", found.end(), place, f"{second} : {first}"

    for found in re.finditer(r"(?<![\w.'])(\d+)(u?)(?![\w.'])", bare):
        yield "constant", found.start(), found.end(), ("1" if found[1] == "0" else str(int(found[1]) + 1)) + found[2]
    for found in re.finditer(r"(?<![\w.'])\d+\.\d+(?:e-?\d+)?(?![\w.'])", bare):
        yield "constant", found.start(), found.end(), "1.0" if float(found.group()) == 0 else "0.0"
    for found in re.finditer(r"\b(true|false)\b", bare):
        yield "constant", found.start(), found.end(), "false" if found.group() == "true" else "true"

    for found in re.finditer(r"\b[a-z]\w*\(", bare):
        if found.group() in ("if(", "while(", "for(", "switch(", "operator(") or bare[found.start() - 1] == "~":
            continue
        end = closing(bare, found.end() - 1)
        arguments = pieces(bare, found.end(), end) if end is not None else []
        if len(arguments) < 2 or re.search(r"[\w>&*] [a-z_]\w*$", bare[slice(*arguments[0])]):
            continue
        first, second = (text[slice(*argument)].strip() for argument in arguments[:2])
        if first != second:
            yield "arguments swapped", found.end(), arguments[1][1], f"{second}, {first}"

    before = None
    for begin, end, follows in statements(bare):
        statement = bare[begin:end]
        whole = text[begin:end]
        if is_plain(statement):
            yield "statement removed", begin, end, ";" + "\n" * whole.count("\n")
            if follows and before is not None and text[before[0] : before[1]] != whole:
                between = text[before[1] : begin]
                yield "statements swapped", before[0], end, whole + between + text[before[0] : before[1]]
            before = (begin, end)
        else:
            before = None
            if re.match(r"(return\b|break;|continue;)", statement) and not re.match(r"\s*\}\n\}", bare[end:]):
                yield "way out dropped", begin, end, ";" + "\n" * whole.count("\n")


def mutants_of(name):
    text = (ROOT / name).read_text()
    for kind, begin, end, replacement in changes(text):
        first = text.rfind("\n", 0, begin) + 1
        last = text.find("\n", end)
        squeeze = lambda lines: " ".join(lines.split())
        before = squeeze(text[first:last])
        after = squeeze(text[first:begin] + replacement + text[end:last])
        # Fetching ahead changes no result.
        if before != after and "prefetch" not in before.lower():
            line = text.count("\n", 0, begin) + 1
            above = squeeze(text[text.rfind("\n", 0, max(first - 1, 0)) + 1 : first])
            yield Mutant(name, line, kind, begin, end, replacement, above, before, after)


def sources(under, suffixes):
    names = git_files()
    chosen = [name for name in names if any(name == part or name.startswith(part + "/") for part in under)]
    return [name for name in chosen if name.endswith(tuple(suffixes))]


def sample(names, seed, skipped):
    """One mutant for each line that has any, in an order that `seed` decides."""
    lines = collections.defaultdict(lambda: collections.defaultdict(list))
    files = {entry: entry.split(":")[0] for entry in skipped}
    met = {entry: set() for entry in skipped if files[entry] in names or not (ROOT / files[entry]).exists()}
    for name in names:
        for mutant in mutants_of(name):
            known = mutant.entries() & skipped
            for entry in known:
                met[entry].add(mutant.line)
            if not known:
                lines[name, mutant.line][mutant.kind].append(mutant)
    for entry in sorted(entry for entry in met if len(met[entry]) != 1):
        print(f"{SKIP_LIST.name} means one line, and {len(met[entry])} read like this: {entry}", file=sys.stderr)
    order = sorted(lines)
    chance = random.Random(seed)
    chance.shuffle(order)
    return [chance.choice(lines[line][chance.choice(sorted(lines[line]))]) for line in order]


def skip_list():
    """What is known to change nothing, told by what stands in the lines: "FILE: BEFORE => AFTER", or, where several
    read like that, "FILE: ABOVE | BEFORE => AFTER" with the line above."""
    if not SKIP_LIST.exists():
        return set()
    return {line for line in SKIP_LIST.read_text().splitlines() if line and not line.startswith("#")}


# Where they are tried.


def git_files():
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True, capture_output=True, text=True
    )
    return sorted(name for name in set(listed.stdout.splitlines()) if (ROOT / name).is_file())


def run(command, folder, seconds, environment=None, memory=None):
    """True or false as the command ends, and what it printed; what outlasts `seconds` is ended and counts as false."""

    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if memory is not None:
            resource.setrlimit(resource.RLIMIT_AS, (memory, memory))

    process = subprocess.Popen(
        command,
        cwd=folder,
        env={**os.environ, **(environment or {})},
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        stdin=subprocess.DEVNULL,
        text=True,
        errors="replace",
        start_new_session=True,
        preexec_fn=limit,
    )
    try:
        output, _ = process.communicate(timeout=seconds)
        return process.returncode == 0, output
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return False, "no end within the time allowed"


class Workshop:
    """A copy of the tree, built, in which one mutant after the other is tried."""

    def __init__(self, number, build, jobs):
        self.tree = WORK / f"tree-{number}"
        self.build = self.tree / "build" / build
        self.options = BUILDS[build]
        self.memory = MEMORY_LIMIT if build == "plain" else None
        self.jobs = jobs
        self.environment = {"CCACHE_BASEDIR": str(self.tree), "CCACHE_NOHASHDIR": "1"}
        self.programs = []

    def prepare(self):
        self.copy()
        definitions = {
            "CMAKE_CXX_COMPILER": "g++",
            "CMAKE_CXX_COMPILER_LAUNCHER": "ccache",
            "CMAKE_LINK_DEPENDS_NO_SHARED": "ON",
            "TESSIL_BUILD_TOOLS": "OFF",
            "TESSIL_BUILD_EXAMPLES": "OFF",
            **self.options,
        }
        command = ["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build]
        self.must(command + [f"-D{name}={value}" for name, value in definitions.items()])
        self.must(["ninja", "-j", str(self.jobs)])
        self.library = self.hash()

        listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.build, check=True, capture_output=True, text=True)
        for test in json.loads(listed.stdout)["tests"]:
            program = Path(test["command"][0])
            folder = program.parent
            if len(test["command"]) == 1 and any((self.build / part) in [folder, *folder.parents] for part in TEST_FOLDERS):
                start = time.monotonic()
                good, output = self.test(program, 600)
                if not good:
                    sys.exit(f"{program} fails without any fault:\n{output}")
                self.programs.append((time.monotonic() - start, program))
        self.programs.sort()

    def copy(self):
        """What differs, so that what is built of the rest stays."""
        names = git_files()
        for name in names:
            target = self.tree / name
            if not target.is_file() or target.read_bytes() != (ROOT / name).read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, target)
        for folder, folders, files in os.walk(self.tree):
            if Path(folder) == self.tree and "build" in folders:
                folders.remove("build")
            for file in files:
                target = Path(folder) / file
                if str(target.relative_to(self.tree)) not in names:
                    target.unlink()

    def must(self, command):
        self.build.mkdir(parents=True, exist_ok=True)
        good, output = run(command, self.build, 7200, self.environment)
        if not good:
            sys.exit(f"{' '.join(map(str, command))} fails without any fault:\n{output[-4000:]}")

    def hash(self):
        return hashlib.sha256((self.build / "TessilGraph" / "libTessilGraph.so").read_bytes()).hexdigest()

    def test(self, program, seconds):
        return run([program], program.parent, seconds, ENVIRONMENT, self.memory)

    def try_out(self, mutant):
        """What became of it, and who noticed."""
        path = self.tree / mutant.file
        text = path.read_text()
        path.write_text(text[: mutant.begin] + mutant.text + text[mutant.end :])
        try:
            return self.outcome(mutant)
        finally:
            path.write_text(text)

    def outcome(self, mutant):
        if not self.make("TessilGraph"):
            return "did not compile", ""
        # Public headers are compiled into the tests, too.
        public = mutant.file.endswith(".h") and "/internal/" not in mutant.file
        if not public and self.hash() == self.library:
            return "same code", ""
        for seconds, program in self.programs:
            if not self.make(program.name):
                return "did not compile", program.name
            good, output = self.test(program, 20 + 6 * seconds)
            if not good:
                failed = re.search(r"^\[  FAILED  \] ([\w./]+)", output, re.M)
                return "caught", f"{program.name} {failed[1] if failed else output.strip()[-60:]}".replace("\n", " ")
        return "survived", ""

    def make(self, target):
        good, _ = run(["ninja", "-j", str(self.jobs), target], self.build, 3600, self.environment)
        return good


# What becomes of them.

COLUMNS = ["result", "place", "kind", "change", "noticed by", "seconds"]


def survivors(table):
    """Those of an earlier table that survived, wherever their lines stand by now."""
    for row in Path(table).read_text().splitlines():
        result, place, kind, change = row.split("\t")[:4]
        if result == "survived":
            name, line = place.rsplit(":", 1)
            alike = [mutant for mutant in mutants_of(name) if mutant.kind == kind and mutant.change() == change]
            if alike:
                yield min(alike, key=lambda mutant: abs(mutant.line - int(line)))
            else:
                print(f"gone: {place} {change}", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=160, help="how many that compile to another library; 160 by default")
    parser.add_argument("--first", type=int, default=0, help="leave out as many of the seed's order")
    parser.add_argument("--seed", type=int, default=1, help="decides what is tried and in which order; 1 by default")
    parser.add_argument("--under", nargs="+", default=FOLDERS, help="files or folders to put faults into")
    parser.add_argument("--suffix", nargs="+", default=[".h", ".cpp"], help="headers or sources alone")
    parser.add_argument("--again", metavar="TABLE", help="try the survivors of this table instead")
    parser.add_argument("--build", choices=BUILDS, default="plain", help="asan finds more, in several times the time")
    parser.add_argument("--copies", type=int, default=1, help="of the tree, to try as many at once")
    parser.add_argument("--jobs", type=int, default=1, help="that the compiler may run for each copy")
    parser.add_argument("--list", action="store_true", help="print what would be tried, and stop")
    parser.add_argument("--table", default=None, help="where the table goes; build/mutants/BUILD-SEED.tsv by default")
    options = parser.parse_args()

    if options.again:
        chosen = list(survivors(options.again))
        options.count = len(chosen)
    else:
        chosen = sample(sources(options.under, options.suffix), options.seed, skip_list())[options.first :]
        if not chosen:
            sys.exit("there is nothing to try")
    if options.list:
        for mutant in chosen:
            print(f"{mutant.file}:{mutant.line}\t{mutant.kind}\t{mutant.change()}")
        return

    WORK.mkdir(parents=True, exist_ok=True)
    table = Path(options.table or WORK / f"{options.build}-{options.seed}.tsv")
    todo = queue.SimpleQueue()
    for mutant in chosen:
        todo.put(mutant)
    lock = threading.Lock()
    counts = collections.Counter()

    def work(number):
        workshop = Workshop(number, options.build, options.jobs)
        workshop.prepare()
        while True:
            with lock:
                if counts["caught"] + counts["survived"] >= options.count or todo.empty():
                    return
                mutant = todo.get()
            start = time.monotonic()
            result, who = workshop.try_out(mutant)
            row = [result, f"{mutant.file}:{mutant.line}", mutant.kind, mutant.change(), who]
            with lock:
                counts[result] += 1
                with table.open("a") as out:
                    out.write("\t".join(row + [f"{time.monotonic() - start:.0f}"]) + "\n")
                if result == "survived":
                    print("survived\t" + "\t".join(row[1:4]), flush=True)

    table.write_text("\t".join(COLUMNS) + "\n")
    with concurrent.futures.ThreadPoolExecutor(options.copies) as pool:
        workers = [pool.submit(work, number) for number in range(options.copies)]
        try:
            for worker in concurrent.futures.as_completed(workers):
                worker.result()
        except BaseException:
            # A copy could not be built, or its tests fail already: the others need not go on.
            with lock:
                options.count = 0
            raise
    print(", ".join(f"{count} {result}" for result, count in sorted(counts.items())))
    print(f"all of them: {table}")
    sys.exit(1 if counts["survived"] else 0)


if __name__ == "__main__":
    main()
