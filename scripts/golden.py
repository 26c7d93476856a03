#!/usr/bin/env python3
"""What the server says for one fixed library, as text to be compared: nothing a client sees may change unnoticed.

    scripts/golden.py DAEMON --out DIR    stores the answers of an executable in DIR, a file for each topic
    scripts/golden.py BEFORE AFTER        prints a diff, ends with 1 where they differ; each is an executable or a DIR

An executable is started without settings, with defaults, with most settings changed, and on what the second run kept.
Each asking has namespaces of its own (a loopback network, a tmpfs for library and settings, host name, process ids), so
nothing stays behind (but an empty directory) and several can run at once. Needs root or user namespaces, and ffmpeg,
ip, unshare and diff. In the files a backslash begins an escape; a line end that was sent is one before the line's end.
"""
# pylint: disable=missing-function-docstring,too-few-public-methods,too-many-arguments,too-many-locals
# pylint: disable=consider-using-with

import argparse
import datetime
import hashlib
import os
import pathlib
import plistlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.parse
from xml.sax.saxutils import escape

SCRATCH = pathlib.Path("/tmp/pelorama-golden")
MUSIC, PICTURES, VIDEOS = (SCRATCH / "library" / kind for kind in ("Music", "Pictures", "Videos"))
SERVER, PORT, UPGRADE_PORT, GROUP = "127.0.0.1", 9000, 3640, ("239.255.255.250", 1900)
CD, CM = "urn:schemas-upnp-org:service:ContentDirectory:1", "urn:schemas-upnp-org:service:ConnectionManager:1"

# ---- what is of the moment; everything else is compared as it is

MASKS = (re.compile(rb"(\r\ndate: )[A-Z][a-z]{2}, \d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d GMT(?=\r\n)", re.I),
         re.compile(rb"(\r\nSID: uuid:)\d+(?=\r\n)"),               # the clock's milliseconds
         re.compile(rb"(<Id>|<SystemUpdateID>)\d+(?=</)"))          # in how many passes the first scan was told
PLAYED_AT = re.compile(rb"(?m)^PT:\d+$")                            # of a play, in the persistence file
MESSAGE = re.compile(rb"(?m)^\d\d:\d\d:\d\d:\d{3} (.*)")              # the first line of one of the log


class Golden:
    """The answers by topic."""

    def __init__(self):
        self.topics = {}

    def add(self, topic, title, data):
        for mask in MASKS:
            data = mask.sub(rb"\1(of the moment)", data)
        text = data.decode("latin-1").replace("\\", "\\\\").replace("\r\n", "\\r\\n\n").replace("\r", "\\r")
        text = re.sub(r"(?<!\\r\\n)\n", "\\\\n\n", text)
        text = re.sub(r"[^\n -~]", lambda found: f"\\x{ord(found[0]):02x}", text)
        text = re.sub(r"(?=&lt;(?:item|container|res|upnp:class) |<(?:service|action|stateVariable)>)", "\n    ", text)
        self.topics.setdefault(topic, []).append(f"==== {title}\n{text}\n")

    def write(self, directory):
        directory.mkdir(parents=True, exist_ok=True)
        for topic, texts in self.topics.items():
            (directory / f"{topic}.txt").write_text("".join(texts))


# ---- the library

FRAME = bytes([0xFF, 0xFB, 0x90, 0x44]) + bytes(413)  # MPEG-1 layer III, 128 kbit/s, 44.1 kHz, silent


def write(path, content, modified=1_100_000_000):
    path = os.fsencode(path)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)
    os.utime(path, (modified, modified))


def made_by_ffmpeg(name, *options):
    exact = [f"-{kind}flags{stream}" for kind, stream in (("f", ""), ("", ":v"), ("", ":a"))]
    place = SCRATCH / name
    subprocess.run(["ffmpeg", "-loglevel", "error", *options, *(word for flag in exact for word in (flag, "+bitexact")),
                    place], check=True, stdin=subprocess.DEVNULL)
    return place.read_bytes()


def jpeg(width, height, text=b"", date=b"", pixels="yuvj420p"):
    """With a text it has EXIF data: a directory of description and camera directory, and in that the date."""
    data = made_by_ffmpeg(f"{width}x{height}.jpg", "-y", "-f", "lavfi", "-i", f"testsrc2=size={width}x{height}",
                          "-frames:v", "1", "-pix_fmt", pixels, "-strict", "unofficial")
    tiff = struct.pack("<2sHIHHHIIHHIII", b"II", 42, 8, 2, 0x10E, 2, len(text) + 1, 56, 0x8769, 4, 1, 38, 0)
    tiff += struct.pack("<HHHIII", 1, 0x9003, 2, len(date) + 1, 57 + len(text), 0) + text + b"\0" + date + b"\0"
    return data[:2] + (struct.pack(">HH", 0xFFE1, 8 + len(tiff)) + b"Exif\0\0" + tiff if text else b"") + data[2:]


def id3(cover, encoding, version, tags):
    """In version 4 the frames' sizes have seven bits a byte, too."""
    def size(number, bits=7):
        return bytes(number >> shift * bits & (1 << bits) - 1 for shift in (3, 2, 1, 0))
    mark = {"latin-1": b"\0", "utf-16": b"\1", "utf-8": b"\3"}[encoding]
    frames = [(name, mark + text.encode(encoding)) for name, text in tags.items()]
    frames += [("APIC", b"\0image/jpeg\0\3\0" + cover)] if cover else []
    body = b"".join(name.encode() + size(len(data), 7 if version == 4 else 8) + b"\0\0" + data for name, data in frames)
    return b"ID3" + bytes([version, 0, 0]) + size(len(body)) + body


def mp3(seconds=1, cover=b"", encoding="latin-1", version=3, **tags):
    return (id3(cover, encoding, version, tags) if tags else b"") + FRAME * round(seconds * 44100 / 1152)


