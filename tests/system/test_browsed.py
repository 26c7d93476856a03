"""The library is browsed, searched and changed over SOAP."""

import xml.etree.ElementTree as ElementTree

import pytest

import wire

MUSIC_VIEWS = [
    "Artists", "Genres", "Albums", "Folders", "Artists/Albums", "Genres/Artists", "Year/Albums", "Year/Artist", "Alpha"
]
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


def walk(client, object_id="0"):
    """Every object below the given one, checked against its parent on the way."""
    listing = client.browse(object_id)
    assert listing.total == len(listing)
    for entry in listing:
        assert entry.parent_id == object_id
        yield entry
        if entry.is_container:
            children = list(walk(client, entry.id))
            assert entry.child_count == sum(child.parent_id == entry.id for child in children), entry
            yield from children


def test_the_whole_tree_holds_what_the_folder_holds(receiver, library, played_lists):
    objects = list(walk(receiver))
    by_id = {entry.id: entry for entry in objects}
    assert len(by_id) == len(objects), "an id was given twice"
    assert {entry.title for entry in objects if entry.parent_id == "0"} == {"Music", "Pictures", "Videos"}

    items = [entry for entry in objects if not entry.is_container and entry.ref_id is None]
    assert sorted(entry.title for entry in items) == sorted([t["title"]
                                                             for t in library.tracks.values()] + ["untagged"])
    references = [entry for entry in objects if entry.ref_id is not None and entry.parent_id not in played_lists]
    for item in items:
        own = [entry for entry in references if entry.ref_id == item.id]
        assert len(own) == REFERENCES_PER_TRACK, item
        assert {entry.title for entry in own} == {item.title}
    assert {entry.ref_id for entry in references} == {entry.id for entry in items}


def test_views_group_by_what_the_tags_say(receiver, library):
    music = receiver.child("0", "Music").id
    assert {entry.title
            for entry in receiver.browse(music)} == {"All Tracks", "Playlists", "Internet Radio", *MUSIC_VIEWS}

    def titles(*path):
        return [entry.title for entry in receiver.browse(receiver.child(music, *path).id)]
    artists = sorted({tags["artist"] for tags in library.tracks.values()}, key=str.lower)
    assert titles("Artists") == ["- All -", *artists, "Unknown"]
    assert titles("Alpha") == ["ABC", "MNO", "PQR", "STU"]
    assert titles("Year/Albums", "1992") == ["- All -", *(f"{artist}: {album}" for artist in artists
                                                          for album in ("<Second>", "First & Last"))]
    # Containers are listed by date and title settings of their class; the tracks of an album by number.
    assert titles("Albums", "Queen: <Second>") == ["Queen <1", "Queen <2", "Queen <3"]
    assert titles("Folders", "Queen", "First") == ["Queen F1", "Queen F2", "Queen F3"]
    assert [entry.title for entry in receiver.browse(receiver.child(music, "Folders").id)
            if not entry.is_container] == ["untagged"]


def test_an_item_and_its_reference_name_the_same_file(server, receiver, library):
    reference = receiver.child("0", "Music", "Artists", "Sigur Rós", "Sigur Rós F2")
    item = receiver.metadata(reference.ref_id)
    path, tags = next((path, tags) for path, tags in library.tracks.items() if tags["title"] == reference.title)
    for entry in (item, reference, receiver.metadata(reference.id)):
        assert (entry.title, entry.artist, entry.album) == (tags["title"], tags["artist"], tags["album"])
        assert entry.text(wire.UPNP + "genre") == tags["genre"] and entry.text(wire.DC + "date") == "1992-01-01"
        assert entry.text(wire.UPNP + "originalTrackNumber") == "2"
        assert entry.upnp_class == "object.item.audioItem.musicTrack"
        assert entry.resource.get("protocolInfo") == "http-get:*:audio/mpeg:*"
        assert int(entry.resource.get("size")) == path.stat().st_size
        assert entry.resource.get("duration").startswith("0:00:0")
        assert entry.url == f"http://{server.address}:{server.port}/disk/{entry.id}.mp3"
        assert receiver.get(entry.path).body == path.read_bytes()


def test_pages_are_cut_from_one_order(receiver):
    everything = receiver.child("0", "Music", "All Tracks").id
    for sort in ("", "+dc:title", "-upnp:album,+upnp:originalTrackNumber", "+dc:date"):
        whole = [entry.id for entry in receiver.browse(everything, sort=sort)]
        pages = []
        for start in range(0, len(whole), 7):
            page = receiver.browse(everything, start=start, count=7, sort=sort)
            assert page.total == len(whole) and page.update_id == 0
            pages += [entry.id for entry in page]
        assert pages == whole
        beyond = receiver.browse(everything, start=len(whole), count=7, sort=sort)
        assert (len(beyond), beyond.total) == (0, len(whole))


