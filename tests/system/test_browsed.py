"""The library is browsed, searched and changed over SOAP."""

import collections
import xml.etree.ElementTree as ElementTree

import pytest

import wire
from wire import CONNECTION_MANAGER, CONTENT_DIRECTORY

# Two references for each view of one level, four and eight for two and three, one for letter groups. The lists of
# played tracks hold more; a first look fills them with what there is.
REFERENCES_PER_TRACK = 33


@pytest.fixture(scope="module")
def played_lists(receiver):
    """The ids of "- Last Played -" and "- Most Played -", filled."""
    lists = receiver.browse(receiver.child("0", "Music", "Playlists").id)
    for entry in lists:
        assert len(receiver.browse(entry.id)) == 10
    return {entry.id for entry in lists}


def test_the_whole_tree_holds_what_the_folder_holds(receiver, library, played_lists):
    objects = list(receiver.walk())
    assert len({entry.id for entry in objects}) == len(objects), "an id was given twice"
    assert {entry.title for entry in objects if entry.parent_id == "0"} == {"Music", "Pictures", "Videos"}
    children = collections.Counter(entry.parent_id for entry in objects)
    assert all(entry.child_count == children[entry.id] for entry in objects)
    items = [entry for entry in objects if not entry.is_container and entry.ref_id is None]
    titles = [tags["title"] for tags in library.tracks.values()] + ["untagged"]
    assert sorted(entry.title for entry in items) == sorted(titles)
    references = [entry for entry in objects if entry.ref_id is not None and entry.parent_id not in played_lists]
    assert collections.Counter((entry.ref_id, entry.title) for entry in references) == {
        (item.id, item.title): REFERENCES_PER_TRACK for item in items}


def test_views_group_by_what_the_tags_say(receiver, library):
    titles = receiver.titles
    assert sorted(titles()) == ["Albums", "All Tracks", "Alpha", "Artists", "Artists/Albums", "Folders", "Genres",
                                "Genres/Artists", "Internet Radio", "Playlists", "Year/Albums", "Year/Artist"]
    artists = sorted({tags["artist"] for tags in library.tracks.values()}, key=str.lower)
    assert titles("Artists") == ["- All -", *artists, "Unknown"]
    assert titles("Alpha") == ["ABC", "MNO", "PQR", "STU"]
    assert titles("Year/Albums", "1992") == ["- All -", *(f"{artist}: {album}" for artist in artists
                                                          for album in ("<Second>", "First & Last"))]
    # Containers are listed by date and title settings of their class; the tracks of an album by number.
    assert titles("Albums", "Queen: <Second>") == ["Queen <1", "Queen <2", "Queen <3"]
    assert titles("Folders", "Queen", "First") == ["Queen F1", "Queen F2", "Queen F3"]
    assert titles("Folders") == ["- All -", *artists, "untagged"]


def test_an_item_and_its_reference_name_the_same_file(server, receiver, library):
    reference = receiver.child("0", "Music", "Artists", "Sigur Rós", "Sigur Rós F2")
    path, tags = next((path, tags) for path, tags in library.tracks.items() if tags["title"] == reference.title)
    for entry in (receiver.metadata(reference.ref_id), reference, receiver.metadata(reference.id)):
        assert (entry.title, entry.artist, entry.album) == (tags["title"], tags["artist"], tags["album"])
        assert entry.text(wire.UPNP + "genre") == tags["genre"] and entry.text(wire.DC + "date") == "1992-01-01"
        assert entry.text(wire.UPNP + "originalTrackNumber") == "2"
        assert int(entry.resource.get("size")) == path.stat().st_size
        assert entry.resource.get("duration").startswith("0:00:0")
        assert entry.url == f"http://{server.address}:{server.port}/disk/{entry.id}.mp3"
        assert receiver.get(entry.path).body == path.read_bytes()


# What the numbers of a request mean in a list of 25: (StartingIndex, RequestedCount, first, behind the last).
WINDOWS = [
    (0, 7, 0, 7), (7, 7, 7, 14), (21, 7, 21, 25), (25, 7, 25, 25), (0, 0, 0, 25), (None, None, 0, 25), (24, 1, 24, 25),
    (" 3 of 20", "2x", 3, 5), ("abc", "", 0, 25), (1, -1, 1, 25), (-1, 1, 25, 25), (4294967297, 4294967298, 1, 3),
    (-2147483648, 1, 25, 25), (2147483647, 2147483647, 25, 25), (0, -2147483648, 0, 25),
]


