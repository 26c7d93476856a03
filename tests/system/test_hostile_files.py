"""Folders and files that nobody made on purpose, and settings that somebody did."""

import os
import pathlib
import socket
import stat
import struct
import xml.etree.ElementTree as ElementTree

import pytest

import music
from music import corpus, id3_tag, text_frame

FRAMES = music.mp3()[len(id3_tag(b"")):]
TITLE = text_frame("TIT2", b"\0Title")

BAD_TAGS = {
    "frame_size_0": id3_tag(text_frame("TIT2", b"\0Title", 0) + TITLE),
    "frame_size_max": id3_tag(text_frame("TIT2", b"\0Title", 0xFFFFFFFF)),
    "tag_size_max": id3_tag(TITLE, size=b"\x7f\x7f\x7f\x7f"),
    "tag_size_high_bits": id3_tag(TITLE, size=b"\xff\xff\xff\xff"),
    "extended_header_back": id3_tag(b"\0\0\0\0" + TITLE, flags=0x40) * 50,
    "extended_header_far": id3_tag(b"\x7f\x7f\x7f\x7f" + TITLE, flags=0x40),
    "many_tags": id3_tag(TITLE) * 5000,
    "utf16_of_one_byte": id3_tag(text_frame("TIT2", b"\x01") + text_frame("TPE1", b"\x01\xff") +
                                 text_frame("TALB", b"\x01\xff\xfe\x41")),
    "utf16_lone_surrogates": id3_tag(text_frame("TIT2", b"\x01\xff\xfe" + b"\x00\xd8" * 20)),
    "unknown_encoding": id3_tag(text_frame("TIT2", b"\x09Title")),
    "empty_text": id3_tag(text_frame("TIT2", b"\0")),
    "long_track": id3_tag(text_frame("TRCK", b"\x0099999999999")),
    "negative_track": id3_tag(text_frame("TRCK", b"\0-5/-6")),
    "frame_of_1025": id3_tag(text_frame("TIT2", b"\0" + b"x" * 1024) + TITLE),
    "genre_number": id3_tag(text_frame("TCON", b"\0(99999999999)")),
    "version_9": id3_tag(TITLE, version=9),
    "only_head": b"ID3\x03\0\0",
    "picture_at_the_end": id3_tag(text_frame("APIC", b"", 0x7FFFFFFF)),
}
BAD_FRAMES = {
    "all_sync": b"\xff" * 200_000,
    "rate_3": b"\xff\xfb\x9c\x00" + bytes(300),
    "bitrate_0": b"\xff\xfb\x00\x00" + bytes(300),
    "bitrate_15": b"\xff\xfb\xf0\x00" + bytes(300),
    "reserved_version": b"\xff\xe8\x90\x00" + bytes(300),
    "xing_at_the_end": (b"\xff\xfb\x90\x00" + bytes(117) + b"Xing")[:125],
    "xing_cut": b"\xff\xfb\x90\x00" + bytes(32) + b"Xing\0\0",
    "xing_max": b"\xff\xfb\x90\x00" + bytes(32) + b"Xing\xff\xff\xff\xff\xff\xff\xff\xff" + bytes(300),
    "0_bytes": b"",
    "1_byte": b"\xff",
    "127_bytes": b"\xff" * 127,
    "128_bytes": b"TAG" + b"\xff" * 125,
}


def wide(text):
    return text.encode("utf-16-le") + b"\0\0"


def attribute(name, value, length=None):
    return struct.pack("<H", len(wide(name))) + wide(name) + struct.pack("<HH", 0, length or len(value)) + value


def asf(children, length=None):
    return (bytes.fromhex("3026b2758e66cf11a6d900aa0062ce6c") +
            struct.pack("<QI", 30 + len(children) if length is None else length, 3) + b"\1\2" + children)


