"""A capture run: the event stream, the CSV and the answers to stdin commands.

The run is a small cooperative scheduler over scenario time. Each activity
(status ticks, each probe stream, speed-test rounds, traceroutes, scripted
incidents) is a generator that yields how many scenario seconds to wait before
it goes on. The loop sleeps in `select` on stdin and on a self-pipe that the
signal handlers write to, so SIGINT and commands are handled as soon as they
arrive, whatever the speed factor.
"""

import fcntl
import hashlib
import heapq
import json
import math
import os
import random
import selectors
import signal
import sys
import time
import uuid
from collections import deque
from datetime import datetime, timezone

from . import csvfile
from .clock import iso
from .events import EventWriter, StdoutGone
from .netmodel import MODELS

SPEEDTEST_HOST = "speed.cloudflare.com"
ACTIVE_STREAMS = [
    # type, target (None = the gateway), period, phase within the period
    ("ping", None, 1.0, 0.05),
    ("ping", "1.1.1.1", 1.0, 0.15),
    ("ping", "8.8.8.8", 1.0, 0.25),
    ("udp", "1.1.1.1:53", 1.0, 0.35),
    ("tcp", "1.1.1.1:443", 2.0, 0.45),
    ("tcp", "8.8.8.8:853", 2.0, 0.55),
    ("http", "www.gstatic.com", 2.0, 0.65),
    ("dns", "1.1.1.1", 5.0, 0.75),
    ("dns", "8.8.8.8", 5.0, 0.85),
    ("quic", "cloudflare-quic.com:443", 5.0, 0.95),
]
PASSIVE_STREAMS = [
    ("ping", None, 5.0, 0.1),
    ("ping", "1.1.1.1", 5.0, 0.6),
    ("udp", "1.1.1.1:53", 10.0, 1.1),
    ("http", "www.gstatic.com", 15.0, 2.1),
    ("dns", "1.1.1.1", 30.0, 3.1),
]
TYPE_FACTOR = {"ping": 1.0, "udp": 1.0, "tcp": 1.05, "quic": 1.1, "http": 2.1}
DEFAULT_AUTOSTOP = {"active": 3 * 3600.0, "passive": 24 * 3600.0}


class _Finish(Exception):
    def __init__(self, code):
        super().__init__(code)
        self.code = code


def _silence_stdout():
    """The reader is gone; point stdout at /dev/null so the interpreter's own
    flush at exit doesn't add a broken-pipe complaint to stderr."""
    try:
        devnull = os.open(os.devnull, os.O_WRONLY)
        os.dup2(devnull, sys.stdout.fileno())
        os.close(devnull)
    except OSError:
        pass


def _sanitize_key(key):
    return "".join(ch if ch.isalnum() or ch == "_" else "_" for ch in str(key)).lower() or "key"


