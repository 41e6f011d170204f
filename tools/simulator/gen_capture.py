#!/usr/bin/python3
"""Writes a large capture CSV in the tool's format, for loader and picker benchmarks.

    gen_capture.py --rows N --out FILE.csv [--seed S] [--register]

N counts every data row, session_start first and session_end last included, so
the file has N + 1 lines with the header. The mix follows an active capture:
per second three pings, one UDP and, in turn, TCP, HTTP, DNS and QUIC samples;
a wifi row every 5 s; a traceroute every 5 minutes; a speed-test pair, CDN and
video results every 2 minutes; now and then a lost sample. --register adds the
file to captures.json beside it, as the tool would.
"""

import argparse
import os
import random
import sys
import uuid
from datetime import datetime, timezone

sys.path.insert(0, os.path.dirname(os.path.realpath(__file__)))

from norvane_sim import csvfile  # noqa: E402


def _second_rows(second, rng, gateway):
    """The rows of one capture second, as (type, target, rtt or None) or special markers."""
    rows = [("ping", gateway), ("ping", "1.1.1.1"), ("ping", "8.8.8.8"), ("udp", "1.1.1.1:53")]
    turn = second % 4
    rows.append((("tcp", "1.1.1.1:443"), ("http", "www.gstatic.com"), ("dns", "1.1.1.1"),
                 ("quic", "cloudflare-quic.com:443"))[turn])
    if second % 5 == 0:
        rows.append(("wifi", "wlan0"))
    if second % 300 == 6:
        rows.append(("traceroute", "1.1.1.1"))
    if second % 120 == 20:
        rows += [("throughput_down", csv_speed_host), ("throughput_up", csv_speed_host),
                 ("cdn_throughput", "netflix_oca"), ("youtube_segment", "rr3.googlevideo.example")]
    if second % 60 == 30:
        rows.append(("throughput_observed", "wlan0"))
    return rows


csv_speed_host = "speed.cloudflare.com"


def generate(rows, out, seed=None, register=False):
    if rows < 2:
        raise ValueError("--rows must be at least 2 (session_start and session_end)")
    rng = random.Random(seed)
    start = datetime(2025, 6, 1, 12, 0, 0, tzinfo=timezone.utc)
    start_us = int(start.timestamp() * 1_000_000)
    gateway = "192.168.1.1"
    capture_id = str(uuid.UUID(int=rng.getrandbits(128), version=4))
    folder = os.path.dirname(os.path.abspath(out))
    os.makedirs(folder, exist_ok=True)

    def ts(us):
        # Formatting the date part once per second keeps a million rows quick.
        whole, frac = divmod(us, 1_000_000)
        return f"{_date_text(whole)}.{frac // 1000:03d}+00:00"

    cache = {}

    def _date_text(whole):
        text = cache.get(whole)
        if text is None:
            if len(cache) > 4:
                cache.clear()
            text = datetime.fromtimestamp(whole, tz=timezone.utc).strftime("%Y-%m-%dT%H:%M:%S")
            cache[whole] = text
        return text

    fmt = csvfile.fmt_number
    lines = [csvfile.HEADER,
             csvfile.format_row(ts(start_us), "session_start", "linux/dev", seq=1,
                                details={"capture_id": capture_id, "profile": "active", "privacy": "include",
                                         "client": "linux/dev", "generated": "true"})]
    written = 1
    second = 0
    test_num = 0
    last_us = start_us
    with open(out, "w", encoding="utf-8", newline="") as f:
        while written < rows - 1:
            base_us = start_us + second * 1_000_000
            plan = _second_rows(second, rng, gateway)
            step = 1_000_000 // (len(plan) + 1)
            for index, (kind, target) in enumerate(plan):
                if written >= rows - 1:
                    break
                written += 1
                us = base_us + (index + 1) * step
                last_us = us
                stamp = ts(us)
                if kind in ("ping", "udp", "tcp", "http", "dns", "quic"):
                    if target != gateway and rng.random() < 0.01:
                        lines.append(f"{stamp},{kind},{target},,1,{written},,,,,")
                    else:
                        rtt = rng.uniform(1.0, 4.0) if target == gateway else rng.gauss(20.0, 4.0) * (
                            2.0 if kind == "http" else 1.0)
                        lines.append(f"{stamp},{kind},{target},{fmt(max(0.5, rtt), 2)},0,{written},,,,,")
                elif kind == "wifi":
                    lines.append(f"{stamp},wifi,wlan0,{rng.randint(-70, -45)}.0,0,{written},,,,,"
                                 f"ssid=Bench-5G channel=36")
                elif kind == "traceroute":
                    hops = [(gateway, rng.uniform(1, 3)), ("100.64.0.1", rng.uniform(5, 9)),
                            ("198.51.100.17", rng.uniform(9, 14)), ("1.1.1.1", rng.uniform(14, 22))]
                    details = "first_hop=" + gateway + " " + " ".join(
                        f"h{n}={ip}({rtt:.1f}ms)" for n, (ip, rtt) in enumerate(hops, 1))
                    lines.append(f"{stamp},traceroute,1.1.1.1,,0,{written},{len(hops)},,,,{details}")
                elif kind == "throughput_down":
                    test_num += 1
                    mbps = rng.gauss(180, 15)
                    lines.append(f"{stamp},throughput_down,{target},,0,{written},,{fmt(mbps, 2)},"
                                 f"{int(mbps * 1e6)},6,test_num={test_num}")
                elif kind == "throughput_up":
                    mbps = rng.gauss(40, 5)
                    lines.append(f"{stamp},throughput_up,{target},,0,{written},,{fmt(mbps, 2)},"
                                 f"{int(mbps * 0.75e6)},4,test_num={test_num}")
                elif kind == "cdn_throughput":
                    lines.append(f"{stamp},cdn_throughput,{target},,0,{written},,{fmt(rng.gauss(150, 10), 2)},,,")
                elif kind == "youtube_segment":
                    lines.append(f"{stamp},youtube_segment,{target},,0,{written},,{fmt(rng.gauss(100, 10), 2)},,,"
                                 f"quality=hd2160")
                elif kind == "throughput_observed":
                    lines.append(f"{stamp},throughput_observed,wlan0,,0,{written},,,,,"
                                 f"dl_mbps={fmt(rng.uniform(0.1, 4), 2)} ul_mbps={fmt(rng.uniform(0.05, 1), 2)}")
            second += 1
            if len(lines) >= 20000:
                f.write("\n".join(lines) + "\n")
                lines = []
        end_us = max(last_us, start_us) + 500_000
        duration = (end_us - start_us) / 1e6
        written += 1
        lines.append(csvfile.format_row(ts(end_us), "session_end", seq=written,
                                        details={"duration": f"{duration:.1f}s", "end_reason": "duration",
                                                 "samples": written}))
        f.write("\n".join(lines) + "\n")
    if register:
        csvfile.register_capture(out, {"location": "Benchmark", "network_type": "Generated",
                                       "date": ts(start_us), "duration_min": round(duration / 60.0, 3),
                                       "capture_id": capture_id, "samples": written})
    return written


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rows", type=int, required=True, help="data rows, session_start and session_end included")
    parser.add_argument("--out", required=True, help="path of the CSV to write")
    parser.add_argument("--seed", type=int, default=None, help="seed of the random figures")
    parser.add_argument("--register", action="store_true", help="add the capture to captures.json beside it")
    args = parser.parse_args(argv)
    try:
        generate(args.rows, args.out, args.seed, args.register)
    except ValueError as exc:
        parser.error(str(exc))
    return 0


if __name__ == "__main__":
    sys.exit(main())
