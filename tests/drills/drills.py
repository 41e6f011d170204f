#!/usr/bin/env python3
"""Fault drills on the built programs: each drill hurts norvane or norvane-cli the way a user's machine
might (a kill, a flood, a full disk, damaged files, a capture folder that can't be written) and checks
what the program does about it. One PASS or FAIL line per check (SHOWN for a figure that a sanitized
build isn't held to); the exit status is 1 on any FAIL.

Everything runs in sandbox homes with the tool simulator as uv; every address the program may reach
points at a closed loopback port, so nothing leaves the machine.
"""

import argparse
import json
import os
import pwd
import shutil
import signal
import stat
import subprocess
import sys
import time
from functools import partial
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CLOSED = "http://127.0.0.1:9"
CSV_HEADER = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details"
SETUP_LINE = "uv available, starting with setup screen"
LAUNCH_LINE = "[App] app launch version="
AS_ROOT = os.geteuid() == 0


def unprivileged_uid():
    try:
        return pwd.getpwnam("nobody").pw_uid
    except KeyError:
        return 65534


failures = []


def report(ok, name, detail):
    print(f"{'PASS' if ok else 'FAIL'} {name}: {detail}", flush=True)
    if not ok:
        failures.append(name)
    return ok


def wait_until(predicate, timeout, step=0.05):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        value = predicate()
        if value:
            return value
        time.sleep(step)
    return predicate()


def alive(pid):
    """True while the process runs; a zombie waiting for its reaper has ended."""
    try:
        fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    except (FileNotFoundError, ProcessLookupError):
        return False
    return fields[0] != "Z"


def finish(proc, timeout):
    """Waits for a child of ours; returns its exit status (negative for a signal) and peak RSS in MiB."""
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        pid, status, usage = os.wait4(proc.pid, os.WNOHANG)
        if pid:
            proc.returncode = os.waitstatus_to_exitcode(status)
            return proc.returncode, usage.ru_maxrss / 1024
        time.sleep(0.05)
    proc.kill()
    _, status, usage = os.wait4(proc.pid, 0)
    proc.returncode = os.waitstatus_to_exitcode(status)
    return None, usage.ru_maxrss / 1024


