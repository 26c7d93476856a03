"""Pictures are listed with what their cameras wrote and served at the sizes that receivers ask for."""

import importlib.util
import json
import math
import os
import pathlib
import re
import shutil
import threading
import types

import pytest

import music
import pictures
import wire
from daemon import SANITIZER, SLOWNESS
from servers import PHOTO, TRACK, Origin, serve_items

HERE = pathlib.Path(__file__).parent

pytestmark = pytest.mark.skipif(not shutil.which("exiftool") or not shutil.which("ffmpeg"),
                                reason="exiftool and ffmpeg make the pictures")


@pytest.fixture(scope="module")
def served(serve_file, tmp_path_factory):
    """A server of a folder of pictures, and a control point on the other host."""
    folder = tmp_path_factory.mktemp("pictures")
    for name, order in (("intel", "II"), ("motorola", "MM")):
        pictures.mark(pictures.make(folder / f"{name}.jpg", 640, 480), f"-ExifByteOrder={order}",
                      "-ModifyDate=2005:07:14 10:00:00", "-DateTimeOriginal=2004:01:02 03:04:05",
                      "-ImageDescription=Two ships & <a gull>", "-Orientation#=6", "-XResolution=72",
                      "-ExifImageWidth=1", "-ExifImageHeight=2", "-Software=none")
    pictures.mark(pictures.make(folder / "comment.JPG", 30, 20), "-Comment=first", "-ModifyDate=1930:12:31 10:00:00")
    pictures.make(folder / "portrait.jpeg", 301, 403, "smptebars")
    pictures.make(folder / "grey.jpg", 97, 61, "testsrc", pixels="gray")
    pictures.make(folder / "dot.jpg", 1, 1, "testsrc", pixels="yuvj444p")
    pictures.make(folder / "black.jpg", 64, 48, "color")
    cut = pictures.make(folder / "cut.jpg", 640, 480)
    os.truncate(cut, cut.stat().st_size // 2)
    for path in folder.glob("[!im]*"):
        os.utime(path, (1_000_000_000, 1_000_000_000))
    server = serve_file(folder, httpport=None)  # at the port that a receiver is told by its search
    return types.SimpleNamespace(server=server, client=server.client(), folder=folder, pictures=listed(server.client()))


def listed(client):
    return {entry.title: entry for entry in client.browse(client.child("0", "Pictures", "All Pictures").id)}


def get(server, entry, rest):
    return server.client().get(f"/picture/{entry.id}{rest}")


def test_what_the_camera_wrote_is_listed(served):
    facts = {title: (*map(entry.text, (wire.DC + "date", wire.DC + "description")), entry.resource.get("resolution"))
             for title, entry in served.pictures.items()}
    camera = ("2005-07-14", "Two ships & <a gull>", "640x480")
    bare = {"comment": "30x20", "portrait": "301x403", "grey": "97x61", "dot": "1x1", "black": "64x48",
            "cut": "640x480"}
    assert facts == {"intel": camera, "motorola": camera} | {
        title: ("2001-09-09", "", size) for title, size in bare.items()}
    by_day = served.client.child("0", "Pictures", "Date", "2005", "07", "14")
    assert by_day.child_count == 2
    for entry in served.client.browse(by_day.id):  # references are served like their pictures
        assert entry.ref_id is not None
        for resource in entry.element.findall(wire.DIDL + "res"):
            assert f"/{entry.id}(" in resource.text
            assert served.client.get(re.sub("^http://[^/]*", "", resource.text)).status == 200


@pytest.mark.skipif(not importlib.util.find_spec("gi"), reason="python3-gi is not installed")
def test_gupnp_is_told_of_pictures_that_open(served, network):
    done = network.receiver.run("/usr/bin/python3", str(HERE / "gupnp_control_point.py"), network.receiver.interface,
                                "Pictures", "All Pictures", check=False, timeout=90)
    assert done.returncode == 0, done.stderr
    found = json.loads(done.stdout)["resources"]
    assert len(found) == 8
    for title, resources in found.items():
        assert [resolution for _, resolution, _ in resources][1:] == [
            "684x456", "136x90", "160x160", "48x48", "640x480", "1024x768", "120x120", "800x600"]
        for protocol_info, resolution, url in resources:
            body = network.receiver.run("curl", "-sfg", url, text=False).stdout
            if title == "cut" and "/disk/" in url:
                continue
            size = tuple(map(int, resolution.split("x"))) if title != "cut" else (100, 100)
            assert len(body) == math.prod(size) * 3 // 2 if "yuv" in protocol_info else pictures.size(body) == size, url


SIZES = [
    ("intel", "(160x160,1).jpg", (160, 160)), ("intel", "(160x160,2).jpg", (160, 120)),
    ("intel", "(160x160,0).jpg", (640, 480)), ("intel", "(160x160,99)", (160, 160)),
    ("intel", "(0160x+120,-1)", (160, 120)), ("intel", ".jpg(9x9,1)", (9, 9)), ("intel", "(4096x1,1)", (4096, 1)),
    ("portrait", "(160x160,2).jpg", (120, 160)), ("grey", "(200x200,3).jpg", (200, 200)),
    ("dot", "(64x48,1).jpg", (64, 48)), ("cut", "(160x160,1).jpg", (100, 100)),
    ("dot", "(168x112,1).goicon.jpg", (168, 112)),
]
RAW = [("(135x91,1).yuv", 18427), ("(10x10,1).goicon.yuv", 150), ("(32x24,1).tini.jpg", 32 * 24 * 2),
       ("(1000x1000,1).tini", 2_000_000), ("(4096x4096,0).tini", 64 * 48 * 2)]


def test_sizes_and_forms(served):
    for title, rest, expected in SIZES:
        answer = get(served.server, served.pictures[title], rest)
        assert answer.status == 200 and answer.header("Content-Type") == "image/jpeg"
        assert pictures.size(answer.body) == expected, (title, rest)
        head = served.client.request("HEAD", f"/picture/{served.pictures[title].id}{rest}")
        assert head.header("Content-Length") == str(len(answer.body))
    for rest, length in RAW:
        answer = get(served.server, served.pictures["black"], rest)
        assert (len(answer.body), answer.header("Content-Type")) == (length, "image/jpeg"), rest
        assert "tini" not in rest or "1000" in rest or set(answer.body) == {0}, rest

    # Fitted to 149 columns in the middle.
    letterbox = pictures.decode(get(served.server, served.pictures["portrait"], "(300x200,1).jpg").body)
    assert max(pictures.pixel(letterbox, 60, 100)) < 12 and max(pictures.pixel(letterbox, 100, 20)) > 100
    icon = pictures.decode(get(served.server, served.pictures["black"], "(168x112,1).goicon.jpg").body)
    assert pictures.pixel(icon, 84, 80)[0] > pictures.pixel(icon, 84, 80)[2] + 100, "a yellow folder"
    placeholder = pictures.decode(get(served.server, served.pictures["cut"], "(160x160,1).jpg").body)
    assert set(placeholder[2]) <= {127, 128, 129}
    assert "Error on decoding JPEG" in served.server.log()


def test_the_original_alone_without_rescaling_until_it_has_gone(serve, tmp_path):
    picture = music.write(tmp_path / "music" / "small.jpg", JPEG)
    server = serve(tmp_path / "music", norescale=1)
    entry = listed(server.client())["small"]
    resource, = entry.element.findall(wire.DIDL + "res")
    assert resource.get("protocolInfo") == "http-get:*:image/jpeg:*"
    assert server.client().get(entry.path).body == JPEG
    picture.unlink()
    assert get(server, entry, "(9x9,1)").status == 404
    assert pictures.size(get(server, entry, "(168x112,1).goicon.jpg").body) == (168, 112), "the icon needs no file"


def test_urls_that_ask_for_nothing(served):
    number = served.pictures["intel"].id
    bad = [f"/picture/{text}" for text in (
        "", number, f"{number}(160x160,1", "-1(9x9,1)", "0(9x9,1)", "99999999999999999999(9x9,1)", "(9x9,1)",
        f"{number}abc(9x9,1)", f"{number}(65535x65535,0)", f"{number}(0x0,1)", f"{number}(-1x5,1)", f"{number}(9x0,1)",
        f"{number}(4097x9,1)", f"{number}(9x4097,1)", f"{number}(0x9,1).goicon.jpg", "folder.goicon",
        "999999(9x9,1).goicon.jpg", f"{number}(" + "9" * 200 + "x9,1)")]
    bad += [f"/albumart-{kind}/{text}" for kind in ("mp3", "wma", "m4a", "wav")
            for text in ("", "-1", "0", "1abc", "9" * 200, number)]

    def ask():
        for url in bad:
            assert served.client.get(url).status == 404, url
    served.server.survives(ask)


def corpus(name):
    return (music.CORPUS / name).read_bytes()


JPEG = corpus("fuzz_jpeg/baseline")
OK = b"HTTP/1.1 200 OK\r\n"
LENGTH = b"Content-Length: %d\r\n" % len(JPEG)
CHUNKED = OK + b"Transfer-Encoding: chunked\r\n\r\n"
FETCHED = {  # answers behind which the connection stays open, and whether they are taken for a picture
    "/by_length": (OK + LENGTH + b"\r\n" + JPEG + b"and more", True),
    # One character, whatever it is, is expected between the colon and the digits.
    "/one_character": (OK + LENGTH.replace(b" ", b"x") + b"\r\n" + JPEG + b"and more", True),
    "/no_character": (OK + LENGTH.replace(b" ", b"") + b"\r\n" + JPEG, False),
    "/two_characters": (OK + LENGTH.replace(b" ", b"  ") + b"\r\n" + JPEG, False),
    "/negative_length": (OK + b"Content-Length: -1\r\n\r\n" + JPEG, False),
    "/too_long": (OK + b"Content-Length: 16777217\r\n\r\n" + JPEG, False),
    "/chunked": (CHUNKED.replace(b"chunked", b"Chunked") + b"%x\r\n%b\r\n0\r\n\r\n" % (len(JPEG), JPEG), True),
    "/chunk_too_long": (CHUNKED + b"1000001\r\n" + JPEG, False),
    "/interim": (b"HTTP/1.1 100 Continue\r\n\r\n" + OK + LENGTH + b"\r\n" + JPEG, True),
    "/endless_header": (OK + b"X: " + b"x" * 70_000, False),
    "/status": (b"HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nno", False),
}
CLOSED = {  # answers that the end of the connection ends
    "/to_close": (OK + b"Connection: close\r\n\r\n" + JPEG, True),
    "/length_not_met": (OK + b"Content-Length: 9999\r\n\r\n" + JPEG, True),
    "/half": (OK + LENGTH + b"\r\n" + JPEG[:300], False),
    "/no_end_announced": (OK + b"Connection: keep-alive\r\n\r\n" + JPEG, False),
    "/no_header": (b"", False),
}
ADDRESSES = {  # the last port counts, and the host in front of the first one; what cannot be sent as it is is not asked
    "two ports": ("http://127.0.0.1:1:PORT/by_length", True), "letters": ("http://127.0.0.1:PORTx/by_length", True),
    "webcam": ("http://127.0.0.1:PORT/by_length#_webcam.jpg", True), "nobody": ("http://127.0.0.1:9/by_length", False),
    "port 0": ("http://127.0.0.1:0/by_length", False), "blank": ("http://127.0.0.1:PORT/by_length b", False),
    "long": ("http://127.0.0.1:PORT/by_length?" + "u" * 600, False),
}


def test_pictures_of_other_servers(serve, lone_host, tmp_path):
    def held(answer):
        return lambda connection, _: (connection.sendall(answer), connection.recv(1))
    with Origin(lone_host, {path: held(answer) for path, (answer, _) in FETCHED.items()} |
                {path: answer for path, (answer, _) in CLOSED.items()}) as origin:
        urls = {path: origin.url(path) for path in FETCHED | CLOSED} | {
            title: url.replace("PORT", origin.authority.partition(":")[2]) for title, (url, _) in ADDRESSES.items()}
        urls |= {"login": f"http://user:pw@{origin.authority}/by_length", "ftp": "ftp://127.0.0.1/p.jpg"}
        server = serve_items(serve, tmp_path, {title: {"RE": url, "CL": PHOTO} for title, url in urls.items()},
                             host=lone_host)
        placeholder = get(server, server.items["nobody"], "(32x24,1).tini").body
        for title, (_, shown) in (FETCHED | CLOSED | ADDRESSES).items():
            answer = get(server, server.items[title], "(32x24,1).tini")
            assert answer.status == 200 and (answer.body != placeholder) == shown, title
        assert get(server, server.items["ftp"], "(32x24,1)").status == 404
        assert {request.split()[1] for request in origin.requests} == FETCHED.keys() | CLOSED.keys()
        get(server, server.items["login"], "(9x9,1)")
        head, agent, rest = origin.requests[-1].partition("\r\nUser-Agent: ")
        assert head == (f"GET /by_length HTTP/1.1\r\nAccept: */*\r\nHost: user:pw@{origin.authority}\r\n"
                        "Connection: Keep-Alive") and re.fullmatch("[^\r\n]+\r\n\r\n", rest), "kept on purpose"


def tagged(image, size=None):
    return music.id3_tag(music.text_frame("APIC", BEFORE + image, size))


BEFORE, PIC = b"\0image/jpeg\0\3\0", b"\xff\xd8\xff\xe0pic\xff\xd9"
COVERS = {  # file, type and bytes of the picture
    "with.mp3": (tagged(JPEG) + music.mp3(), "image/jpeg", JPEG),
    "exif.mp3": (tagged(JPEG.replace(b"\xff\xe0", b"\xff\xe1", 1)) + music.mp3(), None, None),  # no JFIF
    "library.wma": (corpus("fuzz_wma/wma_library"), "image/png", b"\x89PNG..."),
    "a.m4a": (corpus("fuzz_wav_m4a/m4a"), "image/jpeg", PIC),
    "a.wav": (corpus("fuzz_wav_m4a/wav"), "image/jpeg", PIC[:6]),
    **{f"{size}.mp3": (tagged(JPEG, size), "image/jpeg", JPEG) for size in (20_000, 0xFFFFFFFF)},  # the file ends early
}


def test_covers(serve, tmp_path):
    for name, (content, _, _) in COVERS.items():
        music.write(tmp_path / name, content)
    server = serve_items(serve, tmp_path, {name: {"RE": tmp_path / name, "CL": TRACK} for name in COVERS})
    for name, (_, kind, image) in COVERS.items():
        url = f"/albumart-{name.rpartition('.')[2]}/{server.items[name].id}.jpg"
        received = server.client().exchange(f"GET {url} HTTP/1.1\r\n\r\n".encode())
        answer = wire.Answer.of_head(*received.split(b"\r\n\r\n", 1))
        if image is None:
            assert answer.status == 404, name
            continue
        assert (answer.status, answer.header("Content-Type"), answer.body) == (200, kind, image), name
        length, end = (int(name[:-4]) - len(BEFORE), "close") if name[0].isdigit() else (len(image), "keep-alive")
        assert (answer.header("Content-Length"), answer.header("Connection")) == (str(length), end), name
        assert server.client().request("HEAD", url).header("Content-Length") == str(length), name
    (tmp_path / name).unlink()
    assert server.client().get(url).status == 404


def test_many_large_pictures_at_once(serve, tmp_path):
    pictures.make(tmp_path / "content" / "large.jpg", 4000, 3000)
    server = serve(tmp_path / "content")
    client = server.client()
    entry = listed(client)["large"]
    before, peak, browsed, bodies = server.resident_bytes(), 0, 0, []

    def fetch():
        request = f"GET /picture/{entry.id}(1024x768,1).jpg HTTP/1.1\r\n\r\n".encode()
        bodies.append(client.send(request, timeout=120 * SLOWNESS).body)
    threads = [threading.Thread(target=fetch) for _ in range(32)]
    for thread in threads:
        thread.start()
    while any(thread.is_alive() for thread in threads):
        assert listed(client)
        browsed += len(bodies) < 32
        peak = max(peak, server.resident_bytes())
        threads[-1].join(0.02)
    assert len(bodies) == 32 and len(set(bodies)) == 1
    assert pictures.size(bodies[0]) == (1024, 768)
    assert browsed > 1, "browsing waits for pictures"
    if not SANITIZER:
        assert peak - before < 64 << 20, "pictures are held in memory all at once"
