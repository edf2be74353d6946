#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite; non-zero on any failure.
source "$(dirname "$0")/common.sh"
install_missing
configure_and_build "$BUILD" -DMORVEL_TESTS=ON
cd "$BUILD"
ctest --output-on-failure -j "$JOBS"
