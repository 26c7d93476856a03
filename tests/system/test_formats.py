"""Files of other people's tools: WMA and M4A by ffmpeg, WAV by ffmpeg and sox, raw sound by sox, and the playlists that
name them. Each is found, listed where it belongs, and played."""

import json
import os
import re
import shutil
import subprocess
import types

import pytest

import music
import pictures
import wire

pytestmark = pytest.mark.skipif(not (shutil.which("ffmpeg") and shutil.which("sox")),
                                reason="ffmpeg or sox is not installed")


def ffmpeg(path, seconds, *options, **tags):
    metadata = [word for key, value in tags.items() for word in ("-metadata", f"{key}={value}")]
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"sine=frequency=440:duration={seconds}", *options,
                    *metadata, "-y", path], check=True)


def sox(path, seconds, rate=44100, channels=2, *options):
    subprocess.run(["sox", "-n", "-r", str(rate), "-c", str(channels), "-b", "16", *options, path, "synth",
                    str(seconds), "sine", "440", "vol", "0.5"], check=True)


@pytest.fixture(scope="module")
def formats(serve_file, network, tmp_path_factory):
    folder = tmp_path_factory.mktemp("formats")
    tags = {"genre": "Rock", "track": "3/12"}
    ffmpeg(folder / "one.wma", 30, "-c:a", "wmav2", title="Wma Söng", artist="Wma Artist", album="Wma Album", **tags)
    ffmpeg(folder / "bare.wma", 5, "-c:a", "wmav2")
    ffmpeg(folder / "song.m4a", 10, "-c:a", "aac", title="M4a Söng", artist="M4a Artist", album="M4a Album",
           date="2005-03-04", **tags)
    ffmpeg(folder / "tagged.wav", 4, title="Wav Song", artist="Wav Artist", album="Wav Album", genre="Jazz")
    ffmpeg(folder / "with.m4a", 2, "-f", "lavfi", "-i", "testsrc=size=64x64:duration=0.04", "-map", "0", "-map", "1",
           "-c:a", "aac", "-c:v", "mjpeg", "-disposition:v", "attached_pic", title="With cover")
    sox(folder / "plain.wav", 3)
    sox(folder / "raw.pcm", 3, 44100, 2, "-e", "signed", "-B", "-t", "raw")
    sox(folder / "tone48Mono.lpcm", 7, 48000, 1, "-e", "signed", "-B", "-t", "raw")
    music.write(folder / "track.mp3", music.mp3("Mp3 Song", "Mp3 Artist", seconds=2))
    music.write(folder / "lists" / "Mixed.m3u",
                b"#EXTM3U\r\n#EXTINF:3,Other title\r\n../plain.wav\r\nsong.m4a\r\n" + os.fsencode(folder / "one.wma") +
                b"\r\nnowhere.mp3\r\nhttp://radio.example/stream.mp3\r\n")
    music.write(folder / "lists" / "Named.pls", b"[playlist]\nFile1=../track.mp3\nTitle1=No\nFile2=raw.pcm\n")
    music.write(folder / "lists" / "Media.wpl",
                b'<?wpl version="1.0"?>\r\n<smil><head><title>Media</title></head><body><seq>\r\n'
                b'<media src="..\\bare.wma"/>\r\n<media src="..\\tagged.wav" tid="{1}"/>\r\n</seq></body></smil>\r\n')
    server = serve_file(folder)
    return types.SimpleNamespace(server=server, client=server.client(), folder=folder,
                                 receiver=network.receiver)


def tracks_by_title(client):
    return {track.title: track for track in client.tracks()}


