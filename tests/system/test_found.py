"""The server is found: announcements, search answers, the good-bye, and a tool that nobody here wrote."""

import contextlib
import re
import shutil
import signal

import pytest

import netns
import wire
from daemon import wait_until


def device_id(client):
    return re.search(r"<UDN>(.*?)</UDN>", client.get("/DeviceDescription.xml").text)[1]


def targets(udn):
    """(target, USN) in the order of announcements and answers."""
    types = ("upnp:rootdevice", wire.MEDIA_SERVER, wire.CONTENT_DIRECTORY, wire.CONNECTION_MANAGER)
    return [(udn, udn)] + [(name, f"{udn}::{name}") for name in types]


UNANSWERED = [
    wire.msearch(wire.MEDIA_SERVER.lower()),  # letter case counts
    wire.msearch("urn:schemas-upnp-org:device:MediaRenderer:1"), wire.msearch(wire.CONTENT_DIRECTORY[:-1] + "2"),
    wire.msearch("ssdp:al"), wire.msearch("upnp:rootdevice").replace(b"MAN:", b"WAN:"),
    wire.msearch("upnp:rootdevice").replace(b"HTTP/1.1", b"http/1.1"),
]


def test_searches_are_answered_in_three_rounds(receiver, network):
    link = network.server.run("ip", "link", "show", network.server.interface).stdout
    mac = re.search(r"link/ether (\S+)", link)[1].replace(":", "-")
    assert re.fullmatch(f"uuid:896659847466-{mac}-[0-9]+", device_id(receiver))
    expected = targets(device_id(receiver))
    with wire.Searcher(network.receiver) as searcher:
        for packet in UNANSWERED:
            searcher.send(packet)
        answers = searcher.search("ssdp:all", 15)
        # What is answered later than the next search would show up among its answers.
        for target, _ in expected:
            answers += searcher.search(target, 3)
    assert [(headers["ST"], headers["USN"]) for _, headers, _ in answers] == \
        expected * 3 + [one for one in expected for _ in range(3)]
    for start, headers, sender in answers:
        assert start == "HTTP/1.1 200 OK"
        assert sender[0] == "10.77.1.1" and 9080 <= sender[1] <= 9180
        assert headers["LOCATION"] == "http://10.77.1.1:9000/DeviceDescription.xml"
        assert headers["SERVER"] == "Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0"
        assert re.fullmatch(r"\w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d GMT", headers["DATE"])


def test_two_servers_on_one_host_are_both_found(server, serve, network, tmp_path):
    second = serve(tmp_path, port=3640, netgearupgrade=tmp_path)  # who offers firmware has that port
    with wire.Searcher(network.receiver) as searcher:
        answers = searcher.search(wire.MEDIA_SERVER, 6)
    assert {(headers["LOCATION"], sender[1]) for _, headers, sender in answers} == {
        ("http://10.77.1.1:9000/DeviceDescription.xml", 9080), ("http://10.77.1.1:3640/DeviceDescription.xml", 9081)
    }
    assert (b"<UPC></UPC><D5UpgradeURI>NetgearUpgrade</D5UpgradeURI><D5UpgradeURI2>http://10.77.1.1:3640/NetgearUpgrade"
            b"</D5UpgradeURI2><presentationURL>") in second.client().get("/DeviceDescription.xml").body


def test_start_says_byebye_before_alive_and_the_end_says_byebye(hosts, serve, tmp_path):
    server_host, receiver_host = hosts(2)
    netns.join(server_host, "10.77.2.1", "media0", receiver_host, "10.77.2.2", "recv0")
    with wire.Listener(receiver_host) as listener:
        server = serve(tmp_path, host=server_host, scan=False)
        packets = listener.receive(5 + 15)
        expected = targets(device_id(server.wait_until_up().client()))
        server.signal(signal.SIGTERM)
        farewell = listener.notifications("ssdp:byebye", 5)
    assert server.wait() == 0
    assert {start for start, _, _ in packets} == {"NOTIFY * HTTP/1.1"}
    said = [(headers["NT"], headers["USN"], headers["NTS"]) for _, headers, _ in packets]
    byebye, alive = ([(*one, kind) for one in expected] for kind in ("ssdp:byebye", "ssdp:alive"))
    assert said == byebye + alive * 3
    assert [(headers["NT"], headers["USN"], headers["NTS"]) for headers in farewell] == byebye
    location = f"http://10.77.2.1:{server.port}/DeviceDescription.xml"
    assert {headers["LOCATION"] for _, headers, _ in packets[5:]} == {location}


