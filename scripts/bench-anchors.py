#!/usr/bin/env python3
"""Times `norvane-cli analyze` beside the anchors they are judged against, in
the same run: `wc -l` on the same capture (reading it is the floor) and pandas reading and date-parsing
it (what a data person would use instead). Each figure is the median wall time of several runs, with
the peak resident memory of the process.

usage: bench-anchors.py BUILD_DIR [--rows N] [--runs N]
"""

import argparse
import os
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SIMULATOR = os.path.join(HERE, "..", "tools", "simulator")

PANDAS_READ = """
import sys
import pandas
frame = pandas.read_csv(sys.argv[1])
frame["timestamp"] = pandas.to_datetime(frame["timestamp"], utc=True)
"""


def run_once(command):
    """Wall seconds and peak resident MiB of one run, its output thrown away."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - start
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit(f"failed: {' '.join(command)}")
    return wall, usage.ru_maxrss / 1024.0


def measure(command, runs):
    run_once(command)  # warm the page cache and the dynamic loader
    results = [run_once(command) for _ in range(runs)]
    return statistics.median(w for w, _ in results), max(m for _, m in results)


def python_with_pandas():
    """This interpreter, or Debian's own where python3-pandas lives when this one is another."""
    for python in (sys.executable, "/usr/bin/python3"):
        if os.path.exists(python) and subprocess.run([python, "-c", "import pandas"], stdout=subprocess.DEVNULL,
                                                     stderr=subprocess.DEVNULL).returncode == 0:
            return python
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--rows", type=int, default=1_000_000)
    parser.add_argument("--runs", type=int, default=5)
    args = parser.parse_args()

    cli = os.path.join(args.build, "bin", "norvane-cli")
    folder = os.path.join(args.build, "bench-data")
    os.makedirs(folder, exist_ok=True)
    capture = os.path.join(folder, f"wifi_capture_{args.rows}_rows.csv")
    if not os.path.exists(capture):
        subprocess.run([sys.executable, os.path.join(SIMULATOR, "gen_capture.py"), "--rows", str(args.rows),
                        "--out", capture, "--seed", "1"], check=True, stdout=subprocess.DEVNULL)

    analyze, analyze_peak = measure([cli, "analyze", capture, "--json"], args.runs)
    floor, _ = measure(["wc", "-l", capture], args.runs)
    size_mb = os.path.getsize(capture) / 1e6
    print(f"Capture of {args.rows:,} rows ({size_mb:.1f} MB), median wall time of {args.runs} runs:")
    print(f"  analyze          {analyze * 1000:8.1f} ms   peak {analyze_peak:6.1f} MiB")
    print(f"  wc -l            {floor * 1000:8.1f} ms   analyze / wc -l  = {analyze / floor:6.1f}x")
    python = python_with_pandas()
    if python:
        pandas_time, _ = measure([python, "-c", PANDAS_READ, capture], max(3, args.runs // 2))
        print(f"  pandas read_csv + to_datetime {pandas_time * 1000:8.1f} ms   "
              f"analyze / pandas = {analyze / pandas_time:6.3f}")
    else:
        print("  pandas: skipped, python3-pandas is not installed")


if __name__ == "__main__":
    main()
