"""Named behaviours of the capture run, the upload run and the set-up commands.

Capture scenarios come from NORVANE_SIM_SCENARIO, upload scenarios from
NORVANE_SIM_UPLOAD, set-up behaviours from NORVANE_SIM_BOOTSTRAP. The stderr
texts below are written so that each one trips exactly one row of the
program's failure tables (the earlier rows are checked first, so a text for a
later row must avoid the words of every earlier one).
"""

from dataclasses import dataclass, field


@dataclass
class Failure:
    at: float            # scenario seconds after the start of the capture
    action: str          # "stderr-exit", "crash", "fatal", "kill", "exit0"
    text: str = ""
    code: int = 1


@dataclass
class Scenario:
    name: str
    description: str
    kind: str = "play"          # play | uv-fail | silent | flood | browser-missing
    model: str = "good"
    passive: bool = False
    startup: float = 1.0        # scenario seconds before the first event (uv resolving)
    failure: Failure = None
    uv_text: str = ""           # kind uv-fail: what uv prints before giving up
    uv_code: int = 2
    garbage: bool = False
    long_line: bool = False
    hang_on_stop: bool = False
    autostop: float = None      # default auto-stop limit for open-ended runs
    sleep_stop_at: float = None
    roam_at: float = None
    sleep_resume_at: float = None
    warning_at: float = None
    fail_upload_round: int = None
    extra: dict = field(default_factory=dict)


# --- texts of the capture failure table ------------------------------------------------------

PYTHON_CONFLICT = (
    "Using CPython 3.9.6 interpreter at: /usr/bin/python3\n"
    "error: The interpreter at /usr/bin/python3 (Python 3.9.6) does not satisfy the request for 3.12\n")

NO_SOLUTION = (
    "  × No solution found when resolving `--with` dependencies:\n"
    "  ╰─▶ Because aioquic==1.3.0 depends on cryptography>=44 and only cryptography<=43.0.3 is available,\n"
    "      we can conclude that aioquic==1.3.0 cannot be used.\n"
    "      And because you require aioquic==1.3.0, we can conclude that your requirements are unsatisfiable.\n")

NOT_IN_CACHE = (
    "error: Failed to resolve `--with` requirements\n"
    "  Caused by: Because requests==2.33.1 was not found in the cache and you require requests==2.33.1,\n"
    "  we can conclude that your requirements are unsatisfiable.\n"
    "\n"
    "      hint: Packages were unavailable because the network was disabled. When the network is\n"
    "      disabled, registry packages may only be read from the cache.\n")

OFFLINE_NETWORK = (
    "error: Failed to download CPython 3.12 because network access is disabled (running with --offline)\n")

NO_MODULE = (
    "Traceback (most recent call last):\n"
    "  File \"<frozen runpy>\", line 189, in _run_module_as_main\n"
    "ModuleNotFoundError: No module named 'norvane'\n")

NO_MODULE_UNQUOTED = "ModuleNotFoundError: No module named norvane\n"

PERMISSION = "norvane.cli: cannot open ICMP socket: PermissionError: [Errno 13] Permission denied\n"

PERMISSION_LOWER = (
    "error: failed to create directory `/root/.cache/uv/archive-v0/.tmpq3ZkAd`: permission denied (os error 13)\n")

ADDRESS_IN_USE = "norvane.cli: cannot bind UDP probe socket 0.0.0.0:33434: [Errno 98] Address already in use\n"

LAST_LINE = (
    "norvane.cli: probe scheduler stopped unexpectedly\n"
    "norvane.cli: giving up: sample queue overflow (4096 pending samples)\n"
    "\n")

BLANK = "   \n\t\n  \n"

CRASH_TRACEBACK = (
    "Traceback (most recent call last):\n"
    "  File \"<frozen runpy>\", line 198, in _run_module_as_main\n"
    "  File \"<frozen runpy>\", line 88, in _run_code\n"
    "  File \"{directory}/norvane/cli.py\", line 0, in <module>\n"
    "RuntimeError: simulated crash: probe scheduler lost its event loop\n")

PLAYWRIGHT_NOT_CACHED = (
    "error: Failed to resolve `--with` requirements\n"
    "  Caused by: Because playwright==1.55.0 was not found in the cache and you require playwright==1.55.0,\n"
    "  we can conclude that your requirements are unsatisfiable.\n"
    "\n"
    "      hint: Packages were unavailable because the network was disabled. When the network is\n"
    "      disabled, registry packages may only be read from the cache.\n")

