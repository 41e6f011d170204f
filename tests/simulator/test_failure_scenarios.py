"""Failures the program has to survive: each one ends the way it says, and each
stderr text lands on the row of the program's failure table it was written for.

The two classifiers below are the program's ordered substring tables, written
out here so the texts can be checked without the C++ side."""

import json
import signal
import time
import unittest

from simsupport import PIN, SandboxTest, event_problems, read_csv_rows


def process_error_row(exit_code, stderr):
    """Row number of the capture failure table that decides for this exit."""
    tests = [
        lambda: "does not satisfy" in stderr and "Python" in stderr,
        lambda: "No solution found" in stderr,
        lambda: "was not found in the cache" in stderr,
        lambda: "--offline" in stderr and "network" in stderr,
        lambda: "No module named" in stderr,
        lambda: "Permission denied" in stderr,
        lambda: "permission denied" in stderr,
        lambda: "Address already in use" in stderr,
        lambda: exit_code == 9,
        lambda: any(line.strip() for line in stderr.splitlines()),
    ]
    for row, test in enumerate(tests, 1):
        if test():
            return row
    return 11


def module_name(stderr):
    piece = stderr.split("No module named ")[-1]
    parts = piece.split("'")
    return parts[1] if len(parts) >= 2 else "unknown"


def last_line(stderr):
    lines = [line for line in stderr.splitlines() if line.strip()]
    return lines[-1]


def retries_without_playwright(stderr):
    return "playwright" in stderr and "not found in the cache" in stderr


# scenario, row, exit status (negative: killed by that signal), events before the failure
CAPTURE_ROWS = [
    ("stderr:python-conflict", 1, 2, False),
    ("stderr:no-solution", 2, 1, False),
    ("stderr:not-in-cache", 3, 1, False),
    ("stderr:offline-network", 4, 2, False),
    ("stderr:no-module", 5, 1, False),
    ("stderr:no-module-unquoted", 5, 1, False),
    ("stderr:permission-denied", 6, 1, True),
    ("stderr:permission-denied-lower", 7, 2, False),
    ("stderr:address-in-use", 8, 1, True),
    ("stderr:killed", 9, -9, True),
    ("stderr:last-line", 10, 1, True),
    ("stderr:blank", 11, 2, True),
    ("crash", 10, 1, True),
]


class StderrRowsTest(SandboxTest):
    def test_each_stderr_scenario_trips_its_own_row(self):
        for scenario, row, status, has_events in CAPTURE_ROWS:
            with self.subTest(scenario=scenario):
                done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO=scenario, NORVANE_SIM_SPEED=50)
                self.assertEqual(done.returncode, status)
                stderr = done.stderr.decode("utf-8")
                # The program sees a signal as its number; everything else as the exit code.
                code = -status if status < 0 else status
                self.assertEqual(process_error_row(code, stderr), row, stderr)
                self.assertFalse(retries_without_playwright(stderr))
                events = [json.loads(l) for l in done.stdout.splitlines()]
                self.assertEqual(bool(events), has_events)
                if events:
                    self.assertEqual(events[0]["event"], "info")
                    self.assertNotIn("complete", [e["event"] for e in events])
                    for event in events:
                        self.assertEqual(event_problems(event), [], event)

    def test_module_names_read_as_the_program_reads_them(self):
        quoted = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="stderr:no-module")
        unquoted = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="stderr:no-module-unquoted")
        self.assertEqual(module_name(quoted.stderr.decode()), "norvane")
        self.assertEqual(module_name(unquoted.stderr.decode()), "unknown")

    def test_last_line_is_the_last_non_blank_line(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="stderr:last-line", NORVANE_SIM_SPEED=50)
        self.assertEqual(last_line(done.stderr.decode()),
                         "norvane.cli: giving up: sample queue overflow (4096 pending samples)")

    def test_blank_scenario_writes_only_blanks(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="stderr:blank", NORVANE_SIM_SPEED=50)
        self.assertTrue(done.stderr)
        self.assertEqual(done.stderr.strip(), b"")

    def test_a_failure_after_info_leaves_a_partial_csv(self):
        self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="crash", NORVANE_SIM_SPEED=50)
        rows = read_csv_rows(self.box.csv_path())
        self.assertEqual(rows[1][1], "session_start")
        self.assertNotIn("session_end", [r[1] for r in rows])


