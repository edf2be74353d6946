#!/usr/bin/env bash
# Builds the Debian package from the build and checks what dpkg would install, and runs the
# maintainer scripts' score set-up on a scratch tree.
# Usage: debian_package.sh <build dir> <packaging source dir>
set -uo pipefail
build="$1"
packaging="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0
passes=0

check() { # check <description> <command...>
    local what="$1"; shift
    if "$@" >"$work/out" 2>&1; then
        passes=$((passes + 1)); echo "PASS: $what"
    else
        failures=$((failures + 1)); echo "FAIL: $what"; sed 's/^/    /' "$work/out"
    fi
}

# gzip: the package is checked, not shipped, and xz on a sanitizer build takes a minute.
cpack -G DEB -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip -B "$work/pkg" --config "$build/CPackConfig.cmake" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; echo "0 passed, 1 failed"; exit 1; }
deb="$(ls "$work"/pkg/*.deb)"
dpkg-deb -c "$deb" | awk '{ $1=$2=$3=$4=$5=""; sub(/^ +/, ""); print }' >"$work/contents"
dpkg-deb -e "$deb" "$work/control"

depends_on_runtimes() {
    local deps
    deps="$(dpkg-deb -f "$deb" Depends)"
    echo "$deps"
    for p in fonts-dejavu-core libqt6widgets6 libqt6gui6 libopenal1 libsndfile1 libc6; do
        grep -qw "$p" <<<"$deps" || { echo "missing $p"; return 1; }
    done
}
has() { grep -qxF -- "$1" "$work/contents" || { echo "not in package: $1"; return 1; }; }
links_and_files() {
    has "./usr/bin/morvel-birds -> ../lib/games/morvel-birds/morvel-birds" &&
        has "./usr/lib/games/morvel-birds/scores.dat -> /var/games/morvel-birds/scores.dat" &&
        has "./usr/lib/games/morvel-birds/morvel-birds" &&
        has "./usr/share/applications/org.morvelbirds.MorvelBirds.desktop" &&
        has "./usr/share/metainfo/org.morvelbirds.MorvelBirds.metainfo.xml" &&
        has "./usr/share/icons/hicolor/256x256/apps/org.morvelbirds.MorvelBirds.png" &&
        [ "$(grep -c '^./usr/lib/games/morvel-birds/Graphics/.' "$work/contents")" -eq 34 ] &&
        [ "$(grep -c '^./usr/lib/games/morvel-birds/Sounds/.' "$work/contents")" -eq 14 ]
}
# The players' table must never be a file of the package, or an upgrade would replace it.
no_score_file() { ! grep -q '^./var/' "$work/contents"; }
maintainer_scripts() {
    for s in postinst postrm; do
        [ -x "$work/control/$s" ] && sh -n "$work/control/$s" || return 1
    done
    grep -q 'setup_shared_scores "/usr/lib/games/morvel-birds/morvel-birds" "/var/games/morvel-birds" yes' \
        "$work/control/postinst"
}
check "section games" test "$(dpkg-deb -f "$deb" Section)" = games
check "depends on the runtimes and a font" depends_on_runtimes
check "launcher, score link, program, assets, desktop files" links_and_files
check "no score file shipped" no_score_file
check "maintainer scripts are executable shell that sets up the shared scores" maintainer_scripts

# The set-up that postinst runs, on a scratch directory and a stand-in program.
if [ "$(id -u)" -eq 0 ] && getent group games >/dev/null; then
    shared_setup() {
        local prog="$work/scratch/morvel-birds" dir="$work/scratch/var/games/morvel-birds"
        mkdir -p "$work/scratch" && : >"$prog" && chmod 0755 "$prog"
        ( . "$packaging/shared-scores.sh" && setup_shared_scores "$prog" "$dir" no ) || return 1
        stat -c '%n %U:%G %a' "$dir" "$dir/scores.dat" "$prog"
        [ "$(stat -c '%U:%G %a' "$dir")" = "root:games 775" ] &&
            [ "$(stat -c '%U:%G %a %s' "$dir/scores.dat")" = "root:games 664 0" ] &&
            [ "$(stat -c '%G %a' "$prog")" = "games 2755" ] || return 1
        # Run again over a table a player has written: it keeps its owner, mode and bytes.
        printf 'table' >"$dir/scores.dat" && chmod 0660 "$dir/scores.dat"
        ( . "$packaging/shared-scores.sh" && setup_shared_scores "$prog" "$dir" no ) || return 1
        [ "$(stat -c '%a %s' "$dir/scores.dat")" = "660 5" ]
    }
    check "score directory of group games, program set-group-id, tables kept" shared_setup
else
    echo "SKIP: score set-up needs root and a group games"
fi

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
