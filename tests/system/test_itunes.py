"""Music libraries: an XML library of 5,000 tracks as a property list writer of others makes it, and an iPod's database
written from its record layout. Their playlists are listed, their tracks stand where they belong and are played."""

import datetime
import json
import os
import plistlib
import shutil
import struct
import urllib.parse

import pytest

import music
import wire
from daemon import wait_until

TRACKS, PER_ALBUM, PER_ARTIST = 5000, 10, 50


def xml_library(tracks, playlists):
    """tracks: {id: fields}, playlists: [(name, [ids])]; the first playlist is the library itself."""
    return plistlib.dumps({
        "Major Version": 1, "Minor Version": 1, "Application Version": "12.9", "Library Persistent ID": "0123456789ABCDEF",
        "Tracks": {str(number): {"Track ID": number, "Track Type": "File"} | fields for number, fields in tracks.items()},
        "Playlists": [{"Name": name, "Playlist ID": index, "Playlist Items": [{"Track ID": number} for number in ids]} |
                      ({"Master": True, "Visible": False} if index == 0 else {})
                      for index, (name, ids) in enumerate(playlists)],
    }, sort_keys=False)


def location(path):
    return "file://localhost" + urllib.parse.quote(os.fspath(path))


def ffprobe(host, url):
    return json.loads(host.run("ffprobe", "-v", "error", "-of", "json", "-show_streams", url).stdout)["streams"][0]


