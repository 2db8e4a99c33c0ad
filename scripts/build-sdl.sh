#!/usr/bin/env bash
# Builds the SDL2 that a published copy carries: Debian's own source of the installed
# version, with only the X11 video back end, loaded at run time, and no audio, joystick,
# Wayland or KMS. Debian's static archive links every back end it was built with, so a
# copy made from it would not start on a desktop without PulseAudio or libdecor.
#
#   scripts/build-sdl.sh            installs into .deps/sdl2 unless it is there
#
# Downloads the source package once (apt's lists of sources go to a temporary folder).
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
PREFIX="$ROOT/.deps/sdl2"
VERSION=$(dpkg-query -W -f='${Version}' libsdl2-dev)
STAMP="$PREFIX/.version"
BUILT="$VERSION/1" # the figure after the slash counts changes to this build
if [ -f "$PREFIX/lib/libSDL2.a" ] && [ "$(cat "$STAMP" 2>/dev/null)" = "$BUILT" ]; then
    exit 0
fi

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
mkdir -p "$WORK/lists/partial" "$WORK/cache/archives/partial" "$WORK/parts"
for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] && sed 's/^Types:.*$/Types: deb-src/' "$f" > "$WORK/parts/$(basename "$f")"
done
if [ -f /etc/apt/sources.list ]; then
    sed -n 's/^deb /deb-src /p' /etc/apt/sources.list > "$WORK/parts/main.list"
fi
APT=(apt-get -qq -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$WORK/parts"
    -o Dir::State::Lists="$WORK/lists" -o Dir::Cache="$WORK/cache" -o APT::Sandbox::User=root)
echo "Building SDL2 $VERSION for published copies (X11 only)"
"${APT[@]}" update
(cd "$WORK" && "${APT[@]}" source --download-only "libsdl2=$VERSION" >/dev/null)
tar -xzf "$WORK"/libsdl2_*.orig.tar.gz -C "$WORK"
SRC=$(find "$WORK" -maxdepth 1 -type d -name 'SDL2-*' | head -n 1)
# 2.26 asks XInput2 for the pointer before a warp even when libXi was not there to load,
# and calls a null function on a desktop without it
MOUSE="$SRC/src/video/x11/SDL_x11mouse.c"
if grep -q '    if (ScreenCount(display) == 1) {' "$MOUSE"; then
    sed -i 's/    if (ScreenCount(display) == 1) {/    if (ScreenCount(display) == 1 \&\& X11_Xinput2IsInitialized()) {/' "$MOUSE"
    grep -q 'X11_Xinput2IsInitialized()) {' "$MOUSE"
fi

cmake -S "$SRC" -B "$WORK/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$PREFIX" \
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DSDL_SHARED=OFF -DSDL_STATIC=ON -DSDL_TEST=OFF \
    -DSDL_AUDIO=OFF -DSDL_JOYSTICK=OFF -DSDL_HAPTIC=OFF -DSDL_HIDAPI=OFF -DSDL_SENSOR=OFF \
    -DSDL_X11=ON -DSDL_X11_SHARED=ON -DSDL_WAYLAND=OFF -DSDL_KMSDRM=OFF -DSDL_VULKAN=OFF \
    -DSDL_OPENGLES=OFF -DSDL_DIRECTFB=OFF -DSDL_LIBSAMPLERATE=OFF \
    -DSDL_PULSEAUDIO=OFF -DSDL_ALSA=OFF -DSDL_JACK=OFF -DSDL_PIPEWIRE=OFF -DSDL_SNDIO=OFF \
    -DSDL_NAS=OFF -DSDL_OSS=OFF >/dev/null
cmake --build "$WORK/build" -j"$(nproc)" >/dev/null
rm -rf "$PREFIX"
cmake --install "$WORK/build" >/dev/null
echo "$BUILT" > "$STAMP"
