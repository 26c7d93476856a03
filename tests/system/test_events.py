"""Receivers that subscribe hear of every change, whatever the other subscribers do."""

import contextlib
import json
import re
import socket
import subprocess
import sys
import threading

import pytest

import music
from daemon import SLOWNESS, wait_until

EVENTS = "/ContentDirectory/Event"


class Subscriber:
    """A receiver that listens on a host and keeps the events that arrive."""

    def __init__(self, host, address=None):
        address = address or host.address
        with host.entered():
            self._listener = socket.create_server((address, 0), backlog=64)
        self.url = f"http://{address}:{self._listener.getsockname()[1]}/events"
        self.events = []  # (header text, {variable: text})
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            received = b""
            with connection, contextlib.suppress(OSError):
                connection.settimeout(10 * SLOWNESS)
                while piece := connection.recv(1 << 16):
                    received += piece
            head, _, body = received.decode().partition("\r\n\r\n")
            self.events.append((head, dict(re.findall(r"<(\w+)>([^<]*)</\1>", body))))

    def close(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def event(self, number, deadline=10):
        """The variables of one event, counted from 0."""
        wait_until(lambda: len(self.events) > number, f"event {number}: {self.events}", deadline)
        head, variables = self.events[number]
        assert re.search(rf"^SEQ: {number}\r?$", head, re.M), head
        return variables


def subscribe(client, callback, url=EVENTS, timeout="Second-1800"):
    """The subscription's SID, "uuid:..."."""
    answer = client.request("SUBSCRIBE", url, [f"CALLBACK: <{callback}>", "NT: upnp:event", f"TIMEOUT: {timeout}"])
    assert answer.status == 200, answer
    assert answer.header("TIMEOUT") == "second-300"
    return answer.header("SID")


def unsubscribe(client, sid):
    return client.request("UNSUBSCRIBE", EVENTS, [f"SID: {sid}"]).status


def change_title(client, track, number):
    client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title} {number - 1}</title>",
                NewTagValue=f"<title>{track.title} {number}</title>")


@pytest.fixture
def served(network, start_daemon, tmp_path):
    folder = tmp_path / "music"
    for number in (1, 2):
        music.write(folder / "Abba" / f"{number}.mp3", music.mp3(f"Abba {number}", "Abba", "First"))
    server = start_daemon(network.server, folder, settings={"scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    server.folder = folder
    client = server.client(network.receiver)
    # Whatever the scan changed is told with this change at the latest, and before anybody subscribes.
    seen, track = len(server.log()), client.tracks()[0]
    client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title}</title>",
                NewTagValue="<title>Renamed</title>")
    server.wait_for_log("sending update ID event", after=seen)
    return server


def test_first_events_and_those_of_changes(served, network):
    client = served.client(network.receiver)
    with Subscriber(network.receiver) as both, Subscriber(network.receiver) as connections:
        sid = subscribe(client, both.url, "/ContentDirectory/Event?ConnectionManager")
        subscribe(client, connections.url, "/ConnectionManager/Event")
        first = both.event(0)
        assert first == {"SystemUpdateID": client.call("GetSystemUpdateID")["Id"], "ContainerUpdateIDs": "", "TransferIDs": ""}
        capabilities = {"SourceProtocolInfo": "http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*",
                        "SinkProtocolInfo": "", "CurrentConnectionIDs": "0"}
        assert both.event(1) == capabilities and connections.event(0) == capabilities

        music.write(served.folder / "Abba" / "3.mp3", music.mp3("Abba 3", "Abba", "First"))
        served.rescan()
        changed = both.event(2)
        assert int(changed["SystemUpdateID"]) == int(first["SystemUpdateID"]) + 1
        numbers = changed["ContainerUpdateIDs"].split(",")
        listed = {client.child("0", "Music", "All Tracks").id, client.child("0", "Music", "Artists", "Abba").id,
                  client.child("0", "Music", "Folders", "Abba").id}
        assert listed <= set(numbers[::2]), changed
        assert "0" not in numbers[::2], "the root's list is as it was"

        track = client.tracks()[0]
        client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title}</title>",
                    NewTagValue="<title>Other</title>")
        assert both.event(3)["ContainerUpdateIDs"].split(",")[0] == track.parent_id
        assert unsubscribe(client, sid) == 200 and unsubscribe(client, sid) == 412
        assert len(connections.events) == 1, "content changes are not its service"


