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
    # An existing table is the players' and keeps its owner and mode.
    if [ ! -e "$dir/scores.dat" ]; then
        : >"$dir/scores.dat"
        chown root:games "$dir/scores.dat"
        chmod 0664 "$dir/scores.dat"
    fi
    if [ "$3" = yes ]; then
        if ! dpkg-statoverride --list "$program" >/dev/null 2>&1; then
            dpkg-statoverride --update --add root games 2755 "$program"
        fi
    else
        chown root:games "$program"
        chmod 2755 "$program"
    fi
}
