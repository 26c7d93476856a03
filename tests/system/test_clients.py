"""Control points and players that nobody here wrote, where they are installed; and receivers that are told apart."""

import contextlib
import json
import pathlib
import shutil

import pytest

import music
import wire
from daemon import wait_until
from servers import Origin, running


def needs(program):
    if not shutil.which(program):
        pytest.skip(f"{program} is not installed")


def test_gupnp_reads_the_services_and_browses_to_a_track(server, receiver, network, library):
    pytest.importorskip("gi")
    done = network.receiver.run("/usr/bin/python3", f"{pathlib.Path(__file__).parent}/gupnp_control_point.py",
                                network.receiver.interface, "Music", "Artists", "Queen", check=False, timeout=90)
    assert done.returncode == 0, done.stderr
    found = json.loads(done.stdout)
    assert {"Browse", "Search", "GetSearchCapabilities", "UpdateObject", "X_BrowseByLetter"} <= set(found["actions"])
    assert {"SystemUpdateID", "ContainerUpdateIDs", "A_ARG_TYPE_BrowseLetter"} <= set(found["variables"])
    paths = {tags["title"]: path for path, tags in library.tracks.items() if tags["artist"] == "Queen"}
    assert found["resources"].keys() == paths.keys()
    title, [(_, _, url)] = found["resources"].popitem()
    assert network.receiver.run("curl", "-sf", url, text=False).stdout == paths[title].read_bytes()


@contextlib.contextmanager
def run_mpd(network, tmp_path, settings):
    """MPD on the receiver's host with a null output; gives a function that sends a command and returns what it says."""
    needs("mpd")
    (tmp_path / "mpd.conf").write_text(f'{settings}\ninput {{\nplugin "curl"\n}}\n'
                                       'audio_output {\ntype "null"\nname "null"\nsync "no"\n}\n'
                                       f'bind_to_address "127.0.0.1"\nlog_file "{tmp_path}/mpd.log"\n')

    def command(text):
        with network.receiver.connect("127.0.0.1", 6600, 60) as connection:
            connection.sendall(f"{text}\nclose\n".encode())
            greeting, *lines = connection.makefile(encoding="utf-8", newline="\n").read().splitlines()
            assert greeting.startswith("OK MPD")
            return lines[:-1] if lines[-1] == "OK" else lines
    with running(network.receiver, tmp_path / "output", "env", f"HOME={tmp_path}", f"XDG_CACHE_HOME={tmp_path}", "mpd",
                 "--no-daemon", f"{tmp_path}/mpd.conf", port=6600):
        yield command


def test_mpd_lists_the_artists_and_plays_a_track(server, receiver, network, tmp_path):
    name = "Test &amp; Server"  # what the description says, escaped twice as it is
    with run_mpd(network, tmp_path, f'database {{\nplugin "upnp"\ninterface "{network.receiver.interface}"\n}}') as mpd:
        wait_until(lambda: f"directory: {name}" in mpd("lsinfo"), "mpd has found the server")
        assert f"directory: {name}/Music/Artists/Queen" in mpd(f'lsinfo "{name}/Music/Artists"')
        assert len([line for line in mpd(f'lsinfo "{name}/Music/Artists/Queen"') if line.startswith("file: ")]) == 6
        assert mpd(f'add "{name}/Music/Artists/Queen"') == mpd("play") == []
        wait_until(lambda: "\t" in receiver.get("/rpc?playing").body.decode(), "the server lists what is playing")
        wait_until(lambda: "state: stop" in mpd("status"), "six tracks are played to the end")
        assert "error" not in "".join(mpd("status"))


def test_a_playlist_that_mpd_saved(network, serve, tmp_path):
    folder = tmp_path / "music"
    for title in ("One", "Two", "Three"):
        music.write(folder / "Some Artist" / f"{title}.mp3", music.mp3(title))
    (folder / "lists").mkdir()
    with run_mpd(network, tmp_path, f'music_directory "{folder}"\nplaylist_directory "{folder}/lists"\n'
                 f'database {{\nplugin "simple"\npath "{tmp_path}/mpd.db"\n}}') as mpd:
        for title in ("Two", "One"):
            song = f"Some Artist/{title}.mp3"
            wait_until(lambda: f"file: {song}" in mpd("listall"), "mpd has read the folder")
            assert mpd(f'add "{song}"') == []
        assert mpd('save "By MPD"') == []
    client = serve(folder).client()
    listed = client.browse(client.child("0", "Music", "Playlists", "By MPD").id)
    seats = {entry.text(wire.UPNP + "originalTrackNumber"): entry.title for entry in listed}
    assert seats == {"1": "Two", "2": "One"}


