"""Tracks are fetched: whole, by range, from an offset, as a playlist; and the server says who plays what."""

import json
import shutil

import pytest

import music
import wire


@pytest.fixture
def track(receiver, library):
    """A track of three seconds and its bytes."""
    entry = next(entry for entry in receiver.tracks() if entry.title == "Queen F3")
    path = next(path for path, tags in library.tracks.items() if tags["title"] == "Queen F3")
    entry.bytes = path.read_bytes()
    return entry


def test_whole_file_and_head(receiver, track):
    answer = receiver.get(track.path)
    assert answer.status_line == "HTTP/1.1 200 OK" and answer.body == track.bytes
    assert answer.header("Content-Type") == "audio/mpeg"
    head = receiver.request("HEAD", track.path)
    assert head.status == 200 and head.header("Content-Length") == str(len(track.bytes))
    # The head has no body: the connection answers the next request right behind it.
    with receiver.connect() as connection:
        request = f"HEAD {track.path} HTTP/1.1\r\nHost: x\r\n\r\n".encode()
        connection.sendall(request + request.replace(b"HEAD", b"GET"))
        _, rest = wire.read_answer(connection, "HEAD")
        assert wire.read_answer(connection, have=rest)[0].body == track.bytes


@pytest.mark.parametrize("header, first, last", [
    ("bytes=0-99", 0, 99), ("bytes=100-", 100, None), ("bytes=1000-1000", 1000, 1000), ("bytes=500-100", 500, 500),
    ("bytes=30000-9999999", 30000, None),
])
def test_ranges(receiver, track, header, first, last):
    size = len(track.bytes)
    last = size - 1 if last is None else last
    answer = receiver.get(track.path, f"Range: {header}")
    assert answer.status_line == "HTTP/1.1 206 Partial Content"
    assert answer.header("Content-Range") == f"bytes {first}-{last}/{size}"
    assert answer.body == track.bytes[first:last + 1] and answer.header("Content-Length") == str(last + 1 - first)


def test_range_of_an_old_client_and_time_seek(receiver, track):
    old = receiver.request("GET", track.path, ["Range: bytes=100-199"], version="1.0")
    assert old.status_line == "HTTP/1.0 200 OK" and old.body == track.bytes[100:200]
    assert old.header("Content-Range") is None and old.header("Connection") == "close"
    # The milliseconds asked for are multiplied with the bytes of a second as they stand. 2.997 s count as 2 s.
    sought = receiver.get(track.path, "TimeSeekRange.dlna.org: npt=0.000-0.001")
    assert sought.status_line == "HTTP/1.1 200 OK"
    per_second = len(track.bytes) // 2
    assert sought.header("Content-Range") == f"bytes 0-{per_second}/{len(track.bytes)}"
    assert sought.body == track.bytes[:per_second + 1]


def test_continue_ignores_the_clients_range(receiver, track):
    answer = receiver.get(f"/continue/{track.id}_5000.mp3", "Range: bytes=0-9")
    assert answer.status == 206 and answer.body == track.bytes[5000:]
    assert receiver.get("/continue/999999_0.mp3").status == 404


def test_playlist_of_a_container(server, receiver):
    album = receiver.child("0", "Music", "Albums", "Queen: First & Last")
    answer = receiver.get(f"/m3u/{album.id}.m3u")
    assert answer.status == 200 and answer.header("Content-Type") == "audio/x-mpegurl"
    tracks = [f"http://{server.address}:{server.port}/disk/{entry.ref_id}.mp3" for entry in receiver.browse(album.id)]
    assert answer.body.decode() == "#EXTM3U\r\n" + "".join(f"{url}\r\n" for url in tracks)
    assert receiver.get("/m3u/999999.m3u").status == 404


def test_now_playing_and_played_lists(receiver, track, network):
    receiver.get(track.path, "Range: bytes=7-8")
    page = receiver.get("/rpc?playing")
    assert page.header("Content-Type") == "text/html; charset=UTF-8" and page.header("Pragma") == "no-cache"
    line = next(line for line in page.body.decode().splitlines() if line.startswith(network.receiver.address))
    assert line.split("\t")[1:4] == [track.id, "9", "Queen F3"]
    for name in ("- Last Played -", "- Most Played -"):
        listed = receiver.browse(receiver.child("0", "Music", "Playlists", name).id)
        assert track.id in {entry.ref_id for entry in listed}, name
    assert receiver.get("/rpc").status == 404


def test_keep_alive_answers_in_a_row(receiver, track):
    with receiver.connect() as connection:
        for _ in range(20):
            connection.sendall(f"GET {track.path} HTTP/1.1\r\nHost: x\r\nRange: bytes=0-9\r\n\r\n".encode())
            answer, rest = wire.read_answer(connection)
            assert (answer.body, rest, answer.header("Connection")) == (track.bytes[:10], b"", "keep-alive")


def test_large_file_beyond_two_gigabytes(network, start_daemon, tmp_path):
    """A sparse film: offsets of more than 31 bits, whole length and tail."""
    size = 5 * (1 << 29)
    tail = b"the last bytes"
    with open(music.write(tmp_path / "films" / "film.mpg", b""), "r+b") as film:
        film.seek(size - len(tail))
        film.write(tail)
    server = start_daemon(network.server, tmp_path / "films", port=9010, settings={"httpport": 9010})
    server.wait_until_up()
    server.wait_for_scan()
    client = server.client(network.receiver)
    film = client.child("0", "Videos", "All Videos", "film")
    assert film.resource.get("size") == str(size) and film.upnp_class == "object.item.videoItem.movie"
    assert client.request("HEAD", film.path).header("Content-Length") == str(size)
    answer = client.get(film.path, f"Range: bytes={size - 20}-")
    assert answer.header("Content-Range") == f"bytes {size - 20}-{size - 1}/{size}"
    assert answer.body == bytes(20 - len(tail)) + tail


@pytest.mark.skipif(not shutil.which("curl"), reason="curl is not installed")
def test_curl_gets_exact_bytes(receiver, track, network):
    def curl(*words):
        return network.receiver.run("curl", "-sf", *words, track.url, text=False).stdout
    assert curl() == track.bytes
    assert curl("-r", "417-833") == track.bytes[417:834]
    assert curl("-C", "40000") == track.bytes[40000:]


@pytest.mark.skipif(not shutil.which("ffprobe"), reason="ffprobe (ffmpeg) is not installed")
def test_ffprobe_tells_codec_and_duration(track, network):
    probed = json.loads(network.receiver.run("ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format",
                                             track.url).stdout)
    stream, = probed["streams"]
    assert (stream["codec_name"], stream["sample_rate"]) == ("mp3", "44100")
    assert abs(float(probed["format"]["duration"]) - 3.0) < 0.1
    assert probed["format"]["tags"]["title"] == "Queen F3"
