#!/usr/bin/env bash
# Compares the symbols libffvanek.so exports with the committed list, so that
# an ABI change is always a visible diff. --update rewrites the list.
set -euo pipefail
cd "$(dirname "$0")/.."
lib=${1:-build/lib/libffvanek.so}
list=symbols/ffvanek.symbols
current=$(nm -D --defined-only --extern-only "$lib" | awk '{print $3}' | grep -v '^_init$\|^_fini$\|^_edata$\|^_end$\|^__bss_start$' | LC_ALL=C sort -u)
if [ "${2:-}" = "--update" ]; then
  mkdir -p symbols
  printf '%s\n' "$current" >"$list"
  echo "symbols: $(wc -l <"$list") written to $list"
  exit 0
fi
if ! diff -u "$list" <(printf '%s\n' "$current") >/tmp/vane-symbols.diff; then
  echo "symbols: the exported symbols differ from $list (run scripts/check-symbols.sh $lib --update):"
  head -n 60 /tmp/vane-symbols.diff
  exit 1
fi
echo "symbols: $(wc -l <"$list") exported symbols as listed"
