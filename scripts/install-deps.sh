#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need, then
# builds the fixed adaptivedemux2 plugin (scripts/build-adaptivedemux2.sh).
# Idempotent: quiet and quick when everything is already present.
set -euo pipefail

PACKAGES=(
  # toolchain
  build-essential cmake pkg-config clang libclang-rt-14-dev clang-format
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  # media engine
  libglib2.0-dev libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
  gstreamer1.0-libav gstreamer1.0-tools
  # the fixed adaptivedemux2 plugin, built from Debian's source package
  dpkg-dev meson ninja-build libxml2-dev libssl-dev
  # network and manifests
  libcurl4-openssl-dev libpugixml-dev libicu-dev
  # GL path: libepoxy, EGL and Mesa's software rasteriser
  libepoxy-dev libegl-dev libgles-dev libegl-mesa0 libgl1-mesa-dri
  # reference host window, snapshots and window tests
  libsdl2-dev libsdl2-ttf-dev fonts-dejavu-core libpng-dev libxtst6 xvfb x11-apps
  # test media and the loopback server
  ffmpeg python3 iproute2
)
# With --bench: the players the benchmarks measure beside the library.
[ "${1:-}" = "--bench" ] && PACKAGES+=(mpv)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

bash "$(dirname "${BASH_SOURCE[0]}")/build-adaptivedemux2.sh"