VERSION = attribute("WMFSDKVersion", wide("9"))
BAD_CONTAINERS = {  # which are WMA, M4A and WAV files
    "49_bytes": asf(bytes(19)),
    "50_bytes": asf(bytes(20)),
    "value_65535": asf(attribute("WMFSDKVersion", b"x", 65535)),
    "count_0": asf(b"\0\0" + VERSION + attribute("WM/AlbumTitle", wide("A"))),
    "count_65535": asf(b"\xff\xff" + VERSION * 1000),
    "names_without_end": asf(b"\xff\xff" + "WM/".encode("utf-16-le") * 10000),
    "rate_0": asf(b"\x61\x01" + struct.pack("<HIIHHH", 2, 44100, 0, 744, 16, 10) + bytes(100)),
    "all_lengths": asf(b"\xff" * 60000, 65535),
    "ones": asf(b"\1" * 60000, 65535),
    "ends_at_60000": asf(b"\x0b" * (60000 - 30 - 20) + b"\2\0" + VERSION),
    "pairs": asf((b"\1" * 254 + b"\0\0") * 240, 65535),
    "deep_boxes": corpus("fuzz_wav_m4a/deep300.m4a"),
    "deep_chunks": corpus("fuzz_wav_m4a/chap100.wav"),
}
TEXTS = ["<EOI>\n<SOI>\nRE:/etc/hostname", "a & b < c > \"d\" 'e'", "]]>", "&lt;&amp;", "\x01\x02\x1f",
         "\u2028 \U0001F3B5 é", "%s%n%d", "x" * 1000]
NAMES = [b"line\nend", b"quote'\"", b"&<>", b"caf\xe9", b"\xff\xfe", b"n" * 251, b"%s%n", b"<EOI>\nRE:x", b".", b"..",
         b"dir\n<&\xe9/in"]
BAD_AUDIO = {
    **{f"tags/{name}.mp3": content + FRAMES for name, content in BAD_TAGS.items()},
    **{f"bare/{name}.mp3": content for name, content in BAD_TAGS.items()},
    **{f"frames/{name}.mp3": content for name, content in BAD_FRAMES.items()},
    **{f"containers/{name}.{kind}": content for name, content in BAD_CONTAINERS.items() for kind in ("wma", "m4a", "wav")},
    **{f"texts/{index}.mp3": music.mp3(text, text, text, text) for index, text in enumerate(TEXTS)},
    "texts/latin1.mp3": id3_tag(text_frame("TIT2", b"\0Caf\xe9") + text_frame("TPE1", b"\x03\xff\xfe broken")) + FRAMES,
    **{os.fsdecode(b"names/" + name + b".mp3"): music.mp3() for name in NAMES},
    "lists/song.mp3": music.mp3("Song"),
}

ENTRIES = ["/dev/zero", "fifo.mp3", "/proc/self/mem", "/dev/stdin", "..", "/", "list.m3u", "list.pls", "list.wpl",
           "x" * 70000, "%s%n", "<&\"'>", "song.mp3"]
BAD_LISTS = {
    "lists/list.m3u": "\n".join(ENTRIES).encode(),
    "lists/list.pls": "".join(f"File{n}={entry}\n" for n, entry in enumerate(ENTRIES)).encode() + b"File99\n",
    "lists/list.wpl": b"<smil>" + b"<media src=\"song.mp3\"/>" * 20000 + b"<media src=\"/dev/zero\"/",
    "lists/megabyte.m3u": b"y" * (1 << 20),
    "lists/many.m3u": b"song.mp3\n" * 200_000,
    "lists/sparse.m3u": b"song.mp3\n",  # and 400 GB behind it
}


def patched(data, at, *pieces):
    value = b"".join(pieces)
    return data[:at] + value + data[at + len(value):]


JPEG, PROGRESSIVE, CAMERA = (corpus(f"fuzz_jpeg/{name}") for name in ("baseline", "progressive", "camera_II"))
FRAME = JPEG.index(b"\xff\xc1") + 4  # precision, height, width, components
LAST_SCAN = PROGRESSIVE.rindex(b"\xff\xda")
TIFF = CAMERA.index(b"II*\0")  # a directory of eight entries of 12 bytes, the first one a description
MARKS = b"line\nend <EOI>\n<SOI>\nRE:/etc/hostname\0"


def with_scans(count):
    return PROGRESSIVE[:LAST_SCAN] + PROGRESSIVE[LAST_SCAN:-2] * count + PROGRESSIVE[-2:]


