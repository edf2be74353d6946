#!/usr/bin/env bash
# Installs what is missing, builds, and starts the game.
source "$(dirname "$0")/common.sh"
install_missing
configure_and_build "$BUILD"
exec "$BUILD/bin/morvel-birds"