class Sandbox:
    """A home with the simulator as uv. With drop_root, root runs the programs as user nobody, who owns
    the home, so that a file without read permission is as unreadable as on a user's machine."""

    def __init__(self, base, name, build, drop_root=False):
        self.home = base / name
        self.build = build
        self.uid = unprivileged_uid() if drop_root and AS_ROOT else None
        shutil.rmtree(self.home, ignore_errors=True)
        subprocess.run(["bash", str(ROOT / "scripts/make-sandbox.sh"), str(self.home)], check=True)
        (self.home / ".runtime").mkdir(mode=0o700)
        self.paths = {}
        out = self.cli(["paths"], timeout=20).stdout
        for line in out.splitlines():
            label, _, path = line.partition("/")
            self.paths[label.strip()] = "/" + path
        self.captures = Path(self.paths["captures"])
        self.log = Path(self.paths["log file"])
        self.settings = Path(self.paths["settings"])
        self.reports = Path(self.paths["crash reports"])
        self.tool_state = Path(self.paths["tool state"])
        self.support = self.captures.parent

    def env(self, **extra):
        env = {k: v for k, v in os.environ.items() if not k.startswith(("XDG_", "NORVANE_"))}
        env.update(HOME=str(self.home), XDG_RUNTIME_DIR=str(self.home / ".runtime"), QT_QPA_PLATFORM="offscreen",
                   NORVANE_SITE_URL=CLOSED, NORVANE_PORTAL_PROBE_URL=CLOSED + "/generate_204",
                   NORVANE_UV_INSTALLER_URL=CLOSED + "/uv/install.sh")
        env.update({k: str(v) for k, v in extra.items()})
        return env

    def command(self, program, args):
        user = [] if self.uid is None else ["setpriv", f"--reuid={self.uid}", f"--regid={self.uid}", "--clear-groups"]
        return [*user, str(self.build / program), *args]

    def hand_over(self):
        """Gives the home to the user the programs run as, keeping every mode as it is."""
        if self.uid is not None:
            subprocess.run(["chown", "-R", "-h", f"{self.uid}:{self.uid}", str(self.home)], check=True)

    def cli(self, args, timeout, **extra):
        """Runs norvane-cli to its end; one that outlives the timeout is killed, a FAIL, and exits None."""
        self.hand_over()
        command = self.command("norvane-cli", args)
        try:
            return subprocess.run(command, env=self.env(**extra), capture_output=True, text=True, timeout=timeout)
        except subprocess.TimeoutExpired as expired:
            report(False, f"norvane-cli {' '.join(args)}", f"still running after {timeout} s, killed")
            text = lambda out: out.decode(errors="replace") if isinstance(out, bytes) else out or ""
            return subprocess.CompletedProcess(command, None, text(expired.stdout), text(expired.stderr))

    def start(self, program, args=(), **extra):
        """Starts a program in the background; its output goes to {home}/{program}.out, never to a pipe
        that nobody reads while it runs."""
        self.hand_over()
        with open(self.home / f"{program}.out", "w") as output:
            return subprocess.Popen(self.command(program, args), env=self.env(**extra), stdout=output,
                                    stderr=subprocess.STDOUT)

    def output(self, program):
        return (self.home / f"{program}.out").read_text(errors="replace")

    def log_text(self):
        try:
            return self.log.read_text(errors="replace")
        except OSError:
            return ""

    def tool_pids(self, kind):
        journal = self.home / ".norvane-sim/invocations.jsonl"
        if not journal.exists():
            return []
        return [json.loads(line)["pid"] for line in journal.read_text().splitlines()
                if line and json.loads(line).get("kind") == kind]

    def capture_csvs(self):
        return sorted(p for p in self.captures.glob("wifi_capture_*.csv") if "throughput_raw" not in p.name)

    def crash_reports(self):
        return sorted(p.name for p in self.reports.rglob("*")) if self.reports.exists() else []

    def library(self):
        done = self.cli(["library", str(self.captures), "--json"], timeout=30)
        try:
            return done.returncode, json.loads(done.stdout)
        except ValueError:
            return done.returncode, None

    def add_capture(self, rows=600, name="wifi_capture_20260601T120000Z.csv"):
        self.captures.mkdir(parents=True, exist_ok=True)
        subprocess.run([sys.executable, str(ROOT / "tools/simulator/gen_capture.py"), "--rows", str(rows), "--out",
                        str(self.captures / name), "--seed", "1", "--register"], check=True,
                       stdout=subprocess.DEVNULL)
        return self.captures / name


def listed(entries, name):
    """The library's entry for this CSV file name, or None."""
    for entry in entries or []:
        if isinstance(entry, dict) and str(entry.get("csv_path", "")).endswith("/" + name):
            return entry
    return None


def csv_state(path):
    """(header whole, data rows, last line whole) of a capture CSV as it lies on disk."""
    data = path.read_bytes()
    lines = data.split(b"\n")
    last_whole = data.endswith(b"\n")
    lines.pop()  # the empty piece after the last line break, or a torn last line, which the loader drops
    header = lines[0].decode() if lines else ""
    return header == CSV_HEADER, len(lines) - 1, last_whole


def kill_and_watch(proc, child, check):
    """SIGKILLs the program and reports whether its child is gone within 2 s; a child left behind is
    ended here, so that a failed drill leaves nothing running."""
    proc.send_signal(signal.SIGKILL)
    finish(proc, 5)
    killed = time.monotonic()
    gone = wait_until(lambda: not alive(child), 2.0, step=0.01)
    report(gone, check, f"pid {child} {'gone' if gone else 'still running'} after {time.monotonic() - killed:.2f} s")
    if not gone:
        os.kill(child, signal.SIGKILL)