def test_a_library_of_5000_tracks(network, start_daemon, tmp_path):
    files = tmp_path / "iTunes & more"
    tracks = {}
    for n in range(TRACKS):
        path = music.write(files / f"Artist {n // PER_ARTIST:03d}" / f"{n:04d} é.mp3", music.mp3(seconds=0.1))
        tracks[1000 + 2 * n] = {
            "Name": f"Träck <{n:04d}> & more", "Artist": f"Artist {n // PER_ARTIST:03d}",
            "Album": f"Album {n // PER_ALBUM:03d}", "Genre": "Pop" if n % 2 else "Rock", "Kind": "MPEG audio file",
            "Size": path.stat().st_size, "Total Time": 61_500, "Track Number": n % PER_ALBUM + 1, "Year": 1990 + n % 20,
            "Date Modified": datetime.datetime(2004, 5, 1, 12, 34, 56), "Bit Rate": 128, "Sample Rate": 44100,
            "Location": location(path)}
    ids = list(tracks)
    tracks[1] = {"Name": "Stream", "Track Type": "URL", "Location": "http://radio.example/"}
    library = music.write(tmp_path / "iTunes Music Library.xml",
                          xml_library(tracks, [("Library", ids), ("Music", ids), ("Five", [ids[4], 1, ids[2], ids[0]])]))
    empty = tmp_path / "empty"
    empty.mkdir()
    server = start_daemon(network.server, empty, port=9050,
                          settings={"httpport": 9050, "scantime": 0, "ituneslib": library})
    server.wait_until_up()
    server.wait_for_log("iTunes: finished ", deadline=120)
    client = server.client(network.receiver)

    lists = {entry.title: entry for entry in client.browse(client.child("0", "Music", "Playlists").id)}
    assert "Library" not in lists and lists["Music"].child_count == TRACKS
    assert sorted((entry.text(wire.UPNP + "originalTrackNumber"), entry.title)
                  for entry in client.browse(lists["Five"].id)) == [
        ("1", "Träck <0004> & more"), ("2", "Träck <0002> & more"), ("3", "Träck <0000> & more")]

    found = client.search_all('upnp:class derivedfrom "object.item.audioItem" and @refID exists false')
    assert len(found) == TRACKS
    by_title = {track.title: track for track in found}
    for n in (0, 1, 777, 2500, TRACKS - 1):
        track = by_title[f"Träck <{n:04d}> & more"]
        assert (track.artist, track.album) == (f"Artist {n // PER_ARTIST:03d}", f"Album {n // PER_ALBUM:03d}")
        assert track.text(wire.DC + "date") == str(1990 + n % 20)
        assert track.resource.get("duration") == "0:01:01.500"
    artists = next(view for view in client.browse(client.child("0", "Music").id) if "Artist" in view.title)
    names = {entry.title for entry in client.browse(artists.id)}
    assert {f"Artist {n:03d}" for n in range(TRACKS // PER_ARTIST)} <= names
    if shutil.which("ffprobe"):
        assert ffprobe(network.receiver, by_title["Träck <0777> & more"].url)["codec_name"] == "mp3"


def record(tag, total, rest):
    return tag + struct.pack("<II", 12 + len(rest), total) + rest


def mhod(kind, text):
    body = text.encode("utf-16le")
    return b"mhod" + struct.pack("<7I", 24, 32 + len(body), kind, 0, 0, 1, len(body)) + body


def mhit(number, *objects):
    return (b"mhit" + struct.pack("<4I", 156, 0, len(objects), number)).ljust(156, b"\0") + b"".join(objects)


def mhyp(name, ids):
    return (record(b"mhyp", 0, struct.pack("<II", 1, len(ids)).ljust(96, b"\0")) + mhod(1, name) +
            b"".join(record(b"mhip", 0, struct.pack("<4I", 0, 0, 0, number).ljust(64, b"\0")) for number in ids))


def itunes_db(songs, playlists):
    return (record(b"mhdb", 0, bytes(92)) + record(b"mhsd", 0, bytes(84)) + record(b"mhlt", len(songs), bytes(80)) +
            b"".join(songs) + record(b"mhsd", 0, bytes(84)) + record(b"mhlp", len(playlists), bytes(80)) +
            b"".join(playlists))


def test_an_ipod(network, start_daemon, tmp_path):
    control = tmp_path / "ipod" / "iPod_Control"
    songs = []
    for number, title in enumerate(("Één", "Two", "Three"), 1):
        music.write(control / "Music" / "F00" / f"{number}.mp3", music.mp3(seconds=2))
        songs.append(mhit(number, mhod(1, title), mhod(4, "iPod Artist"), mhod(3, "iPod Album"), mhod(5, "Pop"),
                          mhod(2, f":iPod_Control:Music:F00:{number}.mp3")))
    database = music.write(control / "iTunes" / "iTunesDB",
                           itunes_db(songs, [mhyp("My iPod", [1, 2, 3]), mhyp("Running", [3, 99, 1])]))
    empty = tmp_path / "empty"
    empty.mkdir()
    server = start_daemon(network.server, empty, port=9051, settings={"httpport": 9051, "scantime": 0, "ipoddb": database})
    server.wait_until_up()
    server.wait_for_log("iTunes: finished ")
    client = server.client(network.receiver)
    running = client.browse(client.child("0", "Music", "Playlists", "Running").id)
    assert sorted((entry.text(wire.UPNP + "originalTrackNumber"), entry.title, entry.artist, entry.album)
                  for entry in running) == [("1", "Three", "iPod Artist", "iPod Album"),
                                            ("2", "Één", "iPod Artist", "iPod Album")]
    assert {track.title for track in client.tracks()} == {"Één", "Three"}, "the first playlist adds nothing"
    assert client.get(running[0].path).body == music.mp3(seconds=2)
    if shutil.which("ffprobe"):
        assert ffprobe(network.receiver, running[0].url)["codec_name"] == "mp3"


def test_scanned_files_keep_their_tags_and_join(network, start_daemon, tmp_path):
    path = music.write(tmp_path / "music" / "a.mp3", music.mp3("Own title", "Own artist"), modified=1_700_000_000)
    library = music.write(tmp_path / "lib.xml",
                          xml_library({5: {"Name": "Other", "Date Modified": datetime.datetime(2004, 5, 1),
                                           "Location": location(path)}}, [("Library", [5]), ("L", [5])]))
    server = start_daemon(network.server, tmp_path / "music", port=9052,
                          settings={"httpport": 9052, "scantime": 0, "ituneslib": library})
    server.wait_until_up()
    server.wait_for_log("iTunes: finished ")
    client = server.client(network.receiver)
    entry, = client.browse(client.child("0", "Music", "Playlists", "L").id)
    assert (entry.title, entry.artist) == ("Own title", "Own artist")
    # A rescan finds nothing newer, so the track stays in its playlist.
    server.rescan()
    assert len(client.tracks()) == 1
    assert len(client.browse(client.child("0", "Music", "Playlists", "L").id)) == 1
    # A file that changed has another id and its own new tags, and its place.
    music.write(path, music.mp3("New title", "Own artist"), modified=1_700_000_100)
    server.rescan()
    changed, = client.browse(client.child("0", "Music", "Playlists", "L").id)
    assert (changed.title, changed.text(wire.UPNP + "originalTrackNumber")) == ("New title", "1")


@pytest.mark.parametrize("setting, content, message", [
    ("ipoddb", b"mhdb" + struct.pack("<II", 2_000_000, 0), "error: record size too large: 2000000\n"),
    ("ipoddb", b"mhlt" + struct.pack("<II", 12, 0xFFFFFFFF), "error: reading song header: Success\n"),
    ("ipoddb", b"\0" * 5000, "error: unknown record type: 00000000, \0\0\0\0\n"),
    ("ituneslib", b"<plist><dict><key>Tracks</key>" + b"<dict><key>1</key>" * 100_000, ""),
    ("ituneslib", b"<" * 100_000, ""), ("ituneslib", b"", ""),
], ids=["header_size", "song_count", "zeros", "deep", "open", "empty"])
def test_broken_libraries(network, start_daemon, tmp_path, setting, content, message):
    library = music.write(tmp_path / "library", content)
    music.write(tmp_path / "music" / "a.mp3", music.mp3("A"))
    server = start_daemon(network.server, tmp_path / "music", port=9053,
                          settings={"httpport": 9053, "scantime": 0, setting: library})
    server.wait_until_up()
    server.wait_for_log("iTunes: finished ")
    client = server.client(network.receiver)
    wait_until(lambda: [track.title for track in client.tracks()] == ["A"], "the content directory's track")
    assert message in server.log()