def test_sort_orders(receiver):
    everything = receiver.child("0", "Music", "All Tracks").id

    def column(sort, pick):
        return [pick(entry) for entry in receiver.browse(everything, sort=sort) if entry.artist]
    titles = column("+dc:title", lambda entry: entry.title.lower())
    assert titles == sorted(titles)
    assert column("-dc:title", lambda entry: entry.title.lower()) == titles[::-1]
    pairs = column("-upnp:artist,+dc:title", lambda entry: (entry.artist.lower(), entry.title.lower()))
    assert pairs == sorted(sorted(pairs, key=lambda pair: pair[1]), key=lambda pair: pair[0], reverse=True)
    numbers = column("-upnp:originalTrackNumber", lambda entry: int(entry.text(wire.UPNP + "originalTrackNumber")))
    assert numbers == sorted(numbers, reverse=True)
    # A blank after the comma makes the second key unknown: ties fall back to the title, ascending.
    albums = column("+upnp:album, -dc:title", lambda entry: (entry.album.lower(), entry.title.lower()))
    assert albums == sorted(albums)

    folders = receiver.child("0", "Music", "Folders").id
    kinds = [entry.is_container for entry in receiver.browse(folders, sort="-dc:title")]
    assert kinds == sorted(kinds, reverse=True), "containers come first in descending order too"

    shuffles = [[entry.id for entry in receiver.browse(everything, sort=f"Philips:shuffle:{seed}")]
                for seed in (7, 7, 8)]
    assert shuffles[0] == shuffles[1] != shuffles[2]


@pytest.mark.parametrize("criteria, matches", [
    ('dc:title contains "abba"', 6),
    ('dc:title contains "f1"', 4),
    ('upnp:artist = "Queen" and upnp:genre = "Rock"', 2),
    ('upnp:artist = "Queen" and upnp:genre = "Rock" or upnp:artist = "Abba"', 8),
    ('upnp:artist = "Queen" and (upnp:genre = "Rock" or upnp:artist = "Abba")', 2),
    ('upnp:originalTrackNumber >= 3', 8),
    ('upnp:class derivedfrom "object.item.audioItem" and dc:date = "1991-01-01"', 8),
    ('upnp:album contains "<second>"', 12),
    ('dc:title = "no such title"', 0),
])
def test_search_finds_items_and_references(receiver, played_lists, criteria, matches):
    every = f'({criteria}) and upnp:class derivedfrom "object.item"'
    own = f'{every} and @refID exists "false"'
    assert receiver.search(own).total == matches
    found = receiver.search_all(every)
    in_views = [entry for entry in found if entry.parent_id not in played_lists]
    assert len(in_views) == matches * (1 + REFERENCES_PER_TRACK)
    # The container does not narrow a search.
    assert receiver.search(own, container=receiver.child("0", "Pictures").id).total == matches


def test_search_by_id_and_everything(receiver):
    track = receiver.tracks()[0]
    assert [entry.id for entry in receiver.search(f'@id = "{track.id}"')] == [track.id]
    everything = receiver.search("*", count=5)
    assert (len(everything), everything.total) == (5, len(list(walk(receiver))))


def test_filter_names_what_is_sent(receiver):
    track = receiver.tracks()[0].id
    short = receiver.browse(track, "BrowseMetadata", filter="dc:title,res")[0]
    assert {element.tag for element in short.element} == {wire.DC + "title", wire.DIDL + "res", wire.UPNP + "class"}
    assert short.resource.get("size") is None
    sized = receiver.browse(track, "BrowseMetadata", filter="res@size")[0]
    assert sized.resource.get("size") is not None and sized.artist is None


def test_capabilities_and_connections(receiver):
    assert "dc:title" in receiver.call("GetSearchCapabilities")["SearchCaps"].split(",")
    assert receiver.call("GetSortCapabilities")["SortCaps"] == \
        "dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber,res"
    assert int(receiver.call("GetSystemUpdateID")["Id"]) >= 0
    manager = {"service": wire.CONNECTION_MANAGER}
    assert receiver.call("GetProtocolInfo", **manager)["Source"].startswith("http-get:*:audio/mpeg:*,")
    assert receiver.call("GetCurrentConnectionIDs", **manager) == {"ConnectionIDs": "0"}
    assert receiver.call("GetCurrentConnectionInfo", ConnectionID=5, **manager)["Direction"] == "Output"


def test_letter_browsing_starts_at_the_letter(receiver):
    artists = receiver.child("0", "Music", "Artists").id
    response = receiver.call("X_BrowseByLetter", ObjectID=artists, BrowseFlag="BrowseDirectChildren", Filter="*",
                             StartingLetter="m", RequestedCount=2, SortCriteria="+dc:title")
    assert [entry.title for entry in wire.Listing(response)] == ["Madonna", "Queen"]
    assert (response["StartingIndex"], response["TotalMatches"]) == ("2", "6")