def wav(rate, channels, samples, *chunks):
    form = struct.pack("<HHIIHH", 1, channels, rate, rate * channels * 2, channels * 2, 16)
    body = b"".join(name + struct.pack("<I", len(data)) + data
                    for name, data in ((b"fmt ", form), (b"data", bytes(samples * channels * 2)), *chunks))
    return b"RIFF" + struct.pack("<I", 4 + len(body)) + b"WAVE" + body


def wma(cover, title, artist, **values):
    """ASF: the objects that are read, and as many bytes of sound as give a duration."""
    def part(guid, data):
        return bytes.fromhex(guid) + struct.pack("<Q", 24 + len(data)) + data

    def wide(text):
        return (text + "\0").encode("utf-16le")
    texts = [wide(text) for text in (title, artist, "", "", "")]
    rows = [(wide(name), 0, wide(value)) for name, value in values.items()]
    rows += [(wide("Picture"), 1, b"\3" + struct.pack("<I", len(cover)) + wide("image/jpeg") + wide("") + cover)]
    rows = [(wide("WM/")[:-2] + name, kind, value) for name, kind, value in rows]
    listed = struct.pack("<H", len(rows)) + b"".join(
        struct.pack("<H", len(name)) + name + struct.pack("<HH", kind, len(data)) + data for name, kind, data in rows)
    sound = bytes(54) + struct.pack("<HHIIHHH", 0x161, 2, 44100, 4000, 2048, 16, 10) + bytes(10)
    parts = (part("3326b2758e66cf11a6d900aa0062ce6c", struct.pack("<5H", *map(len, texts)) + b"".join(texts)) +
             part("40a4d0d207e3d21197f000a0c95ea850", listed) + part("9107dcb7b7a9cf118ee600c00c205365", sound))
    return part("3026b2758e66cf11a6d900aa0062ce6c", struct.pack("<IH", 3, 0x201) + parts) + bytes(40000)


def make_library():
    cover, old = jpeg(16, 16), b"TAG" + struct.pack("30s30s30s4s30sB", b"Version one", b"Old", b"Past", b"1979", b"", 7)
    tags = "title=M4a Söng", "artist=M4a & Artist", "album=M4a Album", "date=2005-03-04", "genre=Rock", "track=7/9"
    m4a = made_by_ffmpeg("tone.m4a", *"-f lavfi -i sine=duration=2 -i".split(), SCRATCH / "16x16.jpg",
                         *"-map 0 -map 1 -c:v copy -disposition:v attached_pic".split(),
                         *(word for tag in tags for word in ("-metadata", tag)))
    itunes = {str(number): {
        "Track ID": number, "Track Type": "File", "Name": f"iTunes <{number}> é", "Artist": "Apfel", "Album": "Baum",
        "Genre": "Pop", "Kind": "MPEG audio file", "Size": 1000 + number, "Total Time": 61_500, "Track Number": number,
        "Year": 2001, "Date Modified": datetime.datetime(2004, 5, 1, 12, 34, 56), "Bit Rate": 128,
        "Location": "file://localhost" + urllib.parse.quote(str(path))} for number, path in enumerate(
            (MUSIC / "old.mp3", SCRATCH / "upgrade" / "x & y.mp3", SCRATCH / "gone.mp3"), 1)}
    lists = [{"Name": "Library", "Master": True, "Playlist Items": [{"Track ID": 1}]},
             {"Name": "Two & one", "Playlist Items": [{"Track ID": 2}, {"Track ID": 1}]}]
    for name, content in {
            "Gold/1.mp3": mp3(1, cover, TIT2="Dancing", TPE1="Abba", TALB="Gold", TCON="Pop", TYER="1990", TRCK="2/9"),
            "Gold/2.mp3": mp3(2, cover, TIT2="dancing", TPE1="Abba", TALB="Gold", TCON="(17)", TYER="1991", TRCK="1"),
            "Gold/3.mp3": mp3(3, TIT2="Eagle & <Crow>", TPE1="Abba", TALB="Gold", TCON="Pop", TYER="1990", TRCK="2"),
            "Gold/4.mp3": mp3(4, TIT2="THE WINNER TAKES", TPE1="Madonna", TALB="Gold", TCON="Dance"),
            "Compilations/Mix/1.mp3": mp3(TIT2="On a mix", TPE1="Various Voices", TALB="Mix", TRCK="1"),
            "a & b/<c> \"d\"/it's.mp3": mp3(TIT2="Quotes \"'", TPE1="M & M", TALB="<&>", TYER="95"),
            b"Latin \xe9/Caf\xe9.mp3": mp3(TIT2="Caf\xe9 Latin", TPE1="\xc9dith", TALB="\xfcber"),
            "Ünïcode/ß.mp3": mp3(encoding="utf-16", TIT2="Größe 東京 \U0001F3B5", TPE1="Ödön", TALB="Ω"),
            "utf8.mp3": mp3(1, cover, "utf-8", 4, TIT2="Schön", TPE1="Zoë", TCON="Jazz"), "old.mp3": mp3() + old,
            "untagged.mp3": mp3(2), "UPPER CASE NAME.MP3": mp3(), "empty.mp3": b"", "notes.txt": b"not for receivers\n",
            "broken.mp3": b"ID3\3\0\0\x7f\x7f\x7f\x7fTIT2", "AppleDouble/hidden.mp3": mp3(TIT2="Hidden"),
            "formats/tagged.m4a": m4a, "formats/plain.wav": wav(22050, 1, 44100), "formats/raw.pcm": bytes(176400),
            "formats/tagged.wav": wav(44100, 2, 9000, (b"id3 ", id3(cover, "utf-8", 4, {"TIT2": "Wav", "TPE1": "W"}))),
            "formats/tone48Mono.lpcm": bytes(96000), "formats/tagged.wma": wma(
                cover, "Wma Song", "Wma Artist", AlbumTitle="Wma Album", Genre="Rock", TrackNumber="5", Year="2003"),
            "lists/Mixed.m3u": b"#EXTM3U\r\n#EXTINF:3,Other & title\r\n../formats/plain.wav\r\n../Gold/1.mp3\r\n" +
                               os.fsencode(MUSIC / "utf8.mp3") + b"\r\nnowhere.mp3\r\nhttp://127.0.0.99/radio.mp3\r\n",
            "lists/Named.pls": b"[playlist]\nFile1=../old.mp3\nTitle1=No\nFile2=../formats/raw.pcm\nVersion=2\n",
            "lists/Media.wpl": b'<?wpl version="1.0"?>\r\n<smil><head><title>Media & more</title></head><body><seq>\r\n'
                               b'<media src="..\\Gold\\2.mp3"/>\r\n<media src="..\\formats\\tagged.wma" tid="{1}"/>\r\n'
                               b'</seq></body></smil>\r\n',
            "../Pictures/2004/ship.jpg": jpeg(64, 48, b"A ship & <sea>", b"2004:05:06 07:08:09"),
            "../Pictures/2004/grey.jpeg": jpeg(200, 100, b"Grey", b"2004:05:07 00:00:00", "gray"),
            "../Pictures/tall.JPG": jpeg(30, 90), "../Pictures/cut.jpg": jpeg(40, 40)[:-300],
            "../Pictures/no picture.jpg": b"GIF89a" + bytes(50), "../Pictures/seen.png": b"\x89PNG\r\n\x1a\n",
            "../../iTunes.xml": plistlib.dumps({"Tracks": itunes, "Playlists": lists}, sort_keys=False),
            "../../upgrade/x & y.mp3": mp3(), "../../upgrade/NetgearUpgrade": b"list of firmware\n",
            "../../idx/film.avi.idx": b"index of film\n",
            "../../external.db": b"<SOI>\nTI:Outside\nCL:object.item.audioItem.musicTrack\nAR:Far\nDU:0:03:20.000\n"
                                 b"RE:ftp://127.0.0.99/far.mp3\nSI:12345\nTR:4\nBI:16000\n<EOI>\n<SOI>\nTI:None\n"
                                 b"<EOI>\n<SOI>\nTI:Web\nCL:object.item.videoItem.movie\n"
                                 b"RE:http://127.0.0.99/film.avi\n<EOI>\n",
    }.items():
        write(os.path.join(os.fsencode(MUSIC), os.fsencode(name)), content)
    for number, name in enumerate(("film.avi", "clip.mpg", "NTSC.mpeg", "1.mp4", "2.wmv", "disc.vob", "a & b/3.mpeg2")):
        write(VIDEOS / name, bytes([number]) * (3000 + number), 1_000_000_000 + number * 86400)


