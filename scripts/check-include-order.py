#!/usr/bin/env python3
"""Fails when a source folder includes a header of a folder that stands above it.

The folders of src/ form one stack, lowest first. A folder may include its own headers and those
of any folder below it, never one above: that keeps each layer buildable and testable without the
ones that use it.
"""
import pathlib
import re
import sys

LAYERS = ["platform", "base", "services", "subprocess", "capture", "core", "screens", "app"]
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]')


def layer_of(path: pathlib.Path, src: pathlib.Path) -> str | None:
    top = path.relative_to(src).parts[0]
    return top if top in LAYERS else None


def violations(src: pathlib.Path):
    for path in sorted(src.rglob("*")):
        if path.suffix not in (".h", ".cpp", ".in") or not path.is_file():
            continue
        own = layer_of(path, src)
        if own is None:
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = match.group(1).split("/")[0]
            if target in LAYERS and LAYERS.index(target) > LAYERS.index(own):
                yield f"{path.relative_to(src.parent)}:{number}: {own}/ includes {match.group(1)}, which stands above it"


def main() -> int:
    src = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "src").resolve()
    if not src.is_dir():
        print(f"no such folder: {src}", file=sys.stderr)
        return 2
    found = list(violations(src))
    for line in found:
        print(line)
    if found:
        print(f"{len(found)} include(s) point up; the order is {' <- '.join(LAYERS)}")
        return 1
    print("includes run one way: " + " <- ".join(LAYERS))
    return 0


if __name__ == "__main__":
    sys.exit(main())
