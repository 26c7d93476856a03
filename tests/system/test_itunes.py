"""Music libraries: an XML library of 5,000 tracks as a property list writer of others makes it, and an iPod's database.
Their playlists are listed, their tracks stand where they belong and are played."""

import datetime
import os
import plistlib
import re
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
        "Major Version": 1, "Minor Version": 1, "Application Version": "12.9",
        "Tracks": {str(number): {"Track ID": number, "Track Type": "File"} | tags for number, tags in tracks.items()},
        "Playlists": [{"Name": name, "Playlist ID": index, "Playlist Items": [{"Track ID": number} for number in ids]} |
                      ({"Master": True, "Visible": False} if index == 0 else {})
                      for index, (name, ids) in enumerate(playlists)],
    }, sort_keys=False)


def serve_library(serve, tmp_path, **libraries):
    """A server of the folder "music" and of these, once it has read all."""
    (tmp_path / "music").mkdir(exist_ok=True)
    server = serve(tmp_path / "music", **libraries)
    for path in libraries.values():
        server.wait_for_log(f"iTunes: finished {re.escape(str(path))}", deadline=120)
    return server


def location(path):
    return "file://localhost" + urllib.parse.quote(os.fspath(path))


def test_a_library_of_5000_tracks(serve, tmp_path):
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
    playlists = [("Library", ids), ("Music", ids), ("Five", [ids[4], 1, ids[2], ids[0]])]
    library = music.write(tmp_path / "iTunes Music Library.xml", xml_library(tracks, playlists))
    client = serve_library(serve, tmp_path, ituneslib=library).client()
    lists = {entry.title: entry for entry in client.browse(client.child("0", "Music", "Playlists").id)}
    assert "Library" not in lists and lists["Music"].child_count == TRACKS
    assert sorted((entry.text(wire.UPNP + "originalTrackNumber"), entry.title)
                  for entry in client.browse(lists["Five"].id)) == [
        ("1", "Träck <0004> & more"), ("2", "Träck <0002> & more"), ("3", "Träck <0000> & more")]

    found = client.search_all('upnp:class derivedfrom "object.item.audioItem" and @refID exists false')
    assert len(found) == TRACKS
    by_title = {track.title: track for track in found}
    for n in range(TRACKS):
        track = by_title[f"Träck <{n:04d}> & more"]
        assert (track.artist, track.album, track.text(wire.DC + "date"), track.resource.get("duration")) == (
            f"Artist {n // PER_ARTIST:03d}", f"Album {n // PER_ALBUM:03d}", str(1990 + n % 20), "0:01:01.500")
    names = {entry.title for entry in client.browse(client.child("0", "Music", "Artists").id)}
    assert {f"Artist {n:03d}" for n in range(TRACKS // PER_ARTIST)} <= names
    assert client.get(by_title["Träck <0777> & more"].path).body == music.mp3(seconds=0.1)


def test_an_ipod(serve, tmp_path):
    """Two songs, at ":i:Music:F00:a.mp3" and ":i:Music:F01:b.mp3"; the first playlist is the library itself, the second
    one names them the other way round."""
    for name in ("F00/a", "F01/b"):
        music.write(tmp_path / "ipod" / "i" / "Music" / f"{name}.mp3", music.mp3(seconds=2))
    database = music.write(tmp_path / "ipod" / "i" / "iTunes" / "iTunesDB",
                           (music.CORPUS / "fuzz_itunes_db" / "two_lists").read_bytes())
    client = serve_library(serve, tmp_path, ipoddb=database).client()
    assert [entry.title for entry in client.browse(client.child("0", "Music", "Playlists").id)
            if not entry.title.startswith("-")] == ["L"]
    listed = client.browse(client.child("0", "Music", "Playlists", "L").id)
    assert sorted((entry.text(wire.UPNP + "originalTrackNumber"), entry.title, entry.artist) for entry in listed) == [
        ("1", "Té中", ""), ("2", "One", "A")]
    assert {track.title for track in client.tracks()} == {"One", "Té中"}
    assert client.get(listed[0].path).body == music.mp3(seconds=2)


def test_scanned_files_keep_their_tags_and_join(serve, tmp_path):
    path = music.write(tmp_path / "music" / "a.mp3", music.mp3("Own title", "Own artist"), modified=1_700_000_000)
    library = music.write(tmp_path / "lib.xml",
                          xml_library({5: {"Name": "Other", "Date Modified": datetime.datetime(2004, 5, 1),
                                           "Location": location(path)}}, [("Library", [5]), ("L", [5])]))
    server = serve_library(serve, tmp_path, ituneslib=library)
    client = server.client()
    for _ in range(2):  # a rescan finds nothing newer, so the track stays in its playlist
        entry, = client.browse(client.child("0", "Music", "Playlists", "L").id)
        assert (entry.title, entry.artist) == ("Own title", "Own artist")
        server.rescan()
        assert len(client.tracks()) == 1
    # A file that changed has another id and its own new tags, and its place.
    music.write(path, music.mp3("New title", "Own artist"), modified=1_700_000_100)
    server.rescan()
    changed, = client.browse(client.child("0", "Music", "Playlists", "L").id)
    assert (changed.title, changed.text(wire.UPNP + "originalTrackNumber")) == ("New title", "1")


@pytest.mark.parametrize("database, xml, message", [
    (b"mhdb" + struct.pack("<II", 2_000_000, 0), b"<plist><dict><key>Tracks</key>" + b"<dict><key>1</key>" * 100_000,
     "error: record size too large: 2000000\n"),
    (b"mhlt" + struct.pack("<II", 12, 0xFFFFFFFF), b"<" * 100_000, "error: reading song header: Success\n"),
], ids=["header_size_deep", "song_count_open"])
def test_broken_libraries(serve, tmp_path, database, xml, message):
    music.write(tmp_path / "music" / "a.mp3", music.mp3("A"))
    server = serve_library(serve, tmp_path, ipoddb=music.write(tmp_path / "iTunesDB", database),
                           ituneslib=music.write(tmp_path / "library.xml", xml))
    wait_until(lambda: [track.title for track in server.client().tracks()] == ["A"], "the content directory's track")
    assert message in server.log()
