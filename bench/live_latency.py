#!/usr/bin/env python3
"""How long a message takes from its last byte on the line to its packet in a pipe.

  live_latency.py VELTRA [MESSAGES]

Plays numbered AT messages along a pseudo-terminal at the pace of a 1000000 baud line, in
pieces of 100 bytes, to `veltra capture -o -`, and reads the pcapng blocks as they come.
Prints the median, the 99th percentile and the maximum in milliseconds. The capture, the
modem and the reader share one machine; nothing else should run on it.
"""
import multiprocessing
import os
import struct
import subprocess
import sys
import tempfile
import time
import tty

SECONDS_PER_BYTE = 10e-6  # one start bit, eight data bits, one stop bit
PIECE = 100


def text_of(number):
    return "+LATENCY: %06d" % number


def write_session(path, count):
    with open(path, "w", encoding="utf-8") as session:
        for number in range(count):
            session.write("%d\tat\t%s\n" % (20 + 10 * number, text_of(number).encode().hex()))


def simulate(veltra, directory, count):
    """The trace of the first `count` messages."""
    session = os.path.join(directory, "session.tsv")
    trace = os.path.join(directory, "trace.bin")
    write_session(session, count)
    subprocess.run([veltra, "simulate", session, "--trace", trace, "--database",
                    os.path.join(directory, "database.json")], check=True,
                   stdout=subprocess.DEVNULL)
    with open(trace, "rb") as file:
        return file.read()


def read_blocks(descriptor, count, ready, arrivals):
    """Notes when each message's block is complete."""
    pending = b""
    found = {}
    while len(found) < count:
        more = os.read(descriptor, 1 << 16)
        if not more:
            break
        now = time.monotonic()
        pending += more
        while len(pending) >= 8:
            size = struct.unpack_from("<I", pending, 4)[0]
            if len(pending) < size:
                break
            block, pending = pending[:size], pending[size:]
            at = block.find(b"+LATENCY: ")
            if at >= 0:
                found[int(block[at + 10:at + 16])] = now
            ready.set()
    arrivals.send(found)


def send(line, trace, ends):
    """Returns when the last byte of each message was sent."""
    sent = []
    due = time.monotonic()
    begin = 0
    for end in ends:
        while begin < end:
            piece = trace[begin:min(begin + PIECE, end)]
            due = max(due, time.monotonic() - 0.001) + len(piece) * SECONDS_PER_BYTE
            while time.monotonic() < due:
                pass
            os.write(line, piece)
            begin += len(piece)
        sent.append(time.monotonic())
        # As seldom as messages are; a line that is always busy measures throughput.
        due += 0.003
    return sent


def main():
    veltra = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 500
    with tempfile.TemporaryDirectory() as directory:
        ends = [len(simulate(veltra, directory, number + 1)) for number in range(count)]
        trace = simulate(veltra, directory, count)
        line, device = os.openpty()
        tty.setraw(device)
        capture = subprocess.Popen(
            [veltra, "capture", "--port", os.ttyname(device), "--database",
             os.path.join(directory, "database.json"), "-o", "-"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        os.set_blocking(line, True)
        result, arrivals = multiprocessing.Pipe(False)
        ready = multiprocessing.Event()
        reader = multiprocessing.Process(
            target=read_blocks, args=(capture.stdout.fileno(), count, ready, arrivals))
        reader.start()
        ready.wait()  # the section header: the port is about to be opened
        time.sleep(1)
        sent = send(line, trace, ends)
        found = result.recv()
        capture.terminate()
        capture.wait()
        reader.join()
    late = sorted((found[number] - sent[number]) * 1000 for number in found)
    print("%d of %d messages; median %.2f ms, 99th percentile %.2f ms, maximum %.2f ms"
          % (len(late), count, late[len(late) // 2], late[len(late) * 99 // 100], late[-1]))


main()
