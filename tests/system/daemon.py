"""Starts the real server on a host of the test network, watches it, and ends it."""

import contextlib
import itertools
import os
import pathlib
import re
import signal
import subprocess
import threading
import time

import wire

EXECUTABLE = os.environ.get("PELORAMA_DAEMON", "")
SANITIZER = os.environ.get("PELORAMA_SANITIZER", "")

SLOWNESS = 5 if SANITIZER else 1  # a sanitized server on a busy machine is slow for reasons that are none of its own


def wait_until(condition, what, deadline=30):
    """Polls until condition() is true and returns its value; fails at the deadline.

    A condition that reads a changing tree in several steps may ask for an object that has just gone: not yet, then."""
    end = time.monotonic() + deadline * SLOWNESS
    while time.monotonic() <= end:
        try:
            if value := condition():
                return value
        except wire.Fault as fault:
            if fault.code != wire.NO_SUCH_OBJECT:
                raise
        threading.Event().wait(0.02)
    raise AssertionError(f"not within {deadline * SLOWNESS} s: {what}")


class Daemon:
    """A server process, which wait_until_up() or wait_for_log() tell to be ready. Settings go to its command line, but
    those that are None; ini is what its ini file says before, wrapper a command that runs the server in its turn."""

    def __init__(self, host, directory, folder=None, *, port=None, address=None, verbosity=511, wrapper=(), ini=None,
                 radio_host=None, arguments=(), **settings):
        self.host, self.directory, self.folder = host, pathlib.Path(directory), folder
        self.address, self.port = address or host.address, port or settings.get("httpport") or 9000
        self.ini, self.log_path = self.directory / "pelorama.ini", self.directory / "server.log"
        # Without a directory to ask, none is looked for: that would add a placeholder to every test's tree.
        defaults = {"inifile": self.ini, "v": verbosity, "contentdir": folder,
                    "ip": host.address if host.interface == "lo" else None, "radio": 0 if radio_host is None else None}
        arguments = [word for key, value in (defaults | settings).items() if value is not None
                     for word in (f"-{key}", str(value))] + [*arguments]
        self.directory.mkdir(parents=True, exist_ok=True)
        if ini is not None:
            self.ini.write_bytes(ini)
        environment = {"PELORAMA_CHARSET": "UTF-8"} | (
            {"PELORAMA_RADIO_HOST": radio_host} if radio_host is not None else {})
        with open(self.log_path, "ab") as log:
            self.process = subprocess.Popen(host.command(*wrapper, EXECUTABLE, *arguments), cwd=self.directory,
                                            env=os.environ | environment, stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=log)

    def client(self, host=None, address=None):
        """A control point, on the host at the other end of the cable if no other is named."""
        return wire.Client(host or self.host.peer, address or self.address, self.port)

    def log(self):
        return self.log_path.read_bytes().decode("utf-8", "replace")

    def wait_for_log(self, pattern, after=0, deadline=30):
        """Waits for a line that matches; returns the match. after counts characters of the log already seen."""
        return wait_until(lambda: self.check_alive() or re.compile(pattern, re.M).search(self.log(), after),
                          f"log line {pattern!r}", deadline)

    def wait_for_scan(self, after=0, deadline=60):
        return self.wait_for_log(r"DB scan on .* completed", after, deadline)

    def wait_until_up(self):
        wait_until(lambda: self.check_alive() or self.answers(), "the device description is served")
        return self

    def answers(self):
        with contextlib.suppress(OSError, wire.Closed):
            return self.client().get("/DeviceDescription.xml").status == 200

    def rescan(self, directory="", deadline=30):
        """Has the files read again and returns when all that follows from it is in the tree, removals included.

        A request is taken when the scan of the one before is over, and what a scan leaves to tidy up is done before the
        next scan: so the third is taken when the first is done with altogether."""
        taken = ("<html><head><title>Rescan</title></head><body>rescan initiated on "
                 f"{directory or 'content root directories'}!</body></html>")
        for _ in range(3):
            wait_until(lambda: self.client().get(f"/rescan{directory}").text == taken, "a rescan is taken", deadline)

    def check_alive(self):
        assert self.process.poll() is None, f"the server ended with {self.process.returncode}:\n{self.log()[-2000:]}"

    def resident_bytes(self):
        return self._status("VmRSS") * 1024

    def threads(self):
        return self._status("Threads")

    def _status(self, field):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(rf"^{field}:\s+(\d+)", status, re.M)[1])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def signal(self, number):
        self.process.send_signal(number)

    def wait(self, deadline=15):
        """The exit status."""
        return self.process.wait(deadline * SLOWNESS)

    def stop(self):
        """Ends it the usual way and checks that it ended well."""
        try:
            if self.process.poll() is None:
                self.signal(signal.SIGTERM)
                assert self.wait() == 0, f"status {self.process.returncode}:\n{self.log()[-2000:]}"
        finally:
            self.kill()
        self.check_sanitizers()

    def kill(self):
        self.process.kill()  # nothing if it has ended
        self.process.wait()

    def check_sanitizers(self):
        found = re.search(r"((ERROR|WARNING): \w+Sanitizer|runtime error:|LeakSanitizer)[\s\S]{,6000}", self.log())
        assert not found, f"a sanitizer speaks:\n{found[0]}"

    def survives(self, action, limit=1.0):
        """Runs action() and demands what holds for every bad input: the process stays up, the description is answered
        within a second during and after it, memory comes back, no sanitizer speaks.

        What a first run builds once does not count. A second may have more threads at once, whose stacks are kept for
        the next ones, and so may the third. A leak shows at every run. With a sanitizer the figures mean nothing."""
        def grows():
            before = self.resident_bytes()
            action()
            with contextlib.suppress(AssertionError):
                return not wait_until(lambda: self.resident_bytes() < 1.1 * before, "memory is back", 5)
            return True
        with self._answers_within(limit * SLOWNESS):
            action()
            assert SANITIZER or not all(grows() for _ in range(4)), "memory grows at every run"
        self.check_alive()
        self.check_sanitizers()

    @contextlib.contextmanager
    def _answers_within(self, limit):
        """Asks for the device description again and again meanwhile, and once after; no answer may take longer."""
        end, faults = threading.Event(), []

        def ask_on():
            ended = False
            while not ended and not faults:
                ended, begun = end.wait(0.1), time.monotonic()
                if not self.answers():
                    faults.append("no answer of 200")
                if (took := time.monotonic() - begun) >= limit:
                    faults.append(f"took {took:.2f} s")
        watch = threading.Thread(target=ask_on)
        watch.start()
        try:
            yield
        finally:
            end.set()
            watch.join()
        assert not faults, f"the device description: {faults}"


class Servers:
    """Starts servers, each in a directory of its own below the given one, and ends them when it is left."""

    _ports = itertools.count(9001)  # never one that another server of this run has, or has had

    def __init__(self, host, directory):
        self._host, self._directory, self._started = host, directory, []

    def __call__(self, folder=None, *, host=None, scan=True, **options):
        """A server of the folder, once it has scanned it; with scan=False as soon as it is started. The other options
        are those of Daemon. It scans once, without repetition, if they say nothing else."""
        options = {"scantime": 0, "httpport": next(self._ports)} | options
        server = Daemon(host or self._host, self._directory / f"server{len(self._started)}", folder, **options)
        self._started.append(server)
        if scan:
            server.wait_until_up().wait_for_scan()
        return server

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.ExitStack() as stack:
            for server in self._started:
                stack.callback(server.stop)
