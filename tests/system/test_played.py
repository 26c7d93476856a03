"""Files are fetched: whole, by range, from an offset, as a playlist; and the server says who plays what."""

import itertools
import os
import re
import shutil
import time

import pytest

import music
import wire
from servers import FILM, PHOTO, play_counts, serve_items


@pytest.fixture
def track(receiver, library):
    """A track of three seconds and its bytes."""
    entry = next(entry for entry in receiver.tracks() if entry.title == "Queen F3")
    path = next(path for path, tags in library.tracks.items() if tags["title"] == "Queen F3")
    entry.bytes = path.read_bytes()
    return entry


THOUSAND = bytes(index * 7 % 251 for index in range(1000))


@pytest.fixture(scope="module")
def odd(serve_file, network, tmp_path_factory):
    """A server of files that are no media. What they are, and how long, is what the persistence file says; so every
    figure in an answer is a round one."""
    folder = tmp_path_factory.mktemp("odd")

    def file(name, content=THOUSAND, **tags):
        return {"RE": music.write(folder / name, content), "BI": 128} | tags  # without a bitrate no time counts
    music.write(folder / "idx" / "film.avi.idx", b"the index")
    return serve_items(serve_file, folder, {
        "song": file("song.mp3", DU="0:00:10"), "untimed": file("untimed.mp3"),
        "tiny": file("tiny.mp3", b"xy", DU="9:00:00"), "empty": file("empty.mp3", b"", DU="0:00:10"),
        "film": file("film.avi", CL=FILM), "ntsc": file("a.ntsc.mpg", bytes(3_000_000), CL=FILM, DU="0:01:00"),
        "photo": file("photo.jpg", CL=PHOTO), "other": file("other.unknown"),
        "44": file("44.lpcm"), "slow": file("slow.mp3", bytes(21_000), DU="0:17:40"),
    }, idxdir=folder / "idx", musicclient="127.0.0.7")


def disk(entry, extension=".mp3"):
    return f"/disk/{entry.id}{extension}"


def ask(server, path, *lines):
    """The answer with its body as far as it came, and whether the connection took another request behind it."""
    request = "\r\n".join((f"GET {path} HTTP/1.1", *lines, "", "HEAD /rescan HTTP/1.1", "", ""))
    head, _, rest = server.client().exchange(request.encode()).partition(b"\r\n\r\n")
    body, next_answer, _ = rest.partition(b"HTTP/1.1 500 ")
    return wire.Answer.of_head(head, body), next_answer != b""


# ---- headers and ranges

FROM_100 = "Range: bytes=100-104\r\n"
PARTIAL, SOUGHT = (f"Content-Range: bytes 100-{last}/1000\r\n" for last in (104, 200))
HTML = "text/html; charset=UTF-8"
HEADERS = [  # request; status line, type, length, connection and further lines of the answer
    ("GET SONG HTTP/1.1\r\n", "HTTP/1.1 200 OK", "audio/mpeg", 1000, "keep-alive", ""),
    ("GET SONG HTTP/1.1\r\n" + FROM_100, "HTTP/1.1 206 Partial Content", "audio/mpeg", 5, "keep-alive", PARTIAL),
    ("HEAD SONG HTTP/1.1\r\n" + FROM_100, "HTTP/1.1 206 Partial Content", "audio/mpeg", 5, "keep-alive", PARTIAL),
    ("GET SONG HTTP/1.0\r\n" + FROM_100, "HTTP/1.0 200 OK", "audio/mpeg", 5, "close", ""),
    ("GET SONG HTTP/1.1\r\nTimeSeekRange.dlna.org: npt=0.001-0.002\r\n", "HTTP/1.1 200 OK", "audio/mpeg", 101,
     "keep-alive", SOUGHT),
    ("GET SONG HTTP/1.1\r\ntimeseekrange.dlna.org: npt=0.001-0.002\r\n", "HTTP/1.1 206 Partial Content", "audio/mpeg",
     101, "keep-alive", SOUGHT),
    ("GET OTHER HTTP/1.1\r\n", "HTTP/1.1 200 OK", "application/octet-stream", 1000, "keep-alive", ""),
    ("GET /disk/<b>\"&' HTTP/1.1\r\n", "HTTP/1.1 404 Not Found", HTML, 146, "keep-alive", ""),
    ("POST SONG HTTP/1.1\r\n", "HTTP/1.1 500 Internal Server Error", HTML, 0, "keep-alive", ""),
    ("GET /rpc/mode?alive HTTP/1.1\r\n", "HTTP/1.1 200 OK", HTML, 33, "keep-alive",
     "Expires: 0\r\nPragma: no-cache\r\n"),
]