# ---- asking

class Client:
    """Who asks: from an address of its own, by which kinds are remembered. Keeps its connection if the server does."""

    def __init__(self, golden, number, agent=None, port=PORT):
        self.golden, self.address, self.port, self.connection = golden, f"127.0.0.{number}", port, None
        self.agent = f"User-Agent: {agent}\r\n" if agent else ""

    def connect(self):
        return socket.create_connection((SERVER, self.port), 60, (self.address, 0))

    def ask(self, method, url, *headers, body=b"", version="1.1"):
        """(head, body) of the answer; the body ends where its length says, or with the connection."""
        self.connection = self.connection or self.connect()
        lines = "".join(f"{line}\r\n" for line in headers) + (f"Content-Length: {len(body)}\r\n" if body else "")
        request = f"{method} {url} HTTP/{version}\r\nHost: {SERVER}:{self.port}\r\n{self.agent}{lines}\r\n"
        self.connection.sendall(request.encode() + body)
        data, wanted = b"", None
        while (wanted is None or len(data) < wanted) and (piece := self.connection.recv(1 << 20)):
            data += piece
            if wanted is None and b"\r\n\r\n" in data:
                length = re.search(rb"\r\nContent-Length: (\d+)", data)
                rest = 0 if method == "HEAD" else int(length[1]) if length else sys.maxsize
                wanted = data.index(b"\r\n\r\n") + 4 + rest
        head, _, body = data.partition(b"\r\n\r\n")
        if len(data) != wanted or b"\r\nConnection: keep-alive" not in head:
            self.connection.close()
            self.connection = None
        return head + b"\r\n\r\n", body

    def note(self, topic, title, answer):
        self.golden.add(topic, title, b"".join(answer))
        return answer[1].decode("latin-1")

    def get(self, topic, url, *headers, method="GET", version="1.1"):
        """A body that is no text counts by its hash."""
        head, body = self.ask(method, url, *headers, version=version)
        if re.search(rb"[^\r\n\t -~]", body):
            body = f"{len(body)} bytes, {hashlib.sha256(body).hexdigest()}".encode()
        return self.note(topic, " ".join((method, url, *headers, version)), (head, body))

    def call(self, topic, action, arguments, service=CD, header=None):
        """arguments: a dictionary, or the inner XML as it is."""
        if isinstance(arguments, dict):
            arguments = "".join(f"<{name}>{escape(str(value))}</{name}>" for name, value in arguments.items())
        path = "/ContentDirectory/Control" if service == CD else "/ConnectionManager/Control"
        body = ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>'
                f'<u:{action} xmlns:u="{service}">{arguments}</u:{action}></s:Body></s:Envelope>').encode()
        header = f'SOAPACTION: "{service}#{action}"' if header is None else header
        return self.note(topic, f"{action} {arguments} {header}", self.ask("POST", path, header or "X: y", body=body))

    def browse(self, topic, object_id, sort="", start=0, count=0, filters="*", flag="BrowseDirectChildren"):
        return self.call(topic, "Browse", {"ObjectID": object_id, "BrowseFlag": flag, "Filter": filters,
                                           "StartingIndex": start, "RequestedCount": count, "SortCriteria": sort})

    def search(self, topic, criteria, sort="", start=0, count=30, filters="upnp:artist"):
        self.call(topic, "Search", {"ContainerID": 0, "SearchCriteria": criteria, "Filter": filters,
                                    "StartingIndex": start, "RequestedCount": count, "SortCriteria": sort})

    def crawl(self, topic, *first):
        """Asks for the whole tree. Returns its containers and its items by title, and the URLs of both."""
        containers, items, urls, wanted = {}, {}, {}, [*first, "0"]
        while wanted:
            object_id = wanted.pop(0)
            told = self.browse(topic, object_id, flag="BrowseMetadata") + self.browse(topic, object_id)
            for number, title in re.findall(r'&lt;container id="(\d+)".*?&lt;dc:title&gt;(.*?)&lt;/dc:title', told):
                if number not in containers.values():
                    wanted.append(number)
                    containers[title if title not in containers else number] = number
            for number, title in re.findall(r'&lt;item id="(\d+)" parentID.*?&lt;dc:title&gt;(.*?)&lt;/dc:title', told):
                items[title] = number
            urls.update(re.findall(rf"http://{SERVER}:{self.port}(/[^/&<]*/(\d+)[^&<]*)", told))
        for object_id in items.values():
            self.browse(topic, object_id, flag="BrowseMetadata")
        # A reference's URLs lead where those of its item do.
        own = {*containers.values(), *items.values()}
        return containers, items, [url for url, number in urls.items() if number in own]


