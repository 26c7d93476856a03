"""The tree follows the folder: files that come, change and go, and the page that asks for a rescan."""

import time

import pytest

import music


@pytest.fixture
def served(network, start_daemon, tmp_path):
    folder = tmp_path / "music"
    for artist in ("Abba", "Queen"):
        for number in (1, 2):
            music.write(folder / artist / f"{number}.mp3",
                        music.mp3(f"{artist} {number}", artist, f"{artist}'s", track=number),
                        modified=1_000_000_000)
    server = start_daemon(network.server, folder, settings={"scantime": 0})
    server.wait_until_up()
    server.wait_for_scan()
    server.folder = folder
    return server


def objects_of(client, title):
    """(item ids, ids that references of this title point at)"""
    found = client.search(f'dc:title = "{title}"')
    return ({entry.id
             for entry in found if entry.ref_id is None}, {entry.ref_id
                                                           for entry in found if entry.ref_id is not None})


def test_files_that_come_change_and_go(served, network):
    client = served.client(network.receiver)
    unchanged = objects_of(client, "Abba 1")
    (old_id,), _ = objects_of(client, "Queen 1")

    music.write(served.folder / "Abba" / "3.mp3", music.mp3("Abba 3", "Abba", "Abba's", track=3))
    music.write(served.folder / "Queen" / "1.mp3",
                music.mp3("Queen one", "Queen", "Another", track=1),
                modified=int(time.time()))
    (served.folder / "Queen" / "2.mp3").unlink()
    served.rescan()

    items, targets = objects_of(client, "Abba 3")
    assert targets == items and len(items) == 1
    (new_id,), targets = objects_of(client, "Queen one")
    assert targets == {new_id} and int(new_id) > int(old_id), "a changed file is a new object"
    for title in ("Queen 1", "Queen 2"):
        assert objects_of(client, title) == (set(), set())
    assert client.get(f"/disk/{old_id}.mp3").status == 404
    assert objects_of(client, "Abba 1") == unchanged, "an unchanged file keeps its id"
    albums = [entry.title for entry in client.browse(client.child("0", "Music", "Albums").id)]
    assert albums == ["- All -", "Abba's", "Another"], "an emptied album goes"
    assert len(client.tracks()) == 4


def test_a_removed_folder_leaves_nothing_but_folder_containers(served, network):
    client = served.client(network.receiver)
    for path in (served.folder / "Queen").iterdir():
        path.unlink()
    (served.folder / "Queen").rmdir()
    served.rescan()
    assert objects_of(client, "Queen 1") == (set(), set())
    assert client.search('upnp:artist = "Queen"').total == 0
    assert [entry.title for entry in client.browse(client.child("0", "Music", "Artists").id)] == ["- All -", "Abba"]
    # Folder containers stay until the next start.
    queen, = [entry for entry in client.browse(client.child("0", "Music", "Folders").id) if entry.title == "Queen"]
    assert queen.child_count == 0


def test_rescan_of_one_directory_reads_that_one_only(served, network):
    client = served.client(network.receiver)
    for artist in ("Abba", "Queen"):
        music.write(served.folder / artist / "new & fresh.mp3", music.mp3(f"New {artist}", artist, "New"))
    refused = client.get("/rescan/etc")
    assert b"rescan invalid for /etc!" in refused.body and refused.status == 200
    served.rescan(f"{served.folder}/Queen")
    assert objects_of(client, "New Queen")[0]
    assert objects_of(client, "New Abba") == (set(), set())
    served.rescan()
    assert objects_of(client, "New Abba")[0]
