#!/usr/bin/env bash
# The shared table as players meet it: installs the build as root into a prefix that everyone
# can reach (program set-group-id games, table root:games 0664, journal 0660), then two
# throw-away users play under Xvfb, one after the other, then each again in a game open since
# before the other's save. Each game must have given the group up once its window shows, its
# open files out of its player's reach; after every save the table and journal keep owner, mode
# and inode, and the table holds every name entered. Needs root.
# Usage: shared_scores.sh <build dir>
set -uo pipefail
[ "$(id -u)" -eq 0 ] || { echo "SKIP: needs root to install set-group-id and add users"; exit 77; }
getent group games >/dev/null || { echo "SKIP: no group games to share the table"; exit 77; }
work="$(mktemp -d)" failed=0 users=() pids=() games=() names=()
chmod 755 "$work"
trap 'kill -9 "${pids[@]}" 2>/dev/null; wait; for u in "${users[@]}"; do userdel "$u"; done
      rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failed=1; }

prefix="$work/prefix" table="$work/prefix/var/games/morvel-birds/scores.dat"
cmake --install "$1" --prefix "$prefix" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
shared() { stat -c '%U:%G %a %i' "$table" "$table-journal" | tr '\n' ' '; }
before="$(shared)"
[[ "$before" == "root:games 664 "*" root:games 660 "* ]] || fail "after install: $before"
[ "$(stat -c '%U:%G %a' "$prefix/lib/games/morvel-birds/morvel-birds")" = "root:games 2755" ] ||
    fail "the program is not set-group-id games"

Xvfb -displayfd 3 -noreset -ac -nolisten tcp -screen 0 1024x768x24 3>"$work/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 50); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")"

window() { # pid, whole name: prints the id of its visible window once there is one
    for _ in $(seq 60); do
        xdotool search --all --onlyvisible --pid "$1" --name "^$2\$" 2>/dev/null | grep -m1 . &&
            return 0
        sleep 0.25
    done
    return 1
}
keys() { xdotool windowfocus --sync "$1" key --delay 80 "${@:2}"; }
as() { exec setpriv --reuid="$1" --regid="$(id -g "$1")" --init-groups "${@:2}"; } # in a subshell

start() { # user number; games[number] is then the game's pid and main window
    local u="${users[$1]}" home="$work/home-$1" pid main g gid
    mkdir -m 700 "$home" && chown "$u:" "$home"
    as "$u" env -i HOME="$home" XDG_RUNTIME_DIR="$home" DISPLAY="$DISPLAY" ALSOFT_DRIVERS=null \
        "$prefix/bin/morvel-birds" >"$home.log" 2>&1 &
    pid=$! && pids+=("$pid")
    main=$(window "$pid" "The Morvel Bird Game") || { fail "$u: no window"; return 1; }
    g="$(awk '/^Gid:/ { print $2, $3, $4, $5 }' "/proc/$pid/status")" gid="$(id -g "$u")"
    [ "$g" = "$gid $gid $gid $gid" ] || fail "$u: groups real, effective, saved, file system: $g"
    (as "$u" ls "/proc/$pid/fd") >/dev/null 2>&1 && fail "$u: can reach the game's open files"
    games[$1]="$pid $main"
}

play() { # user number, name: a game to its end; the table must then hold every name so far
    local pid main box hi
    read -r pid main <<<"${games[$1]:-}"
    [ -n "$main" ] || return
    keys "$main" alt+g g
    sleep 1.5
    keys "$main" alt+g s
    box=$(window "$pid" "New High Score!") || { fail "$2: no name prompt"; return; }
    xdotool windowfocus --sync "$box" type --delay 30 "$2"
    keys "$box" Return
    hi=$(window "$pid" "High Scores") || { fail "$2: no table shown"; return; }
    names+=("$2")
    for n in "${names[@]}"; do grep -qF "$n" "$table" || fail "after $2's save, $n is missing"; done
    [ "$(shared)" = "$before" ] || fail "after $2's save: $(shared), not $before"
    keys "$hi" Escape
}

for u in a b; do
    users+=("morvel-test-$u-$$")
    useradd -M -N -s /usr/sbin/nologin "${users[-1]}" || exit 1
done
start 0 && play 0 "Ada of a"
start 1 && play 1 "Ada of b"
play 0 "Bo of a"
play 1 "Bo of b"
exit $failed
