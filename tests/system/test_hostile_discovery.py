"""Datagrams that no control point sends."""

import socket
import struct

import pytest

import netns
import wire
from daemon import wait_until

PACKETS = {
    "empty": b"",
    "1024_bytes": wire.msearch("upnp:rootdevice").ljust(1024, b"x"),
    "1025_bytes": wire.msearch("upnp:rootdevice").ljust(1025, b"x"),
    "9000_bytes": wire.msearch("upnp:rootdevice") + b"x" * 9000,
    "no_end": wire.msearch("a" * 1000).rstrip(b"\r\n"),
    "target_127": wire.msearch("a" * 127),
    "target_128": wire.msearch("a" * 128),
    "target_129": wire.msearch("a" * 129),
    "target_1000": wire.msearch("a" * 1000),
    "empty_target": wire.msearch(""),
    "blank_target": wire.msearch("   "),
    "format_target": wire.msearch("%s%s%n%n"),
    "binary": bytes(range(256)) * 4,
    "nul": wire.msearch("upnp:root\0device"),
    "mark_only": b"M-SEARCH * HTTP/1.1\nHOST\nMX\nST\nMAN",
    "cut": wire.msearch("ssdp:all")[:-20],
    "response": b"HTTP/1.1 200 OK\r\nST: ssdp:all\r\n\r\n",
    "notify": b"NOTIFY * HTTP/1.1\r\nNTS: ssdp:byebye\r\n\r\n",
}


def test_odd_packets(server, receiver, network):
    def send_all():
        with wire.Searcher(network.receiver) as searcher:
            for packet in PACKETS.values():
                searcher.send(packet)
            # The listener still hears what follows.
            wait_until(lambda: searcher.search(wire.CONNECTION_MANAGER, 3), "a search is answered")
    server.survives(send_all)


@pytest.mark.parametrize("mx", ["0", "-1", "abc", "", "   ", "1", "0x7f"])
def test_waits_that_mean_one_second(server, network, mx):
    with wire.Searcher(network.receiver) as searcher:
        searcher.send(wire.msearch(wire.CONNECTION_MANAGER, mx))
        assert len(searcher.receive(3, deadline=10)) == 3


def test_floods_are_bounded(server, receiver, network):
    """20,000 searches that may take two minutes each, from a hundred addresses."""
    for last in range(100, 200):
        network.receiver.ip(f"address add 10.77.1.{last}/24 dev {network.receiver.interface}")
    threads = server.threads()

    def send_all():
        sockets = []
        try:
            for last in range(100, 200):
                sender = network.receiver.udp()
                sender.bind((f"10.77.1.{last}", 0))
                sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(f"10.77.1.{last}"))
                sockets.append(sender)
            packet = wire.msearch("ssdp:all", mx="120")
            for _ in range(200):
                for sender in sockets:
                    sender.sendto(packet, wire.GROUP)
            assert server.threads() <= threads + 4
        finally:
            for sender in sockets:
                sender.close()
    try:
        server.survives(send_all)
    finally:
        for last in range(100, 200):
            network.receiver.ip(f"address del 10.77.1.{last}/24 dev {network.receiver.interface}")


def test_no_answer_to_port_0(hosts, start_daemon, tmp_path):
    """A forged source port; the answer would come back to us as a datagram to port 0."""
    server_host, forger = hosts(2)
    netns.join(server_host, "10.77.5.1", "media0", forger, "10.77.5.2", "recv0")
    server = start_daemon(server_host, tmp_path)
    server.wait_until_up()
    with forger.entered():
        raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_UDP)
    with raw:
        raw.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("10.77.5.2"))

        def forge(packet, port):
            raw.sendto(struct.pack("!HHHH", port, 1900, 8 + len(packet), 0) + packet, wire.GROUP)
        forge(wire.msearch("ssdp:all"), 0)
        forge(wire.msearch(wire.CONNECTION_MANAGER), 4242)
        raw.settimeout(20)
        ports = []
        while ports.count(4242) < 3:
            datagram = raw.recv(4096)
            source, destination = struct.unpack("!HH", datagram[20:24])
            if source >= 9080:
                ports.append(destination)
    assert ports == [4242] * 3
