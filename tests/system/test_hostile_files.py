"""Folders and files that nobody made on purpose, and settings that somebody did."""

import contextlib
import os
import pathlib
import socket
import stat
import struct
import subprocess
import xml.etree.ElementTree as ElementTree

import pytest

import music
import wire
from music import CORPUS, id3_tag, patched, spoilt, text_frame


def spoilt_files():
    for kind in ("mp3", "wma", "wav_m4a", "jpeg", "playlists"):
        for path in (CORPUS / f"fuzz_{kind}").iterdir():
            data = path.read_bytes()
            suffix = {"wav_m4a": "wav" if data.startswith(b"RIFF") else "m4a", "jpeg": "jpg", "playlists": path.stem}
            for number, content in enumerate(spoilt(data)):
                yield f"{kind}/{path.stem}-{number}.{suffix.get(kind, kind)}", content


def asf(children):
    """In an object of 64 KiB."""
    return patched((CORPUS / "fuzz_wma" / "first").read_bytes()[:30], 16, struct.pack("<Q", 65535)) + children


JPEG, PROGRESSIVE, CAMERA = (
    (CORPUS / "fuzz_jpeg" / name).read_bytes() for name in ("baseline", "progressive", "camera_II"))
FRAME = JPEG.index(b"\xff\xc1") + 4  # precision, height, width, components
LAST_SCAN = PROGRESSIVE.rindex(b"\xff\xda")
TIFF = CAMERA.index(b"II*\0")  # with a directory of eight entries of 12 bytes, the first one a description
MARKS = b"line\nend <EOI>\n<SOI>\nRE:/etc/hostname\0"
TITLE = text_frame("TIT2", b"\0Title")
TEXTS = ["<EOI>\n<SOI>\nRE:/etc/hostname", "a & b < c > \"d\" 'e'", "]]>", "&lt;&amp;", "\x01\x02\x1f",
         "\u2028 \U0001F3B5 é", "%s%n%d", "x" * 1000]
NAMES = [b"line\nend", b"quote'\"", b"&<>", b"caf\xe9", b"\xff\xfe", b"n" * 251, b"%s%n", b"<EOI>\nRE:x", b".", b"..",
         b"dir\n<&\xe9/in"]
ENTRIES = ["/dev/zero", "fifo.mp3", "/proc/self/mem", "/dev/stdin", "..", "/", "list.m3u", "list.pls", "list.wpl",
           "x" * 70000, "%s%n", "<&\"'>", "song.mp3"]
NO_PICTURES = {  # are shown as a grey one
    "empty": b"", "ones": b"\xff" * 200_000, "segments": b"\xff\xd8" + b"\xff\xe0\0\x02" * 30_000,
    "without_its_end": JPEG[:-2], "huge": patched(JPEG, FRAME + 1, b"\xff\xdc\xff\xdc"),
    "zero": patched(JPEG, FRAME + 1, bytes(4)), "twelve_bits": patched(JPEG, FRAME, b"\x0c"),
    "two_components": patched(JPEG, FRAME + 5, b"\2"), "four_components": patched(JPEG, FRAME + 5, b"\4"),
    "thousand_scans": PROGRESSIVE[:LAST_SCAN] + PROGRESSIVE[LAST_SCAN:-2] * 1000 + PROGRESSIVE[-2:],
}
PICTURES = {
    "fifty_scans": PROGRESSIVE[:LAST_SCAN] + PROGRESSIVE[LAST_SCAN:-2] * 50 + PROGRESSIVE[-2:],
    "exif_loop": patched(patched(CAMERA, TIFF + 102, b"\x08\0\0\0"), TIFF + 106, b"\x08\0\0\0"),
    "marks": patched(patched(CAMERA, TIFF + 110, MARKS), TIFF + 14, struct.pack("<I", len(MARKS))),
}
BAD = {
    **dict(spoilt_files()),
    **{f"texts/{index}.mp3": music.mp3(text, text, text, text) for index, text in enumerate(TEXTS)},
    "texts/latin1.mp3": id3_tag(text_frame("TIT2", b"\0Caf\xe9") + text_frame("TPE1", b"\x03\xff\xfe broken")),
    "texts/surrogates.mp3": id3_tag(text_frame("TIT2", b"\x01\xff\xfe" + b"\x00\xd8" * 20)),
    **{os.fsdecode(b"names/" + name + b".mp3"): music.mp3() for name in NAMES},
    **{f"large/empty.{kind}": b"" for kind in ("mp3", "wma", "wav", "m4a")},
    "large/many_tags.mp3": id3_tag(TITLE) * 5000,
    "large/extended_headers.mp3": id3_tag(b"\0\0\0\0" + TITLE, flags=0x40) * 50,
    "large/all_sync.mp3": b"\xff" * 200_000,
    "large/many_attributes.wma": asf(b"\xff\xff" + "WMFSDKVersion\0".encode("utf-16-le") * 2000),
    "large/all_lengths.wma": asf(b"\xff" * 60000),
    "large/pairs.wma": asf((b"\1" * 254 + b"\0\0") * 240),
    "lists/song.mp3": music.mp3("Song"),
    "lists/list.m3u": "\n".join(ENTRIES).encode(),
    "lists/list.pls": "".join(f"File{n}={entry}\n" for n, entry in enumerate(ENTRIES)).encode() + b"File99\n",
    "lists/list.wpl": b"<smil>" + b"<media src=\"song.mp3\"/>" * 20000 + b"<media src=\"/dev/zero\"/",
    "lists/megabyte.m3u": b"y" * (1 << 20),
    "lists/many.m3u": b"song.mp3\n" * 200_000,
    "lists/sparse.m3u": b"song.mp3\n",  # and 400 GB behind it
    **{f"pictures/{name}.jpg": content for name, content in (NO_PICTURES | PICTURES).items()},
}


