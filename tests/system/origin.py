"""Sources of media that the tests play: an HTTP server that says exactly what it is told."""

import contextlib
import socket
import threading


class Origin:
    """A listener on a host. Every connection gets a thread that runs respond(connection, request), where request is the
    header's text, and is closed behind it."""

    def __init__(self, host, respond, port=0, address=None):
        self.respond, self.requests = respond, []
        with host.entered():
            self._listener = socket.create_server((address or host.address, port), backlog=512)
        self.port = self._listener.getsockname()[1]
        self.authority = f"{address or host.address}:{self.port}"
        self._open, self._lock = set(), threading.Lock()
        threading.Thread(target=self._serve, daemon=True).start()

    def url(self, path="/"):
        return f"http://{self.authority}{path}"

    def _serve(self):
        while True:
            try:
                connection = self._listener.accept()[0]
            except OSError:
                return
            with self._lock:
                self._open.add(connection)
            threading.Thread(target=self._answer, args=(connection,), daemon=True).start()

    def _answer(self, connection):
        with contextlib.suppress(OSError), connection:
            request = b""
            while b"\r\n\r\n" not in request:
                piece = connection.recv(65536)
                if not piece:
                    return
                request += piece
            self.requests.append(request.decode("latin-1"))
            self.respond(connection, self.requests[-1])
        with self._lock:
            self._open.discard(connection)

    def close(self):
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        with self._lock:
            for connection in self._open:
                with contextlib.suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def fixed(answer):
    """A respond function that sends these bytes."""
    return lambda connection, _: connection.sendall(answer)


def stations(*entries):
    """The answer of a station directory: entries are (name, genre, url)."""
    body = "<?xml version=\"1.0\"?>\n<playlist>" + "".join(
        f'<entry Playstring="{url}"><Name>{name}</Name><Genre>{genre}</Genre><Nowplaying>{name} now</Nowplaying>'
        f"<Listeners>42</Listeners><Bitrate>128</Bitrate></entry>\n" for name, genre, url in entries) + "</playlist>"
    return (f"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\n\r\n{body}").encode()
