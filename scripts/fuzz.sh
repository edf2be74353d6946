#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (address and undefined-behaviour sanitizers on) and
# runs them: scripts/fuzz.sh <scores|bitmap|wave|icon|all> [seconds each, default 60]
# New inputs gather in the build tree; the seeds in fuzz/<target>/corpus/ are only read.
# Exits non-zero when a target finds a crash; the input is saved as <build>/fuzz-crashes/<target>-*.
source "$(dirname "$0")/common.sh"

TARGETS=(scores bitmap wave icon)
which="${1:-all}"
seconds="${2:-60}"
FUZZ_BUILD="$SANITIZE_BUILD"
[ "$which" = all ] && run=("${TARGETS[@]}") || run=("$which")

[ -n "${MORVEL_SKIP_INSTALL:-}" ] || install_missing
configure_sanitize
cmake --build "$FUZZ_BUILD" -j "$JOBS" --target "${run[@]/#/fuzz_}"
sanitizer_env
mkdir -p "$FUZZ_BUILD/fuzz-crashes"

fuzz_one() {
  local t="$1" scratch="$FUZZ_BUILD/fuzz-corpus/$1" log="$FUZZ_BUILD/fuzz-$1.log"
  mkdir -p "$scratch"
  if "$FUZZ_BUILD/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
      -max_len=65536 -print_final_stats=1 \
      -artifact_prefix="$FUZZ_BUILD/fuzz-crashes/$t-" \
      "$scratch" "$ROOT/fuzz/$t/corpus" >"$log" 2>&1; then
    echo "fuzz_$t: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') runs in ${seconds} s, no crash"
  else
    echo "fuzz_$t: FAILED, see $log"; tail -40 "$log"; return 1
  fi
}

# Two at a time: each target is single-threaded.
status=0
pids=()
for t in "${run[@]}"; do
  fuzz_one "$t" & pids+=($!)
  if [ ${#pids[@]} -ge "$JOBS" ]; then wait "${pids[0]}" || status=1; pids=("${pids[@]:1}"); fi
done
for p in "${pids[@]}"; do wait "$p" || status=1; done
exit $status
