#!/usr/bin/env bash
# Runs every fuzz target from seeds made of real files: the built string table, system
# images, a BMP and DDS made by ImageMagick, the sample house exported, and what the viewer
# writes itself (write_seeds): a published copy's pack, its model, gallery, settings and sun;
# the light target writes its own seeds. The model, light and seed steps need a display.
# Each target's final coverage is printed. Further arguments go to libFuzzer (-runs=N for a
# short run, -max_total_time=S for a long one).
#
#   tests/fuzz/run.sh <fuzz build> <viewer build> [libFuzzer options]
set -uo pipefail
FUZZ=$(cd "$1" && pwd)
BUILD=$(cd "$2" && pwd)
shift 2
SEEDS=$FUZZ/seeds
mkdir -p "$SEEDS"/{pack,strings,settings,gallery,bmp,tga,dds,model,light,lists,ifc}
cp "$BUILD/Data/Strings/Strings.bin" "$SEEDS/strings/"
cp "$BUILD/Data/Settings.bin" "$SEEDS/settings/"
# a date and place: the sun following midsummer noon at 51.5 north
{
    printf 'SUNP\x01\0\0\0\xea\x07\0\0\x06\0\0\0\x15\0\0\0\x0c\0\0\0\0\0\0\0'
    printf '\0\0\x4e\x42\0\0\0\0\0\0\0\0\0\0\0\0'
} > "$SEEDS/settings/sun.bin"
cp "$BUILD/Data/Textures/System/Check.tga" "$BUILD/Data/Textures/System/Cross2.tga" "$SEEDS/tga/"
convert -size 4x4 xc:red "bmp3:$SEEDS/bmp/red.bmp" 2>/dev/null
convert -size 8x8 xc:blue -define dds:compression=dxt1 -define dds:mipmaps=3 "dds:$SEEDS/dds/blue.dds" 2>/dev/null
printf 'bare program' > "$SEEDS/bare"
"$BUILD/make_pack" "$SEEDS/pack/small.exe" "$SEEDS/bare" "$BUILD/Data/Textures/System/Check.tga"
rm -f "$SEEDS/bare"
"$BUILD/write_model" "$SEEDS/model/house.bin"
status=0
"$BUILD/write_seeds" "$SEEDS" >/dev/null || { echo "write_seeds failed"; status=1; }
IFC=/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc
[ -f "$IFC" ] && "$BUILD/ambexport" -q -o "$SEEDS/model/sample_house.bin" "$IFC"
# the IFC engine's streams of the test building and the sample house, as the exporter reads them
if command -v node >/dev/null 2>&1 && [ -f "$BUILD/ifc/ifc_stream.js" ]; then
    [ -f "$SEEDS/building.ifc" ] && node "$BUILD/ifc/ifc_stream.js" "$SEEDS/building.ifc" 3>"$SEEDS/ifc/building.stream"
    [ -f "$IFC" ] && node "$BUILD/ifc/ifc_stream.js" "$IFC" 3>"$SEEDS/ifc/sample_house.stream"
else
    echo "no Node or IFC reader: fuzz_ifc starts from an empty corpus"
fi
# the side file beside that model, and one of three elements of a 100-byte model as the
# target reads against; a list of recent models
mv "$SEEDS/model/sample_house.elements" "$SEEDS/lists/" 2>/dev/null
printf 'Ambulon elements 1\nmodel\t100\t3\nsource\t/m/house.ifc\nWall\tIfcWall\tGround\t0123456789abcdefABCDEF\nSlab\nRoof\tIfcRoof\n' \
    > "$SEEDS/lists/three.elements"
printf 'Ambulon recent 1\nlive\t1\n/m/house.ifc\n/m/tower.glb\n' > "$SEEDS/lists/recent.txt"
# the properties of three elements, the second without any
{
    printf 'Ambulon properties 1\nmodel\t100\t3\n'
    printf '\0\0\0\0\x0b\0\0\0\x0b\0\0\0\0\0\0\0\x0b\0\0\0\x0b\0\0\0'
    printf 'Pset\tA\t1\tm\nQto\tB\t2\tm2\n'
} > "$SEEDS/lists/three.properties"
printf 'Ambulon elements 2\nmodel\t100\t1\nsource\t/m/far.ifc\nplace\t500000.000\t0.000\t-5200000.000\t48.13\t11.5\tnan\tnan\tnan\tnan\tEPSG:25832\nWall\tIfcWall\n' \
    > "$SEEDS/lists/placed.elements"
# a gallery of one view (field of view 80) and one clip of two keys, all else zero
zeros() { head -c "$1" /dev/zero; }
{
    printf 'G\x01\0\0\0\x02\0\0\0\x01\0\0\0'
    printf '\0\0\0\0View'; zeros 124; printf '\x02\0\0\0'; zeros 52; printf '\0\0\xa0\x42'; zeros 16
    printf '\x01\0\0\0Clip'; zeros 124; printf '\x01\0\0\0\x02\0\0\0'; zeros 96
} > "$SEEDS/gallery/two.bin"
# a view that keeps a storey cut, a plane and an X-rayed wall
cut=$'caps\t1\nstorey\t1.5\nplane\t0 0 -1 2\nxray\tid\t2O2Fr$t4X7Zf8NOew3FL9r\nhide\tIfcFurnishingElement\n'
{
    printf 'S\x01\0\0\0\x01\0\0\0\0\0\0\0'
    printf '\0\0\0\0View'; zeros 124; printf '\x02\0\0\0'; zeros 52; printf '\0\0\xa0\x42'; zeros 16
    printf "$(printf '\\x%02x' ${#cut})\0\0\0"; printf '%s' "$cut"
} > "$SEEDS/gallery/cut.bin"
# the display driver keeps some blocks for good
export LSAN_OPTIONS="suppressions=$(cd "$(dirname "$0")/.." && pwd)/lsan.supp:print_suppressions=0"

for target in pack strings settings gallery bmp tga dds model light lists ifc; do
    mkdir -p "$FUZZ/corpus/$target"
    # a copy's pack holds its directory of 520 bytes an entry behind its files
    max_len=16384
    [ "$target" = pack ] && max_len=65536
    if ! (cd "$FUZZ" && "./fuzz_$target" -max_len=$max_len "$@" "corpus/$target" "$SEEDS/$target" \
            >"$FUZZ/fuzz_$target.log" 2>&1); then
        echo "fuzz_$target found a fault:"
        tail -40 "$FUZZ/fuzz_$target.log"
        status=1
    else
        # the coverage the seeds reach at once, and at the end
        log=$FUZZ/fuzz_$target.log
        echo "fuzz_$target: seeds $(grep -m1 -oE 'INITED cov: [0-9]+ ft: [0-9]+' "$log" | sed 's/INITED //')," \
            "end $(grep -E 'DONE' "$log" | tail -1 | sed 's/^#[0-9]*[[:space:]]*DONE[[:space:]]*//'); $(grep -E '^Done' "$log")"
    fi
done
exit $status