def look_at(serve, folder, names):
    """Has these files scanned, again and again, and looks at all that is made of them."""
    for name in {*names, "pictures/empty.jpg"}:
        music.write(folder / name, BAD[name])
    if "lists/sparse.m3u" in names:
        os.truncate(folder / "lists/sparse.m3u", 400 << 30)
    (folder / "lists").mkdir(exist_ok=True)
    for name in ("lists/fifo.mp3", "lists/fifo.m3u", "pictures/fifo.jpg"):
        os.mkfifo(folder / name)
    server = serve(folder)
    client = server.client()

    def look():
        items = client.search_all('upnp:class derivedfrom "object.item" and @refID exists false')
        assert not any("\n" in entry.title for entry in items)
        audio = [entry for entry in items if "audioItem" in entry.upnp_class and entry.path.startswith("/disk/")]
        assert len(audio) == sum(name.endswith(("mp3", "wma", "wav", "m4a")) for name in names), "all are listed"
        for entry in audio:
            assert client.get(entry.path).status == 200, entry
            cover = f"GET /albumart-{entry.path.rpartition('.')[2]}/{entry.id}.jpg HTTP/1.1\r\n\r\n"
            assert client.exchange(cover.encode()).startswith((b"HTTP/1.1 200 ", b"HTTP/1.1 404 ")), entry
        shown = {entry.title: [client.get(f"/picture/{entry.id}{form}") for form in ("(60x60,1).jpg", "(64x64,0).yuv")]
                 for entry in items if "imageItem" in entry.upnp_class}
        assert all(answer.status == 200 or title == "fifo" for title, answers in shown.items() for answer in answers)
        for title in shown.keys() & (NO_PICTURES | PICTURES).keys():
            same = [answer.body for answer in shown[title]] == [answer.body for answer in shown["empty"]]
            assert same == (title in NO_PICTURES), title
        return items

    def look_again():
        for name in names:
            os.utime(folder / name)
        server.rescan(deadline=120)
        look()
    server.survives(look_again, limit=2.0)
    return client, {entry.title: entry for entry in look()}


