#!/usr/bin/env bash
# Runs the fault drills on the built norvane and norvane-cli: run.sh [BUILD_BIN_DIR [WORK_DIR [OPTIONS]]],
# OPTIONS those of drills.py (--sanitized for a sanitized build). Sandbox homes go under WORK_DIR;
# nothing reaches beyond the loopback interface.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
bin=${1:-$here/../../build/bin}
work=${2:-${TMPDIR:-/tmp}/norvane-drills}
shift $(($# < 2 ? $# : 2))
exec python3 "$here/drills.py" --build "$bin" --work "$work" "$@"