FATAL_MESSAGE = "Wi-Fi interface wlan0 disappeared; cannot continue the capture"


def _stderr(name, row, text, code, at=None, description=None):
    if at is None:
        return Scenario(name=f"stderr:{name}", kind="uv-fail", uv_text=text, uv_code=code,
                        description=description or f"row {row}: uv fails at once, exit {code}")
    return Scenario(name=f"stderr:{name}", failure=Failure(at=at, action="stderr-exit", text=text, code=code),
                    description=description or f"row {row}: fails {at:g} s after info, exit {code}")


CAPTURE_SCENARIOS = [
    Scenario("good", "healthy Wi-Fi: ~18 ms, 180/42 Mbps, speed-test rounds every 2 minutes"),
    Scenario("geo", "geostationary satellite: 550-700 ms round trips, ~28/4.5 Mbps", model="geo"),
    Scenario("flight", "aircraft cabin: category flight, ICMP answered by a proxy, ~700 ms end to end",
             model="flight", extra={"icmp_proxy_at": 12.0}),
    Scenario("passive", "continuous monitoring with relaxed intervals and observed throughput only",
             passive=True),
    Scenario("cellular", "flaky cellular hotspot: loss bursts, jitter, tcp:8.8.8.8:853 always blocked, "
             "a roam, a sleep/resume, a non-fatal error, a failed upload test and a retest round",
             model="cellular", roam_at=40.0, sleep_resume_at=75.0, warning_at=25.0, fail_upload_round=2),
    Scenario("no-internet", "the gateway answers, nothing beyond it does", model="offline"),
    Scenario("autostop", "open-ended run that hits the tool's auto-stop limit (120 s unless "
             "NORVANE_SIM_AUTOSTOP_SEC says otherwise), with a reminder before it", autostop=120.0),
    Scenario("sleep-stop", "the machine sleeps 21 minutes and wakes on another network: the tool stops",
             sleep_stop_at=15.0),
    Scenario("exit-without-complete", "plays 8 s, then exits 0 without complete",
             failure=Failure(at=8.0, action="exit0", code=0)),
    Scenario("slow-start", "40 s of silence while uv builds its environment, then a good run", startup=40.0),
    Scenario("silent", "prints nothing at all and stays alive until killed (ignores SIGINT)", kind="silent"),
    Scenario("crash", "crashes 3 s after info with a Python traceback, exit 1",
             failure=Failure(at=3.0, action="crash", text=CRASH_TRACEBACK, code=1)),
    Scenario("fatal-error", "fatal error event 4 s after info, then exit 1",
             failure=Failure(at=4.0, action="fatal", text=FATAL_MESSAGE, code=1)),
    Scenario("hang-on-stop", "a good run that ignores SIGINT: goes quiet and waits for SIGTERM",
             hang_on_stop=True),
    Scenario("browser-missing", "with the playwright pin in --with, uv fails because the package isn't "
             "cached (exit 2); without the pin, a good run", kind="browser-missing"),
    Scenario("flood", "100,000 events as fast as possible (NORVANE_SIM_FLOOD_COUNT), then complete",
             kind="flood"),
    Scenario("flood-long-line", "the flood with one valid 10 MiB status line halfway through",
             kind="flood", long_line=True),
    Scenario("garbage", "a good run salted with broken JSON, non-UTF-8 bytes, empty and CR LF lines, "
             "lines split across writes and unknown events", garbage=True),
    Scenario("long-line", "a good run with one valid 1 MiB status line 3 s in", long_line=True),
    _stderr("python-conflict", 1, PYTHON_CONFLICT, 2),
    _stderr("no-solution", 2, NO_SOLUTION, 1),
    _stderr("not-in-cache", 3, NOT_IN_CACHE, 1),
    _stderr("offline-network", 4, OFFLINE_NETWORK, 2),
    _stderr("no-module", 5, NO_MODULE, 1),
    Scenario("stderr:no-module-unquoted", "row 5 with an unquoted module name, exit 1", kind="uv-fail",
             uv_text=NO_MODULE_UNQUOTED, uv_code=1),
    _stderr("permission-denied", 6, PERMISSION, 1, at=2.0),
    _stderr("permission-denied-lower", 7, PERMISSION_LOWER, 2),
    _stderr("address-in-use", 8, ADDRESS_IN_USE, 1, at=2.0),
    Scenario("stderr:killed", "row 9: killed by SIGKILL 3 s after info, nothing on stderr",
             failure=Failure(at=3.0, action="kill")),
    _stderr("last-line", 10, LAST_LINE, 1, at=5.0),
    _stderr("blank", 11, BLANK, 2, at=3.0, description="row 11: stderr of blanks only, 3 s after info, exit 2"),
]

