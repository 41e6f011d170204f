"""A capture as the program sees it: events, stdin commands, signals, and the files left behind."""

import json
import os
import re
import signal
import unittest

from simsupport import SandboxTest, event_problems, parse_ts, read_csv_rows


class GoodCaptureTest(SandboxTest):
    def test_timed_capture_starts_with_info_and_every_line_decodes(self):
        done = self.box.run(self.box.capture_args(duration="3m"), NORVANE_SIM_SPEED=200)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.split(b"\n")
        self.assertEqual(lines[-1], b"", "output ends with a line feed")
        events = [json.loads(line) for line in lines[:-1]]
        self.assertEqual(events[0]["event"], "info")
        self.assertEqual(events[-1]["event"], "complete")
        for event in events:
            self.assertEqual(event_problems(event), [], event)
        names = {e["event"] for e in events}
        for expected in ("status", "probe", "throughput_status", "throughput_result", "calibration_complete",
                         "cdn_throughput_result", "youtube_segment_result", "traceroute_result", "round_summary"):
            self.assertIn(expected, names)
        info = events[0]
        self.assertEqual(info["duration_secs"], 180.0)
        self.assertEqual(info["profile"], "active")
        self.assertFalse(info["youtube_abr_available"])
        self.assertEqual(info["csv_file"], self.box.csv_path())
        self.assertTrue(os.path.isfile(info["log_file"]))
        probe_types = {e["type"] for e in events if e["event"] == "probe"}
        self.assertTrue({"ping", "udp", "tcp", "http", "dns", "quic"} <= probe_types, probe_types)
        self.assertGreater(len({e["target"] for e in events if e["event"] == "probe"}), 5)

    def test_status_comes_once_a_second_and_counts_down(self):
        done = self.box.run(self.box.capture_args(duration="30s"), NORVANE_SIM_SPEED=100)
        statuses = [json.loads(l) for l in done.stdout.splitlines() if b'"event":"status"' in l]
        self.assertEqual(len(statuses), 30)
        self.assertEqual([s["elapsed_sec"] for s in statuses], [float(n) for n in range(30)])
        self.assertEqual(statuses[0]["remaining_sec"], 30.0)
        self.assertEqual(statuses[-1]["remaining_sec"], 1.0)
        complete = json.loads(done.stdout.splitlines()[-1])
        self.assertEqual(complete["duration_sec"], 30.0)

    def test_timestamps_follow_scenario_time_and_never_go_back(self):
        done = self.box.run(self.box.capture_args(duration="2m"), NORVANE_SIM_SPEED=300)
        stamps = [parse_ts(json.loads(l)["ts"]) for l in done.stdout.splitlines() if b'"ts"' in l]
        self.assertNotIn(None, stamps)
        self.assertEqual(stamps, sorted(stamps))
        span = (stamps[-1] - stamps[0]).total_seconds()
        self.assertGreater(span, 110)
        self.assertLessEqual(span, 120)

    def test_duration_forms(self):
        for text, seconds in (("20", 20.0), ("20s", 20.0), ("1m", 60.0), ("0.01h", 36.0)):
            with self.subTest(duration=text):
                done = self.box.run(self.box.capture_args(duration=text), NORVANE_SIM_SPEED=300)
                self.assertEqual(done.returncode, 0, done.stderr)
                events = [json.loads(l) for l in done.stdout.splitlines()]
                self.assertEqual(events[0]["duration_secs"], seconds)
                self.assertEqual(events[-1]["event"], "complete")
                self.assertEqual(events[-1]["duration_sec"], seconds)

    def test_rows_of_the_csv_match_the_complete_event(self):
        done = self.box.run(self.box.capture_args(duration="3m"), NORVANE_SIM_SPEED=200)
        complete = json.loads(done.stdout.splitlines()[-1])
        rows = read_csv_rows(self.box.csv_path())
        header, data = rows[0], rows[1:]
        self.assertEqual(len(header), 11)
        self.assertEqual(complete["samples"], len(data))
        self.assertEqual(data[0][1], "session_start")
        self.assertEqual(data[-1][1], "session_end")
        self.assertTrue(all(len(r) == 11 for r in data), "every row has all eleven columns")
        self.assertTrue(all(parse_ts(r[0]) for r in data), "every timestamp has a fraction and a zone")
        self.assertRegex(data[0][10], r"(^| )capture_id=" + re.escape(complete["capture_id"]) + "( |$)")
        self.assertRegex(data[-1][10], r"(^| )duration=180\.0s( |$)")
        types = {r[1] for r in data}
        for expected in ("ping", "udp", "tcp", "http", "dns", "quic", "wifi", "traceroute",
                         "throughput_down", "throughput_up"):
            self.assertIn(expected, types)
        for r in data:
            if r[1] in ("ping", "udp", "tcp", "http", "dns", "quic"):
                self.assertIn(r[4], ("0", "1"))
                if r[4] == "0":
                    float(r[3])
            if r[1] == "wifi":
                self.assertRegex(r[3], r"^-\d+\.0$")
            if r[1] in ("throughput_down", "throughput_up") and "error=" not in r[10]:
                self.assertGreater(float(r[7]), 0)
            if r[1] == "traceroute":
                int(r[6])
                self.assertIn("first_hop=", r[10])
                self.assertRegex(r[10], r"h(\d+)=([\d.]+)\(([\d.]+)ms\)")
        side = self.box.csv_path()[:-4] + "_throughput_raw.csv"
        self.assertTrue(os.path.isfile(side))
        with open(side, encoding="utf-8") as f:
            self.assertGreater(len(f.read().splitlines()), 10)

    def test_captures_json_gets_an_entry_and_keeps_others(self):
        existing = [{"file": "wifi_capture_20240101T000000Z.csv", "location": "Old", "network_type": "Old Net",
                     "date": "2024-01-01", "duration_min": 5.0, "custom": {"keep": True}}]
        with open(os.path.join(self.box.captures, "captures.json"), "w") as f:
            json.dump(existing, f)
        done = self.box.run(self.box.capture_args(duration="20s"), NORVANE_SIM_SPEED=200)
        self.assertEqual(done.returncode, 0)
        with open(os.path.join(self.box.captures, "captures.json")) as f:
            entries = json.load(f)
        self.assertEqual(entries[0], existing[0])
        self.assertEqual(len(entries), 2)
        entry = entries[1]
        self.assertEqual(entry["file"], os.path.basename(self.box.csv_path()))
        self.assertEqual(entry["location"], "Hotel Lobby")
        self.assertEqual(entry["network_type"], "Hotel WiFi")
        self.assertAlmostEqual(entry["duration_min"], 20 / 60, places=3)
        self.assertIsInstance(entry["date"], str)

    def test_without_location_and_network_the_entry_still_has_both_keys(self):
        self.box.run(self.box.capture_args(duration="10s", location=None, network=None), NORVANE_SIM_SPEED=200)
        with open(os.path.join(self.box.captures, "captures.json")) as f:
            entry = json.load(f)[0]
        self.assertEqual((entry["location"], entry["network_type"]), ("", ""))

    def test_privacy_hash_and_omit_keep_the_ssid_out_of_the_csv(self):
        for mode in ("hash", "omit"):
            with self.subTest(privacy=mode):
                csv = self.box.csv_path(f"20250101T12000{len(mode)}Z")
                done = self.box.run(self.box.capture_args(csv=csv, duration="10s", privacy=mode),
                                    NORVANE_SIM_SPEED=200)
                ssid = json.loads(done.stdout.splitlines()[0])["ssid"]
                with open(csv, encoding="utf-8") as f:
                    text = f.read()
                self.assertNotIn(ssid, text)
                self.assertNotIn("Hotel%20WiFi", text)
                wifi = [r for r in read_csv_rows(csv) if r[1] == "wifi"]
                if mode == "hash":
                    self.assertTrue(all("ssid=h:" in r[10] for r in wifi))
                else:
                    self.assertFalse(any("ssid=" in r[10] for r in wifi))


