"""The upload tool: finds pending captures, "sends" them and keeps uploaded.json.

Nothing leaves the machine. Sending is a wait at a simulated uplink rate
(NORVANE_SIM_UPLINK_MBPS, default 20) over the real compressed size of the
file, so the progress figures the program shows are computed from the file,
not made up.
"""

import os
import signal
import sys
import zlib
from datetime import datetime, timezone

from . import csvfile
from .clock import iso
from .capture import _silence_stdout
from .events import EventWriter, StdoutGone
from .record import home_dir
from .scenarios import UPLOAD_CRASH_TRACEBACK

DEFAULT_LIMIT_MB = 100.0


def uploaded_json_path(env):
    return os.path.join(home_dir(env), ".norvane", "uploaded.json")


def load_uploaded(env):
    value = csvfile.read_json(uploaded_json_path(env), {})
    return value if isinstance(value, dict) else {}


def pending_files(captures_dir, uploaded):
    try:
        names = os.listdir(captures_dir)
    except OSError:
        return []
    keep = [n for n in names
            if n.startswith("wifi_capture_") and n.endswith(".csv") and "throughput_raw" not in n
            and n not in uploaded and os.path.isfile(os.path.join(captures_dir, n))]
    return sorted(keep)


def _float_env(env, name, default):
    try:
        value = float(env.get(name, ""))
        return value if value > 0 else default
    except ValueError:
        return default


class UploadRun:
    def __init__(self, cmd, scenario, env, clock, out=None, err=None):
        self.cmd = cmd
        self.scenario = scenario
        self.env = env
        self.clock = clock
        self.out = out or EventWriter()
        self.err = err or sys.stderr
        self.uplink = _float_env(env, "NORVANE_SIM_UPLINK_MBPS", 20.0)

    def run(self):
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        try:
            return self._run()
        except StdoutGone:
            _silence_stdout()
            return 1

    def _say(self, text):
        self.err.write(f"norvane.manage: {text}\n")
        self.err.flush()

    def _run(self):
        sc = self.scenario
        self.clock.sleep(0.8)  # uv starting the environment
        if sc == "no_credentials":
            self._say("no storage credentials configured; nothing uploaded")
            self.out.emit("upload_skipped", reason="no_credentials")
            return 0

        uploaded = load_uploaded(self.env)
        files = pending_files(self.cmd.captures_dir, uploaded)
        self._say(f"{len(files)} pending file(s) in {self.cmd.captures_dir}")

        sizes = {name: os.path.getsize(os.path.join(self.cmd.captures_dir, name)) for name in files}
        limit_mb = _float_env(self.env, "NORVANE_SIM_UPLOAD_LIMIT_MB", 0.0) or None
        if limit_mb is None:
            limit_mb = DEFAULT_LIMIT_MB
            if sc == "oversize" and files:
                # Draw the line at a round figure under the largest file, so that it is over it.
                largest_mb = max(sizes.values()) / 1048576.0
                limit_mb = float(f"{largest_mb * 0.9:.3g}")
        oversize = {n for n, size in sizes.items() if size / 1048576.0 > limit_mb}

        self.out.emit("upload_start", total=len(files))
        if sc == "hang":
            while True:
                signal.pause()

        fail_index = min(1, len(files) - 1) if sc == "one-fails" else -1
        succeeded = failed = 0
        for index, name in enumerate(files):
            path = os.path.join(self.cmd.captures_dir, name)
            size = sizes[name]
            if name in oversize:
                self.out.emit("upload_skipped", reason="exceeds_size_limit", file=name,
                              size_mb=float(f"{size / 1048576.0:.4g}"), limit_mb=limit_mb, local_path=path)
                continue
            with open(path, "rb") as f:
                data = f.read()
            compressed = len(zlib.compress(data, 6))
            steps = 4
            for step in range(1, steps + 1):
                chunk = compressed / steps
                self.clock.sleep(0.25 + chunk * 8 / (self.uplink * 1e6))
                sent = int(compressed * step / steps)
                if sc == "crash" and index == 0 and step == 2:
                    self.err.write(UPLOAD_CRASH_TRACEBACK.replace("{directory}", self.cmd.directory.rstrip("/")))
                    self.err.flush()
                    return 1
                if index == fail_index and step == 3:
                    break
                self.out.emit("upload_progress", file=name, pct=int(round(100 * sent / compressed)) if compressed
                              else 100, bytes_sent=sent, bytes_total=compressed)
            if index == fail_index:
                failed += 1
                self.out.emit("upload_error", file=name,
                              message="storage answered HTTP 503 Service Unavailable (simulated)", retryable=True)
                continue
            self.out.emit("upload_complete", file=name, size_bytes=size, compressed_bytes=compressed)
            succeeded += 1
            self._record(name, size, compressed)
        self.out.emit("upload_summary", succeeded=succeeded, failed=failed)
        return 1 if failed else 0

    def _record(self, name, size, compressed):
        """Adds the file to uploaded.json at once, so a crash later in the run
        doesn't send it twice. Entries we didn't write are kept untouched."""
        path = uploaded_json_path(self.env)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        current = load_uploaded(self.env)
        current[name] = {
            "uploaded_at": iso(datetime.now(timezone.utc)),
            "size_bytes": size,
            "compressed_bytes": compressed,
            "object_key": f"captures/{name}.gz",
        }
        csvfile.write_json_atomic(path, current)
