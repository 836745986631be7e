#!/usr/bin/env python3
"""Makes kelflac-sample.flac: a short tune with tags, a seek table and cover art.

Needs `flac` and `metaflac`. The same versions of these tools and of Python always give the same
bytes.

Usage: make_sample.py [output file]
"""

import array
import math
import pathlib
import struct
import subprocess
import sys
import tempfile
import zlib

RATE = 44100
BEAT = 0.4  # seconds
BEATS_PER_CHORD = 4
TAIL = 1.0  # seconds for the last notes to fade
GAIN = 2.0  # makes the mix two thirds of full scale
MAX_BYTES = 300_000

# MIDI note numbers: the chord's notes, then the melody, one note a beat (0 is a rest).
BARS = [
    ((48, 55, 60, 64), (76, 79, 84, 79)),
    ((45, 52, 57, 60), (76, 72, 0, 74)),
    ((41, 48, 57, 60), (77, 81, 84, 81)),
    ((43, 50, 55, 59), (79, 0, 74, 79)),
]
HARMONICS = (1.0, 0.35, 0.12)

TAGS = {
    "TITLE": "Four Chords",
    "ARTIST": "KelFLAC",
    "ALBUM": "KelFLAC Samples",
    "ALBUMARTIST": "KelFLAC",
    "COMPOSER": "KelFLAC",
    "GENRE": "Ambient",
    "DATE": "2024-05-01",
    "TRACKNUMBER": "1/3",
    "DISCNUMBER": "1",
}

COVER_SIZE = 240
COVER_PALETTE = [(24, 32, 56), (96, 200, 220), (240, 190, 90)]


def add_note(left, right, start, note, level, decay, pan):
    """Adds a note from `start` seconds on; `pan` goes from 0 (left) to 1 (right)."""
    frequency = 440.0 * 2.0 ** ((note - 69) / 12)
    first = round(start * RATE)
    for i in range(min(len(left) - first, round(5 * decay * RATE))):
        t = i / RATE
        envelope = level * math.exp(-t / decay) * min(1.0, t / 0.01)
        wave = sum(h * math.sin(2 * math.pi * frequency * (k + 1) * t)
                   for k, h in enumerate(HARMONICS))
        left[first + i] += (1 - pan) * envelope * wave
        right[first + i] += pan * envelope * wave


def make_pcm():
    """The tune as interleaved stereo samples of 16 bits, little-endian."""
    length = round((len(BARS) * BEATS_PER_CHORD * BEAT + TAIL) * RATE)
    left, right = [0.0] * length, [0.0] * length
    for bar, (chord, melody) in enumerate(BARS):
        for beat, note in enumerate(melody):
            start = (bar * BEATS_PER_CHORD + beat) * BEAT
            add_note(left, right, start, chord[beat], 0.22, 0.6, 0.4)
            if note:
                add_note(left, right, start, note, 0.16, 0.35, 0.6)
    pcm = array.array("h")
    for i in range(length):
        fade = min(1.0, (length - i) / (0.3 * RATE))
        pcm.extend(round(32767 * GAIN * fade * channel[i]) for channel in (left, right))
    if sys.byteorder == "big":
        pcm.byteswap()
    return pcm.tobytes()


def png_chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def make_cover():
    """A palette PNG: a fading wave on a dark background, and a bar for each chord's root."""
    rows = bytearray()
    for y in range(COVER_SIZE):
        rows.append(0)  # filter type: none
        for x in range(COVER_SIZE):
            wave = 95 + 60 * math.exp(-x / 110) * math.sin(x / 9)
            bar, offset = divmod(x - 20, 50)
            in_bar = 0 <= bar < len(BARS) and 0 <= offset < 40
            top = 220 - 4 * (BARS[bar][0][0] - 30) if in_bar else COVER_SIZE
            rows.append(1 if abs(y - wave) < 5 else 2 if top <= y < 220 else 0)
    header = struct.pack(">IIBBBBB", COVER_SIZE, COVER_SIZE, 8, 3, 0, 0, 0)  # 8-bit palette
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header)
            + png_chunk(b"PLTE", bytes(c for color in COVER_PALETTE for c in color))
            + png_chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + png_chunk(b"IEND", b""))


def main():
    output = (pathlib.Path(sys.argv[1]) if len(sys.argv) > 1
              else pathlib.Path(__file__).with_name("kelflac-sample.flac"))
    with tempfile.TemporaryDirectory() as folder:
        pcm, cover = pathlib.Path(folder, "pcm"), pathlib.Path(folder, "cover.png")
        pcm.write_bytes(make_pcm())
        cover.write_bytes(make_cover())
        subprocess.run(
            ["flac", "--silent", "--force", "--verify", "-8", "--seekpoint=1s", "--no-padding",
             "--force-raw-format", "--endian=little", "--sign=signed", "--channels=2", "--bps=16",
             f"--sample-rate={RATE}", "-o", output, pcm], check=True)
        subprocess.run(
            ["metaflac", *(f"--set-tag={name}={value}" for name, value in TAGS.items()),
             f"--import-picture-from=3|image/png|Cover||{cover}", output], check=True)
    subprocess.run(["flac", "--silent", "--test", output], check=True)
    if output.stat().st_size > MAX_BYTES:
        sys.exit(f"{output} is larger than {MAX_BYTES} bytes")


if __name__ == "__main__":
    main()
