#!/usr/bin/env bash
# Installs what is missing, builds, and runs everything; non-zero on any failure:
#   1. the optimised build, its test suites with a million-tick soak, and the end-to-end run
#      of the real program;
#   2. a clang build with the address and undefined-behaviour sanitizers, running the suites
#      again; the soak there is shorter, as the sanitizers slow drawing about elevenfold;
#   3. each fuzz target of that build for a bounded time.
# MORVEL_SOAK_TICKS, MORVEL_SANITIZE_SOAK_TICKS and MORVEL_FUZZ_SECONDS set the lengths.
source "$(dirname "$0")/common.sh"

SOAK_TICKS="${MORVEL_SOAK_TICKS:-1000000}"
SANITIZE_SOAK_TICKS="${MORVEL_SANITIZE_SOAK_TICKS:-200000}"
FUZZ_SECONDS="${MORVEL_FUZZ_SECONDS:-45}"
# QtTest's own limit for one test function (five minutes) would cut a long soak short.
export QTEST_FUNCTION_TIMEOUT=900000
failed=0
timings=()

stage() {
  local name="$1" start=$SECONDS
  shift
  echo "=== $name"
  if "$@"; then
    timings+=("$(printf '%-34s %5d s' "$name" $((SECONDS - start)))")
  else
    timings+=("$(printf '%-34s %5d s  FAILED' "$name" $((SECONDS - start)))")
    failed=1
  fi
}

summary() {
  echo "=== stage times"
  printf '%s\n' "${timings[@]}"
  echo "total $SECONDS s"
}

release_tests() {
  (cd "$BUILD" && MORVEL_SOAK_TICKS="$SOAK_TICKS" ctest --output-on-failure -j "$JOBS")
}

sanitize_build() {
  configure_sanitize && cmake --build "$SANITIZE_BUILD" -j "$JOBS"
}

# The end-to-end run aims at moving birds in real time, too slow to be fair under sanitizers.
sanitize_tests() {
  sanitizer_env
  (cd "$SANITIZE_BUILD" && MORVEL_SOAK_TICKS="$SANITIZE_SOAK_TICKS" \
    ctest --output-on-failure -j "$JOBS" -LE e2e)
}

fuzz_runs() {
  # Short and read-only: the committed corpora stay as they are, no coverage build.
  MORVEL_SKIP_INSTALL=1 "$ROOT/scripts/fuzz.sh" --seconds "$FUZZ_SECONDS" --fresh --no-merge \
    --no-coverage
}

stage "install" install_missing
stage "build (release)" configure_and_build "$BUILD" -DMORVEL_TESTS=ON
[ $failed -eq 0 ] && stage "tests, soak $SOAK_TICKS, end-to-end" release_tests
stage "build (clang, sanitizers, fuzz)" sanitize_build
[ "${timings[-1]: -6}" != "FAILED" ] && stage "tests (sanitizers), soak $SANITIZE_SOAK_TICKS" sanitize_tests
[ "${timings[-1]: -6}" != "FAILED" ] && stage "fuzz (${FUZZ_SECONDS} s each)" fuzz_runs
summary
exit $failed
