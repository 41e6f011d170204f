"""Warm-up, browser check, browser install and the installer stand-in."""

import os
import re
import subprocess
import unittest

from simsupport import CAPTURE_DEPS, PIN, VERIFY_PROGRAM, WARM_DEPS, SandboxTest

WARM_UP = ["run", "--python", "3.12", "--with", WARM_DEPS, "python", "-c", "print('deps ok')"]
VERIFY = ["run", "--offline", "--python", "3.12", "--with", CAPTURE_DEPS + "," + PIN, "python", "-c", VERIFY_PROGRAM]
INSTALL = ["run", "--python", "3.12", "--with", PIN, "python", "-m", "playwright", "install", "chromium"]
PROGRESS = re.compile(r"(\d+)%\s+of\s+([\d.]+ MiB)")


def deps_error_row(output):
    """Row of the dependency failure table that decides for this output."""
    tests = [
        lambda: "does not satisfy" in output and "Python" in output,
        lambda: "No solution found" in output,
        lambda: "Could not resolve host" in output,
        lambda: "Failed to connect" in output,
        lambda: "SSL" in output,
        lambda: "certificate" in output,
    ]
    for row, test in enumerate(tests, 1):
        if test():
            return row
    return 7


def installer_error_row(output):
    tests = [lambda: "Could not resolve host" in output, lambda: "Failed to connect" in output,
             lambda: "permission denied" in output, lambda: "Permission denied" in output]
    for row, test in enumerate(tests, 1):
        if test():
            return row
    return 5


def chromium_installed(home):
    try:
        return any(n.startswith("chromium-") for n in os.listdir(os.path.join(home, ".cache", "ms-playwright")))
    except OSError:
        return False


class WarmUpTest(SandboxTest):
    def test_warm_up_prints_deps_ok_with_and_without_the_pin(self):
        for deps in (WARM_DEPS, WARM_DEPS + "," + PIN):
            with self.subTest(deps=deps):
                args = list(WARM_UP)
                args[4] = deps
                done = self.box.run(args)
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual(done.stdout, b"deps ok\n")

    def test_each_dependency_failure_lands_on_its_row(self):
        rows = {"deps-python-conflict": 1, "deps-no-solution": 2, "deps-resolve-host": 3, "deps-connect": 4,
                "deps-ssl": 5, "deps-certificate": 6, "deps-other": 7, "deps-ssl-no-solution": 2}
        for key, row in rows.items():
            with self.subTest(behaviour=key):
                done = self.box.run(WARM_UP, NORVANE_SIM_BOOTSTRAP=f"stderr:{key}")
                self.assertNotEqual(done.returncode, 0)
                self.assertNotIn(b"deps ok", done.stdout)
                self.assertEqual(deps_error_row(done.stdout.decode() + done.stderr.decode()), row)


class BrowserTest(SandboxTest):
    def test_check_fails_until_the_install_puts_chromium_in_the_cache(self):
        before = self.box.run(VERIFY)
        self.assertEqual(before.returncode, 1)
        self.assertNotEqual(before.stdout, b"ok\n")
        self.assertFalse(chromium_installed(self.box.home))

        install = self.box.run(INSTALL)
        self.assertEqual(install.returncode, 0, install.stderr)
        lines = install.stdout.decode("utf-8").split("\n")
        self.assertEqual(sum(l.startswith("Downloading ") for l in lines), 3)
        percents = [int(m.group(1)) for m in map(PROGRESS.search, lines) if m]
        self.assertIn(100, percents)
        self.assertGreaterEqual(len(percents), 10)
        self.assertTrue(chromium_installed(self.box.home))
        cache = os.listdir(os.path.join(self.box.home, ".cache", "ms-playwright"))
        self.assertIn("chromium_headless_shell-1187", cache)

        after = self.box.run(VERIFY)
        self.assertEqual(after.returncode, 0, after.stderr)
        self.assertEqual(after.stdout, b"ok\n")

    def test_failed_install_ends_with_its_reason_on_the_last_line(self):
        done = self.box.run(INSTALL, NORVANE_SIM_BOOTSTRAP="browser-install-fail")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr.decode().strip().split("\n")[-1],
                         "Error: Failed to download FFMPEG playwright build v1011")

    def test_verify_fail_even_with_the_browser(self):
        os.makedirs(os.path.join(self.box.home, ".cache", "ms-playwright", "chromium-1187"))
        self.assertEqual(self.box.run(VERIFY).returncode, 0)
        self.assertEqual(self.box.run(VERIFY, NORVANE_SIM_BOOTSTRAP="verify-fail").returncode, 1)

    def test_verify_hang_needs_a_kill(self):
        child = self.start(VERIFY, NORVANE_SIM_BOOTSTRAP="verify-hang", NORVANE_SIM_SPEED=100)
        with self.assertRaises(subprocess.TimeoutExpired):
            child.proc.wait(timeout=0.5)

    def test_an_underscore_folder_alone_is_not_a_browser(self):
        os.makedirs(os.path.join(self.box.home, ".cache", "ms-playwright", "chromium_headless_shell-1187"))
        self.assertEqual(self.box.run(VERIFY).returncode, 1)


class InstallScriptTest(SandboxTest):
    def script(self):
        done = self.box.run(["--sim-install-script"])
        self.assertEqual(done.returncode, 0)
        path = os.path.join(self.box.home, "install.sh")
        with open(path, "wb") as f:
            f.write(done.stdout)
        return path

    def test_script_installs_the_simulator_as_uv(self):
        other = os.path.join(self.box.home, "other-home")
        os.makedirs(other)
        done = subprocess.run(["/bin/sh", self.script()], env=dict(self.box.env(), HOME=other), capture_output=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        uv = os.path.join(other, ".local", "bin", "uv")
        self.assertTrue(os.access(uv, os.X_OK))
        version = subprocess.run([uv, "--version"], env=dict(self.box.env(), HOME=other), capture_output=True)
        self.assertIn(b"norvane simulator", version.stdout)

    def test_each_installer_failure_lands_on_its_row(self):
        script = self.script()
        rows = {"install-resolve-host": 1, "install-connect": 2, "install-permission-lower": 3,
                "install-permission": 4, "install-other": 5}
        for key, row in rows.items():
            with self.subTest(behaviour=key):
                done = subprocess.run(["/bin/sh", script], capture_output=True,
                                      env=self.box.env(NORVANE_SIM_BOOTSTRAP=f"stderr:{key}"))
                self.assertNotEqual(done.returncode, 0)
                self.assertEqual(installer_error_row(done.stdout.decode() + done.stderr.decode()), row)


if __name__ == "__main__":
    unittest.main()
