#!/usr/bin/env bash
# Builds what the benchmarks need and prints one table. Every figure is set beside a reference
# measured in the same run, since this kind of machine varies several times over between runs:
# frame composition against the memcpy floor; start-up and memory against a minimal Qt main
# window; CPU use of the real program under Xvfb (title at 50 ms, playing at 20 ms) against the
# floor program, which does only the least the title state must (copy a background into a back
# buffer and show it, on the same timer), sampled side by side; the game timer's spread; and the
# sound's play-to-output latency after silence and during other sounds.
# MORVEL_BENCH_RUNS start-ups of each (7), MORVEL_BENCH_ROUNDS rounds of CPU samples (5).
source "$(dirname "$0")/common.sh"

RUNS="${MORVEL_BENCH_RUNS:-7}"
ROUNDS="${MORVEL_BENCH_ROUNDS:-5}"
install_missing
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DMORVEL_BENCH=ON >/dev/null
cmake --build "$BUILD" -j "$JOBS" --target morvel-birds bench_frame bench_tick bench_startup \
  bench_startup_minimal bench_floor bench_sound_latency >/dev/null

work="$(mktemp -d)"
exec 3>"$work/display"
Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 1024x768x24 >/dev/null 2>&1 &
xvfb=$!
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  kill "$xvfb" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
for _ in $(seq 50); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(head -1 "$work/display")" ALSOFT_DRIVERS=null ALSOFT_LOGLEVEL=0
export XDG_RUNTIME_DIR="$work/xdg"
mkdir -m 700 "$XDG_RUNTIME_DIR"

median() { sort -n | awk '{v[NR]=$1} END {if (NR) print (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2); else print "n/a"}'; }
field() { grep -o "$1=[0-9.]*" | cut -d= -f2; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {if (b + 0 > 0) printf "%.2f", a / b; else print "n/a"}'; }
atmost() { awk -v v="$1" -v g="$2" 'BEGIN {print (v != "n/a" && v != "" && v + 0 <= g) ? "met" : "MISSED"}'; }
below() { awk -v v="$1" -v g="$2" 'BEGIN {print (v != "n/a" && v != "" && v + 0 < g) ? "met" : "MISSED"}'; }

echo "measuring (about five minutes)..." >&2

# Frame composition.
frame_out="$("$BUILD/bin/bench_frame" 2>/dev/null || true)"
frame_us="$(awk '/median frame/ {print $3}' <<<"$frame_out")"
floor_us="$(awk '/memcpy floor/ {print $3}' <<<"$frame_out")"
frame_ratio="$(awk '/ratio/ {print $2}' <<<"$frame_out")"

# Start-up to the first painted frame, from before exec (so loading the libraries counts), and
# memory then; the two programs take turns.
startups="$(for _ in $(seq "$RUNS"); do
  for exe in bench_startup_minimal bench_startup; do
    timeout 30 "$BUILD/bin/bench_startup_minimal" --spawn "$BUILD/bin/$exe" 2>/dev/null
  done
done)"
# Again with a session bus, as a desktop has: the toolkit talks to it as it starts.
bus_startups=""
if command -v dbus-daemon >/dev/null; then
  read -r bus bus_pid < <(dbus-daemon --session --fork --print-address=1 --print-pid=1 | paste -sd' ')
  bus_startups="$(for _ in $(seq "$RUNS"); do
    for exe in bench_startup_minimal bench_startup; do
      DBUS_SESSION_BUS_ADDRESS="$bus" timeout 30 "$BUILD/bin/bench_startup_minimal" --spawn \
        "$BUILD/bin/$exe" 2>/dev/null
    done
  done)"
  kill "$bus_pid"
