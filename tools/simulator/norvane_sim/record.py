"""A journal of every invocation, for tests that check what the program ran.

One JSON line per invocation: the arguments as the program passed them (without
the program path, which is under "executable"), the whole environment, the
working folder and the process id. The file is locked while a line is added,
since the program may run a capture, an upload and a warm-up side by side.
"""

import fcntl
import json
import os
import pwd
import time


def home_dir(env=None):
    env = os.environ if env is None else env
    home = env.get("HOME")
    if home:
        return home
    return pwd.getpwuid(os.getuid()).pw_dir


def record_path(env=None):
    env = os.environ if env is None else env
    path = env.get("NORVANE_SIM_RECORD")
    if path:
        return path
    return os.path.join(home_dir(env), ".norvane-sim", "invocations.jsonl")


def record_invocation(argv, executable, kind, env=None):
    env = dict(os.environ if env is None else env)
    path = record_path(env)
    entry = {
        "argv": list(argv),
        "env": env,
        "cwd": os.getcwd(),
        "pid": os.getpid(),
        "executable": executable,
        "kind": kind,
        "time": time.time(),
    }
    line = (json.dumps(entry, ensure_ascii=False) + "\n").encode("utf-8", "surrogateescape")
    try:
        folder = os.path.dirname(path)
        if folder:
            os.makedirs(folder, exist_ok=True)
        fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
        try:
            fcntl.flock(fd, fcntl.LOCK_EX)
            os.write(fd, line)
        finally:
            os.close(fd)
    except OSError:
        # The journal is for tests; a read-only home must not change what the
        # program sees of the tool.
        pass
