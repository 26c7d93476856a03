"""Fixtures of the system tests: the test network, a served library, servers of one's own."""

import os
import types

import pytest

import daemon
import music
import netns


def pytest_configure(config):
    if not daemon.EXECUTABLE or not os.access(daemon.EXECUTABLE, os.X_OK):
        raise pytest.UsageError("PELORAMA_DAEMON must name the server's executable; scripts/test.sh sets it")


def _hosts(count):
    hosts = []
    try:
        for _ in range(count):
            hosts.append(netns.Host())
    except (PermissionError, FileNotFoundError) as error:
        for host in hosts:
            host.close()
        # A run that is to vouch for a change must not pass by testing nothing.
        (pytest.fail if os.environ.get("CI") else pytest.skip)(f"{error}")
    return hosts


@pytest.fixture(scope="session")
def network():
    """A server and a receiver on two hosts with a cable between them."""
    server, receiver = _hosts(2)
    netns.join(server, "10.77.1.1", "media0", receiver, "10.77.1.2", "recv0")
    yield types.SimpleNamespace(server=server, receiver=receiver)
    server.close()
    receiver.close()


@pytest.fixture
def lone_host():
    """A host with loopback only, of the test's own."""
    host, = _hosts(1)
    host.route_multicast()
    yield host
    host.close()


@pytest.fixture
def hosts():
    """hosts(count): hosts of the test's own, not yet joined."""
    made = []

    def make(count):
        made.extend(_hosts(count))
        return made[-count:]
    yield make
    for host in made:
        host.close()


@pytest.fixture
def start_daemon(tmp_path):
    """start_daemon(host, ...): a server of the test's own that is ended with it; arguments as for daemon.Daemon."""
    started = []

    def start(host, *arguments, **options):
        server = daemon.Daemon(host, tmp_path / f"server{len(started)}", *arguments, **options)
        started.append(server)
        return server.start()
    yield start
    try:
        for server in started:
            server.stop()
    finally:
        for server in started:
            server.kill()


@pytest.fixture(scope="session")
def library(tmp_path_factory):
    """The small library's directory and what its tags say."""
    directory = tmp_path_factory.mktemp("library")
    return types.SimpleNamespace(directory=directory, tracks=music.small_library(directory))


@pytest.fixture(scope="module")
def server(network, library, tmp_path_factory):
    """A server of the small library, shared by a file's tests, which leave it as they found it."""
    served = daemon.Daemon(network.server, tmp_path_factory.mktemp("server"), library.directory,
                           settings={"friendlyname": "Test & Server", "scantime": 0}).start_and_scan()
    yield served
    try:
        served.stop()
    finally:
        served.kill()


@pytest.fixture(scope="module")
def receiver(server, network):
    """A control point on the other host."""
    return server.client(network.receiver)