def drill_kill_capture(sandbox):
    name = "1 SIGKILL during a capture"
    started = time.monotonic()
    proc = sandbox.start("norvane-cli", ["capture", "--no-upload"], NORVANE_SIM_SPEED=20)
    grown = wait_until(lambda: sandbox.capture_csvs() and sandbox.capture_csvs()[-1].stat().st_size > 4000, 30)
    tools = sandbox.tool_pids("capture")
    if not report(bool(grown and tools), name + ": capture running", f"tool pids {tools}"):
        proc.kill()
        finish(proc, 5)
        return
    kill_and_watch(proc, tools[-1], name + ": tool ended with the program")

    csv = sandbox.capture_csvs()[-1]
    header, rows, last_whole = csv_state(csv)
    report(header and rows > 0, name + ": CSV intact",
           f"{csv.name}: header whole, {rows} rows, last line {'whole' if last_whole else 'torn (dropped)'}")
    analysed = sandbox.cli(["analyze", str(csv), "--json"], timeout=30)
    report(analysed.returncode == 0, name + ": the loader reads it", f"analyze exit {analysed.returncode}")
    status, entries = sandbox.library()
    report(status == 0 and listed(entries, csv.name) is not None, name + ": next launch lists it",
           f"library exit {status}, {len(entries or [])} capture(s)")
    print(f"     drill 1 took {time.monotonic() - started:.1f} s", flush=True)


def drill_kill_upload(sandbox):
    name = "2 SIGKILL during an upload"
    started = time.monotonic()
    sandbox.add_capture()
    proc = sandbox.start("norvane", NORVANE_SIM_UPLOAD="hang")
    uploads = wait_until(lambda: sandbox.tool_pids("upload"), 40)
    if not report(bool(uploads), name + ": launch sweep uploading", f"upload pids {uploads}"):
        proc.kill()
        finish(proc, 5)
        return
    time.sleep(0.5)
    kill_and_watch(proc, uploads[-1], name + ": upload child ended with the program")
    print(f"     drill 2 took {time.monotonic() - started:.1f} s", flush=True)


def bounded(ok, check, detail, sanitized):
    """A speed or size bound: a sanitized debug build tells nothing about those, so there it is shown only."""
    if sanitized:
        print(f"SHOWN {check}: {detail} (a sanitized build, not held to the bound)", flush=True)
    else:
        report(ok, check, detail)


def drill_flood(sandbox, lateness_bound_ms, rss_bound_mib, sanitized):
    name = "3 flood and a 10 MiB line in norvane-cli"
    probe = sandbox.home / "lateness.json"
    started = time.monotonic()
    proc = sandbox.start("norvane-cli", ["capture", "--no-upload"], NORVANE_SIM_SCENARIO="flood-long-line",
                         NORVANE_SIM_FLOOD_COUNT=100000, NORVANE_LATENESS_PROBE=probe)
    status, rss = finish(proc, 90)
    seconds = time.monotonic() - started
    output = sandbox.output("norvane-cli")
    report(status == 0 and "Verdict:" in output, name + ": capture ran to the end",
           f"exit {status} after {seconds:.1f} s, about {100000 / seconds:,.0f} events/s")
    try:
        lateness = json.loads(probe.read_text())
    except (OSError, ValueError):
        lateness = None
    report(lateness is not None, name + ": lateness measured", f"probe file {'written' if lateness else 'missing'}")
    bounded(lateness is not None and lateness["worst_lateness_ms"] < lateness_bound_ms,
            name + ": event loop responsive",
            f"worst lateness of a 50 ms timer {lateness and lateness['worst_lateness_ms']} ms over "
            f"{lateness and lateness['ticks']} ticks (bound {lateness_bound_ms} ms)", sanitized)
    bounded(rss < rss_bound_mib, name + ": memory bounded", f"peak RSS {rss:.0f} MiB (bound {rss_bound_mib} MiB)",
            sanitized)

    # For scale: the same program on a calm five-minute capture played in five seconds.
    calm = sandbox.start("norvane-cli", ["capture", "--no-upload", "--duration", "5m"], NORVANE_SIM_SPEED=60,
                         NORVANE_LATENESS_PROBE=probe)
    calm_status, calm_rss = finish(calm, 60)
    try:
        calm_late = json.loads(probe.read_text())["worst_lateness_ms"]
    except (OSError, ValueError, KeyError):
        calm_late = None
    print(f"     calm capture for comparison: exit {calm_status}, worst lateness {calm_late} ms, "
          f"peak RSS {calm_rss:.0f} MiB", flush=True)


