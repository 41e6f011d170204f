"""The large-capture generator writes the rows it is asked for, in the capture format."""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from collections import Counter

from simsupport import SIM_DIR, parse_ts, read_csv_rows

GEN = os.path.join(SIM_DIR, "gen_capture.py")


class GenCaptureTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.addCleanup(self.dir.cleanup)

    def gen(self, rows, name="wifi_capture_20250601T120000Z.csv", *extra):
        out = os.path.join(self.dir.name, name)
        done = subprocess.run([sys.executable, GEN, "--rows", str(rows), "--out", out, *extra], capture_output=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        return out

    def test_row_count_and_shape(self):
        for rows in (2, 3, 1000, 25_000):
            with self.subTest(rows=rows):
                data = read_csv_rows(self.gen(rows, "x.csv", "--seed", "7"))[1:]
                self.assertEqual(len(data), rows)
                self.assertEqual(data[0][1], "session_start")
                self.assertEqual(data[-1][1], "session_end")
                self.assertTrue(all(len(r) == 11 for r in data))

    def test_realistic_mix_with_valid_fields(self):
        data = read_csv_rows(self.gen(25_000, "x.csv", "--seed", "1"))[1:]
        kinds = Counter(r[1] for r in data)
        for kind in ("ping", "udp", "tcp", "http", "dns", "quic", "wifi", "traceroute", "throughput_down",
                     "throughput_up", "throughput_observed"):
            self.assertGreater(kinds[kind], 0, kind)
        self.assertGreater(kinds["ping"], len(data) / 3)
        self.assertTrue(any(r[4] == "1" for r in data if r[1] == "ping"), "some samples are lost")
        stamps = [parse_ts(r[0]) for r in data]
        self.assertNotIn(None, stamps)
        self.assertEqual(stamps, sorted(stamps))
        for r in data:
            if r[1] == "traceroute":
                self.assertEqual(len(re.findall(r"h(\d+)=([\d.]+)\(([\d.]+)ms\)", r[10])), int(r[6]))
            if r[1] in ("throughput_down", "throughput_up"):
                self.assertGreater(float(r[7]), 0)
            if r[1] == "throughput_observed":
                self.assertRegex(r[10], r"^dl_mbps=[\d.]+ ul_mbps=[\d.]+$")
        span = (stamps[-1] - stamps[0]).total_seconds()
        self.assertIn(f"duration={span:.1f}s", data[-1][10].split(" "))

    def test_same_seed_same_file(self):
        a = self.gen(3000, "a.csv", "--seed", "5")
        b = self.gen(3000, "b.csv", "--seed", "5")
        with open(a, "rb") as fa, open(b, "rb") as fb:
            self.assertEqual(fa.read(), fb.read())

    def test_register_adds_a_captures_json_entry(self):
        out = self.gen(100, "wifi_capture_20250601T120000Z.csv", "--register")
        with open(os.path.join(self.dir.name, "captures.json")) as f:
            entries = json.load(f)
        self.assertEqual(entries[0]["file"], os.path.basename(out))
        self.assertIn("location", entries[0])
        self.assertIn("network_type", entries[0])

    def test_too_few_rows_is_refused(self):
        done = subprocess.run([sys.executable, GEN, "--rows", "1", "--out", os.path.join(self.dir.name, "y.csv")],
                              capture_output=True)
        self.assertEqual(done.returncode, 2)


if __name__ == "__main__":
    unittest.main()
