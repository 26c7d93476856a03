#!/usr/bin/env python3
"""Makes music libraries of invented artists: real MP3 files, the same ones at every run.

usage: make_library.py sample DIRECTORY                 some 240 tracks of a few seconds with covers, about 17 MB
       make_library.py many DIRECTORY [--tracks N]      N tracks of 1.5 kB each (100,000) for measurements

The tracks are silent; where ffmpeg is installed those of the sample are quiet tones (--silent leaves it alone).
"""
import argparse
import os
import random
import shutil
import struct
import subprocess
import sys

FRAMES_PER_SECOND = 44100 / 1152
# MPEG-1 Layer III, 128 kbit/s, 44100 Hz, stereo. Side information of zeros means no data at all: silence.
SILENT_FRAME = bytes([0xFF, 0xFB, 0x90, 0x00]) + bytes(413)
TONE_SECONDS = 6

GENRES = ["Ambient", "Ballad", "Blues", "Celtic", "Chamber Music", "Chanson", "Country", "Dance", "Electronic", "Folk",
          "Funk", "Gospel", "Jazz", "Latin", "Metal", "Pop", "Reggae", "Rock", "Soul", "Swing"]
FIRST_YEAR, YEARS = 1970, 50
CONSONANTS, VOWELS = "bdfgklmnprstvz", "aeiou"
ADJECTIVES = ["Amber", "Borrowed", "Cold", "Distant", "Early", "Faded", "Golden", "Hollow", "Idle", "Late", "Narrow",
              "Northern", "Open", "Paper", "Quiet", "Restless", "Salt", "Tall", "Unsent", "Winter"]
NOUNS = ["Anchors", "Bridges", "Chimneys", "Drifts", "Embers", "Ferries", "Gardens", "Harbours", "Islands", "Kites",
         "Lanterns", "Maps", "Orchards", "Rooftops", "Shorelines", "Stairways", "Telegrams", "Tides", "Wheels", "Windows"]
PLACES = ["at Dawn", "at the Border", "by the Canal", "for Nobody", "in Autumn", "in the Attic", "of Glass", "on Sunday",
          "over Water", "under Snow"]


def syncsafe(value):
    return bytes(value >> shift & 0x7F for shift in (21, 14, 7, 0))


def frame(name, data):
    return name.encode() + struct.pack(">IH", len(data), 0) + data


def text_frame(name, text):
    """ISO-8859-1 where it will do, UTF-16 with a byte-order mark otherwise: ID3v2.3 knows nothing else."""
    try:
        return frame(name, b"\0" + text.encode("latin-1"))
    except UnicodeEncodeError:
        return frame(name, b"\1\xFF\xFE" + text.encode("utf-16-le"))


def id3v2(track, cover=b""):
    frames = b"".join(text_frame(name, str(track[key])) for name, key in
                      (("TIT2", "title"), ("TPE1", "artist"), ("TALB", "album"), ("TCON", "genre"), ("TYER", "year")))
    frames += text_frame("TRCK", f"{track['number']}/{track['of']}")
    if cover:
        frames += frame("APIC", b"\0image/jpeg\0\3\0" + cover)
    return b"ID3\3\0\0" + syncsafe(len(frames)) + frames


def id3v1(track):
    def field(text, width):
        return text.encode("latin-1", "replace")[:width].ljust(width, b"\0")
    genre = {"Blues": 0, "Country": 2, "Dance": 3, "Jazz": 8, "Pop": 13, "Rock": 17}.get(track["genre"], 12)
    return (b"TAG" + field(track["title"], 30) + field(track["artist"], 30) + field(track["album"], 30)
            + field(str(track["year"]), 4) + bytes(29) + bytes([track["number"], genre]))


# ---- covers: a JPEG encoder for pictures of one colour per 8 x 8 block (ITU-T T.81, baseline, no subsampling)

# Code lengths and values of the DC categories (T.81, table K.3); of AC codes only "end of block" is needed.
DC_LENGTHS = [0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0]
DC_CODES = {0: "00", 1: "010", 2: "011", 3: "100", 4: "101", 5: "110", 6: "1110", 7: "11110", 8: "111110",
            9: "1111110", 10: "11111110", 11: "111111110"}
