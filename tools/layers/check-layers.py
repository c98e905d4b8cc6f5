#!/usr/bin/env python3
"""Fails when an #include between the folders of src/ breaks the table of allowed folder
dependencies, or when a unit (X.cpp with X.hpp) sits on an include cycle that leaves its
folder.

    check-layers.py SRC_DIR ALLOWED_TABLE
"""
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def read_table(path):
    allowed = {}
    with open(path, encoding="utf-8") as table:
        for line in table:
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            folder, _, below = line.partition(":")
            allowed[folder.strip()] = set(below.split())
    return allowed


def table_cycles(allowed):
    """The table itself must order the folders: no folder may reach itself through it."""
    failures = []
    for start in sorted(allowed):
        seen, todo = set(), list(allowed[start])
        while todo:
            folder = todo.pop()
            if folder == start:
                failures.append(f"table: folder '{start}' depends on itself through the table")
                break
            if folder not in seen:
                seen.add(folder)
                todo.extend(allowed.get(folder, ()))
    return failures


def read_includes(src):
    """file path (relative to src) -> the project headers it includes."""
    graph = {}
    for root, _, files in os.walk(src):
        for name in files:
            if not name.endswith((".cpp", ".hpp", ".h")):
                continue
            path = os.path.join(root, name)
            rel = os.path.relpath(path, src).replace(os.sep, "/")
            with open(path, encoding="utf-8") as source:
                found = INCLUDE.findall(source.read())
            graph[rel] = [inc for inc in found if os.path.isfile(os.path.join(src, inc))]
    return graph


def folder_of(rel):
    return rel.split("/", 1)[0] if "/" in rel else ""


def unit_of(rel):
    return os.path.splitext(rel)[0]


def unit_cycles(graph):
    """Strongly connected components of the unit graph that span more than one folder."""
    units = {}
    for rel, incs in graph.items():
        units.setdefault(unit_of(rel), set()).update(unit_of(i) for i in incs if unit_of(i) != unit_of(rel))
    index, low, stack, on_stack, result, counter = {}, {}, [], set(), [], [0]

    def visit(node):  # Tarjan, iterative enough for a few hundred units
        index[node] = low[node] = counter[0]
        counter[0] += 1
        stack.append(node)
        on_stack.add(node)
        for nxt in units.get(node, ()):
            if nxt not in index:
                visit(nxt)
                low[node] = min(low[node], low[nxt])
            elif nxt in on_stack:
                low[node] = min(low[node], index[nxt])
        if low[node] == index[node]:
            component = []
            while True:
                top = stack.pop()
                on_stack.discard(top)
                component.append(top)
                if top == node:
                    break
            if len({folder_of(u) for u in component}) > 1:
                result.append(sorted(component))

    sys.setrecursionlimit(10000)
    for node in sorted(units):
        if node not in index:
            visit(node)
    return result


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    src, table = sys.argv[1], sys.argv[2]
    allowed = read_table(table)
    graph = read_includes(src)
    failures = table_cycles(allowed)
    for rel in sorted(graph):
        mine = folder_of(rel)
        if not mine:
            continue
        if mine not in allowed:
            failures.append(f"{rel}: folder '{mine}' is not in {table}")
            continue
        for inc in graph[rel]:
            theirs = folder_of(inc)
            if theirs != mine and theirs not in allowed[mine]:
                failures.append(f"{rel}: includes {inc}, but {mine} may not use {theirs}")
    for component in unit_cycles(graph):
        failures.append("units on an include cycle across folders: " + " ".join(component))
    for failure in failures:
        print(failure)
    print(f"{len(graph)} files, {len(failures)} violations")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
