#!/usr/bin/env bash
# End to end: the built Ambulon.exe on the test display, with a temporary HOME and
# logging switched on. It is driven with xdotool, and judged by its exit status, its log
# and a capture of the screen (kept in the build folder as e2e-*.png for a person to see).
#
#   tests/program_test.sh <build folder>
set -u
BUILD=$(cd "$1" && pwd)
SRC=$(cd "$(dirname "$0")/.." && pwd)
WORK=$(mktemp -d /tmp/amb_e2e_XXXXXX)
FAILURES=0
# the sanitizer build, many times slower, is spared the longest scenarios
SANITIZED=0
strings "$BUILD/Ambulon.exe" | grep -q __asan_init && SANITIZED=1

fail() { echo "FAIL: $*"; FAILURES=$((FAILURES + 1)); }

# A fresh home with the log switch in the user directory; prints its log path.
make_home() {
    local home=$WORK/$1
    mkdir -p "$home/Documents/Ambulon"
    : > "$home/Documents/Ambulon/Enable AMB logging"
    echo "$home/Documents/Ambulon/Amb2_Log.txt"
}

# A fresh home holding the test house where the CAD host leaves it; sets LOG and TEMP.
home_with_model() {
    LOG=$(make_home "$1")
    TEMP="$WORK/$1/Documents/Ambulon/Temp"
    mkdir -p "$TEMP"
    "$BUILD/write_model" "$TEMP/Export.bin"
}

# A copy has no user directory: its log switch is looked for at the root. One already there
# serves; one made here is removed afterwards. Without either the copies' scenarios are
# skipped, and say so.
root_switch_on() {
    ROOT_SWITCH_MADE=0
    [ -e "/Enable AMB logging" ] && return 0
    touch "/Enable AMB logging" 2>/dev/null && ROOT_SWITCH_MADE=1 && return 0
    echo "skipped: $1 (no log switch can be made at the root)"
    return 1
}

root_switch_off() {
    if [ "$ROOT_SWITCH_MADE" = 1 ]; then rm -f "/Enable AMB logging"; fi
}

# Waits for a text in a file (at most a minute, or the seconds given); 0 when it came. A
# start that never gets there fails the scenario instead of hanging the suite.
wait_for_text() {
    local file=$1 text=$2 seconds=${3:-60}
    for _ in $(seq 1 $((seconds * 10))); do
        grep -qF -- "$text" "$file" 2>/dev/null && return 0
        kill -0 "$PID" 2>/dev/null || { grep -qF -- "$text" "$file" 2>/dev/null; return; }
        sleep 0.1
    done
    return 1
}

# Waits for the viewer to end; its exit status goes to STATUS.
wait_exit() {
    for _ in $(seq 1 300); do
        kill -0 "$PID" 2>/dev/null || break
        sleep 0.1
    done
    if kill -0 "$PID" 2>/dev/null; then
        kill -9 "$PID"
        fail "$1: the viewer did not end"
    fi
    wait "$PID"
    STATUS=$?
}

# The lines of a log must appear in this order (each a whole message line).
expect_in_order() {
    local log=$1 scenario=$2
    shift 2
    local last=0 at
    for line in "$@"; do
        at=$(grep -nxF -- "  $line" "$log" | cut -d: -f1 | awk -v min="$last" '$1 > min {print; exit}')
        if [ -z "$at" ]; then
            fail "$scenario: log line '$line' missing or out of order"
            return
        fi
        last=$at
    done
}

# Keys are read once a frame: a key goes down, stays a moment as under a finger, and comes up.
press() {
    press_for 0.3 "$@"
}

