"""Shared pieces of the simulator tests: a sandbox home with the fake uv
symlinked into .local/bin, a child process with a line reader, and the event
format the program decodes, written out independently of the simulator."""

import json
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from datetime import datetime

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SIM_DIR = os.path.join(REPO, "tools", "simulator")
sys.path.insert(0, SIM_DIR)

CAPTURE_DEPS = "requests==2.33.1,aioquic==1.3.0,yt-dlp"
PIN = "playwright==1.55.0"
WARM_DEPS = "requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,yt-dlp"
UPLOAD_DEPS = "requests==2.33.1,boto3==1.42.84"
VERIFY_PROGRAM = ("from playwright.sync_api import sync_playwright; pw=sync_playwright().start(); "
                  "b=pw.chromium.launch(headless=True); b.close(); pw.stop(); print('ok')")

# Key types of every event: s string, i integer, d number, b boolean, as array of strings,
# hops array of hop objects. True means required.
S, I, D, B, AS, HOPS = "s", "i", "d", "b", "as", "hops"
SCHEMA = {
    "info": {"ssid": (S, False), "rssi": (I, False), "channel": (S, False), "gateway": (S, False),
             "vpn": (S, False), "probes": (AS, False), "category": (S, False), "profile": (S, False),
             "capture_id": (S, False), "csv_file": (S, False), "duration_secs": (D, False),
             "log_file": (S, False), "youtube_abr_available": (B, False)},
    "status": {"rssi": (I, False), "elapsed_sec": (D, True), "remaining_sec": (D, False),
               "icmp_rtt_ms": (D, False), "icmp_loss_pct": (D, False), "udp_rtt_ms": (D, False),
               "udp_loss_pct": (D, False), "throughput_down_mbps": (D, False),
               "throughput_up_mbps": (D, False), "dns_ms": (D, False), "e2e_rtt_ms": (D, False),
               "icmp_proxied": (B, False), "no_internet": (B, False)},
    "probe": {"type": (S, True), "target": (S, True), "loss": (B, True), "ts": (S, True),
              "rtt_ms": (D, False), "dl_mbps": (D, False), "ul_mbps": (D, False)},
    "throughput_status": {"phase": (S, True), "direction": (S, False), "ts": (S, True), "test_num": (I, False),
                          "tests_in_wave": (I, False), "wave_num": (I, False), "round_num": (I, False),
                          "total_rounds": (I, False), "probe_type": (S, False)},
    "throughput_result": {"direction": (S, True), "mbps": (D, True), "bytes": (I, True), "streams": (I, True),
                          "target": (S, False), "ts": (S, True), "error": (S, False), "test_num": (I, True)},
    "cdn_throughput_result": {"target": (S, True), "mbps": (D, True), "bytes": (I, True), "ts": (S, True),
                              "stream_mbps": (D, False), "delivered_mbps": (D, False), "ttfb_ms": (D, False),
                              "dns_ms": (D, False)},
    "youtube_segment_result": {"headroom": (D, False), "bytes": (I, True), "ts": (S, True),
                               "throughput_mbps": (D, True), "recommended_quality": (S, False),
                               "cdn_host": (S, False), "video_id": (S, False)},
    "youtube_abr_result": {"ts": (S, True), "auto_resolution": (S, False), "auto_bandwidth_kbps": (D, False),
                           "auto_buffer_health_s": (D, False), "auto_buffer_trend": (S, False),
                           "auto_stall_count": (I, False), "startup_time_ms": (D, False), "video_id": (S, False),
                           "forced_resolution": (S, False), "forced_buffer_trend": (S, False),
                           "forced_stall_count": (I, False), "ad_seen": (B, False),
                           "cold_first_frame_resolution": (S, False)},
    "traceroute_result": {"target": (S, True), "hops": (HOPS, True), "ts": (S, True), "hop_count": (I, True)},
    "complete": {"samples": (I, True), "capture_id": (S, False), "csv_file": (S, True), "duration_sec": (D, True)},
    "upload_start": {"total": (I, True)},
    "upload_progress": {"file": (S, True), "pct": (I, True), "bytes_sent": (I, True), "bytes_total": (I, True)},
    "upload_complete": {"file": (S, True), "size_bytes": (I, True), "compressed_bytes": (I, True)},
    "upload_error": {"file": (S, True), "message": (S, True), "retryable": (B, False)},
    "upload_skipped": {"reason": (S, True), "file": (S, False), "size_mb": (D, False), "limit_mb": (D, False),
                       "local_path": (S, False)},
    "upload_summary": {"succeeded": (I, True), "failed": (I, True)},
    "calibration_complete": {"down_mbps": (D, True), "up_mbps": (D, True), "rtt_ms": (D, False)},
    "icmp_proxy_detected": {"icmp_p50": (D, True), "http_p50": (D, True), "e2e_rtt_p50": (D, True)},
    "capture_reminder": {"elapsed_sec": (I, True), "remaining_sec": (I, True)},
    "capture_auto_stop": {"reason": (S, True), "elapsed_sec": (I, True)},
    "system_sleep": {"action": (S, True), "gap_sec": (D, True), "ssid_match": (B, True)},
    "network_change": {"gateway": (S, False), "vpn": (S, False), "ssid_before": (S, False),
                       "ssid_after": (S, False)},
    "round_summary": {"round_num": (I, True), "total_rounds": (I, True), "template": (S, False),
                      "probes": (AS, True), "ts": (S, True)},
    "note": {"text": (S, True), "ts": (S, True)},
    "error": {"message": (S, True), "fatal": (B, True)},
}
TS_KEYS_PARSE_FORMAT = "%Y-%m-%dT%H:%M:%S.%f%z"


