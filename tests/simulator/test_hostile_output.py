"""Output that tests the program's line reader: a flood, broken lines, a huge line."""

import json
import signal
import unittest

from simsupport import SandboxTest, event_problems, read_csv_rows


def decodes(line):
    """True when the program's decoder would deliver this line as an event of the format."""
    try:
        obj = json.loads(line.decode("utf-8"))
    except (UnicodeDecodeError, ValueError):
        return False
    return not event_problems(obj)


class FloodTest(SandboxTest):
    def test_flood_sends_100000_events_between_info_and_complete(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="flood", timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.split(b"\n")
        self.assertEqual(lines.pop(), b"")
        self.assertEqual(len(lines), 100_002)
        first, last = json.loads(lines[0]), json.loads(lines[-1])
        self.assertEqual((first["event"], last["event"]), ("info", "complete"))
        for line in lines[1:-1:997]:
            self.assertTrue(decodes(line), line)
        rows = read_csv_rows(self.box.csv_path())
        self.assertEqual(last["samples"], len(rows) - 1)

    def test_flood_count_can_be_set_and_sigint_cuts_it_short(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="flood", NORVANE_SIM_FLOOD_COUNT=500)
        self.assertEqual(len(done.stdout.splitlines()), 502)
        child = self.start(self.box.capture_args(), NORVANE_SIM_SCENARIO="flood",
                           NORVANE_SIM_FLOOD_COUNT=50_000_000)
        child.wait_event("info")
        child.wait_for(lambda e: e.get("event") == "probe")
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(timeout=30), 0)
        self.assertEqual(json.loads(child.lines[-1])["event"], "complete")
        self.assertLess(len(child.lines), 50_000_000)

    def test_flood_long_line_puts_one_valid_line_of_ten_mebibytes_halfway(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="flood-long-line",
                            NORVANE_SIM_FLOOD_COUNT=1000)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.splitlines()
        self.assertEqual(len(lines), 1003)
        long_at = [i for i, line in enumerate(lines) if len(line) >= 10 << 20]
        self.assertEqual(long_at, [501])
        self.assertTrue(decodes(lines[501]))
        self.assertEqual(json.loads(lines[-1])["event"], "complete")


class GarbageTest(SandboxTest):
    def test_garbage_mixes_broken_lines_among_good_events(self):
        done = self.box.run(self.box.capture_args(duration="1m"), NORVANE_SIM_SCENARIO="garbage",
                            NORVANE_SIM_SPEED=100)
        self.assertEqual(done.returncode, 0, done.stderr)
        raw = done.stdout
        lines = raw.split(b"\n")
        self.assertEqual(lines.pop(), b"")
        good = [l for l in lines if decodes(l)]
        bad = [l for l in lines if not decodes(l)]
        non_utf8 = []
        for line in lines:
            try:
                line.decode("utf-8")
            except UnicodeDecodeError:
                non_utf8.append(line)
        self.assertTrue(non_utf8, "non-UTF-8 bytes")
        self.assertIn(b"", lines, "empty lines")
        self.assertTrue([l for l in lines if l.endswith(b"\r") and decodes(l.rstrip(b"\r"))], "CR LF lines")
        self.assertIn(b'{"event":"status","elapsed_sec":', lines, "truncated JSON")
        unknown = []
        for line in lines:
            try:
                obj = json.loads(line)
            except ValueError:
                continue
            if isinstance(obj, dict) and isinstance(obj.get("event"), str) and obj["event"] not in (
                    "info", "status", "probe", "complete") and event_problems(obj) == [f"unknown event {obj['event']!r}"]:
                unknown.append(obj)
        self.assertTrue(unknown, "unknown event types")
        self.assertGreater(len(bad), 20)
        self.assertGreater(len(good), 3 * len(bad))
        self.assertEqual(json.loads(good[0])["event"], "info")
        self.assertEqual(json.loads(good[-1])["event"], "complete")
        # Torn writes still join into whole lines on the reading side.
        statuses = [json.loads(l) for l in good if json.loads(l)["event"] == "status"]
        self.assertGreaterEqual(len(statuses), 60)


class LongLineTest(SandboxTest):
    def test_one_valid_line_of_a_mebibyte_among_good_ones(self):
        done = self.box.run(self.box.capture_args(duration="10s"), NORVANE_SIM_SCENARIO="long-line",
                            NORVANE_SIM_SPEED=100)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.splitlines()
        long_lines = [l for l in lines if len(l) >= 1 << 20]
        self.assertEqual(len(long_lines), 1)
        self.assertTrue(decodes(long_lines[0]))
        self.assertTrue(all(decodes(l) for l in lines))
        self.assertEqual(json.loads(lines[-1])["event"], "complete")


if __name__ == "__main__":
    unittest.main()