def test_headers_are_given_to_the_byte(odd):
    for request, status, kind, length, connection, lines in HEADERS:
        sent = request.replace("SONG", disk(odd.items["song"])).replace("OTHER", disk(odd.items["other"]))
        head = odd.client().exchange(sent.encode() + b"\r\n").decode("latin-1").partition("\r\n\r\n")[0]
        date = re.search(r"Date: \w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d GMT", head)[0]
        assert head == (f"{status}\r\nContent-Type: {kind}\r\nContent-Length: {length}\r\n{date}\r\n"
                        f"Connection: {connection}\r\n{lines}EXT:\r\n"
                        "Server:Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0"), request
    page = ("<HTML><HEAD><TITLE>404 Not Found</TITLE></HEAD><BODY><H1>Not Found</H1>{} was not found on this server."
            "</BODY></HTML>")
    assert odd.client().get("/disk/<b>\"&'").text == page.format("/disk/&lt;b&gt;&quot;&amp;&#39;")
    assert odd.client().get("/disk/" + '"' * 249).text == page.format("/disk/" + "&quot;" * 249)


SEEK_TO = "TimeSeekRange.dlna.org: npt="
RANGES = [  # of a thousand bytes; "kept" is whether the connection is
    ("Range: bytes=0-99", 206, "bytes 0-99/1000", "100", THOUSAND[:100], True),
    ("Range: bytes=100-", 206, "bytes 100-999/1000", "900", THOUSAND[100:], True),
    ("Range: bytes=500-100", 206, "bytes 500-500/1000", "1", THOUSAND[500:501], True),
    ("Range: bytes=990-1001", 206, "bytes 990-999/1000", "10", THOUSAND[990:], True),
    # A last byte that is the size is promised as it stands, so one byte is missing at the end.
    ("Range: bytes=0-1000", 206, "bytes 0-1000/1000", "1001", THOUSAND, False),
    ("Range: bytes=1000-", 206, "bytes 1000-999/1000", "0", b"", True),
    ("Range: bytes=1000-1000", 206, "bytes 1000-1000/1000", "1", b"", False),
    ("Range: bytes=9223372036854775807-", 206, "bytes 9223372036854775807-999/1000", None, b"", False),
    # The milliseconds asked for are multiplied with the 100 bytes of a second.
    (SEEK_TO + "0.002-0.004", 200, "bytes 200-400/1000", "201", THOUSAND[200:401], True),
    (SEEK_TO + "5-", 200, "bytes 500000-999/1000", None, b"", False),
]


def test_ranges(odd):
    for line, status, content_range, length, body, kept in RANGES:
        answer, was_kept = ask(odd, disk(odd.items["song"]), line)
        assert (answer.status, answer.body, was_kept) == (status, body, kept), line
        assert (answer.header("Content-Range"), answer.header("Content-Length")) == (content_range, length), line


ODD_RANGES = ["-", "-500", "5-1", "0-", "abc", "18446744073709551616-", "0-99999999999999999999", "=5-9", "", "--1"]
ODD_SEEKS = ["999999999:00:00-999999999:00:01", "92233720368547758.07-", "-5-", "", ":" * 400, "9" * 300 + "-", "0-0"]


def test_ranges_that_cannot_be_never_announce_nonsense(odd):
    lines = [f"Range: bytes={text}" for text in ODD_RANGES] + [f"X-Seek-Range: npt={text}" for text in ODD_SEEKS]

    def ask_for_all():
        for title in ("song", "untimed", "tiny", "empty"):
            for line in lines:
                answer, kept = ask(odd, disk(odd.items[title]), line)
                assert answer.status in (200, 206), line
                if title != "empty":  # whose last byte is -1
                    assert not re.search(r"--| -", answer.header("Content-Range") or ""), line
                length = int(answer.header("Content-Length") or -1)
                assert len(answer.body) <= max(length, 0) and kept == (len(answer.body) == length), (title, line)
                assert length >= 0 or answer.header("Content-Length") is None, line
    odd.survives(ask_for_all)


CONTINUED = {"_500.mp3": 500, "_500.": 500, ".mp3": 0, "_abc.mp3": 0, "_-5.mp3": 0, "_" + "9" * 230: 2 ** 63 - 1}


def test_continue_ignores_the_clients_range(odd):
    for (rest, first), line in itertools.product(CONTINUED.items(), ("range: bytes=1-2", "X-Seek-Range: npt=0.001-")):
        answer, _ = ask(odd, f"/continue/{odd.items['song'].id}{rest}", line)
        assert (answer.status, answer.header("Content-Range")) == (206, f"bytes {first}-999/1000"), rest
        assert answer.body == THOUSAND[first:], rest
    answer, kept = ask(odd, f"/continue/{odd.items['empty'].id}_0.mp3")
    assert (answer.header("Content-Range"), answer.header("Content-Length"), kept) == ("bytes 0--1/0", "0", True)


