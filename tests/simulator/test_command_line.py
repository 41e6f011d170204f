"""Only the command lines the program builds get through; the journal records every call."""

import json
import os
import shutil
import subprocess
import unittest

from simsupport import CAPTURE_DEPS, PIN, SIM_DIR, UPLOAD_DEPS, SandboxTest

from norvane_sim import cmdline


class ParseTest(unittest.TestCase):
    BASE = ["run", "--offline", "--python", "3.12", "--with", CAPTURE_DEPS, "--directory", "/src",
            "-m", "norvane.cli", "--json", "-o", "/c/x.csv"]

    def test_full_capture_line_in_order(self):
        cap = cmdline.parse(self.BASE + ["--location", "DAL 367", "--network", "AeroWiFi", "--duration", "5m",
                                         "--privacy", "omit", "--profile", "passive", "--client", "linux/1.2.3"])
        self.assertEqual((cap.location, cap.network, cap.duration_secs, cap.privacy, cap.profile, cap.client),
                         ("DAL 367", "AeroWiFi", 300.0, "omit", "passive", "linux/1.2.3"))
        self.assertFalse(cap.playwright)

    def test_minimal_capture_line(self):
        cap = cmdline.parse(self.BASE + ["--client", "macos/dev"])
        self.assertEqual((cap.duration_secs, cap.privacy, cap.profile), (None, "include", "active"))

    def test_durations(self):
        for text, seconds in (("300", 300.0), ("30s", 30.0), ("5m", 300.0), ("1h", 3600.0), ("3h", 10800.0),
                              ("1h30m", 5400.0), ("1.5h", 5400.0), ("", None)):
            self.assertEqual(cmdline.parse_duration(text), seconds, text)
        for text in ("abc", "5x", "m5", "-5m", "0", "5m 3"):
            with self.assertRaises(ValueError, msg=text):
                cmdline.parse_duration(text)

    def test_rejections(self):
        bad = [
            [],
            ["run"],
            ["pip", "install", "x"],
            self.BASE,                                                    # no --client
            self.BASE + ["--client", "windows/1"],
            self.BASE + ["--network", "N", "--location", "L", "--client", "linux/1"],   # out of order
            self.BASE + ["--location", "", "--client", "linux/1"],
            self.BASE + ["--privacy", "include", "--client", "linux/1"],
            self.BASE + ["--profile", "active", "--client", "linux/1"],
            self.BASE + ["--duration", "soon", "--client", "linux/1"],
            self.BASE + ["--client", "linux/1", "--extra"],
            [a if a != CAPTURE_DEPS else "requests,aioquic,yt-dlp" for a in self.BASE] + ["--client", "linux/1"],
            [a for a in self.BASE if a != "--offline"] + ["--client", "linux/1"],
            ["run", "--offline", "--python", "3.11"] + self.BASE[4:] + ["--client", "linux/1"],
            ["run", "--offline", "--python", "3.12", "--with", UPLOAD_DEPS, "--directory", "/s", "-m",
             "norvane.manage", "upload", "--dir", "/c"],                  # no --json
            ["run", "--python", "3.12", "--with", "requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,yt-dlp",
             "python", "-c", "print('hi')"],
            ["run", "--offline", "--python", "3.12", "--with", "requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,"
             "yt-dlp", "python", "-c", "print('deps ok')"],              # warm-up must be online
            ["run", "--python", "3.12", "--with", PIN, "python", "-m", "playwright", "install", "firefox"],
        ]
        for argv in bad:
            with self.subTest(argv=argv), self.assertRaises(cmdline.Rejected):
                cmdline.parse(argv)


class EntryTest(SandboxTest):
    def test_rejected_line_exits_2_and_says_why(self):
        done = self.box.run(["run", "--offline", "--python", "3.12", "-m", "norvane.cli"])
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stdout, b"")
        self.assertIn(b"does not accept this command line", done.stderr)

    def test_unknown_scenario_exits_2(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="no-such-thing")
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"no-such-thing", done.stderr)

    def test_list_names_every_scenario(self):
        from norvane_sim import scenarios
        done = self.box.run(["--sim-list"])
        self.assertEqual(done.returncode, 0)
        listed = done.stdout.decode()
        for name in list(scenarios.CAPTURE) + list(scenarios.UPLOAD_SCENARIOS) + list(scenarios.BOOTSTRAP_BEHAVIOURS):
            self.assertIn(f"  {name} ", listed)

    def test_journal_records_every_call_with_its_environment(self):
        self.box.run(["--version"])
        self.box.run(self.box.capture_args(duration="5s"), NORVANE_SIM_SPEED=200, EXTRA_MARK="m1")
        self.box.run(["bogus"])
        with open(os.path.join(self.box.home, ".norvane-sim", "invocations.jsonl")) as f:
            entries = [json.loads(l) for l in f]
        self.assertEqual([e["kind"] for e in entries], ["meta:version", "capture", "rejected"])
        capture = entries[1]
        self.assertEqual(capture["argv"], self.box.capture_args(duration="5s"))
        self.assertEqual(capture["env"]["EXTRA_MARK"], "m1")
        self.assertEqual(capture["env"]["HOME"], self.box.home)
        self.assertEqual(capture["env"]["PYTHONUNBUFFERED"], "1")
        self.assertEqual(capture["cwd"], self.box.home)
        self.assertIsInstance(capture["pid"], int)
        self.assertEqual(capture["executable"], self.box.uv)
        self.assertEqual(entries[2]["argv"], ["bogus"])

    def test_journal_goes_where_norvane_sim_record_says(self):
        path = os.path.join(self.box.home, "elsewhere", "calls.jsonl")
        self.box.run(["--version"], NORVANE_SIM_RECORD=path)
        with open(path) as f:
            self.assertEqual(json.loads(f.readline())["argv"], ["--version"])
        self.assertFalse(os.path.exists(os.path.join(self.box.home, ".norvane-sim")))

    def test_a_copy_finds_its_package_through_norvane_sim_root(self):
        copy = os.path.join(self.box.home, "copied-uv")
        shutil.copy(os.path.join(SIM_DIR, "uv"), copy)
        lost = subprocess.run([copy, "--version"], env=self.box.env(), capture_output=True)
        self.assertEqual(lost.returncode, 2)
        self.assertIn(b"NORVANE_SIM_ROOT", lost.stderr)
        found = subprocess.run([copy, "--version"], env=self.box.env(NORVANE_SIM_ROOT=SIM_DIR),
                               capture_output=True)
        self.assertEqual(found.returncode, 0)

    def test_relative_output_is_relative_to_the_directory(self):
        args = self.box.capture_args(csv="rel/wifi_capture_20250101T000000Z.csv", duration="5s")
        args[args.index("--directory") + 1] = self.box.home
        done = self.box.run(args, NORVANE_SIM_SPEED=200)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(os.path.isfile(os.path.join(self.box.home, "rel", "wifi_capture_20250101T000000Z.csv")))


if __name__ == "__main__":
    unittest.main()
