#!/usr/bin/env python3
"""Prints the size, the bases and the data members of each class that public headers define, sorted by name.

Usage: layouts.py XML-OF-ABIDW HEADER...

Hosts compile what stands in headers: they read members of classes that no exported function names, and derive from
classes that the library never hands out. The XML has to tell where types are defined.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree

CLASSES = ("class-decl", "union-decl")
SCOPES = (*CLASSES, "namespace-decl", "member-type", "abi-instr", "abi-corpus")


class Types:
    def __init__(self, root):
        self.nodes = {}  # Each type by its id, and the scope that it stands in.
        self.classes = []
        todo = [(root, "")]
        while todo:
            node, scope = todo.pop()
            if "id" in node.attrib:
                self.nodes[node.get("id")] = (node, scope)
            if node.tag in CLASSES:
                self.classes.append((node, scope))
            inner = scope
            if node.tag in (*CLASSES, "namespace-decl"):
                inner = f"{scope}{node.get('name')}::"
            if node.tag in SCOPES:
                todo += [(child, inner) for child in node]

    def name(self, id):
        """As it would stand in a source."""
        node, scope = self.nodes[id]
        inner = node.get("type-id")
        if node.tag == "pointer-type-def":
            return self.name(inner) + "*"
        if node.tag == "reference-type-def":
            return self.name(inner) + ("&" if node.get("kind") == "lvalue" else "&&")
        if node.tag == "qualified-type-def":
            return self.name(inner) + "".join(f" {word}" for word in ("const", "volatile") if node.get(word) == "yes")
        if node.tag == "array-type-def":
            return self.name(inner) + "".join(f"[{part.get('length')}]" for part in node.iter("subrange"))
        if node.tag == "function-type":
            parameters = ", ".join(self.name(part.get("type-id")) for part in node.iter("parameter"))
            return f"{self.name(node.find('return').get('type-id'))}({parameters})"
        return scope + node.get("name")

    def layout(self, node, scope):
        lines = [f"{scope}{node.get('name')}: {int(node.get('size-in-bits')) // 8} bytes"]
        for base in node.findall("base-class"):
            lines.append(f"    {place(base)} base {self.name(base.get('type-id'))}")
        for member in node.findall("data-member"):
            if member.get("static") != "yes":
                variable = member.find("var-decl")
                lines.append(f"    {place(member)} {variable.get('name')}: {self.name(variable.get('type-id'))}")
        return "\n".join(lines)


def short(text):
    """`text` without the arguments of the standard library's templates that nobody writes."""
    text = text.replace("std::__cxx11::", "std::").replace("> >", ">>").replace("> >", ">>")
    text = text.replace("std::basic_string<char, std::char_traits<char>, std::allocator<char>>", "std::string")
    unwritten = re.compile(r", std::(?:allocator|char_traits|default_delete|equal_to|hash|less)<")
    while found := unwritten.search(text):
        end = found.end()
        depth = 1
        while depth > 0:
            depth += {"<": 1, ">": -1}.get(text[end], 0)
            end += 1
        text = text[: found.start()] + text[end:]
    return text


def place(part):
    bits = int(part.get("layout-offset-in-bits", "0"))
    return str(bits // 8) if bits % 8 == 0 else f"{bits // 8}+{bits % 8} bits"


def main():
    headers = tuple("/" + header for header in sys.argv[2:])
    types = Types(ElementTree.parse(sys.argv[1]).getroot())
    layouts = set()
    for node, scope in types.classes:
        # What the library makes of a lambda is its own.
        known = node.get("is-declaration-only") != "yes" and "lambda" not in scope + node.get("name")
        if known and node.get("filepath", "").endswith(headers):
            layouts.add(short(types.layout(node, scope)))
    if not layouts:
        sys.exit(f"{sys.argv[1]} tells of no class that a public header defines")
    print("\n".join(sorted(layouts)))


main()
