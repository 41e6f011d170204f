#!/usr/bin/env python3
"""Checks of the installed program and of its Debian package, for CTest.

check_package.py installed --build BUILD_DIR
    Installs the build into a scratch DESTDIR and validates the desktop entry and the AppStream file.
check_package.py deb --build BUILD_DIR --source SOURCE_DIR
    Builds the Debian package from the build, unpacks it, and runs the unpacked programs with the source
    and build trees hidden behind empty mounts in a mount namespace of their own, so that anything they
    still needed from either would be missing rather than quietly found.

Each check prints a PASS or FAIL line; any FAIL exits 1. Nothing leaves the loopback interface.
"""
import argparse
import gzip
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

APP_ID = "com.norvane.Norvane"
CLOSED = "http://127.0.0.1:9"
LAUNCH_LINE = "[App] app launch version="
ICON_SIZES = (16, 24, 32, 48, 64, 128, 256, 512)
HERE = Path(__file__).resolve().parent
CAPTURE_DATA = HERE.parent / "data" / "analyze"
CAPTURE = "wifi_capture_20260314T093000Z"
SIMULATOR = HERE.parent.parent / "tools" / "simulator"

failures = 0


def report(ok, name, detail=""):
    global failures
    if not ok:
        failures += 1
    print(f"{'PASS' if ok else 'FAIL'} {name}" + (f": {detail}" if detail else ""), flush=True)
    return ok


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, **options)


def scratch(name):
    # Outside the source and build trees, which the package check hides.
    return Path(tempfile.mkdtemp(prefix=f"norvane-{name}-"))


# --- installed ------------------------------------------------------------------------------------------


def check_installed(build):
    root = scratch("install")
    try:
        done = run(["cmake", "--install", str(build), "--prefix", "/usr"], env={**os.environ, "DESTDIR": str(root)})
        if not report(done.returncode == 0, "cmake --install into a scratch DESTDIR", done.stderr.strip()):
            return
        usr = root / "usr"
        expected = [usr / "bin/norvane", usr / "bin/norvane-cli", usr / "share/man/man1/norvane-cli.1.gz",
                    usr / "share/norvane/aviation_facts.json",
                    usr / f"share/icons/hicolor/scalable/apps/{APP_ID}.svg"]
        expected += [usr / f"share/icons/hicolor/{size}x{size}/apps/{APP_ID}.png" for size in ICON_SIZES]
        missing = [str(path.relative_to(root)) for path in expected if not path.is_file()]
        report(not missing, "installed files", "missing " + ", ".join(missing) if missing else f"{len(expected)} present")
        man = usr / "share/man/man1/norvane-cli.1.gz"
        page = gzip.decompress(man.read_bytes()).decode() if man.is_file() else ""
        report(page.startswith(".TH NORVANE-CLI 1 ") and "\\fBanalyze\\fR" in page,
               "the man page is norvane-cli's help", page.splitlines()[0] if page else "no page")
        desktop = usr / f"share/applications/{APP_ID}.desktop"
        done = run(["desktop-file-validate", str(desktop)])
        report(done.returncode == 0 and not done.stdout.strip(), "desktop-file-validate",
               (done.stdout + done.stderr).strip())
        metainfo = usr / f"share/metainfo/{APP_ID}.metainfo.xml"
        done = run(["appstreamcli", "validate", "--no-net", str(metainfo)])
        report(done.returncode == 0, "appstreamcli validate --no-net", (done.stdout + done.stderr).strip())
    finally:
        shutil.rmtree(root, ignore_errors=True)


# --- deb ------------------------------------------------------------------------------------------------


def build_package(build, work):
    done = subprocess.run(["cpack", "-G", "DEB", "--config", str(build / "CPackConfig.cmake"), "-B", str(work / "cpack")],
                          capture_output=True, text=True, timeout=300)
    debs = sorted((work / "cpack").glob("norvane_*.deb"))
    built = done.returncode == 0 and len(debs) == 1
    detail = ", ".join(d.name for d in debs) if built else (done.stdout + done.stderr).strip()[-2000:]
    if not report(built, "cpack builds one norvane_*.deb", detail):
        return None
    return debs[0]


def check_control(deb):
    depends = run(["dpkg-deb", "-f", str(deb), "Depends"]).stdout.strip()
    names = {alternative.split()[0] for entry in depends.split(",") for alternative in entry.split("|") if entry.strip()}
    wanted = {"curl", "iproute2", "iputils-ping", "libqt6core6", "libqt6widgets6", "libqt6charts6"}
    report(wanted <= names, "Depends has the programs it runs and the libraries it links",
           "missing " + ", ".join(sorted(wanted - names)) if not wanted <= names else depends)
    section = run(["dpkg-deb", "-f", str(deb), "Section"]).stdout.strip()
    report(section == "net", "Section is net", section)


def make_home(work):
    """A home whose ~/.local/bin answers for uv, ip and ping: uv only notes its arguments, and ip and ping
    are the simulator's fakes, copied so that they don't live in the hidden source tree."""
    home = work / "home"
    bin_dir = home / ".local/bin"
    bin_dir.mkdir(parents=True)
    (home / ".runtime").mkdir(mode=0o700)
    uv = bin_dir / "uv"
    uv.write_text('#!/bin/sh\nprintf \'%s\\n\' "$*" >>"$HOME/uv-calls.txt"\nexit 1\n')
    uv.chmod(0o755)
    for fake in ("ip", "ping"):
        shutil.copy2(SIMULATOR / fake, bin_dir / fake)
    return home