def poll(condition, what, deadline=120):
    end = time.monotonic() + deadline
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.02)


class Daemon:
    """A running server; its name, directory and environment never differ."""

    def __init__(self, golden, executable, name, *arguments, ini="", charset="UTF-8"):
        self.golden, self.name, self.directory = golden, name, SCRATCH / name
        self.ini, self.output = self.directory / "server.ini", self.directory / "output"
        write(self.output, b"")
        if ini:
            write(self.ini, ini.encode())
        command = ["pelorama-mediaserver", "-inifile", str(self.ini), *map(str, arguments)]
        environment = {"TZ": "UTC", "PELORAMA_CHARSET": charset, "PELORAMA_RADIO_HOST": "127.0.0.99:1"}
        with open(self.output, "wb") as output:
            self.process = subprocess.Popen(command, executable=executable, cwd=self.directory, env=environment,
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=output)

    def wait_for(self, text, times=1):
        def look():
            if self.process.poll() is not None:
                raise ChildProcessError(self.output.read_text(errors="replace")[-2000:])
            return self.output.read_bytes().count(text) >= times
        poll(look, f"{self.name}: {text}")

    def stop(self):
        """Notes how it ended, its settings, and what it printed."""
        self.process.send_signal(signal.SIGTERM)
        self.golden.add("files", f"{self.name} ended with {self.process.wait(60)}, settings", self.ini.read_bytes())
        printed = self.output.read_bytes()
        self.golden.add("output", self.name, MESSAGE.sub(rb"\1", printed) if len(printed) < 4000 else b"\n".join(
            # In which order threads write, how often, and of how many events, is of the moment.
            sorted({line for line in MESSAGE.findall(printed) if not re.match(rb"EVENTING:|HTTP:.*(HTTP/1|<)", line)})))


class Multicast:
    """What is multicast in this network."""

    def __init__(self):
        self.heard, self.socket = [], socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind(GROUP)
        membership = socket.inet_aton(GROUP[0]) + socket.inet_aton(SERVER)
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)

    def listen(self, mark=b"NOTIFY"):
        """All notifications so far, those with the mark."""
        self.heard += [packet for packet in waiting(self.socket) if packet.startswith(b"NOTIFY")]
        return [packet for packet in self.heard if mark in packet]


def waiting(receiver):
    """The datagrams that have arrived."""
    receiver.setblocking(False)
    try:
        while True:
            yield receiver.recv(4096)
    except BlockingIOError:
        return


def search_socket(number, target, more="MX: 1\r\n", start="M-SEARCH * HTTP/1.1"):
    asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    asking.settimeout(60)
    asking.bind((f"127.0.0.{number}", 0))
    asking.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(SERVER))
    head = f'{start}\r\nHOST: 239.255.255.250:1900\r\nMAN: "ssdp:discover"\r\n'
    asking.sendto(f"{head}{more}ST: {target}\r\n\r\n".encode(), GROUP)
    return asking


def ask_by_multicast(client, topic):
    device = client.ask("GET", "/DeviceDescription.xml")[1].partition(b"<UDN>")[2].partition(b"<")[0].decode()
    targets = ("ssdp:all", "SSDP:ALL", "upnp:rootdevice", device, "uuid:other", "", CD, CM, CD[:-1] + "2",
               "urn:schemas-upnp-org:device:MediaServer:1", "urn:schemas-upnp-org:device:MediaRenderer:1")
    for how in (*((target,) for target in targets), ("ssdp:all", "MX: 0\r\n"), (CD, "mx: 1\r\n", "m-search * HTTP/1.1"),
                (CD, "MX: 1\r\n", "M-SEARCH * HTTP/1.0")):
        # Both are due at once and are answered in turn, three times each: the second's answers end the first's.
        with search_socket(2, *how) as asked, search_socket(2, "upnp:rootdevice") as last:
            for _ in range(3):
                last.recv(4096)
            client.golden.add(topic, f"M-SEARCH {how}", b"".join(waiting(asked)))


# ---- what is asked

KEYS = "dc:title dc:creator upnp:artist upnp:album upnp:genre dc:date upnp:originalTrackNumber res".split()
SORTS = [sign + key for key in KEYS for sign in "+-"] + [
    "", "upnp:album", "+upnp:artist,-dc:title", "-upnp:album,+upnp:originalTrackNumber", "+upnp:genre,+upnp:genre", ",",
    "+no:such", "-no:such", "+upnp:class,-dc:date", "Philips:shuffle:42", "+dc:title,Philips:shuffle:7"]
WINDOWS = [(0, 3), (2, 4), (5, 0), (100, 5), (-1, 1), (0, -1)]
FILTERS = ["", "*", *KEYS, "res@size", "res@duration", "upnp:albumArtURI", "upnp:album,res@protocolInfo",
           "dc:description,upnp:keywords", "albumArtURI@dlna:profileID", "icon", "upnp:playlist"]
