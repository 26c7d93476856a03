"""Start, configuration, log lines and the end of the process."""

import os
import pathlib
import re
import signal
import socket
import subprocess

import pytest

import daemon as daemon_module
import music
import wire
from daemon import wait_until

# Stopping waits in steps of half a second and a second; a few of them, and a busy machine, are still well below this.
STOP_SECONDS = 6 * daemon_module.SLOWNESS

INI_KEYS = """enableweb contentdir friendlyname adaptcase randomizeplaylists radio numradiostations radioreread dbfile
externaldbfile ignoredir compilationsdir nicrestart httpport playlistnumentries ip dev musicclient dlinkclient nosearch
norescale videoi idxdir noxonclient scantime ds ms ps descriptions adobedsn adobepath ituneslib ipoddb winamp alltracks
playlists playlistlastplayed playlistmostplayed internetradio allownradiostations allpictures allvideos rootmusic
rootpicture rootvideo insertgif netgearupgrade""".split() + [f"musicnode{n}" for n in range(1, 11)] + \
    [f"picturenode{n}" for n in range(1, 6)] + [f"videonode{n}" for n in range(1, 6)] + \
    ["musicbuffer", "picturebuffer", "videobuffer"]


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGABRT], ids=lambda number: number.name)
def test_signal_ends_with_status_0_amid_connections_and_a_scan(lone_host, start_daemon, tmp_path, number):
    # Each directory is a link to the next: thousands of paths from a few files, so that the scan is still running.
    for index in range(40):
        music.write(tmp_path / "music" / f"{index:02d}" / "a.mp3", music.mp3(title=f"Title {index}"))
        for other in range(40):
            (tmp_path / "music" / f"{index:02d}" / f"to{other:02d}").symlink_to(tmp_path / "music" / f"{other:02d}")
    server = start_daemon(lone_host, tmp_path / "music")
    server.wait_until_up()
    server.wait_for_log(r"scanning .*/to\d\d")
    connections = [lone_host.connect(server.address, server.port) for _ in range(200)]
    for index, connection in enumerate(connections):
        # A third idle, a third within a header, a third kept alive after an answer.
        if index % 3:
            connection.sendall(b"GET /DeviceDescription.xml HTTP/1.1\r\n" + (b"\r\n" if index % 3 == 2 else b""))
    for connection in connections[2::3]:
        assert wire.read_answer(connection)[0].status == 200
    assert server.threads() > 200
    with wire.Listener(lone_host) as listener:
        server.signal(number)
        server.signal(signal.SIGTERM)  # a second signal changes nothing
        listener.notifications("ssdp:byebye", 5)
        assert server.process.wait(STOP_SECONDS) == 0
    assert server.log().count("terminating....signal=") == 1
    assert f"terminating....signal={int(number)}\n" in server.log()
    for connection in connections:
        connection.close()


@pytest.mark.parametrize("address, message", [("0.0.0.0", "invalid IP address: 0.0.0.0"), ("nonsense", ""),
                                              ("10.99.99.99", "no free port for HTTP server found on IP: 10.99.99.99")])
def test_bad_address_ends_with_status_255(lone_host, start_daemon, tmp_path, address, message):
    lone_host.interface = "none"  # no -ip of the harness's own
    server = start_daemon(lone_host, tmp_path, settings={"ip": address})
    assert server.wait() == 255
    assert f"!!! CRITICAL ERROR!!!\n{message}" in server.log()
    server.process = None


def test_busy_port_ends_with_status_255(lone_host, start_daemon, tmp_path):
    with lone_host.entered():
        blocker = socket.create_server(("127.0.0.1", 9000))
    with blocker:
        server = start_daemon(lone_host, tmp_path, settings={"httpport": 9000})
        assert server.wait() == 255
    assert "no free port for HTTP server found on IP: 127.0.0.1" in server.log()
    server.process = None


def test_chosen_port_is_the_next_free_one(lone_host, start_daemon, tmp_path):
    with lone_host.entered():
        blocker = socket.create_server(("127.0.0.1", 9000))
    with blocker:
        server = start_daemon(lone_host, tmp_path, port=9001)
        server.wait_until_up()
    assert "Server starting at 127.0.0.1:9001\n" in server.log()


def test_loopback_alone_is_not_served(lone_host, start_daemon, tmp_path):
    lone_host.interface = "none"
    (tmp_path / "empty").mkdir()
    server = start_daemon(lone_host, tmp_path / "empty")
    server.wait_for_scan()
    assert "Server starting" not in server.log()
    listening = lone_host.run("cat", "/proc/net/tcp").stdout
    assert " 0A " not in listening, "a socket listens"