@pytest.mark.parametrize("sort", ["", "-upnp:album,+upnp:originalTrackNumber"])
def test_pages_are_cut_from_one_order(receiver, sort):
    everything = receiver.child("0", "Music", "All Tracks").id
    whole = [entry.id for entry in receiver.browse(everything, sort=sort)]
    assert len(set(whole)) == 25
    for start, count, first, behind in WINDOWS:
        window = receiver.browse(everything, start=start, count=count, sort=sort)
        assert [entry.id for entry in window] == whole[first:behind], (start, count)
        assert (window.total, window.update_id) == (25, 0)


def test_an_answer_of_200_kilobytes_takes_no_more(receiver, played_lists):
    found = receiver.search("*")
    assert len(found) < found.total == len(list(receiver.walk()))
    answer = receiver.post_soap("Search", "<ContainerID>0</ContainerID><SearchCriteria>*</SearchCriteria>")
    assert 195_001 <= answer.body.index(b"&lt;/DIDL-Lite&gt;") < 195_001 + 2000


@pytest.mark.parametrize("view, sort, letter, start, titles", [
    ("Artists", "", "m", 2, ["Madonna", "Queen"]), ("Artists", "", "m" * 10_000, 3, ["Queen", "Sigur Rós"]),
    # Titles that descend are looked through one by one.
    ("Artists", "-dc:title", "n", 0, ["Unknown", "Sigur Rós"]),
    # Folders stand before the tracks, with titles that ascend on their own.
    ("Folders", "", "R", 4, ["Sigur Rós", "untagged"]), ("Folders", "", "v", 6, []),
])
def test_browsing_by_letter(receiver, view, sort, letter, start, titles):
    response = receiver.call("X_BrowseByLetter", ObjectID=receiver.child("0", "Music", view).id,
                             BrowseFlag="BrowseDirectChildren", Filter="", StartingLetter=letter, RequestedCount=2,
                             SortCriteria=sort)
    assert (int(response["StartingIndex"]), [entry.title for entry in wire.Listing(response)]) == (start, titles)


@pytest.mark.parametrize("criteria, matches", [
    ('upnp:originalTrackNumber >= 3 and dc:date = "1993-01-01"', 8), ('upnp:album contains "<second>"', 12),
    ('dc:title = &quot;Queen F1&quot;', 1)])  # escaped twice on its way
def test_search_finds_items_and_references(receiver, played_lists, criteria, matches):
    every = f'({criteria}) and upnp:class derivedfrom "object.item"'
    own = f'{every} and @refID exists "false"'
    in_views = [entry for entry in receiver.search_all(every) if entry.parent_id not in played_lists]
    assert len(in_views) == matches * (1 + REFERENCES_PER_TRACK)
    # The container does not narrow a search. Without criteria nothing is found.
    assert receiver.search(own, container=receiver.child("0", "Pictures").id).total == matches
    assert receiver.search(None).total == 0


HEAD = ('<?xml version="1.0" encoding="utf-8"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
        's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>')
DIDL_HEAD = ('&lt;DIDL-Lite xmlns:dc="http://purl.org/dc/elements/1.1/" '
             'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/" '
             'xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/"&gt;')
ONE_CHILD = ("<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter></Filter>"
             "<StartingIndex>2</StartingIndex><RequestedCount>1</RequestedCount><StartingLetter>v</StartingLetter>")


