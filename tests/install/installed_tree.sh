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
# The sound decoder library is loaded only for a sound in an unusual form: linked, it and its
# dozen codecs would all be loaded before main.
linked="$(readelf -d "$prefix/lib/games/morvel-birds/morvel-birds" | grep -E 'NEEDED.*sndfile')"
[ -z "$linked" ] || fail "the sound decoder library is linked: $linked"

ALSOFT_DRIVERS=null "$prefix/bin/morvel-birds" >"$work/game.log" 2>&1 &
pid=$!
for _ in $(seq 40); do
    sleep 0.25 && [ -n "$(xdotool search --onlyvisible --pid "$pid")" ] && break
done
sleep 1 # time for an error box to follow the main window
# The game's own sounds are plain PCM, read without the decoder library.
grep -q libsndfile "/proc/$pid/maps" && fail "the sound decoder was loaded for plain sounds"
shown="$(for w in $(xdotool search --onlyvisible --pid "$pid"); do
    xdotool getwindowgeometry "$w" | sed -n 's/.*Geometry: //p'; done)"
kill "$pid" 2>/dev/null || { fail "the game ended by itself"; cat "$work/game.log"; }
IFS=x read -r w h <<<"$shown"
[ "$(grep -c . <<<"$shown")" -eq 1 ] && [ "$w" -ge 604 ] && [ "$h" -ge 404 ] ||
    fail "windows: ${shown:-none}, not one holding the play field"
wait "$pid" 2>/dev/null
scores="$prefix/var/games/morvel-birds/scores.dat"
[ "$(readlink "$prefix/lib/games/morvel-birds/scores.dat")" = "$scores" ] &&
    [ "$(stat -c %s "$scores")" -eq 130 ] || fail "no fresh score table through the scores.dat link"
exit $failed