class VirtualDisplay:
    """An Xvfb display of our own, for a window that a drill drives with real key presses (xdotool)."""

    def __init__(self):
        read, write = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-nolisten", "tcp", "-screen", "0",
                                        "1280x900x24"], pass_fds=(write,), stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as chosen:
            self.name = ":" + chosen.readline().strip()

    def xdotool(self, *args):
        return subprocess.run(["xdotool", *args], env=dict(os.environ, DISPLAY=self.name), capture_output=True,
                              text=True, timeout=20)

    def close(self):
        self.server.terminate()
        self.server.wait(10)


def seconds_late(probe, since_ms):
    """The worst lateness of the whole seconds the probe measured from since_ms on, and how many."""
    try:
        seconds = [entry["worst_ms"] for entry in json.loads(probe.read_text())["seconds"]
                   if entry["at_ms"] >= since_ms]
    except (OSError, ValueError, KeyError):
        return None, 0
    return (max(seconds) if seconds else None), len(seconds)


def drill_flood_window(sandbox, lateness_bound_ms, rss_bound_mib, sanitized):
    name = "3 flood and a 10 MiB line in the window"
    if not (shutil.which("Xvfb") and shutil.which("xdotool")):
        report(False, name, "Xvfb or xdotool is missing (scripts/install-deps.sh test installs them)")
        return
    display = VirtualDisplay()
    probe = sandbox.home / "lateness.json"
    try:
        proc = sandbox.start("norvane", QT_QPA_PLATFORM="xcb", DISPLAY=display.name, NORVANE_LATENESS_PROBE=probe,
                             NORVANE_SIM_SCENARIO="flood-long-line", NORVANE_SIM_FLOOD_COUNT=100000)
        shown = wait_until(lambda: SETUP_LINE in sandbox.log_text(), 30)
        windows = display.xdotool("search", "--sync", "--onlyvisible", "--name", "Norvane").stdout.split()
        if not (shown and windows):
            report(False, name, "the setup screen never appeared")
            proc.kill()
            finish(proc, 10)
            return
        # What a user does: the location field has the focus; a name, then Ctrl+Return starts.
        display.xdotool("windowfocus", "--sync", windows[0])
        display.xdotool("type", "--delay", "30", "Drill")
        # The suggestions that typing opens are not the flood's doing: let their second pass unmeasured.
        time.sleep(1.5)
        pressed_ms = time.time() * 1000
        display.xdotool("key", "ctrl+Return")
        ended = wait_until(lambda: any(b"session_end" in csv.read_bytes() for csv in sandbox.capture_csvs()), 90,
                           step=0.2)
        seconds = (time.time() * 1000 - pressed_ms) / 1000
        # Two more seconds of the probe, for the results screen drawn from the flood.
        time.sleep(2)
        late, counted = seconds_late(probe, pressed_ms)
        proc.send_signal(signal.SIGTERM)
        status, rss = finish(proc, 20)
    finally:
        display.close()
    report(bool(ended), name + ": capture ran to the end",
           f"session_end row {'written' if ended else 'missing'} {seconds:.1f} s after Ctrl+Return")
    report(status == -signal.SIGTERM, name + ": window ended when asked",
           "by SIGTERM" if status == -signal.SIGTERM else f"no: exit {status}")
    bounded(late is not None and late < lateness_bound_ms, name + ": event loop responsive",
            f"worst lateness of a 50 ms timer {late} ms over the {counted} s from Ctrl+Return on "
            f"(bound {lateness_bound_ms} ms)", sanitized)
    bounded(rss < rss_bound_mib, name + ": memory bounded", f"peak RSS {rss:.0f} MiB (bound {rss_bound_mib} MiB)",
            sanitized)


