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

# Node runs the exporter's IFC engine; a Node from elsewhere (with its own npm) serves as well
command -v node >/dev/null 2>&1 || packages+=(nodejs)
command -v npm >/dev/null 2>&1 || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
if [ ${#missing[@]} -gt 0 ]; then
    SUDO=""
    if [ "$(id -u)" != 0 ]; then
        SUDO="sudo"
    fi
    echo "Installing: ${missing[*]}"
    $SUDO env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    $SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The IFC engine, web-ifc, at the version the lock file pins, into tools/ifc; the build puts
# its files beside ambexport
IFC_DIR="$(cd "$(dirname "$0")/.." && pwd)/tools/ifc"
wanted=$(sed -n 's/.*"web-ifc": "\([0-9.]*\)".*/\1/p' "$IFC_DIR/package.json")
have=$(sed -n 's/^  "version": "\([0-9.]*\)".*/\1/p' "$IFC_DIR/node_modules/web-ifc/package.json" 2>/dev/null || true)
if [ "$have" != "$wanted" ]; then
    echo "Installing web-ifc $wanted for the exporter's IFC reader"
    (cd "$IFC_DIR" && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
fi
