"""Fixtures of the system tests: the test network, a served library, servers of one's own."""

import contextlib
import os
import types

import pytest

import daemon
import music
import netns


def pytest_configure(config):
    if not daemon.EXECUTABLE or not os.access(daemon.EXECUTABLE, os.X_OK):
        raise pytest.UsageError("PELORAMA_DAEMON must name the server's executable; scripts/test.sh sets it")


def _hosts():
    """hosts(count): hosts that are not yet joined."""
    with contextlib.ExitStack() as stack:
        def make(count):
            try:
                return [stack.enter_context(contextlib.closing(netns.Host())) for _ in range(count)]
            except (PermissionError, FileNotFoundError) as error:
                # A run that is to vouch for a change must not pass by testing nothing.
                (pytest.fail if os.environ.get("CI") else pytest.skip)(f"{error}")
        yield make


hosts = pytest.fixture(_hosts)
session_hosts = pytest.fixture(_hosts, scope="session")


@pytest.fixture(scope="session")
def network(session_hosts):
    """A server and a receiver on two hosts with a cable between them."""
    server, receiver = session_hosts(2)
    netns.join(server, "10.77.1.1", "media0", receiver, "10.77.1.2", "recv0")
    return types.SimpleNamespace(server=server, receiver=receiver)


@pytest.fixture
def lone_host(hosts):
    """A host with loopback only, of the test's own."""
    host, = hosts(1)
    host.route_multicast()
    return host


@pytest.fixture
def serve(network, tmp_path):
    """serve(folder, **settings): a server of the test's own that has scanned the folder, as daemon.Servers says."""
    with daemon.Servers(network.server, tmp_path) as servers:
        yield servers


@pytest.fixture(scope="module")
def serve_file(network, tmp_path_factory):
    """The same for a server that the tests of a file share."""
    with daemon.Servers(network.server, tmp_path_factory.mktemp("servers")) as servers:
        yield servers


@pytest.fixture(scope="session")
def library(tmp_path_factory):
    """The small library's directory and what its tags say."""
    directory = tmp_path_factory.mktemp("library")
    return types.SimpleNamespace(directory=directory, tracks=music.small_library(directory))


@pytest.fixture(scope="module")
def server(serve_file, library):
    """A server of the small library, shared by a file's tests, which leave it as they found it."""
    return serve_file(library.directory, httpport=None, friendlyname="Test & Server")


@pytest.fixture(scope="module")
def receiver(server):
    """A control point on the other host."""
    return server.client()
