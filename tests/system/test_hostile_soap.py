"""Control requests that no well-meaning control point sends."""

import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import escape

import pytest

import wire

GOOD = wire.envelope("Browse", "<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>")


def post(client, body, action="Browse"):
    """The answer to a control request with any body; an answer there must be, and well-formed."""
    answer = client.request("POST", "/ContentDirectory/Control", [f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#{action}"'],
                            body.encode(errors="surrogateescape"))
    assert answer.status in (200, 500)
    ElementTree.fromstring(answer.body.rstrip(b"\0"))
    return answer


def call(client, action, **arguments):
    inner = "".join(f"<{name}>{escape(value)}</{name}>" for name, value in arguments.items())
    return post(client, wire.envelope(action, inner), action).body


BODIES = {
    "nested": "<a>" * 100_000 + "</a>" * 100_000,
    "nested_without_ends": "<a>" * 200_000,
    "siblings": "<r>" + "<a/>" * 200_000 + "</r>",
    "long_attribute": '<r a="' + "x" * 900_000 + '"/>',
    "long_name": "<" + "n" * 900_000 + "/>",
    "long_text": "<r>" + "t" * 900_000 + "</r>",
    "open_attributes": "<r " + 'a="' * 100_000,
    "entities": "<r>" + "&amp;" * 100_000 + "&" * 100_000 + "&#0;&#xffffffff;&#99999999999;&unknown;" + "</r>",
    "doctype": '<?xml version="1.0"?><!DOCTYPE r [<!ENTITY a "aaaa"><!ENTITY b "&a;&a;">'
               '<!ENTITY c SYSTEM "file:///etc/passwd">]>' + GOOD.replace(">0<", ">&b;&c;<"),
    "comments": "<!--" * 100_000,
    "instructions": "<?" * 100_000,
    "cdata": "<![CDATA[" * 50_000,
    "binary": bytes(range(256)).decode(errors="surrogateescape") * 1000,
    "cut": None,
}


@pytest.mark.parametrize("name", BODIES)
def test_bodies(server, receiver, name):
    bodies = [BODIES[name]] if name != "cut" else [GOOD[:length] for length in range(0, len(GOOD), 3)]
    server.survives(lambda: [post(receiver, body) for body in bodies])


def test_arguments_out_of_any_bounds(server, receiver):
    track = receiver.tracks()[0].id
    everything = receiver.child("0", "Music", "All Tracks").id

    def browse(**arguments):
        return call(receiver, "Browse", **{"ObjectID": everything, "BrowseFlag": "BrowseDirectChildren"} | arguments)

    def send_all():
        for object_id in ("9" * 65536, "-1", "99999999999999999999", "abc", " ", "0\\", "0\\Music", "1" * 300):
            browse(ObjectID=object_id)
        for sort in (",".join(["+dc:title"] * 10_000), "+" * 65536, "," * 65536, "-dc:title" * 5000, "Philips:shuffle",
                     "Philips:shuffle:" + "9" * 1000, "Philips:shuffle:-1"):
            assert b"<NumberReturned>25<" in browse(SortCriteria=sort)
        for filter in ("x" * 65536, ",".join(["dc:title"] * 10_000), "@" * 1000, ""):
            assert b"<NumberReturned>25<" in browse(Filter=filter)
        for flag in ("", "BrowseMetadata ", "x" * 65536):
            assert b"<errorCode>402<" in browse(BrowseFlag=flag)
        for letter in ("", "\u00e9", "&lt;", "~"):
            assert b"<TotalMatches>3<" in call(receiver, "X_BrowseByLetter", ObjectID="0",
                                               BrowseFlag="BrowseDirectChildren", StartingLetter=letter)
        for number in ("-1", "99999999999999999999", "abc", ""):
            assert b"<TotalMatches>25<" in browse(StartingIndex=number, RequestedCount=number)
        for name in ("", "x" * 1000, "id", "path", "upnp:class"):
            assert b"<errorCode>" in call(receiver, "UpdateObject", ObjectID=track, NewTagValue=f"<{name}>x</{name}>",
                                          CurrentTagValue=f"<{name}>x</{name}>")
        assert b"<errorCode>402<" in call(receiver, "UpdateObject", ObjectID=track, CurrentTagValue="<title>x</title>",
                                          NewTagValue="<title>" + "a" * 500_000 + "</title>")
    server.survives(send_all)


CRITERIA = [
    "(" * 100_000, ")" * 100_000, "(" * 5000 + 'dc:title = "a"' + ")" * 5000, 'dc:title = "abc', "and " * 10_000,
    " or ".join(['dc:title = "a"'] * 10_000), 'dc:title = "' + "a" * 65536 + '"', 'dc:title = "a\\',
    'dc:title = "' + "\\" * 65536, "@id =", '@id = "', "dc:title", "dc:title =", "=", "dc:title = abc",
    'dc:title = "\x01\x02"', 'dc:title = "\udcff\udcfe"', "*" * 1000, " " * 65536,
]


def test_search_criteria(server, receiver):
    def send_all():
        for criteria in CRITERIA:
            body = call(receiver, "Search", ContainerID="0", SearchCriteria=criteria, RequestedCount="3")
            assert b"SearchResponse" in body or b"<errorCode>708<" in body, criteria[:50]
    server.survives(send_all, limit=2.0)
