"""Zorvane from Python, by nothing but ctypes: a short session with an event of its own.

    first_events.py LIBZORVANE_SO PROTOCOL HOST PORT DATA_DIRECTORY
"""
import atexit
import sys
import time
from ctypes import CDLL, CFUNCTYPE, Structure, byref, c_bool, c_char_p, c_double, c_int, c_int64, c_size_t, c_void_p
from ctypes import create_string_buffer, sizeof

GAME_KEY = b"0123456789abcdef0123456789ABCDEF"
GAME_SECRET = b"0123456789abcdef0123456789ABCDEF01234567"
ABSENT = c_size_t(-1).value
SEVERITY_WARNING = 3


class Platform(Structure):
    _fields_ = (
        [("size", c_size_t)]
        + [(name, c_char_p) for name in ("bundle_identifier", "version", "build", "internal_build", "receipt_path",
                                         "resource_directory")]
        + [("device", c_void_p)]
        + [(name, c_char_p) for name in ("data_directory", "collector_protocol", "collector_hostname", "collector_port",
                                         "app_store_hostname", "certificate_authority_file")]
        + [("connect_timeout_seconds", c_double), ("request_timeout_seconds", c_double), ("pumped_main_loop", c_bool),
           ("exit_seconds", c_double), ("background_seconds", c_double)]
    )


LogCallback = CFUNCTYPE(None, c_int, c_char_p, c_void_p)

FUNCTIONS = {  # name: (result, arguments)
    "platform_install": (c_bool, [c_void_p]),
    "set_log_callback": (None, [LogCallback, c_void_p]),
    "set_enabled_info_log": (None, [c_bool]),
    "initialize": (None, [c_char_p, c_char_p]),
    "is_remote_configs_ready": (c_bool, []),
    "remote_configs_value": (c_size_t, [c_char_p, c_char_p, c_char_p, c_size_t]),
    "map_create": (c_void_p, []),
    "map_destroy": (None, [c_void_p]),
    "map_set_int64": (c_bool, [c_void_p, c_char_p, c_int64]),
    "map_set_text": (c_bool, [c_void_p, c_char_p, c_char_p]),
    "add_design_event_with_value": (None, [c_char_p, c_double, c_void_p, c_bool]),
    "add_error_event": (None, [c_int, c_char_p, c_void_p, c_bool]),
    "did_enter_background": (None, []),
    "flush": (None, []),
    "detach_callbacks": (None, []),
}


class Zorvane:
    """The functions of zorvane_c.h that this program calls, without their prefix."""

    def __init__(self, path):
        library = CDLL(path)
        for name, (result, arguments) in FUNCTIONS.items():
            function = getattr(library, "zorvane_" + name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)
        self.listener = None
        atexit.register(self.leave)

    def listen(self, listener):
        self.listener = LogCallback(listener)  # must live as long as it is set
        self.set_log_callback(self.listener, None)

    def leave(self):
        """The library's threads go on when the interpreter is gone: nothing of it may be called then."""
        self.detach_callbacks()


def main(path, protocol, host, port, data_directory):
    zorvane = Zorvane(path)
    lines = []
    zorvane.listen(lambda kind, line, user: lines.append(line.decode()))

    platform = Platform(size=sizeof(Platform), bundle_identifier=b"com.example.snake", collector_protocol=protocol.encode(),
                        collector_hostname=host.encode(), collector_port=port.encode(),
                        data_directory=data_directory.encode())
    if not zorvane.platform_install(byref(platform)):
        return 1
    zorvane.set_enabled_info_log(True)
    zorvane.initialize(GAME_KEY, GAME_SECRET)
    deadline = time.monotonic() + 10
    while not zorvane.is_remote_configs_ready() and time.monotonic() < deadline:
        time.sleep(0.016)

    lives = create_string_buffer(8)
    if zorvane.remote_configs_value(b"lives", b"3", lives, len(lives)) != ABSENT:
        print("lives:", lives.value.decode())
    fields = zorvane.map_create()
    zorvane.map_set_text(fields, b"weapon", "Bögen".encode())
    zorvane.map_set_int64(fields, b"arrows", 12)
    zorvane.add_design_event_with_value(b"castle:hits", 17.5, fields, False)
    zorvane.map_destroy(fields)
    zorvane.add_error_event(SEVERITY_WARNING, "the harbour's music is missing".encode(), None, False)
    zorvane.flush()  # sends what waits now
    zorvane.did_enter_background()  # ends the session; the exit waits a moment for its events to be sent
    print("log:", len(lines), "lines")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
