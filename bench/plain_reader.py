#!/usr/bin/env python3
"""A straightforward reader of a trace, for scale: its frames as JSON Lines.

  plain_reader.py TRACE > FRAMES.jsonl

Finds the frames of docs/frame-format.md, undoes their stuffing, checks them and writes the
fields of each as an object. It looks nothing up in a database. Holds the whole trace in
memory.
"""
import json
import re
import struct
import sys
import zlib

HEADER = struct.Struct("<BIIQ")  # version, master, sequence, time
ESCAPED = re.compile(b"\x7d(.)", re.DOTALL)


def unstuff(frame):
    return ESCAPED.sub(lambda found: bytes([found.group(1)[0] ^ 0x20]), frame)


def frames(trace):
    # What precedes the first flag and follows the last belongs to no frame.
    for stuffed in trace.split(b"\x7e")[1:-1]:
        frame = unstuff(stuffed) if b"\x7d" in stuffed else stuffed
        if len(frame) < HEADER.size + 4:
            continue
        content, check = frame[:-4], frame[-4:]
        if zlib.crc32(content) == int.from_bytes(check, "little") and content[0] == 1:
            yield HEADER.unpack_from(content)[1:] + (content[HEADER.size:],)


def main():
    with open(sys.argv[1], "rb") as file:
        trace = file.read()
    for master, sequence, time, payload in frames(trace):
        line = {"master": master, "sequence": sequence, "time": time, "payload": payload.hex()}
        sys.stdout.write(json.dumps(line) + "\n")


main()
