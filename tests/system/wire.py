"""What the tests put on the wire and read from it: plain HTTP, SOAP control, DIDL-Lite, SSDP; Python's library only."""

import contextlib
import re
import socket
import time
import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import escape

CONTENT_DIRECTORY = "urn:schemas-upnp-org:service:ContentDirectory:1"
CONNECTION_MANAGER = "urn:schemas-upnp-org:service:ConnectionManager:1"
MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
NO_SUCH_OBJECT = 701  # UPnP ContentDirectory:1, table 2-16

DC = "{http://purl.org/dc/elements/1.1/}"
UPNP = "{urn:schemas-upnp-org:metadata-1-0/upnp/}"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"


class Answer:
    def __init__(self, status_line, headers, body):
        self.status_line, self.headers, self.body = status_line, headers, body  # (name, value as sent, blanks included)

    status = property(lambda self: int(self.status_line.split()[1]))
    text = property(lambda self: self.body.decode())

    def header(self, name):
        return next((value.strip() for key, value in self.headers if key.lower() == name.lower()), None)

    @staticmethod
    def of_head(head, body=b""):
        status_line, *lines = head.decode("latin-1").split("\r\n")
        return Answer(status_line, [tuple(line.split(":", 1)) for line in lines], body)


class Closed(Exception):
    """The server closed the connection before an answer was complete. It began with these bytes."""


def read_answer(connection, method="GET", have=b""):
    """One answer, read by its Content-Length (or to the end of the connection). Returns it and the bytes behind it."""
    received = bytearray(have)

    def receive(optional=False):
        received.extend(piece := connection.recv(1 << 16))
        if not piece and not optional:
            raise Closed(bytes(received[:300]))
        return piece
    while b"\r\n\r\n" not in received:
        receive()
    start = received.index(b"\r\n\r\n") + 4
    answer = Answer.of_head(bytes(received[:start - 4]))
    length = answer.header("Content-Length")
    if length is None and method != "HEAD":
        while receive(optional=True):
            pass
    end = start if method == "HEAD" else len(received) if length is None else start + int(length)
    while len(received) < end:
        receive()
    answer.body = bytes(received[start:end])
    return answer, bytes(received[end:])


class Client:
    """A control point on a host, speaking to one server address."""

    def __init__(self, host, address, port):
        self.host, self.address, self.port = host, address, port
        self.source, self.headers = None, []  # which of its host's; lines that tell what it is

    def connect(self, timeout=20):
        return self.host.connect(self.address, self.port, timeout, self.source)

    def send(self, request, method="GET", timeout=20):
        """The answer to a request given as bytes, on a connection of its own."""
        with self.connect(timeout) as connection:
            connection.sendall(request)
            return read_answer(connection, method)[0]

    def exchange(self, request, timeout=60):
        """Sends bytes and the end of what is sent; everything that comes back until the server closes or resets."""
        received = bytearray()
        with self.connect(timeout) as connection:
            with contextlib.suppress(ConnectionResetError, BrokenPipeError):  # what was said before is still read
                connection.sendall(request)
                connection.shutdown(socket.SHUT_WR)
            with contextlib.suppress(ConnectionResetError):
                while piece := connection.recv(1 << 16):
                    received += piece
        return bytes(received)

    def request(self, method, url, headers=(), body=b"", version="1.1"):
        lines = [f"{method} {url} HTTP/{version}", f"Host: {self.address}:{self.port}", *self.headers, *headers]
        if body:
            lines.append(f"Content-Length: {len(body)}")
        return self.send("\r\n".join(lines).encode() + b"\r\n\r\n" + body, method)

    def get(self, url, *headers):
        return self.request("GET", url, headers)

    def post_soap(self, action, arguments, service=CONTENT_DIRECTORY):
        """The raw answer to a control request; arguments is the inner XML of the action element."""
        path = "/ContentDirectory/Control" if service == CONTENT_DIRECTORY else "/ConnectionManager/Control"
        return self.request("POST", path,
                            ['Content-Type: text/xml; charset="utf-8"', f'SOAPACTION: "{service}#{action}"'],
                            envelope(action, arguments, service).encode())

    def call(self, action, service=CONTENT_DIRECTORY, **arguments):
        """{name: text} of the response's arguments, or Fault."""
        inner = "".join(f"<{name}>{escape(str(text))}</{name}>" for name, text in arguments.items() if text is not None)
        answer = self.post_soap(action, inner, service)
        root = ElementTree.fromstring(answer.body.rstrip(b"\0"))
        code = root.find(".//{urn:schemas-upnp-org:control-1-0}errorCode")
        if code is not None:
            raise Fault(int(code.text), answer)
        return {element.tag: element.text or "" for element in root[0][0]}

    def browse(self, object_id="0", flag="BrowseDirectChildren", filter="*", start=0, count=0, sort=""):
        return Listing(self.call("Browse", ObjectID=object_id, BrowseFlag=flag, Filter=filter, StartingIndex=start,
                                 RequestedCount=count, SortCriteria=sort))

    def metadata(self, object_id):
        return self.browse(object_id, "BrowseMetadata")[0]

    def search(self, criteria, container="0", filter="*", start=0, count=0, sort=""):
        return Listing(self.call("Search", ContainerID=container, SearchCriteria=criteria, Filter=filter,
                                 StartingIndex=start, RequestedCount=count, SortCriteria=sort))

    def search_all(self, criteria, **options):
        """Every match: one answer holds no more than some 200 kB."""
        found = self.search(criteria, **options)
        while len(found) < found.total:
            more = self.search(criteria, start=len(found), **options)
            assert more, f"{len(found)} of {found.total} matches"
            found += more
        return found

    def child(self, object_id, *titles):
        """The object below a container that is reached by the given titles."""
        for title in titles:
            found = [entry for entry in self.browse(object_id) if entry.title == title]
            assert len(found) == 1, f"{title!r} is {len(found)} times below {object_id}"
            object_id = found[0].id
        return found[0]

    def walk(self, object_id="0"):
        """Every object below one, each checked against the container that it stands in."""
        listing = self.browse(object_id)
        assert listing.total == len(listing)
        for entry in listing:
            assert entry.parent_id == object_id
            yield entry
            if entry.is_container:
                yield from self.walk(entry.id)

    def titles(self, *path):
        """What a container of "Music" lists."""
        return [entry.title for entry in self.browse(self.child("0", "Music", *path).id)]

    def tracks(self):
        """The items of "All Tracks"."""
        return list(self.browse(self.child("0", "Music", "All Tracks").id))


