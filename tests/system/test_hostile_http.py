"""Requests that no well-meaning client sends, and their answers. After each group the server is as it was."""

import contextlib
import re
import socket
import struct
import time

import pytest

import daemon
import music
import wire
from daemon import wait_until
from music import CORPUS, spoilt
from servers import Origin

HEADER_DEADLINE = 60  # seconds a header may take once it has begun
GET = b"GET /DeviceDescription.xml HTTP/1.1\r\n"
POST = b"POST /ContentDirectory/Control HTTP/1.1\r\n"
NEXT = b"GET /rpc?next HTTP/1.1\r\n\r\n"  # which answers 404


def reset(connection):
    """Closes with a reset instead of a good-bye."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def survives_and_lets_go(server, action):
    baseline = server.threads(), server.descriptors()
    server.survives(action)
    wait_until(lambda: server.threads() <= baseline[0] and server.descriptors() <= baseline[1],
               "threads and descriptors are back")


@pytest.fixture(scope="module", autouse=True)
def dawdlers(server, receiver):
    """Connections that begin a header, or announce a body, and leave it there. Opened first, looked at last."""
    begun = time.monotonic()
    with contextlib.ExitStack() as stack:
        connections = [stack.enter_context(receiver.connect(HEADER_DEADLINE + 20)) for _ in range(3)]
        connections[0].sendall(b"G")
        connections[1].sendall(GET + b"Host: x\r\n")
        connections[2].sendall(POST + b"Content-Length: 100\r\n\r\n<")
        yield begun, connections


# ---- one connection

ANSWERED = [  # what begins the answer, and how many answers there are when another request follows
    # The first row whose methods and prefix fit; an unknown method fits every row. A refusal ends the connection.
    (GET + b"\r\n", b"HTTP/1.1 200 ", 2), (GET.replace(b".xml", b".xmlX") + b"\r\n", b"HTTP/1.1 200 ", 2),
    (GET.replace(b"GET", b"FOO") + b"\r\n", b"HTTP/1.1 200 ", 2),
    (b"FOO /disk/1 HTTP/1.1\r\n\r\n", b"HTTP/1.1 412 ", 2), (b"SUBSCRIBE /any HTTP/1.1\r\n\r\n", b"HTTP/1.1 412 ", 2),
    *((line + b" HTTP/1.1\r\n\r\n", b"HTTP/1.1 500 ", 1) for line in (
        b"POST /DeviceDescription.xml", b"NOTIFY /x", b"GET /disc", b"HEAD /rpc?playing")),
    # What follows a request that was cut, or has a body that nobody reads, is never run.
    (GET.replace(b"1.1", b"1.0") + b"\r\n", b"HTTP/1.0 200 ", 1), (GET + b"X: a\0b\r\n\r\n", b"HTTP/1.1 200 ", 1),
    (GET + b"Content-Length: 24\r\n\r\n", b"HTTP/1.1 200 ", 1), (b"\r\n\r\n", b"HTTP/1.0 412 ", 1),
    (POST + b"Content-Length: 9\r\n" + b"x" * 1004 + b"\r\n\r\nsome body", b"HTTP/1.1 500 ", 1),
]


def test_which_requests_are_answered(receiver):
    for request, expected, count in ANSWERED:
        received = receiver.exchange(request + NEXT)
        assert received.startswith(expected) and received.count(b"HTTP/1.") == count, request
        ends = b"keep-alive" not in received or b" 500 " in expected
        assert ends == (count == 1), request


@pytest.mark.parametrize("length", [1023, 65536])
def test_a_header_without_an_end_is_answered_and_its_tail_never_run(server, receiver, length):
    seen = len(server.log())
    head = GET + b"X: "
    received = receiver.exchange(head + b"a" * (length - len(head)) + b"GET /rpc?tail HTTP/1.1\r\n\r\n")
    assert received.startswith(b"HTTP/1.1 200 OK\r\n") and received.count(b"HTTP/1.1 ") == 1
    assert b"Connection: close\r\n" in received
    server.wait_for_log(r"\[ERROR\]HTTP:header buffer to small!", after=seen)
    receiver.get("/rpc?tail")
    assert server.log().count("HTTP:GET /rpc?tail ", seen) == 1, "every request is logged that is run"


ASKED = wire.envelope("Browse", "<Filter>{}</Filter><ObjectID>0</ObjectID><BrowseFlag>BrowseMetadata</BrowseFlag>"
                      "<StartingIndex>0</StartingIndex><RequestedCount>0</RequestedCount><SortCriteria/>").encode()
LARGEST = ASKED.replace(b"{}", b"x" * ((1 << 20) - len(ASKED) + 2))
BODIES = {
    "whole": (b"Content-Length: %d\r\n" % len(ASKED), ASKED, 200),
    "shorter_than_announced": (b"Content-Length: 5000\r\n", ASKED, 200),
    "chunked": (b"Transfer-Encoding: chunked\r\n", b"5\r\n%b\r\n%x\r\n%b\r\n0\r\n\r\n" % (
        ASKED[:5], len(ASKED) - 5, ASKED[5:]), 200),
    "largest": (b"Content-Length: 1048576\r\n", LARGEST, 200),
    "too_large": (b"Content-Length: 1048577\r\n", LARGEST + b"x", 500),
}


def test_bodies(receiver):
    action = POST + f"SOAPACTION: \"{wire.CONTENT_DIRECTORY}#Browse\"\r\n".encode()
    for name, (lines, body, status) in BODIES.items():
        received = receiver.exchange(action + lines + b"\r\n" + body)
        assert received.startswith(b"HTTP/1.1 %d " % status) and (b"<Result>" in received) == (status == 200), name
        assert (b"\r\nConnection: close\r\n" in received) == (status == 500), name
    with receiver.connect() as connection:
        connection.sendall(action + b"Expect: 100-continue\r\n" + BODIES["whole"][0] + b"\r\n")
        invitation = b"HTTP/1.1 100 Continue\r\nContent-Length: 0\r\n\r\n"
        assert connection.recv(len(invitation), socket.MSG_WAITALL) == invitation
        connection.sendall(ASKED)
        assert b"<Result>" in wire.read_answer(connection)[0].body


CHUNKS = POST + b"Transfer-Encoding: chunked\r\n\r\n"
LARGE = {CHUNKS + (b"10000\r\n" + b"a" * 65536 + b"\r\n") * 40,
         POST + b"Content-Length: 3000000\r\n\r\n" + b"a" * 3_000_000}
BROKEN = {
    b"GET /" + b"a" * 8000 + b" HTTP/1.1\r\n\r\n", b"   \r\n\r\n", b"\0\0\0\0\r\n\r\n", bytes(range(256)) + b"\r\n\r\n",
    GET.replace(b"\r\n", b"\n\n"), GET.lower() + b"\r\n", b"GET http://x/ HTTP/1.1\r\n\r\n",
    CHUNKS + b"1\r\na\r\n" * 10_000, CHUNKS + b"5\r\nhelloXX5\r\nhello\r\n0\r\n\r\n",
    *(POST + b"Content-Length: %b\r\n\r\nhello" % length for length in (b"-1", b"9223372036854775807", b"0x10")),
    *(CHUNKS + chunks for path in CORPUS.glob("fuzz_chunked_body/*") for chunks in spoilt(path.read_bytes())),
    *(request for path in CORPUS.glob("fuzz_request_header/[!s]*") for request in spoilt(path.read_bytes())),
}


def test_broken_requests(server, receiver):
    def send_all():
        for request in BROKEN | LARGE:
            received = receiver.exchange(request)
            # A reset may overtake the answer when the rest of the body is still on its way.
            expected = b"HTTP/1.1 500 " if request in LARGE else b"HTTP/1."
            assert received[:len(expected)] in (b"", expected), request[:80]
    server.survives(send_all)


def test_a_receiver_is_what_its_last_request_says(serve, lone_host):
    server = serve(host=lone_host, scan=False).wait_until_up()
    for agent, notice in (("Pelorama Remote CP", "added: 127.0.0.1 TV Remote Control Point"),
                          ("pelorama home-to-home gateway", ""),  # another case: nothing learned
                          ("Allegro-Software-WebClient/4.30 Allegro-Software-WebClient/4.32",
                           "changed: 127.0.0.1 Philips Streamium"),
                          ("Allegro-Software-WebClient/4.32", "changed: 127.0.0.1 Roku Soundbridge"),
                          ("Pelorama Home-To-Home Gateway", "changed: 127.0.0.1 Generic Media Receiver")):
        seen = len(server.log())
        server.client().get("/DeviceDescription.xml", f"User-Agent: {agent}")
        assert "".join(line.partition("CLIENT-DB:")[2] for line in server.log()[seen:].splitlines()) == notice, agent


def answers_without_end(connection, _):
    connection.sendall(b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n")
    while True:
        connection.sendall(b"<description>" * 1000)


CLAIMED_RECEIVERS = [lambda connection, _: connection.recv(1), answers_without_end,
                     lambda connection, _: [connection.sendall(b"X: y\r\n" * 1000) for _ in iter(int, 1)]]


def test_claimed_receivers_delay_nobody(server, network):
    """Requests that claim to come from a receiver whose own description is asked for, from addresses that answer port
    80 in no useful way."""
    client = server.client()
    with contextlib.ExitStack() as stack:
        for number, answer in enumerate(CLAIMED_RECEIVERS):
            client.source = f"10.77.1.{60 + number}"
            network.receiver.ip(f"address add {client.source}/24 dev {network.receiver.interface}")
            stack.callback(network.receiver.ip, f"address del {client.source}/24 dev {network.receiver.interface}")
            claimed = stack.enter_context(Origin(network.receiver, answer, port=80, address=client.source))

            def ask():
                begun = time.monotonic()
                request = GET + b"User-Agent: Mozilla/4.0 (compatible)\r\n\r\n"
                assert client.send(request, timeout=60).status == 200
                # Without a limit it would be ten seconds of silence, or never.
                assert time.monotonic() - begun < 5 + 4 * daemon.SLOWNESS
            server.survives(ask)
            assert len(claimed.requests) == 1, "an address is asked once"


# ---- many connections

def test_bodies_that_end_early_resets_and_readers_that_stop(serve, tmp_path):
    with open(music.write(tmp_path / "films" / "film.mpg", b""), "r+b") as film:
        film.truncate(1 << 31)
    server = serve(tmp_path / "films")
    client = server.client()
    request = f"GET {client.child('0', 'Videos', 'All Videos', 'film').path} HTTP/1.1\r\n\r\n".encode()

    def send_all():
        held = [client.connect() for _ in range(70)]
        for connection in held[:50]:
            connection.sendall(POST + b"Content-Length: 1000000\r\n\r\nhello")
        for connection in held[50:]:
            connection.sendall(request)
        for connection in held[50::2]:
            assert connection.recv(1000).startswith(b"HTTP/1.1 200 OK")
        for end, connections in ((reset, held[::2]), (socket.socket.close, held[1::2])):
            for connection in connections:
                end(connection)
    survives_and_lets_go(server, send_all)


def test_hundreds_of_connections(server, receiver):
    threads = server.threads()

    def send_all():
        connections = [receiver.connect() for _ in range(600)]
        for connection in connections[:300]:
            connection.sendall(b"G")
        for connection in connections[300:]:
            connection.sendall(GET.replace(b"GET", b"HEAD") + b"\r\n")
        for connection in connections[300:]:
            assert wire.read_answer(connection, "HEAD")[0].header("Connection") == "keep-alive"
        assert server.threads() <= threads + 610
        for connection in connections:
            connection.close()
    survives_and_lets_go(server, send_all)


def test_more_connections_than_descriptors(serve, library):
    server = serve(library.directory, wrapper=("prlimit", "--nofile=64:64"))
    # The undefined-behaviour sanitizer needs descriptors of its own when it meets a type for the first time, and takes
    # their lack for a fault; the event that follows a scan brings one.
    server.wait_for_log("</e:propertyset>")
    client = server.client()

    def cpu_ticks():
        return sum(map(int, open(f"/proc/{server.process.pid}/stat").read().rpartition(")")[2].split()[11:13]))
    # The backlog holds what accept() cannot take; beyond it connecting itself waits.
    connections = [client.connect() for _ in range(150)]
    before = cpu_ticks()
    with pytest.raises(TimeoutError):
        client.send(GET + b"\r\n", timeout=2)
    assert cpu_ticks() - before < 50, "accepting spins"
    for connection in connections:
        connection.close()
    wait_until(server.answers, "connections are taken again")


# ---- URLs

NOT_FOUND = [
    "/disk/../../etc/passwd", "/disk/%2e%2e%2f%2e%2e%2fetc/passwd", "/file%3A///etc/passwd", "/file%3A../../secret",
    *(f"/NetgearUpgrade{rest}" for rest in ("/..", "/.", "/", "", "/..%2fsecret", "/../secret", "/folder")),
    *(f"/{kind}/{name}" for kind in ("disk", "m3u") for name in ("-1", "99999999999999999999", "4294967297", "", "x")),
    "/disk/0", *(f"/continue/{name}_5.mp3" for name in ("0", "", "-1", "999999"))]


def test_urls_that_name_nothing(server, receiver):
    container = receiver.child("0", "Music").id
    played = receiver.get("/rpc?playing").body

    for url in [*NOT_FOUND, f"/disk/{container}.mp3", f"/continue/{container}_0.mp3", "/NetgearUpgrade/f.bin"]:
        assert receiver.get(url).status == 404, url
    assert receiver.get("/rpc?playing").body == played


@pytest.mark.parametrize("slash", ["", "/"])
def test_upgrade_files_are_those_directly_in_their_folder(serve, tmp_path, slash):
    for name in ("secret", "upgrade/firmware.bin", "upgrade/folder/other", "music/a.mp3"):
        music.write(tmp_path / name, b"secret" if name == "secret" else b"firmware")
    client = serve(tmp_path / "music", port=3640, httpport=None, netgearupgrade=f"{tmp_path}/upgrade{slash}").client()
    for folder in "/NetgearUpgrade", "/NetgearUpgrade/x/..", "/file%3AC/Programs":
        answer = client.get(f"{folder}/firmware.bin")
        assert (answer.body, answer.header("Content-Type")) == (b"firmware", "application/octet-stream")
    for url in NOT_FOUND:
        answer = client.get(url)
        assert answer.status == 404 and b"secret" not in answer.body.replace(url.encode(), b""), url


def test_rescan_asked_for_again_and_again(server, receiver, library):
    def send_all():
        seen = len(server.log())
        for index in range(300):
            page = receiver.get(f"/rescan{library.directory if index % 2 else '/' + 'a' * 200}").text
            assert re.search("rescan initiated|allready running|invalid", page)
        server.rescan()
        text = server.log()[seen:]
        steps = [line for line in text[text.index("DB scanning"):].splitlines()
                 if "DB scanning" in line or "DB scan on" in line]
        # Each pass ends before the next one begins.
        assert all(("DB scanning" in line) == (index % 2 == 0) for index, line in enumerate(steps)), steps
    server.survives(send_all)


def test_a_page_leads_to_the_configuration_site(server):
    site = f"http://{server.address}:{server.port}/configpage/index.htm\">"
    assert (server.directory / "pelorama-config.html").read_text() == (
        f"<html><head><META http-equiv=\"refresh\" content=\"0; URL={site}\n</head><body><a href=\"{site}"
        "Pelorama MediaServer configuration</a></body></html>\n")


def test_dawdling_headers_and_bodies_are_cut_off(dawdlers, server):
    begun, connections = dawdlers
    for connection in connections:
        with contextlib.suppress(ConnectionResetError):
            while piece := connection.recv(4096):
                assert piece.startswith(b"HTTP/1.1 ")
    assert time.monotonic() - begun < HEADER_DEADLINE + 20
    server.check_sanitizers()