def halved(serve, folder, names):
    """The one file, or the few together, that look_at() fails with."""
    for half in (names[:len(names) // 2], names[len(names) // 2:]) if len(names) > 1 else ():
        try:
            look_at(serve, folder / f"{len(half)} from {half[0].replace('/', ' ')}", half)
        except (AssertionError, wire.Closed):
            return halved(serve, folder, half)
    return names


def test_bad_files(serve, tmp_path):
    try:
        client, items = look_at(serve, tmp_path / "all", sorted(BAD))
    except (AssertionError, wire.Closed) as error:
        raise AssertionError(f"because of {halved(serve, tmp_path, sorted(BAD))}") from error
    assert {"Café", "a & b < c > \"d\" 'e'", "]]>", "in", "%s%n%d", "Song", *NO_PICTURES, *PICTURES} <= items.keys()
    assert "<EOI>" in items["marks"].text(wire.DC + "description")
    for name in ("list", "many", "sparse"):
        assert [entry.title for entry in client.browse(client.child("0", "Music", "Playlists", name).id)] == ["Song"]
    assert client.get(f"/m3u/{client.child('0', 'Music', 'All Tracks').id}.m3u").status == 200
    assert len(client.search_all("*")) > 5 * len(items), "all views of them are well-formed"


def test_folders_that_loop_and_entries_that_are_no_files(serve, tmp_path):
    folder = tmp_path / "music"
    music.write(folder / "a" / "song.mp3", music.mp3("Song"))
    for name, target in (("a/loop", folder), ("self.mp3", "self.mp3"), ("dangling.mp3", "nowhere.mp3"),
                         ("linked.mp3", "a/song.mp3")):
        (folder / name).symlink_to(target)
    (folder / "folder.mp3").mkdir()
    os.mkfifo(folder / "fifo.mp3")
    unix = socket.socket(socket.AF_UNIX)
    unix.bind(str(folder / "socket.mp3"))
    with unix:
        with contextlib.suppress(OSError):  # in a user namespace, or of an ordinary user
            os.mknod(folder / "zero.mp3", stat.S_IFCHR | 0o666, os.makedev(1, 5))
        for levels, title in (20, "At the edge"), (21, "Too deep"):
            music.write(folder / pathlib.Path(*(f"d{level}" for level in range(levels))) / f"{levels}.mp3", music.mp3(title))
        (folder / "long").mkdir()  # with paths beyond what a buffer for them holds
        step = "l" * 250
        subprocess.run(f"for level in $(seq 18); do mkdir {step} && cd -P {step} || exit; done; : > far.mp3",
                       shell=True, cwd=folder / "long", check=True)
        server = serve(folder)
        for end in lambda: None, lambda: server.survives(server.rescan):
            end()
            assert sorted(track.title for track in server.client().tracks()) == ["At the edge", "Song", "Song"]
        assert "do not descend further" in server.log()


def test_unreadable_folder_is_reported_and_left_out(serve, tmp_path):
    music.write(tmp_path / "music" / "shut" / "a.mp3", music.mp3("A"))
    music.write(tmp_path / "music" / "open" / "b.mp3", music.mp3("B"))
    (tmp_path / "music" / "shut").chmod(0)
    # In a user namespace of its own the server owns the folder, but has no more root's right to read everything.
    server = serve(tmp_path / "music", wrapper=("unshare", "--user"))
    assert [track.title for track in server.client().tracks()] == ["B"]
    assert "[ERROR]DB:chdir failed" in server.log()


def test_a_file_that_is_cut_while_it_streams(serve, tmp_path):
    film = music.write(tmp_path / "films" / "film.avi", bytes(64 << 20))
    server = serve(tmp_path / "films")
    client = server.client()
    path = client.child("0", "Videos", "All Videos", "film").path

    def cut():
        film.write_bytes(bytes(64 << 20))
        with client.connect() as connection:
            connection.sendall(f"GET {path} HTTP/1.1\r\n\r\n".encode())
            assert connection.recv(1 << 16)
            os.truncate(film, 1 << 20)
            # Fewer bytes than promised: the connection ends, so that the receiver notices.
            assert sum(map(len, iter(lambda: connection.recv(1 << 20), b""))) < 63 << 20
    server.survives(cut)


@pytest.mark.parametrize("name", ["%s%n%s", "n" * 5000, "a\tb\x01c", "\udcff\udcfe"],
                         ids=["format", "5000", "controls", "not_utf8"])
def test_friendly_names(lone_host, serve, tmp_path, name):
    document = serve(tmp_path, host=lone_host, friendlyname=name).client().get("/DeviceDescription.xml").body
    shown = ElementTree.fromstring(document).findtext(".//{*}friendlyName")
    assert shown == name if name == "%s%n%s" else shown


@pytest.mark.parametrize("content", [b"friendlyname=x\n" * 700_000, os.urandom(100_000) + bytes(1000), b"a" * 5_000_000,
                                     b"contentdir=" + b",/nowhere" * 100 + b"\n"],
                         ids=["10_MB", "binary", "no_line_end", "many_folders"])
def test_ini_files(lone_host, serve, content):
    serve(host=lone_host, scan=False, ini=content).wait_until_up()


def test_ports_that_are_none(lone_host, serve):
    for port in 70_000, -1:
        assert serve(host=lone_host, scan=False, httpport=port).wait() == 255


def test_ten_thousand_folders_and_odd_views(lone_host, serve, tmp_path):
    music.write(tmp_path / "music" / "a.mp3", music.mp3("A", "Klumul", "B"))
    folders = ",".join(["/nowhere"] * 10_000)
    odd = ["[0]%ARTIST", "[99999999999]%ARTIST", "[", "[-3]%ARTIST", "[3", "%", "%NOTHING", ",,,", "[3]",
           "%ARTIST" + ",%ALBUM" * 12]
    views = {f"musicnode{index + 1}": f"View {index},{view}" for index, view in enumerate(odd)}
    server = serve(f"{tmp_path}/music,{folders}", host=lone_host, scan=False, **views).wait_until_up()
    server.wait_for_log(rf"DB scan on {tmp_path}/music completed")
    assert [track.title for track in server.client().tracks()] == ["A"]
    assert server.client().search('dc:title = "A"').total > 0
