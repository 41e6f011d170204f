#!/usr/bin/env bash
# Makes a sandbox home whose ~/.local/bin holds the tool simulator's fake uv, so the program finds the
# simulator by its own search and nothing of the real home is touched.
set -euo pipefail
home=${1:?usage: make-sandbox.sh HOME_DIR}
root=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$home/.local/bin"
ln -sfn "$root/tools/simulator/uv" "$home/.local/bin/uv"