def test_large_file_beyond_two_gigabytes(serve, tmp_path):
    """A sparse film: offsets of more than 31 bits, whole length and tail."""
    size, tail = 5 * (1 << 29), b"the last bytes"
    with open(music.write(tmp_path / "films" / "film.mpg", b""), "r+b") as film:
        film.seek(size - len(tail))
        film.write(tail)
    os.utime(tmp_path / "films" / "film.mpg", (1_000_000_000, 1_000_000_000))
    client = serve(tmp_path / "films").client()
    film = client.child("0", "Videos", "All Videos", "film")
    assert (film.resource.get("size"), film.upnp_class, film.text(wire.DC + "date")) == (str(size), FILM, "2001-09-09")
    assert client.request("HEAD", film.path).header("Content-Length") == str(size)
    answer = client.get(film.path, f"Range: bytes={size - 20}-")
    assert answer.header("Content-Range") == f"bytes {size - 20}-{size - 1}/{size}"
    assert answer.body == bytes(20 - len(tail)) + tail
    assert f"\t{film.id}\t{size - 1_500_000}\tfilm\t" in client.get("/rpc?playing").body.decode()


# ---- what the answer says besides

FEATURES = {"song": "DLNA.ORG_OP=11", "ntsc": "DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00", "film": "DLNA.ORG_OP=00",
            "photo": "*", "44": "DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11"}
MODES = [("song", "Streaming", "Streaming"), ("song", "Interactive", None), ("photo", "Interactive", "Interactive"),
         ("photo", "background", "Background"), ("photo", "Streaming", None), ("song", "", None)]


def test_dlna_headers_answer_those_who_ask(odd):
    for title, features in FEATURES.items():
        path = disk(odd.items[title], ".lpcm" if title == "44" else "")
        assert ask(odd, path, "getcontentFeatures.dlna.org: 1")[0].header("contentFeatures.dlna.org") == features, title
    for title, asked, mode in MODES:
        answer, _ = ask(odd, disk(odd.items[title]), f"TRANSFERMODE.dlna.org: {asked}")
        assert answer.header("transferMode.dlna.org") == mode, (title, asked)
        assert answer.header("contentFeatures.dlna.org") is None


def test_index_files_come_from_their_directory(odd, receiver, track):
    assert receiver.get(disk(track, ".idx")).body == track.bytes, "without the setting"
    index = odd.client().get(disk(odd.items["film"], ".idx"))
    assert (index.body, index.header("Content-Type")) == (b"the index", "application/octet-stream")
    assert odd.client().get(disk(odd.items["film"], ".IDX")).body == THOUSAND
    assert odd.client().get(disk(odd.items["ntsc"], ".idx")).status == 404


def test_what_is_not_there_is_not_found_and_not_played(serve, tmp_path):
    paths = {title: music.write(tmp_path / f"{title}.mp3", THOUSAND) for title in ("song", "vanished", "pipe")}
    server = serve_items(serve, tmp_path, {title: {"RE": path} for title, path in paths.items()} |
                         {"remote": {"RE": "http://radio.example/a.mp3"}})
    for title in ("vanished", "pipe"):
        paths[title].unlink()
    os.mkfifo(paths["pipe"])
    client, items = server.client(), server.items
    for number in (f"{items['song'].id}abc", items["vanished"].id, items["pipe"].id, items["remote"].id, 999_999):
        for url in (f"/disk/{number}.mp3", f"/continue/{number}_0.mp3"):
            assert client.get(url).status == 404, url
    assert client.get(f"/m3u/{items['song'].id}.m3u").status == 404
    with pytest.raises(wire.Closed):
        client.get("/diskette")
    for method, url in (("GET", disk(items["song"])), ("HEAD", disk(items["song"])),
                        ("GET", f"/continue/{items['song'].id}_0.mp3")):
        client.request(method, url)
    assert play_counts(server) == {"song": 3, "vanished": 0, "pipe": 0, "remote": 0}


def test_a_music_client_receives_every_byte_and_is_paused(odd, network):
    # 20 bytes a second, so the clock is looked at every 20 kilobytes; the half kilobyte behind that makes one pause.
    client = odd.client(network.server)
    client.source = "127.0.0.7"
    before = time.monotonic()
    assert client.get(disk(odd.items["slow"])).body == bytes(21_000)
    # 20480 bytes are 1024 s of sound, which asks for 1024 - 102 - 100 ms; a slow transfer shortens the pause by less
    # than it took itself.
    assert time.monotonic() - before > 0.8

    def others_take():
        begun = time.monotonic()
        assert odd.client().get(disk(odd.items["slow"])).body == bytes(21_000)
        return time.monotonic() - begun
    assert any(others_take() < 0.5 for _ in range(5))