def test_stealth_withdraws_the_server_and_alive_brings_it_back(receiver, network):
    def search_queue_is_read():
        # 0x076C is port 1900; the fifth column is "tx_queue:rx_queue".
        rows = [row.split() for row in network.server.run("cat", "/proc/net/udp").stdout.splitlines()[1:]]
        return all(row[4].endswith(":00000000") for row in rows if row[1].endswith(":076C"))

    names = [target for target, _ in targets(device_id(receiver))]
    with wire.Listener(network.receiver) as listener, wire.Searcher(network.receiver) as searcher:
        answer = receiver.get("/rpc?mode?stealth")
        assert answer.body == b"SSDP disabled. MediaServer in stealth mode!\n"
        assert answer.header("Expires") == "0" and answer.header("Pragma") == "no-cache"
        assert [headers["NT"] for headers in listener.notifications("ssdp:byebye", 5)] == names
        searcher.send(wire.msearch("ssdp:all"))
        wait_until(search_queue_is_read, "the search is received")
        assert receiver.get("/rpc?mode?alive").body == b"SSDP enabled. MediaServer alive!\n"
        assert [headers["NT"] for headers in listener.notifications("ssdp:alive", 15)] == names * 3
        answers = searcher.search(wire.CONTENT_DIRECTORY, 3)
        assert {headers["ST"] for _, headers, _ in answers} == {wire.CONTENT_DIRECTORY}


def test_two_addresses_are_each_announced_as_themselves(hosts, serve, library):
    server_host, left, right = hosts(3)
    netns.join(server_host, "10.77.3.1", "media0", left, "10.77.3.2", "recv0")
    netns.join(server_host, "10.77.4.1", "media1", right, "10.77.4.2", "recv0")
    server = serve(library.directory, host=server_host)
    for host, address in ((left, "10.77.3.1"), (right, "10.77.4.1")):
        with wire.Searcher(host) as searcher:
            answers = searcher.search(wire.MEDIA_SERVER, 3)
            # Nothing of the other interface may come after it either.
            answers += searcher.search("upnp:rootdevice", 3)
        base = f"http://{address}:{server.port}/"
        assert {headers["LOCATION"] for _, headers, _ in answers} == {f"{base}DeviceDescription.xml"}
        assert {sender[0] for _, _, sender in answers} == {address}
        client = server.client(host, address)
        page = f"<presentationURL>{base}configpage/index.htm</presentationURL>"
        assert page in client.get("/DeviceDescription.xml").text
        assert all(track.url.startswith(f"{base}disk/") for track in client.tracks())


ODD_PACKETS = [
    b"", wire.msearch("upnp:rootdevice").ljust(9000, b"x"), wire.msearch("a" * 1000).rstrip(b"\r\n"),
    *(wire.msearch(target) for target in ("a" * 128, "a" * 1000, "", "%s%s%n%n", "upnp:\0root")),
    bytes(range(256)) * 4, b"NOTIFY * HTTP/1.1\r\nNTS: ssdp:byebye\r\n\r\n",
    wire.msearch(wire.CONTENT_DIRECTORY, mx="-1"),
]


def test_odd_packets(server, network):
    def send_all():
        with wire.Searcher(network.receiver) as searcher:
            for packet in ODD_PACKETS:
                searcher.send(packet)
            # The listener still hears what follows.
            searcher.send(wire.msearch(wire.CONNECTION_MANAGER))
            wait_until(lambda: searcher.receive(1)[0][1]["ST"] == wire.CONNECTION_MANAGER, "a search is answered")
    server.survives(send_all)


def test_floods_are_bounded(lone_host, serve):
    """20,000 searches that may take two minutes each, from a hundred addresses."""
    server = serve(host=lone_host, scan=False).wait_until_up()
    threads = server.threads()

    def send_all():
        with contextlib.ExitStack() as stack:
            searchers = [stack.enter_context(wire.Searcher(lone_host, f"127.0.0.{last}")) for last in range(100, 200)]
            for searcher in searchers * 200:
                searcher.send(wire.msearch("ssdp:all", mx="120"))
            assert server.threads() <= threads + 4
    server.survives(send_all)


@pytest.mark.skipif(not shutil.which("gssdp-discover"), reason="gssdp-discover (gupnp-tools) is not installed")
def test_gssdp_discover_finds_it(receiver, network):
    def discovered():
        found = network.receiver.run("gssdp-discover", "-i", network.receiver.interface, "-n", "3",
                                     "-t", wire.MEDIA_SERVER)
        return "resource available" in found.stdout and found.stdout
    found = wait_until(discovered, "gssdp-discover finds a server")
    assert f"USN:      {device_id(receiver)}::{wire.MEDIA_SERVER}" in found
    assert "Location: http://10.77.1.1:9000/DeviceDescription.xml" in found
