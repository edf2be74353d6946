#!/usr/bin/env bash
# Installs what is missing, builds, and starts the game.
source "$(dirname "$0")/common.sh"
install_missing
configure_and_build "$BUILD"
# The game needs a sound device. On a machine with none (no sound card and no sound
# server, as on a headless box), OpenAL Soft's null driver stands in so the game still runs.
if [ -z "${ALSOFT_DRIVERS:-}" ] && ! ls /dev/snd/pcm* >/dev/null 2>&1 \
   && [ ! -S "${XDG_RUNTIME_DIR:-/run/user/$(id -u)}/pulse/native" ] \
   && [ ! -S "${XDG_RUNTIME_DIR:-/run/user/$(id -u)}/pipewire-0" ]; then
  echo "No sound device found: the game plays silently."
  export ALSOFT_DRIVERS=null
fi
exec "$BUILD/bin/morvel-birds"
