#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks use.
# Idempotent: packages already present are skipped, and apt-get update runs once
# at most (only when something is missing).
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build clang libclang-rt-14-dev ccache pkg-config git
  # test and benchmark frameworks
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  # libraries the kernel links
  zlib1g-dev libjpeg-dev libpng-dev libsqlite3-dev libssl-dev libcurl4-openssl-dev
  libfftw3-dev ocl-icd-opencl-dev opencl-headers pocl-opencl-icd
  # peers: tools and libraries the tests and benchmarks compare against
  ffmpeg libswresample-dev sox mediainfo python3-mutagen libimage-exiftool-perl
  libsndfile1-dev libsamplerate0-dev libsoxr-dev libyuv-dev atomicparsley
  imagemagick libmagic-dev file libpugixml-dev libexpat1-dev libavutil-dev libfmt-dev
  # locales the number and time text tests run in
  locales
  # local FTP server for the internet transfer tests
  python3-pyftpdlib
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

# The text tests compare German and French number punctuation with English.
generate_locales() {
  for l in de_DE fr_FR; do
    if ! locale -a 2>/dev/null | grep -qi "^$l\.utf-\?8$"; then
      echo "setup: generating $l.UTF-8"
      $SUDO localedef -i "$l" -f UTF-8 "$l.UTF-8" || echo "setup: could not generate $l.UTF-8"
    fi
  done
}

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} packages present"
  generate_locales
  exit 0
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get -o DPkg::Lock::Timeout=900 update -qq
$SUDO apt-get -o DPkg::Lock::Timeout=900 install -y -qq --no-install-recommends "${missing[@]}"
generate_locales
