"""Start, configuration, log lines and the end of the process."""

import os
import pathlib
import re
import signal
import subprocess

import pytest

import daemon
import music
import wire
from daemon import wait_until

INI = dict(line.split("=", 1) for line in """\
enableweb=1|contentdir=|friendlyname=|adaptcase=1|randomizeplaylists=|radio=1|numradiostations=50|radioreread=60|
dbfile=|externaldbfile=|ignoredir=AppleDouble|compilationsdir=Compilations,Sampler|nicrestart=0|httpport=0|
playlistnumentries=10|ip=|dev=|musicclient=|dlinkclient=|nosearch=0|norescale=0|videoi=|idxdir=|noxonclient=|
scantime=15|ds=+dc:title,+dc:date|ms=+upnp:originalTrackNumber,+dc:title|ps=+dc:date,+dc:title|descriptions=0|
adobedsn=|adobepath=|ituneslib=|ipoddb=|winamp=|alltracks=All Tracks|playlists=Playlists|
playlistlastplayed=- Last Played -|playlistmostplayed=- Most Played -|internetradio=Internet Radio|
allownradiostations=- Favorites- |allpictures=All Pictures|allvideos=All Videos|rootmusic=Music|rootpicture=Pictures|
rootvideo=Videos|insertgif=|netgearupgrade=|musicnode1=Artists,%ARTIST|musicnode2=Genres,%GENRE|
musicnode3=Albums,%ALBUM|musicnode4=Folders,%PATH|musicnode5=Artists/Albums,%ARTIST,%ALBUM|
musicnode6=Genres/Artists,%GENRE,%ARTIST,%ALBUM|musicnode7=Year/Albums,%YEAR,%ALBUM|
musicnode8=Year/Artist,%YEAR,%ARTIST,%ALBUM|musicnode9=Alpha,[3]%ARTIST|musicnode10=|picturenode1=Folders,%PATH|
picturenode2=Date,%YEAR,%MONTH,%DAY|picturenode3=|picturenode4=|picturenode5=|videonode1=Folders,%PATH|
videonode2=|videonode3=|videonode4=|videonode5=|musicbuffer=1024|picturebuffer=2048|videobuffer=128000\
""".replace("\n", "").split("|"))


@pytest.fixture
def start(lone_host, serve):
    """start(folder, **settings): a server on loopback with what settings are given, and no others."""
    return lambda folder=None, **settings: serve(folder, host=lone_host, scan=False,
                                                 **{"httpport": None, "scantime": None} | settings)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGABRT], ids=lambda number: number.name)
def test_signal_ends_with_status_0_amid_connections_and_a_scan(lone_host, start, tmp_path, number):
    # Each directory is a link to the next: thousands of paths from a few files, so that the scan is still running.
    for name in (names := [f"{index:02d}" for index in range(40)]):
        music.write(tmp_path / "music" / name / "a.mp3", music.mp3(name))
        for other in names:
            (tmp_path / "music" / name / f"to{other}").symlink_to(tmp_path / "music" / other)
    server = start(tmp_path / "music").wait_until_up()
    server.wait_for_log(r"scanning .*/to\d\d")
    connections = [server.client().connect() for _ in range(200)]
    # A third idle, a third within a header, a third kept alive after an answer.
    for connection in connections[1::3]:
        connection.sendall(b"GET /DeviceDescription.xml HTTP/1.1\r\n")
    for connection in connections[2::3]:
        connection.sendall(b"GET /DeviceDescription.xml HTTP/1.1\r\n\r\n")
        assert wire.read_answer(connection)[0].status == 200
    assert server.threads() > 200
    with wire.Listener(lone_host) as listener:
        server.signal(number)
        server.signal(signal.SIGTERM)  # a second signal changes nothing
        listener.notifications("ssdp:byebye", 5)
        assert server.wait(6) == 0  # it waits in steps of up to a second; a few of them are well below this
    assert re.findall(r"terminating....signal=(.*)", server.log()) == [str(int(number))]
    for connection in connections:
        connection.close()