def prepare(build, work):
    deb = build_package(build, work)
    if deb is None:
        return False
    check_control(deb)
    root = work / "root"
    done = run(["dpkg-deb", "-x", str(deb), str(root)])
    if not report(done.returncode == 0, "dpkg-deb -x", done.stderr.strip()):
        return False
    # What a package built with the measurement tool's sources holds; the program must find it there.
    tool = root / "usr/share/norvane/PythonSources/norvane"
    tool.mkdir(parents=True)
    (tool / "__init__.py").write_text("")
    shutil.copytree(CAPTURE_DATA, work / "captures")
    make_home(work)
    return True


def hide_trees(trees):
    """Covers each tree with an empty tmpfs, the deepest first so that one inside another is covered too."""
    for tree in sorted({Path(t).resolve() for t in trees}, key=lambda p: len(p.parts), reverse=True):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "none", str(tree)], check=True)
    # A tree inside another is gone altogether once the outer one is covered.
    hidden = all(not Path(t).exists() or not any(Path(t).iterdir()) for t in trees)
    return report(hidden, "source and build trees hidden", " ".join(str(t) for t in trees))


def environment(home):
    # Only what a desktop session would give, and every address on a closed loopback port.
    return {"HOME": str(home), "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", "XDG_RUNTIME_DIR": str(home / ".runtime"),
            "QT_QPA_PLATFORM": "offscreen", "NORVANE_SITE_URL": CLOSED,
            "NORVANE_PORTAL_PROBE_URL": CLOSED + "/generate_204", "NORVANE_UV_INSTALLER_URL": CLOSED + "/uv/install.sh",
            # A sanitized build keeps the options its test run was given.
            **{name: os.environ[name] for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS") if name in os.environ}}


def wait_until(predicate, timeout):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        if predicate():
            return True
        time.sleep(0.1)
    return predicate()


def read(path):
    try:
        return path.read_text(errors="replace")
    except OSError:
        return ""


def run_unpacked(work):
    root, home = work / "root", work / "home"
    env = environment(home)
    cli = str(root / "usr/bin/norvane-cli")

    done = run([cli, "--help"], env=env, cwd=work)
    report(done.returncode == 0 and done.stdout.startswith("Usage: norvane-cli "), "norvane-cli --help",
           done.stderr.strip() or done.stdout.splitlines()[0])

    capture = work / "captures" / f"{CAPTURE}.csv"
    done = run([cli, "analyze", str(capture), "--json"], env=env, cwd=work)
    expected = json.loads((work / "captures" / f"{CAPTURE}.expected.json").read_text())
    try:
        same = json.loads(done.stdout) == expected
    except ValueError:
        same = False
    report(done.returncode == 0 and same, "norvane-cli analyze of a recorded capture matches its golden file",
           done.stderr.strip() or f"exit {done.returncode}")

    log = home / ".local/state/Norvane/logs/linux-app.log"
    calls = home / "uv-calls.txt"
    tool = str(root / "usr/share/norvane/PythonSources")
    with open(work / "norvane.out", "w") as output:
        window = subprocess.Popen([str(root / "usr/bin/norvane")], env=env, cwd=work, stdout=output,
                                  stderr=subprocess.STDOUT)
    try:
        launched = wait_until(lambda: LAUNCH_LINE in read(log), 30)
        report(launched, "norvane logs its launch line",
               next((line for line in read(log).splitlines() if LAUNCH_LINE in line), read(work / "norvane.out")[-500:]))
        # The launch's upload sweep runs the tool from its sources in the installed data folder.
        found = wait_until(lambda: f"--directory {tool} " in read(calls), 15)
        report(found, "the tool runs from the installed data folder", read(calls).strip() or "uv was never run")
    finally:
        window.send_signal(signal.SIGTERM)
        try:
            status = window.wait(10)
        except subprocess.TimeoutExpired:
            window.kill()
            status = window.wait()
    reports = sorted(p.name for p in (home / ".local/state/Norvane/DiagnosticReports").glob("*.ips"))
    report(status == -signal.SIGTERM and not reports, "norvane ends by SIGTERM without a crash report",
           f"exit {status}" + (", reports " + ", ".join(reports) if reports else ""))


def check_deb(build, source):
    work = scratch("package")
    keep = False
    try:
        if not prepare(build, work):
            keep = True
            return
        # A mount namespace of our own: the trees are hidden from the programs only, and only for this run.
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        done = subprocess.run(["unshare", *user, "--mount", sys.executable, __file__, "deb-hidden", "--work", str(work),
                               "--hide", str(source), str(build)], timeout=180)
        if not report(done.returncode == 0, "the unpacked programs with the trees hidden", f"exit {done.returncode}"):
            keep = True
    finally:
        if keep:
            print(f"scratch kept in {work}", flush=True)
        else:
            shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("check", choices=("installed", "deb", "deb-hidden"))
    parser.add_argument("--build", type=Path)
    parser.add_argument("--source", type=Path)
    parser.add_argument("--work", type=Path)
    parser.add_argument("--hide", nargs="*", default=[])
    arguments = parser.parse_args()
    if arguments.check == "installed":
        check_installed(arguments.build.resolve())
    elif arguments.check == "deb":
        check_deb(arguments.build.resolve(), arguments.source.resolve())
    elif hide_trees(arguments.hide):
        run_unpacked(arguments.work)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
