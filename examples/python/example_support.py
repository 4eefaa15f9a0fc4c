"""What the examples share."""

import io
import os
import sys

# A mail text may hold more than the terminal's character set does.
for _stream in (sys.stdout, sys.stderr):
    if isinstance(_stream, io.TextIOWrapper):
        _stream.reconfigure(errors="backslashreplace")


def arguments(names):
    """The program's arguments, one for each of the names; ends the program with its usage if there
    are more or fewer."""
    given = sys.argv[1:]
    if len(given) != len(names.split()):
        print(f"usage: {os.path.basename(sys.argv[0])} {names}", file=sys.stderr)
        sys.exit(2)
    return given


def server(text):
    """Host and port of "HOST:PORT"."""
    host, _, port = text.rpartition(":")
    if not host or not port.isdecimal() or not 0 < int(port) < 65536:
        sys.exit(f"want HOST:PORT, not {text}")
    return host, int(port)


def check(thing, step):
    """Ends the program with the catalogue's text when the last operation failed."""
    if thing.LastError != 0:
        sys.exit(f"{step}: {thing.LastError} {thing.GetErrorDescription(thing.LastError)}")
