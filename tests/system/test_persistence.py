"""What the server knows survives a restart, and nothing that happens to its file stops it."""

import os
import pathlib

import pytest

import daemon
import music
from daemon import wait_until

MUSIC_CLASS = "object.item.audioItem.musicTrack"


@pytest.fixture
def folder(tmp_path):
    for number in (1, 2, 3):
        music.write(tmp_path / "music" / f"{number}.mp3", music.mp3(f"Title {number}", "Artist", "Album", track=number),
                    modified=1_000_000_000 + number)
    return tmp_path / "music"


@pytest.fixture
def start(network, tmp_path, folder, request):
    """start(file): a server of the folder with that persistence file, scanned; the one before is ended first."""
    started = []

    def start_with(file=tmp_path / "library.db", wait=True, **options):
        for server in started:
            server.stop()
        settings = {"dbfile": file, "scantime": 0} | options.pop("settings", {})
        server = daemon.Daemon(network.server, tmp_path / f"server{len(started)}", folder, settings=settings, **options)
        started.append(server)
        server.start()
        if wait:
            server.wait_until_up()
            server.wait_for_scan()
        return server
    yield start_with
    try:
        for server in started:
            server.stop()
    finally:
        for server in started:
            server.kill()


def read(file):
    return pathlib.Path(file).read_bytes().decode("utf-8", "replace") if os.path.exists(file) else ""


def record(path, title="From the file", **fields):
    lines = [f"TI:{title}", f"CL:{MUSIC_CLASS}", f"RE:{path}", "MT:2000000000"]
    return "\n".join(["<SOI>", *lines, *(f"{tag}:{value}" for tag, value in fields.items()), "<EOI>", ""])


def titles(server, network):
    return sorted(track.title for track in server.client(network.receiver).tracks())


def test_a_restart_reads_no_media(start, network, folder, tmp_path):
    file = tmp_path / "library.db"
    evil = "<EOI>\n<SOI>\nRE:/etc/hostname"
    music.write(folder / "evil.mp3", music.mp3(evil, evil, evil), modified=1_000_000_009)
    server = start(file)
    client = server.client(network.receiver)
    track = next(track for track in client.tracks() if track.title == "Title 2")
    client.get(track.path)
    client.get(track.path)
    server.stop()  # plays alone are saved at the end
    assert "\nPC:2\n" in read(file)
    # What was read is known: the files now say something else, and nobody looks.
    for path in folder.iterdir():
        status = path.stat()
        path.write_bytes(music.mp3("Changed behind the back", "Nobody"))
        os.utime(path, (status.st_mtime, status.st_mtime))
    (folder / "1.mp3").unlink()
    music.write(folder / "new.mp3", music.mp3("New", "Artist"))

    server = start(file)
    assert [title[:20] for title in titles(server, network)] == ["<EOI><SOI>RE:/etc/ho", "New", "Title 2", "Title 3"]
    client = server.client(network.receiver)
    assert "item could not be found on disk: " in server.log(), "the file that went was in the list"
    assert client.search('res contains "hostname"').total == 0
    # Plays are counted on from what was remembered.
    client.get(next(track for track in client.tracks() if track.title == "Title 2").path)
    server.stop()
    assert "\nPC:3\n" in read(file)
    assert "\nRE:/etc/hostname" not in read(file)


def test_files_that_are_none(start, network, folder, tmp_path):
    """The server starts, uses what the file still holds and scans the rest anew."""
    one, two = record(folder / "1.mp3", "One"), record(folder / "2.mp3", "Two")
    usual = ["Title 1", "Title 2", "Title 3"]
    for number, (content, expected) in enumerate((
        (b"", usual),
        (os.urandom(200_000), usual),
        (b"<SOI>\nTI:" + b"x" * 1_000_000, usual),
        (one.replace(f"CL:{MUSIC_CLASS}\n", "").encode(), usual),
        (one.replace("<EOI>", f"RE:{folder}/2.mp3\n<EOI>").encode(), ["One", "Title 2", "Title 3"]),
        ((one + two[:two.index("<EOI>")]).encode(), ["One", "Title 3", "Two"]),
        ((one + two[:two.index("MT:")]).encode(), ["One", "Title 2", "Title 3"]),
        ((one + two[:two.index("RE:") + 8]).encode(), ["One", "Title 2", "Title 3"]),
    )):
        file = tmp_path / f"{number}.db"  # the server before may still save its own
        file.write_bytes(content)
        assert titles(start(file), network) == expected, content[:100]
    server = start(folder)
    assert titles(server, network) == usual
    assert f"give a filename not a path for DB: {folder}" in server.log()


def test_disks_that_take_nothing(start, network, tmp_path, folder):
    """A disk of 16 kB in a mount namespace of the server's own, on which the library does not fit; a device that is
    always full; a disk that may not be written."""
    for number in range(4, 120):
        music.write(folder / f"{number}.mp3", music.mp3(f"Title {number}", "Artist"))
    disk = tmp_path / "disk"
    disk.mkdir()
    script = f'mount -t tmpfs -o size=16k tmpfs {disk} && printf "{record(folder / "1.mp3", "Old")}" > {disk}/db && exec "$@"'
    server = start(disk / "db", wrapper=("unshare", "--mount", "sh", "-c", script, "sh"))
    server.wait_for_log(r"\[ERROR\]DB:no room for ", deadline=40)
    inside = pathlib.Path(f"/proc/{server.process.pid}/root{disk}/db")
    assert "TI:Old\n" in inside.read_text(), "the old file is still there"
    assert server.client(network.receiver).child("0", "Music", "All Tracks").child_count == 119

    os.symlink("/dev/full", tmp_path / "full")
    server = start(tmp_path / "full")
    server.wait_for_log(r"\[ERROR\]DB:could not write .*: No space left on device", deadline=40)

    script = f'mount -t tmpfs tmpfs {disk} && touch {disk}/db && mount -o remount,ro {disk} && exec "$@"'
    server = start(disk / "db", wrapper=("unshare", "--mount", "sh", "-c", script, "sh"))
    server.wait_for_log(rf"\[ERROR\]DB:could not open {disk}/db for writing", deadline=40)
    assert server.answers()


def test_killed_while_it_saves(start, network, tmp_path, folder):
    for number in range(4, 400):
        music.write(folder / f"{number}.mp3", music.mp3(f"Title {number}", "Artist", "Album", track=number))
    file = tmp_path / "library.db"
    for _ in range(2):  # once without a file, once with what the first left of it
        server = start(file)
        assert server.client(network.receiver).child("0", "Music", "All Tracks").child_count == 399
        server.wait_for_log("DB:writing DB", deadline=40)
        server.kill()
        server.process = None
    assert start(file).client(network.receiver).child("0", "Music", "All Tracks").child_count == 399


def test_a_file_of_others(start, network, tmp_path, folder):
    external = tmp_path / "external.db"
    for name in ("x.mp3", "y.mp3"):
        music.write(tmp_path / "elsewhere" / name, music.mp3())
    external.write_text(record(tmp_path / "elsewhere" / "x.mp3", "Of others"))
    server = start(settings={"externaldbfile": external})
    wait_until(lambda: "Of others" in titles(server, network), "the file of others is read")
    external.write_text(record(tmp_path / "elsewhere" / "x.mp3", "x") + record(tmp_path / "elsewhere" / "y.mp3", "Later"))
    wait_until(lambda: "Later" in titles(server, network), "it is read again", 60)
    assert external.read_text().count("<SOI>") == 2, "and never written"
