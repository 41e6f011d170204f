"""The loopback server of the uv installer stand-in, fetched with curl as a first launch does."""

import os
import shutil
import subprocess
import sys
import unittest

from simsupport import SIM_DIR, SandboxTest

SERVER = os.path.join(SIM_DIR, "installer_server.py")
CURL = shutil.which("curl")


class Server:
    def __init__(self, *args):
        self.proc = subprocess.Popen([sys.executable, SERVER, *args], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.url = self.proc.stdout.readline().decode().strip()

    def stop(self):
        if self.proc.returncode is None:
            self.proc.stdin.close()
            self.proc.wait(timeout=10)
            self.proc.stdout.close()


@unittest.skipUnless(CURL, "curl is installed by scripts/install-deps.sh")
class InstallerServerTest(SandboxTest):
    def serve(self, *args):
        server = Server(*args)
        self.addCleanup(server.stop)
        return server

    def install(self, url, home, **env):
        return subprocess.run(["/bin/sh", "-c", f"curl -LsSf {url} | sh"], capture_output=True,
                              env=dict(self.box.env(**env), HOME=home))

    def fresh_home(self):
        home = os.path.join(self.box.home, "fresh")
        os.makedirs(home)
        return home

    def test_address_is_on_loopback_with_the_installer_path(self):
        server = self.serve()
        self.assertRegex(server.url, r"^http://127\.0\.0\.1:\d+/uv/install\.sh$")

    def test_piping_the_script_into_sh_installs_the_fake_uv(self):
        server = self.serve()
        home = self.fresh_home()
        done = self.install(server.url, home)
        self.assertEqual(done.returncode, 0, done.stderr)
        uv = os.path.join(home, ".local", "bin", "uv")
        self.assertTrue(os.access(uv, os.X_OK))
        version = subprocess.run([uv, "--version"], capture_output=True, env=dict(self.box.env(), HOME=home))
        self.assertIn(b"norvane simulator", version.stdout)

    def test_other_paths_are_not_found(self):
        server = self.serve()
        done = subprocess.run([CURL, "-sSf", server.url.replace("/uv/install.sh", "/other")], capture_output=True)
        self.assertEqual(done.returncode, 22)

    def test_server_error_fails_the_download_and_installs_nothing(self):
        server = self.serve("--status", "503")
        home = self.fresh_home()
        self.install(server.url, home)
        self.assertFalse(os.path.exists(os.path.join(home, ".local", "bin", "uv")))

    def test_closed_port_gives_curls_own_connect_failure(self):
        server = self.serve()
        server.stop()
        home = self.fresh_home()
        done = self.install(server.url, home)
        self.assertIn(b"curl: (7) Failed to connect", done.stderr)
        self.assertEqual(done.returncode, 0, "sh exits 0 on the empty script: the pipe hides curl's failure")
        self.assertFalse(os.path.exists(os.path.join(home, ".local", "bin", "uv")))

    def test_permission_behaviour_fails_the_served_script(self):
        server = self.serve()
        home = self.fresh_home()
        done = self.install(server.url, home, NORVANE_SIM_BOOTSTRAP="stderr:install-permission")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn(b"Permission denied", done.stderr)
        self.assertFalse(os.path.exists(os.path.join(home, ".local", "bin", "uv")))

    def test_server_ends_when_its_input_closes(self):
        server = Server()
        server.proc.stdin.close()
        self.assertEqual(server.proc.wait(timeout=10), 0)
        server.proc.stdout.close()


if __name__ == "__main__":
    unittest.main()
