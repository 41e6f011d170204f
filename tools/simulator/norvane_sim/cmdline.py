"""The command lines the program builds, and nothing else.

Each accepted form is matched argument by argument, in order, so a program
that drops, reorders or misspells an argument is told so at once instead of
getting a capture that happens to work.
"""

import re
from dataclasses import dataclass, field

CAPTURE_DEPS = "requests==2.33.1,aioquic==1.3.0,yt-dlp"
PLAYWRIGHT_PIN = "playwright==1.55.0"
WARM_DEPS = "requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,yt-dlp"
UPLOAD_DEPS = "requests==2.33.1,boto3==1.42.84"
WARM_PROGRAM = "print('deps ok')"
VERIFY_PROGRAM = ("from playwright.sync_api import sync_playwright; pw=sync_playwright().start(); "
                  "b=pw.chromium.launch(headless=True); b.close(); pw.stop(); print('ok')")
INSTALL_TAIL = ["python", "-m", "playwright", "install", "chromium"]


class Rejected(Exception):
    pass


@dataclass
class Capture:
    deps: str
    directory: str
    output: str
    client: str
    location: str = None
    network: str = None
    duration_text: str = None
    duration_secs: float = None
    privacy: str = "include"
    profile: str = "active"

    @property
    def playwright(self):
        return self.deps.endswith("," + PLAYWRIGHT_PIN)


@dataclass
class Upload:
    directory: str
    captures_dir: str


@dataclass
class WarmUp:
    deps: str

    @property
    def playwright(self):
        return self.deps.endswith("," + PLAYWRIGHT_PIN)


@dataclass
class VerifyBrowser:
    pass


@dataclass
class InstallBrowser:
    pass


@dataclass
class Meta:
    what: str
    args: list = field(default_factory=list)


_DURATION_PART = re.compile(r"(\d+(?:\.\d+)?)([hms])")


def parse_duration(text):
    """Seconds for "300", "30s", "5m", "1h", "1h30m" or "1.5h"; None for an
    empty text (an open-ended capture). Raises ValueError for anything else."""
    text = text.strip().lower()
    if text == "":
        return None
    if re.fullmatch(r"\d+(?:\.\d+)?", text):
        value = float(text)
    else:
        pos, value = 0, 0.0
        for m in _DURATION_PART.finditer(text):
            if m.start() != pos:
                raise ValueError(text)
            value += float(m.group(1)) * {"h": 3600, "m": 60, "s": 1}[m.group(2)]
            pos = m.end()
        if pos != len(text) or pos == 0:
            raise ValueError(text)
    if value <= 0:
        raise ValueError(text)
    return value


class _Cursor:
    def __init__(self, argv):
        self.argv = argv
        self.i = 0

    def at_end(self):
        return self.i >= len(self.argv)

    def peek(self):
        return None if self.at_end() else self.argv[self.i]

    def expect(self, *words):
        for word in words:
            got = self.peek()
            if got != word:
                raise Rejected(f"argument {self.i + 1}: expected {word!r}, got "
                               f"{'nothing' if got is None else repr(got)}")
            self.i += 1

    def value(self, option):
        got = self.peek()
        if got is None:
            raise Rejected(f"argument {self.i + 1}: {option} needs a value")
        self.i += 1
        return got

    def end(self):
        if not self.at_end():
            raise Rejected(f"argument {self.i + 1}: unexpected {self.argv[self.i]!r}")


def _deps(value, allowed):
    if value not in allowed:
        raise Rejected(f"--with {value!r} is not one of the pinned lists: " + " | ".join(repr(a) for a in allowed))
    return value


def parse(argv):
    if argv in (["--version"], ["-V"], ["version"], ["self", "version"]):
        return Meta("version")
    if argv and argv[0].startswith("--sim-"):
        return Meta(argv[0][len("--sim-"):], argv[1:])
    if not argv or argv[0] != "run":
        raise Rejected("only `uv run ...` is supported")

    c = _Cursor(argv)
    c.expect("run")
    offline = c.peek() == "--offline"
    if offline:
        c.expect("--offline")
    c.expect("--python", "3.12", "--with")
    deps = c.value("--with")

    if c.peek() == "--directory":
        if not offline:
            raise Rejected("a capture or upload must run with --offline")
        c.expect("--directory")
        directory = c.value("--directory")
        c.expect("-m")
        module = c.value("-m")
        if module == "norvane.cli":
            return _capture(c, deps, directory)
        if module == "norvane.manage":
            _deps(deps, [UPLOAD_DEPS])
            c.expect("upload", "--json", "--dir")
            captures_dir = c.value("--dir")
            c.end()
            return Upload(directory, captures_dir)
        raise Rejected(f"unknown module {module!r}")

    c.expect("python")
    if c.peek() == "-m":
        if offline:
            raise Rejected("the browser install must run online")
        _deps(deps, [PLAYWRIGHT_PIN])
        c.expect("-m", *INSTALL_TAIL[2:])
        c.end()
        return InstallBrowser()
    c.expect("-c")
    program = c.value("-c")
    c.end()
    if program == WARM_PROGRAM:
        if offline:
            raise Rejected("the dependency warm-up must run online")
        return WarmUp(_deps(deps, [WARM_DEPS, WARM_DEPS + "," + PLAYWRIGHT_PIN]))
    if program == VERIFY_PROGRAM:
        if not offline:
            raise Rejected("the browser check must run with --offline")
        _deps(deps, [CAPTURE_DEPS + "," + PLAYWRIGHT_PIN])
        return VerifyBrowser()
    raise Rejected(f"unknown -c program {program!r}")


_OPTIONAL = ["--location", "--network", "--duration", "--privacy", "--profile"]


def _capture(c, deps, directory):
    _deps(deps, [CAPTURE_DEPS, CAPTURE_DEPS + "," + PLAYWRIGHT_PIN])
    c.expect("--json", "-o")
    output = c.value("-o")
    cap = Capture(deps=deps, directory=directory, output=output, client="")
    order = 0
    while c.peek() in _OPTIONAL:
        option = c.peek()
        position = _OPTIONAL.index(option)
        if position < order:
            raise Rejected(f"argument {c.i + 1}: {option} out of order")
        order = position + 1
        c.i += 1
        value = c.value(option)
        if option == "--location":
            if value == "":
                raise Rejected("--location is given only when it isn't empty")
            cap.location = value
        elif option == "--network":
            if value == "":
                raise Rejected("--network is given only when it isn't empty")
            cap.network = value
        elif option == "--duration":
            cap.duration_text = value
            try:
                cap.duration_secs = parse_duration(value)
            except ValueError:
                raise Rejected(f"--duration: invalid value {value!r} (use forms such as 300, 30s, 5m, 1h)")
        elif option == "--privacy":
            if value not in ("hash", "omit"):
                raise Rejected(f"--privacy takes hash or omit, got {value!r} (include is the default and isn't named)")
            cap.privacy = value
        elif option == "--profile":
            if value != "passive":
                raise Rejected(f"--profile takes only passive, got {value!r} (active is the default and isn't named)")
            cap.profile = value
    c.expect("--client")
    cap.client = c.value("--client")
    if not re.fullmatch(r"(linux|macos)/\S+", cap.client):
        raise Rejected(f"--client {cap.client!r} should be linux/VERSION or macos/VERSION")
    c.end()
    return cap
