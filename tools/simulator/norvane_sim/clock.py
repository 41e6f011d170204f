"""Scenario time.

A scenario is written in the tool's own seconds ("status every second, a
speed test every two minutes"). The speed factor compresses that into less
real time, so every wait goes through `SimClock`. Timestamps follow scenario
time too: a five-minute capture played at speed 60 still carries five minutes
of timestamps, which keeps the charts and the CSV consistent with
`elapsed_sec`.
"""

import os
import time
from datetime import datetime, timedelta, timezone


def speed_from_env(env=None):
    env = os.environ if env is None else env
    raw = env.get("NORVANE_SIM_SPEED", "")
    try:
        value = float(raw)
    except ValueError:
        return 1.0
    if not (value > 0.0) or value == float("inf"):
        return 1.0
    return value


def iso(dt):
    """ISO 8601 with milliseconds and an explicit zone, always with a fraction
    (isoformat() would drop it on a whole second)."""
    return dt.astimezone(timezone.utc).isoformat(timespec="milliseconds")


class SimClock:
    def __init__(self, speed):
        self.speed = speed
        self.start_wall = datetime.now(timezone.utc)
        self.start_mono = time.monotonic()

    def now(self):
        """Scenario seconds since the start."""
        return (time.monotonic() - self.start_mono) * self.speed

    def real(self, sim_seconds):
        return max(0.0, sim_seconds) / self.speed

    def sleep(self, sim_seconds):
        if sim_seconds > 0:
            time.sleep(sim_seconds / self.speed)

    def wall(self, sim_t):
        return self.start_wall + timedelta(seconds=sim_t)

    def ts(self, sim_t):
        return iso(self.wall(sim_t))