def type_ok(kind, value):
    if kind == S:
        return isinstance(value, str)
    if kind == I:
        return isinstance(value, int) and not isinstance(value, bool)
    if kind == D:
        return isinstance(value, (int, float)) and not isinstance(value, bool)
    if kind == B:
        return isinstance(value, bool)
    if kind == AS:
        return isinstance(value, list) and all(isinstance(v, str) for v in value)
    if kind == HOPS:
        if not isinstance(value, list):
            return False
        for hop in value:
            if not isinstance(hop, dict) or not type_ok(I, hop.get("hop")) or not type_ok(S, hop.get("ip")):
                return False
            if hop.get("rtt_ms") is not None and not type_ok(D, hop["rtt_ms"]):
                return False
        return True
    raise ValueError(kind)


def event_problems(obj):
    """What the program's decoder would object to in one decoded line; empty when it decodes."""
    if not isinstance(obj, dict):
        return ["not an object"]
    name = obj.get("event")
    if not isinstance(name, str):
        return ["no string event"]
    schema = SCHEMA.get(name)
    if schema is None:
        return [f"unknown event {name!r}"]
    problems = []
    for key, (kind, required) in schema.items():
        value = obj.get(key)
        if value is None:
            if required:
                problems.append(f"{name}: missing {key}")
            continue
        if not type_ok(kind, value):
            problems.append(f"{name}: {key}={value!r} is not {kind}")
    for key in ("ts",):
        if isinstance(obj.get(key), str) and parse_ts(obj[key]) is None:
            problems.append(f"{name}: ts {obj[key]!r} isn't ISO 8601 with a fraction and a zone")
    return problems


def parse_ts(text):
    """ISO 8601 with fractional seconds and an explicit zone, nothing looser."""
    if "." not in text or not (text.endswith("Z") or text[-6] in "+-"):
        return None
    try:
        return datetime.strptime(text.replace("Z", "+00:00"), TS_KEYS_PARSE_FORMAT)
    except ValueError:
        return None


class Sandbox:
    """A temporary HOME with the simulator symlinked where the program looks for uv."""

    def __init__(self):
        self.home = tempfile.mkdtemp(prefix="norvane-sim-test-")
        self.bin = os.path.join(self.home, ".local", "bin")
        os.makedirs(self.bin)
        self.uv = os.path.join(self.bin, "uv")
        os.symlink(os.path.join(SIM_DIR, "uv"), self.uv)
        self.captures = os.path.join(self.home, ".local", "share", "Norvane", "captures")
        os.makedirs(self.captures)
        self.src = os.path.join(REPO, "src")

    def cleanup(self):
        shutil.rmtree(self.home, ignore_errors=True)

    def env(self, **extra):
        env = {k: v for k, v in os.environ.items() if not k.startswith("NORVANE_")}
        env.update(HOME=self.home, PYTHONUNBUFFERED="1", NORVANE_SIM_SPEED="100",
                   NORVANE_LOG_DIR=os.path.join(self.home, ".local", "state", "Norvane", "logs"))
        env.update({k: str(v) for k, v in extra.items()})
        return env

    def csv_path(self, stamp="20250101T120000Z"):
        return os.path.join(self.captures, f"wifi_capture_{stamp}.csv")

    def capture_args(self, csv=None, playwright=False, location="Hotel Lobby", network="Hotel WiFi",
                     duration=None, privacy=None, profile=None, client="linux/dev"):
        args = ["run", "--offline", "--python", "3.12", "--with", CAPTURE_DEPS + ("," + PIN if playwright else ""),
                "--directory", self.src, "-m", "norvane.cli", "--json", "-o", csv or self.csv_path()]
        if location:
            args += ["--location", location]
        if network:
            args += ["--network", network]
        if duration is not None:
            args += ["--duration", duration]
        if privacy:
            args += ["--privacy", privacy]
        if profile:
            args += ["--profile", profile]
        return args + ["--client", client]

    def upload_args(self, captures_dir=None):
        return ["run", "--offline", "--python", "3.12", "--with", UPLOAD_DEPS, "--directory", self.src,
                "-m", "norvane.manage", "upload", "--json", "--dir", captures_dir or self.captures]

    def run(self, args, timeout=30, **env):
        """Runs uv to its end and returns the completed process (bytes output)."""
        return subprocess.run([self.uv] + args, env=self.env(**env), stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=timeout, cwd=self.home)

    def start(self, args, **env):
        return Child([self.uv] + args, self.env(**env), cwd=self.home)