def drill_log_full(sandbox):
    name = "4 log file on /dev/full"
    sandbox.log.parent.mkdir(parents=True, exist_ok=True)
    sandbox.log.symlink_to("/dev/full")
    started = time.monotonic()
    done = sandbox.cli(["capture", "--no-upload", "--duration", "5m"], timeout=90, NORVANE_SIM_SPEED=60)
    seconds = time.monotonic() - started
    csvs = sandbox.capture_csvs()
    ended = bool(csvs) and b"session_end" in csvs[-1].read_bytes()
    report(done.returncode == 0 and "Verdict:" in done.stdout and ended, name + ": capture ran to the end",
           f"exit {done.returncode} after {seconds:.1f} s, session_end row {'written' if ended else 'missing'}")
    # A log rotated out of the way would have ended the fault before the capture did.
    report(sandbox.log.is_symlink(), name + ": the fault held", "the log is still a link to /dev/full")


# What each damaged file must lead to, by the program's rule for that file; each function reads the
# sandbox after the launch and returns (ok, what it saw).
def rule_settings(sandbox, text, damage):
    # Unreadable: every key reads as missing, so the capture folder is the default one.
    expected = f"[App] capture directory: {sandbox.captures}"
    return expected in text, "capture folder the default one" if expected in text else "capture folder not the default"


def rule_version_cache(sandbox, text, damage):
    expected = ("no cache, using bundled fallback" if damage in ("directory", "unreadable")
                else "version check: data malformed, fail-open")
    return expected in text, f'log says "{expected}"'


def rule_r2(sandbox, text, damage):
    # Unreadable: provisioned afresh from the bundled defaults; a build without them says so.
    seen = [line for line in ("Auto-provisioned R2 config", "cannot provision crash uploader") if line in text]
    return bool(seen), f'log says "{seen[0]}"' if seen else "no provisioning line in the log"


def rule_tracking(sandbox, text, damage):
    # Unreadable: no report counts as sent, so the one on disk is found again.
    return "Found 1 new crash report(s)" in text, 'log says "Found 1 new crash report(s)"'


def rule_library(sandbox, text, damage, figures):
    status, entries = sandbox.library()
    entry = listed(entries, "wifi_capture_20260601T120000Z.csv")
    if status != 0 or entry is None:
        return False, f"library exit {status}: the capture isn't listed"
    if figures:
        latency = entry.get("median_latency_ms")
        return (latency is not None and latency != CACHED_LATENCY,
                f"listed with its figures scanned afresh (median latency {latency} ms)")
    return not entry.get("location"), f"listed without its metadata (location {entry.get('location')!r})"


DAMAGES = {
    "garbage": lambda p: p.write_bytes(b"\x00\xff{{[garbage\n\x89PNG not what it seems"),
    "empty": lambda p: p.write_bytes(b""),
    "directory": lambda p: p.mkdir(),
    "unreadable": lambda p: (p.write_text('{"fine": true}\n'), p.chmod(0)),
}


# Each file of the program: its label, where it lies in a sandbox, and its rule.
FILES = [
    ("settings", lambda sandbox: sandbox.settings, rule_settings),
    ("captures.json", lambda sandbox: sandbox.captures / "captures.json", partial(rule_library, figures=False)),
    ("stats cache", lambda sandbox: sandbox.captures / ".stats_cache.json", partial(rule_library, figures=True)),
    ("uploaded_crashes.json", lambda sandbox: sandbox.support / "uploaded_crashes.json", rule_tracking),
    ("version_check.json", lambda sandbox: sandbox.support / "version_check.json", rule_version_cache),
    ("r2.json", lambda sandbox: sandbox.tool_state / "r2.json", rule_r2),
]


