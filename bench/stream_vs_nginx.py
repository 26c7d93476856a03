#!/usr/bin/env python3
"""Streams one large file from this server and from nginx (sendfile on) in turn, and compares speed and CPU time.

usage: bench/stream_vs_nginx.py DAEMON [--rounds 7] [--gib 2.5]

The file lies in a scratch folder under $TMPDIR, has no disk blocks and is read once before the measurement, so both send
it from the page cache. The reader lets the kernel drop what it receives (MSG_TRUNC), so it costs next to nothing. CPU time
is what the serving process used, of all its threads, as /proc counts it. Needs nginx (Debian: nginx-light); uses loopback
only and removes what it wrote.
"""

import argparse
import contextlib
import os
import pathlib
import pwd
import re
import socket
import statistics
import subprocess
import tempfile
import time

TICKS = os.sysconf("SC_CLK_TCK")
BEYOND_2_GIB = 2**31 + 12345
NGINX_CONF = """
{user}
daemon off;
worker_processes 1;
error_log {folder}/error.log;
pid {folder}/nginx.pid;
events {{ worker_connections 64; }}
http {{
    access_log off;
    sendfile on;
    tcp_nopush on;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    server {{
        listen 127.0.0.1:{port};
        root {folder}/media;
    }}
}}
"""


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def cpu_seconds(pids):
    """User and system time of processes; a thread that ended is counted in its process."""
    total = 0
    for pid in pids:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        total += int(fields[11]) + int(fields[12])
    return total / TICKS


def children(pid):
    return [int(p) for p in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


def request(port, method, path, first=None):
    """Sends a request; returns the socket, the header, and how much of the body came with the header."""
    conn = socket.create_connection(("127.0.0.1", port), timeout=60)
    wanted = f"Range: bytes={first}-\r\n" if first is not None else ""
    conn.sendall(f"{method} {path} HTTP/1.1\r\nHost: bench\r\n{wanted}Connection: close\r\n\r\n".encode())
    data = b""
    while b"\r\n\r\n" not in data:
        piece = conn.recv(4096)
        if not piece:
            raise RuntimeError(f"no answer to {method} {path}")
        data += piece
    head, _, rest = data.partition(b"\r\n\r\n")
    return conn, head.decode("latin-1"), len(rest)


def content_length(head):
    return int(re.search(r"(?im)^content-length: *(\d+)", head).group(1))


def fetch(port, path, first, expected):
    """Seconds until the last byte."""
    sink = bytearray(1 << 20)
    started = time.perf_counter()
    conn, head, received = request(port, "GET", path, first)
    with conn:
        assert content_length(head) == expected, head
        while received < expected:
            n = conn.recv_into(sink, len(sink), socket.MSG_TRUNC)
            if n == 0:
                raise RuntimeError(f"connection ended {expected - received} bytes early")
            received += n
    assert received == expected
    return time.perf_counter() - started


def wait_for(what, probe, process, seconds=60):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if process.poll() is not None:
            raise RuntimeError(f"{what}: the process ended with {process.returncode}")
        with contextlib.suppress(OSError, RuntimeError, AssertionError):
            found = probe()
            if found:
                return found
        time.sleep(0.1)
    raise RuntimeError(f"{what} does not answer")


def media_path(port, size):
    """The URL of the one item of that size; ids are small numbers in a library of one file."""
    for number in range(1, 200):
        conn, head, _ = request(port, "HEAD", f"/disk/{number}.avi")
        conn.close()
        if head.startswith("HTTP/1.1 200") and content_length(head) == size:
            return f"/disk/{number}.avi"
    return None


def start(stack, argv, folder):
    log = stack.enter_context(open(folder / (pathlib.Path(argv[0]).name + ".log"), "wb"))
    process = subprocess.Popen(argv, cwd=folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def stop():
        process.terminate()
        try:
            process.wait(20)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()

    stack.callback(stop)
    return process


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("daemon", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--gib", type=float, default=2.5)
    args = parser.parse_args()
    size = int(args.gib * 2**30)

    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="pelorama-bench-")))
        folder.chmod(0o755)
        media = folder / "media"
        media.mkdir()
        film = media / "film.avi"
        with open(film, "wb") as file:
            file.truncate(size)
        with open(film, "rb", buffering=0) as file:
            while file.read(1 << 22):
                pass

        nginx_port, own_port = free_port(), free_port()
        user = f"user {pwd.getpwuid(os.getuid()).pw_name};" if os.getuid() == 0 else ""
        (folder / "nginx.conf").write_text(NGINX_CONF.format(folder=folder, port=nginx_port, user=user))
        nginx = start(stack, ["nginx", "-p", str(folder), "-c", str(folder / "nginx.conf")], folder)
        own = start(stack, [str(args.daemon.resolve()), "-inifile", str(folder / "bench.ini"), "-ip", "127.0.0.1",
                            "-httpport", str(own_port), "-contentdir", str(media), "-radio", "0"], folder)

        def nginx_answers():
            request(nginx_port, "HEAD", "/film.avi")[0].close()
            return children(nginx.pid)

        workers = wait_for("nginx", nginx_answers, nginx)
        own_path = wait_for("the server", lambda: media_path(own_port, size), own)
        servers = {"pelorama": (own_port, own_path, [own.pid]), "nginx": (nginx_port, "/film.avi", workers)}

        print(f"{os.cpu_count()} processors, file of {size} bytes, {args.rounds} rounds, medians")
        print("| transfer | server | GB/s | slowest-fastest | CPU seconds | speed to nginx | CPU to nginx |")
        print("|---|---|---|---|---|---|---|")
        for label, first, expected in (("whole file", None, size), ("from beyond 2^31", BEYOND_2_GIB, size - BEYOND_2_GIB)):
            times = {name: [] for name in servers}
            cpus = {name: [] for name in servers}
            for turn in range(args.rounds + 1):
                order = list(servers) if turn % 2 == 0 else list(reversed(servers))
                for name in order:
                    port, path, pids = servers[name]
                    before = cpu_seconds(pids)
                    seconds = fetch(port, path, first, expected)
                    used = cpu_seconds(pids) - before
                    if turn > 0:  # the first turn warms up
                        times[name].append(seconds)
                        cpus[name].append(used)
            speed = {name: expected / statistics.median(times[name]) / 1e9 for name in servers}
            cpu = {name: statistics.median(cpus[name]) for name in servers}
            for name in servers:
                ratio = cpu[name] / cpu["nginx"] if cpu["nginx"] > 0 else float("nan")
                print(f"| {label} | {name} | {speed[name]:.2f} | {expected / max(times[name]) / 1e9:.2f}-"
                      f"{expected / min(times[name]) / 1e9:.2f} | {cpu[name]:.2f} | {speed[name] / speed['nginx']:.2f} | "
                      f"{ratio:.2f} |")


if __name__ == "__main__":
    main()
