"""Receivers that subscribe hear of every change, whatever the other subscribers do."""

import contextlib
import json
import pathlib
import re
import subprocess
import threading

import pytest

import music
from daemon import SLOWNESS, wait_until
from servers import Server

EVENTS = "/ContentDirectory/Event"
SLOTS = 20


def callback_of(listener):
    return "<http://{}:{}/events>".format(*listener.getsockname())


class Subscriber(Server):
    """A receiver that listens on a host and keeps the events that arrive."""

    def __init__(self, host, address=None):
        self.events = []  # (its number, {variable: text})
        super().__init__(host, address=address)
        self.callback = f"<http://{self.authority}/events>"

    def talk(self, connection):
        connection.settimeout(10 * SLOWNESS)
        with connection.makefile(encoding="utf-8", newline="\n") as received:
            head, _, body = received.read().partition("\r\n\r\n")
        number, = re.findall(r"^SEQ: (\d+)\r?$", head, re.M)
        self.events.append((int(number), dict(re.findall(r"<(\w+)>([^<]*)</\1>", body))))

    def event(self, number):
        """The variables of one event, counted from 0."""
        wait_until(lambda: number in dict(self.events), f"event {number}: {self.events}", 10)
        assert len(self.events) == len(dict(self.events)), "a number came twice"
        return dict(self.events)[number]


def subscribe(client, callback, url=EVENTS):
    """The subscription's SID, "uuid:..."."""
    answer = client.request("SUBSCRIBE", url, [f"CALLBACK: {callback}", "NT: upnp:event", "TIMEOUT: Second-1800"])
    assert answer.status_line == "HTTP/1.1 200 OK"
    assert [name for name, _ in answer.headers] == ["DATE", "SERVER", "SID", "TIMEOUT"]
    assert answer.header("SERVER") == "Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0"
    assert answer.header("TIMEOUT") == "second-300"
    return answer.header("SID")


def unsubscribe(client, sid):
    return client.request("UNSUBSCRIBE", EVENTS, [f"SID: {sid}"]).status


def change_title(client):
    """The id of the container that this changes first of all."""
    track = client.tracks()[0]
    client.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{track.title}</title>",
                NewTagValue=f"<title>{track.title}x</title>")
    return track.parent_id


@pytest.fixture
def served(serve, tmp_path):
    for number in (1, 2):
        music.write(tmp_path / "music" / "Abba" / f"{number}.mp3", music.mp3(f"Abba {number}", "Abba", "First"))
    server = serve(tmp_path / "music")
    # Whatever the scan changed is told with this change at the latest, and before anybody subscribes.
    seen = len(server.log())
    change_title(server.client())
    server.wait_for_log("sending update ID event", after=seen)
    return server


def test_first_events_and_those_of_changes(served, network):
    client = served.client()
    with Subscriber(network.receiver) as both, Subscriber(network.receiver) as connections:
        sid = subscribe(client, both.callback, "/ContentDirectory/Event?ConnectionManager")
        subscribe(client, connections.callback, "/ConnectionManager/Event")
        first = both.event(0)
        assert first == {"SystemUpdateID": client.call("GetSystemUpdateID")["Id"], "ContainerUpdateIDs": "",
                         "TransferIDs": ""}
        source = "http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*"
        capabilities = {"SourceProtocolInfo": source, "SinkProtocolInfo": "", "CurrentConnectionIDs": "0"}
        assert both.event(1) == connections.event(0) == capabilities
        music.write(served.folder / "Abba" / "3.mp3", music.mp3("Abba 3", "Abba", "First"))
        served.rescan()
        changed = both.event(2)
        assert int(changed["SystemUpdateID"]) == int(first["SystemUpdateID"]) + 1
        numbers = changed["ContainerUpdateIDs"].split(",")
        listed = {client.child("0", "Music", "All Tracks").id, client.child("0", "Music", "Artists", "Abba").id,
                  client.child("0", "Music", "Folders", "Abba").id}
        assert listed <= set(numbers[::2]), changed
        assert "0" not in numbers[::2], "the root's list is as it was"
        container = change_title(client)
        assert both.event(3)["ContainerUpdateIDs"].split(",")[0] == container
        renewed = client.request("SUBSCRIBE", EVENTS, [f"SID: {sid}", "TIMEOUT: Second-1800"])
        assert (renewed.header("SID"), renewed.header("TIMEOUT")) == (sid, "Second-1800"), "here what was asked for"
        assert unsubscribe(client, sid) == 200
        for lines in ([f"SID: {sid}"], [], ["CALLBACK: nothing"]):
            assert client.request("SUBSCRIBE", EVENTS, lines).status_line == "HTTP/1.1 412 Precondition Failed", lines
        assert unsubscribe(client, sid) == 412
        assert len(connections.events) == 1, "content changes are not its service"