def test_answers_to_the_byte(receiver):
    videos, update_id = receiver.child("0", "Videos").id, receiver.call("GetSystemUpdateID")["Id"]
    listed = (f'<Result>{DIDL_HEAD}'
              f'&lt;container id="{videos}" parentID="0" childCount="2" restricted="1" searchable="1"&gt;'
              "&lt;dc:title&gt;Videos&lt;/dc:title&gt;&lt;upnp:class&gt;object.container&lt;/upnp:class&gt;"
              "&lt;/container&gt;&lt;/DIDL-Lite&gt;</Result><NumberReturned>1</NumberReturned>"
              "<TotalMatches>{}</TotalMatches><UpdateID>0</UpdateID>")
    # The first of exactly this name counts, wherever it sits.
    metadata = (f"<x:ObjectID>1</x:ObjectID><deep><ObjectID>{videos}</ObjectID></deep><ObjectID>1</ObjectID>"
                "<BrowseFlag>BrowseMetadata</BrowseFlag><Filter></Filter>")
    search = f'<ContainerID>0</ContainerID><SearchCriteria>@id = "{videos}"</SearchCriteria><Filter></Filter>'
    for action, arguments, name, inner in (
        ("Browse", ONE_CHILD, "Browse", listed.format(3)),
        ("Browse", metadata, "Browse", listed.format(1)),
        ("X_BrowseByLetter", metadata, "Browse", listed.format(1)),
        ("X_BrowseByLetter", ONE_CHILD, "X_BrowseByLetter", listed.format(3) + "<StartingIndex>2</StartingIndex>"),
        ("Search", search, "Search", listed.format(1)),
        ("GetSystemUpdateID", "", "GetSystemUpdateID", f"<Id>{update_id}</Id>"),
        ("GetSearchCapabilities", "", "GetSearchCapabilities",
         "<SearchCaps>dc:source,dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber,"
         "upnp:class,@id,@parentID,@refID,res,upnp:albumArtURI</SearchCaps>"),
        ("GetSortCapabilities", "", "GetSortCapabilities",
         "<SortCaps>dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber,res"
         "</SortCaps>"),
    ):
        answer = receiver.post_soap(action, arguments)
        assert answer.status_line == "HTTP/1.1 200 OK"
        assert answer.header("Content-Type") == 'text/xml; charset="UTF-8"'
        response = f'<u:{name}Response xmlns:u="{CONTENT_DIRECTORY}">{inner}</u:{name}Response>'
        assert answer.text == f"{HEAD}{response}</s:Body></s:Envelope>", action
    for action, inner in (  # no account is kept of connections
        ("GetProtocolInfo", "    <Source>http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*"
         "</Source>      <Sink></Sink>"),
        ("GetCurrentConnectionIDs", "    <ConnectionIDs>0</ConnectionIDs>"),
        ("GetCurrentConnectionInfo", "    <RcsID>-1</RcsID>    <AVTransportID>-1</AVTransportID>    <ProtocolInfo>"
         "</ProtocolInfo>    <PeerConnectionManager></PeerConnectionManager>    <PeerConnectionID>-1</PeerConnectionID>"
         "    <Direction>Output</Direction>    <Status>Unknown</Status>"),
    ):
        answer = receiver.post_soap(action, "<ConnectionID>5</ConnectionID>", CONNECTION_MANAGER)
        response = f'<u:{action}Response xmlns:u="{CONNECTION_MANAGER}">{inner}  </u:{action}Response>'
        assert answer.text == f"{HEAD}  {response}</s:Body></s:Envelope>"


def test_the_action_header_names_the_action(receiver):
    def answer(*lines):
        return receiver.request("POST", "/ContentDirectory/Control", lines, b"<a/>").body
    other, asked = (f"{CONTENT_DIRECTORY}#{action}" for action in ("GetSearchCapabilities", "GetSystemUpdateID"))
    assert b"<u:GetSystemUpdateIDResponse " in answer(f"soapaction: {asked}")
    assert b"<u:GetSystemUpdateIDResponse " in answer(f"SoapAction: {other}", f"SOAPACTION: {asked}"), "capitals first"
    assert b"<errorCode>401<" in answer("SOAPACTION: " + asked.replace(":1#", ":2#"))


DESCRIPTIONS = {
    401: "invalid Action", 402: "invalid Args", 501: "Action Failed", 602: "Optional Action Not implemented",
    604: "Human Intervention Required", 701: "No such object", 708: "Invalid search criteria"
}
NEW_TITLE = "<NewTagValue>&lt;title&gt;y&lt;/title&gt;</NewTagValue>"
OTHER_TITLE = "<ObjectID>TRACK</ObjectID>" + NEW_TITLE.replace("New", "Current") + NEW_TITLE


