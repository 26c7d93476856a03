#!/usr/bin/env python3
"""Checks who includes whom below a source directory: folders are layers, and files form no cycle.

A file may include its own folder and the folders further down the list below, never one above. A header and the source
file of the same name are one node, so x.cc may include what x.h may not only as long as the pair closes no circle.

usage: include_check.py SOURCE_DIRECTORY [--edges]     (status 0: all well, 1: the offenders are printed)
       --edges also prints how many includes lead from each folder to each other one
"""

import collections
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')

# From the top down. The files of the source directory itself (main, startup, routes) wire all the others together.
LAYERS = ["", "web", "handlers", "scan", "import", "upnp", "meta", "http", "net", "db", "core"]

# Neighbours in the list that must not know each other: what joins them stands in a folder above both.
STRANGERS = {("meta", "db"), ("meta", "http"), ("meta", "net"), ("http", "db"), ("net", "db")}


def folder_of(node):
    return node.rpartition("/")[0]


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
            if match and (root / match[1]).is_file():
                target = str(pathlib.PurePath(match[1]).with_suffix(""))
                if target != node:
                    edges.setdefault(target, f"{path}:{number}")
    return graph


def layer_faults(graph):
    """The includes that run up, and the folders that stand in no layer, as lines of text."""
    for node, edges in sorted(graph.items()):
        source = folder_of(node)
        if source not in LAYERS:
            yield f"{node}: the folder {source} is in no layer (see LAYERS)"
            continue
        for target, place in sorted(edges.items()):
            folder = folder_of(target)
            if folder in LAYERS and LAYERS.index(folder) < LAYERS.index(source):
                yield f"{place}: {source}/ is below {folder or 'the top'}/ and may not include {target}"
            elif (source, folder) in STRANGERS:
                yield f"{place}: {source}/ and {folder}/ do not know each other, but it includes {target}"


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

    return next(filter(None, map(walk, sorted(graph))), None)


def print_edges(graph):
    counts = collections.Counter((folder_of(node), folder_of(target)) for node, edges in graph.items() for target in edges)
    for source in LAYERS:
        row = [f"{target} {counts[source, target]}" for target in LAYERS if counts[source, target] and target != source]
        if row or counts[source, source]:
            print(f"  {source or '(top)':9} -> {', '.join(row)}")


def main():
    root = pathlib.Path(sys.argv[1])
    graph = read_graph(root)
    if not graph:
        sys.exit(f"no source files below {root}")

    faults = list(layer_faults(graph))
    cycle = find_cycle(graph)
    if cycle:
        faults.append("include cycle:")
        faults += [f"  {graph[node][target]}: {node} -> {target}" for node, target in zip(cycle, cycle[1:])]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(graph)} files, {sum(map(len, graph.values()))} includes, no cycle, none runs up")
    if "--edges" in sys.argv:
        print_edges(graph)


if __name__ == "__main__":
    main()