def test_a_subscriber_of_others_making(served, network):
    pytest.importorskip("gi")
    client = served.client()
    command = network.receiver.command("/usr/bin/python3", pathlib.Path(__file__).parent / "gupnp_control_point.py",
                                       network.receiver.interface, "--events")
    control_point, events = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True), []
    threading.Thread(target=lambda: events.extend(map(json.loads, control_point.stdout)), daemon=True).start()
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
    client = served.client()
    threads, descriptors = served.threads(), served.descriptors()
    with contextlib.ExitStack() as stack:
        refusing, nobody = "<http://10.77.1.2:9/>", "<http://10.77.1.99:80/>"
        never_read = callback_of(stack.enter_context(network.receiver.listen()))
        living = [stack.enter_context(Subscriber(network.receiver)) for _ in range(5)]
        # The next URL of a callback is for when the first does not answer.
        callbacks = [refusing + living[0].callback] + [one.callback for one in living[1:]]
        callbacks = [refusing] * 5 + [nobody] * 3 + callbacks + [nobody] * 2 + [never_read] * 5
        sids = [subscribe(client, callback) for callback in callbacks]
        assert len(set(sids)) == SLOTS
        assert client.request("SUBSCRIBE", EVENTS, [f"CALLBACK: {living[0].callback}"]).status == 500
        for number in range(7):
            if number > 0:
                change_title(client)
            for one in living:
                one.event(number)  # in time: one black hole alone takes half as long as this waits
        for sid in sids:
            assert unsubscribe(client, sid) == 200
    wait_until(lambda: served.threads() <= threads and served.descriptors() <= descriptors, "all of them are back")


def test_an_event_that_finds_no_thread_goes_out_later(served, network):
    """Who unsubscribes leaves the thread that sends to it behind, for five seconds at most; there are 64."""
    client, threads, line = served.client(), served.threads(), "sending update ID event"
    # With one connection in its queue the full one takes no other, and says nothing.
    with network.receiver.listen(backlog=0) as full, network.receiver.connect(*full.getsockname()), \
            Subscriber(network.receiver) as living:
        for _ in range(4):
            before = served.log().count(line)
            sids = [subscribe(client, callback_of(full)) for _ in range(SLOTS - 1)]
            wait_until(lambda: served.log().count(line) == before + SLOTS - 1, "each is sent its first event")
            for sid in sids:
                assert unsubscribe(client, sid) == 200
        subscribe(client, living.callback)
        assert 0 < served.threads() - threads <= 64 + 10
        living.event(0)


def test_callbacks_that_lead_elsewhere(served, network):
    """Whatever a callback says: no word to networks that are none of ours, and the server lives on."""
    client = served.client()
    callbacks = [f"<http://127.0.0.1:{client.port}/a>", "<http://no.such.name.invalid:80/a>",
                 "<http://10.77.1.2:9/a>" * 40, "<http://10.77.1.2:80/", "<http://10.77.1.2:0/a>", "<>", "<http://>"]

    def send_all():
        answers = [client.request("SUBSCRIBE", EVENTS, [f"CALLBACK: {callback}"])
                   for callback in callbacks + [f"<http://10.77.1.2:9/{number}>" for number in range(300)]]
        assert {answer.status for answer in answers[:len(callbacks)]} <= {200, 412}
        assert {answer.status for answer in answers[len(callbacks):]} == {200, 500}
        sids = [answer.header("SID") for answer in answers if answer.status == 200]
        assert len(sids) == len(set(sids)) == SLOTS
        for sid in sids:
            assert unsubscribe(client, sid) == 200
    served.survives(send_all)
    network.receiver.ip("address add 8.8.8.8/32 dev lo")
    network.server.ip(f"route add 8.8.8.8 via {network.receiver.address}")
    with Subscriber(network.receiver, "8.8.8.8") as far, Subscriber(network.receiver) as near:
        far_sid = subscribe(client, far.callback)
        subscribe(client, near.callback)
        near.event(0)
        change_title(client)
        near.event(1)
        assert far.events == [] and unsubscribe(client, far_sid) == 200
    network.receiver.ip("address del 8.8.8.8/32 dev lo")
