# Shared by play.sh and test.sh: installs what is missing, configures and builds.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${MORVEL_BUILD_DIR:-$ROOT/build}"
JOBS="$(nproc 2>/dev/null || echo 2)"

# Everything the build, the game and the tests need, from Debian's archive.
PACKAGES=(
  build-essential cmake pkg-config
  qt6-base-dev libgl-dev libxcb1-dev libxcb-xinput-dev
  libopenal-dev libopenal1 libsndfile1-dev libwayland-dev
  fonts-dejavu-core
  xvfb xauth xdotool imagemagick x11-utils sox python3
  clang libclang-rt-14-dev llvm-14
  appstream desktop-file-utils dpkg-dev file
  mandoc lintian devscripts
  xwayland mutter kwin-wayland breeze x11-xserver-utils qt6-wayland
  strace dbus-daemon at-spi2-core python3-pyatspi
)

install_missing() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" -ne 0 ] && sudo=(sudo)
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

configure_and_build() {
  local dir="$1"; shift
  cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS"
}

# The checking build: clang with the address and undefined-behaviour sanitizers, the test
# suites and the fuzz targets, in one tree so both stages share one compilation.
SANITIZE_BUILD="${MORVEL_SANITIZE_BUILD_DIR:-$BUILD-sanitize}"
configure_sanitize() {
  CC=clang CXX=clang++ cmake -S "$ROOT" -B "$SANITIZE_BUILD" -DCMAKE_BUILD_TYPE=Release \
    -DMORVEL_SANITIZE=ON -DMORVEL_FUZZ=ON -DMORVEL_TESTS=ON -DMORVEL_BENCH=OFF >/dev/null
}

# The fuzz targets with the undefined-behaviour sanitizer alone, for long campaigns: without the
# address sanitizer's allocator they run two to ten times as many inputs.
LEAN_BUILD="${MORVEL_LEAN_BUILD_DIR:-$BUILD-fuzz-lean}"
configure_lean() {
  CC=clang CXX=clang++ cmake -S "$ROOT" -B "$LEAN_BUILD" -DCMAKE_BUILD_TYPE=Release \
    -DMORVEL_SANITIZE=ON -DMORVEL_SANITIZERS=undefined -DMORVEL_FUZZ=ON -DMORVEL_TESTS=OFF \
    -DMORVEL_BENCH=OFF >/dev/null
}

# The fuzz targets once more, counting every branch, for the coverage of the readers.
COVERAGE_BUILD="${MORVEL_COVERAGE_BUILD_DIR:-$BUILD-coverage}"
configure_coverage() {
  CC=clang CXX=clang++ cmake -S "$ROOT" -B "$COVERAGE_BUILD" -DCMAKE_BUILD_TYPE=Release \
    -DMORVEL_COVERAGE=ON -DMORVEL_FUZZ=ON -DMORVEL_TESTS=OFF -DMORVEL_BENCH=OFF >/dev/null
}

sanitizer_env() {
  export ASAN_OPTIONS="${ASAN_OPTIONS:-abort_on_error=1:detect_leaks=1}"
  export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$ROOT/scripts/lsan.supp:print_suppressions=0}"
  export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
}
