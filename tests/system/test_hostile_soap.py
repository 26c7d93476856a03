"""Control requests that no well-meaning control point sends."""

import xml.etree.ElementTree as ElementTree

import pytest

import wire

BROWSE = f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#Browse"'
SEARCH = f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#Search"'
ROOT = "<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>"


def post(client, body, action=BROWSE):
    """The answer to a control request with any body; an answer there must be."""
    return client.request("POST", "/ContentDirectory/Control", [action],
                          body if isinstance(body, bytes) else body.encode())


def well_formed(answer):
    ElementTree.fromstring(answer.body.rstrip(b"\0"))
    return answer


GOOD = wire.envelope("Browse", ROOT)

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
               '<!ENTITY c SYSTEM "file:///etc/passwd">]>'
    + wire.envelope("Browse", "<ObjectID>&b;&c;</ObjectID><BrowseFlag>BrowseMetadata</BrowseFlag>"),
    "comments": "<!--" * 100_000,
    "instructions": "<?" * 100_000,
    "cdata": "<![CDATA[" * 50_000,
    "lone_bracket": "<",
    "lone_end": "</",
    "only_blanks": " " * 100_000,
    "binary": bytes(range(256)) * 1000,
    "nul": b"<a>\0</a>",
}


@pytest.mark.parametrize("name", BODIES)
def test_bodies(server, receiver, name):
    server.survives(lambda: post(receiver, BODIES[name]))


def test_every_truncation_of_a_good_request(server, receiver):
    def send_all():
        for length in range(0, len(GOOD), 3):
            answer = well_formed(post(receiver, GOOD[:length]))
            assert answer.status in (200, 500)
    server.survives(send_all)


def test_arguments_out_of_any_bounds(server, receiver):
    track = receiver.tracks()[0].id
    everything = receiver.child("0", "Music", "All Tracks").id
    total = len(receiver.tracks())

    def browse(**arguments):
        values = {"ObjectID": everything, "BrowseFlag": "BrowseDirectChildren", "Filter": "*", "StartingIndex": 0,
                  "RequestedCount": 0, "SortCriteria": ""} | arguments
        return well_formed(
            post(receiver, wire.envelope("Browse", "".join(f"<{k}>{v}</{k}>" for k, v in values.items()))))

    def listing(**arguments):
        return wire.Listing({e.tag: e.text or "" for e in ElementTree.fromstring(browse(**arguments).body)[0][0]})

    def send_all():
        for object_id in ("9" * 65536, "-1", "99999999999999999999", "abc", " ", "0\\", "0\\Music", "1" * 300):
            browse(ObjectID=object_id)
        for number in ("-1", "2147483648", "4294967296", "99999999999999999999", "-2147483649", "abc", ""):
            assert len(listing(StartingIndex=number)) <= total
            assert len(listing(RequestedCount=number)) <= total
            assert len(listing(StartingIndex=number, RequestedCount=number)) <= total
        for sort in (",".join(["+dc:title"] * 10_000), "+" * 65536, "," * 65536, "-dc:title" * 5000, "Philips:shuffle",
                     "Philips:shuffle:" + "9" * 1000, "Philips:shuffle:-1"):
            assert len(listing(SortCriteria=sort)) == total
        for filter in ("x" * 65536, ",".join(["dc:title"] * 10_000), "@" * 1000, ""):
            assert len(listing(Filter=filter)) == total
        for flag in ("", "BrowseMetadata ", "x" * 65536):
            assert b"<errorCode>402<" in browse(BrowseFlag=flag).body
        assert b"<errorCode>402<" in browse(ObjectID=track).body
    server.survives(send_all)


def test_letters(server, receiver):
    def send_all():
        for letter in ("", "m" * 10_000, "\u00e9", "&lt;", "~"):
            response = receiver.call("X_BrowseByLetter", ObjectID="0", BrowseFlag="BrowseDirectChildren", Filter="*",
                                     StartingLetter=letter, RequestedCount=0, SortCriteria="")
            assert response["TotalMatches"] == "3"
    server.survives(send_all)


CRITERIA = {
    "open_brackets": "(" * 100_000,
    "closing_brackets": ")" * 100_000,
    "nested": "(" * 5000 + 'dc:title = "a"' + ")" * 5000,
    "open_quote": 'dc:title = "abc',
    "connectives": "and " * 10_000,
    "many_terms": " or ".join(['dc:title = "a"'] * 10_000),
    "long_value": 'dc:title = "' + "a" * 65536 + '"',
    "trailing_backslash": 'dc:title = "a\\',
    "backslashes": 'dc:title = "' + "\\" * 65536,
    "id_without_quote": "@id =",
    "id_with_open_quote": '@id = "',
    "no_operator": "dc:title",
    "no_value": "dc:title =",
    "only_operator": "=",
    "bare_value": "dc:title = abc",
    "unknown_property": 'dc:foo = "x"',
    "control_bytes": "dc:title = \"\x01\x02\"",
    "not_utf8": b'dc:title = "\xff\xfe"',
    "star": "*" * 1000,
    "blanks": " " * 65536,
}


@pytest.mark.parametrize("name", CRITERIA)
def test_search_criteria(server, receiver, name):
    criteria = CRITERIA[name]
    criteria = criteria if isinstance(criteria, bytes) else criteria.encode()
    for raw in (b"&", b"<"):
        criteria = criteria.replace(raw, {b"&": b"&amp;", b"<": b"&lt;"}[raw])
    body = wire.envelope("Search", "<ContainerID>0</ContainerID><SearchCriteria>CRITERIA</SearchCriteria>"
                                   "<RequestedCount>3</RequestedCount>").encode().replace(b"CRITERIA", criteria)

    def send():
        answer = post(receiver, body, SEARCH)
        outcomes = (b"SearchResponse", b"<errorCode>708<", b"<errorCode>501<")
        assert any(outcome in answer.body for outcome in outcomes)
    server.survives(send, limit=2.0 if name == "many_terms" else 1.0)


def test_values_to_update(server, receiver):
    track = receiver.tracks()[0].id
    title = receiver.metadata(track).title

    def update(current, new):
        inner = (f"<ObjectID>{track}</ObjectID><CurrentTagValue>{current}</CurrentTagValue>"
                 f"<NewTagValue>{new}</NewTagValue>")
        return post(receiver, wire.envelope("UpdateObject", inner),
                    f'SOAPACTION: "{wire.CONTENT_DIRECTORY}#UpdateObject"').body

    def tag(text, name="title"):
        return f"&lt;{name}&gt;{text}&lt;/{name}&gt;"

    def send_all():
        assert b"<errorCode>402<" in update("", "") and b"<errorCode>402<" in update("&lt;", "&lt;")
        assert b"errorCode" in update(tag("not this title"), tag("a" * 500_000))
        for name in ("", "x" * 1000, "t", "id", "path", "upnp:class"):
            update(tag(title, name), tag(title, name))
        assert receiver.metadata(track).title == title
        line = "a&#10;b&#13;&lt;EOI&gt;"
        update(tag(title), tag(line))
        changed = receiver.metadata(track).title  # any answer stays well-formed XML
        update(tag(changed), tag(title))
        for entry in receiver.tracks():
            assert entry.title is not None
    server.survives(send_all)
