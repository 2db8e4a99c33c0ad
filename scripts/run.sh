#!/usr/bin/env bash
# Installs what is missing, builds the viewer and starts it full screen.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
"$ROOT/scripts/install-deps.sh" run
"$ROOT/scripts/build-sdl.sh" || echo "SDL2 for copies not built: copies will name every library Debian's SDL2 uses"
cmake -S "$ROOT" -B "$ROOT/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DAMB_TEST_HOOKS=OFF >/dev/null
cmake --build "$ROOT/build" -j"$(nproc)" --target ambulon ambexport
# as a CAD host does: the sample house becomes the viewer's model, unless one is there
exec "$ROOT/build/ambexport" --open --if-none /usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc
