#!/usr/bin/env bash
# Opens Norvane on the tool simulator in a sandbox home under the build folder. With no display, runs
# the tour under Xvfb instead and leaves one picture per screen in {build}/tour/.
#
# NORVANE_DEMO_FIRST_RUN=1 shows a first launch instead: a fresh sandbox home without uv, and the
# simulator's installer script served on loopback, so the bootstrap screen installs the fake uv. With
# no display, `norvane-cli setup` runs the same install and prints each step.
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$root" && mkdir -p "$build" && cd "$build" && pwd)

first_run=${NORVANE_DEMO_FIRST_RUN:-}
if [ -n "$first_run" ]; then
    home="$build/demo-first-run-home"
    rm -rf "$home"
    bash "$root/scripts/make-sandbox.sh" "$home"
    rm "$home/.local/bin/uv"
else
    home="$build/demo-home"
    bash "$root/scripts/make-sandbox.sh" "$home"
fi
mkdir -p -m 700 "$home/.runtime"

# Everything the program may reach is on this machine: the site, the portal probe and the uv installer
# point at a closed loopback port, or at the installer server below.
installer_url=http://127.0.0.1:9/uv/install.sh
if [ -n "$first_run" ]; then
    # The server ends when this script does: its standard input closes with us.
    coproc INSTALLER { exec python3 "$root/tools/simulator/installer_server.py"; }
    read -r installer_url <&"${INSTALLER[0]}"
    echo "uv installer served at $installer_url"
fi
sandbox_env=(
    env -u XDG_DATA_HOME -u XDG_STATE_HOME -u XDG_CACHE_HOME -u XDG_CONFIG_HOME
    HOME="$home"
    XDG_RUNTIME_DIR="$home/.runtime"
    NORVANE_SITE_URL=http://127.0.0.1:9
    NORVANE_PORTAL_PROBE_URL=http://127.0.0.1:9/generate_204
    NORVANE_UV_INSTALLER_URL="$installer_url"
)
log="$home/.local/state/Norvane/logs/linux-app.log"

if [ -n "$first_run" ]; then
    # The dependency install takes twenty seconds, long enough to watch.
    sandbox_env+=(NORVANE_SIM_BOOTSTRAP=slow)
    if [ -z "${NORVANE_FORCE_TOUR:-}" ] && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; }; then
        echo "Norvane, first launch, sandbox home: $home"
        "${sandbox_env[@]}" "$build/bin/norvane"
    else
        echo "No display: the first launch's install without a window"
        "${sandbox_env[@]}" "$build/bin/norvane-cli" setup
    fi
    exit
fi

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