class StopAndCommandsTest(SandboxTest):
    def test_sigint_writes_the_csv_prints_complete_and_exits_0(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SPEED=50)
        info = child.wait_event("info")
        self.assertNotIn("duration_secs", info)
        child.wait_for(lambda e: e.get("event") == "status" and e["elapsed_sec"] >= 5)
        child.send('ENDMETA {"rssi_dbm":-61,"upload_speed_mbps":12.3,"packet_loss_pct":0.5,'
                   '"latency_ms":21.4,"gateway_reachable":true}')
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)
        events = child.events()
        self.assertEqual(events[-1]["event"], "complete")
        self.assertEqual(sum(e["event"] == "complete" for e in events), 1)
        self.assertNotIn("remaining_sec", events[1])
        rows = read_csv_rows(self.box.csv_path())
        self.assertEqual(rows[1][1], "session_start")
        self.assertEqual(rows[-1][1], "session_end")
        end = rows[-1][10]
        for item in ("endmeta_rssi_dbm=-61", "endmeta_upload_speed_mbps=12.3", "endmeta_packet_loss_pct=0.5",
                     "endmeta_latency_ms=21.4", "endmeta_gateway_reachable=true", "end_reason=stopped"):
            self.assertIn(item, end.split(" "))
        with open(os.path.join(self.box.captures, "captures.json")) as f:
            self.assertEqual([e["file"] for e in json.load(f)], [os.path.basename(self.box.csv_path())])

    def test_sigterm_ends_at_once_without_complete_and_leaves_a_partial_csv(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SPEED=50)
        child.wait_for(lambda e: e.get("event") == "status" and e["elapsed_sec"] >= 3)
        child.signal(signal.SIGTERM)
        self.assertEqual(child.finish(), -signal.SIGTERM)
        self.assertNotIn("complete", [e["event"] for e in child.events()])
        rows = read_csv_rows(self.box.csv_path())
        self.assertEqual(rows[1][1], "session_start")
        self.assertNotIn("session_end", [r[1] for r in rows])

    def test_note_is_echoed_with_its_text(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SPEED=20)
        child.wait_event("info")
        child.send("NOTE Feels slow")
        child.send("NOTE Takeoff, gear up")
        first = child.wait_event("note")
        second = child.wait_for(lambda e: e.get("event") == "note" and e is not first and e["text"] != first["text"])
        self.assertEqual((first["text"], second["text"]), ("Feels slow", "Takeoff, gear up"))
        self.assertIsNotNone(parse_ts(first["ts"]))
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)
        notes = [r for r in read_csv_rows(self.box.csv_path()) if r[1] == "note"]
        self.assertEqual([r[10] for r in notes], ["text=Feels%20slow", "text=Takeoff%2C%20gear%20up"])

    def test_speedtest_command_runs_a_test_outside_the_rounds(self):
        child = self.start(self.box.capture_args(profile="passive"), NORVANE_SIM_SPEED=50)
        child.wait_event("info")
        child.send("SPEEDTEST")
        testing = child.wait_event("throughput_status")
        self.assertEqual((testing["phase"], testing["direction"], testing["probe_type"]),
                         ("testing", "download", "cf_speed"))
        self.assertNotIn("round_num", testing)
        down = child.wait_for(lambda e: e.get("event") == "throughput_result" and e["direction"] == "download")
        up = child.wait_for(lambda e: e.get("event") == "throughput_result" and e["direction"] == "upload")
        idle = child.wait_for(lambda e: e.get("event") == "throughput_status" and e["phase"] == "idle")
        self.assertEqual(down["test_num"], up["test_num"])
        self.assertNotIn("round_num", idle)
        child.wait_for(lambda e: e.get("event") == "status" and "throughput_up_mbps" in e)
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)

    def test_testyoutube_runs_the_segment_test_and_the_player_test_when_the_browser_is_there(self):
        os.makedirs(os.path.join(self.box.home, ".cache", "ms-playwright", "chromium-1187"))
        child = self.start(self.box.capture_args(playwright=True, profile="passive"), NORVANE_SIM_SPEED=50)
        info = child.wait_event("info")
        self.assertTrue(info["youtube_abr_available"])
        child.send("TESTYOUTUBE")
        segment = child.wait_event("youtube_segment_result")
        abr = child.wait_event("youtube_abr_result")
        self.assertDecodes(segment)
        self.assertDecodes(abr)
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)

    def test_commands_before_and_after_the_stop_do_no_harm(self):
        child = self.start(self.box.capture_args(), NORVANE_SIM_SPEED=50)
        child.send("NOTE early")
        child.wait_event("info")
        child.send("BOGUS command")
        child.send("ENDMETA {not json")
        child.signal(signal.SIGINT)
        self.assertEqual(child.finish(), 0)
        self.assertEqual(child.events()[-1]["event"], "complete")