class Child:
    """A running uv with its stdout read line by line on a thread."""

    def __init__(self, argv, env, cwd):
        self.proc = subprocess.Popen(argv, env=env, cwd=cwd, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE)
        self.lines = []
        self._queue = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self._err = []
        self._err_reader = threading.Thread(target=self._read_err, daemon=True)
        self._err_reader.start()

    def _read(self):
        for line in self.proc.stdout:
            self._queue.put(line)
        self._queue.put(None)

    def _read_err(self):
        self._err.append(self.proc.stderr.read())

    def events(self):
        return [json.loads(line) for line in self.lines]

    def wait_for(self, predicate, timeout=20.0):
        """Collects lines until one decodes to an event that satisfies predicate."""
        for obj in self.lines_json():
            if predicate(obj):
                return obj
        deadline = time.monotonic() + timeout
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise AssertionError("timed out waiting for an event")
            try:
                line = self._queue.get(timeout=left)
            except queue.Empty:
                continue
            if line is None:
                raise AssertionError("stdout closed before the event came")
            self.lines.append(line)
            try:
                obj = json.loads(line)
            except ValueError:
                continue
            if predicate(obj):
                return obj

    def lines_json(self):
        for line in list(self.lines):
            try:
                yield json.loads(line)
            except ValueError:
                continue

    def wait_event(self, name, timeout=20.0):
        return self.wait_for(lambda e: isinstance(e, dict) and e.get("event") == name, timeout)

    def drain(self):
        """Takes in every line read so far without waiting; returns how many lines there are."""
        while True:
            try:
                line = self._queue.get_nowait()
            except queue.Empty:
                return len(self.lines)
            if line is None:
                self._queue.put(None)
                return len(self.lines)
            self.lines.append(line)

    def send(self, text):
        self.proc.stdin.write(text.encode("utf-8") + b"\n")
        self.proc.stdin.flush()

    def wait_until_ignoring(self, sig, timeout=10.0):
        """Waits until the child has set the signal to be ignored (Linux: /proc/PID/status)."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            with open(f"/proc/{self.proc.pid}/status") as f:
                for line in f:
                    if line.startswith("SigIgn:") and int(line.split()[1], 16) >> (sig - 1) & 1:
                        return
            time.sleep(0.02)
        raise AssertionError(f"the child never ignored signal {sig}")

    def signal(self, sig):
        self.proc.send_signal(sig)

    def finish(self, timeout=20.0):
        """Waits for the exit and the end of stdout; returns the exit status."""
        code = self.proc.wait(timeout=timeout)
        while True:
            line = self._queue.get(timeout=timeout)
            if line is None:
                break
            self.lines.append(line)
        self._err_reader.join(timeout)
        return code

    @property
    def stderr(self):
        return b"".join(self._err)

    def kill(self):
        if self.proc.poll() is None:
            self.proc.kill()
            self.proc.wait()
        self._reader.join(5)
        self._err_reader.join(5)
        for pipe in (self.proc.stdin, self.proc.stdout, self.proc.stderr):
            try:
                pipe.close()
            except (OSError, BrokenPipeError):
                pass


class SandboxTest(unittest.TestCase):
    def setUp(self):
        self.box = Sandbox()
        self.addCleanup(self.box.cleanup)
        self.children = []

    def tearDown(self):
        for child in self.children:
            child.kill()

    def start(self, args, **env):
        child = self.box.start(args, **env)
        self.children.append(child)
        return child

    def assertDecodes(self, obj):
        self.assertEqual(event_problems(obj), [], obj)


def read_csv_rows(path):
    with open(path, encoding="utf-8", newline="") as f:
        lines = f.read().split("\n")
    assert lines[-1] == "", "the file ends with a line feed"
    return [line.split(",") for line in lines[:-1]]
