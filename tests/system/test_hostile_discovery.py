"""Datagrams that no control point sends."""

import contextlib

import wire
from daemon import wait_until

PACKETS = [
    b"", wire.msearch("upnp:rootdevice").ljust(1024, b"x"), wire.msearch("upnp:rootdevice").ljust(9000, b"x"),
    wire.msearch("a" * 1000).rstrip(b"\r\n"), wire.msearch("ssdp:all")[:-20],
    *(wire.msearch(target)
      for target in ("a" * 127, "a" * 128, "a" * 129, "a" * 1000, "", "   ", "%s%s%n%n", "upnp:\0root")),
    bytes(range(256)) * 4, b"M-SEARCH * HTTP/1.1\nHOST\nMX\nST\nMAN", b"HTTP/1.1 200 OK\r\nST: ssdp:all\r\n\r\n",
    b"NOTIFY * HTTP/1.1\r\nNTS: ssdp:byebye\r\n\r\n", wire.msearch(wire.CONTENT_DIRECTORY, mx="-1"),
]


def test_odd_packets(server, network):
    def send_all():
        with wire.Searcher(network.receiver) as searcher:
            for packet in PACKETS:
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
            for _ in range(200):
                for searcher in searchers:
                    searcher.send(wire.msearch("ssdp:all", mx="120"))
            assert server.threads() <= threads + 4
    server.survives(send_all)
