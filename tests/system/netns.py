"""Network namespaces for the system tests: hosts of our own, joined by virtual cables.

A namespace lives as long as its holder process, which ends when our end of its standard input is closed, however the
run ends. Needs the right to make namespaces: root, or the user namespace that scripts/test.sh makes."""

import contextlib
import ctypes
import os
import socket
import subprocess

_libc = ctypes.CDLL(None, use_errno=True)


def _setns(descriptor):
    if _libc.setns(descriptor, 0x40000000) != 0:  # CLONE_NEWNET
        raise OSError(ctypes.get_errno(), "setns")


class Host:
    """One network namespace with loopback up. Its addresses are added by join() or add_address()."""

    def __init__(self):
        self._holder = subprocess.Popen(["unshare", "--net", "--", "sh", "-c", "echo made && exec cat"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if self._holder.stdout.readline() != b"made\n":
            reason = self._holder.stderr.read().decode().strip()
            self._holder.communicate()
            raise PermissionError(f"no network namespace to be had: {reason}")
        self.pid = self._holder.pid
        self._descriptor = os.open(f"/proc/{self.pid}/ns/net", os.O_RDONLY)
        self.address, self.interface, self.peer = "127.0.0.1", "lo", self  # who is at the other end of the cable
        self.ip("link set lo up multicast on")

    def close(self):
        os.close(self._descriptor)
        self._holder.communicate()

    @contextlib.contextmanager
    def entered(self):
        """Sockets that this thread makes inside belong to the host, for as long as they live."""
        with open("/proc/thread-self/ns/net", "rb") as home:
            _setns(self._descriptor)
            try:
                yield
            finally:
                _setns(home.fileno())

    def command(self, *words):
        """The command line that runs the given one on this host (its process id stays that of the process started)."""
        return ["nsenter", f"--net=/proc/{self.pid}/ns/net", "--", *words]

    def run(self, *words, **options):
        options = {"check": True, "capture_output": True, "text": True, "timeout": 60} | options
        return subprocess.run(self.command(*words), **options)

    def ip(self, words):
        self.run("ip", *words.split())

    def route_multicast(self):
        self.ip(f"route add 224.0.0.0/4 dev {self.interface}")

    def connect(self, address, port, timeout=20, source=None):
        """A TCP connection from this host, from another of its addresses if one is named."""
        with self.entered():
            return socket.create_connection((address, port), timeout, (source, 0) if source else None)

    def listen(self, port=0, address=None, backlog=512):
        """A listener for TCP connections to this host."""
        with self.entered():
            return socket.create_server((address or self.address, port), backlog=backlog)


def join(left, left_address, left_interface, right, right_address, right_interface):
    """Puts a virtual cable between two hosts; both ends are /24 addresses of one subnet."""
    left.ip(f"link add {left_interface} type veth peer name {right_interface} netns {right.pid}")
    for host, address, interface in ((left, left_address, left_interface), (right, right_address, right_interface)):
        host.ip(f"address add {address}/24 dev {interface}")
        # No IPv6: for its first second or two nobody can bind to such an address, and some players insist on doing so.
        host.ip(f"link set {interface} addrgenmode none")
        host.ip(f"link set {interface} up multicast on")
        host.address, host.interface = address, interface
    left.peer, right.peer = right, left
    right.route_multicast()
