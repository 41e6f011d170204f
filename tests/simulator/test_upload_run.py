"""The upload tool: what it sends, what it says, and what it keeps in uploaded.json."""

import json
import os
import signal
import time
import unittest
import zlib

from simsupport import SandboxTest, event_problems


class UploadTest(SandboxTest):
    def setUp(self):
        super().setUp()
        self.files = []
        for n, size in enumerate((3000, 12000, 7000)):
            name = f"wifi_capture_2025010{n + 1}T120000Z.csv"
            with open(os.path.join(self.box.captures, name), "w") as f:
                f.write("timestamp,type\n" + ("2025-01-01T12:00:00.000+00:00,ping\n" * (size // 36)))
            self.files.append(name)
        # Never pending: a side file, another name, and the capture folder's own JSON.
        for other in ("wifi_capture_20250101T120000Z_throughput_raw.csv", "notes.csv", "captures.json"):
            with open(os.path.join(self.box.captures, other), "w") as f:
                f.write("[]")

    def upload(self, scenario="success", **env):
        done = self.box.run(self.box.upload_args(), NORVANE_SIM_UPLOAD=scenario, NORVANE_SIM_SPEED=100, **env)
        events = [json.loads(l) for l in done.stdout.splitlines()]
        for event in events:
            self.assertEqual(event_problems(event), [], event)
        return done, events

    def uploaded(self):
        with open(os.path.join(self.box.home, ".norvane", "uploaded.json")) as f:
            return json.load(f)

    def test_success_sends_every_pending_capture_with_progress(self):
        done, events = self.upload()
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(events[0], {"event": "upload_start", "total": 3})
        self.assertEqual(events[-1], {"event": "upload_summary", "succeeded": 3, "failed": 0})
        completes = [e for e in events if e["event"] == "upload_complete"]
        self.assertEqual([e["file"] for e in completes], self.files)
        for c in completes:
            with open(os.path.join(self.box.captures, c["file"]), "rb") as f:
                data = f.read()
            self.assertEqual(c["size_bytes"], len(data))
            self.assertEqual(c["compressed_bytes"], len(zlib.compress(data, 6)))
            progress = [e for e in events if e["event"] == "upload_progress" and e["file"] == c["file"]]
            self.assertGreaterEqual(len(progress), 2)
            self.assertEqual(progress[-1]["pct"], 100)
            self.assertEqual(progress[-1]["bytes_sent"], progress[-1]["bytes_total"])
            self.assertEqual([p["bytes_sent"] for p in progress], sorted(p["bytes_sent"] for p in progress))
        self.assertEqual(sorted(self.uploaded()), self.files)

    def test_files_already_in_uploaded_json_are_left_alone_and_kept(self):
        os.makedirs(os.path.join(self.box.home, ".norvane"))
        earlier = {self.files[0]: {"uploaded_at": "2025-01-01T00:00:00Z", "mine": 1}, "gone.csv": "x"}
        with open(os.path.join(self.box.home, ".norvane", "uploaded.json"), "w") as f:
            json.dump(earlier, f)
        _, events = self.upload()
        self.assertEqual(events[0]["total"], 2)
        record = self.uploaded()
        self.assertEqual(record[self.files[0]], earlier[self.files[0]])
        self.assertEqual(record["gone.csv"], "x")
        self.assertEqual(sorted(record), sorted(self.files + ["gone.csv"]))
        _, again = self.upload()
        self.assertEqual(again, [{"event": "upload_start", "total": 0},
                                 {"event": "upload_summary", "succeeded": 0, "failed": 0}])

    def test_a_corrupt_uploaded_json_counts_as_empty(self):
        os.makedirs(os.path.join(self.box.home, ".norvane"))
        with open(os.path.join(self.box.home, ".norvane", "uploaded.json"), "w") as f:
            f.write("[not an object")
        _, events = self.upload()
        self.assertEqual(events[0]["total"], 3)
        self.assertEqual(sorted(self.uploaded()), self.files)

    def test_one_file_fails_and_the_run_goes_on(self):
        done, events = self.upload("one-fails")
        self.assertEqual(done.returncode, 1)
        errors = [e for e in events if e["event"] == "upload_error"]
        self.assertEqual([e["file"] for e in errors], [self.files[1]])
        self.assertTrue(errors[0]["retryable"])
        self.assertEqual(events[-1], {"event": "upload_summary", "succeeded": 2, "failed": 1})
        self.assertEqual(sorted(self.uploaded()), [self.files[0], self.files[2]])

    def test_no_credentials_skips_the_whole_run(self):
        done, events = self.upload("no_credentials")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(events, [{"event": "upload_skipped", "reason": "no_credentials"}])
        self.assertFalse(os.path.exists(os.path.join(self.box.home, ".norvane", "uploaded.json")))

    def test_oversize_keeps_the_largest_file_local(self):
        done, events = self.upload("oversize")
        self.assertEqual(done.returncode, 0)
        skipped = [e for e in events if e["event"] == "upload_skipped"]
        self.assertEqual(len(skipped), 1)
        skip = skipped[0]
        self.assertEqual((skip["reason"], skip["file"]), ("exceeds_size_limit", self.files[1]))
        self.assertGreater(skip["size_mb"], skip["limit_mb"])
        self.assertEqual(skip["local_path"], os.path.join(self.box.captures, self.files[1]))
        self.assertEqual(events[-1], {"event": "upload_summary", "succeeded": 2, "failed": 0})
        self.assertNotIn(self.files[1], self.uploaded())

    def test_a_real_size_limit_applies_in_every_scenario(self):
        _, events = self.upload(NORVANE_SIM_UPLOAD_LIMIT_MB="0.005")
        skipped = sorted(e["file"] for e in events if e["event"] == "upload_skipped")
        self.assertEqual(skipped, [self.files[1], self.files[2]])

    def test_crash_ends_without_a_summary(self):
        done, events = self.upload("crash")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(events[0]["event"], "upload_start")
        self.assertNotIn("upload_summary", [e["event"] for e in events])
        self.assertIn(b"Traceback", done.stderr)
        self.assertFalse(os.path.exists(os.path.join(self.box.home, ".norvane", "uploaded.json")))

    def test_hang_waits_until_terminated(self):
        child = self.start(self.box.upload_args(), NORVANE_SIM_UPLOAD="hang", NORVANE_SIM_SPEED=100)
        child.wait_event("upload_start")
        time.sleep(0.3)
        self.assertIsNone(child.proc.poll())
        child.signal(signal.SIGTERM)
        self.assertEqual(child.finish(), -signal.SIGTERM)

    def test_a_missing_folder_has_nothing_pending(self):
        done = self.box.run(self.box.upload_args(os.path.join(self.box.home, "nowhere")), NORVANE_SIM_SPEED=100)
        self.assertEqual(done.returncode, 0)
        self.assertEqual([json.loads(l)["event"] for l in done.stdout.splitlines()],
                         ["upload_start", "upload_summary"])


if __name__ == "__main__":
    unittest.main()