def launch_and_end(sandbox, timeout=30):
    """Starts the window until its launch line is logged, then ends it; returns (log text, exit, lateness)."""
    probe = sandbox.home / "lateness.json"
    proc = sandbox.start("norvane", NORVANE_LATENESS_PROBE=probe)
    wait_until(lambda: LAUNCH_LINE in sandbox.log_text() and SETUP_LINE in sandbox.log_text(), timeout)
    # A moment for the background work of the launch (crash scan, version check) to log.
    time.sleep(1.5)
    proc.send_signal(signal.SIGTERM)
    status, _ = finish(proc, 10)
    try:
        late = json.loads(probe.read_text())["worst_lateness_ms"]
    except (OSError, ValueError, KeyError):
        late = None
    return sandbox.log_text(), status, late


REPORT_NAME = "Norvane-2026-06-01-120000.ips"
CACHED_LATENCY = 99.5  # a figure the capture's own scan never gives, to tell the cache's from a fresh one


def lay_out_program_files(sandbox):
    """Every file of the program, whole and each saying something a damaged one can't."""
    csv = sandbox.add_capture()
    sandbox.settings.parent.mkdir(parents=True, exist_ok=True)
    sandbox.settings.write_text(f"[General]\ncaptureDirectory={sandbox.home / 'MyCaptures'}\n")
    (sandbox.captures / ".stats_cache.json").write_text(json.dumps(
        {csv.name: {"fileSize": csv.stat().st_size, "medianLatencyMs": CACHED_LATENCY}}))
    sandbox.reports.mkdir(parents=True, exist_ok=True)
    (sandbox.reports / REPORT_NAME).write_text(
        '{"app_name":"Norvane","name":"Norvane","timestamp":"2026-06-01 12:00:00.00 +0000"}\n{}\n')
    (sandbox.support / "uploaded_crashes.json").write_text(json.dumps([REPORT_NAME]))
    (sandbox.support / "version_check.json").write_text('{"minimum": "0.0.1", "latest": "0.1.0"}')
    sandbox.tool_state.mkdir(parents=True, exist_ok=True)
    (sandbox.tool_state / "r2.json").write_text(json.dumps(
        {"upload_url": CLOSED + "/crashes", "upload_token": "drill", "uploader_id": "drill"}))


def launch_checked(sandbox):
    """Launches the window; reports whether it came up on the setup screen and ended without a crash."""
    text, status, late = launch_and_end(sandbox)
    crashed = sandbox.crash_reports() != [REPORT_NAME]
    started = LAUNCH_LINE in text and SETUP_LINE in text
    fine = started and status == -signal.SIGTERM and not crashed
    detail = (f"setup screen {'shown' if started else 'NOT shown'}, ended by SIGTERM "
              f"{'as asked' if status == -signal.SIGTERM else f'no: exit {status}'}"
              f"{', a crash report written' if crashed else ''}")
    return fine, detail, text, late or 0.0


def drill_damaged_files(base, build):
    name = "5 damaged file"
    # The control: with every file whole, no rule of a damaged file may hold, or its check proves nothing.
    sandbox = Sandbox(base, "files-whole", build)
    lay_out_program_files(sandbox)
    fine, detail, text, worst = launch_checked(sandbox)
    held = [label for label, _, rule in FILES
            if rule(sandbox, text, "garbage")[0] or rule(sandbox, text, "directory")[0]]
    report(fine and not held, f"{name} none (control)",
           f"{detail}, {'no damaged-file rule holds' if not held else 'rules that hold anyway: ' + ', '.join(held)}")

    for index, (label, where, rule) in enumerate(FILES):
        for damage, hurt in DAMAGES.items():
            sandbox = Sandbox(base, f"files-{index}-{damage}", build, drop_root=damage == "unreadable")
            lay_out_program_files(sandbox)
            target = where(sandbox)
            target.unlink()
            hurt(target)
            fine, detail, text, late = launch_checked(sandbox)
            worst = max(worst, late)
            ok, seen = rule(sandbox, text, damage)
            report(fine and ok, f"{name} {label} ({damage})", f"{detail}, {seen}")
    print(f"     worst lateness of the window's event loop over these launches: {worst} ms", flush=True)


