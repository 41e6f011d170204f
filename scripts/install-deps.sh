#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and the demo need.
# Idempotent: a machine that has them all is left alone and no package index is fetched.
set -euo pipefail

packages=(
    cmake ninja-build ccache g++ pkg-config make git
    qt6-base-dev qt6-base-dev-tools qt6-charts-dev libqt6opengl6-dev qt6-svg-dev libgl-dev
    qt6-qpa-plugins libqt6svg6
    zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev libsimdjson-dev libfast-float-dev
    python3 curl poppler-utils
    fonts-dejavu-core fonts-noto-cjk fonts-noto-color-emoji
)
case "${1:-}" in
    # The package checks: cpack's Debian dependencies (dpkg-shlibdeps, file), the validators, and mount
    # for hiding the build tree from the unpacked programs; the window's flood drill: a display of its
    # own and a key presser.
    test) packages+=(dpkg-dev file desktop-file-utils appstream mount xvfb xdotool) ;;
    demo) packages+=(xvfb xauth) ;;
    bench) packages+=(valgrind python3-pandas) ;;
    fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
esac

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "need root or sudo to install: ${missing[*]}" >&2; exit 1; }
    sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