class CaptureRun:
    def __init__(self, cmd, scenario, env, clock, out=None, err=None, stdin_fd=0, seed=None):
        self.cmd = cmd
        self.sc = scenario
        self.env = env
        self.clock = clock
        self.out = out or EventWriter()
        self.err = err or sys.stderr
        self.stdin_fd = stdin_fd
        self.rng = random.Random(seed)
        self.model = MODELS[scenario.model]
        self.ssid = self.model.ssid
        self.gateway = self.model.gateway
        self.profile = "passive" if (cmd.profile == "passive" or scenario.passive) else "active"
        self.duration = cmd.duration_secs
        self.abr = cmd.playwright and self._chromium_in_cache()
        self.capture_id = str(uuid.uuid4())
        self.csv_path = self._resolve_output(cmd.output)
        self.csv = None
        self.log_file = None
        self.t = 0.0
        self.heap = []
        self.seq = 0
        self.busy = False
        self.test_num = 0
        self.endmeta = None
        self.sigint = False
        self.stop_reason = None
        self.outage_until = -1.0
        self.icmp_proxy_detected = False
        self.ping_window = deque(maxlen=30)
        self.udp_window = deque(maxlen=30)
        self.last_icmp = None
        self.last_udp = None
        self.last_http = None
        self.new_dns = None
        self.new_down = None
        self.new_up = None
        self.last_down = None
        self.last_up = None
        self.retest_next = False
        self.stdin_buf = b""
        self.sel = selectors.DefaultSelector()
        self.wake_r = self.wake_w = None

    # --- helpers ---------------------------------------------------------------------------

    def _resolve_output(self, path):
        # uv runs the tool inside --directory, so a relative -o is relative to it.
        if os.path.isabs(path):
            return path
        return os.path.normpath(os.path.join(self.cmd.directory, path))

    def _chromium_in_cache(self):
        from .record import home_dir
        folder = os.path.join(home_dir(self.env), ".cache", "ms-playwright")
        try:
            return any(name.startswith("chromium-") for name in os.listdir(folder))
        except OSError:
            return False

    def ts(self):
        return self.clock.ts(self.t)

    def emit(self, event, **fields):
        self.out.emit(event, **fields)

    def row(self, row_type, **kw):
        self.csv.row(self.ts(), row_type, **kw)

    def log(self, message):
        if self.log_file is None:
            return
        try:
            with open(self.log_file, "a", encoding="utf-8") as f:
                f.write(f"{_iso_now()} {message}\n")
        except OSError:
            pass

    def gauss(self, mean, sd, low=None, high=None):
        value = self.rng.gauss(mean, sd)
        if low is not None:
            value = max(low, value)
        if high is not None:
            value = min(high, value)
        return value

    def rate(self, mean):
        if mean <= 0:
            return 0.0
        return round(self.gauss(mean, mean * self.model.rate_sd, mean * 0.15, mean * 1.6), 2)

    def rssi_now(self):
        return int(round(self.gauss(self.model.rssi, self.model.rssi_sd, -95, -30)))

    def private(self, text):
        """The privacy mode applies to what names the network: the SSID and the
        network name. The CSV is what gets uploaded, so that is where it counts."""
        if text is None or self.cmd.privacy == "omit":
            return None
        if self.cmd.privacy == "hash":
            return "h:" + hashlib.sha256(text.encode("utf-8")).hexdigest()[:16]
        return text

    def ssid_detail(self):
        return self.private(self.ssid)

    # --- scheduler -------------------------------------------------------------------------

    def spawn(self, gen, delay=0.0):
        self.seq += 1
        heapq.heappush(self.heap, (self.t + delay, self.seq, gen))

    def spawn_at(self, when, gen):
        self.seq += 1
        heapq.heappush(self.heap, (when, self.seq, gen))

    def _install_signals(self):
        self.wake_r, self.wake_w = os.pipe()
        for fd in (self.wake_r, self.wake_w):
            fcntl.fcntl(fd, fcntl.F_SETFL, fcntl.fcntl(fd, fcntl.F_GETFL) | os.O_NONBLOCK)
        signal.set_wakeup_fd(self.wake_w, warn_on_full_buffer=False)
        self.sel.register(self.wake_r, selectors.EVENT_READ, "wake")
        if self.sc.kind == "silent":
            signal.signal(signal.SIGINT, signal.SIG_IGN)
        else:
            signal.signal(signal.SIGINT, self._on_sigint)
        # SIGTERM keeps its default action: the process ends on the spot, as the
        # program expects of a tool it gives up on.
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        try:
            fcntl.fcntl(self.stdin_fd, fcntl.F_SETFL,
                        fcntl.fcntl(self.stdin_fd, fcntl.F_GETFL) | os.O_NONBLOCK)
            self.sel.register(self.stdin_fd, selectors.EVENT_READ, "stdin")
        except (OSError, ValueError, PermissionError):
            pass  # no usable stdin: commands simply never come

    def _on_sigint(self, signum, frame):
        self.sigint = True

    def _wait(self, timeout):
        try:
            ready = self.sel.select(timeout)
        except InterruptedError:
            return
        for key, _ in ready:
            if key.data == "wake":
                try:
                    while os.read(self.wake_r, 512):
                        pass
                except BlockingIOError:
                    pass
            elif key.data == "stdin":
                self._read_stdin()

    def _read_stdin(self):
        try:
            data = os.read(self.stdin_fd, 65536)
        except BlockingIOError:
            return
        except OSError:
            data = b""
        if not data:
            self.sel.unregister(self.stdin_fd)
            if self.stdin_buf:
                line, self.stdin_buf = self.stdin_buf, b""
                self._command(line)
            return
        self.stdin_buf += data
        while b"\n" in self.stdin_buf:
            line, self.stdin_buf = self.stdin_buf.split(b"\n", 1)
            self._command(line)

    def _drain_stdin(self, grace):
        """Reads what is already on its way: ENDMETA is written just before
        SIGINT, and the signal can win the race to wake us."""
        if self.stdin_fd not in self.sel.get_map():
            return
        deadline = time.monotonic() + grace
        while self.stdin_fd in self.sel.get_map():
            left = deadline - time.monotonic()
            if left <= 0:
                break
            ready = self.sel.select(left)
            if not any(key.data == "stdin" for key, _ in ready):
                break
            self._read_stdin()

    def run(self):
        try:
            stdin_flags = fcntl.fcntl(self.stdin_fd, fcntl.F_GETFL)
        except OSError:
            stdin_flags = None
        self._install_signals()
        try:
            try:
                return self._run()
            except _Finish as fin:
                return fin.code
        except StdoutGone:
            _silence_stdout()
            return 1
        finally:
            if stdin_flags is not None:
                try:
                    fcntl.fcntl(self.stdin_fd, fcntl.F_SETFL, stdin_flags)
                except OSError:
                    pass
            if self.csv is not None:
                try:
                    self.csv.flush()
                except (OSError, ValueError):
                    pass

    def _run(self):
        # uv resolving the environment: the program hears nothing yet.
        self._sleep_until(self.sc.startup)
        if self.sigint:
            return 130
        self._start()
        self._schedule()
        while True:
            if self.sigint:
                self._on_stop_request()
            if self.stop_reason:
                return self._finish(self.stop_reason)
            if not self.heap:
                self._wait(None)
                continue
            when = self.heap[0][0]
            end = None if self.duration is None else self.start_t + self.duration
            if end is not None and when >= end:
                # Nothing left before the end: wait for the end itself, then stop.
                delay = self.clock.real(end - self.clock.now())
                if delay > 0:
                    self._wait(delay)
                    continue
                self.t = max(self.t, end)
                self.stop_reason = "duration"
                continue
            delay = self.clock.real(when - self.clock.now())
            if delay > 0:
                self._wait(delay)
                continue
            when, _, gen = heapq.heappop(self.heap)
            self.t = max(self.t, when)
            try:
                pause = next(gen)
            except StopIteration:
                continue
            if pause is not None:
                self.seq += 1
                heapq.heappush(self.heap, (self.t + pause, self.seq, gen))

    def _sleep_until(self, sim_t):
        while not self.sigint:
            left = self.clock.real(sim_t - self.clock.now())
            if left <= 0:
                return
            self._wait(left)

    def _on_stop_request(self):
        self.sigint = False
        self.t = max(self.t, self.clock.now())
        if self.sc.hang_on_stop:
            self.log("SIGINT received; this scenario now hangs until SIGTERM")
            signal.signal(signal.SIGINT, signal.SIG_IGN)
            self.csv.flush()
            while True:
                signal.pause()
        self._drain_stdin(0.3)
        self.stop_reason = "stopped"

    # --- start and finish ------------------------------------------------------------------

    def _start(self):
        self.start_t = max(self.t, self.clock.now())
        self.t = self.start_t
        log_dir = self.env.get("NORVANE_LOG_DIR")
        if log_dir:
            try:
                os.makedirs(log_dir, exist_ok=True)
                self.log_file = os.path.join(log_dir, f"norvane-cli-{self.capture_id[:8]}.log")
            except OSError:
                self.log_file = None
        self.csv = csvfile.CaptureCsv(self.csv_path)
        self.row("session_start", target=self.cmd.client, seq=self.csv.next_seq(), details={
            "capture_id": self.capture_id, "profile": self.profile, "privacy": self.cmd.privacy,
            "client": self.cmd.client, "planned_duration": None if self.duration is None else f"{self.duration:g}s",
            "location": self.cmd.location, "network": self.private(self.cmd.network),
        })
        self.csv.flush()
        csvfile.register_capture(self.csv_path, {
            "location": self.cmd.location or "", "network_type": self.cmd.network or "",
            "date": self.clock.ts(self.t), "capture_id": self.capture_id,
            "profile": self.profile, "privacy": self.cmd.privacy, "client": self.cmd.client,
        })
        rssi = self.rssi_now()
        self.emit("info",
                  ssid=self.ssid, rssi=rssi, channel=self.model.channel, gateway=self.gateway,
                  vpn=self.model.vpn, probes=self._probe_names(), category=self.model.category,
                  profile=self.profile, capture_id=self.capture_id, csv_file=self.csv_path,
                  duration_secs=None if self.duration is None else float(self.duration),
                  log_file=self.log_file, youtube_abr_available=self.abr)
        self.log(f"capture {self.capture_id} started: scenario={self.sc.name} profile={self.profile} "
                 f"csv={self.csv_path}")
        self.row("wifi", target=self.model.radio, value=float(rssi), seq=self.csv.next_seq(),
                 details={"ssid": self.ssid_detail(), "channel": self.model.channel, "gateway": self.gateway})

    def _probe_names(self):
        if self.profile == "passive":
            return ["ping", "udp", "http", "dns", "traceroute", "throughput_observed"]
        names = ["ping", "udp", "tcp", "http", "dns", "quic", "traceroute", "cf_speed", "netflix_oca",
                 "akamai", "youtube_segment"]
        if self.abr:
            names.append("youtube_abr")
        return names

    def _finish(self, reason):
        elapsed = max(0.0, self.t - self.start_t)
        details = {"duration": f"{elapsed:.1f}s", "end_reason": reason, "samples": self.csv.rows + 1}
        if isinstance(self.endmeta, dict):
            for key, value in self.endmeta.items():
                if isinstance(value, (dict, list)):
                    value = json.dumps(value, separators=(";", ":"))
                details["endmeta_" + _sanitize_key(key)] = value
        self.row("session_end", seq=self.csv.next_seq(), details=details)
        samples = self.csv.rows
        self.csv.close()
        csvfile.register_capture(self.csv_path, {
            "duration_min": round(elapsed / 60.0, 3), "samples": samples, "end_reason": reason,
        })
        self.emit("complete", samples=samples, capture_id=self.capture_id, csv_file=self.csv_path,
                  duration_sec=round(elapsed, 1))
        self.log(f"capture finished: reason={reason} samples={samples} endmeta="
                 f"{json.dumps(self.endmeta) if self.endmeta is not None else 'none'}")
        return 0

    # --- what runs ---------------------------------------------------------------------------

    def _schedule(self):
        self.spawn(self.status_task())
        streams = PASSIVE_STREAMS if self.profile == "passive" else ACTIVE_STREAMS
        for ptype, target, period, phase in streams:
            self.spawn(self.probe_task(ptype, target, period), phase)
        self.spawn(self.wifi_task(), 5.0 if self.profile == "active" else 30.0)
        if self.profile == "passive":
            self.spawn(self.observed_task(), 10.0)
            self.spawn(self.traceroute_task(1800.0), 6.0)
        else:
            self.spawn(self.traceroute_task(300.0), 6.0)
            self.spawn(self.calibration_task(), 2.0)
            self.spawn(self.rounds_task(), 0.0)
        if self.duration is None:
            limit = self._autostop_limit()
            self.spawn(self.autostop_task(limit), 0.0)
        sc = self.sc
        if sc.failure is not None:
            self.spawn(self.failure_task(sc.failure), sc.failure.at)
        if sc.garbage:
            self.spawn(self.garbage_task(), 1.5)
        if sc.long_line:
            self.spawn(self.long_line_task(), 3.0)
        if sc.sleep_stop_at is not None:
            self.spawn(self.sleep_stop_task(), sc.sleep_stop_at)
        if sc.roam_at is not None:
            self.spawn(self.roam_task(), sc.roam_at)
        if sc.sleep_resume_at is not None:
            self.spawn(self.sleep_resume_task(), sc.sleep_resume_at)
        if sc.warning_at is not None:
            self.spawn(self.warning_task(), sc.warning_at)
        if "icmp_proxy_at" in sc.extra:
            self.spawn(self.icmp_proxy_task(), sc.extra["icmp_proxy_at"])
        if self.model.no_internet:
            self.spawn(self.no_internet_warning_task(), 4.0)

    def _autostop_limit(self):
        raw = self.env.get("NORVANE_SIM_AUTOSTOP_SEC")
        if raw:
            try:
                value = float(raw)
                if value > 0:
                    return value
            except ValueError:
                pass
        if self.sc.autostop is not None:
            return self.sc.autostop
        return DEFAULT_AUTOSTOP[self.profile]

    def status_task(self):
        while True:
            elapsed = self.t - self.start_t
            fields = {
                "elapsed_sec": round(elapsed, 1),
                "remaining_sec": None if self.duration is None else round(max(0.0, self.duration - elapsed), 1),
                "rssi": self.rssi_now(),
                "icmp_proxied": self.icmp_proxy_detected,
                "no_internet": self.model.no_internet,
            }
            if self.ping_window:
                fields["icmp_loss_pct"] = round(100.0 * sum(self.ping_window) / len(self.ping_window), 1)
            if self.last_icmp is not None:
                fields["icmp_rtt_ms"] = self.last_icmp
            if self.udp_window:
                fields["udp_loss_pct"] = round(100.0 * sum(self.udp_window) / len(self.udp_window), 1)
            if self.last_udp is not None:
                fields["udp_rtt_ms"] = self.last_udp
            if self.last_http is not None:
                fields["e2e_rtt_ms"] = self.last_http
            # Rates and lookups are sent once, when new, so the program can age them.
            if self.new_down is not None:
                fields["throughput_down_mbps"] = self.new_down
                self.new_down = None
            if self.new_up is not None:
                fields["throughput_up_mbps"] = self.new_up
                self.new_up = None
            if self.new_dns is not None:
                fields["dns_ms"] = self.new_dns
                self.new_dns = None
            self.emit("status", **fields)
            yield 1.0

    def sample(self, ptype, target):
        m = self.model
        key = f"{ptype}:{target}"
        local = target == self.gateway
        if key in m.blocked:
            return None
        if not local:
            if m.no_internet or self.t < self.outage_until:
                return None
            if self.rng.random() < m.loss:
                if m.burst_loss and self.rng.random() < m.burst_loss:
                    self.outage_until = self.t + self.rng.uniform(3.0, 8.0)
                return None
        if local:
            return round(max(0.4, self.rng.lognormvariate(math.log(m.gw_rtt), 0.35)), 2)
        if ptype == "ping" and m.icmp_proxied:
            return round(self.gauss(m.proxy_icmp_rtt, 1.5, 1.0, 20.0), 2)
        if ptype == "dns":
            return round(self.gauss(m.dns_ms, m.dns_ms * 0.2 + 2, 1.0, m.dns_ms * 3 + 10), 2)
        factor = TYPE_FACTOR.get(ptype, 1.0)
        rtt = self.gauss(m.wan_rtt, m.jitter, m.rtt_min, m.rtt_max) * factor
        if m.jitter > 30 and self.rng.random() < 0.03:
            rtt *= self.rng.uniform(1.5, 3.0)  # the odd spike of a busy cell
        return round(rtt, 2)

    def probe_task(self, ptype, target, period):
        while True:
            target_now = target or self.gateway
            rtt = self.sample(ptype, target_now)
            lost = rtt is None
            self.emit("probe", type=ptype, target=target_now, loss=lost, ts=self.ts(), rtt_ms=rtt)
            self.row(ptype, target=target_now, value=rtt, lost=lost, seq=self.csv.next_seq())
            internet = target_now != self.gateway
            if ptype == "ping" and internet:
                self.ping_window.append(1 if lost else 0)
                if not lost and target_now == "1.1.1.1":
                    self.last_icmp = rtt
            elif ptype == "udp":
                self.udp_window.append(1 if lost else 0)
                if not lost:
                    self.last_udp = rtt
            elif ptype == "http" and not lost:
                self.last_http = rtt
            elif ptype == "dns" and not lost:
                self.new_dns = rtt
            yield period

    def wifi_task(self):
        period = 5.0 if self.profile == "active" else 30.0
        while True:
            self.row("wifi", target=self.model.radio, value=float(self.rssi_now()), seq=self.csv.next_seq(),
                     details={"ssid": self.ssid_detail(), "channel": self.model.channel})
            yield period

    def observed_task(self):
        while True:
            dl = round(self.rng.uniform(0.1, 4.0), 2)
            ul = round(self.rng.uniform(0.05, 0.8), 2)
            self.emit("probe", type="throughput_observed", target=self.model.radio, loss=False, ts=self.ts(),
                      dl_mbps=dl, ul_mbps=ul)
            self.row("throughput_observed", target=self.model.radio, seq=self.csv.next_seq(),
                     details={"dl_mbps": dl, "ul_mbps": ul})
            yield 10.0

    def traceroute_task(self, period):
        while True:
            self.traceroute("1.1.1.1")
            yield period

    def traceroute(self, target):
        m = self.model
        hops = [{"hop": 1, "ip": self.gateway, "rtt_ms": round(m.gw_rtt + self.rng.uniform(0, 2), 2)}]
        if m.no_internet:
            for n in range(2, 6):
                hops.append({"hop": n, "ip": "*"})
        else:
            middle = ["100.64.0.1", "10.20.0.1", "198.51.100.17", "203.0.113.9", "198.51.100.254"]
            count = 4 + self.rng.randint(0, 3)
            long_leg = m.satellite_hop or 0
            for n in range(2, count + 2):
                if n - 2 < len(middle) and self.rng.random() < 0.12:
                    hops.append({"hop": n, "ip": "*"})
                    continue
                share = (n - 1) / (count + 1)
                if long_leg and n >= long_leg:
                    share = 0.92 + 0.08 * share
                rtt = round(max(0.5, m.wan_rtt * share + self.rng.uniform(-2, 2)), 2)
                hops.append({"hop": n, "ip": middle[(n - 2) % len(middle)], "rtt_ms": rtt})
            hops.append({"hop": len(hops) + 1, "ip": target,
                         "rtt_ms": round(self.gauss(m.wan_rtt, m.jitter / 3 + 0.5, m.rtt_min, m.rtt_max), 2)})
        self.emit("traceroute_result", target=target, hops=hops, ts=self.ts(), hop_count=len(hops))
        details = {"first_hop": hops[0]["ip"]}
        for hop in hops:
            details[f"h{hop['hop']}"] = (f"{hop['ip']}({hop['rtt_ms']:.1f}ms)" if "rtt_ms" in hop else "*")
        self.row("traceroute", target=target, hop_count=len(hops), seq=self.csv.next_seq(), details=details)

    # --- speed tests ---------------------------------------------------------------------------

    def tstatus(self, phase, direction=None, **kw):
        self.emit("throughput_status", phase=phase, direction=direction, ts=self.ts(), **kw)

    def calibration_task(self):
        if self.model.no_internet:
            self.emit("error", message="calibration skipped: no route to the speed-test server", fatal=False)
            self.row("error", details={"message": "calibration skipped: no route", "fatal": False})
            return
        self.busy = True
        self.tstatus("calibrating")
        yield 4.0
        down, up = self.rate(self.model.down * 0.9), self.rate(self.model.up * 0.9)
        rtt = round(self.gauss(self.model.wan_rtt, self.model.jitter / 2 + 0.5, self.model.rtt_min,
                               self.model.rtt_max), 1)
        self.emit("calibration_complete", down_mbps=down, up_mbps=up, rtt_ms=rtt)
        self.row("calibration", target=SPEEDTEST_HOST, value=rtt, seq=self.csv.next_seq(),
                 details={"down_mbps": down, "up_mbps": up})
        self.tstatus("idle")
        self.busy = False

    def rounds_task(self):
        interval = 120.0 if self.duration is not None else 300.0
        end = self.duration if self.duration is not None else self._autostop_limit()
        starts = []
        start = 10.0
        while start + 45.0 <= end:
            starts.append(start)
            start += interval
        total = len(starts)
        for number, start in enumerate(starts, 1):
            wait = self.start_t + start - self.t
            if wait > 0:
                yield wait
            while self.busy:
                yield 1.0
            yield from self.round_body(number, total)

    def round_body(self, number, total):
        self.busy = True
        template = "retest" if self.retest_next else "standard"
        self.retest_next = False
        ran = []
        wave = dict(round_num=number, total_rounds=total)
        failed_up = self.sc.fail_upload_round == number
        ok = yield from self.cf_speed(wave, fail_upload=failed_up)
        ran.append("cf_speed")
        if not ok:
            self.retest_next = True
        for cdn in ("netflix_oca", "akamai"):
            yield 1.0
            yield from self.cdn_test(cdn, wave)
            ran.append(cdn)
        yield 1.0
        yield from self.youtube_segment(wave)
        ran.append("youtube_segment")
        if self.abr:
            yield 1.0
            yield from self.youtube_abr(wave)
            ran.append("youtube_abr")
        self.emit("round_summary", round_num=number, total_rounds=total, template=template, probes=ran,
                  ts=self.ts())
        self.row("round_summary", seq=self.csv.next_seq(),
                 details={"round": number, "total_rounds": total, "template": template, "probes": "+".join(ran)})
        self.busy = False

    def cf_speed(self, wave, fail_upload=False):
        """A download and an upload against the speed-test host; one test number for the pair."""
        self.test_num += 1
        ok = True
        for direction, seconds, streams, mean in (("download", 8, 6, self.model.down),
                                                  ("upload", 6, 4, self.model.up)):
            self.tstatus("testing", direction, test_num=self.test_num, tests_in_wave=1, wave_num=1,
                         probe_type="cf_speed", **wave)
            target_mbps = self.rate(mean)
            fails = fail_upload and direction == "upload"
            total_bytes = 0
            steps = seconds * 2
            for step in range(1, steps + 1):
                yield 0.5
                if target_mbps <= 0 or (fails and step > steps // 3):
                    instant = 0.0
                else:
                    ramp = min(1.0, step / 3.0)
                    instant = max(0.0, self.gauss(target_mbps * ramp, target_mbps * 0.1))
                total_bytes += int(instant * 1e6 / 8 * 0.5)
                self.csv.raw_sample(self.ts(), self.test_num, direction, SPEEDTEST_HOST, step * 500,
                                    total_bytes, instant)
            row_type = "throughput_down" if direction == "download" else "throughput_up"
            error = None
            if target_mbps <= 0:
                error = f"could not reach {SPEEDTEST_HOST}: network is unreachable"
            elif fails:
                error = "upload stalled: no progress for 10 s"
            if error:
                ok = False
                self.emit("throughput_result", direction=direction, mbps=0.0, bytes=total_bytes, streams=streams,
                          target=SPEEDTEST_HOST, ts=self.ts(), error=error, test_num=self.test_num)
                self.row(row_type, target=SPEEDTEST_HOST, seq=self.csv.next_seq(), nbytes=total_bytes,
                         streams=streams, details={"test_num": self.test_num, "error": error})
            else:
                mbps = round(total_bytes * 8 / 1e6 / (seconds * 0.9), 2) if total_bytes else target_mbps
                self.emit("throughput_result", direction=direction, mbps=mbps, bytes=total_bytes, streams=streams,
                          target=SPEEDTEST_HOST, ts=self.ts(), test_num=self.test_num)
                self.row(row_type, target=SPEEDTEST_HOST, mbps=mbps, seq=self.csv.next_seq(), nbytes=total_bytes,
                         streams=streams, details={"test_num": self.test_num, "probe_type": "cf_speed"})
                if direction == "download":
                    self.new_down = self.last_down = mbps
                else:
                    self.new_up = self.last_up = mbps
        self.tstatus("idle", probe_type="cf_speed", **wave)
        return ok

    def cdn_test(self, target, wave):
        self.tstatus("testing", "download", probe_type=target, **wave)
        yield 5.0
        mean = self.model.down * (0.85 if target == "netflix_oca" else 0.7)
        mbps = self.rate(mean)
        if mbps <= 0:
            self.emit("error", message=f"{target}: no server reachable", fatal=False)
        else:
            nbytes = int(mbps * 1e6 / 8 * 4.5)
            ttfb = round(self.gauss(self.model.wan_rtt * 2.2, self.model.jitter, 1.0), 1)
            self.emit("cdn_throughput_result", target=target, mbps=mbps, bytes=nbytes, ts=self.ts(),
                      stream_mbps=round(mbps / 4, 2), delivered_mbps=round(mbps * 0.96, 2), ttfb_ms=ttfb,
                      dns_ms=round(self.gauss(self.model.dns_ms, 3, 1.0), 1))
            self.row("cdn_throughput", target=target, mbps=mbps, nbytes=nbytes, seq=self.csv.next_seq(),
                     details={"ttfb_ms": ttfb})
        self.tstatus("idle", probe_type=target, **wave)

    @staticmethod
    def quality_for(mbps):
        for need, label in ((35.0, "hd2160"), (16.0, "hd1440"), (8.0, "hd1080"), (5.0, "hd720"),
                            (2.5, "large"), (1.0, "medium"), (0.5, "small")):
            if mbps >= need:
                return label, need
        return "tiny", 0.3

    @staticmethod
    def resolution_for(mbps):
        for need, res in ((25.0, "3840x2160"), (12.0, "2560x1440"), (6.0, "1920x1080"), (3.5, "1280x720"),
                          (1.5, "854x480")):
            if mbps >= need:
                return res
        return "640x360"

    def youtube_segment(self, wave):
        self.tstatus("testing", "download", probe_type="youtube_segment", **wave)
        yield 4.0
        mbps = self.rate(self.model.down * 0.6)
        if mbps <= 0:
            self.emit("error", message="youtube_segment: no video server reachable", fatal=False)
        else:
            quality, need = self.quality_for(mbps)
            nbytes = int(mbps * 1e6 / 8 * 3.5)
            self.emit("youtube_segment_result", headroom=round(mbps / need, 2), bytes=nbytes, ts=self.ts(),
                      throughput_mbps=mbps, recommended_quality=quality, cdn_host="rr3.googlevideo.example",
                      video_id="nvSimClip01")
            self.row("youtube_segment", target="rr3.googlevideo.example", mbps=mbps, nbytes=nbytes,
                     seq=self.csv.next_seq(), details={"quality": quality})
        self.tstatus("idle", probe_type="youtube_segment", **wave)

    def youtube_abr(self, wave):
        self.tstatus("testing", "download", probe_type="youtube_abr", **wave)
        yield 15.0
        mbps = self.rate(self.model.down * 0.5)
        if mbps <= 0:
            self.emit("error", message="youtube_abr: the player never started", fatal=False)
        else:
            auto = self.resolution_for(mbps)
            stalls = 0 if mbps >= 6 else self.rng.randint(1, 3)
            forced_stalls = 0 if mbps >= 25 else self.rng.randint(1, 4)
            self.emit("youtube_abr_result", ts=self.ts(), auto_resolution=auto,
                      auto_bandwidth_kbps=round(mbps * 1000 * 0.9, 1),
                      auto_buffer_health_s=round(self.rng.uniform(8, 30) if stalls == 0 else
                                                 self.rng.uniform(0.5, 5), 1),
                      auto_buffer_trend="growing" if stalls == 0 else "draining", auto_stall_count=stalls,
                      startup_time_ms=round(350 + self.model.wan_rtt * 4 + self.rng.uniform(0, 300), 1),
                      video_id="nvSimClip01", forced_resolution="3840x2160",
                      forced_buffer_trend="stable" if forced_stalls == 0 else "draining",
                      forced_stall_count=forced_stalls, ad_seen=self.rng.random() < 0.15,
                      cold_first_frame_resolution="854x480")
            self.row("youtube_abr", target="www.youtube.com", mbps=mbps, seq=self.csv.next_seq(),
                     details={"resolution": auto, "stalls": stalls})
        self.tstatus("idle", probe_type="youtube_abr", **wave)

    # --- commands ----------------------------------------------------------------------------

    def _command(self, raw):
        text = raw.decode("utf-8", errors="replace").rstrip("\r")
        self.t = max(self.t, self.clock.now())
        self.log(f"stdin: {text}")
        if self.csv is None:
            return  # before the tool is up, uv doesn't pass stdin on to anything that listens
        word, _, rest = text.partition(" ")
        if word == "NOTE":
            self.emit("note", text=rest, ts=self.ts())
            self.row("note", seq=self.csv.next_seq(), details={"text": rest})
        elif word == "ENDMETA":
            try:
                meta = json.loads(rest)
            except ValueError:
                self.log("ENDMETA with unreadable JSON ignored")
                return
            if isinstance(meta, dict):
                self.endmeta = meta
        elif text == "SPEEDTEST":
            self.spawn(self.speedtest_now())
        elif text == "TESTYOUTUBE":
            self.spawn(self.youtube_now())
        else:
            self.log(f"unknown command ignored: {text!r}")

    # A test asked for while another one runs waits its turn: one link, one test at a time.
    def speedtest_now(self):
        while self.busy:
            yield 0.5
        self.busy = True
        yield from self.cf_speed({})
        self.busy = False

    def youtube_now(self):
        while self.busy:
            yield 0.5
        self.busy = True
        yield from self.youtube_segment({})
        if self.abr:
            yield 1.0
            yield from self.youtube_abr({})
        self.busy = False

    # --- scripted incidents ------------------------------------------------------------------

    def autostop_task(self, limit):
        reminder = limit - 600.0 if limit > 1200.0 else limit / 2.0
        yield reminder
        elapsed = self.t - self.start_t
        self.emit("capture_reminder", elapsed_sec=int(elapsed), remaining_sec=int(round(limit - elapsed)))
        yield max(0.0, limit - elapsed)
        elapsed = self.t - self.start_t
        self.emit("capture_auto_stop", reason="max_duration", elapsed_sec=int(round(elapsed)))
        self.row("capture_auto_stop", seq=self.csv.next_seq(), details={"reason": "max_duration"})
        self.stop_reason = "autostop"

    def sleep_stop_task(self):
        self.emit("system_sleep", action="stop", gap_sec=1260.0, ssid_match=False)
        self.row("system_sleep", seq=self.csv.next_seq(), details={"action": "stop", "gap_sec": 1260.0})
        self.stop_reason = "sleep"
        return
        yield

    def sleep_resume_task(self):
        self.emit("system_sleep", action="resume", gap_sec=185.0, ssid_match=True)
        self.row("system_sleep", seq=self.csv.next_seq(), details={"action": "resume", "gap_sec": 185.0})
        return
        yield

    def roam_task(self):
        before = self.ssid
        self.ssid = before + "_EXT"
        self.gateway = "192.168.44.1"
        self.emit("network_change", gateway=self.gateway, ssid_before=before, ssid_after=self.ssid)
        self.row("network_change", target=self.gateway, seq=self.csv.next_seq(),
                 details={"ssid_before": self.private(before), "ssid_after": self.private(self.ssid)})
        self.traceroute("1.1.1.1")
        return
        yield

    def warning_task(self):
        message = "UDP probe socket was reset; reopened it"
        self.emit("error", message=message, fatal=False)
        self.row("error", seq=self.csv.next_seq(), details={"message": message, "fatal": False})
        return
        yield

    def no_internet_warning_task(self):
        message = "no internet path: only the gateway answers"
        self.emit("error", message=message, fatal=False)
        self.row("error", seq=self.csv.next_seq(), details={"message": message, "fatal": False})
        return
        yield

    def icmp_proxy_task(self):
        m = self.model
        self.icmp_proxy_detected = True
        self.emit("icmp_proxy_detected", icmp_p50=m.proxy_icmp_rtt, http_p50=round(m.wan_rtt * 2.1, 1),
                  e2e_rtt_p50=float(m.wan_rtt))
        self.row("icmp_proxy", seq=self.csv.next_seq(),
                 details={"icmp_p50": m.proxy_icmp_rtt, "e2e_rtt_p50": float(m.wan_rtt)})
        return
        yield

    def failure_task(self, failure):
        directory = self.cmd.directory.rstrip("/")
        if failure.action == "fatal":
            self.emit("error", message=failure.text, fatal=True)
            self.row("error", seq=self.csv.next_seq(), details={"message": failure.text, "fatal": True})
            self.csv.flush()
            self.err.write(f"norvane.cli: fatal: {failure.text}\n")
            self.err.flush()
            raise _Finish(failure.code)
        if failure.action == "kill":
            self.csv.flush()
            os.kill(os.getpid(), signal.SIGKILL)
        if failure.action == "exit0":
            self.csv.flush()
            raise _Finish(0)
        # crash and stderr-exit: the tool dies with words on stderr and no complete.
        self.csv.flush()
        self.err.write(failure.text.replace("{directory}", directory))
        self.err.flush()
        raise _Finish(failure.code)
        yield

    # --- hostile output ------------------------------------------------------------------------

    def garbage_lines(self):
        ts = self.ts()
        elapsed = round(self.t - self.start_t, 1)
        good_status = EventWriter.encode("status", {"elapsed_sec": elapsed, "rssi": self.rssi_now()})
        return [
            ("truncated JSON", b'{"event":"status","elapsed_sec":' + b"\n"),
            ("non-UTF-8 bytes", b"\xff\xfe\x00garbage\x80\x81\n"),
            ("empty line", b"\n"),
            ("lone CR", b"\r\n"),
            ("CR LF ended status", good_status[:-1] + b"\r\n"),
            ("unknown event", b'{"event":"quantum_entanglement_probe","qubits":3,"ts":"' + ts.encode() + b'"}\n'),
            ("string where a number belongs", b'{"event":"status","elapsed_sec":"12"}\n'),
            ("fractional integer", b'{"event":"complete","samples":10.5,"csv_file":"x.csv","duration_sec":1.0}\n'),
            ("JSON array", b"[1,2,3]\n"),
            ("JSON string", b'"just a string"\n'),
            ("JSON null", b"null\n"),
            ("object without event", b'{"type":"ping","target":"1.1.1.1"}\n'),
            ("non-string event", b'{"event":42}\n'),
            ("error without fatal", b'{"event":"error","message":"no fatal flag"}\n'),
            ("NaN", b'{"event":"status","elapsed_sec":NaN}\n'),
            ("two objects on one line", good_status[:-1] + good_status),
            ("Latin-1 inside a string", b'{"event":"note","text":"caf\xe9","ts":"' + ts.encode() + b'"}\n'),
            ("explicit null in an optional key", b'{"event":"probe","type":"ping","target":"1.1.1.1",'
                                                 b'"loss":true,"ts":"' + ts.encode() + b'","rtt_ms":null}\n'),
            ("extra keys", EventWriter.encode("status", {"elapsed_sec": elapsed, "future_key": {"a": [1, 2]}})),
            ("plain text", b"Traceback? no, just a stray print from a library\n"),
        ]

    def garbage_task(self):
        index = 0
        while True:
            lines = self.garbage_lines()
            _, data = lines[index % len(lines)]
            self.out.raw(data)
            if index % 3 == 2:
                # A good event torn across two writes: the reader has to join them.
                whole = EventWriter.encode("status", {"elapsed_sec": round(self.t - self.start_t, 1)})
                self.out.raw(whole[:9])
                time.sleep(0.02)
                self.out.raw(whole[9:])
            index += 1
            yield 0.7

    def long_line_task(self):
        self.out.raw(self.long_status_line(1 << 20))
        return
        yield

    def long_status_line(self, size):
        """A valid status event padded to at least size bytes, its line break included."""
        head = EventWriter.encode("status", {"elapsed_sec": round(self.t - self.start_t, 1),
                                             "debug_blob": ""})
        pad = size - len(head) + 1
        return EventWriter.encode("status", {"elapsed_sec": round(self.t - self.start_t, 1),
                                             "debug_blob": "x" * max(0, pad)})


def _iso_now():
    return iso(datetime.now(timezone.utc))


class FloodRun(CaptureRun):
    """info, a flood of events written in blocks of varying size, then complete; with long_line, one
    valid 10 MiB status line halfway through."""

    def _run(self):
        count = 100_000
        raw = self.env.get("NORVANE_SIM_FLOOD_COUNT")
        if raw:
            try:
                count = max(0, int(raw))
            except ValueError:
                pass
        self._start()
        targets = [("ping", self.gateway), ("ping", "1.1.1.1"), ("ping", "8.8.8.8"), ("udp", "1.1.1.1:53"),
                   ("tcp", "1.1.1.1:443"), ("http", "www.gstatic.com"), ("dns", "1.1.1.1")]
        block = []
        block_size = 1
        sent = 0
        while sent < count:
            if self.sigint:
                self._drain_stdin(0.1)
                break
            self.t = self.start_t + sent * 0.001
            if sent % 20 == 0:
                data = EventWriter.encode("status", {"elapsed_sec": round(self.t, 3), "rssi": -55,
                                                     "icmp_rtt_ms": 18.0, "icmp_loss_pct": 0.0})
            else:
                ptype, target = targets[sent % len(targets)]
                rtt = round(self.rng.uniform(5, 40), 2)
                data = EventWriter.encode("probe", {"type": ptype, "target": target, "loss": False,
                                                    "ts": self.ts(), "rtt_ms": rtt})
                self.row(ptype, target=target, value=rtt, seq=self.csv.next_seq())
            block.append(data)
            sent += 1
            if self.sc.long_line and sent == count // 2:
                block.append(self.long_status_line(10 << 20))
            if len(block) >= block_size:
                self.out.raw(b"".join(block))
                self.out.count += len(block)
                block = []
                block_size = 1 + (sent * 7919) % 200
                self._wait(0)
        if block:
            self.out.raw(b"".join(block))
            self.out.count += len(block)
        return self._finish("flood" if sent >= count else "stopped")


class SilentRun:
    """Prints nothing and never ends by itself: the startup watchdog's case."""

    def __init__(self, *args, **kwargs):
        pass

    def run(self):
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        while True:
            signal.pause()
