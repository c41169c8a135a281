#!/usr/bin/env bash
# Builds the library and the vane tool, then runs `vane demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)" --target vane
./build/bin/vane demo "$@"
