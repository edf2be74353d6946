#!/usr/bin/env bash
# Installs the build into a temporary prefix and checks the tree a player gets: the desktop
# files validate, and the launcher starts the game with one window and no error box, which
# writes a fresh score table through the scores.dat link. Usage: installed_tree.sh <build dir>
set -uo pipefail
# A real X server: there an error box is a second window of the program.
[ -n "${ON_XVFB:-}" ] ||
    exec env -u QT_QPA_PLATFORM ON_XVFB=1 xvfb-run -a -s "-screen 0 1024x768x24" bash "$0" "$@"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix" id=org.morvelbirds.MorvelBirds failed=0
fail() { echo "FAIL: $*"; failed=1; }

cmake --install "$1" --prefix "$prefix" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
desktop-file-validate "$prefix/share/applications/$id.desktop" || fail "desktop entry"
appstreamcli validate --no-net "$prefix/share/metainfo/$id.metainfo.xml" || fail "metainfo"
# The sound libraries are opened once the program runs: linked, they and their codecs would all
# be loaded before main.
linked="$(readelf -d "$prefix/lib/games/morvel-birds/morvel-birds" | grep -E 'NEEDED.*(openal|sndfile)')"
[ -z "$linked" ] || fail "sound libraries linked: $linked"

ALSOFT_DRIVERS=null "$prefix/bin/morvel-birds" >"$work/game.log" 2>&1 &
pid=$!
for _ in $(seq 40); do
    sleep 0.25 && [ -n "$(xdotool search --onlyvisible --pid "$pid")" ] && break
done
sleep 1 # time for an error box to follow the main window
# The sounds are decoded: nothing of a decoder library stays loaded.
grep -q libsndfile "/proc/$pid/maps" && fail "the sound decoder stays loaded after start-up"
shown="$(for w in $(xdotool search --onlyvisible --pid "$pid"); do
    xdotool getwindowgeometry "$w" | sed -n 's/.*Geometry: //p'; done)"
kill "$pid" 2>/dev/null || { fail "the game ended by itself"; cat "$work/game.log"; }
IFS=x read -r w h <<<"$shown"
[ "$(grep -c . <<<"$shown")" -eq 1 ] && [ "$w" -ge 604 ] && [ "$h" -ge 404 ] ||
    fail "windows: ${shown:-none}, not one holding the play field"
wait "$pid" 2>/dev/null
# The game's own sounds are plain PCM, read without the decoder library and its dozen codecs.
# Traced up to its window, which it makes after every sound has been read.
if strace -o /dev/null true 2>/dev/null; then
    ALSOFT_DRIVERS=null strace -f -qq -e trace=openat -o "$work/opens" \
        "$prefix/bin/morvel-birds" >/dev/null 2>&1 &
    tracer=$!
    for _ in $(seq 40); do
        sleep 0.25 && xdotool search --onlyvisible --name '^The Morvel Bird Game$' >/dev/null && break
    done
    pkill -P "$tracer"; wait "$tracer"
    grep -q 'libopenal' "$work/opens" || fail "no trace of the game opening its sound device"
    grep 'libsndfile' "$work/opens" && fail "the sound decoder was opened for plain sounds"
else
    echo "SKIP: the decoder check, as strace cannot trace here"
fi
scores="$prefix/var/games/morvel-birds/scores.dat"
[ "$(readlink "$prefix/lib/games/morvel-birds/scores.dat")" = "$scores" ] &&
    [ "$(stat -c %s "$scores")" -eq 130 ] || fail "no fresh score table through the scores.dat link"
exit $failed
