#!/usr/bin/env bash
# Builds and runs every test twice: a release build with g++, and an
# address+undefined sanitizer build with clang. Then builds the fuzz targets
# and runs each briefly over its seeds.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

echo "== release build (g++)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs" --timeout 600

echo "== sanitizer build (clang, address+undefined)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANE_SANITIZE=ON -DVANE_BENCH=OFF \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
cmake --build build-asan -j "$jobs"
ctest --test-dir build-asan --output-on-failure -j "$jobs" --timeout 900

echo "== fuzz targets (clang libFuzzer, short runs)"
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANE_FUZZ=ON -DVANE_TESTS=OFF \
  -DVANE_BENCH=OFF -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
cmake --build build-fuzz -j "$jobs"
bash scripts/fuzz-smoke.sh build-fuzz 20
