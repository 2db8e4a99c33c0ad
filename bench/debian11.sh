#!/usr/bin/env bash
# Does a published copy start on an older, minimal desktop? Makes a Debian 11 root with
# debootstrap (downloads; not part of the tests), installs there only Xvfb, Mesa's GL and
# the fontconfig with a font that every desktop has, publishes the sample house with the
# build's bench_publish, starts the copy in the root under its own Xvfb and says whether it
# reached its main loop and what it drew (a capture beside the build).
#
#   bench/debian11.sh [BUILD] [ROOTFS]    as root; BUILD defaults to build, ROOTFS to
#                                         /tmp/amb-bullseye (kept for the next run)
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=$(cd "${1:-$ROOT/build}" && pwd)
ROOTFS=${2:-/tmp/amb-bullseye}
MIRROR=http://deb.debian.org/debian

if [ ! -x "$ROOTFS/usr/bin/Xvfb" ]; then
    command -v debootstrap >/dev/null || apt-get install -y -qq debootstrap >/dev/null
    debootstrap --variant=minbase bullseye "$ROOTFS" "$MIRROR" >/dev/null
    chroot "$ROOTFS" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        xvfb libgl1 libgl1-mesa-dri libfontconfig1 fonts-liberation >/dev/null
fi
echo "root: $(cat "$ROOTFS/etc/debian_version"), glibc $(chroot "$ROOTFS" ldd --version | head -n 1 | awk '{ print $NF }')"

# the copy of the sample house, with its first view's light
"$BUILD/bench_publish" --house "$ROOTFS/root/House.exe" >/dev/null
touch "$ROOTFS/Enable AMB logging"
rm -f "$ROOTFS/root/Amb2_Log.txt"
rm -rf "$ROOTFS/tmp/fb" && mkdir -p "$ROOTFS/tmp/fb"
mountpoint -q "$ROOTFS/proc" || mount -t proc proc "$ROOTFS/proc"
trap 'umount "$ROOTFS/proc" 2>/dev/null || true' EXIT

chroot "$ROOTFS" /bin/sh -c '
    Xvfb :5 -screen 0 1280x1024x24 -nolisten tcp -fbdir /tmp/fb >/dev/null 2>&1 &
    X=$!
    sleep 2
    cd /root && HOME=/root DISPLAY=:5 ./House.exe >/root/House.out 2>&1 &
    P=$!
    for i in $(seq 1 300); do
        grep -q -- "---Entering main loop---" /root/Amb2_Log.txt 2>/dev/null && break
        kill -0 $P 2>/dev/null || break
        sleep 0.1
    done
    sleep 3
    cp /tmp/fb/Xvfb_screen0 /tmp/fb/shot.xwd
    kill $P 2>/dev/null; sleep 1; kill -9 $P 2>/dev/null; kill $X 2>/dev/null
    true'

if grep -q -- "---Entering main loop---" "$ROOTFS/root/Amb2_Log.txt" 2>/dev/null; then
    echo "the copy reached its main loop in Debian 11"
else
    echo "the copy did NOT reach its main loop in Debian 11:"
    tail -n 5 "$ROOTFS/root/House.out" "$ROOTFS/root/Amb2_Log.txt" 2>/dev/null || true
fi
if command -v convert >/dev/null && [ -f "$ROOTFS/tmp/fb/shot.xwd" ]; then
    convert "xwd:$ROOTFS/tmp/fb/shot.xwd" "$BUILD/debian11.png"
    echo "what it drew: $BUILD/debian11.png (mean grey $(convert "$BUILD/debian11.png" -colorspace gray \
        -format '%[fx:int(255*mean)]' info:), $(convert "$BUILD/debian11.png" -format '%k' info:) colours)"
fi