@pytest.mark.parametrize("action, inner, code", [  # TRACK is a track's id
    ("Dance", "", 401),
    ("Browse", "<ObjectID>0</ObjectID>", 402), ("Browse", "<BrowseFlag>BrowseMetadata</BrowseFlag>", 701),
    ("Browse", ONE_CHILD.replace(">0<", ">999999<"), 701), ("Browse", ONE_CHILD.replace(">0<", ">TRACK<"), 402),
    ("X_BrowseByLetter", ONE_CHILD.replace(">0<", ">TRACK<"), 402),
    ("CreateObject", "", 602),
    ("Search", "<ObjectID>0</ObjectID>", 701),
    ("Search", '<ContainerID>0</ContainerID><SearchCriteria>dc:foo = "1"</SearchCriteria>', 708),
    ("PrepareForConnection", "", 402), ("PrepareForConnection", "<Direction>Output</Direction>", 602),
    ("UpdateObject", "<ObjectID>TRACK</ObjectID>", 402),
    ("UpdateObject", "<ObjectID>TRACK</ObjectID>" + NEW_TITLE, 501),
    ("UpdateObject", OTHER_TITLE.replace("title", "dc:title"), 402), ("UpdateObject", OTHER_TITLE, 604),
])
def test_faults(receiver, action, inner, code):
    answer = receiver.post_soap(action, inner.replace("TRACK", receiver.tracks()[0].id),
                                CONNECTION_MANAGER if action == "PrepareForConnection" else CONTENT_DIRECTORY)
    as_good = code in (402, 501)  # these two come with the status of an answer
    assert answer.status_line == "HTTP/1.1 " + ("200 OK" if as_good else "500 Internal Server Error")
    assert answer.header("Content-Type") == ('text/xml; charset="UTF-8"' if as_good else "text/html; charset=UTF-8")
    # The terminating NUL is counted and sent.
    assert answer.text == HEAD.replace("<s:Body>", "\n <s:Body>\n") + (
        "  <s:Fault>\n   <faultcode>s:Client</faultcode>\n   <faultstring>UPnPError</faultstring>\n   <detail>\n"
        '    <UPnPError xmlns="urn:schemas-upnp-org:control-1-0">\n'
        f"     <errorCode>{code}</errorCode>\n     <errorDescription>{DESCRIPTIONS[code]}</errorDescription>\n"
        "    </UPnPError>\n   </detail>\n  </s:Fault>\n </s:Body>\n</s:Envelope>\n\0")


def test_update_object_changes_a_title_once(receiver):
    track = next(entry for entry in receiver.tracks() if entry.title == "Madonna F1")

    def update_title(old, new):
        answer = receiver.post_soap("UpdateObject", f"<ObjectID>{track.id}</ObjectID>"
                                    f"<CurrentTagValue>&lt;title&gt;{old}&lt;/title&gt;</CurrentTagValue>"
                                    f"<NewTagValue>&lt;title&gt;{new}&lt;/title&gt;</NewTagValue>")
        assert answer.text == (
            HEAD.replace("?>", "?>\r\n").replace("<s:Body>", "\r\n<s:Body>\r\n") +
            f'<u:UpdateObjectResponse xmlns:u="{CONTENT_DIRECTORY}" />\r\n</s:Body>\r\n</s:Envelope>')
        return receiver.child("0", "Music", "Artists", "Madonna", receiver.metadata(track.id).title)
    renamed = update_title("Madonna F1", "Old &amp;amp;amp; New")
    assert (renamed.title, renamed.ref_id) == ("Old & New", track.id)
    assert update_title("Old &amp;amp;amp; New", "Madonna F1").title == "Madonna F1"


def test_descriptions(server, receiver):
    answer = receiver.get("/DeviceDescription.xml")
    names = [name for name, _ in answer.headers]
    assert names == ["Content-Type", "Content-Length", "Date", "Connection", "EXT", "Server"]
    assert dict(answer.headers)["Server"] == "Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0", "no blank behind the colon"
    device = ElementTree.fromstring(answer.body).find("{*}device")
    assert [(element.tag.partition("}")[2], element.text) for element in device if not element.tag.endswith("UDN")] == [
        ("X_DLNADOC", "DMS-1.00"), ("deviceType", wire.MEDIA_SERVER),
        ("friendlyName", "Test &amp; Server"),  # escaped twice: a reader of the XML still sees one escape
        ("manufacturer", "Pelorama GmbH"), ("manufacturerURL", "http://pelorama.invalid/"),
        ("modelURL", "http://pelorama.invalid/mediaserver/"), ("modelName", "Pelorama Media Server"),
        ("modelDescription", "Pelorama Media Server"), ("modelNumber", "103"), ("serialNumber", None), ("UPC", None),
        ("presentationURL", f"http://{server.address}:{server.port}/configpage/index.htm"), ("serviceList", None)]
    assert answer.body.endswith(b"</serviceList></device></root>")
    manager = ElementTree.fromstring(receiver.get("/ConnectionManager.xml").body)
    assert "GetProtocolInfo" in {element.text for element in manager.iterfind(".//{*}action/{*}name")}
    assert receiver.request("POST", "/DeviceDescription.xml", body=b"x").status == 500
