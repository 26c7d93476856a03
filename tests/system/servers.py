"""Servers that the tests start on hosts of their own: some that say exactly what they are told, and real ones."""

import collections
import contextlib
import os
import shutil
import socket
import subprocess
import threading

import pytest

import music
from daemon import wait_until


class Server:
    """A listener on a host. Every connection gets a thread that runs talk(connection), and is closed behind it."""

    def __init__(self, host, port=0, address=None):
        with host.entered():
            self._listener = socket.create_server((address or host.address, port), backlog=512)
        self.host, self.authority = host, "{}:{}".format(*self._listener.getsockname())
        self._open = set()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        with contextlib.suppress(OSError):
            while True:
                connection = self._listener.accept()[0]
                self._open.add(connection)
                threading.Thread(target=self._talk, args=(connection,), daemon=True).start()

    def _talk(self, connection):
        with contextlib.suppress(OSError), connection:
            self.talk(connection)
        self._open.discard(connection)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for connection in (self._listener, *self._open):
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        self._listener.close()


class Origin(Server):
    """Answers every request as it is told, and keeps what it was sent. An answer is its bytes, or a function of
    connection and request that sends it; {path: answer} where they differ."""

    def __init__(self, host, answers, **listener):
        self.answers = answers if isinstance(answers, dict) else collections.defaultdict(lambda: answers)
        self.requests = []
        super().__init__(host, **listener)

    def url(self, path="/"):
        return f"http://{self.authority}{path}"

    def talk(self, connection):
        request = ""
        while "\r\n\r\n" not in request:
            piece = connection.recv(65536)
            if not piece:
                return
            request += piece.decode("latin-1")
        self.requests.append(request)
        answer = self.answers[request.split()[1]]
        answer(connection, request) if callable(answer) else connection.sendall(answer)


def stations(*entries):
    """The answer of a station directory: entries are (name, genre, url)."""
    body = "<?xml version=\"1.0\"?>\n<playlist>" + "".join(
        f'<entry Playstring="{url}"><Name>{name}</Name><Genre>{genre}</Genre><Nowplaying>{name} now</Nowplaying>'
        f"<Listeners>42</Listeners><Bitrate>128</Bitrate></entry>\n" for name, genre, url in entries) + "</playlist>"
    return f"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\n\r\n{body}".encode()


TRACK, FILM, PHOTO, STATION = (f"object.item.{name}" for name in (
    "audioItem.musicTrack", "videoItem.movie", "imageItem.photo", "audioItem.audioBroadcast"))


def items_file(path, items):
    """A persistence file: items maps titles to {tag of that file: value}, "RE" being a path or a URL."""
    def record(tags):
        return "<SOI>\n" + "".join(f"{tag}:{value}\n" for tag, value in tags.items()) + "<EOI>\n"
    records = (record({"TI": title, "CL": TRACK} | tags) for title, tags in items.items())
    return music.write(path, "".join(records).encode())


def serve_items(serve, directory, items, **options):
    """A server of these, by way of its persistence file. Its items are {title: entry}."""
    (directory / "empty").mkdir()
    library = items_file(directory / "library.db", items)
    server = serve(directory / "empty", dbfile=library, **options)
    server.library = library

    def all_listed():
        found = server.client().search_all('upnp:class derivedfrom "object.item" and @refID exists false')
        server.items = {entry.title: entry for entry in found}
        return server.items.keys() == items.keys()
    wait_until(all_listed, "the items are listed")
    return server


def play_counts(server):
    """{title: how often it was played}, as the server writes it down at its end."""
    server.stop()
    records = [dict(line.split(":", 1) for line in record.splitlines() if ":" in line)
               for record in server.library.read_text().split("<EOI>")]
    return {record["TI"]: int(record.get("PC", 0)) for record in records if record}


# Written by others

def installed(program):
    """Its path. Not among the packages that every test run installs: Debian starts such servers right away."""
    executable = shutil.which(program)
    # They give root's rights up, which the user namespace of an ordinary user has no other user for.
    lesser = subprocess.run(["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "true"], check=False,
                            capture_output=True)
    if not executable or lesser.returncode != 0:
        # A run that is to vouch for a change must not pass by testing nothing.
        (pytest.fail if os.environ.get("CI") else pytest.skip)(f"{program} is missing or cannot become nobody")
    return executable


@contextlib.contextmanager
def running(host, log_path, *command, port=None):
    """The process of the command on that host, once its port is open if it has one."""
    def listens():
        with contextlib.suppress(ConnectionRefusedError):
            host.connect("127.0.0.1", port).close()
            return True
    with open(log_path, "wb") as log:
        process = subprocess.Popen(host.command(*command), stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    try:
        if port:
            wait_until(listens, f"{command[0]} listens")
        yield process
    finally:
        process.kill()
        process.wait()