END_OF_BLOCK = "00"


def jpeg(blocks):
    """blocks: rows of (red, green, blue), one for every 8 x 8 pixels."""
    def segment(marker, data):
        return struct.pack(">BBH", 0xFF, marker, len(data) + 2) + data
    height, width = 8 * len(blocks), 8 * len(blocks[0])
    bits, previous = [], [0, 0, 0]
    for row in blocks:
        for red, green, blue in row:
            luma = 0.299 * red + 0.587 * green + 0.114 * blue
            # With a quantiser of 8 the coefficient is the block's level itself.
            for i, level in enumerate((luma - 128, 0.564 * (blue - luma), 0.713 * (red - luma))):
                difference = round(level) - previous[i]
                previous[i] += difference
                size = abs(difference).bit_length()
                value = difference if difference >= 0 else difference + (1 << size) - 1
                bits.append(DC_CODES[size] + (format(value, f"0{size}b") if size else "") + END_OF_BLOCK)
    stream = "".join(bits)
    stream += "1" * (-len(stream) % 8)
    scan = int(stream, 2).to_bytes(len(stream) // 8, "big").replace(b"\xFF", b"\xFF\0")
    components = b"".join(bytes([number, 0x11, 0]) for number in (1, 2, 3))
    return (b"\xFF\xD8" + segment(0xE0, b"JFIF\0\1\1\0\0\1\0\1\0\0") + segment(0xDB, b"\0" + bytes([8] * 64))
            + segment(0xC0, struct.pack(">BHHB", 8, height, width, 3) + components)
            + segment(0xC4, b"\0" + bytes(DC_LENGTHS) + bytes(range(12)))
            + segment(0xC4, b"\x10" + bytes([0, 1] + [0] * 14) + b"\0")
            + segment(0xDA, bytes([3, 1, 0, 2, 0, 3, 0, 0, 63, 0])) + scan
            + b"\xFF\xFF\xFF\xD9")  # fill bytes, because some decoders read ahead of the end


def cover(chance):
    """A symmetric pattern of two colours, 160 x 160 pixels."""
    paper = tuple(chance.randrange(150, 256) for _ in range(3))
    ink = tuple(chance.randrange(0, 130) for _ in range(3))
    rows = []
    for _ in range(10):
        half = [chance.random() < 0.5 for _ in range(5)]
        row = [ink if cell else paper for cell in half + half[::-1] for _ in range(2)]
        rows += [row, row]
    return jpeg(rows)


# ---- sound

def tone(hertz):
    """Some seconds of a quiet tone as whole frames; none where ffmpeg cannot make them."""
    try:
        made = subprocess.run(
            ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"sine=frequency={hertz:.3f}:duration={TONE_SECONDS + 1}",
             "-af", "volume=0.3", "-ac", "2", "-ar", "44100", "-c:a", "libmp3lame", "-b:a", "128k", "-write_xing", "0",
             "-id3v2_version", "0", "-bitexact", "-f", "mp3", "-"], capture_output=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return []
    frames, at = [], 0
    while made[at:at + 2] == b"\xFF\xFB":
        length = 417 + (made[at + 2] >> 1 & 1)  # the padding bit
        frames.append(made[at:at + length])
        at += length
    return frames


def tones():
    """One octave; empty where no tone can be made."""
    octave = [tone(220 * 2 ** (step / 12)) for step in range(12)] if shutil.which("ffmpeg") else []
    return octave if all(octave) else []


def sound(seconds, frames):
    count = round(seconds * FRAMES_PER_SECOND)
    return b"".join(frames[:count]) if frames else SILENT_FRAME * count


# ---- names

def invented_word(chance, syllables):
    return "".join(chance.choice(CONSONANTS) + chance.choice(VOWELS) for _ in range(syllables)).capitalize()


def distinct(make, count):
    """count different results of make()."""
    found = {}
    while len(found) < count:
        found[make()] = None
    return list(found)


def artist_names(chance, count):
    return distinct(lambda: f"{invented_word(chance, chance.randint(2, 3))} {invented_word(chance, chance.randint(2, 3))}",
                    count)


def album_title(chance):
    return f"{chance.choice(ADJECTIVES)} {chance.choice(NOUNS)} {chance.choice(PLACES)}"


def song_titles(chance, count):
    return distinct(lambda: f"{chance.choice(ADJECTIVES)} {chance.choice(NOUNS)}", count)


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


# ---- the libraries

def make_sample(directory, silent):
    chance = random.Random(20)
    octave = [] if silent else tones()
    # Some names that one byte per character cannot hold.
    artists = artist_names(chance, 9) + ["Jörund & the Øster", "Лирана Ветрова", "Żaneta Mółka"]

    def add(path, track, picture=b"", old_tags=False):
        seconds, step = chance.uniform(3, TONE_SECONDS), chance.randrange(12)
        audio = sound(seconds, octave[step] if octave else [])
        os.makedirs(os.path.dirname(path), exist_ok=True)
        write(path, audio + id3v1(track) if old_tags else id3v2(track, picture) + audio)

    for artist_number, artist in enumerate(artists):
        genre = chance.choice(GENRES)
        for album_number in range(2):
            album, year, picture = album_title(chance), FIRST_YEAR + chance.randrange(YEARS), cover(chance)
            titles = song_titles(chance, chance.randint(8, 10))
            old_tags = artist_number in (0, 1) and album_number == 0
            for number, title in enumerate(titles, 1):
                track = {"title": title, "artist": artist, "album": album, "genre": genre, "year": year,
                         "number": number, "of": len(titles)}
                add(os.path.join(directory, artist, album, f"{number:02} {title}.mp3"), track, picture, old_tags)

    album, picture = "Harbour Lights", cover(chance)
    titles = song_titles(chance, len(artists))
    for number, (title, artist) in enumerate(zip(titles, artists), 1):
        track = {"title": title, "artist": artist, "album": album, "genre": "Folk", "year": 2015, "number": number,
                 "of": len(titles)}
        add(os.path.join(directory, "Compilations", album, f"{number:02} {artist} - {title}.mp3"), track, picture)


def make_many(directory, tracks):
    """At 100,000 tracks 2,000 artists with four albums each, one genre an artist and one year an album."""
    chance = random.Random(tracks)
    per_album = 25 / 2
    albums = max(1, round(tracks / per_album))
    artists = artist_names(chance, max(1, -(-albums // 4)))
    audio = SILENT_FRAME * 3
    made = 0
    for album_number in range(albums):
        artist_number = album_number // 4
        artist = artists[artist_number]
        album = f"{album_title(chance)} {album_number % 4 + 1}"
        year = FIRST_YEAR + chance.randrange(YEARS)
        end = tracks if album_number == albums - 1 else round((album_number + 1) * per_album)
        count = min(end, tracks) - made
        folder = os.path.join(directory, artist, album)
        os.makedirs(folder)
        for number, title in enumerate(song_titles(chance, count), 1):
            track = {"title": title, "artist": artist, "album": album, "genre": GENRES[artist_number % len(GENRES)],
                     "year": year, "number": number, "of": count}
            write(os.path.join(folder, f"{number:02} {title}.mp3"), id3v2(track) + audio)
        made += count


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    kinds = parser.add_subparsers(dest="kind", required=True)
    sample = kinds.add_parser("sample")
    sample.add_argument("directory")
    sample.add_argument("--silent", action="store_true", help="no tones, even if ffmpeg is there")
    many = kinds.add_parser("many")
    many.add_argument("directory")
    many.add_argument("--tracks", type=int, default=100_000)
    arguments = parser.parse_args()
    if os.path.isdir(arguments.directory) and os.listdir(arguments.directory):
        sys.exit(f"make_library.py: {arguments.directory} is not empty")
    os.makedirs(arguments.directory, exist_ok=True)
    if arguments.kind == "sample":
        make_sample(arguments.directory, arguments.silent)
    elif arguments.tracks < 1:
        sys.exit("make_library.py: at least one track, please")
    else:
        make_many(arguments.directory, arguments.tracks)


if __name__ == "__main__":
    main()
