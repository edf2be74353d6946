#!/usr/bin/env bash
# Usage: bench/startup/run.sh BUILD_DIR [RUNS]
# Medians of start-up to the first play-field paint and of memory then, for the game and a
# minimal main window, offscreen and under Xvfb (display :77, started here if not running).
set -euo pipefail
build=${1:?build directory}
runs=${2:-15}
exe="$build/bin/bench_startup"
export ALSOFT_DRIVERS=null ALSOFT_LOGLEVEL=0

median() { sort -n | awk '{v[NR]=$1} END {print (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2)}'; }

measure() { # platform mode
    local out
    # process_ms: the whole run, exec to exit, as the shell sees it.
    out=$(for _ in $(seq "$runs"); do
        t0=$(date +%s%N)
        QT_QPA_PLATFORM=$1 timeout 30 "$exe" "$2" 2>/dev/null
        echo " process_ms=$((($(date +%s%N) - t0) / 1000000))"
    done)
    printf '%-9s %-8s process_ms=%s first_frame_ms=%s rss_kib=%s hwm_kib=%s (median of %s)\n' "$1" "$2" \
        "$(grep -o 'process_ms=[0-9]*' <<<"$out" | cut -d= -f2 | median)" \
        "$(grep -o 'first_frame_ms=[0-9.]*' <<<"$out" | cut -d= -f2 | median)" \
        "$(grep -o 'rss_kib=[0-9]*' <<<"$out" | cut -d= -f2 | median)" \
        "$(grep -o 'hwm_kib=[0-9]*' <<<"$out" | cut -d= -f2 | median)" "$runs"
}

started=""
if ! [ -e /tmp/.X11-unix/X77 ]; then
    Xvfb :77 -screen 0 1024x768x24 -noreset >/dev/null 2>&1 &
    started=$!
    sleep 1
fi
for mode in minimal game; do measure offscreen "$mode"; done
export DISPLAY=:77
for mode in minimal game; do measure xcb "$mode"; done
[ -n "$started" ] && kill "$started"
exit 0