def test_a_subscriber_of_others_making(served, network):
    pytest.importorskip("gi")
    client = served.client(network.receiver)
    script = str(__file__).replace("test_events", "gupnp_subscriber")
    control_point = subprocess.Popen(network.receiver.command(sys.executable, script, network.receiver.interface),
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    events = []
    threading.Thread(target=lambda: events.extend(json.loads(line) for line in control_point.stdout), daemon=True).start()
    try:
        def told(variable, condition):
            wait_until(lambda: any(variable in event and condition(event[variable]) for event in list(events)),
                       f"{variable} in {events}", 60)
        told("SystemUpdateID", lambda value: value == int(client.call("GetSystemUpdateID")["Id"]))
        music.write(served.folder / "Queen" / "1.mp3", music.mp3("Queen 1", "Queen", "Other"))
        served.rescan()
        told("ContainerUpdateIDs", lambda value: client.child("0", "Music", "Artists").id in value.split(",")[::2])
        control_point.stdin.close()
        assert control_point.wait(20 * SLOWNESS) == 0
    finally:
        control_point.kill()


def test_dead_subscribers_delay_nobody(served, network):
    client = served.client(network.receiver)
    baseline = served.threads(), served.descriptors()
    with network.receiver.entered():
        never_read = socket.create_server((network.receiver.address, 0), backlog=64)
        refusing = socket.create_server((network.receiver.address, 0))
    refusing_port = refusing.getsockname()[1]
    refusing.close()
    dead = ([f"http://{network.receiver.address}:{refusing_port}/"] * 5 +
            ["http://10.77.1.99:80/"] * 5 +  # nobody has that address
            [f"http://{network.receiver.address}:{never_read.getsockname()[1]}/"] * 5)
    living = [Subscriber(network.receiver) for _ in range(5)]
    sids = [subscribe(client, url) for url in dead[:8] + [one.url for one in living] + dead[8:]]
    assert len(set(sids)) == 20
    assert client.request("SUBSCRIBE", EVENTS, [f"CALLBACK: <{living[0].url}>"]).status == 500

    for one in living:
        one.event(0)
    track = client.tracks()[0]
    client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title}</title>",
                NewTagValue=f"<title>{track.title} 0</title>")
    for number in range(1, 7):
        if number > 1:
            change_title(client, track, number - 1)
        for one in living:
            one.event(number)  # in time: one black hole alone takes half as long as this waits
    for sid in sids:
        assert unsubscribe(client, sid) == 200
    for one in living:
        one.close()
    never_read.close()
    wait_until(lambda: served.threads() <= baseline[0] and served.descriptors() <= baseline[1],
               "threads and descriptors are back")


def test_callbacks_that_lead_elsewhere(served, network):
    """Whatever a callback says: no word to networks that are none of ours, and the server lives on."""
    client = served.client(network.receiver)
    network.receiver.ip("address add 8.8.8.8/32 dev lo")
    network.server.ip(f"route add 8.8.8.8 via {network.receiver.address}")
    callbacks = [f"<http://127.0.0.1:{client.port}/a>", "<http://no.such.name.invalid:80/a>", "<http://10.77.1.2:9/a>" * 40,
                 "<http://10.77.1.2:80/", "<http://10.77.1.2:0/a>", "<http://10.77.1.2:99999/a>", "<ftp://10.77.1.2/a>",
                 "<http://10.77.1.2:80/a\rX: y>", "<http://10.77.1.2:80/a b>", "<>", "<http:>", "<http://>"]

    def send_all():
        sids = []
        for callback in callbacks:
            answer = client.request("SUBSCRIBE", EVENTS, [f"CALLBACK: {callback}", "TIMEOUT: Second-300"])
            assert answer.status in (200, 412), (callback, answer)
            if answer.status == 200:
                sids.append(answer.header("SID"))
        statuses = [client.request("SUBSCRIBE", EVENTS, [f"CALLBACK: <http://10.77.1.2:9/{i}>"]) for i in range(300)]
        sids += [answer.header("SID") for answer in statuses if answer.status == 200]
        assert len(sids) == len(set(sids)) == 20
        assert {answer.status for answer in statuses} == {200, 500}
        for sid in sids:
            assert unsubscribe(client, sid) == 200
    served.survives(send_all)
    assert client.request("SUBSCRIBE", EVENTS, []).status == 412
    assert client.request("SUBSCRIBE", EVENTS, ["SID: uuid:1"]).status == 412

    with Subscriber(network.receiver, "8.8.8.8") as far, Subscriber(network.receiver) as near:
        far_sid = subscribe(client, far.url)
        subscribe(client, near.url)
        first = near.event(0)
        track = client.tracks()[0]
        client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title}</title>",
                    NewTagValue="<title>Near</title>")
        assert near.event(1) != first
        assert far.events == []
        assert unsubscribe(client, far_sid) == 200
    network.receiver.ip("address del 8.8.8.8/32 dev lo")
