"""The capture CSV, its raw-throughput side file and captures.json.

The program reads the CSV by column position and splits at every comma, with
no quoting, so nothing we write may contain a comma, and the details column is
`key=value` items separated by single blanks. Values that could hold a blank or
a comma (SSIDs, note texts, locations) are percent-encoded for exactly those
characters.

Columns: 0 time, 1 row type, 2 target, 3 value (ms, or dBm on a wifi row),
4 lost flag "1"/"0", 5 sequence number, 6 hop count, 7 Mbps, 8 bytes,
9 streams, 10 details.
"""

import json
import os
import time

HEADER = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details"
RAW_HEADER = "timestamp,test_num,direction,target,elapsed_ms,bytes_total,mbps_instant"

_ENCODE = {"%": "%25", " ": "%20", ",": "%2C", "\r": "%0D", "\n": "%0A", "\t": "%09"}


def encode_value(value):
    text = value if isinstance(value, str) else fmt_number(value) if isinstance(value, float) else str(value)
    if any(ch in text for ch in _ENCODE):
        text = "".join(_ENCODE.get(ch, ch) for ch in text)
    return text


def fmt_number(value, places=3):
    if value is None:
        return ""
    if isinstance(value, bool):
        return "1" if value else "0"
    if isinstance(value, int):
        return str(value)
    text = f"{value:.{places}f}".rstrip("0")
    if text.endswith("."):
        text += "0"
    return text


def format_details(items):
    if not items:
        return ""
    parts = []
    for key, value in items.items():
        if value is None:
            continue
        if isinstance(value, bool):
            value = "true" if value else "false"
        parts.append(f"{key}={encode_value(value)}")
    return " ".join(parts)


def format_row(ts, row_type, target="", value=None, lost=False, seq=None, hop_count=None,
               mbps=None, nbytes=None, streams=None, details=None):
    target = encode_value(target) if target else ""
    return ",".join((
        ts, row_type, target, fmt_number(value), "1" if lost else "0",
        "" if seq is None else str(seq),
        "" if hop_count is None else str(int(hop_count)),
        fmt_number(mbps), "" if nbytes is None else str(int(nbytes)),
        "" if streams is None else str(int(streams)),
        format_details(details),
    ))


def raw_path_for(csv_path):
    return csv_path[:-4] + "_throughput_raw.csv" if csv_path.endswith(".csv") else csv_path + "_throughput_raw.csv"


class CaptureCsv:
    """Writes rows as they happen and flushes often, so a crash or SIGTERM
    leaves a usable partial file behind."""

    FLUSH_INTERVAL = 0.25  # real seconds

    def __init__(self, path):
        self.path = path
        folder = os.path.dirname(path)
        if folder:
            os.makedirs(folder, exist_ok=True)
        self.file = open(path, "w", encoding="utf-8", newline="")
        self.file.write(HEADER + "\n")
        self.rows = 0
        self.seq = 0
        self._last_flush = time.monotonic()
        self.raw = None

    def row(self, ts, row_type, **kw):
        self.file.write(format_row(ts, row_type, **kw) + "\n")
        self.rows += 1
        self.flush_if_due()

    def next_seq(self):
        self.seq += 1
        return self.seq

    def flush_if_due(self):
        now = time.monotonic()
        if now - self._last_flush >= self.FLUSH_INTERVAL:
            self.flush()

    def flush(self):
        self.file.flush()
        if self.raw is not None:
            self.raw.flush()
        self._last_flush = time.monotonic()

    def raw_sample(self, ts, test_num, direction, target, elapsed_ms, bytes_total, mbps_instant):
        if self.raw is None:
            self.raw = open(raw_path_for(self.path), "w", encoding="utf-8", newline="")
            self.raw.write(RAW_HEADER + "\n")
        self.raw.write(",".join((ts, str(test_num), direction, encode_value(target), str(int(elapsed_ms)),
                                 str(int(bytes_total)), fmt_number(mbps_instant))) + "\n")

    def close(self):
        self.flush()
        self.file.close()
        if self.raw is not None:
            self.raw.close()
            self.raw = None


def read_json(path, default):
    try:
        with open(path, "r", encoding="utf-8") as f:
            return json.load(f)
    except (OSError, ValueError):
        return default


def write_json_atomic(path, value):
    tmp = f"{path}.tmp-{os.getpid()}"
    with open(tmp, "w", encoding="utf-8") as f:
        json.dump(value, f, indent=2, ensure_ascii=False)
        f.write("\n")
    os.replace(tmp, path)


def register_capture(csv_path, fields):
    """Adds or updates this capture's entry in captures.json beside the CSV.

    Entries of other captures and keys we don't know are kept as they are. A
    file that isn't a JSON array is moved aside rather than overwritten, so
    nothing the user had is destroyed by a capture."""
    folder = os.path.dirname(os.path.abspath(csv_path))
    path = os.path.join(folder, "captures.json")
    name = os.path.basename(csv_path)
    entries = []
    if os.path.exists(path):
        loaded = read_json(path, None)
        if isinstance(loaded, list):
            entries = loaded
        else:
            os.replace(path, f"{path}.unreadable-{int(time.time())}")
    for entry in entries:
        if isinstance(entry, dict) and entry.get("file") == name:
            entry.update(fields)
            break
    else:
        entry = {"file": name}
        entry.update(fields)
        entries.append(entry)
    write_json_atomic(path, entries)
    return path
