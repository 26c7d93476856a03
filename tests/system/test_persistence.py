"""What the server knows survives a restart, and nothing that happens to its file stops it."""

import os
import pathlib

import pytest

import music
from daemon import wait_until
from servers import TRACK


def fill(folder, numbers):
    for number in numbers:
        music.write(folder / f"{number}.mp3", music.mp3(f"Title {number}", "Artist", "Album"), 1_000_000_000 + number)
    return folder


@pytest.fixture
def folder(tmp_path):
    return fill(tmp_path / "music", range(1, 4))


@pytest.fixture
def start(serve, tmp_path, folder):
    """start(file): a server of the folder with that persistence file, scanned; the one before is ended first."""
    started = []

    def start_with(file=tmp_path / "library.db", **options):
        for server in started:
            server.stop()
        started.append(serve(folder, dbfile=file, **options))
        return started[-1]
    return start_with


def record(path, title="From the file"):
    return f"<SOI>\nTI:{title}\nCL:{TRACK}\nRE:{path}\nMT:2000000000\n<EOI>\n"


def titles(server):
    return sorted(track.title for track in server.client().tracks())


def count(server):
    return server.client().child("0", "Music", "All Tracks").child_count


def test_a_restart_reads_no_media(start, folder, tmp_path):
    file = tmp_path / "library.db"
    evil = "<EOI>\n<SOI>\nRE:/etc/hostname"
    music.write(folder / "evil.mp3", music.mp3(evil, evil, evil), modified=1_000_000_009)
    server = start(file)

    def play():
        server.client().get(next(track for track in server.client().tracks() if track.title == "Title 2").path)
    play()
    play()
    server.stop()  # plays alone are saved at the end
    assert b"\nPC:2\n" in file.read_bytes()
    # What was read is known: the files now say something else, and nobody looks.
    for path in folder.iterdir():
        status = path.stat()
        path.write_bytes(music.mp3("Changed behind the back", "Nobody"))
        os.utime(path, (status.st_mtime, status.st_mtime))
    (folder / "1.mp3").unlink()
    music.write(folder / "new.mp3", music.mp3("New", "Artist"))
    server = start(file)
    assert [title[:20] for title in titles(server)] == ["<EOI><SOI>RE:/etc/ho", "New", "Title 2", "Title 3"]
    assert "item could not be found on disk: " in server.log(), "the file that went was in the list"
    assert server.client().search('res contains "hostname"').total == 0
    play()  # is counted on from what was remembered
    server.stop()
    assert b"\nPC:3\n" in file.read_bytes() and b"\nRE:/etc/hostname" not in file.read_bytes()


def test_files_that_are_none(start, folder, tmp_path):
    """The server starts, uses what the file still holds and scans the rest anew."""
    one, two = record(folder / "1.mp3", "One"), record(folder / "2.mp3", "Two")
    for first, content in (("Title 1", os.urandom(200_000)), ("Title 1", b"<SOI>\nTI:" + b"x" * 1_000_000),
                           ("One", (one + two[:two.index("RE:") + 8]).encode())):
        file = music.write(tmp_path / f"{len(content)}.db", content)  # the server before may still save its own
        assert titles(start(file)) == [first, "Title 2", "Title 3"], content[:100]
    assert len(titles(server := start(folder))) == 3
    assert f"give a filename not a path for DB: {folder}" in server.log()


def test_disks_that_take_nothing(start, tmp_path, folder):
    """A disk of 16 kB in a mount namespace of the server's own, on which the library does not fit; a device that is
    always full; a disk that may not be written."""
    fill(folder, range(4, 120))
    disk = tmp_path / "disk"
    disk.mkdir()

    def on_disk(options, *steps):
        script = " && ".join([f"mount -t tmpfs {options} tmpfs {disk}", *steps, 'exec "$@"'])
        return start(disk / "db", wrapper=("unshare", "--mount", "sh", "-c", script, "sh"))
    server = on_disk("-o size=16k", f'printf "{record(folder / "1.mp3", "Old")}" > {disk}/db')
    server.wait_for_log(r"\[ERROR\]DB:no room for ", deadline=40)
    inside = pathlib.Path(f"/proc/{server.process.pid}/root{disk}/db")
    assert "TI:Old\n" in inside.read_text(), "the old file is still there"
    assert count(server) == 119
    os.symlink("/dev/full", tmp_path / "full")
    server = start(tmp_path / "full")
    server.wait_for_log(r"\[ERROR\]DB:could not write .*: No space left on device", deadline=40)
    server = on_disk("", f"touch {disk}/db", f"mount -o remount,ro {disk}")
    server.wait_for_log(rf"\[ERROR\]DB:could not open {disk}/db for writing", deadline=40)
    assert server.answers()


def test_killed_while_it_saves(start, tmp_path, folder):
    fill(folder, range(4, 400))
    for _ in range(2):  # once without a file, once with what the first left of it
        server = start()
        assert count(server) == 399
        server.wait_for_log("DB:writing DB", deadline=40)
        server.kill()
    assert count(start()) == 399


def test_a_file_of_others(start, tmp_path):
    external = tmp_path / "external.db"
    for name in ("x.mp3", "y.mp3"):
        music.write(tmp_path / "elsewhere" / name, music.mp3())
    external.write_text(record(tmp_path / "elsewhere" / "x.mp3", "Of others"))
    server = start(externaldbfile=external)
    wait_until(lambda: "Of others" in titles(server), "the file of others is read")
    later = record(tmp_path / "elsewhere" / "x.mp3", "x") + record(tmp_path / "elsewhere" / "y.mp3", "Later")
    external.write_text(later)
    wait_until(lambda: "Later" in titles(server), "it is read again", 60)
    assert external.read_text() == later, "and never written"