ITEMS = " and @refID exists false"
SEARCHES = [
    *(f'dc:title {operator} "Dancing"' for operator in "= != < <= > >= contains doesNotContain is".split()), "*", "",
    *(f'upnp:class derivedfrom "object.{name}"' + ITEMS * name.startswith("item") for name in (
        "item.audioItem", "item.imageItem", "item.videoItem", "container", "container.person", "container.album", "")),
    'dc:title contains "an"', 'dc:title contains "ß"', 'dc:title contains "&lt;"', 'dc:title contains "\\""', "()",
    "dc:title", "dc:title exists true", "dc:title exists false", 'upnp:artist = "Abba" and upnp:album contains "G"',
    '(upnp:artist = "Abba" or dc:creator = "Madonna") and upnp:genre = "Pop"', 'upnp:author = "Abba"', "and",
    'upnp:genre = "Rock" or upnp:genre = "Pop" and dc:title contains "e"', '@id = "1" and dc:title contains "x"',
    'upnp:class = "object.item.imageItem.photo"', "@refID exists true", 'dc:date > "1991"' + ITEMS, '@parentID = "0"',
    "dc:date exists true" + ITEMS, 'upnp:originalTrackNumber = "1"' + ITEMS, "upnp:albumArtURI exists true" + ITEMS,
    'res contains "formats"', 'dc:source contains "Gold"', "dc:title contains", "upnp:author@role exists true",
    'dc:title contains "x', '(dc:title contains "a"', 'dc:title contains "a")', 'dc:title contains "a" and', 'no = "1"',
    'dc:title contains "an" dc:title contains "zz"', "dc:title contains an", '@id = "0"', '(((dc:title = "Dancing")))']
RANGES = ["Range: " + text for text in (
    "bytes=0-", "bytes=0-0", "bytes=5-10", "bytes=10-5", "bytes=-5", "bytes=999999-", "bytes=0-999999", "bytes=0-3001",
    "bytes=0-1,5-6", "items=0-5", "bytes=x-y", "bytes=-", "bytes = 7 - 9", "bytes=18446744073709551617-")] + [
        f"{name}: npt={text}" for name in ("TimeSeekRange.dlna.org", "X-Seek-Range") for text in (
            "0-", "0.002-", "0:00:00.001-0:00:00.003", "0.001-0.002", "5-")] + [
                f"transferMode.dlna.org: {mode}" for mode in ("Interactive", "Background", "streaming", "Bulk")]
RENDITIONS = ["(684x456,3).yuv", "(136x90,1).yuv", "(160x160,1).jpg", "(320x240,1).tini.jpg", "(168x112,1).goicon.jpg",
              "(800x600,1).pjpg", "(64x48,0).jpg", "(100x50,2).jpg", "(50x100,3).jpg", "(33x17,4).jpg", "(1x1,1).jpg",
              "(0x10,1).jpg", "(4097x10,1).jpg", "(10x10).jpg", "(-5x10,1).jpg", "(axb,c)", "(10x10,1"]
FAULTS = [
    *(("Browse", f"<ObjectID>{bad}</ObjectID><BrowseFlag>Browse{flag}</BrowseFlag>") for bad in (
        "99999999", "-1", "abc", "", "4294967296", "0\\No\\") for flag in ("DirectChildren", "Metadata", "Nothing")),
    ("Browse", ""), ("Browse", "<BrowseFlag>BrowseDirectChildren</BrowseFlag>"), ("Browse", "<ObjectID>0"),
    ("Browse", "<BrowseFlag>BrowseMetadata</BrowseFlag>"), ("X_BrowseByLetter", ""), ("Search", ""),
    ("X_BrowseByLetter", "<ObjectID>99999999</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>"),
    ("Search", "<ContainerID>99999999</ContainerID><SearchCriteria>*</SearchCriteria>"),
    *((action, "") for action in (
        "GetSearchCapabilities", "GetSortCapabilities", "GetSystemUpdateID", "CreateObject", "DestroyObject", "Nothing",
        "UpdateObject", "ImportResource", "ExportResource", "StopTransferResource", "GetTransferProgress",
        "DeleteResource", "CreateReference"))]
MANAGER = [("PrepareForConnection", "<Direction>Output</Direction>"), *((action, "") for action in (
    "GetProtocolInfo", "GetCurrentConnectionIDs", "GetCurrentConnectionInfo", "PrepareForConnection",
    "ConnectionComplete", "None"))]
ODDITIES = [line.replace("CD", "/ContentDirectory").replace(" V", " HTTP/1.1\r\n") + "\r\n" for line in (
    "GET / V", "GET /no V", "HEAD /no V", "POST /no V", "PUT /rescan V", "OPTIONS * V", "NOTIFY /x V", "\0\r\n",
    "POST CD/Control V", "GET CD/Control V", "GETX CD.xml V", "GET CD.xml HTTP/1.0\r\n", "GET CD.xml\r\n",
    "GET /<b>&\"' V", "GET /disk/%3Cb%3E V", f"GET /{'x' * 400} V", f"GET /disk/{'<' * 240} V", "\r\n\r\n\r\n",
    "GET /no V" + "X: y\r\n" * 300, "GET /no VConnection: close\r\n", "GET /no VContent-Length: 3\r\n\r\na",
    "GET /no V\r\nGET /disk/0 V", "SUBSCRIBE CD/Event V", "SUBSCRIBE CD/Event VSID: uuid:5\r\n",
    "UNSUBSCRIBE CD/Event V", "UNSUBSCRIBE CD/Event VSID: uuid:5\r\n", "POST CD/Control VContent-Length: x\r\n",
    "POST CD/Control VExpect: 100-continue\r\nContent-Length: 2\r\n\r\n",
    "POST CD/Control VTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n")]


