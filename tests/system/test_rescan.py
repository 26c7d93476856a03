"""The tree follows the folder: files that come, change and go, and the page that asks for a rescan."""

import pytest

import music


@pytest.fixture
def served(serve, tmp_path):
    for artist in ("Abba", "Queen"):
        for number in (1, 2):
            music.write(tmp_path / "music" / artist / f"{number}.mp3",
                        music.mp3(f"{artist} {number}", artist, f"{artist}'s", track=number), modified=1_000_000_000)
    return serve(tmp_path / "music")


def objects_of(client, title):
    """(item ids, ids that references of this title point at)"""
    found = client.search(f'dc:title = "{title}"')
    return ({entry.id for entry in found if entry.ref_id is None},
            {entry.ref_id for entry in found if entry.ref_id is not None})


def test_files_that_come_change_and_go(served):
    client, folder = served.client(), served.folder
    unchanged = objects_of(client, "Abba 1")
    (old_id,), _ = objects_of(client, "Queen 1")
    music.write(folder / "Abba" / "3.mp3", music.mp3("Abba 3", "Abba", "Abba's", track=3))
    music.write(folder / "Queen" / "1.mp3", music.mp3("Queen one", "Queen", "Another", track=1))
    (folder / "Queen" / "2.mp3").unlink()
    served.rescan()
    items, targets = objects_of(client, "Abba 3")
    assert targets == items and len(items) == 1
    (new_id,), targets = objects_of(client, "Queen one")
    assert targets == {new_id} and int(new_id) > int(old_id), "a changed file is a new object"
    for title in ("Queen 1", "Queen 2"):
        assert objects_of(client, title) == (set(), set())
    assert client.get(f"/disk/{old_id}.mp3").status == 404
    assert objects_of(client, "Abba 1") == unchanged, "an unchanged file keeps its id"
    assert client.titles("Albums") == ["- All -", "Abba's", "Another"], "an emptied album goes"
    assert len(client.tracks()) == 4
    (folder / "Queen" / "1.mp3").unlink()
    (folder / "Queen").rmdir()
    served.rescan()
    assert objects_of(client, "Queen one") == (set(), set())
    assert client.search('upnp:artist = "Queen"').total == 0
    assert client.titles("Artists") == ["- All -", "Abba"]
    # Folder containers stay until the next start.
    assert client.child("0", "Music", "Folders", "Queen").child_count == 0


def test_rescan_of_one_directory_reads_that_one_only(served):
    client = served.client()
    for artist in ("Abba", "Queen"):
        music.write(served.folder / artist / "new & fresh.mp3", music.mp3(f"New {artist}", artist, "New"))
    served.rescan(f"{served.folder}/Queen")
    assert objects_of(client, "New Queen")[0]
    assert objects_of(client, "New Abba") == (set(), set())
    served.rescan()
    assert objects_of(client, "New Abba")[0]


def test_directories_that_may_not_be_read_are_named_as_they_are(served):
    for url, place in (
        (f"{served.folder}/%2e%2e/%2e%2e/etc", f"{served.folder}/../../etc"),
        ("%3Cscript%3E%22%0d%0aX:%20y", "&lt;script&gt;&quot;\r\nX: y"),
        ("<" * 900, "&lt;" * (255 - len("/rescan"))),  # what fits of a URL
    ):
        answer = served.client().get(f"/rescan{url}")
        assert (answer.status, answer.header("Content-Type"), answer.text) == (200, "text/html; charset=UTF-8", (
            f"<html><head><title>Rescan</title></head><body>rescan invalid for {place}!</body></html>"))


def test_playlists_may_name_files_of_a_later_directory(serve, tmp_path):
    music.write(tmp_path / "one" / "list.m3u", f"{tmp_path}/two/song.wma\n".encode())
    music.write(tmp_path / "two" / "song.wma", (music.CORPUS / "fuzz_wma" / "first").read_bytes())
    server = serve(f"{tmp_path}/one,{tmp_path}/two")
    server.wait_for_log(f"DB scan on {tmp_path}/two completed")
    # The scan reads its tag; a playlist alone would only know its name.
    assert server.client().titles("Playlists", "list") == ["Title"]
