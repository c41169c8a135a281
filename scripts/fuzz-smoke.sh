#!/usr/bin/env bash
# Runs every fuzz target in BUILD_DIR for SECONDS each, starting from its seed
# folder fuzz/seeds/<target> when there is one. Any crash fails the run.
set -euo pipefail
build=${1:-build-fuzz}
seconds=${2:-20}
cd "$(dirname "$0")/.."
shopt -s nullglob
count=0
for target in "$build"/bin/fuzz_*; do
  name=$(basename "$target")
  corpus=$(mktemp -d)
  [ -d "fuzz/seeds/$name" ] && cp -r "fuzz/seeds/$name/." "$corpus/"
  echo "fuzz: $name for ${seconds}s"
  "$target" -seed=1 -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=0 "$corpus" >"$corpus.log" 2>&1 || {
    tail -n 60 "$corpus.log"; echo "fuzz: $name FAILED"; exit 1; }
  rm -rf "$corpus" "$corpus.log"
  count=$((count + 1))
done
echo "fuzz: $count targets ran clean"
