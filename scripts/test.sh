#!/usr/bin/env bash
# Builds and runs every test: a release build with g++; an address+undefined
# sanitizer build with clang that also links the fuzz targets, which then run
# briefly over their seeds; and a thread-sanitizer build of the kernel and
# platform tests.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

echo "== release build (g++)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs" --timeout 600

echo "== installed SDK (examples built out of tree, Debian package)"
bash scripts/sdk-check.sh build

echo "== sanitizer and fuzz build (clang, address+undefined, libFuzzer targets)"
# One clang build serves both: the tests run under the sanitizers, and the
# same objects (with coverage instrumentation) link the fuzz targets.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANE_SANITIZE=ON -DVANE_FUZZ=ON -DVANE_BENCH=OFF \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
cmake --build build-asan -j "$jobs"
# The long test (a render past 4 GB) runs once, in the plain build.
VANE_SKIP_LONG=1 ctest --test-dir build-asan --output-on-failure -j "$jobs" --timeout 900

echo "== fuzz targets (short runs over their seeds)"
bash scripts/fuzz-smoke.sh build-asan 10

echo "== thread sanitizer (kernel and platform tests)"
# The kernel's threads (queue, metrics writers, lists, language handles) and
# the platform's synchronisation run once more under the thread sanitizer.
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANE_TSAN=ON -DVANE_BENCH=OFF \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
tsan_tests="platform_tests profile_tests zoqueue_tests metrics_tests zolist_tests zolang_tests error_handler_tests"
# shellcheck disable=SC2086
cmake --build build-tsan -j "$jobs" --target $tsan_tests time_text_tests
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
for t in $tsan_tests; do
  echo "tsan: $t"
  ./build-tsan/bin/"$t" --gtest_brief=1
done
# The formatter's token table changes while other threads format.
echo "tsan: time_text_tests (formatter)"
./build-tsan/bin/time_text_tests --gtest_brief=1 --gtest_filter='Formatter.*'
