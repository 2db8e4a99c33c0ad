#!/usr/bin/env bash
# Installs the Debian packages the viewer needs to build, run and be tested; only the
# missing ones, without questions. Runs as root or through sudo.
#
#   scripts/install-deps.sh [run|test]
set -euo pipefail

RUN_PACKAGES=(build-essential cmake pkg-config libsdl2-dev libglew-dev libfreetype-dev libfontconfig-dev
    libgl-dev libgl1-mesa-dri fonts-liberation zenity libassimp-dev libstb-dev assimp-testmodels)
TEST_PACKAGES=(libgtest-dev clang libclang-rt-14-dev xvfb xdotool imagemagick)

packages=("${RUN_PACKAGES[@]}")
if [ "${1:-run}" = test ]; then
    packages+=("${TEST_PACKAGES[@]}")
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" != 0 ]; then
    SUDO="sudo"
fi
echo "Installing: ${missing[*]}"
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get update -qq
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
