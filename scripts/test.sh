#!/usr/bin/env bash
# Installs what is missing, builds the viewer twice (plain, and with AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs every test of both on a virtual display, then a
# short run of each fuzz target.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
JOBS=$(nproc)
"$ROOT/scripts/install-deps.sh" test
"$ROOT/scripts/build-sdl.sh" || echo "SDL2 for copies not built: copies will name every library Debian's SDL2 uses"

# a display of its own, at the size the end-to-end test expects
for n in $(seq 90 130); do
    [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] || { DISPLAY_NUMBER=$n; break; }
done
Xvfb ":$DISPLAY_NUMBER" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
XVFB_PID=$!
trap 'kill $XVFB_PID 2>/dev/null || true' EXIT
export DISPLAY=":$DISPLAY_NUMBER"
for _ in $(seq 1 100); do
    xdotool getdisplaygeometry >/dev/null 2>&1 && break
    sleep 0.1
done

status=0
for config in "build:-DCMAKE_BUILD_TYPE=RelWithDebInfo -DAMB_TEST_HOOKS=ON" \
        "build-asan:-DCMAKE_BUILD_TYPE=Debug -DAMB_SANITIZE=ON -DAMB_TEST_HOOKS=ON"; do
    dir=${config%%:*}
    flags=${config#*:}
    echo "=== $dir"
    # shellcheck disable=SC2086
    cmake -S "$ROOT" -B "$ROOT/$dir" $flags >/dev/null
    cmake --build "$ROOT/$dir" -j"$JOBS"
    (cd "$ROOT/$dir" && ctest --output-on-failure) || status=1
done

echo "=== fuzz"
CXX=clang++ cmake -S "$ROOT" -B "$ROOT/build-fuzz" -DAMB_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$ROOT/build-fuzz" -j"$JOBS"
"$ROOT/tests/fuzz/run.sh" "$ROOT/build-fuzz" "$ROOT/build" -runs=50000 || status=1
exit $status
