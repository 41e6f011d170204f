#!/usr/bin/env bash
# Makes a sandbox home whose ~/.local/bin holds the tool simulator's fake uv, so the program finds the
# simulator by its own search and nothing of the real home is touched.
set -euo pipefail
home=${1:?usage: make-sandbox.sh HOME_DIR}
root=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$home/.local/bin"
ln -sfn "$root/tools/simulator/uv" "$home/.local/bin/uv"
# The connectivity diagnosis finds these before the system's ip and ping, so it never sends a packet.
ln -sfn "$root/tools/simulator/ip" "$home/.local/bin/ip"
ln -sfn "$root/tools/simulator/ping" "$home/.local/bin/ping"
