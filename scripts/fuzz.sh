#!/usr/bin/env bash
# A fuzzing campaign over the readers of outside files, built with clang and the address and
# undefined-behaviour sanitizers:
#   scripts/fuzz.sh [--runs N] [--minutes M | --seconds S] [options] [bitmap wave scores]
# Every target (all four by default) gets N inputs, or M minutes (S seconds) on a core (on more
# when there are more cores than targets), or, given both, N inputs unless M minutes of wall time
# run out first; the work is cut into chunks that run on every core. Leaks, crashes, broken
# properties, inputs slower than --timeout seconds (default 10) and more than 2 GiB of memory are
# findings, saved as <build>/fuzz-campaign/findings/<target>-*; the script exits non-zero when
# there is one. Resumable: the counts and the grown corpora stay in <build>/fuzz-campaign, so the
# same command started again goes on where it stopped (--fresh starts over).
# At the end the grown corpora are merged, minimised, into fuzz/<target>/corpus (--no-merge leaves
# them), the coverage of each reader's own code by its corpus is measured (--no-coverage skips
# it), and one table shows inputs, rate, coverage and findings.
# --lean fuzzes in a build with the undefined-behaviour sanitizer alone, two to ten times faster,
# and re-runs every input the campaign keeps under both sanitizers before the merge.
source "$(dirname "$0")/common.sh"

TARGETS=(bitmap wave scores)
runs=0 seconds=0 timeout=10 fresh=0 merge=1 coverage=1 lean=0 chosen=()
while [ $# -gt 0 ]; do
  case "$1" in
    --runs) runs="$2"; shift ;;
    --minutes) seconds=$(($2 * 60)); shift ;;
    --seconds) seconds="$2"; shift ;;
    --timeout) timeout="$2"; shift ;;
    --fresh) fresh=1 ;;
    --no-merge) merge=0 ;;
    --no-coverage) coverage=0 ;;
    --lean) lean=1 ;;
    all) ;;
    bitmap|wave|scores) chosen+=("$1") ;;
    *) sed -n '2,18s/^# \{0,1\}//p' "$0"; exit 2 ;;
  esac
  shift