def ask_for_texts(client):
    for url in ("/DeviceDescription.xml", "/ContentDirectory.xml", "/ConnectionManager.xml", "/NetgearUpgrade"):
        client.get("descriptions", url)
        client.get("descriptions", url, method="HEAD")
    for request in ODDITIES:
        with client.connect() as connection, connection.makefile("rb") as answer:
            connection.sendall(request.encode())
            connection.shutdown(socket.SHUT_WR)
            client.golden.add("oddities", repr(request), answer.read())
    for service, rows in ((CD, FAULTS), (CM, MANAGER)):
        for action, arguments in rows:
            client.call("actions", action, arguments, service)
    for header in ("", "SOAPACTION: no", f"SOAPAction: {CD}#GetSortCapabilities", f"soapaction: {CM}#GetProtocolInfo"):
        client.call("actions", "Browse", "", header=header)


def ask_for_pages(client, containers):
    for criteria in SEARCHES:
        client.search("searches", criteria)
    for sort in SORTS:
        for title in ("All Tracks", "All Pictures", "All Videos", "Artists", "Gold", "Mixed", "Music"):
            client.browse("pages", containers[title], sort, filters="dc:title")
        client.search("searches", 'dc:title contains "a"' + ITEMS, sort, filters="dc:title")
    for start, count in WINDOWS:
        client.browse("pages", containers["All Tracks"], "", start, count, "dc:title")
        client.search("searches", "@refID exists false", "", start, count, "dc:title")
    for filters in FILTERS:
        for title in ("Gold", "All Pictures", "Albums"):
            client.browse("filters", containers[title], count=2, filters=filters)
    for letter in ("", "A", "c", "M", "z", "Ö", "<", "9", "da"):
        for title, sort in (("All Tracks", "+dc:title"), ("All Tracks", "-dc:title"), ("Artists", ""), ("Music", "")):
            client.call("letters", "X_BrowseByLetter", {
                "ObjectID": containers[title], "BrowseFlag": "BrowseDirectChildren", "Filter": "dc:title",
                "StartingIndex": 0, "RequestedCount": 2, "SortCriteria": sort, "StartingLetter": letter})


def ask_for_files(client, containers, items, offered):
    """Not /disk, which plays."""
    for url in offered:
        if not url.startswith("/disk"):
            client.get("offered", url)
    for title in ("ship", "grey", "tall", "cut", "no picture", "Dancing"):
        for rendition in RENDITIONS:
            client.get("pictures", f"/picture/{items[title]}{rendition}")
    client.get("pictures", f"/picture/{items['ship']}(9x9,1)", "getcontentFeatures.dlna.org: 1",
               "transferMode.dlna.org: Interactive", method="HEAD")
    for kind in ("mp3", "wma", "m4a", "wav", "pcm"):
        for number in (*items.values(), "0", "99999999", "-1", "x", ""):
            client.get("covers", f"/albumart-{kind}/{number}.jpg")
    for number in (*containers.values(), "0", "99999999", "-1", "x", ""):
        client.get("m3u", f"/m3u/{number}.m3u")
    for url in ("/disk", "/disk/", "/disk/99999999", "/disk/-1", "/disk/0", "/continue", "/continue/99999999_5", "/m3u",
                "/picture", "/picture/folder.goicon", "/picture/99999999(10x10,1).jpg", "/albumart-mp3", "/httpproxy/1",
                "/ftpproxy/1", "/rescan/nowhere", "/rescan%2Fno%3Cwhere", "/rpc?x", "/rpc?playing"):
        client.get("urls", url)


def play(client, containers, items, offered):
    for title in ("dancing", "Version one", "clip"):
        # On one connection, so that the server has noted the end of what it sent.
        client.ask("GET", f"/disk/{items[title]}", "Range: bytes=100-")
        client.get("urls", "/rpc?playing")
    # Who is in it is said by the seconds of more plays, and the track numbers are the seconds from the start to a play.
    client.browse("played", containers["- Last Played -"], "+dc:title", filters="upnp:album,res")
    features = "getcontentFeatures.dlna.org: 1"
    for url in offered:
        if url.startswith("/disk"):
            client.get("offered", url)
    for title, number in items.items():
        client.golden.add("disk", f"{number} is {title}", b"")
        client.get("disk", f"/disk/{number}", features, "transferMode.dlna.org: Streaming")
        client.get("disk", f"/disk/{number}", features, method="HEAD")
    for number in (items[title] for title in ("dancing", "clip", "ship", "tone48Mono", "empty", "M4a S\xc3\xb6ng")):
        for header in RANGES:
            client.get("disk", f"/disk/{number}", header)
        client.get("disk", f"/disk/{number}", "Range: bytes=5-", version="1.0")
        for tail in (".idx", ".lpcm", "_DLNA_LPCM.lpcm", "(64x48,0).jpg", "abc", "?x"):
            client.get("disk", f"/disk/{number}{tail}", features)
        for tail in ("_0.mp3", "_1000.mp3", "_-5.mp3", "_99999999.mp3", ".mp3", "_x"):
            client.get("disk", f"/continue/{number}{tail}", "Range: bytes=3-4")
    client.browse("played", containers["- Most Played -"], "+dc:title")


