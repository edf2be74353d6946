#!/usr/bin/env bash
# The shared table as players meet it: installs the build as root into a prefix that everyone
# can reach (program set-group-id games, table root:games 0664, journal 0660), then two
# throw-away users play under Xvfb, one after the other and then at the same time. Each game
# must have given the group up once its window shows, with its open files out of its player's
# reach; after every save the table is still root:games 0664 with its inode, and holds every
# name entered. Needs root for the install, the users and the set-group-id bit.
# Usage: shared_scores.sh <build dir>
set -uo pipefail
[ "$(id -u)" -eq 0 ] || { echo "SKIP: needs root to install set-group-id and add users"; exit 77; }
getent group games >/dev/null || { echo "SKIP: no group games to share the table"; exit 77; }
work="$(mktemp -d)" failed=0 xvfb="" users=() pids=()
chmod 755 "$work"
cleanup() {
    for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null && wait "$p"; done
    [ -n "$xvfb" ] && kill "$xvfb"
    for u in "${users[@]}"; do userdel "$u"; done
    rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; failed=1; }

prefix="$work/prefix"
cmake --install "$1" --prefix "$prefix" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
table="$prefix/var/games/morvel-birds/scores.dat"
shared() { stat -c '%U:%G %a %i' "$table" "$table-journal" | tr '\n' ' '; }
before="$(shared)" expected="root:games 664 $(stat -c %i "$table") root:games 660"
[[ "$before" == "$expected"* ]] || fail "table and journal after install: $before"
[ "$(stat -c '%U:%G %a' "$prefix/lib/games/morvel-birds/morvel-birds")" = "root:games 2755" ] ||
    fail "the program is not set-group-id games"

Xvfb -displayfd 3 -noreset -ac -nolisten tcp -screen 0 1024x768x24 3>"$work/display" 2>/dev/null &
xvfb=$!
for _ in $(seq 50); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")"

# Polls for a visible window of pid whose whole name matches the pattern; prints its id.
window() {
    for _ in $(seq 60); do
        xdotool search --all --onlyvisible --pid "$1" --name "^$2\$" 2>/dev/null | head -1 | grep . &&
            return 0
        sleep 0.25
    done
    return 1
}
keys() { xdotool windowfocus --sync "$1" key --delay 80 "${@:2}"; }

start() { # user; sets game to the pid of the game it starts
    local home="$work/home-$1"
    mkdir -m 700 -p "$home" && chown "$1:" "$home"
    setpriv --reuid="$1" --regid="$(id -g "$1")" --init-groups env -i HOME="$home" \
        XDG_RUNTIME_DIR="$home" DISPLAY="$DISPLAY" ALSOFT_DRIVERS=null \
        "$prefix/bin/morvel-birds" >"$work/$1.log" 2>&1 &
    game=$!
    pids+=("$game")
    main=$(window "$game" "The Morvel Bird Game") || { fail "$1: no window"; return 1; }
    local g gid
    g="$(awk '/^Gid:/ { print $2, $3, $4, $5 }' "/proc/$game/status")" gid="$(id -g "$1")"
    [ "$g" = "$gid $gid $gid $gid" ] || fail "$1: groups real, effective, saved, file system: $g"
    setpriv --reuid="$1" --regid="$(id -g "$1")" --init-groups ls "/proc/$game/fd" >/dev/null 2>&1 &&
        fail "$1: can reach the game's open files"
    keys "$main" alt+g g
}

# Stops the game of pid with window main and enters name at the prompt; the table must then
# hold it and still be the same shared file.
finish() {
    local pid=$1 main=$2 name=$3 box hi
    keys "$main" alt+g s
    box=$(window "$pid" "New High Score!") || { fail "$name: no name prompt"; return; }
    xdotool windowfocus --sync "$box" type --delay 30 "$name"
    keys "$box" Return
    hi=$(window "$pid" "High Scores") || { fail "$name: no table shown"; return; }
    grep -qF "$name" "$table" || fail "$name is not in the table"
    [ "$(shared)" = "$before" ] || fail "after $name's save: $(shared), not $before"
    keys "$hi" Escape
}

leave() { # clicks Yes! where the exit dialog lays it out, in twips
    local box X Y
    keys "$2" alt+g e
    box=$(window "$1" "Exit Game\\?!") || { fail "no exit dialog"; return; }
    eval "$(xdotool getwindowgeometry --shell "$box")"
    sleep 0.3
    xdotool mousemove $((X + (240 + 906) / 12)) $((Y + (2280 + 186) / 12)) click 1
    for _ in $(seq 40); do kill -0 "$1" 2>/dev/null && sleep 0.25; done
    wait "$1" || fail "a game left with Yes! ended with status $?"
    pids=("${pids[@]/#$1/}")
}

for u in a b; do
    users+=("morvel-test-$u-$$")
    useradd -M -N -s /usr/sbin/nologin "${users[-1]}" || exit 1
done
# One after the other.
for u in "${users[@]}"; do
    start "$u" || continue
    sleep 1.5
    finish "$game" "$main" "Ada of $u"
    leave "$game" "$main"
done
# At the same time: both tables are read before either score is entered.
start "${users[0]}" && first=("$game" "$main")
start "${users[1]}" && second=("$game" "$main")
sleep 1.5
finish "${first[@]}" "Bo of ${users[0]}"
finish "${second[@]}" "Bo of ${users[1]}"
for u in "${users[@]}"; do
    for n in Ada Bo; do grep -qF "$n of $u" "$table" || fail "$n of $u lost from the table"; done
done
leave "${first[@]}"
leave "${second[@]}"
exit $failed
