#!/usr/bin/env bash
# Installs the build into a temporary prefix and plays it under Xvfb: each game starts from the
# launcher with one window holding the field, no error box, and no group it was given. tree:
# whoever runs it plays. shared (as root): program set-group-id games, table root:games 0664
# and journal 0660; two throw-away users play one after the other, then each again in a game
# open since before the other's save, and after every save the table and journal keep owner,
# mode and inode and the table holds every name entered. Usage: installed.sh tree|shared <build>
set -uo pipefail
if [ "$1" = shared ]; then
    [ "$(id -u)" -eq 0 ] || { echo "SKIP: needs root to install set-group-id and add users"; exit 77; }
    getent group games >/dev/null || { echo "SKIP: no group games to share the table"; exit 77; }
fi
# Open to everyone, as the throw-away users' games must reach it.
[ -n "${ON_XVFB:-}" ] || exec env ON_XVFB=1 xvfb-run -a -s "-ac -screen 0 1024x768x24" bash "$0" "$@"
work="$(mktemp -d)" failed=0 users=("") pids=() games=() names=() # "": whoever runs the test
chmod 755 "$work" # the throw-away users run the game from it
trap 'kill -9 "${pids[@]}" 2>/dev/null; wait; for u in "${users[@]}"; do [ -z "$u" ] || userdel "$u"; done
      rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failed=1; }

prefix="$work/prefix" app="$work/prefix/lib/games/morvel-birds" id=org.morvelbirds.MorvelBirds
table="$prefix/var/games/morvel-birds/scores.dat"
cmake --install "$2" --prefix "$prefix" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
desktop-file-validate "$prefix/share/applications/$id.desktop" || fail "desktop entry"
appstreamcli validate --no-net "$prefix/share/metainfo/$id.metainfo.xml" || fail "metainfo"
# The sound decoder library is loaded only for a sound in an unusual form: linked, it and its
# dozen codecs would all be loaded before main.
readelf -d "$app/morvel-birds" | grep -E 'NEEDED.*sndfile' && fail "the sound decoder is linked"
shared() { stat -c '%U:%G %a %i' "$table" "$table-journal" | tr '\n' ' '; }
if [ "$1" = shared ]; then
    before="$(shared)"
    [[ "$before" == "root:games 664 "*" root:games 660 "* ]] || fail "after install: $before"
    [ "$(stat -c '%U:%G %a' "$app/morvel-birds")" = "root:games 2755" ] ||
        fail "the program is not set-group-id games"
    users=("morvel-test-a-$$" "morvel-test-b-$$")
    for u in "${users[@]}"; do useradd -M -N -s /usr/sbin/nologin "$u" || exit 1; done
fi


window() { timeout 15 xdotool search --sync --all --onlyvisible --pid "$1" --name "^$2\$" | head -1; }
keys() { xdotool windowfocus --sync "$1" key --delay 80 "${@:2}"; }
as() { # user, or none for whoever runs the test, and command: replaces a subshell
    [ -z "$1" ] || exec setpriv --reuid="$1" --regid="$(id -g "$1")" --init-groups "${@:2}"
    exec "${@:2}"
}

start() { # user number; games[number] is then the game's pid and main window
    local u="${users[$1]}" who="${users[$1]:-the game}" home="$work/home-$1" pid main g gid size
    mkdir -m 700 "$home" && chown "${u:-$(id -un)}:" "$home"
    as "$u" env -i HOME="$home" XDG_RUNTIME_DIR="$home" DISPLAY="$DISPLAY" ALSOFT_DRIVERS=null \
        "$prefix/bin/morvel-birds" >"$home.log" 2>&1 &
    pid=$! && pids+=("$pid")
    main=$(window "$pid" "The Morvel Bird Game") || { fail "$who: no window"; return 1; }
    sleep 1 # time for an error box to follow the main window
    kill -0 "$pid" || { fail "$who: ended by itself"; cat "$home.log"; return 1; }
    size="$(xdotool getwindowgeometry "$main" | sed -n 's/.*Geometry: //p')"
    [ "$(xdotool search --onlyvisible --pid "$pid" | wc -l)" -eq 1 ] || fail "$who: an error box"
    [ "${size%x*}" -ge 604 ] && [ "${size#*x}" -ge 404 ] || fail "$who: $size, no room for the field"
    # The game's own sounds are plain PCM, read without the decoder library.
    grep -q libsndfile "/proc/$pid/maps" && fail "$who: the sound decoder was loaded"
    g="$(awk '/^Gid:/ { print $2, $3, $4, $5 }' "/proc/$pid/status")" gid="$(id -g ${u:+"$u"})"
    [ "$g" = "$gid $gid $gid $gid" ] || fail "$who: groups real, effective, saved, file system: $g"
    [ -n "$u" ] && (as "$u" ls "/proc/$pid/fd") >/dev/null 2>&1 &&
        fail "$who: can reach the game's open files"
    games[$1]="$pid $main"
}

play() { # user number, name: a game to its end; the table must then hold every name so far
    local pid main box
    read -r pid main <<<"${games[$1]:-}"
    [ -n "$main" ] || return
    keys "$main" alt+g g
    sleep 1.5
    keys "$main" alt+g s
    box=$(window "$pid" "New High Score!") || { fail "$2: no name prompt"; return; }
    xdotool windowfocus --sync "$box" type --delay 30 "$2"
    keys "$box" Return
    box=$(window "$pid" "High Scores") || { fail "$2: no table shown"; return; }
    names+=("$2")
    for n in "${names[@]}"; do grep -qF "$n" "$table" || fail "after $2's save, $n is missing"; done
    [ "$(shared)" = "$before" ] || fail "after $2's save: $(shared), not $before"
    keys "$box" Escape
}

start 0
[ "$(readlink "$app/scores.dat")" = "$table" ] && [ "$(stat -c %s "$table")" -eq 130 ] ||
    fail "no fresh score table through the scores.dat link"
[ "$1" = shared ] || exit $failed
play 0 "Ada of a"
start 1 && play 1 "Ada of b"
play 0 "Bo of a"
play 1 "Bo of b"
exit $failed