NO_PICTURES = {  # are shown as a grey one
    "empty": b"", "text": b"not a picture", "ones": b"\xff" * 200_000, "gif": b"GIF89a" + b"\xff" * 1000,
    "markers_only": b"\xff\xd8" + b"\xff\xe0\0\x02" * 30_000, "without_its_end": JPEG[:-2],
    **{f"part_{part}": CAMERA[:len(CAMERA) * part // 8] for part in range(1, 8)},
    "huge": patched(JPEG, FRAME + 1, b"\xff\xdc\xff\xdc"), "zero": patched(JPEG, FRAME + 1, bytes(4)),
    "twelve_bits": patched(JPEG, FRAME, b"\x0c"),
    "two_components": patched(JPEG, FRAME + 5, b"\2"), "four_components": patched(JPEG, FRAME + 5, b"\4"),
    "thousand_scans": with_scans(1000),
}
PICTURES = {  # are shown whatever is said about them
    "fifty_scans": with_scans(50),
    "exif_loop": patched(patched(CAMERA, TIFF + 102, b"\x08\0\0\0"), TIFF + 106, b"\x08\0\0\0"),
    "exif_65535_entries": patched(CAMERA, TIFF + 8, b"\xff\xff"), "exif_far": patched(CAMERA, TIFF + 4, b"\xff" * 4),
    "exif_wrapping": patched(CAMERA, TIFF + 14, struct.pack("<II", 1000, 0xFFFFFFF8)),
    "marks": patched(patched(CAMERA, TIFF + 110, MARKS), TIFF + 14, struct.pack("<I", len(MARKS))),
}
EITHER = {
    "huge_progressive": patched(PROGRESSIVE, PROGRESSIVE.index(b"\xff\xc2") + 5, struct.pack(">HH", 9000, 9000)),
    **{f"app1_of_{length}": patched(CAMERA, TIFF - 8, struct.pack(">H", length)) for length in range(18)},
}
BAD_PICTURES = {f"pictures/{name}.jpg": content for name, content in (NO_PICTURES | PICTURES | EITHER).items()}

BAD = BAD_AUDIO | BAD_LISTS | BAD_PICTURES
FIFOS = ["lists/fifo.mp3", "lists/fifo.m3u", "pictures/fifo.jpg"]


def look_at(serve, folder, names):
    """Has these files scanned, again and again, and looks at all that is made of them."""
    for name in {*names, "pictures/empty.jpg"}:
        path = music.write(folder / name, BAD[name])
        if name == "lists/sparse.m3u":
            os.truncate(path, 400 << 30)
    for name in FIFOS:
        (folder / name).parent.mkdir(exist_ok=True)
        os.mkfifo(folder / name)
    server = serve(folder)
    client = server.client()

    def look():
        # Every answer on the way is well-formed.
        items = [entry for entry in client.walk() if not entry.is_container and entry.ref_id is None]
        assert not any("\n" in entry.title for entry in items)
        audio = [entry for entry in items if "audioItem" in entry.upnp_class]
        assert len(audio) == len([name for name in names if name in BAD_AUDIO]), "every file is listed, whatever its tags"
        for entry in audio:
            assert client.get(entry.path).status == 200, entry
            assert client.get(f"/albumart-{entry.path.rpartition('.')[2]}/{entry.id}.jpg").status in (200, 404), entry
        shown = {entry.title: [client.get(f"/picture/{entry.id}{form}")
                               for form in ("(160x160,1).jpg", "(684x456,3).yuv", "(64x64,0)")]
                 for entry in items if "imageItem" in entry.upnp_class}
        assert {title for title, answers in shown.items() if any(answer.status != 200 for answer in answers)} <= {"fifo"}
        for title in shown.keys() & (NO_PICTURES.keys() | PICTURES.keys()):
            same = [answer.body for answer in shown[title]] == [answer.body for answer in shown["empty"]]
            assert same == (title in NO_PICTURES), title
        return items

    def look_again():
        for name in names:
            os.utime(folder / name)
        server.rescan(deadline=120)
        look()
    look()
    server.survives(look_again, limit=2.0)
    return server, look()


def halved(serve, folder, names):
    """The one file, or the few together, that look_at() fails with."""
    for half in (names[:len(names) // 2], names[len(names) // 2:]) if len(names) > 1 else ():
        try:
            look_at(serve, folder / f"{len(half)} from {half[0].replace('/', ' ')}", half)
        except AssertionError:
            return halved(serve, folder, half)
    return names


def test_bad_files(serve, tmp_path):
    try:
        server, items = look_at(serve, tmp_path / "all", sorted(BAD))
    except AssertionError as error:
        raise AssertionError(f"because of {halved(serve, tmp_path, sorted(BAD))}") from error
    titles = {entry.title for entry in items}
    assert {"Café", "a & b < c > \"d\" 'e'", "]]>", "in", "%s%n%d", "Song"} <= titles
    assert {pathlib.Path(name).stem for name in BAD_PICTURES} <= titles
    marks, = (entry for entry in items if entry.title == "marks")
    assert "<EOI>" in marks.text("{http://purl.org/dc/elements/1.1/}description")
    client = server.client()
    for name in ("list", "many", "sparse"):
        entry, = client.browse(client.child("0", "Music", "Playlists", name).id)
        assert entry.title == "Song"
    assert client.get(f"/m3u/{client.child('0', 'Music', 'All Tracks').id}.m3u").status == 200


def test_folders_that_loop_and_entries_that_are_no_files(serve, tmp_path):
    folder = tmp_path / "music"
    music.write(folder / "a" / "song.mp3", music.mp3("Song"))
    (folder / "a" / "loop").symlink_to(folder)
    (folder / "self.mp3").symlink_to("self.mp3")
    (folder / "dangling.mp3").symlink_to("nowhere.mp3")
    (folder / "linked.mp3").symlink_to("a/song.mp3")
    (folder / "folder.mp3").mkdir()
    os.mkfifo(folder / "fifo.mp3")
    unix = socket.socket(socket.AF_UNIX)
    unix.bind(str(folder / "socket.mp3"))
    with unix:
        if os.geteuid() == 0:
            try:
                os.mknod(folder / "zero.mp3", stat.S_IFCHR | 0o666, os.makedev(1, 5))
            except OSError:
                pass  # not in a user namespace
        deep = folder
        for level in range(50):
            deep = deep / f"d{level}"
        music.write(deep / "deep.mp3", music.mp3("Too deep"))
        music.write(folder / pathlib.Path(*(f"d{level}" for level in range(20))) / "edge.mp3", music.mp3("At the edge"))
        # Paths beyond what a buffer for them holds.
        long = folder / "long"
        long.mkdir()
        at = os.open(long, os.O_DIRECTORY)
        try:
            for _ in range(18):
                os.mkdir("l" * 250, dir_fd=at)
                deeper = os.open("l" * 250, os.O_DIRECTORY, dir_fd=at)
                os.close(at)
                at = deeper
            os.close(os.open("far.mp3", os.O_CREAT | os.O_WRONLY, dir_fd=at))
        finally:
            os.close(at)
        server = serve(folder)
        client = server.client()
        titles = [track.title for track in client.tracks()]
        assert sorted(titles) == ["At the edge", "Song", "Song"]
        assert "do not descend further" in server.log()
        server.survives(server.rescan)
        assert sorted(track.title for track in client.tracks()) == sorted(titles)


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
            received = len(connection.recv(1 << 16))
            os.truncate(film, 1 << 20)
            # Fewer bytes than promised: the connection ends, so that the receiver notices.
            while piece := connection.recv(1 << 20):
                received += len(piece)
        assert received < 64 << 20
    server.survives(cut)


@pytest.mark.parametrize("name", ["%s%n%s", "n" * 5000, "a\tb\x01c", "é" * 600, "<&>\"'", "\udcff\udcfe"],
                         ids=["format", "5000", "controls", "two_byte_letters", "marks", "not_utf8"])
def test_friendly_names(lone_host, serve, tmp_path, name):
    server = serve(tmp_path, host=lone_host, friendlyname=name)
    document = ElementTree.fromstring(server.client().get("/DeviceDescription.xml").body)
    shown = document.findtext(".//{*}friendlyName")
    assert shown == name if name == "%s%n%s" else shown


@pytest.mark.parametrize("content", [
    b"friendlyname=x\n" * 700_000, os.urandom(100_000), b"a" * 5_000_000, b"=" * 100_000,
    b"contentdir=" + b",/nowhere" * 100 + b"\n", b"\0" * 1000,
], ids=["10_MB", "binary", "no_line_end", "equal_signs", "many_folders", "nul"])
def test_ini_files(lone_host, serve, tmp_path, content):
    music.write(tmp_path / "server0" / "pelorama.ini", content)
    serve(host=lone_host, scan=False).wait_until_up()


def test_ten_thousand_folders_and_odd_views(lone_host, serve, tmp_path):
    music.write(tmp_path / "music" / "a.mp3", music.mp3("A", "Klumul", "B"))
    folders = ",".join(["/nowhere"] * 10_000)
    odd = ["[0]%ARTIST", "[99999999999]%ARTIST", "[", "[-3]%ARTIST", "[3", "%", "%NOTHING", ",,,", "[3]",
           "%ARTIST" + ",%ALBUM" * 12]
    views = {f"musicnode{index + 1}": f"View {index},{view}" for index, view in enumerate(odd)}
    server = serve(f"{tmp_path}/music,{folders}", host=lone_host, scan=False, **views).wait_until_up()
    server.wait_for_log(rf"DB scan on {tmp_path}/music completed")
    client = server.client()
    assert [track.title for track in client.tracks()] == ["A"]
    assert client.search('dc:title = "A"').total > 0