done
[ "$runs" -gt 0 ] || [ "$seconds" -gt 0 ] || seconds=60
[ ${#chosen[@]} -gt 0 ] || chosen=("${TARGETS[@]}")

FUZZ_BUILD="$SANITIZE_BUILD"
CAMPAIGN="$FUZZ_BUILD/fuzz-campaign"
[ -n "${MORVEL_SKIP_INSTALL:-}" ] || install_missing
configure_sanitize
cmake --build "$FUZZ_BUILD" -j "$JOBS" --target "${chosen[@]/#/fuzz_}" >/dev/null
RUN_BUILD="$FUZZ_BUILD"
if [ $lean -eq 1 ]; then
  configure_lean
  cmake --build "$LEAN_BUILD" -j "$JOBS" --target "${chosen[@]/#/fuzz_}" >/dev/null
  RUN_BUILD="$LEAN_BUILD"
fi
sanitizer_env
# A quarantine of 16 MiB, not 256: freed memory is reused sooner, and the page
# faults of ever-fresh memory no longer dominate the cheap inputs.
export ASAN_OPTIONS="$ASAN_OPTIONS:quarantine_size_mb=16"

[ $fresh -eq 0 ] || rm -rf "$CAMPAIGN"
# A time bound is a fresh measure each time; a bound in inputs counts what earlier runs did.
[ "$runs" -gt 0 ] || rm -f "$CAMPAIGN"/*.runs "$CAMPAIGN"/*.seconds
mkdir -p "$CAMPAIGN/findings/fixed" "$CAMPAIGN/logs"
# Inputs are written to files and the score target saves several times per input: on a memory
# file system that costs no flushes, and what a crashed target leaves behind stays in one place
# that goes when the campaign ends.
scratch=""
if [ -d /dev/shm ] && [ -w /dev/shm ]; then
  scratch="$(mktemp -d /dev/shm/morvel-fuzz.XXXXXX)"
  export TMPDIR="$scratch"
fi
trap '[ -n "$scratch" ] && rm -rf "$scratch"' EXIT

count() { cat "$CAMPAIGN/$1.$2" 2>/dev/null || echo 0; }
# Chunks end on several cores at once: one of them at a time adds its count.
add() { (flock 9 && echo $(($(count "$1" "$2") + $3)) >"$CAMPAIGN/$1.$2") 9>"$CAMPAIGN/.lock"; }
findings() { find "$CAMPAIGN/findings" -maxdepth 1 -type f -name "$1-*" ! -name "$1-slow-unit-*" | wc -l; }

# Findings of an earlier run that the current build no longer reproduces were fixed.
for t in "${chosen[@]}"; do
  for f in "$CAMPAIGN/findings/$t"-*; do
    [ -f "$f" ] || continue
    if "$FUZZ_BUILD/fuzz/fuzz_$t" -timeout="$timeout" -rss_limit_mb=2048 "$f" >/dev/null 2>&1; then
      mv "$f" "$CAMPAIGN/findings/fixed/"
    fi
  done
done

# One chunk: a libFuzzer process over the target's grown corpus and its committed seeds.
chunk() {
  local t="$1" log="$CAMPAIGN/logs/$1-$(date +%s%N).log" start=$SECONDS
  shift
  mkdir -p "$CAMPAIGN/corpus/$t"
  local status=0 done
  "$RUN_BUILD/fuzz/fuzz_$t" "$@" -timeout="$timeout" -rss_limit_mb=2048 -max_len=65536 \
    -detect_leaks=1 -print_final_stats=1 -artifact_prefix="$CAMPAIGN/findings/$t-" \
    "$CAMPAIGN/corpus/$t" "$ROOT/fuzz/$t/corpus" >"$log" 2>&1 || status=$?
  done=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || true)
  [ -n "$done" ] || done=$(grep -o '^#[0-9]*' "$log" | tail -1 | tr -d '#' || true)
  add "$t" runs "${done:-0}"
  add "$t" seconds $((SECONDS - start))
  if [ $status -ne 0 ]; then
    echo "fuzz_$t: finding after ${done:-0} inputs, see $log"
    grep -m3 -E 'broken property|ERROR:|SUMMARY' "$log" || true
  fi
  return $status
}

# The queue: chunks of at most 250,000 inputs (so the cores share the slow targets), or the whole
# time bound, interleaved across targets; a resumed campaign queues only what is left.
queue=()
declare -A left=()
for t in "${chosen[@]}"; do left[$t]=$((runs - $(count "$t" runs))); done
for round in $(seq 1 1000); do
  for t in "${chosen[@]}"; do
    if [ "$runs" -gt 0 ] && [ "${left[$t]}" -gt 0 ]; then
      n=$((left[$t] < 250000 ? left[$t] : 250000))
      left[$t]=$((left[$t] - n))
      queue+=("$t -runs=$n")
    elif [ "$runs" -eq 0 ] && [ "$round" -le $((JOBS / ${#chosen[@]})) -o "$round" -eq 1 ]; then
      queue+=("$t -max_total_time=$seconds") # a core each, while there are more cores than targets
    fi
  done
done

status=0
started=$SECONDS
declare -A stopped=()
running=0
for item in "${queue[@]}"; do
  t="${item%% *}"
  [ -z "${stopped[$t]:-}" ] || continue
  if [ $running -ge "$JOBS" ]; then
    wait -n || status=1
    running=$((running - 1))
  fi
  # Once a target has a finding, its further chunks would only find it again.
  for s in "${chosen[@]}"; do [ "$(findings "$s")" -eq 0 ] || stopped[$s]=1; done
  [ -z "${stopped[$t]:-}" ] || continue
  if [ "$runs" -gt 0 ] && [ "$seconds" -gt 0 ]; then
    remaining=$((seconds - (SECONDS - started)))
    [ $remaining -gt 0 ] || break
    item="$item -max_total_time=$remaining"
  fi
  chunk $item &
  running=$((running + 1))
done
while [ $running -gt 0 ]; do wait -n || status=1; running=$((running - 1)); done
wall=$((SECONDS - started))

# The lean build sees no memory error that does not crash: every input kept, once more with both
# sanitizers. A finding stops its target's re-run there.
if [ $lean -eq 1 ]; then
  for t in "${chosen[@]}"; do
    [ "$(findings "$t")" -eq 0 ] || continue
    if ! "$FUZZ_BUILD/fuzz/fuzz_$t" -runs=0 -timeout="$timeout" -rss_limit_mb=2048 -detect_leaks=1 \
        -artifact_prefix="$CAMPAIGN/findings/$t-" "$CAMPAIGN/corpus/$t" \
        >"$CAMPAIGN/logs/$t-recheck.log" 2>&1; then
      echo "fuzz_$t: finding on re-run under both sanitizers, see $CAMPAIGN/logs/$t-recheck.log"
      status=1
    fi
  done
fi

if [ $merge -eq 1 ]; then
  for t in "${chosen[@]}"; do
    # Named seeds stay; the rest of the committed corpus is what adds coverage to them.
    seeds="$CAMPAIGN/merge/$t"
    rm -rf "$seeds" && mkdir -p "$seeds"
    find "$ROOT/fuzz/$t/corpus" -regextype posix-extended -type f ! -regex '.*/[0-9a-f]{40}' -exec cp {} "$seeds" \;
    if "$FUZZ_BUILD/fuzz/fuzz_$t" -merge=1 -use_counters=0 -timeout="$timeout" -rss_limit_mb=2048 \
        -max_len=65536 "$seeds" "$ROOT/fuzz/$t/corpus" "$CAMPAIGN/corpus/$t" \
        >"$CAMPAIGN/logs/$t-merge.log" 2>&1; then
      find "$ROOT/fuzz/$t/corpus" -regextype posix-extended -type f -regex '.*/[0-9a-f]{40}' -delete
      find "$seeds" -regextype posix-extended -type f -regex '.*/[0-9a-f]{40}' -exec cp {} "$ROOT/fuzz/$t/corpus" \;
    else
      echo "fuzz_$t: merge failed, see $CAMPAIGN/logs/$t-merge.log"; status=1
    fi
  done
fi

declare -A cover=()
if [ $coverage -eq 1 ]; then
  configure_coverage
  cmake --build "$COVERAGE_BUILD" -j "$JOBS" --target "${chosen[@]/#/fuzz_}" >/dev/null
  for t in "${chosen[@]}"; do
    prof="$CAMPAIGN/coverage/$t"
    rm -rf "$prof" && mkdir -p "$prof"
    # Each input once, in a build that counts every branch instead of checking memory.
    LLVM_PROFILE_FILE="$prof/%p.profraw" "$COVERAGE_BUILD/fuzz/fuzz_$t" -runs=0 \
      -timeout="$timeout" -rss_limit_mb=2048 "$ROOT/fuzz/$t/corpus" "$CAMPAIGN/corpus/$t" \
      >"$prof/run.log" 2>&1 || true
    llvm-profdata-14 merge -sparse "$prof"/*.profraw -o "$prof/all.profdata"
    llvm-cov-14 export -format=text -instr-profile="$prof/all.profdata" \
      "$COVERAGE_BUILD/fuzz/fuzz_$t" >"$prof/export.json"
    cover[$t]="$(python3 "$ROOT/scripts/fuzzcov.py" "$t" "$prof/export.json" "$prof/missed.txt")"
  done
fi

printf '\n%-7s %12s %9s %8s %8s %8s  %-34s %s\n' target inputs seconds "rate/s" corpus KiB \
  "coverage of the reader (branches)" findings
for t in "${chosen[@]}"; do
  r=$(count "$t" runs) s=$(count "$t" seconds)
  files=$(find "$ROOT/fuzz/$t/corpus" "$CAMPAIGN/corpus/$t" -type f 2>/dev/null | wc -l)
  kib=$(du -sk --apparent-size "$ROOT/fuzz/$t/corpus" | cut -f1)
  printf '%-7s %12d %9d %8d %8d %8d  %-34s %d\n' "$t" "$r" "$s" $((r / (s > 0 ? s : 1))) \
    "$files" "$kib" "${cover[$t]:--}" "$(findings "$t")"
done
echo "wall time ${wall} s on $JOBS cores; per target, the seconds are those of its own chunks"
[ $lean -eq 0 ] || echo "fuzzed with the undefined-behaviour sanitizer alone; kept inputs re-run with both"
[ $coverage -eq 1 ] && echo "branches never taken: $CAMPAIGN/coverage/<target>/missed.txt"
[ "$(find "$CAMPAIGN/findings" ! -name '*slow-unit-*' -type f | wc -l)" -eq 0 ] || status=1
exit $status
