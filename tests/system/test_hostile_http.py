"""Requests that no well-meaning client sends. After each group the server is as it was."""

import socket
import struct
import time

import pytest

import daemon
import music
import wire
from daemon import wait_until
from origin import Origin

HEADER_DEADLINE = 60  # seconds a header may take once it has begun


def exchange(client, request, timeout=30):
    """Sends bytes and the end of the sending side; everything that comes back until the server closes."""
    with client.connect(timeout) as connection:
        try:
            connection.sendall(request)
            connection.shutdown(socket.SHUT_WR)
        except (ConnectionResetError, BrokenPipeError):
            pass  # the server has seen enough; what it said is still read
        received = b""
        try:
            while piece := connection.recv(1 << 16):
                received += piece
        except ConnectionResetError:
            pass
        return received


def is_answer_or_close(received):
    return received == b"" or received.startswith((b"HTTP/1.1 ", b"HTTP/1.0 "))


def reset(connection):
    """Closes with a reset instead of a good-bye."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


@pytest.fixture(scope="module")
def dawdlers(server, receiver):
    """Connections that begin a header, or announce a body, and leave it there. Opened first, looked at last."""
    begun = time.monotonic()
    connections = []
    for beginning in (b"G", b"GET /DeviceDescription.xml HTTP/1.1\r\nHost: x\r\n",
                      b"POST /ContentDirectory/Control HTTP/1.1\r\nContent-Length: 100\r\n\r\n<"):
        connection = receiver.connect()
        connection.sendall(beginning)
        connections.append(connection)
    yield begun, connections
    for connection in connections:
        connection.close()


@pytest.fixture(autouse=True)
def opened_first(dawdlers):
    return dawdlers


REQUEST_LINES = {
    "empty": b"\r\n\r\n",
    "method_only": b"GET\r\n\r\n",
    "no_second_blank": b"GET /DeviceDescription.xml\r\n\r\n",
    "blanks": b"   \r\n\r\n",
    "url_255": b"GET /" + b"a" * 254 + b" HTTP/1.1\r\n\r\n",
    "url_256": b"GET /" + b"a" * 255 + b" HTTP/1.1\r\n\r\n",
    "url_8000": b"GET /" + b"a" * 7999 + b" HTTP/1.1\r\n\r\n",
    "nul": b"GET /\0DeviceDescription.xml HTTP/1.1\r\n\r\n",
    "nul_first": b"\0\0\0\0\r\n\r\n",
    "line_feeds": b"GET /DeviceDescription.xml HTTP/1.1\n\n",
    "lower_case": b"get /DeviceDescription.xml HTTP/1.1\r\n\r\n",
    "unknown": b"FOO /disk/1 HTTP/1.1\r\n\r\n",
    "longer_method": b"GETX / HTTP/1.1\r\n\r\n",
    "binary": bytes(range(256)) + b"\r\n\r\n",
    "notify": b"NOTIFY / HTTP/1.1\r\n\r\n",
    "absolute": b"GET http://x/ HTTP/1.1\r\n\r\n",
}


def test_broken_request_lines(server, receiver):
    def send_all():
        for name, request in REQUEST_LINES.items():
            assert is_answer_or_close(exchange(receiver, request)), name
    server.survives(send_all)


@pytest.mark.parametrize("length", [1023, 1024, 1025, 65536])
def test_a_header_without_an_end_is_answered_and_its_tail_never_run(server, receiver, length):
    seen = len(server.log())
    head = b"GET /DeviceDescription.xml HTTP/1.1\r\nX: "
    received = exchange(receiver, head + b"a" * (length - len(head)) + b"GET /rpc?tail HTTP/1.1\r\n\r\n")
    assert received.startswith(b"HTTP/1.1 200 OK\r\n") and received.count(b"HTTP/1.1 ") == 1
    assert b"Connection: close\r\n" in received
    server.wait_for_log(r"\[ERROR\]HTTP:header buffer to small!", after=seen)
    receiver.get("/rpc?tail")
    assert server.log().count("HTTP:GET /rpc?tail ", seen) == 1, "every request is logged that is run"


LENGTHS = [
    "-1", "2147483648", "99999999999999999999", "9223372036854775807", "abc", "", "0x10", "1\r\nContent-Length: 2",
    "5\r\nTransfer-Encoding: chunked", "1048577"
]
CHUNKS = [
    b"-1\r\n", b"ffffffff\r\n", b"fffffffffffffff0\r\n", b"7fffffffffffffff\r\n",
    b"0" * 21 + b"5\r\nhello\r\n0\r\n\r\n", b"5", b"5\r\nhelloXX5\r\nhello\r\n0\r\n\r\n", b"5\r\nhello\r\n",
    b"5\r\nhello\r\n5\r\nhello\r\n", b"\r\n\r\n", b"g\r\n"
]


def test_body_lengths_that_lie(server, receiver):
    post = b"POST /ContentDirectory/Control HTTP/1.1\r\nSOAPACTION: \"x\"\r\n"

    def send_all():
        for length in LENGTHS:
            request = post + b"Content-Length: " + length.encode() + b"\r\n\r\nhello"
            assert is_answer_or_close(exchange(receiver, request)), length
        for chunks in CHUNKS:
            request = post + b"Transfer-Encoding: chunked\r\n\r\n" + chunks
            assert is_answer_or_close(exchange(receiver, request)), chunks
    server.survives(send_all)


def test_bodies_beyond_the_limit_are_refused(server, receiver):
    post = b"POST /ContentDirectory/Control HTTP/1.1\r\nSOAPACTION: \"x\"\r\n"

    def send_all():
        announced = exchange(receiver, post + b"Content-Length: 3000000\r\n\r\n" + b"a" * 3_000_000)
        chunked = exchange(receiver,
                           post + b"Transfer-Encoding: chunked\r\n\r\n" + (b"10000\r\n" + b"a" * 65536 + b"\r\n") * 40)
        for received in (announced, chunked):
            # A reset may overtake the answer when the rest of the body is still on its way.
            assert received == b"" or received.startswith(b"HTTP/1.1 500 ")
        endless = exchange(receiver, post + b"Transfer-Encoding: chunked\r\n\r\n" + b"1\r\na\r\n" * 10_000)
        assert is_answer_or_close(endless)
    server.survives(send_all)


def test_bodies_that_end_early(server, receiver):
    def send_all():
        held = []
        for _ in range(50):
            connection = receiver.connect()
            connection.sendall(b"POST /ContentDirectory/Control HTTP/1.1\r\nContent-Length: 1000000\r\n\r\nhello")
            held.append(connection)
        for connection in held[::2]:
            connection.close()
        for connection in held[1::2]:
            reset(connection)
    baseline = server.threads()
    server.survives(send_all)
    wait_until(lambda: server.threads() <= baseline, "the connections' threads end")


def test_action_headers(server, receiver):
    def post(*headers):
        return receiver.request("POST", "/ContentDirectory/Control", headers).body

    def send_all():
        assert b"<errorCode>401<" in post()
        assert b"<errorCode>401<" in post("SOAPACTION:")
        assert b"<errorCode>401<" in post('SOAPACTION: ""')
        assert b"<errorCode>402<" in post(f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#Browse"')
        assert b"<SortCaps>" in post(f'SoapAction: "{wire.CONTENT_DIRECTORY}#GetSortCapabilities"')
        assert b"<Id>" in post(f'soapaction: "{wire.CONTENT_DIRECTORY}#GetSystemUpdateID"')
    server.survives(send_all)


def test_resets_and_readers_that_stop(network, start_daemon, tmp_path):
    with open(music.write(tmp_path / "films" / "film.mpg", b""), "r+b") as film:
        film.truncate(1 << 31)
    server = start_daemon(network.server, tmp_path / "films", port=9011, settings={"httpport": 9011})
    server.wait_until_up()
    server.wait_for_scan()
    client = server.client(network.receiver)
    request = f"GET {client.child('0', 'Videos', 'All Videos', 'film').path} HTTP/1.1\r\n\r\n".encode()
    baseline = server.threads()

    def send_all():
        paused = [client.connect() for _ in range(10)]
        for connection in paused:
            connection.sendall(request)
        for _ in range(20):
            connection = client.connect()
            connection.sendall(request)
            assert connection.recv(1000).startswith(b"HTTP/1.1 200 OK")
            reset(connection)
        for connection in paused:
            connection.close()
    server.survives(send_all)
    wait_until(lambda: server.threads() <= baseline, "the transfers' threads end with their peers")


def test_hundreds_of_connections(server, receiver):
    baseline = server.threads(), server.descriptors()

    def send_all():
        connections = [receiver.connect() for _ in range(600)]
        for connection in connections[:300]:
            connection.sendall(b"G")
        for connection in connections[300:]:
            connection.sendall(b"HEAD /DeviceDescription.xml HTTP/1.1\r\n\r\n")
        for connection in connections[300:]:
            assert wire.read_answer(connection, "HEAD")[0].header("Connection") == "keep-alive"
        assert server.threads() <= baseline[0] + 610
        for connection in connections:
            connection.close()
    server.survives(send_all)
    wait_until(lambda: server.threads() <= baseline[0] and server.descriptors() <= baseline[1],
               "threads and descriptors are back")


def test_more_connections_than_descriptors(network, start_daemon, library):
    server = start_daemon(network.server, library.directory, port=9012, settings={"httpport": 9012},
                          wrapper=("prlimit", "--nofile=64:64"))
    server.wait_until_up()
    server.wait_for_scan()
    # The undefined-behaviour sanitizer needs descriptors of its own when it meets a type for the first time, and takes
    # their lack for a fault; the event that follows a scan brings one.
    server.wait_for_log("</e:propertyset>")
    client = server.client(network.receiver)

    def cpu_ticks():
        fields = open(f"/proc/{server.process.pid}/stat").read().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])
    # The backlog holds what accept() cannot take; beyond it connecting itself waits.
    connections = [client.connect() for _ in range(150)]
    before = cpu_ticks()
    with pytest.raises(TimeoutError):
        client.send(b"GET /DeviceDescription.xml HTTP/1.1\r\n\r\n", timeout=2)
    assert cpu_ticks() - before < 50, "accepting spins"
    for connection in connections:
        connection.close()
    wait_until(server.answers, "connections are taken again")


# URLs

NOT_FOUND = ["/disk/../../etc/passwd", "/disk/%2e%2e%2f%2e%2e%2fetc/passwd", "/NetgearUpgrade/..", "/NetgearUpgrade/.",
             "/NetgearUpgrade/", "/NetgearUpgrade", "/NetgearUpgrade/..%2fsecret", "/NetgearUpgrade/../secret",
             "/NetgearUpgrade/folder", "/file%3A///etc/passwd", "/file%3A../../secret",
             "/NetgearUpgrade/\\..\\secret"] + \
    [f"/{kind}/{name}" for kind in ("disk", "m3u") for name in
     ("-1", "99999999999999999999", "4294967297", "", "x", "%30", "-0.mp3")] + \
    ["/disk/0", "/disk/0.mp3", "/continue/0_5.mp3", "/continue/_5.mp3", "/continue/-1_5.mp3", "/continue/999999_5.mp3"]


def test_urls_that_name_nothing(server, receiver):
    container = receiver.child("0", "Music").id
    played = receiver.get("/rpc?playing").body

    def send_all():
        for url in [*NOT_FOUND, f"/disk/{container}.mp3", f"/continue/{container}_0.mp3"]:
            assert receiver.get(url).status == 404, url
        assert receiver.get("/rpc?playing").body == played
    server.survives(send_all)


def test_upgrade_files_are_those_directly_in_their_folder(network, start_daemon, tmp_path):
    music.write(tmp_path / "secret", b"secret")
    music.write(tmp_path / "upgrade" / "firmware.bin", b"firmware")
    (tmp_path / "upgrade" / "folder").mkdir()
    (tmp_path / "music").mkdir()
    server = start_daemon(network.server,
                          tmp_path / "music",
                          port=3640,
                          settings={"netgearupgrade": tmp_path / "upgrade"})
    server.wait_until_up()
    client = server.client(network.receiver)

    def send_all():
        answer = client.get("/NetgearUpgrade/firmware.bin")
        assert (answer.status, answer.body) == (200, b"firmware")
        for url in NOT_FOUND:
            answer = client.get(url)
            assert answer.status == 404 and b"secret" not in answer.body.replace(url.encode(), b""), url
    server.survives(send_all)


def test_continue_with_odd_offsets(server, receiver):
    track = receiver.tracks()[0]
    padding = "X-Padding: " + "a" * 700

    def send_all():
        for offset in ("", "0", "-5", "abc", "9" * 400, "99999999999999999999", "%0d%0a", "_", "5_5"):
            url = f"/continue/{track.id}_{offset}.mp3"
            received = exchange(receiver,
                                f"GET {url[:250]} HTTP/1.1\r\nConnection: close\r\n{padding}\r\n\r\n".encode())
            assert received.startswith((b"HTTP/1.1 206 ", b"HTTP/1.1 404 ")), offset
        assert receiver.get(f"/continue/{track.id}.mp3").status in (206, 404)
    server.survives(send_all)


RANGES = [
    "{size}-", "{past}-", "-500", "5-1", "0-{size}", "abc", "0-0,5-9", "9223372036854775807-", "9223372036854775808-",
    "18446744073709551616-", "1-2-3", "0-9223372036854775807", "0-99999999999999999999", "=5-9", "", "-", "--1", "5",
    "-0"
]
TIME_SEEKS = [
    "npt=999999999:00:00-", "npt=-5-", "npt=", "npt=-", ":" * 400, "npt=" + "9" * 300 + "-", "npt=1:2:3:4:5:6-",
    "npt=0-0", "npt=9223372036854775807-9223372036854775807", "npt=.5-.9"
]


def checked_answer(client, request):
    """What any range has to keep: a length that is not negative, and never more body than it says."""
    received = exchange(client, request)
    head, _, body = received.partition(b"\r\n\r\n")
    assert head.startswith(b"HTTP/1.1 "), received[:100]
    headers = dict(line.split(b":", 1) for line in head.split(b"\r\n")[1:])
    length = int(headers.get(b"Content-Length", b"0"))
    assert length >= 0 and len(body) <= length, request
    return body


def test_ranges_and_time_seeks_that_cannot_be(server, receiver, library):
    track = next(entry for entry in receiver.tracks() if entry.title == "Abba F1")
    size = int(track.resource.get("size"))

    def send_all():
        for text in RANGES:
            header = f"Range: bytes={text.format(size=size, past=size + 1000)}"
            checked_answer(receiver, f"GET {track.path} HTTP/1.1\r\nConnection: close\r\n{header}\r\n\r\n".encode())
        for text in TIME_SEEKS:
            for name in ("TimeSeekRange.dlna.org", "X-Seek-Range"):
                checked_answer(receiver,
                               f"GET {track.path} HTTP/1.1\r\nConnection: close\r\n{name}: {text}\r\n\r\n".encode())
    server.survives(send_all)


def test_a_range_that_cannot_be_met_closes_the_connection(server, receiver, library):
    """A last byte equal to the size is promised as it stands, so one byte is missing at the end."""
    track = next(entry for entry in receiver.tracks() if entry.title == "Abba F1")
    size = int(track.resource.get("size"))
    with receiver.connect() as connection:
        connection.sendall(f"GET {track.path} HTTP/1.1\r\nRange: bytes=0-{size}\r\n\r\n".encode())
        with pytest.raises(wire.Closed) as closed:
            wire.read_answer(connection)
    head, _, body = closed.value.received.partition(b"\r\n\r\n")
    assert f"Content-Length: {size + 1}\r\n".encode() in head and len(body) == size


def test_markup_and_line_ends_in_urls(server, receiver):
    def send_all():
        for url in ("/<script>alert(1)</script>", "/rpc?<b>", "/disk/<img>", "/rescan/<script>x</script>",
                    "/disk/%0d%0aX-Injected:%201", "/rescan/%0d%0aX-Injected:%201",
                    "/NetgearUpgrade/%0d%0aX-Injected:%201"):
            for method in ("GET", "HEAD"):
                received = exchange(receiver, f"{method} {url} HTTP/1.1\r\nConnection: close\r\n\r\n".encode())
                head, _, body = received.partition(b"\r\n\r\n")
                assert b"\nX-Injected" not in head, url
                for mark in (b"<script>", b"<b>", b"<img>"):
                    assert mark not in body, url
    server.survives(send_all)


def test_rescan_asked_for_again_and_again(server, receiver, library):
    def send_all():
        seen = len(server.log())
        directory = f"{library.directory}/" + "a" * 200
        answers = [receiver.get(f"/rescan{directory if index % 2 else ''}"[:255]).body for index in range(300)]
        assert all(b"rescan initiated" in body or b"allready running" in body or b"invalid" in body for body in answers)
        exchange(receiver, b"GET /rescan/" + b"a" * 5000 + b" HTTP/1.1\r\n\r\n")
        server.rescan()
        text = server.log()[seen:]
        steps = [
            line for line in text[text.index("DB scanning"):].splitlines()
            if "DB scanning" in line or "DB scan on" in line
        ]
        # Each pass ends before the next one begins.
        assert all(("DB scanning" in line) == (index % 2 == 0) for index, line in enumerate(steps)), steps
    server.survives(send_all)


def test_dawdling_headers_and_bodies_are_cut_off(dawdlers, server, receiver):
    begun, connections = dawdlers
    for connection in connections:
        connection.settimeout(HEADER_DEADLINE + 20)
        received = b""
        try:
            while piece := connection.recv(4096):
                received += piece
        except ConnectionResetError:
            pass
        assert is_answer_or_close(received)
    assert time.monotonic() - begun < HEADER_DEADLINE + 20
    server.check_sanitizers()


def answers_without_end(connection, _):
    connection.sendall(b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n")
    while True:
        connection.sendall(b"<description>" * 1000)


CLAIMED_RECEIVERS = {
    "mute": lambda connection, _: connection.recv(1),
    "endless_header": lambda connection, _: [connection.sendall(b"X: y\r\n" * 1000) for _ in iter(int, 1)],
    "endless_body": answers_without_end,
}


@pytest.mark.parametrize("name", CLAIMED_RECEIVERS)
def test_claimed_receivers_delay_nobody(server, network, name):
    """A request that claims to come from a receiver whose own description is asked for, from an address that answers port
    80 in no useful way."""
    address = f"10.77.1.{60 + list(CLAIMED_RECEIVERS).index(name)}"
    network.receiver.ip(f"address add {address}/24 dev {network.receiver.interface}")
    try:
        with Origin(network.receiver, CLAIMED_RECEIVERS[name], 80, address) as claimed:
            def ask():
                with network.receiver.entered():
                    connection = socket.socket()
                with connection:
                    connection.bind((address, 0))
                    connection.settimeout(60)
                    connection.connect((server.address, server.port))
                    begun = time.monotonic()
                    connection.sendall(b"GET /DeviceDescription.xml HTTP/1.1\r\n"
                                       b"User-Agent: Mozilla/4.0 (compatible)\r\n\r\n")
                    assert wire.read_answer(connection)[0].status == 200
                    # Without a limit it would be ten seconds of silence, or never.
                    assert time.monotonic() - begun < 5 + 4 * daemon.SLOWNESS
            server.survives(ask)
            assert len(claimed.requests) == 1, "an address is asked once"
    finally:
        network.receiver.ip(f"address del {address}/24 dev {network.receiver.interface}")