# ---- who plays what

def test_now_playing_page(serve, lone_host, tmp_path):
    def file(name, **tags):
        return {"RE": music.write(tmp_path / name, bytes(3_000_000)), "AR": "Tom & Co", "DU": "0:01:00"} | tags
    items = {"<b>Song</b>": file("a.mp3"), "Film": file("a.avi", CL=FILM)}
    server = serve_items(serve, tmp_path, items, host=lone_host)
    song, film = map(server.items.get, items)

    def play(client_number, entry, last_byte):
        client = server.client()
        client.source = f"127.0.0.{client_number}"
        client.get(disk(entry), f"Range: bytes={last_byte}-{last_byte}")
    for number in range(21, 32):
        play(number, song, number)
    play(21, song, 2_999_998)
    play(22, film, 1_999_999)  # a receiver has 1.5 MB before it shows anything
    tags = "Tom &amp; Co\t0:01:00\t\t<br>\n"
    rest = [f"127.0.0.{n}\t{song.id}\t{n + 1}\t&lt;b&gt;Song&lt;/b&gt;\t{tags}" for n in range(23, 31)]
    assert server.client().get("/rpc?playing").body.decode() == "".join((
        "playing<br>\n", f"127.0.0.21\t{song.id}\t2999999\t&lt;b&gt;Song&lt;/b&gt;\t{tags}",
        f"127.0.0.22\t{film.id}\t500000\tFilm\t{tags}", *rest)), "in the order of their first; ten at the most"
    assert server.client().get("/rpc?playing&mode?stealth").body.startswith(b"playing<br>\n")
    for url in ("/rpc", "/rpc/mode?STEALTH"):
        assert server.client().get(url).status == 404


def test_played_tracks_are_listed(receiver, track):
    assert receiver.get(track.path).body == track.bytes  # shown from -1 on, as there is no range
    assert f"\t{track.id}\t{len(track.bytes) - 1}\tQueen F3\t" in receiver.get("/rpc?playing").body.decode()
    for name in ("- Last Played -", "- Most Played -"):
        listed = receiver.browse(receiver.child("0", "Music", "Playlists", name).id)
        assert track.id in {entry.ref_id for entry in listed}, name


def test_playlist_of_a_container(server, receiver):
    album = receiver.child("0", "Music", "Albums", "Queen: First & Last")
    answer = receiver.get(f"/m3u/{album.id}.m3u")
    assert answer.status == 200 and answer.header("Content-Type") == "audio/x-mpegurl"
    tracks = [f"http://{server.address}:{server.port}/disk/{entry.ref_id}.mp3" for entry in receiver.browse(album.id)]
    assert answer.body.decode() == "#EXTM3U\r\n" + "".join(f"{url}\r\n" for url in tracks)
    assert receiver.get("/m3u/999999.m3u").status == 404


def test_requests_in_a_row(receiver, track):
    """Each is answered behind the one before, be they sent at once: a head has no body, a body is read to its end."""
    soap = wire.envelope("GetSystemUpdateID", "")
    post = (f"POST /ContentDirectory/Control HTTP/1.1\r\nSOAPACTION: \"{wire.CONTENT_DIRECTORY}#GetSystemUpdateID\"\r\n"
            f"Content-Length: {len(soap)}\r\n\r\n{soap}")
    get = f"GET {track.path} HTTP/1.1\r\nRange: bytes=0-9\r\n\r\n"
    with receiver.connect() as connection:
        connection.sendall((get.replace("GET", "HEAD") + get + post + get).encode() * 5)
        rest = b""
        for body in (b"", track.bytes[:10], b"<Id>", track.bytes[:10]) * 5:
            answer, rest = wire.read_answer(connection, "GET" if body else "HEAD", rest)
            assert body in answer.body and answer.header("Connection") == "keep-alive"
        assert rest == b""


# ---- programs that nobody here wrote

@pytest.mark.skipif(not (shutil.which("curl") and shutil.which("ffprobe")), reason="curl or ffprobe is not installed")
def test_curl_gets_exact_bytes_and_ffprobe_codec_and_duration(receiver, track, network):
    def curl(*words):
        return network.receiver.run("curl", "-sf", *words, track.url, text=False).stdout
    assert curl() == track.bytes
    assert (curl("-r", "417-833"), curl("-C", "40000")) == (track.bytes[417:834], track.bytes[40000:])
    probed = network.receiver.run("ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries",
                                  "stream=codec_name:format=duration:format_tags=title", track.url).stdout
    assert re.fullmatch("mp3\n(2.99|3.00)[0-9]*,Queen F3\n", probed), probed
