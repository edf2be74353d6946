#!/usr/bin/env bash
# Builds the Debian package and checks what dpkg would install, that lintian finds no error or
# warning in it, and that the program is hardened. Usage: debian_package.sh <build dir>
set -uo pipefail
work="$(mktemp -d)" failed=0
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failed=1; }
# gzip: the package is only checked, and xz on a sanitizer build takes a minute.
cpack -G DEB -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip -B "$work" --config "$1/CPackConfig.cmake" \
    >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
deb="$(ls "$work"/*.deb)" a=usr/lib/games/morvel-birds s=usr/share id=org.morvelbirds.MorvelBirds
d=$s/doc/morvel-birds
dpkg-deb -x "$deb" "$work/root"
deps="$(dpkg-deb -f "$deb" Depends)"
for p in fonts-dejavu-core libqt6widgets6 libqt6gui6 libopenal1 libsndfile1 libc6; do
    grep -qw "$p" <<<"$deps" || fail "no dependency on $p: $deps"
done
dpkg-deb -c "$deb" | awk '{ $1=$2=$3=$4=$5=""; sub(/^ +/, ""); print }' >"$work/contents"
for f in "usr/games/morvel-birds -> ../lib/games/morvel-birds/morvel-birds" "$a/morvel-birds" \
    "$a/scores.dat -> /var/games/morvel-birds/scores.dat" "$s/applications/$id.desktop" \
    "$s/metainfo/$id.metainfo.xml" "$s/icons/hicolor/256x256/apps/$id.png" \
    "$s/man/man6/morvel-birds.6.gz" "$d/morvel-birds.html" "$d/copyright" "$d/changelog.gz"; do
    grep -qxF -- "./$f" "$work/contents" || fail "not in the package: $f"
done
# Two builds of one commit are the same bytes: every file is dated at the commit.
epoch="$(git -C "$(dirname "$0")" log -1 --format=%ct 2>/dev/null)"
dates="$(dpkg-deb --fsys-tarfile "$deb" | tar -tv --full-time --utc | awk '{print $4, $5}' | sort -u)"
[ -z "$epoch" ] || [ "$dates" = "$(date -u -d "@$epoch" '+%F %T')" ] || fail "not dated at the last commit: $dates"
count() { grep -c "^./$a/$1/." "$work/contents"; }
[ "$(count Graphics) $(count Sounds)" = "34 14" ] || fail "not 34 pictures and 14 sounds"
# The players' table is never a file of the package, or an upgrade would replace it.
grep '^./var/' "$work/contents" && fail "ships a score file"
lintian -I --pedantic "$deb" 2>/dev/null | grep -E '^[EW]: ' && fail "lintian reports errors or warnings"
if grep -q '^MORVEL_SANITIZE:BOOL=ON' "$1/CMakeCache.txt"; then
    echo "hardening not checked: the sanitizers' build goes without it"
else # Debian 12's C start files carry no control-flow marking, so no program built there can.
    hardening-check --quiet --nocfprotection "$work/root/$a/morvel-birds" || fail "not hardened"
fi
version="$(dpkg-deb -f "$deb" Version)"
[ "$(zcat "$work/root/$d/changelog.gz" | dpkg-parsechangelog -l - -S Version)" = "$version" ] ||
    fail "the changelog's latest entry is not version $version"
# The information window's mail link goes to the Maintainer (Qt keeps the text as UTF-16).
email="$(dpkg-deb -f "$deb" Maintainer | sed 's/.*<\(.*\)>.*/\1/')"
strings -el "$work/root/$a/morvel-birds" | grep -qxF "$email" ||
    fail "the program's mail address is not the Maintainer's, $email"
exit $failed
