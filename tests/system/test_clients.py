"""Control points and players that nobody here wrote, where they are installed."""

import contextlib
import importlib.util
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess

import pytest

import music
import wire
from daemon import wait_until

HERE = pathlib.Path(__file__).parent


def needs(program):
    return pytest.mark.skipif(not shutil.which(program), reason=f"{program} is not installed")


@pytest.mark.skipif(not importlib.util.find_spec("gi"), reason="python3-gi is not installed")
def test_gupnp_reads_the_services_and_browses_to_a_track(server, receiver, network, library):
    done = network.receiver.run("/usr/bin/python3", str(HERE / "gupnp_control_point.py"), network.receiver.interface,
                                check=False, timeout=90)
    assert done.returncode == 0, done.stderr
    found = json.loads(done.stdout)
    assert {"Browse", "Search", "GetSearchCapabilities", "UpdateObject", "X_BrowseByLetter"} <= set(found["actions"])
    assert {"SystemUpdateID", "ContainerUpdateIDs", "A_ARG_TYPE_BrowseLetter"} <= set(found["variables"])
    assert found["artists"] == ["- All -", "Abba", "Madonna", "Queen", "Sigur Rós", "Unknown"]
    assert sorted(found["tracks"]) == sorted(t["title"] for t in library.tracks.values() if t["artist"] == "Queen")
    path = next(path for path, tags in library.tracks.items() if tags["title"] == found["tracks"][0])
    fetched = network.receiver.run("curl", "-sf", found["url"], text=False).stdout
    assert fetched == path.read_bytes()


@contextlib.contextmanager
def run_mpd(network, tmp_path, database):
    """MPD on the receiver's host, with that database and a null output; gives a function that sends a command."""
    settings = tmp_path / "mpd.conf"
    settings.write_text(f'{database}\n'
                        'input {\nplugin "curl"\n}\naudio_output {\ntype "null"\nname "null"\nsync "no"\n}\n'
                        f'bind_to_address "{tmp_path}/mpd.socket"\nlog_file "{tmp_path}/mpd.log"\n')
    with open(tmp_path / "output", "wb") as output:
        player = subprocess.Popen(network.receiver.command("mpd", "--no-daemon", str(settings)),
                                  stdin=subprocess.DEVNULL,
                                  stdout=output,
                                  stderr=output,
                                  env=os.environ | {
                                      "XDG_CACHE_HOME": str(tmp_path),
                                      "HOME": str(tmp_path)
                                  })

    def connect():
        assert player.poll() is None, (tmp_path / "output").read_text()
        with socket.socket(socket.AF_UNIX) as probe:
            return probe.connect_ex(f"{tmp_path}/mpd.socket") == 0

    def command(text):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(60)
            connection.connect(f"{tmp_path}/mpd.socket")
            stream = connection.makefile("rw", encoding="utf-8", newline="\n")
            assert stream.readline().startswith("OK MPD")
            stream.write(text + "\n")
            stream.flush()
            lines = []
            while True:
                line = stream.readline().rstrip("\n")
                if line == "OK":
                    return lines
                if line.startswith("ACK") or not line:
                    return [line]
                lines.append(line)
    try:
        wait_until(connect, "mpd listens")
        yield command
    finally:
        player.send_signal(signal.SIGTERM)
        try:
            player.wait(10)
        except subprocess.TimeoutExpired:
            player.kill()
            player.wait()


@pytest.fixture
def mpd(network, tmp_path):
    database = f'database {{\nplugin "upnp"\ninterface "{network.receiver.interface}"\n}}'
    with run_mpd(network, tmp_path, database) as command:
        yield command


@needs("mpd")
def test_mpd_lists_the_artists_and_plays_a_track(server, receiver, mpd):
    name = "Test &amp; Server"  # what the description says, escaped twice as it is
    wait_until(lambda: f"directory: {name}" in mpd("lsinfo"), "mpd has found the server")
    listed = mpd(f'lsinfo "{name}/Music/Artists"')
    assert [line for line in listed if line.endswith("/Queen")] == [f"directory: {name}/Music/Artists/Queen"]

    songs = [line for line in mpd(f'lsinfo "{name}/Music/Artists/Queen"') if line.startswith("file: ")]
    assert len(songs) == 6
    assert mpd(f'add "{name}/Music/Artists/Queen"') == []
    assert mpd("play") == []
    wait_until(lambda: "\t" in receiver.get("/rpc?playing").body.decode(), "the server lists what is playing")
    wait_until(lambda: "state: stop" in mpd("status"), "six tracks are played to the end")
    assert "error" not in "".join(mpd("status"))


@needs("mpd")
def test_a_playlist_that_mpd_saved(network, start_daemon, tmp_path):
    folder = tmp_path / "music"
    for title in ("One", "Two", "Three"):
        music.write(folder / "Some Artist" / f"{title}.mp3", music.mp3(title))
    (folder / "lists").mkdir()
    server = start_daemon(network.server, folder, port=9045, settings={"httpport": 9045, "scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    with run_mpd(network, tmp_path, f'music_directory "{folder}"\nplaylist_directory "{folder}/lists"\n'
                 f'database {{\nplugin "simple"\npath "{tmp_path}/mpd.db"\n}}') as mpd:
        for title in ("Two", "One"):
            song = f"Some Artist/{title}.mp3"
            wait_until(lambda: f"file: {song}" in mpd("listall"), "mpd has read the folder")
            assert mpd(f'add "{song}"') == []
        assert mpd('save "By MPD"') == []
    server.rescan()
    client = server.client(network.receiver)
    listed = client.browse(client.child("0", "Music", "Playlists", "By MPD").id)
    assert sorted((entry.text(wire.UPNP + "originalTrackNumber"), entry.title) for entry in listed) == [("1", "Two"),
                                                                                                       ("2", "One")]


@needs("cvlc")
def test_vlc_plays_a_track(server, receiver, network, tmp_path):
    """VLC refuses to run as root, so it gets a user namespace in which it is nobody."""
    track = next(entry for entry in receiver.tracks() if entry.title == "Queen F3")
    output = tmp_path / "out.raw"
    done = network.receiver.run(
        "unshare", "--user", "env", f"HOME={tmp_path}", f"XDG_CONFIG_HOME={tmp_path}", "cvlc", "-q",
        track.url, "--sout", f"#transcode{{acodec=s16l}}:std{{access=file,mux=wav,dst={output}}}", "vlc://quit",
        check=False)
    assert output.exists() and output.stat().st_size > 3 * 44100 * 2, done.stderr