def change_an_object(client, daemon, track):
    """Subscriptions, what changes with an object, and what is told of it."""
    def event():
        connection, _ = callback.accept()
        with connection, connection.makefile("rb") as stream:
            head = b"".join(iter(stream.readline, b"\r\n")) + b"\r\n"
            body = stream.read(int(re.search(rb"CONTENT-LENGTH: (\d+)", head)[1]))
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
        return head + body

    def update(current, new, number=track):
        client.call("events", "UpdateObject", {"ObjectID": number, "CurrentTagValue": current, "NewTagValue": new})

    def counts(told):
        numbers = [int(number) for number in re.search(rb"<ContainerUpdateIDs>([\d,]*)", told)[1].split(b",") if number]
        return int(re.search(rb"<SystemUpdateID>(\d+)", told)[1]), dict(zip(numbers[::2], numbers[1::2]))
    # What the scans changed is told, in however many passes, before anybody listens.
    mark, sids = b"sending update ID event", []
    passes = daemon.output.read_bytes().count(mark)
    update("<genre>Pop</genre>", "<genre>Pop</genre>")
    daemon.wait_for(mark, passes + 1)
    with socket.create_server(("127.0.0.2", 4900)) as callback:
        callback.settimeout(60)
        for service in ("ConnectionManager", "ContentDirectory"):
            answer = client.ask("SUBSCRIBE", f"/{service}/Event", "CALLBACK: <http://127.0.0.2:4900/events/1>")
            client.note("events", f"SUBSCRIBE {service}", answer)
            sids += re.findall(rb"SID: (uuid:\d+)", answer[0])
            client.golden.add("events", f"first event of {service}", event())
        update("<title>Dancing</title>", "<title>Danced &amp; done</title>")
        passes, before = counts(event())
        update("<artist>Abba</artist>", "<artist>Zappa</artist>")
        told = event()  # of nothing else
        now, after = counts(told)
        more = ",".join(f"{number},+{count - before.get(number, 0)}" for number, count in after.items()).encode()
        told = re.sub(rb"(?<=<ContainerUpdateIDs>)[\d,]*", more, told)
        client.golden.add("events", f"event, {now - passes} later", told)
    for current, new, number in (
            ("<title>Other</title>", "<title>New</title>", track), ("", "", track), ("<title/>", "", "99999999"),
            ("<title>x", "", track), ("<nothing>x</nothing>", "<nothing>y</nothing>", track),
            ("<d>1990-01-01</d>", "<d>1999</d>", track)):
        update(current, new, number)
    client.browse("events", track, flag="BrowseMetadata")
    for method, sid in (("SUBSCRIBE", sids[1]), *(("UNSUBSCRIBE", sid) for sid in sids + sids)):
        client.note("events", f"{method} by SID", client.ask(
            method, "/ContentDirectory/Event", f"SID: {sid.decode()}", "TIMEOUT: Second-77"))


# ---- the runs

CHANGED = "# read, completed and written again\n" + "\n".join((
    'friendlyname = Tom & <Jerry> 100%% "é"', f"ContentDir=M|{MUSIC},P|{PICTURES},{VIDEOS}/", f"ip={SERVER}", "v=511",
    "unknown=1", "radio=0", "adaptcase=0", "nosearch=1", "norescale=1", "descriptions=1", "httpport  =1", "scantime=0",
    f"netgearupgrade={SCRATCH}/upgrade", f"ituneslib={SCRATCH}/iTunes.xml", "playlistnumentries=2", "adobedsn=tags",
    "ds=-dc:title", "ms=-upnp:artist,+dc:title", "ps=", "ignoredir=formats,Ünïcode", "compilationsdir=Latin# no more",
    "musicclient=127.0.0.5, 127.0.0.6", f"idxdir={SCRATCH}/idx", f"musicbuffer={'1' * 1200}", "alltracks=",
    "rootmusic=Musik & more", "playlistlastplayed=", "musicnode1=Letters,[2]%ARTIST,%ALBUM",
    "musicnode2=Details,%DURATION,%TRACK,%TITLE", "musicnode3=Bad,%NOTHING", "musicnode4=",
    "musicnode5=Fixed,one,two,%GENRE", "musicnode10=Tenth,%MONTH,%DAY,[26]%ALBUM", "picturenode1=Size,%WIDTH,%HEIGTH",
    "picturenode2=Text,%DESCRIPTION", "picturenode5=Folders,%PATH", "videonode2=Year,%YEAR", ""))
CLIENTS = (  # name, end of the address, user agent, what is browsed first, line of its multicast search
    ("tv-remote", 3, "Pelorama Remote CP/1.0", "0", ""), ("streamium", 4, "Allegro-Software-WebClient/4.30", "0", ""),
    ("soundbridge", 5, "Allegro-Software-WebClient/4.32", "0", ""), ("noxon", 6, "", "0", ""),
    ("dlink", 7, "", "0", ""), ("netgear", 8, "", "0", "USER-AGENT: Netgear MP101"),
    ("go-video", 9, "", "0", 'MYNAME: "D2730"'),
    ("linksys", 10, "", "0\\Music\\", ""), ("unconfirmed", 11, "Mozilla/4.0 (compatible)", "0\\Photo\\", ""),
    ("music-client", 12, "", "0", ""), ("one-too-many", 13, "Pelorama Remote CP/1.0", "0\\Movie\\", ""))


def run_without_settings(golden, executable):
    for argument in ("-help", "-?", "-inifile"):
        told = subprocess.run(["pelorama-mediaserver", argument], executable=executable, cwd=SCRATCH, check=False,
                              stdout=subprocess.PIPE)
        golden.add("usage", f"{argument} ends with {told.returncode}", told.stdout)
    daemon = Daemon(golden, executable, "bare")
    daemon.wait_for(b"shoutcast webpage!")
    daemon.stop()
    daemon = Daemon(golden, executable, "refused", "-ip", "nonsense", "-nosuchthing", "5", "stray", "-v")
    daemon.process.wait(60)
    daemon.stop()