def read_ini(path):
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    return [tuple(line.split("=", 1)) for line in lines]


def test_ini_file_is_written_back_complete(lone_host, start_daemon, tmp_path):
    (tmp_path / "server0").mkdir()
    (tmp_path / "server0" / "pelorama.ini").write_text(
        "# a comment\nFriendlyName = Kitchen # not part of it\nscantime=7\nmusicnode2=\nunknownkey=1\nv=1\n")
    server = start_daemon(lone_host, tmp_path, settings={"scantime": 3})
    server.wait_until_up()
    written = read_ini(server.ini)
    assert [key for key, _ in written] == INI_KEYS and len(INI_KEYS) == 70
    values = dict(written)
    assert (values["friendlyname"], values["scantime"], values["musicnode2"]) == ("Kitchen ", "3", "")
    assert (values["musicnode1"], values["httpport"]) == ("Artists,%ARTIST", "0")
    assert server.ini.read_text().startswith(
        "# Pelorama ini file\n# change settings by commandline or by editing this file\n")

    # What was written is what a second start reads.
    server.stop()
    again = daemon_module.Daemon(lone_host, tmp_path / "server0").start()
    try:
        again.wait_until_up()
        assert read_ini(again.ini) == [(key, value) for key, value in written]
        again.stop()
    finally:
        again.kill()


def test_usage_names_the_parameters(tmp_path):
    for words in (["-help"], ["-friendlyname", "x", "-?"], ["-inifile"]):
        done = subprocess.run([daemon_module.EXECUTABLE, *words],
                              cwd=tmp_path,
                              capture_output=True,
                              text=True,
                              timeout=30)
        assert done.returncode == 0
        assert "\nusage: " in done.stdout and "-httpport [n] \n\t set port for http server" in done.stdout


LOG_LINE = re.compile(r"\d\d:\d\d:\d\d:\d{3} (\[Problem\]|\[ERROR\])?"
                      r"(SYSTEM|SSDP|DB|HTTP|CLIENT-DB|EVENTING|EXIF|HTTP-PROXY|XML PARSER):")


def test_log_says_what_it_is_asked_to_say(lone_host, start_daemon, tmp_path):
    music.write(tmp_path / "music" / "a.mp3", music.mp3(title="A"))
    server = start_daemon(lone_host, tmp_path / "music", verbosity=0)
    server.wait_until_up()
    client = server.client()
    wait_until(lambda: client.search('dc:title = "A"').total, "the track is listed")
    client.get(client.tracks()[0].path)
    server.stop()
    # The banner and the farewell are no log lines; nothing is said about ordinary work.
    assert server.log().splitlines() == ["Pelorama MediaServer Version 2.71", "terminating....signal=15"]

    talkative = start_daemon(lone_host, tmp_path / "music", verbosity=4 + 1)
    talkative.wait_for_scan()
    talkative.stop()
    stamped = [line for line in talkative.log().splitlines() if re.match(r"\d\d:", line)]
    categories = {LOG_LINE.match(line)[2] for line in stamped}
    assert categories == {"SYSTEM", "DB"}
    assert any(re.fullmatch(r"\d\d:\d\d:\d\d:\d{3} DB:DB scan on .*/music completed", line) for line in stamped)


def test_unknown_word_is_a_problem_line(lone_host, start_daemon, tmp_path):
    server = daemon_module.Daemon(lone_host, tmp_path / "server0", verbosity=0)
    server.arguments.append("surplus")
    server.start()
    try:
        server.wait_until_up()
        assert re.search(
            r'^\d\d:\d\d:\d\d:\d{3} \[Problem\]SYSTEM:unknown command line parameter "surplus", skipped\.$',
            server.log(), re.M)
        server.stop()
    finally:
        server.kill()


def test_daemon_mode_leaves_a_pid_file(lone_host, tmp_path):
    pid_file = pathlib.Path("/var/run/mediaserver.pid")
    if pid_file.exists():
        pytest.skip(f"{pid_file} exists: another server's")
    try:
        pid_file.touch()
    except OSError as error:
        pytest.skip(f"{pid_file} cannot be written: {error}")
    server = daemon_module.Daemon(lone_host, tmp_path / "server0", verbosity=0)
    server.arguments.append("-D")
    try:
        server.start()
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