press_for() {
    local hold=$1
    shift
    xdotool keydown "$@"
    sleep "$hold"
    local keys=("$@")
    for ((i = ${#keys[@]} - 1; i >= 0; i--)); do xdotool keyup "${keys[i]}"; done
}

# Runs the viewer in the background with the given home and environment.
start_viewer() {
    local home=$1 exe=$2
    shift 2
    (cd "$WORK" && env HOME="$home" "$@" "$exe") &
    PID=$!
}

STARTUP_LINES=("Initializing memory manager" "Initializing window" "Initializing input" "Initializing opengl"
    "Initializing strings" "Initializing engine" "Initializing devmode" "Initializing camera" "Initializing layers"
    "Initializing world")
SHUTDOWN_LINES=("Shutting down interface" "Shutting down world" "Shutting down layers" "Shutting down camera"
    "Shutting down dev mode" "Shutting down engine"
    "Shutting down strings" "Shutting down opengl" "Shutting down input" "Shutting down window"
    "Shutting down memory manager" "Shutting down core")

# Runs until the main loop, keeps a capture, then quits with Z and Escape.
run_and_quit() {
    local log=$1 scenario=$2
    if wait_for_text "$log" "---Entering main loop---"; then
        sleep 0.6
        import -window root "$BUILD/e2e-$scenario.png"
        press z Escape
    else
        fail "$scenario: the main loop never started"
    fi
    wait_exit "$scenario"
    [ "$STATUS" = 0 ] || fail "$scenario: exit status $STATUS"
    grep -q "Leaking" "$log" && fail "$scenario: memory leaked"
}

# --- 1. A full run: progress screen, main loop, Z with Escape, clean shutdown ------------
# the fade-in runs while the model loads: a slowed load keeps the test house's on screen
home_with_model normal
start_viewer "$WORK/normal" "$BUILD/Ambulon.exe" AMB_TEST_SLOW_LOAD=2500
if ! strings "$BUILD/Ambulon.exe" | grep -q AMB_TEST_SLOW_LOAD; then
    echo "normal: a build without test hooks: the progress screen isn't looked at"
elif wait_for_text "$LOG" "Number of render modes"; then
    sleep 0.8 # well into the fade-in of the progress screen, which follows
    import -window root "$BUILD/e2e-progress.png"
    # the title and version stand at a third of the width less 400, above the middle
    bright=$(convert "$BUILD/e2e-progress.png" -crop 600x120+0+400 -format "%[fx:maxima.r]" info: 2>/dev/null)
    awk -v b="${bright:-0}" 'BEGIN { exit !(b > 0.3) }' || fail "normal: the progress screen shows no text"
    darkest=$(convert "$BUILD/e2e-progress.png" -crop 200x200+900+700 -format "%[fx:maxima.r]" info: 2>/dev/null)
    awk -v b="${darkest:-1}" 'BEGIN { exit !(b < 0.01) }' || fail "normal: the progress screen isn't black"
else
    fail "normal: the viewer never reached its engine step"
fi
if wait_for_text "$LOG" "---Entering main loop---"; then
    sleep 0.6
    import -window root "$BUILD/e2e-running.png"
    # Escape alone opens the panel and doesn't quit
    press Escape
    kill -0 "$PID" 2>/dev/null || fail "normal: Escape alone ended the viewer"
    press z Escape
fi
wait_exit normal
[ "$STATUS" = 0 ] || fail "normal: exit status $STATUS"
expect_in_order "$LOG" normal "Program directory is '$BUILD/'" "Data directory is '$BUILD/'" \
    "User directory is '$WORK/normal/Documents/Ambulon/'" "${STARTUP_LINES[@]:0:6}" "Version is 2.1" \
    "Launching application only" "Initializing devmode" "Initializing camera" "Initializing layers" \
    "Initializing world" "Initializing skybox" "Initializing interface" "Radiosity = Yes" "Lauched from exe = No" \
    "Entering level" "---Entering main loop---" "---Exiting main loop---" "${SHUTDOWN_LINES[@]:0:3}" \
    "  Saving settings" "${SHUTDOWN_LINES[@]:3}"
grep -q "Leaking" "$LOG" && fail "normal: memory leaked"
[ -d "$WORK/normal/Documents/Ambulon/Temp" ] || fail "normal: no Temp folder"
[ -d "$WORK/normal/Documents/Ambulon/Screenshots" ] || fail "normal: no Screenshots folder"
head -1 "$LOG" | grep -qx "//Ambulon 2" || fail "normal: log header"

# --- 2. No display: the window step fails, shutdown runs in full ---------------------------
LOG=$(make_home nodisplay)
start_viewer "$WORK/nodisplay" "$BUILD/Ambulon.exe" DISPLAY=:87654
wait_exit nodisplay
[ "$STATUS" = 0 ] || fail "nodisplay: exit status $STATUS"
grep -q "  !SDL_Init : " "$LOG" || fail "nodisplay: no SDL_Init line"
expect_in_order "$LOG" nodisplay "Initializing window" "!InitWindow : the start stops" "Shutting down strings" "Shutting down window" \
    "Shutting down memory manager" "Shutting down core"
grep -q "Initializing input" "$LOG" && fail "nodisplay: start-up went on after the window"

# --- 3. No string table beside the program ---------------------------------------------
mkdir -p "$WORK/nodata"
cp "$BUILD/Ambulon.exe" "$WORK/nodata/"
LOG=$(make_home nostrings)
start_viewer "$WORK/nostrings" "$WORK/nodata/Ambulon.exe"
wait_exit nostrings
[ "$STATUS" = 0 ] || fail "nostrings: exit status $STATUS"
grep -qF "  !fopen : '$WORK/nodata/Data/Strings/Strings.bin'" "$LOG" || fail "nostrings: no fopen line"
expect_in_order "$LOG" nostrings "Initializing strings" "!twStrings_ImportBin" "!InitStrings : the start stops" \
    "${SHUTDOWN_LINES[@]}"
grep -q "Leaking" "$LOG" && fail "nostrings: memory leaked"

# --- 4. No fonts at all ---------------------------------------------------------------
cat > "$WORK/nofonts.conf" <<'EOF'
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig><cachedir>/tmp/amb_e2e_nofonts_cache</cachedir></fontconfig>
EOF
LOG=$(make_home nofonts)
start_viewer "$WORK/nofonts" "$BUILD/Ambulon.exe" FONTCONFIG_FILE="$WORK/nofonts.conf"
wait_exit nofonts
[ "$STATUS" = 0 ] || fail "nofonts: exit status $STATUS"
expect_in_order "$LOG" nofonts "Initializing strings" "!CreateFontA[0]" "!InitFont" "${SHUTDOWN_LINES[@]}"
grep -q "Leaking" "$LOG" && fail "nofonts: memory leaked"

# --- 5. A program file without its pack --------------------------------------------------
mkdir -p "$WORK/nopack"
cp "$BUILD/Ambulon.bare" "$WORK/nopack/Ambulon.exe"
cp -r "$BUILD/Data" "$WORK/nopack/"
LOG=$(make_home nopack)
start_viewer "$WORK/nopack" "$WORK/nopack/Ambulon.exe"
wait_exit nopack
[ "$STATUS" = 0 ] || fail "nopack: exit status $STATUS"
expect_in_order "$LOG" nopack "Initializing engine" "!twCore_GetResource : 'Plane.tga'" "${SHUTDOWN_LINES[@]}"
grep -q "Leaking" "$LOG" && fail "nopack: memory leaked"

# Spoils a resource in place: its first three bytes in a program's pack become "XXX"
damage_entry() {
    local file=$1 name=$2 size count dir i entry off
    size=$(stat -c %s "$file")
    count=$(od -An -t u4 -j $((size - 8)) -N 4 "$file" | tr -d ' ')
    dir=$((size - 8 - count * 520))
    for ((i = 0; i < count; i++)); do
        entry=$((dir + i * 520))
        if [ "$(dd if="$file" bs=1 skip=$entry count=64 2>/dev/null | tr -d '\0')" = "$name" ]; then
            off=$(od -An -t u4 -j $((entry + 512)) -N 4 "$file" | tr -d ' ')
            printf 'XXX' | dd of="$file" bs=1 seek="$off" conv=notrunc 2>/dev/null
            return 0
        fi
    done
    return 1
}

# --- 6. A model left by the CAD host loads at start ----------------------------------------
home_with_model model
start_viewer "$WORK/model" "$BUILD/Ambulon.exe"
run_and_quit "$LOG" model
expect_in_order "$LOG" model "Initializing world" "Project name = 'Test house'" "Number of elements to load = 5" \
    "World was successfully loaded" "Entering level" "---Entering main loop---" "Shutting down world" "Freeing world" \
    "Done freeing world" "Shutting down core"
[ -f "$TEMP/Export.bin" ] || fail "model: the host's model was removed"

# The panel is up in a capture: its left column holds the tabs' white words
panel_shown() {
    local tabs
    tabs=$(convert "$1" -crop 170x160+0+790 -format "%[fx:maxima.r]" info: 2>/dev/null)
    awk -v b="${tabs:-0}" 'BEGIN { exit !(b > 0.8) }'
}

# Esc opens the panel, and a click takes the tab the pointer is moved to from the window's
# middle (GL rows count from the bottom)
open_tab() {
    xdotool key Escape
    sleep 0.8
    xdotool mousemove_relative -- "$1" "$2"
    sleep 0.3
    xdotool click 1
    sleep 0.5
}

# An option's drop-down: the pointer moved onto the value and held there, then moved to the
# list's second item; a capture while the list is open when a file is named
pick_second_item() {
    xdotool mousemove_relative -- "$1" "$2"
    sleep 0.3
    xdotool mousedown 1
    sleep 0.3
    xdotool mousemove_relative -- 150 15
    sleep 0.5
    if [ -n "${3:-}" ]; then import -window root "$3"; fi
    xdotool mouseup 1
    sleep 0.3
}

# --- 6b. The panel: a tab, a drop-down, and the choice kept in the settings -------------
# The pointer starts in the window's middle and moves by the mouse's steps; GL rows count
# from the bottom. The View tab is the second row of the panel, Units its tenth.
home_with_model panel
start_viewer "$WORK/panel" "$BUILD/Ambulon.exe"
if wait_for_text "$LOG" "---Entering main loop---"; then
    sleep 0.6
    open_tab -560 330 # the View tab
    pick_second_item 360 138 "$BUILD/e2e-panel.png" # Units: Feet
    panel_shown "$BUILD/e2e-panel.png" || fail "panel: no tabs drawn"
    # F5: the frame with its panel as a picture in the Screenshots folder
    press F5
    sleep 0.5
    shot=$(ls "$WORK/panel/Documents/Ambulon/Screenshots/"*.png 2>/dev/null | head -1)
    [ -n "$shot" ] || fail "panel: F5 saved no PNG screenshot"
    grep -q "Screenshot successfully saved" "$LOG" || fail "panel: no screenshot line"
    [ -n "$shot" ] && cp "$shot" "$BUILD/e2e-shot.png" &&
        { panel_shown "$BUILD/e2e-shot.png" || fail "panel: the screenshot lacks the panel"; }
    # M: the measure tool's panel under the cross, with its words on the black strip
    press Escape
    sleep 0.6
    press m
    xdotool click 1
    sleep 0.3
    xdotool click 1
    sleep 0.6
    import -window root "$BUILD/e2e-measure.png"
    words=$(convert "$BUILD/e2e-measure.png" -crop 340x94+470+572 -format "%[fx:maxima.r]" info: 2>/dev/null)
    strip=$(convert "$BUILD/e2e-measure.png" -crop 300x6+490+573 -format "%[fx:mean]" info: 2>/dev/null)
    awk -v w="${words:-0}" -v s="${strip:-1}" 'BEGIN { exit !(w > 0.8 && s < 0.3) }' ||
        fail "panel: no measure panel ($words, $strip)"
fi
run_and_quit "$LOG" panel-end
[ "$(od -An -tu4 -j8 -N4 "$TEMP/Settings.bin" 2>/dev/null | tr -d ' ')" = 1 ] || fail "panel: feet weren't kept"

# --- 6e. Started again, the feet stay; the sun from a date: the Sun tab (the eighth row),
# "Sun follows the date" picked from its drop-down; the date's sun is kept with the date
# and place, and comes back
rm -f "$LOG" # the run before ended with the line this one waits for
start_viewer "$WORK/panel" "$BUILD/Ambulon.exe"
if wait_for_text "$LOG" "---Entering main loop---"; then
    sleep 0.6
    open_tab -560 432 # the Sun tab
    pick_second_item 356 -119 # "Sun follows the date": On
    sleep 0.5
    import -window root "$BUILD/e2e-sun.png"
fi
run_and_quit "$LOG" sun-end
[ "$(od -An -tu4 -j8 -N4 "$TEMP/Settings.bin" 2>/dev/null | tr -d ' ')" = 1 ] || fail "panel: feet lost on restart"
grep -q "!version mismatch" "$LOG" && fail "panel: the saved settings were refused"
[ "$(od -An -tu4 -j4 -N4 "$TEMP/Sun.bin" 2>/dev/null | tr -d ' ')" = 1 ] || fail "sun: the date's sun wasn't kept"
# the default date, midsummer at Greenwich at three, puts the sun 54 degrees up in the south-west
[ "$(od -An -tu4 -j64 -N8 "$TEMP/Settings.bin" 2>/dev/null | tr -s ' ')" = " 54 310" ] ||
    fail "sun: the settings hold another sun: $(od -An -tu4 -j64 -N8 "$TEMP/Settings.bin")"
rm -f "$LOG"
start_viewer "$WORK/panel" "$BUILD/Ambulon.exe"
run_and_quit "$LOG" sun-again
grep -q "Date 2026-06-21 15:00 at 51.48, 0.00, the sun follows it" "$LOG" || fail "sun: the date wasn't read again"
grep -q "no longer follows the date" "$LOG" && fail "sun: the date's sun was lost"

# --- 6d. The gallery: F4 keeps a view, Shift+R and two clicks record a clip, and after a
# restart P plays it. The Gallery tab is the panel's fifth row.
home_with_model gallery
start_viewer "$WORK/gallery" "$BUILD/Ambulon.exe"
if wait_for_text "$LOG" "---Entering main loop---"; then
    sleep 0.6
    press F4
    sleep 0.3
    [ -s "$TEMP/Gallery" ] || fail "gallery: F4 kept no view"
    press Shift_L r
    sleep 0.3
    import -window root "$BUILD/e2e-armed.png"
    xdotool click 1
    sleep 0.3
    xdotool keydown s
    sleep 0.6
    import -window root "$BUILD/e2e-recording.png"
    sleep 0.6
    xdotool keyup s
    xdotool click 1
    sleep 0.5
    grep -q "Added new clip" "$LOG" || fail "gallery: the second click closed no clip"
    open_tab -560 381 # the Gallery tab
    sleep 0.3
    import -window root "$BUILD/e2e-gallery.png"
fi
run_and_quit "$LOG" gallery-end
# a view of 72 bytes and a clip of some keys, each behind its 136 bytes of head
size=$(stat -c %s "$TEMP/Gallery" 2>/dev/null || echo 0)
[ "$size" -gt $((13 + 208 + 140 + 10 * 48)) ] && [ $(((size - 13 - 208 - 140) % 48)) = 0 ] ||
    fail "gallery: a Gallery of $size bytes"
start_viewer "$WORK/gallery" "$BUILD/Ambulon.exe"
if wait_for_text "$LOG" "Done loading numitems=2"; then
    wait_for_text "$LOG" "---Entering main loop---" 10 || true
    sleep 0.6
    press p
    sleep 0.4
    import -window root "$BUILD/e2e-play.png"
    grep -q "Playing 'Clip" "$LOG" || fail "gallery: P played nothing"
    press p
    # the clip (the selected item) as video: the Gallery tab, "Save clip as video" above the
    # picture's right; the window shows the clip with a bar while the frames are written
    # (the sanitizer build's gallery test writes a video of its own, faster)
    if [ "$SANITIZED" = 0 ]; then
        sleep 0.3
        open_tab -560 381 # the Gallery tab
        xdotool mousemove_relative -- 542 -68 # over "Save clip as video"
        sleep 0.3
        xdotool click 1
        if wait_for_text "$LOG" "as video:" 10; then
            sleep 1
            import -window root "$BUILD/e2e-video.png"
            wait_for_text "$LOG" "The video is" 300 || fail "video: never finished"
        else
            fail "video: the button started nothing"
        fi
        frames=$(sed -n "s/.*as video: \([0-9]*\) frames.*/\1/p" "$LOG" | head -1)
        folder=$(ls -d "$WORK/gallery/Documents/Ambulon/Screenshots/"*_video 2>/dev/null | head -1)
        [ -n "$folder" ] && [ "$(ls "$folder" | grep -c '^frame_[0-9]*\.png$')" = "${frames:-x}" ] ||
            fail "video: not $frames frames in '$folder'"
        ls "$WORK/gallery/Documents/Ambulon/Screenshots/" | grep -q "part" && fail "video: a part was left"
        # with ffmpeg on the machine the MP4 holds every frame; without it the frames stand alone
        if command -v ffprobe >/dev/null; then
            got=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames \
                -of csv=p=0 "$folder.mp4" 2>/dev/null)
            [ "$got" = "$frames" ] || fail "video: the MP4 has '$got' frames, not $frames"
        elif ! command -v ffmpeg >/dev/null; then
            grep -q "ffmpeg isn't on the PATH" "$LOG" || fail "video: no line for the missing ffmpeg"
        fi
    fi
else
    fail "gallery: the kept gallery wasn't loaded again"
fi
run_and_quit "$LOG" gallery-again

# --- 6c. On a slow machine a tap of Escape shorter than a frame still opens the panel ---
if strings "$BUILD/Ambulon.exe" | grep -q AMB_TEST_SLOW_FRAME; then
    LOG=$(make_home slow)
    start_viewer "$WORK/slow" "$BUILD/Ambulon.exe" AMB_TEST_SLOW_FRAME=300
    if wait_for_text "$LOG" "---Entering main loop---"; then
        sleep 1
        xdotool key --delay 20 Escape
        sleep 3
        import -window root "$BUILD/e2e-slow.png"
        panel_shown "$BUILD/e2e-slow.png" || fail "slow: a quick Escape was lost"
        press_for 1 z Escape
    fi
    wait_exit slow
    [ "$STATUS" = 0 ] || fail "slow: exit status $STATUS"
fi

# --- 7a. A file manager opens the sample house: the desktop entry's command exports it and ---
# starts the viewer on it
SAMPLE=/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc
if [ -r "$SAMPLE" ]; then
    LOG=$(make_home sample)
    HOME="$WORK/sample" XDG_DATA_HOME="" XDG_CONFIG_HOME="" "$SRC/scripts/install-desktop.sh" "$BUILD" >/dev/null ||
        fail "sample: no desktop entry"
    grep -q '^application/x-ifc=ambulon.desktop;$' "$WORK/sample/.config/mimeapps.list" ||
        fail "sample: the viewer isn't the default for IFC"
    if [ -f "$WORK/sample/.local/share/mime/globs2" ]; then
        grep -q ':application/x-ifc:\*\.ifc$' "$WORK/sample/.local/share/mime/globs2" || fail "sample: no IFC file type"
    fi
    exec_line=$(sed -n 's/^Exec=//p' "$WORK/sample/.local/share/applications/ambulon.desktop")
    eval "set -- ${exec_line//%f/\"\$SAMPLE\"}"
    (cd "$WORK" && HOME="$WORK/sample" "$@" -q) &
    PID=$!
    if wait_for_text "$LOG" "---Entering main loop---"; then
        # the first frame waits for the driver to build its programs; then the sky is over the house
        # (its top right corner: the sun and its glow stand above the middle)
        for _ in $(seq 1 100); do
            import -window root "$BUILD/e2e-sample.png"
            blue=$(convert "$BUILD/e2e-sample.png" -crop 200x60+1080+0 -format "%[fx:mean.b-mean.r]" info: 2>/dev/null)
            awk -v b="${blue:-0}" 'BEGIN { exit !(b > 0.2) }' && break
            sleep 0.2
        done
        awk -v b="${blue:-0}" 'BEGIN { exit !(b > 0.2) }' || fail "sample: no sky above the house"
        # the house stands in the middle of the view: the culling found it
        wall=$(convert "$BUILD/e2e-sample.png" -crop 200x80+540+380 -format "%[fx:mean.b-mean.r]" info: 2>/dev/null)
        awk -v b="${wall:-1}" 'BEGIN { exit !(b < 0.1) }' || fail "sample: no house in the middle of the view"
        # a held W walks the viewer towards the house
        press_for 1.5 w
        sleep 0.3
        import -window root "$BUILD/e2e-sample-walked.png"
        moved=$(compare -metric RMSE "$BUILD/e2e-sample.png" "$BUILD/e2e-sample-walked.png" null: 2>&1 |
            sed 's/.*(\(.*\))/\1/')
        awk -v m="${moved:-0}" 'BEGIN { exit !(m > 0.05) }' || fail "sample: W held didn't move the view ($moved)"
    fi
    run_and_quit "$LOG" sample-end
    expect_in_order "$LOG" sample "Project name = 'AC14-FZK-Haus'" "World was successfully loaded" \
        "---Entering main loop---" "Shutting down core"
    grep -q "  Number of door elements = [1-9]" "$LOG" || fail "sample: no doors"

fi

# --- 7c. Opening models from the viewer: the sample house through the Model page's dialog (a
# stub zenity), a layer hidden and the walker moved, two saves that reload it in place, a
# glTF dropped on the window (the test build's hook posts the drop), then a damaged file
# dropped, which leaves the glTF. The pointer moves from the window's middle.
GLTF=/usr/share/assimp/models/glTF2/BoxTextured-glTF/BoxTextured.gltf
if [ -r "$SAMPLE" ] && [ -r "$GLTF" ] && strings "$BUILD/Ambulon.exe" | grep -q AMB_TEST_DROP; then
    LOG=$(make_home link)
    mkdir -p "$WORK/models" "$WORK/linkbin"
    cp "$SAMPLE" "$WORK/models/house.ifc"
    printf '#!/bin/sh\necho "%s"\n' "$WORK/models/house.ifc" > "$WORK/linkbin/zenity"
    chmod +x "$WORK/linkbin/zenity"
    start_viewer "$WORK/link" "$BUILD/Ambulon.exe" PATH="$WORK/linkbin:$PATH" AMB_TEST_DROP="$WORK/drop.txt"
    if wait_for_text "$LOG" "---Entering main loop---"; then
        sleep 0.6
        xdotool key Escape
        sleep 0.8
        xdotool mousemove_relative -- -198 329 # "Open model..." on the Model page
        sleep 0.3
        xdotool click 1
        wait_for_text "$LOG" "'house.ifc' loaded in" 120 || fail "link: the page opened no model"
        sleep 0.5
        import -window root "$BUILD/e2e-link-open.png"
        TEMP="$WORK/link/Documents/Ambulon/Temp"
        [ -s "$TEMP/Export.elements" ] || fail "link: no side file beside the model"
        grep -qxF "$WORK/models/house.ifc" "$TEMP/Recent.txt" || fail "link: not among the recent models"
        xdotool mousemove_relative -- -362 35 # the Layers tab
        sleep 0.3
        xdotool click 1
        sleep 0.4
        xdotool mousemove_relative -- 120 -46 # the first layer
        sleep 0.3
        xdotool click 1
        sleep 0.4
        import -window root "$BUILD/e2e-link-layers.png"
        xdotool key Escape
        sleep 0.8
        press_for 0.6 w
        sleep 1.5
        touch "$WORK/models/house.ifc"
        wait_for_text "$LOG" "Reloading with the walker at" 60 || fail "link: a save reloaded nothing"
        sleep 1.5
        import -window root "$BUILD/e2e-link-reload.png"
        touch "$WORK/models/house.ifc"
        # the reload's line comes before its load, the kept layers' line after it
        for _ in $(seq 1 600); do
            [ "$(grep -c "Reloading with the walker at" "$LOG")" -ge 2 ] &&
                [ "$(grep -c "1 layers kept hidden" "$LOG")" -ge 2 ] && break
            sleep 0.1
        done
        # the walker stood through the first reload and the frames after it
        places=$(sed -n 's/.*Reloading with the walker at //p' "$LOG" | head -2 | tr '\n' ' ')
        awk -v p="$places" 'BEGIN { n = split(p, a, " "); if (n < 6) exit 1; d = 0
            for (i = 1; i <= 3; i++) { x = a[i] - a[i + 3]; d += x * x }; exit !(d < 0.0001) }' ||
            fail "link: the walker moved through a reload ($places)"
        [ "$(grep -c "1 layers kept hidden" "$LOG")" -ge 2 ] || fail "link: the hidden layer came back"
        echo "$GLTF" > "$WORK/drop.txt"
        kill -USR1 "$PID"
        wait_for_text "$LOG" "'BoxTextured.gltf' loaded in" 60 || fail "link: the dropped glTF didn't open"
        sleep 1
        import -window root "$BUILD/e2e-link-drop.png"
        printf 'glTF\x02\0\0\0 no scene here' > "$WORK/models/broken.glb"
        echo "$WORK/models/broken.glb" > "$WORK/drop.txt"
        kill -USR1 "$PID"
        wait_for_text "$LOG" "!The exporter ended with" 60 || fail "link: no line for the damaged file"
        sleep 0.5
        import -window root "$BUILD/e2e-link-damaged.png"
        grep -q "'broken.glb' loaded in" "$LOG" && fail "link: the damaged file replaced the model"
        [ -e "$TEMP/Opening.bin" ] && fail "link: the exporter's output was left"
        # an IFC4 building through the IFC engine, then garbage named .ifc, which leaves it
        "$BUILD/write_model" --ifc "$WORK/models/building.ifc"
        echo "$WORK/models/building.ifc" > "$WORK/drop.txt"
        kill -USR1 "$PID"
        wait_for_text "$LOG" "'building.ifc' loaded in" 60 || fail "link: the IFC4 building didn't open"
        sleep 1
        import -window root "$BUILD/e2e-link-ifc4.png"
        grep -q "IfcWindow" "$TEMP/Export.elements" || fail "link: the IFC4 building's side file names no window"
        head -c 4000 /dev/urandom > "$WORK/models/garbage.ifc"
        echo "$WORK/models/garbage.ifc" > "$WORK/drop.txt"
        kill -USR1 "$PID"
        wait_for_text "$LOG" "on '$WORK/models/garbage.ifc': it is not an IFC file" 60 ||
            fail "link: no reason for the garbage IFC"
        sleep 0.5
        import -window root "$BUILD/e2e-link-garbage.png"
        grep -q "IfcWindow" "$TEMP/Export.elements" || fail "link: the garbage IFC replaced the building"
        # two files dropped at once make one model, kept as one recent entry, its layers
        # listed under each model's row on the Layers page
        printf '%s\n%s\n' "$WORK/models/building.ifc" "$WORK/models/house.ifc" > "$WORK/drop.txt"
        kill -USR1 "$PID"
        wait_for_text "$LOG" "'building.ifc +1' loaded in" 120 || fail "link: the two dropped files didn't open"
        grep -qF "$WORK/models/building.ifc	$WORK/models/house.ifc" "$TEMP/Recent.txt" ||
            fail "link: the two files aren't one recent entry"
        sleep 1
        xdotool key Escape
        sleep 0.8
        # the panel's pointer kept its place: from the window's corner, where it stops, to the Layers tab
        xdotool mousemove_relative -- -1500 1500
        xdotool mousemove_relative -- -1500 1500
        sleep 0.3
        xdotool mousemove_relative -- 70 -138
        sleep 0.3
        xdotool click 1
        sleep 0.6
        import -window root "$BUILD/e2e-link-two-layers.png"
        xdotool key Escape
        sleep 0.8
        kill -0 "$PID" 2>/dev/null || fail "link: the viewer ended on the Layers page"
        # F6 finds the building's door by its number, and a click on it flies there and keeps it
        xdotool key F6
        sleep 0.8
        for k in d minus 1 0 1; do
            xdotool key $k
            sleep 0.3
        done
        sleep 0.6
        import -window root "$BUILD/e2e-find.png"
        xdotool mousemove_relative -- 442 -15 # from the Layers tab to the first element found
        sleep 0.3
        xdotool click 1
        wait_for_text "$LOG" "Found element" 30 || fail "find: the door found took the walker nowhere"
        sleep 1
        import -window root "$BUILD/e2e-found.png"
    fi
    run_and_quit "$LOG" link-end
    expect_in_order "$LOG" link "Initializing model link" "---Entering main loop---" \
        "Exporting '$WORK/models/house.ifc'" "Watching '$WORK/models/house.ifc'" \
        "Exporting '$WORK/models/house.ifc' again: it was saved" "Dropped: '$GLTF'" \
        "Shutting down model link" "Shutting down core"
fi

# --- 7b. The test build's hook bakes the house; the next start loads the light ---------
# (the hook exists only in builds made with AMB_TEST_HOOKS; the sanitizer build, many times
# slower, bakes the small house of scenario 6 instead of the sample house)
BAKE_HOME=$WORK/sample
if [ "$SANITIZED" = 1 ] || [ ! -d "$BAKE_HOME" ]; then
    BAKE_HOME=$WORK/model
fi
LOG=$BAKE_HOME/Documents/Ambulon/Amb2_Log.txt
if strings "$BUILD/Ambulon.exe" | grep -q AMB_TEST_BAKE; then
    : > "$LOG"
    start_viewer "$BAKE_HOME" "$BUILD/Ambulon.exe" AMB_TEST_BAKE=0
    wait_for_text "$LOG" "Loading mesh light from local file" 1200 || fail "bake: the job never finished"
    run_and_quit "$LOG" bake
    expect_in_order "$LOG" bake "Baking at quality 0" "Lighting surfaces" \
        "Loading light (from local file = 1 path to external exe = 0)" "Loading mesh light from local file"
    TEMP="$BAKE_HOME/Documents/Ambulon/Temp"
    [ -s "$TEMP/LightS.bin" ] && [ -s "$TEMP/LightM.bin" ] || fail "bake: no result files"
    : > "$LOG"
    # smooth edges chosen on the View page (the software renderer starts without them)
    printf 'PICT\x01\0\0\0\x01\0\0\0\x01\0\0\0' > "$TEMP/Picture.bin"
    start_viewer "$BAKE_HOME" "$BUILD/Ambulon.exe"
    if wait_for_text "$LOG" "---Entering main loop---"; then
        sleep 1.5
        import -window root "$BUILD/e2e-lit.png"
        grep -q "Smooth edges with 4 samples a pixel" "$LOG" || fail "lit: the edges are not smoothed"
        # light and shade: the house's middle is neither black nor one flat tone
        tone=$(convert "$BUILD/e2e-lit.png" -crop 400x300+440+350 -colorspace gray \
            -format "%[fx:mean] %[fx:standard_deviation]" info: 2>/dev/null)
        awk -v t="${tone:-0 0}" 'BEGIN { split(t, a, " "); exit !(a[1] > 0.15 && a[2] > 0.03) }' ||
            fail "lit: the lit house shows no light and shade ($tone)"
        # F3: the sun's shadows over the light, two frames later
        press F3
        sleep 2
        import -window root "$BUILD/e2e-lit-sun.png"
        grep -q "Texture successfully generated" "$LOG" || fail "sun: no shadow map"
        changed=$(compare -metric RMSE "$BUILD/e2e-lit.png" "$BUILD/e2e-lit-sun.png" null: 2>&1 |
            sed 's/.*(\(.*\))/\1/')
        awk -v m="${changed:-0}" 'BEGIN { exit !(m > 0.02) }' || fail "sun: F3 changed nothing ($changed)"
    fi
    run_and_quit "$LOG" lit-end
    expect_in_order "$LOG" lit "Loading light (from local file = 1 path to external exe = 0)" \
        "---Entering main loop---" "Shutting down core"
fi

# --- 7. A damaged model is removed at start, and the viewer comes up empty -----------------
LOG=$(make_home badmodel)
TEMP="$WORK/badmodel/Documents/Ambulon/Temp"
mkdir -p "$TEMP"
printf 'AMB\x10\x00\x00\x00 not a model' > "$TEMP/Export.bin"
start_viewer "$WORK/badmodel" "$BUILD/Ambulon.exe"
run_and_quit "$LOG" badmodel
grep -q "  AMB version 16 < 226" "$LOG" || fail "badmodel: no version line"
expect_in_order "$LOG" badmodel "Initializing world" "!twWorld_LoadModel" "Entering level" "---Entering main loop---"
[ -f "$TEMP/Export.bin" ] && fail "badmodel: the damaged model stayed"

# --- 8. A stand-alone copy carries its model and words, and logs beside itself -------------
if root_switch_on copy; then
    mkdir -p "$WORK/copy"
    "$BUILD/write_model" "$WORK/Export.bin"
    "$BUILD/make_pack" "$WORK/copy/House.exe" "$BUILD/Ambulon.bare" "$BUILD"/Data/Version.bin \
        "$BUILD"/Data/Textures/System/* "$BUILD/Data/Settings.bin" "$BUILD/Data/Strings/Strings.bin" "$WORK/Export.bin"
    LOG="$WORK/copy/Amb2_Log.txt"
    mkdir -p "$WORK/copyhome"
    start_viewer "$WORK/copyhome" "$WORK/copy/House.exe"
    run_and_quit "$LOG" copy
    root_switch_off
    expect_in_order "$LOG" copy "User directory is ''" "Running a stand alone .exe" "World was successfully loaded" \
        "---Entering main loop---" "Shutting down core"
    [ -d "$WORK/copyhome/Documents" ] && fail "copy: a stand-alone copy made a user folder"
fi

# --- 9. Publishing: the baked house with a kept view becomes one program through the panel
# and a stub zenity; the copy starts alone in a fresh home, lit, from the view, with its
# gallery; then the full program opens the copy as its model and publishes again.
# The panel opens on its Model page: "Open a copy" is at (799, 844), "Publish for Windows"
# one row below, and the pointer starts in the window's middle.
if [ -s "$BAKE_HOME/Documents/Ambulon/Temp/LightS.bin" ] && root_switch_on publish; then
    mkdir -p "$WORK/bin" "$WORK/pub" "$WORK/pubhome"
    printf '#!/bin/sh\ncat "%s"\n' "$WORK/answer" > "$WORK/bin/zenity"
    chmod +x "$WORK/bin/zenity"
    LOG=$BAKE_HOME/Documents/Ambulon/Amb2_Log.txt
    : > "$LOG"
    echo "$WORK/pub/House" > "$WORK/answer"
    start_viewer "$BAKE_HOME" "$BUILD/Ambulon.exe" PATH="$WORK/bin:$PATH"
    if wait_for_text "$LOG" "---Entering main loop---"; then
        sleep 0.6
        press F4
        wait_for_text "$LOG" "Gallery saved ok" 10 || fail "publish: F4 kept no view"
        xdotool key Escape
        sleep 0.8
        xdotool mousemove_relative -- 159 349
        sleep 0.3
        xdotool click 1
        wait_for_text "$LOG" "Win exe successfully generated" 120 || fail "publish: no copy was made"
        sleep 0.5
    fi
    run_and_quit "$LOG" publish
    expect_in_order "$LOG" publish "ModelLoc=3" "Attaching 15 resources from running" \
        "Attaching 1 gallery items from local disk" "Attaching 5 light items from local disk" \
        "Win exe successfully generated"
    COPY=$WORK/pub/House.exe
    # the copy names only what every X11 desktop with OpenGL has: SDL2 is in it and loads
    # the rest at run time (a sanitizer build's copy names its sanitizers and Debian's SDL2's
    # libraries, as that build does)
    needed=$(readelf -d "$COPY" 2>/dev/null | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    [ -n "$needed" ] || fail "publish: readelf read nothing"
    if grep -q '^lib\(asan\|ubsan\)' <<< "$needed"; then
        needed=""
    else
        # nor any C library call newer than an older desktop's (Debian 11: glibc 2.31)
        newer=$(objdump -T "$COPY" | grep -o 'GLIBC_2\.\(3[2-9]\|[4-9][0-9]\)' | sort -u | tr '\n' ' ')
        [ -z "$newer" ] || fail "publish: the copy asks for $newer"
    fi
    for lib in $needed; do
        case "$lib" in
        libc.so.6 | libm.so.6 | libdl.so.2 | libpthread.so.0 | librt.so.1 | libGL.so.1 | libGLX.so.0 | \
            libOpenGL.so.0 | libX11.so.6 | libXext.so.6 | libfontconfig.so.1 | libfreetype.so.6 | libz.so.1 | \
            libstdc++.so.6 | libgcc_s.so.1) ;;
        *) fail "publish: the copy names $lib, which a desktop may lack" ;;
        esac
    done
    LOG=$WORK/pub/Amb2_Log.txt
    start_viewer "$WORK/pubhome" "$COPY"
    if wait_for_text "$LOG" "---Entering main loop---" 120; then
        sleep 1.5
        import -window root "$BUILD/e2e-published.png"
        tone=$(convert "$BUILD/e2e-published.png" -crop 400x300+440+350 -colorspace gray \
            -format "%[fx:mean] %[fx:standard_deviation]" info: 2>/dev/null)
        awk -v t="${tone:-0 0}" 'BEGIN { split(t, a, " "); exit !(a[1] > 0.15 && a[2] > 0.03) }' ||
            fail "published: the copy shows no light and shade ($tone)"
    fi
    run_and_quit "$LOG" published-end
    expect_in_order "$LOG" published "Running a stand alone .exe" "Loading light (from local file = 0 path to external exe = 0)" \
        "Done loading numitems=1" "---Entering main loop---" "Shutting down core"
    [ -d "$WORK/pubhome/Documents" ] && fail "published: the copy made a user folder"
    # the same copy with its lightmaps damaged still starts: unlit, with the failure's message
    DAMAGED=$WORK/pub/Damaged.exe
    cp "$COPY" "$DAMAGED"
    if damage_entry "$DAMAGED" LightS.bin; then
        LOG=$WORK/pub/Amb2_Log.txt
        : > "$LOG"
        start_viewer "$WORK/pubhome" "$DAMAGED"
        if wait_for_text "$LOG" "---Entering main loop---" 120; then
            sleep 1.5
            import -window root "$BUILD/e2e-damaged-light.png"
        fi
        run_and_quit "$LOG" damaged-light-end
        expect_in_order "$LOG" damaged-light "The light of 'this copy' is left out: the model runs unlit" \
            "---Entering main loop---" "Shutting down core"
    else
        fail "damaged-light: the copy's pack has no LightS.bin"
    fi
    # the full program opens the copy and publishes it again
    LOG=$BAKE_HOME/Documents/Ambulon/Amb2_Log.txt
    : > "$LOG"
    echo "$COPY" > "$WORK/answer"
    start_viewer "$BAKE_HOME" "$BUILD/Ambulon.exe" PATH="$WORK/bin:$PATH"
    if wait_for_text "$LOG" "---Entering main loop---"; then
        sleep 0.6
        xdotool key Escape
        sleep 0.8
        xdotool mousemove_relative -- 159 332
        sleep 0.3
        xdotool click 1
        wait_for_text "$LOG" "Model succesfully loaded" 120 || fail "republish: the copy didn't open"
        sleep 1
        # the copy's light comes up on the Light page; taken again by mouse from the Model
        # tab (80, 825) and the Light tab (80, 859), it shows the light complete
        for move in "-719 -19" "0 34"; do
            xdotool mousemove_relative -- $move
            sleep 0.3
            xdotool click 1
            sleep 0.5
        done
        import -window root "$BUILD/e2e-copy-light.png"
        panel_shown "$BUILD/e2e-copy-light.png" || fail "republish: no panel over the opened copy"
        echo "$WORK/pub/Again.exe" > "$WORK/answer"
        xdotool mousemove_relative -- 0 -34
        sleep 0.3
        xdotool click 1
        sleep 0.5
        xdotool mousemove_relative -- 719 36
        sleep 0.3
        xdotool click 1
        wait_for_text "$LOG" "Win exe successfully generated" 120 || fail "republish: no second copy"
        sleep 0.5
    fi
    run_and_quit "$LOG" republish
    root_switch_off
    expect_in_order "$LOG" republish "Loading light (from local file = 0 path to external exe = 1)" \
        "Model succesfully loaded" "ModelLoc=2" "Attaching 5 light items from ext resource" \
        "Win exe successfully generated"
    [ -s "$WORK/pub/Again.exe" ] || fail "republish: Again.exe is missing"
fi

# --- 10. The light kept in Temp is for one model: another model in its place starts unlit --
# (after the sample house's light; the sanitizer build's is the small house's own)
if [ "$BAKE_HOME" = "$WORK/sample" ] && [ -s "$BAKE_HOME/Documents/Ambulon/Temp/LightS.bin" ]; then
    LOG=$BAKE_HOME/Documents/Ambulon/Amb2_Log.txt
    : > "$LOG"
    "$BUILD/write_model" "$BAKE_HOME/Documents/Ambulon/Temp/Export.bin"
    start_viewer "$BAKE_HOME" "$BUILD/Ambulon.exe"
    run_and_quit "$LOG" otherlight
    expect_in_order "$LOG" otherlight "Project name = 'Test house'" \
        "The light in Temp doesn't fit this model: it is passed over" "---Entering main loop---"
fi

# --- 10b. A town of 16 houses seen from the top view: X cuts every house at its storey into a
# plan, its cut walls filled; X again brings the roofs back ----------------------------------
LOG=$(make_home town)
mkdir -p "$WORK/town/Documents/Ambulon/Temp"
"$BUILD/write_model" --town 4 "$WORK/town/Documents/Ambulon/Temp/Export.bin"
start_viewer "$WORK/town" "$BUILD/Ambulon.exe"
if wait_for_text "$LOG" "---Entering main loop---" 120; then
    sleep 1
    press F8
    sleep 1
    # nearer, so that a wall's cut is wider than its outline
    for _ in 1 2 3 4; do
        xdotool click 4
        sleep 0.3
    done
    sleep 1.5
    import -window root "$BUILD/e2e-town-top.png"
    press x
    wait_for_text "$LOG" "The storey cut is at" 30 || fail "cut: X made no storey cut"
    sleep 1.5
    import -window root "$BUILD/e2e-town-plan.png"
    press x
    wait_for_text "$LOG" "The storey cut is off" 30 || fail "cut: X again left the cut"
    sleep 1.5
    import -window root "$BUILD/e2e-town-top-again.png"
    rmse() { compare -metric RMSE "$1" "$2" null: 2>&1 | sed 's/.*(\(.*\))/\1/'; }
    changed=$(rmse "$BUILD/e2e-town-top.png" "$BUILD/e2e-town-plan.png")
    awk -v m="${changed:-0}" 'BEGIN { exit !(m > 0.02) }' || fail "cut: the plan looks like the roofs ($changed)"
    back=$(rmse "$BUILD/e2e-town-top.png" "$BUILD/e2e-town-top-again.png")
    awk -v m="${back:-1}" 'BEGIN { exit !(m < 0.01) }' || fail "cut: X again didn't bring the roofs back ($back)"
    # the cut walls are filled and hatched: the hatch's dark red is in the plan, not on the roofs
    hatch() {
        convert "$1" -fx "(abs(r-0.322)<0.012 && abs(g-0.059)<0.012 && abs(b-0.051)<0.012)" -format "%[fx:mean]" \
            info: 2>/dev/null
    }
    awk -v p="$(hatch "$BUILD/e2e-town-plan.png")" -v t="$(hatch "$BUILD/e2e-town-top.png")" \
        'BEGIN { exit !(p > t + 0.001) }' || fail "cut: no filled walls in the plan"
fi
run_and_quit "$LOG" town-end
expect_in_order "$LOG" town "Initializing section tool" "---Entering main loop---" "The storey cut is off" \
    "Shutting down section tool" "Shutting down core"

# --- 11. Random hands (the sanitizer build; AMB_RANDOM_HANDS=1 runs it in any build): a
# generated town of 16 houses driven by keys, combinations, clicks, drags and wheel turns
# drawn from a printed seed (AMB_RANDOM_SEED picks another), a fixed number of them; file
# dialogs are cancelled by a stub. A run the hands end (the panel's Exit) is judged and
# started again. Each run must end in order, with exit 0, no sanitizer report and no leak.
HANDS_ACTIONS=300
HANDS_KEYS=(w s a d Up Down Left Right f space Prior Next y h F8 F3 F4 p F5 m i u BackSpace Escape Escape Return Tab
    1 x k b v)
HANDS_COMBOS=("shift r" "shift p" "shift F5" "shift w" "ctrl s" "ctrl shift w" "alt" "z Tab" "z F5" "z Left"
    "shift Up" "super" "shift x" "ctrl x" "shift k" "ctrl k" "shift b" "shift v" "ctrl v")

hands_start() {
    : > "$LOG"
    (cd "$WORK" && env HOME="$WORK/hands" PATH="$WORK/handsbin:$PATH" "$BUILD/Ambulon.exe" 2>>"$HANDS_ERR") &
    PID=$!
    wait_for_text "$LOG" "---Entering main loop---" 300 || fail "hands: the main loop never started"
}

# Judges a run that has ended
hands_judge() {
    wait_exit hands
    [ "$STATUS" = 0 ] || fail "hands (seed $HANDS_SEED): exit status $STATUS"
    expect_in_order "$LOG" "hands (seed $HANDS_SEED)" "${SHUTDOWN_LINES[@]}"
    grep -q "Leaking" "$LOG" && fail "hands (seed $HANDS_SEED): memory leaked"
    cp "$LOG" "$BUILD/e2e-hands-log-$HANDS_RUNS.txt"
    HANDS_RUNS=$((HANDS_RUNS + 1))
}

if [ "$SANITIZED" = 1 ] || [ -n "${AMB_RANDOM_HANDS:-}" ]; then
    HANDS_SEED=${AMB_RANDOM_SEED:-27}
    HANDS_ERR=$WORK/hands-stderr.txt
    HANDS_RUNS=0
    echo "random hands: seed $HANDS_SEED, $HANDS_ACTIONS actions"
    LOG=$(make_home hands)
    mkdir -p "$WORK/hands/Documents/Ambulon/Temp" "$WORK/handsbin"
    "$BUILD/write_model" --town 4 "$WORK/hands/Documents/Ambulon/Temp/Export.bin"
    printf '#!/bin/sh\nexit 1\n' > "$WORK/handsbin/zenity"
    chmod +x "$WORK/handsbin/zenity"
    : > "$HANDS_ERR"
    RANDOM=$HANDS_SEED
    hands_start
    for ((n = 0; n < HANDS_ACTIONS; n++)); do
        if ! kill -0 "$PID" 2>/dev/null; then
            hands_judge
            hands_start
        fi
        hold=0.$((RANDOM % 4 + 1))
        case $((RANDOM % 10)) in
        0 | 1 | 2) press_for "$hold" "${HANDS_KEYS[RANDOM % ${#HANDS_KEYS[@]}]}" ;;
        3) read -ra combo <<<"${HANDS_COMBOS[RANDOM % ${#HANDS_COMBOS[@]}]}"; press_for "$hold" "${combo[@]}" ;;
        4 | 5) xdotool mousemove_relative -- $((RANDOM % 400 - 200)) $((RANDOM % 300 - 150)) ;;
        6) xdotool click $((RANDOM % 3 + 1)) ;;
        7) xdotool mousedown 1 mousemove_relative -- $((RANDOM % 200 - 100)) $((RANDOM % 200 - 100)) mouseup 1 ;;
        8) xdotool click --repeat $((RANDOM % 4 + 1)) $((RANDOM % 2 + 4)) ;;
        9) sleep "$hold" ;;
        esac
    done
    import -window root "$BUILD/e2e-hands.png"
    # a light job or a list may hold the first Escape: Z with Escape until the viewer ends
    for _ in 1 2 3 4 5; do
        kill -0 "$PID" 2>/dev/null || break
        press_for 0.5 z Escape
        sleep 2
    done
    hands_judge
    if grep -qE "AddressSanitizer|LeakSanitizer|runtime error:" "$HANDS_ERR"; then
        fail "hands (seed $HANDS_SEED): a sanitizer report"
        grep -m5 -E "AddressSanitizer|LeakSanitizer|runtime error:" "$HANDS_ERR"
    fi
    echo "random hands: $HANDS_ACTIONS actions over $HANDS_RUNS run(s)"
fi

[ -n "${KEEP_E2E:-}" ] && echo "kept $WORK" || rm -rf "$WORK"
if [ "$FAILURES" != 0 ]; then
    echo "$FAILURES failure(s)"
    exit 1
fi
echo "program tests passed"