fi
startup() { grep "mode=$1 " <<<"$startups" | field "$2" | median; }
bus_startup() {
  [ -n "$bus_startups" ] || { echo n/a; return 0; }
  grep "mode=$1 " <<<"$bus_startups" | field first_frame_ms | median
}
bus_game_ms="$(bus_startup game)" bus_min_ms="$(bus_startup minimal)"
bus_ratio="$(ratio "$bus_game_ms" "$bus_min_ms")"
game_ms="$(startup game first_frame_ms)"
min_ms="$(startup minimal first_frame_ms)"
game_mib="$(startup game rss_kib | awk '{printf "%.1f", $1/1024}')"
min_mib="$(startup minimal rss_kib | awk '{printf "%.1f", $1/1024}')"
startup_ratio="$(ratio "$game_ms" "$min_ms")"
mib() { awk -v a="$1" 'BEGIN {printf "%.1f", a / 1024}'; }
plus() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.1f", a - b}'; }
extra_mib="$(plus "$game_mib" "$min_mib")"
# Memory once the window has stood for a second, whatever start-up left to do after the first
# frame done by then.
held="$(for _ in $(seq "$RUNS"); do
  for exe in bench_startup_minimal bench_startup; do
    MORVEL_BENCH_HOLD_MS=1000 timeout 30 "$BUILD/bin/$exe" 2>/dev/null
  done
done)"
held_game_mib="$(mib "$(grep "mode=game " <<<"$held" | field rss_kib | median)")"
held_min_mib="$(mib "$(grep "mode=minimal " <<<"$held" | field rss_kib | median)")"
held_extra="$(plus "$held_game_mib" "$held_min_mib")"

