#!/usr/bin/env python3
"""Checks that the files below a source directory include one another without a cycle.

A header and the source file of the same name are one node: x.cc may include what x.h may not only as long as the pair
as a whole closes no circle. The few files that know everybody must not be known by anybody in turn.

usage: include_cycles.py SOURCE_DIRECTORY     (status 0: none found, 1: the offenders are printed)
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')

# They wire the parts together, so a file that included one of them would know the whole house.
KNOW_EVERYBODY = {"main", "startup", "routes"}


def read_graph(root):
    """{node: {included node: "file:line"}}, a node being a path below root without its suffix."""
    graph = {}
    for path in sorted(root.rglob("*")):
        if path.suffix not in (".h", ".cc"):
            continue
        node = str(path.relative_to(root).with_suffix(""))
        edges = graph.setdefault(node, {})
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            for candidate in (root / match[1], path.parent / match[1]):
                if candidate.is_file():
                    target = str(candidate.resolve().relative_to(root.resolve()).with_suffix(""))
                    if target != node:
                        edges.setdefault(target, f"{path}:{number}")
                    break
    return graph


def find_cycle(graph):
    """One cycle as a list of nodes, the first repeated at its end, or None."""
    done, trail = set(), []

    def walk(node):
        if node in trail:
            return trail[trail.index(node):] + [node]
        if node in done:
            return None
        trail.append(node)
        for target in sorted(graph.get(node, ())):
            cycle = walk(target)
            if cycle:
                return cycle
        trail.pop()
        done.add(node)
        return None

    for node in sorted(graph):
        cycle = walk(node)
        if cycle:
            return cycle
    return None


def main():
    root = pathlib.Path(sys.argv[1])
    graph = read_graph(root)
    if not graph:
        sys.exit(f"no source files below {root}")

    failed = False
    for node, edges in sorted(graph.items()):
        for target, place in sorted(edges.items()):
            if target in KNOW_EVERYBODY and node not in KNOW_EVERYBODY:
                print(f"{place}: {node} includes {target}, which only {', '.join(sorted(KNOW_EVERYBODY))} may")
                failed = True

    cycle = find_cycle(graph)
    if cycle:
        failed = True
        print("include cycle:")
        for node, target in zip(cycle, cycle[1:]):
            print(f"  {graph[node][target]}: {node} -> {target}")
    if failed:
        sys.exit(1)
    print(f"{len(graph)} files, {sum(map(len, graph.values()))} includes, no cycle")


if __name__ == "__main__":
    main()