FAULTS = [
    # id, service, action, inner XML, code, description, status line
    ("unknown_action", wire.CONTENT_DIRECTORY, "Dance", "", 401, "invalid Action", "500 Internal Server Error"),
    ("no_browse_flag", wire.CONTENT_DIRECTORY, "Browse", "<ObjectID>0</ObjectID>", 402, "invalid Args", "200 OK"),
    ("no_object_id", wire.CONTENT_DIRECTORY, "Browse", "<BrowseFlag>BrowseMetadata</BrowseFlag>", 701, "No such object",
     "500 Internal Server Error"),
    ("no_such_object", wire.CONTENT_DIRECTORY, "Browse",
     "<ObjectID>999999</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>", 701, "No such object",
     "500 Internal Server Error"),
    ("optional_action", wire.CONTENT_DIRECTORY, "CreateObject", "", 602, "Optional Action Not implemented",
     "500 Internal Server Error"),
    ("bad_criteria", wire.CONTENT_DIRECTORY, "Search",
     "<ContainerID>0</ContainerID><SearchCriteria>dc:foo = &quot;1&quot;</SearchCriteria>", 708,
     "Invalid search criteria", "500 Internal Server Error"),
    ("no_direction", wire.CONNECTION_MANAGER, "PrepareForConnection", "", 402, "invalid Args", "200 OK"),
    ("direction", wire.CONNECTION_MANAGER, "PrepareForConnection", "<Direction>Output</Direction>", 602,
     "Optional Action Not implemented", "500 Internal Server Error"),
    ("update_of_nothing", wire.CONTENT_DIRECTORY, "UpdateObject", "<ObjectID>1</ObjectID>", 402, "invalid Args",
     "200 OK"),
]


@pytest.mark.parametrize("service, action, inner, code, description, status", [row[1:] for row in FAULTS],
                         ids=[row[0] for row in FAULTS])
def test_faults(receiver, service, action, inner, code, description, status):
    answer = receiver.post_soap(action, inner, service)
    assert answer.status_line == f"HTTP/1.1 {status}"
    xml_type, html_type = 'text/xml; charset="UTF-8"', "text/html; charset=UTF-8"
    assert answer.header("Content-Type") == (xml_type if status == "200 OK" else html_type)
    # The terminating NUL is counted and sent.
    assert answer.body.endswith(b"</s:Envelope>\n\0") and len(answer.body) == int(answer.header("Content-Length"))
    assert f"<errorCode>{code}</errorCode>\n     <errorDescription>{description}</errorDescription>".encode(
    ) in answer.body


def test_children_of_a_track_are_refused(receiver):
    with pytest.raises(wire.Fault) as refused:
        receiver.browse(receiver.tracks()[0].id)
    assert refused.value.code == 402 and refused.value.answer.status == 200


def test_update_object_changes_a_title_once(receiver):
    track = next(entry for entry in receiver.tracks() if entry.title == "Madonna F1")

    def update(old, new):
        return receiver.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<dc:title>{old}</dc:title>",
                             NewTagValue=f"<dc:title>{new}</dc:title>")

    def update_title(old, new):
        return receiver.call("UpdateObject", ObjectID=track.id, CurrentTagValue=f"<title>{old}</title>",
                             NewTagValue=f"<title>{new}</title>")
    with pytest.raises(wire.Fault) as unknown_field:
        update("Madonna F1", "Renamed")
    assert unknown_field.value.code == 402
    with pytest.raises(wire.Fault):
        update_title("another title", "Renamed")
    assert receiver.metadata(track.id).title == "Madonna F1"
    assert update_title("Madonna F1", "Renamed") == {}
    reference = receiver.child("0", "Music", "Artists", "Madonna", "Renamed")
    assert reference.ref_id == track.id
    update_title("Renamed", "Madonna F1")
    assert receiver.metadata(track.id).title == "Madonna F1"


def test_descriptions(server, receiver):
    answer = receiver.get("/DeviceDescription.xml")
    assert [name
            for name, _ in answer.headers] == ["Content-Type", "Content-Length", "Date", "Connection", "EXT", "Server"]
    assert dict(answer.headers)["Server"] == "Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0", "no blank behind the colon"
    device = ElementTree.fromstring(answer.body).find("{urn:schemas-upnp-org:device-1-0}device")

    def text(name):
        return device.findtext("{urn:schemas-upnp-org:device-1-0}" + name)
    assert text("deviceType") == wire.MEDIA_SERVER
    # Escaped twice: a reader of the XML still sees one escape.
    assert text("friendlyName") == "Test &amp; Server"
    assert text("presentationURL") == f"http://{server.address}:{server.port}/configpage/index.htm"
    for service, actions in (("ContentDirectory", {"Browse", "Search", "X_BrowseByLetter", "UpdateObject"}),
                             ("ConnectionManager", {"GetProtocolInfo"})):
        document = ElementTree.fromstring(receiver.get(f"/{service}.xml").body)
        names = {element.text for element in document.iterfind(".//{*}action/{*}name")}
        assert actions <= names
    assert receiver.request("POST", "/DeviceDescription.xml", body=b"x").status == 500