# CPU of the real program and of the floor beside it over the same windows, summed over the
# rounds.
run="$work/run"
mkdir "$run"
cp -r "$BUILD/bin/morvel-birds" "$BUILD/bin/Graphics" "$BUILD/bin/Sounds" "$run/"
# Run time in nanoseconds, summed over the threads alive at the moment: clock ticks (10 ms)
# were too coarse for a few per cent of a core over five seconds.
ticks() { cat /proc/"$1"/task/*/schedstat 2>/dev/null | awk '{t += $1} END {printf "%d\n", t}'; }
rss_mib() { awk '/^VmRSS:/ {printf "%.1f", $2/1024}' "/proc/$1/status"; }
declare -A used=([title]=0 [floor50]=0 [play]=0 [floor20]=0)
sample() { # seconds name pid name pid
  local a0 b0 a1 b1
  a0=$(ticks "$3"); b0=$(ticks "$5")
  sleep "$1"
  a1=$(ticks "$3"); b1=$(ticks "$5")
  used[$2]=$((used[$2] + a1 - a0)); used[$4]=$((used[$4] + b1 - b0))
}
title_s=20 play_s=5 rss_title=() rss_play=() note=""
for round in $(seq "$ROUNDS"); do
  rm -f "$run/scores.dat"
  "$run/morvel-birds" >/dev/null 2>&1 &
  game=$!
  "$BUILD/bin/bench_floor" 50 "$run/Graphics/BackGround.bmp" >/dev/null 2>&1 &
  floor=$!
  pids=("$game" "$floor")
  win=""
  for _ in $(seq 100); do
    win="$(xdotool search --onlyvisible --name '^The Morvel Bird Game$' 2>/dev/null | head -1)" && [ -n "$win" ] && break
    sleep 0.1
  done
  sleep 2
  sample "$title_s" title "$game" floor50 "$floor"
  rss_title+=("$(rss_mib "$game")")
  kill "$floor"
  # Speed first, then Go: ten birds end a game in about ten seconds at 20 ms, and a sample of
  # five seconds from the start of the game stays clear of that nearly always.
  xdotool windowfocus --sync "$win" || true
  for _ in $(seq 10); do xdotool key alt+o && sleep 0.1 && xdotool key i && sleep 0.1; done
  "$BUILD/bin/bench_floor" 20 "$run/Graphics/BackGround.bmp" >/dev/null 2>&1 &
  floor=$!
  pids=("$game" "$floor")
  xdotool key alt+g && sleep 0.2 && xdotool key g
  sleep 0.3
  sample "$play_s" play "$game" floor20 "$floor"
  rss_play+=("$(rss_mib "$game")")
  [ -n "$(xdotool search --onlyvisible --name '^Game Over!$' 2>/dev/null)" ] &&
    note=" (a game over came during a sample)"
  kill "$game" "$floor"
  wait "$game" "$floor" 2>/dev/null || true
  pids=()
done
percent() { awk -v c="${used[$1]}" -v s="$2" -v n="$ROUNDS" 'BEGIN {printf "%.2f", 100 * c / 1e9 / (s * n)}'; }
cpu_title="$(percent title "$title_s")" cpu_floor50="$(percent floor50 "$title_s")"
cpu_play="$(percent play "$play_s")" cpu_floor20="$(percent floor20 "$play_s")"
title_ratio="$(ratio "${used[title]}" "${used[floor50]}")"
play_ratio="$(ratio "${used[play]}" "${used[floor20]}")"
title_mib="$(printf '%s\n' "${rss_title[@]}" | median)"
play_mib="$(printf '%s\n' "${rss_play[@]}" | median)"
play_extra="$(plus "$play_mib" "$held_min_mib")"

# The game timer's intervals on the real window, playing.
tick_out="$("$BUILD/bin/bench_tick" 5 2>/dev/null || true)"
tick() { grep "^interval=$1 " <<<"$tick_out" | awk -v k="$2" '{for (i = 1; i <= NF; ++i) {split($i, a, "="); if (a[1] == k) print a[2]}}'; }

# Sound: play to the first output of the mixer, after silence (the device paused) and during
# another sound.
snd_out="$(timeout 180 "$BUILD/bench/bench_sound_latency" 2>/dev/null || true)"
snd() { grep "^$1:" <<<"$snd_out" | grep -o 'median [0-9.]*' | awk '{print $2}'; }
snd_quiet="$(snd "after silence")" snd_busy="$(snd "during other sounds")"
snd_range() { grep "^$1:" <<<"$snd_out" | grep -o 'min [0-9.]*.*max [0-9.]*'; }

row() { printf '%-44s %-28s %s\n' "$@"; }
echo
row "measure" "value" "reference, ratio / goal"
row "--------------------------------------------" "----------------------------" "--------------------------------------"
row "frame composition, median" "${frame_us:-n/a} us" "memcpy floor ${floor_us:-n/a} us, ratio ${frame_ratio:-n/a} / <= 1.5: $(atmost "$frame_ratio" 1.5)"
row "start-up to first frame (Xvfb, median)" "${game_ms} ms" "minimal window ${min_ms} ms, ratio ${startup_ratio} / <= 1.3: $(atmost "$startup_ratio" 1.3)"
row "start-up with a session bus (median)" "${bus_game_ms:-n/a} ms" "minimal window ${bus_min_ms:-n/a} ms, ratio ${bus_ratio} / <= 1.3: $(atmost "$bus_ratio" 1.3)"
row "resident memory at first frame" "${game_mib} MiB" "minimal window ${min_mib} MiB, +${extra_mib} / <= +10: $(atmost "$extra_mib" 10)"
row "resident memory 1 s after the window shows" "${held_game_mib} MiB" "minimal window ${held_min_mib} MiB, +${held_extra} / <= +10: $(atmost "$held_extra" 10)"
row "resident memory while playing (after 5 s)" "${play_mib} MiB" "minimal window at 1 s, +${play_extra} / <= +10: $(atmost "$play_extra" 10)"
row "resident memory, title state after 22 s" "${title_mib} MiB" ""
row "CPU, title state at 50 ms (${ROUNDS} x ${title_s} s)" "${cpu_title} % of a core" "floor ${cpu_floor50} %, ratio ${title_ratio} / <= 1.3: $(atmost "$title_ratio" 1.3)"
row "CPU, playing at 20 ms (${ROUNDS} x ${play_s} s)" "${cpu_play} % of a core" "floor ${cpu_floor20} %, ratio ${play_ratio} / <= 1.3: $(atmost "$play_ratio" 1.3)$note"
for iv in 50 20; do
  row "tick at $iv ms: mean / sd / worst ($(tick $iv ticks) ticks)" \
    "$(tick $iv mean_ms) / $(tick $iv sd_ms) / $(tick $iv worst_ms) ms" "sd < 1 ms: $(below "$(tick $iv sd_ms)" 1)"
done
row "sound play-to-output, after silence" "${snd_quiet:-n/a} ms median" "$(snd_range "after silence") / < 10: $(below "$snd_quiet" 10)"
row "sound play-to-output, during other sounds" "${snd_busy:-n/a} ms median" "$(snd_range "during other sounds") / < 10: $(below "$snd_busy" 10)"