def test_tags_and_durations(formats):
    def facts(track):
        return (track.artist, track.album, track.text(wire.UPNP + "genre"), track.text(wire.DC + "date"),
                track.text(wire.UPNP + "originalTrackNumber"), track.resource.get("duration"),
                track.resource.get("protocolInfo").split(":")[2])
    assert {title: facts(track) for title, track in tracks_by_title(formats.client).items()} == {
        "Wma Söng": ("Wma Artist", "Wma Album", "Rock", "", "3", "0:00:30.000", "audio/x-ms-wma"),
        "bare": ("", "", "", "", "0", "0:00:03.000", "audio/x-ms-wma"),
        "M4a Söng": ("M4a Artist", "M4a Album", "Rock", "2005-01-01", "3", "0:00:10.023", "audio/mp4"),
        "With cover": ("", "", "", "", "0", "0:00:02.023", "audio/mp4"),
        "Wav Song": ("Wav Artist", "Wav Album", "Jazz", "", "0", "0:00:04.000", "audio/x-wav"),
        "Other title": ("", "", "", "", "0", "0:00:03.000", "audio/x-wav"),
        "raw": ("", "", "", "", "0", "0:00:03.000", "audio/L16;rate=44100;channels=2"),
        "tone48Mono": ("", "", "", "", "0", "0:00:07.000", "audio/L16;rate=48000;channels=1"),
        "Mp3 Song": ("Mp3 Artist", "", "", "", "0", "0:00:02.006", "audio/mpeg"),
    }


PLAYED = {  # codec, seconds, rate, channels. Only .lpcm has the last two in the answer's type; .pcm would be refused
    "Wma Söng": ("wmav2", 30, "44100", 1), "M4a Söng": ("aac", 10, "44100", 1),
    "Wav Song": ("pcm_s16le", 4, "44100", 1), "Other title": ("pcm_s16le", 3, "44100", 2),
    "tone48Mono": ("pcm_s16be", None, "48000", 1)}


def test_plays(formats):
    tracks = tracks_by_title(formats.client)
    for title, (codec, seconds, rate, channels) in PLAYED.items():
        probed = json.loads(formats.receiver.run("ffprobe", "-v", "error", "-of", "json", "-show_streams",
                                                 "-show_format", tracks[title].url).stdout)
        stream, = probed["streams"]
        assert (stream["codec_name"], stream["sample_rate"], stream["channels"]) == (codec, rate, channels), title
        assert not seconds or abs(float(probed["format"]["duration"]) - seconds) < 0.3, title
    assert formats.client.get(tracks["raw"].path).body == (formats.folder / "raw.pcm").read_bytes()


def test_cover(formats):
    track = tracks_by_title(formats.client)["With cover"]
    answer = formats.client.get(re.sub("^http://[^/]*", "", track.text(wire.UPNP + "albumArtURI")))
    assert (answer.header("Content-Type"), pictures.size(answer.body)) == ("image/jpeg", (64, 64))


def test_playlists_hold_what_they_name(formats):
    def entries(name):
        return [(entry.text(wire.UPNP + "originalTrackNumber"), entry.title)
                for entry in formats.client.browse(formats.client.child("0", "Music", "Playlists", name).id)]
    # What has a title keeps it; a list names only what has none.
    assert sorted(entries("Mixed"), key=str) == [("1", "Other title"), ("2", "M4a Söng"), ("3", "Wma Söng"),
                                                 (None, "Other title")]
    assert sorted(entries("Named")) == [("1", "Mp3 Song"), ("2", "raw")]
    assert sorted(entries("Media")) == [("1", "bare"), ("2", "Wav Song")]
    assert len(formats.client.tracks()) == 9, "no file is there twice"
    assert "[Problem]DB:failed to locate/add playlist item: nowhere.mp3" in formats.server.log()


def test_changed_and_removed_playlists(serve, tmp_path):
    folder = tmp_path / "music"
    for name in "abc":
        music.write(folder / f"{name}.mp3", music.mp3(name.upper()))
    music.write(folder / "list.m3u", b"a.mp3\nb.mp3\n")
    server = serve(folder)
    client = server.client()

    def lists():
        return {entry.title: sorted(item.title for item in client.browse(entry.id)) for entry in
                client.browse(client.child("0", "Music", "Playlists").id) if not entry.title.startswith("-")}

    assert lists() == {"list": ["A", "B"]}
    music.write(folder / "list.m3u", b"c.mp3\na.mp3\n")
    music.write(folder / "new.pls", b"[playlist]\nFile1=b.mp3\n")
    server.rescan()
    assert lists() == {"list": ["A", "C"], "new": ["B"]}
    (folder / "list.m3u").unlink()
    server.rescan()
    assert lists() == {"new": ["B"]}
    assert len(client.tracks()) == 3
