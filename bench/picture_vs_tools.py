#!/usr/bin/env python3
"""Scales one large JPEG through the server and through other programs, in turn, and compares time and CPU.

usage: bench/picture_vs_tools.py DAEMON [--rounds 9]

The picture has 4000 x 3000 pixels, gradients with noise on top, and is read from the page cache. "djpeg" decodes it and
throws the result away: what the JPEG library alone needs. The pipe decodes, scales and encodes as the server does. CPU
time is that of all processes taking part, as /proc and the system count it. Needs djpeg, cjpeg and pamscale (Debian:
libjpeg-turbo-progs, netpbm); uses loopback only and removes what it wrote.
"""

import argparse
import contextlib
import pathlib
import random
import resource
import statistics
import subprocess
import tempfile
import time

import stream_vs_nginx as bench

WIDTH, HEIGHT = 4000, 3000
REPEATS = 3  # of a job before the next one has its turn: CPU time is counted in hundredths of a second


def make_picture(path):
    random.seed(1)
    noise = bytes(random.randrange(32) for _ in range(WIDTH * 3 * 5))
    with subprocess.Popen(["cjpeg", "-quality", "85", "-outfile", str(path)], stdin=subprocess.PIPE) as encoder:
        encoder.stdin.write(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
        for y in range(HEIGHT):
            down = y * 200 // HEIGHT
            smooth = b"".join(bytes((x * 200 // WIDTH, down, (x + y) * 100 // (WIDTH + HEIGHT))) * 8
                              for x in range(0, WIDTH, 8))
            start = y * 7919 % (WIDTH * 3 * 4)
            row = (int.from_bytes(smooth, "big") + int.from_bytes(noise[start:start + WIDTH * 3], "big"))
            encoder.stdin.write(row.to_bytes(WIDTH * 3, "big"))
    assert encoder.returncode == 0


def picture_id(port):
    """The id of the only picture or of a reference to it, found by trying: ids are small in a library of one file."""
    for number in range(1, 300):
        conn, head, _ = bench.request(port, "HEAD", f"/picture/{number}(1x1,1).jpg")
        conn.close()
        if head.startswith("HTTP/1.1 200"):
            return number
    return None


def fetch(port, path):
    conn, head, received = bench.request(port, "GET", path)
    with conn:
        assert head.startswith("HTTP/1.1 200"), head
        expected = bench.content_length(head)
        while received < expected:
            received += len(conn.recv(1 << 16)) or exit("the connection ended early")


def children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("daemon", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=9)
    args = parser.parse_args()

    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="pelorama-bench-")))
        media = folder / "media"
        media.mkdir()
        picture = media / "picture.jpg"
        make_picture(picture)
        port = bench.free_port()
        server = bench.start(stack, [str(args.daemon.resolve()), "-inifile", str(folder / "bench.ini"), "-ip", "127.0.0.1",
                                     "-httpport", str(port), "-contentdir", str(media), "-radio", "0"], folder)
        number = bench.wait_for("the server", lambda: picture_id(port), server)

        def shell(command):
            return lambda: subprocess.run(command, shell=True, check=True, stderr=subprocess.DEVNULL)
        jobs = {"djpeg, result thrown away": shell(f"exec djpeg -outfile /dev/null {picture}")}
        for size in ("640x480", "160x160"):
            width, height = size.split("x")
            jobs[f"server, {size}"] = lambda size=size: fetch(port, f"/picture/{number}({size},1).jpg")
            jobs[f"djpeg, pamscale, cjpeg, {size}"] = shell(
                f"djpeg {picture} | pamscale -xyfit {width} {height} | cjpeg > /dev/null")

        times = {name: [] for name in jobs}
        cpus = {name: [] for name in jobs}
        for turn in range(args.rounds + 1):
            for name in jobs if turn % 2 == 0 else reversed(jobs):
                before = bench.cpu_seconds([server.pid]) + children_seconds()
                started = time.perf_counter()
                for _ in range(REPEATS):
                    jobs[name]()
                if turn > 0:  # the first turn warms up
                    times[name].append((time.perf_counter() - started) / REPEATS)
                    cpus[name].append((bench.cpu_seconds([server.pid]) + children_seconds() - before) / REPEATS)

        print(f"{picture.stat().st_size} bytes of JPEG, {args.rounds} rounds of {REPEATS}, medians")
        print("| job | ms | fastest-slowest | CPU ms | time to djpeg | CPU to djpeg |")
        print("| --- | --- | --- | --- | --- | --- |")
        time_of = {name: statistics.median(values) for name, values in times.items()}
        cpu_of = {name: statistics.median(values) for name, values in cpus.items()}
        plain = next(iter(jobs))
        for name in jobs:
            print(f"| {name} | {time_of[name] * 1e3:.0f} | {min(times[name]) * 1e3:.0f}-{max(times[name]) * 1e3:.0f} | "
                  f"{cpu_of[name] * 1e3:.0f} | {time_of[name] / time_of[plain]:.2f} | {cpu_of[name] / cpu_of[plain]:.2f} |")


if __name__ == "__main__":
    main()
