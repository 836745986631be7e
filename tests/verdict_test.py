#!/usr/bin/env python3
"""Checks the verdicts of `kelflac check` against those of `flac -t`, on files and on copies that are
damaged at random. Copies with a complaint go to $KELFLAC_KEEP, if that is set.
Usage: verdict_test.py KELFLAC COPIES SEED FILE..."""
import json
import os
import random
import re
import subprocess
import sys
import tempfile

# The reasons that a file may have though `flac -t` accepts it.
BESIDES = {"audio-past-end", "foreign-bytes", "rate-contradicts", "channels-contradict",
           "bits-contradict", "block-size-contradicts", "frame-size-contradicts",
           "frame-out-of-order"}
# The plug-in's reasons for a damaged or odd file. docs/behaviour.md explains the cases.
NAMED = {"variable-block-size", "small-blocks", "no-rate", "32-bits", "two-id3v2-tags", "no-marker",
         "no-streaminfo", "no-frame", "streaminfo-not-first", "damaged", "frame-too-large", "left-out",
         "samples-differ", "format", "no-header"}


def frames_of(path):
    listing = subprocess.run(["flac", "-sac", path], capture_output=True, text=True).stdout
    return [int(at) for at in re.findall(r"^frame=\d+\toffset=(\d+)", listing, re.M)]


def flip(data, frames, rng):
    for _ in range(rng.choice([1, 1, 2, 40])):
        data[rng.randrange(len(data))] ^= 1 << rng.randrange(8)
    return data


def cut(data, frames, rng):
    at = rng.randrange(len(data))
    return data[:at] + data[at + rng.choice([1, 100, 1000, 20000, len(data)]):]


def insert(data, frames, rng):
    at = rng.randrange(len(data))
    return data[:at] + rng.randbytes(rng.choice([1, 100, 10000])) + data[at:]


def swap(data, frames, rng):
    if len(frames) < 4:
        return flip(data, frames, rng)
    a, b, c = sorted(rng.sample(frames, 3))
    return data[:a] + data[b:c] + data[a:b] + data[c:]


def append(data, frames, rng):
    tail = frames[rng.randrange(len(frames)):] if frames else [len(data)]
    return data + rng.choice([b"TAG".ljust(128, b"\0"), b"APETAGEX".ljust(5000), data[tail[0]:],
                              bytes(200000), rng.randbytes(3000)])


def header(data, frames, rng):
    data[4 + rng.randrange(60)] ^= 1 << rng.randrange(8)
    return data


DAMAGES = [flip, cut, insert, swap, append, header]


def complaints(record, accepted):
    file, plugin = record["stream"], record["plugin"]
    codes = {reason["code"] for reason in file["reasons"]}
    if (file["verdict"] == "damaged") != bool(codes):
        yield "verdict and reasons don't agree"
    if not accepted and not codes:
        yield "flac -t refuses it"
    if accepted and not codes <= BESIDES:
        yield f"flac -t accepts it and sees no {codes - BESIDES}"
    odd = {reason["code"] for reason in plugin["reasons"]} - NAMED
    if file["verdict"] == "sound" and plugin["verdict"] == "wrong":
        yield f"the file is sound, and the plug-in is called wrong for {plugin['reasons']}"
    if odd:
        yield f"the plug-in is called {plugin['verdict']} for {odd}"


def main():
    kelflac, copies, seed, sources = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4:]
    rng = random.Random(int(seed))
    frames = {}
    with tempfile.TemporaryDirectory() as folder:
        for number in range(copies):
            source = rng.choice(sources)
            with open(source, "rb") as file:
                data = bytearray(file.read())
            if source not in frames:
                frames[source] = frames_of(source)
            damage = rng.choice(DAMAGES)
            path = f"{folder}/{number:04} {damage.__name__} {os.path.basename(source)}"
            with open(path, "wb") as file:
                file.write(damage(data, frames[source], rng))
        checked = subprocess.run([kelflac, "check", "-j2", "--json", folder, *sources],
                                 capture_output=True, text=True)
        records = [json.loads(line) for line in checked.stdout.splitlines()]
        bad = 0
        verdicts = {}
        for record in sorted(records, key=lambda r: r["file"]):
            accepted = subprocess.run(["flac", "-ts", record["file"]], capture_output=True).returncode == 0
            key = (accepted, record["stream"]["verdict"], record["plugin"]["verdict"])
            verdicts[key] = verdicts.get(key, 0) + 1
            for complaint in complaints(record, accepted):
                print(f"{os.path.basename(record['file'])}: {complaint}")
                bad += 1
                keep = os.environ.get("KELFLAC_KEEP")
                if keep:
                    subprocess.run(["cp", record["file"], keep])
    for (accepted, file, plugin), count in sorted(verdicts.items()):
        print(f"{count:5} flac -t {'accepts' if accepted else 'refuses'}, file {file}, plug-in {plugin}")
    sys.exit(bad > 0 or len(records) != copies + len(sources) or checked.returncode != 1)


main()
