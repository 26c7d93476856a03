"""Pictures for the system tests: made by ffmpeg, marked by exiftool, taken apart by ffmpeg."""

import re
import subprocess


def _run(*command, data=b""):
    done = subprocess.run(command, input=data, capture_output=True, timeout=120, check=False)
    assert done.returncode == 0, done.stderr.decode()[-2000:]
    return done.stdout


def make(path, width, height, picture="testsrc2", pixels="yuvj420p"):
    """A JPEG file of one of ffmpeg's test pictures."""
    path.parent.mkdir(parents=True, exist_ok=True)
    _run("ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i", f"{picture}=size={width}x{height}",
         "-frames:v", "1", "-pix_fmt", pixels, "-strict", "unofficial", str(path))
    return path


def mark(path, *tags):
    """Writes EXIF tags ("-ImageDescription=A ship") as cameras do."""
    _run("exiftool", "-q", "-overwrite_original", *tags, str(path))


def decode(jpeg):
    """(width, height, RGB bytes) of a JPEG, not turned whatever it says about the camera."""
    image = _run(*"ffmpeg -loglevel error -noautorotate -f mjpeg -i - -f image2pipe -c:v ppm -".split(), data=jpeg)
    head = re.match(rb"P6\n(\d+) (\d+)\n255\n", image)
    return int(head[1]), int(head[2]), image[head.end():]


def size(jpeg):
    return decode(jpeg)[:2]


def pixel(image, x, y):
    width, _, rgb = image
    return tuple(rgb[(y * width + x) * 3:][:3])