def run_with_defaults(golden, executable, multicast):
    daemon = Daemon(golden, executable, "default", "-ip", SERVER, "-httpport", PORT, "-contentdir", SCRATCH / "library",
                    "-dbfile", SCRATCH / "kept.db", "-radio", 0, "-v", 511, "-dlinkclient", "127.0.0.7", "-noxonclient",
                    "127.0.0.6", "-musicclient", "127.0.0.12")
    daemon.wait_for(b"DB scan on ")
    client = Client(golden, 2)
    containers, items, _ = client.crawl("tree-generic")
    offered = {}
    for name, number, agent, first, announced in CLIENTS:
        if announced:
            with search_socket(number, "upnp:rootdevice", f"MX: 1\r\n{announced}\r\n") as asking:
                asking.recv(4096)
        other = Client(golden, number, agent)
        offered.update(dict.fromkeys(other.crawl(f"tree-{name}", first)[2]))
        other.call("clients", "GetSearchCapabilities", "")
        for criteria in ('upnp:class derivedfrom "object.container"', 'dc:title = "Dancing"', '@id = "1" and res = ""'):
            other.search("clients", criteria, filters="res")
    ask_for_texts(client)
    ask_for_pages(client, containers)
    ask_by_multicast(client, "ssdp")
    poll(lambda: len(multicast.listen()) >= 20, "the first announcements")
    golden.add("ssdp", "from the start", b"".join(multicast.heard[:20]))

    write(MUSIC / "new" / "later.mp3", mp3(TIT2="Later", TPE1="Abba", TALB="Gold"))
    shutil.rmtree(MUSIC / "Compilations")
    # One is taken when the one before is over with all that follows from it.
    for url in (f"/rescan{MUSIC}/new", "/rescan", "/rescan", "/rescan"):
        poll(lambda path=url: b"initiated" in client.ask("GET", path)[1], url)
    containers, items, _ = client.crawl("tree-rescanned")
    change_an_object(client, daemon, items["Dancing"])
    ask_for_files(client, containers, items, offered)
    play(client, containers, items, offered)
    for url, mark in (("/rpc?mode?stealth", b"ssdp:byebye"), ("/rpc?mode?alive", b"ssdp:alive")):
        before = len(multicast.listen(mark))
        client.get("urls", url)
        poll(lambda now=mark, past=before: len(multicast.listen(now)) >= past + 5, url)
    daemon.stop()
    golden.add("ssdp", "at the end", b"".join(multicast.listen()[-5:]))
    kept = (SCRATCH / "kept.db").read_bytes()
    golden.add("files", "kept", PLAYED_AT.sub(b"PT:(of the moment)", kept))
    write(SCRATCH / "kept.db", PLAYED_AT.sub(b"PT:1000000000", kept))  # who was played last decides who is listed


def run_with_changes(golden, executable, multicast):
    for words in ("link add golden0 address 02:00:00:00:00:01 type veth peer name golden1",
                  "address add 10.0.0.1/24 dev golden0", "link set golden0 up"):  # its hardware address is in the UUID
        subprocess.run(["ip", *words.split()], check=True)
    multicast.listen()
    multicast.heard.clear()
    daemon = Daemon(golden, executable, "changed", ini=CHANGED, charset="")
    daemon.wait_for(b"iTunes: finished")
    client = Client(golden, 2, port=UPGRADE_PORT)
    for url in ("/DeviceDescription.xml", "/NetgearUpgrade", "/file%3A/../NetgearUpgrade", "/file%3A/no"):
        client.get("changed", url)
    _, items, offered = client.crawl("changed-tree")
    Client(golden, 3, "Pelorama Remote CP", UPGRADE_PORT).crawl("changed-tree-tv-remote")
    Client(golden, 6, port=UPGRADE_PORT).crawl("changed-tree-music-client")
    for url in (*offered, f"/disk/{items['film']}.idx", f"/disk/{items['clip']}.idx"):
        client.get("changed", url)
    client.call("changed", "GetSearchCapabilities", "")
    client.call("changed", "UpdateObject", {
        "ObjectID": items["ship"], "CurrentTagValue": "<upnp:keywords></upnp:keywords>",
        "NewTagValue": "<upnp:keywords>Sea/Ships,Blue</upnp:keywords>"})
    client.crawl("changed-tree-keywords")
    ask_by_multicast(client, "ssdp")
    daemon.stop()
    golden.add("ssdp", "withdrawn before and after", b"".join(multicast.listen(b"ssdp:byebye")))


def run_on_what_was_kept(golden, executable):
    daemon = Daemon(golden, executable, "kept", "-contentdir", SCRATCH / "idx", "-dbfile", SCRATCH / "kept.db", "-ip",
                    SERVER, "-externaldbfile", SCRATCH / "external.db", "-httpport", PORT, "-radio", 0, "-v", 511)
    daemon.wait_for(b"read on persistance DB completed", 2)
    daemon.wait_for(b"DB scan on ")
    client = Client(golden, 2)
    client.crawl("tree-kept")
    client.get("played", "/rpc?playing")
    daemon.stop()


def take(executable, directory):
    """Takes the answers, in namespaces that are its own."""
    for command in (f"mount -t tmpfs tmpfs {SCRATCH}", "ip link set lo up multicast on",
                    "ip route add 224.0.0.0/4 dev lo"):
        subprocess.run(command.split(), check=True)
    socket.sethostname("golden-host")
    make_library()
    golden, multicast = Golden(), Multicast()
    run_without_settings(golden, executable)
    run_with_defaults(golden, executable, multicast)
    run_with_changes(golden, executable, multicast)
    run_on_what_was_kept(golden, executable)
    golden.write(pathlib.Path(directory))


def start_taking(executable, directory):
    SCRATCH.mkdir(exist_ok=True)
    own = ["unshare", "--net", "--mount", "--uts", "--pid", "--fork", "--kill-child", "--mount-proc"]
    own += [] if os.geteuid() == 0 else ["--map-root-user"]
    return subprocess.Popen([*own, sys.executable, __file__, "--take", *map(os.path.abspath, (executable, directory))])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", help="where to store the answers of one executable")
    parser.add_argument("--take", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("sides", nargs="+", help="executables, or directories of stored answers")
    given = parser.parse_args()
    if given.take:
        return take(*given.sides)
    if given.out:
        return start_taking(given.sides[0], given.out).wait()
    with tempfile.TemporaryDirectory() as room:
        sides = [side if os.path.isdir(side) else os.path.join(room, name)
                 for side, name in zip(given.sides, ("before", "after"), strict=True)]
        takings = [start_taking(side, place) for side, place in zip(given.sides, sides) if side != place]
        if sum(taking.wait() for taking in takings):
            return 2
        different = subprocess.run(["diff", "-ru", *sides], check=False).returncode
        texts = [path.read_text() for path in pathlib.Path(sides[1]).glob("*.txt")]
        answers = sum(text.count("==== ") for text in texts)
        print(f"{len(texts)} files, {sum(map(len, texts))} bytes, {answers} answers:",
              "different" if different else "equal")
    return different


if __name__ == "__main__":
    sys.exit(main())
