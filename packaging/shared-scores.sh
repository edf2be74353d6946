# Shared high scores, the Debian way for games: the table lives in a score directory of
# group games, and the program runs set-group-id games so every player can write it.
# setup_shared_scores <program> <score dir> <statoverride: yes|no>
setup_shared_scores() {
    program="$1"
    dir="$2"
    if ! getent group games >/dev/null; then
        echo "morvel-birds: no group 'games'; high scores stay private to root" >&2
        return 0
    fi
    mkdir -p "$dir"
    chown root:games "$dir"
    chmod 0775 "$dir"
    # The table and its journal, made here because the game gives up the group before it could
    # make them; an existing table keeps its scores, but is root's and writable by games alone.
    # The journal carries the games' lock, so no player can open it to hold the others up.
    for f in scores.dat:0664 scores.dat-journal:0660; do
        mode="${f#*:}" f="${f%:*}"
        # Only a plain file is kept: root follows no link that a game's group put in its place.
        if [ -L "$dir/$f" ] || { [ -e "$dir/$f" ] && [ ! -f "$dir/$f" ]; }; then
            rm -rf "$dir/$f"
        fi
        [ -e "$dir/$f" ] || : >"$dir/$f"
        chown root:games "$dir/$f"
        chmod "$mode" "$dir/$f"
    done
    rm -f "$dir/scores.dat.tmp" # left by versions that saved through a temporary file
    if [ "$3" = yes ]; then
        if ! dpkg-statoverride --list "$program" >/dev/null 2>&1; then
            dpkg-statoverride --update --add root games 2755 "$program"
        fi
    else
        chown root:games "$program"
        chmod 2755 "$program"
    fi
}
