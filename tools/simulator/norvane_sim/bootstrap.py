"""The set-up commands: dependency warm-up, browser check, browser install,
and a stand-in for the uv installer script.

The browser lives where Playwright keeps it on Linux, ~/.cache/ms-playwright,
so the program's own look into that folder agrees with what these commands
do: the install creates chromium-NNNN there, the check passes only when it is
there.
"""

import os
import shlex
import signal

from .record import home_dir
from .scenarios import DEPS_STDERR, INSTALL_STDERR

CHROMIUM_BUILD = "1187"
DOWNLOADS = [
    ("Chromium 140.0.7339.16 (playwright build v1187)", "chromium-1187", 173.7),
    ("FFMPEG playwright build v1011", "ffmpeg-1011", 2.3),
    ("Chromium Headless Shell 140.0.7339.16 (playwright build v1187)", "chromium_headless_shell-1187", 104.5),
]


def browser_cache(env):
    return os.path.join(home_dir(env), ".cache", "ms-playwright")


def chromium_in_cache(env):
    try:
        return any(n.startswith("chromium-") for n in os.listdir(browser_cache(env)))
    except OSError:
        return False


def _fail(err, text, code):
    err.write(text)
    err.flush()
    return code


def warm_up(cmd, behaviour, env, clock, out, err):
    if behaviour.startswith("stderr:deps-"):
        key = behaviour[len("stderr:"):]
        if key in DEPS_STDERR:
            clock.sleep(1.0)
            text, code = DEPS_STDERR[key]
            return _fail(err, text, code)
    err.write("Resolved 31 packages in 412ms\n")
    err.flush()
    clock.sleep(20.0 if behaviour == "slow" else 1.5)
    err.write(f"Installed {31 if cmd.playwright else 30} packages in 85ms\n")
    err.flush()
    out.write("deps ok\n")
    out.flush()
    return 0


def verify_browser(behaviour, env, clock, out, err):
    clock.sleep(1.0)
    if behaviour == "verify-hang":
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        while True:
            signal.pause()
    if behaviour == "verify-fail":
        return _fail(err, "playwright._impl._errors.TargetClosedError: Browser.new_page: Target page, context or "
                          "browser has been closed (simulated)\n", 1)
    if not chromium_in_cache(env):
        path = os.path.join(browser_cache(env), f"chromium_headless_shell-{CHROMIUM_BUILD}",
                            "chrome-linux", "headless_shell")
        return _fail(err, "playwright._impl._errors.Error: BrowserType.launch: Executable doesn't exist at "
                          f"{path}\nLooks like Playwright was just installed or updated.\n"
                          "Please run the following command to download new browsers:\n"
                          "    playwright install\n", 1)
    out.write("ok\n")
    out.flush()
    return 0


def install_browser(behaviour, env, clock, out, err):
    cache = browser_cache(env)
    for number, (label, folder, size_mb) in enumerate(DOWNLOADS):
        out.write(f"Downloading {label} from https://cdn.playwright.example/builds/{folder}.zip\n")
        out.flush()
        for pct in range(10, 101, 10):
            clock.sleep(0.4)
            if behaviour == "browser-install-fail" and number == 1 and pct == 60:
                return _fail(err, "Error: Download failed: server returned code 503 body 'Service Unavailable'. "
                                  "(simulated)\nFailed to install browsers\n"
                                  "Error: Failed to download FFMPEG playwright build v1011\n", 1)
            bar = "■" * (pct * 8 // 10)
            out.write(f"|{bar:<80}| {pct:3d}% of {size_mb:.1f} MiB\n")
            out.flush()
        target = os.path.join(cache, folder)
        os.makedirs(target, exist_ok=True)
        with open(os.path.join(target, "INSTALLATION_COMPLETE"), "w"):
            pass
        out.write(f"{label} downloaded to {target}\n")
        out.flush()
    return 0


def install_script(self_path):
    """A shell script, meant to be served from a loopback web server in place of
    the real uv installer, that installs this simulator as {HOME}/.local/bin/uv.
    Its failure texts follow NORVANE_SIM_BOOTSTRAP=stderr:install-*."""
    cases = "\n".join(
        f"  stderr:{key}) printf '%s\\n' {shlex.quote(text.rstrip(chr(10)))} >&2; exit 1 ;;"
        for key, text in INSTALL_STDERR.items())
    return f"""#!/bin/sh
# Installs the Norvane tool simulator as uv. Nothing is downloaded.
set -e
case "${{NORVANE_SIM_BOOTSTRAP:-ok}}" in
{cases}
esac
echo "downloading uv (simulated)"
mkdir -p "$HOME/.local/bin"
ln -sf {shlex.quote(self_path)} "$HOME/.local/bin/uv"
echo "installing to $HOME/.local/bin"
echo "  uv"
echo "everything's installed!"
"""
