#!/usr/bin/env python3
"""Tells which headers of this tree a file includes although it uses no name that they declare.

Usage: own_includes.py < LIST-OF-FILES

A header that is only there to be included says "IWYU pragma: always_keep"; an include whose use cannot be seen, such as
of a type that only has to be complete, says "IWYU pragma: keep". A header without names stands for those it includes.
"""

import re
import sys
from pathlib import Path

NOT_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)
INCLUDE = re.compile(r'^#include *[<"]([^>"]+)[>"](?!.*IWYU pragma: keep)', re.MULTILINE)
DECLARED = re.compile(
    r"\b(?:class|struct|enum(?: class)?)\s+(?:[A-Z]+_API\s+)?(\w+)"  # types
    r"|#define +(\w+)"
    r"|\b(\w+)\s*[({=\[]"  # functions, variables, aliases, enumerators
    r"|^ +(\w+),?$"  # enumerators of one name a line
    r"|\b(\w+)(?:<[^;={}]*>)?;",  # what is only declared
    re.MULTILINE,
)
# They stand before a bracket and declare nothing, or are in every file.
COMMON = set("if for while switch return sizeof operator decltype noexcept alignof static_assert explicit const".split())
COMMON |= set("TessilGraph TessilUtils internal tests fuzz tools default delete override std string vector".split())


def code_of(text):
    return NOT_CODE.sub("", re.sub(r"^#(?:include|pragma).*$", "", text, flags=re.MULTILINE))


def main():
    paths = [Path(line) for line in sys.stdin.read().split()]
    texts = {path.as_posix().removesuffix(".in"): path.read_text() for path in paths}
    includes = {name: [i for i in INCLUDE.findall(text) if i in texts] for name, text in texts.items()}
    declared = {
        name: {word for words in DECLARED.findall(code_of(text)) for word in words if word} - COMMON
        for name, text in texts.items()
        if name.endswith(".h")
    }

    def names_of(header):
        own = declared[header]
        return own if own else set().union(*(declared[inner] for inner in includes[header]))

    faults = 0
    for name, text in sorted(texts.items()):
        used = set(re.findall(r"\w+", code_of(text)))
        own = Path(name).with_suffix(".h").as_posix()
        for header in includes[name]:
            is_kept = header == own or "IWYU pragma: always_keep" in texts[header] or not used
            if not is_kept and names_of(header).isdisjoint(used):
                print(f"{name}: uses nothing of <{header}>")
                faults += 1
    sys.exit(1 if faults else 0)


main()
