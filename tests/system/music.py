"""Small real files for the system tests: MPEG-1 layer III frames of silence behind an ID3v2.3 tag."""

import os
import pathlib

# MPEG-1, layer III, no CRC, 128 kbit/s, 44.1 kHz, no padding, joint stereo: 144 * 128000 / 44100 = 417 bytes a frame.
_FRAME = bytes([0xFF, 0xFB, 0x90, 0x44]) + bytes(413)
_FRAMES_PER_SECOND = 44100 / 1152


def text_frame(name, text, size=None):
    """A frame of UTF-8 text, or of bytes as they stand; size is announced instead of its own."""
    body = b"\x03" + text.encode() if isinstance(text, str) else text
    return name.encode() + (len(body) if size is None else size).to_bytes(4, "big") + b"\0\0" + body


def id3_tag(frames, flags=0):
    return b"ID3\3\0" + bytes([flags, *((len(frames) >> shift) & 0x7F for shift in (21, 14, 7, 0))]) + frames


def mp3(title=None, artist=None, album=None, genre=None, year=None, track=None, seconds=1):
    """The bytes of a track; what is None is left out of its tag."""
    texts = (("TIT2", title), ("TPE1", artist), ("TALB", album), ("TCON", genre), ("TYER", year), ("TRCK", track))
    frames = b"".join(text_frame(name, str(text)) for name, text in texts if text is not None)
    return id3_tag(frames) + _FRAME * max(1, round(seconds * _FRAMES_PER_SECOND))


def write(path, content, modified=None):
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)
    if modified is not None:
        os.utime(path, (modified, modified))
    return path


CORPUS = pathlib.Path(__file__).parents[1] / "fuzz" / "corpus"  # files that the fuzz targets begin with


def patched(data, at, value):
    return data[:at] + value + data[at + len(value):]


def spoilt(data):
    """The file, cut short in three places, and with the largest number and none in many."""
    yield from (data, *(data[:len(data) * part // 4] for part in (1, 2, 3)))
    for at in range(0, len(data), max(4, len(data) // 20)):
        yield from (patched(data, at, b"\xff\xff\xff\xff"), patched(data, at, bytes(4)))


ARTISTS = ("Abba", "Madonna", "Queen", "Sigur Rós")


def small_library(directory):
    """Four artists with two albums of three tracks each, one without any tag, and one file that is no music.

    Returns {path: {"title": ..., "artist": ..., "album": ..., "track": ...}} of the tracks with tags."""
    tracks = {}
    for artist in ARTISTS:
        for album in ("First & Last", "<Second>"):
            for number in (1, 2, 3):
                tags = {"title": f"{artist} {album[0]}{number}", "artist": artist, "album": f"{artist}: {album}",
                        "genre": "Pop" if number < 3 else "Rock", "year": 1990 + number, "track": number}
                path = pathlib.Path(directory) / artist / album[:5] / f"{number:02d}.mp3"
                tracks[write(path, mp3(**tags, seconds=number))] = tags
    write(pathlib.Path(directory) / "untagged.mp3", mp3())
    write(pathlib.Path(directory) / "notes.txt", b"not for receivers\n")
    return tracks