class BrowserMissingTest(SandboxTest):
    def test_with_the_pin_uv_fails_in_a_way_that_asks_for_a_retry_without_it(self):
        done = self.box.run(self.box.capture_args(playwright=True), NORVANE_SIM_SCENARIO="browser-missing")
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(done.stdout, b"")
        self.assertTrue(retries_without_playwright(done.stderr.decode()))
        self.assertIn(PIN, done.stderr.decode())

    def test_without_the_pin_the_capture_runs(self):
        done = self.box.run(self.box.capture_args(duration="20s"), NORVANE_SIM_SCENARIO="browser-missing",
                            NORVANE_SIM_SPEED=200)
        self.assertEqual(done.returncode, 0, done.stderr)
        events = [json.loads(l) for l in done.stdout.splitlines()]
        self.assertEqual((events[0]["event"], events[-1]["event"]), ("info", "complete"))
        self.assertFalse(events[0]["youtube_abr_available"])


class EndingsTest(SandboxTest):
    def test_fatal_error_event_then_exit_1(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="fatal-error", NORVANE_SIM_SPEED=50)
        self.assertEqual(done.returncode, 1)
        events = [json.loads(l) for l in done.stdout.splitlines()]
        self.assertEqual(events[0]["event"], "info")
        fatal = [e for e in events if e["event"] == "error" and e["fatal"] is True]
        self.assertEqual(len(fatal), 1)
        self.assertEqual(events[-1], fatal[0])
        self.assertNotIn("complete", [e["event"] for e in events])

    def test_crash_prints_a_traceback(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="crash", NORVANE_SIM_SPEED=50)
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.startswith(b"Traceback (most recent call last):"))
        self.assertEqual(json.loads(done.stdout.splitlines()[0])["event"], "info")

    def test_exit_without_complete(self):
        done = self.box.run(self.box.capture_args(), NORVANE_SIM_SCENARIO="exit-without-complete",
                            NORVANE_SIM_SPEED=100)
        self.assertEqual(done.returncode, 0)
        names = [json.loads(l)["event"] for l in done.stdout.splitlines()]
        self.assertEqual(names[0], "info")
        self.assertNotIn("complete", names)

    def test_silent_prints_nothing_ignores_sigint_and_dies_on_sigterm(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SCENARIO="silent", NORVANE_SIM_SPEED=100)
        child.wait_until_ignoring(signal.SIGINT)
        child.signal(signal.SIGINT)
        time.sleep(0.3)
        self.assertIsNone(child.proc.poll(), "still alive after SIGINT")
        child.signal(signal.SIGTERM)
        self.assertEqual(child.finish(), -signal.SIGTERM)
        self.assertEqual(child.lines, [])
        self.assertEqual(child.stderr, b"")

    def test_hang_on_stop_goes_quiet_after_sigint(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SCENARIO="hang-on-stop", NORVANE_SIM_SPEED=50)
        child.wait_for(lambda e: e.get("event") == "status" and e["elapsed_sec"] >= 2)
        child.signal(signal.SIGINT)
        time.sleep(0.3)
        seen = child.drain()
        time.sleep(0.5)
        self.assertEqual(child.drain(), seen, "nothing printed after the stop")
        self.assertIsNone(child.proc.poll(), "still alive after SIGINT")
        child.signal(signal.SIGTERM)
        self.assertEqual(child.finish(), -signal.SIGTERM)
        self.assertNotIn("complete", [e["event"] for e in child.events()])

    def test_slow_start_says_nothing_for_its_first_40_seconds(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SCENARIO="slow-start", NORVANE_SIM_SPEED=100)
        started = time.monotonic()
        child.wait_event("info", timeout=10)
        self.assertGreaterEqual(time.monotonic() - started, 0.38)
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)


if __name__ == "__main__":
    unittest.main()