def drill_capture_folder(base, build):
    name = "6 capture folder"

    def attempt(sandbox, case):
        done = sandbox.cli(["capture", "--no-upload", "--duration", "5m"], timeout=90, NORVANE_SIM_SPEED=60)
        failed = [line for line in done.stdout.splitlines() if line.startswith("Capture failed: ")]
        ended_with_failure = done.returncode is not None and done.returncode > 0
        plain = bool(failed) and "Traceback" not in failed[0]
        report(ended_with_failure and plain and not sandbox.crash_reports(), f"{name} {case}: start fails in words",
               f"exit {done.returncode}, {failed[0] if failed else 'no failure line'}")

    sandbox = Sandbox(base, "folder-file", build)
    sandbox.support.mkdir(parents=True, exist_ok=True)
    sandbox.captures.write_text("a file where the capture folder should be\n")
    attempt(sandbox, "is a regular file")

    sandbox = Sandbox(base, "folder-uncreatable", build)
    blocker = sandbox.home / "blocker"
    blocker.write_text("a file\n")
    sandbox.settings.parent.mkdir(parents=True, exist_ok=True)
    sandbox.settings.write_text(f"[General]\ncaptureDirectory={blocker}/captures\n")
    attempt(sandbox, "missing and can't be made")

    sandbox = Sandbox(base, "folder-readonly", build, drop_root=True)
    sandbox.captures.mkdir(parents=True)
    sandbox.captures.chmod(stat.S_IRUSR | stat.S_IXUSR)
    attempt(sandbox, "is read-only")
    sandbox.captures.chmod(stat.S_IRWXU)

    # Missing by itself is no fault: the program makes the folder and the capture runs.
    sandbox = Sandbox(base, "folder-missing", build)
    done = sandbox.cli(["capture", "--no-upload", "--duration", "5m"], timeout=90, NORVANE_SIM_SPEED=60)
    report(done.returncode == 0 and sandbox.captures.is_dir(), f"{name} missing: made afresh",
           f"exit {done.returncode}, folder {'made' if sandbox.captures.is_dir() else 'missing'}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True, help="folder of norvane and norvane-cli")
    parser.add_argument("--work", required=True, help="folder for the sandbox homes (emptied first)")
    parser.add_argument("--lateness-bound-ms", type=float, default=100.0)
    parser.add_argument("--rss-bound-mib", type=float, default=400.0)
    parser.add_argument("--sanitized", action="store_true",
                        help="the programs are a sanitized debug build: show the speed and size figures only")
    args = parser.parse_args()
    build = Path(args.build).resolve()
    base = Path(args.work).resolve()
    shutil.rmtree(base, ignore_errors=True)
    base.mkdir(parents=True)
    if AS_ROOT:
        # Root reads and writes whatever the modes say; a file without permission means nothing to it.
        print(f"NOTE running as root: the drills of files and folders without permission run as uid "
              f"{unprivileged_uid()} (nobody)", flush=True)

    started = time.monotonic()
    drill_kill_capture(Sandbox(base, "kill-capture", build))
    drill_kill_upload(Sandbox(base, "kill-upload", build))
    drill_flood(Sandbox(base, "flood", build), args.lateness_bound_ms, args.rss_bound_mib, args.sanitized)
    drill_flood_window(Sandbox(base, "flood-window", build), args.lateness_bound_ms, args.rss_bound_mib,
                       args.sanitized)
    drill_log_full(Sandbox(base, "log-full", build))
    drill_damaged_files(base, build)
    drill_capture_folder(base, build)
    print(f"{len(failures)} failure(s) in {time.monotonic() - started:.0f} s", flush=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