CAPTURE = {s.name: s for s in CAPTURE_SCENARIOS}


# --- upload scenarios ------------------------------------------------------------------------

UPLOAD_SCENARIOS = {
    "success": "uploads every pending capture with progress and records it in uploaded.json",
    "one-fails": "the second pending file (the only one, if just one) fails with a retryable error; exit 1",
    "no_credentials": "skips the whole run with reason no_credentials; exit 0",
    "oversize": "the size limit drops to 90% of the largest pending file, which stays local; the others upload",
    "crash": "starts, sends part of the first file, dies with a traceback and no summary; exit 1",
    "hang": "starts and then never finishes, until killed",
}

UPLOAD_CRASH_TRACEBACK = (
    "Traceback (most recent call last):\n"
    "  File \"<frozen runpy>\", line 198, in _run_module_as_main\n"
    "  File \"{directory}/norvane/manage.py\", line 0, in <module>\n"
    "ConnectionResetError: [Errno 104] Connection reset by peer (simulated)\n")


# --- set-up behaviours -----------------------------------------------------------------------

DEPS_STDERR = {
    "deps-python-conflict": (
        "error: No interpreter found for Python 3.12 in managed installations or search path\n"
        "  Python 3.9.6 at /usr/bin/python3 does not satisfy the request\n", 2),
    "deps-no-solution": (
        "  × No solution found when resolving `--with` dependencies:\n"
        "  ╰─▶ Because there is no version of boto3==1.42.84 and you require boto3==1.42.84,\n"
        "      we can conclude that your requirements are unsatisfiable.\n", 1),
    "deps-resolve-host": (
        "error: Request failed after 3 retries\n"
        "  Caused by: Could not resolve host: pypi.org\n", 2),
    "deps-connect": (
        "error: Request failed after 3 retries\n"
        "  Caused by: Failed to connect to files.pythonhosted.org port 443\n", 2),
    "deps-ssl": (
        "error: Request failed after 3 retries\n"
        "  Caused by: SSL handshake with pypi.org was aborted by the peer\n", 2),
    "deps-certificate": (
        "error: Request failed after 3 retries\n"
        "  Caused by: invalid peer certificate: UnknownIssuer\n", 2),
    "deps-other": (
        "error: Failed to build `aioquic==1.3.0`\n"
        "  Caused by: The build backend returned an error\n", 1),
    "deps-ssl-no-solution": (
        "warning: SSL verification of a mirror was skipped\n"
        "  × No solution found when resolving `--with` dependencies:\n"
        "  ╰─▶ Because there is no version of yt-dlp and you require yt-dlp,\n"
        "      we can conclude that your requirements are unsatisfiable.\n", 1),
}

INSTALL_STDERR = {
    "install-resolve-host": "curl: (6) Could not resolve host: installer.uv.example\n",
    "install-connect": "curl: (7) Failed to connect to installer.uv.example port 443 after 20 ms: "
                       "Couldn't connect to server\n",
    "install-permission-lower": "error: could not write to the install folder: permission denied\n",
    "install-permission": "mkdir: cannot create directory '/root/.local/bin': Permission denied\n",
    "install-other": "ERROR: checksum mismatch for uv-x86_64-unknown-linux-gnu.tar.gz\n",
}

BOOTSTRAP_BEHAVIOURS = {
    "ok": "warm-up prints deps ok; browser check passes exactly when ~/.cache/ms-playwright/chromium-* "
          "exists; browser install creates it",
    "slow": "as ok, but the warm-up takes 20 scenario seconds",
    "browser-install-fail": "the browser install fails half-way, exit 1",
    "verify-fail": "the browser check fails even with the browser in the cache, exit 1",
    "verify-hang": "the browser check never finishes, until killed",
}
for _key in DEPS_STDERR:
    BOOTSTRAP_BEHAVIOURS[f"stderr:{_key}"] = "the warm-up fails with this stderr text"
for _key in INSTALL_STDERR:
    BOOTSTRAP_BEHAVIOURS[f"stderr:{_key}"] = "the script of `uv --sim-install-script` fails with this text"
