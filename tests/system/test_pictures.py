"""Pictures are listed with what their cameras wrote and served at the sizes that receivers ask for."""

import importlib.util
import json
import os
import pathlib
import re
import shutil
import threading
import types

import pytest

import daemon
import music
import pictures
import wire
from daemon import SANITIZER, SLOWNESS

HERE = pathlib.Path(__file__).parent
PORT = 9000
DATE = wire.DC + "date"
DESCRIPTION = wire.DC + "description"

pytestmark = pytest.mark.skipif(not shutil.which("exiftool") or not shutil.which("ffmpeg"),
                                reason="exiftool and ffmpeg make the pictures")


@pytest.fixture(scope="module")
def served(network, tmp_path_factory):
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
    cut = pictures.make(folder / "cut.jpg", 640, 480)
    os.truncate(cut, cut.stat().st_size // 2)
    for name in ("comment.JPG", "portrait.jpeg", "grey.jpg", "dot.jpg", "cut.jpg"):
        os.utime(folder / name, (1_000_000_000, 1_000_000_000))
    server = daemon.Daemon(network.server, tmp_path_factory.mktemp("server"), folder,
                           settings={"scantime": 0}).start_and_scan()
    yield types.SimpleNamespace(server=server, client=server.client(network.receiver), folder=folder)
    try:
        server.stop()
    finally:
        server.kill()


def listed(client):
    return {entry.title: entry for entry in client.browse(client.child("0", "Pictures", "All Pictures").id)}


def get(client, entry, rest):
    return client.get(f"/picture/{entry.id}{rest}")


def test_what_the_camera_wrote_is_listed(served):
    entries = listed(served.client)
    facts = {title: (entry.text(DATE), entry.text(DESCRIPTION), entry.resource.get("resolution"))
             for title, entry in entries.items()}
    camera = ("2005-07-14", "Two ships & <a gull>", "640x480")
    assert facts == {
        "intel": camera,
        "motorola": camera,
        "comment": ("2001-09-09", "", "30x20"),
        "portrait": ("2001-09-09", "", "301x403"),
        "grey": ("2001-09-09", "", "97x61"),
        "dot": ("2001-09-09", "", "1x1"),
        "cut": ("2001-09-09", "", "640x480"),
    }
    by_day = served.client.child("0", "Pictures", "Date", "2005", "07", "14")
    assert by_day.child_count == 2


@pytest.mark.skipif(not importlib.util.find_spec("gi"), reason="python3-gi is not installed")
def test_gupnp_is_told_of_pictures_that_open(served, network):
    done = network.receiver.run("/usr/bin/python3", str(HERE / "gupnp_control_point.py"), network.receiver.interface,
                                "Pictures", "All Pictures", check=False, timeout=90)
    assert done.returncode == 0, done.stderr
    found = json.loads(done.stdout)["resources"]
    assert len(found) == 7
    for title, resources in found.items():
        assert [resolution for _, resolution, _ in resources][1:] == [
            "684x456", "136x90", "160x160", "48x48", "640x480", "1024x768", "120x120", "800x600"
        ]
        for protocol_info, resolution, url in resources:
            body = network.receiver.run("curl", "-sfg", url, text=False).stdout
            if title == "cut" and "/disk/" in url:
                continue
            width, height = map(int, resolution.split("x")) if title != "cut" else (100, 100)
            if "yuv" in protocol_info:
                assert len(body) == width * height * 3 // 2
            else:
                assert pictures.size(body) == (width, height), url


def test_sizes_and_modes(served):
    client, entries = served.client, listed(served.client)
    for title, rest, expected in (("intel", "(160x160,1).jpg", (160, 160)), ("intel", "(160x160,2).jpg", (160, 120)),
                                  ("intel", "(160x160,0).jpg", (640, 480)), ("portrait", "(160x160,2).jpg", (120, 160)),
                                  ("grey", "(200x200,3).jpg", (200, 200)), ("dot", "(64x48,1).jpg", (64, 48)),
                                  ("cut", "(160x160,1).jpg", (100, 100)),
                                  ("dot", "(168x112,1).goicon.jpg", (168, 112))):
        answer = get(client, entries[title], rest)
        assert answer.status == 200 and answer.header("Content-Type") == "image/jpeg"
        assert pictures.size(answer.body) == expected, (title, rest)
        head = client.request("HEAD", f"/picture/{entries[title].id}{rest}")
        assert head.header("Content-Length") == str(len(answer.body))

    # Fitted to 149 columns in the middle.
    letterbox = pictures.decode(get(client, entries["portrait"], "(300x200,1).jpg").body)
    assert max(pictures.pixel(letterbox, 60, 100)) < 12 and max(pictures.pixel(letterbox, 100, 20)) > 100
    placeholder = pictures.decode(get(client, entries["cut"], "(160x160,1).jpg").body)
    assert set(placeholder[2]) <= {127, 128, 129}
    assert "Error on decoding JPEG" in served.server.log()


def test_a_reference_is_served_like_its_picture(served):
    by_day = served.client.child("0", "Pictures", "Date", "2005", "07", "14")
    for entry in served.client.browse(by_day.id):
        assert entry.ref_id is not None
        for resource in entry.element.findall(wire.DIDL + "res"):
            assert f"/{entry.id}(" in resource.text
            assert served.client.get(re.sub("^http://[^/]*", "", resource.text)).status == 200


def test_the_original_alone_without_rescaling(lone_host, start_daemon, served):
    server = start_daemon(lone_host, served.folder, settings={"norescale": 1, "scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    entry = listed(server.client())["intel"]
    resource, = entry.element.findall(wire.DIDL + "res")
    assert resource.get("protocolInfo") == "http-get:*:image/jpeg:*" and resource.get("resolution") == "640x480"
    assert server.client().get(entry.path).body == (served.folder / "intel.jpg").read_bytes()


def test_urls_that_ask_for_nothing(served):
    number = listed(served.client)["intel"].id
    bad = [f"/picture/{text}" for text in (
        "", number, f"{number}(160x160,1", f"{number}(160,1)", f"{number}160x160,1)", "-1(9x9,1)", "0(9x9,1)",
        "99999999999999999999(9x9,1)", f"{number}abc(9x9,1)", "(9x9,1)", f"{number}(100000x100000,1)",
        f"{number}(65535x65535,0)", f"{number}(0x0,1)", f"{number}(-1x5,1)", f"{number}(9x,1)", "folder.goicon",
        f"{number}(" + "9" * 200 + "x9,1)")]
    bad += [f"/albumart-{kind}/{text}" for kind in ("mp3", "wma")
            for text in ("", "-1", "0", "1abc", "9" * 200, number)]
    good = [f"/picture/{number}{text}" for text in ("(1x1,1)", "(135x91,1).yuv", "(160x160,99)", "(4096x1,1)")]

    def ask():
        for url in bad:
            assert served.client.get(url).status == 404, url
        for url in good:
            assert served.client.get(url).status == 200, url
    served.server.survives(ask)


def bad_files(whole):
    """{name: content}, made from a good picture."""
    loop = pictures.TIFF + pictures.ifd([(pictures.EXIF_IFD, 4, 1, 8)], following=8)
    soi = b"\xff\xd8"
    files = {
        "exif_loop": soi + pictures.exif(loop) + whole[2:],
        "exif_65535_entries": soi + pictures.exif(pictures.TIFF + pictures.ifd([(270, 2, 9, 8)] * 50, count=65535)),
        "exif_wrapping": soi + pictures.exif(pictures.TIFF + pictures.ifd([(270, 2, 1000, 0xFFFFFFF8)])),
        "exif_far": soi + pictures.exif(b"II*\0\xff\xff\xff\xff" + bytes(64)),
        "huge": soi + pictures.frame(65500, 65500) + whole[-300:],
        "huge_progressive": soi + pictures.frame(9000, 9000, marker=0xC2) + whole[-300:],
        "zero": soi + pictures.frame(0, 0) + whole[-300:],
        "four_components": soi + pictures.frame(64, 48, components=4) + whole[-300:],
        "twelve_bits": soi + pictures.frame(64, 48, precision=12) + whole[-300:],
        "two_components": soi + pictures.frame(64, 48, components=2) + whole[-300:],
        "markers_only": soi + b"\xff\xe0\0\x02" * 30_000,
        "ones": b"\xff" * 200_000,
        "gif": b"GIF89a" + b"\xff" * 1000,
        "empty": b"",
    }
    for length in range(18):
        files[f"app1_of_{length}"] = soi + pictures.exif(loop, length) + whole[2:]
    for part in range(1, 8):
        files[f"part_{part}"] = whole[:len(whole) * part // 8]
    marks = b"line\nend <EOI>\n<SOI>\nRE:/etc/hostname\0"
    files["marks"] = soi + pictures.exif(
        pictures.TIFF + pictures.ifd([(pictures.DESCRIPTION, 2, len(marks), 26)]) + marks + bytes(8)) + whole[2:]
    return files


def test_broken_pictures(network, start_daemon, tmp_path):
    files = bad_files(pictures.make(tmp_path / "good.jpg", 64, 48).read_bytes())
    for name, content in files.items():
        music.write(tmp_path / "content" / f"{name}.jpg", content)
    os.mkfifo(tmp_path / "content" / "fifo.jpg")
    server = start_daemon(network.server, tmp_path / "content", port=9031, settings={"httpport": 9031, "scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    client = server.client(network.receiver)
    entries = listed(client)
    assert set(entries) - {"fifo"} == set(files)
    assert "<EOI>" in entries["marks"].text(DESCRIPTION)

    def look_at_everything():
        for name, entry in entries.items():
            for rest in ("(160x160,1).jpg", "(684x456,3).yuv", "(64x64,0)"):
                answer = get(client, entry, rest)
                assert answer.status == (404 if name == "fifo" else 200), (name, rest)
    server.survives(look_at_everything)


def test_covers(network, start_daemon, tmp_path):
    cover = pictures.make(tmp_path / "cover.jpg", 64, 48).read_bytes()
    jfif = b"\xff\xd8" + pictures.segment(0xE0, b"JFIF\0\1\1\0\0\1\0\1\0\0") + cover[cover.index(b"\xff\xdb"):]
    for name, image in (("with", jfif), ("exif", cover.replace(b"\xff\xe0", b"\xff\xe1", 1))):
        body = b"\0image/jpeg\0\3\0" + image
        frame = b"APIC" + len(body).to_bytes(4, "big") + b"\0\0" + body
        music.write(tmp_path / "content" / f"{name}.mp3",
                    music.id3_tag(music.text_frame("TIT2", name) + frame) + music.mp3())
    server = start_daemon(network.server, tmp_path / "content", port=9033, settings={"httpport": 9033, "scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    client = server.client(network.receiver)
    for track in client.tracks():
        url = re.sub("^http://[^/]*", "", track.text(wire.UPNP + "albumArtURI"))
        answer = client.get(url)
        if track.title == "with":
            assert answer.status == 200 and answer.header("Content-Type") == "image/jpeg" and answer.body == jfif
            assert client.request("HEAD", url).header("Content-Length") == str(len(jfif))
        else:
            assert answer.status == 404  # nothing but JFIF is looked for


def test_many_large_pictures_at_once(network, start_daemon, tmp_path):
    pictures.make(tmp_path / "content" / "large.jpg", 4000, 3000)
    server = start_daemon(network.server, tmp_path / "content", port=9032, settings={"httpport": 9032, "scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    client = server.client(network.receiver)
    entry = listed(client)["large"]
    before, peak, browsed = server.resident_bytes(), 0, 0
    bodies = []

    def fetch():
        with client.connect(timeout=120 * SLOWNESS) as connection:
            connection.sendall(f"GET /picture/{entry.id}(1024x768,1).jpg HTTP/1.1\r\n\r\n".encode())
            bodies.append(wire.read_answer(connection)[0].body)
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
