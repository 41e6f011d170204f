#!/usr/bin/env bash
# Opens Norvane on the tool simulator in a sandbox home under the build folder. With no display, runs
# the tour under Xvfb instead and leaves one picture per screen in {build}/tour/.
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$root" && mkdir -p "$build" && cd "$build" && pwd)

home="$build/demo-home"
bash "$root/scripts/make-sandbox.sh" "$home"
mkdir -p -m 700 "$home/.runtime"

# Everything the program may reach is on this machine: the site and the portal probe point at a
# closed loopback port.
sandbox_env=(
    env -u XDG_DATA_HOME -u XDG_STATE_HOME -u XDG_CACHE_HOME -u XDG_CONFIG_HOME
    HOME="$home"
    XDG_RUNTIME_DIR="$home/.runtime"
    NORVANE_SITE_URL=http://127.0.0.1:9
    NORVANE_PORTAL_PROBE_URL=http://127.0.0.1:9/generate_204
)
log="$home/.local/state/Norvane/logs/linux-app.log"

if [ -z "${NORVANE_FORCE_TOUR:-}" ] && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; }; then
    echo "Norvane, sandbox home: $home"
    exec "${sandbox_env[@]}" "$build/bin/norvane"
fi

out="$build/tour"
rm -rf "$out"
mkdir -p "$out"
echo "No display: touring every screen under Xvfb into $out"
xvfb-run -a -s "-screen 0 1600x1200x24" "${sandbox_env[@]}" "$build/bin/norvane-tour" --out "$out"
if ! grep -q "INFO  \[App\] app launch version=" "$log"; then
    echo "the sandbox log has no launch line: $log" >&2
    exit 1
fi
echo "Pictures: $(ls "$out"/*.png | wc -l) in $out; log: $log"
