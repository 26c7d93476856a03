"""Control requests that no well-meaning control point sends."""

import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import escape

import pytest

import wire


def post(client, body, action="Browse"):
    """The body of the answer to a control request with any body; an answer there must be, and well-formed."""
    answer = client.request("POST", "/ContentDirectory/Control", [f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#{action}"'],
                            body.encode(errors="surrogateescape"))
    assert answer.status in (200, 500)
    ElementTree.fromstring(answer.body.rstrip(b"\0"))
    return answer.body


def call(client, action, **arguments):
    inner = "".join(f"<{name}>{escape(value)}</{name}>" for name, value in arguments.items())
    return post(client, wire.envelope(action, inner), action)


BODIES = {
    "nested": ["<a>" * 100_000 + "</a>" * 100_000],
    "nested_without_ends": ["<a>" * 200_000],
    "siblings": ["<r>" + "<a/>" * 200_000 + "</r>"],
    "long": ['<r a="' + "x" * 900_000 + '"/>', "<" + "n" * 900_000 + "/>", "<r>" + "t" * 900_000 + "</r>"],
    "open": ["<r " + 'a="' * 100_000, "<!--" * 100_000, "<?" * 100_000, "<![CDATA[" * 50_000],
    "entities": ["<r>" + "&amp;" * 100_000 + "&" * 100_000 + "&#0;&#xffffffff;&#99999999999;&unknown;" + "</r>"],
    "doctype": ['<?xml version="1.0"?><!DOCTYPE r [<!ENTITY a "aaaa"><!ENTITY b "&a;&a;">'
                '<!ENTITY c SYSTEM "file:///etc/passwd">]>' + wire.envelope("Browse", "<ObjectID>&b;&c;</ObjectID>")],
    "binary": [bytes(range(256)).decode(errors="surrogateescape") * 1000],
}


@pytest.mark.parametrize("name", BODIES)
def test_bodies(server, receiver, name):
    server.survives(lambda: [post(receiver, body) for body in BODIES[name]])


def test_arguments_out_of_any_bounds(server, receiver):
    everything, track = receiver.child("0", "Music", "All Tracks").id, receiver.tracks()[0].id

    def browse(**arguments):
        return call(receiver, "Browse", **{"ObjectID": everything, "BrowseFlag": "BrowseDirectChildren"} | arguments)

    def send_all():
        for object_id in ("9" * 65536, "-1", "99999999999999999999", "abc", " ", "0\\", "0\\Music"):
            browse(ObjectID=object_id)
        for sort in (",".join(["+dc:title"] * 10_000), "+" * 65536, "," * 65536, "-dc:title" * 5000, "Philips:shuffle",
                     "Philips:shuffle:" + "9" * 1000, "Philips:shuffle:-1"):
            assert b"<NumberReturned>25<" in browse(SortCriteria=sort)
        for filter in ("x" * 65536, ",".join(["dc:title"] * 10_000), "@" * 1000):
            assert b"<NumberReturned>25<" in browse(Filter=filter)
        for flag in ("", "BrowseMetadata ", "x" * 65536):
            assert b"<errorCode>402<" in browse(BrowseFlag=flag)
        for letter in ("", "\u00e9", "&lt;", "~"):
            assert b"<TotalMatches>3<" in call(receiver, "X_BrowseByLetter", ObjectID="0",
                                               BrowseFlag="BrowseDirectChildren", StartingLetter=letter)
        for tag in ("", "x" * 1000, "id", "path", "upnp:class"):
            assert b"<errorCode>" in call(receiver, "UpdateObject", ObjectID=track, NewTagValue=f"<{tag}>x</{tag}>",
                                          CurrentTagValue=f"<{tag}>x</{tag}>")
        assert b"<errorCode>402<" in call(receiver, "UpdateObject", ObjectID=track, CurrentTagValue="<title>x</title>",
                                          NewTagValue="<title>" + "a" * 500_000 + "</title>")
    server.survives(send_all)


CRITERIA = [
    "(" * 100_000, ")" * 100_000, "(" * 5000 + 'dc:title = "a"' + ")" * 5000, "and " * 10_000, " " * 65536, "*" * 1000,
    " or ".join(['dc:title = "a"'] * 10_000), 'dc:title = "' + "\\" * 65536, 'dc:title = "\x01\udcff\udcfe"',
]


def test_search_criteria(server, receiver):
    def send_all():
        for criteria in CRITERIA:
            body = call(receiver, "Search", ContainerID="0", SearchCriteria=criteria, RequestedCount="3")
            assert b"SearchResponse" in body or b"<errorCode>708<" in body, criteria[:50]
    server.survives(send_all, limit=2.0)
