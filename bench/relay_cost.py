#!/usr/bin/env python3
"""What relaying costs beside serving: one server sends a file of its own, a second one relays it from the first by HTTP
and, where pyftpdlib is installed, from an FTP server.

usage: bench/relay_cost.py DAEMON [--rounds 7] [--gib 1]

CPU time is what the process that is asked used, of all its threads. The file has no disk blocks and lies in a scratch
folder; loopback only.
"""

import argparse
import contextlib
import importlib.util
import os
import pathlib
import statistics
import sys
import tempfile

from stream_vs_nginx import content_length, cpu_seconds, fetch, free_port, media_path, request, start, wait_for

FTP_SERVER = """
import sys
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_anonymous(sys.argv[1])
FTPServer(("127.0.0.1", int(sys.argv[2])), FTPHandler).serve_forever()
"""


def item_path(port, size, part):
    """The URL of the item of that size below /httpproxy or /ftpproxy."""
    for number in range(1, 200):
        conn, head, _ = request(port, "HEAD", f"/{part}/{number}.avi")
        conn.close()
        if head.startswith("HTTP/1.1 200") and content_length(head) == size:
            return f"/{part}/{number}.avi"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("daemon", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--gib", type=float, default=1)
    args = parser.parse_args()
    size = int(args.gib * 2**30)

    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="pelorama-bench-")))
        media, empty = folder / "media", folder / "empty"
        media.mkdir()
        empty.mkdir()
        with open(media / "film.avi", "wb") as file:
            file.truncate(size)

        def serve(name, content, *settings):
            port = free_port()
            process = start(stack, [str(args.daemon.resolve()), "-inifile", str(folder / f"{name}.ini"), "-ip", "127.0.0.1",
                                    "-httpport", str(port), "-contentdir", str(content), "-radio", "0", *settings], folder)
            return port, process

        origin_port, origin = serve("origin", media)
        file_path = wait_for("the origin", lambda: media_path(origin_port, size), origin)
        urls = {"httpproxy": f"http://127.0.0.1:{origin_port}{file_path}"}
        if importlib.util.find_spec("pyftpdlib"):
            ftp_port = free_port()
            start(stack, [sys.executable, "-c", FTP_SERVER, str(media), str(ftp_port)], folder)
            urls["ftpproxy"] = f"ftp://127.0.0.1:{ftp_port}/film.avi"
        (folder / "items.db").write_text("".join(
            f"<SOI>\nTI:{part}\nCL:object.item.videoItem.movie\nRE:{url}\n<EOI>\n" for part, url in urls.items()))
        relay_port, relay = serve("relay", empty, "-dbfile", str(folder / "items.db"))
        ways = {"a file": (origin_port, file_path, origin.pid)}
        for part in urls:
            path = wait_for(part, lambda part=part: item_path(relay_port, size, part), relay)
            ways[part] = (relay_port, path, relay.pid)

        times, cpus = ({way: [] for way in ways} for _ in range(2))
        for turn in range(args.rounds + 1):
            for way, (port, path, pid) in ways.items():
                before = cpu_seconds([pid])
                seconds = fetch(port, path, None, size)
                if turn > 0:  # the first turn warms up
                    times[way].append(seconds)
                    cpus[way].append(cpu_seconds([pid]) - before)
        print(f"{os.cpu_count()} processors, file of {size} bytes, {args.rounds} rounds, medians")
        print("| way | GB/s | CPU seconds | CPU to a file |")
        print("|---|---|---|---|")
        for way in ways:
            cpu, base = statistics.median(cpus[way]), statistics.median(cpus["a file"])
            print(f"| {way} | {size / statistics.median(times[way]) / 1e9:.2f} | {cpu:.2f} | {cpu / base:.2f} |")


if __name__ == "__main__":
    main()