class Fault(Exception):
    def __init__(self, code, answer):
        super().__init__(f"fault {code}, {answer.status_line}")
        self.code, self.answer = code, answer


class Listing(list):
    """The objects of a Browse or Search response, with its counts."""

    def __init__(self, response):
        self.returned, self.total = int(response["NumberReturned"]), int(response["TotalMatches"])
        self.update_id = int(response["UpdateID"])
        super().__init__(Entry(element) for element in ElementTree.fromstring(response["Result"]))
        assert self.returned == len(self)


class Entry:
    """One object of a listing."""

    def __init__(self, element):
        self.element = element
        self.id, self.parent_id, self.ref_id = (element.get(name) for name in ("id", "parentID", "refID"))
        self.is_container = element.tag == DIDL + "container"
        self.child_count = int(element.get("childCount", 0))

    def text(self, name):
        return self.element.findtext(name)

    title = property(lambda self: self.text(DC + "title"))
    artist = property(lambda self: self.text(UPNP + "artist"))
    album = property(lambda self: self.text(UPNP + "album"))
    upnp_class = property(lambda self: self.text(UPNP + "class"))
    resource = property(lambda self: self.element.find(DIDL + "res"))
    url = property(lambda self: self.resource.text)
    path = property(lambda self: re.sub(r"^http://[^/]*", "", self.url))  # for a server that is already known

    def __repr__(self):
        return f"<{'container' if self.is_container else 'item'} {self.id} {self.title!r}>"


def envelope(action, arguments, service=CONTENT_DIRECTORY):
    return ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            f'<u:{action} xmlns:u="{service}">{arguments}</u:{action}></s:Body></s:Envelope>')


# SSDP

GROUP = ("239.255.255.250", 1900)


def msearch(target, mx="1"):
    return (f"M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: {mx}\r\n"
            f"ST: {target}\r\n\r\n").encode()


class _Ssdp:
    def __init__(self, host):
        with host.entered():
            self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def receive(self, count, deadline=20):
        """The next count packets as (start line, {HEADER: value}, sender); fails when they do not come."""
        packets, end = [], time.monotonic() + deadline
        while len(packets) < count:
            self.socket.settimeout(max(0.01, end - time.monotonic()))
            try:
                packet, sender = self.socket.recvfrom(4096)
            except TimeoutError:
                raise AssertionError(f"{len(packets)} of {count} packets within {deadline} s: {packets}") from None
            start, *lines = packet.decode("latin-1").split("\r\n")
            fields = (line.split(":", 1) for line in lines if ":" in line)
            packets.append((start, {name.upper(): value.strip() for name, value in fields}, sender))
        return packets


class Searcher(_Ssdp):
    """Multicasts searches and hears the unicast answers."""

    def __init__(self, host, address=None):
        super().__init__(host)
        self.socket.bind((address or host.address, 0))
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(host.address))
        # Loopback alone would otherwise count as too far away.
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 4)

    def send(self, packet):
        self.socket.sendto(packet, GROUP)

    def search(self, target, count):
        self.send(msearch(target))
        return self.receive(count)


class Listener(_Ssdp):
    """Hears what is multicast."""

    def __init__(self, host):
        super().__init__(host)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind(GROUP)
        with host.entered():
            self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                                   socket.inet_aton(GROUP[0]) + socket.inet_aton(host.address))

    def notifications(self, kind, count):
        """The headers of the next notifications of a kind ("ssdp:alive", "ssdp:byebye"); others do not count."""
        found = []
        while len(found) < count:
            (start, headers, _), = self.receive(1)
            if start.startswith("NOTIFY") and headers["NTS"] == kind:
                found.append(headers)
        return found
