#!/usr/bin/python3
"""Measures the running server: scanning, memory, pages, searches and changes. Prints markdown tables.

Corpus and server live on one machine, in a network namespace with loopback only; files come from the page cache.
Figures are medians. Started by scripts/bench.sh, which builds the server and makes the corpus.

usage: daemon_bench.py --daemon PATH --corpus DIRECTORY --tracks N [--scratch DIRECTORY]
"""

import argparse
import datetime
import os
import pathlib
import platform
import re
import shutil
import statistics
import subprocess
import sys
import time
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "system"))

import netns  # noqa: E402
import wire  # noqa: E402

SCANS = 5
REQUESTS = 300
PAGE = 30


def median_ms(seconds):
    return f"{statistics.median(seconds) * 1000:.2f}"


def print_table(title, head, rows):
    print(f"\n### {title}\n")
    print("| " + " | ".join(head) + " |")
    print("|" + " --- |" * len(head))
    for row in rows:
        print("| " + " | ".join(str(cell) for cell in row) + " |")
    sys.stdout.flush()


class Bench:
    def __init__(self, options):
        self.options = options
        self.scratch = pathlib.Path(options.scratch)
        self.host = netns.Host()
        self.host.route_multicast()

    def start(self, content, **settings):
        import daemon
        daemon.EXECUTABLE = self.options.daemon
        directory = self.scratch / "server"
        shutil.rmtree(directory, ignore_errors=True)
        # 4 is the database's category: it says when a scan begins and ends.
        server = daemon.Daemon(self.host, directory, content, verbosity=4,
                               **{"scantime": 0} | settings)
        return server

    def run(self):
        with open("/proc/cpuinfo", encoding="ascii", errors="replace") as text:
            model = re.search(r"model name\s*: (.*)", text.read())
        print(f"{datetime.date.today()}, {os.cpu_count()} cores {model[1] if model else platform.machine()}, "
              f"Linux {platform.release()}, release build.")
        tracks, corpus = self.options.tracks, self.options.corpus
        print(f"Corpus: {tracks} tracks in {corpus}.")
        self.start_and_scan(corpus).stop()  # the first pass fills the page cache
        full = []
        for index in range(SCANS):
            server = self.start_and_scan(corpus)
            full.append(self.scan_seconds(server))
            if index < SCANS - 1:
                server.stop()
        client = server.client()
        found = client.browse(client.child("0", "Music", "All Tracks").id, count=1).total
        assert found == tracks, f"{found} of {tracks} tracks"
        self.memory_and_scan(server, full)
        self.pages(client)
        self.changes(server, client)
        server.stop()
        self.restarts()

    def start_and_scan(self, corpus):
        server = self.start(corpus)
        server.wait_until_up()
        server.wait_for_scan(deadline=600)
        return server

    @staticmethod
    def scan_seconds(server, after=0):
        """Between the log lines that begin and end the first scan behind the given place of the log."""
        def at(pattern):
            hours, minutes, seconds, ms = re.search(r"^(\d\d):(\d\d):(\d\d):(\d{3}) DB:" + pattern,
                                                    server.log()[after:], re.M).groups()
            return int(hours) * 3600 + int(minutes) * 60 + int(seconds) + int(ms) / 1000
        return (at("DB scan on") - at("DB scanning")) % 86400

    def memory_and_scan(self, server, full):
        tracks = self.options.tracks
        loaded = server.resident_bytes()
        empty_folder = self.scratch / "empty"
        empty_folder.mkdir(exist_ok=True)
        server_with_nothing = self.start_beside(empty_folder)
        nothing = server_with_nothing.resident_bytes()
        server_with_nothing.stop()
        seconds = statistics.median(full)

        rescans = [self.rescan(server) for _ in range(SCANS)]
        looks = []
        for _ in range(SCANS):
            begin = time.perf_counter()
            subprocess.run(["find", self.options.corpus, "-name", "*.mp3", "-size", "+1000G"], check=True)
            looks.append(time.perf_counter() - begin)
        print_table("Scan and memory", ["what", "figure"], [
            ["full scan", f"{seconds:.2f} s, {tracks / seconds:.0f} files/s"],
            [
                "unchanged rescan",
                f"{statistics.median(rescans):.3f} s, {tracks / statistics.median(rescans):.0f} files/s"
            ],
            ["`find` with one file status a file, for comparison", f"{statistics.median(looks):.3f} s"],
            ["resident memory, empty library", f"{nothing / 1e6:.1f} MB"],
            [
                "resident memory, full library",
                f"{loaded / 1e6:.1f} MB, {(loaded - nothing) / tracks:.0f} bytes a track"
            ],
        ])

    def start_beside(self, content):
        """A second server on the same host, for a look at what it costs without a library."""
        import daemon
        server = daemon.Daemon(self.host, self.scratch / "beside", content, verbosity=4, httpport=9100,
                               scantime=0)
        server.wait_until_up()
        server.wait_for_scan()
        return server

    def rescan(self, server, directory=""):
        """Seconds of the scan pass that a request for a rescan starts."""
        seen = len(server.log())
        answer = server.client().get(f"/rescan{urllib.parse.quote(directory)}")
        assert b"initiated" in answer.body, answer.body
        server.wait_for_scan(after=seen, deadline=600)
        return self.scan_seconds(server, seen)

    def pages(self, client):
        total = self.options.tracks
        everything = client.child("0", "Music", "All Tracks").id
        # A change drops the sorted listings that are kept, so the page behind it pays for sorting.
        track = client.browse(everything, count=1)[0]

        def change():
            for old, new in ((track.title, track.title + "x"), (track.title + "x", track.title)):
                client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{old}</title>",
                            NewTagValue=f"<title>{new}</title>")

        def browse(start, sort, object_id=everything, flag="BrowseDirectChildren"):
            return {
                "ObjectID": object_id,
                "BrowseFlag": flag,
                "Filter": "*",
                "StartingIndex": start,
                "RequestedCount": PAGE,
                "SortCriteria": sort
            }
        rows = []
        with Session(client) as session:
            floor = session.times(b"HEAD /ContentDirectory.xml HTTP/1.1\r\nHost: x\r\n\r\n", "HEAD")
            rows.append(["HEAD of a fixed document: the floor of this measurement", median_ms(floor), ""])
            for sort in ("", "+dc:title", "-dc:title", "+upnp:artist,+dc:title"):
                for name, start in (("head", 0), ("middle", total // 2), ("tail", total - PAGE)):
                    request = session.soap("Browse", browse(start, sort))
                    cold = []
                    for _ in range(3):
                        change()
                        cold.append(session.time(request))
                    rows.append([
                        f"{PAGE} items, {name}, sorted `{sort}`" if sort else f"{PAGE} items, {name}, default order",
                        median_ms(session.times(request)),
                        median_ms(cold)
                    ])
            middle = client.browse(everything, start=total // 2, count=1)[0]
            rows.append([
                "BrowseMetadata by id",
                median_ms(session.times(session.soap("Browse", browse(0, "", middle.id, "BrowseMetadata")))), ""
            ])
            for criteria in (f'dc:title contains "{middle.title[-8:]}"', 'dc:title contains "zzzzzz"'):
                request = session.soap(
                    "Search", {
                        "ContainerID": 0,
                        "SearchCriteria": criteria,
                        "Filter": "*",
                        "StartingIndex": 0,
                        "RequestedCount": PAGE,
                        "SortCriteria": "+dc:title"
                    })
                rows.append([
                    f"Search {criteria} over {total * 34} objects",
                    median_ms([session.time(request) for _ in range(10)]), ""
                ])
        print_table("Answers over one kept connection, request to last byte", ["request", "ms", "ms behind a change"],
                    rows)

    def changes(self, server, client):
        files = sorted(pathlib.Path(self.options.corpus).rglob("*.mp3"))
        folder = files[len(files) // 2].parent.parent  # one artist
        members = sorted(folder.rglob("*.mp3"))
        away = self.scratch / "away"
        seconds = {"nothing changed": [], "all changed": [], "all gone": [], "all back": []}

        def rescan(what, missing=0):
            seconds[what].append(self.rescan_to_last_effect(server, client, folder, missing))

        for index in range(SCANS):
            rescan("nothing changed")
            for path in members:
                os.utime(path, (1_500_000_000 + index, int(time.time()) + 1 + index))
            rescan("all changed")
            away.mkdir(exist_ok=True)
            for entry in list(folder.iterdir()):
                entry.rename(away / entry.name)
            rescan("all gone", missing=len(members))
            for entry in list(away.iterdir()):
                entry.rename(folder / entry.name)
            rescan("all back")
        print_table(f"Rescan of one folder of {len(members)} files, to its last effect", ["what", "ms", "largest"],
                    [[what, median_ms(times), f"{max(times) * 1000:.2f}"] for what, times in seconds.items()])

    def restarts(self):
        """What the persistence file costs and saves, and how long a browsing receiver waits meanwhile."""
        file = self.scratch / "library.db"
        file.unlink(missing_ok=True)
        scanning, saving, visible, rescanned = [], [], [], []
        for run in range(SCANS):
            begin = time.perf_counter()
            server = self.start(self.options.corpus, dbfile=file)
            if run > 0:
                server.wait_for_log("read on persistance DB completed")
                visible.append(time.perf_counter() - begin)
                server.wait_for_scan()
                rescanned.append(time.perf_counter() - begin)
            server.wait_until_up()
            with Session(server.client()) as session:
                page = session.soap("Browse", {"ObjectID": 0, "BrowseFlag": "BrowseDirectChildren", "Filter": "*",
                                               "StartingIndex": 0, "RequestedCount": PAGE, "SortCriteria": ""})
                if run == 0:
                    self.browse_until(session, page, server, "DB scan on .* completed", scanning)
                server.wait_for_log("DB:writing DB", deadline=60)
                self.browse_until(session, page, server, None, saving)
            server.stop()

        def row(what, times):
            times = sorted(times)
            return [what, f"{times[len(times) // 2] * 1000:.2f}", f"{times[len(times) * 99 // 100] * 1000:.2f}",
                    f"{times[-1] * 1000:.1f}"]
        print_table(f"Start from a file of {file.stat().st_size / 1e6:.1f} MB", ["what", "seconds"],
                    [["process start to all items visible", f"{statistics.median(visible):.2f}"],
                     ["process start to the end of the rescan behind it", f"{statistics.median(rescanned):.2f}"]])
        print_table("Browse of a page meanwhile, ms", ["meanwhile", "median", "p99", "longest"],
                    [row("full scan", scanning), row("the second in which the file is saved", saving)])

    @staticmethod
    def browse_until(session, page, server, pattern, times):
        """Browses again and again until the log says so, or for a second."""
        end = time.perf_counter() + (600 if pattern else 1)
        while time.perf_counter() < end:
            times.append(session.time(page))
            if pattern and len(times) % 50 == 0 and re.search(pattern, server.log()):
                return

    def rescan_to_last_effect(self, server, client, directory, missing):
        """Seconds from the log line that begins a pass until the removals behind it are done as well.

        What vanished is removed and emptied containers go behind the line that ends the scan. That is over when the
        library has the wanted size and the scanner's thread rests.
        """
        everything = client.child("0", "Music", "All Tracks")
        seen = len(server.log())
        answer = client.get(f"/rescan{urllib.parse.quote(str(directory))}")
        assert b"initiated" in answer.body, answer.body
        deadline = time.time() + 60
        while (client.metadata(everything.id).child_count != self.options.tracks - missing
               or "DB scan on" not in server.log()[seen:] or not scanner_rests(server)):
            assert time.time() < deadline, "the removals did not end"
        ended = datetime.datetime.now()
        begun = re.search(r"^(\d\d):(\d\d):(\d\d):(\d{3}) DB:DB scanning", server.log()[seen:], re.M).groups()
        hour, minute, second, ms = map(int, begun)
        begin = ended.replace(hour=hour, minute=minute, second=second, microsecond=ms * 1000)
        return (ended - begin).total_seconds() % 86400


class Session:
    """One kept connection on which prepared requests are timed."""

    def __init__(self, client):
        self.client = client
        self.connection = client.connect(60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.connection.close()

    def soap(self, action, arguments):
        from xml.sax.saxutils import escape
        body = wire.envelope(action, "".join(f"<{k}>{escape(str(v))}</{k}>" for k, v in arguments.items())).encode()
        return (f'POST /ContentDirectory/Control HTTP/1.1\r\nSOAPACTION: "{wire.CONTENT_DIRECTORY}#{action}"\r\n'
                f"Content-Length: {len(body)}\r\n\r\n").encode() + body

    def time(self, request, method="POST"):
        begin = time.perf_counter()
        self.connection.sendall(request)
        answer, _ = wire.read_answer(self.connection, method)
        elapsed = time.perf_counter() - begin
        assert answer.status == 200 and b"errorCode" not in answer.body[:500], answer
        if answer.header("Connection") == "close":
            self.connection.close()
            self.connection = self.client.connect(60)
        return elapsed

    def times(self, request, method="POST"):
        self.time(request, method)
        return [self.time(request, method) for _ in range(REQUESTS)]


def scanner_rests(server):
    """Whether no thread but those that wait is at work: all of them sleep."""
    try:
        tasks = pathlib.Path(f"/proc/{server.process.pid}/task").iterdir()
        return all((task / "stat").read_text().rpartition(")")[2].split()[0] == "S" for task in tasks)
    except FileNotFoundError:  # a thread that ended meanwhile
        return False


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--corpus", required=True)
    parser.add_argument("--tracks", type=int, required=True)
    parser.add_argument("--scratch", default="/tmp/pelorama-bench")
    options = parser.parse_args()
    pathlib.Path(options.scratch).mkdir(parents=True, exist_ok=True)
    Bench(options).run()


if __name__ == "__main__":
    main()