class ScenarioFlavourTest(SandboxTest):
    def events_of(self, scenario, duration="3m", speed=300, **kw):
        done = self.box.run(self.box.capture_args(duration=duration, **kw), NORVANE_SIM_SCENARIO=scenario,
                            NORVANE_SIM_SPEED=speed)
        self.assertEqual(done.returncode, 0, done.stderr)
        events = [json.loads(l) for l in done.stdout.splitlines()]
        for event in events:
            self.assertEqual(event_problems(event), [], event)
        return events

    def test_geo_satellite_round_trips_are_above_400_ms(self):
        events = self.events_of("geo")
        rtts = [e["rtt_ms"] for e in events if e["event"] == "probe" and "rtt_ms" in e
                and e["type"] in ("ping", "udp", "tcp") and e["target"] != events[0]["gateway"]]
        self.assertGreater(len(rtts), 100)
        self.assertGreaterEqual(min(rtts), 550)
        self.assertLessEqual(max(rtts), 735)
        self.assertTrue(all(e["icmp_rtt_ms"] > 400 for e in events if e["event"] == "status" and "icmp_rtt_ms" in e))

    def test_flight_says_flight_and_finds_the_icmp_proxy(self):
        events = self.events_of("flight")
        self.assertEqual(events[0]["category"], "flight")
        proxy = [e for e in events if e["event"] == "icmp_proxy_detected"]
        self.assertEqual(len(proxy), 1)
        later = [e for e in events if e["event"] == "status"][-1]
        self.assertTrue(later["icmp_proxied"])
        self.assertGreater(later["e2e_rtt_ms"], 400)

    def test_passive_profile_reports_observed_throughput_and_no_speed_rounds(self):
        for how in ({"profile": "passive"}, {"scenario": "passive"}):
            with self.subTest(**how):
                events = self.events_of(how.get("scenario", "good"), duration="2m", profile=how.get("profile"))
                self.assertEqual(events[0]["profile"], "passive")
                observed = [e for e in events if e["event"] == "probe" and e["type"] == "throughput_observed"]
                self.assertGreaterEqual(len(observed), 10)
                self.assertTrue(all("dl_mbps" in e and "ul_mbps" in e for e in observed))
                self.assertFalse([e for e in events if e["event"] in ("throughput_result", "round_summary")])

    def test_cellular_loses_samples_and_one_target_never_answers(self):
        events = self.events_of("cellular", duration="5m", speed=400)
        probes = [e for e in events if e["event"] == "probe"]
        by_key = {}
        for p in probes:
            key = f"{p['type']}:{p['target']}"
            total, lost = by_key.get(key, (0, 0))
            by_key[key] = (total + 1, lost + p["loss"])
        total, lost = by_key["tcp:8.8.8.8:853"]
        self.assertGreaterEqual(total, 5)
        self.assertEqual(lost, total)
        total, lost = by_key["tcp:1.1.1.1:443"]
        self.assertLess(lost, total)
        internet = [p for p in probes if p["type"] == "ping" and p["target"] in ("1.1.1.1", "8.8.8.8")]
        loss_rate = sum(p["loss"] for p in internet) / len(internet)
        self.assertGreater(loss_rate, 0.02)
        self.assertLess(loss_rate, 0.5)
        names = [e["event"] for e in events]
        for expected in ("network_change", "system_sleep", "error", "round_summary"):
            self.assertIn(expected, names)
        self.assertTrue(any(e["event"] == "throughput_result" and "error" in e for e in events))
        self.assertIn("retest", [e.get("template") for e in events if e["event"] == "round_summary"])
        self.assertFalse([e for e in events if e["event"] == "error" and e["fatal"]])

    def test_autostop_reminds_then_stops_an_open_ended_capture(self):
        events = self.events_of("autostop", duration=None)
        names = [e["event"] for e in events]
        self.assertLess(names.index("capture_reminder"), names.index("capture_auto_stop"))
        self.assertEqual(names[-1], "complete")
        stop = events[names.index("capture_auto_stop")]
        self.assertEqual(stop["elapsed_sec"], 120)

    def test_sleep_stop_ends_the_capture(self):
        events = self.events_of("sleep-stop", duration="5m")
        sleep = [e for e in events if e["event"] == "system_sleep"]
        self.assertEqual(sleep[0]["action"], "stop")
        self.assertEqual(events[-1]["event"], "complete")
        self.assertLess(events[-1]["duration_sec"], 60)

    def test_no_internet_marks_status_and_loses_everything_beyond_the_gateway(self):
        events = self.events_of("no-internet", duration="30s")
        gateway = events[0]["gateway"]
        beyond = [e for e in events if e["event"] == "probe" and e["target"] != gateway]
        self.assertTrue(beyond and all(e["loss"] for e in beyond))
        self.assertTrue(all(e["no_internet"] for e in events if e["event"] == "status"))

    def test_macos_client_is_accepted_too(self):
        events = self.events_of("good", duration="10s", client="macos/2.4.1")
        self.assertEqual(events[-1]["event"], "complete")


if __name__ == "__main__":
    unittest.main()
