#!/usr/bin/python3
"""Measures the first scan of a library of several formats, each alone and all together, and what of it is the server's own
time and what the system's. Prints a markdown table.

The files are ffmpeg's, one of each kind, copied with a number of their own in every title; they come from the page cache.
Medians of the rounds.

usage: mixed_scan.py SERVER [FILES_PER_KIND]     2500 unless told otherwise
"""

import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "system"))

import daemon  # noqa: E402
import netns  # noqa: E402

ROUNDS = 5
MARK = "Title 00000"
TONE = ["-f", "lavfi", "-i", "sine=frequency=440:duration=6"]
PICTURE = ["-f", "lavfi", "-i", "testsrc=size=1600x1200:rate=1", "-frames:v", "1"]
KINDS = {  # what ffmpeg is told for one file, and the mark as its tag holds it
    "mp3": (TONE + ["-b:a", "128k", "-write_xing", "0"], MARK.encode()),
    "wma": (TONE + ["-c:a", "wmav2", "-b:a", "128k"], MARK.encode("utf-16-le")),
    "m4a": (TONE + ["-c:a", "aac", "-b:a", "128k"], MARK.encode()),
    "jpg": (PICTURE, None),
}


def make_corpus(root, count):
    for kind, (options, mark) in KINDS.items():
        model = root / f"model.{kind}"
        subprocess.run(["ffmpeg", "-v", "error", *options, "-id3v2_version", "3", "-metadata", f"title={MARK}", "-metadata",
                        "artist=Somebody", "-metadata", "album=Something", "-metadata", "genre=Pop", model], check=True)
        content = model.read_bytes()
        assert mark is None or content.count(mark) >= 1, kind
        for number in range(count):
            folder = root / kind / f"{number // 50:04d}"
            folder.mkdir(parents=True, exist_ok=True)
            title = f"Title {number:05d}"
            renamed = content if mark is None else content.replace(
                mark, title.encode("utf-16-le") if kind == "wma" else title.encode())
            (folder / f"{number:05d}.{kind}").write_bytes(renamed)


def milliseconds(clock):
    hours, minutes, seconds, rest = map(int, clock.split(":"))
    return ((hours * 60 + minutes) * 60 + seconds) * 1000 + rest


def processor_seconds(pid):
    """User and system time."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return tuple(int(field) / os.sysconf("SC_CLK_TCK") for field in fields[11:13])


def scan(host, scratch, content):
    """Seconds by the server's log, and its processor times."""
    shutil.rmtree(scratch, ignore_errors=True)
    server = daemon.Daemon(host, scratch, content, verbosity=4, scantime=0)
    try:
        end = server.wait_for_log(r"^([\d:]+) DB:DB scan on .* completed")[1]
        times = processor_seconds(server.process.pid)
        begin = re.search(r"^([\d:]+) DB:DB scanning", server.log(), re.M)[1]
        return (milliseconds(end) - milliseconds(begin)) / 1000, *times
    finally:
        server.stop()


def main():
    daemon.EXECUTABLE = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 2500
    host = netns.Host()
    host.route_multicast()
    with tempfile.TemporaryDirectory(dir=os.path.dirname(daemon.EXECUTABLE)) as scratch:
        root = pathlib.Path(scratch)
        (root / "all").mkdir()
        make_corpus(root / "all", count)
        print("| files | bytes a file | files/s | us a file | processor, user us a file | system us a file |")
        print("| --- " * 6 + "|")
        for kind in (*KINDS, "all"):
            content = root / "all" / ("" if kind == "all" else kind)
            files = count * (len(KINDS) if kind == "all" else 1)
            scan(host, root / "server", content)  # into the page cache
            wall, user, system = (statistics.median(column) for column in
                                  zip(*(scan(host, root / "server", content) for _ in range(ROUNDS))))
            size = (root / "all" / f"model.{kind}").stat().st_size if kind != "all" else ""
            print(f"| {files} {'mixed' if kind == 'all' else kind} | {size} | {files / wall:.0f} | {wall / files * 1e6:.1f} | "
                  f"{user / files * 1e6:.1f} | {system / files * 1e6:.1f} |", flush=True)
    host.close()


if __name__ == "__main__":
    main()
