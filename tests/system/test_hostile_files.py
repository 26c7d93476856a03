"""Folders and files that nobody made on purpose, and settings that somebody did."""

import os
import pathlib
import socket
import stat
import struct

import pytest

import music

FRAMES = music.mp3()[len(music.id3_tag(b"")):]


def frame(name, body, size=None):
    return name + struct.pack(">I", len(body) if size is None else size) + b"\0\0" + body


def tag(frames, size=None, flags=0, version=3):
    built = bytearray(music.id3_tag(frames, version))
    built[5] = flags
    if size is not None:
        built[6:10] = size
    return bytes(built)


TITLE = frame(b"TIT2", b"\0Title")

BAD_TAGS = {
    "frame_size_0": tag(frame(b"TIT2", b"\0Title", 0) + TITLE),
    "frame_size_max": tag(frame(b"TIT2", b"\0Title", 0xFFFFFFFF)),
    "tag_size_max": tag(TITLE, size=b"\x7f\x7f\x7f\x7f"),
    "tag_size_high_bits": tag(TITLE, size=b"\xff\xff\xff\xff"),
    "extended_header_back": tag(b"\0\0\0\0" + TITLE, flags=0x40) * 50,
    "extended_header_far": tag(b"\x7f\x7f\x7f\x7f" + TITLE, flags=0x40),
    "many_tags": tag(TITLE) * 5000,
    "utf16_of_one_byte": tag(
        frame(b"TIT2", b"\x01") + frame(b"TPE1", b"\x01\xff") + frame(b"TALB", b"\x01\xff\xfe\x41")),
    "utf16_lone_surrogates": tag(frame(b"TIT2", b"\x01\xff\xfe" + b"\x00\xd8" * 20)),
    "unknown_encoding": tag(frame(b"TIT2", b"\x09Title")),
    "empty_text": tag(frame(b"TIT2", b"\0")),
    "long_track": tag(frame(b"TRCK", b"\x0099999999999")),
    "negative_track": tag(frame(b"TRCK", b"\0-5/-6")),
    "frame_of_1025": tag(frame(b"TIT2", b"\0" + b"x" * 1024) + TITLE),
    "genre_number": tag(frame(b"TCON", b"\0(99999999999)")),
    "version_9": tag(TITLE, version=9),
    "only_head": b"ID3\x03\0\0",
    "picture_at_the_end": tag(frame(b"APIC", b"", 0x7FFFFFFF)),
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


def serve(start_daemon, network, folder, port, **options):
    server = start_daemon(network.server, folder, port=port,
                          settings={"httpport": port, "scantime": 0} | options.pop("settings", {}), **options)
    server.wait_until_up()
    server.wait_for_scan()
    return server, server.client(network.receiver)


def walk(client, object_id="0"):
    """Everything below an object; every answer is parsed on the way, so all of them are well-formed."""
    for entry in client.browse(object_id):
        yield entry
        if entry.is_container:
            yield from walk(client, entry.id)


def test_broken_tags_and_frames(network, start_daemon, tmp_path):
    for name, content in BAD_TAGS.items():
        music.write(tmp_path / "music" / f"{name}.mp3", content + FRAMES)
        music.write(tmp_path / "music" / "bare" / f"{name}.mp3", content)
    for name, content in BAD_FRAMES.items():
        music.write(tmp_path / "music" / f"{name}.mp3", content)
    server, client = serve(start_daemon, network, tmp_path / "music", 9020)
    # Whatever its tags, every file is listed and played.
    tracks = client.tracks()
    assert len(tracks) == 2 * len(BAD_TAGS) + len(BAD_FRAMES)

    def look_at_everything():
        for track in tracks:
            assert client.get(track.path).status == 200
        assert len(list(walk(client))) > 0
    server.survives(look_at_everything)


def test_names_and_texts_with_marks_in_them(network, start_daemon, tmp_path):
    texts = [
        "<EOI>\n<SOI>\nRE:/etc/hostname", "a & b < c > \"d\" 'e'", "]]>", "&lt;&amp;", "\x01\x02\x1f",
        "\u2028 \U0001F3B5 é", "%s%n%d", "x" * 1000
    ]
    folder = tmp_path / "music"
    for index, text in enumerate(texts):
        music.write(folder / f"{index}.mp3", music.mp3(text, text, text, text))
    latin1 = music.text_frame("TIT2", b"\0Caf\xe9") + music.text_frame("TPE1", b"\x03\xff\xfe broken")
    music.write(folder / "latin1.mp3", music.id3_tag(latin1) + FRAMES)
    names = [
        b"line\nend.mp3", b"quote'\".mp3", b"&<>.mp3", b"caf\xe9.mp3", b"\xff\xfe.mp3", b"n" * 251 + b".mp3",
        b"%s%n.mp3", b"<EOI>\nRE:x.mp3", b"..mp3", b"...mp3"
    ]
    for name in names:
        with open(os.path.join(os.fsencode(folder), name), "wb") as file:
            file.write(music.mp3())
    os.mkdir(os.path.join(os.fsencode(folder), b"dir\n<&\xe9"))
    music.write(os.fsdecode(os.path.join(os.fsencode(folder), b"dir\n<&\xe9", b"in.mp3")), music.mp3("inside"))
    server, client = serve(start_daemon, network, folder, 9021)

    def look_at_everything():
        objects = list(walk(client))
        items = [entry for entry in objects if not entry.is_container and entry.ref_id is None]
        assert len(items) == len(texts) + 1 + len(names) + 1
        for entry in items:
            assert client.get(entry.path).status == 200
        titles = {entry.title for entry in items}
        assert {"Café", "a & b < c > \"d\" 'e'", "]]>", "inside", "%s%n%d"} <= titles
        assert not any("\n" in title for title in titles)
        assert client.get(f"/m3u/{client.child('0', 'Music', 'All Tracks').id}.m3u").status == 200
    server.survives(look_at_everything, limit=2.0)


def test_folders_that_loop_and_entries_that_are_no_files(network, start_daemon, tmp_path):
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
        server, client = serve(start_daemon, network, folder, 9022)
        titles = [track.title for track in client.tracks()]
        assert sorted(titles) == ["At the edge", "Song", "Song"]
        assert "do not descend further" in server.log()
        server.survives(server.rescan)
        assert sorted(track.title for track in client.tracks()) == sorted(titles)


def test_unreadable_folder_is_reported_and_left_out(network, start_daemon, tmp_path):
    music.write(tmp_path / "music" / "shut" / "a.mp3", music.mp3("A"))
    music.write(tmp_path / "music" / "open" / "b.mp3", music.mp3("B"))
    (tmp_path / "music" / "shut").chmod(0)
    # In a user namespace of its own the server owns the folder, but has no more root's right to read everything.
    server, client = serve(start_daemon, network, tmp_path / "music", 9023, wrapper=("unshare", "--user"))
    assert [track.title for track in client.tracks()] == ["B"]
    assert "[ERROR]DB:chdir failed" in server.log()


def test_a_file_that_is_cut_while_it_streams(network, start_daemon, tmp_path):
    film = music.write(tmp_path / "films" / "film.avi", bytes(64 << 20))
    server, client = serve(start_daemon, network, tmp_path / "films", 9024)
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


@pytest.mark.parametrize("name", ["%s%n%s", "n" * 1023, "n" * 5000, "a\tb\x01c", "é" * 600, "<&>\"'", "\udcff\udcfe"],
                         ids=["format", "1023", "5000", "controls", "two_byte_letters", "marks", "not_utf8"])
def test_friendly_names(lone_host, start_daemon, tmp_path, name):
    import xml.etree.ElementTree as ElementTree
    server = start_daemon(lone_host, tmp_path, settings={"friendlyname": name})
    server.wait_until_up()
    document = ElementTree.fromstring(server.client().get("/DeviceDescription.xml").body)
    shown = document.findtext(".//{*}friendlyName")
    if name == "%s%n%s":
        assert shown == name
    else:
        assert shown


@pytest.mark.parametrize("content", [
    pytest.param(b"friendlyname=x\n" * 700_000, id="10_MB"), pytest.param(os.urandom(100_000), id="binary"),
    pytest.param(b"a" * 5_000_000, id="no_line_end"), pytest.param(b"=" * 100_000, id="equal_signs"),
    pytest.param(b"contentdir=" + b",/nowhere" * 100 + b"\n", id="many_folders"), pytest.param(b"\0" * 1000, id="nul"),
])
def test_ini_files(lone_host, start_daemon, tmp_path, content):
    (tmp_path / "server0").mkdir()
    (tmp_path / "server0" / "pelorama.ini").write_bytes(content)
    server = start_daemon(lone_host)
    server.wait_until_up()


def test_ten_thousand_folders_and_odd_views(lone_host, start_daemon, tmp_path):
    music.write(tmp_path / "music" / "a.mp3", music.mp3("A", "Klumul", "B"))
    folders = ",".join(["/nowhere"] * 10_000)
    views = {
        f"musicnode{index + 1}": f"View {index},{view}"
        for index, view in enumerate([
            "[0]%ARTIST", "[99999999999]%ARTIST", "[", "[-3]%ARTIST", "[3", "%", "%NOTHING", ",,,", "[3]", "%ARTIST" +
            ",%ALBUM" * 12
        ])
    }
    server = start_daemon(lone_host, f"{tmp_path}/music,{folders}", settings=views)
    server.wait_until_up()
    server.wait_for_log(rf"DB scan on {tmp_path}/music completed")
    client = server.client()
    assert [track.title for track in client.tracks()] == ["A"]
    assert client.search('dc:title = "A"').total > 0
