#!/usr/bin/env bash
# Installs the build into a temporary prefix and checks the tree a player would get: the
# launcher starts the game from the installed place with no error box, the game finds its
# files and keeps its scores through the scores.dat link, and the desktop files validate.
# Usage: installed_tree.sh <build dir>
set -uo pipefail
build="$1"
work="$(mktemp -d)"
prefix="$work/prefix"
app="$prefix/lib/games/morvel-birds"
scores="$prefix/var/games/morvel-birds/scores.dat"
id=org.morvelbirds.MorvelBirds
failures=0
passes=0
xvfb=""

cleanup() {
    [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null && wait "$xvfb" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

check() { # check <description> <command...>
    local what="$1"; shift
    if "$@" >"$work/out" 2>&1; then
        passes=$((passes + 1)); echo "PASS: $what"
    else
        failures=$((failures + 1)); echo "FAIL: $what"; sed 's/^/    /' "$work/out"
    fi
}

cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 ||
    { cat "$work/install.log"; echo "0 passed, 1 failed"; exit 1; }

count() { find "$1" -maxdepth 1 -type f | wc -l; }
launcher_leads_to_program() {
    [ -L "$prefix/bin/morvel-birds" ] &&
        [ "$(readlink -f "$prefix/bin/morvel-birds")" = "$(readlink -f "$app/morvel-birds")" ] &&
        [ -x "$app/morvel-birds" ]
}
assets_beside_program() {
    [ "$(count "$app/Graphics")" -eq 34 ] && [ "$(count "$app/Sounds")" -eq 14 ] &&
        [ -f "$app/Graphics/BackGround.bmp" ] && [ -f "$app/Sounds/GUN_Fire.wav" ]
}
scores_link() {
    [ -L "$app/scores.dat" ] && [ "$(readlink "$app/scores.dat")" = "$scores" ] &&
        [ -d "$(dirname "$scores")" ]
}
icons() {
    for s in 16 24 32 48 64 128 256; do
        local f="$prefix/share/icons/hicolor/${s}x${s}/apps/$id.png"
        file "$f" | grep -q "PNG image data, $s x $s," || { echo "bad icon $f"; return 1; }
    done
}
check "launcher on the PATH leads to the installed program" launcher_leads_to_program
check "34 pictures and 14 sounds beside the program" assets_beside_program
check "scores.dat links into the score directory" scores_link
check "hicolor icons at every size" icons
check "desktop entry validates" desktop-file-validate "$prefix/share/applications/$id.desktop"
check "metainfo validates" appstreamcli validate --no-net "$prefix/share/metainfo/$id.metainfo.xml"

# A real X server, so that an error box would be a second window of the program.
Xvfb -displayfd 3 -noreset -screen 0 1024x768x24 3>"$work/display" 2>/dev/null &
xvfb=$!
for _ in $(seq 50); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")"

# Prints the geometry of each visible window of the process.
windows_of() {
    for w in $(xdotool search --onlyvisible --pid "$1" 2>/dev/null); do
        xdotool getwindowgeometry "$w" | sed -n 's/.*Geometry: //p'
    done
}

# Starts the launcher, waits, and passes only if the program is still running with exactly
# one visible window, the main one, at least as big as the play field.
starts_cleanly() {
    env -u QT_QPA_PLATFORM ALSOFT_DRIVERS=null "$prefix/bin/morvel-birds" >"$work/game.log" 2>&1 &
    local pid=$! shown=""
    for _ in $(seq 40); do
        sleep 0.25
        kill -0 "$pid" 2>/dev/null || break
        shown="$(windows_of "$pid")"
        [ -n "$shown" ] && sleep 1 && shown="$(windows_of "$pid")" && break
    done
    local alive=no
    kill -0 "$pid" 2>/dev/null && alive=yes
    kill "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    local status=$?
    echo "alive: $alive; windows: ${shown:-none}; status after SIGTERM: $status"
    cat "$work/game.log"
    [ "$alive" = yes ] || return 1
    [ "$(printf '%s\n' "$shown" | grep -c .)" -eq 1 ] || return 1
    local w h
    IFS=x read -r w h <<<"$shown"
    [ "$w" -ge 604 ] && [ "$h" -ge 404 ] && [ "$status" -eq 143 ]
}
fresh_table_through_link() {
    [ "$(stat -c %s "$scores")" -eq 130 ] && [ -L "$app/scores.dat" ] &&
        [ ! -e "$app/scores.dat.tmp" ]
}
check "installed game starts from its launcher with no error box" starts_cleanly
check "a fresh score table was written through the link" fresh_table_through_link

# The same check must notice a broken install: a missing sound is reported in a box.
mv "$app/Sounds/Bird3.wav" "$work/"
if starts_cleanly >"$work/broken.log" 2>&1; then
    failures=$((failures + 1)); echo "FAIL: a missing sound went unnoticed"; cat "$work/broken.log"
else
    passes=$((passes + 1)); echo "PASS: a missing sound is noticed"
fi

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
