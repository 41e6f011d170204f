"""Entry of the fake `uv`: journal the call, check the command line, and hand
it to the capture, upload or set-up part."""

import os
import random
import sys

from . import UV_VERSION, SIM_VERSION, bootstrap, cmdline, scenarios
from .capture import CaptureRun, FloodRun, SilentRun
from .clock import SimClock, speed_from_env
from .record import record_invocation
from .upload import UploadRun


def _seed(env):
    raw = env.get("NORVANE_SIM_SEED")
    if raw:
        try:
            return int(raw)
        except ValueError:
            return raw
    return random.randrange(1 << 30)


def list_text():
    lines = ["Capture scenarios (NORVANE_SIM_SCENARIO, default good):"]
    for sc in scenarios.CAPTURE_SCENARIOS:
        lines.append(f"  {sc.name:<31} {sc.description}")
    lines.append("")
    lines.append("Upload scenarios (NORVANE_SIM_UPLOAD, default success):")
    for name, text in scenarios.UPLOAD_SCENARIOS.items():
        lines.append(f"  {name:<31} {text}")
    lines.append("")
    lines.append("Set-up behaviours (NORVANE_SIM_BOOTSTRAP, default ok):")
    for name, text in scenarios.BOOTSTRAP_BEHAVIOURS.items():
        lines.append(f"  {name:<31} {text}")
    return "\n".join(lines) + "\n"


def _kind(parsed):
    return type(parsed).__name__.lower() if not isinstance(parsed, cmdline.Meta) else "meta:" + parsed.what


def main(argv=None, executable=None, self_path=None):
    argv = sys.argv[1:] if argv is None else argv
    executable = sys.argv[0] if executable is None else executable
    env = dict(os.environ)
    out, err = sys.stdout, sys.stderr

    try:
        parsed = cmdline.parse(argv)
    except cmdline.Rejected as exc:
        record_invocation(argv, executable, "rejected", env)
        err.write(f"error: the uv simulator does not accept this command line: {exc}\n"
                  f"  command: uv {' '.join(argv)}\n"
                  "uv-sim: rejected command line (see above)\n")
        return 2
    record_invocation(argv, executable, _kind(parsed), env)
    clock = SimClock(speed_from_env(env))

    if isinstance(parsed, cmdline.Meta):
        if parsed.what == "version":
            out.write(f"uv {UV_VERSION} (norvane simulator {SIM_VERSION})\n")
            return 0
        if parsed.what == "list":
            out.write(list_text())
            return 0
        if parsed.what == "install-script":
            out.write(bootstrap.install_script(self_path or os.path.realpath(executable)))
            return 0
        err.write(f"uv-sim: unknown simulator option --sim-{parsed.what}\n")
        return 2

    if isinstance(parsed, cmdline.Capture):
        name = env.get("NORVANE_SIM_SCENARIO") or "good"
        sc = scenarios.CAPTURE.get(name)
        if sc is None:
            err.write(f"uv-sim: unknown capture scenario {name!r} (see `uv --sim-list`)\n")
            return 2
        if sc.kind == "browser-missing":
            if parsed.playwright:
                clock.sleep(0.5)
                err.write(scenarios.PLAYWRIGHT_NOT_CACHED)
                err.flush()
                return 2
            sc = scenarios.CAPTURE["good"]
        if sc.kind == "uv-fail":
            clock.sleep(0.5)
            err.write(sc.uv_text)
            err.flush()
            return sc.uv_code
        runner = {"silent": SilentRun, "flood": FloodRun}.get(sc.kind, CaptureRun)
        return runner(parsed, sc, env, clock, seed=_seed(env)).run()

    if isinstance(parsed, cmdline.Upload):
        name = env.get("NORVANE_SIM_UPLOAD") or "success"
        if name not in scenarios.UPLOAD_SCENARIOS:
            err.write(f"uv-sim: unknown upload scenario {name!r} (see `uv --sim-list`)\n")
            return 2
        return UploadRun(parsed, name, env, clock).run()

    behaviour = env.get("NORVANE_SIM_BOOTSTRAP") or "ok"
    if behaviour not in scenarios.BOOTSTRAP_BEHAVIOURS:
        err.write(f"uv-sim: unknown set-up behaviour {behaviour!r} (see `uv --sim-list`)\n")
        return 2
    if isinstance(parsed, cmdline.WarmUp):
        return bootstrap.warm_up(parsed, behaviour, env, clock, out, err)
    if isinstance(parsed, cmdline.VerifyBrowser):
        return bootstrap.verify_browser(behaviour, env, clock, out, err)
    if isinstance(parsed, cmdline.InstallBrowser):
        return bootstrap.install_browser(behaviour, env, clock, out, err)
    err.write("uv-sim: internal error: unhandled command\n")
    return 2
