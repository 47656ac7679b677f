#!/usr/bin/env python3
"""A host in Python: decodes a trace file, or a modem's trace live from a serial port, and
prints a JSON object for each packet. Ctrl-C ends it. Needs nothing but Python 3.8.

    host.py file TRACE DATABASE
    host.py port DEVICE DATABASE

VELTRA_PLUGIN_DIRECTORY is where the plug-in is:
    pkg-config --variable=plugindir kovax-veltra-source
"""
import ctypes
import json
import os
import signal
import sys
import threading
from ctypes import POINTER, c_char_p, c_int32, c_uint8, c_uint32, c_uint64, c_void_p

# The records and callbacks of kovax/source.h, as they are there.
RESULT_OK, RESULT_FAILED = 0, 100
LOG_RECOVERABLE_FAILURE = 5


class Error(ctypes.Structure):
    _fields_ = [("message", c_char_p), ("code", c_int32)]


class Packet(ctypes.Structure):
    _fields_ = [("data", POINTER(c_uint8)), ("data_size", c_uint32), ("field_12", c_uint32),
                ("format", c_char_p), ("category", c_char_p), ("field_32", c_uint64),
                ("timestamp", c_uint64), ("metadata", c_char_p),
                ("sequence_number", c_uint64), ("field_64", c_uint64)]


LogCallback = ctypes.CFUNCTYPE(None, c_void_p, c_void_p, c_int32, c_char_p)
ErrorCallback = ctypes.CFUNCTYPE(None, c_void_p, Error)
PacketCallback = ctypes.CFUNCTYPE(None, c_void_p, c_void_p, Packet)


class InitArgs(ctypes.Structure):
    _fields_ = [("parameters", c_char_p), ("log_user_data", c_void_p), ("log", LogCallback),
                ("error_user_data", c_void_p), ("error", ErrorCallback)]


def load_plugin():
    directory = os.environ.get("VELTRA_PLUGIN_DIRECTORY", "/usr/lib/kovax")
    plugin = ctypes.CDLL(os.path.join(directory, "kovax-veltra-source.kovax"))
    plugin.kovax_source_init.argtypes = [POINTER(c_void_p), POINTER(InitArgs)]
    plugin.kovax_source_start.argtypes = [c_void_p, c_void_p, PacketCallback]
    plugin.kovax_source_stop.argtypes = [c_void_p]
    plugin.kovax_source_release.argtypes = [c_void_p]
    plugin.kovax_source_get_last_error.argtypes = [c_void_p, c_void_p, ErrorCallback]
    plugin.kovax_source_get_last_error.restype = None
    return plugin


class Source:
    """One instance of the plug-in. Raises RuntimeError for every failure."""

    def __init__(self, plugin, parameters):
        self._plugin = plugin
        self._handle = c_void_p()
        self._log = LogCallback(self._print_log)  # is called until release
        failures = []
        error = ErrorCallback(lambda _, each: failures.append(each.message.decode()))
        args = InitArgs(json.dumps(parameters).encode(), None, self._log, None, error)
        if plugin.kovax_source_init(self._handle, args) != RESULT_OK:
            raise RuntimeError(failures[0])

    def run(self, on_packet):
        """Calls on_packet(Packet) until the input has ended (returns True) or stop() has
        ended it (returns False). What a packet points to is valid during the call only."""
        callback = PacketCallback(lambda _source, _data, packet: on_packet(packet))
        result = self._plugin.kovax_source_start(self._handle, None, callback)
        if result == RESULT_OK:
            return True
        text = self._last_error()
        # A serial run that waits when it is stopped ends with this code and text. That is what
        # was asked for and not a failure; a port that was lost has another text.
        if result == RESULT_FAILED and text == "stop extracting":
            return False
        raise RuntimeError(f"{text} ({result})")

    def stop(self):
        """Any thread."""
        self._plugin.kovax_source_stop(self._handle)

    def release(self):
        self._plugin.kovax_source_release(self._handle)

    def _last_error(self):
        texts = []
        keep = ErrorCallback(lambda _, error: texts.append(error.message.decode()))
        self._plugin.kovax_source_get_last_error(self._handle, None, keep)
        return texts[0]

    @staticmethod
    def _print_log(_source, _data, level, message):
        if level == LOG_RECOVERABLE_FAILURE:
            print("note:", message.decode(errors="replace"), file=sys.stderr)


def print_packet(packet):
    if packet.format == b"modem_trace":  # the input's own bytes
        return
    print(json.dumps({"sequence": packet.sequence_number, "timestamp": packet.timestamp,
                      "layer": packet.format.decode(),
                      "data": ctypes.string_at(packet.data, packet.data_size).hex(),
                      "metadata": json.loads(packet.metadata)}), flush=True)


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("file", "port"):
        sys.exit(__doc__)
    kind, name, database = sys.argv[1:]
    # A live read waits for "chunk_size" bytes and then takes all there are.
    parameters = {"file_path": name} if kind == "file" else {
        "serialport": {"path": name}, "chunk_size": 1}
    source = Source(load_plugin(), {**parameters, "db_file_path": database})

    # start blocks the thread that it runs in, where Python would handle signals. So a thread
    # waits for them; they are blocked before it exists, so that only it gets them.
    signals = {signal.SIGINT, signal.SIGTERM, signal.SIGUSR1}
    signal.pthread_sigmask(signal.SIG_BLOCK, signals)

    def stop_at_signal():
        while signal.sigwait(signals) != signal.SIGUSR1:  # which says that the run has ended
            source.stop()

    waiter = threading.Thread(target=stop_at_signal)
    waiter.start()
    try:
        source.run(print_packet)
    except RuntimeError as error:
        sys.exit(f"error: {error}")
    finally:
        signal.pthread_kill(waiter.ident, signal.SIGUSR1)
        waiter.join()
        source.release()


if __name__ == "__main__":
    main()
