#!/usr/bin/env bash
# Makes the viewer the desktop's program for building models: a menu entry, an IFC file type
# (the shared MIME database has none) and the viewer as the default for IFC, glTF and OBJ,
# so that a file manager opens them with it. For the user alone; no root needed.
#
#   scripts/install-desktop.sh [BUILD]     BUILD defaults to build (scripts/run.sh makes it)
#   scripts/install-desktop.sh --remove
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
DATA=${XDG_DATA_HOME:-$HOME/.local/share}
CONFIG=${XDG_CONFIG_HOME:-$HOME/.config}
ENTRY=ambulon.desktop
TYPES=(application/x-ifc model/gltf+json model/gltf-binary model/obj)

if [ "${1:-}" = --remove ]; then
    rm -f "$DATA/applications/$ENTRY" "$DATA/mime/packages/ambulon-ifc.xml"
    [ -f "$CONFIG/mimeapps.list" ] && sed -i "/=$ENTRY;\?$/d" "$CONFIG/mimeapps.list"
    command -v update-mime-database >/dev/null && update-mime-database "$DATA/mime" >/dev/null 2>&1 || true
    echo "Removed the desktop entry"
    exit 0
fi

BUILD=$(cd "${1:-$ROOT/build}" 2>/dev/null && pwd) || { echo "no build folder: run scripts/run.sh first" >&2; exit 1; }
[ -x "$BUILD/ambexport" ] && [ -x "$BUILD/Ambulon.exe" ] || { echo "no ambexport or Ambulon.exe in $BUILD" >&2; exit 1; }

mkdir -p "$DATA/applications" "$DATA/mime/packages" "$CONFIG"
cat > "$DATA/mime/packages/ambulon-ifc.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<mime-info xmlns="http://www.freedesktop.org/standards/shared-mime-info">
  <mime-type type="application/x-ifc">
    <comment>IFC building model</comment>
    <magic priority="50"><match type="string" offset="0" value="ISO-10303-21;"/></magic>
    <glob pattern="*.ifc"/>
  </mime-type>
</mime-info>
XML
# the exporter writes the file as the viewer's model and starts the viewer on it
cat > "$DATA/applications/$ENTRY" <<DESKTOP
[Desktop Entry]
Type=Application
Name=Ambulon
GenericName=Building walkthrough
Comment=Walk and fly through a building model
Exec="$BUILD/ambexport" --open %f
Terminal=false
Categories=Graphics;3DGraphics;Viewer;
MimeType=$(printf '%s;' "${TYPES[@]}")
DESKTOP

# the viewer as the default for each type, in the user's own list, other lines kept
LIST="$CONFIG/mimeapps.list"
touch "$LIST"
grep -q '^\[Default Applications\]' "$LIST" || printf '[Default Applications]\n' >> "$LIST"
for t in "${TYPES[@]}"; do
    sed -i "\\#^$t=#d" "$LIST"
    sed -i "/^\\[Default Applications\\]/a $t=$ENTRY;" "$LIST"
done
command -v update-mime-database >/dev/null && update-mime-database "$DATA/mime" >/dev/null 2>&1 || true
command -v update-desktop-database >/dev/null && update-desktop-database "$DATA/applications" >/dev/null 2>&1 || true
echo "Installed $DATA/applications/$ENTRY: IFC, glTF and OBJ files open in the viewer"