def test_addresses_and_ports(lone_host, start, tmp_path):
    with lone_host.listen(9000):
        for settings, message in (
            ({"ip": "0.0.0.0"}, "invalid IP address: 0.0.0.0"), ({"ip": "none"}, "invalid IP address: none"),
            ({"ip": "10.99.99.99"}, "no free port for HTTP server found on IP: 10.99.99.99"),
            ({"httpport": 9000}, "no free port for HTTP server found on IP: 127.0.0.1"),
        ):
            server = start(tmp_path, **settings)
            assert server.wait() == 255
            assert f"!!! CRITICAL ERROR!!!\n{message}" in server.log()
        chosen = start(tmp_path, port=9001).wait_until_up()
    assert "Server starting at 127.0.0.1:9001\n" in chosen.log(), "the next free one"
    chosen.stop()
    (nowhere := start(tmp_path, ip=None)).wait_for_scan()
    assert "Server starting" not in nowhere.log(), "loopback alone is not served"
    assert " 0A " not in lone_host.run("cat", "/proc/net/tcp").stdout, "a socket listens"


def test_ini_file_is_written_back_complete(start):
    server = start(scantime=3, ini=b"# a comment\nFriendlyName = Kitchen # not part of it\nscantime=7\nmusicnode2=\n"
                                   b"nosearch=1\nunknownkey=1\nv=1\n").wait_until_up()
    written = re.findall(r"^([^#=\n]+)=(.*)$", server.ini.read_text(), re.M)
    changed = {"friendlyname": "Kitchen ", "radio": "0", "nosearch": "1", "ip": "127.0.0.1", "scantime": "3",
               "musicnode2": ""}
    assert written == list((INI | changed).items()) and len(INI) == 70
    assert server.ini.read_text().startswith(
        "# Pelorama ini file\n# change settings by commandline or by editing this file\n")
    assert server.client().call("GetSearchCapabilities") == {"SearchCaps": ""}


def test_usage_names_the_parameters(tmp_path):
    for words in (["-help"], ["-friendlyname", "x", "-?"], ["-inifile"]):
        done = subprocess.run([daemon.EXECUTABLE, *words], cwd=tmp_path, capture_output=True, text=True, timeout=30)
        assert done.returncode == 0
        assert "\nusage: " in done.stdout and "-httpport [n] \n\t set port for http server" in done.stdout


def test_log_says_what_it_is_asked_to_say(start, tmp_path):
    music.write(tmp_path / "music" / "a.mp3", music.mp3(title="A"))
    stamp = r"\d\d:\d\d:\d\d:\d{3}"
    server = start(tmp_path / "music", verbosity=0, arguments=["surplus"]).wait_until_up()
    client = server.client()
    wait_until(lambda: client.search('dc:title = "A"').total, "the track is listed")
    client.get(client.tracks()[0].path)
    server.stop()
    # The banner and the farewell are no log lines; nothing is said about ordinary work.
    assert re.fullmatch("Pelorama MediaServer Version 2.71\n"
                        rf'{stamp} \[Problem\]SYSTEM:unknown command line parameter "surplus", skipped\.\n'
                        "terminating....signal=15\n", server.log())
    talkative = start(tmp_path / "music", verbosity=4 + 1)
    talkative.wait_for_log(rf"^{stamp} DB:DB scan on .*/music completed$")
    assert set(re.findall(rf"^{stamp} ([A-Z -]+):", talkative.log(), re.M)) == {"SYSTEM", "DB"}


def test_daemon_mode_leaves_a_pid_file(start):
    pid_file = pathlib.Path("/var/run/mediaserver.pid")
    try:
        pid_file.touch(exist_ok=False)
    except OSError as error:
        pytest.skip(f"another server's, or not to be written: {error}")
    try:
        server = start(verbosity=0, arguments=["-D"])
        assert server.process.wait(20) == 0, "the parent ends at once"
        pid = int(wait_until(pid_file.read_text, "the pid file is written"))
        assert pid_file.read_text() == f"{pid}\n"
        try:
            wait_until(server.answers, "the daemon serves")
            assert pathlib.Path(f"/proc/{pid}/fd/1").readlink() == pathlib.Path("/dev/null")
        finally:
            os.kill(pid, signal.SIGTERM)
            wait_until(lambda: not pathlib.Path(f"/proc/{pid}").exists(), "the daemon ends")
        assert server.log().startswith("Pelorama MediaServer Version 2.71\n")
    finally:
        pid_file.unlink()