def test_vlc_plays_a_track(server, receiver, network, tmp_path):
    """VLC refuses to run as root, so it gets a user namespace in which it is nobody."""
    needs("cvlc")
    track = next(entry for entry in receiver.tracks() if entry.title == "Queen F3")
    output = tmp_path / "out.raw"
    done = network.receiver.run(
        "unshare", "--user", "env", f"HOME={tmp_path}", f"XDG_CONFIG_HOME={tmp_path}", "cvlc", "-q",
        track.url, "--sout", f"#transcode{{acodec=s16l}}:std{{access=file,mux=wav,dst={output}}}", "vlc://quit",
        check=False)
    assert output.exists() and output.stat().st_size > 3 * 44100 * 2, done.stderr


KINDS = {  # what a receiver sends, by the kind that it is then taken for
    "TV Remote Control Point": "User-Agent: Pelorama Remote CP",
    "Generic Media Receiver": "User-Agent: Pelorama Home-To-Home Gateway",
    "Philips Streamium": "User-Agent: Allegro-Software-WebClient/4.30",
    "Roku Soundbridge": "User-Agent: Allegro-Software-WebClient/4.32",
    "Noxon Audio": "User-Agent: Mozilla/4.0 (compatible)",
    "D-Link DSM320": "User-Agent: POSIX, UPnP/1.0, Intel MicroStack/1.0.1423",
    "Netgear MP101": "X: Netgear MP101",  # in a search, whatever it is for
    "Go.Video D2730": 'MYNAME: "D2730"',
    "LinkSys Wireless Music System": "",
}
CLOSED = {"LinkSys Wireless Music System", "Noxon Audio"}
HEAD = b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n"
MUSIC_ONLY = CLOSED | {"Roku Soundbridge", "Netgear MP101"}


def test_receivers_are_told_apart(lone_host, serve, tmp_path):
    for title in ("]]>&lt;&amp;\"'", "&" * 700, "x" * 988 + "<\u00e9", "\u266b \U0001F3B5"):
        music.write(tmp_path / "music" / f"{len(title)}.mp3", music.mp3(title, title, title, title))
    server = serve(tmp_path / "music", host=lone_host)
    clients = {}
    for number, (kind, line) in enumerate(KINDS.items(), 2):
        client = clients[kind] = server.client()
        client.source = f"127.0.0.{number}"
        if line.startswith("User-Agent"):
            client.headers = [line]
            continue
        with wire.Searcher(lone_host, client.source) as searcher:
            packet = wire.msearch("urn:schemas-upnp-org:device:Printer:1")
            searcher.send(packet.replace(b"\r\nST", f"\r\n{line}\r\nST".encode()))
    server.wait_for_log("added: 127.0.0.9 Go.Video D2730\n")
    clients["LinkSys Wireless Music System"].browse("0\\Music\\")  # known by that name
    says_so = HEAD + b"<root>TerraTec<manufacturer>DLink</manufacturer></root>"
    # Two kinds that others pretend to be are asked who they are.
    with Origin(lone_host, says_so, port=80, address="127.0.0.6") as noxon, \
            Origin(lone_host, says_so, port=59089, address="127.0.0.7") as dlink:
        for kind, client in clients.items():
            closed = client.get("/ContentDirectory.xml").header("Connection") == "close"
            assert f"added: {client.source} {kind}\n" in server.log()
            assert closed == (kind in CLOSED), kind
            root = "0" if kind not in MUSIC_ONLY else clients["Generic Media Receiver"].child("0", "Music").id
            assert client.browse("0", filter="")[0].parent_id == root, kind
            # Whatever stands in the tree, however it is said to this receiver, is well-formed. (Noxons read bytes.)
            if kind != "Noxon Audio":
                assert len(list(client.walk(root))) > 100, kind
        for asked, line in (noxon, "GET /description.xml HTTP/1.1"), (dlink, "GET / HTTP/1.1"):
            assert [request.split("\r\n")[0] for request in asked.requests] == [line]
    soundbridge, other = clients["Roku Soundbridge"], clients["Generic Media Receiver"]
    assert soundbridge.call("GetSearchCapabilities") == {"SearchCaps": "*"}
    # Each title once, whatever refers to it.
    assert soundbridge.search('dc:title contains "&&"').total == 1 < other.search('dc:title contains "&&"').total


def test_receivers_that_are_not_what_they_claim(lone_host, serve):
    server = serve(host=lone_host, scan=False)
    claims = server.wait_until_up().client()
    claims.headers = [KINDS["Noxon Audio"]]
    with Origin(lone_host, HEAD + b"<root>Terratec</root>", port=80, address="127.0.0.2") as other:
        for claims.source in ("127.0.0.2", "127.0.0.2", "127.0.0.3"):  # nobody answers at the last
            assert claims.get("/ContentDirectory.xml").header("Connection") == "keep-alive"
            assert f"added: {claims.source} Generic Media Receiver\n" in server.log()
        assert len(other.requests) == 1, "asked once"
