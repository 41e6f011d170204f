"""One JSON object per line on stdout, flushed at once.

The reader on the other side splits on line feeds and decodes each line on
its own, so a line must never be held back in a buffer: a status that shows up
a second late looks like a stall. Optional fields passed as None are left out
rather than sent as null, which is what the tool does; the garbage scenario
sends explicit nulls on purpose through `raw`.
"""

import json
import sys


class StdoutGone(Exception):
    """The reading end went away; there is nobody left to talk to."""


class EventWriter:
    def __init__(self, stream=None):
        self.stream = stream if stream is not None else sys.stdout.buffer
        self.count = 0

    @staticmethod
    def encode(event, fields):
        obj = {"event": event}
        for key, value in fields.items():
            if value is not None:
                obj[key] = value
        # allow_nan=False: the program treats a non-finite number as a broken line,
        # and the tool never sends one.
        text = json.dumps(obj, separators=(",", ":"), ensure_ascii=False, allow_nan=False)
        return text.encode("utf-8") + b"\n"

    def emit(self, event, **fields):
        self.raw(self.encode(event, fields))
        self.count += 1

    def raw(self, data, flush=True):
        try:
            self.stream.write(data)
            if flush:
                self.stream.flush()
        except (BrokenPipeError, ValueError, OSError) as exc:
            raise StdoutGone() from exc
